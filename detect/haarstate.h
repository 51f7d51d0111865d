// The state of one stage of a classifier cascade: one block of memory that holds a header, the weak
// classifiers and their features, which refer to one another by distances in bytes.
#pragma once

#include <cstdint>
#include <type_traits>

#include "nuvcv/types.h"

struct NuviHaarClassifier {
  int32_t classifierCount;
  int32_t featureCount;  // of all classifiers together
  int32_t classifiers;   // where the first classifier stands, from here
  int32_t boundX, boundY, boundWidth, boundHeight;
  uint32_t flags;     // bit 0: the stage holds tilted features
  int32_t counts[3];  // see nuv::StageCounts
  int32_t firstWeightsAllMinusOne;
};
static_assert(sizeof(NuviHaarClassifier) == 48);

namespace nuv {

// Bit 0 of a state's flags and of a classifier's packed word.
constexpr uint32_t tiltedBit = 1;

// A corner of a rectangle, relative to the pixel under evaluation.
struct NuviHaarCorner {
  int32_t column, row;
};

// A weighted rectangle; its sum is that of the corners 0 and 3 less that of 1 and 2. They are the
// bottom right, bottom left, top right and top left; in a tilted one bottom, left, right and top.
// Word is float or int32_t.
template <class Word>
struct NuviHaarFeature {
  NuviHaarCorner corners[4];
  Word weight;
};
static_assert(sizeof(NuviHaarFeature<float>) == 36);

template <class Word>
struct NuviHaarWeakClassifier {
  int32_t featureCount;
  int32_t features;  // where the first of them stands, from the header
  Word threshold;
  Word val1;        // the vote if the weighted sum is below the scaled threshold
  Word val2;        // the vote otherwise
  uint32_t packed;  // the place in the caller's order << 8, and the tilted bit
};
static_assert(sizeof(NuviHaarWeakClassifier<float>) == 24);

// Classifiers are stored in three groups: with two features, with three, and the others. These are
// the places in `counts` of what tells the groups apart; both counts are 0 in a stage that was
// built tilted, which is stored in the caller's order.
template <class Word>
struct StageCounts {
  static constexpr int twoFeatures = std::is_same_v<Word, float> ? 0 : 1;
  static constexpr int twoOrThreeFeatures = std::is_same_v<Word, float> ? 1 : 2;
  static constexpr int allFeatures = std::is_same_v<Word, float> ? 2 : 0;
};

// The arrays of a state: the classifiers, and the features in the order of the classifiers.
template <class Word>
NuviHaarWeakClassifier<Word>* classifiersOf(NuviHaarClassifier* state) {
  auto* const bytes = reinterpret_cast<uint8_t*>(state) + state->classifiers;
  return reinterpret_cast<NuviHaarWeakClassifier<Word>*>(bytes);
}
template <class Word>
NuviHaarFeature<Word>* featuresOf(NuviHaarClassifier* state,
                                  const NuviHaarWeakClassifier<Word>& classifier) {
  auto* const bytes = reinterpret_cast<uint8_t*>(state) + classifier.features;
  return reinterpret_cast<NuviHaarFeature<Word>*>(bytes);
}
template <class Word>
const NuviHaarWeakClassifier<Word>* classifiersOf(const NuviHaarClassifier* state) {
  return classifiersOf<Word>(const_cast<NuviHaarClassifier*>(state));
}
template <class Word>
const NuviHaarFeature<Word>* featuresOf(const NuviHaarClassifier* state,
                                        const NuviHaarWeakClassifier<Word>& classifier) {
  return featuresOf(const_cast<NuviHaarClassifier*>(state), classifier);
}

}  // namespace nuv

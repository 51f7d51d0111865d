// Stages of a cascade of weak classifiers on rectangle features: their states are built, measured
// and tilted here (P. Viola and M. Jones, 2001; tilted features after R. Lienhart and J. Maydt,
// 2002).

#include "detect/haarstate.h"

#include "core/check.h"
#include "core/memory.h"
#include "nuvcv/detect.h"

namespace nuv {
namespace {

// Coordinates wrap.
NuviHaarCorner corner(uint32_t column, uint32_t row) {
  return {static_cast<int32_t>(column), static_cast<int32_t>(row)};
}

// The two ways to read a rectangle: which ones are allowed, and their corners.
struct Upright {
  static constexpr uint32_t bit = 0;

  static bool allows(NuviRect rect) {
    return rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1;
  }
  static void placeCorners(NuviRect rect, NuviHaarCorner* corners) {
    const auto x = static_cast<uint32_t>(rect.x), y = static_cast<uint32_t>(rect.y);
    const auto w = static_cast<uint32_t>(rect.width), h = static_cast<uint32_t>(rect.height);
    corners[0] = corner(x + w, y + h);
    corners[1] = corner(x, y + h);
    corners[2] = corner(x + w, y);
    corners[3] = corner(x, y);
  }
};

// Width and height run down the diagonals to the right and to the left of the corner (x, y).
struct Tilted {
  static constexpr uint32_t bit = tiltedBit;

  // The left corner may stand at column -1.
  static bool allows(NuviRect rect) { return Upright::allows(rect) && rect.height - 1 <= rect.x; }
  static void placeCorners(NuviRect rect, NuviHaarCorner* corners) {
    const auto x = static_cast<uint32_t>(rect.x), y = static_cast<uint32_t>(rect.y);
    const auto w = static_cast<uint32_t>(rect.width), h = static_cast<uint32_t>(rect.height);
    corners[0] = corner(x + w - h, y + w + h);
    corners[1] = corner(x - h, y + h);
    corners[2] = corner(x + w, y + w);
    corners[3] = corner(x, y);
  }
};

// Figures around the features of a stage. While features are added, width and height are a size at
// first and an edge later, and are compared as they are.
class Bounds {
 public:
  Bounds(NuviRect first, NuviHaarCorner lowest)
      : x_(first.x),
        y_(first.y),
        width_(wrappingSubtract(lowest.column, first.x)),
        height_(wrappingSubtract(lowest.row, first.y)) {}

  void add(NuviRect rect, NuviHaarCorner lowest) {
    if (rect.x < x_) x_ = rect.x;
    if (rect.y < y_) y_ = rect.y;
    if (lowest.column > wrappingAdd(width_, x_)) width_ = lowest.column;
    if (lowest.row > wrappingAdd(height_, y_)) height_ = lowest.row;
  }

  void storeIn(NuviHaarClassifier& state) const {
    state.boundX = x_;
    state.boundY = y_;
    state.boundWidth = wrappingSubtract(width_, x_);
    state.boundHeight = wrappingSubtract(height_, y_);
  }

 private:
  int32_t x_, y_, width_, height_;
};

// A stage as the caller tells it: the rectangles and weights of all classifiers one after another,
// and what each classifier has of its own.
template <class Word>
struct Stage {
  const NuviRect* rects;
  const Word* weights;
  const Word* thresholds;
  const Word* val1;
  const Word* val2;
  const int32_t* featureCounts;
  int32_t length;
};

// Fills the classifiers and features of a state, one after another.
template <class Word, class Shape>
class StateWriter {
 public:
  StateWriter(const Stage<Word>& stage, NuviHaarClassifier* state)
      : stage_(stage),
        state_(state),
        classifier_(classifiersOf<Word>(state)),
        feature_(reinterpret_cast<NuviHaarFeature<Word>*>(classifier_ + stage.length)),
        bounds_(firstBounds(stage.rects[0])) {}

  // Adds the classifiers whose number of features is wanted, in the caller's order. Returns how
  // many have been added in all.
  template <class Wanted>
  int32_t add(Wanted wanted) {
    int64_t firstFeature = 0;
    for (int32_t i = 0; i < stage_.length; ++i) {
      const int32_t count = stage_.featureCounts[i];
      if (wanted(count)) addClassifier(i, firstFeature);
      firstFeature += count;
    }
    return static_cast<int32_t>(classifier_ - classifiersOf<Word>(state_));
  }

  const Bounds& bounds() const { return bounds_; }

 private:
  static Bounds firstBounds(NuviRect rect) {
    NuviHaarCorner corners[4];
    Shape::placeCorners(rect, corners);
    return Bounds(rect, corners[0]);
  }

  void addClassifier(int32_t index, int64_t firstFeature) {
    const int32_t count = stage_.featureCounts[index];
    const auto* const start = reinterpret_cast<const uint8_t*>(state_);
    classifier_->featureCount = count;
    classifier_->features =
        static_cast<int32_t>(reinterpret_cast<const uint8_t*>(feature_) - start);
    classifier_->threshold = stage_.thresholds[index];
    classifier_->val1 = stage_.val1[index];
    classifier_->val2 = stage_.val2[index];
    classifier_->packed = static_cast<uint32_t>(index) << 8 | Shape::bit;
    ++classifier_;
    for (int64_t i = firstFeature; i < firstFeature + count; ++i) {
      Shape::placeCorners(stage_.rects[i], feature_->corners);
      feature_->weight = stage_.weights[i];
      bounds_.add(stage_.rects[i], feature_->corners[0]);
      ++feature_;
    }
  }

  const Stage<Word>& stage_;
  NuviHaarClassifier* state_;
  NuviHaarWeakClassifier<Word>* classifier_;
  NuviHaarFeature<Word>* feature_;
  Bounds bounds_;
};

// Whether the first weight of every classifier is -1 when its fraction is dropped.
bool firstWeightsAllMinusOne(const Stage<float>& stage) {
  int64_t firstFeature = 0;
  for (int32_t i = 0; i < stage.length; ++i) {
    const float weight = stage.weights[firstFeature];
    if (!(weight > -2 && weight <= -1)) return false;
    firstFeature += stage.featureCounts[i];
  }
  return true;
}

// Upright classifiers are stored in groups by their number of features, tilted ones as they come.
template <class Word>
void fill(const Stage<Word>& stage, StateWriter<Word, Upright>& writer, NuviHaarClassifier& state) {
  using Counts = StageCounts<Word>;
  state.counts[Counts::twoFeatures] = writer.add([](int32_t count) { return count == 2; });
  state.counts[Counts::twoOrThreeFeatures] = writer.add([](int32_t count) { return count == 3; });
  writer.add([](int32_t count) { return count != 2 && count != 3; });
  if constexpr (std::is_same_v<Word, float>) {
    state.firstWeightsAllMinusOne = firstWeightsAllMinusOne(stage);
  }
}
template <class Word>
void fill(const Stage<Word>&, StateWriter<Word, Tilted>& writer, NuviHaarClassifier&) {
  writer.add([](int32_t) { return true; });
}

// The number of rectangles of all classifiers; -1 if one has none.
int64_t countFeatures(const int32_t* featureCounts, int32_t length) {
  int64_t sum = 0;
  for (int32_t i = 0; i < length; ++i) {
    if (featureCounts[i] < 1) return -1;
    sum += featureCounts[i];
  }
  return sum;
}

template <class Shape>
bool allAllowed(const NuviRect* rects, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    if (!Shape::allows(rects[i])) return false;
  }
  return true;
}

// What a rectangle that is not allowed does to the caller's pointer, and with that whether it is
// looked for before the allocation, which leaves the pointer, or behind it.
enum class OnBadRect { leavePointer, clearPointer };

template <class Shape, class Word>
NuvStatus initAlloc(NuviHaarClassifier** ppState, const Stage<Word>& stage, OnBadRect onBadRect) {
  NuvStatus status = Check()
                         .pointers(ppState, stage.rects, stage.weights, stage.thresholds,
                                   stage.val1, stage.val2, stage.featureCounts)
                         .require(stage.length >= 0, nuvStatusBadSize)
                         .status();
  if (status != nuvStatusOk) return status;
  const int64_t featureCount = countFeatures(stage.featureCounts, stage.length);
  if (featureCount < 0) return nuvStatusBadSize;
  if (onBadRect == OnBadRect::leavePointer && !allAllowed<Shape>(stage.rects, featureCount)) {
    return nuvStatusBadArgument;
  }

  const auto bytes = static_cast<int64_t>(sizeof(NuviHaarClassifier)) +
                     int64_t{sizeof(NuviHaarWeakClassifier<Word>)} * stage.length +
                     int64_t{sizeof(NuviHaarFeature<Word>)} * featureCount;
  OwnedBlock<uint8_t> block(bytes);
  if (block.get() == nullptr) return nuvStatusNoMemory;
  if (onBadRect == OnBadRect::clearPointer && !allAllowed<Shape>(stage.rects, featureCount)) {
    *ppState = nullptr;
    return nuvStatusBadArgument;
  }

  auto* const state = reinterpret_cast<NuviHaarClassifier*>(block.release());
  state->classifierCount = stage.length;
  state->featureCount = static_cast<int32_t>(featureCount);
  state->classifiers = sizeof(NuviHaarClassifier);
  state->flags = Shape::bit;
  for (int32_t& count : state->counts) count = 0;
  state->counts[StageCounts<Word>::allFeatures] = state->featureCount;
  StateWriter<Word, Shape> writer(stage, state);
  fill(stage, writer, *state);
  writer.bounds().storeIn(*state);
  *ppState = state;
  return nuvStatusOk;
}

template <class Word>
NuvStatus getSize(const NuviHaarClassifier* pState, NuviSize* pSize) {
  const NuvStatus status = Check().pointers(pState, pSize).status();
  if (status != nuvStatusOk) return status;

  NuviSize size = {0, 0};
  const auto* const classifiers = classifiersOf<Word>(pState);
  for (int32_t i = 0; i < pState->classifierCount; ++i) {
    const auto* const features = featuresOf(pState, classifiers[i]);
    for (int32_t k = 0; k < classifiers[i].featureCount; ++k) {
      const NuviHaarCorner* const corners = features[k].corners;
      if (corners[2].column > size.width) size.width = corners[2].column;
      if (corners[0].row > size.height) size.height = corners[0].row;
    }
  }
  *pSize = size;
  return nuvStatusOk;
}

// The diamond that an upright rectangle becomes: its top where the top left corner was, or its
// bottom where the bottom left one was. The float form keeps width and height; the integer form
// takes the rectangle for a square as wide as it is.
NuviRect diamondOf(const NuviHaarFeature<float>&, NuviRect rect, bool keepTop) {
  if (keepTop) return rect;
  return {wrappingSubtract(wrappingAdd(rect.x, rect.width), rect.height),
          wrappingSubtract(rect.y, rect.width), rect.height, rect.width};
}
NuviRect diamondOf(const NuviHaarFeature<int32_t>&, NuviRect rect, bool keepTop) {
  const int32_t lowest = wrappingAdd(rect.y, rect.height);
  const int32_t top = keepTop ? rect.y : wrappingSubtract(lowest, wrappingMultiply(2, rect.width));
  return {rect.x, top, rect.width, rect.width};
}

template <class Word>
void tilt(NuviHaarFeature<Word>& feature, bool keepTop) {
  const NuviHaarCorner bottomRight = feature.corners[0], topLeft = feature.corners[3];
  const NuviRect rect = {topLeft.column, topLeft.row,
                         wrappingSubtract(bottomRight.column, topLeft.column),
                         wrappingSubtract(bottomRight.row, topLeft.row)};
  Tilted::placeCorners(diamondOf(feature, rect, keepTop), feature.corners);
}

// A state is tilted once: afterwards a tilted classifier's place in the caller's order is gone.
template <class Word>
NuvStatus tiltFeatures(const uint8_t* pMask, int32_t flag, NuviHaarClassifier* pState) {
  NuvStatus status = Check().pointers(pState, pMask).status();
  if (status != nuvStatusOk) return status;
  if ((pState->flags & tiltedBit) != 0) return nuvStatusBadArgument;

  auto* const classifiers = classifiersOf<Word>(pState);
  for (int32_t i = 0; i < pState->classifierCount; ++i) {
    if (pMask[classifiers[i].packed >> 8] == 0) continue;
    classifiers[i].packed = tiltedBit;
    pState->flags |= tiltedBit;
    auto* const features = featuresOf(pState, classifiers[i]);
    for (int32_t k = 0; k < classifiers[i].featureCount; ++k) tilt(features[k], flag != 0);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviHaarClassifierInitAlloc_32f(NuviHaarClassifier** ppState, const NuviRect* pFeature,
                                          const float* pWeight, const float* pThreshold,
                                          const float* pVal1, const float* pVal2,
                                          const int32_t* pNum, int32_t length) {
  const Stage<float> stage = {pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length};
  return initAlloc<Upright>(ppState, stage, OnBadRect::leavePointer);
}

NuvStatus nuviHaarClassifierInitAlloc_32s(NuviHaarClassifier** ppState, const NuviRect* pFeature,
                                          const int32_t* pWeight, const int32_t* pThreshold,
                                          const int32_t* pVal1, const int32_t* pVal2,
                                          const int32_t* pNum, int32_t length) {
  const Stage<int32_t> stage = {pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length};
  return initAlloc<Upright>(ppState, stage, OnBadRect::clearPointer);
}

NuvStatus nuviTiltedHaarClassifierInitAlloc_32f(NuviHaarClassifier** ppState,
                                                const NuviRect* pFeature, const float* pWeight,
                                                const float* pThreshold, const float* pVal1,
                                                const float* pVal2, const int32_t* pNum,
                                                int32_t length) {
  const Stage<float> stage = {pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length};
  return initAlloc<Tilted>(ppState, stage, OnBadRect::clearPointer);
}

NuvStatus nuviTiltedHaarClassifierInitAlloc_32s(NuviHaarClassifier** ppState,
                                                const NuviRect* pFeature, const int32_t* pWeight,
                                                const int32_t* pThreshold, const int32_t* pVal1,
                                                const int32_t* pVal2, const int32_t* pNum,
                                                int32_t length) {
  const Stage<int32_t> stage = {pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length};
  return initAlloc<Tilted>(ppState, stage, OnBadRect::clearPointer);
}

NuvStatus nuviHaarClassifierFree_32f(NuviHaarClassifier* pState) { return freeState(pState); }
NuvStatus nuviHaarClassifierFree_32s(NuviHaarClassifier* pState) { return freeState(pState); }

NuvStatus nuviGetHaarClassifierSize_32f(const NuviHaarClassifier* pState, NuviSize* pSize) {
  return getSize<float>(pState, pSize);
}
NuvStatus nuviGetHaarClassifierSize_32s(const NuviHaarClassifier* pState, NuviSize* pSize) {
  return getSize<int32_t>(pState, pSize);
}

NuvStatus nuviTiltHaarFeatures_32f(const uint8_t* pMask, int32_t flag, NuviHaarClassifier* pState) {
  return tiltFeatures<float>(pMask, flag, pState);
}
NuvStatus nuviTiltHaarFeatures_32s(const uint8_t* pMask, int32_t flag, NuviHaarClassifier* pState) {
  return tiltFeatures<int32_t>(pMask, flag, pState);
}

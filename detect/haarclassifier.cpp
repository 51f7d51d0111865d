// One stage of a cascade of weak classifiers, over the pixels that a mask still selects (P. Viola
// and M. Jones, 2001). A weak classifier sums weighted rectangles, four cells of an integral plane
// for each, compares the sum with its threshold times the deviation at the pixel, and votes one of
// two values. A pixel whose votes do not reach the stage's threshold is cleared in the mask.

#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "detect/haarstate.h"
#include "nuvcv/detect.h"

namespace nuv {
namespace {

// Neighbouring pixels that are evaluated together; one of them is a plain scalar.
template <class T, size_t lanes>
struct LanesOf {
  using type = Vector<T, lanes>;
};
template <class T>
struct LanesOf<T, 1> {
  using type = T;
};
template <class T, size_t lanes>
using Lanes = typename LanesOf<T, lanes>::type;

template <size_t lanes>
Lanes<int32_t, lanes> asSigned(Lanes<uint32_t, lanes> value) {
  return load<Lanes<int32_t, lanes>>(&value);
}
template <class To, size_t lanes, class From>
Lanes<To, lanes> convertLanes(From value) {
  if constexpr (lanes == 1) {
    return static_cast<To>(value);
  } else {
    return convert<Lanes<To, lanes>>(value);
  }
}

// The cells of a plane at the corners of a feature.
template <class V>
struct Cells {
  V c0, c1, c2, c3;
};

// The forms. Element is what cells are computed as; Number is the type of weights, thresholds,
// deviations and votes, which a state keeps as Word. first() is the weighted sum of the first
// feature of a classifier, next() adds another one, isBelow() compares the sum with the threshold
// times the deviation, and fails() is the test of a single pixel's votes. A block of `block` pixels
// fits the vectors.

// Integers modulo 2 to the 32nd, compared with their signs.
struct Integers {
  using Word = int32_t;
  using Element = uint32_t;
  using Number = uint32_t;
  static constexpr ptrdiff_t block = 8;

  template <class V>
  static V sum(const Cells<V>& c) {
    return c.c0 - c.c1 - c.c2 + c.c3;
  }
  template <size_t lanes, class V>
  static V first(const Cells<V>& c, V weight) {
    return sum(c) * weight;
  }
  template <size_t lanes, class V>
  static V next(V total, const Cells<V>& c, V weight) {
    return total + sum(c) * weight;
  }
  template <size_t lanes, class V>
  static auto isBelow(V total, V threshold, V deviation) {
    return asSigned<lanes>(total) < asSigned<lanes>(threshold * deviation);
  }
  static bool fails(uint32_t votes, int32_t stageThreshold) {
    return static_cast<int32_t>(votes) < stageThreshold;
  }
};

// Products modulo 2 to the 32nd, added in 64 bits, shifted up and compared with a 64-bit product.
struct WideIntegers {
  using Word = int32_t;
  using Element = uint32_t;
  using Number = uint32_t;
  static constexpr ptrdiff_t block = 4;

  // From 32 on the low word moves into the high one, by what the shift exceeds 32 modulo 32.
  explicit WideIntegers(int32_t scaleFactor) {
    const uint32_t count = 0 - static_cast<uint32_t>(scaleFactor);
    shift = static_cast<int32_t>(count < 32 ? count : 32 + (count & 31));
  }

  template <size_t lanes, class V>
  static auto first(const Cells<V>& c, V weight) {
    return convertLanes<int64_t, lanes>(asSigned<lanes>(Integers::sum(c) * weight));
  }
  template <size_t lanes, class Total, class V>
  static Total next(Total total, const Cells<V>& c, V weight) {
    return total + first<lanes>(c, weight);
  }
  template <size_t lanes, class Total, class V>
  auto isBelow(Total total, V threshold, V deviation) const {
    const auto shifted = convertLanes<uint64_t, lanes>(total) << shift;
    const Total scaled = convertLanes<int64_t, lanes>(asSigned<lanes>(threshold)) *
                         convertLanes<int64_t, lanes>(asSigned<lanes>(deviation));
    return convertLanes<int32_t, lanes>(convertLanes<int64_t, lanes>(shifted) < scaled);
  }
  static bool fails(uint32_t votes, int32_t stageThreshold) {
    return Integers::fails(votes, stageThreshold);
  }

  int32_t shift;
};

// What forms that compute in single precision have in common.
struct Floats {
  using Word = float;
  using Number = float;
  static constexpr ptrdiff_t block = 8;

  template <size_t, class V>
  static auto isBelow(V total, V threshold, V deviation) {
    return total < threshold * deviation;
  }
  static bool fails(float votes, float stageThreshold) { return stageThreshold > votes; }
};

// Sums of an integer plane modulo 2 to the 32nd, the rest in single precision.
struct IntegerPlane : Floats {
  using Element = uint32_t;

  template <size_t lanes, class V>
  static Lanes<float, lanes> first(const Cells<V>& c, Lanes<float, lanes> weight) {
    return convertLanes<float, lanes>(asSigned<lanes>(Integers::sum(c))) * weight;
  }
  template <size_t lanes, class V>
  static Lanes<float, lanes> next(Lanes<float, lanes> total, const Cells<V>& c,
                                  Lanes<float, lanes> weight) {
    return total + first<lanes>(c, weight);
  }
};

// Sums of a float plane in one of two orders, and further features added in one of two ways.
enum class Order { sequence, pairs };
enum class Addition { rounded, fused };
template <Order firstOrder, Order nextOrder, Addition addition>
struct FloatPlane : Floats {
  using Element = float;

  template <Order order, class V>
  static V sum(const Cells<V>& c) {
    return order == Order::sequence ? ((c.c0 - c.c1) - c.c2) + c.c3 : (c.c0 - c.c1) - (c.c2 - c.c3);
  }
  template <size_t, class V>
  static V first(const Cells<V>& c, V weight) {
    return sum<firstOrder>(c) * weight;
  }
  template <size_t, class V>
  static V next(V total, const Cells<V>& c, V weight) {
    if constexpr (addition == Addition::fused) return fused(sum<nextOrder>(c), weight, total);
    return total + sum<nextOrder>(c) * weight;
  }
};

// A stage as it is evaluated: its classifiers, their features one after another, and the ends of
// the groups with two features, with two or three, and with any number.
template <class Word>
struct Stage {
  explicit Stage(const NuviHaarClassifier* state)
      : classifiers(classifiersOf<Word>(state)),
        features(
            reinterpret_cast<const NuviHaarFeature<Word>*>(classifiers + state->classifierCount)),
        featureCount(state->featureCount),
        twoFeatures(state->counts[StageCounts<Word>::twoFeatures]),
        twoOrThreeFeatures(state->counts[StageCounts<Word>::twoOrThreeFeatures]),
        count(state->classifierCount) {}

  const NuviHaarWeakClassifier<Word>* classifiers;
  const NuviHaarFeature<Word>* features;
  int32_t featureCount;
  int32_t twoFeatures, twoOrThreeFeatures, count;
};

// The votes of all classifiers for `lanes` pixels, in the stored order. The reader yields the cells
// of one feature after another.
template <size_t lanes, class Form, class Reader>
auto votesOf(const Form& form, const Stage<typename Form::Word>& stage, Reader reader,
             Lanes<typename Form::Number, lanes> deviation) {
  using Number = Lanes<typename Form::Number, lanes>;
  using Element = Lanes<typename Form::Element, lanes>;
  const auto all = [](typename Form::Word word) {
    return broadcast<Number>(static_cast<typename Form::Number>(word));
  };
  const auto* feature = stage.features;
  Number votes = {};
  const auto voteUpTo = [&](int32_t first, int32_t end, auto fixedCount) {
    for (int32_t i = first; i < end; ++i) {
      const auto& classifier = stage.classifiers[i];
      const int32_t count = fixedCount > 0 ? fixedCount : classifier.featureCount;
      reader.start(classifier.packed);
      auto total =
          form.template first<lanes>(reader.template read<Element>(*feature), all(feature->weight));
      ++feature;
      for (int32_t k = 1; k < count; ++k, ++feature) {
        total = form.template next<lanes>(total, reader.template read<Element>(*feature),
                                          all(feature->weight));
      }
      votes = votes + (form.template isBelow<lanes>(total, all(classifier.threshold), deviation)
                           ? all(classifier.val1)
                           : all(classifier.val2));
    }
  };
  voteUpTo(0, stage.twoFeatures, std::integral_constant<int32_t, 2>());
  voteUpTo(stage.twoFeatures, stage.twoOrThreeFeatures, std::integral_constant<int32_t, 3>());
  voteUpTo(stage.twoOrThreeFeatures, stage.count, std::integral_constant<int32_t, 0>());
  return votes;
}

// Readers: where the cells for a pixel come from.

// One plane, with the distances of the corners from the pixel computed beforehand.
struct CornerOffsets {
  ptrdiff_t at[4];
};
template <class Cell>
class OnePlane {
 public:
  OnePlane(const Cell* pixel, const CornerOffsets* offsets) : pixel_(pixel), next_(offsets) {}

  OnePlane movedBy(ptrdiff_t x) const { return OnePlane(pixel_ + x, next_); }
  void start(uint32_t) {}
  template <class V, class Feature>
  Cells<V> read(const Feature&) {
    const ptrdiff_t* const at = (next_++)->at;
    return {load<V>(pixel_ + at[0]), load<V>(pixel_ + at[1]), load<V>(pixel_ + at[2]),
            load<V>(pixel_ + at[3])};
  }

 private:
  const Cell* pixel_;
  const CornerOffsets* next_;
};

// An upright and a tilted plane, chosen for each classifier, with addresses computed as they are
// needed.
template <class Cell>
class TwoPlanes {
 public:
  using Plane = Image<const Cell>;
  TwoPlanes(Plane upright, Plane tilted) : upright_(upright), tilted_(tilted), chosen_(upright) {}

  TwoPlanes movedBy(ptrdiff_t x) const {
    return TwoPlanes(Plane(upright_.row(0) + x, upright_.step()),
                     Plane(tilted_.row(0) + x, tilted_.step()));
  }
  void start(uint32_t packed) { chosen_ = (packed & tiltedBit) != 0 ? tilted_ : upright_; }
  template <class V, class Feature>
  Cells<V> read(const Feature& feature) const {
    const auto cell = [&](NuviHaarCorner corner) {
      return load<V>(chosen_.row(corner.row) + corner.column);
    };
    return {cell(feature.corners[0]), cell(feature.corners[1]), cell(feature.corners[2]),
            cell(feature.corners[3])};
  }

 private:
  Plane upright_, tilted_, chosen_;
};

// A row of the images, its reader standing at the first pixel. The functions below work on some of
// its pixels, clear the mask elements of those that fail, and return how many survive.
template <class Word, class Reader>
struct Row {
  Reader reader;
  const Word* deviations;
  uint8_t* mask;
  ptrdiff_t width;
};

// Single pixels from x up to the end. One at the threshold survives, and keeps its mask element.
template <class Form, class Row, class Word>
int32_t pixels(const Form& form, const Stage<Word>& stage, Word stageThreshold, const Row& row,
               ptrdiff_t x, ptrdiff_t end) {
  int32_t survivors = 0;
  for (; x < end; ++x) {
    if (row.mask[x] == 0) continue;
    const auto deviation = static_cast<typename Form::Number>(row.deviations[x]);
    const auto votes = votesOf<1>(form, stage, row.reader.movedBy(x), deviation);
    if (Form::fails(votes, stageThreshold)) {
      row.mask[x] = 0;
    } else {
      ++survivors;
    }
  }
  return survivors;
}

// Whether one of 4, 8 or 16 pixels is selected.
template <ptrdiff_t count>
bool anySelected(const uint8_t* mask) {
  using Some = std::conditional_t<count == 4, uint32_t, uint64_t>;
  Some any = 0;
  for (size_t i = 0; i < count; i += sizeof(Some)) any |= load<Some>(mask + i);
  return any != 0;
}

// The first selected pixel from x on, and what follows the last one; the end and x if none is.
inline ptrdiff_t firstSelected(const uint8_t* mask, ptrdiff_t x, ptrdiff_t end) {
  while (x + 8 <= end && !anySelected<8>(mask + x)) x += 8;
  while (x < end && mask[x] == 0) ++x;
  return x;
}
inline ptrdiff_t endOfSelected(const uint8_t* mask, ptrdiff_t x, ptrdiff_t end) {
  while (x + 8 <= end && !anySelected<8>(mask + end - 8)) end -= 8;
  while (x < end && mask[end - 1] == 0) --end;
  return end;
}

// A row in which every pixel is treated as a single one. Blocks are evaluated together, which costs
// no more than one pixel of them; they begin with a selected pixel and do not pass the last one, so
// that the cells read lie between cells of selected pixels: around the others there may be none.
template <class Form, class Row, class Word>
int32_t rowOfPixels(const Form& form, const Stage<Word>& stage, Word stageThreshold,
                    const Row& row) {
  using Number = typename Form::Number;
  constexpr ptrdiff_t block = Form::block;
  int32_t survivors = 0;
  ptrdiff_t x = firstSelected(row.mask, 0, row.width);
  const ptrdiff_t end = endOfSelected(row.mask, x, row.width);
  while (x + block <= end) {
    Number votes[block];
    store(votes, votesOf<block>(form, stage, row.reader.movedBy(x),
                                load<Lanes<Number, block>>(row.deviations + x)));
    for (ptrdiff_t i = 0; i < block; ++i) {
      const uint8_t element = row.mask[x + i];
      const bool survives = (element != 0) & !Form::fails(votes[i], stageThreshold);
      row.mask[x + i] = survives ? element : 0;
      survivors += survives;
    }
    x = firstSelected(row.mask, x + block, end);
  }
  return survivors + pixels(form, stage, stageThreshold, row, x, end);
}

// The strategies of the float plane without tilted features. They differ in how much of a row is
// evaluated together, and with that in roundings, in whether a pixel at the threshold survives and
// in its mask element.

// Pixels that are evaluated together: one at the threshold fails, and a survivor's mask element
// becomes 255.
template <ptrdiff_t lanes, class Form, class Row>
int32_t groupOfPixels(const Form& form, const Stage<float>& stage, float stageThreshold,
                      const Row& row, ptrdiff_t x) {
  float votes[lanes];
  store(votes, votesOf<lanes>(form, stage, row.reader.movedBy(x),
                              load<Lanes<float, lanes>>(row.deviations + x)));
  int32_t survivors = 0;
  for (ptrdiff_t i = 0; i < lanes; ++i) {
    const bool survives = (votes[i] > stageThreshold) & (row.mask[x + i] != 0);
    row.mask[x + i] = survives ? 255 : 0;
    survivors += survives;
  }
  return survivors;
}

// Blocks of 16 pixels, and single pixels behind them.
template <class Row>
int32_t denseRow(const Stage<float>& stage, float stageThreshold, const Row& row) {
  const FloatPlane<Order::sequence, Order::sequence, Addition::fused> inBlock;
  const FloatPlane<Order::sequence, Order::pairs, Addition::fused> behindBlocks;
  const ptrdiff_t whole = row.width & ~ptrdiff_t{15};
  int32_t survivors = 0;
  for (ptrdiff_t x = 0; x < whole; x += 8) {
    if (!anySelected<8>(row.mask + x)) continue;
    survivors += groupOfPixels<8>(inBlock, stage, stageThreshold, row, x);
  }
  return survivors + pixels(behindBlocks, stage, stageThreshold, row, whole, row.width);
}

// Groups of 4, 8 or 16 pixels are passed over where none of them is selected, then their quarters
// of 4. What is behind the last whole group is single pixels.
template <ptrdiff_t group, class Row>
int32_t sparseRow(const Stage<float>& stage, float stageThreshold, const Row& row) {
  const FloatPlane<Order::sequence, Order::sequence, Addition::rounded> inGroup;
  const FloatPlane<Order::pairs, Order::pairs, Addition::rounded> behindGroups;
  const ptrdiff_t whole = row.width & ~(group - 1);
  int32_t survivors = 0;
  for (ptrdiff_t x = 0; x < whole; x += group) {
    if (!anySelected<group>(row.mask + x)) continue;
    for (ptrdiff_t i = x; i < x + group; i += 4) {
      if (!anySelected<4>(row.mask + i)) continue;
      survivors += groupOfPixels<4>(inGroup, stage, stageThreshold, row, i);
    }
  }
  return survivors + pixels(behindGroups, stage, stageThreshold, row, whole, row.width);
}

// Runs rowKernel(stage, row) on every row of the mask with corner offsets that hold for all of
// them.
template <class Cell, class Word, class RowKernel>
NuvStatus apply(const Cell* pSrc, int32_t srcStep, const Word* pNorm, int32_t normStep,
                uint8_t* pMask, int32_t maskStep, NuviSize roiSize, int32_t* pPositive,
                const NuviHaarClassifier* pState, RowKernel rowKernel) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pNorm, pMask, pPositive, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pNorm, normStep, roiSize.width)
                               .step(pMask, maskStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep, normStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Stage<Word> stage(pState);
  const OwnedBlock<CornerOffsets> offsets(stage.featureCount);
  if (stage.featureCount > 0 && offsets.get() == nullptr) return nuvStatusNoMemory;
  const ptrdiff_t cellStep = srcStep / static_cast<int32_t>(sizeof(Cell));
  for (int32_t i = 0; i < stage.featureCount; ++i) {
    for (int k = 0; k < 4; ++k) {
      const NuviHaarCorner corner = stage.features[i].corners[k];
      offsets.get()[i].at[k] = corner.row * cellStep + corner.column;
    }
  }

  const Image<const Cell> src(pSrc, srcStep);
  const Image<const Word> norm(pNorm, normStep);
  const Image<uint8_t> mask(pMask, maskStep);
  int32_t survivors = 0;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const Row<Word, OnePlane<Cell>> row = {OnePlane<Cell>(src.row(y), offsets.get()), norm.row(y),
                                           mask.row(y), roiSize.width};
    survivors += rowKernel(stage, row);
  }
  *pPositive = survivors;
  return nuvStatusOk;
}

template <class Cell, class Word, class Form>
NuvStatus applyMixed(const Cell* pSrc, int32_t srcStep, const Cell* pTilt, int32_t tiltStep,
                     const Word* pNorm, int32_t normStep, uint8_t* pMask, int32_t maskStep,
                     NuviSize roiSize, int32_t* pPositive, Word threshold,
                     const NuviHaarClassifier* pState, const Form& form,
                     bool formIsAllowed = true) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pTilt, pNorm, pMask, pPositive, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pTilt, tiltStep, roiSize.width)
                               .step(pNorm, normStep, roiSize.width)
                               .step(pMask, maskStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep, tiltStep, normStep)
                               .require(formIsAllowed, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  // A tilted plane has a row and a column more than an upright one before its first pixel.
  using Plane = Image<const Cell>;
  const Stage<Word> stage(pState);
  const Plane src(pSrc, srcStep);
  const Plane tilt(Plane(pTilt, tiltStep).row(1) + 1, tiltStep);
  const Image<const Word> norm(pNorm, normStep);
  const Image<uint8_t> mask(pMask, maskStep);
  int32_t survivors = 0;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const TwoPlanes<Cell> planes(Plane(src.row(y), srcStep), Plane(tilt.row(y), tiltStep));
    const Row<Word, TwoPlanes<Cell>> row = {planes, norm.row(y), mask.row(y), roiSize.width};
    survivors += rowOfPixels(form, stage, threshold, row);
  }
  *pPositive = survivors;
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviApplyHaarClassifier_32f_C1R(const float* pSrc, int32_t srcStep, const float* pNorm,
                                          int32_t normStep, uint8_t* pMask, int32_t maskStep,
                                          NuviSize roiSize, int32_t* pPositive, float threshold,
                                          const NuviHaarClassifier* pState) {
  const int32_t area = gateArea(roiSize);
  return apply(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive, pState,
               [=](const Stage<float>& stage, const auto& row) {
                 const int32_t estimate = *pPositive;  // of the survivors, until all rows are done
                 if (estimate >= area >> 2) return denseRow(stage, threshold, row);
                 if (estimate >= area >> 3) return sparseRow<4>(stage, threshold, row);
                 if (estimate >= area >> 4) return sparseRow<8>(stage, threshold, row);
                 return sparseRow<16>(stage, threshold, row);
               });
}

NuvStatus nuviApplyHaarClassifier_32s32f_C1R(const int32_t* pSrc, int32_t srcStep,
                                             const float* pNorm, int32_t normStep, uint8_t* pMask,
                                             int32_t maskStep, NuviSize roiSize, int32_t* pPositive,
                                             float threshold, const NuviHaarClassifier* pState) {
  return apply(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive, pState,
               [=](const Stage<float>& stage, const auto& row) {
                 return rowOfPixels(IntegerPlane(), stage, threshold, row);
               });
}

NuvStatus nuviApplyHaarClassifier_32s_C1RSfs(const int32_t* pSrc, int32_t srcStep,
                                             const int32_t* pNorm, int32_t normStep, uint8_t* pMask,
                                             int32_t maskStep, NuviSize roiSize, int32_t* pPositive,
                                             int32_t threshold, const NuviHaarClassifier* pState,
                                             int32_t /*scaleFactor*/) {
  return apply(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive, pState,
               [=](const Stage<int32_t>& stage, const auto& row) {
                 return rowOfPixels(Integers(), stage, threshold, row);
               });
}

NuvStatus nuviApplyMixedHaarClassifier_32f_C1R(const float* pSrc, int32_t srcStep,
                                               const float* pTilt, int32_t tiltStep,
                                               const float* pNorm, int32_t normStep, uint8_t* pMask,
                                               int32_t maskStep, NuviSize roiSize,
                                               int32_t* pPositive, float threshold,
                                               const NuviHaarClassifier* pState) {
  const FloatPlane<Order::pairs, Order::pairs, Addition::rounded> form;
  return applyMixed(pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask, maskStep, roiSize,
                    pPositive, threshold, pState, form);
}

NuvStatus nuviApplyMixedHaarClassifier_32s32f_C1R(
    const int32_t* pSrc, int32_t srcStep, const int32_t* pTilt, int32_t tiltStep,
    const float* pNorm, int32_t normStep, uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
    int32_t* pPositive, float threshold, const NuviHaarClassifier* pState) {
  return applyMixed(pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask, maskStep, roiSize,
                    pPositive, threshold, pState, IntegerPlane());
}

NuvStatus nuviApplyMixedHaarClassifier_32s_C1RSfs(
    const int32_t* pSrc, int32_t srcStep, const int32_t* pTilt, int32_t tiltStep,
    const int32_t* pNorm, int32_t normStep, uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
    int32_t* pPositive, int32_t threshold, const NuviHaarClassifier* pState, int32_t scaleFactor) {
  return applyMixed(pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask, maskStep, roiSize,
                    pPositive, threshold, pState, WideIntegers(scaleFactor), scaleFactor <= 0);
}

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <type_traits>

#include "detect/haarstate.h"
#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class Word>
constexpr bool isFloat = std::is_same_v<Word, float>;

// A stage as it is told to the library. The arrays have an element more than is used, since the
// first rectangle is read even where there is none.
template <class Word>
struct Input {
  std::vector<NuviRect> rects = {{0, 0, 1, 1}};
  std::vector<Word> weights = {0}, thresholds = {0}, lows = {0}, highs = {0};
  std::vector<int32_t> counts = {0};

  NuvStatus initAlloc(bool tilted, NuviHaarClassifier** state) const {
    const auto call = [&](auto function) {
      return function(state, rects.data(), weights.data(), thresholds.data(), lows.data(),
                      highs.data(), counts.data(), static_cast<int32_t>(counts.size()) - 1);
    };
    if constexpr (isFloat<Word>) {
      return call(tilted ? nuviTiltedHaarClassifierInitAlloc_32f : nuviHaarClassifierInitAlloc_32f);
    } else {
      return call(tilted ? nuviTiltedHaarClassifierInitAlloc_32s : nuviHaarClassifierInitAlloc_32s);
    }
  }
  void addFeature(NuviRect rect, Word weight) {
    rects.insert(rects.end() - 1, rect);
    weights.insert(weights.end() - 1, weight);
  }
  void addClassifier(int32_t features, Word threshold, Word low, Word high) {
    counts.insert(counts.end() - 1, features);
    thresholds.insert(thresholds.end() - 1, threshold);
    lows.insert(lows.end() - 1, low);
    highs.insert(highs.end() - 1, high);
  }
};
template <class Word>
auto* const freeClassifier =
    isFloat<Word> ? nuviHaarClassifierFree_32f : nuviHaarClassifierFree_32s;
template <class Word>
auto* const getSize = isFloat<Word> ? nuviGetHaarClassifierSize_32f : nuviGetHaarClassifierSize_32s;
template <class Word>
auto* const tiltFeatures = isFloat<Word> ? nuviTiltHaarFeatures_32f : nuviTiltHaarFeatures_32s;

// A weak classifier as the reference evaluates it. The sum of a feature is that of its first and
// fourth corner less that of the second and third.
using Corners = std::array<NuviPoint, 4>;
template <class Word>
struct Weak {
  std::vector<Corners> features;
  std::vector<Word> weights;
  Word threshold, low, high;
  bool tilted;
};

// How a stage comes to its features.
enum class Kind { upright, turnedKeepingTop, turnedKeepingBottom, tilted };

template <class Word>
Corners cornersOf(NuviRect r, Kind kind) {
  const int32_t x = r.x, y = r.y, w = r.width, h = r.height, x2 = x + w, y2 = y + h;
  if (kind == Kind::upright) return {{{x2, y2}, {x, y2}, {x2, y}, {x, y}}};
  if (kind == Kind::tilted) return {{{x2 - h, y2 + w}, {x - h, y2}, {x2, y + w}, {x, y}}};
  if (kind == Kind::turnedKeepingTop) {
    if (isFloat<Word>) return {{{x2 - h, y2 + w}, {x - h, y2}, {x2, y + w}, {x, y}}};
    return {{{x, y + 2 * w}, {x - w, y + w}, {x2, y + w}, {x, y}}};
  }
  if (isFloat<Word>) return {{{x, y2}, {x - h, y}, {x2, y2 - w}, {x + w - h, y - w}}};
  return {{{x, y2}, {x - w, y2 - w}, {x2, y2 - w}, {x, y2 - 2 * w}}};
}

// A random stage: its state, and its classifiers in the order of their votes. Weights, thresholds
// and votes are such that sums often cancel and tie.
template <class Word>
struct Stage {
  Stage(Kind kind, const std::vector<int32_t>& counts, unsigned seed) {
    std::mt19937 random(seed);
    const auto oneOf = [&](std::initializer_list<double> few) {
      if (!isFloat<Word> && random() % 2 == 0) return static_cast<Word>(random());
      return static_cast<Word>(few.begin()[random() % few.size()]);
    };
    const auto upTo = [&](unsigned end) { return static_cast<int32_t>(random() % end); };
    Input<Word> input;
    std::vector<uint8_t> turned;
    std::vector<Weak<Word>> inputOrder;
    const bool turns = kind == Kind::turnedKeepingTop || kind == Kind::turnedKeepingBottom;
    for (const int32_t count : counts) {
      turned.push_back(random() % 2 == 0 ? 16 : 0);
      const Kind own = turns && turned.back() == 0 ? Kind::upright : kind;
      Weak<Word> weak = {
          {}, {}, oneOf({0, 0, 1, -1.5, 3}), oneOf({-1, 0}), oneOf({1, 2}), own != Kind::upright};
      for (int32_t i = 0; i < count; ++i) {
        NuviRect rect = {upTo(6), upTo(6), 1 + upTo(6), 1 + upTo(6)};
        if (kind == Kind::tilted) rect.height = std::min(rect.height, rect.x + 1);
        weak.features.push_back(cornersOf<Word>(rect, own));
        weak.weights.push_back(oneOf({-1, 1, 2, -0.7, 0.7, 0.35}));
        input.addFeature(rect, weak.weights.back());
      }
      input.addClassifier(count, weak.threshold, weak.low, weak.high);
      inputOrder.push_back(weak);
    }
    EXPECT_EQ(nuvStatusOk, input.initAlloc(kind == Kind::tilted, &state));
    turned.push_back(0);
    if (turns) {
      EXPECT_EQ(nuvStatusOk,
                tiltFeatures<Word>(turned.data(), kind == Kind::turnedKeepingTop ? 5 : 0, state));
    }
    for (size_t group = 0; group < 4; ++group) {
      for (const auto& weak : inputOrder) {
        const size_t count = weak.features.size();
        if (group == (kind == Kind::tilted ? 0 : count == 2 ? 1 : count == 3 ? 2 : 3)) {
          classifiers.push_back(weak);
        }
      }
    }
  }
  ~Stage() { EXPECT_EQ(nuvStatusOk, freeClassifier<Word>(state)); }

  NuviHaarClassifier* state = nullptr;
  std::vector<Weak<Word>> classifiers;
};

// The arithmetic of a pixel, where a form has more than one.
struct Rule {
  bool firstInSequence, laterInSequence, fusedAddition;  // float planes
  bool wide;                                             // the mixed integer form
  int32_t scaleFactor;
  bool lone;  // survives at the threshold, and keeps its mask element
};

int32_t wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint64_t>(value)); }
int32_t sumOf(const std::array<int32_t, 4>& c) { return wrap(int64_t{c[0]} - c[1] - c[2] + c[3]); }

bool isBelow(const Weak<float>& weak, const std::vector<std::array<float, 4>>& cells,
             float deviation, const Rule& rule) {
  float total = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    const auto& c = cells[i];
    const bool inSequence = i == 0 ? rule.firstInSequence : rule.laterInSequence;
    const float sum = inSequence ? ((c[0] - c[1]) - c[2]) + c[3] : (c[0] - c[1]) - (c[2] - c[3]);
    total =
        rule.fusedAddition ? std::fma(sum, weak.weights[i], total) : total + sum * weak.weights[i];
  }
  return total < weak.threshold * deviation;
}
bool isBelow(const Weak<float>& weak, const std::vector<std::array<int32_t, 4>>& cells,
             float deviation, const Rule&) {
  float total = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    total += static_cast<float>(sumOf(cells[i])) * weak.weights[i];
  }
  return total < weak.threshold * deviation;
}
bool isBelow(const Weak<int32_t>& weak, const std::vector<std::array<int32_t, 4>>& cells,
             int32_t deviation, const Rule& rule) {
  int64_t total = 0;
  for (size_t i = 0; i < cells.size(); ++i)
    total += wrap(int64_t{sumOf(cells[i])} * weak.weights[i]);
  const int64_t limit = int64_t{weak.threshold} * deviation;
  if (!rule.wide) return wrap(total) < wrap(limit);
  const int64_t shift = -int64_t{rule.scaleFactor};
  uint64_t bits = static_cast<uint64_t>(total);
  bits = shift < 32 ? bits << shift : (bits << 32) << (shift % 32);
  return static_cast<int64_t>(bits) < limit;
}

float addVote(float votes, float vote) { return votes + vote; }
int32_t addVote(int32_t votes, int32_t vote) { return wrap(int64_t{votes} + vote); }

// How a pixel of nuviApplyHaarClassifier_32f_C1R is evaluated.
Rule ruleAt(int32_t x, NuviSize size, int32_t estimate) {
  const int32_t area = size.width * size.height;
  if (estimate >= area / 4) {
    const bool inBlock = x < size.width / 16 * 16;
    return {true, inBlock, true, false, 0, !inBlock};
  }
  const int32_t group = estimate >= area / 8 ? 4 : estimate >= area / 16 ? 8 : 16;
  const bool inGroup = x < size.width / group * group;
  return {inGroup, inGroup, false, false, 0, !inGroup};
}

// A plane of exactly the cells that the stage reads for the columns from `first` up to `end`.
template <class Cell>
struct Plane {
  template <class Word>
  Plane(const std::vector<Weak<Word>>& classifiers, bool mixed, bool tilted, NuviSize size,
        int32_t first, int32_t end, Against against) {
    NuviPoint low = {INT32_MAX, INT32_MAX}, high = {INT32_MIN, INT32_MIN};
    for (const auto& weak : classifiers) {
      if (mixed && weak.tilted != tilted) continue;
      for (const Corners& corners : weak.features) {
        for (const NuviPoint corner : corners) {
          low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
          high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
        }
      }
    }
    if (low.x > high.x) low = high = {0, 0};
    const NuviSize cells = {end - first + high.x - low.x, size.height + high.y - low.y};
    image = std::make_unique<TestImage<Cell>>(cells, 1, std::max(0, size.width - cells.width) + 1,
                                              against);
    origin = {low.x + first, low.y};
  }
  // Where the cell with these coordinates stands, which may be outside.
  const Cell* cell(ptrdiff_t x, ptrdiff_t y) const {
    const auto bytes = (y - origin.y) * image->step() + (x - origin.x) * ptrdiff_t{sizeof(Cell)};
    return reinterpret_cast<const Cell*>(reinterpret_cast<uintptr_t>(image->data()) +
                                         static_cast<uintptr_t>(bytes));
  }

  std::unique_ptr<TestImage<Cell>> image;
  NuviPoint origin;
};

// The six forms: `images` are planes, norm, mask, size and count.
template <class Cell, class Word, class... Images>
NuvStatus apply(bool mixed, const Cell* src, int32_t srcStep, const Cell* tilt, int32_t tiltStep,
                int32_t scaleFactor, Images... images) {
  if constexpr (isFloat<Cell>) {
    return mixed ? nuviApplyMixedHaarClassifier_32f_C1R(src, srcStep, tilt, tiltStep, images...)
                 : nuviApplyHaarClassifier_32f_C1R(src, srcStep, images...);
  } else if constexpr (isFloat<Word>) {
    return mixed ? nuviApplyMixedHaarClassifier_32s32f_C1R(src, srcStep, tilt, tiltStep, images...)
                 : nuviApplyHaarClassifier_32s32f_C1R(src, srcStep, images...);
  } else {
    return mixed ? nuviApplyMixedHaarClassifier_32s_C1RSfs(src, srcStep, tilt, tiltStep, images...,
                                                           scaleFactor)
                 : nuviApplyHaarClassifier_32s_C1RSfs(src, srcStep, images..., scaleFactor);
  }
}

template <class Cell, class Word>
void check(bool mixed, Kind kind, NuviSize size, unsigned oneOf, int32_t estimate,
           int32_t scaleFactor, unsigned seed) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " kind " +
               std::to_string(static_cast<int>(kind)) + (mixed ? " mixed" : "") + " estimate " +
               std::to_string(estimate) + " scale " + std::to_string(scaleFactor));
  const std::vector<int32_t> mixtures[] = {{2, 1, 3, 2, 5, 4, 3, 13, 2}, {2, 2, 2}, {3}, {1}, {}};
  const Stage<Word> stage(kind, mixtures[seed % 5 == 4 ? seed / 5 % 5 : 0], seed);
  // In the strategies of the float plane neighbours are evaluated too; elsewhere the cells of
  // pixels that are not selected need not exist.
  const bool anywhere = isFloat<Cell> && !mixed;
  const int32_t first = anywhere ? 0 : std::min(2, size.width - 1);
  const int32_t end = anywhere ? size.width : std::max(first + 1, size.width - 3);
  const Against against = seed % 2 == 0 ? Against::end : Against::begin;
  const Plane<Cell> upright(stage.classifiers, mixed, false, size, first, end, against);
  const Plane<Cell> tilted(stage.classifiers, mixed, true, size, first, end, against);
  std::mt19937 random(seed);
  for (const auto* plane : {&upright, &tilted}) {
    plane->image->fill([&] {
      // Where floats are not exact any more: the order of a sum decides.
      if (isFloat<Cell>) return Cell(16777208 + random() % 16);
      return static_cast<Cell>(seed % 3 == 0 ? random() % 8 : random());
    });
  }
  TestImage<Word> norm(size, 1, 1, against);
  norm.fill([&] { return seed % 3 == 0 || isFloat<Word> ? Word(random() % 3) : Word(random()); });
  TestImage<uint8_t> mask(size, 1, 3, against), expected(size);
  mask.fill([&] { return random() % oneOf == 0 ? 1 + random() % 255 : 0; });

  std::vector<Word> sums;
  const auto evaluate = [&](int32_t x, int32_t y, const Rule& rule) {
    Word votes = 0;
    for (const auto& weak : stage.classifiers) {
      const auto& plane = mixed && weak.tilted ? tilted : upright;
      std::vector<std::array<Cell, 4>> cells;
      for (const Corners& corners : weak.features) {
        cells.emplace_back();
        for (size_t k = 0; k < 4; ++k) {
          cells.back()[k] = *plane.cell(x + corners[k].x, y + corners[k].y);
        }
      }
      votes = addVote(votes, isBelow(weak, cells, norm.at(x, y), rule) ? weak.low : weak.high);
    }
    sums.push_back(votes);
  };
  const auto forSelected = [&](auto visit) {
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        if (x < first || x >= end) mask.at(x, y) = 0;
        if (mask.at(x, y) == 0) continue;
        visit(x, y,
              anywhere ? ruleAt(x, size, estimate)
                       : Rule{false, false, false, mixed, scaleFactor, true});
      }
    }
  };
  forSelected(evaluate);
  std::vector<Word> sorted = sums;
  std::sort(sorted.begin(), sorted.end());
  const Word threshold = sorted.empty() ? Word(0) : sorted[sorted.size() / 2];
  int32_t survivors = 0;
  size_t next = 0;
  expected.fill([] { return 0; });
  forSelected([&](int32_t x, int32_t y, const Rule& rule) {
    const Word votes = sums[next++];
    if (rule.lone ? votes < threshold : votes <= threshold) return;
    ++survivors;
    expected.at(x, y) = rule.lone ? mask.at(x, y) : 255;
  });

  // The origin of a tilted plane stands a row down and a column right of what is passed.
  int32_t positive = estimate;
  ASSERT_EQ(nuvStatusOk, (apply<Cell, Word>(mixed, upright.cell(0, 0), upright.image->step(),
                                            tilted.cell(-1, -1), tilted.image->step(), scaleFactor,
                                            norm.data(), norm.step(), mask.data(), mask.step(),
                                            size, &positive, threshold, stage.state)));
  ASSERT_EQ(survivors, positive);
  ASSERT_EQ(expected.bytes(), mask.bytes());
  ASSERT_TRUE(mask.padsUntouched());
}

template <class Cell, class Word>
void checkForm(bool mixed) {
  unsigned seed = 0;
  for (const Kind kind :
       {Kind::upright, Kind::turnedKeepingTop, Kind::turnedKeepingBottom, Kind::tilted}) {
    for (const int32_t width : {1, 2, 3, 4, 7, 8, 9, 13, 16, 18, 21, 31, 32, 35, 47, 70}) {
      const NuviSize size = {width, 1 + width % 4};
      const int32_t area = size.width * size.height;
      for (const unsigned oneOf : {1, 3, 25}) {
        for (const int32_t estimate : {area, area / 4, area / 8, area / 16, area / 16 - 1}) {
          const int32_t scaleFactors[] = {0, -1, -7, -31, -32, -45, INT32_MIN};
          check<Cell, Word>(mixed, kind, size, oneOf, estimate,
                            mixed ? scaleFactors[seed % 7] : static_cast<int32_t>(seed), seed);
          ++seed;
        }
      }
    }
  }
}

TEST(HaarClassifier, FloatsMatchReference) { checkForm<float, float>(false); }
TEST(HaarClassifier, IntegerPlaneMatchesReference) { checkForm<int32_t, float>(false); }
TEST(HaarClassifier, IntegersMatchReference) { checkForm<int32_t, int32_t>(false); }
TEST(HaarClassifier, MixedFloatsMatchReference) { checkForm<float, float>(true); }
TEST(HaarClassifier, MixedIntegerPlaneMatchesReference) { checkForm<int32_t, float>(true); }
TEST(HaarClassifier, MixedIntegersMatchReference) { checkForm<int32_t, int32_t>(true); }

// A classifier that asks whether a square is brighter than a surrounding one finds the square.
TEST(HaarClassifier, FindsABrightSquare) {
  const NuviSize size = {40, 30}, positions = {32, 22};
  TestImage<uint8_t> src(size);
  src.fill([] { return 20; });
  for (int32_t y = 10; y < 14; ++y) std::fill_n(&src.at(17, y), 4, uint8_t{200});
  TestImage<int32_t> sums({41, 31});
  ASSERT_EQ(nuvStatusOk,
            nuviIntegral_8u32s_C1R(src.data(), src.step(), sums.data(), sums.step(), size, 0));
  Input<int32_t> input;
  input.addFeature({0, 0, 8, 8}, -1);
  input.addFeature({2, 2, 4, 4}, 4);
  input.addClassifier(2, 16 * 3 * 180, -1, 1);  // four times the square less all, at contrast 1
  NuviHaarClassifier* state = nullptr;
  ASSERT_EQ(nuvStatusOk, input.initAlloc(false, &state));
  TestImage<int32_t> norm(positions);
  norm.fill([] { return 1; });
  TestImage<uint8_t> mask(positions);
  mask.fill([] { return 255; });
  int32_t positive = 0;
  ASSERT_EQ(nuvStatusOk, nuviApplyHaarClassifier_32s_C1RSfs(sums.data(), sums.step(), norm.data(),
                                                            norm.step(), mask.data(), mask.step(),
                                                            positions, &positive, 1, state, 0));
  EXPECT_EQ(1, positive);
  EXPECT_EQ(255, mask.at(15, 8));
  EXPECT_EQ(nuvStatusOk, nuviHaarClassifierFree_32s(state));
}

template <class Word>
class HaarState : public testing::Test {};
using Words = testing::Types<float, int32_t>;
TYPED_TEST_SUITE(HaarState, Words);

TYPED_TEST(HaarState, HoldsBoundsCountsAndSize) {
  Input<TypeParam> input;
  input.addClassifier(1, 1, 2, 3);
  input.addFeature({5, 6, 4, 2}, -1);  // the seed is the size 4 by 2
  input.addClassifier(3, 1, 2, 3);
  input.addFeature({2, 7, 3, 1}, static_cast<TypeParam>(-1.5));
  input.addFeature({6, 3, 2, 9}, 1);
  input.addFeature({4, 4, 1, 1}, 1);
  input.addClassifier(2, 1, 2, 3);
  input.addFeature({3, 8, 3, 3}, -1);
  input.addFeature({8, 8, 1, 1}, 1);
  NuviHaarClassifier* state = nullptr;
  ASSERT_EQ(nuvStatusOk, input.initAlloc(false, &state));
  EXPECT_EQ(3, state->classifierCount);
  EXPECT_EQ(6, state->featureCount);
  // By the walk through the stored order: the right edge 9 is first compared with 4 + 3, the lower
  // edge 11 with 2 + 6, and the lower edge 12 with 11 + 3.
  EXPECT_EQ(2, state->boundX);
  EXPECT_EQ(3, state->boundY);
  EXPECT_EQ(9 - 2, state->boundWidth);
  EXPECT_EQ(11 - 3, state->boundHeight);
  const std::array<int32_t, 3> counts = {state->counts[0], state->counts[1], state->counts[2]};
  EXPECT_EQ(
      (isFloat<TypeParam> ? std::array<int32_t, 3>{1, 2, 6} : std::array<int32_t, 3>{6, 1, 2}),
      counts);
  if (isFloat<TypeParam>) {
    EXPECT_EQ(1, state->firstWeightsAllMinusOne);
  }
  NuviSize size = {};
  EXPECT_EQ(nuvStatusOk, getSize<TypeParam>(state, &size));
  EXPECT_EQ(9, size.width);
  EXPECT_EQ(12, size.height);
  EXPECT_EQ(nuvStatusNullPointer, getSize<TypeParam>(state, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, getSize<TypeParam>(nullptr, &size));

  // Tilted once: the right corners tell the width, the bottom ones the height.
  const uint8_t nothing[3] = {}, first[3] = {1, 0, 0};
  EXPECT_EQ(nuvStatusNullPointer, tiltFeatures<TypeParam>(nullptr, 1, state));
  EXPECT_EQ(nuvStatusNullPointer, tiltFeatures<TypeParam>(first, 1, nullptr));
  EXPECT_EQ(nuvStatusOk, tiltFeatures<TypeParam>(nothing, 1, state));
  EXPECT_EQ(nuvStatusOk, tiltFeatures<TypeParam>(first, 1, state));
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<TypeParam>(first, 1, state));
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<TypeParam>(nothing, 0, state));
  EXPECT_EQ(nuvStatusOk, getSize<TypeParam>(state, &size));
  EXPECT_EQ(9, size.width);
  EXPECT_EQ(isFloat<TypeParam> ? 6 + 4 + 2 : 6 + 2 * 4, size.height);
  EXPECT_EQ(nuvStatusOk, freeClassifier<TypeParam>(state));
  EXPECT_EQ(nuvStatusNullPointer, freeClassifier<TypeParam>(nullptr));
}

TYPED_TEST(HaarState, TiltedOneIsBoundedByItsDiamonds) {
  Input<TypeParam> input;
  input.addClassifier(2, 1, 2, 3);
  input.addFeature({3, 5, 6, 4}, -1);  // the left corner at column -1; the seed is 2 by 10
  input.addFeature({2, 4, 1, 1}, 1);
  NuviHaarClassifier* state = nullptr;
  ASSERT_EQ(nuvStatusOk, input.initAlloc(true, &state));
  EXPECT_EQ(2, state->boundX);
  EXPECT_EQ(4, state->boundY);
  EXPECT_EQ(0, state->boundWidth);
  EXPECT_EQ(6, state->boundHeight);
  EXPECT_EQ(1u, state->flags);
  NuviSize size = {};
  EXPECT_EQ(nuvStatusOk, getSize<TypeParam>(state, &size));
  EXPECT_EQ(9, size.width);
  EXPECT_EQ(15, size.height);
  const uint8_t all[1] = {1};
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<TypeParam>(all, 1, state));
  EXPECT_EQ(nuvStatusOk, freeClassifier<TypeParam>(state));
}

TYPED_TEST(HaarState, RefusesBadStages) {
  NuviHaarClassifier here = {};
  for (const bool tilted : {false, true}) {
    const auto expect = [&](const Input<TypeParam>& input, NuvStatus status, bool clears) {
      NuviHaarClassifier* state = &here;
      EXPECT_EQ(status, input.initAlloc(tilted, &state));
      EXPECT_EQ(clears ? nullptr : &here, state);
    };
    Input<TypeParam> input;
    expect({{}, {}, {}, {}, {}, {}}, nuvStatusNullPointer, false);
    EXPECT_EQ(nuvStatusNullPointer, input.initAlloc(tilted, nullptr));
    input.addFeature({-1, 0, 1, 1}, 1);
    input.addClassifier(0, 0, 0, 0);
    expect(input, nuvStatusBadSize, false);
    input.counts[0] = 1 << 26;  // more than can be allocated
    const bool looksFirst = isFloat<TypeParam> && !tilted;
    expect(input, looksFirst ? nuvStatusBadArgument : nuvStatusNoMemory, false);
    input.counts[0] = 1;
    for (const NuviRect rect :
         {NuviRect{-1, 0, 1, 1}, {0, -1, 1, 1}, {0, 0, 0, 1}, {0, 0, 1, 0}, {4, 0, 1, 6}}) {
      if (rect.x == 4 && !tilted) continue;  // only a tilted one may not lean out so far
      input.rects[0] = rect;
      expect(input, nuvStatusBadArgument, !looksFirst);
    }
    NuviHaarClassifier* state = &here;
    const NuviRect rect = {0, 0, 1, 1};
    const TypeParam word = 0;
    const int32_t count = 0;
    const auto negative = [&](auto function) {
      return function(&state, &rect, &word, &word, &word, &word, &count, -1);
    };
    if constexpr (isFloat<TypeParam>) {
      EXPECT_EQ(nuvStatusBadSize, negative(tilted ? nuviTiltedHaarClassifierInitAlloc_32f
                                                  : nuviHaarClassifierInitAlloc_32f));
    } else {
      EXPECT_EQ(nuvStatusBadSize, negative(tilted ? nuviTiltedHaarClassifierInitAlloc_32s
                                                  : nuviHaarClassifierInitAlloc_32s));
    }
    EXPECT_EQ(&here, state);
  }
}

template <class Cell, class Word>
void checkOrder() {
  const Stage<Word> stage(Kind::upright, {2}, 1);
  const Cell cells[16] = {};
  const Word norm[4] = {};
  for (const bool mixed : {false, true}) {
    uint8_t mask[4] = {7, 7, 7, 7};
    int32_t positive = 5;
    const auto call = [&](const Cell* src, int32_t srcStep, int32_t tiltStep, int32_t normStep,
                          int32_t maskStep, NuviSize size, const NuviHaarClassifier* state,
                          int32_t scale = 0) {
      return apply<Cell, Word>(mixed, src, srcStep, cells, tiltStep, scale, norm, normStep, mask,
                               maskStep, size, &positive, Word(0), state);
    };
    const NuviSize size = {2, 1};
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 8, 8, 8, 2, {0, 1}, stage.state));
    EXPECT_EQ(nuvStatusNullPointer, call(cells, 8, 8, 8, 2, {2, 0}, nullptr));
    EXPECT_EQ(nuvStatusBadSize, call(cells, 7, 8, 8, 2, {2, 0}, stage.state));
    EXPECT_EQ(nuvStatusBadSize, call(cells, 8, 8, 8, 1, {0, 1}, stage.state));
    EXPECT_EQ(nuvStatusBadStep, call(cells, 7, 8, 9, 2, size, stage.state, 1));
    EXPECT_EQ(nuvStatusBadStep, call(cells, 9, 8, 7, 2, size, stage.state, 1));
    EXPECT_EQ(nuvStatusBadStep, call(cells, 9, 9, 9, 1, size, stage.state, 1));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(cells, 9, 8, 8, 2, size, stage.state, 1));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(cells, 8, 8, 10, 2, size, stage.state, 1));
    if (mixed) {
      EXPECT_EQ(nuvStatusBadStep, call(cells, 9, 7, 8, 2, size, stage.state, 1));
      EXPECT_EQ(nuvStatusStepNotElementMultiple, call(cells, 8, 9, 8, 2, size, stage.state, 1));
      EXPECT_EQ(nuvStatusNullPointer,
                (apply<Cell, Word>(true, cells, 8, nullptr, 8, 1, norm, 8, mask, 2, NuviSize{0, 0},
                                   &positive, Word(0), stage.state)));
      if (!isFloat<Word>) {
        EXPECT_EQ(nuvStatusBadArgument, call(cells, 8, 8, 8, 2, size, stage.state, 1));
      }
    }
    EXPECT_EQ(5, positive);
    for (const uint8_t element : mask) EXPECT_EQ(7, element);
  }
}

TEST(HaarClassifierChecks, FirstFailureInOrderAndNothingWritten) {
  checkOrder<float, float>();
  checkOrder<int32_t, float>();
  checkOrder<int32_t, int32_t>();
}

}  // namespace

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

// How a classifier comes to its features: upright or tilted from the beginning, or turned, with the
// top kept or the bottom.
enum class Kind { upright, turnedKeepingTop, turnedKeepingBottom, tilted };

template <class Word>
struct Weak {
  std::vector<NuviRect> rects;
  std::vector<Word> weights;
  Word threshold, low, high;
  Kind kind = Kind::upright;
};

// The arrays of a stage. They have an element more than is used, since the first rectangle is read
// even where there is none.
template <class Word>
struct Input {
  explicit Input(const std::vector<Weak<Word>>& classifiers)
      : length(static_cast<int32_t>(classifiers.size())) {
    for (const auto& weak : classifiers) {
      rects.insert(rects.end(), weak.rects.begin(), weak.rects.end());
      weights.insert(weights.end(), weak.weights.begin(), weak.weights.end());
      counts.push_back(static_cast<int32_t>(weak.rects.size()));
      thresholds.push_back(weak.threshold);
      lows.push_back(weak.low);
      highs.push_back(weak.high);
    }
    rects.push_back({0, 0, 1, 1});
    counts.push_back(0);
    for (auto* words : {&weights, &thresholds, &lows, &highs}) words->push_back(0);
  }
  NuvStatus initAlloc(bool tilted, NuviHaarClassifier** state, bool withVotes = true) const {
    const auto call = [&](auto function) {
      return function(state, rects.data(), weights.data(), thresholds.data(), lows.data(),
                      withVotes ? highs.data() : nullptr, counts.data(), length);
    };
    if constexpr (isFloat<Word>) {
      return call(tilted ? nuviTiltedHaarClassifierInitAlloc_32f : nuviHaarClassifierInitAlloc_32f);
    } else {
      return call(tilted ? nuviTiltedHaarClassifierInitAlloc_32s : nuviHaarClassifierInitAlloc_32s);
    }
  }

  int32_t length;
  std::vector<NuviRect> rects;
  std::vector<Word> weights, thresholds, lows, highs;
  std::vector<int32_t> counts;
};
template <class Word>
auto* const freeClassifier =
    isFloat<Word> ? nuviHaarClassifierFree_32f : nuviHaarClassifierFree_32s;
template <class Word>
auto* const getSize = isFloat<Word> ? nuviGetHaarClassifierSize_32f : nuviGetHaarClassifierSize_32s;
template <class Word>
auto* const tiltFeatures = isFloat<Word> ? nuviTiltHaarFeatures_32f : nuviTiltHaarFeatures_32s;

// A random stage: its state, and its classifiers in the order of their votes. Weights, thresholds
// and votes are such that sums often cancel and tie.
template <class Word>
struct Stage {
  Stage(Kind kind, const std::vector<size_t>& counts, unsigned seed) {
    std::mt19937 random(seed);
    const auto oneOf = [&](std::initializer_list<double> few) {
      if (!isFloat<Word> && random() % 2 == 0) return static_cast<Word>(random());
      return static_cast<Word>(few.begin()[random() % few.size()]);
    };
    const auto upTo = [&](unsigned end) { return static_cast<int32_t>(random() % end); };
    const bool turns = kind == Kind::turnedKeepingTop || kind == Kind::turnedKeepingBottom;
    std::vector<uint8_t> turned = {0};  // one element more than classifiers
    for (const size_t count : counts) {
      Weak<Word> weak = {{}, {}, oneOf({0, 0, 1, -1.5, 3}), oneOf({-1, 0}), oneOf({1, 2}), kind};
      while (weak.rects.size() < count) {
        NuviRect rect = {upTo(6), upTo(6), 1 + upTo(6), 1 + upTo(6)};
        if (kind == Kind::tilted) rect.height = std::min(rect.height, rect.x + 1);
        weak.rects.push_back(rect);
        weak.weights.push_back(oneOf({-1, 1, 2, -0.7, 0.7, 0.35}));
      }
      turned.insert(turned.end() - 1, random() % 2 == 0 ? 16 : 0);
      if (turns && turned.end()[-2] == 0) weak.kind = Kind::upright;
      classifiers.push_back(weak);
    }
    EXPECT_EQ(nuvStatusOk, Input<Word>(classifiers).initAlloc(kind == Kind::tilted, &state));
    if (kind == Kind::tilted) return;  // stored as they came; else by their number of features
    if (turns) {
      EXPECT_EQ(nuvStatusOk,
                tiltFeatures<Word>(turned.data(), kind == Kind::turnedKeepingTop ? 5 : 0, state));
    }
    const auto group = [](size_t count) { return count == 2 ? 0 : count == 3 ? 1 : 2; };
    std::stable_sort(classifiers.begin(), classifiers.end(), [&](const auto& a, const auto& b) {
      return group(a.rects.size()) < group(b.rects.size());
    });
  }
  ~Stage() { EXPECT_EQ(nuvStatusOk, freeClassifier<Word>(state)); }

  NuviHaarClassifier* state = nullptr;
  std::vector<Weak<Word>> classifiers;
};

// The sum of a feature is that of its first and fourth corner less that of the second and third.
template <class Word>
std::array<NuviPoint, 4> cornersOf(NuviRect r, Kind kind) {
  const int32_t x = r.x, y = r.y, w = r.width, h = r.height, x2 = x + w, y2 = y + h;
  if (kind == Kind::upright) return {{{x2, y2}, {x, y2}, {x2, y}, {x, y}}};
  if (kind == Kind::tilted || (kind == Kind::turnedKeepingTop && isFloat<Word>)) {
    return {{{x2 - h, y2 + w}, {x - h, y2}, {x2, y + w}, {x, y}}};
  }
  if (kind == Kind::turnedKeepingTop) {
    return {{{x, y + 2 * w}, {x - w, y + w}, {x2, y + w}, {x, y}}};
  }
  if (isFloat<Word>) return {{{x, y2}, {x - h, y}, {x2, y2 - w}, {x + w - h, y - w}}};
  return {{{x, y2}, {x - w, y2 - w}, {x2, y2 - w}, {x, y2 - 2 * w}}};
}

// How the features of a pixel of a float plane are summed; a lone pixel survives at the threshold
// and keeps its mask element.
struct Rule {
  bool firstInSequence = false, laterInSequence = false, fusedAddition = false, lone = true;
};
Rule ruleOfStrategy(int32_t x, NuviSize size, int32_t estimate) {
  const int32_t area = size.width * size.height;
  if (estimate >= area / 4) {
    const bool inBlock = x < size.width / 16 * 16;
    return {true, inBlock, true, !inBlock};
  }
  const int32_t group = estimate >= area / 8 ? 4 : estimate >= area / 16 ? 8 : 16;
  const bool inGroup = x < size.width / group * group;
  return {inGroup, inGroup, false, !inGroup};
}

int32_t wrap(int64_t value) { return static_cast<int32_t>(value); }
int32_t sumOf(const std::array<int32_t, 4>& c, bool) {
  return wrap(int64_t{c[0]} - c[1] - c[2] + c[3]);
}
float sumOf(const std::array<float, 4>& c, bool inSequence) {
  return inSequence ? ((c[0] - c[1]) - c[2]) + c[3] : (c[0] - c[1]) - (c[2] - c[3]);
}

// The votes for a pixel; `cell` yields the cell at one corner of a classifier's feature. Only the
// mixed integer form has a scale factor, and is wide.
template <class Cell, class CellAt>
float votesOf(const Stage<float>& stage, CellAt cell, float deviation, const Rule& rule, bool,
              int32_t) {
  float votes = 0;
  for (const auto& weak : stage.classifiers) {
    float total = 0;
    for (size_t i = 0; i < weak.rects.size(); ++i) {
      const bool inSequence = i == 0 ? rule.firstInSequence : rule.laterInSequence;
      const auto sum = static_cast<float>(sumOf(cell(weak, i), inSequence));
      total = rule.fusedAddition ? std::fma(sum, weak.weights[i], total)
                                 : total + sum * weak.weights[i];
    }
    votes += total < weak.threshold * deviation ? weak.low : weak.high;
  }
  return votes;
}
template <class Cell, class CellAt>
int32_t votesOf(const Stage<int32_t>& stage, CellAt cell, int32_t deviation, const Rule&, bool wide,
                int32_t scaleFactor) {
  int64_t votes = 0;
  for (const auto& weak : stage.classifiers) {
    int64_t total = 0;
    for (size_t i = 0; i < weak.rects.size(); ++i) {
      total += wrap(int64_t{sumOf(cell(weak, i), false)} * weak.weights[i]);
    }
    const int64_t limit = int64_t{weak.threshold} * deviation;
    const int64_t shift = wide ? -int64_t{scaleFactor} : 0;
    const uint64_t moved = static_cast<uint64_t>(total) << (shift < 32 ? shift : 32);
    const auto scaled = static_cast<int64_t>(shift < 32 ? moved : moved << (shift % 32));
    const bool below = wide ? scaled < limit : wrap(total) < wrap(limit);
    votes += below ? weak.low : weak.high;
  }
  return wrap(votes);
}

// The six forms: `images` are norm, mask, size, count, threshold and state.
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
  const std::vector<size_t> mixtures[] = {{2, 1, 3, 2, 5, 4, 3, 13, 2}, {2, 2, 2}, {3}, {1}, {}};
  const Stage<Word> stage(kind, mixtures[seed % 5 == 4 ? seed / 5 % 5 : 0], seed);
  // In the strategies of the float plane neighbours are evaluated too; elsewhere the cells of
  // pixels that are not selected need not exist.
  const bool anywhere = isFloat<Cell> && !mixed;
  const int32_t first = anywhere ? 0 : std::min(2, size.width - 1);
  const int32_t end = anywhere ? size.width : std::max(first + 1, size.width - 3);
  const Against against = seed % 2 == 0 ? Against::end : Against::begin;

  // Planes of exactly the cells from `low` to `high` around the selected pixels.
  std::vector<int32_t> columns, rows;
  for (const auto& weak : stage.classifiers) {
    for (const NuviRect rect : weak.rects) {
      for (const NuviPoint corner : cornersOf<Word>(rect, weak.kind)) {
        columns.push_back(corner.x);
        rows.push_back(corner.y);
      }
    }
  }
  if (columns.empty()) columns = rows = {0};
  const auto [left, right] = std::minmax_element(columns.begin(), columns.end());
  const auto [top, bottom] = std::minmax_element(rows.begin(), rows.end());
  const NuviPoint low = {*left, *top}, high = {*right, *bottom};
  const NuviSize cells = {end - first + high.x - low.x, size.height + high.y - low.y};
  const int32_t pad = std::max(0, size.width - cells.width) + 1;
  TestImage<Cell> upright(cells, 1, pad, against), tilted(cells, 1, pad + 2, against);
  // Where cell 0, 0 stands, which may be outside.
  const auto origin = [&](const TestImage<Cell>& plane) {
    const auto bytes = low.y * ptrdiff_t{plane.step()} + (low.x + first) * ptrdiff_t{sizeof(Cell)};
    return reinterpret_cast<uintptr_t>(plane.data()) - static_cast<uintptr_t>(bytes);
  };
  std::mt19937 random(seed);
  for (auto* plane : {&upright, &tilted}) {
    plane->fill([&] {
      // Where floats are not exact any more: the order of a sum decides.
      if (isFloat<Cell>) return Cell(16777208 + random() % 16);
      return static_cast<Cell>(seed % 3 == 0 ? random() % 8 : random());
    });
  }
  TestImage<Word> norm(size, 1, 1, against);
  norm.fill([&] { return seed % 3 == 0 || isFloat<Word> ? Word(random() % 3) : Word(random()); });
  TestImage<uint8_t> mask(size, 1, 3, against), expected(size);
  mask.fill([&] { return random() % oneOf == 0 ? 1 + random() % 255 : 0; });
  expected.fill([] { return 0; });

  struct Pixel {
    int32_t x, y;
    bool lone;
    Word votes;
  };
  std::vector<Pixel> pixels;
  std::vector<Word> votes = {0};
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      if (x < first || x >= end) mask.at(x, y) = 0;
      if (mask.at(x, y) == 0) continue;
      const Rule rule = anywhere ? ruleOfStrategy(x, size, estimate) : Rule();
      const auto cell = [&](const Weak<Word>& weak, size_t i) {
        const auto& plane = mixed && weak.kind != Kind::upright ? tilted : upright;
        std::array<Cell, 4> result;
        const auto corners = cornersOf<Word>(weak.rects[i], weak.kind);
        for (size_t k = 0; k < 4; ++k) {
          result[k] = plane.at(x - first + corners[k].x - low.x, y + corners[k].y - low.y);
        }
        return result;
      };
      const Word sum = votesOf<Cell>(stage, cell, norm.at(x, y), rule, mixed, scaleFactor);
      pixels.push_back({x, y, rule.lone, sum});
      votes.push_back(sum);
    }
  }
  std::sort(votes.begin(), votes.end());
  const Word threshold = votes[votes.size() / 2];
  int32_t survivors = 0;
  for (const Pixel& p : pixels) {
    if (p.lone ? p.votes < threshold : p.votes <= threshold) continue;
    expected.at(p.x, p.y) = p.lone ? mask.at(p.x, p.y) : 255;
    ++survivors;
  }

  // The origin of a tilted plane stands a row down and a column right of what is passed.
  const auto src = origin(upright);
  const auto tilt = origin(tilted) - static_cast<uintptr_t>(tilted.step()) - sizeof(Cell);
  int32_t positive = estimate;
  ASSERT_EQ(nuvStatusOk,
            (apply<Cell, Word>(mixed, reinterpret_cast<const Cell*>(src), upright.step(),
                               reinterpret_cast<const Cell*>(tilt), tilted.step(), scaleFactor,
                               norm.data(), norm.step(), mask.data(), mask.step(), size, &positive,
                               threshold, stage.state)));
  ASSERT_EQ(survivors, positive);
  ASSERT_EQ(expected.bytes(), mask.bytes());
  ASSERT_TRUE(mask.padsUntouched());
}

template <class Cell, class Word>
void checkForm() {
  constexpr int32_t scaleFactors[] = {0, -1, -7, -31, -32, -45, INT32_MIN};
  unsigned seed = 0;
  for (const bool mixed : {false, true}) {
    for (const Kind kind :
         {Kind::upright, Kind::turnedKeepingTop, Kind::turnedKeepingBottom, Kind::tilted}) {
      for (const int32_t width : {1, 2, 3, 4, 7, 8, 9, 13, 16, 18, 21, 31, 32, 35, 47, 70}) {
        const NuviSize size = {width, 1 + width % 4};
        const int32_t area = size.width * size.height;
        for (const unsigned oneOf : {1, 3, 25}) {
          for (const int32_t estimate : {area, area / 4, area / 8, area / 16, area / 16 - 1}) {
            const int32_t scale = mixed ? scaleFactors[seed % 7] : static_cast<int32_t>(seed);
            check<Cell, Word>(mixed, kind, size, oneOf, estimate, scale, seed++);
          }
        }
      }
    }
  }
}

TEST(HaarClassifier, FloatsMatchReference) { checkForm<float, float>(); }
TEST(HaarClassifier, IntegerPlaneMatchesReference) { checkForm<int32_t, float>(); }
TEST(HaarClassifier, IntegersMatchReference) { checkForm<int32_t, int32_t>(); }

template <class Word>
class HaarState : public testing::Test {};
using Words = testing::Types<float, int32_t>;
TYPED_TEST_SUITE(HaarState, Words);

TYPED_TEST(HaarState, HoldsBoundsAndSizeAndIsTiltedOnce) {
  using Word = TypeParam;
  const Input<Word> upright(
      {{{{5, 6, 4, 2}}, {-1}, 1, 2, 3},  // the seed is the size 4 by 2
       {{{2, 7, 3, 1}, {6, 3, 2, 9}, {4, 4, 1, 1}}, {Word(-1.5), 1, 1}, 1, 2, 3},
       {{{3, 8, 3, 3}, {8, 8, 1, 1}}, {-1, 1}, 1, 2, 3}});
  // The left corner at column -1; the seed is 2 by 10.
  const Input<Word> tilted({{{{3, 5, 6, 4}, {2, 4, 1, 1}}, {-1, 1}, 1, 2, 3}});
  const uint8_t nothing[3] = {}, first[3] = {1, 0, 0};
  NuviHaarClassifier* state = nullptr;
  const auto expectBoundsAndSize = [&](const std::array<int32_t, 6>& expected) {
    NuviSize size = {};
    EXPECT_EQ(nuvStatusOk, getSize<Word>(state, &size));
    EXPECT_EQ(expected, (std::array<int32_t, 6>{state->boundX, state->boundY, state->boundWidth,
                                                state->boundHeight, size.width, size.height}));
    EXPECT_EQ(nuvStatusNullPointer, getSize<Word>(nullptr, &size));
    EXPECT_EQ(nuvStatusNullPointer, getSize<Word>(state, nullptr));
  };
  // In the stored order the right edge 9 is first compared with 4 + 3, the lower edge 11 with
  // 2 + 6, and the lower edge 12 with 11 + 3.
  ASSERT_EQ(nuvStatusOk, upright.initAlloc(false, &state));
  expectBoundsAndSize({2, 3, 9 - 2, 11 - 3, 9, 12});
  EXPECT_TRUE(!isFloat<Word> || state->firstWeightsAllMinusOne == 1);
  EXPECT_EQ(nuvStatusNullPointer, tiltFeatures<Word>(nullptr, 1, state));
  EXPECT_EQ(nuvStatusNullPointer, tiltFeatures<Word>(first, 1, nullptr));
  EXPECT_EQ(nuvStatusOk, tiltFeatures<Word>(nothing, 1, state));
  EXPECT_EQ(nuvStatusOk, tiltFeatures<Word>(first, 1, state));
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<Word>(first, 1, state));
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<Word>(nothing, 0, state));
  // The right corners tell the width, the bottom ones the height.
  expectBoundsAndSize({2, 3, 9 - 2, 11 - 3, 9, isFloat<Word> ? 6 + 4 + 2 : 6 + 2 * 4});
  EXPECT_EQ(nuvStatusOk, freeClassifier<Word>(state));
  EXPECT_EQ(nuvStatusNullPointer, freeClassifier<Word>(nullptr));

  ASSERT_EQ(nuvStatusOk, tilted.initAlloc(true, &state));
  expectBoundsAndSize({2, 4, 0, 6, 9, 15});
  EXPECT_EQ(nuvStatusBadArgument, tiltFeatures<Word>(first, 1, state));
  EXPECT_EQ(nuvStatusOk, freeClassifier<Word>(state));
}

TYPED_TEST(HaarState, RefusesBadStages) {
  using Word = TypeParam;
  NuviHaarClassifier here = {};
  for (const bool tilted : {false, true}) {
    const bool looksFirst = isFloat<Word> && !tilted;  // at the rectangles, before the allocation
    Input<Word> input({{{{-1, 0, 1, 1}}, {1}, 0, 0, 0}});
    const auto expect = [&](NuvStatus status, bool clears, bool withVotes = true) {
      NuviHaarClassifier* state = &here;
      EXPECT_EQ(status, input.initAlloc(tilted, &state, withVotes));
      EXPECT_EQ(clears ? nullptr : &here, state);
    };
    EXPECT_EQ(nuvStatusNullPointer, input.initAlloc(tilted, nullptr));
    input.length = -1;
    expect(nuvStatusNullPointer, false, false);
    expect(nuvStatusBadSize, false);
    input.length = 1;
    input.counts[0] = 0;
    expect(nuvStatusBadSize, false);
    input.counts[0] = 1 << 26;  // more than can be allocated
    expect(looksFirst ? nuvStatusBadArgument : nuvStatusNoMemory, false);
    input.counts[0] = 1;
    for (const NuviRect rect :
         {NuviRect{-1, 0, 1, 1}, {0, -1, 1, 1}, {0, 0, 0, 1}, {0, 0, 1, 0}, {4, 0, 1, 6}}) {
      if (rect.x == 4 && !tilted) continue;  // only a tilted one may not lean out so far
      input.rects[0] = rect;
      expect(nuvStatusBadArgument, !looksFirst);
    }
  }
}

template <class Cell, class Word>
void checkOrder() {
  struct Case {
    NuvStatus status;
    int32_t srcStep, tiltStep, normStep, maskStep;
    NuviSize size;
  };
  const Case cases[] = {{nuvStatusBadSize, 7, 8, 8, 2, {2, 0}},
                        {nuvStatusBadSize, 8, 8, 8, 1, {0, 1}},
                        {nuvStatusBadStep, 7, 8, 9, 2, {2, 1}},
                        {nuvStatusBadStep, 9, 8, 7, 2, {2, 1}},
                        {nuvStatusBadStep, 9, 9, 9, 1, {2, 1}},
                        {nuvStatusStepNotElementMultiple, 9, 8, 8, 2, {2, 1}},
                        {nuvStatusStepNotElementMultiple, 8, 8, 10, 2, {2, 1}},
                        // Of the mixed forms only, the last one of the integer form only.
                        {nuvStatusBadStep, 9, 7, 8, 2, {2, 1}},
                        {nuvStatusStepNotElementMultiple, 8, 9, 8, 2, {2, 1}},
                        {nuvStatusBadArgument, 8, 8, 8, 2, {2, 1}}};
  const Stage<Word> stage(Kind::upright, {2}, 1);
  const Cell cells[16] = {};
  const Word norm[4] = {};
  uint8_t mask[4] = {7, 7, 7, 7};
  int32_t positive = 5;
  for (const bool mixed : {false, true}) {
    const auto call = [&](const Cell* src, const Cell* tilt, const NuviHaarClassifier* state,
                          const Case& c) {
      return apply<Cell, Word>(mixed, src, c.srcStep, tilt, c.tiltStep, 1, norm, c.normStep, mask,
                               c.maskStep, c.size, &positive, Word(0), state);
    };
    const size_t count = !mixed ? 7 : isFloat<Word> ? 9 : 10;
    for (size_t i = 0; i < count; ++i) {
      EXPECT_EQ(cases[i].status, call(cells, cells, stage.state, cases[i])) << i;
    }
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, cells, stage.state, cases[0]));
    EXPECT_EQ(nuvStatusNullPointer, call(cells, cells, nullptr, cases[1]));
    EXPECT_EQ(mixed ? nuvStatusNullPointer : nuvStatusBadSize,
              call(cells, nullptr, stage.state, cases[0]));
  }
  EXPECT_EQ(5, positive);
  for (const uint8_t element : mask) EXPECT_EQ(7, element);
}

TEST(HaarClassifierChecks, FirstFailureInOrderAndNothingWritten) {
  checkOrder<float, float>();
  checkOrder<int32_t, float>();
  checkOrder<int32_t, int32_t>();
}

}  // namespace

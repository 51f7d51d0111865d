#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The cells at the corners of one window, by their places in an upright one.
template <class Cell>
struct Corners {
  Cell tl, tr, bl, br;
};

// The mean over a window: integers wrap; floats are summed in single precision, within blocks of
// positions in another order than behind them, or in double under a tilted window.
template <bool tilted, class Cell>
auto meanOf(Corners<Cell> p, int32_t windowArea, bool block) {
  const auto area = static_cast<float>(windowArea);
  if constexpr (std::is_same_v<Cell, int32_t>) {
    const auto sum = static_cast<int32_t>(int64_t{p.tl} - p.tr - p.bl + p.br);
    return static_cast<float>(sum) / area;
  } else if constexpr (tilted) {
    return (((double{p.br} - p.bl) - p.tr) + p.tl) / area;
  } else {
    const auto tl = static_cast<float>(p.tl), tr = static_cast<float>(p.tr);
    const auto bl = static_cast<float>(p.bl), br = static_cast<float>(p.br);
    return (block ? ((tl - tr) - bl) + br : (tl - tr) + (br - bl)) / area;
  }
}

// What the forms with an integer result store of scale * deviation.
int32_t stored(double deviation, int32_t scaleFactor) {
  const int64_t shift = std::abs(int64_t{scaleFactor}) % 32;
  const float power = shift == 31 ? -2147483648.0f : static_cast<float>(1 << shift);
  const float scale = scaleFactor >= 0 ? 1.0f / power : power;
  const double result = std::trunc(std::fma(scale, deviation, 0.5));
  return result >= -2147483648.0 && result <= 2147483647.0 ? static_cast<int32_t>(result)
                                                           : std::numeric_limits<int32_t>::min();
}

template <bool tilted, class Result, class Mean, class MeanSquare>
Result deviationOf(Mean mean, MeanSquare meanSquare, int32_t scaleFactor) {
  if constexpr (tilted) {
    const double variance = std::fma(-double{mean}, double{mean}, double{meanSquare});
    const float deviation = std::sqrt(static_cast<float>(std::fmax(0.0, variance)));
    if constexpr (std::is_same_v<Result, float>) return deviation;
    return stored(deviation, scaleFactor);
  } else if constexpr (std::is_same_v<Result, float>) {
    const float variance = meanSquare - mean * mean;
    return std::sqrt(variance < 0 ? 0 : variance);
  } else {
    const double variance = std::fma(-mean, mean, meanSquare);
    return stored(std::sqrt(std::fmax(0.0, variance)), scaleFactor);
  }
}

// A plane that holds exactly the columns and rows that the windows touch: its first column may lie
// left of the position that the function is given.
template <class Cell>
struct Plane {
  Plane(NuviSize size, NuviRect r, bool isTilted, Against against)
      : tilted(isTilted),
        rect(r),
        lead(tilted ? std::max(0, r.y + r.height - r.x) : 0),
        image({lead + size.width + r.x + r.width - (tilted ? r.y : 0),
               size.height + r.y + r.height + (tilted ? r.x + r.width : 0)},
              // The step covers more columns than a tilted window touches.
              1, tilted ? std::max(0, 2 * r.y + r.height - 1 - lead) : 1, against) {}

  const Cell* data() const { return image.data() + lead; }
  Corners<Cell> at(int32_t x, int32_t y) const {
    const int32_t w = rect.width, h = rect.height;
    const auto cell = [&](int32_t column, int32_t row) { return image.at(column + lead, row); };
    if (tilted) {
      const int32_t column = x + rect.x - rect.y, row = y + rect.x + rect.y;
      return {cell(column, row), cell(column + w, row + w), cell(column - h, row + h),
              cell(column + w - h, row + w + h)};
    }
    const int32_t left = x + rect.x, top = y + rect.y;
    return {cell(left, top), cell(left + w, top), cell(left, top + h), cell(left + w, top + h)};
  }

  bool tilted;
  NuviRect rect;
  int32_t lead;
  TestImage<Cell> image;
};

// Fills the planes so that variances have both signs, or a tilted one of height 1 so that they
// nearly are 0: then only the lowest corner counts, and the roundings of the variance show.
template <class Sum, class Square>
void fill(Plane<Sum>& sums, Plane<Square>& squares, int32_t height, int32_t area) {
  std::mt19937 random(3);
  RandomSamples<Sum> sumSamples(1);
  RandomSamples<Square> squareSamples(2);
  sums.image.fill([&] { return sumSamples() / (height == 2 ? 1 : 1 << 16); });
  squares.image.fill([&] {
    return random() % 32 != 0 ? squareSamples() : std::numeric_limits<Square>::quiet_NaN();
  });
  if (height != 1 || !sums.tilted) return;
  sums.image.fill([] { return 0; });
  squares.image.fill([] { return 0; });
  const NuviSize size = sums.image.size();
  for (int32_t x = 0; x < size.width; ++x) {
    const double sum = random() % 100000;
    sums.image.at(x, size.height - 1) = static_cast<Sum>(sum);
    squares.image.at(x, size.height - 1) = static_cast<Square>(area * (sum / area * (sum / area)));
  }
}

template <bool tilted, class Sum, class Square, class Result, class... Scale>
void check(NuvStatus (*function)(const Sum*, int32_t, const Square*, int32_t, Result*, int32_t,
                                 NuviSize, NuviRect, Scale...),
           Scale... scale) {
  const auto compare = [&](NuviSize size, NuviRect rect, Against against) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " window " +
                 std::to_string(rect.width) + "x" + std::to_string(rect.height));
    Plane<Sum> sums(size, rect, tilted, against);
    Plane<Square> squares(size, rect, tilted, against);
    const int32_t area = rect.width * rect.height * (tilted ? 2 : 1);
    fill(sums, squares, size.height, area);
    TestImage<Result> dst(size, 1, 1, against);
    ASSERT_EQ(nuvStatusOk,
              function(sums.data(), sums.image.step(), squares.data(), squares.image.step(),
                       dst.data(), dst.step(), size, rect, scale...));
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const bool block = x < size.width / 8 * 8;
        const auto mean = meanOf<tilted>(sums.at(x, y), area, block);
        const auto meanSquare = meanOf<tilted>(squares.at(x, y), area, block);
        const auto expected = deviationOf<tilted, Result>(mean, meanSquare, (0 + ... + scale));
        const Result result = dst.at(x, y);
        const bool bothNan = expected != expected && result != result;
        ASSERT_TRUE(result == expected || bothNan) << x << "," << y << ": " << result;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  };
  for (const NuviRect rect : {NuviRect{0, 0, 1, 1}, {2, 1, 5, 3}, {1, 4, 2, 7}, {0, 0, 21, 20}}) {
    for (int32_t width = 1; width <= 19; ++width) {
      for (const Against against : {Against::end, Against::begin}) {
        compare({width, 1 + width % 3}, rect, against);
      }
    }
  }
  withThreadCounts([&] { compare({121, 41}, {2, 1, 5, 3}, Against::end); });
}

TEST(RectStdDev, MatchesReference) {
  check<false>(nuviRectStdDev_32f_C1R);
  check<false>(nuviRectStdDev_32s32f_C1R);
  check<true>(nuviTiltedRectStdDev_32f_C1R);
  check<true>(nuviTiltedRectStdDev_32s32f_C1R);
  for (const int32_t scaleFactor : {0, 3, -1, -12, 31, 32, -31, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(scaleFactor);
    check<false>(nuviRectStdDev_32s_C1RSfs, scaleFactor);
    check<true>(nuviTiltedRectStdDev_32s_C1RSfs, scaleFactor);
  }
}

// From pixels through integral planes to deviations: the direct formula, up to the roundings of
// single precision.
TEST(RectStdDev, IsTheDeviationOfThePixelsUnderTheWindow) {
  const NuviSize picture = {60, 50};
  TestImage<uint8_t> src(picture);
  src.fill(RandomSamples<uint8_t>(3));
  for (const bool tilted : {false, true}) {
    const auto integral =
        tilted ? nuviTiltedSqrIntegral_8u32s64f_C1R : nuviSqrIntegral_8u32s64f_C1R;
    const auto deviation = tilted ? nuviTiltedRectStdDev_32s32f_C1R : nuviRectStdDev_32s32f_C1R;
    TestImage<int32_t> sums({62, 52});
    TestImage<double> squares({62, 52});
    float dst = 0;
    ASSERT_EQ(nuvStatusOk, integral(src.data(), src.step(), sums.data(), sums.step(),
                                    squares.data(), squares.step(), picture, 7, 9));
    const NuviRect rect = {1, 2, 6, 5};
    ASSERT_EQ(nuvStatusOk, deviation(&sums.at(24, 4), sums.step(), &squares.at(24, 4),
                                     squares.step(), &dst, 4, {1, 1}, rect));
    double n = 0, sum = 0, square = 0;
    for (int32_t y = 0; y < picture.height; ++y) {
      for (int32_t x = 0; x < picture.width; ++x) {
        // Steps along the window's sides, which are diagonals if it is tilted.
        const int32_t across = x - 24 - (tilted ? 1 - 2 : 1), below = y - 4 - (tilted ? 1 + 2 : 2);
        const int32_t right = tilted ? across + below + 1 : across, columns = tilted ? 2 * 6 : 6;
        const int32_t down = tilted ? below - across : below, rows = tilted ? 2 * 5 : 5;
        if (right < 0 || right >= columns || down < 0 || down >= rows) continue;
        n += 1;
        sum += src.at(x, y);
        square += src.at(x, y) * src.at(x, y);
      }
    }
    EXPECT_EQ(tilted ? 60 : 30, n);
    EXPECT_NEAR(std::sqrt(square / n - sum / n * (sum / n)), dst, 1e-3);
  }
}

TEST(RectStdDevChecks, FirstFailureInOrderAndNothingWritten) {
  int32_t sums[64] = {};
  double squares[64] = {};
  float dst[4] = {9, 9, 9, 9};
  for (const bool tilted : {false, true}) {
    const auto function = tilted ? nuviTiltedRectStdDev_32s32f_C1R : nuviRectStdDev_32s32f_C1R;
    const int32_t row = 4 * (tilted ? 2 + 2 + 3 - 1 : 2 + 2);
    const auto expect = [&](NuvStatus status, const int32_t* src, int32_t srcStep, int32_t sqrStep,
                            float* result, int32_t dstStep, NuviSize size, NuviRect rect) {
      EXPECT_EQ(status, function(src, srcStep, squares, sqrStep, result, dstStep, size, rect));
    };
    const NuviRect good = {0, 0, 2, 3};
    expect(nuvStatusNullPointer, nullptr, 64, 64, dst, 8, {0, 1}, good);
    expect(nuvStatusNullPointer, sums, 64, 64, nullptr, 8, {2, 0}, good);
    expect(nuvStatusBadSize, sums, 0, 64, dst, 8, {0, 1}, good);
    expect(nuvStatusBadSize, sums, 0, 64, dst, 8, {2, 0}, good);
    expect(nuvStatusBadStep, sums, row - 1, 64, dst, 8, {2, 1}, good);
    expect(nuvStatusBadStep, sums, 66, 64, dst, 7, {2, 1}, good);
    expect(nuvStatusBadStep, sums, 64, 2 * row - 1, dst, 10, {2, 1}, good);
    expect(nuvStatusBadStep, sums, 64, 64, dst, 8, {2, 1}, {20, 0, 2, 0});
    expect(nuvStatusStepNotElementMultiple, sums, row + 2, 64, dst, 8, {2, 1}, {-1, 0, 2, 3});
    expect(nuvStatusStepNotElementMultiple, sums, 64, 2 * row + 4, dst, 8, {2, 1}, {0, -1, 2, 3});
    expect(nuvStatusStepNotElementMultiple, sums, 64, 64, dst, 10, {2, 1}, {0, 0, 0, 3});
    for (const NuviRect bad : {NuviRect{-1, 0, 2, 3}, {0, -1, 2, 3}, {0, 0, 0, 3}, {0, 0, 2, 0}}) {
      expect(nuvStatusBadSize, sums, 64, 64, dst, 8, {2, 1}, bad);
    }
  }
  for (const float value : dst) EXPECT_EQ(9, value);
}

}  // namespace

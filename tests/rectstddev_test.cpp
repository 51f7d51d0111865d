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

int32_t wrapped(Corners<int32_t> p) {
  return static_cast<int32_t>(int64_t{p.tl} - p.tr - p.bl + p.br);
}
double fromBottom(double tl, double tr, double bl, double br) { return ((br - bl) - tr) + tl; }

template <class Cell>
float single(Corners<Cell> p, bool block) {
  const auto tl = static_cast<float>(p.tl), tr = static_cast<float>(p.tr);
  const auto bl = static_cast<float>(p.bl), br = static_cast<float>(p.br);
  return block ? ((tl - tr) - bl) + br : (tl - tr) + (br - bl);
}

// What the forms with an integer result store of scale * deviation.
int32_t stored(double deviation, int32_t scaleFactor) {
  const bool down = scaleFactor >= 0;
  const int64_t shift = (down ? int64_t{scaleFactor} : -int64_t{scaleFactor}) % 32;
  const float power = shift == 31 ? -2147483648.0f : static_cast<float>(1 << shift);
  const double result = std::trunc(std::fma(down ? 1.0f / power : power, deviation, 0.5));
  return result >= -2147483648.0 && result <= 2147483647.0 ? static_cast<int32_t>(result)
                                                           : std::numeric_limits<int32_t>::min();
}

float rootOfWide(double mean, double meanSquare) {
  return std::sqrt(static_cast<float>(std::fmax(0.0, std::fma(-mean, mean, meanSquare))));
}

float uprightFloat(Corners<float> s, Corners<double> q, int32_t area, bool block) {
  const float mean = single(s, block) / static_cast<float>(area);
  const float variance = single(q, block) / static_cast<float>(area) - mean * mean;
  return std::sqrt(variance < 0 ? 0.0f : variance);
}
float uprightInteger(Corners<int32_t> s, Corners<double> q, int32_t area, bool block) {
  const float mean = static_cast<float>(wrapped(s)) / static_cast<float>(area);
  const float variance = single(q, block) / static_cast<float>(area) - mean * mean;
  return std::sqrt(variance < 0 ? 0.0f : variance);
}
int32_t uprightScaled(Corners<int32_t> s, Corners<int32_t> q, int32_t area, bool,
                      int32_t scaleFactor) {
  const float mean = static_cast<float>(wrapped(s)) / static_cast<float>(area);
  const float meanSquare = static_cast<float>(wrapped(q)) / static_cast<float>(area);
  const double variance = std::fmax(0.0f, std::fma(-mean, mean, meanSquare));
  return stored(std::sqrt(variance), scaleFactor);
}
float tiltedFloat(Corners<float> s, Corners<double> q, int32_t area, bool) {
  return rootOfWide(fromBottom(s.tl, s.tr, s.bl, s.br) / area,
                    fromBottom(q.tl, q.tr, q.bl, q.br) / area);
}
float tiltedInteger(Corners<int32_t> s, Corners<double> q, int32_t area, bool) {
  const float mean = static_cast<float>(wrapped(s)) / static_cast<float>(area);
  const double floatArea = static_cast<float>(area);
  return rootOfWide(mean, fromBottom(q.tl, q.tr, q.bl, q.br) / floatArea);
}
int32_t tiltedScaled(Corners<int32_t> s, Corners<int32_t> q, int32_t area, bool,
                     int32_t scaleFactor) {
  const float mean = static_cast<float>(wrapped(s)) / static_cast<float>(area);
  const float meanSquare = static_cast<float>(wrapped(q)) / static_cast<float>(area);
  return stored(rootOfWide(mean, meanSquare), scaleFactor);
}

constexpr NuviRect rects[] = {{0, 0, 1, 1}, {2, 1, 5, 3}, {1, 4, 2, 7}, {0, 0, 21, 20}};

// A plane that holds exactly the columns and rows that the windows touch: its first column may lie
// left of the position that the function is given.
template <class Cell>
class Plane {
 public:
  Plane(NuviSize size, NuviRect r, bool tilted, Against against)
      : lead_(tilted ? std::max(0, r.y + r.height - r.x) : 0),
        image_(planeSize(size, r, tilted), 1, pad(size, r, tilted), against) {}

  TestImage<Cell>& image() { return image_; }
  const Cell* data() const { return image_.data() + lead_; }
  int32_t step() const { return image_.step(); }

  Corners<Cell> at(int32_t x, int32_t y, NuviRect r, bool tilted) const {
    if (!tilted) {
      const int32_t x0 = x + r.x, x1 = x0 + r.width, y0 = y + r.y, y1 = y0 + r.height;
      return {cell(x0, y0), cell(x1, y0), cell(x0, y1), cell(x1, y1)};
    }
    const int32_t row = y + r.x + r.y, column = x + r.x - r.y, w = r.width, h = r.height;
    return {cell(column, row), cell(column + w, row + w), cell(column - h, row + h),
            cell(column + w - h, row + w + h)};
  }

 private:
  Cell cell(int32_t x, int32_t y) const { return image_.at(x + lead_, y); }
  NuviSize planeSize(NuviSize size, NuviRect r, bool tilted) const {
    if (!tilted) return {size.width + r.x + r.width, size.height + r.y + r.height};
    return {lead_ + size.width + r.x - r.y + r.width, size.height + r.x + r.y + r.width + r.height};
  }
  // What the step must be larger by than the columns that are there.
  int32_t pad(NuviSize size, NuviRect r, bool tilted) const {
    if (!tilted) return 1;
    const int32_t demanded = size.width + r.x + r.y + r.width + r.height - 1;
    return std::max(0, demanded - planeSize(size, r, tilted).width);
  }

  int32_t lead_;
  TestImage<Cell> image_;
};

template <class Sum, class Square, class Result, class... Scale>
void check(NuvStatus (*function)(const Sum*, int32_t, const Square*, int32_t, Result*, int32_t,
                                 NuviSize, NuviRect, Scale...),
           Result (*reference)(Corners<Sum>, Corners<Square>, int32_t, bool, Scale...), bool tilted,
           Scale... scale) {
  const auto compare = [&](NuviSize size, NuviRect rect, Against against) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " window " +
                 std::to_string(rect.width) + "x" + std::to_string(rect.height));
    Plane<Sum> sums(size, rect, tilted, against);
    Plane<Square> squares(size, rect, tilted, against);
    // Sums may exceed squares and squares may exceed what a sum allows: both signs of a variance.
    RandomSamples<Sum> sumSamples(1);
    sums.image().fill([&] { return sumSamples() / (size.height % 2 == 0 ? 1 : 1 << 16); });
    squares.image().fill(RandomSamples<Square>(2));
    TestImage<Result> dst(size, 1, 1, against);
    ASSERT_EQ(nuvStatusOk, function(sums.data(), sums.step(), squares.data(), squares.step(),
                                    dst.data(), dst.step(), size, rect, scale...));
    const int32_t area = rect.width * rect.height * (tilted ? 2 : 1);
    const int32_t whole = size.width / 8 * 8;
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const Result expected = reference(
            sums.at(x, y, rect, tilted), squares.at(x, y, rect, tilted), area, x < whole, scale...);
        ASSERT_EQ(expected, dst.at(x, y)) << x << "," << y;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  };
  for (const NuviRect rect : rects) {
    for (int32_t width = 1; width <= 19; ++width) {
      compare({width, 2 + width % 2}, rect, width % 3 == 0 ? Against::begin : Against::end);
    }
  }
  withThreadCounts([&] { compare({121, 41}, rects[1], Against::end); });
}

TEST(RectStdDev, MatchesReference) {
  check(nuviRectStdDev_32f_C1R, uprightFloat, false);
  check(nuviRectStdDev_32s32f_C1R, uprightInteger, false);
  check(nuviTiltedRectStdDev_32f_C1R, tiltedFloat, true);
  check(nuviTiltedRectStdDev_32s32f_C1R, tiltedInteger, true);
}

TEST(RectStdDev, ScaledFormsMatchReference) {
  for (const int32_t scaleFactor : {0, 3, -1, -12, 31, 32, -31, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(scaleFactor);
    check(nuviRectStdDev_32s_C1RSfs, uprightScaled, false, scaleFactor);
    check(nuviTiltedRectStdDev_32s_C1RSfs, tiltedScaled, true, scaleFactor);
  }
}

// From pixels to deviations: the direct formula, up to the roundings of single precision.
TEST(RectStdDev, IsTheDeviationOfThePixelsUnderTheWindow) {
  const NuviSize picture = {60, 50}, size = {30, 20};
  const NuviRect rect = {3, 2, 14, 9};
  TestImage<uint8_t> src(picture);
  src.fill(RandomSamples<uint8_t>(3));
  TestImage<int32_t> sums({61, 51}), tiltedSums({62, 52});
  TestImage<double> squares({61, 51}), tiltedSquares({62, 52});
  ASSERT_EQ(nuvStatusOk,
            nuviSqrIntegral_8u32s64f_C1R(src.data(), src.step(), sums.data(), sums.step(),
                                         squares.data(), squares.step(), picture, 0, 0));
  ASSERT_EQ(nuvStatusOk, nuviTiltedSqrIntegral_8u32s64f_C1R(
                             src.data(), src.step(), tiltedSums.data(), tiltedSums.step(),
                             tiltedSquares.data(), tiltedSquares.step(), picture, 0, 0));
  TestImage<float> upright(size), tilted(size);
  ASSERT_EQ(nuvStatusOk,
            nuviRectStdDev_32s32f_C1R(sums.data(), sums.step(), squares.data(), squares.step(),
                                      upright.data(), upright.step(), size, rect));
  const NuviRect diamond = {1, 0, 6, 5};
  const int32_t shift = 20;  // keeps the diamond away from the left side
  ASSERT_EQ(nuvStatusOk,
            nuviTiltedRectStdDev_32s32f_C1R(tiltedSums.data() + shift, tiltedSums.step(),
                                            tiltedSquares.data() + shift, tiltedSquares.step(),
                                            tilted.data(), tilted.step(), {10, 10}, diamond));
  const auto deviation = [&](auto inside) {
    double n = 0, sum = 0, square = 0;
    for (int32_t y = 0; y < picture.height; ++y) {
      for (int32_t x = 0; x < picture.width; ++x) {
        if (!inside(x, y)) continue;
        n += 1;
        sum += src.at(x, y);
        square += src.at(x, y) * src.at(x, y);
      }
    }
    return std::sqrt(square / n - sum / n * (sum / n));
  };
  EXPECT_NEAR(deviation([&](int32_t x, int32_t y) {
                return x >= 7 + 3 && x < 7 + 3 + 14 && y >= 4 + 2 && y < 4 + 2 + 9;
              }),
              upright.at(7, 4), 1e-3);
  // The diamond from the top corner (24, 5) on: by the diagonals through the pixels' centres.
  EXPECT_NEAR(deviation([&](int32_t x, int32_t y) {
                const int32_t right = (y + 1) + x + 1 - 24 - 5, left = (y + 1) - x - 5 + 24;
                return right > 0 && right <= 2 * 6 && left > 0 && left <= 2 * 5;
              }),
              tilted.at(24 - shift - 1, 5 - 1), 1e-3);
}

// Mean squares as near to the squared means as doubles go: what is left is the rounding of a
// product that is not rounded.
TEST(RectStdDev, TiltedFloatVarianceIsOneFusedStep) {
  const NuviSize size = {64, 1};
  const NuviRect rect = {0, 0, 3, 1};
  Plane<float> sums(size, rect, true, Against::end);
  Plane<double> squares(size, rect, true, Against::end);
  std::mt19937 random(5);
  for (int32_t x = 0; x < sums.image().size().width; ++x) {
    for (int32_t y = 0; y < 5; ++y) sums.image().at(x, y) = squares.image().at(x, y) = 0;
    const float sum = static_cast<float>(random() % 100000);
    sums.image().at(x, 4) = sum;
    squares.image().at(x, 4) = 6 * (sum / 6.0 * (sum / 6.0));
  }
  TestImage<float> dst(size);
  ASSERT_EQ(nuvStatusOk,
            nuviTiltedRectStdDev_32f_C1R(sums.data(), sums.step(), squares.data(), squares.step(),
                                         dst.data(), dst.step(), size, rect));
  for (int32_t x = 0; x < size.width; ++x) {
    ASSERT_EQ(tiltedFloat(sums.at(x, 0, rect, true), squares.at(x, 0, rect, true), 6, false),
              dst.at(x, 0));
  }
}

TEST(RectStdDev, NanVarianceShowsInTheUprightFloatForms) {
  const float sums[4] = {};
  const int32_t integerSums[4] = {};
  const double squares[4] = {0, 0, 0, NAN};
  float dst = 0;
  ASSERT_EQ(nuvStatusOk,
            nuviRectStdDev_32f_C1R(sums, 8, squares, 16, &dst, 4, {1, 1}, {0, 0, 1, 1}));
  EXPECT_TRUE(std::isnan(dst));
  dst = 0;
  ASSERT_EQ(nuvStatusOk,
            nuviRectStdDev_32s32f_C1R(integerSums, 8, squares, 16, &dst, 4, {1, 1}, {0, 0, 1, 1}));
  EXPECT_TRUE(std::isnan(dst));
}

TEST(RectStdDevChecks, FirstFailureInOrderAndNothingWritten) {
  int32_t sums[64] = {};
  double squares[64] = {};
  float dst[4] = {9, 9, 9, 9};
  for (const bool tilted : {false, true}) {
    const NuviRect good = {0, 0, 2, 3};
    const int32_t columns = tilted ? 2 + 2 + 3 - 1 : 2 + 2;
    const auto call = [&](const int32_t* pSrc, int32_t srcStep, int32_t sqrStep, float* pDst,
                          int32_t dstStep, NuviSize size, NuviRect rect) {
      const auto function = tilted ? nuviTiltedRectStdDev_32s32f_C1R : nuviRectStdDev_32s32f_C1R;
      return function(pSrc, srcStep, squares, sqrStep, pDst, dstStep, size, rect);
    };
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 64, 64, dst, 8, {0, 1}, good));
    EXPECT_EQ(nuvStatusNullPointer, call(sums, 64, 64, nullptr, 8, {2, 0}, good));
    EXPECT_EQ(nuvStatusBadSize, call(sums, 0, 64, dst, 8, {0, 1}, good));
    EXPECT_EQ(nuvStatusBadSize, call(sums, 0, 64, dst, 8, {2, 0}, good));
    EXPECT_EQ(nuvStatusBadStep, call(sums, 4 * columns - 1, 64, dst, 8, {2, 1}, good));
    EXPECT_EQ(nuvStatusBadStep, call(sums, 65, 64, dst, 7, {2, 1}, good));
    EXPECT_EQ(nuvStatusBadStep, call(sums, 64, 8 * columns - 1, dst, 9, {2, 1}, good));
    EXPECT_EQ(nuvStatusStepNotElementMultiple,
              call(sums, 4 * columns + 2, 64, dst, 8, {2, 1}, {-1, 0, 2, 3}));
    EXPECT_EQ(nuvStatusStepNotElementMultiple,
              call(sums, 64, 8 * columns + 4, dst, 8, {2, 1}, {0, -1, 2, 3}));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(sums, 64, 64, dst, 10, {2, 1}, {0, 0, 0, 3}));
    EXPECT_EQ(nuvStatusBadStep, call(sums, 64, 64, dst, 8, {2, 1}, {20, 0, 2, 0}));
    for (const NuviRect bad : {NuviRect{-1, 0, 2, 3}, {0, -1, 2, 3}, {0, 0, 0, 3}, {0, 0, 2, 0}}) {
      EXPECT_EQ(nuvStatusBadSize, call(sums, 64, 64, dst, 8, {2, 1}, bad));
    }
  }
  for (const float value : dst) EXPECT_EQ(9, value);
}

}  // namespace

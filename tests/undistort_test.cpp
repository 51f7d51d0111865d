#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <memory>

#include "support/guarded.h"

#ifdef __SSE__
#include <xmmintrin.h>
#endif

namespace {

using namespace testing_support;

// Single-precision operations of the default rounding mode.
struct Nearest {
  static float add(float a, float b) { return a + b; }
  static float multiply(float a, float b) { return a * b; }
  static float divide(float a, float b) { return a / b; }
};

// The same rounded toward zero, without a change of the mode: the operation in double precision,
// the sign of its error, and a step down where the nearest float lies beyond the exact value.
struct TowardZero {
  static float truncated(double value, double error) {
    const auto nearest = static_cast<float>(value);
    if (!std::isfinite(value)) return nearest;
    const double beyond = nearest - value;  // exact
    const bool tooFar =
        beyond != 0 ? (beyond > 0) == (nearest > 0) : error != 0 && (error < 0) == (nearest > 0);
    return tooFar ? std::nextafterf(nearest, 0.0f) : nearest;
  }
  static float add(float a, float b) {
    const double sum = double{a} + b;
    const double back = sum - a;
    return truncated(sum, (a - (sum - back)) + (b - back));
  }
  static float multiply(float a, float b) { return truncated(double{a} * b, 0); }
  static float divide(float a, float b) {
    const double quotient = double{a} / b;
    return truncated(quotient, std::fma(-quotient, double{b}, double{a}) * (b < 0 ? -1 : 1));
  }
};

struct Lens {
  float fx, fy, cx, cy, k1, k2;
};

struct Position {
  float u, v;
};

template <class Op>
Position position(const Lens& lens, int32_t column, int32_t row) {
  const auto x = static_cast<float>(column), y = static_cast<float>(row);
  const float dx = Op::add(x, Op::add(0, -lens.cx)), dy = Op::add(y, Op::add(0, -lens.cy));
  const float sx = Op::divide(1, Op::multiply(lens.fx, lens.fx));
  const float sy = Op::divide(1, Op::multiply(lens.fy, lens.fy));
  const float X = Op::multiply(Op::multiply(dx, sx), dx);
  const float Y = Op::multiply(Op::multiply(dy, sy), dy);
  const float A = Op::multiply(Op::multiply(2, lens.k2), Y);
  const float B = Op::multiply(Op::add(Op::multiply(lens.k2, Y), lens.k1), Y);
  const float G = Op::multiply(Op::add(Op::multiply(lens.k2, X), lens.k1), X);
  const float F = Op::add(G, Op::add(Op::multiply(A, X), B));
  return {Op::add(Op::multiply(dx, F), x), Op::add(Op::multiply(dy, F), y)};
}

// Leaves `dst` as it is where the sample lies outside.
template <class T>
void undistortReference(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels,
                        const Lens& lens) {
  using Op = TowardZero;
  const NuviSize size = src.size();
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      const auto [u, v] = position<Op>(lens, x, y);
      if (!(u >= 0 && v >= 0 && u < size.width - 1 && v < size.height - 1)) continue;
      const auto iu = static_cast<int32_t>(u), iv = static_cast<int32_t>(v);
      const float fu = Op::add(u, static_cast<float>(-iu)),
                  fv = Op::add(v, static_cast<float>(-iv));
      const float a = Op::add(1, -fu), b = Op::add(1, -fv);
      for (int32_t c = 0; c < channels; ++c) {
        const auto weighted = [&](int32_t right, int32_t down, float weight) {
          const T pixel = src.at((iu + right) * channels + c, iv + down);
          return Op::multiply(static_cast<float>(pixel), weight);
        };
        const float upper =
            Op::add(weighted(0, 0, Op::multiply(a, b)), weighted(1, 0, Op::multiply(fu, b)));
        const float lower =
            Op::add(weighted(0, 1, Op::multiply(a, fv)), weighted(1, 1, Op::multiply(fu, fv)));
        const float sum = Op::add(upper, lower);
        dst.at(x * channels + c, y) =
            static_cast<T>(std::is_integral_v<T> ? std::trunc(Op::add(sum, 0.5f)) : sum);
      }
    }
  }
}

template <class T, int32_t channelCount>
struct Form {
  using Element = T;
  static constexpr int32_t channels = channelCount;
  static auto call() {
    constexpr bool one = channels == 1;
    if constexpr (sizeof(T) == 1) {
      return one ? nuviUndistortRadial_8u_C1R : nuviUndistortRadial_8u_C3R;
    } else if constexpr (sizeof(T) == 2) {
      return one ? nuviUndistortRadial_16u_C1R : nuviUndistortRadial_16u_C3R;
    } else {
      return one ? nuviUndistortRadial_32f_C1R : nuviUndistortRadial_32f_C3R;
    }
  }
};

constexpr Lens lenses[] = {
    {300, 280, 70.25f, 3.5f, -0.35f, 0.12f},    // barrel: all samples inside but at the rim
    {150, 160, 20.1f, -1.7f, 0.4f, -0.03f},     // pincushion: corners outside, centre off the image
    {-90, 40, 200.0f, 2.0f, 0.0f, 1.5f},        // strong, mirrored focal length
    {0.01f, 0.01f, 3.0f, 1.0f, 1e20f, -1e30f},  // overflows: positions are infinite or NaN
    {1e-30f, 1e30f, 5.0f, 2.0f, 0.1f, 0.1f},    // 1 / fx^2 is infinite, 1 / fy^2 is 0
    {77, 78, 1e9f, 0.5f, NAN, 0.0f},
};

std::unique_ptr<GuardedBlock> columnBuffer(NuviSize size, Against against) {
  int32_t bytes = 0;
  EXPECT_EQ(nuvStatusOk, nuviUndistortGetSize(size, &bytes));
  return std::make_unique<GuardedBlock>(static_cast<size_t>(bytes), against);
}

template <class F>
class UndistortRadial : public ::testing::Test {};
using Forms = ::testing::Types<Form<uint8_t, 1>, Form<uint8_t, 3>, Form<uint16_t, 1>,
                               Form<uint16_t, 3>, Form<float, 1>, Form<float, 3>>;
TYPED_TEST_SUITE(UndistortRadial, Forms);

TYPED_TEST(UndistortRadial, MatchesReferenceWithAndWithoutBuffer) {
  using T = typename TypeParam::Element;
  constexpr int32_t channels = TypeParam::channels;
  for (const int32_t width : {1, 2, 3, 4, 7, 8, 9, 31, 127, 128, 129, 135, 261}) {
    for (const int32_t height : {1, 2, 7}) {
      const NuviSize size = {width, height};
      for (const Against against : {Against::end, Against::begin}) {
        TestImage<T> src(size, channels, width % 3, against);
        src.fill(RandomSamples<T>(1));
        const auto buffer = columnBuffer(size, against);
        const GuardedBlock odd(buffer->size() + 1);  // begins at an odd address
        for (const Lens& lens : lenses) {
          SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " fx " +
                       std::to_string(lens.fx));
          TestImage<T> expected(size, channels);
          expected.fill(RandomSamples<T>(2));
          undistortReference(src, expected, channels, lens);
          for (uint8_t* pBuffer : {static_cast<uint8_t*>(nullptr), buffer->data(), odd.data()}) {
            TestImage<T> dst(size, channels, width % 2, against);
            dst.fill(RandomSamples<T>(2));
            ASSERT_EQ(nuvStatusOk, TypeParam::call()(src.data(), src.step(), dst.data(), dst.step(),
                                                     size, lens.fx, lens.fy, lens.cx, lens.cy,
                                                     lens.k1, lens.k2, pBuffer));
            ASSERT_EQ(expected.bytes(), dst.bytes());
            ASSERT_TRUE(dst.padsUntouched());
          }
        }
      }
    }
  }
}

TYPED_TEST(UndistortRadial, WithoutDistortionAllButTheLastRowAndColumnIsCopied) {
  using T = typename TypeParam::Element;
  constexpr int32_t channels = TypeParam::channels;
  const NuviSize size = {200, 5};
  TestImage<T> src(size, channels), dst(size, channels);
  src.fill(RandomSamples<T>(3));
  dst.fill([] { return T(7); });
  ASSERT_EQ(nuvStatusOk, TypeParam::call()(src.data(), src.step(), dst.data(), dst.step(), size,
                                           100, 100, 30, 2, 0, 0, nullptr));
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width * channels; ++x) {
      const bool copied = y < size.height - 1 && x < (size.width - 1) * channels;
      ASSERT_EQ(copied ? src.at(x, y) : T(7), dst.at(x, y)) << x << "," << y;
    }
  }
}

TYPED_TEST(UndistortRadial, ChecksInOrderAndNothingWritten) {
  using T = typename TypeParam::Element;
  constexpr int32_t channels = TypeParam::channels;
  constexpr int32_t row = 4 * channels * sizeof(T);
  T src[4 * channels * 3] = {}, dst[4 * channels * 3] = {};
  const auto call = [&](const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize size,
                        float fx, float fy) {
    return TypeParam::call()(pSrc, srcStep, pDst, dstStep, size, fx, fy, 1, 1, 0, 0, nullptr);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, row, dst, row, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 0, nullptr, row, {4, 0}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(src, -1, dst, row, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(src, row, dst, row, {4, 0}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(src, row - 1, dst, row + 1, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(src, row + 1, dst, row - 1, {4, 2}, 1, 1));
  if (sizeof(T) > 1) {
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, row + 1, dst, row, {4, 2}, 0, 1));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, row, dst, row + 1, {4, 2}, 1, 0));
  }
  EXPECT_EQ(nuvStatusBadArgument, call(src, row, dst, row, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(src, row, dst, row, {4, 2}, 1, -0.0f));
  for (const T value : dst) EXPECT_EQ(T(0), value);
}

// The result does not depend on the caller's rounding mode, and the mode comes back on every way
// out, with whatever else the control and status register holds.
TEST(UndistortMode, IsGivenBackAndDoesNotShow) {
  const NuviSize size = {140, 6};
  const Lens lens = lenses[0];
  TestImage<float> src(size), expected(size);
  src.fill(RandomSamples<float>(5));
  expected.fill([] { return 0; });
  undistortReference(src, expected, 1, lens);
  for (const int mode : {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
    for (const float fx : {lens.fx, 0.0f}) {
      TestImage<float> dst(size);
      dst.fill([] { return 0; });
      ASSERT_EQ(0, std::fesetround(mode));
#ifdef __SSE__
      const unsigned before = _mm_getcsr();
#endif
      const NuvStatus status =
          nuviUndistortRadial_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), size, fx,
                                      lens.fy, lens.cx, lens.cy, lens.k1, lens.k2, nullptr);
#ifdef __SSE__
      const unsigned after = _mm_getcsr();
      EXPECT_EQ(before, after);
#endif
      const int modeAfter = std::fegetround();
      std::fesetround(FE_TONEAREST);
      EXPECT_EQ(mode, modeAfter);
      EXPECT_EQ(fx == 0 ? nuvStatusBadArgument : nuvStatusOk, status);
      if (fx != 0) {
        EXPECT_EQ(expected.bytes(), dst.bytes());
      }
    }
  }
}

TEST(UndistortSize, IsTheRoundedWidthTimesTwentyFourAndThirtyTwo) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviUndistortGetSize({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviUndistortGetSize({0, 5}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviUndistortGetSize({5, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
  for (const auto& [width, expected] :
       {std::pair{1, 128}, {4, 128}, {5, 224}, {1920, 46112}, {1921, 46208}}) {
    EXPECT_EQ(nuvStatusOk, nuviUndistortGetSize({width, 3}, &bytes));
    EXPECT_EQ(expected, bytes);
  }
}

Position tangentialPosition(const Lens& lens, float p1, float p2, int32_t column, int32_t row) {
  const auto x = static_cast<float>(column), y = static_cast<float>(row);
  const float dx = x + (0 - lens.cx), dy = y + (0 - lens.cy);
  const float xn = dx * (1 / lens.fx), yn = dy * (1 / lens.fy);
  const float X = xn * xn, Y = yn * yn, r2 = X + Y;
  const float F = lens.k1 * r2 + lens.k2 * r2 * r2;
  return {x + dx * F + (2 * p1) * dx * yn + (lens.fx * p2) * (r2 + 2 * X),
          y + dy * F + (lens.fy * p1) * (r2 + 2 * Y) + (2 * p2) * dy * xn};
}

void expectSame(float expected, float actual) {
  if (std::isnan(expected)) {
    ASSERT_TRUE(std::isnan(actual));
  } else {
    ASSERT_EQ(expected, actual);
  }
}

TEST(UndistortMaps, MatchReferenceInTheCallersMode) {
  for (const int32_t width : {1, 3, 8, 15, 127, 128, 129, 300}) {
    const NuviSize size = {width, 5};
    const auto buffer = columnBuffer(size, Against::end);
    for (const Lens& lens : lenses) {
      for (const auto& [p1, p2] : {std::pair{0.0f, 0.0f}, {0.01f, 0.0f}, {0.0f, -0.02f}}) {
        for (const int mode : {FE_TONEAREST, FE_TOWARDZERO}) {
          const bool tangential = p1 != 0 || p2 != 0;
          if (tangential && mode != FE_TONEAREST) continue;
          for (uint8_t* pBuffer : {static_cast<uint8_t*>(nullptr), buffer->data()}) {
            TestImage<float> xMap(size, 1, 1), yMap(size, 1, 2);
            std::fesetround(mode);
            const NuvStatus status = nuviCreateMapCameraUndistort_32f_C1R(
                xMap.data(), xMap.step(), yMap.data(), yMap.step(), size, lens.fx, lens.fy, lens.cx,
                lens.cy, lens.k1, lens.k2, p1, p2, pBuffer);
            std::fesetround(FE_TONEAREST);
            ASSERT_EQ(nuvStatusOk, status);
            for (int32_t y = 0; y < size.height; ++y) {
              for (int32_t x = 0; x < size.width; ++x) {
                const Position expected = tangential ? tangentialPosition(lens, p1, p2, x, y)
                                          : mode == FE_TONEAREST ? position<Nearest>(lens, x, y)
                                                                 : position<TowardZero>(lens, x, y);
                expectSame(expected.u, xMap.at(x, y));
                expectSame(expected.v, yMap.at(x, y));
              }
            }
            ASSERT_TRUE(xMap.padsUntouched() && yMap.padsUntouched());
          }
        }
      }
    }
  }
}

// Brown's model in double precision: what the maps mean, apart from how they are rounded.
TEST(UndistortMaps, FollowTheLensModel) {
  const NuviSize size = {320, 240};
  const double fx = 250, fy = 260, cx = 150.5, cy = 118.25, k1 = -0.2, k2 = 0.05;
  TestImage<float> xMap(size), yMap(size);
  for (const auto& [p1, p2] : {std::pair{0.0, 0.0}, {0.003, -0.002}}) {
    ASSERT_EQ(nuvStatusOk,
              nuviCreateMapCameraUndistort_32f_C1R(
                  xMap.data(), xMap.step(), yMap.data(), yMap.step(), size, fx, fy, cx, cy, k1, k2,
                  static_cast<float>(p1), static_cast<float>(p2), nullptr));
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const double xn = (x - cx) / fx, yn = (y - cy) / fy, r2 = xn * xn + yn * yn;
        const double radial = 1 + k1 * r2 + k2 * r2 * r2;
        const double u = xn * radial + 2 * p1 * xn * yn + p2 * (r2 + 2 * xn * xn);
        const double v = yn * radial + p1 * (r2 + 2 * yn * yn) + 2 * p2 * xn * yn;
        ASSERT_NEAR(u * fx + cx, xMap.at(x, y), 1e-3);
        ASSERT_NEAR(v * fy + cy, yMap.at(x, y), 1e-3);
      }
    }
  }
}

TEST(UndistortMaps, ChecksInOrderAndNothingWritten) {
  float x[8] = {}, y[8] = {};
  const auto call = [&](float* pxMap, int32_t xStep, float* pyMap, int32_t yStep, NuviSize size,
                        float fx, float fy) {
    return nuviCreateMapCameraUndistort_32f_C1R(pxMap, xStep, pyMap, yStep, size, fx, fy, 1, 1,
                                                0.1f, 0, 0.1f, 0, nullptr);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 16, y, 16, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusNullPointer, call(x, 16, nullptr, 0, {4, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(x, 1, y, 16, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(x, 16, y, 1, {4, -1}, 1, 1));
  EXPECT_EQ(nuvStatusBadStep, call(x, 17, y, 15, {4, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadStep, call(x, 12, y, 18, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(x, 18, y, 16, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(x, 16, y, 17, {4, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(x, 16, y, 16, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(x, 16, y, 16, {4, 2}, 1, 0));
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(x[i] == 0 && y[i] == 0);
}

}  // namespace

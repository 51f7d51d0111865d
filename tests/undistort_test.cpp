#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// Single-precision operations in the rounding mode of the moment, which the compiler does not move.
float add(volatile float a, volatile float b) {
  const volatile float sum = a + b;
  return sum;
}
float multiply(volatile float a, volatile float b) {
  const volatile float product = a * b;
  return product;
}
float divide(volatile float a, volatile float b) {
  const volatile float quotient = a / b;
  return quotient;
}

constexpr int modes[] = {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD};

// Runs work() in a rounding mode, and expects that it gives the mode back.
template <class Work>
NuvStatus inMode(int mode, Work&& work) {
  std::feclearexcept(FE_ALL_EXCEPT);
  std::fesetround(mode);
  const NuvStatus status = work();
  EXPECT_EQ(mode, std::fegetround());
  std::fesetround(FE_TONEAREST);
  return status;
}

struct Lens {
  float fx, fy, cx, cy, k1, k2;
};
struct Position {
  float u, v;
};

Position position(const Lens& lens, int32_t column, int32_t row) {
  const auto x = static_cast<float>(column), y = static_cast<float>(row);
  const float dx = add(x, add(0, -lens.cx)), dy = add(y, add(0, -lens.cy));
  const float X = multiply(multiply(dx, divide(1, multiply(lens.fx, lens.fx))), dx);
  const float Y = multiply(multiply(dy, divide(1, multiply(lens.fy, lens.fy))), dy);
  const float A = multiply(multiply(2, lens.k2), Y);
  const float B = multiply(add(multiply(lens.k2, Y), lens.k1), Y);
  const float G = multiply(add(multiply(lens.k2, X), lens.k1), X);
  const float F = add(G, add(multiply(A, X), B));
  return {add(multiply(dx, F), x), add(multiply(dy, F), y)};
}

// Leaves `dst` as it is where the sample lies outside.
template <class T>
void undistortReference(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels,
                        const Lens& lens) {
  std::fesetround(FE_TOWARDZERO);
  for (int32_t y = 0; y < src.size().height; ++y) {
    for (int32_t x = 0; x < src.size().width; ++x) {
      const auto [u, v] = position(lens, x, y);
      if (!(u >= 0 && v >= 0 && u < src.size().width - 1 && v < src.size().height - 1)) continue;
      const auto iu = static_cast<int32_t>(u), iv = static_cast<int32_t>(v);
      const float fu = add(u, static_cast<float>(-iu)), fv = add(v, static_cast<float>(-iv));
      const float a = add(1, -fu), b = add(1, -fv);
      for (int32_t i = 0; i < channels; ++i) {
        const T* const p = &src.at(iu * channels + i, iv);
        const T* const q = &src.at(iu * channels + i, iv + 1);
        const float upper =
            add(multiply(p[0], multiply(a, b)), multiply(p[channels], multiply(fu, b)));
        const float lower =
            add(multiply(q[0], multiply(a, fv)), multiply(q[channels], multiply(fu, fv)));
        const float sum = add(upper, lower);
        dst.at(x * channels + i, y) = static_cast<T>(std::is_integral_v<T> ? add(sum, 0.5f) : sum);
      }
    }
  }
  std::fesetround(FE_TONEAREST);
}

constexpr Lens lenses[] = {
    {300, 280, 70.25f, 3.5f, -0.35f, 0.12f},    // barrel: all samples inside but at the rim
    {150, 160, 20.1f, -1.7f, 0.4f, -0.03f},     // pincushion: corners outside, centre off the image
    {-90, 40, 200.0f, 2.0f, 0.0f, 1.5f},        // strong, mirrored focal length
    {100, 100, 30, 2, 0, 0},                    // all is copied but the last row and column
    {0.01f, 0.01f, 3.0f, 1.0f, 1e20f, -1e30f},  // overflows: positions are infinite or NaN
    {1e-30f, 1e30f, 5.0f, 2.0f, 0.1f, 0.1f},    // 1 / fx^2 is infinite, 1 / fy^2 is 0
    {77, 78, 1e9f, 0.5f, NAN, 0.0f},
};

size_t bufferBytes(NuviSize size) {
  int32_t bytes = 0;
  EXPECT_EQ(nuvStatusOk, nuviUndistortGetSize(size, &bytes));
  EXPECT_EQ((size.width + 3) / 4 * 96 + 32, bytes);
  return static_cast<size_t>(bytes);
}

template <class T, int32_t channelCount, auto function>
struct Form {
  using Element = T;
  static constexpr int32_t channels = channelCount;
  static constexpr auto call = function;
};
template <class F>
class UndistortRadial : public ::testing::Test {};
using Forms = ::testing::Types<
    Form<uint8_t, 1, nuviUndistortRadial_8u_C1R>, Form<uint8_t, 3, nuviUndistortRadial_8u_C3R>,
    Form<uint16_t, 1, nuviUndistortRadial_16u_C1R>, Form<uint16_t, 3, nuviUndistortRadial_16u_C3R>,
    Form<float, 1, nuviUndistortRadial_32f_C1R>, Form<float, 3, nuviUndistortRadial_32f_C3R>>;
TYPED_TEST_SUITE(UndistortRadial, Forms);

// Any mode of the caller's gives the same and comes back, without a floating-point flag raised. No
// buffer, and one of exactly its size against either page; the last begins at an odd address.
TYPED_TEST(UndistortRadial, MatchesReference) {
  using T = typename TypeParam::Element;
  constexpr int32_t channels = TypeParam::channels;
  for (const int32_t width : {1, 2, 3, 4, 7, 8, 9, 31, 127, 128, 129, 261}) {
    for (const int32_t height : {1, 2, 7}) {
      for (const Lens& lens : lenses) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " fx " +
                     std::to_string(lens.fx));
        const NuviSize size = {width, height};
        TestImage<T> expected(size, channels);
        for (size_t i = 0; i < 4; ++i) {
          const Against against = i == 1 ? Against::begin : Against::end;
          const GuardedBlock buffer(bufferBytes(size) + (i == 3), against);
          TestImage<T> src(size, channels, width % 3, against);
          TestImage<T> dst(size, channels, width % 2, against);
          src.fill(RandomSamples<T>(1)), dst.fill(RandomSamples<T>(2));
          if (i == 0) undistortReference(src, expected.fill(RandomSamples<T>(2)), channels, lens);
          ASSERT_EQ(nuvStatusOk, inMode(modes[i], [&] {
                      const NuvStatus status = TypeParam::call(
                          src.data(), src.step(), dst.data(), dst.step(), size, lens.fx, lens.fy,
                          lens.cx, lens.cy, lens.k1, lens.k2, i == 0 ? nullptr : buffer.data());
                      EXPECT_EQ(0, std::fetestexcept(FE_ALL_EXCEPT));
                      return status;
                    }));
          ASSERT_EQ(expected.bytes(), dst.bytes());
          ASSERT_TRUE(dst.padsUntouched());
        }
      }
    }
  }
}

// The checks that images and maps share; call(first, step, second, step, size, fx, fy).
template <class T, class Call>
void expectChecksInOrder(int32_t channels, const Call& call) {
  const int32_t row = 4 * channels * static_cast<int32_t>(sizeof(T));
  std::vector<T> first(static_cast<size_t>(12 * channels)), second = first;
  T *const p = first.data(), *const q = second.data();
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, row, q, row, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusNullPointer, call(p, 0, nullptr, row, {4, 0}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(p, -1, q, row, {0, 2}, 1, 1));
  EXPECT_EQ(nuvStatusBadSize, call(p, row, q, 1, {4, 0}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(p, row - 1, q, row + 1, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(p, row + 1, q, row - 1, {4, 2}, 1, 1));
  if (sizeof(T) > 1) {
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(p, row + 1, q, row, {4, 2}, 0, 1));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(p, row, q, row + 1, {4, 2}, 1, 0));
  }
  EXPECT_EQ(nuvStatusBadArgument, call(p, row, q, row, {4, 2}, 0, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(p, row, q, row, {4, 2}, 1, -0.0f));
  for (size_t i = 0; i < first.size(); ++i) EXPECT_TRUE(first[i] == 0 && second[i] == 0);
}

TYPED_TEST(UndistortRadial, ChecksInOrderAndNothingWritten) {
  using T = typename TypeParam::Element;
  expectChecksInOrder<T>(
      TypeParam::channels, [](const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                              NuviSize size, float fx, float fy) {
        return TypeParam::call(pSrc, srcStep, pDst, dstStep, size, fx, fy, 1, 1, 0, 0, nullptr);
      });
}

TEST(UndistortMaps, ChecksInOrderAndNothingWritten) {
  expectChecksInOrder<float>(1, [](float* pxMap, int32_t xStep, float* pyMap, int32_t yStep,
                                   NuviSize size, float fx, float fy) {
    return nuviCreateMapCameraUndistort_32f_C1R(pxMap, xStep, pyMap, yStep, size, fx, fy, 1, 1,
                                                0.1f, 0, 0.1f, 0, nullptr);
  });
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviUndistortGetSize({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviUndistortGetSize({0, 5}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviUndistortGetSize({5, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
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

TEST(UndistortMaps, MatchReferenceInTheCallersMode) {
  const auto isSame = [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); };
  for (const int32_t width : {1, 3, 8, 15, 127, 128, 129, 300}) {
    const NuviSize size = {width, 5};
    const GuardedBlock buffer(bufferBytes(size));
    for (const Lens& lens : lenses) {
      for (const auto& [i, p1, p2] : {std::tuple(0, 0.0f, 0.0f),
                                      {1, 0.0f, 0.0f},
                                      {2, 0.0f, 0.0f},
                                      {3, 0.0f, 0.0f},
                                      {0, 0.01f, 0.0f},
                                      {0, 0.0f, -0.02f}}) {
        uint8_t* const pBuffer = i % 2 == 0 ? nullptr : buffer.data();
        const TestImage<float> xMap(size, 1, 1), yMap(size, 1, 2);
        ASSERT_EQ(nuvStatusOk, inMode(modes[i], [&, p1 = p1, p2 = p2] {
                    return nuviCreateMapCameraUndistort_32f_C1R(
                        xMap.data(), xMap.step(), yMap.data(), yMap.step(), size, lens.fx, lens.fy,
                        lens.cx, lens.cy, lens.k1, lens.k2, p1, p2, pBuffer);
                  }));
        ASSERT_TRUE(xMap.padsUntouched() && yMap.padsUntouched());
        for (int32_t y = 0; y < size.height; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            std::fesetround(modes[i]);
            const auto [u, v] =
                p1 != 0 || p2 != 0 ? tangentialPosition(lens, p1, p2, x, y) : position(lens, x, y);
            std::fesetround(FE_TONEAREST);
            ASSERT_TRUE(isSame(u, xMap.at(x, y)) && isSame(v, yMap.at(x, y)))
                << x << "," << y << " fx " << lens.fx << " mode " << i;
          }
        }
      }
    }
  }
}

}  // namespace

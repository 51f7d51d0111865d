#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

uint8_t reference(uint8_t a, uint8_t b, uint8_t c, int32_t norm) {
  if (norm == 0) return std::max({a, b, c});
  if (norm == 1) return static_cast<uint8_t>(((a + b + c) * 1365 + 2048) >> 12);
  const auto squares = static_cast<float>(a * a + b * b + c * c);
  return static_cast<uint8_t>(std::sqrt(static_cast<double>(squares / 3.0)) + 0.5);
}
uint16_t reference(uint16_t a, uint16_t b, uint16_t c, int32_t norm) {
  if (norm == 0) return std::max({a, b, c});
  if (norm == 1) return static_cast<uint16_t>(((a + b + c) * 5461 + 8192) >> 14);
  const double x = a, y = b, z = c;
  return static_cast<uint16_t>(0.5 + std::sqrt(std::fma(z, z, std::fma(y, y, x * x)) / 3.0));
}
float reference(float a, float b, float c, int32_t norm) {
  a = std::fabs(a), b = std::fabs(b), c = std::fabs(c);
  if (norm == 0) return std::max({a, b, c});
  if (norm == 1) return a + b + c;
  return std::sqrt(std::fma(c, c, std::fma(b, b, a * a)));
}

template <class T, auto function>
struct Form {
  using Element = T;
  static constexpr auto call = function;
};
using Bytes = Form<uint8_t, nuviGradientColorToGray_8u_C3C1R>;

// In a parallel region of the caller's a call forks as well.
template <class F, class T>
void expectReference(const TestImage<T>& src, int32_t callers = 1) {
  for (const int32_t norm : {0, 1, 2}) {
    const TestImage<T> dst(src.size(), 1, src.size().width % 3);
    NuvStatus status = nuvStatusOk;
#pragma omp parallel num_threads(callers)
#pragma omp master
    status = F::call(src.data(), src.step(), dst.data(), dst.step(), src.size(), norm);
    ASSERT_EQ(nuvStatusOk, status);
    for (int32_t y = 0; y < dst.size().height; ++y) {
      for (int32_t x = 0; x < dst.size().width; ++x) {
        const T* const pixel = &src.at(3 * x, y);
        ASSERT_EQ(reference(pixel[0], pixel[1], pixel[2], norm), dst.at(x, y))
            << x << "," << y << " of width " << dst.size().width << " norm " << norm;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  }
}

template <class F>
class ColorGradient : public ::testing::Test {};
using Forms = ::testing::Types<Bytes, Form<uint16_t, nuviGradientColorToGray_16u_C3C1R>,
                               Form<float, nuviGradientColorToGray_32f_C3C1R>>;
TYPED_TEST_SUITE(ColorGradient, Forms);

TYPED_TEST(ColorGradient, MatchesReference) {
  using T = typename TypeParam::Element;
  for (int32_t width = 1; width <= 100; ++width) {
    for (const Against against : {Against::end, Against::begin}) {
      TestImage<T> src({width, 3}, 3, width % 4, against);
      expectReference<TypeParam>(src.fill(RandomSamples<T>(static_cast<unsigned>(width))));
    }
  }
  omp_set_max_active_levels(2);
  for (const NuviSize size : {NuviSize{64, 31}, {63, 32}, {64, 32}, {70, 53}, {33, 131}}) {
    TestImage<T> src(size, 3, 2);
    src.fill(RandomSamples<T>(7));
    withThreadCounts([&] { expectReference<TypeParam>(src, 4); });
  }
  omp_set_max_active_levels(1);
}

TYPED_TEST(ColorGradient, ChecksInOrderAndNothingWritten) {
  using T = typename TypeParam::Element;
  constexpr int32_t row = 4 * sizeof(T);
  T src[24] = {1, 2, 3}, dst[8] = {};
  const auto gray = TypeParam::call;
  EXPECT_EQ(nuvStatusNullPointer, gray(nullptr, 3 * row, dst, row, {0, 2}, 0));
  EXPECT_EQ(nuvStatusNullPointer, gray(src, 3 * row, nullptr, 0, {4, 2}, 0));
  EXPECT_EQ(nuvStatusBadSize, gray(src, 0, dst, row, {0, 2}, 0));
  EXPECT_EQ(nuvStatusBadSize, gray(src, 3 * row, dst, row, {4, 0}, 3));
  EXPECT_EQ(nuvStatusBadStep, gray(src, 3 * row - 1, dst, row + 1, {4, 2}, 3));
  EXPECT_EQ(nuvStatusBadStep, gray(src, 3 * row + 1, dst, row - 1, {4, 2}, 0));
  if (sizeof(T) > 1) {
    EXPECT_EQ(nuvStatusStepNotElementMultiple, gray(src, 3 * row + 1, dst, row, {4, 2}, -1));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, gray(src, 3 * row, dst, row + 1, {4, 2}, 3));
  }
  EXPECT_EQ(nuvStatusBadArgument, gray(src, 3 * row, dst, row, {4, 2}, 3));
  EXPECT_EQ(nuvStatusBadArgument, gray(src, 3 * row, dst, row, {4, 2}, -1));
  for (const T value : dst) EXPECT_EQ(T(0), value);
}

// Every multiset of three 8-bit values: the norms are evaluated by other formulas than they are
// defined by.
TEST(ColorGradientValues, AllOfEightBits) {
  for (int32_t a = 0; a < 256; ++a) {
    TestImage<uint8_t> src({256, 256 - a}, 3);
    for (int32_t b = a; b < 256; ++b) {
      for (int32_t c = 0; c < 256; ++c) {
        const int32_t pixel[] = {a, b, std::max(b, c)};
        std::copy_n(pixel, 3, &src.at(3 * c, b - a));
      }
    }
    ASSERT_NO_FATAL_FAILURE(expectReference<Bytes>(src));
  }
}

}  // namespace

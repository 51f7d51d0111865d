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

NuvStatus gray(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, NuviSize size,
               int32_t norm) {
  return nuviGradientColorToGray_8u_C3C1R(pSrc, srcStep, pDst, dstStep, size, norm);
}
NuvStatus gray(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst, int32_t dstStep,
               NuviSize size, int32_t norm) {
  return nuviGradientColorToGray_16u_C3C1R(pSrc, srcStep, pDst, dstStep, size, norm);
}
NuvStatus gray(const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep, NuviSize size,
               int32_t norm) {
  return nuviGradientColorToGray_32f_C3C1R(pSrc, srcStep, pDst, dstStep, size, norm);
}

template <class T>
void expectReference(const TestImage<T>& src, const TestImage<T>& dst, int32_t norm) {
  for (int32_t y = 0; y < dst.size().height; ++y) {
    for (int32_t x = 0; x < dst.size().width; ++x) {
      const T* const pixel = &src.at(3 * x, y);
      ASSERT_EQ(reference(pixel[0], pixel[1], pixel[2], norm), dst.at(x, y))
          << x << "," << y << " norm " << norm << ": " << +pixel[0] << " " << +pixel[1] << " "
          << +pixel[2];
    }
  }
  ASSERT_TRUE(dst.padsUntouched());
}

template <class T>
class ColorGradient : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ColorGradient, Elements);

TYPED_TEST(ColorGradient, MatchesReference) {
  using T = TypeParam;
  for (int32_t width = 1; width <= 100; ++width) {
    const NuviSize size = {width, 3};
    for (const Against against : {Against::end, Against::begin}) {
      TestImage<T> src(size, 3, width % 4, against), dst(size, 1, width % 3, against);
      src.fill(RandomSamples<T>(static_cast<unsigned>(width)));
      for (const int32_t norm : {0, 1, 2}) {
        ASSERT_EQ(nuvStatusOk, gray(src.data(), src.step(), dst.data(), dst.step(), size, norm));
        ASSERT_NO_FATAL_FAILURE(expectReference(src, dst, norm));
      }
    }
  }
}

// From inside a parallel region a call forks too; sizes on both sides of its gate.
TYPED_TEST(ColorGradient, AnyCutGivesTheSameResult) {
  using T = TypeParam;
  omp_set_max_active_levels(2);
  for (const NuviSize size : {NuviSize{64, 31}, {63, 32}, {64, 32}, {70, 53}, {33, 131}}) {
    TestImage<T> src(size, 3, 2), one(size), other(size, 1, 1);
    src.fill(RandomSamples<T>(7));
    for (const int32_t norm : {0, 1, 2}) {
      withThreadCounts([&] {
#pragma omp parallel num_threads(4)
        {
          const int thread = omp_get_thread_num();
          if (thread < 2) {
            const TestImage<T>& dst = thread == 0 ? one : other;
            EXPECT_EQ(nuvStatusOk,
                      gray(src.data(), src.step(), dst.data(), dst.step(), size, norm));
          }
        }
        ASSERT_NO_FATAL_FAILURE(expectReference(src, one, norm));
        ASSERT_NO_FATAL_FAILURE(expectReference(src, other, norm));
      });
    }
  }
  omp_set_max_active_levels(1);
}

TYPED_TEST(ColorGradient, ChecksInOrderAndNothingWritten) {
  using T = TypeParam;
  constexpr int32_t row = 4 * sizeof(T);
  T src[24] = {1, 2, 3}, dst[8] = {};
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
  for (int a = 0; a < 256; ++a) {
    const NuviSize size = {256, 256 - a};
    TestImage<uint8_t> src(size, 3), dst(size);
    for (int b = a; b < 256; ++b) {
      for (int c = 0; c < 256; ++c) {
        uint8_t* const pixel = &src.at(3 * c, b - a);
        pixel[0] = static_cast<uint8_t>(a);
        pixel[1] = static_cast<uint8_t>(b);
        pixel[2] = static_cast<uint8_t>(std::max(b, c));
      }
    }
    for (const int32_t norm : {1, 2}) {
      ASSERT_EQ(nuvStatusOk, gray(src.data(), src.step(), dst.data(), dst.step(), size, norm));
      ASSERT_NO_FATAL_FAILURE(expectReference(src, dst, norm));
    }
  }
}

// 16-bit roots where they change from n to n + 1: of many triples, those whose sum of squares lies
// next to 3 * (n^2 + n), below it and above it.
TEST(ColorGradientValues, SixteenBitRootsNextToTheirSteps) {
  const NuviSize size = {160, 2};
  TestImage<uint16_t> src(size, 3), dst(size);
  for (int32_t x = 0; x < size.width; ++x) {
    const int64_t n = 40 + x * 400, change = 3 * (n * n + n);
    int64_t least[2] = {INT64_MAX, INT64_MAX};
    for (int64_t b = n / 2; b <= n; ++b) {
      const int64_t rest = change - n * n - b * b;
      const auto root = static_cast<int64_t>(std::sqrt(static_cast<double>(rest)));
      for (int32_t above : {0, 1}) {
        const int64_t c = root + above;
        const int64_t distance = std::abs(c * c - rest);
        if (c > 65535 || distance >= least[above]) continue;
        least[above] = distance;
        const int64_t pixel[] = {n, b, c};
        std::copy_n(pixel, 3, &src.at(3 * x, above));
      }
    }
  }
  ASSERT_EQ(nuvStatusOk, gray(src.data(), src.step(), dst.data(), dst.step(), size, 2));
  expectReference(src, dst, 2);
  EXPECT_EQ(dst.at(100, 0) + 1, dst.at(100, 1));
}

}  // namespace

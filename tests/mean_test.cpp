#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// What a call works on, and what it is to find.
template <class T>
struct Case {
  TestImage<T> src;
  TestImage<uint8_t> mask;
  NuviSize size;
  int32_t channels, coi;
  bool masked;

  bool counts(int32_t x, int32_t y) const { return !masked || mask.at(x, y) != 0; }
  T pixel(int32_t x, int32_t y) const { return src.at(x * channels + coi - 1, y); }
};

struct Moments {
  double sum = 0, squares = 0;
  int64_t count = 0;
};

// Single-precision lanes over a band: blocks of two sets, the rest of a row into the first lane.
Moments floatBand(const Case<float>& c, int32_t firstRow, int32_t endRow, float origin,
                  bool mayFuse) {
  const int32_t lanes = c.channels == 1 && !c.masked ? 8 : 4;
  const bool fuse = mayFuse && lanes == 8;
  std::vector<float> sum(static_cast<size_t>(lanes)), squares(sum);
  Moments moments;
  for (int32_t y = firstRow; y < endRow; ++y) {
    for (int32_t x = 0; x < c.size.width; ++x) {
      const bool inBlock = x < c.size.width / (2 * lanes) * (2 * lanes);
      const auto lane = static_cast<size_t>(inBlock ? x % lanes : 0);
      const float p = c.counts(x, y) ? c.pixel(x, y) - origin : 0.0f;
      sum[lane] += p;
      const float square = p * p;
      squares[lane] = fuse ? std::fma(p, p, squares[lane]) : squares[lane] + square;
      moments.count += c.counts(x, y);
    }
  }
  const auto fold = [&](const std::vector<float>& set) {
    std::vector<double> d(set.begin(), set.end());
    if (lanes == 8) {
      for (size_t i = 0; i < 4; ++i) d[i] += d[i + 4];
    }
    return (d[0] + d[2]) + (d[1] + d[3]);
  };
  moments.sum = fold(sum);
  moments.squares = fold(squares);
  return moments;
}

// The expected mean and deviation with a number of bands.
template <class T>
void expect(const Case<T>& c, int32_t bands, double& mean, double& deviation) {
  Moments all;
  if constexpr (std::is_same_v<T, float>) {
    for (int32_t t = 0; t < bands; ++t) {
      const int32_t rows = c.size.height / bands;
      const int32_t end = t == bands - 1 ? c.size.height : (t + 1) * rows;
      const Moments band = floatBand(c, t * rows, end, 0.0f, true);
      all = {all.sum + band.sum, all.squares + band.squares, all.count + band.count};
    }
  } else {
    int64_t sum = 0;
    uint64_t squares = 0;
    for (int32_t y = 0; y < c.size.height; ++y) {
      for (int32_t x = 0; x < c.size.width; ++x) {
        if (!c.counts(x, y)) continue;
        const int64_t p = c.pixel(x, y);
        sum += p;
        squares += static_cast<uint64_t>(p * p);
        ++all.count;
      }
    }
    all.sum = static_cast<double>(sum);
    all.squares = static_cast<double>(squares);
  }
  mean = deviation = 0.0;
  if (all.count == 0) return;
  const auto n = static_cast<double>(all.count);
  mean = all.sum / n;
  deviation = std::sqrt(std::fabs(std::fma(-mean, mean, all.squares / n)));
  if constexpr (std::is_same_v<T, float>) {
    if (mean * 0.05 * mean > deviation * deviation) {
      const float origin = static_cast<float>(mean);
      deviation = std::sqrt(floatBand(c, 0, c.size.height, origin, false).squares / n);
    }
  }
}

template <class T>
struct Forms;
#define FORMS(form, T)                                                      \
  template <>                                                               \
  struct Forms<T> {                                                         \
    static constexpr auto mean = nuviMean_##form##_C1MR;                    \
    static constexpr auto meanOfChannel = nuviMean_##form##_C3CMR;          \
    static constexpr auto plain = nuviMean_StdDev_##form##_C1R;             \
    static constexpr auto plainOfChannel = nuviMean_StdDev_##form##_C3CR;   \
    static constexpr auto masked = nuviMean_StdDev_##form##_C1MR;           \
    static constexpr auto maskedOfChannel = nuviMean_StdDev_##form##_C3CMR; \
  };
FORMS(8u, uint8_t)
FORMS(8s, int8_t)
FORMS(16u, uint16_t)
FORMS(32f, float)
#undef FORMS

template <class T>
class Mean : public ::testing::Test {
 protected:
  // Runs all forms on one content; `selected` tells whether the mask selects the nth pixel.
  template <class Value, class Selected>
  static void compare(NuviSize size, int32_t pad, Value&& value, Selected&& selected) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    for (const int32_t channels : {1, 3}) {
      for (const bool masked : {false, true}) {
        Case<T> c{{size, channels, pad}, {size, 1, pad}, size, channels, channels, masked};
        c.src.fill(value);
        c.mask.fill([&, n = 0]() mutable { return selected(n++) ? 0x80 : 0; });
        withThreadCounts([&] {
          const bool parallel = size.width * size.height >= ownGetNumThreads() * 0x20000 ||
                                (std::is_same_v<T, float> && channels == 1 && !masked &&
                                 size.width * size.height >= ownGetNumThreads() * 0x10000);
          const bool never = std::is_same_v<T, float> && channels == 3 && !masked;
          double mean, deviation, gotMean = -1, gotDeviation = -1;
          expect(c, parallel && !never ? ownGetNumThreads() : 1, mean, deviation);
          using F = Forms<T>;
          const T* const src = c.src.data();
          const uint8_t* const mask = c.mask.data();
          const int32_t step = c.src.step(), maskStep = c.mask.step();
          if (masked) {
            ASSERT_EQ(nuvStatusOk,
                      channels == 1
                          ? F::mean(src, step, mask, maskStep, size, &gotMean)
                          : F::meanOfChannel(src, step, mask, maskStep, size, c.coi, &gotMean));
            ASSERT_EQ(mean, gotMean);
          }
          NuvStatus status;
          if (channels == 1) {
            status = masked ? F::masked(src, step, mask, maskStep, size, &gotMean, &gotDeviation)
                            : F::plain(src, step, size, &gotMean, &gotDeviation);
          } else {
            status = masked ? F::maskedOfChannel(src, step, mask, maskStep, size, c.coi, &gotMean,
                                                 &gotDeviation)
                            : F::plainOfChannel(src, step, size, c.coi, &gotMean, &gotDeviation);
          }
          ASSERT_EQ(nuvStatusOk, status);
          ASSERT_EQ(mean, gotMean);
          ASSERT_EQ(deviation, gotDeviation);
        });
      }
    }
  }
};
using Elements = ::testing::Types<uint8_t, int8_t, uint16_t, float>;
TYPED_TEST_SUITE(Mean, Elements);

TYPED_TEST(Mean, MatchesReference) {
  const auto third = [](int n) { return n % 3 != 0; };
  for (int32_t width = 1; width <= 70; width += width < 35 ? 1 : 7) {
    this->compare({width, 4}, width % 3, RandomSamples<TypeParam>(1), third);
  }
  this->compare({4500, 2}, 1, RandomSamples<TypeParam>(2), third);  // longer than a chunk
  this->compare({1021, 258}, 1, RandomSamples<TypeParam>(3), third);
  this->compare({9, 5}, 0, RandomSamples<TypeParam>(4), [](int) { return false; });
}

TYPED_TEST(Mean, SmallSpreadAroundALargeMean) {
  int n = 0;
  this->compare(
      {37, 11}, 0, [&] { return TypeParam(100 + n++ % 3); }, [](int i) { return i % 5 != 0; });
}

TEST(MeanValues, ConstantsHaveNoDeviation) {
  const NuviSize size = {333, 61};
  TestImage<float> image(size);
  image.fill([] { return 1000.5f; });
  double mean = 0, deviation = -1;
  ASSERT_EQ(nuvStatusOk,
            nuviMean_StdDev_32f_C1R(image.data(), image.step(), size, &mean, &deviation));
  EXPECT_NEAR(1000.5, mean, 0.1);
  EXPECT_LT(deviation, 0.1);
  ASSERT_EQ(nuvStatusOk,
            nuviMean_StdDev_32f_C1R(image.data(), image.step(), {7, 2}, &mean, &deviation));
  EXPECT_EQ(1000.5, mean);
  EXPECT_EQ(0.0, deviation);
}

TEST(MeanValues, NaNUnderAZeroMaskDoesNoHarm) {
  const float src[12] = {1, NAN, 3, 4, 5, 6, 7, 8, INFINITY, 10, 11, NAN};
  const uint8_t mask[12] = {1, 0, 1, 1, 1, 1, 1, 1, 0, 1, 1, 0};
  double mean = 0;
  ASSERT_EQ(nuvStatusOk, nuviMean_32f_C1MR(src, 48, mask, 12, {12, 1}, &mean));
  EXPECT_EQ(55.0 / 9, mean);
}

TEST(MeanChecks, FirstFailureInOrder) {
  const uint16_t s[12] = {};
  const float f[12] = {};
  const uint8_t m[12] = {};
  double mean = -7, deviation = -7;
  // The 16-bit element test stands before the mask's step, the float one behind it.
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviMean_16u_C3CMR(s, 13, m, 1, {2, 1}, 0, &mean));
  EXPECT_EQ(nuvStatusBadStep, nuviMean_32f_C3CMR(f, 25, m, 1, {2, 1}, 0, &mean));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviMean_32f_C3CMR(f, 25, m, 2, {2, 1}, 0, &mean));
  EXPECT_EQ(nuvStatusBadStep, nuviMean_16u_C3CMR(s, 11, m, 1, {2, 1}, 0, &mean));
  EXPECT_EQ(nuvStatusBadChannel, nuviMean_16u_C3CMR(s, 12, m, 2, {2, 1}, 4, &mean));
  EXPECT_EQ(nuvStatusBadChannel, nuviMean_StdDev_32f_C3CR(f, 24, {2, 1}, 0, &mean, &deviation));
  EXPECT_EQ(nuvStatusNullPointer, nuviMean_16u_C1MR(s, 0, m, 0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMean_StdDev_16u_C1MR(s, 0, nullptr, 0, {0, 0}, &mean, &deviation));
  EXPECT_EQ(nuvStatusBadSize, nuviMean_StdDev_16u_C1R(s, 1, {1, 0}, &mean, &deviation));
  EXPECT_EQ(-7, mean);
  EXPECT_EQ(-7, deviation);
  EXPECT_EQ(nuvStatusOk, nuviMean_StdDev_16u_C1R(s, 4, {2, 1}, nullptr, nullptr));
}

}  // namespace

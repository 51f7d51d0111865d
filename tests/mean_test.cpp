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
  int32_t count = 0;
};

// Floats go into single-precision lanes over a band: blocks of two sets, the rest of a row into the
// first lane. Doubles hold the sums of integers exactly in any lanes.
template <class T>
Moments bandMoments(const Case<T>& c, int32_t firstRow, int32_t endRow, float origin,
                    bool mayFuse) {
  using Sum = std::conditional_t<std::is_same_v<T, float>, float, double>;
  const int32_t lanes = c.channels == 1 && !c.masked ? 8 : 4;
  Sum sum[8] = {}, squares[8] = {};
  Moments moments;
  for (int32_t y = firstRow; y < endRow; ++y) {
    for (int32_t x = 0; x < c.size.width; ++x) {
      const int32_t lane = x < c.size.width / (2 * lanes) * (2 * lanes) ? x % lanes : 0;
      const Sum p = c.counts(x, y) ? static_cast<Sum>(c.pixel(x, y)) - origin : 0;
      const Sum square = p * p;
      sum[lane] += p;
      squares[lane] =
          mayFuse && lanes == 8 ? std::fma(p, p, squares[lane]) : squares[lane] + square;
      moments.count += c.counts(x, y);
    }
  }
  const auto folded = [](const Sum(&set)[8]) {
    double d[4];
    for (int i = 0; i < 4; ++i) d[i] = double{set[i]} + double{set[i + 4]};
    return (d[0] + d[2]) + (d[1] + d[3]);
  };
  moments.sum = folded(sum);
  moments.squares = folded(squares);
  return moments;
}

// The expected mean and deviation with a number of bands.
template <class T>
void expect(const Case<T>& c, int32_t bands, double& mean, double& deviation) {
  Moments all;
  const int32_t rows = c.size.height / bands;
  for (int32_t t = 0; t < bands; ++t) {
    const int32_t end = t == bands - 1 ? c.size.height : (t + 1) * rows;
    const Moments band = bandMoments(c, t * rows, end, 0.0f, true);
    all = {all.sum + band.sum, all.squares + band.squares, all.count + band.count};
  }
  mean = deviation = 0.0;
  if (all.count == 0) return;
  mean = all.sum / all.count;
  deviation = std::sqrt(std::fabs(std::fma(-mean, mean, all.squares / all.count)));
  if (!std::is_same_v<T, float> || !(mean * 0.05 * mean > deviation * deviation)) return;
  const auto origin = static_cast<float>(mean);
  deviation = std::sqrt(bandMoments(c, 0, c.size.height, origin, false).squares / all.count);
}

// The form of a case; in masked ones the mean alone has to come out the same.
#define CALL(form, T)                                                                            \
  NuvStatus call(const Case<T>& c, double* mean, double* deviation) {                            \
    const T* const src = c.src.data();                                                           \
    const uint8_t* const mask = c.mask.data();                                                   \
    const int32_t step = c.src.step(), maskStep = c.mask.step();                                 \
    double alone = 0;                                                                            \
    if (c.channels == 1 && !c.masked) {                                                          \
      return nuviMean_StdDev_##form##_C1R(src, step, c.size, mean, deviation);                   \
    } else if (!c.masked) {                                                                      \
      return nuviMean_StdDev_##form##_C3CR(src, step, c.size, c.coi, mean, deviation);           \
    } else if (c.channels == 1) {                                                                \
      nuviMean_##form##_C1MR(src, step, mask, maskStep, c.size, &alone);                         \
      nuviMean_StdDev_##form##_C1MR(src, step, mask, maskStep, c.size, mean, deviation);         \
    } else {                                                                                     \
      nuviMean_##form##_C3CMR(src, step, mask, maskStep, c.size, c.coi, &alone);                 \
      nuviMean_StdDev_##form##_C3CMR(src, step, mask, maskStep, c.size, c.coi, mean, deviation); \
    }                                                                                            \
    return alone == *mean ? nuvStatusOk : nuvStatusFailure;                                      \
  }
CALL(8u, uint8_t)
CALL(8s, int8_t)
CALL(16u, uint16_t)
CALL(32f, float)
#undef CALL

template <class T>
class Mean : public ::testing::Test {
 protected:
  // Runs all forms on one content; `selected` tells whether the mask selects the nth pixel.
  template <class Value, class Selected>
  static void compare(NuviSize size, Value&& value, Selected&& selected) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    for (const int32_t form : {0, 1, 2, 3}) {
      const int32_t channels = form < 2 ? 1 : 3, pad = size.width % 3;
      const bool masked = form % 2 == 1;
      Case<T> c{{size, channels, pad}, {size, 1, pad}, size, channels, channels, masked};
      c.src.fill(value);
      c.mask.fill([&, n = 0]() mutable { return selected(n++) ? 0x80 : 0; });
      for (int32_t x = 0; x < size.width; ++x) {  // a NaN under a zero mask does no harm
        T& pixel = c.src.at(x * channels + c.coi - 1, 0);
        if (!c.counts(x, 0)) pixel = std::numeric_limits<T>::quiet_NaN();
      }
      const int32_t areaOfThread = form == 0 && std::is_same_v<T, float> ? 0x10000 : 0x20000;
      withThreadCounts([&] {
        const bool serial = size.width * size.height < ownGetNumThreads() * areaOfThread ||
                            (form == 2 && std::is_same_v<T, float>);
        double mean, deviation, gotMean = -1, gotDeviation = -1;
        expect(c, serial ? 1 : ownGetNumThreads(), mean, deviation);
        ASSERT_EQ(nuvStatusOk, call(c, &gotMean, &gotDeviation));
        ASSERT_EQ(mean, gotMean);
        ASSERT_EQ(deviation, gotDeviation);
      });
    }
  }
};
using Elements = ::testing::Types<uint8_t, int8_t, uint16_t, float>;
TYPED_TEST_SUITE(Mean, Elements);

TYPED_TEST(Mean, MatchesReference) {
  const auto third = [](int n) { return n % 3 != 0; };
  for (int32_t width = 1; width <= 70; width += width < 35 ? 1 : 7) {
    this->compare({width, 4}, RandomSamples<TypeParam>(1), third);
  }
  this->compare({4500, 2}, RandomSamples<TypeParam>(2), third);  // longer than a chunk
  this->compare({1021, 258}, RandomSamples<TypeParam>(3), third);
  this->compare({9, 5}, RandomSamples<TypeParam>(4), [](int) { return false; });
  // A small spread around a large mean, and none.
  int n = 0;
  this->compare(
      {37, 11}, [&] { return TypeParam(100 + n++ % 3); }, third);
  this->compare(
      {37, 11}, [] { return TypeParam(100.5); }, third);
}

TEST(MeanChecks, FirstFailureInOrder) {
  const uint16_t s[12] = {};
  const float f[12] = {};
  const uint8_t m[12] = {};
  const NuviSize size = {2, 1};
  double mean = -7, deviation = -7;
  // The 16-bit element test stands before the mask's step, the float one behind it.
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviMean_16u_C3CMR(s, 13, m, 1, size, 0, &mean));
  EXPECT_EQ(nuvStatusBadStep, nuviMean_32f_C3CMR(f, 25, m, 1, size, 0, &mean));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviMean_32f_C3CMR(f, 25, m, 2, size, 0, &mean));
  EXPECT_EQ(nuvStatusBadStep, nuviMean_16u_C3CMR(s, 11, m, 1, size, 0, &mean));
  EXPECT_EQ(nuvStatusBadChannel, nuviMean_16u_C3CMR(s, 12, m, 2, size, 4, &mean));
  EXPECT_EQ(nuvStatusNullPointer, nuviMean_16u_C1MR(s, 0, m, 0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMean_StdDev_16u_C1MR(s, 0, nullptr, 0, {0, 0}, &mean, &deviation));
  EXPECT_EQ(nuvStatusBadSize, nuviMean_StdDev_16u_C1R(s, 1, {1, 0}, &mean, &deviation));
  EXPECT_EQ(-7, mean);
  EXPECT_EQ(-7, deviation);
  EXPECT_EQ(nuvStatusOk, nuviMean_StdDev_16u_C1R(s, 4, size, nullptr, nullptr));
}

}  // namespace

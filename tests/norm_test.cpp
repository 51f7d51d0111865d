#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

enum class Kind { inf, l1, l2 };

// The pixels of a test: two images of one or three channels and a mask.
template <class T>
struct Case {
  TestImage<T> a, b;
  TestImage<uint8_t> mask;
  NuviSize size;
  int32_t channels, coi;
};

// Sum, maximum or sum of squares of the masked terms of a - b, of a, or of b, in long double; float
// terms are rounded to single precision at every step.
template <class T>
long double unrooted(const Case<T>& c, Kind kind, bool ofA, bool ofB) {
  using Step = std::conditional_t<std::is_same_v<T, float>, float, int64_t>;
  long double norm = 0;
  for (int32_t y = 0; y < c.size.height; ++y) {
    for (int32_t x = 0; x < c.size.width; ++x) {
      const int32_t i = x * c.channels + c.coi - 1;
      const Step a = ofA ? c.a.at(i, y) : 0, b = ofB ? c.b.at(i, y) : 0, difference = a - b;
      const Step t = difference * (c.mask.at(x, y) != 0 ? 1 : 0);
      const Step square = t * t;
      const long double term = kind == Kind::l2 ? square : std::abs(t);
      norm = kind == Kind::inf ? std::max(norm, term) : norm + term;
    }
  }
  return norm;
}

// Integers and maxima are exact; the grouping of a double sum of floats is open in the last bits.
template <class T>
void expectNorm(Kind kind, long double unrooted, double actual) {
  const auto squared = static_cast<double>(unrooted);
  const double expected = kind == Kind::l2 ? std::sqrt(squared) : squared;
  const bool isExact = !std::is_same_v<T, float> || kind == Kind::inf;
  ASSERT_NEAR(expected, actual, isExact ? 0 : 1e-12 * expected);
}

// Compares a norm, one of a difference and a relative one, each of one channel and of three.
template <class T, class One, class OneOfThree, class Two, class TwoOfThree>
void compare(Kind kind, One norm, OneOfThree normC3, Two diff, TwoOfThree diffC3, Two rel,
             TwoOfThree relC3) {
  const auto onSize = [&](NuviSize size, int32_t channels) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    const int32_t pad = size.width % 3;
    Case<T> c{{size, channels, pad}, {size, channels, 2 * pad}, {size, 1, pad}, size, channels,
              channels == 1 ? 1 : 2};
    c.a.fill(RandomSamples<T>(1));
    c.b.fill(RandomSamples<T>(2));
    c.mask.fill([n = 0]() mutable { return n++ % 3 == 0 ? 0 : 0x80; });
    const long double first = unrooted(c, kind, true, false);
    const long double second = unrooted(c, kind, false, true);
    const long double difference = unrooted(c, kind, true, true);
    const auto expect = [&](long double expected, NuvStatus status, auto one, auto three,
                            auto... images) {
      const uint8_t* const mask = c.mask.data();
      double value = -1;
      ASSERT_EQ(status, channels == 1 ? one(images..., mask, c.mask.step(), size, &value)
                                      : three(images..., mask, c.mask.step(), size, c.coi, &value));
      if (status == nuvStatusOk) expectNorm<T>(kind, expected, value);
    };
    withThreadCounts([&] {
      const T *a = c.a.data(), *b = c.b.data();
      expect(first, nuvStatusOk, norm, normC3, a, c.a.step());
      expect(difference, nuvStatusOk, diff, diffC3, a, c.a.step(), b, c.b.step());
      expect(static_cast<double>(difference) / static_cast<double>(second),
             second == 0 ? nuvStatusDivisorZero : nuvStatusOk, rel, relC3, a, c.a.step(), b,
             c.b.step());
    });
  };
  for (const int32_t channels : {1, 3}) {
    for (int32_t width = 1; width <= 70; width += width < 35 ? 1 : 7) onSize({width, 3}, channels);
    onSize({9001, 2}, channels);   // longer than a chunk
    onSize({600, 450}, channels);  // parallel for two threads
  }
}

#define COMPARE(kind, name, form, T)                                                        \
  compare<T>(Kind::kind, nuviNorm_##name##_##form##_C1MR, nuviNorm_##name##_##form##_C3CMR, \
             nuviNormDiff_##name##_##form##_C1MR, nuviNormDiff_##name##_##form##_C3CMR,     \
             nuviNormRel_##name##_##form##_C1MR, nuviNormRel_##name##_##form##_C3CMR)
#define TEST_FORM(form, T)              \
  TEST(Norm, MatchesReference_##form) { \
    COMPARE(inf, Inf, form, T);         \
    COMPARE(l1, L1, form, T);           \
    COMPARE(l2, L2, form, T);           \
  }
TEST_FORM(8u, uint8_t)
TEST_FORM(8s, int8_t)
TEST_FORM(16u, uint16_t)
TEST_FORM(32f, float)

TEST(NormValues, ZeroReferenceWarnsAndWrites) {
  const uint8_t a[4] = {1, 2, 3, 4}, zero[4] = {}, all[4] = {1, 1, 1, 1};
  double value = 0;
  EXPECT_EQ(nuvStatusDivisorZero, nuviNormRel_L2_8u_C1MR(a, 4, zero, 4, all, 4, {4, 1}, &value));
  EXPECT_EQ(INFINITY, value);
  EXPECT_EQ(nuvStatusDivisorZero, nuviNormRel_L1_8u_C1MR(a, 4, a, 4, zero, 4, {4, 1}, &value));
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  EXPECT_EQ(0xFFF8000000000000u, bits);
  const float nan[1] = {NAN}, none[1] = {0};
  EXPECT_EQ(nuvStatusDivisorZero, nuviNormRel_L1_32f_C1MR(nan, 4, none, 4, all, 1, {1, 1}, &value));
  EXPECT_EQ(-INFINITY, value);
}

TEST(NormValues, MaskMultipliesFloats) {
  const float src[9] = {1, INFINITY, 3, 4, 5, 6, 7, 8, 9};
  const uint8_t mask[9] = {1, 0, 1, 1, 1, 1, 1, 1, 1};
  double value = 0;
  for (const auto norm : {nuviNorm_L1_32f_C1MR, nuviNorm_L2_32f_C1MR}) {
    ASSERT_EQ(nuvStatusOk, norm(src, 36, mask, 9, {9, 1}, &value));
    EXPECT_TRUE(std::isnan(value));
  }
  ASSERT_EQ(nuvStatusOk, nuviNorm_Inf_32f_C1MR(src, 36, mask, 9, {9, 1}, &value));
  EXPECT_EQ(9.0, value);  // the running maximum stays
}

TEST(NormChecks, FirstFailureInOrder) {
  const uint16_t s[12] = {};
  const uint8_t m[12] = {};
  double value = -7;
  // One image: its element test stands before the mask's step. Two images: behind it.
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviNorm_L1_16u_C3CMR(s, 13, m, 1, {2, 1}, 0, &value));
  EXPECT_EQ(nuvStatusBadStep, nuviNorm_L1_16u_C3CMR(s, 12, m, 1, {2, 1}, 0, &value));
  EXPECT_EQ(nuvStatusBadStep, nuviNormDiff_L1_16u_C3CMR(s, 13, s, 12, m, 1, {2, 1}, 0, &value));
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviNormRel_L1_16u_C3CMR(s, 12, s, 13, m, 2, {2, 1}, 0, &value));
  EXPECT_EQ(nuvStatusBadChannel, nuviNorm_L1_16u_C3CMR(s, 12, m, 2, {2, 1}, 4, &value));
  EXPECT_EQ(nuvStatusBadSize, nuviNorm_Inf_16u_C1MR(s, 0, m, 0, {1, 0}, &value));
  EXPECT_EQ(nuvStatusNullPointer, nuviNorm_Inf_16u_C1MR(s, 0, m, 0, {0, 0}, nullptr));
  EXPECT_EQ(-7, value);
}

}  // namespace

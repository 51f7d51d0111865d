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

// Sum, maximum or sum of squares of the masked terms, in long double; float terms are rounded to
// single precision at every step.
template <class T>
long double unrooted(const Case<T>& c, Kind kind, bool first, bool second) {
  long double norm = 0;
  for (int32_t y = 0; y < c.size.height; ++y) {
    for (int32_t x = 0; x < c.size.width; ++x) {
      const int32_t i = x * c.channels + c.coi - 1;
      long double term;
      if constexpr (std::is_same_v<T, float>) {
        const float m = c.mask.at(x, y) != 0 ? 1.0f : 0.0f;
        const float value =
            first && second ? c.a.at(i, y) - c.b.at(i, y) : (first ? c.a.at(i, y) : c.b.at(i, y));
        const float t = value * m;
        const float square = t * t;
        term = kind == Kind::l2 ? square : std::fabs(t);
      } else {
        if (c.mask.at(x, y) == 0) continue;
        const int64_t value = (first ? int64_t{c.a.at(i, y)} : 0) +
                              (second ? (first ? -1 : 1) * int64_t{c.b.at(i, y)} : 0);
        term = static_cast<long double>(kind == Kind::l2 ? value * value : std::abs(value));
      }
      norm = kind == Kind::inf ? std::max(norm, term) : norm + term;
    }
  }
  return norm;
}

// Integers and maxima are exact; the grouping of a double sum of floats is open in the last bits.
template <class T>
void expectNorm(Kind kind, double expected, double actual) {
  if (std::is_same_v<T, float> && kind != Kind::inf) {
    ASSERT_NEAR(expected, actual, 1e-12 * std::fabs(expected));
  } else {
    ASSERT_EQ(expected, actual);
  }
}

template <class T>
struct Functions {
  Kind kind;
  NuvStatus (*norm)(const T*, int32_t, const uint8_t*, int32_t, NuviSize, double*);
  NuvStatus (*normC3)(const T*, int32_t, const uint8_t*, int32_t, NuviSize, int32_t, double*);
  NuvStatus (*diff)(const T*, int32_t, const T*, int32_t, const uint8_t*, int32_t, NuviSize,
                    double*);
  NuvStatus (*diffC3)(const T*, int32_t, const T*, int32_t, const uint8_t*, int32_t, NuviSize,
                      int32_t, double*);
  decltype(diff) rel;
  decltype(diffC3) relC3;
};

#define FUNCTIONS(kind, name, form)                                                \
  {                                                                                \
    Kind::kind, nuviNorm_##name##_##form##_C1MR, nuviNorm_##name##_##form##_C3CMR, \
        nuviNormDiff_##name##_##form##_C1MR, nuviNormDiff_##name##_##form##_C3CMR, \
        nuviNormRel_##name##_##form##_C1MR, nuviNormRel_##name##_##form##_C3CMR    \
  }
#define ALL_KINDS(form) \
  { FUNCTIONS(inf, Inf, form), FUNCTIONS(l1, L1, form), FUNCTIONS(l2, L2, form) }

template <class T>
void compare(const Functions<T> (&all)[3]) {
  const auto onSize = [&](NuviSize size, int32_t pad) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    for (const int32_t channels : {1, 3}) {
      Case<T> c{{size, channels, pad}, {size, channels, 2 * pad}, {size, 1, pad}, size, channels,
                channels == 1 ? 1 : 2};
      c.a.fill(RandomSamples<T>(1));
      c.b.fill(RandomSamples<T>(2));
      c.mask.fill([n = 0]() mutable { return n++ % 3 == 0 ? 0 : 0x80; });
      for (const Functions<T>& f : all) {
        const auto root = [&](long double v) {
          return f.kind == Kind::l2 ? std::sqrt(static_cast<double>(v)) : static_cast<double>(v);
        };
        const long double first = unrooted(c, f.kind, true, false);
        const long double second = unrooted(c, f.kind, false, true);
        const long double difference = unrooted(c, f.kind, true, true);
        withThreadCounts([&] {
          double norm = -1, diff = -1, rel = -1;
          NuvStatus relStatus;
          const T *a = c.a.data(), *b = c.b.data();
          const uint8_t* m = c.mask.data();
          const int32_t as = c.a.step(), bs = c.b.step(), ms = c.mask.step();
          if (channels == 1) {
            ASSERT_EQ(nuvStatusOk, f.norm(a, as, m, ms, size, &norm));
            ASSERT_EQ(nuvStatusOk, f.diff(a, as, b, bs, m, ms, size, &diff));
            relStatus = f.rel(a, as, b, bs, m, ms, size, &rel);
          } else {
            ASSERT_EQ(nuvStatusOk, f.normC3(a, as, m, ms, size, c.coi, &norm));
            ASSERT_EQ(nuvStatusOk, f.diffC3(a, as, b, bs, m, ms, size, c.coi, &diff));
            relStatus = f.relC3(a, as, b, bs, m, ms, size, c.coi, &rel);
          }
          expectNorm<T>(f.kind, root(first), norm);
          expectNorm<T>(f.kind, root(difference), diff);
          if (second != 0) {
            ASSERT_EQ(nuvStatusOk, relStatus);
            const double ratio = static_cast<double>(difference) / static_cast<double>(second);
            expectNorm<T>(f.kind, f.kind == Kind::l2 ? std::sqrt(ratio) : ratio, rel);
          } else {
            ASSERT_EQ(nuvStatusDivisorZero, relStatus);
          }
        });
      }
    }
  };
  for (int32_t width = 1; width <= 70; width += width < 35 ? 1 : 7) onSize({width, 3}, width % 3);
  onSize({9001, 2}, 1);   // longer than a chunk
  onSize({600, 450}, 0);  // parallel for two threads
}

TEST(Norm, MatchesReference8u) { compare<uint8_t>(ALL_KINDS(8u)); }
TEST(Norm, MatchesReference8s) { compare<int8_t>(ALL_KINDS(8s)); }
TEST(Norm, MatchesReference16u) { compare<uint16_t>(ALL_KINDS(16u)); }
TEST(Norm, MatchesReference32f) { compare<float>(ALL_KINDS(32f)); }

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
  float src[9] = {1, INFINITY, 3, 4, 5, 6, 7, 8, 9};
  const uint8_t mask[9] = {1, 0, 1, 1, 1, 1, 1, 1, 1};
  double value = 0;
  ASSERT_EQ(nuvStatusOk, nuviNorm_L1_32f_C1MR(src, 36, mask, 9, {9, 1}, &value));
  EXPECT_TRUE(std::isnan(value));
  ASSERT_EQ(nuvStatusOk, nuviNorm_L2_32f_C1MR(src, 36, mask, 9, {9, 1}, &value));
  EXPECT_TRUE(std::isnan(value));
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

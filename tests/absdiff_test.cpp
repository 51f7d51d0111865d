#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// Integers in a wider type; floats by subtraction with the sign bit cleared.
int32_t difference(int32_t a, int32_t b) { return std::abs(a - b); }
float difference(float a, float b) { return std::fabs(a - b); }

template <class T>
struct Forms;
#define FORMS(form, T, Constant, ...)                           \
  template <>                                                   \
  struct Forms<T> {                                             \
    static constexpr auto images = nuviAbsDiff_##form##_C1R;    \
    static constexpr auto constant = nuviAbsDiffC_##form##_C1R; \
    static constexpr Constant constants[] = {__VA_ARGS__};      \
  };
FORMS(8u, uint8_t, int32_t, 0, -5, 77, 255, 1000)
FORMS(16u, uint16_t, int32_t, 0, -1, 1234, 65535, 70000)
FORMS(32f, float, float, 0.0f, -2.5f, 1e30f, INFINITY, NAN)
#undef FORMS

template <class T>
class AbsDiff : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(AbsDiff, Elements);

// The difference of two images, then in place that to a constant: with every width around the
// vector blocks, on both sides of the gate, and with fewer rows than threads.
TYPED_TEST(AbsDiff, MatchesReference) {
  using T = TypeParam;
  std::vector<NuviSize> sizes = {{511, 512}, {513, 512}, {131072, 2}};
  for (int32_t width = 1; width <= 70; ++width) sizes.push_back({width, 3});
  for (const NuviSize size : sizes) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    const Against against = size.width % 2 == 0 ? Against::end : Against::begin;
    TestImage<T> a(size, 1, size.width % 3, against), b(size, 1, 0, against);
    TestImage<T> dst(size, 1, size.width % 3, against), expected(size);
    a.fill(RandomSamples<T>(1));
    b.fill(RandomSamples<T>(2));
    b.at(size.width - 1, 0) = a.at(size.width - 1, 0);
    for (const auto value : Forms<T>::constants) {
      auto inRange = value;
      if (!std::is_same_v<T, float>) inRange = std::clamp<decltype(inRange)>(value, 0, T(-1));
      for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
          const auto ofImages = difference(a.at(x, y), b.at(x, y));
          expected.at(x, y) = static_cast<T>(difference(ofImages, inRange));
        }
      }
      withThreadCounts([&] {
        ASSERT_EQ(nuvStatusOk, Forms<T>::images(a.data(), a.step(), b.data(), b.step(), dst.data(),
                                                dst.step(), size));
        ASSERT_EQ(nuvStatusOk,
                  Forms<T>::constant(dst.data(), dst.step(), dst.data(), dst.step(), size, value));
        ASSERT_EQ(expected.bytes(), dst.bytes());
        ASSERT_TRUE(dst.padsUntouched());
      });
    }
  }
}

TEST(AbsDiffValues, FloatSignIsAlwaysClear) {
  const float a[] = {-0.0f, INFINITY, NAN, 1.0f, -NAN};
  const float b[] = {0.0f, INFINITY, 1.0f, 1.0f, 2.0f};
  float dst[5];
  ASSERT_EQ(nuvStatusOk, nuviAbsDiff_32f_C1R(a, 20, b, 20, dst, 20, {5, 1}));
  for (const float value : dst) EXPECT_FALSE(std::signbit(value));
  EXPECT_EQ(0.0f, dst[0]);
  EXPECT_TRUE(std::isnan(dst[1]) && std::isnan(dst[2]) && std::isnan(dst[4]));
}

TEST(AbsDiffChecks, FirstFailureInOrderAndNothingWritten) {
  const uint16_t a[8] = {1, 2, 3, 4}, b[8] = {};
  uint16_t dst[8] = {9, 9, 9, 9};
  const auto call = [&](const uint16_t* pSrc2, int32_t step1, int32_t step2, int32_t dstStep,
                        NuviSize size) {
    return nuviAbsDiff_16u_C1R(a, step1, pSrc2, step2, dst, dstStep, size);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 0, 0, 0, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, call(b, 0, 8, 8, {0, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(b, -8, 9, 9, {4, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(b, 9, 9, 7, {4, 1}));  // a row test before any element test
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(b, 8, 8, 9, {4, 1}));
  EXPECT_EQ(nuvStatusNullPointer, nuviAbsDiffC_16u_C1R(a, 1, nullptr, 3, {0, 1}, 0));
  EXPECT_EQ(nuvStatusBadStep, nuviAbsDiffC_16u_C1R(a, 1, dst, 3, {1, 1}, 0));
  EXPECT_EQ(9, dst[0]);

  // Three channels are a row of three times the width.
  const uint8_t three[6] = {1, 2, 3, 4, 5, 6}, none[6] = {};
  uint8_t copy[6] = {};
  EXPECT_EQ(nuvStatusBadStep, nuviAbsDiff_8u_C3R(three, 6, none, 6, copy, 5, {2, 1}));
  EXPECT_EQ(nuvStatusOk, nuviAbsDiff_8u_C3R(three, 6, none, 6, copy, 6, {2, 1}));
  EXPECT_TRUE(std::equal(three, three + 6, copy));
}

}  // namespace

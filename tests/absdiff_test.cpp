#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The reference: integers in a wider type; floats by subtraction with the sign bit cleared.
template <class T>
T reference(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    return std::fabs(a - b);
  } else {
    return static_cast<T>(std::abs(int{a} - int{b}));
  }
}

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  static constexpr auto images = nuviAbsDiff_8u_C1R;
  static constexpr auto constant = nuviAbsDiffC_8u_C1R;
  static constexpr int32_t constants[] = {-5, 0, 77, 255, 1000};
};
template <>
struct Forms<uint16_t> {
  static constexpr auto images = nuviAbsDiff_16u_C1R;
  static constexpr auto constant = nuviAbsDiffC_16u_C1R;
  static constexpr int32_t constants[] = {-1, 0, 1234, 65535, 70000};
};
template <>
struct Forms<float> {
  static constexpr auto images = nuviAbsDiff_32f_C1R;
  static constexpr auto constant = nuviAbsDiffC_32f_C1R;
  static constexpr float constants[] = {-2.5f, 0.0f, 1e30f, INFINITY, NAN};
};

template <class T>
class AbsDiff : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(AbsDiff, Elements);

// Every width around the vector blocks, with and without pads, and sizes on both sides of the gate.
template <class Body>
void forSizes(Body&& body) {
  for (int32_t width = 1; width <= 70; ++width) body(NuviSize{width, 3}, width % 3);
  body(NuviSize{511, 512}, 0);
  body(NuviSize{512, 512}, 1);
  body(NuviSize{131072, 2}, 0);  // fewer rows than threads
}

TYPED_TEST(AbsDiff, ImagesMatchReference) {
  using T = TypeParam;
  forSizes([](NuviSize size, int32_t pad) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    for (const Against against : {Against::end, Against::begin}) {
      TestImage<T> a(size, 1, pad, against), b(size, 1, 0, against), dst(size, 1, pad, against);
      a.fill(RandomSamples<T>(1));
      b.fill(RandomSamples<T>(2));
      b.at(size.width - 1, 0) = a.at(size.width - 1, 0);
      withThreadCounts([&] {
        ASSERT_EQ(nuvStatusOk, Forms<T>::images(a.data(), a.step(), b.data(), b.step(), dst.data(),
                                                dst.step(), size));
        for (int32_t y = 0; y < size.height; ++y) {
          for (int32_t x = 0; x < size.width; ++x) {
            ASSERT_EQ(reference(a.at(x, y), b.at(x, y)), dst.at(x, y)) << x << "," << y;
          }
        }
        ASSERT_TRUE(dst.padsUntouched());
      });
    }
  });
}

TYPED_TEST(AbsDiff, ConstantIsBroughtIntoRangeAndWorksInPlace) {
  using T = TypeParam;
  for (const auto value : Forms<T>::constants) {
    const NuviSize size = {67, 5};
    TestImage<T> src(size, 1, 2);
    src.fill(RandomSamples<T>(3));
    const TestImage<T> expected(size);
    T inRange = static_cast<T>(value);
    if constexpr (!std::is_floating_point_v<T>) {
      inRange = static_cast<T>(std::clamp<int32_t>(value, 0, std::numeric_limits<T>::max()));
    }
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        expected.at(x, y) = reference(src.at(x, y), inRange);
      }
    }
    ASSERT_EQ(nuvStatusOk,
              Forms<T>::constant(src.data(), src.step(), src.data(), src.step(), size, value));
    EXPECT_EQ(expected.bytes(), src.bytes());
    EXPECT_TRUE(src.padsUntouched());
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

TEST(AbsDiffValues, ThreeChannelsAreThreeTimesTheWidth) {
  const NuviSize size = {300, 300};  // 90000 pixels, 270000 elements: above the gate
  TestImage<uint8_t> a(size, 3, 1), b(size, 3, 2), three(size, 3), one(size, 3);
  a.fill(RandomSamples<uint8_t>(4));
  b.fill(RandomSamples<uint8_t>(5));
  ASSERT_EQ(nuvStatusOk, nuviAbsDiff_8u_C3R(a.data(), a.step(), b.data(), b.step(), three.data(),
                                            three.step(), size));
  ASSERT_EQ(nuvStatusOk, nuviAbsDiff_8u_C1R(a.data(), a.step(), b.data(), b.step(), one.data(),
                                            one.step(), {900, 300}));
  EXPECT_EQ(one.bytes(), three.bytes());
  EXPECT_EQ(nuvStatusBadStep, nuviAbsDiff_8u_C3R(a.data(), 899, b.data(), b.step(), three.data(),
                                                 three.step(), size));
}

TEST(AbsDiffChecks, FirstFailureInOrderAndNothingWritten) {
  uint16_t a[8] = {1, 2, 3, 4}, b[8] = {}, dst[8] = {9, 9, 9, 9};
  const auto call = [&](const uint16_t* pSrc1, int32_t step1, const uint16_t* pSrc2, int32_t step2,
                        int32_t dstStep, NuviSize size) {
    return nuviAbsDiff_16u_C1R(pSrc1, step1, pSrc2, step2, dst, dstStep, size);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 8, b, 8, 8, {0, 1}));
  EXPECT_EQ(nuvStatusNullPointer, call(a, 0, nullptr, 0, 0, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, call(a, 0, b, 8, 8, {0, 1}));
  EXPECT_EQ(nuvStatusBadSize, call(a, 0, b, 8, 8, {4, 0}));
  EXPECT_EQ(nuvStatusBadStep, call(a, -8, b, 9, 9, {4, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(a, 9, b, 9, 7, {4, 1}));  // a row test before any element test
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(a, 8, b, 8, 9, {4, 1}));
  EXPECT_EQ(nuvStatusBadStep, nuviAbsDiffC_16u_C1R(a, 1, dst, 3, {1, 1}, 0));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(9, dst[i]);
}

}  // namespace

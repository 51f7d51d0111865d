#include <gtest/gtest.h>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// Point i of a line. A half step along the shorter axis is rounded down.
NuviPoint pointOfLine(NuviPoint from, NuviPoint to, int32_t i) {
  const int32_t ax = std::abs(to.x - from.x), ay = std::abs(to.y - from.y);
  const int32_t longer = std::max({ax, ay, 1}), shorter = std::min(ax, ay);
  const int32_t steps = (2 * shorter * i + longer - 1) / (2 * longer);
  const int32_t x = ax > ay ? i : steps, y = ax > ay ? steps : i;
  return {from.x + (to.x < from.x ? -x : x), from.y + (to.y < from.y ? -y : y)};
}

template <class T, int32_t channelCount, auto function>
struct Form {
  using Element = T;
  static constexpr int32_t channels = channelCount;
  static constexpr auto call = function;
};
template <class F>
class SampleLine : public ::testing::Test {};
using Forms = ::testing::Types<
    Form<uint8_t, 1, nuviSampleLine_8u_C1R>, Form<uint8_t, 3, nuviSampleLine_8u_C3R>,
    Form<uint16_t, 1, nuviSampleLine_16u_C1R>, Form<uint16_t, 3, nuviSampleLine_16u_C3R>,
    Form<float, 1, nuviSampleLine_32f_C1R>, Form<float, 3, nuviSampleLine_32f_C3R>>;
TYPED_TEST_SUITE(SampleLine, Forms);

// Every pair of points of a small image, and a few long lines.
TYPED_TEST(SampleLine, MatchesReference) {
  using T = typename TypeParam::Element;
  constexpr int32_t channels = TypeParam::channels;
  const auto expectLines = [](NuviSize size, const std::vector<NuviPoint>& ends) {
    TestImage<T> src(size, channels, 1);
    src.fill(RandomSamples<T>(1));
    for (const NuviPoint from : ends) {
      for (const NuviPoint to : ends) {
        const int32_t most = std::max(std::abs(to.x - from.x), std::abs(to.y - from.y));
        const TestImage<T> expected({most + 1, 1}, channels), line({most + 1, 1}, channels);
        for (int32_t i = 0; i <= most; ++i) {
          const auto [x, y] = pointOfLine(from, to, i);
          std::copy_n(&src.at(x * channels, y), channels, &expected.at(i * channels, 0));
        }
        ASSERT_EQ(nuvStatusOk,
                  TypeParam::call(src.data(), src.step(), size, line.data(), from, to));
        ASSERT_EQ(expected.bytes(), line.bytes());
      }
    }
  };
  std::vector<NuviPoint> all;
  for (int32_t i = 0; i < 35; ++i) all.push_back({i % 7, i / 7});
  expectLines({7, 5}, all);
  expectLines({500, 300}, {{0, 0}, {499, 299}, {499, 0}, {3, 299}, {250, 149}});
}

TYPED_TEST(SampleLine, ChecksInOrderAndNothingWritten) {
  using T = typename TypeParam::Element;
  constexpr int32_t row = 4 * TypeParam::channels * sizeof(T);
  T src[4 * TypeParam::channels * 3] = {9}, dst[12] = {};
  const auto expect = [&](NuvStatus status, const T* pSrc, int32_t step, NuviSize size, T* pDst,
                          NuviPoint from) {
    EXPECT_EQ(status, TypeParam::call(pSrc, step, size, pDst, from, {1, 1}));
    EXPECT_EQ(status, TypeParam::call(pSrc, step, size, pDst, {1, 1}, from));
  };
  expect(nuvStatusNullPointer, nullptr, row, {0, 3}, dst, {0, 0});
  expect(nuvStatusNullPointer, src, row, {4, 0}, nullptr, {0, 0});
  expect(nuvStatusBadSize, src, -1, {0, 3}, dst, {0, 0});
  expect(nuvStatusBadSize, src, row, {4, -3}, dst, {9, 0});
  expect(nuvStatusBadStep, src, row - 1, {4, 3}, dst, {0, 9});
  if (sizeof(T) > 1) expect(nuvStatusStepNotElementMultiple, src, row + 1, {4, 3}, dst, {0, 9});
  for (const NuviPoint outside : {NuviPoint{-1, 0}, {4, 0}, {0, -1}, {0, 3}}) {
    expect(nuvStatusOutOfRange, src, row, {4, 3}, dst, outside);
  }
  for (const T value : dst) EXPECT_EQ(T(0), value);
}

}  // namespace

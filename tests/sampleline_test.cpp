#include <gtest/gtest.h>

#include "support/guarded.h"

namespace {

using namespace testing_support;

std::vector<NuviPoint> linePoints(NuviPoint from, NuviPoint to) {
  const int32_t ax = std::abs(to.x - from.x), ay = std::abs(to.y - from.y);
  const int32_t signX = to.x < from.x ? -1 : 1, signY = to.y < from.y ? -1 : 1;
  const int32_t major = std::max(ax, ay), minor = std::min(ax, ay);
  std::vector<NuviPoint> points;
  NuviPoint at = from;
  for (int32_t i = 0, e = major; i <= major; ++i) {
    points.push_back(at);
    e -= 2 * minor;
    (ax > ay ? at.x : at.y) += ax > ay ? signX : signY;
    if (e < 0) {
      (ax > ay ? at.y : at.x) += ax > ay ? signY : signX;
      e += 2 * major;
    }
  }
  return points;
}

template <class T, int32_t channelCount>
struct Form {
  using Element = T;
  static constexpr int32_t channels = channelCount;
  static auto call() {
    constexpr bool one = channels == 1;
    if constexpr (sizeof(T) == 1) {
      return one ? nuviSampleLine_8u_C1R : nuviSampleLine_8u_C3R;
    } else if constexpr (sizeof(T) == 2) {
      return one ? nuviSampleLine_16u_C1R : nuviSampleLine_16u_C3R;
    } else {
      return one ? nuviSampleLine_32f_C1R : nuviSampleLine_32f_C3R;
    }
  }
};

template <class F>
class SampleLine : public ::testing::Test {};
using Forms = ::testing::Types<Form<uint8_t, 1>, Form<uint8_t, 3>, Form<uint16_t, 1>,
                               Form<uint16_t, 3>, Form<float, 1>, Form<float, 3>>;
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
        const std::vector<NuviPoint> points = linePoints(from, to);
        const TestImage<T> line({static_cast<int32_t>(points.size()), 1}, channels);
        ASSERT_EQ(nuvStatusOk,
                  TypeParam::call()(src.data(), src.step(), size, line.data(), from, to));
        for (size_t i = 0; i < points.size(); ++i) {
          for (int32_t c = 0; c < channels; ++c) {
            ASSERT_EQ(src.at(points[i].x * channels + c, points[i].y),
                      line.at(static_cast<int32_t>(i) * channels + c, 0));
          }
        }
        ASSERT_TRUE(points.back().x == to.x && points.back().y == to.y);
      }
    }
  };
  std::vector<NuviPoint> all;
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 7; ++x) all.push_back({x, y});
  }
  expectLines({7, 5}, all);
  expectLines({500, 300}, {{0, 0}, {499, 299}, {499, 0}, {3, 299}, {250, 149}});
}

TYPED_TEST(SampleLine, ChecksInOrderAndNothingWritten) {
  using T = typename TypeParam::Element;
  constexpr int32_t row = 4 * TypeParam::channels * sizeof(T);
  T src[4 * TypeParam::channels * 3] = {}, dst[12] = {};
  src[0] = 9;
  const auto call = TypeParam::call();
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, row, {0, 3}, dst, {0, 0}, {1, 1}));
  EXPECT_EQ(nuvStatusNullPointer, call(src, row, {4, 0}, nullptr, {0, 0}, {1, 1}));
  EXPECT_EQ(nuvStatusBadSize, call(src, -1, {0, 3}, dst, {0, 0}, {1, 1}));
  EXPECT_EQ(nuvStatusBadSize, call(src, row, {4, -3}, dst, {9, 0}, {1, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(src, row - 1, {4, 3}, dst, {0, 9}, {1, 1}));
  if (sizeof(T) > 1) {
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, row + 1, {4, 3}, dst, {0, 9}, {1, 1}));
  }
  for (const NuviPoint outside : {NuviPoint{-1, 0}, {4, 0}, {0, -1}, {0, 3}}) {
    EXPECT_EQ(nuvStatusOutOfRange, call(src, row, {4, 3}, dst, outside, {0, 0}));
    EXPECT_EQ(nuvStatusOutOfRange, call(src, row, {4, 3}, dst, {0, 0}, outside));
  }
  for (const T value : dst) EXPECT_EQ(T(0), value);
}

// Known lines, of an image whose pixels tell their place as 10 * y + x.
TEST(SampleLineValues, KnownLines) {
  uint8_t src[50];
  for (int i = 0; i < 50; ++i) src[i] = static_cast<uint8_t>(i);
  const auto line = [&](NuviPoint from, NuviPoint to, size_t count) {
    std::vector<uint8_t> pixels(count);
    EXPECT_EQ(nuvStatusOk, nuviSampleLine_8u_C1R(src, 10, {10, 5}, pixels.data(), from, to));
    return pixels;
  };
  using Pixels = std::vector<uint8_t>;
  EXPECT_EQ((Pixels{0, 1, 2, 13, 14}), line({0, 0}, {4, 1}, 5));
  EXPECT_EQ((Pixels{0, 11, 22, 33}), line({0, 0}, {3, 3}, 4));
  EXPECT_EQ((Pixels{27}), line({7, 2}, {7, 2}, 1));
  // There and back differ at the tie.
  EXPECT_EQ((Pixels{0, 1, 12}), line({0, 0}, {2, 1}, 3));
  EXPECT_EQ((Pixels{12, 11, 0}), line({2, 1}, {0, 0}, 3));
}

}  // namespace

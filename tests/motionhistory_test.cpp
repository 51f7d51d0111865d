#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  static constexpr auto update = nuviUpdateMotionHistory_8u32f_C1IR;
};
template <>
struct Forms<uint16_t> {
  static constexpr auto update = nuviUpdateMotionHistory_16u32f_C1IR;
};
template <>
struct Forms<float> {
  static constexpr auto update = nuviUpdateMotionHistory_32f_C1IR;
};

template <class T>
class MotionHistory : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(MotionHistory, Elements);

TYPED_TEST(MotionHistory, MatchesReference) {
  using T = TypeParam;
  std::mt19937 random(3);
  const float times[] = {7.5f, 5.0f, 4.75f, NAN, -0.0f, 0.0f, -3.0f, INFINITY};
  for (int32_t width = 1; width <= 67; ++width) {
    const NuviSize size = {width, 2};
    const Against against = width % 2 == 0 ? Against::end : Against::begin;
    TestImage<T> silhouette(size, 1, width % 3, against);
    TestImage<float> history(size, 1, width % 2, against), before(size);
    silhouette.fill([&] {
      const unsigned kind = random() % 8;
      if (std::is_floating_point_v<T> && kind < 2) return kind == 0 ? -0.0 : double{NAN};
      return kind < 5 ? 0.0 : 1.0 + random() % 255;
    });
    before.fill([&] { return times[random() % 8]; });
    for (const auto& [timestamp, duration] :
         {std::pair(7.5f, 2.5f), {7.5f, 0.0f}, {-3.0f, 0.0f}, {7.5f, NAN}, {1e8f, 1.0f}}) {
      std::copy(before.row(1), before.row(1) + width, history.row(1));
      std::copy(before.row(0), before.row(0) + width, history.row(0));
      ASSERT_EQ(nuvStatusOk, Forms<T>::update(silhouette.data(), silhouette.step(), history.data(),
                                              history.step(), size, timestamp, duration));
      for (int32_t y = 0; y < 2; ++y) {
        for (int32_t x = 0; x < width; ++x) {
          float expected = before.at(x, y);
          if (!(silhouette.at(x, y) == T{0})) {
            expected = timestamp;
          } else if (expected < timestamp - duration) {
            expected = 0.0f;
          }
          const float got = history.at(x, y);
          ASSERT_EQ(0, std::memcmp(&expected, &got, sizeof got)) << x << "," << y;
        }
      }
      ASSERT_TRUE(history.padsUntouched());
    }
  }
}

TEST(MotionHistoryChecks, FirstFailureInOrderAndNothingWritten) {
  uint16_t silhouette[8] = {1, 1, 1, 1};
  float history[8] = {5, 6};
  const auto call = [&](const uint16_t* image, int32_t step, int32_t historyStep, NuviSize size,
                        float duration) {
    return nuviUpdateMotionHistory_16u32f_C1IR(image, step, history, historyStep, size, 1.0f,
                                               duration);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 4, 8, {0, 1}, 1.0f));
  EXPECT_EQ(nuvStatusBadSize, call(silhouette, 3, 8, {2, 0}, 1.0f));
  EXPECT_EQ(nuvStatusBadStep, call(silhouette, 5, 7, {2, 1}, 1.0f));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(silhouette, 5, 8, {2, 1}, -1.0f));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(silhouette, 4, 10, {2, 1}, -1.0f));
  EXPECT_EQ(nuvStatusOutOfRange, call(silhouette, 4, 8, {2, 1}, -1e-30f));
  EXPECT_EQ(5.0f, history[0]);
  EXPECT_EQ(nuvStatusOk, call(silhouette, 4, 8, {2, 1}, -0.0f));
}

}  // namespace

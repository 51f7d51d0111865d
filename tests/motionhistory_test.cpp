#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
using Update = NuvStatus (*)(const T*, int32_t, float*, int32_t, NuviSize, float, float);

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  static constexpr Update<uint8_t> update = nuviUpdateMotionHistory_8u32f_C1IR;
};
template <>
struct Forms<uint16_t> {
  static constexpr Update<uint16_t> update = nuviUpdateMotionHistory_16u32f_C1IR;
};
template <>
struct Forms<float> {
  static constexpr Update<float> update = nuviUpdateMotionHistory_32f_C1IR;
};

template <class T>
class MotionHistory : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(MotionHistory, Elements);

struct Times {
  float timestamp;
  float duration;
};
constexpr Times times[] = {{10.0f, 3.0f},       {10.0f, 0.0f}, {-4.5f, 1.1f}, {0.3f, 0.1f},
                           {16777216.0f, 0.5f}, {10.0f, NAN},  {NAN, 1.0f},   {5.0f, INFINITY}};

// Every width around the vector blocks: covered and empty pixels; histories at, just below, above
// and far from the oldest time kept, signed zeros, infinities and values that are no numbers.
TYPED_TEST(MotionHistory, MatchesReference) {
  using T = TypeParam;
  for (int32_t width = 1; width <= 67; ++width) {
    for (const Times& time : times) {
      const float oldest = time.timestamp - time.duration;
      const float kept[] = {oldest,
                            std::nextafter(oldest, -INFINITY),
                            time.timestamp,
                            std::nextafter(oldest, INFINITY),
                            -0.0f,
                            0.0f,
                            NAN,
                            INFINITY,
                            -INFINITY,
                            oldest - 1.0f};
      std::mt19937 random(static_cast<unsigned>(width));
      const Against against = width % 2 != 0 ? Against::end : Against::begin;
      TestImage<T> silhouette({width, 3}, 1, width % 3, against);
      TestImage<float> history({width, 3}, 1, width % 4, against), expected({width, 3});
      silhouette.fill([&] { return random() % 2 != 0 ? T(0) : RandomSamples<T>(random())(); });
      history.fill([&] { return kept[random() % std::size(kept)]; });
      if constexpr (std::is_floating_point_v<T>) {
        silhouette.at(0, 0) = -0.0f;
        silhouette.at(width - 1, 1) = NAN;
        silhouette.at(0, 2) = 1e-45f;
      }
      for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < width; ++x) {
          float h = history.at(x, y);
          if (silhouette.at(x, y) != 0) {
            h = time.timestamp;
          } else if (h < oldest) {
            h = 0.0f;
          }
          expected.at(x, y) = h;
        }
      }
      ASSERT_EQ(nuvStatusOk,
                Forms<T>::update(silhouette.data(), silhouette.step(), history.data(),
                                 history.step(), {width, 3}, time.timestamp, time.duration));
      ASSERT_EQ(expected.bytes(), history.bytes()) << width << " at " << time.timestamp;
      ASSERT_TRUE(history.padsUntouched());
    }
  }
}

TYPED_TEST(MotionHistory, FirstFailureInOrderAndNothingWritten) {
  using T = TypeParam;
  const T silhouette[4] = {1, 1, 1, 1};
  float history[4] = {9, 9, 9, 9};
  constexpr int32_t row = 4 * sizeof(T);
  const auto call = [&](const T* pSilhouette, int32_t step, float* pHistory, int32_t historyStep,
                        NuviSize size, float duration) {
    return Forms<T>::update(pSilhouette, step, pHistory, historyStep, size, 1.0f, duration);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, row, history, 16, {0, 1}, 1));
  EXPECT_EQ(nuvStatusNullPointer, call(silhouette, row, nullptr, 16, {4, 0}, 1));
  EXPECT_EQ(nuvStatusBadSize, call(silhouette, row - 1, history, 16, {4, 0}, 1));
  EXPECT_EQ(nuvStatusBadSize, call(silhouette, row, history, 0, {0, 1}, 1));
  EXPECT_EQ(nuvStatusBadStep, call(silhouette, row - 1, history, 17, {4, 1}, 1));
  EXPECT_EQ(nuvStatusBadStep, call(silhouette, row + 1, history, 15, {4, 1}, 1));
  EXPECT_EQ(nuvStatusBadStep, call(silhouette, -row, history, 16, {4, 1}, -1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(silhouette, row, history, 18, {4, 1}, -1));
  EXPECT_EQ(sizeof(T) == 1 ? nuvStatusOutOfRange : nuvStatusStepNotElementMultiple,
            call(silhouette, row + 1, history, 16, {4, 1}, -1));
  EXPECT_EQ(nuvStatusOutOfRange, call(silhouette, row, history, 16, {4, 1}, -1e-45f));
  for (const float value : history) EXPECT_EQ(9.0f, value);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
using Update = NuvStatus (*)(const T*, int32_t, float*, int32_t, NuviSize, float, float);

struct Times {
  float timestamp, duration;
};
constexpr Times times[] = {{10.0f, 3.0f},       {10.0f, 0.0f}, {-4.5f, 1.1f}, {0.3f, 0.1f},
                           {16777216.0f, 0.5f}, {10.0f, NAN},  {NAN, 1.0f},   {5.0f, INFINITY}};

// Covered and empty pixels, some of them special as floats (0 in integers); histories at, just
// below, above and far from the oldest time kept.
template <class T>
void checkResults(Update<T> update) {
  using Limits = std::numeric_limits<T>;
  const T elements[] = {T(0), T(-0.0), T(1), T(256), Limits::denorm_min(), Limits::quiet_NaN()};
  std::mt19937 random(1);
  for (int32_t width = 1; width <= 67; ++width) {
    for (const Times& time : times) {
      const float oldest = time.timestamp - time.duration;
      const float before = std::nextafter(oldest, -INFINITY);
      const float after = std::nextafter(oldest, INFINITY);
      const float kept[] = {oldest, before, after, time.timestamp, oldest - 1,
                            -0.0f,  0.0f,   NAN,   INFINITY,       -INFINITY};
      const Against against = width % 2 != 0 ? Against::end : Against::begin;
      TestImage<T> silhouette({width, 3}, 1, width % 3, against);
      TestImage<float> history({width, 3}, 1, width % 4, against), expected({width, 3});
      silhouette.fill([&] { return elements[random() % std::size(elements)]; });
      history.fill([&] { return kept[random() % std::size(kept)]; });
      for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < width; ++x) {
          const float h = history.at(x, y), left = h < oldest ? 0.0f : h;
          expected.at(x, y) = silhouette.at(x, y) != 0 ? time.timestamp : left;
        }
      }
      ASSERT_EQ(nuvStatusOk, update(silhouette.data(), silhouette.step(), history.data(),
                                    history.step(), {width, 3}, time.timestamp, time.duration));
      ASSERT_EQ(expected.bytes(), history.bytes()) << width << " at " << time.timestamp;
      ASSERT_TRUE(history.padsUntouched());
    }
  }
}

template <class T>
void checkOrder(Update<T> update) {
  const T silhouette[4] = {1, 1, 1, 1};
  float history[4] = {9, 9, 9, 9};
  constexpr int32_t row = sizeof silhouette;
  const NuvStatus oddStep = sizeof(T) == 1 ? nuvStatusOutOfRange : nuvStatusStepNotElementMultiple;
  const auto expect = [&](NuvStatus status, const T* src, int32_t step, float* dst, int32_t dstStep,
                          NuviSize size, float duration) {
    EXPECT_EQ(status, update(src, step, dst, dstStep, size, 1, duration));
  };
  expect(nuvStatusNullPointer, nullptr, row, history, 16, {0, 1}, 1);
  expect(nuvStatusNullPointer, silhouette, row, nullptr, 16, {4, 0}, 1);
  expect(nuvStatusBadSize, silhouette, row - 1, history, 16, {4, 0}, 1);
  expect(nuvStatusBadSize, silhouette, row, history, 0, {0, 1}, 1);
  expect(nuvStatusBadStep, silhouette, row - 1, history, 18, {4, 1}, 1);
  expect(nuvStatusBadStep, silhouette, row + 1, history, 15, {4, 1}, 1);
  expect(nuvStatusBadStep, silhouette, -row, history, 16, {4, 1}, -1);
  expect(nuvStatusStepNotElementMultiple, silhouette, row, history, 18, {4, 1}, -1);
  expect(oddStep, silhouette, row + 1, history, 16, {4, 1}, -1);
  expect(nuvStatusOutOfRange, silhouette, row, history, 16, {4, 1}, -1e-45f);
  for (const float value : history) EXPECT_EQ(9, value);
}

TEST(MotionHistory, MatchesReference) {
  checkResults(nuviUpdateMotionHistory_8u32f_C1IR);
  checkResults(nuviUpdateMotionHistory_16u32f_C1IR);
  checkResults(nuviUpdateMotionHistory_32f_C1IR);
}

TEST(MotionHistory, FirstFailureInOrderAndNothingWritten) {
  checkOrder(nuviUpdateMotionHistory_8u32f_C1IR);
  checkOrder(nuviUpdateMotionHistory_16u32f_C1IR);
  checkOrder(nuviUpdateMotionHistory_32f_C1IR);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "support/guarded.h"

namespace {

using namespace testing_support;

using Places = std::vector<std::pair<int32_t, int32_t>>;

inline auto find(const TestImage<float>& s, float t, NuviPoint* p, int32_t room, int32_t* n,
                 int32_t norm, int32_t border, uint8_t* b) {
  return nuviFindPeaks3x3_32f_C1R(s.data(), s.step(), s.size(), t, p, room, n, norm, border, b);
}
inline auto find(const TestImage<int32_t>& s, int32_t t, NuviPoint* p, int32_t room, int32_t* n,
                 int32_t norm, int32_t border, uint8_t* b) {
  return nuviFindPeaks3x3_32s_C1R(s.data(), s.step(), s.size(), t, p, room, n, norm, border, b);
}

// Pixel by pixel; differences in the type's own precision.
template <class T>
Places reference(const TestImage<T>& src, T threshold, int32_t norm, int32_t border) {
  Places peaks;
  for (int32_t y = border; y < src.size().height - border; ++y) {
    for (int32_t x = border; x < src.size().width - border; ++x) {
      const T v = src.at(x, y);
      if (!(std::fabs(static_cast<double>(v)) > static_cast<double>(threshold))) continue;
      T highest = v, lowest = v;
      for (int32_t dy = -1; dy <= 1; ++dy) {
        for (int32_t dx = -1; dx <= 1; ++dx) {
          if (norm == 1 && dx != 0 && dy != 0) continue;
          highest = std::max(highest, src.at(x + dx, y + dy));
          lowest = std::min(lowest, src.at(x + dx, y + dy));
        }
      }
      const T extreme = v > 0 ? highest : lowest;
      const bool same = std::is_floating_point_v<T>
                            ? std::fabs(static_cast<double>(v) - static_cast<double>(extreme)) <=
                                  1.1754943508222875e-38
                            : v == extreme;
      if (same) peaks.push_back({x, y});
    }
  }
  return peaks;
}

template <class T>
class Peaks : public ::testing::Test {
 protected:
  template <class Value>
  static void compare(NuviSize size, int32_t pad, T threshold, int32_t border, Value&& value) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " border " +
                 std::to_string(border));
    TestImage<T> src(size, 1, pad, pad % 2 == 0 ? Against::end : Against::begin);
    src.fill(value);
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, nuviFindPeaks3x3GetBufferSize_32f_C1R(size.width, &bytes));
    ASSERT_EQ((size.width + 5) / 4 * 128 + 32, bytes);
    const GuardedBlock buffer(static_cast<size_t>(bytes));
    for (const int32_t norm : {0, 1}) {
      const Places all = reference(src, threshold, norm, border);
      for (const size_t room : {size_t{1}, all.size(), all.size() + 3}) {
        if (room == 0) continue;
        std::vector<NuviPoint> peaks(room);
        int32_t count = -1;
        ASSERT_EQ(nuvStatusOk, find(src, threshold, peaks.data(), static_cast<int32_t>(room),
                                    &count, norm, border, buffer.data()));
        ASSERT_EQ(std::min(room, all.size()), static_cast<size_t>(count));
        for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
          ASSERT_EQ(all[i].first, peaks[i].x);
          ASSERT_EQ(all[i].second, peaks[i].y);
        }
      }
    }
  }
};
using Elements = ::testing::Types<float, int32_t>;
TYPED_TEST_SUITE(Peaks, Elements);

TYPED_TEST(Peaks, MatchReference) {
  using T = TypeParam;
  std::mt19937 random(1);
  const auto few = [&] { return static_cast<T>(static_cast<int>(random() % 7) - 3); };
  for (int32_t width = 2; width <= 40; ++width) {
    const NuviSize size = {width, 2 + width % 9};
    for (const int32_t border : {1, 2}) {
      if (2 * border > std::min(size.width, size.height)) continue;
      this->compare(size, width % 3, T(1), border, few);
      this->compare(size, width % 3, T(-1), border, few);
      this->compare(size, 0, T(0), border, RandomSamples<T>(static_cast<unsigned>(width)));
    }
  }
  this->compare({19, 7}, 0, T(1), 1, [] { return T(5); });  // a plateau
  this->compare({6, 9}, 0, T(1), 3, [] { return T(5); });   // a frame without an inside
}

TEST(PeakValues, SmallestDifferencesAndWhatHasNone) {
  constexpr float least = 1.17549435e-38f;
  TestImage<float> src({5, 3});
  std::vector<uint8_t> buffer(1024);
  const auto isPeak = [&](float centre, float beside) {
    src.fill([] { return 0.0f; });
    src.at(2, 1) = centre;
    src.at(3, 1) = beside;
    NuviPoint peaks[3];
    int32_t count = 0;
    EXPECT_EQ(nuvStatusOk, find(src, 0.0f, peaks, 3, &count, 0, 1, buffer.data()));
    for (int32_t i = 0; i < count; ++i) {
      if (peaks[i].x == 2) return true;
    }
    return false;
  };
  EXPECT_TRUE(isPeak(1.0f, 0.5f));
  EXPECT_TRUE(isPeak(2 * least, 3 * least));
  EXPECT_FALSE(isPeak(2 * least, 3.5f * least));
  EXPECT_FALSE(isPeak(INFINITY, 0.0f));
  EXPECT_FALSE(isPeak(NAN, 0.0f));
  EXPECT_TRUE(isPeak(-7.0f, 0.0f));
}

TEST(PeakValues, LeastIntegerAndLeastThreshold) {
  TestImage<int32_t> src({3, 3});
  src.fill([] { return 0; });
  src.at(1, 1) = INT32_MIN;
  std::vector<uint8_t> buffer(1024);
  for (const int32_t threshold : {INT32_MAX, 0, INT32_MIN}) {
    NuviPoint peak;
    int32_t count = 0;
    ASSERT_EQ(nuvStatusOk, find(src, threshold, &peak, 1, &count, 0, 1, buffer.data()));
    EXPECT_EQ(1, count);
  }
}

TEST(PeakChecks, FirstFailureInOrder) {
  const float src[64] = {};
  NuviPoint peak = {9, 9};
  int32_t count = -7;
  uint8_t buffer[512];
  const auto call = [&](int32_t step, NuviSize size, int32_t room, int32_t norm, int32_t border) {
    return nuviFindPeaks3x3_32f_C1R(src, step, size, 1.0f, &peak, room, &count, norm, border,
                                    buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFindPeaks3x3_32f_C1R(src, 0, {0, 0}, 1.0f, &peak, 0, nullptr, 2, 0, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(0, {4, 0}, 1, 2, 1));
  EXPECT_EQ(nuvStatusBadSize, call(0, {4, 4}, 0, 2, 1));
  EXPECT_EQ(nuvStatusBadSize, call(0, {4, 4}, 1, 2, 0));
  EXPECT_EQ(nuvStatusBadSize, call(0, {4, 4}, 1, 2, 3));
  EXPECT_EQ(nuvStatusBadSize, call(0, {4, 1}, 1, 2, 1));
  EXPECT_EQ(nuvStatusBadStep, call(15, {4, 4}, 1, 2, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(17, {4, 4}, 1, 2, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(16, {4, 4}, 1, 2, 1));
  EXPECT_EQ(-7, count);
  EXPECT_EQ(9, peak.x);
  EXPECT_EQ(nuvStatusOk, call(16, {4, 4}, 1, 1, 2));
  EXPECT_EQ(0, count);
  int32_t bytes = -7;
  EXPECT_EQ(nuvStatusNullPointer, nuviFindPeaks3x3GetBufferSize_32s_C1R(0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFindPeaks3x3GetBufferSize_32s_C1R(0, &bytes));
  EXPECT_EQ(-7, bytes);
  ASSERT_EQ(nuvStatusOk, nuviFindPeaks3x3GetBufferSize_32s_C1R(2, &bytes));
  EXPECT_EQ(160, bytes);
}

}  // namespace

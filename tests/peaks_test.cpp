#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

constexpr auto find(const float*) { return nuviFindPeaks3x3_32f_C1R; }
constexpr auto find(const int32_t*) { return nuviFindPeaks3x3_32s_C1R; }
constexpr auto bufferSize(const float*) { return nuviFindPeaks3x3GetBufferSize_32f_C1R; }
constexpr auto bufferSize(const int32_t*) { return nuviFindPeaks3x3GetBufferSize_32s_C1R; }

// Pixel by pixel; a difference of doubles is exact where it counts.
template <class T>
std::vector<NuviPoint> reference(const TestImage<T>& src, T threshold, int32_t norm,
                                 int32_t border) {
  std::vector<NuviPoint> peaks;
  for (int32_t y = border; y < src.size().height - border; ++y) {
    for (int32_t x = border; x < src.size().width - border; ++x) {
      const double v = src.at(x, y);
      double extreme = v;
      for (int32_t i = 0; i < 9; ++i) {
        if (norm == 1 && i % 2 == 0) continue;
        const double beside = src.at(x + i % 3 - 1, y + i / 3 - 1);
        extreme = v > 0 ? std::max(extreme, beside) : std::min(extreme, beside);
      }
      const bool same = std::fabs(v - extreme) <= 1.1754943508222875e-38;
      if (std::fabs(v) > static_cast<double>(threshold) && same) peaks.push_back({x, y});
    }
  }
  return peaks;
}

template <class T, class Value>
void expectReference(NuviSize size, T threshold, int32_t border, Value&& value) {
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " border " << border);
  const int32_t pad = size.width % 3;
  TestImage<T> src(size, 1, pad, pad == 0 ? Against::end : Against::begin);
  src.fill(value);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, bufferSize(src.data())(size.width, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes));
  for (const int32_t norm : {0, 1}) {
    const std::vector<NuviPoint> all = reference(src, threshold, norm, border);
    for (const size_t room : {size_t{1}, std::max(all.size(), size_t{1}), all.size() + 3}) {
      std::vector<NuviPoint> peaks(room);
      int32_t count = -1;
      ASSERT_EQ(nuvStatusOk,
                find(src.data())(src.data(), src.step(), size, threshold, peaks.data(),
                                 static_cast<int32_t>(room), &count, norm, border, buffer.data()));
      ASSERT_EQ(std::min(room, all.size()), static_cast<size_t>(count));
      for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
        ASSERT_TRUE(all[i].x == peaks[i].x && all[i].y == peaks[i].y) << i;
      }
    }
  }
}

template <class T>
class Peaks : public ::testing::Test {};
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
      for (const T threshold : {T(1), T(-1)}) expectReference(size, threshold, border, few);
      const T least = std::numeric_limits<T>::min();  // of the integers, or of normal floats
      for (const T threshold : {T(0), least}) {
        expectReference(size, threshold, border, RandomSamples<T>(unsigned(width)));
      }
      const T unit = std::is_integral_v<T> ? std::numeric_limits<T>::max() / 3 : least;
      expectReference(size, T(0), border, [&] { return few() * unit; });
    }
  }
  expectReference({19, 7}, T(1), 1, [] { return T(5); });  // a plateau
  expectReference({6, 9}, T(1), 3, [] { return T(5); });   // a frame without an inside
}

TEST(PeakValues, InfinitiesHaveNoDifferenceAndNansNoMagnitude) {
  TestImage<float> src({3, 3});
  uint8_t buffer[1024];
  for (const float centre : {INFINITY, -INFINITY, NAN}) {
    src.fill([] { return 0.0f; });
    src.at(1, 1) = centre;
    NuviPoint peak;
    int32_t count = -1;
    EXPECT_EQ(nuvStatusOk, nuviFindPeaks3x3_32f_C1R(src.data(), src.step(), src.size(), -1, &peak,
                                                    1, &count, 0, 1, buffer));
    EXPECT_EQ(0, count);
  }
}

TEST(PeakChecks, FirstFailureInOrderAndNothingWritten) {
  const float src[64] = {};
  NuviPoint peak = {9, 9};
  int32_t count = -7, bytes = -7;
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
  EXPECT_EQ(nuvStatusNullPointer, nuviFindPeaks3x3GetBufferSize_32s_C1R(0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFindPeaks3x3GetBufferSize_32s_C1R(0, &bytes));
  EXPECT_EQ(-7, bytes);
  ASSERT_EQ(nuvStatusOk, nuviFindPeaks3x3GetBufferSize_32s_C1R(2, &bytes));
  EXPECT_EQ(160, bytes);
}

}  // namespace

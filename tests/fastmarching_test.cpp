#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// What a visit from the neighbours a, vertical, and b, horizontal, makes of a value. A missing
// neighbour is a NaN.
float visited(float value, float a, float b, bool isZero, float radius) {
  const auto root = [&] { return std::sqrt(std::fma(-(a - b), a - b, 2.0f)); };
  if (!isZero) {
    // One neighbour alone counts as if the other were far behind.
    a = std::isnan(a) ? INFINITY : std::max(a, 0.0f);
    b = std::isnan(b) ? INFINITY : std::max(b, 0.0f);
    const bool isFlat = std::isinf(a) || std::isinf(b) || std::fabs(a - b) >= 1;
    const float n = isFlat ? 1.0f + std::min(a, b) : std::fma(0.5f, b + root(), a * 0.5f);
    return value > n ? n : value;
  }
  if (std::isnan(a)) a = 0;
  if (std::isnan(b)) b = 0;
  if (!(radius > 0)) return value;
  if (a > 0 || b > 0) return -1e-10f;
  if (!(a < 0) && !(b < 0)) return value;
  float n = std::fma(0.5f, b - root(), a * 0.5f);
  if (std::fabs(a - b) >= 1) n = std::max(a, b) - 1.0f;
  if (a == 0 || b == 0) n = std::min(a, b) - 1.0f;
  return (value == 0 || n > value) && !(n < -(radius + 1e-5f)) ? n : value;
}

// Sweeps over all pixels in all directions until nothing changes.
void reference(const TestImage<uint8_t>& src, float radius, const TestImage<float>& dst) {
  const int w = src.size().width, h = src.size().height;
  for (int i = 0; i < w * h; ++i) {
    dst.at(i % w, i / w) = src.at(i % w, i / w) == 0 ? 0.0f : 999999.0f;
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (const int dy : {1, -1}) {
      for (int i = 0; i < 2 * w * h; ++i) {  // every row from left to right, then back
        const int dx = i / w % 2 == 0 ? 1 : -1, row = i / w / 2;
        const int x = dx > 0 ? i % w : w - 1 - i % w, y = dy > 0 ? row : h - 1 - row;
        const float a = y - dy >= 0 && y - dy < h ? dst.at(x, y - dy) : NAN;
        const float b = x - dx >= 0 && x - dx < w ? dst.at(x - dx, y) : NAN;
        const float value = visited(dst.at(x, y), a, b, src.at(x, y) == 0, radius);
        changed |= value != dst.at(x, y);
        dst.at(x, y) = value;
      }
    }
  }
}

TEST(FastMarching, MatchesReference) {
  constexpr int sizes[][2] = {{1, 1}, {1, 30},  {30, 1},  {2, 2},
                              {7, 5}, {33, 40}, {64, 17}, {97, 12}};
  constexpr float radii[] = {0.0f, 2.0f, 5.0f, 0.3f, 40.0f, -0.0f, NAN};
  std::mt19937 random(4);
  for (size_t i = 0; i < 96; ++i) {
    const NuviSize size = {sizes[i % 8][0], sizes[i % 8][1]};
    const Against against = i % 2 == 0 ? Against::end : Against::begin;
    TestImage<uint8_t> src(size, 1, static_cast<int>(i % 3), against);
    TestImage<float> dst(size, 1, static_cast<int>(i % 2), against), expected(size);
    const unsigned rarity = 2u << (random() % 9);
    const bool isRegionRare = i % 5 < 2;
    src.fill([&] { return (random() % rarity == 0) != isRegionRare ? 0 : 1 + random() % 255; });
    const float radius = radii[random() % 7];
    SCOPED_TRACE(std::to_string(i) + " radius " + std::to_string(radius));
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, nuviFastMarchingGetBufferSize_8u32f_C1R(size, &bytes));
    GuardedBlock buffer(static_cast<size_t>(bytes), against);
    ASSERT_EQ(nuvStatusOk, nuviFastMarching_8u32f_C1R(src.data(), src.step(), dst.data(),
                                                      dst.step(), size, radius, buffer.data()));
    reference(src, radius, expected);
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  }
}

TEST(FastMarchingChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[4] = {}, buffer[4000];
  float dst[4] = {5};
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, uint8_t* scratch) {
    return nuviFastMarching_8u32f_C1R(src, srcStep, dst, dstStep, size, -1e-30f, scratch);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, 0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {1, 0}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(1, 9, {2, 1}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(2, 7, {2, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(2, 9, {2, 1}, buffer));
  EXPECT_EQ(nuvStatusBadArgument, call(2, 8, {2, 1}, buffer));
  EXPECT_EQ(5.0f, dst[0]);
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviFastMarchingGetBufferSize_8u32f_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFastMarchingGetBufferSize_8u32f_C1R({0, 9}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFastMarchingGetBufferSize_8u32f_C1R({33, 9}, &bytes));
  EXPECT_EQ(43 * 69 + 40, bytes);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// Sweeps over all pixels in all directions until nothing changes.
std::vector<float> reference(const TestImage<uint8_t>& src, float radius) {
  const int w = src.size().width, h = src.size().height;
  std::vector<float> all(static_cast<size_t>(w * h));
  const auto at = [&](int x, int y) -> float& { return all[static_cast<size_t>(y * w + x)]; };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) at(x, y) = src.at(x, y) == 0 ? 0.0f : 999999.0f;
  }
  const auto root = [](float a, float b) { return std::sqrt(std::fma(-(a - b), a - b, 2.0f)); };
  const auto visit = [&](int x, int y, int dx, int dy) {
    const bool hasA = y - dy >= 0 && y - dy < h, hasB = x - dx >= 0 && x - dx < w;
    float a = hasA ? at(x, y - dy) : 0, b = hasB ? at(x - dx, y) : 0, n = 0;
    float& value = at(x, y);
    if (src.at(x, y) != 0) {
      a = std::max(a, 0.0f), b = std::max(b, 0.0f);
      if (!hasA && !hasB) return false;
      if (!hasA || !hasB) {
        n = 1.0f + (hasA ? a : b);
      } else {
        n = std::fabs(a - b) >= 1.0f ? 1.0f + std::min(a, b)
                                     : std::fma(0.5f, b + root(a, b), a * 0.5f);
      }
      if (!(value > n)) return false;
    } else {
      if (!(radius > 0)) return false;
      if (a > 0 || b > 0) {
        n = -1e-10f;
        if (value == n) return false;
      } else {
        if (!(a < 0) && !(b < 0)) return false;
        if (a == 0 || b == 0) {
          n = std::min(a, b) - 1.0f;
        } else if (std::fabs(a - b) >= 1.0f) {
          n = std::max(a, b) - 1.0f;
        } else {
          n = std::fma(0.5f, b - root(a, b), a * 0.5f);
        }
        if (!(value == 0 || n > value) || n < -(radius + 1e-5f)) return false;
      }
    }
    value = n;
    return true;
  };
  for (bool changed = true; changed;) {
    changed = false;
    for (const int dy : {1, -1}) {
      for (int i = 0; i < h; ++i) {
        for (const int dx : {1, -1}) {
          for (int j = 0; j < w; ++j) {
            changed |= visit(dx > 0 ? j : w - 1 - j, dy > 0 ? i : h - 1 - i, dx, dy);
          }
        }
      }
    }
  }
  return all;
}

TEST(FastMarching, MatchesReference) {
  std::mt19937 random(4);
  const std::vector<NuviSize> sizes = {{1, 1}, {1, 30},  {30, 1},  {2, 2},
                                       {7, 5}, {33, 40}, {64, 17}, {97, 12}};
  const float radii[] = {0.0f, 2.0f, 5.0f, 0.3f, 40.0f, -0.0f, NAN};
  for (size_t i = 0; i < 12 * sizes.size(); ++i) {
    const NuviSize size = sizes[i % sizes.size()];
    const Against against = i % 2 == 0 ? Against::end : Against::begin;
    TestImage<uint8_t> src(size, 1, static_cast<int>(i % 3), against);
    TestImage<float> dst(size, 1, static_cast<int>(i % 2), against);
    const unsigned rarity = 2u << (random() % 9);
    const bool isRegionRare = i % 5 < 2;
    src.fill([&] { return (random() % rarity == 0) != isRegionRare ? 0 : 1 + random() % 255; });
    const float radius = radii[random() % 7];
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, nuviFastMarchingGetBufferSize_8u32f_C1R(size, &bytes));
    GuardedBlock buffer(static_cast<size_t>(bytes), against);
    ASSERT_EQ(nuvStatusOk, nuviFastMarching_8u32f_C1R(src.data(), src.step(), dst.data(),
                                                      dst.step(), size, radius, buffer.data()));
    const auto expected = reference(src, radius);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        ASSERT_EQ(expected[static_cast<size_t>(y * size.width + x)], dst.at(x, y))
            << i << ": " << x << "," << y << " radius " << radius;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  }
}

// The front's time is near to the Euclidean distance, exact along rows and columns.
TEST(FastMarching, ComesNearToTheDistance) {
  const NuviSize size = {61, 60};
  TestImage<uint8_t> src(size);
  src.fill([] { return 1; });
  src.at(30, 29) = 0;
  TestImage<float> dst(size);
  std::vector<uint8_t> buffer(100 * 101 + 40);
  ASSERT_EQ(nuvStatusOk,
            nuviFastMarching_8u32f_C1R(src.data(), 61, dst.data(), 244, size, 0, buffer.data()));
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 61; ++x) {
      const double exact = std::hypot(x - 30, y - 29);
      ASSERT_NEAR(exact, double{dst.at(x, y)}, x == 30 || y == 29 ? 0 : 0.35 + 0.05 * exact)
          << x << "," << y;
    }
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

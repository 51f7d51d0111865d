#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The same envelope with plain tables, in the told order of roundings.
std::vector<float> reference(const TestImage<uint8_t>& src) {
  const int w = src.size().width, h = src.size().height;
  constexpr float none = std::numeric_limits<float>::max();
  std::vector<float> all(static_cast<size_t>(w * h), none);
  const auto square = [](int i) { return static_cast<float>(i) * static_cast<float>(i); };
  for (int x = 0; x < w; ++x) {
    for (int y = 0; y < h; ++y) {
      for (int zero = 0; zero < h; ++zero) {
        float& f = all[static_cast<size_t>(y * w + x)];
        if (src.at(x, zero) == 0) f = std::min(f, square(std::abs(y - zero)));
      }
    }
  }
  for (int y = 0; y < h; ++y) {
    float* const row = &all[static_cast<size_t>(y * w)];
    const std::vector<float> f(row, row + w);
    std::vector<int> v(static_cast<size_t>(w));
    std::vector<float> z(static_cast<size_t>(w) + 2);
    size_t k = 0;
    z[0] = -none;
    z[1] = none;
    for (int q = 1; q < w; ++q) {
      for (;; --k) {
        const auto top = static_cast<size_t>(v[k]), next = static_cast<size_t>(q);
        const float r = 0.5f / static_cast<float>(q - v[k]);
        const float s = std::fma(-(f[top] + square(v[k])), r, (f[next] + square(q)) * r);
        if (!(s > z[k])) continue;
        v[++k] = q;
        z[k] = s;
        z[k + 1] = none;
        break;
      }
    }
    k = 0;
    for (int x = 0; x < w; ++x) {
      while (z[k + 1] < static_cast<float>(x)) ++k;
      row[x] = std::sqrt(square(std::abs(x - v[k])) + f[static_cast<size_t>(v[k])]);
    }
  }
  return all;
}

TEST(ExactDistance, MatchesReferenceAndTheNearestZero) {
  std::mt19937 random(2);
  const std::vector<NuviSize> sizes = {{1, 1},   {1, 30},  {30, 1},  {7, 5},
                                       {33, 40}, {64, 17}, {300, 9}, {9, 300}};
  for (size_t i = 0; i < 3 * sizes.size(); ++i) {
    const NuviSize size = sizes[i % sizes.size()];
    const Against against = i % 2 == 0 ? Against::end : Against::begin;
    TestImage<uint8_t> src(size, 1, static_cast<int>(i % 3), against);
    TestImage<float> dst(size, 1, static_cast<int>(i % 2), against);
    const unsigned rarity = i < sizes.size() ? 3 : i < 2 * sizes.size() ? 60 : 1u << 30;
    src.fill([&] { return random() % rarity == 0 ? 0 : 1 + random() % 255; });
    const auto expected = reference(src);
    withThreadCounts([&] {
      int32_t bytes = 0;
      ASSERT_EQ(nuvStatusOk, nuviTrueDistanceTransformGetBufferSize_8u32f_C1R(size, &bytes));
      int32_t threads = 1;
      nuvGetNumThreads(&threads);
      ASSERT_EQ((24 * ((std::max(size.width, size.height) + 3) / 4 * 4) + 56) * threads, bytes);
      GuardedBlock buffer(static_cast<size_t>(bytes), against);
      ASSERT_EQ(nuvStatusOk, nuviTrueDistanceTransform_8u32f_C1R(src.data(), src.step(), dst.data(),
                                                                 dst.step(), size, buffer.data()));
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          ASSERT_EQ(expected[static_cast<size_t>(y * size.width + x)], dst.at(x, y))
              << x << "," << y;
        }
      }
      ASSERT_TRUE(dst.padsUntouched());
    });
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        double nearest = std::sqrt(double{std::numeric_limits<float>::max()});
        for (int zy = 0; zy < size.height; ++zy) {
          for (int zx = 0; zx < size.width; ++zx) {
            if (src.at(zx, zy) == 0) nearest = std::min(nearest, std::hypot(zx - x, zy - y));
          }
        }
        ASSERT_FLOAT_EQ(static_cast<float>(nearest), dst.at(x, y)) << x << "," << y;
      }
    }
  }
}

TEST(ExactDistanceChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[4] = {}, buffer[4000];
  float dst[4] = {5};
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, uint8_t* scratch) {
    return nuviTrueDistanceTransform_8u32f_C1R(src, srcStep, dst, dstStep, size, scratch);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, 0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {1, 0}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(1, 9, {2, 1}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(2, 7, {2, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(2, 9, {2, 1}, buffer));
  EXPECT_EQ(5.0f, dst[0]);
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer,
            nuviTrueDistanceTransformGetBufferSize_8u32f_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviTrueDistanceTransformGetBufferSize_8u32f_C1R({0, 9}, &bytes));
  EXPECT_EQ(-1, bytes);
}

}  // namespace

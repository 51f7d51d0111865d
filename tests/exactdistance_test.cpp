#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The same envelope with plain tables, in the told order of roundings.
void reference(const TestImage<uint8_t>& src, const TestImage<float>& dst) {
  const int w = src.size().width, h = src.size().height;
  constexpr float none = std::numeric_limits<float>::max();
  const auto square = [](int i) { return static_cast<float>(i) * static_cast<float>(i); };
  std::vector<float> f(static_cast<size_t>(w)), z(f.size() + 2);
  std::vector<int> v(f.size());
  for (int y = 0; y < h; ++y) {
    std::fill(f.begin(), f.end(), none);
    for (int i = 0; i < w * h; ++i) {
      float& nearest = f[static_cast<size_t>(i % w)];
      if (src.at(i % w, i / w) == 0) nearest = std::min(nearest, square(y - i / w));
    }
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
      dst.at(x, y) = std::sqrt(square(x - v[k]) + f[static_cast<size_t>(v[k])]);
    }
  }
}

TEST(ExactDistance, MatchesReference) {
  constexpr int sizes[][2] = {{1, 1},   {1, 30},  {30, 1},  {7, 5},
                              {33, 40}, {64, 17}, {300, 9}, {9, 300}};
  std::mt19937 random(2);
  for (const auto& [width, height] : sizes) {
    for (const unsigned rarity : {3u, 60u, 1u << 30}) {
      const NuviSize size = {width, height};
      const Against against = rarity == 60 ? Against::begin : Against::end;
      TestImage<uint8_t> src(size, 1, static_cast<int>(rarity % 7), against);
      TestImage<float> dst(size, 1, width % 2, against), expected(size);
      src.fill([&] { return random() % rarity == 0 ? 0 : 1 + random() % 255; });
      reference(src, expected);
      withThreadCounts([&] {
        int32_t bytes = 0, threads = 0;
        nuvGetNumThreads(&threads);
        ASSERT_EQ(nuvStatusOk, nuviTrueDistanceTransformGetBufferSize_8u32f_C1R(size, &bytes));
        ASSERT_EQ((24 * ((std::max(width, height) + 3) / 4 * 4) + 56) * threads, bytes);
        GuardedBlock buffer(static_cast<size_t>(bytes), against);
        ASSERT_EQ(nuvStatusOk,
                  nuviTrueDistanceTransform_8u32f_C1R(src.data(), src.step(), dst.data(),
                                                      dst.step(), size, buffer.data()));
        ASSERT_EQ(expected.bytes(), dst.bytes());
        ASSERT_TRUE(dst.padsUntouched());
      });
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

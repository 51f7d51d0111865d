#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "nuvcv.h"

namespace {

constexpr float rates[] = {1.0000001f, 1.01f, 1.1f, 1.25f, 1.5f,  1.99999f,
                           2.0f,       2.3f,  3.0f, 7.7f,  9.99f, 10.0f};

NuviSize sizeDown(NuviSize size, float rate) {
  NuviSize down = {};
  EXPECT_EQ(nuvStatusOk, nuviGetPyramidDownROI(size, &down, rate));
  return down;
}

TEST(PyramidSizes, UpRangeIsTruncatedProduct) {
  for (const float rate : rates) {
    for (int32_t n = 1; n < 3000; n += n < 40 ? 1 : 37) {
      const volatile float low = static_cast<float>(n - 1) * rate;
      const volatile float high = static_cast<float>(n) * rate;
      const int32_t least = n == 1 ? 1 : std::max(n + 1, static_cast<int32_t>(std::trunc(low)) + 1);
      const int32_t most = std::max(n + 1, static_cast<int32_t>(std::trunc(high)));
      NuviSize min, max;
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI({n, 1}, &min, &max, rate));
      ASSERT_EQ(least, min.width);
      ASSERT_EQ(most, max.width);
      ASSERT_EQ(1, min.height);
    }
  }
}

// Every size is inside the range of the one below it, and the ranges leave no choice.
TEST(PyramidSizes, DownInvertsUp) {
  for (const float rate : rates) {
    SCOPED_TRACE(rate);
    EXPECT_EQ(1, sizeDown({1, 1}, rate).width);
    for (const int32_t n : {1, 2, 3, 4, 5, 9, 10, 11, 63, 64, 1080, 1920, 99999, 20000003}) {
      const NuviSize down = sizeDown({n, 3}, rate);
      NuviSize min, max, longerMin, longerMax;
      nuviGetPyramidUpROI(down, &min, &max, rate);
      nuviGetPyramidUpROI({down.width + 1, down.height + 1}, &longerMin, &longerMax, rate);
      ASSERT_LE(min.width, n);
      ASSERT_GE(max.width, n);
      ASSERT_EQ(max.width + 1, longerMin.width);
      ASSERT_LE(min.height, 3);
      ASSERT_GE(max.height, 3);
    }
  }
  EXPECT_LE(214748300, sizeDown({INT32_MAX, 1}, 10.0f).width);
}

TEST(PyramidRecord, ListsSizesAndRatesDownToOnePixel) {
  for (const float rate : rates) {
    for (const NuviSize base : {NuviSize{1, 1}, {2, 1}, {3, 50}, {64, 48}, {640, 1}}) {
      for (const int32_t level : {1, 2, 5, 100, 1000000}) {
        NuviPyramid* pyramid = nullptr;
        ASSERT_EQ(nuvStatusOk, nuviPyramidInitAlloc(&pyramid, level, base, rate));
        NuviSize size = base;
        double scale = 1.0;
        for (int32_t i = 0; i <= pyramid->level; ++i) {
          ASSERT_EQ(size.width, pyramid->sizes[i].width);
          ASSERT_EQ(size.height, pyramid->sizes[i].height);
          ASSERT_EQ(scale, pyramid->rates[i]);
          ASSERT_EQ(nullptr, pyramid->images[i]);
          ASSERT_EQ(0, pyramid->steps[i]);
          const bool apex = size.width == 1 && size.height == 1;
          ASSERT_EQ(i == pyramid->level, i == level || apex);
          size = sizeDown(size, rate);
          scale *= 1.0 / static_cast<double>(rate);
        }
        ASSERT_EQ(nullptr, pyramid->layerState);
        const auto* const first = reinterpret_cast<uint8_t*>(pyramid);
        const auto* const end = reinterpret_cast<uint8_t*>(pyramid->steps + pyramid->level + 1);
        ASSERT_LE(end - first, 44 * pyramid->level + 112);
        ASSERT_EQ(0, (reinterpret_cast<uint8_t*>(pyramid->rates) - first) % 8);
        ASSERT_EQ(nuvStatusOk, nuviPyramidFree(pyramid));
      }
    }
  }
}

TEST(PyramidRecord, ChecksInOrder) {
  NuviPyramid* pyramid = nullptr;
  NuviSize size = {-7, -7}, other = {-7, -7};
  const float nan = std::nanf("");
  EXPECT_EQ(nuvStatusNullPointer, nuviPyramidFree(nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviPyramidInitAlloc(nullptr, 0, {0, 1}, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidDownROI({0, 1}, nullptr, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidUpROI({0, 1}, nullptr, &other, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidUpROI({0, 1}, &size, nullptr, 1.0f));
  for (const NuviSize bad : {NuviSize{0, 5}, {5, 0}, {-1, -1}}) {
    EXPECT_EQ(nuvStatusBadSize, nuviPyramidInitAlloc(&pyramid, 0, bad, 1.0f));
    EXPECT_EQ(nuvStatusBadSize, nuviGetPyramidDownROI(bad, &size, 1.0f));
    EXPECT_EQ(nuvStatusBadSize, nuviGetPyramidUpROI(bad, &size, &other, 1.0f));
  }
  for (const float rate : {1.0f, 0.5f, -2.0f, 10.000001f, nan}) {
    EXPECT_EQ(nuvStatusBadArgument, nuviPyramidInitAlloc(&pyramid, 1, {5, 5}, rate));
    EXPECT_EQ(nuvStatusBadArgument, nuviGetPyramidDownROI({5, 5}, &size, rate));
    EXPECT_EQ(nuvStatusBadArgument, nuviGetPyramidUpROI({5, 5}, &size, &other, rate));
  }
  EXPECT_EQ(nuvStatusBadArgument, nuviPyramidInitAlloc(&pyramid, 0, {5, 5}, 2.0f));
  EXPECT_EQ(nullptr, pyramid);
  EXPECT_EQ(-7, size.width + other.height - size.height);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "nuvcv.h"

namespace {

constexpr float rates[] = {1.0000001f, 1.01f, 1.1f, 1.25f, 1.5f,  1.99999f,
                           2.0f,       2.3f,  3.0f, 7.7f,  9.99f, 10.0f};

// Ranges are truncated products, each beginning behind the one before: the one that holds a length
// tells what is below it.
TEST(PyramidSizes, FollowTheRate) {
  for (const float rate : rates) {
    SCOPED_TRACE(rate);
    for (int32_t n = 1; n < 3000; n += n < 40 ? 1 : 37) {
      const volatile float low = static_cast<float>(n - 1) * rate;
      const volatile float high = static_cast<float>(n) * rate;
      const int32_t least = n == 1 ? 1 : std::max(n + 1, static_cast<int32_t>(low) + 1);
      const int32_t most = std::max(n + 1, static_cast<int32_t>(high));
      NuviSize min, max, down;
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI({n, 1}, &min, &max, rate));
      ASSERT_TRUE(min.width == least && max.width == most && min.height == 1);
      for (const NuviSize above : {NuviSize{least, most}, {most, least}}) {
        ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(above, &down, rate));
        ASSERT_TRUE(down.width == n && down.height == n);
      }
    }
    for (const int32_t n : {20000003, INT32_MAX}) {
      NuviSize down, min, max;
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI({n, n}, &down, rate));
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI(down, &min, &max, rate));
      ASSERT_TRUE(min.width <= n && n <= max.width);
    }
  }
}

TEST(PyramidRecord, ListsSizesAndRatesDownToOnePixel) {
  for (const float rate : rates) {
    for (const NuviSize base : {NuviSize{1, 1}, {2, 1}, {3, 50}, {64, 48}, {640, 1}}) {
      for (const int32_t level : {1, 2, 5, 1000000}) {
        NuviPyramid* pyramid = nullptr;
        ASSERT_EQ(nuvStatusOk, nuviPyramidInitAlloc(&pyramid, level, base, rate));
        NuviSize size = base;
        double scale = 1.0;
        for (int32_t i = 0; i <= pyramid->level; ++i) {
          ASSERT_TRUE(size.width == pyramid->sizes[i].width);
          ASSERT_TRUE(size.height == pyramid->sizes[i].height);
          ASSERT_EQ(scale, pyramid->rates[i]);
          ASSERT_TRUE(pyramid->images[i] == nullptr && pyramid->steps[i] == 0);
          const bool isApex = size.width == 1 && size.height == 1;
          ASSERT_EQ(i == pyramid->level, i == level || isApex);
          ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(size, &size, rate));
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
  EXPECT_EQ(nuvStatusNullPointer, nuviPyramidFree(nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviPyramidInitAlloc(nullptr, 0, {0, 1}, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidDownROI({0, 1}, nullptr, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidUpROI({0, 1}, nullptr, &other, 1.0f));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetPyramidUpROI({0, 1}, &size, nullptr, 1.0f));
  const auto all = [&](int32_t level, NuviSize from, float rate) {
    const NuvStatus status = nuviPyramidInitAlloc(&pyramid, level, from, rate);
    EXPECT_EQ(status, nuviGetPyramidDownROI(from, &size, rate));
    EXPECT_EQ(status, nuviGetPyramidUpROI(from, &size, &other, rate));
    return status;
  };
  EXPECT_EQ(nuvStatusBadSize, all(0, {0, 5}, 1.0f));
  EXPECT_EQ(nuvStatusBadSize, all(0, {5, 0}, 1.0f));
  for (const float rate : {1.0f, -2.0f, 10.000001f, std::nanf("")}) {
    EXPECT_EQ(nuvStatusBadArgument, all(1, {5, 5}, rate));
  }
  EXPECT_EQ(nuvStatusBadArgument, nuviPyramidInitAlloc(&pyramid, 0, {5, 5}, 2.0f));
  EXPECT_TRUE(pyramid == nullptr && size.width == -7 && other.height == -7);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/border.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

std::vector<float> weights(int32_t size, float sigma) {
  std::vector<float> w;
  float sum = 0.0f;
  for (int32_t i = 0; i < size; ++i) {
    const auto t = static_cast<float>(i - size / 2);
    const float e = (0.0f - t * t) / ((sigma + sigma) * sigma);
    w.push_back(static_cast<float>(std::exp(static_cast<double>(e))));
    sum = sum + w.back();
  }
  for (float& value : w) value = value / sum;
  return w;
}

// Rows: fused where the window lies inside the row, plain at its ends. Columns: fused, the middle
// tap of three first.
float reference(const BorderedImage<float>& src, const std::vector<float>& w, int32_t x,
                int32_t y) {
  const auto taps = static_cast<int32_t>(w.size());
  const int32_t reach = taps / 2;
  const bool isInterior = x >= reach && x + reach < src.size.width;
  const auto row = [&](int32_t k) {
    float sum = src.at(x - reach, y + k - reach) * w[0];
    for (int32_t j = 1; j < taps; ++j) {
      const float pixel = src.at(x + j - reach, y + k - reach), weight = w[size_t(j)];
      sum = isInterior ? std::fma(pixel, weight, sum) : sum + pixel * weight;
    }
    return sum;
  };
  const int32_t first = taps == 3 ? 1 : 0;
  float sum = row(first) * w[size_t(first)];
  for (int32_t k = 0; k < taps; ++k) {
    if (k != first) sum = std::fma(row(k), w[size_t(k)], sum);
  }
  return sum;
}

void expectReference(NuviSize size, int32_t taps, float sigma, NuviBorderType border, int32_t pad) {
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " taps " << taps
                                  << " border " << border);
  BorderedImage<float> src(size, border, 2.5f, taps / 2, pad);
  src.fill([random = std::mt19937(1)]() mutable { return random() % 1000; });
  const std::vector<float> w = weights(taps, sigma);
  const TestImage<float> expected(size), dst(size, 1, pad, Against::begin);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) expected.at(x, y) = reference(src, w, x, y);
  }
  withThreadCounts([&] {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, nuviFilterGaussGetBufferSize_32f_C1R(size, taps, &bytes));
    const size_t odd = pad % 2 == 0 ? 0 : 1;
    const GuardedBlock buffer(static_cast<size_t>(bytes) + odd,
                              odd == 0 ? Against::end : Against::begin);
    ASSERT_EQ(nuvStatusOk, nuviFilterGaussBorder_32f_C1R(src.data(), src.step(), dst.data(),
                                                         dst.step(), size, taps, sigma, border,
                                                         src.constant, buffer.data() + odd));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  });
}

TEST(Gauss, MatchesReference) {
  for (const int32_t taps : {3, 5, 7, 15}) {
    for (const NuviBorderType kind : {0, 1, 2, 3, 4}) {
      for (const NuviBorderType flags : {0, 0x10, 0x20, 0x30}) {
        expectReference({37, 6}, taps, 1.3f, kind | flags, 1);
      }
      for (int32_t width = 1; width <= 40; width += 3) {
        expectReference({width, 1 + width % 8}, taps, 0.7f, kind, width % 3);
      }
    }
  }
}

TEST(Gauss, FirstFailureInOrderAndNothingWritten) {
  const float src[8] = {};
  float dst[8] = {9};
  uint8_t buffer[4096];
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, int32_t taps,
                        NuviBorderType border) {
    return nuviFilterGaussBorder_32f_C1R(src, srcStep, dst, dstStep, size, taps, 1.0f, border, 0.0f,
                                         buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFilterGaussBorder_32f_C1R(nullptr, 0, dst, 0, {0, 0}, 2, 1.0f, 0x40, 0.0f, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 2, 0x40));
  EXPECT_EQ(nuvStatusBadStep, call(3, 4, {4, 1}, 2, 0x40));
  EXPECT_EQ(nuvStatusBadStep, call(4, 3, {4, 1}, 2, 0x40));
  for (const int32_t taps : {1, 2, 4, -3}) {
    EXPECT_EQ(nuvStatusBadArgument, call(16, 16, {4, 1}, taps, 1));
  }
  for (const NuviBorderType border : {5, 6, 0x40, 0x80, 0xF0, 0x100}) {
    EXPECT_EQ(nuvStatusBadArgument, call(16, 16, {4, 1}, 3, border)) << border;
  }
  EXPECT_EQ(9, dst[0]);
  // Steps are compared with the width in pixels: a row of 16 bytes passes with a step of 4.
  EXPECT_EQ(nuvStatusOk, call(4, 4, {4, 1}, 3, nuvBorderReplicate));
  EXPECT_EQ(0, dst[0]);
}

TEST(Gauss, ReportedSize) {
  int32_t bytes = -7, row = 0;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterGaussGetBufferSize_32f_C1R({0, 0}, 2, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterGaussGetBufferSize_32f_C1R({0, 1}, 2, &bytes));
  EXPECT_EQ(nuvStatusBadArgument, nuviFilterGaussGetBufferSize_32f_C1R({1, 1}, 2, &bytes));
  EXPECT_EQ(-7, bytes);
  nuviFilterRowBorderPipelineGetBufferSize_32f_C1R({100, 5}, 5, &row);
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussGetBufferSize_32f_C1R({100, 50}, 5, &bytes));
  // 105 columns: rings of 112 floats, tables of 108.
  EXPECT_EQ(112 * 4 * 5 + 32 + 32 + 64 + 108 * 5 * 8 + 32 + row + 96 + 40, bytes);
  const NuviSize largest = {INT32_MAX, INT32_MAX};
  EXPECT_EQ(nuvStatusOk,
            nuviFilterGaussGetBufferSize_32f_C1R(largest, INT32_MAX, &bytes));  // wraps
}

}  // namespace

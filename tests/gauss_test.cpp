#include <gtest/gtest.h>

#include <cmath>

#include "filter/pipeline/border.h"
#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

std::vector<float> weights(int32_t size, float sigma) {
  std::vector<float> w;
  float sum = 0.0f;
  for (int32_t i = 0; i < size; ++i) {
    const auto t = static_cast<float>(i - size / 2);
    const float square = t * t;
    const float e = (0.0f - square) / ((sigma + sigma) * sigma);
    w.push_back(static_cast<float>(std::exp(static_cast<double>(e))));
    sum = sum + w.back();
  }
  for (float& value : w) value = value / sum;
  return w;
}

// The picture, of which `above` and `below` rows around the region lie in memory.
struct Picture {
  TestImage<float> image;
  NuviSize size;
  int32_t above, below;
  NuviBorderType kind;
  float constant;

  float at(int32_t x, int32_t y) const {
    const bool rowInMemory = (y >= 0 || above > 0) && (y < size.height || below > 0);
    if (!rowInMemory && kind == nuvBorderConstant) return constant;
    if (!rowInMemory) y = static_cast<int32_t>(nuv::borderPosition(kind, y, size.height));
    if ((x < 0 || x >= size.width) && kind == nuvBorderConstant) return constant;
    return image.row(y + above)[nuv::borderPosition(kind, x, size.width)];
  }
};

// Rows: fused where the window lies inside the row, plain at its ends. Columns: fused, the middle
// tap of three first.
float reference(const Picture& p, const std::vector<float>& w, int32_t x, int32_t y) {
  const auto taps = static_cast<int32_t>(w.size());
  const int32_t reach = taps / 2;
  const auto row = [&](int32_t k) {
    const bool interior = x >= reach && x + reach < p.size.width;
    float sum = 0.0f;
    for (int32_t j = 0; j < taps; ++j) {
      const float pixel = p.at(x + j - reach, y + k - reach);
      const float product = pixel * w[static_cast<size_t>(j)];
      sum = j == 0 ? product
                   : (interior ? std::fma(pixel, w[static_cast<size_t>(j)], sum) : sum + product);
    }
    return sum;
  };
  const int32_t first = taps == 3 ? 1 : 0;
  float sum = row(first) * w[static_cast<size_t>(first)];
  for (int32_t k = 0; k < taps; ++k) {
    if (k != first) sum = std::fma(row(k), w[static_cast<size_t>(k)], sum);
  }
  return sum;
}

void compare(NuviSize size, int32_t kernelSize, float sigma, NuviBorderType border, int32_t pad) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " taps " +
               std::to_string(kernelSize) + " border " + std::to_string(border));
  const int32_t above = border & 0x10 ? kernelSize / 2 : 0;
  const int32_t below = border & 0x20 ? kernelSize / 2 : 0;
  Picture p = {
      {{size.width, size.height + above + below}, 1, pad}, size, above, below, border & 0xF, 2.5f};
  p.image.fill(
      [random = std::mt19937(1)]() mutable { return static_cast<float>(random() % 1000); });
  const std::vector<float> w = weights(kernelSize, sigma);
  TestImage<float> expected(size), dst(size, 1, pad, Against::begin);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) expected.at(x, y) = reference(p, w, x, y);
  }
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussGetBufferSize_32f_C1R(size, kernelSize, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes));
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussBorder_32f_C1R(p.image.row(above), p.image.step(),
                                                       dst.data(), dst.step(), size, kernelSize,
                                                       sigma, border, p.constant, buffer.data()));
  ASSERT_EQ(expected.bytes(), dst.bytes());
  ASSERT_TRUE(dst.padsUntouched());
}

TEST(Gauss, MatchesReference) {
  for (const int32_t kernelSize : {3, 5, 7, 15}) {
    for (const NuviBorderType kind : {0, 1, 2, 3, 4}) {
      for (const NuviBorderType flags : {0, 0x10, 0x20, 0x30}) {
        compare({37, 6}, kernelSize, 1.3f, kind | flags, 1);
      }
      for (int32_t width = 1; width <= 40; width += 3) {
        compare({width, 1 + width % 8}, kernelSize, 0.7f, kind, width % 3);
      }
    }
  }
}

TEST(Gauss, StepsAreComparedWithTheWidthOnly) {
  const NuviSize size = {5, 1};
  const float src[5] = {1, 2, 3, 4, 5};
  float exact[5], loose[5];
  std::vector<uint8_t> buffer(1 << 14);
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussBorder_32f_C1R(src, 20, exact, 20, size, 3, 1.0f,
                                                       nuvBorderReplicate, 0, buffer.data()));
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussBorder_32f_C1R(src, 5, loose, 5, size, 3, 1.0f,
                                                       nuvBorderReplicate, 0, buffer.data()));
  EXPECT_EQ(0, std::memcmp(exact, loose, sizeof exact));
}

TEST(Gauss, ChecksInOrder) {
  const float src[8] = {};
  float dst[8] = {9};
  uint8_t buffer[4096];
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, int32_t kernelSize,
                        NuviBorderType border) {
    return nuviFilterGaussBorder_32f_C1R(src, srcStep, dst, dstStep, size, kernelSize, 1.0f, border,
                                         0.0f, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFilterGaussBorder_32f_C1R(nullptr, 0, dst, 0, {0, 0}, 2, 1.0f, 0x40, 0.0f, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 2, 0x40));
  EXPECT_EQ(nuvStatusBadStep, call(3, 3, {4, 1}, 2, 0x40));
  EXPECT_EQ(nuvStatusBadStep, call(4, 3, {4, 1}, 2, 0x40));
  for (const int32_t size : {1, 2, 4, -3}) {
    EXPECT_EQ(nuvStatusBadArgument, call(16, 16, {4, 1}, size, 1));
  }
  for (const NuviBorderType border : {5, 6, 0x40, 0x80, 0xF0, 0x100}) {
    EXPECT_EQ(nuvStatusBadArgument, call(16, 16, {4, 1}, 3, border)) << border;
  }
  EXPECT_EQ(9, dst[0]);
  int32_t bytes = -7;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterGaussGetBufferSize_32f_C1R({0, 0}, 2, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterGaussGetBufferSize_32f_C1R({0, 1}, 2, &bytes));
  EXPECT_EQ(nuvStatusBadArgument, nuviFilterGaussGetBufferSize_32f_C1R({1, 1}, 2, &bytes));
  EXPECT_EQ(-7, bytes);
  int32_t row = 0;
  nuviFilterRowBorderPipelineGetBufferSize_32f_C1R({100, 5}, 5, &row);
  ASSERT_EQ(nuvStatusOk, nuviFilterGaussGetBufferSize_32f_C1R({100, 50}, 5, &bytes));
  // 105 columns: rings of 112 floats, tables of 108.
  EXPECT_EQ(112 * 4 * 5 + 32 + 32 + 64 + 108 * 5 * 8 + 32 + row + 96 + 40, bytes);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

using Plane = std::vector<float>;
std::vector<uint8_t> filterBuffer(1 << 20);

// What a filter makes of a plane; `mask` is its mask where it has a choice.
template <class Filter, class... Mask>
Plane filtered(Filter filter, const Plane& src, NuviSize size, Mask... mask) {
  Plane dst(src.size());
  const int32_t step = size.width * 4;
  EXPECT_EQ(nuvStatusOk, filter(src.data(), step, dst.data(), step, size, mask...,
                                nuvBorderReplicate, 0, filterBuffer.data()));
  return dst;
}

Plane mean(const Plane& a, const Plane& b, NuviSize size, NuviMaskSize mask) {
  Plane product(a.size());
  for (size_t i = 0; i < a.size(); ++i) product[i] = a[i] * b[i];
  return filtered(nuviFilterLowpassBorder_32f_C1R, product, size, mask);
}

float smaller(float A, float B, float C, float s) {
  const float d = A - B, q = C * C * 4.0f;
  return (A + B - std::sqrt(std::fma(d, d, q))) * (0.5f * s);
}

void eigen(float A, float B, float C, float s, float sign, float* out) {
  const float a = A * s, b = B * s, c = C * s;
  const float t = std::max(a, b) * 0.01f, ab = a * b, cc = c * c;
  std::fill_n(out, 6, 0.0f);
  if (t > std::min(a, b) || t > ab - cc) return;
  const float dd = (a - b) * (a - b), four = cc * 4.0f;
  const float r = std::sqrt(dd + four);
  out[0] = (a + b + r) * 0.5f;
  out[1] = (a + b - r) * 0.5f;
  if (t > std::fabs(c)) {
    out[2] = out[5] = 1.0f;
    return;
  }
  for (int i = 0; i < 2; ++i) {
    const float d = out[i] - a, d2 = d * d;
    const float n = 1.0f / std::max(std::sqrt(cc + d2), 1.1920929e-7f);
    out[2 + 2 * i] = sign * c * n;
    out[3 + 2 * i] = d * n;
  }
}

// 8-bit derivatives are exact, so the float filters give the reference of both forms.
template <class T, class Value>
void expectReference(NuviSize size, bool scharr, int32_t aperture, int32_t window, Value&& value) {
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " aperture " << aperture
                                  << " window " << window);
  const int32_t pad = size.width % 3;
  TestImage<T> src(size, 1, pad);
  src.fill(value);
  Plane floats;
  for (int32_t y = 0; y < size.height; ++y) {
    floats.insert(floats.end(), src.row(y), src.row(y) + size.width);
  }
  const NuviMaskSize mask = aperture * 11;
  const Plane gx = scharr ? filtered(nuviFilterScharrVertBorder_32f_C1R, floats, size)
                          : filtered(nuviFilterSobelVertBorder_32f_C1R, floats, size, mask);
  const Plane gy = scharr ? filtered(nuviFilterScharrHorizBorder_32f_C1R, floats, size)
                          : filtered(nuviFilterSobelHorizBorder_32f_C1R, floats, size, mask);
  const Plane A = mean(gx, gx, size, window * 11), B = mean(gy, gy, size, window * 11);
  const Plane C = mean(gx, gy, size, window * 11);
  TestImage<float> smallest(size), all(size, 6);
  const float s = 1.0f / (aperture == 3 ? 4080.0f : 65280.0f) * (scharr ? 0.6125f : 1.0f);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      const auto i = static_cast<size_t>(y * size.width + x);
      smallest.at(x, y) = smaller(A[i], B[i], C[i], s);
      eigen(A[i], B[i], C[i], s, scharr ? 1.0f : -1.0f, all.row(y) + 6 * x);
    }
  }
  const auto expectSame = [&](auto operation, auto bufferSize, const TestImage<float>& expected) {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, bufferSize(size, aperture, window, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes));
    const TestImage<float> dst(size, expected.samples() / size.width, pad);
    ASSERT_EQ(nuvStatusOk, operation(src.data(), src.step(), dst.data(), dst.step(), size, scharr,
                                     aperture, window, buffer.data()));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  };
  const auto run = [&] {
    if constexpr (std::is_same_v<T, float>) {
      expectSame(nuviMinEigenVal_32f_C1R, nuviMinEigenValGetBufferSize_32f_C1R, smallest);
      expectSame(nuviEigenValsVecs_32f_C1R, nuviEigenValsVecsGetBufferSize_32f_C1R, all);
    } else {
      expectSame(nuviMinEigenVal_8u32f_C1R, nuviMinEigenValGetBufferSize_8u32f_C1R, smallest);
      expectSame(nuviEigenValsVecs_8u32f_C1R, nuviEigenValsVecsGetBufferSize_8u32f_C1R, all);
    }
  };
  if (size.height < 256) return run();
  withThreadCounts(run);
}

template <class T>
class Corners : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, float>;
TYPED_TEST_SUITE(Corners, Elements);

TYPED_TEST(Corners, MatchReference) {
  std::mt19937 random(1);
  const auto noise = [&] { return random() % 256; };
  // Steps along both axes, where the vectors are the axes or there are none.
  auto blocks = [n = 0]() mutable { return ++n / 5 % 4 == 0 ? 200 : 17; };
  const std::pair<bool, int32_t> kernels[] = {{false, 3}, {false, 5}, {true, 3}};
  for (const auto& [scharr, aperture] : kernels) {
    for (const int32_t window : {3, 5}) {
      for (int32_t width = 1; width <= 37; width += 4) {
        expectReference<TypeParam>({width, 1 + width % 9}, scharr, aperture, window, noise);
        expectReference<TypeParam>({width, 9}, scharr, aperture, window, blocks);
      }
      expectReference<TypeParam>({20, 9}, scharr, aperture, window, [] { return 77; });
    }
  }
  expectReference<TypeParam>({256, 300}, false, 3, 3, noise);
}

TEST(CornersChecks, FirstFailureInOrderAndNothingWritten) {
  const float src[8] = {};
  const uint8_t bytes[8] = {};
  float dst[64] = {9};
  std::vector<uint8_t> buffer(1 << 16);
  for (const auto operation : {nuviMinEigenVal_32f_C1R, nuviEigenValsVecs_32f_C1R}) {
    const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, int32_t kernel,
                          int32_t aperture, int32_t window) {
      return operation(src, srcStep, dst, dstStep, size, kernel, aperture, window, buffer.data());
    };
    EXPECT_EQ(nuvStatusNullPointer, operation(src, 0, nullptr, 0, {0, 0}, 2, 4, 4, buffer.data()));
    EXPECT_EQ(nuvStatusBadSize, call(0, 0, {0, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusBadStep, call(7, 9, {2, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusBadStep, call(9, 7, {2, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(9, 8, {2, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(8, 9, {2, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusBadArgument, call(8, 8, {2, 1}, 2, 4, 4));
    EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 1, 5, 3));
    EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 0, 4, 3));
    EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 0, 3, 4));
  }
  EXPECT_EQ(9, dst[0]);
  // Six floats a pixel, but the step is compared with one.
  EXPECT_EQ(nuvStatusOk,
            nuviEigenValsVecs_8u32f_C1R(bytes, 3, dst, 8, {2, 1}, 0, 3, 3, buffer.data()));
  int32_t size = -7;
  EXPECT_EQ(nuvStatusNullPointer, nuviEigenValsVecsGetBufferSize_32f_C1R({0, 0}, 4, 4, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviEigenValsVecsGetBufferSize_32f_C1R({1, 1}, 4, 3, &size));
  EXPECT_EQ(nuvStatusBadSize, nuviMinEigenValGetBufferSize_8u32f_C1R({1, 1}, 3, 4, &size));
  EXPECT_EQ(-7, size);
  const NuviSize largest = {INT32_MAX, INT32_MAX};  // the size wraps
  EXPECT_EQ(nuvStatusOk, nuviMinEigenValGetBufferSize_8u32f_C1R(largest, 3, 5, &size));
}

}  // namespace

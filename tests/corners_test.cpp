#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// One derivative by its own filter, as floats.
std::vector<float> derivative(const TestImage<float>& src, bool alongX, bool scharr, int mask) {
  const NuviSize size = src.size();
  std::vector<float> dst(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
  std::vector<uint8_t> buffer(1 << 20);
  const int32_t step = size.width * 4;
  NuvStatus status;
  if (scharr) {
    status = (alongX ? nuviFilterScharrVertBorder_32f_C1R : nuviFilterScharrHorizBorder_32f_C1R)(
        src.data(), src.step(), dst.data(), step, size, nuvBorderReplicate, 0, buffer.data());
  } else {
    status = (alongX ? nuviFilterSobelVertBorder_32f_C1R : nuviFilterSobelHorizBorder_32f_C1R)(
        src.data(), src.step(), dst.data(), step, size, mask, nuvBorderReplicate, 0, buffer.data());
  }
  EXPECT_EQ(nuvStatusOk, status);
  return dst;
}

std::vector<float> mean(const std::vector<float>& a, const std::vector<float>& b, NuviSize size,
                        int mask) {
  std::vector<float> product(a.size()), dst(a.size());
  for (size_t i = 0; i < a.size(); ++i) product[i] = a[i] * b[i];
  std::vector<uint8_t> buffer(1 << 20);
  EXPECT_EQ(nuvStatusOk, nuviFilterLowpassBorder_32f_C1R(product.data(), size.width * 4, dst.data(),
                                                         size.width * 4, size, mask,
                                                         nuvBorderReplicate, 0, buffer.data()));
  return dst;
}

float smaller(float A, float B, float C, float s) {
  const float d = A - B;
  const float q = C * C * 4.0f;
  const float root = std::sqrt(std::fma(d, d, q));
  return (A + B - root) * (0.5f * s);
}

void eigen(float A, float B, float C, float s, float sign, float* out) {
  const float a = A * s, b = B * s, c = C * s;
  const float t = std::max(a, b) * 0.01f;
  const float ab = a * b, cc = c * c;
  std::fill_n(out, 6, 0.0f);
  if (t > std::min(a, b) || t > ab - cc) return;
  const float dd = (a - b) * (a - b);
  const float four = cc * 4.0f;
  const float r = std::sqrt(dd + four);
  out[0] = (a + b + r) * 0.5f;
  out[1] = (a + b - r) * 0.5f;
  if (t > std::fabs(c)) {
    out[2] = out[5] = 1.0f;
    return;
  }
  const float signedC = sign * c;
  for (int i = 0; i < 2; ++i) {
    const float d = out[i] - a;
    const float c2 = signedC * signedC, d2 = d * d;
    const float n = 1.0f / std::max(std::sqrt(c2 + d2), 1.1920929e-7f);
    out[2 + 2 * i] = signedC * n;
    out[3 + 2 * i] = d * n;
  }
}

template <class T>
struct Forms;
template <>
struct Forms<float> {
  static constexpr auto smallest = nuviMinEigenVal_32f_C1R;
  static constexpr auto all = nuviEigenValsVecs_32f_C1R;
  static constexpr auto size = nuviMinEigenValGetBufferSize_32f_C1R;
  static constexpr auto sizeOfAll = nuviEigenValsVecsGetBufferSize_32f_C1R;
};
template <>
struct Forms<uint8_t> {
  static constexpr auto smallest = nuviMinEigenVal_8u32f_C1R;
  static constexpr auto all = nuviEigenValsVecs_8u32f_C1R;
  static constexpr auto size = nuviMinEigenValGetBufferSize_8u32f_C1R;
  static constexpr auto sizeOfAll = nuviEigenValsVecsGetBufferSize_8u32f_C1R;
};

template <class T>
class Corners : public ::testing::Test {
 protected:
  // 8-bit derivatives are exact, so the float filters give the reference of both forms.
  template <class Value>
  static void compare(NuviSize size, int32_t pad, bool scharr, int32_t aperture, int32_t window,
                      Value&& value) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " aperture " +
                 std::to_string(aperture) + " window " + std::to_string(window));
    TestImage<T> src(size, 1, pad);
    src.fill(value);
    TestImage<float> floats(size);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) floats.at(x, y) = static_cast<float>(src.at(x, y));
    }
    const auto gx = derivative(floats, true, scharr, aperture * 11);
    const auto gy = derivative(floats, false, scharr, aperture * 11);
    const auto A = mean(gx, gx, size, window * 11);
    const auto B = mean(gy, gy, size, window * 11);
    const auto C = mean(gx, gy, size, window * 11);
    float s = 1.0f / (aperture == 3 ? 4080.0f : 65280.0f);
    if (scharr) s = s * 0.6125f;
    TestImage<float> expectedSmallest(size), expectedAll(size, 6);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const auto i = static_cast<size_t>(y * size.width + x);
        expectedSmallest.at(x, y) = smaller(A[i], B[i], C[i], s);
        eigen(A[i], B[i], C[i], s, scharr ? 1.0f : -1.0f, expectedAll.row(y) + 6 * x);
      }
    }
    const auto run = [&] {
      int32_t bytes = 0, bytesOfAll = 0;
      ASSERT_EQ(nuvStatusOk, Forms<T>::size(size, aperture, window, &bytes));
      ASSERT_EQ(nuvStatusOk, Forms<T>::sizeOfAll(size, aperture, window, &bytesOfAll));
      ASSERT_EQ(bytes, bytesOfAll);
      const GuardedBlock buffer(static_cast<size_t>(bytes));
      TestImage<float> smallest(size, 1, pad), all(size, 6, pad);
      ASSERT_EQ(nuvStatusOk,
                Forms<T>::smallest(src.data(), src.step(), smallest.data(), smallest.step(), size,
                                   scharr, aperture, window, buffer.data()));
      ASSERT_EQ(nuvStatusOk, Forms<T>::all(src.data(), src.step(), all.data(), all.step(), size,
                                           scharr, aperture, window, buffer.data()));
      ASSERT_EQ(expectedSmallest.bytes(), smallest.bytes());
      ASSERT_EQ(expectedAll.bytes(), all.bytes());
      ASSERT_TRUE(smallest.padsUntouched() && all.padsUntouched());
    };
    if (size.height >= 256) {
      withThreadCounts(run);
    } else {
      run();
    }
  }
};
using Elements = ::testing::Types<uint8_t, float>;
TYPED_TEST_SUITE(Corners, Elements);

TYPED_TEST(Corners, MatchReference) {
  std::mt19937 random(1);
  const auto noise = [&] { return random() % 256; };
  // Steps along both axes, where the vectors are the axes or there are none.
  auto blocks = [n = 0]() mutable { return ++n / 5 % 4 == 0 ? 200 : 17; };
  for (const bool scharr : {false, true}) {
    for (const int32_t aperture : {3, 5}) {
      if (scharr && aperture == 5) continue;
      for (const int32_t window : {3, 5}) {
        for (int32_t width = 1; width <= 37; width += 4) {
          this->compare({width, 1 + width % 9}, width % 3, scharr, aperture, window, noise);
          this->compare({width, 9}, 0, scharr, aperture, window, blocks);
        }
        this->compare({20, 9}, 1, scharr, aperture, window, [] { return 77; });
      }
    }
  }
  this->compare({256, 300}, 1, false, 3, 3, noise);
}

TEST(CornersChecks, FirstFailureInOrder) {
  const float src[8] = {};
  const uint8_t bytes[8] = {};
  float dst[64] = {9};
  std::vector<uint8_t> buffer(1 << 16);
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, int32_t kernel,
                        int32_t aperture, int32_t window) {
    return nuviMinEigenVal_32f_C1R(src, srcStep, dst, dstStep, size, kernel, aperture, window,
                                   buffer.data());
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMinEigenVal_32f_C1R(src, 0, nullptr, 0, {0, 0}, 2, 4, 4, buffer.data()));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {0, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusBadStep, call(7, 9, {2, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusBadStep, call(9, 7, {2, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(9, 8, {2, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(8, 9, {2, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusBadArgument, call(8, 8, {2, 1}, 2, 4, 4));
  EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 1, 5, 3));
  EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 0, 4, 3));
  EXPECT_EQ(nuvStatusBadSize, call(8, 8, {2, 1}, 0, 3, 4));
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

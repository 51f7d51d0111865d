#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
using Step = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, uint8_t*);

int32_t fold(int32_t i, int32_t n) {
  while (n > 1 && (i < 0 || i >= n)) i = i < 0 ? -i : 2 * n - 2 - i;
  return n == 1 ? 0 : i;
}
int32_t up(int32_t i, int32_t n) { return i < 0 ? (n > 1 ? 1 : 0) : i < n ? i : n - 1; }

// One column of a horizontally reduced or expanded row of floats; `s(i)` is any position's pixel.
template <class S>
float reduced(S&& pixel, int32_t c, int32_t n) {
  const auto s = [&](int32_t i) { return pixel(fold(i, n)); };
  if (n > 2 && c == 0) return std::fma(2.f, s(2), std::fma(6.f, s(0), 8 * s(1)));
  if (n > 2 && c == n - 1) return std::fma(2.f, s(c - 2), std::fma(6.f, s(c), 8 * s(c - 1)));
  if (n > 2 && c == n - 2) {
    return std::fma(4.f, s(c - 1) + s(c + 1), std::fma(7.f, s(c), s(c - 2)));
  }
  return std::fma(4.f, s(c - 1) + s(c + 1), s(c - 2)) + std::fma(6.f, s(c), s(c + 2));
}
template <class S>
float expanded(S&& pixel, int32_t x, int32_t n) {
  const int32_t j = x / 2;
  const auto s = [&](int32_t i) { return pixel(up(i, n)); };
  if (x % 2 == 1) return 4 * (s(j) + s(j + 1));
  if (n == 1) return 8 * s(0);
  if (j == 0) return std::fma(6.f, s(0), 2 * s(1));
  if (j == n - 1) return std::fma(s(j), 6.f, s(j)) + s(j - 1);
  return std::fma(6.f, s(j), s(j - 1)) + s(j + 1);
}

float pixelDown(const TestImage<float>& src, int32_t channels, int32_t c, int32_t x, int32_t y) {
  const auto row = [&](int32_t r) {
    const float* const pixels = src.row(fold(r, src.size().height)) + c;
    return reduced([&](int32_t i) { return pixels[i * channels]; }, 2 * x, src.size().width);
  };
  const float a = row(2 * y - 2), b = row(2 * y - 1), m = row(2 * y), d = row(2 * y + 1);
  const float t = std::fma(4.f, b + d, std::fma(6.f, m, row(2 * y + 2)));
  return std::fma(1.f / 256, t, (1.f / 256) * a);
}
float pixelUp(const TestImage<float>& src, int32_t channels, int32_t c, int32_t x, int32_t y) {
  const int32_t height = src.size().height;
  const auto row = [&](int32_t r) {
    const float* const pixels = src.row(up(r, height)) + c;
    return expanded([&](int32_t i) { return pixels[i * channels]; }, x, src.size().width);
  };
  const int32_t i = y / 2;
  if (height == 1) return row(0) / 8;
  if (y % 2 == 1) return (1.f / 16) * (row(i) + row(i + 1));
  return std::fma(1.f / 64, std::fma(6.f, row(i), row(i - 1)), (1.f / 64) * row(i + 1));
}

// Integers: the two-dimensional sum in one go, rounded once.
template <class T>
T pixelDown(const TestImage<T>& src, int32_t channels, int32_t c, int32_t x, int32_t y) {
  constexpr int32_t kernel[5] = {1, 4, 6, 4, 1};
  const NuviSize size = src.size();
  int32_t sum = 128;
  for (int32_t k = 0; k < 25; ++k) {
    const int32_t row = fold(2 * y + k / 5 - 2, size.height);
    const int32_t column = fold(2 * x + k % 5 - 2, size.width);
    sum += kernel[k / 5] * kernel[k % 5] * src.row(row)[column * channels + c];
  }
  return static_cast<T>(sum >> 8);
}
template <class T>
T pixelUp(const TestImage<T>& src, int32_t channels, int32_t c, int32_t x, int32_t y) {
  constexpr int32_t kernel[2][3] = {{1, 6, 1}, {0, 4, 4}};
  const NuviSize size = src.size();
  int32_t sum = 32;
  for (int32_t k = 0; k < 9; ++k) {
    const int32_t row = up(y / 2 + k / 3 - 1, size.height);
    const int32_t column = up(x / 2 + k % 3 - 1, size.width);
    sum += kernel[y % 2][k / 3] * kernel[x % 2][k % 3] * src.row(row)[column * channels + c];
  }
  return static_cast<T>(sum >> 6);
}

template <class T>
void check(Step<T> function, bool down, int32_t channels, int32_t dataType) {
  std::vector<NuviSize> sizes = {{1, 9}, {9, 1}, {70, 2}, {133, 11}, {300, 5}};
  for (int32_t width = 1; width < 45; ++width) sizes.push_back({width, 1 + width % 7});
  for (const NuviSize size : sizes) {
    SCOPED_TRACE((down ? "down " : "up ") + std::to_string(channels) + " channels " +
                 std::to_string(size.width) + "x" + std::to_string(size.height));
    const NuviSize outSize = down ? NuviSize{(size.width + 1) / 2, (size.height + 1) / 2}
                                  : NuviSize{2 * size.width, 2 * size.height};
    int32_t bytes = 0;
    const auto query = down ? nuviPyrDownGetBufSize_Gauss5x5 : nuviPyrUpGetBufSize_Gauss5x5;
    ASSERT_EQ(nuvStatusOk, query(size.width, dataType, channels, &bytes));
    const Against against = size.width % 2 == 0 ? Against::begin : Against::end;
    TestImage<T> src(size, channels, size.width % 3, against);
    src.fill(RandomSamples<T>(static_cast<unsigned>(size.width)));
    TestImage<T> dst(outSize, channels, size.height % 3, against), expected(outSize, channels);
    for (int32_t y = 0; y < outSize.height; ++y) {
      for (int32_t i = 0; i < expected.samples(); ++i) {
        const int32_t x = i / channels, c = i % channels;
        expected.at(i, y) =
            down ? pixelDown(src, channels, c, x, y) : pixelUp(src, channels, c, x, y);
      }
    }
    const GuardedBlock atEnd(static_cast<size_t>(bytes)),
        odd(static_cast<size_t>(bytes) + 1, Against::begin);
    for (uint8_t* const buffer : {atEnd.data(), odd.data() + 1}) {
      ASSERT_EQ(nuvStatusOk,
                function(src.data(), src.step(), dst.data(), dst.step(), size, buffer));
      ASSERT_EQ(expected.bytes(), dst.bytes());
      ASSERT_TRUE(dst.padsUntouched());
    }
  }
}

TEST(GaussianSteps, MatchReference) {
  check<uint8_t>(nuviPyrDown_Gauss5x5_8u_C1R, true, 1, 1);
  check<uint8_t>(nuviPyrDown_Gauss5x5_8u_C3R, true, 3, 1);
  check<int8_t>(nuviPyrDown_Gauss5x5_8s_C1R, true, 1, 3);
  check<int8_t>(nuviPyrDown_Gauss5x5_8s_C3R, true, 3, 3);
  check<float>(nuviPyrDown_Gauss5x5_32f_C1R, true, 1, 13);
  check<float>(nuviPyrDown_Gauss5x5_32f_C3R, true, 3, 13);
  check<uint8_t>(nuviPyrUp_Gauss5x5_8u_C1R, false, 1, 1);
  check<uint8_t>(nuviPyrUp_Gauss5x5_8u_C3R, false, 3, 1);
  check<int8_t>(nuviPyrUp_Gauss5x5_8s_C1R, false, 1, 3);
  check<int8_t>(nuviPyrUp_Gauss5x5_8s_C3R, false, 3, 3);
  check<float>(nuviPyrUp_Gauss5x5_32f_C1R, false, 1, 13);
  check<float>(nuviPyrUp_Gauss5x5_32f_C3R, false, 3, 13);
}

// Flat pictures stay flat, the extremes of a type among them.
TEST(GaussianSteps, KeepFlatPictures) {
  const NuviSize size = {40, 6}, half = {20, 3};
  std::vector<uint8_t> buffer(10000);
  for (const int32_t level : {-128, -1, 0, 100, 127}) {
    TestImage<int8_t> src(size), down(half), back(size);
    src.fill([&] { return level; });
    ASSERT_EQ(nuvStatusOk,
              nuviPyrDown_Gauss5x5_8s_C1R(src.data(), 40, down.data(), 20, size, buffer.data()));
    ASSERT_EQ(nuvStatusOk,
              nuviPyrUp_Gauss5x5_8s_C1R(down.data(), 20, back.data(), 40, half, buffer.data()));
    EXPECT_EQ(src.bytes(), back.bytes());
  }
}

TEST(GaussianStepsChecks, FirstFailureInOrderAndNothingWritten) {
  const float src[32] = {};
  float dst[16] = {9};
  uint8_t buffer[2000];
  for (const auto function : {nuviPyrDown_Gauss5x5_32f_C3R, nuviPyrUp_Gauss5x5_32f_C3R}) {
    const int32_t row = function == nuviPyrDown_Gauss5x5_32f_C3R ? 12 : 24;
    EXPECT_EQ(nuvStatusNullPointer, function(nullptr, 12, dst, row, {0, 1}, buffer));
    EXPECT_EQ(nuvStatusNullPointer, function(src, 12, dst, row, {1, 0}, nullptr));
    EXPECT_EQ(nuvStatusBadSize, function(src, 11, dst, row, {1, 0}, buffer));
    EXPECT_EQ(nuvStatusBadStep, function(src, 11, dst, row + 1, {1, 1}, buffer));
    EXPECT_EQ(nuvStatusBadStep, function(src, 13, dst, row - 1, {1, 1}, buffer));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, function(src, 13, dst, row, {1, 1}, buffer));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, function(src, 12, dst, row + 2, {1, 1}, buffer));
  }
  EXPECT_EQ(9, dst[0]);
  int32_t size = 5;
  for (const auto query : {nuviPyrDownGetBufSize_Gauss5x5, nuviPyrUpGetBufSize_Gauss5x5}) {
    EXPECT_EQ(nuvStatusNullPointer, query(0, 2, 2, nullptr));
    EXPECT_EQ(nuvStatusBadSize, query(0, 2, 2, &size));
    EXPECT_EQ(nuvStatusBadChannelCount, query(1, 2, 4, &size));
    EXPECT_EQ(nuvStatusBadDataType, query(1, 5, 3, &size));
    EXPECT_EQ(5, size);
  }
  EXPECT_EQ(nuvStatusOk, nuviPyrDownGetBufSize_Gauss5x5(7, 13, 3, &size));
  EXPECT_EQ(96 * 6 + 64, size);  // 84 bytes reach into a sixth unit of 16
  EXPECT_EQ(nuvStatusOk, nuviPyrUpGetBufSize_Gauss5x5(7, 13, 3, &size));
  EXPECT_EQ(48 * 11 + 64, size);
}

}  // namespace

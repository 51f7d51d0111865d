#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
using Step = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, uint8_t*);

// a * b + c: exact for integers, rounded once for floats.
int32_t step(int32_t a, int32_t b, int32_t c) { return a * b + c; }
float step(int32_t a, float b, float c) { return std::fma(static_cast<float>(a), b, c); }

// The positions that stand in for one outside 0 to n - 1, going down and up.
int32_t folded(int32_t i, int32_t n) {
  while (n > 1 && (i < 0 || i >= n)) i = i < 0 ? -i : 2 * n - 2 - i;
  return n == 1 ? 0 : i;
}
int32_t repeated(int32_t i, int32_t n) { return i < 0 ? (n > 1 ? 1 : 0) : i < n ? i : n - 1; }

// Number x of a reduced or expanded line of n; `at(i)` is the one at a position inside.
template <class At>
auto reduced(At&& at, int32_t x, int32_t n) {
  const auto s = [&](int32_t i) { return at(folded(i, n)); };
  const int32_t c = 2 * x;
  if (n > 2 && c == 0) return step(2, s(2), step(6, s(0), 8 * s(1)));
  if (n > 2 && c == n - 1) return step(2, s(c - 2), step(6, s(c), 8 * s(c - 1)));
  if (n > 2 && c == n - 2) return step(4, s(c - 1) + s(c + 1), step(7, s(c), s(c - 2)));
  return step(4, s(c - 1) + s(c + 1), s(c - 2)) + step(6, s(c), s(c + 2));
}
template <class At>
auto expanded(At&& at, int32_t x, int32_t n) {
  const auto s = [&](int32_t i) { return at(repeated(i, n)); };
  const int32_t j = x / 2;
  if (x % 2 == 1) return 4 * (s(j) + s(j + 1));
  if (n == 1) return 8 * s(0);
  if (j == 0) return step(6, s(0), 2 * s(1));
  if (j == n - 1) return step(6, s(j), s(j)) + s(j - 1);
  return step(6, s(j), s(j - 1)) + s(j + 1);
}

// Pixel (x, y) of a channel of the result: a filtered column of filtered rows.
template <class T>
T stepped(const TestImage<T>& src, bool down, int32_t channels, int32_t c, int32_t x, int32_t y) {
  using Number = std::conditional_t<std::is_same_v<T, float>, float, int32_t>;
  const int32_t width = src.size().width, height = src.size().height;
  const auto row = [&](int32_t r) {
    const auto pixel = [&](int32_t i) -> Number { return src.row(r)[i * channels + c]; };
    return down ? reduced(pixel, x, width) : expanded(pixel, x, width);
  };
  if constexpr (!std::is_same_v<T, float>) {
    return static_cast<T>(down ? (reduced(row, y, height) + 128) >> 8
                               : (expanded(row, y, height) + 32) >> 6);
  } else if (down) {
    const auto a = [&](int32_t k) { return row(folded(2 * y + k, height)); };
    const float t = step(4, a(-1) + a(1), step(6, a(0), a(2)));
    return std::fma(1.f / 256, t, (1.f / 256) * a(-2));
  } else {
    const auto a = [&](int32_t k) { return row(repeated(y / 2 + k, height)); };
    if (height == 1) return a(0) / 8;
    if (y % 2 == 1) return (1.f / 16) * (a(0) + a(1));
    return std::fma(1.f / 64, step(6, a(0), a(-1)), (1.f / 64) * a(1));
  }
}

template <class T>
void check(bool down, Step<T> function, int32_t channels) {
  const int32_t dataType = sizeof(T) > 1 ? 13 : std::is_signed_v<T> ? 3 : 1;
  std::vector<NuviSize> sizes = {{1, 9}, {9, 1}, {70, 2}, {133, 11}, {300, 5}};
  for (int32_t width = 1; width < 45; ++width) sizes.push_back({width, 1 + width % 7});
  for (const auto [width, height] : sizes) {
    SCOPED_TRACE((down ? "down " : "up ") + std::to_string(width) + "x" + std::to_string(height));
    const bool odd = width % 2 != 0;
    const Against against = odd ? Against::begin : Against::end;
    TestImage<T> src({width, height}, channels, width % 3, against);
    src.fill(RandomSamples<T>(static_cast<unsigned>(width)));
    if (width % 8 < 2) src.fill([] { return std::is_signed_v<T> ? -128 : 255; });
    const NuviSize outSize =
        down ? NuviSize{(width + 1) / 2, (height + 1) / 2} : NuviSize{2 * width, 2 * height};
    TestImage<T> dst(outSize, channels, height % 3, against), expected(outSize, channels);
    for (int32_t y = 0; y < outSize.height; ++y) {
      for (int32_t i = 0; i < expected.samples(); ++i) {
        expected.at(i, y) = stepped(src, down, channels, i % channels, i / channels, y);
      }
    }
    int32_t bytes = 0;
    const auto query = down ? nuviPyrDownGetBufSize_Gauss5x5 : nuviPyrUpGetBufSize_Gauss5x5;
    ASSERT_EQ(nuvStatusOk, query(width, dataType, channels, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes + odd), against);
    ASSERT_EQ(nuvStatusOk, function(src.data(), src.step(), dst.data(), dst.step(), src.size(),
                                    buffer.data() + odd));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  }
}

TEST(GaussianSteps, MatchReference) {
#define CHECK(name, T, channels)                         \
  check<T>(true, nuviPyrDown_Gauss5x5_##name, channels); \
  check<T>(false, nuviPyrUp_Gauss5x5_##name, channels)
  CHECK(8u_C1R, uint8_t, 1);
  CHECK(8u_C3R, uint8_t, 3);
  CHECK(8s_C1R, int8_t, 1);
  CHECK(8s_C3R, int8_t, 3);
  CHECK(32f_C1R, float, 1);
  CHECK(32f_C3R, float, 3);
#undef CHECK
}

TEST(GaussianStepsChecks, FirstFailureInOrderAndNothingWritten) {
  const float src[32] = {};
  float dst[16] = {9};
  uint8_t buffer[2000];
  for (const auto function : {nuviPyrDown_Gauss5x5_32f_C3R, nuviPyrUp_Gauss5x5_32f_C3R}) {
    const int32_t row = function == nuviPyrDown_Gauss5x5_32f_C3R ? 12 : 24;
    EXPECT_EQ(nuvStatusNullPointer, function(nullptr, 12, dst, row, {0, 1}, buffer));
    EXPECT_EQ(nuvStatusNullPointer, function(src, 12, nullptr, row, {0, 1}, buffer));
    EXPECT_EQ(nuvStatusNullPointer, function(src, 12, dst, row, {0, 1}, nullptr));
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
    EXPECT_EQ(nuvStatusOk, query(7, 13, 3, &size));
    const bool down = query == nuviPyrDownGetBufSize_Gauss5x5;
    EXPECT_EQ(down ? 96 * 6 + 64 : 48 * 11 + 64, size);  // 84 bytes reach into a sixth unit of 16
    size = 5;
  }
}

}  // namespace

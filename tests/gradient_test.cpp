#include <gtest/gtest.h>

#include <map>

#include "support/segments.h"

namespace {

using namespace testing_support;

// The growth, pixel by pixel; `map` is closed on the image's frame.
bool reference(const TestImage<uint8_t>& src, int channels, Plane<int>& map, int count, int lines) {
  const auto label = [&](int x, int y, int n) { return map(x + dx[n], y + dy[n]); };
  const auto isGrown = [](int label) { return label != 0 && label != 255; };
  const auto distance = [&](int x, int y, int n) {
    int largest = 0;
    for (int c = 0; c < channels; ++c) {
      const int other = src.at(channels * (x + dx[n]) + c, y + dy[n]);
      largest = std::max(largest, std::abs(src.at(channels * x + c, y) - other));
    }
    return largest;
  };
  std::multimap<int, std::pair<int, int>> queue;  // equal levels: first come first served
  map.forEach([&](int x, int y) {
    int least = 256;
    for (int n = 0; n < count && map(x, y) == 0; ++n) {
      if (isGrown(label(x, y, n))) least = std::min(least, distance(x, y, n));
    }
    if (least == 256) return;
    queue.insert({least, {x, y}});
    map(x, y) = 255;
  });
  const bool grows = !queue.empty();
  while (!queue.empty()) {
    const auto [x, y] = queue.begin()->second;
    queue.erase(queue.begin());
    int best = 256, kept = 0;
    for (int n = 0; n < count; ++n) {
      const int other = label(x, y, n);
      if (!isGrown(other)) continue;
      const int d = distance(x, y, n);
      if (d < best || (d == best && other != 254)) best = d, kept = other;
    }
    bool line = false;
    for (int n = 0; n < lines; ++n) {
      const int other = label(x, y, n);
      line |= isGrown(other) && other != 254 && other != kept;
    }
    map(x, y) = line ? 254 : kept;
    for (int n = 0; n < count; ++n) {
      if (label(x, y, n) != 0) continue;
      queue.insert({distance(x, y, n), {x + dx[n], y + dy[n]}});
      map(x + dx[n], y + dy[n]) = 255;
    }
  }
  return grows;
}

TEST(SegmentGradient, MatchesReference) {
  std::mt19937 random(11);
  for (int i = 0; i < 900; ++i) {
    NuviSize size = {static_cast<int32_t>(1 + random() % 30),
                     static_cast<int32_t>(1 + random() % 14)};
    if (i % 100 == 7) size = {130, 90};  // queued in larger blocks
    const int channels = i % 2 == 0 ? 1 : 3, norm = i / 2 % 2;
    const int flag = i / 4 % 4 * 64 + (i % 5 == 0 ? 31 : 0);
    const Against against = i % 3 == 0 ? Against::begin : Against::end;
    TestImage<uint8_t> src(size, channels, i % 2, against), markers(size, 1, 2, against);
    const unsigned values = i % 7 == 0 ? 256 : 4, rarity = 1u << (1 + random() % 7);
    src.fill([&] { return random() % values; });
    markers.fill([&] {
      const unsigned label = 1 + random() % 4 + random() % 9 / 8 * 251;
      return random() % rarity == 0 ? label : 0;
    });
    const Plane<int> given(markers, 255);
    Plane<int> expected = given;
    given.forEach([&](int x, int y) {
      const bool frame = x == 0 || y == 0 || x == size.width - 1 || y == size.height - 1;
      if (frame) expected(x, y) = 255;
    });
    const int lines = (flag & 128) != 0 ? 8 : (flag & 64) != 0 ? 4 : 0;
    if (!reference(src, channels, expected, norm == 0 ? 8 : 4, lines)) expected = given;
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, (channels == 1 ? nuviSegmentGradientGetBufferSize_8u_C1R
                                          : nuviSegmentGradientGetBufferSize_8u_C3R)(size, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes), against);
    const auto grow = channels == 1 ? nuviSegmentGradient_8u_C1IR : nuviSegmentGradient_8u_C3IR;
    ASSERT_EQ(nuvStatusOk, grow(src.data(), src.step(), markers.data(), markers.step(), size, norm,
                                flag, buffer.data()));
    ASSERT_EQ(expected.values, Plane<int>(markers, 255).values) << i << ": flag " << flag;
    ASSERT_TRUE(markers.padsUntouched());
  }
}

TEST(SegmentGradientChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[12] = {}, markers[4] = {1, 2}, buffer[200];
  int32_t bytes = -1;
  const auto call = [&](int32_t srcStep, int32_t step, NuviSize size, int32_t norm) {
    return nuviSegmentGradient_8u_C3IR(src, srcStep, markers, step, size, norm, 64, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviSegmentGradient_8u_C1IR(src, 0, nullptr, 0, {0, 1}, 0, 64, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 0));
  EXPECT_EQ(nuvStatusBadStep, call(11, 4, {4, 1}, 2));
  EXPECT_EQ(nuvStatusBadStep, call(12, 3, {4, 1}, 2));
  for (const int norm : {-1, 2}) EXPECT_EQ(nuvStatusBadArgument, call(12, 4, {4, 1}, norm));
  EXPECT_EQ(nuvStatusNullPointer, nuviSegmentGradientGetBufferSize_8u_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviSegmentGradientGetBufferSize_8u_C3R({0, 1}, &bytes));
  EXPECT_TRUE(bytes == -1 && markers[0] == 1);
  EXPECT_EQ(nuvStatusOk, nuviSegmentGradientGetBufferSize_8u_C1R({INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(116, bytes);  // wraps
}

}  // namespace

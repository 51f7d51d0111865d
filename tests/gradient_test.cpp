#include <gtest/gtest.h>

#include <deque>

#include "support/guarded.h"

namespace {

using namespace testing_support;

constexpr int dx[] = {-1, 1, 0, 0, -1, 1, -1, 1};
constexpr int dy[] = {0, 0, -1, 1, -1, -1, 1, 1};

// The growth, pixel by pixel, on a map of ints.
void reference(const TestImage<uint8_t>& src, int channels, const TestImage<uint8_t>& markers,
               int norm, int flag) {
  const int w = markers.size().width, h = markers.size().height;
  std::vector<std::vector<int>> map(static_cast<size_t>(h),
                                    std::vector<int>(static_cast<size_t>(w)));
  const auto at = [&](int x, int y) -> int& {
    return map[static_cast<size_t>(y)][static_cast<size_t>(x)];
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const bool frame = x == 0 || y == 0 || x == w - 1 || y == h - 1;
      at(x, y) = frame ? 255 : markers.at(x, y);
    }
  }
  const auto distance = [&](int x, int y, int n) {
    int largest = 0;
    for (int c = 0; c < channels; ++c) {
      largest = std::max(largest, std::abs(src.at(channels * x + c, y) -
                                           src.at(channels * (x + dx[n]) + c, y + dy[n])));
    }
    return largest;
  };
  const int count = norm == 0 ? 8 : 4, lines = (flag & 128) != 0 ? 8 : (flag & 64) != 0 ? 4 : 0;
  std::vector<std::deque<std::pair<int, int>>> levels(256);
  bool any = false;
  for (int y = 1; y < h - 1; ++y) {
    for (int x = 1; x < w - 1; ++x) {
      if (at(x, y) != 0) continue;
      int least = 256;
      for (int n = 0; n < count; ++n) {
        const int label = at(x + dx[n], y + dy[n]);
        if (label >= 1 && label <= 254) least = std::min(least, distance(x, y, n));
      }
      if (least == 256) continue;
      levels[static_cast<size_t>(least)].push_back({x, y});
      at(x, y) = 255;
      any = true;
    }
  }
  if (!any) return;
  for (size_t level = 0; level < 256;) {
    if (levels[level].empty()) {
      ++level;
      continue;
    }
    const auto [x, y] = levels[level].front();
    levels[level].pop_front();
    int best = 256, kept = 0;
    for (int n = 0; n < count; ++n) {
      const int label = at(x + dx[n], y + dy[n]);
      if (label < 1 || label > 254) continue;
      const int d = distance(x, y, n);
      if (d > best || (d == best && label == 254)) continue;
      best = d;
      kept = label;
    }
    bool line = false;
    for (int n = 0; n < lines; ++n) {
      const int label = at(x + dx[n], y + dy[n]);
      line |= label >= 1 && label <= 253 && label != kept;
    }
    at(x, y) = line ? 254 : kept;
    for (int n = 0; n < count; ++n) {
      if (at(x + dx[n], y + dy[n]) != 0) continue;
      const auto d = static_cast<size_t>(distance(x, y, n));
      levels[d].push_back({x + dx[n], y + dy[n]});
      at(x + dx[n], y + dy[n]) = 255;
      level = std::min(level, d);
    }
  }
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) markers.at(x, y) = static_cast<uint8_t>(at(x, y));
  }
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
    TestImage<uint8_t> expected(size);
    const unsigned values = i % 7 == 0 ? 256 : 4, rarity = 1u << (1 + random() % 7);
    src.fill([&] { return random() % values; });
    markers.fill([&] {
      const unsigned kind = random() % rarity;
      return kind != 0 ? 0 : random() % 9 == 0 ? 254 + random() % 2 : 1 + random() % 4;
    });
    for (int y = 0; y < size.height; ++y) {
      std::copy(markers.row(y), markers.row(y) + size.width, expected.row(y));
    }
    reference(src, channels, expected, norm, flag);
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, (channels == 1 ? nuviSegmentGradientGetBufferSize_8u_C1R
                                          : nuviSegmentGradientGetBufferSize_8u_C3R)(size, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes), against);
    const auto grow = channels == 1 ? nuviSegmentGradient_8u_C1IR : nuviSegmentGradient_8u_C3IR;
    ASSERT_EQ(nuvStatusOk, grow(src.data(), src.step(), markers.data(), markers.step(), size, norm,
                                flag, buffer.data()));
    ASSERT_EQ(expected.bytes(), markers.bytes())
        << i << ": " << size.width << "x" << size.height << " norm " << norm << " flag " << flag;
    ASSERT_TRUE(markers.padsUntouched());
  }
}

TEST(SegmentGradient, OneMarkerTakesTheInterior) {
  const NuviSize size = {20, 15};
  TestImage<uint8_t> src(size, 3), markers(size);
  src.fill(RandomSamples<uint8_t>(12));
  markers.fill([] { return 0; });
  markers.at(7, 9) = 33;
  std::vector<uint8_t> buffer(13 * 20 * 15 + 103);
  ASSERT_EQ(nuvStatusOk, nuviSegmentGradient_8u_C3IR(src.data(), 60, markers.data(), 20, size, 1,
                                                     128, buffer.data()));
  for (int y = 0; y < 15; ++y) {
    for (int x = 0; x < 20; ++x) {
      const bool frame = x == 0 || y == 0 || x == 19 || y == 14;
      ASSERT_EQ(frame ? 255 : 33, markers.at(x, y));
    }
  }
}

TEST(SegmentGradientChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[12] = {}, markers[4] = {1, 2}, buffer[200];
  const auto call = [&](int32_t srcStep, uint8_t* image, int32_t step, NuviSize size,
                        int32_t norm) {
    return nuviSegmentGradient_8u_C3IR(src, srcStep, image, step, size, norm, 64, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, nullptr, 0, {0, 1}, 0));
  EXPECT_EQ(nuvStatusBadSize, call(0, markers, 0, {4, 0}, 0));
  EXPECT_EQ(nuvStatusBadStep, call(11, markers, 4, {4, 1}, 2));
  EXPECT_EQ(nuvStatusBadStep, call(12, markers, 3, {4, 1}, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(12, markers, 4, {4, 1}, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(12, markers, 4, {4, 1}, -1));
  EXPECT_EQ(1, markers[0]);
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviSegmentGradientGetBufferSize_8u_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviSegmentGradientGetBufferSize_8u_C3R({0, 1}, &bytes));
  EXPECT_EQ(-1, bytes);
}

}  // namespace

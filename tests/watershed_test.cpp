#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "support/segments.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
constexpr T line = std::numeric_limits<T>::max();

template <class T>
void referenceQueue(Plane<int>& src, Plane<T>& map, int count, int lines) {
  std::multimap<int, std::pair<int, int>> queue;  // equal levels: first come first served
  map.forEach([&](int x, int y) {
    if (map(x, y) == 0) return;
    bool open = false, touches = false;
    for (int i = 0; i < count; ++i) open |= map(x + dx[i], y + dy[i]) == 0;
    for (int i = 0; i < lines; ++i) {
      const T other = map(x + dx[i], y + dy[i]);
      touches |= other != 0 && other != line<T> && other != map(x, y);
    }
    if (open) queue.insert({src(x, y), {x, y}});
    if (touches) map(x, y) = line<T>;
  });
  while (!queue.empty()) {
    const auto [level, from] = *queue.begin();
    queue.erase(queue.begin());
    for (int i = 0; i < count; ++i) {
      const int x = from.first + dx[i], y = from.second + dy[i];
      if (map(x, y) != 0) continue;
      queue.insert({std::max(level, src(x, y)), {x, y}});
      T label = map(from.first, from.second);
      for (int j = 0; j < lines; ++j) {
        const T other = map(x + dx[j], y + dy[j]);
        if (std::pair(x + dx[j], y + dy[j]) == from) continue;
        if (other == 0 || other == line<T> || other == label) continue;
        const bool wasLine = label == line<T>;
        label = wasLine ? other : line<T>;
        if (!wasLine) break;
      }
      map(x, y) = label;
    }
  }
}

// The keys of the sweep method and the neighbours that they came from.
template <class T>
struct Sweeps {
  static constexpr int64_t none = int64_t{1} << 40;
  static constexpr int anyThatGivesTheKey = -1;
  Plane<int>& src;
  Plane<T>& given;
  int norm;
  Plane<int64_t> keys{{src.width, src.height}, none};
  Plane<int> from{{src.width, src.height}, anyThatGivesTheKey};

  bool reaches(int n) const { return n < 4 || norm == 0 || norm == 2; }
  int64_t offer(int x, int y, int n) {
    const int step = norm == 3 ? 63 : norm == 2 ? (n < 4 ? 10 : 14) : 0;
    return keys(x + dx[n], y + dy[n]) + step;
  }
  int64_t keyOf(int x, int y, int64_t offer) {
    return std::max(offer + 1, int64_t{src(x, y)} << 23);
  }
  bool lower(int x, int y, int n, int64_t offer) {
    if (given(x, y) != 0 || keyOf(x, y, offer) >= keys(x, y)) return false;
    keys(x, y) = keyOf(x, y, offer);
    from(x, y) = n;
    return true;
  }

  // From the west and from the row above (-1) or below (1), then from the east. Of equal offers the
  // first one counts.
  void sweepRow(int y, int side) {
    for (int x = 0; x < src.width; ++x) {
      int best = 0;
      for (const int n : {side < 0 ? 4 : 6, side < 0 ? 2 : 3, side < 0 ? 5 : 7}) {
        if (reaches(n) && offer(x, y, n) < offer(x, y, best)) best = n;
      }
      int64_t least = offer(x, y, best);
      const auto k = static_cast<double>(std::abs(keys(x - 1, y) - keys(x, y + side)));
      if (norm == 3 && k <= 63) least -= std::lround(64 - k / 2 - std::sqrt(8192 - k * k) / 2);
      lower(x, y, best, least);
    }
    for (int x = src.width - 2; x >= 0; --x) lower(x, y, 1, offer(x, y, 1));
  }

  // Two sweeps, and then until no key can be lowered.
  void run() {
    keys.forEach([&](int x, int y) {
      if (given(x, y) != 0) keys(x, y) = keyOf(x, y, 0);
    });
    for (int y = 0; y < src.height; ++y) sweepRow(y, -1);
    for (int y = src.height - 1; y >= 0; --y) sweepRow(y, 1);
    for (bool changed = true, onward = true; changed; onward = !onward) {
      changed = false;
      keys.forEach([&](int i, int j) {
        const int x = onward ? i : src.width - 1 - i, y = onward ? j : src.height - 1 - j;
        for (int n = 0; n < 8; ++n) {
          if (!reaches(n) || !lower(x, y, n, offer(x, y, n))) continue;
          from(x, y) = anyThatGivesTheKey;
          changed = true;
        }
      });
    }
  }

  bool isRight(int x, int y, Plane<T>& labels) {
    if (given(x, y) != 0) return labels(x, y) == given(x, y);
    if (keys(x, y) == none) return labels(x, y) == 0;
    bool right = false;
    for (int n = 0; n < 8; ++n) {
      const bool gives = reaches(n) && keyOf(x, y, offer(x, y, n)) == keys(x, y);
      if (from(x, y) != n && (from(x, y) != anyThatGivesTheKey || !gives)) continue;
      right |= labels(x, y) == labels(x + dx[n], y + dy[n]);
    }
    return right;
  }

  void drawLines(Plane<T>& labels, int count) {
    labels.outside = line<T>;
    labels.forEach([&](int x, int y) {
      for (const int n : {1, 3, 6, 7}) {
        T &a = labels(x, y), &b = labels(x + dx[n], y + dy[n]);
        if (n >= count || a == line<T> || b == line<T> || a == b) continue;
        (keys(x, y) <= keys(x + dx[n], y + dy[n]) ? b : a) = line<T>;
      }
    });
  }
};

template <class T>
constexpr auto watershed = nuviSegmentWatershed_8u_C1IR;
template <>
constexpr auto watershed<uint16_t> = nuviSegmentWatershed_8u16u_C1IR;

// By queue, with larger blocks in larger images, and by sweeps; once in two strips, where another
// path of the same key may come first.
template <class T>
void testReference() {
  std::mt19937 random(7);
  for (int i = 0; i < 1000; ++i) {
    NuviSize size = {static_cast<int32_t>(1 + random() % 40),
                     static_cast<int32_t>(1 + random() % 12)};
    const bool inStrips = i == 500 && sizeof(T) == 1;
    const bool isFlat = i % 40 == 6;  // where an eikonal front is smooth
    if (i % 100 == 7) size = {150, 70};
    if (isFlat) size = {80, 60};
    if (inStrips) size = {513, 1027};
    const unsigned heights = isFlat ? 1 : inStrips || random() % 3 == 0 ? 3 : 256;
    const unsigned rarity = 1u << (inStrips || isFlat ? 9 : random() % 9);
    const Against against = i % 3 == 0 ? Against::begin : Against::end;
    TestImage<uint8_t> src(size, 1, i % 3, against);
    TestImage<T> markers(size, 1, 1, against);
    src.fill([&] { return random() % heights; });
    markers.fill([&]() -> T {
      if (random() % rarity != 0) return 0;
      return random() % 20 == 0 ? line<T> : static_cast<T>(1 + random() % 5);
    });
    Plane<int> relief(src, 0);
    Plane<T> given(markers, 0);
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk,
              (sizeof(T) == 1 ? nuviSegmentWatershedGetBufferSize_8u_C1R
                              : nuviSegmentWatershedGetBufferSize_8u16u_C1R)(size, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes), against);
    const auto run = [&](int norm, int flag) {
      markers.fill([at = given.values.begin()]() mutable { return *at++; });
      EXPECT_EQ(nuvStatusOk, watershed<T>(src.data(), src.step(), markers.data(), markers.step(),
                                          size, norm, flag, buffer.data()));
      EXPECT_TRUE(markers.padsUntouched());
      return Plane<T>(markers, 0);
    };

    const int norm = i / 2 % 4, lines = i / 8 % 4 * 64;
    const int lineNeighbours = (lines & 64) != 0 ? 4 : (lines & 128) != 0 ? 8 : 0;
    if (i % 2 != 0) {
      Plane<T> expected(markers, line<T>);
      referenceQueue(relief, expected, norm % 2 == 0 ? 8 : 4, lineNeighbours);
      ASSERT_EQ(expected.values, run(norm % 2, lines + (i % 5 == 0 ? 3 : 1)).values) << i;
      continue;
    }
    Sweeps<T> sweeps = {relief, given, norm};
    sweeps.run();
    if (inStrips) sweeps.from = {size, Sweeps<T>::anyThatGivesTheKey};
    Plane<T> labels = run(norm, 2);
    int wrong = 0;
    labels.forEach([&](int x, int y) { wrong += !sweeps.isRight(x, y, labels); });
    ASSERT_EQ(0, wrong) << i << ": norm " << norm;
    sweeps.drawLines(labels, lineNeighbours);
    withThreadCounts([&] { ASSERT_EQ(labels.values, run(norm, 2 + lines).values) << i; });
  }
}

TEST(Watershed, MatchesReference) { testReference<uint8_t>(); }
TEST(Watershed, MatchesReferenceWithWideLabels) { testReference<uint16_t>(); }

TEST(WatershedChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[4] = {}, buffer[400];
  uint16_t markers[4] = {1, 2};
  int32_t bytes = -1;
  const auto call = [&](int32_t srcStep, int32_t step, NuviSize size, int32_t norm, int32_t flag) {
    return nuviSegmentWatershed_8u16u_C1IR(src, srcStep, markers, step, size, norm, flag, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviSegmentWatershed_8u16u_C1IR(src, 0, nullptr, 0, {0, 1}, 0, 1, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(3, 9, {4, 1}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(4, 7, {4, 1}, 9, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(4, 9, {4, 1}, 9, 1));
  for (const auto& [norm, flag] : {std::pair(2, 3), {-1, 2}, {4, 2}, {0, 64}}) {
    EXPECT_EQ(nuvStatusBadArgument, call(4, 8, {4, 1}, norm, flag));
  }
  EXPECT_EQ(nuvStatusNullPointer, nuviSegmentWatershedGetBufferSize_8u_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviSegmentWatershedGetBufferSize_8u16u_C1R({0, 1}, &bytes));
  EXPECT_TRUE(bytes == -1 && markers[0] == 1 && markers[1] == 2 && markers[2] == 0);
  EXPECT_EQ(nuvStatusOk, nuviSegmentWatershedGetBufferSize_8u_C1R({INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(49, bytes);  // wraps
}

}  // namespace

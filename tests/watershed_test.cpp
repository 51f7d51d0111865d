#include <gtest/gtest.h>

#include <cmath>
#include <deque>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

constexpr int dx[] = {-1, 1, 0, 0, -1, 1, -1, 1};
constexpr int dy[] = {0, 0, -1, 1, -1, -1, 1, 1};

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  static constexpr auto watershed = nuviSegmentWatershed_8u_C1IR;
  static constexpr auto size = nuviSegmentWatershedGetBufferSize_8u_C1R;
};
template <>
struct Forms<uint16_t> {
  static constexpr auto watershed = nuviSegmentWatershed_8u16u_C1IR;
  static constexpr auto size = nuviSegmentWatershedGetBufferSize_8u16u_C1R;
};

// An image whose outside reads as a given value.
template <class V>
struct Plane {
  NuviSize size;
  V outside;
  std::vector<V> values;

  Plane(NuviSize size, V outside)
      : size(size), outside(outside), values(static_cast<size_t>(size.width * size.height)) {}
  V& operator()(int x, int y) {
    const bool inside = x >= 0 && y >= 0 && x < size.width && y < size.height;
    return inside ? values[static_cast<size_t>(y * size.width + x)] : outside;
  }
  template <class Image>
  Plane& read(const Image& image) {
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) (*this)(x, y) = image.at(x, y);
    }
    return *this;
  }
};

template <class T>
void referenceQueue(Plane<int>& src, Plane<T>& map, int norm, int flag) {
  const T line = std::numeric_limits<T>::max();
  const int count = norm == 0 ? 8 : 4;
  const int lines = (flag & 64) != 0 ? 4 : (flag & 128) != 0 ? 8 : 0;
  std::vector<std::deque<std::pair<int, int>>> levels(256);
  for (int y = 0; y < src.size.height; ++y) {
    for (int x = 0; x < src.size.width; ++x) {
      if (map(x, y) == 0) continue;
      bool open = false, touches = false;
      for (int i = 0; i < count; ++i) open |= map(x + dx[i], y + dy[i]) == 0;
      for (int i = 0; i < lines; ++i) {
        const T other = map(x + dx[i], y + dy[i]);
        touches |= other != 0 && other != line && other != map(x, y);
      }
      if (open) levels[static_cast<size_t>(src(x, y))].push_back({x, y});
      if (touches && map(x, y) != line) map(x, y) = line;
    }
  }
  for (size_t level = 0; level < 256;) {
    if (levels[level].empty()) {
      ++level;
      continue;
    }
    const auto [px, py] = levels[level].front();
    levels[level].pop_front();
    for (int i = 0; i < count; ++i) {
      const int x = px + dx[i], y = py + dy[i];
      if (map(x, y) != 0) continue;
      levels[std::max(level, static_cast<size_t>(src(x, y)))].push_back({x, y});
      T label = map(px, py);
      for (int j = 0; j < lines; ++j) {
        if (x + dx[j] == px && y + dy[j] == py) continue;
        const T other = map(x + dx[j], y + dy[j]);
        if (other == 0 || other == line || other == label) continue;
        const bool wasLine = label == line;
        label = wasLine ? other : line;
        if (!wasLine) break;
      }
      map(x, y) = label;
    }
  }
}

template <class T>
class Watershed : public ::testing::Test {};
using Labels = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(Watershed, Labels);

template <class T>
struct Case {
  TestImage<uint8_t> src;
  TestImage<T> markers;
  GuardedBlock buffer;

  static size_t bytes(NuviSize size) {
    int32_t bytes = 0;
    EXPECT_EQ(nuvStatusOk, Forms<T>::size(size, &bytes));
    return static_cast<size_t>(bytes);
  }
  Case(NuviSize size, std::mt19937& random, unsigned heights, unsigned rarity, int shift)
      : src(size, 1, shift, shift == 0 ? Against::end : Against::begin),
        markers(size, 1, 1, shift == 0 ? Against::end : Against::begin),
        buffer(bytes(size), shift == 0 ? Against::end : Against::begin) {
    src.fill([&] { return random() % heights; });
    markers.fill([&]() -> T {
      if (random() % rarity != 0) return 0;
      if (random() % 20 == 0) return std::numeric_limits<T>::max();
      return static_cast<T>(1 + random() % 5);
    });
  }
  NuvStatus run(int norm, int flag) {
    return Forms<T>::watershed(src.data(), src.step(), markers.data(), markers.step(), src.size(),
                               norm, flag, buffer.data());
  }
};

TYPED_TEST(Watershed, QueueMatchesReference) {
  using T = TypeParam;
  std::mt19937 random(7);
  for (int i = 0; i < 600; ++i) {
    NuviSize size = {static_cast<int32_t>(1 + random() % 34),
                     static_cast<int32_t>(1 + random() % 12)};
    if (i % 100 == 7) size = {150, 70};  // queued in larger blocks
    Case<T> c(size, random, i % 3 == 0 ? 3 : 256, 1u << (random() % 7), i % 2);
    const int norm = i / 2 % 2, flag = (i / 4 % 4) * 64 + (i % 5 == 0 ? 3 : 1);
    Plane<int> src(size, 0);
    src.read(c.src);
    Plane<T> expected(size, std::numeric_limits<T>::max());
    expected.read(c.markers);
    referenceQueue(src, expected, norm, flag);
    ASSERT_EQ(nuvStatusOk, c.run(norm, flag));
    ASSERT_EQ(expected.values, Plane<T>(size, T{0}).read(c.markers).values) << i;
    ASSERT_TRUE(c.markers.padsUntouched());
  }
}

// The keys of the sweep method are unique: those that no neighbour lowers, found by lowering any
// until none is left. A label is right if a neighbour that gives the key has it.
TYPED_TEST(Watershed, SweepsReachTheLowestKeys) {
  using T = TypeParam;
  std::mt19937 random(8);
  for (int i = 0; i < 400; ++i) {
    NuviSize size = {static_cast<int32_t>(1 + random() % 40),
                     static_cast<int32_t>(1 + random() % 12)};
    if (i % 200 == 7) size = {130 + i, 4};  // several blocks in a row
    if (i == 199) size = {513, 1027};       // in two strips
    const int norm = i % 3;
    Case<T> c(size, random, i % 4 == 0 ? 2 : 256, 1u << (random() % 7), i % 2);
    Plane<int> src(size, 0);
    src.read(c.src);
    Plane<T> given(size, T{0});
    given.read(c.markers);
    constexpr int64_t none = INT32_MAX;
    Plane<int64_t> keys(size, none);
    const auto through = [&](int x, int y, int n) {
      const int64_t key = keys(x + dx[n], y + dy[n]);
      const int64_t step = norm == 2 ? (n < 4 ? 10 : 14) : 0;
      return key == none ? none : std::max(key + step + 1, int64_t{src(x, y)} << 23);
    };
    const int count = norm == 1 ? 4 : 8;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        keys(x, y) = given(x, y) != 0 ? int64_t{src(x, y)} << 23 : none;
      }
    }
    for (bool changed = true; changed;) {
      changed = false;
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          for (int n = 0; n < count && given(x, y) == 0; ++n) {
            if (through(x, y, n) < keys(x, y)) keys(x, y) = through(x, y, n), changed = true;
          }
        }
      }
    }
    ASSERT_EQ(nuvStatusOk, c.run(norm, 2));
    Plane<T> labels(size, T{0});
    labels.read(c.markers);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        bool right = given(x, y) != 0 ? labels(x, y) == given(x, y) : keys(x, y) == none;
        for (int n = 0; n < count && given(x, y) == 0; ++n) {
          right |= through(x, y, n) == keys(x, y) && labels(x, y) == labels(x + dx[n], y + dy[n]);
        }
        ASSERT_TRUE(right) << i << ": " << x << "," << y << " norm " << norm;
      }
    }

    // Lines, drawn over the finished labels.
    const int lines = i % 2 == 0 ? 64 : 128;
    c.markers.fill([&, at = given.values.begin()]() mutable { return *at++; });
    ASSERT_EQ(nuvStatusOk, c.run(norm, 2 + lines));
    const T line = std::numeric_limits<T>::max();
    labels.outside = line;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        for (const auto& [ox, oy] : {std::pair(1, 0), {0, 1}, {-1, 1}, {1, 1}}) {
          if (lines == 64 && ox != 0 && oy != 0) continue;
          T &a = labels(x, y), &b = labels(x + ox, y + oy);
          if (a == line || b == line || a == b) continue;
          (keys(x, y) <= keys(x + ox, y + oy) ? b : a) = line;
        }
      }
    }
    ASSERT_EQ(labels.values, Plane<T>(size, T{0}).read(c.markers).values) << i;
    ASSERT_TRUE(c.markers.padsUntouched());
  }
}

// Flat ground and steps, where many paths are alike, in an image that is swept in strips.
TYPED_TEST(Watershed, ThreadsDoNotChangeLabels) {
  using T = TypeParam;
  const NuviSize size = {600, 1100};
  std::mt19937 random(10);
  for (int norm = 0; norm < 4; ++norm) {
    Case<T> c(size, random, 3, 1u << 14, 0);
    const Plane<T> given = Plane<T>(size, T{0}).read(c.markers);
    std::vector<T> expected;
    withThreadCounts([&] {
      c.markers.fill([&, at = given.values.begin()]() mutable { return *at++; });
      ASSERT_EQ(nuvStatusOk, c.run(norm, 2 + 64));
      const std::vector<T> labels = Plane<T>(size, T{0}).read(c.markers).values;
      if (expected.empty()) expected = labels;
      ASSERT_TRUE(expected == labels) << "norm " << norm;
    });
  }
}

// On flat ground and east of the markers, where fronts advance by two neighbours, the eikonal
// distances come near to the true ones; four neighbours' steps alone would give the upper right to
// the first marker.
TYPED_TEST(Watershed, EikonalStepsMeasureDistances) {
  using T = TypeParam;
  const NuviSize size = {90, 80};
  std::mt19937 random(9);
  Case<T> c(size, random, 1, 1, 0);
  c.markers.fill([] { return 0; });
  c.markers.at(10, 10) = 1;
  c.markers.at(40, 60) = 2;
  ASSERT_EQ(nuvStatusOk, c.run(3, 2));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 40; x < size.width; ++x) {
      const double first = std::hypot(x - 10, y - 10), second = std::hypot(x - 40, y - 60);
      if (first * 1.1 < second) {
        ASSERT_EQ(1, c.markers.at(x, y)) << x << "," << y;
      }
      if (second * 1.1 < first) {
        ASSERT_EQ(2, c.markers.at(x, y)) << x << "," << y;
      }
    }
  }
}

TEST(WatershedChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[4] = {}, buffer[400];
  uint16_t markers[4] = {1, 2};
  const auto call = [&](int32_t srcStep, uint16_t* image, int32_t step, NuviSize size, int32_t norm,
                        int32_t flag) {
    return nuviSegmentWatershed_8u16u_C1IR(src, srcStep, image, step, size, norm, flag, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, nullptr, 0, {0, 1}, 0, 1));
  EXPECT_EQ(nuvStatusBadSize, call(0, markers, 0, {4, 0}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(3, markers, 9, {4, 1}, 0, 1));
  EXPECT_EQ(nuvStatusBadStep, call(4, markers, 7, {4, 1}, 9, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(4, markers, 9, {4, 1}, 9, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(4, markers, 8, {4, 1}, 2, 3));
  EXPECT_EQ(nuvStatusBadArgument, call(4, markers, 8, {4, 1}, -1, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(4, markers, 8, {4, 1}, 4, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(4, markers, 8, {4, 1}, 0, 64));
  const uint16_t expected[] = {1, 2, 0, 0};
  EXPECT_TRUE(std::equal(markers, markers + 4, expected));
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviSegmentWatershedGetBufferSize_8u_C1R({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviSegmentWatershedGetBufferSize_8u16u_C1R({0, 1}, &bytes));
  EXPECT_EQ(-1, bytes);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/segments.h"

namespace {

using namespace testing_support;

enum Kind { plain, range, gradient };

template <class T>
struct Fill {
  Kind kind;
  bool corners;
  int channels;
  T newVal[3], minDelta[3], maxDelta[3];

  // Whether `a` is taken beside `b`, or for the other kinds beside the seed's value.
  bool takes(const T* a, const T* b) const {
    bool taken = true;
    for (int c = 0; c < channels; ++c) {
      const T low = minDelta[c], high = maxDelta[c];
      if (kind == plain) {
        taken &= a[c] == b[c];
      } else if (kind == gradient && std::is_floating_point_v<T>) {
        const float shift = 0.5f * static_cast<float>(low - high);
        taken &= !(std::fabs((shift + a[c]) - b[c]) > 0.5f * static_cast<float>(low + high));
      } else {
        taken &= a[c] >= b[c] - low && b[c] + high >= a[c];
      }
    }
    return taken;
  }
};

// One overload for each element type.
#define FORMS(con, type, layout)                                                         \
  nuviFloodFill_##con##_##type##_##layout, nuviFloodFill_Range##con##_##type##_##layout, \
      nuviFloodFill_Grad##con##_##type##_##layout
#define CALL(type, T)                                                                             \
  NuvStatus call(const Fill<T>& fill, T* image, int32_t step, NuviSize size, NuviPoint seed,      \
                 NuviFilledRegion* region, uint8_t* buffer) {                                     \
    const T *const v = fill.newVal, *const low = fill.minDelta, *const high = fill.maxDelta;      \
    const auto one = [&](auto equal, auto around, auto along, auto value, auto down, auto up) {   \
      if (fill.kind == plain) return equal(image, step, size, seed, value, region, buffer);       \
      const auto form = fill.kind == range ? around : along;                                      \
      return form(image, step, size, seed, value, down, up, region, buffer);                      \
    };                                                                                            \
    if (fill.channels == 1 && fill.corners) return one(FORMS(8Con, type, C1IR), *v, *low, *high); \
    if (fill.channels == 1) return one(FORMS(4Con, type, C1IR), *v, *low, *high);                 \
    if (fill.corners) return one(FORMS(8Con, type, C3IR), v, low, high);                          \
    return one(FORMS(4Con, type, C3IR), v, low, high);                                            \
  }
CALL(8u, uint8_t)
CALL(16u, uint16_t)
CALL(32f, float)
#undef CALL
#undef FORMS

// Paints pixels, and keeps count of them and of the rows and columns that were looked at.
template <class T>
struct Painter {
  const Fill<T>& fill;
  const TestImage<T>& image;
  double area = 0;
  int left = INT32_MAX, right = -1, top = INT32_MAX, bottom = -1;

  T* pixel(int x, int y) const { return &image.at(x * fill.channels, y); }
  void paint(int x, int y) {
    std::copy_n(fill.newVal, fill.channels, pixel(x, y));
    ++area;
  }
  void widen(int y, int from, int to) {
    left = std::min(left, from), right = std::max(right, to);
    top = std::min(top, y), bottom = std::max(bottom, y);
  }
  NuviFilledRegion region() const {
    NuviFilledRegion told = {area, {}, {left, top, right - left + 1, bottom - top + 1}};
    std::copy_n(fill.newVal, fill.channels, told.value);
    return told;
  }
};

// Every pixel that is near to a neighbour taken before, until there is no more.
template <class T>
NuviFilledRegion referenceGradient(Painter<T> painter, NuviPoint seed) {
  Plane<int> taken(painter.image.size(), 0);
  taken(seed.x, seed.y) = 1;
  for (bool changed = true; changed;) {
    changed = false;
    taken.forEach([&](int x, int y) {
      for (int n = 0; n < (painter.fill.corners ? 8 : 4); ++n) {
        const int nx = x + dx[n], ny = y + dy[n];
        if (taken(x, y) != 0 || taken(nx, ny) == 0) continue;
        if (!painter.fill.takes(painter.pixel(x, y), painter.pixel(nx, ny))) continue;
        taken(x, y) = changed = true;
      }
    });
  }
  taken.forEach([&](int x, int y) {
    if (taken(x, y) != 0) painter.paint(x, y), painter.widen(y, x, x);
  });
  return painter.region();
}

// Nothing is done where the seed has the new value. Spans, their parents and their directions on a
// list; that of a range fill has a fixed capacity and is emptied when it becomes full.
template <class T>
NuviFilledRegion referenceSpans(Painter<T> painter, NuviPoint seed) {
  const auto [width, height] = painter.image.size();
  std::vector<T> value(painter.fill.channels);
  std::copy_n(painter.pixel(seed.x, seed.y), value.size(), value.begin());
  if (std::equal(value.begin(), value.end(), painter.fill.newVal)) return {-1, {}, {}};
  const auto matches = [&](int x, int y) {
    return x >= 0 && x < width && painter.fill.takes(painter.pixel(x, y), value.data());
  };
  struct Frame {
    int y, left, right, parentLeft, parentRight, direction;
  };
  const auto run = [&](int x, int y, const Frame& parent, int direction) {
    painter.paint(x, y);
    int left = x, right = x;
    while (matches(left - 1, y)) painter.paint(--left, y);
    while (matches(right + 1, y)) painter.paint(++right, y);
    return Frame{y, left, right, parent.left, parent.right, direction};
  };
  const int pixels = width * height, capacity = painter.fill.kind == range ? pixels / 4 : -1;
  Frame first = run(seed.x, seed.y, {}, seed.y + 1 == height ? -1 : 1);
  first.parentLeft = first.right + 1, first.parentRight = first.right;
  painter.widen(first.y, first.left, first.right);
  std::vector<Frame> list;
  if (height > 1 && capacity != 1) list.push_back(first);
  while (!list.empty() && painter.area <= 64 * pixels) {
    const Frame f = list.back();
    list.pop_back();
    painter.widen(f.y, f.left, f.right);
    const int from = std::max(f.left - painter.fill.corners, 0);
    const int to = std::min(f.right + painter.fill.corners, width - 1);
    const int scans[][3] = {
        {-1, from, to}, {1, from, f.parentLeft - 1}, {1, f.parentRight + 1, to}};
    for (const auto& [side, begin, end] : scans) {
      const int y = f.y + side * f.direction;
      if (y < 0 || y >= height) continue;
      for (int x = begin; x <= end && painter.area <= 64 * pixels; ++x) {
        if (!matches(x, y)) continue;
        list.push_back(run(x, y, f, -side * f.direction));
        x = list.back().right + 1;
        if (static_cast<int>(list.size()) == capacity) list.clear();
      }
    }
  }
  return painter.region();
}

// Images of few values, so that regions are large and branch, with the new value outside of them,
// inside the range, and the seed's own. Combs have more spans waiting at once than the stack was
// sized for; around a hole, a range fill of a value in the range goes in circles.
template <class T>
void testReference() {
  std::mt19937 random(1);
  const auto below = [&](int32_t end) {
    return static_cast<int32_t>(random() % static_cast<unsigned>(end));
  };
  for (int i = 0; i < 1500; ++i) {
    const bool comb = i % 17 == 13, hole = i % 17 == 14;
    NuviSize size = {1 + below(i % 5 == 0 ? 90 : 14), 1 + below(i % 7 == 0 ? 20 : 9)};
    if (comb) size = {i % 2 == 0 ? 3 : 60, 3};
    Fill<T> fill = {static_cast<Kind>(i % 3), i % 2 == 0, i % 4 < 2 ? 1 : 3, {}, {}, {}};
    const unsigned values = fill.kind == plain ? 2 : 3 + random() % 12;
    for (int c = 0; c < 3; ++c) {
      fill.newVal[c] = static_cast<T>(random() % 3 == 0 ? random() % values : 200 + c);
      if (comb) continue;
      fill.minDelta[c] = static_cast<T>(random() % 5);
      fill.maxDelta[c] = static_cast<T>(fill.kind == range ? 1 + random() % 9 : random() % 5);
      if (hole) fill.newVal[c] = T(1);
    }
    const NuviPoint seed = {below(size.width), comb ? 1 : below(size.height)};
    const unsigned sparse = fill.channels == 3 ? 4 : 1 + random() % 3;
    const auto sample = [&](int x, int y) -> T {
      if (comb) return y == 1 || x % 2 == 0;
      if (hole) return x > 0 && x + 1 < size.width && y > 0 && y + 1 < size.height ? 50 : 0;
      const unsigned r = random();
      if (std::is_floating_point_v<T> && r % 97 == 0) return static_cast<T>(NAN);
      return static_cast<T>(r % sparse == 0 ? r / 8 % values : 0);
    };
    const Against against = i % 5 < 3 ? Against::end : Against::begin;
    TestImage<T> image(size, fill.channels, 1, against), expected(size, fill.channels);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < image.samples(); ++x) {
        image.at(x, y) = expected.at(x, y) = sample(x / fill.channels, y);
      }
    }
    const Painter<T> painter = {fill, expected};
    const NuviFilledRegion told =
        fill.kind == gradient ? referenceGradient(painter, seed) : referenceSpans(painter, seed);
    NuviFilledRegion region = {-1, {}, {}};
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, (fill.kind == gradient ? nuviFloodFillGetSize_Grad
                                                  : nuviFloodFillGetSize)(size, &bytes));
    const int shift = against == Against::end ? i % 2 : 0;  // an odd address
    const GuardedBlock buffer(static_cast<size_t>(bytes + shift), against);
    ASSERT_EQ(nuvStatusOk,
              call(fill, image.data(), image.step(), size, seed, &region, buffer.data() + shift));
    ASSERT_EQ(expected.bytes(), image.bytes())
        << i << ": " << size.width << "x" << size.height << " kind " << fill.kind;
    ASSERT_TRUE(image.padsUntouched());
    ASSERT_EQ(0, std::memcmp(&told, &region, sizeof told)) << i << ": " << told.area;
  }
}

TEST(FloodFill, MatchesReferenceIn8u) { testReference<uint8_t>(); }
TEST(FloodFill, MatchesReferenceIn16u) { testReference<uint16_t>(); }
TEST(FloodFill, MatchesReferenceIn32f) { testReference<float>(); }

TEST(FloodFillChecks, FirstFailureInOrderAndNothingWritten) {
  float image[16] = {};
  const float v[] = {1, 2, 3}, negative[] = {0, 0, -1};
  uint8_t buffer[400];
  NuviFilledRegion region = {-1, {}, {}};
  int32_t bytes = -1;
  const auto call = [&](int32_t step, NuviSize size, NuviPoint seed, const float* newVal,
                        const float* low, const float* high) {
    return nuviFloodFill_Grad8Con_32f_C3IR(image, step, size, seed, newVal, low, high, &region,
                                           buffer);
  };
  for (const NuvStatus status :
       {call(0, {0, 1}, {0, 0}, nullptr, v, v), call(0, {0, 1}, {0, 0}, v, nullptr, v),
        call(0, {0, 1}, {0, 0}, v, v, nullptr),
        nuviFloodFill_4Con_32f_C1IR(nullptr, 4, {0, 1}, {0, 0}, 1.0f, &region, buffer),
        nuviFloodFill_4Con_32f_C1IR(image, 4, {0, 1}, {0, 0}, 1.0f, nullptr, buffer),
        nuviFloodFill_4Con_32f_C1IR(image, 4, {0, 1}, {0, 0}, 1.0f, &region, nullptr),
        nuviFloodFillGetSize({0, 0}, nullptr)}) {
    EXPECT_EQ(nuvStatusNullPointer, status);
  }
  EXPECT_EQ(nuvStatusBadSize, nuviFloodFillGetSize_Grad({1, 0}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, call(0, {1, 0}, {5, 5}, v, v, v));
  EXPECT_EQ(nuvStatusBadStep, call(11, {1, 1}, {5, 5}, v, v, v));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(13, {1, 1}, {1, 0}, v, v, v));
  EXPECT_EQ(nuvStatusOutOfRange, call(12, {1, 1}, {0, -1}, v, v, v));
  EXPECT_EQ(nuvStatusOutOfRange, call(12, {1, 1}, {0, 0}, v, v, negative));
  EXPECT_EQ(nuvStatusOutOfRange, call(12, {1, 1}, {0, 0}, v, negative, v));
  // A range may have negative deltas; this seed has the new value.
  EXPECT_EQ(nuvStatusOk, nuviFloodFill_Range4Con_32f_C1IR(image, 4, {1, 1}, {0, 0}, 0.0f, -1.0f,
                                                          -1.0f, &region, buffer));
  EXPECT_TRUE(region.area == -1 && bytes == -1);
  for (const float value : image) EXPECT_EQ(0, value);

  // Sizes of the largest image wrap.
  EXPECT_EQ(nuvStatusOk, nuviFloodFillGetSize({INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(38, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFloodFillGetSize_Grad({INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(39, bytes);
}

}  // namespace

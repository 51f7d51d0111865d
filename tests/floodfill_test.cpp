#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <tuple>

#include "support/guarded.h"

namespace {

using namespace testing_support;

enum Kind { plain, range, gradient };

template <class T>
using One = NuvStatus (*)(T*, int32_t, NuviSize, NuviPoint, T, NuviFilledRegion*, uint8_t*);
template <class T>
using OneDelta = NuvStatus (*)(T*, int32_t, NuviSize, NuviPoint, T, T, T, NuviFilledRegion*,
                               uint8_t*);
template <class T>
using Three = NuvStatus (*)(T*, int32_t, NuviSize, NuviPoint, const T*, NuviFilledRegion*,
                            uint8_t*);
template <class T>
using ThreeDelta = NuvStatus (*)(T*, int32_t, NuviSize, NuviPoint, const T*, const T*, const T*,
                                 NuviFilledRegion*, uint8_t*);

// By connectivity: four, eight.
template <class T>
struct Forms;
#define FORMS(type, T)                                                                  \
  template <>                                                                           \
  struct Forms<T> {                                                                     \
    static constexpr One<T> one[] = {nuviFloodFill_4Con_##type##_C1IR,                  \
                                     nuviFloodFill_8Con_##type##_C1IR};                 \
    static constexpr Three<T> three[] = {nuviFloodFill_4Con_##type##_C3IR,              \
                                         nuviFloodFill_8Con_##type##_C3IR};             \
    static constexpr OneDelta<T> oneDelta[][2] = {                                      \
        {nuviFloodFill_Range4Con_##type##_C1IR, nuviFloodFill_Range8Con_##type##_C1IR}, \
        {nuviFloodFill_Grad4Con_##type##_C1IR, nuviFloodFill_Grad8Con_##type##_C1IR}};  \
    static constexpr ThreeDelta<T> threeDelta[][2] = {                                  \
        {nuviFloodFill_Range4Con_##type##_C3IR, nuviFloodFill_Range8Con_##type##_C3IR}, \
        {nuviFloodFill_Grad4Con_##type##_C3IR, nuviFloodFill_Grad8Con_##type##_C3IR}};  \
  }
FORMS(8u, uint8_t);
FORMS(16u, uint16_t);
FORMS(32f, float);
#undef FORMS

template <class T>
struct Fill {
  Kind kind;
  bool corners;
  int channels;
  T newVal[3], minDelta[3], maxDelta[3];

  NuvStatus call(T* image, int32_t step, NuviSize size, NuviPoint seed, NuviFilledRegion* region,
                 uint8_t* buffer) const {
    if (channels == 1 && kind == plain) {
      return Forms<T>::one[corners](image, step, size, seed, newVal[0], region, buffer);
    }
    if (channels == 1) {
      return Forms<T>::oneDelta[kind - 1][corners](image, step, size, seed, newVal[0], minDelta[0],
                                                   maxDelta[0], region, buffer);
    }
    if (kind == plain) {
      return Forms<T>::three[corners](image, step, size, seed, newVal, region, buffer);
    }
    return Forms<T>::threeDelta[kind - 1][corners](image, step, size, seed, newVal, minDelta,
                                                   maxDelta, region, buffer);
  }

  int32_t bufferBytes(NuviSize size) const {
    int32_t bytes = 0;
    EXPECT_EQ(nuvStatusOk, kind == gradient ? nuviFloodFillGetSize_Grad(size, &bytes)
                                            : nuviFloodFillGetSize(size, &bytes));
    return bytes;
  }

  // Whether `a` is taken beside `b`, or for the other kinds beside the seed's value.
  bool takes(const T* a, const T* b) const {
    for (int c = 0; c < channels; ++c) {
      if (kind == plain && !(a[c] == b[c])) return false;
      if (kind == plain) continue;
      if constexpr (std::is_floating_point_v<T>) {
        if (kind == range && !(a[c] >= b[c] - minDelta[c] && b[c] + maxDelta[c] >= a[c])) {
          return false;
        }
        const float c1 = 0.5f * (minDelta[c] - maxDelta[c]);
        const float c2 = 0.5f * (minDelta[c] + maxDelta[c]);
        if (kind == gradient && std::fabs((c1 + a[c]) - b[c]) > c2) return false;
      } else {
        if (a[c] < b[c] - minDelta[c] || a[c] > b[c] + maxDelta[c]) return false;
      }
    }
    return true;
  }
};

// Which pixels a fill of no particular order reaches; valid where painted pixels do not count
// again.
template <class T>
NuviFilledRegion reference(const Fill<T>& fill, const TestImage<T>& image, NuviPoint seed) {
  const NuviSize size = image.size();
  const auto pixel = [&](NuviPoint p) { return &image.at(p.x * fill.channels, p.y); };
  std::vector<bool> taken(static_cast<size_t>(size.width * size.height));
  const auto index = [&](NuviPoint p) { return static_cast<size_t>(p.y * size.width + p.x); };
  std::vector<NuviPoint> open = {seed};
  const std::vector<T> seedValue(pixel(seed), pixel(seed) + fill.channels);
  taken[index(seed)] = true;
  for (size_t i = 0; i < open.size(); ++i) {
    const NuviPoint p = open[i];
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const NuviPoint n = {p.x + dx, p.y + dy};
        if (dx != 0 && dy != 0 && !fill.corners) continue;
        if (n.x < 0 || n.y < 0 || n.x >= size.width || n.y >= size.height) continue;
        if (taken[index(n)]) continue;
        if (!fill.takes(pixel(n), fill.kind == gradient ? pixel(p) : seedValue.data())) continue;
        taken[index(n)] = true;
        open.push_back(n);
      }
    }
  }
  NuviRect box = {seed.x, seed.y, seed.x, seed.y};  // with its last column and row
  for (const NuviPoint p : open) {
    std::copy(fill.newVal, fill.newVal + fill.channels, pixel(p));
    box = {std::min(box.x, p.x), std::min(box.y, p.y), std::max(box.width, p.x),
           std::max(box.height, p.y)};
  }
  NuviFilledRegion region = {static_cast<double>(open.size()), {}, box};
  region.rect.width -= box.x - 1;
  region.rect.height -= box.y - 1;
  for (int c = 0; c < fill.channels; ++c) region.value[c] = static_cast<double>(fill.newVal[c]);
  return region;
}

// The range fill, step by step: spans, their parents and their directions on a list of a fixed
// capacity, which is emptied when it becomes full.
template <class T>
NuviFilledRegion referenceRange(const Fill<T>& fill, const TestImage<T>& image, NuviPoint seed) {
  const NuviSize size = image.size();
  const auto pixel = [&](int x, int y) { return &image.at(x * fill.channels, y); };
  const std::vector<T> seedValue(pixel(seed.x, seed.y), pixel(seed.x, seed.y) + fill.channels);
  const auto paint = [&](int x, int y) {
    std::copy(fill.newVal, fill.newVal + fill.channels, pixel(x, y));
  };
  const auto matches = [&](int x, int y) { return fill.takes(pixel(x, y), seedValue.data()); };
  int64_t area = 0;
  const auto run = [&](int x, int y) {
    paint(x, y);
    int left = x, right = x;
    while (left > 0 && matches(left - 1, y)) paint(--left, y);
    while (right + 1 < size.width && matches(right + 1, y)) paint(++right, y);
    area += right - left + 1;
    return std::make_pair(left, right);
  };
  struct Frame {
    int y, left, right, parentLeft, parentRight, direction;
  };
  std::vector<Frame> stack;
  const auto first = run(seed.x, seed.y);
  int left = first.first, right = first.second, top = seed.y, bottom = seed.y;
  const int64_t pixels = int64_t{size.width} * size.height, capacity = pixels / 4;
  if (size.height > 1 && capacity != 1) {
    stack.push_back({seed.y, left, right, right + 1, right, seed.y + 1 == size.height ? -1 : 1});
  }
  while (!stack.empty() && area <= 64 * pixels) {
    const Frame f = stack.back();
    stack.pop_back();
    left = std::min(left, f.left), right = std::max(right, f.right);
    top = std::min(top, f.y), bottom = std::max(bottom, f.y);
    const int from = fill.corners ? std::max(f.left - 1, 0) : f.left;
    const int to = fill.corners ? std::min(f.right + 1, size.width - 1) : f.right;
    const std::tuple<int, int, int, int> scans[] = {
        {f.y - f.direction, from, to, f.direction},
        {f.y + f.direction, from, f.parentLeft - 1, -f.direction},
        {f.y + f.direction, f.parentRight + 1, to, -f.direction}};
    for (const auto& [y, begin, end, direction] : scans) {
      if (y < 0 || y >= size.height) continue;
      for (int x = begin; x <= end && area <= 64 * pixels; ++x) {
        if (!matches(x, y)) continue;
        const auto found = run(x, y);
        stack.push_back({y, found.first, found.second, f.left, f.right, direction});
        if (static_cast<int64_t>(stack.size()) == capacity) stack.clear();
        x = found.second + 1;
      }
    }
  }
  NuviFilledRegion region = {
      static_cast<double>(area), {}, {left, top, right - left + 1, bottom - top + 1}};
  for (int c = 0; c < fill.channels; ++c) region.value[c] = static_cast<double>(fill.newVal[c]);
  return region;
}

template <class T>
void expectReference(const Fill<T>& fill, const std::function<T(unsigned)>& value, NuviSize size,
                     std::mt19937& random) {
  for (const Against against : {Against::end, Against::begin}) {
    TestImage<T> image(size, fill.channels, 1, against), expected(size, fill.channels);
    image.fill([&] { return value(random()); });
    for (int32_t y = 0; y < size.height; ++y) {
      std::copy(image.row(y), image.row(y) + image.samples(), expected.row(y));
    }
    const NuviPoint seed = {static_cast<int32_t>(random() % static_cast<unsigned>(size.width)),
                            static_cast<int32_t>(random() % static_cast<unsigned>(size.height))};
    const T* const at = &image.at(seed.x * fill.channels, seed.y);
    const bool idle =
        fill.kind != gradient && std::equal(fill.newVal, fill.newVal + fill.channels, at);
    NuviFilledRegion region = {-1, {}, {}}, told = {-1, {}, {}};
    if (!idle) {
      told = fill.kind == range ? referenceRange(fill, expected, seed)
                                : reference(fill, expected, seed);
    }
    const GuardedBlock buffer(static_cast<size_t>(fill.bufferBytes(size)), against);
    ASSERT_EQ(nuvStatusOk,
              fill.call(image.data(), image.step(), size, seed, &region, buffer.data()));
    ASSERT_EQ(expected.bytes(), image.bytes());
    ASSERT_TRUE(image.padsUntouched());
    ASSERT_EQ(0, std::memcmp(&told, &region, sizeof told)) << told.area << " " << region.area;
  }
}

template <class T>
class FloodFill : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(FloodFill, Elements);

// Images of few values, so that regions are large and branch; with the new value outside of them,
// inside the range, and the seed's own.
TYPED_TEST(FloodFill, MatchesReference) {
  using T = TypeParam;
  std::mt19937 random(1);
  for (int i = 0; i < 1200; ++i) {
    const NuviSize size = {static_cast<int32_t>(1 + random() % (i % 5 == 0 ? 90 : 14)),
                           static_cast<int32_t>(1 + random() % (i % 7 == 0 ? 20 : 9))};
    Fill<T> fill = {static_cast<Kind>(i % 3), i % 2 == 0, i % 4 < 2 ? 1 : 3, {}, {}, {}};
    const unsigned values = fill.kind == plain ? 2 : 3 + random() % 12;
    for (int c = 0; c < 3; ++c) {
      fill.newVal[c] = static_cast<T>(random() % 3 == 0 ? random() % values : 200 + c);
      fill.minDelta[c] = static_cast<T>(random() % 5);
      fill.maxDelta[c] = static_cast<T>(fill.kind == range ? 1 + random() % 9 : random() % 5);
    }
    const unsigned sparse = fill.channels == 3 ? 4 : 1 + random() % 3;
    const auto value = [&](unsigned r) {
      const T level = static_cast<T>(r % sparse == 0 ? r / 8 % values : 0);
      return std::is_floating_point_v<T> && r % 97 == 0 ? static_cast<T>(NAN) : level;
    };
    SCOPED_TRACE(::testing::Message() << i << ": " << size.width << "x" << size.height << " kind "
                                      << fill.kind << " corners " << fill.corners);
    expectReference<T>(fill, value, size, random);
    if (this->HasFatalFailure()) return;
  }
}

// Shapes with more spans waiting at once than the stack was sized for; also at odd addresses.
TYPED_TEST(FloodFill, BranchingShapesStayInTheirMemory) {
  using T = TypeParam;
  for (const NuviSize size : {NuviSize{3, 3}, NuviSize{60, 3}, NuviSize{3, 60}, NuviSize{1, 3}}) {
    for (const Kind kind : {plain, gradient}) {
      const Fill<T> fill = {kind, false, 1, {7}, {0}, {0}};
      TestImage<T> image(size);
      double expected = 0;
      for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
          const bool spine = size.width >= size.height ? y == 1 : x == size.width / 2;
          image.at(x, y) = spine || x % 2 == 0 ? T(1) : T(0);
          if (size.height > size.width && !spine) image.at(x, y) = y % 2 == 0 ? T(1) : T(0);
          expected += image.at(x, y) == T(1);
        }
      }
      const int32_t bytes = fill.bufferBytes(size);
      const GuardedBlock buffer(static_cast<size_t>(bytes + 1), Against::end);
      NuviFilledRegion region;
      ASSERT_EQ(nuvStatusOk, fill.call(image.data(), image.step(), size, {size.width / 2, 1},
                                       &region, buffer.data() + 1));
      EXPECT_EQ(expected, region.area);
    }
  }
}

// The two ends of the middle row let a range fill circle: it has to come to an end.
TEST(FloodFillRange, EndsWhereSpansCircle) {
  uint8_t image[] = {10, 10, 10, 10, 10, 10, 90, 90, 90, 10, 10, 10, 10, 10, 10};
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviFloodFillGetSize({5, 3}, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes));
  NuviFilledRegion region;
  ASSERT_EQ(nuvStatusOk, nuviFloodFill_Range4Con_8u_C1IR(image, 5, {5, 3}, {0, 0}, 11, 5, 5,
                                                         &region, buffer.data()));
  for (const int i : {6, 7, 8}) EXPECT_EQ(90, image[i]);
  EXPECT_EQ(11, image[0]);
  EXPECT_LE(region.area, 64 * 15 + 5);
}

TEST(FloodFillGradient, ClimbsARampInOneDirection) {
  uint8_t up[] = {0, 10, 20, 30, 40}, buffer[200];
  NuviFilledRegion region;
  ASSERT_EQ(nuvStatusOk,
            nuviFloodFill_Grad4Con_8u_C1IR(up, 5, {5, 1}, {2, 0}, 20, 0, 10, &region, buffer));
  EXPECT_EQ(3, region.area);
  const uint8_t expected[] = {0, 10, 20, 20, 20};
  EXPECT_TRUE(std::equal(up, up + 5, expected));
}

TEST(FloodFillChecks, FirstFailureInOrderAndNothingWritten) {
  float image[16] = {}, values[] = {1, 2, 3}, negative[] = {0, 0, -1};
  uint8_t buffer[400];
  NuviFilledRegion region = {-1, {}, {}};
  const auto call = [&](float* pixels, int32_t step, NuviSize size, NuviPoint seed,
                        const float* newVal, const float* low, const float* high,
                        NuviFilledRegion* out) {
    return nuviFloodFill_Grad8Con_32f_C3IR(pixels, step, size, seed, newVal, low, high, out,
                                           buffer);
  };
  const float* const v = values;
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 0, {0, 1}, {0, 0}, v, v, v, &region));
  EXPECT_EQ(nuvStatusNullPointer, call(image, 0, {0, 1}, {0, 0}, nullptr, v, v, &region));
  EXPECT_EQ(nuvStatusNullPointer, call(image, 0, {0, 1}, {0, 0}, v, nullptr, v, &region));
  EXPECT_EQ(nuvStatusNullPointer, call(image, 0, {0, 1}, {0, 0}, v, v, nullptr, &region));
  EXPECT_EQ(nuvStatusNullPointer, call(image, 0, {0, 1}, {0, 0}, v, v, v, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(image, 0, {1, 0}, {5, 5}, v, v, v, &region));
  EXPECT_EQ(nuvStatusBadStep, call(image, 11, {1, 1}, {5, 5}, v, v, v, &region));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(image, 13, {1, 1}, {1, 0}, v, v, v, &region));
  EXPECT_EQ(nuvStatusOutOfRange, call(image, 12, {1, 1}, {0, -1}, v, v, v, &region));
  EXPECT_EQ(nuvStatusOutOfRange, call(image, 12, {1, 1}, {0, 0}, v, v, negative, &region));
  EXPECT_EQ(nuvStatusOutOfRange, call(image, 12, {1, 1}, {0, 0}, v, negative, v, &region));
  EXPECT_EQ(nuvStatusOk, nuviFloodFill_Range4Con_32f_C1IR(image, 4, {1, 1}, {0, 0}, 0.0f, -1.0f,
                                                          -1.0f, &region, buffer));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFloodFill_4Con_32f_C1IR(image, 4, {1, 1}, {0, 0}, 1.0f, &region, nullptr));
  EXPECT_EQ(-1, region.area);
  for (const float value : image) EXPECT_EQ(0, value);
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviFloodFillGetSize({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFloodFillGetSize_Grad({1, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
}

}  // namespace

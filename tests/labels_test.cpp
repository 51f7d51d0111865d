#include <gtest/gtest.h>
#include <omp.h>

#include "support/segments.h"

namespace {

using namespace testing_support;

template <class T>
constexpr auto labelMarkers = nuviLabelMarkers_8u_C1IR;
template <>
constexpr auto labelMarkers<uint16_t> = nuviLabelMarkers_16u_C1IR;
template <class T>
constexpr auto boundSegments = nuviBoundSegments_8u_C1IR;
template <>
constexpr auto boundSegments<uint16_t> = nuviBoundSegments_16u_C1IR;

template <class T>
class Labels : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(Labels, Elements);

// Each component spreads from its first pixel.
template <class T>
int referenceLabels(Plane<T>& markers, int minLabel, int maxLabel, int norm) {
  Plane<T> open = markers;
  int count = 0;
  markers.forEach([&](int x, int y) {
    if (open(x, y) == 0) return;
    const int label = minLabel + count++ % (maxLabel - minLabel + 1);
    std::vector<NuviPoint> component = {{x, y}};
    while (!component.empty()) {
      const NuviPoint at = component.back();
      component.pop_back();
      markers(at.x, at.y) = static_cast<T>(label);
      open(at.x, at.y) = 0;
      for (int n = 0; n < (norm == 1 ? 4 : 8); ++n) {
        const NuviPoint next = {at.x + dx[n], at.y + dy[n]};
        if (open(next.x, next.y) != 0) component.push_back(next);
      }
    }
  });
  return count;
}

// From the west and north, and the two corners there; outside all is marked.
template <class T>
void referenceBounds(Plane<T>& markers, int norm) {
  const T mark = markers.outside;
  markers.forEach([&](int x, int y) {
    bool marked = false;
    for (const int n : {0, 2, 4, 5}) {
      const T other = markers(x + dx[n], y + dy[n]);
      marked |= (norm == 0 || n < 4) && other != mark && other != markers(x, y);
    }
    if (marked) markers(x, y) = mark;
  });
}

// Components of random pixels; bounds of random labels and of long runs of them, with the mark
// among the labels, also upward through memory.
TYPED_TEST(Labels, MatchReference) {
  using T = TypeParam;
  constexpr int top = std::numeric_limits<T>::max();
  std::mt19937 random(3);
  for (int i = 0; i < 800; ++i) {
    const NuviSize size = {1 + i % 150, static_cast<int32_t>(1 + random() % 9)};
    const Against against = i % 4 < 2 ? Against::end : Against::begin;
    const bool bounds = i % 3 != 0, upward = bounds && i % 7 == 0;
    const int norm = static_cast<int>(random() % 2);
    const T outside = static_cast<T>(!bounds ? 0 : i % 2 == 0 ? 700 : 1);
    TestImage<T> markers(size, 1, i % 5 % 3, against);
    const unsigned density = random() % 5, runs = 1u << (random() % 7);
    unsigned label = 0;
    markers.fill([&]() -> unsigned {
      if (!bounds) return random() % 4 < density ? random() | 1 : 0;
      return label = random() % runs == 0 ? random() % 4 : label;
    });
    const auto read = [&] {
      Plane<T> plane(size, outside);
      plane.forEach(
          [&](int x, int y) { plane(x, y) = markers.at(x, upward ? size.height - 1 - y : y); });
      return plane;
    };
    Plane<T> expected = read();
    if (bounds) {
      referenceBounds(expected, norm);
      T* const first = markers.row(upward ? size.height - 1 : 0);
      const int32_t step = upward ? -markers.step() : markers.step();
      ASSERT_EQ(nuvStatusOk, boundSegments<T>(first, step, size, outside, norm));
    } else {
      const int low = 1 + static_cast<int>(random() % 9);
      const int high = i % 5 == 0 ? low : i % 5 == 1 ? top - 1 : low + 5;
      const int count = referenceLabels(expected, low, high, norm);
      int32_t bytes = 0, number = -1;
      ASSERT_EQ(nuvStatusOk, (top == 255 ? nuviLabelMarkersGetBufferSize_8u_C1R
                                         : nuviLabelMarkersGetBufferSize_16u_C1R)(size, &bytes));
      const GuardedBlock buffer(static_cast<size_t>(bytes), against);
      ASSERT_EQ(nuvStatusOk, labelMarkers<T>(markers.data(), markers.step(), size, low, high, norm,
                                             &number, buffer.data()));
      ASSERT_EQ(count, number);
    }
    ASSERT_EQ(expected.values, read().values) << i << ": norm " << norm;
    ASSERT_TRUE(markers.padsUntouched());
  }
}

// Inside a parallel region the rows are cut. At the seam nothing depends on the timing as long as
// the row above it has no marks.
TEST(Bounds, ComesToTheSameInBands) {
  TestImage<uint8_t> markers({200, 64});
  markers.fill([i = 0]() mutable {
    const int y = i++ / 200, column = y % 32 >= 4 && y % 32 < 24 ? i % 200 / 50 : 0;
    return 1 + y / 32 + 2 * column;
  });
  Plane<uint8_t> expected(markers, 255);
  referenceBounds(expected, 1);
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
#pragma omp parallel num_threads(2)
#pragma omp single
  EXPECT_EQ(nuvStatusOk, nuviBoundSegments_8u_C1IR(markers.data(), 200, {200, 64}, 255, 1));
  omp_set_max_active_levels(levels);
  EXPECT_EQ(expected.values, markers.bytes());
}

TEST(LabelsChecks, FirstFailureInOrderAndNothingWritten) {
  uint16_t markers[8] = {1, 2, 3, 4};
  uint8_t buffer[100];
  int32_t number = -1;
  const auto label = [&](int32_t step, NuviSize size, int32_t low, int32_t high, int32_t norm) {
    return nuviLabelMarkers_16u_C1IR(markers, step, size, low, high, norm, &number, buffer);
  };
  const auto bound = [&](int32_t step, NuviSize size) {
    return nuviBoundSegments_16u_C1IR(markers, step, size, 9, 2);
  };
  for (const NuvStatus status :
       {nuviLabelMarkers_16u_C1IR(nullptr, 0, {0, 1}, 1, 2, 0, &number, buffer),
        nuviLabelMarkers_16u_C1IR(markers, 0, {0, 1}, 1, 2, 0, nullptr, buffer),
        nuviLabelMarkers_16u_C1IR(markers, 0, {0, 1}, 1, 2, 0, &number, nullptr),
        nuviBoundSegments_16u_C1IR(nullptr, 0, {0, 1}, 9, 0)}) {
    EXPECT_EQ(nuvStatusNullPointer, status);
  }
  EXPECT_EQ(nuvStatusBadSize, label(0, {4, 0}, 1, 2, 0));
  EXPECT_EQ(nuvStatusBadSize, bound(0, {0, 1}));
  for (const int step : {7, -8}) EXPECT_EQ(nuvStatusBadStep, label(step, {4, 1}, 0, 2, 0));
  EXPECT_EQ(nuvStatusBadStep, bound(7, {4, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, label(9, {4, 1}, 0, 2, 0));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, bound(-9, {4, 1}));
  EXPECT_EQ(nuvStatusBadArgument, label(8, {4, 1}, 0, 2, 0));
  EXPECT_EQ(nuvStatusBadArgument, label(8, {4, 1}, 1, 65535, 0));
  EXPECT_EQ(nuvStatusBadArgument, label(8, {4, 1}, 3, 2, 0));
  EXPECT_EQ(nuvStatusBadArgument, label(8, {4, 1}, 1, 2, 2));
  EXPECT_EQ(nuvStatusBadArgument, bound(8, {4, 1}));
  EXPECT_EQ(-1, number);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(i < 4 ? i + 1 : 0, markers[i]);
}

}  // namespace

#include <gtest/gtest.h>
#include <omp.h>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  static constexpr auto label = nuviLabelMarkers_8u_C1IR;
  static constexpr auto labelSize = nuviLabelMarkersGetBufferSize_8u_C1R;
  static constexpr auto bound = nuviBoundSegments_8u_C1IR;
};
template <>
struct Forms<uint16_t> {
  static constexpr auto label = nuviLabelMarkers_16u_C1IR;
  static constexpr auto labelSize = nuviLabelMarkersGetBufferSize_16u_C1R;
  static constexpr auto bound = nuviBoundSegments_16u_C1IR;
};

template <class T>
class Labels : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(Labels, Elements);

// Components by repeated spreading of the smallest raster index.
template <class T>
int32_t referenceLabels(const TestImage<T>& markers, int32_t minLabel, int32_t maxLabel,
                        int32_t norm) {
  const NuviSize size = markers.size();
  std::vector<int32_t> first(static_cast<size_t>(size.width * size.height));
  const auto at = [&](int x, int y) -> int32_t& {
    return first[static_cast<size_t>(y * size.width + x)];
  };
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      at(x, y) = markers.at(x, y) != 0 ? y * size.width + x : -1;
    }
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        for (int i = 0; i < 9 && at(x, y) >= 0; ++i) {
          const int nx = x + i % 3 - 1, ny = y + i / 3 - 1;
          if (nx < 0 || ny < 0 || nx >= size.width || ny >= size.height) continue;
          if (norm == 1 && nx != x && ny != y) continue;
          if (at(nx, ny) >= 0 && at(nx, ny) < at(x, y)) at(x, y) = at(nx, ny), changed = true;
        }
      }
    }
  }
  int32_t count = 0;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int32_t root = at(x, y);
      if (root < 0) continue;
      const bool isRoot = root == y * size.width + x;
      markers.at(x, y) = isRoot ? static_cast<T>(minLabel + count++ % (maxLabel - minLabel + 1))
                                : markers.at(root % size.width, root / size.width);
    }
  }
  return count;
}

TYPED_TEST(Labels, ComponentsMatchReference) {
  using T = TypeParam;
  std::mt19937 random(3);
  for (int i = 0; i < 200; ++i) {
    const NuviSize size = {static_cast<int32_t>(1 + random() % 75),
                           static_cast<int32_t>(1 + random() % 12)};
    const Against against = i % 2 == 0 ? Against::end : Against::begin;
    const int32_t norm = i / 2 % 2;
    const int32_t minLabel = 1 + static_cast<int32_t>(random() % 9);
    const int32_t maxLabel = i % 5 == 0   ? minLabel
                             : i % 5 == 1 ? std::numeric_limits<T>::max() - 1
                                          : minLabel + 5;
    TestImage<T> markers(size, 1, 1, against), expected(size);
    const unsigned density = random() % 5;
    markers.fill([&] { return random() % 4 < density ? random() | 1 : 0; });
    for (int y = 0; y < size.height; ++y) {
      std::copy(markers.row(y), markers.row(y) + size.width, expected.row(y));
    }
    const int32_t count = referenceLabels(expected, minLabel, maxLabel, norm);
    int32_t bytes = 0, number = -1;
    ASSERT_EQ(nuvStatusOk, Forms<T>::labelSize(size, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes), against);
    ASSERT_EQ(nuvStatusOk, Forms<T>::label(markers.data(), markers.step(), size, minLabel, maxLabel,
                                           norm, &number, buffer.data()));
    ASSERT_EQ(count, number);
    ASSERT_EQ(expected.bytes(), markers.bytes()) << size.width << "x" << size.height;
    ASSERT_TRUE(markers.padsUntouched());
  }
}

template <class T>
void referenceBounds(const TestImage<T>& markers, T val, int32_t norm) {
  const NuviSize size = markers.size();
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      T& c = markers.at(x, y);
      const T present = c;
      const auto look = [&](int nx, int ny) {
        if (nx < 0 || nx >= size.width || ny < 0) return;
        if (markers.at(nx, ny) != val && markers.at(nx, ny) != present) c = val;
      };
      look(x - 1, y);
      look(x, y - 1);
      if (norm == 0 && size.width > 1) look(x - 1, y - 1), look(x + 1, y - 1);
    }
  }
}

// Random labels, and long runs of them, with the mark among the labels; upward through memory too.
TYPED_TEST(Labels, BoundsMatchReference) {
  using T = TypeParam;
  std::mt19937 random(4);
  for (int i = 0; i < 600; ++i) {
    const NuviSize size = {1 + i % 150, static_cast<int32_t>(1 + random() % 6)};
    const int32_t norm = static_cast<int32_t>(random() % 2);
    const T val = static_cast<T>(i % 3 == 0 ? 700 : 1);
    TestImage<T> markers(size, 1, i % 3, i % 2 == 0 ? Against::end : Against::begin);
    TestImage<T> expected(size);
    const unsigned runs = 1u << (random() % 7);
    unsigned label = 0;
    markers.fill([&] { return label = random() % runs == 0 ? random() % 4 : label; });
    const bool upward = i % 7 == 0;
    for (int y = 0; y < size.height; ++y) {
      const T* const from = markers.row(upward ? size.height - 1 - y : y);
      std::copy(from, from + size.width, expected.row(y));
    }
    referenceBounds(expected, val, norm);
    ASSERT_EQ(nuvStatusOk,
              Forms<T>::bound(markers.row(upward ? size.height - 1 : 0),
                              upward ? -markers.step() : markers.step(), size, val, norm));
    for (int y = 0; y < size.height; ++y) {
      const T* const row = markers.row(upward ? size.height - 1 - y : y);
      ASSERT_TRUE(std::equal(row, row + size.width, expected.row(y)))
          << size.width << "x" << size.height << " row " << y << " norm " << norm;
    }
    ASSERT_TRUE(markers.padsUntouched());
  }
}

// Inside a parallel region the rows are cut. At the seam nothing depends on the timing as long as
// the row above it has no marks.
TEST(Bounds, ComesToTheSameInBands) {
  const NuviSize size = {200, 64};
  TestImage<uint8_t> markers(size), expected(size);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int column = y % 32 >= 4 && y % 32 < 24 ? x / 50 : 0;
      markers.at(x, y) = expected.at(x, y) = static_cast<uint8_t>(1 + y / 32 + 2 * column);
    }
  }
  referenceBounds<uint8_t>(expected, 255, 1);
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
#pragma omp parallel num_threads(2)
#pragma omp single
  EXPECT_EQ(nuvStatusOk, nuviBoundSegments_8u_C1IR(markers.data(), markers.step(), size, 255, 1));
  omp_set_max_active_levels(levels);
  EXPECT_EQ(expected.bytes(), markers.bytes());
}

TEST(LabelsChecks, FirstFailureInOrderAndNothingWritten) {
  uint16_t markers[8] = {1, 2, 3, 4};
  uint8_t buffer[100];
  int32_t number = -1;
  const auto call = [&](uint16_t* image, int32_t step, NuviSize size, int32_t low, int32_t high,
                        int32_t norm, int32_t* count) {
    return nuviLabelMarkers_16u_C1IR(image, step, size, low, high, norm, count, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 0, {0, 1}, 1, 2, 0, &number));
  EXPECT_EQ(nuvStatusNullPointer, call(markers, 0, {0, 1}, 1, 2, 0, nullptr));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviLabelMarkers_16u_C1IR(markers, 0, {0, 1}, 1, 2, 0, &number, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(markers, 0, {4, 0}, 1, 2, 0, &number));
  EXPECT_EQ(nuvStatusBadStep, call(markers, 7, {4, 1}, 0, 2, 0, &number));
  EXPECT_EQ(nuvStatusBadStep, call(markers, -8, {4, 1}, 0, 2, 0, &number));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(markers, 9, {4, 1}, 0, 2, 0, &number));
  EXPECT_EQ(nuvStatusBadArgument, call(markers, 8, {4, 1}, 0, 2, 0, &number));
  EXPECT_EQ(nuvStatusBadArgument, call(markers, 8, {4, 1}, 1, 65535, 0, &number));
  EXPECT_EQ(nuvStatusBadArgument, call(markers, 8, {4, 1}, 3, 2, 0, &number));
  EXPECT_EQ(nuvStatusBadArgument, call(markers, 8, {4, 1}, 1, 2, 2, &number));
  EXPECT_EQ(-1, number);

  EXPECT_EQ(nuvStatusNullPointer, nuviBoundSegments_16u_C1IR(nullptr, 0, {0, 1}, 9, 0));
  EXPECT_EQ(nuvStatusBadSize, nuviBoundSegments_16u_C1IR(markers, 0, {0, 1}, 9, 0));
  EXPECT_EQ(nuvStatusBadStep, nuviBoundSegments_16u_C1IR(markers, 7, {4, 1}, 9, 2));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviBoundSegments_16u_C1IR(markers, -9, {4, 1}, 9, 2));
  EXPECT_EQ(nuvStatusBadArgument, nuviBoundSegments_16u_C1IR(markers, 8, {4, 1}, 9, 2));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(i < 4 ? i + 1 : 0, markers[i]);
}

}  // namespace

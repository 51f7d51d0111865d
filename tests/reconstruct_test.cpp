#include <gtest/gtest.h>

#include "support/morphology.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define FORMS(type, T, bytes)                                                         \
  template <>                                                                         \
  struct Forms<T> {                                                                   \
    static constexpr auto dilate = nuviMorphReconstructDilate_##type##_C1IR;          \
    static constexpr auto erode = nuviMorphReconstructErode_##type##_C1IR;            \
    static constexpr auto bufferSize = nuviMorphReconstructGetBufferSize_##type##_C1; \
    static constexpr int32_t bytesFor100x7 = bytes;                                   \
  };
FORMS(8u, uint8_t, 568)
FORMS(16u, uint16_t, 1136)
FORMS(32f, float, 1771)
FORMS(64f, double, 3375)
#undef FORMS

template <class T>
class Reconstruct : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float, double>;
TYPED_TEST_SUITE(Reconstruct, Elements);

// Every pixel takes what its neighbours offer, over and over, until nothing changes.
template <class T>
void reference(bool dilates, const TestImage<T>& limit, int32_t norm, const TestImage<T>& result) {
  const NuviSize size = limit.size();
  const auto further = [=](T a, T b) { return dilates ? std::max(a, b) : std::min(a, b); };
  const auto limited = [=](T a, T b) { return dilates ? std::min(a, b) : std::max(a, b); };
  for (bool changed = true, first = true; changed; first = false) {
    changed = first;
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        T grown = result.at(x, y);
        // The first round brings the marker to its limit before anything spreads.
        for (int32_t i = 0; i < 9 && !first; ++i) {
          const int32_t column = x + i % 3 - 1, row = y + i / 3 - 1;
          if (column < 0 || row < 0 || column >= size.width || row >= size.height) continue;
          if (norm == 0 || i % 2 == 1) grown = further(grown, result.at(column, row));
        }
        grown = limited(grown, limit.at(x, y));
        changed |= grown != result.at(x, y);
        result.at(x, y) = grown;
      }
    }
  }
}

template <class T>
void expectReference(bool dilates, int32_t norm, const TestImage<T>& limit,
                     const TestImage<T>& marker, Against against = Against::end) {
  const NuviSize size = limit.size();
  const TestImage<T> expected(size), result(size, 1, 1, against);
  for (int32_t y = 0; y < size.height; ++y) {
    std::copy_n(marker.row(y), size.width, expected.row(y));
    std::copy_n(marker.row(y), size.width, result.row(y));
  }
  reference(dilates, limit, norm, expected);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, Forms<T>::bufferSize(size, &bytes));
  const size_t before = against == Against::end ? 0 : 1;  // also at an odd address
  const GuardedBlock buffer(static_cast<size_t>(bytes) + before, against);
  const auto operation = dilates ? Forms<T>::dilate : Forms<T>::erode;
  ASSERT_EQ(nuvStatusOk, operation(limit.data(), limit.step(), result.data(), result.step(), size,
                                   buffer.data() + before, norm));
  ASSERT_EQ(expected.bytes(), result.bytes())
      << (dilates ? "dilate " : "erode ") << size.width << "x" << size.height << " norm " << norm;
  ASSERT_TRUE(result.padsUntouched());
}

// A limit of walls and alleys, so that growth takes long and winding ways; a marker of few seeds,
// some of them beyond the limit. The ends of the scale are those of the type, or infinite.
template <class T>
void expectReferenceOn(NuviSize size, unsigned seed) {
  using Limits = std::numeric_limits<T>;
  const T highest = Limits::has_infinity ? Limits::infinity() : Limits::max();
  const T lowest = Limits::has_infinity ? -highest : Limits::min();
  std::mt19937 random(seed);
  const auto level = [&] {
    const auto drawn = random() % 256;
    return drawn == 0 ? lowest : drawn == 255 ? highest : static_cast<T>(drawn);
  };
  const auto against = seed % 2 == 0 ? Against::end : Against::begin;
  TestImage<T> limit(size, 1, 2, against), marker(size);
  limit.fill([&, kind = seed % 3] {
    return kind == 0 ? T(random() % 256 < 90 ? 20 : 230) : kind == 1 ? level() : T(random() % 50);
  });
  for (const bool dilates : {true, false}) {
    marker.fill([&] { return random() % 60 == 0 ? level() : dilates ? lowest : highest; });
    for (const int32_t norm : {0, 1}) expectReference(dilates, norm, limit, marker, against);
  }
}

TYPED_TEST(Reconstruct, MatchesReference) {
  nuvSetNumThreads(1);
  for (int32_t width = 1; width <= 70; ++width) expectReferenceOn<TypeParam>({width, 9}, width);
  for (const int32_t height : {1, 2, 40}) expectReferenceOn<TypeParam>({45, height}, height);
  for (const int32_t height : {33, 70}) expectReferenceOn<TypeParam>({1, height}, height);
  withThreadCounts([] {
    for (const NuviSize size : {NuviSize{11, 11}, {61, 23}}) expectReferenceOn<TypeParam>(size, 3);
  });
}

// Growth that has one way only. In an image of two rows, one that the first pass left alone is
// entered from below, at one end, and fills to the other; in a larger one a corridor winds from one
// end to the other, over the cut between the halves many times.
TYPED_TEST(Reconstruct, FollowsASnake) {
  using T = TypeParam;
  const auto follow = [](NuviSize size, bool upright, NuviPoint seed) {
    const NuviSize turned = upright ? NuviSize{size.height, size.width} : size;
    TestImage<T> limit(turned), marker(turned);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const bool wall = y % 2 == 1 && x != (y % 4 == 1 ? size.width - 1 : 0);
        const bool seeded = x == seed.x && y == seed.y;
        (upright ? limit.at(y, x) : limit.at(x, y)) = wall && !seeded ? T(3) : T(200);
        (upright ? marker.at(y, x) : marker.at(x, y)) = seeded ? T(150) : T(0);
      }
    }
    expectReference(true, 1, limit, marker);
  };
  for (int32_t width = 1; width <= 70; ++width) {
    for (const int32_t x : {0, width - 1}) follow({width, 2}, false, {x, 1});
  }
  for (const int32_t threads : {1, 2}) {
    nuvSetNumThreads(threads);
    for (const bool upright : {false, true}) follow({71, 17}, upright, {0, 0});
  }
  nuvSetNumThreads(0);
}

TYPED_TEST(Reconstruct, FirstFailureInOrderAndNothingWritten) {
  using T = TypeParam;
  constexpr int32_t element = sizeof(T), row = 4 * element;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, Forms<T>::bufferSize({0, 7}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, Forms<T>::bufferSize({100, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusOk, Forms<T>::bufferSize({100, 7}, &bytes));
  EXPECT_EQ(Forms<T>::bytesFor100x7, bytes);

  const T src[8] = {};
  T marker[10] = {9, 9, 9, 9, 9, 9, 9, 9};
  uint8_t buffer[1000];
  const auto call = [&](int32_t srcStep, int32_t step, NuviSize size, uint8_t* pBuffer,
                        int32_t norm) {
    return Forms<T>::dilate(src, srcStep, marker, step, size, pBuffer, norm);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(row, row, {4, 0}, nullptr, 0));
  EXPECT_EQ(nuvStatusBadSize, call(0, row, {4, 0}, buffer, 0));
  EXPECT_EQ(nuvStatusBadStep, call(row + 1, row - 1, {4, 2}, buffer, 0));
  EXPECT_EQ(element > 1 ? nuvStatusStepNotElementMultiple : nuvStatusBadArgument,
            call(row, row + 1, {4, 2}, buffer, 2));
  for (const int32_t norm : {2, -1}) {
    EXPECT_EQ(nuvStatusBadArgument, call(row, row, {4, 2}, buffer, norm));
  }
  for (int i = 0; i < 8; ++i) EXPECT_EQ(9, marker[i]);
}

}  // namespace

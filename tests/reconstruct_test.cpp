#include <gtest/gtest.h>

#include <limits>

#include "support/morphology.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define FORMS(type, T)                                                                \
  template <>                                                                         \
  struct Forms<T> {                                                                   \
    static constexpr auto dilate = nuviMorphReconstructDilate_##type##_C1IR;          \
    static constexpr auto erode = nuviMorphReconstructErode_##type##_C1IR;            \
    static constexpr auto bufferSize = nuviMorphReconstructGetBufferSize_##type##_C1; \
  };
FORMS(8u, uint8_t)
FORMS(16u, uint16_t)
FORMS(32f, float)
FORMS(64f, double)
#undef FORMS

template <class T>
class Reconstruct : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float, double>;
TYPED_TEST_SUITE(Reconstruct, Elements);

// Every pixel takes what its neighbours offer, over and over, until nothing changes.
template <class T>
void reference(bool dilates, const TestImage<T>& limit, const TestImage<T>& marker, int32_t norm,
               const TestImage<T>& result) {
  const NuviSize size = limit.size();
  const auto further = [=](T a, T b) { return dilates ? std::max(a, b) : std::min(a, b); };
  const auto limited = [=](T a, T b) { return dilates ? std::min(a, b) : std::max(a, b); };
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      result.at(x, y) = limited(marker.at(x, y), limit.at(x, y));
    }
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        T grown = result.at(x, y);
        for (int32_t j = std::max(y - 1, 0); j <= std::min(y + 1, size.height - 1); ++j) {
          for (int32_t i = std::max(x - 1, 0); i <= std::min(x + 1, size.width - 1); ++i) {
            if (norm == 0 || i == x || j == y) grown = further(grown, result.at(i, j));
          }
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
  SCOPED_TRACE(testing::Message() << (dilates ? "dilate " : "erode ") << size.width << "x"
                                  << size.height << " norm " << norm);
  const TestImage<T> expected(size);
  reference(dilates, limit, marker, norm, expected);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, Forms<T>::bufferSize(size, &bytes));
  const size_t before = against == Against::end ? 0 : 1;  // also at an odd address
  const GuardedBlock buffer(static_cast<size_t>(bytes) + before, against);
  const TestImage<T> result(size, 1, 1, against);
  for (int32_t y = 0; y < size.height; ++y) {
    std::copy_n(marker.row(y), size.width, result.row(y));
  }
  const auto operation = dilates ? Forms<T>::dilate : Forms<T>::erode;
  ASSERT_EQ(nuvStatusOk, operation(limit.data(), limit.step(), result.data(), result.step(), size,
                                   buffer.data() + before, norm));
  ASSERT_EQ(expected.bytes(), result.bytes());
  ASSERT_TRUE(result.padsUntouched());
}

// A limit of walls and alleys, so that growth takes long and winding ways; a marker of few seeds,
// some of them beyond the limit.
template <class T>
void expectReferenceOn(NuviSize size, unsigned seed) {
  std::mt19937 random(seed);
  const unsigned kind = seed % 3;
  for (const auto against : {Against::end, Against::begin}) {
    TestImage<T> limit(size, 1, 2, against), marker(size);
    limit.fill([&] {
      const unsigned level = random() % 256;
      return kind == 0 ? (level < 90 ? 20 : 230) : kind == 1 ? level : 100 + level % 50;
    });
    for (const bool dilates : {true, false}) {
      const int background = dilates ? 0 : 255;
      marker.fill([&] { return random() % 60 == 0 ? int(random() % 256) : background; });
      for (const int32_t norm : {0, 1}) expectReference(dilates, norm, limit, marker, against);
    }
  }
}

TYPED_TEST(Reconstruct, MatchesReference) {
  nuvSetNumThreads(1);
  for (int32_t width = 1; width <= 70; ++width) expectReferenceOn<TypeParam>({width, 9}, width);
  for (const int32_t height : {1, 2, 40}) expectReferenceOn<TypeParam>({45, height}, height);
  for (const int32_t height : {33, 70}) expectReferenceOn<TypeParam>({1, height}, height);
  nuvSetNumThreads(0);
}

TYPED_TEST(Reconstruct, ThreadsDoNotShow) {
  withThreadCounts([] {
    for (const NuviSize size : {NuviSize{11, 11}, {61, 23}}) {
      expectReferenceOn<TypeParam>(size, 3);
    }
  });
}

// A row that the first pass left alone is entered from below, at one end, and fills to the other.
TYPED_TEST(Reconstruct, EntersARowAtItsEnd) {
  for (int32_t width = 1; width <= 70; ++width) {
    for (const int32_t seed : {0, width - 1}) {
      TestImage<TypeParam> limit({width, 2}), marker({width, 2});
      limit.fill([] { return 0; });
      marker.fill([] { return 0; });
      std::fill_n(limit.row(0), width, TypeParam(200));
      limit.at(seed, 1) = TypeParam(200);
      marker.at(seed, 1) = TypeParam(150);
      expectReference(true, 1, limit, marker);
    }
  }
}

// A corridor that winds through the image, over the cut between the halves many times: growth has
// one way only, from one end to the other.
TYPED_TEST(Reconstruct, FollowsASnake) {
  const NuviSize size = {71, 17};
  for (const bool upright : {false, true}) {
    const NuviSize drawnSize = upright ? NuviSize{size.height, size.width} : size;
    TestImage<TypeParam> limit(drawnSize), marker(drawnSize);
    limit.fill([] { return 0; });
    marker.fill([] { return 0; });
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const bool wall = y % 2 == 1 && x != (y % 4 == 1 ? size.width - 1 : 0);
        (upright ? limit.at(y, x) : limit.at(x, y)) = wall ? TypeParam(3) : TypeParam(200);
      }
    }
    marker.at(0, 0) = TypeParam(150);
    for (const int32_t threads : {1, 2}) {
      nuvSetNumThreads(threads);
      expectReference(true, 1, limit, marker);
    }
    nuvSetNumThreads(0);
  }
}

TEST(ReconstructValues, InfinitiesAreValuesLikeAnyOther) {
  const float infinity = std::numeric_limits<float>::infinity();
  TestImage<float> limit({40, 3}), marker({40, 3});
  limit.fill([n = 0]() mutable { return float(++n % 7); });
  limit.at(5, 1) = infinity;
  limit.at(20, 1) = -infinity;
  marker.fill([=] { return -infinity; });
  expectReference(true, 0, limit, marker);
  marker.at(5, 1) = infinity;
  expectReference(true, 1, limit, marker);
  marker.fill([=] { return infinity; });
  expectReference(false, 0, limit, marker);
}

TEST(ReconstructChecks, BufferSizes) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusOk, nuviMorphReconstructGetBufferSize_8u_C1({100, 7}, &bytes));
  EXPECT_EQ(568, bytes);
  EXPECT_EQ(nuvStatusOk, nuviMorphReconstructGetBufferSize_16u_C1({100, 7}, &bytes));
  EXPECT_EQ(1136, bytes);
  EXPECT_EQ(nuvStatusOk, nuviMorphReconstructGetBufferSize_32f_C1({100, 7}, &bytes));
  EXPECT_EQ(1771, bytes);
  EXPECT_EQ(nuvStatusOk, nuviMorphReconstructGetBufferSize_64f_C1({100, 7}, &bytes));
  EXPECT_EQ(3375, bytes);
  bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphReconstructGetBufferSize_8u_C1({0, 7}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphReconstructGetBufferSize_8u_C1({100, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
}

TEST(ReconstructChecks, FirstFailureInOrderAndNothingWritten) {
  const double src[8] = {};
  double marker[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  uint8_t buffer[1000];
  const auto call = [&](const double* pSrc, int32_t srcStep, int32_t step, NuviSize size,
                        uint8_t* pBuffer, int32_t norm) {
    return nuviMorphReconstructDilate_64f_C1IR(pSrc, srcStep, marker, step, size, pBuffer, norm);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 32, 32, {0, 2}, buffer, 0));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 32, 32, {4, 0}, nullptr, 0));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, 32, {4, 0}, buffer, 0));
  EXPECT_EQ(nuvStatusBadStep, call(src, 33, 31, {4, 2}, buffer, 0));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 32, 36, {4, 2}, buffer, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(src, 32, 32, {4, 2}, buffer, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(src, 32, 32, {4, 2}, buffer, -1));
  for (const double value : marker) EXPECT_EQ(9, value);
}

}  // namespace

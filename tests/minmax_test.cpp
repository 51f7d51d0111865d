#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

struct Result {
  float smallest, largest;
  NuviPoint smallestAt, largestAt;
};

bool operator==(const Result& a, const Result& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
std::ostream& operator<<(std::ostream& out, const Result& r) {
  return out << r.smallest << " at " << r.smallestAt.x << "," << r.smallestAt.y << " to "
             << r.largest << " at " << r.largestAt.x << "," << r.largestAt.y;
}

template <class T>
struct Forms;
#define FORMS(form, T)                                                   \
  template <>                                                            \
  struct Forms<T> {                                                      \
    static constexpr auto plain = nuviMinMaxIndx_##form##_C1R;           \
    static constexpr auto channel = nuviMinMaxIndx_##form##_C3CR;        \
    static constexpr auto masked = nuviMinMaxIndx_##form##_C1MR;         \
    static constexpr auto maskedChannel = nuviMinMaxIndx_##form##_C3CMR; \
  };
FORMS(8u, uint8_t)
FORMS(8s, int8_t)
FORMS(16u, uint16_t)
FORMS(32f, float)
#undef FORMS

// The first pixel in raster order that no other is strictly better than.
template <class T>
Result reference(const TestImage<T>& src, const TestImage<uint8_t>* mask, int32_t channels,
                 int32_t coi) {
  Result result{};
  bool found = mask == nullptr;
  T smallest = std::numeric_limits<T>::max(), largest = std::numeric_limits<T>::lowest();
  bool smallestSeen = false, largestSeen = false;
  for (int32_t y = 0; y < src.size().height; ++y) {
    for (int32_t x = 0; x < src.size().width; ++x) {
      if (mask != nullptr && mask->at(x, y) == 0) continue;
      const T p = src.at(x * channels + coi - 1, y);
      if (!found) smallest = largest = p;
      found = true;
      if (p < smallest || (p == smallest && !smallestSeen)) {
        smallest = p;
        smallestSeen = true;
        result.smallestAt = {x, y};
      }
      if (p > largest || (p == largest && !largestSeen)) {
        largest = p;
        largestSeen = true;
        result.largestAt = {x, y};
      }
    }
  }
  if (found) {
    result.smallest = static_cast<float>(smallest);
    result.largest = static_cast<float>(largest);
  }
  return result;
}

template <class T>
class MinMax : public ::testing::Test {
 protected:
  template <class Value, class Selected>
  static void compare(NuviSize size, int32_t pad, Value&& value, Selected&& selected) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    TestImage<T> one(size, 1, pad), three(size, 3, pad);
    TestImage<uint8_t> mask(size, 1, pad, Against::begin);
    one.fill(value);
    three.fill(value);
    mask.fill([&, n = 0]() mutable { return selected(n++) ? 0x80 : 0; });
    using F = Forms<T>;
    withThreadCounts([&] {
      Result r{};
      const auto run = [&](auto function, auto... args) {
        r = {-1, -1, {-1, -1}, {-1, -1}};
        ASSERT_EQ(nuvStatusOk,
                  function(args..., &r.smallest, &r.largest, &r.smallestAt, &r.largestAt));
      };
      run(F::plain, one.data(), one.step(), size);
      ASSERT_EQ(reference(one, nullptr, 1, 1), r);
      run(F::masked, one.data(), one.step(), mask.data(), mask.step(), size);
      ASSERT_EQ(reference(one, &mask, 1, 1), r);
      for (const int32_t coi : {1, 2, 3}) {
        run(F::channel, three.data(), three.step(), size, coi);
        ASSERT_EQ(reference(three, nullptr, 3, coi), r);
        run(F::maskedChannel, three.data(), three.step(), mask.data(), mask.step(), size, coi);
        ASSERT_EQ(reference(three, &mask, 3, coi), r);
      }
    });
  }
};
using Elements = ::testing::Types<uint8_t, int8_t, uint16_t, float>;
TYPED_TEST_SUITE(MinMax, Elements);

TYPED_TEST(MinMax, MatchesReference) {
  using T = TypeParam;
  const auto third = [](int n) { return n % 3 != 0; };
  for (int32_t width = 1; width <= 70; ++width) {
    this->compare({width, 5}, width % 3, RandomSamples<T>(static_cast<unsigned>(width)), third);
  }
  this->compare({128, 128}, 1, RandomSamples<T>(1), third);  // just parallel
  int n = 0;
  this->compare(
      {131, 140}, 0, [&] { return T(20 + n++ % 57); }, third);  // many ties
  this->compare(
      {131, 140}, 0, [&] { return T(20 + n++ % 57); }, [](int i) { return i > 9000; });
  this->compare({64, 300}, 0, RandomSamples<T>(2), [](int) { return false; });
}

// Regions whose only value is a limit of the type, where nothing ever beats the start.
TYPED_TEST(MinMax, ConstantRegions) {
  using Limits = std::numeric_limits<TypeParam>;
  for (const TypeParam value : {Limits::max(), Limits::lowest(), TypeParam(5)}) {
    this->compare(
        {150, 150}, 0, [&] { return value; }, [](int n) { return n >= 7 * 150 + 3; });
  }
}

TEST(MinMaxValues, OnlyInfinitiesKeepTheStartingLimit) {
  TestImage<float> src({128, 200});
  for (const float infinity : {INFINITY, -INFINITY}) {
    src.fill([&] { return infinity; });
    withThreadCounts([&] {
      Result r{};
      ASSERT_EQ(nuvStatusOk, nuviMinMaxIndx_32f_C1R(src.data(), src.step(), src.size(), &r.smallest,
                                                    &r.largest, &r.smallestAt, &r.largestAt));
      const bool above = infinity > 0;
      EXPECT_EQ(above ? 3.4028235e38f : infinity, r.smallest);
      EXPECT_EQ(above ? infinity : -3.4028235e38f, r.largest);
      EXPECT_EQ(0, r.smallestAt.x + r.smallestAt.y + r.largestAt.x + r.largestAt.y);
    });
  }
}

TEST(MinMaxChecks, FirstFailureInOrder) {
  const float f[12] = {};
  const uint8_t m[12] = {};
  const auto masked = [&](int32_t step, int32_t maskStep, NuviSize size, int32_t coi) {
    return nuviMinMaxIndx_32f_C3CMR(f, step, m, maskStep, size, coi, nullptr, nullptr, nullptr,
                                    nullptr);
  };
  EXPECT_EQ(nuvStatusOk, masked(24, 2, {2, 1}, 3));
  EXPECT_EQ(nuvStatusBadSize, masked(0, 2, {0, 1}, 3));
  EXPECT_EQ(nuvStatusBadStep, masked(23, 2, {2, 1}, 0));
  EXPECT_EQ(nuvStatusBadStep, masked(25, 1, {2, 1}, 0));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, masked(25, 2, {2, 1}, 0));
  EXPECT_EQ(nuvStatusBadChannel, masked(24, 2, {2, 1}, 0));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMinMaxIndx_32f_C1MR(f, 0, nullptr, 0, {0, 0}, nullptr, nullptr, nullptr, nullptr));
}

}  // namespace

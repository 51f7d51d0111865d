#include <gtest/gtest.h>

#include <algorithm>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

struct Result {
  float smallest = -1, largest = -1;
  NuviPoint smallestAt = {-1, -1}, largestAt = {-1, -1};
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

// The extremes, and the first pixels in raster order that equal them. Without a mask they lie
// within the finite values; without a pixel they are 0, at the first place.
template <class T>
Result reference(const TestImage<T>& src, const TestImage<uint8_t>* mask, int32_t coi) {
  const NuviSize size = src.size();
  const int32_t channels = src.samples() / size.width;
  std::vector<T> values;
  std::vector<NuviPoint> places;
  for (int32_t i = 0; i < size.width * size.height; ++i) {
    const NuviPoint p = {i % size.width, i / size.width};
    if (mask != nullptr && mask->at(p.x, p.y) == 0) continue;
    values.push_back(src.at(p.x * channels + coi - 1, p.y));
    places.push_back(p);
  }
  if (values.empty()) return {0, 0, {0, 0}, {0, 0}};
  using Limits = std::numeric_limits<T>;
  T smallest = *std::min_element(values.begin(), values.end());
  T largest = *std::max_element(values.begin(), values.end());
  if (mask == nullptr) smallest = std::min(smallest, Limits::max());
  if (mask == nullptr) largest = std::max(largest, Limits::lowest());
  const auto place = [&](T value) {
    const auto at = std::find(values.begin(), values.end(), value) - values.begin();
    return places[static_cast<size_t>(at) % places.size()];
  };
  return {static_cast<float>(smallest), static_cast<float>(largest), place(smallest),
          place(largest)};
}

template <class T>
class MinMax : public ::testing::Test {
 protected:
  template <class Value, class Selected>
  static void compare(NuviSize size, Value&& value, Selected&& selected) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    const int32_t pad = size.width % 3;
    TestImage<T> one(size, 1, pad), three(size, 3, pad);
    TestImage<uint8_t> mask(size, 1, pad, Against::begin);
    one.fill(value);
    three.fill(value);
    mask.fill([&, n = 0]() mutable { return selected(n++) ? 0x80 : 0; });
    const auto expect = [](const Result& expected, auto function, auto... args) {
      withThreadCounts([&] {
        Result r;
        ASSERT_EQ(nuvStatusOk,
                  function(args..., &r.smallest, &r.largest, &r.smallestAt, &r.largestAt));
        ASSERT_EQ(expected, r);
      });
    };
    using F = Forms<T>;
    expect(reference(one, nullptr, 1), F::plain, one.data(), one.step(), size);
    expect(reference(one, &mask, 1), F::masked, one.data(), one.step(), mask.data(), mask.step(),
           size);
    for (const int32_t coi : {1, 2, 3}) {
      expect(reference(three, nullptr, coi), F::channel, three.data(), three.step(), size, coi);
      expect(reference(three, &mask, coi), F::maskedChannel, three.data(), three.step(),
             mask.data(), mask.step(), size, coi);
    }
  }
};
using Elements = ::testing::Types<uint8_t, int8_t, uint16_t, float>;
TYPED_TEST_SUITE(MinMax, Elements);

TYPED_TEST(MinMax, MatchesReference) {
  using T = TypeParam;
  using Limits = std::numeric_limits<T>;
  const auto third = [](int n) { return n % 3 != 0; };
  const auto late = [](int n) { return n > 9000; };
  for (int32_t width = 1; width <= 70; ++width) {
    this->compare({width, 5}, RandomSamples<T>(static_cast<unsigned>(width)), third);
  }
  this->compare({128, 128}, RandomSamples<T>(1), third);  // just parallel
  this->compare({5000, 3}, RandomSamples<T>(2), late);    // longer than a chunk
  this->compare({64, 300}, RandomSamples<T>(3), [](int) { return false; });
  int n = 0;
  const auto ties = [&] { return T(20 + n++ % 57); };
  this->compare({131, 140}, ties, third);
  this->compare({131, 140}, ties, late);
  // One value that may be a limit of the type, where nothing ever beats the start.
  for (const T only :
       {Limits::max(), Limits::lowest(), Limits::infinity(), T(-Limits::infinity())}) {
    this->compare(
        {150, 150}, [&] { return only; }, late);
  }
}

TEST(MinMaxChecks, FirstFailureInOrder) {
  const float f[12] = {};
  const uint8_t m[12] = {};
  const auto masked = [&](const uint8_t* pMask, int32_t step, int32_t maskStep, NuviSize size,
                          int32_t coi) {
    return nuviMinMaxIndx_32f_C3CMR(f, step, pMask, maskStep, size, coi, nullptr, nullptr, nullptr,
                                    nullptr);
  };
  EXPECT_EQ(nuvStatusOk, masked(m, 24, 2, {2, 1}, 3));
  EXPECT_EQ(nuvStatusNullPointer, masked(nullptr, 24, 2, {0, 1}, 3));
  EXPECT_EQ(nuvStatusBadSize, masked(m, 0, 2, {0, 1}, 3));
  EXPECT_EQ(nuvStatusBadStep, masked(m, 23, 2, {2, 1}, 0));
  EXPECT_EQ(nuvStatusBadStep, masked(m, 25, 1, {2, 1}, 0));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, masked(m, 25, 2, {2, 1}, 0));
  EXPECT_EQ(nuvStatusBadChannel, masked(m, 24, 2, {2, 1}, 0));
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "support/guarded.h"

namespace {

using namespace testing_support;

constexpr auto detect(const int16_t*) { return nuviCanny_16s8u_C1R; }
constexpr auto detect(const float*) { return nuviCanny_32f8u_C1R; }

// Magnitudes and survivors of the whole picture, then a flood from the strong ones.
template <class T>
void reference(const TestImage<T>& dx, const TestImage<T>& dy, float low, float high,
               const TestImage<uint8_t>& edges) {
  const NuviSize size = dx.size();
  const auto inside = [&](int32_t x, int32_t y) {
    return x >= 0 && y >= 0 && x < size.width && y < size.height;
  };
  const auto magnitude = [&](int32_t x, int32_t y) -> double {
    if (!inside(x, y)) return 0;
    if constexpr (std::is_same_v<T, float>) {
      const float sum = std::fabs(dx.at(x, y)) + std::fabs(dy.at(x, y));
      return sum < low ? 0 : sum;
    } else {
      int32_t sum = std::abs(dx.at(x, y)) + std::abs(dy.at(x, y));
      if (x < size.width / 8 * 8) sum = std::min(sum, 65535);
      return sum > std::trunc(low) ? sum : 0;
    }
  };
  const auto survives = [&](int32_t x, int32_t y) {
    const double m = magnitude(x, y);
    const float ax = std::fabs(float(dx.at(x, y))), ay = std::fabs(float(dy.at(x, y)));
    const bool inBlock = x < size.width / 4 * 4;
    const float steep = inBlock ? ax * 2.4142137f : float(double{ax} * 2.414213562373095);
    const float flat = inBlock ? ax * 0.41421357f : float(double{ax} * 0.41421356237309503);
    if (m == 0) return false;
    if (ay > steep) return m > magnitude(x, y - 1) && m >= magnitude(x, y + 1);
    if (ay < flat) return m > magnitude(x - 1, y) && m >= magnitude(x + 1, y);
    const int32_t s = (dx.at(x, y) < 0) != (dy.at(x, y) < 0) ? -1 : 1;
    return m > magnitude(x - s, y - 1) && m > magnitude(x + s, y + 1);
  };
  const TestImage<uint8_t> survivors(size);
  std::vector<NuviPoint> open;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      edges.at(x, y) = 0;
      survivors.at(x, y) = survives(x, y);
      if (survivors.at(x, y) != 0 && magnitude(x, y) > double{high}) open.push_back({x, y});
    }
  }
  while (!open.empty()) {
    const NuviPoint p = open.back();
    open.pop_back();
    if (!inside(p.x, p.y) || survivors.at(p.x, p.y) == 0) continue;
    survivors.at(p.x, p.y) = 0;
    edges.at(p.x, p.y) = 255;
    for (int32_t i = 0; i < 9; ++i) open.push_back({p.x + i % 3 - 1, p.y + i / 3 - 1});
  }
}

// Detects with a buffer of exactly the reported size, full of rubbish, and compares.
template <class T>
void expectReference(const TestImage<T>& dx, const TestImage<T>& dy, float low, float high,
                     Against against = Against::end) {
  const NuviSize size = dx.size();
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviCannyGetSize(size, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes), against);
  std::memset(buffer.data(), 0xC3, buffer.size());
  const TestImage<uint8_t> dst(size, 1, size.width % 3, against), expected(size);
  ASSERT_EQ(nuvStatusOk, detect(dx.data())(dx.data(), dx.step(), dy.data(), dy.step(), dst.data(),
                                           dst.step(), size, low, high, buffer.data()));
  reference(dx, dy, low, high, expected);
  ASSERT_EQ(expected.bytes(), dst.bytes())
      << size.width << "x" << size.height << " low " << low << " high " << high;
  ASSERT_TRUE(dst.padsUntouched());
}

template <class T>
class Canny : public ::testing::Test {};
using Elements = ::testing::Types<int16_t, float>;
TYPED_TEST_SUITE(Canny, Elements);

TYPED_TEST(Canny, MatchesReference) {
  using T = TypeParam;
  std::mt19937 random(1);
  const auto few = [&] { return static_cast<int>(random() % 7) - 3; };  // ties everywhere
  const auto sparse = [&] { return random() % 20 == 0 ? few() : 0; };
  // -32768 twice saturates to 65535 in a whole block of 8 and is 65536 behind it.
  const auto least = [&] { return random() % 4 == 0 ? -32768 : 0; };
  const std::function<T()> fills[] = {few, sparse, least, RandomSamples<T>(2)};
  // A magnitude of 3 equal to both is dropped as an integer, weak as a float.
  const float thresholds[][2] = {{0, 0},     {0, 4},    {3, 3},         {1.5f, 2.5f},
                                 {0, 65535}, {0, 1e9f}, {900, 65534.5f}};
  for (int32_t width = 1; width <= 70; ++width) {
    const NuviSize size = {width, width % 8 + 1};
    for (const Against against : {Against::end, Against::begin}) {
      for (const auto& fill : fills) {
        TestImage<T> dx(size, 1, width % 2, against), dy(size, 1, width % 3, against);
        dx.fill(fill);
        dy.fill(fill);
        for (const auto& t : thresholds) expectReference(dx, dy, t[0], t[1], against);
      }
    }
  }
}

TYPED_TEST(Canny, LinksLongChainsAlsoWithWideCoordinates) {
  for (const NuviSize size : {NuviSize{250, 190}, {65532, 2}, {65533, 2}, {3, 65533}, {2, 70001}}) {
    TestImage<TypeParam> dx(size), dy(size);
    for (const bool alongX : {true, false}) {  // rings around the origin
      (alongX ? dx : dy).fill([&, n = 0]() mutable {
        const int32_t x = n % size.width, y = n++ / size.width;
        const double radius = std::hypot(x, y) + 1;
        const double slope = 100 + 90 * std::sin(radius / 3) + 40 * std::sin(x * 0.05);
        return slope * (alongX ? x : y) / radius;
      });
    }
    expectReference(dx, dy, 20, 250);
  }
}

// Directions at the very bounds, where a product in single and one in double precision may differ.
// A pixel survives unless its direction is the one in question, where a neighbour is greater.
TEST(CannyValues, DirectionBoundsInBlocksAndBehindThem) {
  const NuviSize size = {23, 13000};
  std::mt19937 random(3);
  for (const bool steep : {true, false}) {
    TestImage<float> dx(size), dy(size);
    for (TestImage<float>* const image : {&dx, &dy}) image->fill([] { return 0; });
    for (int32_t y = 1; y + 1 < size.height; y += 2) {
      for (const int32_t x : {1, 17, 22}) {
        dx.at(x, y) = static_cast<float>(y) + static_cast<float>(random()) * 1e-10f;
        const float bound = dx.at(x, y) * (steep ? 2.4142137f : 0.41421357f);
        const float toward[] = {0, bound, INFINITY};
        dy.at(x, y) = std::nextafter(bound, toward[random() % 3]);
        (steep ? dy.at(x, y - 1) : dx.at(x - 1, y)) = 32767;
      }
    }
    expectReference(dx, dy, 0, 1);
  }
}

TEST(CannyChecks, FirstFailureInOrderAndNothingWritten) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviCannyGetSize({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviCannyGetSize({0, 1}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviCannyGetSize({1, -1}, &bytes));
  EXPECT_EQ(-1, bytes);
  const NuviSize sizes[] = {{65532, 1}, {65533, 1}, {1, 65533}, {40000, 40000}};  // the last wraps
  const int32_t expected[] = {2031682, 2818133, 1769621, -588494412};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(nuvStatusOk, nuviCannyGetSize(sizes[i], &bytes));
    EXPECT_EQ(expected[i], bytes);
  }

  const int16_t d[16] = {100};
  const float f[4] = {};
  uint8_t dst[8] = {9, 9, 9, 9, 9, 9, 9, 9}, buffer[1000];
  const auto call = [&](int32_t dxStep, int32_t dyStep, int32_t dstStep, NuviSize size, float low,
                        float high) {
    return nuviCanny_16s8u_C1R(d, dxStep, d, dyStep, dst, dstStep, size, low, high, buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, nuviCanny_16s8u_C1R(d, 8, d, 8, dst, 4, {0, 1}, 1, 2, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(7, 8, 4, {0, 1}, 1, 2));
  EXPECT_EQ(nuvStatusBadSize, call(7, 8, 4, {4, 0}, 1, 2));
  EXPECT_EQ(nuvStatusBadStep, call(7, 9, 4, {4, 1}, 1, 2));
  EXPECT_EQ(nuvStatusBadStep, call(9, -8, 4, {4, 1}, 1, 2));
  EXPECT_EQ(nuvStatusBadStep, call(9, 9, 3, {4, 1}, 1, 2));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(9, 8, 4, {4, 1}, 2, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(8, 9, 4, {4, 1}, 2, 1));
  EXPECT_EQ(nuvStatusBadArgument, call(8, 8, 4, {4, 1}, -0.5f, 2));
  EXPECT_EQ(nuvStatusBadArgument, call(8, 8, 4, {4, 1}, 1.75f, 1.5f));
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviCanny_32f8u_C1R(f, 18, f, 16, dst, 4, {4, 1}, 2, 1, buffer));
  for (const uint8_t byte : dst) EXPECT_EQ(9, byte);
}

}  // namespace

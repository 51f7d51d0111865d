#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "support/guarded.h"

namespace {

using namespace testing_support;

constexpr auto detect(const int16_t*) { return nuviCanny_16s8u_C1R; }
constexpr auto detect(const float*) { return nuviCanny_32f8u_C1R; }

// The reference: magnitudes of the whole picture, survivors, then a flood from the strong ones.
template <class T>
class Reference {
 public:
  Reference(const TestImage<T>& dx, const TestImage<T>& dy, float low, float high)
      : dx_(dx), dy_(dy), low_(low), high_(high), size_(dx.size()), edges(size_) {
    edges.fill([] { return 0; });
    survivor_.resize(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height));
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) survivor_[index(x, y)] = survives(x, y);
    }
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) {
        if (survivor_[index(x, y)] && magnitude(x, y) > double{high_}) flood(x, y);
      }
    }
  }

 private:
  size_t index(int32_t x, int32_t y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(size_.width) + static_cast<size_t>(x);
  }
  bool inside(int32_t x, int32_t y) const {
    return x >= 0 && y >= 0 && x < size_.width && y < size_.height;
  }

  double magnitude(int32_t x, int32_t y) const {
    if (!inside(x, y)) return 0;
    const T dx = dx_.at(x, y), dy = dy_.at(x, y);
    if constexpr (std::is_same_v<T, float>) {
      const float sum = std::fabs(dx) + std::fabs(dy);
      return sum < low_ ? 0 : sum;
    } else {
      int32_t sum = std::abs(dx) + std::abs(dy);
      if (x < size_.width / 8 * 8) sum = std::min(sum, 65535);
      return sum > std::trunc(low_) ? sum : 0;
    }
  }

  bool survives(int32_t x, int32_t y) const {
    const double m = magnitude(x, y);
    if (m == 0) return false;
    const float dx = dx_.at(x, y), dy = dy_.at(x, y);
    const float ax = std::fabs(dx), ay = std::fabs(dy);
    const bool inBlock = x < size_.width / 4 * 4;
    const float steep =
        inBlock ? ax * 2.4142137f : static_cast<float>(double{ax} * 2.414213562373095);
    const float flat =
        inBlock ? ax * 0.41421357f : static_cast<float>(double{ax} * 0.41421356237309503);
    if (ay > steep) return m > magnitude(x, y - 1) && m >= magnitude(x, y + 1);
    if (ay < flat) return m > magnitude(x - 1, y) && m >= magnitude(x + 1, y);
    const int32_t s = (dx < 0) != (dy < 0) ? -1 : 1;
    return m > magnitude(x - s, y - 1) && m > magnitude(x + s, y + 1);
  }

  void flood(int32_t x0, int32_t y0) {
    std::vector<NuviPoint> open = {{x0, y0}};
    while (!open.empty()) {
      const NuviPoint p = open.back();
      open.pop_back();
      if (!inside(p.x, p.y) || !survivor_[index(p.x, p.y)] || edges.at(p.x, p.y) != 0) continue;
      edges.at(p.x, p.y) = 255;
      for (int32_t i = 0; i < 9; ++i) open.push_back({p.x + i % 3 - 1, p.y + i / 3 - 1});
    }
  }

  const TestImage<T>&dx_, &dy_;
  float low_, high_;
  NuviSize size_;
  std::vector<bool> survivor_;

 public:
  TestImage<uint8_t> edges;
};

// Detects with a buffer of exactly the reported size, full of rubbish, and compares.
template <class T>
void expectReference(const TestImage<T>& dx, const TestImage<T>& dy, float low, float high,
                     Against against = Against::end) {
  const NuviSize size = dx.size();
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviCannyGetSize(size, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes), against);
  std::memset(buffer.data(), 0xC3, buffer.size());
  const TestImage<uint8_t> dst(size, 1, size.width % 3, against);
  ASSERT_EQ(nuvStatusOk, detect(dx.data())(dx.data(), dx.step(), dy.data(), dy.step(), dst.data(),
                                           dst.step(), size, low, high, buffer.data()));
  const Reference<T> reference(dx, dy, low, high);
  ASSERT_EQ(reference.edges.bytes(), dst.bytes())
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
  const std::function<T()> fills[] = {few, sparse, RandomSamples<T>(2)};
  const float thresholds[][2] = {{0, 0}, {0, 4}, {1, 1}, {1.5f, 2.5f}, {0, 1e9f}, {900, 65534.5f}};
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
  using T = TypeParam;
  const NuviSize sizes[] = {{250, 190}, {65532, 2}, {65533, 2}, {3, 65533}, {2, 70001}};
  for (const NuviSize size : sizes) {
    TestImage<T> dx(size), dy(size);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {  // rings around the origin
        const double radius = std::hypot(x, y) + 1;
        const double slope = 100 + 90 * std::sin(radius / 3) + 40 * std::sin(x * 0.05);
        dx.at(x, y) = static_cast<T>(slope * x / radius);
        dy.at(x, y) = static_cast<T>(slope * y / radius);
      }
    }
    expectReference(dx, dy, 20, 250);
  }
}

// Directions at the very bounds, where a product in single and one in double precision may differ.
TYPED_TEST(Canny, DirectionBoundsInBlocksAndBehindThem) {
  using T = TypeParam;
  const NuviSize size = {23, 13000};
  TestImage<T> dx(size), dy(size);
  std::mt19937 random(3);
  for (const bool steep : {true, false}) {
    for (TestImage<T>* const image : {&dx, &dy}) image->fill([] { return 0; });
    for (int32_t y = 1; y + 1 < size.height; y += 2) {
      // The pixel survives unless its direction is the one in question, where a neighbour is
      // greater.
      for (const int32_t x : {1, 17, 22}) {
        float ax = static_cast<float>(y);
        if (std::is_same_v<T, float>) ax += static_cast<float>(random()) * 1e-10f;
        const float bound = ax * (steep ? 2.4142137f : 0.41421357f);
        const float toward[] = {0, bound, INFINITY};
        const float ay = std::is_same_v<T, float> ? std::nextafter(bound, toward[random() % 3])
                                                  : std::round(bound);
        dx.at(x, y) = static_cast<T>(ax);
        dy.at(x, y) = static_cast<T>(ay);
        (steep ? dy.at(x, y - 1) : dx.at(x - 1, y)) = 32767;
      }
    }
    expectReference(dx, dy, 0, 1);
  }
}

template <class T>
std::vector<int> edgesOfRow(std::vector<T> dx, std::vector<T> dy, float low, float high) {
  const auto width = static_cast<int32_t>(dx.size());
  const auto step = width * static_cast<int32_t>(sizeof(T));
  std::vector<uint8_t> dst(dx.size()), buffer(100000);
  EXPECT_EQ(nuvStatusOk, detect(dx.data())(dx.data(), step, dy.data(), step, dst.data(), width,
                                           {width, 1}, low, high, buffer.data()));
  return {dst.begin(), dst.end()};
}

TEST(CannyValues, TiesThresholdsAndSaturation) {
  using Row = std::vector<int>;
  EXPECT_EQ((Row{255}), edgesOfRow<int16_t>({100}, {0}, 10, 50));
  EXPECT_EQ((Row{0, 255, 0, 0, 0}), edgesOfRow<int16_t>({0, 9, 9, 9, 0}, {0, 0, 0, 0, 0}, 2, 5));
  // A magnitude equal to both thresholds: dropped as an integer, weak and linked as a float.
  EXPECT_EQ((Row{0, 255}), edgesOfRow<int16_t>({0, 0}, {5, 6}, 5, 5));
  EXPECT_EQ((Row{255, 255}), edgesOfRow<float>({0, 0}, {5, 6}, 5, 5));
  EXPECT_EQ((Row{0, 0}), edgesOfRow<float>({0, 0}, {5, 5}, 5, 5));
  // -32768 twice saturates to 65535 in a whole block of 8 and is 65536 behind it.
  std::vector<int16_t> least(14);
  Row behind(14);
  for (const size_t x : {1, 9, 13}) least[x] = -32768;
  for (const size_t x : {9, 13}) behind[x] = 255;
  EXPECT_EQ(behind, edgesOfRow<int16_t>(least, least, 0, 65535));
}

TEST(CannyChecks, SizeReport) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviCannyGetSize({0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviCannyGetSize({0, 1}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviCannyGetSize({1, -1}, &bytes));
  EXPECT_EQ(-1, bytes);
  const struct {
    NuviSize size;
    int32_t bytes;
  } reports[] = {
      {{1, 1}, 221},         {{1920, 1080}, 10428900}, {{65532, 1}, 2031682},
      {{65533, 1}, 2818133}, {{1, 65533}, 1769621},    {{40000, 40000}, -588494412},  // wraps
  };
  for (const auto& report : reports) {
    EXPECT_EQ(nuvStatusOk, nuviCannyGetSize(report.size, &bytes));
    EXPECT_EQ(report.bytes, bytes) << report.size.width;
  }
}

TEST(CannyChecks, FirstFailureInOrderAndNothingWritten) {
  int16_t dx[16] = {100}, dy[16] = {};
  uint8_t dst[8] = {9, 9, 9, 9, 9, 9, 9, 9}, buffer[1000];
  const auto call = [&](const int16_t* pDx, int32_t dxStep, const int16_t* pDy, int32_t dyStep,
                        int32_t dstStep, NuviSize size, float low, float high, uint8_t* pBuffer) {
    return nuviCanny_16s8u_C1R(pDx, dxStep, pDy, dyStep, dst, dstStep, size, low, high, pBuffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 8, dy, 8, 4, {0, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusNullPointer, call(dx, 8, nullptr, 8, 4, {0, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusNullPointer, call(dx, 8, dy, 8, 4, {0, 1}, 1, 2, nullptr));
  EXPECT_EQ(nuvStatusNullPointer,
            nuviCanny_16s8u_C1R(dx, 8, dy, 8, nullptr, 4, {4, 0}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(dx, 7, dy, 8, 4, {0, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusBadSize, call(dx, 7, dy, 8, 4, {4, 0}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(dx, 7, dy, 9, 4, {4, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(dx, 9, dy, -8, 4, {4, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(dx, 9, dy, 9, 3, {4, 1}, 1, 2, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(dx, 9, dy, 8, 4, {4, 1}, 2, 1, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(dx, 8, dy, 9, 4, {4, 1}, 2, 1, buffer));
  EXPECT_EQ(nuvStatusBadArgument, call(dx, 8, dy, 8, 4, {4, 1}, -0.5f, 2, buffer));
  EXPECT_EQ(nuvStatusBadArgument, call(dx, 8, dy, 8, 4, {4, 1}, 1.75f, 1.5f, buffer));
  float fdx[4] = {}, fdy[4] = {};
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviCanny_32f8u_C1R(fdx, 18, fdy, 16, dst, 4, {4, 1}, 2, 1, buffer));
  for (const uint8_t byte : dst) EXPECT_EQ(9, byte);
}

}  // namespace

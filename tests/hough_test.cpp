#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

struct Found {
  float rho, theta;
  int votes;
};

// The whole accumulator, then its peaks by falling votes, stable in the order of finding.
std::vector<Found> reference(const TestImage<uint8_t>& src, NuviPointPolar delta, int threshold) {
  const NuviSize size = src.size();
  const auto lastAngle = static_cast<size_t>(3.14159 / double{delta.theta});
  const auto distances =
      static_cast<int>(static_cast<float>(2 * (size.width + size.height) + 1) / delta.rho);
  const int offset = (distances - 1) / 2;
  // With an empty row before the first angle and behind the last, and cells beside each row.
  std::vector<std::vector<int>> cells(lastAngle + 3,
                                      std::vector<int>(static_cast<size_t>(distances + 2)));
  float theta = 0.0f;
  for (size_t k = 0; k <= lastAngle; ++k, theta += delta.theta) {
    const auto fixedPoint = [&](double value) {
      return static_cast<float>(static_cast<int>((1.0 / double{delta.rho}) * 1024.0 * value));
    };
    const float S = fixedPoint(std::sin(double{theta})), C = fixedPoint(std::cos(double{theta}));
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const float across = static_cast<float>(x) * C, down = static_cast<float>(y) * S;
        const int index = ((static_cast<int>(std::rint(across + down)) + 512) >> 10) + offset;
        const bool votes = src.at(x, y) != 0 && index >= 0 && index < distances;
        if (votes) ++cells[k + 1][static_cast<size_t>(index + 1)];
      }
    }
  }
  std::vector<Found> found;
  for (size_t k = 1; k <= lastAngle + 1; ++k) {
    for (size_t r = 1; r <= static_cast<size_t>(distances); ++r) {
      const int v = cells[k][r];
      if (v > threshold && v > cells[k][r - 1] && v >= cells[k][r + 1] && v > cells[k - 1][r] &&
          v >= cells[k + 1][r]) {
        found.push_back({delta.rho * static_cast<float>(static_cast<int>(r) - 1 - offset),
                         delta.theta * static_cast<float>(k - 1), v});
      }
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.votes > b.votes; });
  return found;
}

void expectReference(NuviSize size, NuviPointPolar delta, int threshold, unsigned oneIn) {
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " rho " << delta.rho);
  TestImage<uint8_t> src(size, 1, 3);
  src.fill([&, random = std::mt19937(unsigned(size.width))]() mutable {
    return random() % oneIn == 0 ? 1 + random() % 255 : 0;
  });
  const std::vector<Found> all = reference(src, delta, threshold);
  for (const size_t room :
       {size_t{1}, size_t{7}, std::max(all.size(), size_t{1}), all.size() + 1}) {
    const auto capacity = static_cast<int32_t>(room);
    int32_t bytes = 0, count = -1;
    ASSERT_EQ(nuvStatusOk, nuviHoughLineGetSize_8u_C1R(size, delta, capacity, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes));
    std::vector<NuviPointPolar> lines(room);
    const NuvStatus status = nuviHoughLine_8u32f_C1R(src.data(), src.step(), size, delta, threshold,
                                                     lines.data(), capacity, &count, buffer.data());
    // A warning only if a line that was found had to go.
    ASSERT_TRUE(status == nuvStatusOk || (status == nuvStatusMoreThanRoom && room < all.size()));
    ASSERT_EQ(std::min(room, all.size()), static_cast<size_t>(count));
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
      ASSERT_TRUE(all[i].rho == lines[i].rho && all[i].theta == lines[i].theta) << i;
    }
  }
}

TEST(Hough, MatchesReference) {
  for (const NuviPointPolar delta : {NuviPointPolar{1.0f, 0.05f}, NuviPointPolar{0.5f, 0.3f},
                                     NuviPointPolar{2.5f, 0.017453f}, NuviPointPolar{3.0f, 3.1f}}) {
    for (int32_t width = 1; width <= 40; width += 3) {
      expectReference({width, 2 + width % 13}, delta, 1 + width % 3, 3);
    }
    expectReference({64, 48}, delta, 5, 10);
    expectReference({20, 20}, delta, 5, 1000);  // hardly a point
  }
}

// A vertical line and a longer horizontal one, which alone lies in the region of parameters, whose
// angles start at its low corner; and which pushes the vertical one out of a list for one.
TEST(Hough, RegionsAndRoom) {
  TestImage<uint8_t> src({80, 60});
  for (int32_t y = 0; y < 60; ++y) {
    for (int32_t x = 0; x < 80; ++x) src.at(x, y) = x == 10 || (y == 30 && x < 66);
  }
  const NuviPointPolar delta = {1.0f, 3.14159f / 180}, region[2] = {{20.0f, 1.4f}, {40.0f, 1.8f}};
  NuviPointPolar lines[2][4];
  int32_t counts[2];
  std::vector<uint8_t> buffer(100000);
  EXPECT_EQ(nuvStatusOk,
            nuviHoughLine_Region_8u32f_C1R(src.data(), 80, src.size(), lines[0], region, 4,
                                           &counts[0], delta, 58, buffer.data()));
  EXPECT_EQ(nuvStatusMoreThanRoom, nuviHoughLine_8u32f_C1R(src.data(), 80, src.size(), delta, 58,
                                                           lines[1], 1, &counts[1], buffer.data()));
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(1, counts[i]);
    EXPECT_NEAR(30, lines[i][0].rho, 1);
    EXPECT_NEAR(3.14159 / 2, lines[i][0].theta, 0.05);
  }
}

TEST(HoughChecks, FirstFailureInOrder) {
  const uint8_t src[16] = {};
  NuviPointPolar line, region[2] = {{1, 1}, {0, 2}};
  int32_t count = -7, bytes = -7;
  std::vector<uint8_t> buffer(1 << 16);
  const auto call = [&](int32_t step, NuviSize size, NuviPointPolar delta, int32_t threshold,
                        int32_t room, const NuviPointPolar* corners) {
    return nuviHoughLine_Region_8u32f_C1R(src, step, size, &line, corners, room, &count, delta,
                                          threshold, buffer.data());
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, {0, 4}, {0, 0}, 0, 0, nullptr));
  EXPECT_EQ(nuvStatusBadStep, call(0, {0, 4}, {0, 0}, 0, 0, region));
  EXPECT_EQ(nuvStatusBadSize, call(1, {4, 0}, {0, 0}, 0, 1, region));
  EXPECT_EQ(nuvStatusBadSize, call(1, {4, 4}, {0, 0}, 0, 0, region));
  for (const NuviPointPolar delta :
       {NuviPointPolar{0, 1}, {-1, 1}, {8.5f, 1}, {1, 0}, {1, 3.2f}, {NAN, 1}}) {
    EXPECT_EQ(nuvStatusBadArgument, call(4, {4, 4}, delta, 1, 1, region));
  }
  EXPECT_EQ(nuvStatusBadArgument, call(4, {4, 4}, {1, 1}, 0, 1, region));
  EXPECT_EQ(-7, count);
  EXPECT_EQ(nuvStatusBadRange, call(4, {4, 4}, {1, 1}, 1, 1, region));
  EXPECT_EQ(0, count);
  region[1].rho = 1;
  EXPECT_EQ(nuvStatusOk, call(4, {4, 4}, {8, 1}, 1, 1, region));  // the coarsest resolution
  EXPECT_EQ(nuvStatusNullPointer, nuviHoughLineGetSize_8u_C1R({0, 0}, {0, 0}, 1, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviHoughLineGetSize_8u_C1R({0, 1}, {0, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadArgument, nuviHoughLineGetSize_8u_C1R({1, 1}, {1, 0}, 1, &bytes));
  EXPECT_EQ(-7, bytes);
  // 21 distances, and 3 angles behind the first.
  ASSERT_EQ(nuvStatusOk, nuviHoughLineGetSize_8u_C1R({6, 4}, {1, 1}, 5, &bytes));
  EXPECT_EQ(4 * (6 * 4 + 48) + 5 * 16 + (3 * 8 + 8 + 21 * 12) + 21 * 4 + 256, bytes);
  EXPECT_EQ(nuvStatusOk, nuviHoughLineGetSize_8u_C1R({INT32_MAX, INT32_MAX}, {1, 4}, 1, &bytes));
  EXPECT_EQ(-44 + 16 + 8 + 256, bytes);  // wraps, and the range of rho with it, to no distance
}

}  // namespace

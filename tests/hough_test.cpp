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
  const int lastAngle = static_cast<int>(3.14159 / static_cast<double>(delta.theta));
  const int distances = static_cast<int>(
      static_cast<float>(2 * (src.size().width + src.size().height) + 1) / delta.rho);
  const int offset = (distances - 1) / 2;
  const double scale = (1.0 / static_cast<double>(delta.rho)) * 1024.0;
  std::vector<std::vector<int>> cells;
  float theta = 0.0f;
  for (int k = 0; k <= lastAngle; ++k, theta += delta.theta) {
    const auto S =
        static_cast<float>(static_cast<int>(scale * std::sin(static_cast<double>(theta))));
    const auto C =
        static_cast<float>(static_cast<int>(scale * std::cos(static_cast<double>(theta))));
    std::vector<int> row(static_cast<size_t>(distances + 2));
    for (int y = 0; y < src.size().height; ++y) {
      const float rowTerm = static_cast<float>(y) * S;
      for (int x = 0; x < src.size().width; ++x) {
        if (src.at(x, y) == 0) continue;
        const float product = static_cast<float>(x) * C;
        const int index = ((static_cast<int>(std::rint(product + rowTerm)) + 512) >> 10) + offset;
        if (index >= 0 && index < distances) ++row[static_cast<size_t>(index + 1)];
      }
    }
    cells.push_back(row);
  }
  const std::vector<int> none(static_cast<size_t>(distances + 2));
  std::vector<Found> found;
  for (size_t k = 0; k < cells.size(); ++k) {
    const auto& former = k > 0 ? cells[k - 1] : none;
    const auto& next = k + 1 < cells.size() ? cells[k + 1] : none;
    for (size_t r = 1; r <= static_cast<size_t>(distances); ++r) {
      const int v = cells[k][r];
      if (v > threshold && v > cells[k][r - 1] && v >= cells[k][r + 1] && v > former[r] &&
          v >= next[r]) {
        found.push_back({delta.rho * static_cast<float>(static_cast<int>(r) - 1 - offset),
                         delta.theta * static_cast<float>(k), v});
      }
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.votes > b.votes; });
  return found;
}

void compare(NuviSize size, NuviPointPolar delta, int threshold, int oneIn, unsigned seed) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " rho " +
               std::to_string(delta.rho));
  TestImage<uint8_t> src(size, 1, 3);
  src.fill([&, random = std::mt19937(seed)]() mutable {
    return random() % static_cast<unsigned>(oneIn) == 0 ? 1 + random() % 255 : 0;
  });
  const std::vector<Found> all = reference(src, delta, threshold);
  for (const size_t room : {size_t{1}, size_t{7}, all.size(), all.size() + 1}) {
    if (room == 0) continue;
    int32_t bytes = 0, count = -1;
    ASSERT_EQ(nuvStatusOk,
              nuviHoughLineGetSize_8u_C1R(size, delta, static_cast<int32_t>(room), &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes));
    std::vector<NuviPointPolar> lines(room);
    const NuvStatus status =
        nuviHoughLine_8u32f_C1R(src.data(), src.step(), size, delta, threshold, lines.data(),
                                static_cast<int32_t>(room), &count, buffer.data());
    ASSERT_EQ(std::min(room, all.size()), static_cast<size_t>(count));
    if (room >= all.size()) {
      ASSERT_EQ(nuvStatusOk, status);
    } else {
      ASSERT_GE(status, nuvStatusOk);  // a warning only if a line that was found had to go
    }
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
      ASSERT_EQ(all[i].rho, lines[i].rho) << i;
      ASSERT_EQ(all[i].theta, lines[i].theta) << i;
    }
  }
}

TEST(Hough, MatchesReference) {
  for (const NuviPointPolar delta : {NuviPointPolar{1.0f, 0.05f}, NuviPointPolar{0.5f, 0.3f},
                                     NuviPointPolar{2.5f, 0.017453f}, NuviPointPolar{3.0f, 3.1f}}) {
    for (int32_t width = 1; width <= 40; width += 3) {
      const NuviSize size = {width, 2 + width % 13};
      compare(size, delta, 1 + width % 3, 3, static_cast<unsigned>(width));
    }
    compare({64, 48}, delta, 5, 10, 1);
    compare({20, 20}, delta, 5, 1000, 2);  // hardly a point
  }
}

TEST(Hough, DrawnLinesComeFirst) {
  const NuviSize size = {80, 60};
  TestImage<uint8_t> src(size);
  src.fill([] { return 0; });
  for (int32_t y = 0; y < 60; ++y) src.at(10, y) = 255;
  for (int32_t x = 0; x < 66; ++x) src.at(x, 30) = 1;
  const NuviPointPolar delta = {1.0f, 3.14159f / 180};
  NuviPointPolar lines[4];
  int32_t count = 0, bytes = 0;
  nuviHoughLineGetSize_8u_C1R(size, delta, 4, &bytes);
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  ASSERT_EQ(nuvStatusOk, nuviHoughLine_8u32f_C1R(src.data(), 80, size, delta, 58, lines, 4, &count,
                                                 buffer.data()));
  ASSERT_EQ(2, count);
  EXPECT_NEAR(30, lines[0].rho, 1);
  EXPECT_NEAR(3.14159 / 2, lines[0].theta, 0.05);
  EXPECT_NEAR(10, lines[1].rho, 1);
  EXPECT_NEAR(0, lines[1].theta, 0.05);

  // Only the horizontal one lies in this region of parameters, whose angles start at its low
  // corner.
  const NuviPointPolar region[2] = {{20.0f, 1.4f}, {40.0f, 1.8f}};
  ASSERT_EQ(nuvStatusOk, nuviHoughLine_Region_8u32f_C1R(src.data(), 80, size, lines, region, 4,
                                                        &count, delta, 58, buffer.data()));
  ASSERT_EQ(1, count);
  EXPECT_NEAR(30, lines[0].rho, 1);
  EXPECT_NEAR(3.14159 / 2, lines[0].theta, 0.05);
  // Room for one: the vertical one is found first, and pushed out with a warning.
  EXPECT_EQ(nuvStatusMoreThanRoom, nuviHoughLine_8u32f_C1R(src.data(), 80, size, delta, 58, lines,
                                                           1, &count, buffer.data()));
  EXPECT_EQ(1, count);
  EXPECT_NEAR(30, lines[0].rho, 1);
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
  EXPECT_EQ(nuvStatusOk,
            nuviHoughLine_8u32f_C1R(src, 4, {4, 4}, {1, 1}, 1, &line, 1, &count, buffer.data()));
  EXPECT_EQ(0, count);
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

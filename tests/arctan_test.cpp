#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

float reference(float y, float x) {
  const float ax = std::fabs(x), ay = std::fabs(y);
  const float s = std::min(ax, ay) * (1.0f / std::max({ax, ay, 1e-8f}));
  float p = std::fma(s, std::fma(s, -15.8131895f, 61.094196f), -0.14050041f);
  if (ax < ay) p = 90.0f - p;
  if (x < 0.0f) p = 180.0f - p;
  if (y < 0.0f) p = 360.0f - p;
  return p;
}

// Zeros of both signs and equal coordinates among them; also in place of either source.
TEST(FastArctan, MatchesReference) {
  for (int32_t length = 1; length <= 40; ++length) {
    for (const Against against : {Against::end, Against::begin}) {
      const NuviSize size = {length, 1};
      TestImage<float> y(size, 1, 0, against), x(size, 1, 0, against), angle(size, 1, 0, against);
      y.fill(RandomSamples<float>(static_cast<unsigned>(length)));
      x.fill(RandomSamples<float>(99));
      y.at(0, 0) = length % 2 == 0 ? -0.0f : 1e-20f;
      if (length > 4) y.at(3, 0) = -x.at(3, 0), x.at(4, 0) = 0, x.at(0, 0) = -0.0f;
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y.data(), x.data(), angle.data(), length));
      for (int32_t i = 0; i < length; ++i) {
        ASSERT_EQ(reference(y.at(i, 0), x.at(i, 0)), angle.at(i, 0)) << i << " of " << length;
      }
      const TestImage<float> copy(size);
      std::copy_n(y.data(), length, copy.data());
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(copy.data(), x.data(), copy.data(), length));
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y.data(), x.data(), x.data(), length));
      ASSERT_TRUE(angle.bytes() == copy.bytes() && angle.bytes() == x.bytes());
    }
  }
}

TEST(FastArctan, IsTheAngleToASeventhOfADegree) {
  for (int32_t i = 0; i < 36000; ++i) {
    const double radians = i * (M_PI / 18000);
    const auto y = static_cast<float>(300 * std::sin(radians));
    const auto x = static_cast<float>(300 * std::cos(radians));
    float angle = 0;
    ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(&y, &x, &angle, 1));
    ASSERT_LT(std::fabs(std::remainder(angle - i * 0.01, 360.0)), 0.1407) << i;
  }
}

TEST(FastArctan, ChecksInOrderAndNothingWritten) {
  float y = 1, x = 1, angle = 7;
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(nullptr, &x, &angle, 0));
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(&y, nullptr, &angle, 1));
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(&y, &x, nullptr, -1));
  EXPECT_EQ(nuvStatusBadSize, nuvibFastArctan_32f(&y, &x, &angle, 0));
  EXPECT_EQ(7, angle);
}

}  // namespace

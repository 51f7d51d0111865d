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

TEST(FastArctan, MatchesReference) {
  for (int32_t length = 1; length <= 70; ++length) {
    for (const Against against : {Against::end, Against::begin}) {
      const NuviSize size = {length, 1};
      TestImage<float> y(size, 1, 0, against), x(size, 1, 0, against), angle(size, 1, 0, against);
      y.fill(RandomSamples<float>(static_cast<unsigned>(length)));
      x.fill(RandomSamples<float>(99));
      if (length > 4) y.at(3, 0) = -x.at(3, 0);
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y.data(), x.data(), angle.data(), length));
      for (int32_t i = 0; i < length; ++i) {
        ASSERT_EQ(reference(y.at(i, 0), x.at(i, 0)), angle.at(i, 0)) << i << " of " << length;
      }
      // In place of either source.
      const TestImage<float> copy(size);
      std::copy_n(y.data(), length, copy.data());
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(copy.data(), x.data(), copy.data(), length));
      ASSERT_EQ(angle.bytes(), copy.bytes());
      ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y.data(), x.data(), x.data(), length));
      ASSERT_EQ(angle.bytes(), x.bytes());
    }
  }
}

TEST(FastArctan, IsTheAngleToASeventhOfADegree) {
  constexpr int32_t length = 36000;
  std::vector<float> y(length), x(length), angle(length);
  for (int32_t i = 0; i < length; ++i) {
    const double radians = i * (2 * M_PI / length);
    y[i] = static_cast<float>(300 * std::sin(radians));
    x[i] = static_cast<float>(300 * std::cos(radians));
  }
  ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y.data(), x.data(), angle.data(), length));
  for (int32_t i = 0; i < length; ++i) {
    const double difference = angle[i] - i * (360.0 / length);
    ASSERT_LT(std::fabs(std::remainder(difference, 360.0)), 0.1407) << i;
  }
}

TEST(FastArctan, OnTheAxesAndAtTheOrigin) {
  const float y[] = {0.0f, -0.0f, 0.0f, 2.0f, -2.0f, 1e-20f, -0.0f};
  const float x[] = {0.0f, 5.0f, -5.0f, 0.0f, 0.0f, 1e-20f, -0.0f};
  const float expected[] = {-0.14050041f,
                            -0.14050041f,
                            180.0f + 0.14050041f,
                            90.0f + 0.14050041f,
                            360.0f - (90.0f + 0.14050041f),
                            -0.14050041f,
                            -0.14050041f};
  float angle[7];
  ASSERT_EQ(nuvStatusOk, nuvibFastArctan_32f(y, x, angle, 7));
  for (int i = 0; i < 7; ++i) EXPECT_EQ(expected[i], angle[i]) << i;
}

TEST(FastArctan, ChecksInOrderAndNothingWritten) {
  float y[2] = {}, x[2] = {}, angle[2] = {7, 7};
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(nullptr, x, angle, 0));
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(y, nullptr, angle, 2));
  EXPECT_EQ(nuvStatusNullPointer, nuvibFastArctan_32f(y, x, nullptr, -1));
  EXPECT_EQ(nuvStatusBadSize, nuvibFastArctan_32f(y, x, angle, 0));
  EXPECT_EQ(nuvStatusBadSize, nuvibFastArctan_32f(y, x, angle, -1));
  EXPECT_TRUE(angle[0] == 7 && angle[1] == 7);
}

}  // namespace

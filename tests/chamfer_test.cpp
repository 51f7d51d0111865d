#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define NUV_FORMS(T, M, types)                                             \
  template <>                                                              \
  struct Forms<T> {                                                        \
    using Metric = M;                                                      \
    static constexpr auto small = nuviDistanceTransform_3x3_##types##_C1R; \
    static constexpr auto large = nuviDistanceTransform_5x5_##types##_C1R; \
  };
NUV_FORMS(uint8_t, int32_t, 8u)
NUV_FORMS(uint16_t, int32_t, 8u16u)
NUV_FORMS(float, float, 8u32f)
#undef NUV_FORMS

template <class T>
constexpr double limit = std::numeric_limits<T>::max();

// Two plain passes. Metrics of 0 stand for moves that are left out; sums are rounded as T is.
template <class T>
std::vector<double> passes(const TestImage<uint8_t>& src, double a, double b, double c) {
  const int w = src.size().width, h = src.size().height;
  std::vector<double> d(static_cast<size_t>(w * h));
  const auto at = [&](int x, int y) -> double& { return d[static_cast<size_t>(y * w + x)]; };
  const auto ask = [&](int x, int y, int direction, double value) {
    constexpr int moves[8][3] = {{-1, 0, 0},  {0, -1, 0}, {-1, -1, 1}, {1, -1, 1},
                                 {-2, -1, 2}, {2, -1, 2}, {-1, -2, 2}, {1, -2, 2}};
    for (const auto& move : moves) {
      const double metric = move[2] == 0 ? a : move[2] == 1 ? b : c;
      const int ox = x - direction * move[0], oy = y - direction * move[1];
      if (metric == 0 || ox < 0 || oy < 0 || ox >= w || oy >= h) continue;
      const double sum =
          std::is_integral_v<T>
              ? at(ox, oy) + metric
              : static_cast<double>(static_cast<float>(at(ox, oy)) + static_cast<float>(metric));
      value = std::min({value, sum, limit<T>});
    }
    return value;
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) at(x, y) = src.at(x, y) == 0 ? 0 : ask(x, y, -1, limit<T>);
  }
  for (int y = h - 1; y >= 0; --y) {
    for (int x = w - 1; x >= 0; --x) {
      if (at(x, y) > a) at(x, y) = ask(x, y, 1, at(x, y));
    }
  }
  return d;
}

template <class T>
std::vector<double> reference3(const TestImage<uint8_t>& src, double a, double b) {
  if (a > b && src.size().width >= 2 && src.size().height >= 2) a = b;
  return passes<T>(src, a, b >= 2 * a ? 0 : b, 0);
}

template <class T>
std::vector<double> reference5(const TestImage<uint8_t>& src, double a, double b, double c) {
  const double corner = std::min(2 * a, b);
  if constexpr (std::is_integral_v<T>) {
    if (a + corner <= c) return reference3<T>(src, a, b);
    return passes<T>(src, std::min({a, c + corner, 3 * c}), std::min(corner, 2 * c), c);
  } else {
    const auto fa = static_cast<float>(a), fc = static_cast<float>(c),
               fb = static_cast<float>(corner);
    if ((fc - fa) - fb > -1e-7f * std::fabs(fa + fb)) return reference3<T>(src, a, b);
    return passes<T>(src, a, b, c);
  }
}

template <class T>
class Chamfer : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Chamfer, Elements);

TYPED_TEST(Chamfer, MatchesTwoPlainPasses) {
  using T = TypeParam;
  using Metric = typename Forms<T>::Metric;
  std::vector<std::array<double, 3>> triples = {
      {1, 1, 2},       {1, 2, 3},         {5, 7, 11},
      {2, 3, 5},       {7, 3, 5},         {3, 9, 5},
      {10, 3, 2},      {9, 20, 1},        {40, 55, 90},
      {100, 300, 350}, {60000, 300, 200}, {200, 250, 300},
      {8, 4, 9},       {11, 15, 16},      {1000000000, 2000000000, 2000000000}};
  if (std::is_floating_point_v<T>) {
    triples = {{1.0f, 1.4f, 2.1969f}, {0.955f, 1.3693f, 2.1f}, {0.955f, 1.3693f, 2.3243f},
               {0.1f, 0.3f, 0.25f},   {1.7f, 0.9f, 0.4f},      {1e38f, 1.4e38f, 2.2e38f},
               {0.7f, 1.4f, 2.1f},    {0.7f, 1.0f, 1.7f}};
  }
  std::mt19937 random(11);
  const std::vector<NuviSize> sizes = {{1, 1},   {1, 40},  {40, 1},  {2, 2},   {3, 5},   {17, 9},
                                       {34, 21}, {127, 6}, {128, 5}, {129, 7}, {300, 33}};
  for (size_t i = 0; i < 3 * sizes.size(); ++i) {
    const NuviSize size = sizes[i % sizes.size()];
    const Against against = i % 2 == 0 ? Against::end : Against::begin;
    TestImage<uint8_t> src(size, 1, static_cast<int>(i % 3), against);
    TestImage<T> dst(size, 1, static_cast<int>(i % 2), against);
    const unsigned rarity = i < sizes.size() ? 4 : i < 2 * sizes.size() ? 60 : 3000;
    src.fill([&] { return random() % rarity == 0 ? 0 : 1 + random() % 255; });
    for (const auto& triple : triples) {
      const Metric metrics[] = {static_cast<Metric>(triple[0]), static_cast<Metric>(triple[1]),
                                static_cast<Metric>(triple[2])};
      for (const bool isLarge : {false, true}) {
        const auto expected = isLarge ? reference5<T>(src, metrics[0], metrics[1], metrics[2])
                                      : reference3<T>(src, metrics[0], metrics[1]);
        const auto transform = isLarge ? Forms<T>::large : Forms<T>::small;
        ASSERT_EQ(nuvStatusOk,
                  transform(src.data(), src.step(), dst.data(), dst.step(), size, metrics));
        for (int y = 0; y < size.height; ++y) {
          for (int x = 0; x < size.width; ++x) {
            ASSERT_EQ(expected[static_cast<size_t>(y * size.width + x)], double{dst.at(x, y)})
                << x << "," << y << " metrics " << triple[0] << " " << triple[1] << " " << triple[2]
                << " large " << isLarge;
          }
        }
        ASSERT_TRUE(dst.padsUntouched());
        if constexpr (std::is_same_v<T, uint8_t>) {
          TestImage<uint8_t> inPlace(size);
          for (int y = 0; y < size.height; ++y) {
            std::copy(src.row(y), src.row(y) + size.width, inPlace.row(y));
          }
          const auto change =
              isLarge ? nuviDistanceTransform_5x5_8u_C1IR : nuviDistanceTransform_3x3_8u_C1IR;
          ASSERT_EQ(nuvStatusOk, change(inPlace.data(), inPlace.step(), size, metrics));
          ASSERT_EQ(dst.bytes(), inPlace.bytes());
        }
      }
    }
  }
}

// With the norms' own metrics the two passes are exact for the largest coordinate and the sum.
TEST(ChamferMetrics, StandardOnesMeasureTheirNorms) {
  const NuviSize size = {31, 22};
  TestImage<uint8_t> src(size);
  src.fill([] { return 9; });
  src.at(12, 7) = 0;
  TestImage<float> dst(size);
  for (const int kernel : {3, 5}) {
    for (int norm = 0; norm < 3; ++norm) {
      float real[3] = {}, typed[3] = {};
      int32_t whole[3] = {};
      ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask_32f(kernel, norm, real));
      ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask(kernel * 10 + norm, typed));
      ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask_32s(kernel, norm, whole));
      ASSERT_TRUE(std::equal(real, real + 3, typed));
      const auto transform =
          kernel == 3 ? nuviDistanceTransform_3x3_8u32f_C1R : nuviDistanceTransform_5x5_8u32f_C1R;
      ASSERT_EQ(nuvStatusOk, transform(src.data(), src.step(), dst.data(), dst.step(), size, real));
      const double unit = norm < 2 ? 1 : kernel == 3 ? 2 : 5;
      for (int i = 0; i < kernel / 2 + 1; ++i) EXPECT_NEAR(whole[i] / unit, double{real[i]}, 0.15);
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          const int dx = std::abs(x - 12), dy = std::abs(y - 7);
          const double exact = norm == 0   ? std::max(dx, dy)
                               : norm == 1 ? dx + dy
                                           : std::hypot(dx, dy);
          ASSERT_NEAR(exact, double{dst.at(x, y)}, norm < 2 ? 0 : 0.08 * exact);
        }
      }
    }
  }
}

TEST(ChamferChecks, FirstFailureInOrderAndNothingWritten) {
  uint8_t src[8] = {};
  float dst[4] = {5};
  float good[] = {1, 1, 1}, bad[] = {1, 1, -1};
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, const float* metrics) {
    return nuviDistanceTransform_5x5_8u32f_C1R(src, srcStep, dst, dstStep, size, metrics);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(0, 0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {0, 1}, bad));
  EXPECT_EQ(nuvStatusBadStep, call(1, 9, {2, 1}, bad));
  EXPECT_EQ(nuvStatusBadStep, call(2, 7, {2, 1}, bad));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(2, 9, {2, 1}, bad));
  EXPECT_EQ(nuvStatusBadMetric, call(2, 8, {2, 1}, bad));
  EXPECT_EQ(5.0f, dst[0]);
  EXPECT_EQ(nuvStatusOk, nuviDistanceTransform_3x3_8u32f_C1R(src, 2, dst, 8, {2, 1}, bad));
  EXPECT_EQ(nuvStatusOk, call(2, 8, {2, 1}, good));
  const int32_t zero[] = {0, 1};
  EXPECT_EQ(nuvStatusBadMetric, nuviDistanceTransform_3x3_8u_C1IR(src, 2, {2, 1}, zero));
  EXPECT_EQ(nuvStatusBadArgument, nuviGetDistanceTransformMask(33, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetDistanceTransformMask(42, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviGetDistanceTransformMask(42, good));
  EXPECT_EQ(nuvStatusBadArgument, nuviGetDistanceTransformMask_32f(3, 3, good));
}

}  // namespace

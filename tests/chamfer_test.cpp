#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

constexpr int32_t wholeMetrics[][3] = {
    {1, 1, 2},       {1, 2, 3},         {5, 7, 11},
    {2, 3, 5},       {7, 3, 5},         {3, 9, 5},
    {10, 3, 2},      {9, 20, 1},        {40, 55, 90},
    {100, 300, 350}, {60000, 300, 200}, {200, 250, 300},
    {8, 4, 9},       {11, 15, 16},      {1000000000, 2000000000, 2000000000}};
constexpr float realMetrics[][3] = {{1.0f, 1.4f, 2.1969f},      {0.955f, 1.3693f, 2.1f},
                                    {0.955f, 1.3693f, 2.3243f}, {0.1f, 0.3f, 0.25f},
                                    {1.7f, 0.9f, 0.4f},         {1e38f, 1.4e38f, 2.2e38f},
                                    {0.7f, 1.4f, 2.1f},         {0.7f, 1.0f, 1.7f}};

template <class T>
struct Forms;
#define FORMS(T, table, types)                                             \
  template <>                                                              \
  struct Forms<T> {                                                        \
    static constexpr auto& metrics = table;                                \
    static constexpr auto small = nuviDistanceTransform_3x3_##types##_C1R; \
    static constexpr auto large = nuviDistanceTransform_5x5_##types##_C1R; \
  };
FORMS(uint8_t, wholeMetrics, 8u)
FORMS(uint16_t, wholeMetrics, 8u16u)
FORMS(float, realMetrics, 8u32f)
#undef FORMS

// Two plain passes in a type that holds every sum. A metric of 0 stands for a move that is left
// out.
template <class T>
void passes(const TestImage<uint8_t>& src, double a, double b, double c, const TestImage<T>& dst) {
  using Sum = std::conditional_t<std::is_integral_v<T>, int64_t, float>;
  constexpr Sum limit = std::numeric_limits<T>::max();
  const NuviSize size = src.size();
  const auto ask = [&](int x, int y, int direction, Sum value) {
    constexpr int moves[8][3] = {{-1, 0, 0},  {0, -1, 0}, {-1, -1, 1}, {1, -1, 1},
                                 {-2, -1, 2}, {2, -1, 2}, {-1, -2, 2}, {1, -2, 2}};
    for (const auto& [dx, dy, kind] : moves) {
      const auto metric = static_cast<Sum>(kind == 0 ? a : kind == 1 ? b : c);
      const int ox = x + direction * dx, oy = y + direction * dy;
      if (metric == 0 || ox < 0 || oy < 0 || ox >= size.width || oy >= size.height) continue;
      value = std::min({value, Sum{dst.at(ox, oy)} + metric, limit});
    }
    return static_cast<T>(value);
  };
  const int pixels = size.width * size.height;
  for (int i = 0; i < pixels; ++i) {
    const int x = i % size.width, y = i / size.width;
    dst.at(x, y) = src.at(x, y) == 0 ? T{0} : ask(x, y, 1, limit);
  }
  for (int i = pixels - 1; i >= 0; --i) {
    T& value = dst.at(i % size.width, i / size.width);
    if (value > a) value = ask(i % size.width, i / size.width, -1, value);
  }
}

// The metrics that the passes work with. A metric c of 0 asks for the smaller mask.
template <class T>
void reference(const TestImage<uint8_t>& src, double a, double b, double c,
               const TestImage<T>& dst) {
  const double corner = std::min(2 * a, b);
  const auto fa = static_cast<float>(a), fb = static_cast<float>(corner);
  const float rest = (static_cast<float>(c) - fa) - fb;
  if (c == 0 || (std::is_integral_v<T> ? a + corner <= c : rest > -1e-7f * std::fabs(fa + fb))) {
    if (a > b && src.size().width >= 2 && src.size().height >= 2) a = b;
    passes(src, a, b >= 2 * a ? 0 : b, 0, dst);
  } else if (std::is_integral_v<T>) {
    passes(src, std::min({a, c + corner, 3 * c}), std::min(corner, 2 * c), c, dst);
  } else {
    passes(src, a, b, c, dst);
  }
}

template <class T>
class Chamfer : public ::testing::Test {
 protected:
  template <class Metric>
  static void compare(const TestImage<uint8_t>& src, const TestImage<T>& dst,
                      const Metric (&metrics)[3], bool isLarge) {
    const NuviSize size = src.size();
    SCOPED_TRACE(std::to_string(size.width) + " wide: " + std::to_string(metrics[0]) + " " +
                 std::to_string(metrics[1]) + " " + std::to_string(metrics[2]));
    const TestImage<T> expected(size);
    reference(src, metrics[0], metrics[1], isLarge ? metrics[2] : 0, expected);
    const auto transform = isLarge ? Forms<T>::large : Forms<T>::small;
    ASSERT_EQ(nuvStatusOk,
              transform(src.data(), src.step(), dst.data(), dst.step(), size, metrics));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
    if constexpr (std::is_same_v<T, uint8_t>) {
      TestImage<uint8_t> inPlace(size);
      inPlace.fill([bytes = src.bytes(), n = size_t{0}]() mutable { return bytes[n++]; });
      const auto change =
          isLarge ? nuviDistanceTransform_5x5_8u_C1IR : nuviDistanceTransform_3x3_8u_C1IR;
      ASSERT_EQ(nuvStatusOk, change(inPlace.data(), inPlace.step(), size, metrics));
      ASSERT_EQ(expected.bytes(), inPlace.bytes());
    }
  }
};
using Elements = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Chamfer, Elements);

TYPED_TEST(Chamfer, MatchesTwoPlainPasses) {
  using T = TypeParam;
  constexpr int sizes[][2] = {{1, 1},   {1, 40},  {40, 1},  {2, 2},   {3, 5},   {17, 9},
                              {34, 21}, {127, 6}, {128, 5}, {129, 7}, {300, 33}};
  std::mt19937 random(11);
  for (const auto& [width, height] : sizes) {
    for (const unsigned rarity : {4, 60, 3000}) {
      const Against against = rarity == 60 ? Against::begin : Against::end;
      TestImage<uint8_t> src({width, height}, 1, static_cast<int>(rarity % 7), against);
      TestImage<T> dst({width, height}, 1, width % 2, against);
      src.fill([&] { return random() % rarity == 0 ? 0 : 1 + random() % 255; });
      for (const auto& metrics : Forms<T>::metrics) {
        for (const bool isLarge : {false, true}) this->compare(src, dst, metrics, isLarge);
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
  for (const int type : {30, 31, 32, 50, 51, 52}) {
    const int kernel = type / 10, norm = type % 10;
    float real[3] = {}, typed[3] = {};
    int32_t whole[3] = {};
    ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask_32f(kernel, norm, real));
    ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask(type, typed));
    ASSERT_EQ(nuvStatusOk, nuviGetDistanceTransformMask_32s(kernel, norm, whole));
    const double unit = norm < 2 ? 1 : kernel == 3 ? 2 : 5;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(real[i], typed[i]);
      EXPECT_NEAR(whole[i] / unit, double{real[i]}, 0.15);
    }
    const auto transform =
        kernel == 3 ? nuviDistanceTransform_3x3_8u32f_C1R : nuviDistanceTransform_5x5_8u32f_C1R;
    ASSERT_EQ(nuvStatusOk, transform(src.data(), src.step(), dst.data(), dst.step(), size, real));
    for (int i = 0; i < size.width * size.height; ++i) {
      const int x = i % size.width, y = i / size.width, dx = std::abs(x - 12), dy = std::abs(y - 7);
      const double exact = norm == 0 ? std::max(dx, dy) : norm == 1 ? dx + dy : std::hypot(dx, dy);
      ASSERT_NEAR(exact, double{dst.at(x, y)}, norm < 2 ? 0 : 0.08 * exact);
    }
  }
}

TEST(ChamferChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t src[8] = {};
  uint8_t inPlace[8] = {};
  float dst[4] = {5}, bad[] = {1, 1, -1};
  const int32_t zero[] = {0, 1};
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
  EXPECT_EQ(nuvStatusBadMetric, nuviDistanceTransform_3x3_8u_C1IR(inPlace, 2, {2, 1}, zero));
  EXPECT_EQ(nuvStatusBadArgument, nuviGetDistanceTransformMask(33, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviGetDistanceTransformMask(42, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviGetDistanceTransformMask(42, bad));
  EXPECT_EQ(nuvStatusBadArgument, nuviGetDistanceTransformMask_32f(3, 3, bad));
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// The interpolation from its definition, one pixel at a time.
template <class From, class To>
struct Reference {
  static constexpr bool isFixed = std::is_same_v<From, uint8_t> && !std::is_same_v<To, float>;

  Reference(float fractionX, float fractionY, int32_t scaleFactor) : scale(scaleFactor) {
    if (isFixed) {
      const auto fixedShare = [](float f) {
        return static_cast<int64_t>(std::fma(16384.0f, f, f >= 0 ? 0.5f : 16384.5f));
      };
      const int64_t right = fixedShare(fractionX), below = fixedShare(fractionY);
      ax = right, bx = 16384 - right, ay = below, by = 16384 - below;
      int64_t fixed[4] = {(16384 - right) * (16384 - below), right * (16384 - below),
                          (16384 - right) * below, right * below};
      int64_t rest = 16384;
      for (int64_t& weight : fixed) rest -= weight = (weight + 16384) >> 14;
      int largest = 0;
      for (const int i : {2, 1, 3}) {
        if (fixed[i] > fixed[largest]) largest = i;
      }
      if (rest < 0) fixed[largest] += rest;
      for (int i = 0; i < 4; ++i) w[i] = static_cast<double>(fixed[i]);
    } else {
      float x = fractionX < 0 ? 1 + fractionX : fractionX;
      float y = fractionY < 0 ? 1 + fractionY : fractionY;
      if (!std::is_same_v<From, uint16_t>) {
        x = std::max(x, 1e-6f);
        y = std::max(y, std::is_same_v<From, float> ? 1e-6f : 1e-9f);
      }
      ax = x, bx = 1 - x, ay = y, by = 1 - y;
      const float above = 1 - y;
      w[0] = std::fma(-above, x, above);
      w[1] = std::fma(-y, x, x);
      w[2] = std::fma(-y, x, y);
      w[3] = x * y;
      ratio = above / y;
    }
  }
  To finish(double sum) const {
    if constexpr (isFixed) {
      const auto whole = static_cast<uint32_t>(sum);
      return static_cast<To>((whole + (1u << ((scale + 13) & 31))) >> ((scale + 14) & 31));
    } else if constexpr (std::is_same_v<To, float>) {
      return static_cast<float>(sum);
    } else {
      return static_cast<To>(std::nearbyint(static_cast<float>(sum)));
    }
  }
  // a p + b q in the arithmetic of the form: exact, or in float with each step rounded.
  double mix(double a, double p, double b, double q) const {
    if (isFixed) return a * p + b * q;
    return static_cast<float>(a) * static_cast<float>(p) +
           static_cast<float>(b) * static_cast<float>(q);
  }
  double upper(const From* p) const { return mix(w[0], p[0], w[1], p[1]); }
  double lower(const From* p) const { return mix(w[2], p[0], w[3], p[1]); }
  double add(double a, double b) const {
    return isFixed ? a + b : static_cast<float>(a) + static_cast<float>(b);
  }

  int32_t scale;
  double w[4] = {}, ax = 0, bx = 0, ay = 0, by = 0;
  float ratio = 0;
};

constexpr float offsets[][2] = {{0, 0},           {0.25f, 0.75f},   {-0.25f, 3.5f},
                                {-7.9f, -0.001f}, {0.99999f, 0.5f}, {-1e-9f, -1e-9f},
                                {0.3f, 1e-8f}};

template <class From, class To, class Call>
void checkCopy(bool alwaysPaired, bool pairedWhenSmall, int32_t scale, Call call) {
  for (const NuviSize size : {NuviSize{1, 1},
                              {5, 3},
                              {16, 2},
                              {17, 9},
                              {33, 4},
                              {64, 64},
                              {65, 7},
                              {7, 65},
                              {64, 20},
                              {131, 6},
                              {200, 3}}) {
    for (const auto& offset : offsets) {
      SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " at " +
                   std::to_string(offset[0]) + "," + std::to_string(offset[1]));
      const Against against = size.width % 2 == 0 ? Against::begin : Against::end;
      TestImage<From> src({size.width + 1, size.height + 1}, 1, size.height % 3, against);
      src.fill(RandomSamples<From>(static_cast<unsigned>(size.width)));
      TestImage<To> dst(size, 1, size.width % 3, against), expected(size);
      const bool paired = alwaysPaired || (pairedWhenSmall && size.width < 65 && size.height < 65);
      const Reference<From, To> reference(offset[0] - std::trunc(offset[0]),
                                          offset[1] - std::trunc(offset[1]), scale);
      for (int32_t x = 0; x < size.width; ++x) {
        double carried = 0;
        for (int32_t y = 0; y < size.height; ++y) {
          const double lower = reference.lower(src.row(y + 1) + x);
          const double upper = paired && y > 0 ? carried : reference.upper(src.row(y) + x);
          expected.at(x, y) = reference.finish(reference.add(upper, lower));
          carried = static_cast<float>(lower) * reference.ratio;
        }
      }
      ASSERT_EQ(nuvStatusOk,
                call(src.data(), src.step(), dst.data(), dst.step(), size, offset[0], offset[1]));
      ASSERT_EQ(expected.bytes(), dst.bytes());
      ASSERT_TRUE(dst.padsUntouched());
    }
  }
}

template <class From, class To, class Call>
void checkIntersect(int32_t scale, Call call) {
  const NuviSize srcSizes[] = {{1, 1}, {7, 5}, {40, 3}, {2, 30}};
  const NuviSize dstSizes[] = {{1, 1}, {4, 6}, {21, 3}, {50, 33}};
  const NuviPoint32f points[] = {{3, 2},         {0.3f, 0.6f}, {-1.25f, 4.5f},
                                 {20.75f, 1.5f}, {-90, 2},     {3.5f, 100.5f},
                                 {-40.5f, -30},  {90.25f, 80}, {6.5f, -2.5f}};
  for (const NuviSize from : srcSizes) {
    for (const NuviSize to : dstSizes) {
      for (const NuviPoint32f point : points) {
        SCOPED_TRACE(std::to_string(from.width) + " to " + std::to_string(to.width) + " at " +
                     std::to_string(point.x) + "," + std::to_string(point.y));
        TestImage<From> src(from, 1, 1, to.width == 4 ? Against::begin : Against::end);
        src.fill(RandomSamples<From>(9));
        TestImage<To> dst(to, 1, 2), expected(to);
        const float x0 = point.x - 0.5f * static_cast<float>(to.width - 1);
        const float y0 = point.y - 0.5f * static_cast<float>(to.height - 1);
        const auto ix =
            static_cast<int32_t>(std::trunc(x0 + static_cast<float>(to.width))) - to.width;
        const auto iy =
            static_cast<int32_t>(std::trunc(y0 + static_cast<float>(to.height))) - to.height;
        const Reference<From, To> reference(x0 - static_cast<float>(ix),
                                            y0 - static_cast<float>(iy), scale);
        NuviPoint low = {std::clamp(-ix, 0, to.width), std::clamp(-iy, 0, to.height)};
        NuviPoint high = {std::min(from.width - ix - 2, to.width - 1),
                          std::min(from.height - iy - 2, to.height - 1)};
        if (ix >= from.width) low.x = 0, high.x = -1;
        if (iy >= from.height) low.y = 0, high.y = -1;
        for (int32_t y = 0; y < to.height; ++y) {
          for (int32_t x = 0; x < to.width; ++x) {
            const bool outerX = x < low.x || x > high.x, outerY = y < low.y || y > high.y;
            const int32_t column = outerX ? (x < low.x ? 0 : from.width - 1) : ix + x;
            const int32_t row = outerY ? (y < low.y ? 0 : from.height - 1) : iy + y;
            const From* const p = src.row(row) + column;
            double sum = 0;
            if (outerX && outerY) {
              const double whole = reference.add(reference.ax, reference.bx);
              sum = reference.mix(whole, *p, 0, 0);
            } else if (outerY) {
              sum = reference.mix(reference.bx, p[0], reference.ax, p[1]);
            } else if (outerX) {
              sum = reference.mix(reference.by, p[0], reference.ay, src.row(row + 1)[column]);
            } else {
              sum = reference.add(reference.upper(p), reference.lower(src.row(row + 1) + column));
            }
            expected.at(x, y) = reference.finish(sum);
          }
        }
        NuviPoint minimum = {-7, -7}, maximum = {-7, -7};
        ASSERT_EQ(nuvStatusOk, call(src.data(), src.step(), from, dst.data(), dst.step(), to, point,
                                    &minimum, &maximum));
        ASSERT_EQ(low.x, minimum.x);
        ASSERT_EQ(low.y, minimum.y);
        ASSERT_EQ(high.x, maximum.x);
        ASSERT_EQ(high.y, maximum.y);
        ASSERT_EQ(expected.bytes(), dst.bytes());
        ASSERT_TRUE(dst.padsUntouched());
      }
    }
  }
}

TEST(CopySubpix, MatchesReference) {
  checkCopy<uint8_t, uint8_t>(false, false, 0, nuviCopySubpix_8u_C1R);
  checkCopy<uint8_t, float>(true, true, 0, nuviCopySubpix_8u32f_C1R);
  checkCopy<uint16_t, uint16_t>(false, false, 0, nuviCopySubpix_16u_C1R);
  checkCopy<uint16_t, float>(false, false, 0, nuviCopySubpix_16u32f_C1R);
  checkCopy<float, float>(false, true, 0, nuviCopySubpix_32f_C1R);
  for (const int32_t scale : {0, -2, -9, -14, 3, 18, -40}) {
    checkCopy<uint8_t, uint16_t>(false, false, scale, [&](auto... arguments) {
      return nuviCopySubpix_8u16u_C1R_Sfs(arguments..., scale);
    });
  }
}

TEST(CopySubpixIntersect, MatchesReference) {
  checkIntersect<uint8_t, uint8_t>(0, nuviCopySubpixIntersect_8u_C1R);
  checkIntersect<uint8_t, float>(0, nuviCopySubpixIntersect_8u32f_C1R);
  checkIntersect<uint16_t, uint16_t>(0, nuviCopySubpixIntersect_16u_C1R);
  checkIntersect<uint16_t, float>(0, nuviCopySubpixIntersect_16u32f_C1R);
  checkIntersect<float, float>(0, nuviCopySubpixIntersect_32f_C1R);
  for (const int32_t scale : {0, -2, 3}) {
    checkIntersect<uint8_t, uint16_t>(scale, [&](auto... arguments) {
      return nuviCopySubpixIntersect_8u16u_C1R_Sfs(arguments..., scale);
    });
  }
}

// A point that no 32-bit position can hold leaves the destination wholly outside.
TEST(CopySubpixIntersect, FarPointsGiveTheEdge) {
  TestImage<uint8_t> src({3, 3}), dst({4, 4});
  uint8_t next = 10;
  src.fill([&] { return next++; });
  for (const float far : {1e30f, -1e30f, std::numeric_limits<float>::infinity()}) {
    NuviPoint low, high;
    ASSERT_EQ(nuvStatusOk,
              nuviCopySubpixIntersect_8u_C1R(src.data(), src.step(), {3, 3}, dst.data(), dst.step(),
                                             {4, 4}, {far, far}, &low, &high));
    ASSERT_EQ(std::vector<uint8_t>(16, far > 0 ? 18 : 10), dst.bytes());
  }
}

TEST(CopySubpixChecks, FirstFailureInOrderAndNothingWritten) {
  const uint16_t src[16] = {};
  float dst[4] = {9, 9, 9, 9};
  const auto call = [&](const uint16_t* pSrc, int32_t srcStep, int32_t dstStep, NuviSize size) {
    return nuviCopySubpix_16u32f_C1R(pSrc, srcStep, dst, dstStep, size, 0.5f, 0.5f);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 8, 16, {0, 1}));
  EXPECT_EQ(nuvStatusBadSize, call(src, 1, 16, {2, 0}));
  EXPECT_EQ(nuvStatusBadStep, call(src, 5, 7, {2, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(src, 3, 9, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 5, 8, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 8, 10, {2, 1}));
  NuviPoint low = {5, 5}, high = {5, 5};
  const auto meet = [&](NuviPoint* pMax, int32_t srcStep, NuviSize srcSize, int32_t dstStep,
                        NuviSize dstSize) {
    return nuviCopySubpixIntersect_16u32f_C1R(src, srcStep, srcSize, dst, dstStep, dstSize, {1, 1},
                                              &low, pMax);
  };
  EXPECT_EQ(nuvStatusNullPointer, meet(nullptr, 8, {0, 1}, 8, {2, 1}));
  EXPECT_EQ(nuvStatusBadSize, meet(&high, 5, {4, 0}, 8, {2, 1}));
  EXPECT_EQ(nuvStatusBadSize, meet(&high, 5, {4, 1}, 8, {-2, 1}));
  EXPECT_EQ(nuvStatusBadStep, meet(&high, 7, {4, 1}, 8, {2, 1}));
  EXPECT_EQ(nuvStatusBadStep, meet(&high, 9, {4, 1}, 7, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, meet(&high, 9, {4, 1}, 8, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, meet(&high, 8, {4, 1}, 9, {2, 1}));
  EXPECT_EQ(9, dst[0]);
  EXPECT_EQ(5, low.x);
  EXPECT_EQ(5, high.x);
}

}  // namespace

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
  using Number = std::conditional_t<isFixed, int64_t, float>;

  Reference(float x, float y, int32_t scaleFactor) : scale(scaleFactor) {
    if constexpr (isFixed) {
      const auto share = [](float f) {
        return static_cast<Number>(std::fma(16384.0f, f, f >= 0 ? 0.5f : 16384.5f));
      };
      ax = share(x), bx = 16384 - ax, ay = share(y), by = 16384 - ay;
      const Number products[] = {bx * by, ax * by, bx * ay, ax * ay};
      Number rest = 16384, *largest = w;
      for (const int i : {0, 2, 1, 3}) {
        rest -= w[i] = (products[i] + 16384) >> 14;
        if (w[i] > *largest) largest = &w[i];
      }
      *largest += std::min<Number>(rest, 0);
    } else {
      constexpr bool limited = !std::is_same_v<From, uint16_t>;
      ax = std::max(x < 0 ? 1 + x : x, limited ? 1e-6f : 0);
      ay = std::max(y < 0 ? 1 + y : y, std::is_same_v<From, uint8_t> ? 1e-9f : limited ? 1e-6f : 0);
      bx = 1 - ax, by = 1 - ay;
      w[0] = std::fma(-by, ax, by), w[1] = std::fma(-ay, ax, ax);
      w[2] = std::fma(-ay, ax, ay), w[3] = ax * ay;
    }
  }
  static Number mix(Number a, From p, Number b, From q) {
    return a * static_cast<Number>(p) + b * static_cast<Number>(q);
  }
  // pixel(i, j) is the one i to the right and j below, within the image.
  template <class Pixel>
  Number value(Pixel&& pixel, bool insideX, bool insideY) const {
    const From p = pixel(0, 0), right = pixel(1, 0), below = pixel(0, 1);
    if (!insideX) return insideY ? mix(by, p, ay, below) : mix(ax + bx, p, 0, 0);
    if (!insideY) return mix(bx, p, ax, right);
    return mix(w[0], p, w[1], right) + mix(w[2], below, w[3], pixel(1, 1));
  }
  To finish(Number sum) const {
    if constexpr (isFixed) {
      const auto rounded = static_cast<uint32_t>(sum) + (1u << ((scale + 13) & 31));
      return static_cast<To>(rounded >> ((scale + 14) & 31));
    } else {
      return static_cast<To>(std::is_same_v<To, float> ? sum : std::nearbyint(sum));
    }
  }

  int32_t scale;
  Number w[4] = {}, ax = 0, bx = 0, ay = 0, by = 0;  // w00, w10, w01, w11
};

enum Pairing { never, whenSmall, always };

template <class From, class To, class Call>
void checkCopy(Pairing pairing, int32_t scale, Call call) {
  const NuviSize sizes[] = {{1, 1}, {5, 3}, {16, 2}, {33, 9}, {64, 64}, {65, 7}, {7, 65}, {131, 6}};
  const NuviPoint32f offsets[] = {{0, 0},           {0.25f, 0.75f},   {-0.25f, 3.5f},
                                  {-7.9f, -0.001f}, {0.99999f, 0.5f}, {-1e-9f, -1e-9f},
                                  {0.3f, 1e-8f}};
  for (const NuviSize size : sizes) {
    for (const auto [dx, dy] : offsets) {
      SCOPED_TRACE(testing::Message() << size.width << " wide at " << dx << ", scale " << scale);
      const Against against = size.width % 2 == 0 ? Against::begin : Against::end;
      TestImage<From> src({size.width + 1, size.height + 1}, 1, size.height % 3, against);
      src.fill(RandomSamples<From>(static_cast<unsigned>(size.width)));
      TestImage<To> dst(size, 1, size.width % 3, against), expected(size);
      const int32_t longer = std::max(size.width, size.height);
      const bool paired = pairing == always || (pairing == whenSmall && longer < 65);
      const Reference<From, To> r(dx - std::trunc(dx), dy - std::trunc(dy), scale);
      for (int32_t x = 0; x < size.width; ++x) {
        auto lower = r.w[0];
        for (int32_t y = 0; y < size.height; ++y) {
          const From *const p = src.row(y) + x, *const q = src.row(y + 1) + x;
          const auto afresh = r.mix(r.w[0], p[0], r.w[1], p[1]);
          const auto upper = paired && y > 0 ? lower * (r.by / r.ay) : afresh;
          lower = r.mix(r.w[2], q[0], r.w[3], q[1]);
          expected.at(x, y) = r.finish(upper + lower);
        }
      }
      ASSERT_EQ(nuvStatusOk, call(src.data(), src.step(), dst.data(), dst.step(), size, dx, dy));
      ASSERT_EQ(expected.bytes(), dst.bytes());
      ASSERT_TRUE(dst.padsUntouched());
    }
  }
}

// Along one axis: the source position of the first destination position, its fraction, and the
// destination positions that lie inside.
struct Overlap {
  Overlap(float center, int32_t from, int32_t to) {
    const float start = center - 0.5f * static_cast<float>(to - 1);
    origin = static_cast<int32_t>(std::floor(start));
    fraction = start - static_cast<float>(origin);
    low = origin >= from ? 0 : std::clamp(-origin, 0, to);
    high = origin >= from ? -1 : std::min(from - origin - 2, to - 1);
  }
  bool holds(int32_t i) const { return i >= low && i <= high; }
  int32_t origin, low, high;
  float fraction;
};

template <class From, class To, class Call>
void checkIntersect(int32_t scale, Call call) {
  const NuviPoint32f points[] = {{3, 2},          {0.3f, 0.6f},  {-1.25f, 4.5f}, {20.75f, 1.5f},
                                 {-90.5f, -2.5f}, {3.5f, 80.5f}, {90.25f, -30}};
  for (const NuviSize from : {NuviSize{1, 1}, {7, 5}, {40, 3}, {2, 30}}) {
    for (const NuviSize to : {NuviSize{1, 1}, {4, 6}, {21, 3}, {50, 33}}) {
      for (const NuviPoint32f point : points) {
        SCOPED_TRACE(testing::Message() << from.width << " to " << to.width << " at " << point.x);
        TestImage<From> src(from, 1, 1, to.width == 4 ? Against::begin : Against::end);
        src.fill(RandomSamples<From>(9));
        TestImage<To> dst(to, 1, 2), expected(to);
        const Overlap columns(point.x, from.width, to.width);
        const Overlap rows(point.y, from.height, to.height);
        const Reference<From, To> r(columns.fraction, rows.fraction, scale);
        for (int32_t y = 0; y < to.height; ++y) {
          for (int32_t x = 0; x < to.width; ++x) {
            const auto pixel = [&](int32_t right, int32_t below) {
              return src.at(std::clamp(columns.origin + x + right, 0, from.width - 1),
                            std::clamp(rows.origin + y + below, 0, from.height - 1));
            };
            expected.at(x, y) = r.finish(r.value(pixel, columns.holds(x), rows.holds(y)));
          }
        }
        NuviPoint low, high;
        ASSERT_EQ(nuvStatusOk, call(src.data(), src.step(), from, dst.data(), dst.step(), to, point,
                                    &low, &high));
        ASSERT_TRUE(low.x == columns.low && low.y == rows.low);
        ASSERT_TRUE(high.x == columns.high && high.y == rows.high);
        ASSERT_EQ(expected.bytes(), dst.bytes());
        ASSERT_TRUE(dst.padsUntouched());
      }
    }
  }
}

TEST(CopySubpix, MatchesReference) {
#define CHECK(name, From, To, pairing)                          \
  checkCopy<From, To>(pairing, 0, nuviCopySubpix_##name##_C1R); \
  checkIntersect<From, To>(0, nuviCopySubpixIntersect_##name##_C1R)
  CHECK(8u, uint8_t, uint8_t, never);
  CHECK(8u32f, uint8_t, float, always);
  CHECK(16u, uint16_t, uint16_t, never);
  CHECK(16u32f, uint16_t, float, never);
  CHECK(32f, float, float, whenSmall);
#undef CHECK
  for (const int32_t scale : {0, -2, -9, -14, 3, 18, -40}) {
    checkCopy<uint8_t, uint16_t>(never, scale, [=](auto... arguments) {
      return nuviCopySubpix_8u16u_C1R_Sfs(arguments..., scale);
    });
    checkIntersect<uint8_t, uint16_t>(scale, [=](auto... arguments) {
      return nuviCopySubpixIntersect_8u16u_C1R_Sfs(arguments..., scale);
    });
  }
}

// A point that no 32-bit position can hold leaves the destination wholly outside.
TEST(CopySubpix, FarPointsGiveTheEdge) {
  TestImage<uint8_t> src({3, 3}), dst({4, 4});
  uint8_t next = 10;
  src.fill([&] { return next++; });
  for (const float far : {1e30f, -1e30f, std::numeric_limits<float>::infinity()}) {
    NuviPoint low, high;
    ASSERT_EQ(nuvStatusOk, nuviCopySubpixIntersect_8u_C1R(src.data(), 3, {3, 3}, dst.data(), 4,
                                                          {4, 4}, {far, far}, &low, &high));
    ASSERT_EQ(std::vector<uint8_t>(16, far > 0 ? 18 : 10), dst.bytes());
  }
}

TEST(CopySubpix, FirstFailureInOrderAndNothingWritten) {
  const uint16_t src[16] = {};
  float dst[4] = {9, 9, 9, 9};
  NuviPoint low = {5, 5}, high = {5, 5};
  const auto meet = [&](const uint16_t* pSrc, int32_t srcStep, int32_t dstStep, NuviSize srcSize,
                        NuviSize dstSize, NuviPoint* pMin, NuviPoint* pMax) {
    return nuviCopySubpixIntersect_16u32f_C1R(pSrc, srcStep, srcSize, dst, dstStep, dstSize, {1, 1},
                                              pMin, pMax);
  };
  const auto both = [&](const uint16_t* pSrc, int32_t srcStep, int32_t dstStep, NuviSize size) {
    const NuvStatus status = meet(pSrc, srcStep, dstStep, size, size, &low, &high);
    EXPECT_EQ(status, nuviCopySubpix_16u32f_C1R(pSrc, srcStep, dst, dstStep, size, 0.5f, 0.5f));
    return status;
  };
  EXPECT_EQ(nuvStatusNullPointer, both(nullptr, 8, 16, {0, 1}));
  EXPECT_EQ(nuvStatusBadSize, both(src, 1, 16, {2, 0}));
  EXPECT_EQ(nuvStatusBadStep, both(src, 5, 7, {2, 1}));
  EXPECT_EQ(nuvStatusBadStep, both(src, 3, 9, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, both(src, 5, 8, {2, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, both(src, 8, 10, {2, 1}));
  EXPECT_EQ(nuvStatusNullPointer, meet(src, 8, 16, {0, 1}, {2, 1}, nullptr, &high));
  EXPECT_EQ(nuvStatusNullPointer, meet(src, 8, 16, {0, 1}, {2, 1}, &low, nullptr));
  EXPECT_EQ(nuvStatusBadSize, meet(src, 5, 8, {4, 1}, {-2, 1}, &low, &high));
  EXPECT_EQ(nuvStatusBadStep, meet(src, 7, 8, {4, 1}, {2, 1}, &low, &high));
  EXPECT_TRUE(dst[0] == 9 && low.x == 5 && high.x == 5);
}

}  // namespace

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

using Shape = std::vector<int>;

// One member of the family: its shapes by mask size, and all its functions. A Laplacian is a sum of
// two products of shapes; its 3x3 mask is written out.
template <class S, class D>
using Call = NuvStatus (*)(const S*, int32_t, D*, int32_t, NuviSize, NuviMaskSize, NuviBorderType,
                           S, int32_t, uint8_t*);
using SizeCall = NuvStatus (*)(NuviSize, NuviMaskSize, int32_t*);
struct Member {
  const char* name;
  std::array<Shape, 2> row, column;  // 3x3, 5x5; empty: no such mask
  Call<uint8_t, int16_t> wide;
  Call<uint8_t, int8_t> narrow;
  Call<float, float> floats;
  SizeCall wideSize, narrowSize, floatSize;
  int sign = 1;
  bool laplacian = false;
};

#define CALLS(n)                                                                                  \
  [](const uint8_t* s, int32_t ss, int16_t* d, int32_t ds, NuviSize z,                            \
     [[maybe_unused]] NuviMaskSize m, NuviBorderType b, uint8_t v, int32_t,                       \
     uint8_t* p) { return nuviFilter##n##Border_8u16s_C1R(s, ss, d, ds, z, MASK(m) b, v, p); },   \
      [](const uint8_t* s, int32_t ss, int8_t* d, int32_t ds, NuviSize z,                         \
         [[maybe_unused]] NuviMaskSize m, NuviBorderType b, uint8_t v, int32_t div, uint8_t* p) { \
        return nuviFilter##n##Border_8u8s_C1R(s, ss, d, ds, z, MASK(m) b, v, div, p);             \
      },                                                                                          \
      [](const float* s, int32_t ss, float* d, int32_t ds, NuviSize z,                            \
         [[maybe_unused]] NuviMaskSize m, NuviBorderType b, float v, int32_t,                     \
         uint8_t* p) { return nuviFilter##n##Border_32f_C1R(s, ss, d, ds, z, MASK(m) b, v, p); }, \
      [](NuviSize z, [[maybe_unused]] NuviMaskSize m, int32_t* p) {                               \
        return nuviFilter##n##GetBufferSize_8u16s_C1R(z, MASK(m) p);                              \
      },                                                                                          \
      [](NuviSize z, [[maybe_unused]] NuviMaskSize m, int32_t* p) {                               \
        return nuviFilter##n##GetBufferSize_8u8s_C1R(z, MASK(m) p);                               \
      },                                                                                          \
      [](NuviSize z, [[maybe_unused]] NuviMaskSize m, int32_t* p) {                               \
        return nuviFilter##n##GetBufferSize_32f_C1R(z, MASK(m) p);                                \
      }

const Shape smooth3 = {1, 2, 1}, smooth5 = {1, 4, 6, 4, 1}, second3 = {1, -2, 1},
            second5 = {1, 0, -2, 0, 1}, up3 = {-1, 0, 1}, up5 = {-1, -2, 0, 2, 1},
            down3 = {1, 0, -1}, down5 = {1, 2, 0, -2, -1}, scharr = {3, 10, 3};

const Member members[] = {
#define MASK(m) m,
    {"SobelHoriz", {smooth3, smooth5}, {up3, up5}, CALLS(SobelHoriz)},
    {"SobelVert", {down3, down5}, {smooth3, smooth5}, CALLS(SobelVert)},
    {"SobelNegVert", {down3, down5}, {smooth3, smooth5}, CALLS(SobelNegVert), -1},
    {"SobelHorizSecond", {smooth3, smooth5}, {second3, second5}, CALLS(SobelHorizSecond)},
    {"SobelVertSecond", {second3, second5}, {smooth3, smooth5}, CALLS(SobelVertSecond)},
    {"SobelCross", {down3, down5}, {up3, up5}, CALLS(SobelCross)},
    {"Laplacian", {smooth3, smooth5}, {second3, second5}, CALLS(Laplacian), 1, true},
#undef MASK
#define MASK(m)
    {"ScharrHoriz", {scharr, {}}, {up3, {}}, CALLS(ScharrHoriz)},
    {"ScharrVert", {up3, {}}, {scharr, {}}, CALLS(ScharrVert)},
#undef MASK
};
#undef CALLS

// The region inside an image that has just the margins that the border's flags promise.
template <class S>
struct Source {
  Source(NuviSize givenSize, NuviBorderType givenBorder, S givenConstant, int32_t givenReach,
         int32_t pad, Against against)
      : size(givenSize),
        border(givenBorder == 6 ? 0xF0 : givenBorder),
        constant(givenConstant),
        left(border & 0x40 ? givenReach : 0),
        top(border & 0x10 ? givenReach : 0),
        image({size.width + left + (border & 0x80 ? givenReach : 0),
               size.height + top + (border & 0x20 ? givenReach : 0)},
              1, pad, against) {}

  S* data() const { return image.row(top) + left; }

  // Where a position outside leads, step by step; -1: to the constant.
  int32_t inside(int32_t i, int32_t n) const {
    const int32_t kind = border & 0xF;
    while (i < 0 || i >= n) {
      if (kind == nuvBorderConstant) return -1;
      if (kind == nuvBorderReplicate || n == 1) return i < 0 ? 0 : n - 1;
      if (kind == nuvBorderWrap) i += i < 0 ? n : -n;
      if (kind == nuvBorderMirror) i = i < 0 ? -i : 2 * (n - 1) - i;
      if (kind == nuvBorderMirrorRepeat) i = i < 0 ? -1 - i : 2 * n - 1 - i;
    }
    return i;
  }
  S at(int32_t x, int32_t y) const {
    const bool rowInMemory = (y >= 0 || (border & 0x10)) && (y < size.height || (border & 0x20));
    if (!rowInMemory) y = inside(y, size.height);
    if (y < 0 && !rowInMemory) return constant;
    const bool columnInMemory = (x >= 0 || (border & 0x40)) && (x < size.width || (border & 0x80));
    if (!columnInMemory) x = inside(x, size.width);
    if (x < 0 && !columnInMemory) return constant;
    return image.row(y + top)[x + left];
  }

  NuviSize size;
  NuviBorderType border;
  S constant;
  int32_t left, top;
  TestImage<S> image;
};

int exactSum(const Source<uint8_t>& src, const Shape& row, const Shape& column, int x, int y) {
  const int c = static_cast<int>(row.size() / 2);
  int sum = 0;
  for (int j = -c; j <= c; ++j) {
    for (int i = -c; i <= c; ++i) {
      sum += row[static_cast<size_t>(i + c)] * column[static_cast<size_t>(j + c)] *
             src.at(x + i, y + j);
    }
  }
  return sum;
}

// Rows: plain products and sums.
float rowSum(const Source<float>& src, const Shape& row, int x, int y) {
  const auto p = [&](int i) { return src.at(x + i, y); };
  if (row == smooth3) return (p(1) + p(-1)) + (p(0) + p(0));
  if (row == scharr) return 3.0f * (p(-1) + p(1)) + 10.0f * p(0);
  const int c = static_cast<int>(row.size() / 2);
  float sum = static_cast<float>(row[0]) * p(-c);
  for (int i = 1 - c; i <= c; ++i) {
    const float product = static_cast<float>(row[static_cast<size_t>(i + c)]) * p(i);
    if (row[static_cast<size_t>(i + c)] != 0) sum = sum + product;
  }
  return sum;
}

// Columns: fused; pairs of equal taps are added first.
float columnSum(const Source<float>& src, const Shape& row, const Shape& column, int x, int y) {
  const int c = static_cast<int>(column.size() / 2);
  const auto r = [&](int k) { return rowSum(src, row, x, y + k - c); };
  if (column == smooth3) return std::fma(2.0f, r(1), r(0) + r(2));
  if (column == second3) return std::fma(-2.0f, r(1), r(0) + r(2));
  if (column == second5) return std::fma(-2.0f, r(2), r(0) + r(4));
  if (column == smooth5) return std::fma(6.0f, r(2), std::fma(4.0f, r(1) + r(3), r(0) + r(4)));
  float sum = static_cast<float>(column[0]) * r(0);
  for (int k = 1; k <= 2 * c; ++k) {
    if (column[static_cast<size_t>(k)] == 0) continue;
    sum = std::fma(static_cast<float>(column[static_cast<size_t>(k)]), r(k), sum);
  }
  return sum;
}

int expectedExact(const Member& m, size_t mask, const Source<uint8_t>& src, int x, int y) {
  if (!m.laplacian) return m.sign * exactSum(src, m.row[mask], m.column[mask], x, y);
  if (mask == 1) {
    return exactSum(src, smooth5, second5, x, y) + exactSum(src, second5, smooth5, x, y);
  }
  return 2 * (src.at(x - 1, y - 1) + src.at(x + 1, y - 1) + src.at(x - 1, y + 1) +
              src.at(x + 1, y + 1)) -
         8 * src.at(x, y);
}
float expectedFloat(const Member& m, size_t mask, const Source<float>& src, int x, int y) {
  if (!m.laplacian) {
    const float sum = columnSum(src, m.row[mask], m.column[mask], x, y);
    return m.sign < 0 ? 0.0f - sum : sum;
  }
  if (mask == 1) {
    return columnSum(src, smooth5, second5, x, y) + columnSum(src, second5, smooth5, x, y);
  }
  const auto a = [&](int row) { return src.at(x - 1, row) + src.at(x + 1, row); };
  return std::fma(2.0f, a(y - 1) + a(y + 1), -(8.0f * src.at(x, y)));
}

// Runs one form into an image of its own and compares every pixel.
template <class S, class D, class Expected>
void compare(Call<S, D> call, SizeCall sizeCall, NuviMaskSize mask, const Source<S>& src,
             int32_t divisor, int32_t pad, Expected&& expected) {
  std::vector<D> all;
  for (int32_t y = 0; y < src.size.height; ++y) {
    for (int32_t x = 0; x < src.size.width; ++x) all.push_back(expected(x, y));
  }
  const auto run = [&] {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, sizeCall(src.size, mask, &bytes));
    // Exactly against a page that faults, or at an odd address.
    const size_t odd = pad % 2 == 0 ? 0 : 1;
    const GuardedBlock buffer(static_cast<size_t>(bytes) + odd,
                              odd == 0 ? Against::end : Against::begin);
    TestImage<D> dst(src.size, 1, pad);
    // A call takes the border as it was given; the source has code 6 spelled out.
    ASSERT_EQ(nuvStatusOk, call(src.data(), src.image.step(), dst.data(), dst.step(), src.size,
                                mask, src.border, src.constant, divisor, buffer.data() + odd));
    for (int32_t y = 0; y < src.size.height; ++y) {
      ASSERT_EQ(0, std::memcmp(&all[static_cast<size_t>(y) * static_cast<size_t>(src.size.width)],
                               dst.row(y), static_cast<size_t>(src.size.width) * sizeof(D)))
          << "row " << y;
    }
    ASSERT_TRUE(dst.padsUntouched());
  };
  if (src.size.height >= 256) {
    withThreadCounts(run);
  } else {
    run();
  }
}

int8_t quotient(int sum, int32_t divisor, bool rounds) {
  const float inverse = 1.0f / static_cast<float>(divisor);
  const float q = std::min(127.0f, std::max(-128.0f, static_cast<float>(sum) * inverse));
  return static_cast<int8_t>(rounds ? std::nearbyint(q) : std::trunc(q));
}

void compareAll(NuviSize size, NuviBorderType border, int32_t pad) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " border " +
               std::to_string(border));
  for (const Member& m : members) {
    for (size_t mask = 0; mask < 2; ++mask) {
      if (m.row[mask].empty()) continue;
      SCOPED_TRACE(std::string(m.name) + (mask == 0 ? " 3x3" : " 5x5"));
      const NuviMaskSize maskSize = mask == 0 ? nuvMask3x3 : nuvMask5x5;
      const auto reach = static_cast<int32_t>(mask + 1);
      const Against against = pad == 0 ? Against::end : Against::begin;
      Source<uint8_t> bytes(size, border, 201, reach, pad, against);
      bytes.image.fill(RandomSamples<uint8_t>(7));
      compare<uint8_t, int16_t>(m.wide, m.wideSize, maskSize, bytes, 1, pad, [&](int x, int y) {
        return static_cast<int16_t>(expectedExact(m, mask, bytes, x, y));
      });
      const int32_t divisor = pad == 1 ? -6 : 16;
      compare<uint8_t, int8_t>(
          m.narrow, m.narrowSize, maskSize, bytes, divisor, pad, [&](int x, int y) {
            return quotient(expectedExact(m, mask, bytes, x, y), divisor, x < size.width / 8 * 8);
          });
      Source<float> floats(size, border, 2.5f, reach, pad, against);
      floats.image.fill(RandomSamples<float>(8));
      compare<float, float>(m.floats, m.floatSize, maskSize, floats, 1, pad,
                            [&](int x, int y) { return expectedFloat(m, mask, floats, x, y); });
    }
  }
}

TEST(BorderFilter, MatchesReferenceOverWidthsAndKinds) {
  for (int32_t width = 1; width <= 101; ++width) {
    if (width > 37 && width % 32 > 4 && width % 32 < 31) continue;
    for (const NuviBorderType kind : {0, 1, 2, 3, 4}) {
      compareAll({width, 1 + (width + kind) % 6}, kind, (width + kind) % 3);
    }
  }
}

TEST(BorderFilter, MatchesReferenceWithSidesInMemory) {
  for (const NuviBorderType kind : {0, 1, 2, 3, 4}) {
    for (NuviBorderType flags = 0x10; flags <= 0xF0; flags += 0x10) {
      for (const NuviSize size :
           {NuviSize{1, 1}, NuviSize{18, 3}, NuviSize{3, 7}, NuviSize{66, 2}}) {
        compareAll(size, kind | flags, (flags >> 4) % 3);
      }
    }
  }
}

TEST(BorderFilter, SameWithAnyNumberOfThreads) {
  compareAll({256, 300}, nuvBorderMirror, 1);
  compareAll({259, 256}, nuvBorderConstant | nuvBorderFlagMemTop, 0);
}

TEST(BorderFilter, InMemoryIsAllFourFlagsAndIgnoresTheConstant) {
  const NuviSize size = {21, 4};
  Source<uint8_t> src(size, 6, 99, 2, 0, Against::end);
  src.image.fill(RandomSamples<uint8_t>(3));
  TestImage<int16_t> byCode(size), byFlags(size);
  std::vector<uint8_t> buffer(1 << 16);
  const auto run = [&](const TestImage<int16_t>& dst, NuviBorderType border, uint8_t constant) {
    ASSERT_EQ(nuvStatusOk, nuviFilterLaplacianBorder_8u16s_C1R(
                               src.data(), src.image.step(), dst.data(), dst.step(), size,
                               nuvMask5x5, border, constant, buffer.data()));
  };
  run(byCode, nuvBorderInMemory, 0);
  run(byFlags, 0xF0, 77);
  EXPECT_EQ(byFlags.bytes(), byCode.bytes());
}

// A sum whose parts pass the greatest float, but which does not.
TEST(Laplacian, CombinesItsRowsInOneFusedStep) {
  const float corner = 5e37f, centre = 3e37f;
  const float src[9] = {corner, 0, corner, 0, centre, 0, corner, 0, corner};
  float dst;
  std::vector<uint8_t> buffer(1 << 14);
  ASSERT_EQ(nuvStatusOk, nuviFilterLaplacianBorder_32f_C1R(&src[4], 12, &dst, 4, {1, 1}, nuvMask3x3,
                                                           nuvBorderInMemory, 0, buffer.data()));
  EXPECT_EQ(std::fma(2.0f, 4 * corner, -8 * centre), dst);
}

TEST(Lowpass, MatchesReference) {
  const auto onSize = [](NuviSize size, NuviBorderType border) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    for (const NuviMaskSize mask : {nuvMask3x3, nuvMask5x5}) {
      const int c = mask == nuvMask3x3 ? 1 : 2;
      Source<uint8_t> bytes(size, border, 201, c, 1, Against::end);
      bytes.image.fill(RandomSamples<uint8_t>(5));
      compare<uint8_t, uint8_t>(
          [](const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds, NuviSize z, NuviMaskSize m,
             NuviBorderType b, uint8_t v, int32_t,
             uint8_t* p) { return nuviFilterLowpassBorder_8u_C1R(s, ss, d, ds, z, m, b, v, p); },
          nuviFilterLowpassGetBufferSize_8u_C1R, mask, bytes, 1, 1,
          [&](int x, int y) {
            const Shape ones(static_cast<size_t>(2 * c + 1), 1);
            const int sum = exactSum(bytes, ones, ones, x, y);
            return static_cast<uint8_t>(c == 1 ? (sum + 5) * 7280 >> 16 : sum * 2621 >> 16);
          });
      Source<float> floats(size, border, 2.5f, c, 1, Against::end);
      floats.image.fill(RandomSamples<float>(6));
      compare<float, float>(
          [](const float* s, int32_t ss, float* d, int32_t ds, NuviSize z, NuviMaskSize m,
             NuviBorderType b, float v, int32_t,
             uint8_t* p) { return nuviFilterLowpassBorder_32f_C1R(s, ss, d, ds, z, m, b, v, p); },
          nuviFilterLowpassGetBufferSize_32f_C1R, mask, floats, 1, 1,
          [&](int x, int y) {
            const auto r = [&](int k) {
              float sum = floats.at(x - c, y + k - c);
              for (int i = 1 - c; i <= c; ++i) sum = sum + floats.at(x + i, y + k - c);
              return sum;
            };
            if (c == 1) return std::fma(r(1), 0.11111111f, (r(0) + r(2)) * 0.11111111f);
            const float odd = (r(1) + r(3)) * 0.04f;
            return std::fma((r(0) + r(4)) + r(2), 0.04f, odd);
          });
    }
  };
  for (int32_t width = 1; width <= 70; ++width) onSize({width, 1 + width % 7}, width % 5);
  onSize({300, 400}, nuvBorderReplicate);
}

TEST(Lowpass, FlatAreas) {
  const std::vector<uint8_t> white(40 * 40, 255);
  std::vector<uint8_t> dst(white.size()), buffer(1 << 18);
  for (const NuviMaskSize mask : {nuvMask3x3, nuvMask5x5}) {
    ASSERT_EQ(nuvStatusOk,
              nuviFilterLowpassBorder_8u_C1R(white.data(), 40, dst.data(), 40, {40, 40}, mask,
                                             nuvBorderReplicate, 0, buffer.data()));
    EXPECT_EQ(std::vector<uint8_t>(dst.size(), mask == nuvMask3x3 ? 255 : 254), dst);
  }
}

TEST(BorderFilterSizes, FollowTheStages) {
  const NuviSize size = {100, 50};
  for (const int32_t threads : {1, 3}) {
    nuvSetNumThreads(threads);
    int32_t row3, column3, row5f, column5f, got;
    nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R(size, 3, &row3);
    nuviFilterColumnPipelineGetBufferSize_16s_C1R(size, 3, &column3);
    nuviFilterRowBorderPipelineGetBufferSize_32f_C1R(size, 5, &row5f);
    nuviFilterColumnPipelineGetBufferSize_32f_C3R(size, 5, &column5f);
    const auto expect = [&](int32_t bytes) { EXPECT_EQ(threads * bytes, got); };
    // A row of 100 pixels has a pitch of 112.
    nuviFilterSobelHorizGetBufferSize_8u16s_C1R(size, nuvMask3x3, &got);
    expect(2 * 112 * 21 + 36 + 248 + row3 + column3 + 64);
    nuviFilterSobelVertGetBufferSize_8u16s_C1R(size, nuvMask3x3, &got);
    expect(2 * 112 * 21 + 36 + 216 + row3 + column3 + 32);
    nuviFilterSobelCrossGetBufferSize_8u8s_C1R(size, nuvMask3x3, &got);
    expect(2 * 112 * 21 + 36 + 184 + row3 + column3 + 32);
    nuviFilterSobelCrossGetBufferSize_32f_C1R(size, nuvMask5x5, &got);
    expect(4 * 112 * 25 + 60 + 248 + row5f + column5f + 32);
    nuviFilterLowpassGetBufferSize_32f_C1R(size, nuvMask5x5, &got);
    expect(4 * 112 * 25 + 60 + 184 + row5f + column5f + 32);
    nuviFilterLaplacianGetBufferSize_32f_C1R(size, nuvMask5x5, &got);
    expect(8 * 112 * 25 + 120 + 336 + row5f + column5f + 32);
    nuviFilterScharrVertGetBufferSize_8u16s_C1R(size, &got);
    expect(42 * 112 + 284 + row3 + column3 + 32);
    nuviFilterScharrHorizGetBufferSize_8u16s_C1R(size, &got);
    expect(42 * 112 + 220 + row3 + column3 + 32);
    int32_t wide, narrow;
    nuviFilterLaplacianGetBufferSize_8u16s_C1R(size, nuvMask5x5, &wide);
    nuviFilterLaplacianGetBufferSize_8u8s_C1R(size, nuvMask5x5, &narrow);
    EXPECT_EQ(threads * (2 * 112 * 50 + 32), narrow - wide);
  }
  nuvSetNumThreads(0);
}

TEST(BorderFilterChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t src[16] = {};
  int16_t dst[16] = {9, 9};
  int8_t narrow[16] = {9, 9};
  std::vector<uint8_t> buffer(1 << 16);
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, NuviBorderType border,
                        NuviMaskSize mask) {
    return nuviFilterSobelHorizBorder_8u16s_C1R(src, srcStep, dst, dstStep, size, mask, border, 0,
                                                buffer.data());
  };
  const auto divide = [&](NuviBorderType border, int32_t divisor, NuviMaskSize mask) {
    return nuviFilterSobelVertBorder_8u8s_C1R(src, 4, narrow, 4, {4, 1}, mask, border, 0, divisor,
                                              buffer.data());
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFilterSobelHorizBorder_8u16s_C1R(src, 0, dst, 0, {0, 0}, 1, 5, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 5, 1));
  EXPECT_EQ(nuvStatusBadStep, call(3, 9, {4, 1}, 5, 1));
  EXPECT_EQ(nuvStatusBadStep, call(4, 7, {4, 1}, 5, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(4, 9, {4, 1}, 5, 1));
  for (const NuviBorderType border : {5, 7, 0x100, 0x106, 0x45, 0xF7}) {
    EXPECT_EQ(nuvStatusBadArgument, call(4, 8, {4, 1}, border, 1)) << border;
  }
  EXPECT_EQ(nuvStatusBadMask, call(4, 8, {4, 1}, 1, 34));
  EXPECT_EQ(nuvStatusBadArgument, divide(0x100, 0, 34));
  EXPECT_EQ(nuvStatusBadArgument, divide(1, 0, 34));
  EXPECT_EQ(nuvStatusBadMask, divide(1, 2, 34));
  EXPECT_EQ(9, dst[0]);
  EXPECT_EQ(9, narrow[0]);
  int32_t bytes = -7;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterLowpassGetBufferSize_8u_C1R({0, 0}, 1, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterLowpassGetBufferSize_8u_C1R({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadMask, nuviFilterLowpassGetBufferSize_8u_C1R({1, 1}, 1, &bytes));
  EXPECT_EQ(-7, bytes);
}

// The coefficients by multiplying the polynomial out.
TEST(SobelKernel, IsTheProductOfItsFactors) {
  for (int32_t size = 1; size <= 15; size += 2) {
    for (int32_t order = 0; order < size; ++order) {
      for (const int32_t sign : {1, 0, -3}) {
        std::vector<int> expected = {sign < 0 ? -1 : 1};
        for (int32_t factor = 0; factor < size - 1; ++factor) {
          expected.push_back(0);
          for (size_t j = expected.size(); j-- > 0;) {
            const int below = j > 0 ? expected[j - 1] : 0;
            expected[j] = factor < order ? below - expected[j] : below + expected[j];
          }
        }
        std::vector<int16_t> shorts(static_cast<size_t>(size));
        std::vector<float> floats(shorts.size());
        ASSERT_EQ(nuvStatusOk, nuviGenSobelKernel_16s(shorts.data(), size, order, sign));
        ASSERT_EQ(nuvStatusOk, nuviGenSobelKernel_32f(floats.data(), size, order, sign));
        EXPECT_EQ(expected, std::vector<int>(shorts.begin(), shorts.end()));
        EXPECT_EQ(expected, std::vector<int>(floats.begin(), floats.end()));
      }
    }
  }
  int16_t none[1] = {9};
  EXPECT_EQ(nuvStatusNullPointer, nuviGenSobelKernel_16s(nullptr, 2, 0, 1));
  for (const auto& [size, order] :
       {std::pair(0, 0), std::pair(2, 0), std::pair(3, 3), std::pair(3, -1)}) {
    EXPECT_EQ(nuvStatusBadSize, nuviGenSobelKernel_16s(none, size, order, 1));
  }
  EXPECT_EQ(9, none[0]);
}

}  // namespace

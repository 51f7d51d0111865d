#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "support/border.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

using Shape = std::vector<int>;
const Shape smooth3 = {1, 2, 1}, smooth5 = {1, 4, 6, 4, 1}, second3 = {1, -2, 1},
            second5 = {1, 0, -2, 0, 1}, up3 = {-1, 0, 1}, up5 = {-1, -2, 0, 2, 1},
            down3 = {1, 0, -1}, down5 = {1, 2, 0, -2, -1}, scharr = {3, 10, 3}, box3 = {1, 1, 1},
            box5 = {1, 1, 1, 1, 1};

// A form of a filter: its functions, called alike.
template <class S, class D>
struct Form {
  NuvStatus (*call)(const S*, int32_t, D*, int32_t, NuviSize, NuviMaskSize, NuviBorderType, S,
                    int32_t divisor, uint8_t*);
  NuvStatus (*size)(NuviSize, NuviMaskSize, int32_t*);
};
#define FORM(name, form, S, D, mask, divisor)                                                      \
  Form<S, D> {                                                                                     \
    [](const S* s, int32_t ss, D* d, int32_t ds, NuviSize z, [[maybe_unused]] NuviMaskSize m,      \
       NuviBorderType b, S v, [[maybe_unused]] int32_t div, uint8_t* p) {                          \
      return nuviFilter##name##Border_##form##_C1R(s, ss, d, ds, z, mask(m) b, v, divisor(div) p); \
    },                                                                                             \
        [](NuviSize z, [[maybe_unused]] NuviMaskSize m, int32_t* p) {                              \
          return nuviFilter##name##GetBufferSize_##form##_C1R(z, mask(m) p);                       \
        }                                                                                          \
  }
#define GIVEN(argument) argument,
#define NONE(argument)

// A member of the family by its shapes for 3x3 and 5x5. A Laplacian is a sum of two products of
// shapes, but its 3x3 mask is one of its own.
enum class Kind { product, negated, laplacian };
struct Member {
  const char* name;
  Kind kind;
  std::array<Shape, 2> row, column;  // empty: no such mask
  int32_t wideBytes;                 // of scratch, beside what all forms count
  Form<uint8_t, int16_t> wide;
  Form<uint8_t, int8_t> narrow;
  Form<float, float> floats;
};
#define MEMBER(name, kind, mask, row3, row5, column3, column5, wideBytes)                 \
  Member {                                                                                \
#name, Kind::kind,                                                                    \
        {row3, row5 },                                                                    \
         {column3, column5 }, wideBytes, FORM(name, 8u16s, uint8_t, int16_t, mask, NONE), \
          FORM(name, 8u8s, uint8_t, int8_t, mask, GIVEN),                                 \
          FORM(name, 32f, float, float, mask, NONE)                                       \
  }
const Member members[] = {
    MEMBER(SobelHoriz, product, GIVEN, smooth3, smooth5, up3, up5, 312),
    MEMBER(SobelVert, product, GIVEN, down3, down5, smooth3, smooth5, 248),
    MEMBER(SobelNegVert, negated, GIVEN, down3, down5, smooth3, smooth5, 280),
    MEMBER(SobelHorizSecond, product, GIVEN, smooth3, smooth5, second3, second5, 280),
    MEMBER(SobelVertSecond, product, GIVEN, second3, second5, smooth3, smooth5, 280),
    MEMBER(SobelCross, product, GIVEN, down3, down5, up3, up5, 280),
    MEMBER(Laplacian, laplacian, GIVEN, smooth3, smooth5, second3, second5, 368),
    MEMBER(ScharrHoriz, product, NONE, scharr, {}, up3, {}, 216),
    MEMBER(ScharrVert, product, NONE, up3, {}, scharr, {}, 280),
};
const auto lowpassBytes = FORM(Lowpass, 8u, uint8_t, uint8_t, GIVEN, NONE);
const auto lowpassFloats = FORM(Lowpass, 32f, float, float, GIVEN, NONE);
#undef MEMBER
#undef FORM
#undef GIVEN
#undef NONE

int fusedOrExact(int a, int b, int c) { return a * b + c; }
float fusedOrExact(int a, float b, float c) { return std::fma(static_cast<float>(a), b, c); }

// The definition, for bytes with T = int, in which every order is exact, and for floats.
// Rows: plain products and sums.
template <class T, class S>
T rowSum(const BorderedImage<S>& src, const Shape& row, int x, int y) {
  const auto p = [&](int i) { return static_cast<T>(src.at(x + i, y)); };
  if (row == smooth3) return (p(1) + p(-1)) + (p(0) + p(0));
  if (row == scharr) return (p(-1) + p(1)) * 3 + p(0) * 10;
  const int c = static_cast<int>(row.size() / 2);
  T sum = p(-c) * static_cast<T>(row[0]);
  for (int i = 1 - c; i <= c; ++i) {
    if (row[size_t(i + c)] != 0) sum = sum + p(i) * static_cast<T>(row[size_t(i + c)]);
  }
  return sum;
}

// Columns: fused; pairs of equal taps are added first.
template <class T, class S>
T columnSum(const BorderedImage<S>& src, const Shape& row, const Shape& column, int x, int y) {
  const int c = static_cast<int>(column.size() / 2);
  const auto r = [&](int k) { return rowSum<T>(src, row, x, y + k - c); };
  if (column == smooth3 || column == second3) return fusedOrExact(column[1], r(1), r(0) + r(2));
  if (column == second5) return fusedOrExact(-2, r(2), r(0) + r(4));
  if (column == smooth5) {
    return fusedOrExact(6, r(2), fusedOrExact(4, r(1) + r(3), r(0) + r(4)));
  }
  T sum = r(0) * static_cast<T>(column[0]);
  for (int k = 1; k <= 2 * c; ++k) {
    if (column[size_t(k)] != 0) sum = fusedOrExact(column[size_t(k)], r(k), sum);
  }
  return sum;
}

template <class T, class S>
T expected(const Member& m, size_t mask, const BorderedImage<S>& src, int x, int y) {
  if (m.kind == Kind::laplacian && mask == 0) {
    const Shape outer = {1, 0, 1};
    return fusedOrExact(2, rowSum<T>(src, outer, x, y - 1) + rowSum<T>(src, outer, x, y + 1),
                        static_cast<T>(src.at(x, y)) * -8);
  }
  const T sum = columnSum<T>(src, m.row[mask], m.column[mask], x, y);
  if (m.kind == Kind::laplacian) return sum + columnSum<T>(src, second5, smooth5, x, y);
  return m.kind == Kind::negated ? T(0) - sum : sum;
}

int8_t quotient(int sum, int32_t divisor, bool rounds) {
  const float inverse = 1.0f / static_cast<float>(divisor);
  const float q = std::min(127.0f, std::max(-128.0f, static_cast<float>(sum) * inverse));
  return static_cast<int8_t>(rounds ? std::nearbyint(q) : std::trunc(q));
}

uint8_t boxMean(const BorderedImage<uint8_t>& src, size_t mask, int x, int y) {
  if (mask == 0)
    return static_cast<uint8_t>((columnSum<int>(src, box3, box3, x, y) + 5) * 7280 >> 16);
  return static_cast<uint8_t>(columnSum<int>(src, box5, box5, x, y) * 2621 >> 16);
}
float boxMean(const BorderedImage<float>& src, size_t mask, int x, int y) {
  const auto r = [&](int k) { return rowSum<float>(src, mask == 0 ? box3 : box5, x, y + k); };
  if (mask == 0) return std::fma(r(0), 0.11111111f, (r(-1) + r(1)) * 0.11111111f);
  const float odd = (r(-1) + r(1)) * 0.04f;
  return std::fma((r(-2) + r(2)) + r(0), 0.04f, odd);
}

// Runs a form, with scratch of the reported size at an odd address or before a page that faults,
// and compares every pixel with value(src, x, y).
template <class S, class D, class Value>
void compare(const Form<S, D>& form, size_t mask, NuviSize size, NuviBorderType border, S constant,
             int32_t divisor, int32_t pad, Value&& value) {
  const size_t odd = pad % 2 == 0 ? 0 : 1;
  const Against against = odd == 0 ? Against::end : Against::begin;
  BorderedImage<S> src(size, border, constant, static_cast<int32_t>(mask + 1), pad, against);
  src.fill(RandomSamples<S>(7));
  const TestImage<D> wanted(size);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) wanted.at(x, y) = static_cast<D>(value(src, x, y));
  }
  const NuviMaskSize maskSize = mask == 0 ? nuvMask3x3 : nuvMask5x5;
  const auto run = [&] {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, form.size(size, maskSize, &bytes));
    const GuardedBlock buffer(static_cast<size_t>(bytes) + odd, against);
    const TestImage<D> dst(size, 1, pad);
    ASSERT_EQ(nuvStatusOk, form.call(src.data(), src.step(), dst.data(), dst.step(), size, maskSize,
                                     border, constant, divisor, buffer.data() + odd));
    ASSERT_EQ(wanted.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  };
  if (size.height < 256) return run();
  withThreadCounts(run);
}

void compareAll(NuviSize size, NuviBorderType border, int32_t pad) {
  const int32_t divisor = pad == 1 ? -6 : 16;
  const auto where = [&](const char* name, size_t mask) {
    return testing::Message() << name << (mask == 0 ? " 3x3, " : " 5x5, ") << size.width << "x"
                              << size.height << " border " << border;
  };
  for (size_t mask = 0; mask < 2; ++mask) {
    for (const Member& m : members) {
      if (m.row[mask].empty()) continue;
      SCOPED_TRACE(where(m.name, mask));
      const auto exact = [&](auto& src, int x, int y) { return expected<int>(m, mask, src, x, y); };
      compare(m.wide, mask, size, border, uint8_t{201}, 1, pad, exact);
      compare(m.narrow, mask, size, border, uint8_t{201}, divisor, pad,
              [&](auto& src, int x, int y) {
                return quotient(exact(src, x, y), divisor, x < size.width / 8 * 8);
              });
      compare(m.floats, mask, size, border, 2.5f, 1, pad,
              [&](auto& src, int x, int y) { return expected<float>(m, mask, src, x, y); });
    }
    SCOPED_TRACE(where("Lowpass", mask));
    const auto mean = [&](auto& src, int x, int y) { return boxMean(src, mask, x, y); };
    compare(lowpassBytes, mask, size, border, uint8_t{255}, 1, pad, mean);
    compare(lowpassFloats, mask, size, border, 2.5f, 1, pad, mean);
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
  for (const NuviSize size : {NuviSize{1, 1}, NuviSize{18, 3}, NuviSize{3, 7}, NuviSize{66, 2}}) {
    for (const NuviBorderType kind : {0, 1, 2, 3, 4}) {
      for (NuviBorderType flags = 0x10; flags <= 0xF0; flags += 0x10) {
        compareAll(size, kind | flags, (flags >> 4) % 3);
      }
    }
    compareAll(size, nuvBorderInMemory, 0);
  }
}

TEST(BorderFilter, MatchesReferenceWithAnyNumberOfThreads) {
  compareAll({259, 300}, nuvBorderMirror | nuvBorderFlagMemTop, 1);
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

// A row of 100 pixels has a pitch of 112; the rows and the stages are counted for each thread.
template <class S, class D>
void expectSize(const Form<S, D>& form, size_t mask, int32_t planes, int32_t extraBytes) {
  const NuviSize size = {100, 50};
  const bool isFloat = std::is_same_v<S, float>;
  const int32_t taps = mask == 0 ? 3 : 5;
  for (const int32_t threads : {1, 3}) {
    nuvSetNumThreads(threads);
    int32_t row, column, bytes;
    (isFloat ? nuviFilterRowBorderPipelineGetBufferSize_32f_C1R
             : nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R)(size, taps, &row);
    (isFloat ? nuviFilterColumnPipelineGetBufferSize_32f_C3R
             : nuviFilterColumnPipelineGetBufferSize_16s_C1R)(size, taps, &column);
    const int32_t rings = planes * ((isFloat ? 4 : 2) * 112 * (mask == 0 ? 21 : 25) + 12 * taps);
    ASSERT_EQ(nuvStatusOk, form.size(size, mask == 0 ? nuvMask3x3 : nuvMask5x5, &bytes));
    EXPECT_EQ(threads * (rings + extraBytes + row + column), bytes);
  }
  nuvSetNumThreads(0);
}

TEST(BorderFilter, ReportedSizes) {
  for (size_t mask = 0; mask < 2; ++mask) {
    for (const Member& m : members) {
      if (m.row[mask].empty()) continue;
      SCOPED_TRACE(m.name);
      const bool isLaplacian = m.kind == Kind::laplacian;
      const int32_t planes = isLaplacian ? 2 : 1, image = mask == 1 ? 2 * 112 * 50 + 32 : 0;
      expectSize(m.wide, mask, planes, m.wideBytes);
      expectSize(m.narrow, mask, planes, isLaplacian ? 368 + image : 216);
      expectSize(m.floats, mask, planes, isLaplacian ? 368 : 280);
    }
    expectSize(lowpassBytes, mask, 1, 280);
    expectSize(lowpassFloats, mask, 1, 216);
  }
  int32_t bytes = -7;
  EXPECT_EQ(nuvStatusNullPointer, lowpassBytes.size({0, 0}, 1, nullptr));
  EXPECT_EQ(nuvStatusBadSize, lowpassBytes.size({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadMask, lowpassBytes.size({1, 1}, 1, &bytes));
  EXPECT_EQ(-7, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterLaplacianGetBufferSize_8u8s_C1R({INT32_MAX, INT32_MAX},
                                                                   nuvMask5x5, &bytes));  // wraps
}

TEST(BorderFilter, FirstFailureInOrderAndNothingWritten) {
  const uint8_t src[16] = {};
  int16_t dst[16] = {};
  int8_t narrow[16] = {};
  uint8_t buffer[1];
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, NuviBorderType border) {
    return nuviFilterSobelHorizBorder_8u16s_C1R(src, srcStep, dst, dstStep, size, 34, border, 0,
                                                buffer);
  };
  const auto divide = [&](NuviBorderType border, int32_t divisor) {
    return nuviFilterSobelVertBorder_8u8s_C1R(src, 4, narrow, 4, {4, 1}, 34, border, 0, divisor,
                                              buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviFilterSobelHorizBorder_8u16s_C1R(src, 0, dst, 0, {0, 0}, 1, 5, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 0, {4, 0}, 5));
  EXPECT_EQ(nuvStatusBadStep, call(3, 9, {4, 1}, 5));
  EXPECT_EQ(nuvStatusBadStep, call(4, 7, {4, 1}, 5));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(4, 9, {4, 1}, 5));
  for (const NuviBorderType border : {5, 7, 0x100, 0x106, 0x45, 0xF7}) {
    EXPECT_EQ(nuvStatusBadArgument, call(4, 8, {4, 1}, border)) << border;
  }
  EXPECT_EQ(nuvStatusBadMask, call(4, 8, {4, 1}, 1));
  EXPECT_EQ(nuvStatusBadArgument, divide(0x100, 1));
  EXPECT_EQ(nuvStatusBadArgument, divide(1, 0));
  EXPECT_EQ(nuvStatusBadMask, divide(1, 2));
  for (const int16_t value : dst) EXPECT_EQ(0, value);
  for (const int8_t value : narrow) EXPECT_EQ(0, value);
}

// The coefficients by multiplying the polynomial out.
TEST(SobelKernel, IsTheProductOfItsFactors) {
  for (int32_t size = 1; size <= 15; size += 2) {
    for (int32_t order = 0; order < size; ++order) {
      for (const int32_t sign : {1, 0, -3}) {
        std::vector<int> product = {sign < 0 ? -1 : 1};
        for (int32_t factor = 0; factor < size - 1; ++factor) {
          product.push_back(0);
          for (size_t j = product.size(); j-- > 0;) {
            const int below = j > 0 ? product[j - 1] : 0;
            product[j] = factor < order ? below - product[j] : below + product[j];
          }
        }
        std::vector<int16_t> shorts(product.size());
        std::vector<float> floats(product.size());
        ASSERT_EQ(nuvStatusOk, nuviGenSobelKernel_16s(shorts.data(), size, order, sign));
        ASSERT_EQ(nuvStatusOk, nuviGenSobelKernel_32f(floats.data(), size, order, sign));
        EXPECT_EQ(product, std::vector<int>(shorts.begin(), shorts.end()));
        EXPECT_EQ(product, std::vector<int>(floats.begin(), floats.end()));
      }
    }
  }
  int16_t none = 9;
  EXPECT_EQ(nuvStatusNullPointer, nuviGenSobelKernel_16s(nullptr, 2, 0, 1));
  for (const auto& [size, order] : {std::pair(0, 0), {2, 0}, {3, 3}, {3, -1}}) {
    EXPECT_EQ(nuvStatusBadSize, nuviGenSobelKernel_16s(&none, size, order, 1));
  }
  EXPECT_EQ(9, none);
}

}  // namespace

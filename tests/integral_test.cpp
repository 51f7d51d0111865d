#include <gtest/gtest.h>

#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// Cells whose arithmetic shows: sums wrap, and the additions of a float plane round.
template <class Cell>
Cell borderValue(bool squares) {
  if constexpr (std::is_same_v<Cell, int32_t>) return std::numeric_limits<int32_t>::max() - 700;
  return static_cast<Cell>(std::is_same_v<Cell, float> ? 123456789.0 : squares ? 4e16 : 0);
}

// Sums as they are defined: 64-bit integers, cut down to 32 bits where that is the contract, over
// the first `columns` pixels of a row.
template <class Cell>
void uprightReference(const uint8_t* src, int32_t srcStep, Cell* plane, int32_t step, NuviSize size,
                      bool squares, Cell value, int32_t columns) {
  const auto cell = [&](int32_t x, int32_t y) -> Cell& { return plane[y * step + x]; };
  for (int32_t x = 0; x <= size.width; ++x) cell(x, 0) = value;
  for (int32_t y = 0; y < size.height; ++y) {
    cell(0, y + 1) = value;
    int64_t sum = 0;
    for (int32_t x = 0; x < columns; ++x) {
      const int32_t pixel = src[y * srcStep + x];
      sum += squares ? pixel * pixel : pixel;
      const Cell above = cell(x + 1, y);
      if constexpr (std::is_same_v<Cell, int32_t>) {
        cell(x + 1, y + 1) = static_cast<int32_t>(sum + above);
      } else {
        cell(x + 1, y + 1) = static_cast<Cell>(sum) + above;
      }
    }
  }
}

template <class Cell>
void tiltedReference(const uint8_t* src, int32_t srcStep, Cell* plane, int32_t step, NuviSize size,
                     bool squares, Cell value, bool nextByte) {
  const auto cell = [&](int32_t x, int32_t y) -> Cell& { return plane[y * step + x]; };
  const int32_t width = size.width;
  for (int32_t x = 0; x < width + 2; ++x) cell(x, 0) = cell(x, 1) = value;
  for (int32_t y = 0; y < size.height; ++y) {
    const auto term = [&](int32_t x) {
      const int32_t pixel = src[y * srcStep + x];
      return squares ? pixel * pixel : pixel;
    };
    cell(0, y + 2) = cell(1, y + 1);
    for (int32_t x = 1; x <= width; ++x) {
      const Cell left = cell(x - 1, y + 1), right = cell(x + 1, y + 1), apex = cell(x, y);
      const bool last = x == width && !nextByte;
      const int32_t a = term(x - 1), b = last ? 0 : term(x);
      Cell& result = cell(x, y + 2);
      if constexpr (std::is_same_v<Cell, int32_t>) {
        result = static_cast<int32_t>(int64_t{left} + right - apex + a + b);
      } else if constexpr (std::is_same_v<Cell, float>) {
        const double l = left, r = right, t = apex;
        if (last) {
          result = result + static_cast<float>(((a + l) + r) - t);
        } else {
          result = static_cast<float>((((l - t) + r) + a) + b);
        }
      } else {
        const double terms = a + b;
        result = last ? ((terms + left) + right) - apex : ((terms + left) - apex) + right;
      }
    }
    cell(width + 1, y + 2) = cell(width, y + 1);
  }
}

// A plane to be written and its reference, which begin with the same noise.
template <class Cell>
struct Planes {
  Planes(NuviSize roiSize, int32_t border, int32_t pad, Against against)
      : written({roiSize.width + border, roiSize.height + border}, 1, pad, against),
        expected({roiSize.width + border, roiSize.height + border}, 1, pad, against) {
    written.fill(RandomSamples<Cell>(7));
    expected.fill(RandomSamples<Cell>(7));
  }
  void reference(bool tilted, bool squares, const TestImage<uint8_t>& src, NuviSize roiSize,
                 bool nextByte = false) {
    const auto step = expected.step() / static_cast<int32_t>(sizeof(Cell));
    const Cell value = borderValue<Cell>(squares);
    if (tilted) {
      tiltedReference(src.data(), src.step(), expected.data(), step, roiSize, squares, value,
                      nextByte);
    } else {
      uprightReference(src.data(), src.step(), expected.data(), step, roiSize, squares, value,
                       roiSize.width);
    }
  }
  void compare() {
    ASSERT_EQ(expected.bytes(), written.bytes());
    ASSERT_TRUE(written.padsUntouched());
  }
  bool hasExtraColumn() const {
    const auto address = reinterpret_cast<uintptr_t>(written.data());
    return written.size().width < 16 && address % 16 == 0 && written.step() % 16 == 0;
  }

  TestImage<Cell> written, expected;
};

template <class Body>
void forSizes(Body&& body) {
  for (const Against against : {Against::end, Against::begin}) {
    for (int32_t width = 1; width <= 36; ++width) body(NuviSize{width, 5}, width % 3, against);
    body(NuviSize{67, 45}, 1, against);
    body(NuviSize{70000, 2}, 0, against);  // a row's squares pass 2 to the 32nd
  }
}

template <class Sum>
void checkSums(NuvStatus (*function)(const uint8_t*, int32_t, Sum*, int32_t, NuviSize, Sum),
               bool tilted) {
  forSizes([&](NuviSize size, int32_t pad, Against against) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    TestImage<uint8_t> src(size, 1, pad, against);
    src.fill(RandomSamples<uint8_t>(1));
    Planes<Sum> sums(size, tilted ? 2 : 1, pad, against);
    if (!tilted && std::is_same_v<Sum, float> && sums.hasExtraColumn()) return;
    ASSERT_EQ(nuvStatusOk, function(src.data(), src.step(), sums.written.data(),
                                    sums.written.step(), size, borderValue<Sum>(false)));
    sums.reference(tilted, false, src, size);
    sums.compare();
  });
}

template <class Sum, class Square>
void checkSquares(NuvStatus (*function)(const uint8_t*, int32_t, Sum*, int32_t, Square*, int32_t,
                                        NuviSize, Sum, Square),
                  bool tilted, bool nextByte = false) {
  forSizes([&](NuviSize size, int32_t pad, Against against) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    TestImage<uint8_t> src({size.width + nextByte, size.height}, 1, pad, against);
    if (size.width < 1000) {
      src.fill(RandomSamples<uint8_t>(2));
    } else {
      src.fill([] { return 255; });
    }
    const int32_t border = tilted ? 2 : 1;
    Planes<Sum> sums(size, border, pad, against);
    Planes<Square> squares(size, border, 0, against);
    ASSERT_EQ(nuvStatusOk,
              function(src.data(), src.step(), sums.written.data(), sums.written.step(),
                       squares.written.data(), squares.written.step(), size,
                       borderValue<Sum>(false), borderValue<Square>(true)));
    sums.reference(tilted, false, src, size, nextByte);
    squares.reference(tilted, true, src, size, nextByte);
    sums.compare();
    squares.compare();
  });
}

TEST(Integral, MatchesReference) {
  checkSums(nuviIntegral_8u32s_C1R, false);
  checkSums(nuviIntegral_8u32f_C1R, false);
  checkSquares(nuviSqrIntegral_8u32s_C1R, false);
  checkSquares(nuviSqrIntegral_8u32s64f_C1R, false);
  checkSquares(nuviSqrIntegral_8u32f64f_C1R, false);
}

TEST(TiltedIntegral, MatchesReference) {
  checkSums(nuviTiltedIntegral_8u32s_C1R, true);
  checkSums(nuviTiltedIntegral_8u32f_C1R, true);
  checkSquares(nuviTiltedSqrIntegral_8u32s_C1R, true, true);
  checkSquares(nuviTiltedSqrIntegral_8u32s64f_C1R, true);
  checkSquares(nuviTiltedSqrIntegral_8u32f64f_C1R, true);
}

// With plane and step at multiples of 16 bytes, up to 14 pixels have a column more; nothing else
// behind a row changes.
TEST(Integral, NarrowAlignedFloatPlaneHasOneColumnMore) {
  constexpr int32_t height = 3;
  for (int32_t width = 1; width <= 20; ++width) {
    for (const int32_t extraStep : {0, 16, 4}) {
      SCOPED_TRACE(std::to_string(width) + " step +" + std::to_string(extraStep));
      const int32_t step = ((width + 1) * 4 + 15) / 16 * 16 + extraStep;
      const size_t samples = static_cast<size_t>(step) / 4 * (height + 2);
      TestImage<uint8_t> src({width + 1, height});
      src.fill(RandomSamples<uint8_t>(3));
      GuardedBlock written(samples * 4, Against::begin), expected(samples * 4, Against::begin);
      auto* const dst = reinterpret_cast<float*>(written.data());
      auto* const reference = reinterpret_cast<float*>(expected.data());
      for (size_t i = 0; i < samples; ++i) dst[i] = reference[i] = static_cast<float>(i);
      ASSERT_EQ(nuvStatusOk,
                nuviIntegral_8u32f_C1R(src.data(), src.step(), dst, step, {width, height}, 0.5f));
      const bool more = step % 16 == 0 && width + 1 < 16;
      uprightReference(src.data(), src.step(), reference, step / 4, {width, height}, false, 0.5f,
                       more ? width + 1 : width);
      ASSERT_EQ(0, std::memcmp(reference, dst, samples * 4));
    }
  }
}

// Away from the sides, a tilted cell is the sum of the pixels between the diagonals above it.
TEST(TiltedIntegral, SumsTheQuadrantAbove) {
  const NuviSize size = {40, 12};
  TestImage<uint8_t> src(size);
  src.fill(RandomSamples<uint8_t>(4));
  TestImage<int32_t> plane({42, 14});
  ASSERT_EQ(nuvStatusOk, nuviTiltedIntegral_8u32s_C1R(src.data(), src.step(), plane.data(),
                                                      plane.step(), size, 5));
  for (int32_t y = 0; y < 14; ++y) {
    for (int32_t x = 14; x < 26; ++x) {
      int32_t sum = 5;
      for (int32_t row = 0; row <= y - 2; ++row) {
        const int32_t reach = y - 2 - row;
        for (int32_t column = x - 1 - reach; column <= x + reach; ++column) {
          sum += src.at(column, row);
        }
      }
      ASSERT_EQ(sum, plane.at(x, y)) << x << "," << y;
    }
  }
}

TEST(IntegralChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t src[8] = {};
  int32_t dst[12] = {9, 9, 9, 9};
  double sqr[12] = {9, 9, 9, 9};
  for (const bool tilted : {false, true}) {
    const int32_t cells = tilted ? 6 : 5;
    const auto call = [&](const uint8_t* pSrc, int32_t srcStep, int32_t dstStep, double* pSqr,
                          int32_t sqrStep, NuviSize size) {
      const auto function =
          tilted ? nuviTiltedSqrIntegral_8u32s64f_C1R : nuviSqrIntegral_8u32s64f_C1R;
      return function(pSrc, srcStep, dst, dstStep, pSqr, sqrStep, size, 1, 1);
    };
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 4, 32, sqr, 48, {0, 1}));
    EXPECT_EQ(nuvStatusNullPointer, call(src, 4, 32, nullptr, 48, {4, 0}));
    EXPECT_EQ(nuvStatusBadSize, call(src, 3, 32, sqr, 48, {0, 1}));
    EXPECT_EQ(nuvStatusBadSize, call(src, 3, 32, sqr, 48, {4, -1}));
    EXPECT_EQ(nuvStatusBadStep, call(src, 3, 33, sqr, 49, {4, 1}));
    EXPECT_EQ(nuvStatusBadStep, call(src, 4, 4 * cells - 1, sqr, 48, {4, 1}));
    EXPECT_EQ(nuvStatusBadStep, call(src, 4, 33, sqr, 8 * cells - 1, {4, 1}));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 5, 4 * cells + 2, sqr, 48, {4, 1}));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 4, 4 * cells, sqr, 52, {4, 1}));
    const auto single = tilted ? nuviTiltedIntegral_8u32s_C1R : nuviIntegral_8u32s_C1R;
    EXPECT_EQ(nuvStatusNullPointer, single(src, 4, nullptr, 0, {4, 1}, 1));
    EXPECT_EQ(nuvStatusBadStep, single(src, 4, dst, 4 * cells - 1, {4, 1}, 1));
  }
  EXPECT_EQ(9, dst[0]);
  EXPECT_EQ(9, sqr[0]);
}

}  // namespace

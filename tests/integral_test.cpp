#include <gtest/gtest.h>

#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// Tilted planes have a column and a row more than upright ones. In one form the byte behind a row
// of pixels counts as a pixel.
enum class Form { upright, tilted, tiltedWithNextByte };
int32_t borderOf(Form form) { return form == Form::upright ? 1 : 2; }

// Border values with which the arithmetic shows: sums wrap, the additions of floats round, and huge
// values that cancel keep or lose small ones by the order of the additions.
template <class Cell>
Cell borderValue(bool huge) {
  if constexpr (std::is_same_v<Cell, int32_t>) return std::numeric_limits<int32_t>::max() - 700;
  return static_cast<Cell>(huge ? 1e30 : std::is_same_v<Cell, float> ? 123456789.0 : 4e16);
}

// What planes hold before a call: noise, and what cancels the border value.
template <class Cell>
void fillBefore(TestImage<Cell>& plane, Cell value) {
  RandomSamples<Cell> samples(7);
  std::mt19937 random(7);
  plane.fill([&] { return random() % 4 == 0 ? -value : samples(); });
}

int32_t termOf(uint8_t pixel, bool squares) { return squares ? pixel * pixel : pixel; }
int32_t sumCell(int64_t sum, int32_t above) { return static_cast<int32_t>(sum + above); }
float sumCell(int64_t sum, float above) { return static_cast<float>(sum) + above; }
double sumCell(int64_t sum, double above) { return static_cast<double>(sum) + above; }

// Sums the first `columns` pixels of each row, in 64-bit integers.
template <class Cell>
void uprightReference(const TestImage<uint8_t>& src, int32_t columns, bool squares, Cell value,
                      const TestImage<Cell>& plane) {
  const NuviSize size = src.size();
  for (int32_t x = 0; x < plane.size().width; ++x) plane.at(x, 0) = value;
  for (int32_t y = 0; y < size.height; ++y) {
    plane.at(0, y + 1) = value;
    int64_t sum = 0;
    for (int32_t x = 0; x < columns; ++x) {
      sum += termOf(src.at(x, y), squares);
      plane.at(x + 1, y + 1) = sumCell(sum, plane.at(x + 1, y));
    }
  }
}

// A cell from its neighbours above, the cell two rows above, and its pixels: the last one has one
// pixel only. `held` is what the cell held before.
int32_t tiltedCell(int32_t left, int32_t right, int32_t apex, int32_t a, int32_t b, bool, int32_t) {
  return static_cast<int32_t>(int64_t{left} + right - apex + a + b);
}
float tiltedCell(double left, double right, double apex, int32_t a, int32_t b, bool last,
                 float held) {
  return last ? held + static_cast<float>(((a + left) + right) - apex)
              : static_cast<float>((((left - apex) + right) + a) + b);
}
double tiltedCell(double left, double right, double apex, int32_t a, int32_t b, bool last, double) {
  return last ? ((a + left) + right) - apex : (((a + b) + left) - apex) + right;
}

template <class Cell>
void tiltedReference(const TestImage<uint8_t>& src, bool nextByte, bool squares, Cell value,
                     const TestImage<Cell>& plane) {
  const int32_t width = plane.size().width - 2;
  for (int32_t x = 0; x < width + 2; ++x) plane.at(x, 0) = plane.at(x, 1) = value;
  for (int32_t y = 0; y < src.size().height; ++y) {
    plane.at(0, y + 2) = plane.at(1, y + 1);
    for (int32_t x = 1; x <= width; ++x) {
      const bool last = x == width && !nextByte;
      plane.at(x, y + 2) =
          tiltedCell(plane.at(x - 1, y + 1), plane.at(x + 1, y + 1), plane.at(x, y),
                     termOf(src.at(x - 1, y), squares), last ? 0 : termOf(src.at(x, y), squares),
                     last, plane.at(x, y + 2));
    }
    plane.at(width + 1, y + 2) = plane.at(width, y + 1);
  }
}

// What a plane becomes.
template <class Cell>
void expectPlane(const TestImage<uint8_t>& src, Form form, bool squares, Cell value,
                 const TestImage<Cell>& plane) {
  TestImage<Cell> expected(plane.size());
  fillBefore(expected, value);
  if (form == Form::upright) {
    uprightReference(src, src.size().width, squares, value, expected);
  } else {
    tiltedReference(src, form == Form::tiltedWithNextByte, squares, value, expected);
  }
  ASSERT_EQ(expected.bytes(), plane.bytes());
  ASSERT_TRUE(plane.padsUntouched());
}

// A function with a plane of sums, and one of squares if its signature has one.
template <class Sum, class Square = double, class Function>
void check(Function function, Form form) {
  constexpr bool hasSquares = std::is_invocable_v<Function, uint8_t*, int32_t, Sum*, int32_t,
                                                  Square*, int32_t, NuviSize, Sum, Square>;
  const auto compare = [&](NuviSize size, int32_t pad, Against against) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    TestImage<uint8_t> src({size.width + (form == Form::tiltedWithNextByte), size.height}, 1, pad,
                           against);
    RandomSamples<uint8_t> samples(1);
    src.fill([&] { return size.width < 1000 ? samples() : 255; });
    const NuviSize cells = {size.width + borderOf(form), size.height + borderOf(form)};
    TestImage<Sum> sums(cells, 1, pad, against);
    TestImage<Square> squares(cells, 1, 0, against);
    const bool huge = form != Form::upright && pad == 0;
    const auto val = borderValue<Sum>(huge);
    const auto valSqr = borderValue<Square>(huge);
    fillBefore(sums, val);
    fillBefore(squares, valSqr);
    if constexpr (hasSquares) {
      ASSERT_EQ(nuvStatusOk, function(src.data(), src.step(), sums.data(), sums.step(),
                                      squares.data(), squares.step(), size, val, valSqr));
      expectPlane(src, form, true, valSqr, squares);
    } else {
      const auto address = reinterpret_cast<uintptr_t>(sums.data());
      const bool aligned = address % 16 == 0 && sums.step() % 16 == 0;
      if (form == Form::upright && size.width < 15 && aligned) return;  // see below
      ASSERT_EQ(nuvStatusOk, function(src.data(), src.step(), sums.data(), sums.step(), size, val));
    }
    expectPlane(src, form, false, val, sums);
  };
  for (const Against against : {Against::end, Against::begin}) {
    for (int32_t width = 1; width <= 36; ++width) compare({width, 5}, width % 3, against);
    compare({67, 45}, 1, against);
    compare({70000, 2}, 0, against);  // a row's squares pass 2 to the 32nd
  }
}

TEST(Integral, MatchesReference) {
  check<int32_t>(nuviIntegral_8u32s_C1R, Form::upright);
  check<float>(nuviIntegral_8u32f_C1R, Form::upright);
  check<int32_t, int32_t>(nuviSqrIntegral_8u32s_C1R, Form::upright);
  check<int32_t>(nuviSqrIntegral_8u32s64f_C1R, Form::upright);
  check<float>(nuviSqrIntegral_8u32f64f_C1R, Form::upright);
  check<int32_t>(nuviTiltedIntegral_8u32s_C1R, Form::tilted);
  check<float>(nuviTiltedIntegral_8u32f_C1R, Form::tilted);
  check<int32_t, int32_t>(nuviTiltedSqrIntegral_8u32s_C1R, Form::tiltedWithNextByte);
  check<int32_t>(nuviTiltedSqrIntegral_8u32s64f_C1R, Form::tilted);
  check<float>(nuviTiltedSqrIntegral_8u32f64f_C1R, Form::tilted);
}

// With plane and step at multiples of 16 bytes, up to 14 pixels have a column more; nothing else
// behind a row changes.
TEST(Integral, NarrowAlignedFloatPlaneHasOneColumnMore) {
  for (int32_t width = 1; width <= 20; ++width) {
    for (int32_t pad = 0; pad < 4; ++pad) {
      SCOPED_TRACE(std::to_string(width) + " pad " + std::to_string(pad));
      TestImage<uint8_t> src({width + 1, 3});
      src.fill(RandomSamples<uint8_t>(3));
      // The last of the rows only makes room behind the plane.
      TestImage<float> written({width + 1, 5}, 1, pad, Against::begin);
      TestImage<float> expected({width + 1, 5}, 1, pad, Against::begin);
      ASSERT_EQ(nuvStatusOk, nuviIntegral_8u32f_C1R(src.data(), src.step(), written.data(),
                                                    written.step(), {width, 3}, 0.5f));
      const bool more = written.step() % 16 == 0 && width + 1 < 16;
      uprightReference(src, more ? width + 1 : width, false, 0.5f, expected);
      ASSERT_EQ(0, std::memcmp(expected.data(), written.data(),
                               static_cast<size_t>(written.step()) * 4 + 4));
    }
  }
}

TEST(IntegralChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t pixels[8] = {};
  int32_t sums[12] = {9};
  double squares[12] = {9};
  for (const bool tilted : {false, true}) {
    const auto pair = tilted ? nuviTiltedSqrIntegral_8u32s64f_C1R : nuviSqrIntegral_8u32s64f_C1R;
    const auto single = tilted ? nuviTiltedIntegral_8u32s_C1R : nuviIntegral_8u32s_C1R;
    const int32_t row = tilted ? 4 * 6 : 4 * 5;
    const auto expect = [&](NuvStatus status, const uint8_t* src, int32_t srcStep, int32_t dstStep,
                            int32_t sqrStep, NuviSize size) {
      EXPECT_EQ(status, pair(src, srcStep, sums, dstStep, squares, sqrStep, size, 1, 1));
      if (sqrStep != 48) return;
      EXPECT_EQ(status, single(src, srcStep, sums, dstStep, size, 1));
    };
    EXPECT_EQ(nuvStatusNullPointer, pair(pixels, 4, sums, 32, nullptr, 48, {4, 0}, 1, 1));
    EXPECT_EQ(nuvStatusNullPointer, single(pixels, 4, nullptr, 0, {4, 1}, 1));
    expect(nuvStatusNullPointer, nullptr, 4, 32, 48, {0, 1});
    expect(nuvStatusBadSize, pixels, 3, 32, 48, {0, 1});
    expect(nuvStatusBadSize, pixels, 3, 32, 48, {4, -1});
    expect(nuvStatusBadStep, pixels, 3, 33, 48, {4, 1});
    expect(nuvStatusBadStep, pixels, 4, row - 1, 48, {4, 1});
    expect(nuvStatusBadStep, pixels, 4, 33, 2 * row - 1, {4, 1});
    expect(nuvStatusStepNotElementMultiple, pixels, 5, row + 2, 48, {4, 1});
    expect(nuvStatusStepNotElementMultiple, pixels, 4, row, 52, {4, 1});
  }
  EXPECT_EQ(9, sums[0]);
  EXPECT_EQ(9, squares[0]);
}

}  // namespace

// The standard deviation of the pixels under a window that slides over an image, upright or turned
// by 45 degrees, from an integral plane and one of squares: the root of the mean square less the
// square of the mean. It normalises the contrast of what rectangle features see (P. Viola and
// M. Jones, 2001).

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "nuvcv/detect.h"

namespace nuv {
namespace {

enum class Shape { upright, tilted };

// The corners of a window, as distances from its position. They are named for a window that stands
// on its corner; those of an upright one are top left, top right, bottom left and bottom right.
struct Window {
  struct Corner {
    ptrdiff_t x, y;
  };
  Corner top, right, left, bottom;
};

Window windowOf(Shape shape, NuviRect rect) {
  const ptrdiff_t x = rect.x, y = rect.y, width = rect.width, height = rect.height;
  if (shape == Shape::upright) {
    return {{x, y}, {x + width, y}, {x, y + height}, {x + width, y + height}};
  }
  // x and width count along the diagonal down to the right, y and height along the one to the left.
  const ptrdiff_t column = x - y, row = x + y;
  return {{column, row},
          {column + width, row + width},
          {column - height, row + height},
          {column + width - height, row + width + height}};
}

// The cells of a plane at the corners, for the first position of row y.
template <class Cell>
struct Cells {
  Cells(const Image<const Cell>& plane, const Window& window, ptrdiff_t y)
      : top(plane.row(y + window.top.y) + window.top.x),
        right(plane.row(y + window.right.y) + window.right.x),
        left(plane.row(y + window.left.y) + window.left.x),
        bottom(plane.row(y + window.bottom.y) + window.bottom.x) {}

  const Cell* top;
  const Cell* right;
  const Cell* left;
  const Cell* bottom;
};

// The sum over the window at position x, modulo 2 to the 32nd, as a float.
inline float sumOfIntegers(const Cells<int32_t>& cells, ptrdiff_t x) {
  const auto top = static_cast<uint32_t>(cells.top[x]);
  const auto right = static_cast<uint32_t>(cells.right[x]);
  const auto left = static_cast<uint32_t>(cells.left[x]);
  const auto bottom = static_cast<uint32_t>(cells.bottom[x]);
  return static_cast<float>(static_cast<int32_t>(top - right - left + bottom));
}

// The same in single precision, each cell rounded to it first, in one of two orders.
enum class Order { sequence, pairs };
template <class Cell>
float sumOfFloats(const Cells<Cell>& cells, ptrdiff_t x, Order order) {
  const auto top = static_cast<float>(cells.top[x]);
  const auto right = static_cast<float>(cells.right[x]);
  const auto left = static_cast<float>(cells.left[x]);
  const auto bottom = static_cast<float>(cells.bottom[x]);
  return order == Order::sequence ? ((top - right) - left) + bottom
                                  : (top - right) + (bottom - left);
}

// The same in double precision.
template <class Cell>
double sumOfDoubles(const Cells<Cell>& cells, ptrdiff_t x) {
  return ((double{cells.bottom[x]} - double{cells.left[x]}) - double{cells.right[x]}) +
         double{cells.top[x]};
}

// The recipes: the deviation at one position, each form with roundings of its own. `order` is that
// of the float sums.

// Single precision, every step rounded. A NaN variance gives a NaN.
inline float deviationOfMeans(float mean, float meanSquare) {
  const float variance = meanSquare - mean * mean;
  return __builtin_sqrtf(variance < 0 ? 0 : variance);
}

struct UprightFloat {
  float area;
  float operator()(const Cells<float>& sums, const Cells<double>& squares, ptrdiff_t x,
                   Order order) const {
    return deviationOfMeans(sumOfFloats(sums, x, order) / area,
                            sumOfFloats(squares, x, order) / area);
  }
};

struct UprightInteger {
  float area;
  float operator()(const Cells<int32_t>& sums, const Cells<double>& squares, ptrdiff_t x,
                   Order order) const {
    return deviationOfMeans(sumOfIntegers(sums, x) / area, sumOfFloats(squares, x, order) / area);
  }
};

// The variance in double precision with one rounding, its root in single. A NaN variance counts as
// 0, as it does in the scaled forms.
inline float deviationOfWideMeans(double mean, double meanSquare) {
  const double variance = fused(-mean, mean, meanSquare);
  return __builtin_sqrtf(static_cast<float>(variance > 0 ? variance : 0));
}

struct TiltedFloat {
  double area;
  float operator()(const Cells<float>& sums, const Cells<double>& squares, ptrdiff_t x,
                   Order) const {
    return deviationOfWideMeans(sumOfDoubles(sums, x) / area, sumOfDoubles(squares, x) / area);
  }
};

struct TiltedInteger {
  float area;
  float operator()(const Cells<int32_t>& sums, const Cells<double>& squares, ptrdiff_t x,
                   Order) const {
    const float mean = sumOfIntegers(sums, x) / area;
    return deviationOfWideMeans(double{mean}, sumOfDoubles(squares, x) / double{area});
  }
};

// 2 to the power of minus the factor. The shift counts modulo 32, and what it shifts is a signed
// 32-bit integer.
inline double scaleOf(int32_t scaleFactor) {
  const auto factor = static_cast<uint32_t>(scaleFactor);
  const bool down = scaleFactor >= 0;
  const auto power =
      static_cast<float>(static_cast<int32_t>(1u << ((down ? factor : 0 - factor) & 31)));
  return double{down ? 1.0f / power : power};
}

// Scaled deviations are rounded half up.
inline int32_t scaled(double deviation, double scale) {
  return truncateOrLowest(fused(scale, deviation, 0.5));
}

// The variance in single precision with one rounding, its root in double.
struct UprightScaled {
  float area;
  double scale;
  int32_t operator()(const Cells<int32_t>& sums, const Cells<int32_t>& squares, ptrdiff_t x,
                     Order) const {
    const float mean = sumOfIntegers(sums, x) / area;
    const float variance = fused(-mean, mean, sumOfIntegers(squares, x) / area);
    return scaled(__builtin_sqrt(double{variance > 0 ? variance : 0}), scale);
  }
};

struct TiltedScaled {
  float area;
  double scale;
  int32_t operator()(const Cells<int32_t>& sums, const Cells<int32_t>& squares, ptrdiff_t x,
                     Order) const {
    const float mean = sumOfIntegers(sums, x) / area;
    const float meanSquare = sumOfIntegers(squares, x) / area;
    return scaled(double{deviationOfWideMeans(double{mean}, double{meanSquare})}, scale);
  }
};

// A row of results. Floats are summed in sequence in blocks of eight positions, and in pairs in
// what is left of the row.
template <class Sum, class Square, class Result, class Recipe>
void deviationRow(const Cells<Sum>& sums, const Cells<Square>& squares, Result* dst,
                  ptrdiff_t width, Recipe recipe) {
  const ptrdiff_t whole = width & ~ptrdiff_t{7};
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < whole; ++x) dst[x] = recipe(sums, squares, x, Order::sequence);
  for (ptrdiff_t x = whole; x < width; ++x) dst[x] = recipe(sums, squares, x, Order::pairs);
}

// The area of a window in pixels, and the columns that a plane must have for it, both modulo 2 to
// the 32nd.
inline int32_t areaOf(Shape shape, NuviRect rect) {
  const int32_t area = wrappingMultiply(rect.width, rect.height);
  return shape == Shape::upright ? area : wrappingMultiply(2, area);
}
inline int32_t columnsRead(Shape shape, int32_t width, NuviRect rect) {
  const int32_t upright = wrappingAdd(wrappingAdd(width, rect.x), rect.width);
  if (shape == Shape::upright) return upright;
  return wrappingAdd(upright, wrappingAdd(wrappingAdd(rect.y, rect.height), -1));
}

// How many threads are worth it: one for each 1024 positions.
inline int32_t teamOf(NuviSize roiSize) {
  constexpr int32_t most = 32;
  const int32_t threads = ownThreadCount();
  const int32_t shares = gateArea(roiSize) >> 10;
  const int32_t team = threads < shares ? threads : shares;
  return team < most ? team : most;
}

enum class Threads { caller, team };

template <Shape shape, class Sum, class Square, class Result, class Recipe>
NuvStatus rectStdDev(const Sum* pSrc, int32_t srcStep, const Square* pSqr, int32_t sqrStep,
                     Result* pDst, int32_t dstStep, NuviSize roiSize, NuviRect rect, Recipe recipe,
                     Threads threads = Threads::caller) {
  const int32_t columns = columnsRead(shape, roiSize.width, rect);
  const NuvStatus status =
      Check()
          .pointers(pSrc, pSqr, pDst)
          .size(roiSize)
          .step(pSrc, srcStep, columns)
          .step(pDst, dstStep, roiSize.width)
          .step(pSqr, sqrStep, columns)
          .elementMultiple(pSrc, srcStep, dstStep)
          .elementMultiple(pSqr, sqrStep)
          .require(rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1,
                   nuvStatusBadSize)
          .status();
  if (status != nuvStatusOk) return status;

  const Window window = windowOf(shape, rect);
  const Image<const Sum> sums(pSrc, srcStep);
  const Image<const Square> squares(pSqr, sqrStep);
  const Image<Result> dst(pDst, dstStep);
  const auto rows = [&](int32_t, int32_t firstRow, int32_t count) {
    for (ptrdiff_t y = firstRow; y < ptrdiff_t{firstRow} + count; ++y) {
      deviationRow(Cells<Sum>(sums, window, y), Cells<Square>(squares, window, y), dst.row(y),
                   roiSize.width, recipe);
    }
  };
  const int32_t team = threads == Threads::team ? teamOf(roiSize) : 1;
  if (team <= 1) {
    rows(0, 0, roiSize.height);
  } else {
    forkRows(team, roiSize.height, rows);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviRectStdDev_32f_C1R(const float* pSrc, int32_t srcStep, const double* pSqr,
                                 int32_t sqrStep, float* pDst, int32_t dstStep, NuviSize roiSize,
                                 NuviRect rect) {
  const UprightFloat recipe = {static_cast<float>(areaOf(Shape::upright, rect))};
  return rectStdDev<Shape::upright>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                    recipe, Threads::team);
}

NuvStatus nuviRectStdDev_32s32f_C1R(const int32_t* pSrc, int32_t srcStep, const double* pSqr,
                                    int32_t sqrStep, float* pDst, int32_t dstStep, NuviSize roiSize,
                                    NuviRect rect) {
  const UprightInteger recipe = {static_cast<float>(areaOf(Shape::upright, rect))};
  return rectStdDev<Shape::upright>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                    recipe);
}

NuvStatus nuviRectStdDev_32s_C1RSfs(const int32_t* pSrc, int32_t srcStep, const int32_t* pSqr,
                                    int32_t sqrStep, int32_t* pDst, int32_t dstStep,
                                    NuviSize roiSize, NuviRect rect, int32_t scaleFactor) {
  const UprightScaled recipe = {static_cast<float>(areaOf(Shape::upright, rect)),
                                scaleOf(scaleFactor)};
  return rectStdDev<Shape::upright>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                    recipe);
}

NuvStatus nuviTiltedRectStdDev_32f_C1R(const float* pSrc, int32_t srcStep, const double* pSqr,
                                       int32_t sqrStep, float* pDst, int32_t dstStep,
                                       NuviSize roiSize, NuviRect rect) {
  const TiltedFloat recipe = {static_cast<double>(areaOf(Shape::tilted, rect))};
  return rectStdDev<Shape::tilted>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                   recipe);
}

NuvStatus nuviTiltedRectStdDev_32s32f_C1R(const int32_t* pSrc, int32_t srcStep, const double* pSqr,
                                          int32_t sqrStep, float* pDst, int32_t dstStep,
                                          NuviSize roiSize, NuviRect rect) {
  const TiltedInteger recipe = {static_cast<float>(areaOf(Shape::tilted, rect))};
  return rectStdDev<Shape::tilted>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                   recipe);
}

NuvStatus nuviTiltedRectStdDev_32s_C1RSfs(const int32_t* pSrc, int32_t srcStep, const int32_t* pSqr,
                                          int32_t sqrStep, int32_t* pDst, int32_t dstStep,
                                          NuviSize roiSize, NuviRect rect, int32_t scaleFactor) {
  const TiltedScaled recipe = {static_cast<float>(areaOf(Shape::tilted, rect)),
                               scaleOf(scaleFactor)};
  return rectStdDev<Shape::tilted>(pSrc, srcStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect,
                                   recipe);
}

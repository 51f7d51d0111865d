// Summed-area planes turned by 45 degrees (R. Lienhart and J. Maydt, 2002): each cell holds the sum
// of the pixels in the quadrant above it that two diagonals bound, so that the sum over a rectangle
// standing on its corner costs four reads.
//
// A row follows from the two rows of cells above it and one row of pixels: the quadrants of the
// left and the right neighbour above overlap in that of the cell two rows up, and the two pixels
// next to the cell complete them.

#include "core/check.h"
#include "core/image.h"
#include "core/numeric.h"
#include "nuvcv/detect.h"

namespace nuv {
namespace {

// What a plane sums up of the pixels.
struct Identity {
  static int32_t of(uint8_t pixel) { return pixel; }
};
struct Square {
  static int32_t of(uint8_t pixel) { return pixel * pixel; }
};

// A cell from its two neighbours in the row above, the cell two rows up and two pixels: integers
// modulo 2 to the 32nd, a float computed in double precision and rounded once, or doubles with the
// two terms added as integers.
template <class Term>
int32_t tiltedCell(int32_t left, int32_t right, int32_t apex, uint8_t a, uint8_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(left) + static_cast<uint32_t>(right) -
                              static_cast<uint32_t>(apex) +
                              static_cast<uint32_t>(Term::of(a) + Term::of(b)));
}
template <class Term>
float tiltedCell(float left, float right, float apex, uint8_t a, uint8_t b) {
  const double cells = (double{left} - double{apex}) + double{right};
  return static_cast<float>((cells + Term::of(a)) + Term::of(b));
}
template <class Term>
double tiltedCell(double left, double right, double apex, uint8_t a, uint8_t b) {
  return ((static_cast<double>(Term::of(a) + Term::of(b)) + left) - apex) + right;
}

// The cell behind the last pixel, which has that pixel only: the same arithmetic, but the order of
// the floats is another, and a float cell is added to what it held before the call.
template <class Term>
void lastTiltedCell(int32_t left, int32_t right, int32_t apex, uint8_t a, int32_t* dst) {
  *dst = tiltedCell<Term>(left, right, apex, a, 0);
}
template <class Term>
void lastTiltedCell(float left, float right, float apex, uint8_t a, float* dst) {
  const double sum =
      ((static_cast<double>(Term::of(a)) + double{left}) + double{right}) - double{apex};
  *dst += static_cast<float>(sum);
}
template <class Term>
void lastTiltedCell(double left, double right, double apex, uint8_t a, double* dst) {
  *dst = ((static_cast<double>(Term::of(a)) + left) + right) - apex;
}

// The cells with two pixels: those of the columns 1 to `pixels` - 1.
template <class Term, class Cell>
void tiltedRow(const uint8_t* src, const Cell* above2, const Cell* above, Cell* dst,
               ptrdiff_t pixels) {
  NUV_IVDEP
  for (ptrdiff_t x = 1; x < pixels; ++x) {
    dst[x] = tiltedCell<Term>(above[x - 1], above[x + 1], above2[x], src[x - 1], src[x]);
  }
}

// Whether the byte behind a row of pixels is taken for a pixel, which then completes the last cell.
enum class RowEnd { lastPixel, nextByte };

template <class Term, class Cell>
class TiltedPlane {
 public:
  TiltedPlane(Cell* data, int32_t step, int32_t width, Cell value)
      : cells_(data, step), width_(width) {
    for (int32_t y = 0; y < 2; ++y) {
      for (ptrdiff_t x = 0; x < ptrdiff_t{width} + 2; ++x) cells_.row(y)[x] = value;
    }
  }

  // The row of cells that row y of the pixels completes.
  void addRow(const uint8_t* src, ptrdiff_t y, RowEnd end) const {
    const Cell* const above2 = cells_.row(y);
    const Cell* const above = cells_.row(y + 1);
    Cell* const dst = cells_.row(y + 2);
    const ptrdiff_t last = width_;
    dst[0] = above[1];
    if (end == RowEnd::nextByte) {
      tiltedRow<Term>(src, above2, above, dst, last + 1);
    } else {
      tiltedRow<Term>(src, above2, above, dst, last);
      lastTiltedCell<Term>(above[last - 1], above[last + 1], above2[last], src[last - 1],
                           dst + last);
    }
    dst[last + 1] = above[last];
  }

 private:
  Image<Cell> cells_;
  ptrdiff_t width_;
};

template <class Sum>
NuvStatus tiltedIntegral(const uint8_t* pSrc, int32_t srcStep, Sum* pDst, int32_t dstStep,
                         NuviSize roiSize, Sum val) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, wrappingAdd(roiSize.width, 2))
                               .elementMultiple(pDst, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const TiltedPlane<Identity, Sum> sums(pDst, dstStep, roiSize.width, val);
  for (ptrdiff_t y = 0; y < roiSize.height; ++y) sums.addRow(src.row(y), y, RowEnd::lastPixel);
  return nuvStatusOk;
}

template <class Sum, class SquareSum>
NuvStatus tiltedSquareIntegral(const uint8_t* pSrc, int32_t srcStep, Sum* pDst, int32_t dstStep,
                               SquareSum* pSqr, int32_t sqrStep, NuviSize roiSize, Sum val,
                               SquareSum valSqr, RowEnd end) {
  const int32_t cells = wrappingAdd(roiSize.width, 2);
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pSqr)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, cells)
                               .step(pSqr, sqrStep, cells)
                               .elementMultiple(pDst, dstStep)
                               .elementMultiple(pSqr, sqrStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const TiltedPlane<Identity, Sum> sums(pDst, dstStep, roiSize.width, val);
  const TiltedPlane<Square, SquareSum> squares(pSqr, sqrStep, roiSize.width, valSqr);
  for (ptrdiff_t y = 0; y < roiSize.height; ++y) {
    sums.addRow(src.row(y), y, end);
    squares.addRow(src.row(y), y, end);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviTiltedIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, int32_t val) {
  return tiltedIntegral(pSrc, srcStep, pDst, dstStep, roiSize, val);
}

NuvStatus nuviTiltedIntegral_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                       int32_t dstStep, NuviSize roiSize, float val) {
  return tiltedIntegral(pSrc, srcStep, pDst, dstStep, roiSize, val);
}

NuvStatus nuviTiltedSqrIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                          int32_t dstStep, int32_t* pSqr, int32_t sqrStep,
                                          NuviSize roiSize, int32_t val, int32_t valSqr) {
  return tiltedSquareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr,
                              RowEnd::nextByte);
}

NuvStatus nuviTiltedSqrIntegral_8u32s64f_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                             int32_t dstStep, double* pSqr, int32_t sqrStep,
                                             NuviSize roiSize, int32_t val, double valSqr) {
  return tiltedSquareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr,
                              RowEnd::lastPixel);
}

NuvStatus nuviTiltedSqrIntegral_8u32f64f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                             int32_t dstStep, double* pSqr, int32_t sqrStep,
                                             NuviSize roiSize, float val, double valSqr) {
  return tiltedSquareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr,
                              RowEnd::lastPixel);
}

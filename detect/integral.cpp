// Summed-area planes (F. C. Crow, 1984): each cell holds the sum of all pixels above it and to its
// left, so that the sum over any upright rectangle costs four reads. With a plane of squared pixels
// beside it, so does the variance.

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/detect.h"

namespace nuv {
namespace {

using U32x8 = Vector<uint32_t, 8>;

// What a plane sums up of the pixels.
struct Identity {
  template <class V>
  static V of(V pixel) {
    return pixel;
  }
};
struct Square {
  template <class V>
  static V of(V pixel) {
    return pixel * pixel;
  }
};

// Lane i becomes the sum of the lanes 0..i.
inline U32x8 runningSums(U32x8 v) {
  const U32x8 zero = {};
  v += __builtin_shufflevector(v, zero, 8, 0, 1, 2, 8, 4, 5, 6);
  v += __builtin_shufflevector(v, zero, 8, 8, 0, 1, 8, 8, 4, 5);
  v += __builtin_shufflevector(v, zero, 8, 8, 8, 8, 3, 3, 3, 3);
  return v;
}

// The sum of a row up to some pixel. It takes up the next eight terms as running sums, or the next
// one term, and writes their cells: the sum plus the cell above. For cells of 32 bits the sum is an
// integer modulo 2 to the 32nd; for a float cell it is converted, then added with one rounding.
class RowSum32 {
 public:
  void add(U32x8 block, const int32_t* above, int32_t* dst) {
    store(dst, sum_ + block + load<U32x8>(above));
    advance(block);
  }
  void add(U32x8 block, const float* above, float* dst) {
    store(dst, convert<F32x8>(reinterpret_cast<S32x8>(sum_ + block)) + load<F32x8>(above));
    advance(block);
  }
  void add(uint32_t term, const int32_t* above, int32_t* dst) {
    sum_ += term;
    *dst = static_cast<int32_t>(sum_[0] + static_cast<uint32_t>(*above));
  }
  void add(uint32_t term, const float* above, float* dst) {
    sum_ += term;
    *dst = static_cast<float>(static_cast<int32_t>(sum_[0])) + *above;
  }

 private:
  void advance(U32x8 block) {
    sum_ += __builtin_shufflevector(block, block, 7, 7, 7, 7, 7, 7, 7, 7);
  }
  U32x8 sum_ = {};  // the same in all lanes
};

// For cells of 64 bits the sum is a double, exact for any width, added with one rounding.
class RowSum64 {
 public:
  void add(U32x8 block, const double* above, double* dst) {
    const auto sums = reinterpret_cast<S32x8>(block);
    const auto low = convert<F64x4>(__builtin_shufflevector(sums, sums, 0, 1, 2, 3));
    const auto high = convert<F64x4>(__builtin_shufflevector(sums, sums, 4, 5, 6, 7));
    store(dst, sum_ + low + load<F64x4>(above));
    store(dst + 4, sum_ + high + load<F64x4>(above + 4));
    sum_ += __builtin_shufflevector(high, high, 3, 3, 3, 3);
  }
  void add(uint32_t term, const double* above, double* dst) {
    sum_ += static_cast<double>(term);
    *dst = sum_[0] + *above;
  }

 private:
  F64x4 sum_ = {};  // the same in all lanes
};

template <class Term, class Cell>
void integrateRow(const uint8_t* src, const Cell* above, Cell* dst, ptrdiff_t width) {
  std::conditional_t<sizeof(Cell) == 4, RowSum32, RowSum64> sum;
  ptrdiff_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const auto pixels = reinterpret_cast<U32x8>(loadAs32s(src + x));
    sum.add(runningSums(Term::of(pixels)), above + x, dst + x);
  }
  for (; x < width; ++x) sum.add(Term::of(uint32_t{src[x]}), above + x, dst + x);
}

template <class Cell>
void fill(Cell* cells, ptrdiff_t count, Cell value) {
  for (ptrdiff_t x = 0; x < count; ++x) cells[x] = value;
}

// A float plane without squares, of less than 16 columns and with all its rows at multiples of 16
// bytes, has one column more than its size tells: the byte behind a row of pixels counts as one.
// Callers leave room for it.
inline int32_t pixelsSummed(const float* pDst, int32_t dstStep, int32_t width) {
  const bool aligned =
      ((reinterpret_cast<uintptr_t>(pDst) | static_cast<uint32_t>(dstStep)) & 15) == 0;
  return aligned && width < 15 ? width + 1 : width;
}
inline int32_t pixelsSummed(const int32_t*, int32_t, int32_t width) { return width; }

template <class Sum>
NuvStatus integral(const uint8_t* pSrc, int32_t srcStep, Sum* pDst, int32_t dstStep,
                   NuviSize roiSize, Sum val) {
  const int32_t cells = wrappingAdd(roiSize.width, 1);
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, cells)
                               .elementMultiple(pDst, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<Sum> dst(pDst, dstStep);
  const int32_t pixels = pixelsSummed(pDst, dstStep, roiSize.width);
  fill(dst.row(0), cells, val);
  for (ptrdiff_t y = 0; y < roiSize.height; ++y) {
    dst.row(y + 1)[0] = val;
    integrateRow<Identity>(src.row(y), dst.row(y) + 1, dst.row(y + 1) + 1, pixels);
  }
  return nuvStatusOk;
}

template <class Sum, class SquareSum>
NuvStatus squareIntegral(const uint8_t* pSrc, int32_t srcStep, Sum* pDst, int32_t dstStep,
                         SquareSum* pSqr, int32_t sqrStep, NuviSize roiSize, Sum val,
                         SquareSum valSqr) {
  const int32_t cells = wrappingAdd(roiSize.width, 1);
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
  const Image<Sum> dst(pDst, dstStep);
  const Image<SquareSum> sqr(pSqr, sqrStep);
  fill(dst.row(0), cells, val);
  fill(sqr.row(0), cells, valSqr);
  for (ptrdiff_t y = 0; y < roiSize.height; ++y) {
    dst.row(y + 1)[0] = val;
    sqr.row(y + 1)[0] = valSqr;
    integrateRow<Identity>(src.row(y), dst.row(y) + 1, dst.row(y + 1) + 1, roiSize.width);
    integrateRow<Square>(src.row(y), sqr.row(y) + 1, sqr.row(y + 1) + 1, roiSize.width);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                 int32_t dstStep, NuviSize roiSize, int32_t val) {
  return integral(pSrc, srcStep, pDst, dstStep, roiSize, val);
}
NuvStatus nuviIntegral_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                                 NuviSize roiSize, float val) {
  return integral(pSrc, srcStep, pDst, dstStep, roiSize, val);
}
NuvStatus nuviSqrIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                    int32_t dstStep, int32_t* pSqr, int32_t sqrStep,
                                    NuviSize roiSize, int32_t val, int32_t valSqr) {
  return squareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);
}
NuvStatus nuviSqrIntegral_8u32s64f_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                       int32_t dstStep, double* pSqr, int32_t sqrStep,
                                       NuviSize roiSize, int32_t val, double valSqr) {
  return squareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);
}
NuvStatus nuviSqrIntegral_8u32f64f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                       int32_t dstStep, double* pSqr, int32_t sqrStep,
                                       NuviSize roiSize, float val, double valSqr) {
  return squareIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);
}

// Absolute difference of two images, or of an image and a constant, element by element. Integer
// results are exact; a float result is one IEEE subtraction with its sign bit cleared.

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "nuvcv/arith.h"

namespace nuv {
namespace {

constexpr int32_t parallelArea = 0x40000;

// The larger minus the smaller always fits.
template <class T>
inline T absoluteDifference(T a, T b) {
  return static_cast<T>(a > b ? a - b : b - a);
}
// Clearing the sign bit keeps a NaN and makes a NaN's sign positive.
inline float absoluteDifference(float a, float b) { return __builtin_fabsf(a - b); }

template <class T>
void absDiffRow(const T* a, const T* b, T* dst, ptrdiff_t width) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) dst[x] = absoluteDifference(a[x], b[x]);
}

template <class T>
void absDiffConstantRow(const T* src, T value, T* dst, ptrdiff_t width) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) dst[x] = absoluteDifference(src[x], value);
}

template <class T>
NuvStatus absDiff(const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step, T* pDst,
                  int32_t dstStep, NuviSize roiSize) {
  const NuvStatus status = Check()
                               .pointers(pSrc1, pSrc2, pDst)
                               .size(roiSize)
                               .step(pSrc1, src1Step, roiSize.width)
                               .step(pSrc2, src2Step, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pDst, src1Step, src2Step, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src1(pSrc1, src1Step);
  const Image<const T> src2(pSrc2, src2Step);
  const Image<T> dst(pDst, dstStep);
  const bool serial = gateArea(roiSize) < parallelArea;
  forEachRowShare(serial, roiSize.height, [&](int32_t firstRow, int32_t rows) {
    for (int32_t y = firstRow; y < firstRow + rows; ++y) {
      absDiffRow(src1.row(y), src2.row(y), dst.row(y), roiSize.width);
    }
  });
  return nuvStatusOk;
}

template <class T>
NuvStatus absDiffConstant(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                          NuviSize roiSize, T value) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pDst, srcStep, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  const bool serial = gateArea(roiSize) < parallelArea;
  forEachRowShare(serial, roiSize.height, [&](int32_t firstRow, int32_t rows) {
    for (int32_t y = firstRow; y < firstRow + rows; ++y) {
      absDiffConstantRow(src.row(y), value, dst.row(y), roiSize.width);
    }
  });
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviAbsDiff_8u_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                             int32_t src2Step, uint8_t* pDst, int32_t dstStep, NuviSize roiSize) {
  return absDiff(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
}

NuvStatus nuviAbsDiff_8u_C3R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                             int32_t src2Step, uint8_t* pDst, int32_t dstStep, NuviSize roiSize) {
  const NuviSize samples = {wrappingMultiply(roiSize.width, 3), roiSize.height};
  return absDiff(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, samples);
}

NuvStatus nuviAbsDiff_16u_C1R(const uint16_t* pSrc1, int32_t src1Step, const uint16_t* pSrc2,
                              int32_t src2Step, uint16_t* pDst, int32_t dstStep, NuviSize roiSize) {
  return absDiff(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
}

NuvStatus nuviAbsDiff_32f_C1R(const float* pSrc1, int32_t src1Step, const float* pSrc2,
                              int32_t src2Step, float* pDst, int32_t dstStep, NuviSize roiSize) {
  return absDiff(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
}

NuvStatus nuviAbsDiffC_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                              NuviSize roiSize, int32_t value) {
  return absDiffConstant(pSrc, srcStep, pDst, dstStep, roiSize, saturate<uint8_t>(value));
}

NuvStatus nuviAbsDiffC_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst,
                               int32_t dstStep, NuviSize roiSize, int32_t value) {
  return absDiffConstant(pSrc, srcStep, pDst, dstStep, roiSize, saturate<uint16_t>(value));
}

NuvStatus nuviAbsDiffC_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                               NuviSize roiSize, float value) {
  return absDiffConstant(pSrc, srcStep, pDst, dstStep, roiSize, value);
}

// Corner measures: eigenvalues and eigenvectors of the averaged covariance of the gradient. A
// corner has two large eigenvalues (C. Harris and M. Stephens, "A Combined Corner and Edge
// Detector", 1988; J. Shi and C. Tomasi, "Good Features to Track", 1994).

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "nuvcv/feature.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

enum KernelType : int32_t { kernelSobel = 0, kernelScharr = 1 };

bool isWindow(int32_t size) { return size == 3 || size == 5; }
NuviMaskSize maskOf(int32_t size) { return size * 11; }

// ---- scratch

// What the filters inside report, by the type of the derivatives. The Scharr sizes count only for a
// window of 3; for 5 the lowpass needs more.
int64_t filterBytes(const float*, NuviSize roiSize, NuviMaskSize aperture, NuviMaskSize window) {
  int32_t vertical = 0, horizontal = 0, lowpass = 0, scharrVertical = 0, scharrHorizontal = 0;
  nuviFilterSobelVertGetBufferSize_32f_C1R(roiSize, aperture, &vertical);
  nuviFilterSobelHorizGetBufferSize_32f_C1R(roiSize, aperture, &horizontal);
  nuviFilterLowpassGetBufferSize_32f_C1R(roiSize, window, &lowpass);
  if (window == nuvMask3x3) {
    nuviFilterScharrVertGetBufferSize_32f_C1R(roiSize, &scharrVertical);
    nuviFilterScharrHorizGetBufferSize_32f_C1R(roiSize, &scharrHorizontal);
  }
  return std::max({vertical, horizontal, lowpass, scharrVertical, scharrHorizontal});
}
int64_t filterBytes(const int16_t*, NuviSize roiSize, NuviMaskSize aperture, NuviMaskSize window) {
  int32_t vertical = 0, horizontal = 0, lowpass = 0, scharrVertical = 0, scharrHorizontal = 0;
  nuviFilterSobelVertGetBufferSize_8u16s_C1R(roiSize, aperture, &vertical);
  nuviFilterSobelHorizGetBufferSize_8u16s_C1R(roiSize, aperture, &horizontal);
  nuviFilterLowpassGetBufferSize_32f_C1R(roiSize, window, &lowpass);
  if (window == nuvMask3x3) {
    nuviFilterScharrVertGetBufferSize_8u16s_C1R(roiSize, &scharrVertical);
    nuviFilterScharrHorizGetBufferSize_8u16s_C1R(roiSize, &scharrHorizontal);
  }
  return std::max({vertical, horizontal, lowpass, scharrVertical, scharrHorizontal});
}

// Two planes of derivatives and three of products, the filters' scratch, and room to align. What no
// memory can hold wraps.
template <class Derivative>
int64_t bufferBytes(NuviSize roiSize, int32_t apertureSize, int32_t avgWindow) {
  const auto pitch = static_cast<uint64_t>(alignUp<int64_t>(roiSize.width, 16));
  const uint64_t bytesPerPixel = 2 * sizeof(Derivative) + 3 * sizeof(float);
  const uint64_t planes = pitch * bytesPerPixel * static_cast<uint32_t>(roiSize.height);
  const int64_t filters = filterBytes(static_cast<const Derivative*>(nullptr), roiSize,
                                      maskOf(apertureSize), maskOf(avgWindow));
  return static_cast<int64_t>(planes + static_cast<uint64_t>(filters + 224));
}

template <class Derivative>
NuvStatus getBufferSize(NuviSize roiSize, int32_t apertureSize, int32_t avgWindow,
                        int32_t* pBufferSize) {
  const NuvStatus status =
      Check()
          .pointers(pBufferSize)
          .size(roiSize)
          .require(isWindow(apertureSize) && isWindow(avgWindow), nuvStatusBadSize)
          .status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(bufferBytes<Derivative>(roiSize, apertureSize, avgWindow));
  return nuvStatusOk;
}

// ---- derivatives

template <class T>
struct Plane {
  T* data;
  int32_t stepBytes;

  Image<T> image() const { return {data, stepBytes}; }
};

// The derivatives of a source along x and along y.
NuvStatus derive(const float* pSrc, int32_t srcStep, const Plane<float>& gx, const Plane<float>& gy,
                 NuviSize size, int32_t kernType, NuviMaskSize aperture, uint8_t* buffer) {
  const bool sobel = kernType == kernelSobel;
  const NuvStatus status =
      sobel ? nuviFilterSobelVertBorder_32f_C1R(pSrc, srcStep, gx.data, gx.stepBytes, size,
                                                aperture, nuvBorderReplicate, 0.0f, buffer)
            : nuviFilterScharrVertBorder_32f_C1R(pSrc, srcStep, gx.data, gx.stepBytes, size,
                                                 nuvBorderReplicate, 0.0f, buffer);
  if (status != nuvStatusOk) return status;
  return sobel ? nuviFilterSobelHorizBorder_32f_C1R(pSrc, srcStep, gy.data, gy.stepBytes, size,
                                                    aperture, nuvBorderReplicate, 0.0f, buffer)
               : nuviFilterScharrHorizBorder_32f_C1R(pSrc, srcStep, gy.data, gy.stepBytes, size,
                                                     nuvBorderReplicate, 0.0f, buffer);
}
NuvStatus derive(const uint8_t* pSrc, int32_t srcStep, const Plane<int16_t>& gx,
                 const Plane<int16_t>& gy, NuviSize size, int32_t kernType, NuviMaskSize aperture,
                 uint8_t* buffer) {
  const bool sobel = kernType == kernelSobel;
  const NuvStatus status =
      sobel ? nuviFilterSobelVertBorder_8u16s_C1R(pSrc, srcStep, gx.data, gx.stepBytes, size,
                                                  aperture, nuvBorderReplicate, 0, buffer)
            : nuviFilterScharrVertBorder_8u16s_C1R(pSrc, srcStep, gx.data, gx.stepBytes, size,
                                                   nuvBorderReplicate, 0, buffer);
  if (status != nuvStatusOk) return status;
  return sobel ? nuviFilterSobelHorizBorder_8u16s_C1R(pSrc, srcStep, gy.data, gy.stepBytes, size,
                                                      aperture, nuvBorderReplicate, 0, buffer)
               : nuviFilterScharrHorizBorder_8u16s_C1R(pSrc, srcStep, gy.data, gy.stepBytes, size,
                                                       nuvBorderReplicate, 0, buffer);
}

// A product of 16-bit derivatives in float is that of the integers, rounded once.
template <class Derivative>
void multiplyRow(const Derivative* gx, const Derivative* gy, float* xx, float* yy, float* xy,
                 ptrdiff_t width) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    const auto dx = static_cast<float>(gx[x]);
    const auto dy = static_cast<float>(gy[x]);
    xx[x] = dx * dx;
    yy[x] = dy * dy;
    xy[x] = dx * dy;
  }
}

// The window means of the products of the derivatives.
struct Covariance {
  Plane<float> xx, yy, xy;
};

// The means are written where the derivatives, and then products, are no longer needed.
template <class Source, class Derivative>
NuvStatus covariance(const Source* pSrc, int32_t srcStep, NuviSize size, int32_t kernType,
                     int32_t apertureSize, int32_t avgWindow, uint8_t* pBuffer, Covariance& means) {
  Scratch scratch(pBuffer, bufferBytes<Derivative>(size, apertureSize, avgWindow));
  const int64_t pitch = alignUp<int64_t>(size.width, 16);
  const int64_t samples = pitch * size.height;
  const auto derivativeStep = static_cast<int32_t>(pitch * int64_t{sizeof(Derivative)});
  const auto floatStep = static_cast<int32_t>(pitch * 4);
  const Plane<Derivative> gx = {scratch.take<Derivative>(samples, 32), derivativeStep};
  const Plane<Derivative> gy = {scratch.take<Derivative>(samples), derivativeStep};
  const Plane<float> xx = {scratch.take<float>(samples), floatStep};
  const Plane<float> yy = {scratch.take<float>(samples), floatStep};
  const Plane<float> xy = {scratch.take<float>(samples), floatStep};
  auto* const buffer = scratch.take<uint8_t>(1, 32);

  NuvStatus status = derive(pSrc, srcStep, gx, gy, size, kernType, maskOf(apertureSize), buffer);
  if (status != nuvStatusOk) return status;
  for (int32_t y = 0; y < size.height; ++y) {
    multiplyRow(gx.image().row(y), gy.image().row(y), xx.image().row(y), yy.image().row(y),
                xy.image().row(y), size.width);
  }
  // Both planes of 16-bit derivatives together have room for one of floats.
  means = {{reinterpret_cast<float*>(gx.data), floatStep}, xx, yy};
  const auto average = [&](const Plane<float>& from, const Plane<float>& to) {
    return nuviFilterLowpassBorder_32f_C1R(from.data, floatStep, to.data, floatStep, size,
                                           maskOf(avgWindow), nuvBorderReplicate, 0.0f, buffer);
  };
  status = average(xx, means.xx);
  if (status == nuvStatusOk) status = average(yy, means.yy);
  if (status == nuvStatusOk) status = average(xy, means.xy);
  return status;
}

// ---- eigen-structure

float scaleOf(int32_t kernType, int32_t apertureSize) {
  const float scale = 1.0f / static_cast<float>(255 << (apertureSize == 3 ? 4 : 8));
  return kernType == kernelScharr ? scale * 0.6125f : scale;
}

void minEigenValueRow(const float* xx, const float* yy, const float* xy, float scale, float* dst,
                      ptrdiff_t width) {
  const float halfScale = 0.5f * scale;
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    const float difference = xx[x] - yy[x];
    const float root = std::sqrt(fused(difference, difference, xy[x] * xy[x] * 4.0f));
    dst[x] = (xx[x] + yy[x] - root) * halfScale;
  }
}

// The sign turns the Sobel derivative along x, left minus right, to the direction of the Scharr
// one. No step is fused.
void eigenRow(const float* xx, const float* yy, const float* xy, float scale, float sign,
              float* dst, ptrdiff_t width) {
  constexpr float smallest = 1.1920929e-7f;
  for (ptrdiff_t x = 0; x < width; ++x, dst += 6) {
    const float a = xx[x] * scale;
    const float b = yy[x] * scale;
    const float c = xy[x] * scale;
    const float threshold = std::max(a, b) * 0.01f;
    if (threshold > std::min(a, b) || threshold > a * b - c * c) {
      std::fill_n(dst, 6, 0.0f);
      continue;
    }
    const float root = std::sqrt((a - b) * (a - b) + c * c * 4.0f);
    dst[0] = (a + b + root) * 0.5f;
    dst[1] = (a + b - root) * 0.5f;
    if (threshold > std::fabs(c)) {
      dst[2] = dst[5] = 1.0f;
      dst[3] = dst[4] = 0.0f;
      continue;
    }
    const float across = sign * c;
    for (int i = 0; i < 2; ++i) {
      const float along = dst[i] - a;
      const float norm = 1.0f / std::max(std::sqrt(across * across + along * along), smallest);
      dst[2 + 2 * i] = across * norm;
      dst[3 + 2 * i] = along * norm;
    }
  }
}

// ---- the operations

// The result step is compared with one float a pixel, whatever the result holds.
template <class Source>
NuvStatus check(const Source* pSrc, int32_t srcStep, const float* pDst, int32_t dstStep,
                NuviSize roiSize, int32_t kernType, int32_t apertureSize, int32_t avgWindow,
                const uint8_t* pBuffer) {
  const bool hasAperture = apertureSize == 3 || (apertureSize == 5 && kernType == kernelSobel);
  return Check()
      .pointers(pSrc, pDst, pBuffer)
      .size(roiSize)
      .step(pSrc, srcStep, roiSize.width)
      .step(pDst, dstStep, roiSize.width)
      .elementMultiple(pSrc, srcStep)
      .elementMultiple(pDst, dstStep)
      .require(kernType == kernelSobel || kernType == kernelScharr, nuvStatusBadArgument)
      .require(hasAperture, nuvStatusBadSize)
      .require(isWindow(avgWindow), nuvStatusBadSize)
      .status();
}

template <class Derivative, class Source>
NuvStatus minEigenValue(const Source* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                        NuviSize roiSize, int32_t kernType, int32_t apertureSize, int32_t avgWindow,
                        uint8_t* pBuffer) {
  NuvStatus status =
      check(pSrc, srcStep, pDst, dstStep, roiSize, kernType, apertureSize, avgWindow, pBuffer);
  if (status != nuvStatusOk) return status;

  Covariance means;
  status = covariance<Source, Derivative>(pSrc, srcStep, roiSize, kernType, apertureSize, avgWindow,
                                          pBuffer, means);
  if (status != nuvStatusOk) return status;
  const Image<float> dst(pDst, dstStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    minEigenValueRow(means.xx.image().row(y), means.yy.image().row(y), means.xy.image().row(y),
                     scaleOf(kernType, apertureSize), dst.row(y), roiSize.width);
  }
  return nuvStatusOk;
}

template <class Derivative, class Source>
NuvStatus eigenValuesVectors(const Source* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                             NuviSize roiSize, int32_t kernType, int32_t apertureSize,
                             int32_t avgWindow, uint8_t* pBuffer) {
  NuvStatus status =
      check(pSrc, srcStep, pDst, dstStep, roiSize, kernType, apertureSize, avgWindow, pBuffer);
  if (status != nuvStatusOk) return status;

  Covariance means;
  status = covariance<Source, Derivative>(pSrc, srcStep, roiSize, kernType, apertureSize, avgWindow,
                                          pBuffer, means);
  if (status != nuvStatusOk) return status;
  const Image<float> dst(pDst, dstStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    eigenRow(means.xx.image().row(y), means.yy.image().row(y), means.xy.image().row(y),
             scaleOf(kernType, apertureSize), kernType == kernelSobel ? -1.0f : 1.0f, dst.row(y),
             roiSize.width);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define CORNER_MEASURE(name, operation, form, Source, Derivative)                                  \
  NuvStatus nuvi##name##_##form##_C1R(const Source* pSrc, int32_t srcStep, float* pDst,            \
                                      int32_t dstStep, NuviSize roiSize, int32_t kernType,         \
                                      int32_t apertureSize, int32_t avgWindow, uint8_t* pBuffer) { \
    return operation<Derivative>(pSrc, srcStep, pDst, dstStep, roiSize, kernType, apertureSize,    \
                                 avgWindow, pBuffer);                                              \
  }                                                                                                \
  NuvStatus nuvi##name##GetBufferSize_##form##_C1R(NuviSize roiSize, int32_t apertureSize,         \
                                                   int32_t avgWindow, int32_t* pBufferSize) {      \
    return getBufferSize<Derivative>(roiSize, apertureSize, avgWindow, pBufferSize);               \
  }

CORNER_MEASURE(MinEigenVal, minEigenValue, 32f, float, float)
CORNER_MEASURE(MinEigenVal, minEigenValue, 8u32f, uint8_t, int16_t)
CORNER_MEASURE(EigenValsVecs, eigenValuesVectors, 32f, float, float)
CORNER_MEASURE(EigenValsVecs, eigenValuesVectors, 8u32f, uint8_t, int16_t)

#undef CORNER_MEASURE

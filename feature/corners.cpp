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

// ---- filters and their scratch

// The filters of a source: along x, and along y.
template <class Source>
struct Filters;
#define NUV_FILTERS(Source, Result, form)                                           \
  template <>                                                                       \
  struct Filters<Source> {                                                          \
    using Derivative = Result;                                                      \
    static constexpr auto sobelX = nuviFilterSobelVertBorder_##form;                \
    static constexpr auto sobelY = nuviFilterSobelHorizBorder_##form;               \
    static constexpr auto scharrX = nuviFilterScharrVertBorder_##form;              \
    static constexpr auto scharrY = nuviFilterScharrHorizBorder_##form;             \
    static constexpr auto sobelXBytes = nuviFilterSobelVertGetBufferSize_##form;    \
    static constexpr auto sobelYBytes = nuviFilterSobelHorizGetBufferSize_##form;   \
    static constexpr auto scharrXBytes = nuviFilterScharrVertGetBufferSize_##form;  \
    static constexpr auto scharrYBytes = nuviFilterScharrHorizGetBufferSize_##form; \
  };
NUV_FILTERS(float, float, 32f_C1R)
NUV_FILTERS(uint8_t, int16_t, 8u16s_C1R)
#undef NUV_FILTERS

// The most that a filter inside reports. The Scharr sizes count only for a window of 3; for 5 the
// lowpass needs more.
template <class Source>
int64_t filterBytes(NuviSize roiSize, NuviMaskSize aperture, NuviMaskSize window) {
  using Filter = Filters<Source>;
  int32_t most = 0;
  const auto count = [&](auto report, auto... mask) {
    int32_t bytes = 0;
    report(roiSize, mask..., &bytes);
    most = std::max(most, bytes);
  };
  count(Filter::sobelXBytes, aperture);
  count(Filter::sobelYBytes, aperture);
  count(nuviFilterLowpassGetBufferSize_32f_C1R, window);
  if (window == nuvMask3x3) {
    count(Filter::scharrXBytes);
    count(Filter::scharrYBytes);
  }
  return most;
}

// Two planes of derivatives and three of products, the filters' scratch, and room to align. What no
// memory can hold wraps.
template <class Source>
int64_t bufferBytes(NuviSize roiSize, int32_t apertureSize, int32_t avgWindow) {
  const auto pitch = static_cast<uint64_t>(alignUp<int64_t>(roiSize.width, 16));
  const uint64_t bytesPerPixel =
      2 * sizeof(typename Filters<Source>::Derivative) + 3 * sizeof(float);
  const uint64_t planes = pitch * bytesPerPixel * static_cast<uint32_t>(roiSize.height);
  const int64_t filters = filterBytes<Source>(roiSize, maskOf(apertureSize), maskOf(avgWindow));
  return static_cast<int64_t>(planes + static_cast<uint64_t>(filters + 224));
}

template <class Source>
NuvStatus getBufferSize(NuviSize roiSize, int32_t apertureSize, int32_t avgWindow,
                        int32_t* pBufferSize) {
  const NuvStatus status =
      Check()
          .pointers(pBufferSize)
          .size(roiSize)
          .require(isWindow(apertureSize) && isWindow(avgWindow), nuvStatusBadSize)
          .status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(bufferBytes<Source>(roiSize, apertureSize, avgWindow));
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
template <class Source, class Derivative>
NuvStatus derive(const Source* pSrc, int32_t srcStep, const Plane<Derivative>& gx,
                 const Plane<Derivative>& gy, NuviSize size, int32_t kernType,
                 NuviMaskSize aperture, uint8_t* buffer) {
  using Filter = Filters<Source>;
  const auto filter = [&](auto sobel, auto scharr, const Plane<Derivative>& dst) {
    return kernType == kernelSobel ? sobel(pSrc, srcStep, dst.data, dst.stepBytes, size, aperture,
                                           nuvBorderReplicate, 0, buffer)
                                   : scharr(pSrc, srcStep, dst.data, dst.stepBytes, size,
                                            nuvBorderReplicate, 0, buffer);
  };
  const NuvStatus status = filter(Filter::sobelX, Filter::scharrX, gx);
  if (status != nuvStatusOk) return status;
  return filter(Filter::sobelY, Filter::scharrY, gy);
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
template <class Source>
NuvStatus covariance(const Source* pSrc, int32_t srcStep, NuviSize size, int32_t kernType,
                     int32_t apertureSize, int32_t avgWindow, uint8_t* pBuffer, Covariance& means) {
  using Derivative = typename Filters<Source>::Derivative;
  Scratch scratch(pBuffer, bufferBytes<Source>(size, apertureSize, avgWindow));
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

// What the eigen-structure has to know of the derivatives. The sign turns the Sobel one along x,
// left minus right, to the direction of the Scharr one.
struct Kernel {
  float scale;
  float sign;

  Kernel(int32_t kernType, int32_t apertureSize)
      : scale(1.0f / static_cast<float>(255 << (apertureSize == 3 ? 4 : 8))), sign(-1.0f) {
    if (kernType != kernelScharr) return;
    scale *= 0.6125f;
    sign = 1.0f;
  }
};

void minEigenValueRow(const float* xx, const float* yy, const float* xy, const Kernel& kernel,
                      float* dst, ptrdiff_t width) {
  const float halfScale = 0.5f * kernel.scale;
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    const float difference = xx[x] - yy[x];
    const float root = std::sqrt(fused(difference, difference, xy[x] * xy[x] * 4.0f));
    dst[x] = (xx[x] + yy[x] - root) * halfScale;
  }
}

// No step is fused.
void eigenRow(const float* xx, const float* yy, const float* xy, const Kernel& kernel, float* dst,
              ptrdiff_t width) {
  constexpr float smallest = 1.1920929e-7f;
  for (ptrdiff_t x = 0; x < width; ++x, dst += 6) {
    const float a = xx[x] * kernel.scale;
    const float b = yy[x] * kernel.scale;
    const float c = xy[x] * kernel.scale;
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
    const float across = kernel.sign * c;
    for (int i = 0; i < 2; ++i) {
      const float along = dst[i] - a;
      const float norm = 1.0f / std::max(std::sqrt(across * across + along * along), smallest);
      dst[2 + 2 * i] = across * norm;
      dst[3 + 2 * i] = along * norm;
    }
  }
}

// ---- the operation

// Closes with closingRow(xx, yy, xy, kernel, dst, width). The result step is compared with one
// float a pixel, whatever the result holds.
template <class Source, class ClosingRow>
NuvStatus measure(const Source* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                  NuviSize roiSize, int32_t kernType, int32_t apertureSize, int32_t avgWindow,
                  uint8_t* pBuffer, ClosingRow&& closingRow) {
  const bool hasAperture = apertureSize == 3 || (apertureSize == 5 && kernType == kernelSobel);
  NuvStatus status =
      Check()
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
  if (status != nuvStatusOk) return status;

  Covariance means;
  status = covariance(pSrc, srcStep, roiSize, kernType, apertureSize, avgWindow, pBuffer, means);
  if (status != nuvStatusOk) return status;
  const Kernel kernel(kernType, apertureSize);
  const Image<float> dst(pDst, dstStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    closingRow(means.xx.image().row(y), means.yy.image().row(y), means.xy.image().row(y), kernel,
               dst.row(y), roiSize.width);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_CORNER_MEASURE(name, closingRow, form, Source)                                         \
  NuvStatus nuvi##name##_##form##_C1R(const Source* pSrc, int32_t srcStep, float* pDst,            \
                                      int32_t dstStep, NuviSize roiSize, int32_t kernType,         \
                                      int32_t apertureSize, int32_t avgWindow, uint8_t* pBuffer) { \
    return measure(pSrc, srcStep, pDst, dstStep, roiSize, kernType, apertureSize, avgWindow,       \
                   pBuffer, closingRow);                                                           \
  }                                                                                                \
  NuvStatus nuvi##name##GetBufferSize_##form##_C1R(NuviSize roiSize, int32_t apertureSize,         \
                                                   int32_t avgWindow, int32_t* pBufferSize) {      \
    return getBufferSize<Source>(roiSize, apertureSize, avgWindow, pBufferSize);                   \
  }
NUV_CORNER_MEASURE(MinEigenVal, minEigenValueRow, 32f, float)
NUV_CORNER_MEASURE(MinEigenVal, minEigenValueRow, 8u32f, uint8_t)
NUV_CORNER_MEASURE(EigenValsVecs, eigenRow, 32f, float)
NUV_CORNER_MEASURE(EigenValsVecs, eigenRow, 8u32f, uint8_t)
#undef NUV_CORNER_MEASURE

// One plane from the three channels of a colour gradient, by a norm of each pixel. Integer results
// are scaled back into their type: the L1 norm by a third, the L2 norm by the root of a third.
// Float results are the norms themselves.

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "nuvcv/geometry.h"

namespace nuv {
namespace {

enum Norm : int32_t { normInfinity = 0, normL1 = 1, normL2 = 2 };

template <class T>
struct InfinityNorm {
  T operator()(T a, T b, T c) const { return std::max(std::max(a, b), c); }
};
template <>
struct InfinityNorm<float> {
  float operator()(float a, float b, float c) const {
    return std::max(std::max(std::fabs(a), std::fabs(b)), std::fabs(c));
  }
};

// A third of the sum in fixed point, rounded half up: (sum * 1365 + 2048) >> 12 of 8 bits and
// (sum * 5461 + 8192) >> 14 of 16 bits. The factors are a little less than a third. Over 8 bits
// that does not show: the result is (sum + 1) / 3, which stays within 16 bits.
template <class T>
struct L1Norm;
template <>
struct L1Norm<uint8_t> {
  uint8_t operator()(uint8_t a, uint8_t b, uint8_t c) const {
    const auto sumAndOne = static_cast<uint16_t>(a + b + c + 1);
    return static_cast<uint8_t>(sumAndOne / 3);
  }
};
template <>
struct L1Norm<uint16_t> {
  uint16_t operator()(uint16_t a, uint16_t b, uint16_t c) const {
    return static_cast<uint16_t>(((a + b + c) * 5461 + 8192) >> 14);
  }
};
template <>
struct L1Norm<float> {
  float operator()(float a, float b, float c) const {
    return std::fabs(a) + std::fabs(b) + std::fabs(c);
  }
};

// The root of a third of the sum of squares s, rounded half up: trunc(sqrt(s / 3) + 0.5). A result
// n changes to n + 1 where s / 3 passes n^2 + n + 1/4. No s / 3 comes nearer to that than 1/12, so
// that single precision serves 8 bits and double precision 16 bits without a change in any result,
// and so does the product with a rounded third.
template <class T>
struct L2Norm;
template <>
struct L2Norm<uint8_t> {
  uint8_t operator()(uint8_t a, uint8_t b, uint8_t c) const {
    const auto squares = static_cast<float>(a * a + b * b + c * c);
    const float raised = std::sqrt(squares * (1.0f / 3.0f)) + 0.5f;
    return static_cast<uint8_t>(static_cast<int32_t>(raised));
  }
};
template <>
struct L2Norm<uint16_t> {
  uint16_t operator()(uint16_t a, uint16_t b, uint16_t c) const {
    const auto x = static_cast<double>(a), y = static_cast<double>(b), z = static_cast<double>(c);
    const double squares = x * x + y * y + z * z;  // exact
    const double raised = std::sqrt(squares * (1.0 / 3.0)) + 0.5;
    return static_cast<uint16_t>(static_cast<int32_t>(raised));
  }
};
// Fused: one rounding for each square added.
template <>
struct L2Norm<float> {
  float operator()(float a, float b, float c) const {
    return std::sqrt(fused(c, c, fused(b, b, a * a)));
  }
};

template <class T, class PixelNorm>
void grayRow(const T* src, T* dst, ptrdiff_t width, PixelNorm norm) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) dst[x] = norm(src[3 * x], src[3 * x + 1], src[3 * x + 2]);
}

template <class T>
void grayRow(const T* src, T* dst, ptrdiff_t width, int32_t norm) {
  switch (norm) {
    case normInfinity:
      return grayRow(src, dst, width, InfinityNorm<T>());
    case normL1:
      return grayRow(src, dst, width, L1Norm<T>());
    default:
      return grayRow(src, dst, width, L2Norm<T>());
  }
}

template <class T>
NuvStatus gradientColorToGray(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                              NuviSize roiSize, int32_t norm) {
  const NuvStatus status =
      Check()
          .pointers(pSrc, pDst)
          .size(roiSize)
          .step(pSrc, srcStep, roiSize.width, 3)
          .step(pDst, dstStep, roiSize.width)
          .elementMultiple(pSrc, srcStep, dstStep)
          .require(norm >= normInfinity && norm <= normL2, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  const auto grayRows = [&](int32_t first, int32_t end) {
    for (int32_t y = first; y < end; ++y) grayRow(src.row(y), dst.row(y), roiSize.width, norm);
  };
  // Forks only for a caller that runs in a parallel region itself.
  const int32_t bands = std::min({callerTeamSize(), roiSize.height / 16, gateArea(roiSize) >> 10});
  if (bands > 1) {
    forkBands(std::min(bands, ownGetNumThreads()), roiSize.height,
              [&](int32_t, int32_t first, int32_t end) { grayRows(first, end); });
  } else {
    grayRows(0, roiSize.height);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_GRADIENT_COLOR_TO_GRAY(suffix, T)                                                   \
  NuvStatus nuviGradientColorToGray_##suffix(const T* pSrc, int32_t srcStep, T* pDst,           \
                                             int32_t dstStep, NuviSize roiSize, int32_t norm) { \
    return gradientColorToGray(pSrc, srcStep, pDst, dstStep, roiSize, norm);                    \
  }
NUV_GRADIENT_COLOR_TO_GRAY(8u_C3C1R, uint8_t)
NUV_GRADIENT_COLOR_TO_GRAY(16u_C3C1R, uint16_t)
NUV_GRADIENT_COLOR_TO_GRAY(32f_C3C1R, float)
#undef NUV_GRADIENT_COLOR_TO_GRAY

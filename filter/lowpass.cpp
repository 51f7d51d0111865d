// Lowpass: the mean over a 3x3 or 5x5 box. The 8-bit forms divide by a fixed-point factor that is
// not the exact reciprocal: a flat area of 255 stays 255 under 3x3 and becomes 254 under 5x5.

#include "filter/shapes.h"

namespace nuv {
namespace {

// (a * factor) >> 16, in 32 bits between.
inline S16x16 multiplyHigh(S16x16 a, int16_t factor) {
#if NUV_AVX2
  return reinterpret_cast<S16x16>(
      _mm256_mulhi_epi16(reinterpret_cast<__m256i>(a), _mm256_set1_epi16(factor)));
#else
  for (int i = 0; i < 16; ++i) a[i] = static_cast<int16_t>((int32_t{a[i]} * factor) >> 16);
  return a;
#endif
}
inline ByteBlock multiplyHigh(ByteBlock a, int16_t factor) {
  return {multiplyHigh(a.even, factor), multiplyHigh(a.odd, factor)};
}

// The means of bytes fit a byte.
struct Mean3x3Bytes {
  template <class R>
  static auto sum(R r) {
    const auto half = broadcast<S16x16>(int16_t{5});
    return multiplyHigh(r(0) + r(1) + r(2) + ByteBlock{half, half}, 7280);
  }
};
struct Mean5x5Bytes {
  template <class R>
  static auto sum(R r) {
    return multiplyHigh(r(0) + r(1) + r(2) + r(3) + r(4), 2621);
  }
};

struct Mean3x3Floats {
  template <class R>
  static auto sum(R r) {
    const auto ninth = broadcast<F32x8>(0.11111111f);
    return fused(r(1), ninth, (r(0) + r(2)) * ninth);
  }
};
struct Mean5x5Floats {
  template <class R>
  static auto sum(R r) {
    const auto part = broadcast<F32x8>(0.04f);
    const F32x8 even = (r(0) + r(4)) + r(2);
    const F32x8 odd = r(1) + r(3);
    return fused(even, part, odd * part);
  }
};

constexpr FilterScratch scratch8u = {2, 1, 248, 32, false};
constexpr FilterScratch scratch32f = {4, 1, 184, 32, true};

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFilterLowpassBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                         int32_t dstStep, NuviSize roiSize, NuviMaskSize maskSize,
                                         NuviBorderType borderType, uint8_t borderValue,
                                         uint8_t* pBuffer) {
  return filterWithBorder<uint8_t, int16_t, uint8_t>(
      {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},
      scratch8u, separable<uint8_t, int16_t, AsByte, 3, Row111, Mean3x3Bytes>(),
      separable<uint8_t, int16_t, AsByte, 5, Row11111, Mean5x5Bytes>());
}

NuvStatus nuviFilterLowpassBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                          int32_t dstStep, NuviSize roiSize, NuviMaskSize maskSize,
                                          NuviBorderType borderType, float borderValue,
                                          uint8_t* pBuffer) {
  return filterWithBorder<float, float, float>(
      {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},
      scratch32f, separable<float, float, AsFloat, 3, Row111, Mean3x3Floats>(),
      separable<float, float, AsFloat, 5, Row11111, Mean5x5Floats>());
}

NuvStatus nuviFilterLowpassGetBufferSize_8u_C1R(NuviSize roiSize, NuviMaskSize maskSize,
                                                int32_t* pBufferSize) {
  return reportFilterSize(scratch8u, roiSize, maskSize, pBufferSize);
}

NuvStatus nuviFilterLowpassGetBufferSize_32f_C1R(NuviSize roiSize, NuviMaskSize maskSize,
                                                 int32_t* pBufferSize) {
  return reportFilterSize(scratch32f, roiSize, maskSize, pBufferSize);
}

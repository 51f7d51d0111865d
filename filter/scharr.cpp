// Scharr derivatives, whose smoothing 3 10 3 makes the gradient's direction more accurate than the
// Sobel one. After H. Scharr, "Optimale Operatoren in der Digitalen Bildverarbeitung", 2000.

#include "filter/shapes.h"

namespace nuv {
namespace {

// Below minus above.
struct ScharrHoriz {
  using Row = Row3A3;
  using Column = Column101;
};
// Right minus left, which is the opposite sign of the vertical Sobel filter.
struct ScharrVert {
  using Row = Row101;
  using Column = Column3A3;
};

template <class Shapes, class Source, class Sample, class Write>
NuvStatus scharr(const FilterCall<Source, typename Write::Result>& call,
                 const FilterScratch& form) {
  constexpr auto filter =
      separable<Source, Sample, Write, 3, typename Shapes::Row, typename Shapes::Column>();
  return filterWithBorder(call, form, filter, filter);
}

constexpr FilterScratch scratchWide8u = {2, 1, 248, 32, false};
constexpr FilterScratch scratch8u = {2, 1, 184, 32, false};
constexpr FilterScratch scratch32f = {4, 1, 248, 32, true};

}  // namespace
}  // namespace nuv

using namespace nuv;

#define SCHARR(name, form8u16s)                                                                   \
  NuvStatus nuviFilter##name##Border_8u16s_C1R(                                                   \
      const uint8_t* pSrc, int32_t srcStep, int16_t* pDst, int32_t dstStep, NuviSize roiSize,     \
      NuviBorderType borderType, uint8_t borderValue, uint8_t* pBuffer) {                         \
    return scharr<name, uint8_t, int16_t, AsShort>(                                               \
        {pSrc, srcStep, pDst, dstStep, roiSize, nuvMask3x3, borderType, borderValue, 1, pBuffer}, \
        form8u16s);                                                                               \
  }                                                                                               \
  NuvStatus nuviFilter##name##Border_8u8s_C1R(                                                    \
      const uint8_t* pSrc, int32_t srcStep, int8_t* pDst, int32_t dstStep, NuviSize roiSize,      \
      NuviBorderType borderType, uint8_t borderValue, int32_t divisor, uint8_t* pBuffer) {        \
    return scharr<name, uint8_t, int16_t, AsQuotient>(                                            \
        {pSrc, srcStep, pDst, dstStep, roiSize, nuvMask3x3, borderType, borderValue, divisor,     \
         pBuffer},                                                                                \
        scratch8u);                                                                               \
  }                                                                                               \
  NuvStatus nuviFilter##name##Border_32f_C1R(                                                     \
      const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep, NuviSize roiSize,         \
      NuviBorderType borderType, float borderValue, uint8_t* pBuffer) {                           \
    return scharr<name, float, float, AsFloat>(                                                   \
        {pSrc, srcStep, pDst, dstStep, roiSize, nuvMask3x3, borderType, borderValue, 1, pBuffer}, \
        scratch32f);                                                                              \
  }                                                                                               \
  NuvStatus nuviFilter##name##GetBufferSize_8u16s_C1R(NuviSize roiSize, int32_t* pBufferSize) {   \
    return reportFilterSize(form8u16s, roiSize, nuvMask3x3, pBufferSize);                         \
  }                                                                                               \
  NuvStatus nuviFilter##name##GetBufferSize_8u8s_C1R(NuviSize roiSize, int32_t* pBufferSize) {    \
    return reportFilterSize(scratch8u, roiSize, nuvMask3x3, pBufferSize);                         \
  }                                                                                               \
  NuvStatus nuviFilter##name##GetBufferSize_32f_C1R(NuviSize roiSize, int32_t* pBufferSize) {     \
    return reportFilterSize(scratch32f, roiSize, nuvMask3x3, pBufferSize);                        \
  }

SCHARR(ScharrHoriz, scratch8u)
SCHARR(ScharrVert, scratchWide8u)

#undef SCHARR

// Sobel derivatives of first and second order and the mixed one: a derivative in one direction and
// a binomial smoothing across it. After I. Sobel and G. Feldman, "A 3x3 Isotropic Gradient Operator
// for Image Processing", 1968; the 5x5 masks are their binomial extensions.

#include "filter/shapes.h"

namespace nuv {
namespace {

// The shapes of a filter, for both masks.
template <class Row3, class Column3, class Row5, class Column5>
struct Masks {
  template <class Source, class Sample, class Write>
  static NuvStatus run(const FilterCall<Source, typename Write::Result>& call,
                       const FilterScratch& form) {
    return filterWithBorder(call, form, separable<Source, Sample, Write, 3, Row3, Column3>(),
                            separable<Source, Sample, Write, 5, Row5, Column5>());
  }
};

// Below minus above; left minus right; right minus left; second derivatives; the mixed one.
using SobelHoriz = Masks<Row121, Column101, Row14641, Column1m2021>;
using SobelVert = Masks<Row101Negated, Column121, Row120m2m1, Column14641>;
using SobelNegVert = Masks<Row101Negated, Negated<Column121>, Row120m2m1, Negated<Column14641>>;
using SobelHorizSecond = Masks<Row121, Column1m21, Row14641, Column10m201>;
using SobelVertSecond = Masks<Row1m21, Column121, Row10m201, Column14641>;
using SobelCross = Masks<Row101Negated, Column101, Row120m2m1, Column1m2021>;

// Bytes of scratch beside the ring, which differ between the members.
constexpr FilterScratch scratchHoriz8u16s = {2, 1, 248, 64, false};
constexpr FilterScratch scratchVert8u16s = {2, 1, 216, 32, false};
constexpr FilterScratch scratch8u16s = {2, 1, 248, 32, false};
constexpr FilterScratch scratch8u8s = {2, 1, 184, 32, false};
constexpr FilterScratch scratch32f = {4, 1, 248, 32, true};

}  // namespace
}  // namespace nuv

using namespace nuv;

#define SOBEL(name, form8u16s)                                                                   \
  NuvStatus nuviFilter##name##Border_8u16s_C1R(                                                  \
      const uint8_t* pSrc, int32_t srcStep, int16_t* pDst, int32_t dstStep, NuviSize roiSize,    \
      NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, uint8_t* pBuffer) { \
    return name::run<uint8_t, int16_t, AsShort>(                                                 \
        {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},  \
        form8u16s);                                                                              \
  }                                                                                              \
  NuvStatus nuviFilter##name##Border_8u8s_C1R(                                                   \
      const uint8_t* pSrc, int32_t srcStep, int8_t* pDst, int32_t dstStep, NuviSize roiSize,     \
      NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, int32_t divisor,    \
      uint8_t* pBuffer) {                                                                        \
    return name::run<uint8_t, int16_t, AsQuotient>(                                              \
        {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, divisor,      \
         pBuffer},                                                                               \
        scratch8u8s);                                                                            \
  }                                                                                              \
  NuvStatus nuviFilter##name##Border_32f_C1R(                                                    \
      const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep, NuviSize roiSize,        \
      NuviMaskSize maskSize, NuviBorderType borderType, float borderValue, uint8_t* pBuffer) {   \
    return name::run<float, float, AsFloat>(                                                     \
        {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},  \
        scratch32f);                                                                             \
  }                                                                                              \
  NuvStatus nuviFilter##name##GetBufferSize_8u16s_C1R(NuviSize roiSize, NuviMaskSize maskSize,   \
                                                      int32_t* pBufferSize) {                    \
    return reportFilterSize(form8u16s, roiSize, maskSize, pBufferSize);                          \
  }                                                                                              \
  NuvStatus nuviFilter##name##GetBufferSize_8u8s_C1R(NuviSize roiSize, NuviMaskSize maskSize,    \
                                                     int32_t* pBufferSize) {                     \
    return reportFilterSize(scratch8u8s, roiSize, maskSize, pBufferSize);                        \
  }                                                                                              \
  NuvStatus nuviFilter##name##GetBufferSize_32f_C1R(NuviSize roiSize, NuviMaskSize maskSize,     \
                                                    int32_t* pBufferSize) {                      \
    return reportFilterSize(scratch32f, roiSize, maskSize, pBufferSize);                         \
  }

SOBEL(SobelHoriz, scratchHoriz8u16s)
SOBEL(SobelVert, scratchVert8u16s)
SOBEL(SobelNegVert, scratch8u16s)
SOBEL(SobelHorizSecond, scratch8u16s)
SOBEL(SobelVertSecond, scratch8u16s)
SOBEL(SobelCross, scratch8u16s)

#undef SOBEL

// Laplacian: the sum of the second derivatives. Its masks are no product of two shapes, so the row
// pass keeps two values for each pixel.

#include "filter/shapes.h"

namespace nuv {
namespace {

// 2 0 2 / 0 -8 0 / 2 0 2, from a = p(-1) + p(1) and b = 8 p(0). Doubling is exact, so the fused
// step only shows where the double alone would leave the range of float.
struct Laplacian3x3 {
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(0, 0) + r(2, 0), 2, -r(1, 1));
  }
};

// The plane of one value of the row pass, as a column shape sees it.
template <class Shape, class R>
auto planeSum(R r, ptrdiff_t plane) {
  return Shape::sum([&](int k) { return r(k, plane); });
}

// Two masks, the second of which is added to the first: smoothed along the row and differentiated
// along the column, and the other way round.
struct Laplacian5x5 {
  template <class R>
  static auto sum(R r) {
    return planeSum<Column10m201>(r, 0) + planeSum<Column14641>(r, 1);
  }
};

template <class Source, class Sample, class Write>
NuvStatus laplacian(const FilterCall<Source, typename Write::Result>& call,
                    const FilterScratch& form) {
  using LaplacianFilter = Filter<Source, Sample, typename Write::Result>;
  constexpr LaplacianFilter small = {3, 2, rowPass<Source, Sample, RowOuter, RowEightfold>,
                                     columnPass<Laplacian3x3, Sample, Write>};
  constexpr LaplacianFilter large = {5, 2, rowPass<Source, Sample, Row14641, Row10m201>,
                                     columnPass<Laplacian5x5, Sample, Write>};
  return filterWithBorder(call, form, small, large);
}

constexpr FilterScratch scratch8u16s = {2, 2, 336, 32, false};
constexpr FilterScratch scratch8u8s = {2, 2, 336, 32, false, true};
constexpr FilterScratch scratch32f = {4, 2, 336, 32, true};

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFilterLaplacianBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep, int16_t* pDst,
                                              int32_t dstStep, NuviSize roiSize,
                                              NuviMaskSize maskSize, NuviBorderType borderType,
                                              uint8_t borderValue, uint8_t* pBuffer) {
  return laplacian<uint8_t, int16_t, AsShort>(
      {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},
      scratch8u16s);
}

NuvStatus nuviFilterLaplacianBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                             int32_t dstStep, NuviSize roiSize,
                                             NuviMaskSize maskSize, NuviBorderType borderType,
                                             uint8_t borderValue, int32_t divisor,
                                             uint8_t* pBuffer) {
  return laplacian<uint8_t, int16_t, AsQuotient>(
      {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, divisor, pBuffer},
      scratch8u8s);
}

NuvStatus nuviFilterLaplacianBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                            int32_t dstStep, NuviSize roiSize,
                                            NuviMaskSize maskSize, NuviBorderType borderType,
                                            float borderValue, uint8_t* pBuffer) {
  return laplacian<float, float, AsFloat>(
      {pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, 1, pBuffer},
      scratch32f);
}

#define LAPLACIAN_SIZE(form)                                                                       \
  NuvStatus nuviFilterLaplacianGetBufferSize_##form##_C1R(NuviSize roiSize, NuviMaskSize maskSize, \
                                                          int32_t* pBufferSize) {                  \
    return reportFilterSize(scratch##form, roiSize, maskSize, pBufferSize);                        \
  }
LAPLACIAN_SIZE(8u16s)
LAPLACIAN_SIZE(8u8s)
LAPLACIAN_SIZE(32f)
#undef LAPLACIAN_SIZE

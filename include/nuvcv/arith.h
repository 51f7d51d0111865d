/**
 * @file
 * Pixel arithmetic: element-wise differences.
 */
#ifndef NUVCV_ARITH_H
#define NUVCV_ARITH_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Absolute difference of two images
 *
 * Writes |source 1 - source 2| for each element. Integer results are exact. `32f` results are one
 * IEEE subtraction with the sign bit cleared, so a NaN stays a NaN and the result is never -0.
 *
 * @param pSrc1,pSrc2 first pixel of the sources
 * @param src1Step,src2Step their row steps in bytes
 * @param pDst first pixel of the result; may be a source, with the same step
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 *
 * A `C3R` call is the `C1R` call on three times the width. Rows are cut over the threads from
 * 0x40000 elements on; the result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviAbsDiff_8u_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                       int32_t src2Step, uint8_t* pDst, int32_t dstStep,
                                       NuviSize roiSize);
NUVCV_API NuvStatus nuviAbsDiff_8u_C3R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                       int32_t src2Step, uint8_t* pDst, int32_t dstStep,
                                       NuviSize roiSize);
NUVCV_API NuvStatus nuviAbsDiff_16u_C1R(const uint16_t* pSrc1, int32_t src1Step,
                                        const uint16_t* pSrc2, int32_t src2Step, uint16_t* pDst,
                                        int32_t dstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAbsDiff_32f_C1R(const float* pSrc1, int32_t src1Step, const float* pSrc2,
                                        int32_t src2Step, float* pDst, int32_t dstStep,
                                        NuviSize roiSize);
/** @} */

/**
 * @name Absolute difference of an image and a constant
 *
 * As the difference of two images, with `value` in place of the second source. An integer form
 * first brings `value` into the range of its element; the `32f` form uses it as it is, also when
 * it is infinite or a NaN.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result; may be the source, with the same step
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param value the constant
 *
 * @return the statuses of the two-image forms, in the same order; threads likewise
 * @{
 */
NUVCV_API NuvStatus nuviAbsDiffC_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                        int32_t dstStep, NuviSize roiSize, int32_t value);
NUVCV_API NuvStatus nuviAbsDiffC_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst,
                                         int32_t dstStep, NuviSize roiSize, int32_t value);
NUVCV_API NuvStatus nuviAbsDiffC_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                         int32_t dstStep, NuviSize roiSize, float value);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

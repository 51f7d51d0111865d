/**
 * @file
 * Pixel arithmetic: element-wise differences, and sums that build up in a `32f` image.
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

/**
 * @name Masked accumulators
 *
 * Build up sums in a `32f` image d, in place, frame after frame. s is the source element as `32f`,
 * which is exact for every source type. fused() is a product and sum rounded once; every other step
 * is rounded to `32f` as written:
 *
 * |                   | without a mask            | with a mask            |
 * |-------------------|---------------------------|------------------------|
 * | nuviAdd           | d + s                     | fused(s, m, d)         |
 * | nuviAddSquare     | fused(s, s, d)            | fused(s * s, m, d)     |
 * | nuviAddProduct    | fused(s1, s2, d)          | fused(s1 * s2, m, d)   |
 * | nuviAddWeighted   | fused(s - d, alpha, d)    | fused(s - d, m, d)     |
 *
 * m is 1.0 (`alpha` in nuviAddWeighted) where the mask element is not zero and +0.0 where it is.
 * The mask multiplies, it does not skip: an infinite or NaN source under a zero mask makes the
 * accumulator NaN.
 *
 * @param pSrc,pSrc1,pSrc2 first pixel of the sources
 * @param srcStep,src1Step,src2Step their row steps in bytes
 * @param pMask first pixel of the mask, `8u`
 * @param maskStep its row step in bytes
 * @param pSrcDst first pixel of the accumulator
 * @param srcDstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param alpha the weight of the new frame, any value
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a source step less than a row
 * - #nuvStatusStepNotElementMultiple an odd step of a `16u` source
 * - #nuvStatusBadStep a mask step, then the accumulator's, less than a row
 * - #nuvStatusStepNotElementMultiple a step of a `32f` image that is no multiple of four
 *
 * Rows are cut over the threads from 0x40000 pixels on; the result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviAdd_8u32f_C1IR(const uint8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                       int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_8s32f_C1IR(const int8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                       int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_16u32f_C1IR(const uint16_t* pSrc, int32_t srcStep, float* pSrcDst,
                                        int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_8u32f_C1IMR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, float* pSrcDst, int32_t srcDstStep,
                                        NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_8s32f_C1IMR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, float* pSrcDst, int32_t srcDstStep,
                                        NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_16u32f_C1IMR(const uint16_t* pSrc, int32_t srcStep,
                                         const uint8_t* pMask, int32_t maskStep, float* pSrcDst,
                                         int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAdd_32f_C1IMR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                      int32_t maskStep, float* pSrcDst, int32_t srcDstStep,
                                      NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_8u32f_C1IR(const uint8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                             int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_8s32f_C1IR(const int8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                             int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_16u32f_C1IR(const uint16_t* pSrc, int32_t srcStep, float* pSrcDst,
                                              int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_32f_C1IR(const float* pSrc, int32_t srcStep, float* pSrcDst,
                                           int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_8u32f_C1IMR(const uint8_t* pSrc, int32_t srcStep,
                                              const uint8_t* pMask, int32_t maskStep,
                                              float* pSrcDst, int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_8s32f_C1IMR(const int8_t* pSrc, int32_t srcStep,
                                              const uint8_t* pMask, int32_t maskStep,
                                              float* pSrcDst, int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_16u32f_C1IMR(const uint16_t* pSrc, int32_t srcStep,
                                               const uint8_t* pMask, int32_t maskStep,
                                               float* pSrcDst, int32_t srcDstStep,
                                               NuviSize roiSize);
NUVCV_API NuvStatus nuviAddSquare_32f_C1IMR(const float* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep, float* pSrcDst,
                                            int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_8u32f_C1IR(const uint8_t* pSrc1, int32_t src1Step,
                                              const uint8_t* pSrc2, int32_t src2Step,
                                              float* pSrcDst, int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_8s32f_C1IR(const int8_t* pSrc1, int32_t src1Step,
                                              const int8_t* pSrc2, int32_t src2Step, float* pSrcDst,
                                              int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_16u32f_C1IR(const uint16_t* pSrc1, int32_t src1Step,
                                               const uint16_t* pSrc2, int32_t src2Step,
                                               float* pSrcDst, int32_t srcDstStep,
                                               NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_32f_C1IR(const float* pSrc1, int32_t src1Step,
                                            const float* pSrc2, int32_t src2Step, float* pSrcDst,
                                            int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_8u32f_C1IMR(const uint8_t* pSrc1, int32_t src1Step,
                                               const uint8_t* pSrc2, int32_t src2Step,
                                               const uint8_t* pMask, int32_t maskStep,
                                               float* pSrcDst, int32_t srcDstStep,
                                               NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_8s32f_C1IMR(const int8_t* pSrc1, int32_t src1Step,
                                               const int8_t* pSrc2, int32_t src2Step,
                                               const uint8_t* pMask, int32_t maskStep,
                                               float* pSrcDst, int32_t srcDstStep,
                                               NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_16u32f_C1IMR(const uint16_t* pSrc1, int32_t src1Step,
                                                const uint16_t* pSrc2, int32_t src2Step,
                                                const uint8_t* pMask, int32_t maskStep,
                                                float* pSrcDst, int32_t srcDstStep,
                                                NuviSize roiSize);
NUVCV_API NuvStatus nuviAddProduct_32f_C1IMR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep, float* pSrcDst,
                                             int32_t srcDstStep, NuviSize roiSize);
NUVCV_API NuvStatus nuviAddWeighted_8u32f_C1IR(const uint8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                               int32_t srcDstStep, NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_8s32f_C1IR(const int8_t* pSrc, int32_t srcStep, float* pSrcDst,
                                               int32_t srcDstStep, NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_16u32f_C1IR(const uint16_t* pSrc, int32_t srcStep,
                                                float* pSrcDst, int32_t srcDstStep,
                                                NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_32f_C1IR(const float* pSrc, int32_t srcStep, float* pSrcDst,
                                             int32_t srcDstStep, NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_8u32f_C1IMR(const uint8_t* pSrc, int32_t srcStep,
                                                const uint8_t* pMask, int32_t maskStep,
                                                float* pSrcDst, int32_t srcDstStep,
                                                NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_8s32f_C1IMR(const int8_t* pSrc, int32_t srcStep,
                                                const uint8_t* pMask, int32_t maskStep,
                                                float* pSrcDst, int32_t srcDstStep,
                                                NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_16u32f_C1IMR(const uint16_t* pSrc, int32_t srcStep,
                                                 const uint8_t* pMask, int32_t maskStep,
                                                 float* pSrcDst, int32_t srcDstStep,
                                                 NuviSize roiSize, float alpha);
NUVCV_API NuvStatus nuviAddWeighted_32f_C1IMR(const float* pSrc, int32_t srcStep,
                                              const uint8_t* pMask, int32_t maskStep,
                                              float* pSrcDst, int32_t srcDstStep, NuviSize roiSize,
                                              float alpha);
/** @} */

/**
 * Weighted sum of two images: fused(s1 - s2, alpha, s2) for each element.
 *
 * @param pSrc1,pSrc2 first pixel of the sources
 * @param src1Step,src2Step their row steps in bytes
 * @param pDst first pixel of the result; may be a source, with the same step
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param alpha the weight of the first source, any value
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a step that is no multiple of four
 *
 * Runs on the calling thread.
 */
NUVCV_API NuvStatus nuviAddWeighted_32f_C1R(const float* pSrc1, int32_t src1Step,
                                            const float* pSrc2, int32_t src2Step, float* pDst,
                                            int32_t dstStep, NuviSize roiSize, float alpha);

#ifdef __cplusplus
}
#endif

#endif

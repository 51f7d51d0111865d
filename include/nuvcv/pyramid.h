/**
 * @file
 * Pyramids and tracking: Gaussian steps, layers of any rate, sub-pixel windows, optical flow.
 */
#ifndef NUVCV_PYRAMID_H
#define NUVCV_PYRAMID_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ANCHOR Gaussian steps

// -------- Gaussian steps ends

// ANCHOR layers

// -------- layers ends

/**
 * @name Sub-pixel copy
 *
 * A rectangle sampled at a fractional offset by bilinear interpolation. With the fractions fx and
 * fy of the offset, a pixel is w00 p00 + w10 p10 + w01 p01 + w11 p11, where p00 is the source pixel
 * at the same position, p10 the one to its right, p01 the one below, and the weights are about
 * (1-fx)(1-fy), fx(1-fy), (1-fx)fy and fx fy. Only the fraction of `dx` and `dy` counts: the caller
 * moves `pSrc` to the whole part. The fraction of a negative offset is 1 plus that fraction.
 *
 * `8u` and `8u16u` compute in fixed point with weights of 14 fraction bits; each weight is rounded
 * up and the excess taken from the largest, so that even an offset of 0 mixes in a trace of the
 * neighbours and a result stays within one of the exact one. The sum is shifted right by 14, in
 * `Sfs` forms by 14 + `scaleFactor` (both shifts taken modulo 32), rounded half up, and its low
 * bits are stored. The other forms compute in float with unfused sums (w00 p00 + w10 p10) +
 * (w01 p01 + w11 p11); `8u32f` raises fx to at least 1e-6 and fy to at least 1e-9, `32f` both to
 * at least 1e-6. From the second row on, nuviCopySubpix_8u32f_C1R(), and nuviCopySubpix_32f_C1R()
 * with width and height up to 64, take for the upper two pixels the sum over the lower two in the
 * row above times (1-fy)/fy, which shows in the last bits. `16u` rounds to nearest, ties to even.
 *
 * @param pSrc first pixel of the source; `roiSize.width` + 1 by `roiSize.height` + 1 pixels are
 *        read
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param roiSize the size of the result in pixels
 * @param dx the offset to the right, in pixels
 * @param dy the offset down, in pixels
 * @param scaleFactor the result is divided by 2 to this power; -2 keeps two fraction bits
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of `roiSize.width` pixels
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of 16-bit or float elements
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviCopySubpix_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep,
                                                 uint16_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 float dx, float dy, int32_t scaleFactor);
NUVCV_API NuvStatus nuviCopySubpix_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                             int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst,
                                           int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_16u32f_C1R(const uint16_t* pSrc, int32_t srcStep, float* pDst,
                                              int32_t dstStep, NuviSize roiSize, float dx,
                                              float dy);
NUVCV_API NuvStatus nuviCopySubpix_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                           int32_t dstStep, NuviSize roiSize, float dx, float dy);
/** @} */

/**
 * @name Sub-pixel copy across the edge
 *
 * A rectangle centred on `point`, which may reach out of the source or lie outside it. Its first
 * pixel stands at x0 = point.x - (dstSize.width - 1) / 2, likewise y0; the floors of x0 and y0 are
 * the whole offset, the fractions weigh as in the sub-pixel copy (with its lower limits, without
 * its pairing of rows). Pixels whose four neighbours are all inside are interpolated between them;
 * they fill the rectangle from `pMinPoint` to `pMaxPoint`, both included. To the left and right of
 * it the edge column is interpolated vertically, above and below it the edge row horizontally.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param srcSize its size in pixels
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param dstSize its size in pixels
 * @param point the centre, in pixels of the source
 * @param pMinPoint receives the first column and row that come from inside; the width (height) of
 *        the result if it lies wholly to the left (above)
 * @param pMaxPoint receives the last such column and row; before `pMinPoint` where there is none.
 *        To the right of the source or below it, the two are 0 and -1
 * @param scaleFactor as in the sub-pixel copy
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or point
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of its image
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of 16-bit or float elements
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                                   NuviSize dstSize, NuviPoint32f point,
                                                   NuviPoint* pMinPoint, NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep,
                                                          NuviSize srcSize, uint16_t* pDst,
                                                          int32_t dstStep, NuviSize dstSize,
                                                          NuviPoint32f point, NuviPoint* pMinPoint,
                                                          NuviPoint* pMaxPoint,
                                                          int32_t scaleFactor);
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                      NuviSize srcSize, float* pDst,
                                                      int32_t dstStep, NuviSize dstSize,
                                                      NuviPoint32f point, NuviPoint* pMinPoint,
                                                      NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_16u_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                    NuviSize srcSize, uint16_t* pDst,
                                                    int32_t dstStep, NuviSize dstSize,
                                                    NuviPoint32f point, NuviPoint* pMinPoint,
                                                    NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_16u32f_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                       NuviSize srcSize, float* pDst,
                                                       int32_t dstStep, NuviSize dstSize,
                                                       NuviPoint32f point, NuviPoint* pMinPoint,
                                                       NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_32f_C1R(const float* pSrc, int32_t srcStep,
                                                    NuviSize srcSize, float* pDst, int32_t dstStep,
                                                    NuviSize dstSize, NuviPoint32f point,
                                                    NuviPoint* pMinPoint, NuviPoint* pMaxPoint);
/** @} */

// -------- sub-pixel copy ends

// ANCHOR flow

// -------- flow ends

#ifdef __cplusplus
}
#endif

#endif

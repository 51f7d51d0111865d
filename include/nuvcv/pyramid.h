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

/**
 * @name Gaussian steps
 *
 * One octave down or up with the binomial kernel 1 4 6 4 1. Method: P. J. Burt and E. H. Adelson,
 * "The Laplacian pyramid as a compact image code", IEEE Transactions on Communications, 1983.
 *
 * Down: result pixel (i, j) is the 5 x 5 kernel (sum 256) around source pixel (2i, 2j); positions
 * outside are reflected around the first and last pixel, which are not repeated. Up: in each
 * direction an even result is s(j-1) + 6 s(j) + s(j+1) and an odd one 4 (s(j) + s(j+1)), over 64
 * for both; position -1 reads 1 (0 where there is no 1), the position behind the last reads the
 * last. `8u` and `8s` sums are exact and rounded once, halves toward plus infinity. `32f` results
 * are sums of fused multiply-adds in a fixed order. Channels of `C3` are filtered each by itself.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result: (width + 1) / 2 by (height + 1) / 2 pixels down, twice
 *        the width by twice the height up
 * @param dstStep its row step in bytes
 * @param roiSize the size of the source in pixels
 * @param pBuffer scratch of the size that the query below reports for this width and channel
 *        count, at any address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of its image
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of floats
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8s_C1R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8s_C3R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8s_C1R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8s_C3R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                               int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                               int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch of the Gaussian steps
 *
 * 96 * ceil(4 * width * channels / 16) + 64 bytes down, 48 * ceil(8 * width * channels / 16) + 64
 * up, whatever the type.
 *
 * @param roiWidth the width of the source in pixels
 * @param dataType 1 for `8u`, 3 for `8s`, 13 for `32f`
 * @param channels 1 or 3
 * @param pSize receives the bytes of the buffer
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pSize`
 * - #nuvStatusBadSize a width less than 1
 * - #nuvStatusBadChannelCount a count of channels other than 1 and 3
 * - #nuvStatusBadDataType a type other than the three
 * @{
 */
NUVCV_API NuvStatus nuviPyrDownGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType,
                                                   int32_t channels, int32_t* pSize);
NUVCV_API NuvStatus nuviPyrUpGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType,
                                                 int32_t channels, int32_t* pSize);
/** @} */

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

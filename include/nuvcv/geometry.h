/**
 * @file
 * Geometry and restoration: lens undistortion, sampling along a line, gradients of colour images,
 * arctangents, and the inner loops of a super-resolution solver.
 */
#ifndef NUVCV_GEOMETRY_H
#define NUVCV_GEOMETRY_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes the size of the buffer that the undistortion functions can use: (`roiSize.width` + 3)
 * rounded down to a multiple of 4, times 24, plus 32 bytes.
 *
 * @param roiSize the region in pixels
 * @param pBufferSize receives the size in bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 */
NUVCV_API NuvStatus nuviUndistortGetSize(NuviSize roiSize, int32_t* pBufferSize);

/**
 * @name Correction of radial lens distortion
 *
 * Each result pixel (x, y) takes the source at its distorted position (u, v), by bilinear
 * interpolation; the channels of a pixel are taken at the same position. The model is D. C.
 * Brown's ("Decentering distortion of lenses", Photogrammetric Engineering 32, 1966):
 *
 *     dx = x + (0 - cx)              dy = y + (0 - cy)
 *     X = (dx * (1 / fx^2)) * dx     Y = (dy * (1 / fy^2)) * dy
 *     F = (k2 * X + k1) * X + (((2 * k2) * Y) * X + (k2 * Y + k1) * Y)
 *     u = dx * F + x                 v = dy * F + y
 *
 * so that F is k1 * r^2 + k2 * r^4 with r^2 = X + Y. A position lies inside if 0 <= u < width - 1
 * and 0 <= v < height - 1. A result pixel whose position lies outside is not written: what the
 * result held there stays. The pixels around (u, v) are weighted by the products of the fractions
 * of u and v; the two of the upper row are added, then the two of the lower row, then both. An
 * integer form adds 0.5 and truncates.
 *
 * All steps are single precision, rounded toward zero. The rounding mode of the calling thread is
 * set for that and is given back as it was.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result; must not overlap the source
 * @param dstStep its row step in bytes
 * @param roiSize the size of both images in pixels
 * @param fx,fy focal lengths in pixels, not 0
 * @param cx,cy principal point in pixels
 * @param k1,k2 radial coefficients
 * @param pBuffer null, or nuviUndistortGetSize() bytes at any address for the terms of the
 *        columns, which makes the call a little faster; the result is the same
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument `fx` or `fy` is 0
 *
 * Runs in the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviUndistortRadial_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize, float fx,
                                               float fy, float cx, float cy, float k1, float k2,
                                               uint8_t* pBuffer);
NUVCV_API NuvStatus nuviUndistortRadial_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize, float fx,
                                               float fy, float cx, float cy, float k1, float k2,
                                               uint8_t* pBuffer);
NUVCV_API NuvStatus nuviUndistortRadial_16u_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                uint16_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                float fx, float fy, float cx, float cy, float k1,
                                                float k2, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviUndistortRadial_16u_C3R(const uint16_t* pSrc, int32_t srcStep,
                                                uint16_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                float fx, float fy, float cx, float cy, float k1,
                                                float k2, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviUndistortRadial_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize, float fx,
                                                float fy, float cx, float cy, float k1, float k2,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviUndistortRadial_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize, float fx,
                                                float fy, float cx, float cy, float k1, float k2,
                                                uint8_t* pBuffer);
/** @} */

/**
 * Writes the distorted positions of all pixels as two maps, for a remapping of the caller's own.
 * With `p1` and `p2` both 0 they are u and v as nuviUndistortRadial_8u_C1R() tells them. Otherwise
 * decentred lens elements add tangential terms: with xn = dx * (1 / fx), yn = dy * (1 / fy),
 * r2 = xn * xn + yn * yn and F = k1 * r2 + k2 * r2 * r2, each sum and product taken from left to
 * right in single precision,
 *
 *     map x = x + dx * F + (2 * p1) * dx * yn + (fx * p2) * (r2 + 2 * xn * xn)
 *     map y = y + dy * F + (fy * p1) * (r2 + 2 * yn * yn) + (2 * p2) * dy * xn
 *
 * A position may be negative or beyond the far edge. The rounding mode is the caller's.
 *
 * @param pxMap,pyMap first elements of the maps of source x and source y
 * @param xStep,yStep their row steps in bytes
 * @param roiSize the size of the maps in elements
 * @param fx,fy focal lengths in pixels, not 0
 * @param cx,cy principal point in pixels
 * @param k1,k2 radial coefficients
 * @param p1,p2 tangential coefficients
 * @param pBuffer null, or nuviUndistortGetSize() bytes at any address; the result is the same
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null map
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of elements
 * - #nuvStatusBadArgument `fx` or `fy` is 0
 *
 * Runs in the calling thread.
 */
NUVCV_API NuvStatus nuviCreateMapCameraUndistort_32f_C1R(float* pxMap, int32_t xStep, float* pyMap,
                                                         int32_t yStep, NuviSize roiSize, float fx,
                                                         float fy, float cx, float cy, float k1,
                                                         float k2, float p1, float p2,
                                                         uint8_t* pBuffer);

/**
 * @name Pixels along a line
 *
 * Copies the pixels of the digital line from `pt1` to `pt2`, both included, one behind the other,
 * channels together: as many as the larger of the two coordinate differences, plus one. The line is
 * Bresenham's ("Algorithm for computer control of a digital plotter", IBM Systems Journal 4, 1965).
 * The longer axis is y where both are equally long. With L and S the longer and the shorter
 * difference, an error starts at L, loses 2 * S with each pixel, and where it is negative behind
 * that, the next pixel also lies one step along the shorter axis, and 2 * L is added.
 *
 * @param pSrc first pixel of the image
 * @param srcStep its row step in bytes
 * @param roiSize the size of the image in pixels
 * @param pDst receives the pixels
 * @param pt1,pt2 the ends of the line, inside the image
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or result
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusOutOfRange an end outside the image
 *
 * Runs in the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviSampleLine_8u_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                          uint8_t* pDst, NuviPoint pt1, NuviPoint pt2);
NUVCV_API NuvStatus nuviSampleLine_8u_C3R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                          uint8_t* pDst, NuviPoint pt1, NuviPoint pt2);
NUVCV_API NuvStatus nuviSampleLine_16u_C1R(const uint16_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           uint16_t* pDst, NuviPoint pt1, NuviPoint pt2);
NUVCV_API NuvStatus nuviSampleLine_16u_C3R(const uint16_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           uint16_t* pDst, NuviPoint pt1, NuviPoint pt2);
NUVCV_API NuvStatus nuviSampleLine_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                           float* pDst, NuviPoint pt1, NuviPoint pt2);
NUVCV_API NuvStatus nuviSampleLine_32f_C3R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                           float* pDst, NuviPoint pt1, NuviPoint pt2);
/** @} */

/**
 * @name Gray gradient of a colour gradient
 *
 * Turns the three channels a, b, c of each pixel into one value, by the norm
 * - 0, infinity: max(a, b, c); `32f` max(|a|, |b|, |c|)
 * - 1, L1: `8u` ((a + b + c) * 1365 + 2048) >> 12, `16u` ((a + b + c) * 5461 + 8192) >> 14;
 *   `32f` |a| + |b| + |c|
 * - 2, L2: `8u` and `16u` trunc(sqrt((a * a + b * b + c * c) / 3) + 0.5); `32f`
 *   sqrt(fused(c, c, fused(b, b, a * a)))
 *
 * The integer forms divide by three and so keep the range of their type; the `32f` form does not.
 *
 * @param pSrc first pixel of the source, three channels
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, one channel
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param norm 0, 1 or 2
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument `norm` is none of the three
 *
 * Rows are cut over threads only for a caller that runs in a parallel region itself: the least of
 * its team, the height / 16 and the area / 1024. The result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviGradientColorToGray_8u_C3C1R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, int32_t norm);
NUVCV_API NuvStatus nuviGradientColorToGray_16u_C3C1R(const uint16_t* pSrc, int32_t srcStep,
                                                      uint16_t* pDst, int32_t dstStep,
                                                      NuviSize roiSize, int32_t norm);
NUVCV_API NuvStatus nuviGradientColorToGray_32f_C3C1R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, int32_t norm);
/** @} */

/**
 * Writes the angle of each point (x, y) in degrees, from 0 on the positive x axis by way of 90 on
 * the positive y axis to 360: a fast form, off by up to 0.1406 degrees. With m = max(|x|, |y|,
 * 1e-8) and s = min(|x|, |y|) * (1 / m),
 *
 *     p = s * (s * -15.8131895 + 61.094196) - 0.14050041
 *
 * with fused steps; then 90 - p where |x| < |y|, of that 180 - p where x < 0, of that 360 - p where
 * y < 0. So an angle on an axis is off by 0.14050041 and can be negative; (0, 0) gives -0.14050041.
 *
 * @param pSrcY,pSrcX the coordinates, `length` each
 * @param pDst receives `length` angles; may be a source
 * @param length number of points
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null array
 * - #nuvStatusBadSize a length less than 1
 *
 * Runs in the calling thread.
 */
NUVCV_API NuvStatus nuvibFastArctan_32f(const float* pSrcY, const float* pSrcX, float* pDst,
                                        int32_t length);

/**
 * @name Super-resolution: the table of point-spread functions
 *
 * The functions below serve an iterative solver that simulates the observed low-resolution samples
 * from a high-resolution image and projects the error back (M. Irani and S. Peleg, "Improving
 * resolution by image registration", CVGIP: Graphical Models and Image Processing 53, 1991). A
 * sample is predicted through a small point-spread function (PSF), of which there is one for each
 * sub-pixel phase. The state holds a copy of them. It is only read after its creation, so several
 * threads may share it. It belongs to the caller, who gives it back to the `Free` of its PSF size.
 *
 * @param ppState receives the state
 * @param pPSF `count` functions of 4 or 9 coefficients, row by row
 * @param count number of functions
 * @param pState the state
 *
 * @return In the order of the checks; a failed call writes nothing and keeps no memory:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize `InitAlloc`: a count less than 1
 * - #nuvStatusNoMemory `InitAlloc`: there is no memory for the state and 16 (2x2) or 48 (3x3) bytes
 *   a function
 * @{
 */
NUVCV_API NuvStatus nuviSRHNInitAlloc_PSF2x2(NuviSRHNState** ppState, const float* pPSF,
                                             int32_t count);
NUVCV_API NuvStatus nuviSRHNInitAlloc_PSF3x3(NuviSRHNState** ppState, const float* pPSF,
                                             int32_t count);
NUVCV_API NuvStatus nuviSRHNFree_PSF2x2(NuviSRHNState* pState);
NUVCV_API NuvStatus nuviSRHNFree_PSF3x3(NuviSRHNState* pState);
/** @} */

/**
 * @name Super-resolution: residuals
 *
 * Writes prediction minus observation for each sample. The prediction is the sum of the image's
 * pixels from the sample's offset on, 2 x 2 or 3 x 3 of them, times the coefficients of its PSF.
 * With rows r0, r1, r2 of pixels, the coefficients c0 c1 / c2 c3 or a0 a1 a2 / b0 b1 b2 / d0 d1 d2,
 * and the observation L, all in single precision and each fused step rounded once:
 *
 *     2x2:  u = fused(r0[0], c0, r1[1] * c3)
 *           w = fused(r0[1], c1, fused(r1[0], c2, -L))
 *           residual = w + u
 *     3x3:  f = fused(r2[1], d1, r1[2] * b2)
 *           g = fused(r2[2], d2, fused(r2[0], d0, -L))
 *           h = fused(r1[1], b1, r0[2] * a2)
 *           k = fused(r1[0], b0, r0[0] * a0)
 *           residual = fused(r0[1], a1, h + k) + (g + f)
 *
 * @param pHiRes the high-resolution image
 * @param hiResStep its row step in bytes
 * @param pLowRes the observed samples
 * @param pOfs for each sample the offset of its upper left pixel in the image, in elements; not
 *        checked
 * @param pCoeffIdx for each sample the index of its PSF; not checked
 * @param pResidual receives the residuals
 * @param len number of samples
 * @param pState the state, of the same PSF size
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a length less than 1
 * - #nuvStatusBadStep a step less than 8 (2x2) or 12 (3x3) as an unsigned value, or no multiple of
 *   4; so a negative step is accepted, and the rows of a sample then go upwards
 *
 * Runs in the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviSRHNCalcResidual_PSF2x2_8u32f_C1R(
    const float* pHiRes, int32_t hiResStep, const uint8_t* pLowRes, const int32_t* pOfs,
    const uint16_t* pCoeffIdx, float* pResidual, int32_t len, const NuviSRHNState* pState);
NUVCV_API NuvStatus nuviSRHNCalcResidual_PSF2x2_16u32f_C1R(
    const float* pHiRes, int32_t hiResStep, const uint16_t* pLowRes, const int32_t* pOfs,
    const uint16_t* pCoeffIdx, float* pResidual, int32_t len, const NuviSRHNState* pState);
NUVCV_API NuvStatus nuviSRHNCalcResidual_PSF3x3_8u32f_C1R(
    const float* pHiRes, int32_t hiResStep, const uint8_t* pLowRes, const int32_t* pOfs,
    const uint16_t* pCoeffIdx, float* pResidual, int32_t len, const NuviSRHNState* pState);
NUVCV_API NuvStatus nuviSRHNCalcResidual_PSF3x3_16u32f_C1R(
    const float* pHiRes, int32_t hiResStep, const uint16_t* pLowRes, const int32_t* pOfs,
    const uint16_t* pCoeffIdx, float* pResidual, int32_t len, const NuviSRHNState* pState);
/** @} */

/**
 * @name Super-resolution: gradient
 *
 * Spreads residuals back: for each sample in the order of the lists, w = weight * residual, and
 * then pixel = fused(w, coefficient, pixel) for each coefficient of its PSF, row by row. Samples
 * that touch the same pixel add to it in their order, so the result depends on that order.
 *
 * @param pGrad the gradient image, added to in place
 * @param gradStep its row step in bytes
 * @param pOfs for each sample the offset of its upper left pixel in the image, in elements; not
 *        checked
 * @param pCoeffIdx for each sample the index of its PSF; not checked
 * @param pResidual the residuals
 * @param pWeightIdx for each sample the index of its weight
 * @param len number of samples
 * @param pWeights the weights
 * @param pState the state, of the same PSF size
 *
 * @return the statuses of the residuals, in the same order
 *
 * Runs in the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviSRHNUpdateGradient_PSF2x2_32f_C1R(
    float* pGrad, int32_t gradStep, const int32_t* pOfs, const uint16_t* pCoeffIdx,
    const float* pResidual, const uint8_t* pWeightIdx, int32_t len, const float* pWeights,
    const NuviSRHNState* pState);
NUVCV_API NuvStatus nuviSRHNUpdateGradient_PSF3x3_32f_C1R(
    float* pGrad, int32_t gradStep, const int32_t* pOfs, const uint16_t* pCoeffIdx,
    const float* pResidual, const uint8_t* pWeightIdx, int32_t len, const float* pWeights,
    const NuviSRHNState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

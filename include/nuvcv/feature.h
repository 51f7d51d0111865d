/**
 * @file
 * Feature detection: edges, corners, peaks and straight lines.
 */
#ifndef NUVCV_FEATURE_H
#define NUVCV_FEATURE_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Canny edge detector
 *
 * Marks the edges of a picture, given its two derivatives. The gradient's magnitude is |dx| + |dy|;
 * one that does not reach `lowThresh` counts as 0, and so does everything outside the region. A
 * pixel survives if it is a maximum of the magnitude along the gradient's direction, which is taken
 * as horizontal, vertical or one of the diagonals, whichever is nearest. Of equal neighbours on a
 * horizontal line the left one survives, on a vertical line the upper one, on a diagonal neither.
 * A survivor above `highThresh` is an edge, and so is every survivor that a chain of survivors,
 * each one of the eight neighbours of the next, links to an edge. After J. Canny, "A Computational
 * Approach to Edge Detection", IEEE Transactions on Pattern Analysis and Machine Intelligence 8(6),
 * 1986.
 *
 * dx grows to the right and dy downward. Both signs matter on the diagonals: from a picture, take
 * right minus left and below minus above, or the opposite of both.
 *
 * `16s8u`: both thresholds are truncated to integers; a magnitude equal to the low one counts as 0.
 * Magnitudes saturate at 65535 but for the columns behind the last whole block of 8. `32f8u`: a
 * magnitude equal to the low threshold is kept. In both, one equal to the high threshold is not
 * above it. The columns behind the last whole block of 4 compare directions in double precision.
 *
 * @param pSrcDx,pSrcDy first pixel of the derivatives along x and y
 * @param srcDxStep,srcDyStep their row steps in bytes
 * @param pDstEdges first pixel of the result: 255 on edges, 0 elsewhere; no source
 * @param dstEdgeStep its row step in bytes
 * @param roiSize the region in pixels
 * @param lowThresh threshold for survivors that must be linked to an edge, at least 0
 * @param highThresh threshold for edges of their own, at least `lowThresh`
 * @param pBuffer scratch of the size that nuviCannyGetSize() reports, at any address; its contents
 *        do not matter
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a derivative's step that is no whole number of elements
 * - #nuvStatusBadArgument `lowThresh` below 0 or above `highThresh`
 *
 * Serial.
 * @{
 */
NUVCV_API NuvStatus nuviCanny_16s8u_C1R(const int16_t* pSrcDx, int32_t srcDxStep,
                                        const int16_t* pSrcDy, int32_t srcDyStep,
                                        uint8_t* pDstEdges, int32_t dstEdgeStep, NuviSize roiSize,
                                        float lowThresh, float highThresh, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviCanny_32f8u_C1R(const float* pSrcDx, int32_t srcDxStep, const float* pSrcDy,
                                        int32_t srcDyStep, uint8_t* pDstEdges, int32_t dstEdgeStep,
                                        NuviSize roiSize, float lowThresh, float highThresh,
                                        uint8_t* pBuffer);
/** @} */

/**
 * Size of the scratch buffer of nuviCanny_16s8u_C1R() and nuviCanny_32f8u_C1R().
 *
 * (height * 5 + 10) * (width + 2) + width * 16 + 160 bytes, or, if the width or the height is 65533
 * or more, (height * 9 + 18) * (width + 2) + width * 16 + 160. The sum is formed in 32 bits and
 * wraps: a region whose true size is 2 GiB or more is not told apart.
 *
 * @param roiSize the region in pixels
 * @param pBufferSize receives the size in bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer `pBufferSize` is null
 * - #nuvStatusBadSize a width or height less than 1
 */
NUVCV_API NuvStatus nuviCannyGetSize(NuviSize roiSize, int32_t* pBufferSize);

/**
 * @name Corner measures
 *
 * The eigen-structure of the averaged covariance of the gradient at each pixel: with the
 * derivatives gx and gy, and A, B, C the means of gx * gx, gy * gy and gx * gy over a window, the
 * eigenvalues of the matrix A C / C B. nuviMinEigenVal writes the smaller one; nuviEigenValsVecs
 * writes six floats a pixel: the larger eigenvalue, the smaller one, x and y of the first
 * eigenvector, x and y of the second. After C. Harris and M. Stephens, "A Combined Corner and Edge
 * Detector", Alvey Vision Conference, 1988, and J. Shi and C. Tomasi, "Good Features to Track",
 * CVPR, 1994.
 *
 * The derivatives are nuviFilterSobelVertBorder and nuviFilterSobelHorizBorder of the aperture, or
 * the Scharr filters, the means nuviFilterLowpassBorder_32f_C1R(), all with replicated borders. The
 * scale is s = 1 / (255 * 16) for an aperture of 3 and 1 / (255 * 256) for 5, times 0.6125 for
 * Scharr, for float sources too, and it is applied once to the products of two derivatives. All
 * steps are single precision:
 * - nuviMinEigenVal: (A + B - sqrt(fused(A - B, A - B, C * C * 4))) * (0.5 * s)
 * - nuviEigenValsVecs, with a, b, c = A * s, B * s, C * s and t = max(a, b) * 0.01: all six are 0
 *   where t is above min(a, b) or above a * b - c * c; the vectors are (1, 0) and (0, 1) where t is
 *   above |c|.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pMinEigenVal first pixel of the result
 * @param minValStep its row step in bytes
 * @param pEigenVV first pixel of the result, six floats a pixel
 * @param eigStep its row step in bytes
 * @param roiSize the region in pixels
 * @param kernType 0 Sobel, 1 Scharr
 * @param apertureSize 3 or 5; 3 for Scharr
 * @param avgWindow 3 or 5
 * @param pBuffer scratch of the size that the size function of the same form reports, at any
 *        address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a source step less than a row, or a result step less than 4 bytes a pixel, in
 *   nuviEigenValsVecs too
 * - #nuvStatusStepNotElementMultiple a step of a `32f` image that is no multiple of four
 * - #nuvStatusBadArgument another `kernType`
 * - #nuvStatusBadSize an `apertureSize` that the kernel does not have
 * - #nuvStatusBadSize another `avgWindow`
 *
 * The filters inside are cut over the threads by their own rules; the result does not depend on it.
 * @{
 */
NUVCV_API NuvStatus nuviMinEigenVal_32f_C1R(const float* pSrc, int32_t srcStep, float* pMinEigenVal,
                                            int32_t minValStep, NuviSize roiSize, int32_t kernType,
                                            int32_t apertureSize, int32_t avgWindow,
                                            uint8_t* pBuffer);
NUVCV_API NuvStatus nuviMinEigenVal_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                              float* pMinEigenVal, int32_t minValStep,
                                              NuviSize roiSize, int32_t kernType,
                                              int32_t apertureSize, int32_t avgWindow,
                                              uint8_t* pBuffer);
NUVCV_API NuvStatus nuviEigenValsVecs_32f_C1R(const float* pSrc, int32_t srcStep, float* pEigenVV,
                                              int32_t eigStep, NuviSize roiSize, int32_t kernType,
                                              int32_t apertureSize, int32_t avgWindow,
                                              uint8_t* pBuffer);
NUVCV_API NuvStatus nuviEigenValsVecs_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                float* pEigenVV, int32_t eigStep, NuviSize roiSize,
                                                int32_t kernType, int32_t apertureSize,
                                                int32_t avgWindow, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch size of the corner measures
 *
 * Writes the number of bytes that the measure of the same form needs. nuviEigenValsVecs needs what
 * nuviMinEigenVal does.
 *
 * @param roiSize the region in pixels
 * @param apertureSize 3 or 5
 * @param avgWindow 3 or 5
 * @param pBufferSize receives the size; it grows with the configured number of threads
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width or height less than 1, or another `apertureSize` or `avgWindow`
 * @{
 */
NUVCV_API NuvStatus nuviMinEigenValGetBufferSize_32f_C1R(NuviSize roiSize, int32_t apertureSize,
                                                         int32_t avgWindow, int32_t* pBufferSize);
NUVCV_API NuvStatus nuviMinEigenValGetBufferSize_8u32f_C1R(NuviSize roiSize, int32_t apertureSize,
                                                           int32_t avgWindow, int32_t* pBufferSize);
NUVCV_API NuvStatus nuviEigenValsVecsGetBufferSize_32f_C1R(NuviSize roiSize, int32_t apertureSize,
                                                           int32_t avgWindow, int32_t* pBufferSize);
NUVCV_API NuvStatus nuviEigenValsVecsGetBufferSize_8u32f_C1R(NuviSize roiSize, int32_t apertureSize,
                                                             int32_t avgWindow,
                                                             int32_t* pBufferSize);
/** @} */

/**
 * @name Peaks
 *
 * Lists the local extrema of an image in raster order: positive pixels that no neighbour is above,
 * and other pixels that no neighbour is below, whose magnitude exceeds a threshold. Every pixel of
 * a plateau is a peak. In `32f` a difference of up to the smallest normal float counts as none. A
 * pixel that is a NaN or infinite is no peak. The list ends where it is full; peaks behind that are
 * dropped without a notice.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param roiSize the region in pixels
 * @param threshold what the magnitude of a peak has to exceed; negative: zeros are judged as minima
 * @param pPeak receives the places
 * @param maxPeakCount room for places
 * @param pPeakCount receives their number
 * @param norm 0 all eight neighbours, 1 the four direct ones
 * @param border pixels left out on every side, at least 1
 * @param pBuffer scratch of the size that the size function of the same form reports, at any
 *        address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image, list, count or buffer
 * - #nuvStatusBadSize a height, width, `maxPeakCount` or `border` less than 1
 * - #nuvStatusBadSize a `border` above half the width or half the height
 * - #nuvStatusBadStep a step that holds fewer elements than a row
 * - #nuvStatusStepNotElementMultiple a step that is no multiple of four
 * - #nuvStatusBadArgument another `norm`
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviFindPeaks3x3_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                             float threshold, NuviPoint* pPeak,
                                             int32_t maxPeakCount, int32_t* pPeakCount,
                                             int32_t norm, int32_t border, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFindPeaks3x3_32s_C1R(const int32_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                             int32_t threshold, NuviPoint* pPeak,
                                             int32_t maxPeakCount, int32_t* pPeakCount,
                                             int32_t norm, int32_t border, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch size of the peaks
 *
 * Writes ((width + 5) / 4) * 128 + 32.
 *
 * @param width of the region in pixels
 * @param pBufferSize receives the size in bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width less than 1
 * @{
 */
NUVCV_API NuvStatus nuviFindPeaks3x3GetBufferSize_32f_C1R(int32_t width, int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFindPeaks3x3GetBufferSize_32s_C1R(int32_t width, int32_t* pBufferSize);
/** @} */

/**
 * @name Hough lines
 *
 * Finds straight lines in a binary picture by the standard Hough transform: each point votes, for
 * every angle of a grid, for the line through it, and the peaks of the votes are the lines, the one
 * with most votes first. After P. Hough, US patent 3069654, 1962, and R. Duda and P. Hart, "Use of
 * the Hough Transformation to Detect Lines and Curves in Pictures", CACM 15(1), 1972.
 *
 * There are trunc(3.14159 / delta.theta) + 1 angles from 0 on, and trunc((2 * (width + height) + 1)
 * / delta.rho) distances. A vote is in fixed point with 10 fractional bits. A cell is a line if its
 * votes exceed `threshold`, the cell before it and the same cell of the angle before, and are no
 * less than those of the cell behind it and the angle behind. Lines of equal votes stay in the
 * order of angle, then distance.
 *
 * The `Region` form starts its angles at the low corner's theta, ends at the high corner's, and
 * keeps to the distances between the two.
 *
 * @param pSrc first pixel of the picture; all that are not zero are points
 * @param srcStep its row step in bytes
 * @param roiSize the region in pixels
 * @param delta the resolution: rho in pixels, up to width + height, theta in radians, up to 3.14159
 * @param threshold votes that a line must exceed, at least 1
 * @param pLine receives the lines
 * @param dstRoi the low and the high corner of the region of parameters
 * @param maxLineCount room for lines
 * @param pLineCount receives their number
 * @param pBuffer scratch of the size that nuviHoughLineGetSize_8u_C1R() reports, at any address
 *
 * @return In the order of the checks; a failed call writes nothing, but for the last:
 * - #nuvStatusNullPointer a null image, list, count, buffer or `dstRoi`
 * - #nuvStatusBadStep a step less than 1
 * - #nuvStatusBadSize a width, height or `maxLineCount` less than 1
 * - #nuvStatusBadArgument a `delta` outside its range, or a `threshold` less than 1
 * - #nuvStatusBadRange a high corner below the low one; `pLineCount` is set to 0
 * - #nuvStatusMoreThanRoom a warning: a line found no place in the full list, or pushed one out
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviHoughLine_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                            NuviPointPolar delta, int32_t threshold,
                                            NuviPointPolar* pLine, int32_t maxLineCount,
                                            int32_t* pLineCount, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviHoughLine_Region_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   NuviSize roiSize, NuviPointPolar* pLine,
                                                   const NuviPointPolar* dstRoi,
                                                   int32_t maxLineCount, int32_t* pLineCount,
                                                   NuviPointPolar delta, int32_t threshold,
                                                   uint8_t* pBuffer);
/** @} */

/**
 * Scratch size of the Hough lines: with nt + 1 angles and nr distances, height * (width * 4 + 48) +
 * maxLineCount * 16 + (nt * 8 + 8 + nr * 12) + nr * 4 + 256.
 *
 * @param roiSize the region in pixels
 * @param delta the resolution
 * @param maxLineCount room for lines
 * @param pBufferSize receives the size in bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadArgument a `delta` that is not above 0
 */
NUVCV_API NuvStatus nuviHoughLineGetSize_8u_C1R(NuviSize roiSize, NuviPointPolar delta,
                                                int32_t maxLineCount, int32_t* pBufferSize);

#ifdef __cplusplus
}
#endif

#endif

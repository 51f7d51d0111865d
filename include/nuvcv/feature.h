/**
 * @file
 * Feature detection: edges.
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

#ifdef __cplusplus
}
#endif

#endif

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

/**
 * @name Pyramid record
 *
 * The sizes and scales of the layers of an image pyramid. The library allocates the record and
 * never the images: the caller hangs them into `images` and `steps`, which start cleared.
 *
 * `sizes[0]` is the base and each size after it is what nuviGetPyramidDownROI() makes of the one
 * before. `rates[0]` is 1.0 and `rates[i + 1]` is `rates[i]` times 1.0 / rate. The record has
 * `level` + 1 layers, or fewer where the base reaches a single pixel before that; its field `level`
 * tells the coarsest one. A base of a single pixel has no layer below it.
 *
 * @param ppPyramid receives the record
 * @param level layers wanted above the base, at least 1
 * @param baseSize size of the base image in pixels
 * @param rate scale from a layer to the next, above 1.0 and at most 10.0
 * @param pPyramid a record from nuviPyramidInitAlloc(); its images stay the caller's
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadArgument a rate outside its range, a `level` less than 1
 * - #nuvStatusNoMemory no memory for the record, 44 * level + 112 bytes
 * @{
 */
NUVCV_API NuvStatus nuviPyramidInitAlloc(NuviPyramid** ppPyramid, int32_t level, NuviSize baseSize,
                                         float rate);
NUVCV_API NuvStatus nuviPyramidFree(NuviPyramid* pPyramid);
/** @} */

/**
 * @name Sizes of neighbouring layers
 *
 * Going up, a length n can grow to any length from `min` to `max`, where products are formed in
 * single precision and truncated:
 *
 *     min = n == 1 ? 1 : max(n + 1, trunc((n - 1) * rate) + 1)
 *     max = max(n + 1, trunc(n * rate))
 *
 * Going down, a length shrinks to the one whose range going up contains it. Width and height follow
 * the same rule. A length that would pass 2^31 - 1 is told as 2^31 - 1.
 *
 * @param srcSize size of the layer to start from, in pixels
 * @param pDstSize receives the size of the layer below it
 * @param pMinSize receives the smallest size of the layer above it
 * @param pMaxSize receives the largest size of the layer above it
 * @param rate scale between the layers, above 1.0 and at most 10.0
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null result pointer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadArgument a rate outside its range
 * @{
 */
NUVCV_API NuvStatus nuviGetPyramidDownROI(NuviSize srcSize, NuviSize* pDstSize, float rate);
NUVCV_API NuvStatus nuviGetPyramidUpROI(NuviSize srcSize, NuviSize* pMinSize, NuviSize* pMaxSize,
                                        float rate);
/** @} */

// -------- layers ends

// ANCHOR sub-pixel copy

// -------- sub-pixel copy ends

// ANCHOR flow

// -------- flow ends

#ifdef __cplusplus
}
#endif

#endif

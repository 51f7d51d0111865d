/**
 * @file
 * Distances and inpainting: chamfer, exact Euclidean distance, fast marching, inpainting.
 */
#ifndef NUVCV_DISTANCE_H
#define NUVCV_DISTANCE_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ANCHOR chamfer

// -------- chamfer ends

// ANCHOR exact distance

// -------- exact distance ends

// ANCHOR fast marching

// -------- fast marching ends

/**
 * @name Inpainting
 *
 * Fills the masked pixels of a picture from their surroundings, one pixel at a time, from the
 * outside in. A state is built once for a mask and a distance plane, which gives the order, and
 * then serves any number of pictures of that size.
 *
 * A pixel p becomes a weighted mean of the known pixels q = p + (dx, dy) in the disk dx^2 + dy^2 <=
 * radius^2: those outside the mask, and those filled before. Where the disk would pass a side of
 * the picture, it is that of the truncated radius. `mode` chooses the weights:
 *
 * 0: by the distance T: |grad T(p) . (p - q)| / (|p - q|^3 (1 + |T(q) - T(p)|)), common to all
 * channels. To the mean is added gx + gy, where (gx, gy) has the length 1 and the direction of the
 * weighted sum of (Ix(q) dx, Iy(q) dy), with (Ix, Iy) the picture's gradient. Method: A. Telea, "An
 * image inpainting technique based on the fast marching method", Journal of Graphics Tools 9(1),
 * 2004.
 *
 * 1: along level lines: the part of p - q along the level line of the picture at q, over
 * (|p - q|^4 + 1) |p - q|; where that part is 0, a millionth takes its place. Each channel has
 * weights of its own. Method: after M. Bertalmio, A. L. Bertozzi and G. Sapiro, "Navier-Stokes,
 * fluid dynamics, and image and video inpainting", CVPR 2001.
 *
 * Sums are 32-bit floats over the disk in raster order; the result is rounded to the nearest (in
 * mode 0 computed as a double, and saturated). Where the weights sum up to less than 0.0001, the
 * mean of the known direct neighbours is taken; a pixel whose disk has no known pixel becomes 0.
 * The picture's gradient is made of differences of known pixels: twice s(x + 1) - s(x - 1), or the
 * single difference to the one of the two that is known and inside the picture, or 0.
 *
 * @return In the order of the checks, which is that of this list; a failed call writes nothing.
 *         nuviInpaintInitAlloc:
 * - #nuvStatusNullPointer `pMask`, `pDist` or `ppState` is null
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `distStep` is no multiple of 4
 * - #nuvStatusBadArgument `mode` is neither 0 nor 1, or `radius` is not at least 1
 * - #nuvStatusNoMemory no memory for the state
 *
 *         nuviInpaint:
 * - #nuvStatusNullPointer a null image or state
 * - #nuvStatusBadSize a width or height less than 1, or not that of the state
 * - #nuvStatusBadStep a step less than a row
 *
 *         nuviInpaintFree:
 * - #nuvStatusNullPointer a null state
 *
 * All forms run on the calling thread.
 * @{
 */

/**
 * Makes a state. The mask and the distance plane are read here and not kept.
 *
 * @param ppState where the new state's address goes; nuviInpaintFree_8u_C1R() or its C3 form
 *                releases it
 * @param pDist first cell of the distance plane, normally that of nuviFastMarching_8u32f_C1R() of
 *              the mask: pixels are filled in the order of their distance, equal ones in raster
 *              order. Masked pixels with a distance that is not above 0 are never filled, nor read
 *              to fill others.
 * @param distStep its row step in bytes
 * @param pMask first cell of the mask: what is not 0 is to be filled
 * @param maskStep its row step in bytes
 * @param roiSize the size of both, in pixels
 * @param radius how far known pixels are gathered, in pixels, at least 1
 * @param mode 0 or 1
 */
NUVCV_API NuvStatus nuviInpaintInitAlloc_8u_C1R(NuviInpaintState** ppState, const float* pDist,
                                                int32_t distStep, const uint8_t* pMask,
                                                int32_t maskStep, NuviSize roiSize, float radius,
                                                int32_t mode);
/** Makes a state for three channels; see nuviInpaintInitAlloc_8u_C1R(). */
NUVCV_API NuvStatus nuviInpaintInitAlloc_8u_C3R(NuviInpaintState** ppState, const float* pDist,
                                                int32_t distStep, const uint8_t* pMask,
                                                int32_t maskStep, NuviSize roiSize, float radius,
                                                int32_t mode);

/**
 * Copies a picture and fills the masked pixels of the copy. The state's work memory is written: it
 * serves one call at a time.
 *
 * @param pSrc first pixel of the picture
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, which may be the picture itself
 * @param dstStep its row step in bytes
 * @param roiSize the size of both, in pixels: that of the state
 * @param pState a state made for the same number of channels
 */
NUVCV_API NuvStatus nuviInpaint_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, NuviInpaintState* pState);
/** Fills a picture of three channels; see nuviInpaint_8u_C1R(). */
NUVCV_API NuvStatus nuviInpaint_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, NuviInpaintState* pState);

/** Releases a state. */
NUVCV_API NuvStatus nuviInpaintFree_8u_C1R(NuviInpaintState* pState);
/** Releases a state for three channels. */
NUVCV_API NuvStatus nuviInpaintFree_8u_C3R(NuviInpaintState* pState);

/** @} */

// -------- inpainting ends

#ifdef __cplusplus
}
#endif

#endif

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

/**
 * @name Chamfer distance transforms
 *
 * For each pixel of an 8-bit image that is not zero an approximate distance to the nearest zero
 * pixel, found by two raster passes with a mask of metrics (G. Borgefors, "Distance transformations
 * in digital images", 1986): the cheapest path of direct moves for a each, diagonal ones for b and,
 * in the 5x5 forms, knight's moves for c. Zero pixels become 0. Distances stay at the greatest
 * value of the type: 255, 65535, or 3.4028235e38; an image without zeros has it everywhere.
 *
 * A metric that is dearer than a way made of the others is taken for that way: a > b in 3x3, unless
 * the image is a single row or column; in 5x5 the 3x3 mask serves where a knight's move is not
 * cheaper than a direct and a diagonal one, and whole metrics are lowered to the cheapest way.
 *
 * @param pSrc first pixel of the source; may be `pDst` in the `8u` forms
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the distances
 * @param dstStep its row step in bytes
 * @param pSrcDst first pixel of the source, which becomes the distances
 * @param srcDstStep its row step in bytes
 * @param roiSize the images in pixels
 * @param pMetrics a and b (3x3), or a, b and c (5x5), in units of the result, above 0; a NaN passes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a `dstStep` that is no whole number of elements
 * - #nuvStatusBadMetric a metric less than 1, or a float metric that is 0 or less
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviDistanceTransform_3x3_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, const int32_t* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_3x3_8u16u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint16_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, const int32_t* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_3x3_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        float* pDst, int32_t dstStep,
                                                        NuviSize roiSize, const float* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_3x3_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep,
                                                      NuviSize roiSize, const int32_t* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_5x5_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, const int32_t* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_5x5_8u16u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint16_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, const int32_t* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_5x5_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        float* pDst, int32_t dstStep,
                                                        NuviSize roiSize, const float* pMetrics);
NUVCV_API NuvStatus nuviDistanceTransform_5x5_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep,
                                                      NuviSize roiSize, const int32_t* pMetrics);
/** @} */

/**
 * @name Standard metrics of the chamfer distance
 *
 * The metrics with which the distance transforms come nearest to a norm. Whole metrics of the
 * Euclidean norm are scaled: by 2 in 3x3, by 5 in 5x5.
 *
 * @param kernelSize 3 (two metrics) or 5 (three)
 * @param norm 0: the largest of both coordinates; 1: their sum; 2: the Euclidean distance
 * @param maskType 10 * `kernelSize` + `norm`
 * @param pMetrics the metrics that are written
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusBadArgument (nuviGetDistanceTransformMask() only) a last digit other than 0, 1, 2
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a kernel size other than 3 and 5
 * - #nuvStatusBadArgument a norm other than 0, 1, 2
 * @{
 */
NUVCV_API NuvStatus nuviGetDistanceTransformMask_32s(int32_t kernelSize, int32_t norm,
                                                     int32_t* pMetrics);
NUVCV_API NuvStatus nuviGetDistanceTransformMask_32f(int32_t kernelSize, int32_t norm,
                                                     float* pMetrics);
NUVCV_API NuvStatus nuviGetDistanceTransformMask(int32_t maskType, float* pMetrics);
/** @} */

/**
 * @name Exact Euclidean distance
 *
 * For each pixel the Euclidean distance to the nearest zero pixel, from squared distances along the
 * columns and the lower envelope of their parabolas along the rows (P. F. Felzenszwalb and D. P.
 * Huttenlocher, "Distance transforms of sampled functions", 2004), in single precision. An image
 * without zeros has the square root of 3.4028235e38 everywhere.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the distances
 * @param dstStep its row step in bytes
 * @param roiSize the images in pixels
 * @param pBuffer scratch of the size that nuviTrueDistanceTransformGetBufferSize_8u32f_C1R()
 * reports under the present thread count, at any address
 * @param pSize the size that is written, in bytes: for each thread 24 times the longer side,
 * rounded up to a multiple of 4, plus 56
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a `dstStep` that is no multiple of 4
 *
 * Spreads columns and rows over threads; the result is the same with any number of them.
 * @{
 */
NUVCV_API NuvStatus nuviTrueDistanceTransformGetBufferSize_8u32f_C1R(NuviSize roiSize,
                                                                     int32_t* pSize);
NUVCV_API NuvStatus nuviTrueDistanceTransform_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        float* pDst, int32_t dstStep,
                                                        NuviSize roiSize, uint8_t* pBuffer);
/** @} */

/**
 * @name Fast marching
 *
 * The time at which a front of unit speed that starts at the zero pixels arrives at each pixel: the
 * solution of the eikonal equation on the pixel grid, in single precision, by sweeps over the
 * pixels that may still change, until none does (H. Zhao, "A fast sweeping method for eikonal
 * equations", 2005). Where no front arrives, the value is 999999.
 *
 * With a `radius` above 0 the zero pixels hold negative distances to the region: -1e-10 beside it,
 * further ones down to -(`radius` + 1e-5), and 0 beyond. Otherwise they hold 0.
 *
 * @param pSrc first pixel of the source; what is not 0 is the region
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the distances
 * @param dstStep its row step in bytes
 * @param roiSize the images in pixels
 * @param radius width of the band outside the region in pixels, at least 0; a NaN passes, for 0
 * @param pBuffer scratch of the size that nuviFastMarchingGetBufferSize_8u32f_C1R() reports, at any
 *        address
 * @param pSize the size that is written, in bytes: (height + 34) * (width, rounded up to a multiple
 *        of 32, with the bits of 5 set) + 40
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a `dstStep` that is no multiple of 4
 * - #nuvStatusBadArgument a negative `radius`
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviFastMarchingGetBufferSize_8u32f_C1R(NuviSize roiSize, int32_t* pSize);
NUVCV_API NuvStatus nuviFastMarching_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                               int32_t dstStep, NuviSize roiSize, float radius,
                                               uint8_t* pBuffer);
/** @} */

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
 * @param ppState receives the state; untouched on failure
 * @param pDist first cell of the distance plane, normally that of nuviFastMarching_8u32f_C1R() of
 *        the mask: pixels are filled in the order of their distance, equal ones in raster order.
 *        Masked pixels with a distance that is not above 0 are never filled, nor read to fill
 *        others.
 * @param distStep its row step in bytes
 * @param pMask first cell of the mask: what is not 0 is to be filled. It is read, as is `pDist`,
 *        when the state is made, and not kept.
 * @param maskStep its row step in bytes
 * @param radius how far known pixels are gathered, in pixels, at least 1
 * @param mode 0 or 1
 * @param pSrc first pixel of the picture
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, a copy with the masked pixels filled; may be the picture
 *        itself
 * @param dstStep its row step in bytes
 * @param roiSize the size of all images, in pixels: for a call with a state, that of the state
 * @param pState a state made for the same number of channels
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
 * All forms run on the calling thread. A call writes the state's work memory: a state serves one
 * call at a time.
 * @{
 */
NUVCV_API NuvStatus nuviInpaintInitAlloc_8u_C1R(NuviInpaintState** ppState, const float* pDist,
                                                int32_t distStep, const uint8_t* pMask,
                                                int32_t maskStep, NuviSize roiSize, float radius,
                                                int32_t mode);
NUVCV_API NuvStatus nuviInpaintInitAlloc_8u_C3R(NuviInpaintState** ppState, const float* pDist,
                                                int32_t distStep, const uint8_t* pMask,
                                                int32_t maskStep, NuviSize roiSize, float radius,
                                                int32_t mode);
NUVCV_API NuvStatus nuviInpaint_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, NuviInpaintState* pState);
NUVCV_API NuvStatus nuviInpaint_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, NuviInpaintState* pState);
NUVCV_API NuvStatus nuviInpaintFree_8u_C1R(NuviInpaintState* pState);
NUVCV_API NuvStatus nuviInpaintFree_8u_C3R(NuviInpaintState* pState);

/** @} */

#ifdef __cplusplus
}
#endif

#endif

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

// ANCHOR inpainting

// -------- inpainting ends

#ifdef __cplusplus
}
#endif

#endif

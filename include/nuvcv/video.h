/**
 * @file
 * Video analysis: motion history, Gaussian and histogram foreground models.
 */
#ifndef NUVCV_VIDEO_H
#define NUVCV_VIDEO_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Motion history
 *
 * Brings a motion history image up to date, in place, with the silhouette of the present frame: a
 * covered pixel becomes `timestamp`; an empty one becomes 0 if it is below `timestamp` -
 * `duration` (one single-precision subtraction), and stays as it is otherwise. (A. F. Bobick and
 * J. W. Davis, "The recognition of human movement using temporal templates", 2001.)
 *
 * A `32f` silhouette compares as a number: -0.0 is empty, a NaN is covered. A NaN in the history of
 * an empty pixel stays.
 *
 * @param pSilhouette first pixel of the silhouette; what is not zero is covered
 * @param silhouetteStep its row step in bytes
 * @param pHistory first pixel of the history, changed in place
 * @param historyStep its row step in bytes
 * @param roiSize the images in pixels
 * @param timestamp time of the present frame, in any unit; not tested
 * @param duration how long a time is kept, in the same unit, at least 0; a NaN passes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of elements
 * - #nuvStatusOutOfRange a negative duration
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviUpdateMotionHistory_8u32f_C1IR(const uint8_t* pSilhouette,
                                                       int32_t silhouetteStep, float* pHistory,
                                                       int32_t historyStep, NuviSize roiSize,
                                                       float timestamp, float duration);
NUVCV_API NuvStatus nuviUpdateMotionHistory_16u32f_C1IR(const uint16_t* pSilhouette,
                                                        int32_t silhouetteStep, float* pHistory,
                                                        int32_t historyStep, NuviSize roiSize,
                                                        float timestamp, float duration);
NUVCV_API NuvStatus nuviUpdateMotionHistory_32f_C1IR(const float* pSilhouette,
                                                     int32_t silhouetteStep, float* pHistory,
                                                     int32_t historyStep, NuviSize roiSize,
                                                     float timestamp, float duration);
/** @} */

// -------- motion history ends

/**
 * @name Gaussian foreground model
 *
 * Parts moving foreground from a learned background. Every pixel of the scene is a mixture of five
 * Gaussians; the `InitAlloc` functions build the mixtures from a first frame, and each following
 * call takes one frame, brings the mixtures up to date with it and writes the background and a mask
 * of the foreground. (C. Stauffer and W. E. L. Grimson, "Adaptive background mixture models for
 * real-time tracking", CVPR 1999.) All arithmetic is in double precision; a `C3` mixture has a
 * variance and a mean for each channel, and one weight.
 *
 * A new mixture has one component with the pixel for its mean, 12.5 for its variance, a weight of 1
 * and one sample; the other four have the mean 0, the variance 12.5, no weight and no samples. A
 * frame's pixel x goes through these steps:
 * -# Match: the first component in order whose variance (`C3`: the sum of the three) times 6.25 is
 *    greater than the squared distance of x from its mean. A component without samples takes part.
 * -# Learn: with a = 1 / (1 + the samples of all components), every weight w becomes
 *    w + a * (1 - w) for the match and w - a * w for the others. The match counts one sample more,
 *    n, and its mean m and variance v become m + d / n and v + (d * d - v) / n, where d = x - m
 * with the old mean. In the 200th call after the state was built, and in that call alone, a is 1 /
 * 200 for the weights, 1 / (200 * new weight) takes the place of 1 / n, and samples do not count.
 * -# Replace: if there was no match, the last component becomes one sample of mean x and variance
 *    900, and each weight the component's share of all samples. (In the 200th call the new
 * component has the weight 1 / samples, and the others are multiplied by 1 - 1 / 200.)
 * -# Order: by weight / sqrt(variance), descending; 0 for a component without samples. Components
 *    with equal keys keep their order.
 * -# Write: the background is the mean of the first component, rounded to nearest. The mask is 0 if
 *    the place that the match had before the ordering is among the first places whose weights, in
 *    the new order, add up to more than 0.7, and 255 otherwise.
 *
 * @param pSrc first pixel of the frame
 * @param srcStep its row step in bytes
 * @param pRef first pixel of the background, with as many channels as the frame
 * @param refStep its row step in bytes; not tested
 * @param pDst first pixel of the mask, one channel: 255 in the foreground, 0 in the background
 * @param dstStep its row step in bytes; not tested
 * @param roiSize the images in pixels. A later call keeps to the size that the state was built
 * with.
 * @param pModel must not be null, and is not read: the model's values are those told above
 * @param ppState receives the state, which belongs to the caller, who gives it back to `Free`; one
 *        call at a time works with it
 * @param pState the state
 *
 * Source, background and mask may share memory: both results are written after the last pixel was
 * read, the mask first.
 *
 * @return In the order of the checks; a failed call writes nothing, keeps no memory and is no frame
 * of the model:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep `srcStep` is less than a row
 * - #nuvStatusNoMemory `InitAlloc`: there is no memory for the state, or its 144 (`C3`: 304) bytes
 * a pixel pass 2^31 - 1
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviForegroundGaussianInitAlloc_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                           NuviSize roiSize, const void* pModel,
                                                           NuviForegroundGaussianState** ppState);
NUVCV_API NuvStatus nuviForegroundGaussianInitAlloc_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                           NuviSize roiSize, const void* pModel,
                                                           NuviForegroundGaussianState** ppState);
NUVCV_API NuvStatus nuviForegroundGaussian_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                  uint8_t* pRef, int32_t refStep, uint8_t* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  NuviForegroundGaussianState* pState);
NUVCV_API NuvStatus nuviForegroundGaussian_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                  uint8_t* pRef, int32_t refStep, uint8_t* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  NuviForegroundGaussianState* pState);
NUVCV_API NuvStatus nuviForegroundGaussianFree_8u_C1R(NuviForegroundGaussianState* pState);
NUVCV_API NuvStatus nuviForegroundGaussianFree_8u_C3R(NuviForegroundGaussianState* pState);
/** @} */

// -------- Gaussian model ends

// ANCHOR histogram model

// -------- histogram model ends

#ifdef __cplusplus
}
#endif

#endif

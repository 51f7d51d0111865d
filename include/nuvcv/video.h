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
 *    w + a * (1 - w) for the match and w + a * (0 - w) for the others. The match counts one sample
 *    more, n; with r = 1 / n and d = x - m its mean m becomes m + r * d and its variance v becomes
 *    v + r * (d * d - v). Each product is fused with the sum behind it. In the 200th call after the
 *    state was built, and in that call alone, a is 1 / 200, r is 1 / (200 * new weight), and no
 *    sample counts.
 * -# Replace: if there was no match, the last component becomes one sample of mean x and variance
 *    900, and each weight the component's share of all samples. (In the 200th call the weight of
 *    the new component is 1 / samples, and the others are multiplied by 1 - 1 / 200.)
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
 * @param roiSize the images in pixels; later calls keep to the size that the state was built with
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
 * - #nuvStatusNoMemory `InitAlloc`: there is no memory for the state, or its components pass
 *   2^31 - 1 bytes: 160 a pixel, in `C3` 320
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

/**
 * @name Histogram foreground model
 *
 * Tells moving foreground from a learnt background by how often each pixel has had a value: each
 * has a table of values for when it stands still and a table of pairs of a previous and a present
 * value for when it changes (L. Li, W. Huang, I. Y.-H. Gu and Q. Tian, "Foreground object detection
 * from videos containing complex background", 2003). Shares and rates are in single precision.
 *
 * A frame is first classified by nuviForegroundHistogram_8u_C1R() or its `C3` form, then learnt by
 * nuviForegroundHistogramUpdate_8u_C1R() or its `C3` form, which reads what the first left in the
 * model: where the frame differs from the one before, and where from the background. A difference
 * counts above a threshold of at least 10: the largest standard deviation of the differences from
 * any value on; in `C3` one threshold for all channels, passed by any.
 *
 * Classification: a pixel that differs from neither is background (0). One that differs from the
 * background alone is looked up in its values within 4 grey levels, one that differs from the last
 * frame in its pairs within 8. It is foreground (255) if the share found is not below twice the
 * share found while it was background; before its values are learnt it is background, before its
 * pairs are learnt foreground.
 *
 * @note Entries are compared with three consecutive bytes of the frame, in the `C1` form too, where
 *       they are the pixel and its two right neighbours. So nuviForegroundHistogram_8u_C1R() may
 *       read two bytes behind each row, which the caller's memory must hold.
 *
 * @param pSrc first pixel of the frame
 * @param srcStep its row step in bytes
 * @param roiSize the frame in pixels: for a call with a model, what the model was made with (a
 *        smaller one takes the upper left corner of the model)
 * @param pModel not null; not read otherwise
 * @param ppState receives the model, whose background and previous frame are this first frame;
 *        untouched on failure
 * @param pDst first pixel of the mask that is written, one channel: 255 or 0
 * @param dstStep its row step in bytes; not tested
 * @param pMask first pixel of the mask of this frame, one channel; what is 0 is background
 * @param maskStep its row step in bytes; not tested
 * @param pRef first pixel of the background image that is written, with the channels of the frame
 * @param refStep its row step in bytes; not tested
 * @param pState a model of the same number of channels
 *
 * @return In the order of the checks; a failed call changes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a `srcStep` less than a row
 * - #nuvStatusNoMemory (InitAlloc) the model did not fit into memory, or one of its tables passes
 *   2 GB: up to 400 bytes a pixel, 560 in `C3`
 *
 * Runs on the calling thread. A model belongs to one call at a time; Free releases it.
 * @{
 */
NUVCV_API NuvStatus nuviForegroundHistogramInitAlloc_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                            NuviSize roiSize, const void* pModel,
                                                            NuviForegroundHistogramState** ppState);
NUVCV_API NuvStatus nuviForegroundHistogramInitAlloc_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                            NuviSize roiSize, const void* pModel,
                                                            NuviForegroundHistogramState** ppState);
NUVCV_API NuvStatus nuviForegroundHistogram_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviForegroundHistogramState* pState);
NUVCV_API NuvStatus nuviForegroundHistogram_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviForegroundHistogramState* pState);
NUVCV_API NuvStatus nuviForegroundHistogramUpdate_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                         const uint8_t* pMask, int32_t maskStep,
                                                         uint8_t* pRef, int32_t refStep,
                                                         NuviSize roiSize,
                                                         NuviForegroundHistogramState* pState);
NUVCV_API NuvStatus nuviForegroundHistogramUpdate_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                         const uint8_t* pMask, int32_t maskStep,
                                                         uint8_t* pRef, int32_t refStep,
                                                         NuviSize roiSize,
                                                         NuviForegroundHistogramState* pState);
NUVCV_API NuvStatus nuviForegroundHistogramFree_8u_C1R(NuviForegroundHistogramState* pState);
NUVCV_API NuvStatus nuviForegroundHistogramFree_8u_C3R(NuviForegroundHistogramState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

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
 * @param silhouette first pixel of the silhouette; what is not zero is covered
 * @param silhouetteStep its row step in bytes
 * @param history first pixel of the history, changed in place
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
NUVCV_API NuvStatus nuviUpdateMotionHistory_8u32f_C1IR(const uint8_t* silhouette,
                                                       int32_t silhouetteStep, float* history,
                                                       int32_t historyStep, NuviSize roiSize,
                                                       float timestamp, float duration);
NUVCV_API NuvStatus nuviUpdateMotionHistory_16u32f_C1IR(const uint16_t* silhouette,
                                                        int32_t silhouetteStep, float* history,
                                                        int32_t historyStep, NuviSize roiSize,
                                                        float timestamp, float duration);
NUVCV_API NuvStatus nuviUpdateMotionHistory_32f_C1IR(const float* silhouette,
                                                     int32_t silhouetteStep, float* history,
                                                     int32_t historyStep, NuviSize roiSize,
                                                     float timestamp, float duration);
/** @} */

/**
 * @name Gaussian foreground model
 *
 * Tells moving foreground from a learnt background: each pixel has a mixture of five Gaussians that
 * learns from every frame (C. Stauffer and W. E. L. Grimson, "Adaptive background mixture models
 * for real-time tracking", 1999). All arithmetic is in double precision.
 *
 * InitAlloc makes a model from a first frame: one component of weight 1 and variance 12.5 at the
 * pixel, four empty ones of variance 12.5 and mean 0. The variance of `C3` is one for each channel;
 * matching and ordering use their sum. The model's values are fixed: 2.5 deviations for a match, a
 * variance of 900 for a new component, a background share of 0.7, a window of 200 frames.
 *
 * A frame is taken by nuviForegroundGaussian_8u_C1R() or its `C3` form, pixel by pixel:
 * - the first component nearer than 2.5 deviations is the match; an empty one counts, at mean 0;
 * - a mean over the frames so far is learnt into weights and the match, except in the call that is
 *   the two-hundredth of the model's life, which learns with a rate of 1 / 200 and counts no frame;
 * - without a match the last component starts afresh at the pixel, with variance 900;
 * - the components are ordered by weight / deviation, equal ones as they stood;
 * - the background is the mean of the first component, rounded half up; the pixel is background (0)
 *   if the match's place, as it was before the ordering, is among the first components that hold
 *   0.7 of the weight together, and foreground (255) otherwise.
 *
 * @param pSrc first pixel of the frame
 * @param srcStep its row step in bytes
 * @param roiSize the frame in pixels: for a call with a model, what the model was made with (a
 *        smaller one takes the upper left corner of the model)
 * @param pModel not null; not read otherwise
 * @param ppState receives the model; untouched on failure
 * @param pRef first pixel of the background image that is written, with the channels of the frame
 * @param refStep its row step in bytes; not tested
 * @param pDst first pixel of the mask that is written, one channel: 255 or 0
 * @param dstStep its row step in bytes; not tested
 * @param pState a model of the same number of channels; it learns the frame
 *
 * @return In the order of the checks; a failed call changes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a `srcStep` less than a row
 * - #nuvStatusNoMemory (InitAlloc) the model did not fit into memory, or passes 2 GB: 160 bytes a
 *   pixel, 320 in `C3`
 *
 * Runs on the calling thread. A model belongs to one call at a time; Free releases it.
 * @{
 */
/** A Gaussian foreground model. */
typedef struct NuviForegroundGaussianState NuviForegroundGaussianState;

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
/** A histogram foreground model. */
typedef struct NuviForegroundHistogramState NuviForegroundHistogramState;

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

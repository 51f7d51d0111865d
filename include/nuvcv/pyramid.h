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

/**
 * @name Gaussian steps
 *
 * One octave down or up with the binomial kernel 1 4 6 4 1. Method: P. J. Burt and E. H. Adelson,
 * "The Laplacian pyramid as a compact image code", IEEE Transactions on Communications, 1983.
 *
 * Down: result pixel (i, j) is the 5 x 5 kernel (sum 256) around source pixel (2i, 2j); positions
 * outside are reflected around the first and last pixel, which are not repeated. Up: in each
 * direction an even result is s(j-1) + 6 s(j) + s(j+1) and an odd one 4 (s(j) + s(j+1)), over 64
 * for both; position -1 reads 1 (0 where there is no 1), the position behind the last reads the
 * last. `8u` and `8s` sums are exact and rounded once, halves toward plus infinity. `32f` results
 * are sums of fused multiply-adds in a fixed order. Channels of `C3` are filtered each by itself.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result: (width + 1) / 2 by (height + 1) / 2 pixels down, twice
 *        the width by twice the height up
 * @param dstStep its row step in bytes
 * @param roiSize the size of the source in pixels
 * @param pBuffer scratch of the size that the query below reports for this width and channel
 *        count, at any address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of its image
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of floats
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8s_C1R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_8s_C3R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrDown_Gauss5x5_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8s_C1R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_8s_C3R(const int8_t* pSrc, int32_t srcStep, int8_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                               int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviPyrUp_Gauss5x5_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                               int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch of the Gaussian steps
 *
 * 96 * ceil(4 * width * channels / 16) + 64 bytes down, 48 * ceil(8 * width * channels / 16) + 64
 * up, whatever the type.
 *
 * @param roiWidth the width of the source in pixels
 * @param dataType 1 for `8u`, 3 for `8s`, 13 for `32f`
 * @param channels 1 or 3
 * @param pSize receives the bytes of the buffer
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pSize`
 * - #nuvStatusBadSize a width less than 1
 * - #nuvStatusBadChannelCount a count of channels other than 1 and 3
 * - #nuvStatusBadDataType a type other than the three
 * @{
 */
NUVCV_API NuvStatus nuviPyrDownGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType,
                                                   int32_t channels, int32_t* pSize);
NUVCV_API NuvStatus nuviPyrUpGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType,
                                                 int32_t channels, int32_t* pSize);
/** @} */

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

/**
 * @name State of a pyramid layer step down
 *
 * A state serves every layer of a pyramid with one rate. It lists all sizes that `srcSize` comes to
 * going down, and holds the work memory, so that it serves one call at a time. Release it with the
 * Free function of the same element and channels.
 *
 * The kernel is symmetric: the entries behind its centre are taken from those before it. The
 * entries are divided by the sum of the whole kernel. Integers become (entry << 14) / sum,
 * truncated, >> 1: 13 fraction bits. They stay as they are if the sum is 0, in `32f` if its
 * magnitude is at most 1.1754944e-38.
 *
 * @param ppState receives the state
 * @param srcSize size of the largest source in pixels
 * @param rate scale between the layers, above 1.0 and at most 10.0
 * @param pKernel the smoothing kernel of both directions
 * @param kernelSize its entries, odd and at least 3
 * @param mode 2, linear interpolation
 * @param pState a state, to be released
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null result, kernel or state
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadArgument a `mode` other than 2
 * - #nuvStatusBadArgument a rate outside its range, a kernel size below 3 or even
 * - #nuvStatusNoMemory no memory for the state
 * - #nuvStatusKernelAsymmetric a warning: the given kernel was not symmetric; the state is valid
 * @{
 */
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_8u_C1R(NuviPyramidLayerState** ppState,
                                                         NuviSize srcSize, float rate,
                                                         const int16_t* pKernel, int32_t kernelSize,
                                                         int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_8u_C3R(NuviPyramidLayerState** ppState,
                                                         NuviSize srcSize, float rate,
                                                         const int16_t* pKernel, int32_t kernelSize,
                                                         int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_16u_C1R(NuviPyramidLayerState** ppState,
                                                          NuviSize srcSize, float rate,
                                                          const int16_t* pKernel,
                                                          int32_t kernelSize, int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_16u_C3R(NuviPyramidLayerState** ppState,
                                                          NuviSize srcSize, float rate,
                                                          const int16_t* pKernel,
                                                          int32_t kernelSize, int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_32f_C1R(NuviPyramidLayerState** ppState,
                                                          NuviSize srcSize, float rate,
                                                          const float* pKernel, int32_t kernelSize,
                                                          int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownInitAlloc_32f_C3R(NuviPyramidLayerState** ppState,
                                                          NuviSize srcSize, float rate,
                                                          const float* pKernel, int32_t kernelSize,
                                                          int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_8u_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_8u_C3R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_16u_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_16u_C3R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_32f_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDownFree_32f_C3R(NuviPyramidLayerState* pState);
/** @} */

/**
 * @name Pyramid layer down
 *
 * Smooths the source with the kernel of the state in both directions and reads it at the distance
 * of the rate. Channels are independent. Pixels outside the source are its mirror images about the
 * edge pixels, as often as needed. Every shift rounds down, fused() is rounded once.
 *
 * Smoothing, `8u` and `16u`: the sum across is the sum of (pixel * entry) >> 8 over the columns;
 * the work value is (the sum of entry * sum across over the rows, plus 16384) >> 15, which leaves 3
 * fraction bits. It is clamped to 16 signed bits in `8u`, to 32 in `16u`. `32f`: fused sums of
 * entry * pixel, then of entry * sum, from the first tap to the last.
 *
 * Reading, at a rate below or above the window from 1.99998 to 2.00002, both excluded: the result x
 * lies at p = rate * x, in single precision, between the work values at k = trunc(p) and k + 1,
 * with f = p - k:
 *
 *     v = trunc(fused(1 - f, b[k], fused(f, b[k + 1], 0.5)))    8u, 16u
 *     v = fused(1 - f, b[k], f * b[k + 1])                      32f
 *
 * or v = b[k] if there is no k + 1. First all work rows are read so, then their columns. Within the
 * window the result (x, y) is the work value at (2 * x, 2 * y), or at the last column or row if the
 * source ends before that. The pixel is (v + 4) >> 3 clamped to its type, in `32f` v itself.
 *
 * The result has the size that follows the source's in the state's list, where the source is found
 * by its height; among listed sizes of the same height one with its width comes first. For a height
 * that is not listed, it has the size of nuviGetPyramidDownROI().
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param srcSize its size in pixels, not larger than the state's
 * @param pDst first pixel of the result; its memory must not overlap the source
 * @param dstStep its row step in bytes
 * @param dstSize its size in pixels
 * @param pState a state for the same element and channels
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or state
 * - #nuvStatusBadSize a source width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument the state's rate is outside its range
 * - #nuvStatusBadSize another `dstSize` than the source's successor, or a source larger than the
 *   state's
 *
 * Bands of result rows are cut over the threads if the caller itself runs in a parallel region of
 * more than one thread, the source has at least 0x4000 pixels and the kernel's height in rows, plus
 * 2, for each thread of it, and there is more than one core. The result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviPyramidLayerDown_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                                NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDown_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                                NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDown_16u_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                 NuviSize srcSize, uint16_t* pDst, int32_t dstStep,
                                                 NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDown_16u_C3R(const uint16_t* pSrc, int32_t srcStep,
                                                 NuviSize srcSize, uint16_t* pDst, int32_t dstStep,
                                                 NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDown_32f_C1R(const float* pSrc, int32_t srcStep,
                                                 NuviSize srcSize, float* pDst, int32_t dstStep,
                                                 NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerDown_32f_C3R(const float* pSrc, int32_t srcStep,
                                                 NuviSize srcSize, float* pDst, int32_t dstStep,
                                                 NuviSize dstSize, NuviPyramidLayerState* pState);
/** @} */

/**
 * @name State of a pyramid layer step up
 *
 * As the state of a step down, with the same treatment of the kernel, the same checks and statuses.
 * It serves every layer of a pyramid with one rate. `dstSize`, the size of the largest result in
 * pixels, is checked and sets no limit: each step up allocates its own work memory.
 *
 * @param ppState receives the state
 * @param dstSize size of the largest result in pixels
 * @param rate scale between the layers, above 1.0 and at most 10.0
 * @param pKernel the smoothing kernel of both directions
 * @param kernelSize its entries, odd and at least 3
 * @param mode 2, linear interpolation
 * @param pState a state, to be released
 *
 * @return as for a step down, nuviPyramidLayerDownInitAlloc_8u_C1R()
 * @{
 */
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_8u_C1R(NuviPyramidLayerState** ppState,
                                                       NuviSize dstSize, float rate,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_8u_C3R(NuviPyramidLayerState** ppState,
                                                       NuviSize dstSize, float rate,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_16u_C1R(NuviPyramidLayerState** ppState,
                                                        NuviSize dstSize, float rate,
                                                        const int16_t* pKernel, int32_t kernelSize,
                                                        int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_16u_C3R(NuviPyramidLayerState** ppState,
                                                        NuviSize dstSize, float rate,
                                                        const int16_t* pKernel, int32_t kernelSize,
                                                        int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_32f_C1R(NuviPyramidLayerState** ppState,
                                                        NuviSize dstSize, float rate,
                                                        const float* pKernel, int32_t kernelSize,
                                                        int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpInitAlloc_32f_C3R(NuviPyramidLayerState** ppState,
                                                        NuviSize dstSize, float rate,
                                                        const float* pKernel, int32_t kernelSize,
                                                        int32_t mode);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_8u_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_8u_C3R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_16u_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_16u_C3R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_32f_C1R(NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUpFree_32f_C3R(NuviPyramidLayerState* pState);
/** @} */

/**
 * @name Pyramid layer up
 *
 * Spreads the source over a grid stretched by the rate, where pixel i stands at rate * i, and lays
 * the kernel over it: a result is the weighted mean of the source pixels that the kernel centred
 * there meets, the kernel taken linearly between its entries and as 0 beyond them. The weights are
 * corrected to first order so that their centre of gravity lies at the result; at a rate of 2 they
 * need no correction. A result for which the kernel meets fewer than two pixels, or weights that
 * cancel out, is interpolated linearly between its neighbours. So a flat picture stays flat, and
 * away from the borders a slope stays a slope. Channels are independent. Pixels outside the source
 * are its mirror images about the edge pixels, as often as needed.
 *
 * `8u` and `16u`: weights of 15 fraction bits that add up to 1. The sum of weight * pixel across,
 * >> 8, then the sum of weight * sum across over the rows, >> 22, clamped to the pixel's type;
 * shifts round down, sums do not overflow. `32f`: weights in single precision and fused sums, from
 * the first tap to the last, across, then down.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param srcSize its size in pixels
 * @param pDst first pixel of the result; its memory must not overlap the source
 * @param dstStep its row step in bytes
 * @param dstSize its size in pixels, within what nuviGetPyramidUpROI() allows for the source
 * @param pState a state for the same element and channels
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or state
 * - #nuvStatusBadSize a source width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument the state's rate is outside its range
 * - #nuvStatusBadSize a `dstSize` outside its range
 * - #nuvStatusNoMemory no memory for the work
 *
 * One thread.
 * @{
 */
NUVCV_API NuvStatus nuviPyramidLayerUp_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                              NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                              NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUp_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                              NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                              NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUp_16u_C1R(const uint16_t* pSrc, int32_t srcStep,
                                               NuviSize srcSize, uint16_t* pDst, int32_t dstStep,
                                               NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUp_16u_C3R(const uint16_t* pSrc, int32_t srcStep,
                                               NuviSize srcSize, uint16_t* pDst, int32_t dstStep,
                                               NuviSize dstSize, NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUp_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize srcSize,
                                               float* pDst, int32_t dstStep, NuviSize dstSize,
                                               NuviPyramidLayerState* pState);
NUVCV_API NuvStatus nuviPyramidLayerUp_32f_C3R(const float* pSrc, int32_t srcStep, NuviSize srcSize,
                                               float* pDst, int32_t dstStep, NuviSize dstSize,
                                               NuviPyramidLayerState* pState);
/** @} */

/**
 * @name Sub-pixel copy
 *
 * A rectangle sampled at a fractional offset by bilinear interpolation. With the fractions fx and
 * fy of the offset, a pixel is w00 p00 + w10 p10 + w01 p01 + w11 p11, where p00 is the source pixel
 * at the same position, p10 the one to its right, p01 the one below, and the weights are about
 * (1-fx)(1-fy), fx(1-fy), (1-fx)fy and fx fy. Only the fraction of `dx` and `dy` counts: the caller
 * moves `pSrc` to the whole part. The fraction of a negative offset is 1 plus that fraction.
 *
 * `8u` and `8u16u` compute in fixed point with weights of 14 fraction bits; each weight is rounded
 * up and the excess taken from the largest, so that even an offset of 0 mixes in a trace of the
 * neighbours and a result stays within one of the exact one. The sum is shifted right by 14, in
 * `Sfs` forms by 14 + `scaleFactor` (both shifts taken modulo 32), rounded half up, and its low
 * bits are stored. The other forms compute in float with unfused sums (w00 p00 + w10 p10) +
 * (w01 p01 + w11 p11); `8u32f` raises fx to at least 1e-6 and fy to at least 1e-9, `32f` both to
 * at least 1e-6. From the second row on, nuviCopySubpix_8u32f_C1R(), and nuviCopySubpix_32f_C1R()
 * with width and height up to 64, take for the upper two pixels the sum over the lower two in the
 * row above times (1-fy)/fy, which shows in the last bits. `16u` rounds to nearest, ties to even.
 *
 * @param pSrc first pixel of the source; `roiSize.width` + 1 by `roiSize.height` + 1 pixels are
 *        read
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param roiSize the size of the result in pixels
 * @param dx the offset to the right, in pixels
 * @param dy the offset down, in pixels
 * @param scaleFactor the result is divided by 2 to this power; -2 keeps two fraction bits
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of `roiSize.width` pixels
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of 16-bit or float elements
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviCopySubpix_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep,
                                                 uint16_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 float dx, float dy, int32_t scaleFactor);
NUVCV_API NuvStatus nuviCopySubpix_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                             int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst,
                                           int32_t dstStep, NuviSize roiSize, float dx, float dy);
NUVCV_API NuvStatus nuviCopySubpix_16u32f_C1R(const uint16_t* pSrc, int32_t srcStep, float* pDst,
                                              int32_t dstStep, NuviSize roiSize, float dx,
                                              float dy);
NUVCV_API NuvStatus nuviCopySubpix_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                           int32_t dstStep, NuviSize roiSize, float dx, float dy);
/** @} */

/**
 * @name Sub-pixel copy across the edge
 *
 * A rectangle centred on `point`, which may reach out of the source or lie outside it. Its first
 * pixel stands at x0 = point.x - (dstSize.width - 1) / 2, likewise y0; the floors of x0 and y0 are
 * the whole offset, the fractions weigh as in the sub-pixel copy (with its lower limits, without
 * its pairing of rows). Pixels whose four neighbours are all inside are interpolated between them;
 * they fill the rectangle from `pMinPoint` to `pMaxPoint`, both included. To the left and right of
 * it the edge column is interpolated vertically, above and below it the edge row horizontally.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param srcSize its size in pixels
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param dstSize its size in pixels
 * @param point the centre, in pixels of the source
 * @param pMinPoint receives the first column and row that come from inside; the width (height) of
 *        the result if it lies wholly to the left (above)
 * @param pMaxPoint receives the last such column and row; before `pMinPoint` where there is none.
 *        To the right of the source or below it, the two are 0 and -1
 * @param scaleFactor as in the sub-pixel copy
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or point
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of its image
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of 16-bit or float elements
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   NuviSize srcSize, uint8_t* pDst, int32_t dstStep,
                                                   NuviSize dstSize, NuviPoint32f point,
                                                   NuviPoint* pMinPoint, NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep,
                                                          NuviSize srcSize, uint16_t* pDst,
                                                          int32_t dstStep, NuviSize dstSize,
                                                          NuviPoint32f point, NuviPoint* pMinPoint,
                                                          NuviPoint* pMaxPoint,
                                                          int32_t scaleFactor);
NUVCV_API NuvStatus nuviCopySubpixIntersect_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                      NuviSize srcSize, float* pDst,
                                                      int32_t dstStep, NuviSize dstSize,
                                                      NuviPoint32f point, NuviPoint* pMinPoint,
                                                      NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_16u_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                    NuviSize srcSize, uint16_t* pDst,
                                                    int32_t dstStep, NuviSize dstSize,
                                                    NuviPoint32f point, NuviPoint* pMinPoint,
                                                    NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_16u32f_C1R(const uint16_t* pSrc, int32_t srcStep,
                                                       NuviSize srcSize, float* pDst,
                                                       int32_t dstStep, NuviSize dstSize,
                                                       NuviPoint32f point, NuviPoint* pMinPoint,
                                                       NuviPoint* pMaxPoint);
NUVCV_API NuvStatus nuviCopySubpixIntersect_32f_C1R(const float* pSrc, int32_t srcStep,
                                                    NuviSize srcSize, float* pDst, int32_t dstStep,
                                                    NuviSize dstSize, NuviPoint32f point,
                                                    NuviPoint* pMinPoint, NuviPoint* pMaxPoint);
/** @} */

/**
 * @name Pyramidal Lucas-Kanade flow
 *
 * Follows points from one image to another on square windows, from the coarsest level of two
 * pyramids down to the base (B. D. Lucas and T. Kanade, "An iterative image registration
 * technique", 1981; J.-Y. Bouguet, "Pyramidal implementation of the Lucas Kanade feature tracker",
 * 2000). On each level a point takes steps by the normal equations of its window until a step is
 * shorter than `threshold`, undoes the one before it (then half of it is kept), or `maxIter` steps
 * are taken. Pixels outside an image are left out of the window.
 *
 * A point is lost where nothing of its window lies in both images, or the equations have no
 * solution (a flat window), or a level has no image or a step that does not fit its row. `8u`
 * windows have 7 fraction bits; `16u` and `32f` windows are floats.
 * Levels of at most the state's size get derivatives of the whole image, larger ones derivatives of
 * each window.
 *
 * @param ppState receives the state; untouched on failure
 * @param roiSize the largest level that gets derivatives of the whole image, in pixels
 * @param winSize side of the window in pixels, at least 1; for a run that of its state
 * @param hint any value; kept and not used
 * @param pState a state of the pixel type; it serves one run at a time
 * @param pPyr1 the pyramid of the first image, which also tells the sizes and rates of both
 * @param pPyr2 the pyramid of the second image
 * @param pPrevPoints `numPoints` points of the first image, in pixels of the base
 * @param pNextPoints their first estimates in the second image, often the same points; they become
 *        the results. A point lost otherwise than to an empty overlap keeps the result of the last
 *        level before that had derivatives of the whole image, or else its first estimate.
 * @param pStatus for each point 0, or the number of the level at which it was lost plus 1;
 *        `maxLevel` + 1 also for all points if the pyramid has no such level
 * @param pError for each point the root of the mean squared difference of both windows in grey
 *        levels, 0 for a lost one
 * @param numPoints the number of points, at least 1
 * @param maxLevel the level to begin with, 0 for the base alone; the pyramids have it
 * @param maxIter the most steps on a level, at least 1
 * @param threshold the length of a step that ends a level, in pixels of the level, at least 0
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null argument
 * - #nuvStatusBadSize (InitAlloc) a window, width or height less than 1
 * - #nuvStatusNoMemory (InitAlloc) the state did not fit into memory
 * - #nuvStatusBadSize less than one point, then a window other than the state's
 * - #nuvStatusBadArgument a negative `maxLevel`, no iterations, or a negative threshold
 *
 * Spreads the points over as many threads as the state was made with, at most; the results do not
 * depend on their number.
 * @{
 */
NUVCV_API NuvStatus nuviOpticalFlowPyrLKInitAlloc_8u_C1R(NuviOptFlowPyrLKState** ppState,
                                                         NuviSize roiSize, int32_t winSize,
                                                         int32_t hint);
NUVCV_API NuvStatus nuviOpticalFlowPyrLKInitAlloc_16u_C1R(NuviOptFlowPyrLKState** ppState,
                                                          NuviSize roiSize, int32_t winSize,
                                                          int32_t hint);
NUVCV_API NuvStatus nuviOpticalFlowPyrLKInitAlloc_32f_C1R(NuviOptFlowPyrLKState** ppState,
                                                          NuviSize roiSize, int32_t winSize,
                                                          int32_t hint);
NUVCV_API NuvStatus nuviOpticalFlowPyrLK_8u_C1R(const NuviPyramid* pPyr1, const NuviPyramid* pPyr2,
                                                const NuviPoint32f* pPrevPoints,
                                                NuviPoint32f* pNextPoints, uint8_t* pStatus,
                                                float* pError, int32_t numPoints, int32_t winSize,
                                                int32_t maxLevel, int32_t maxIter, float threshold,
                                                NuviOptFlowPyrLKState* pState);
NUVCV_API NuvStatus nuviOpticalFlowPyrLK_16u_C1R(const NuviPyramid* pPyr1, const NuviPyramid* pPyr2,
                                                 const NuviPoint32f* pPrevPoints,
                                                 NuviPoint32f* pNextPoints, uint8_t* pStatus,
                                                 float* pError, int32_t numPoints, int32_t winSize,
                                                 int32_t maxLevel, int32_t maxIter, float threshold,
                                                 NuviOptFlowPyrLKState* pState);
NUVCV_API NuvStatus nuviOpticalFlowPyrLK_32f_C1R(const NuviPyramid* pPyr1, const NuviPyramid* pPyr2,
                                                 const NuviPoint32f* pPrevPoints,
                                                 NuviPoint32f* pNextPoints, uint8_t* pStatus,
                                                 float* pError, int32_t numPoints, int32_t winSize,
                                                 int32_t maxLevel, int32_t maxIter, float threshold,
                                                 NuviOptFlowPyrLKState* pState);
NUVCV_API NuvStatus nuviOpticalFlowPyrLKFree_8u_C1R(NuviOptFlowPyrLKState* pState);
NUVCV_API NuvStatus nuviOpticalFlowPyrLKFree_16u_C1R(NuviOptFlowPyrLKState* pState);
NUVCV_API NuvStatus nuviOpticalFlowPyrLKFree_32f_C1R(NuviOptFlowPyrLKState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

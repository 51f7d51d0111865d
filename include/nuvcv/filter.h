/**
 * @file
 * Linear filters: the row and column stages of separable filters, ready-made derivative and
 * smoothing filters with a border, and Gaussian smoothing.
 *
 * Kernels are never mirrored: coefficient j multiplies the pixel at offset j minus the anchor, a
 * correlation. Each channel of a `C3R` image is filtered by itself.
 *
 * Borders. The plain kinds of ::NuviBorderType tell what stands at the positions left and right of
 * a row of w pixels:
 * - #nuvBorderConstant a value that the call supplies
 * - #nuvBorderReplicate the nearest edge pixel
 * - #nuvBorderWrap position i modulo w
 * - #nuvBorderMirror a reflection about the edge pixel: -1 reads 1, w reads w - 2
 * - #nuvBorderMirrorRepeat a reflection with the edge pixel repeated: -1 reads 0, w reads w - 1
 *
 * Reflections and repetitions go on as far as the kernel reaches, also where it is wider than the
 * row. In a row of one pixel every kind but the constant one reads that pixel.
 */
#ifndef NUVCV_FILTER_H
#define NUVCV_FILTER_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Row stage of a separable filter
 *
 * Filters each image row with a kernel of one dimension and writes into rows that the caller names
 * one by one: dst[y][x] is the sum over j of pKernel[j] times the pixel at x + j - xAnchor of row
 * y, divided by `divisor`. The columns from `xAnchor` up to width - (kernelSize - 1 - xAnchor) are
 * the interior, where the kernel stays inside the row; all others are edge columns.
 *
 * inv is the float quotient 1 / divisor. Every conversion below that saturates goes to 16 bits
 * signed.
 * - `16s` interior, 3 or 5 taps whose magnitudes add up to less than 65535: the exact sum,
 *   converted to float, times inv, rounded to nearest even, saturated.
 * - `16s` interior, 3 or 5 taps of more: the coefficients times inv and the sum in float, the outer
 *   pairs first; with equal outer coefficients their pixels are added first. Clamped, rounded to
 *   nearest even. Other lengths with a coefficient -32768 likewise, in ascending order.
 * - `16s` interior, other lengths: four taps at a time in ascending order are summed exactly,
 *   converted to float and added to a float sum, the taps that are left one by one; times inv,
 *   rounded to nearest even, saturated.
 * - `16s` edge: products and sums in float in ascending order, times inv, clamped and **truncated
 *   toward zero**. With 3 taps instead the fused sum of the last two products, times inv, fused
 * onto the first pixel times inv times its coefficient.
 * - `8u16s` interior: the sum in 32 bits, converted to float, times inv, rounded to nearest even,
 *   saturated. Edge: clamped and **truncated toward zero**.
 * - `Low_16s` interior: the sum modulo 2^16; with a divisor other than 1 times m = trunc(16384 /
 *   divisor), shifted right by 14 with its sign, saturated. Edge: the low 16 bits of the sum in 32
 *   bits; with a divisor other than 1 times m, shifted right by 14. Only right while the true sum
 *   fits 16 bits, which is the caller's duty; a divisor of magnitude above 16384 gives 0.
 * - `32f`: the sum in float in ascending order, fused in the interior, with separate products and
 *   sums in the edge columns.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param ppDst roiSize.height pointers to the result rows; they need not be equally spaced
 * @param roiSize the region in pixels
 * @param pKernel the coefficients
 * @param kernelSize their number, at least 1
 * @param xAnchor the coefficient that falls on the result pixel, 0 to kernelSize - 1
 * @param borderType one of the plain kinds, without flags
 * @param borderValue the pixel of #nuvBorderConstant; a pointer to three values for `C3R`, read
 *        under that kind only
 * @param divisor not 0; absent in `32f`
 * @param pBuffer scratch of the size that the size function of the same form reports, at any
 *        address
 *
 * @return In the order of the checks; a failed call writes nothing, but for the last:
 * - #nuvStatusNullPointer a null `pSrc`, `ppDst`, `pKernel` or `pBuffer`
 * - #nuvStatusBadSize a height, width or `kernelSize` less than 1
 * - #nuvStatusBadAnchor `xAnchor` outside 0..kernelSize - 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16s`, `Low_16s`, `32f`: a step that is no whole number of
 *   elements
 * - #nuvStatusBadArgument another border kind, then a divisor of zero
 * - #nuvStatusNullPointer a null result row, met during the run: the rows before the first one are
 *   written, and none behind it
 *
 * Rows are cut over the threads where width times height is at least 32768 for each thread; in
 * `16s_C1R` for more than 3 taps only, in `32f_C1R` with 3 or 5 taps only on more than one core.
 * The result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_16s_C1R(const int16_t* pSrc, int32_t srcStep,
                                                        int16_t* const* ppDst, NuviSize roiSize,
                                                        const int16_t* pKernel, int32_t kernelSize,
                                                        int32_t xAnchor, NuviBorderType borderType,
                                                        int16_t borderValue, int32_t divisor,
                                                        uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_16s_C3R(const int16_t* pSrc, int32_t srcStep,
                                                        int16_t* const* ppDst, NuviSize roiSize,
                                                        const int16_t* pKernel, int32_t kernelSize,
                                                        int32_t xAnchor, NuviBorderType borderType,
                                                        const int16_t* borderValue, int32_t divisor,
                                                        uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_8u16s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int16_t* const* ppDst, NuviSize roiSize,
    const int16_t* pKernel, int32_t kernelSize, int32_t xAnchor, NuviBorderType borderType,
    uint8_t borderValue, int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_8u16s_C3R(
    const uint8_t* pSrc, int32_t srcStep, int16_t* const* ppDst, NuviSize roiSize,
    const int16_t* pKernel, int32_t kernelSize, int32_t xAnchor, NuviBorderType borderType,
    const uint8_t* borderValue, int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_Low_16s_C1R(
    const int16_t* pSrc, int32_t srcStep, int16_t* const* ppDst, NuviSize roiSize,
    const int16_t* pKernel, int32_t kernelSize, int32_t xAnchor, NuviBorderType borderType,
    int16_t borderValue, int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_Low_16s_C3R(
    const int16_t* pSrc, int32_t srcStep, int16_t* const* ppDst, NuviSize roiSize,
    const int16_t* pKernel, int32_t kernelSize, int32_t xAnchor, NuviBorderType borderType,
    const int16_t* borderValue, int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_32f_C1R(const float* pSrc, int32_t srcStep,
                                                        float* const* ppDst, NuviSize roiSize,
                                                        const float* pKernel, int32_t kernelSize,
                                                        int32_t xAnchor, NuviBorderType borderType,
                                                        float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterRowBorderPipeline_32f_C3R(const float* pSrc, int32_t srcStep,
                                                        float* const* ppDst, NuviSize roiSize,
                                                        const float* pKernel, int32_t kernelSize,
                                                        int32_t xAnchor, NuviBorderType borderType,
                                                        const float* borderValue, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch size of a row stage
 *
 * Writes the number of bytes that the row stage of the same form needs.
 *
 * @param roiSize the region in pixels
 * @param kernelSize number of coefficients
 * @param pBufferSize receives the size; it grows with the configured number of threads
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width, height or `kernelSize` less than 1
 * @{
 */
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_16s_C1R(NuviSize roiSize,
                                                                     int32_t kernelSize,
                                                                     int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_16s_C3R(NuviSize roiSize,
                                                                     int32_t kernelSize,
                                                                     int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                       int32_t kernelSize,
                                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_8u16s_C3R(NuviSize roiSize,
                                                                       int32_t kernelSize,
                                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_Low_16s_C1R(NuviSize roiSize,
                                                                         int32_t kernelSize,
                                                                         int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_Low_16s_C3R(NuviSize roiSize,
                                                                         int32_t kernelSize,
                                                                         int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_32f_C1R(NuviSize roiSize,
                                                                     int32_t kernelSize,
                                                                     int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterRowBorderPipelineGetBufferSize_32f_C3R(NuviSize roiSize,
                                                                     int32_t kernelSize,
                                                                     int32_t* pBufferSize);
/** @} */

/**
 * @name Column stage of a separable filter
 *
 * Filters the columns of rows that the caller names one by one and writes an image: dst[y][x] is
 * the sum over j of pKernel[j] * ppSrc[y + j][x], divided by `divisor`. It makes up no rows: a
 * border above or below is a matter of the pointers that the caller hands in. A `C3R` row is a row
 * of three times the width.
 *
 * The integer forms handle a row's samples in whole blocks and treat the rest of the row, its tail,
 * another way. Blocks have 4 samples with 3 or 5 taps and 16 with any other number; in `Low_16s` 8
 * and 16. inv is the float quotient 1 / divisor.
 * - `16s`, `16s8u`, `16s8s` blocks: K[j] = inv * pKernel[j] in float. With 3 and 5 taps the middle
 *   product is rounded and the outer pairs are fused onto it, the outermost first; where both
 *   coefficients of a pair are equal, its samples are added before they multiply. Other lengths:
 *   the first product is rounded and the others are fused onto it in ascending order. Rounded to
 *   nearest even and saturated, the 8-bit forms by way of 16 bits.
 * - their tails: the exact sum, converted to float, times inv, clamped and **truncated toward
 *   zero**.
 * - `Low_16s` blocks: as the interior of the row stage; tails: as its edge columns.
 * - `32f`: every sample alike. With 3 taps the middle product is rounded, other lengths begin with
 *   the first one; the others are fused onto it in ascending order.
 *
 * @param ppSrc roiSize.height + kernelSize - 1 pointers to the source rows; they need not be
 * equally spaced, and may repeat
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param roiSize the region of the result in pixels
 * @param pKernel the coefficients
 * @param kernelSize their number, at least 1
 * @param divisor not 0; absent in `32f`
 * @param pBuffer scratch of the size that the size function of the same form reports, at any
 *        address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `ppSrc`, `pDst` or `pKernel`
 * - #nuvStatusBadSize a height, width or `kernelSize` less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16s`, `Low_16s`, `32f`: a step that is no whole number of
 *   elements
 * - #nuvStatusNullPointer a null `pBuffer`
 * - #nuvStatusBadArgument a divisor of zero
 * - #nuvStatusNullPointer a null source row
 *
 * Rows are cut over the threads where width times height is at least 32768 for each thread; with 3
 * or 5 taps only on more than one core, and never in `32f`. The result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s_C1R(const int16_t* const* ppSrc, int16_t* pDst,
                                                     int32_t dstStep, NuviSize roiSize,
                                                     const int16_t* pKernel, int32_t kernelSize,
                                                     int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s_C3R(const int16_t* const* ppSrc, int16_t* pDst,
                                                     int32_t dstStep, NuviSize roiSize,
                                                     const int16_t* pKernel, int32_t kernelSize,
                                                     int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s8u_C1R(const int16_t* const* ppSrc, uint8_t* pDst,
                                                       int32_t dstStep, NuviSize roiSize,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s8u_C3R(const int16_t* const* ppSrc, uint8_t* pDst,
                                                       int32_t dstStep, NuviSize roiSize,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s8s_C1R(const int16_t* const* ppSrc, int8_t* pDst,
                                                       int32_t dstStep, NuviSize roiSize,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_16s8s_C3R(const int16_t* const* ppSrc, int8_t* pDst,
                                                       int32_t dstStep, NuviSize roiSize,
                                                       const int16_t* pKernel, int32_t kernelSize,
                                                       int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_Low_16s_C1R(const int16_t* const* ppSrc, int16_t* pDst,
                                                         int32_t dstStep, NuviSize roiSize,
                                                         const int16_t* pKernel, int32_t kernelSize,
                                                         int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_Low_16s_C3R(const int16_t* const* ppSrc, int16_t* pDst,
                                                         int32_t dstStep, NuviSize roiSize,
                                                         const int16_t* pKernel, int32_t kernelSize,
                                                         int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_32f_C1R(const float* const* ppSrc, float* pDst,
                                                     int32_t dstStep, NuviSize roiSize,
                                                     const float* pKernel, int32_t kernelSize,
                                                     uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterColumnPipeline_32f_C3R(const float* const* ppSrc, float* pDst,
                                                     int32_t dstStep, NuviSize roiSize,
                                                     const float* pKernel, int32_t kernelSize,
                                                     uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch size of a column stage
 *
 * Writes the number of bytes that the column stage of the same form needs.
 *
 * @param roiSize the region of the result in pixels
 * @param kernelSize number of coefficients
 * @param pBufferSize receives the size; it grows with the configured number of threads, except in
 *        `32f`, where it is 32 bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width, height or `kernelSize` less than 1
 * @{
 */
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s_C1R(NuviSize roiSize,
                                                                  int32_t kernelSize,
                                                                  int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s_C3R(NuviSize roiSize,
                                                                  int32_t kernelSize,
                                                                  int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s8u_C1R(NuviSize roiSize,
                                                                    int32_t kernelSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s8u_C3R(NuviSize roiSize,
                                                                    int32_t kernelSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s8s_C1R(NuviSize roiSize,
                                                                    int32_t kernelSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_16s8s_C3R(NuviSize roiSize,
                                                                    int32_t kernelSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_Low_16s_C1R(NuviSize roiSize,
                                                                      int32_t kernelSize,
                                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_Low_16s_C3R(NuviSize roiSize,
                                                                      int32_t kernelSize,
                                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_32f_C1R(NuviSize roiSize,
                                                                  int32_t kernelSize,
                                                                  int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterColumnPipelineGetBufferSize_32f_C3R(NuviSize roiSize,
                                                                  int32_t kernelSize,
                                                                  int32_t* pBufferSize);
/** @} */

/**
 * @name Derivative and smoothing filters with a border
 *
 * Filter a region with a fixed mask of 3x3 or 5x5. The result at a pixel is the sum over the mask
 * of rowShape[i] * columnShape[j] * pixel(x + i - c, y + j - c), c half the mask size; no mask is
 * mirrored.
 *
 * | filter           | 3x3: row, column  | 5x5: row, column           | meaning              |
 * |------------------|-------------------|----------------------------|----------------------|
 * | SobelHoriz       | 1 2 1, -1 0 1     | 1 4 6 4 1, -1 -2 0 2 1     | below minus above    |
 * | SobelVert        | 1 0 -1, 1 2 1     | 1 2 0 -2 -1, 1 4 6 4 1     | left minus right     |
 * | SobelNegVert     | SobelVert negated | SobelVert negated          | right minus left     |
 * | SobelHorizSecond | 1 2 1, 1 -2 1     | 1 4 6 4 1, 1 0 -2 0 1      | second, along y      |
 * | SobelVertSecond  | 1 -2 1, 1 2 1     | 1 0 -2 0 1, 1 4 6 4 1      | second, along x      |
 * | SobelCross       | 1 0 -1, -1 0 1    | 1 2 0 -2 -1, -1 -2 0 2 1   | mixed                |
 * | ScharrHoriz      | 3 10 3, -1 0 1    | none                       | below minus above    |
 * | ScharrVert       | -1 0 1, 3 10 3    | none                       | **right minus left** |
 * | Lowpass          | 1 1 1, 1 1 1      | 1 1 1 1 1, 1 1 1 1 1       | mean                 |
 *
 * Laplacian is 2 0 2 / 0 -8 0 / 2 0 2 for 3x3, and the sum of SobelHorizSecond and SobelVertSecond
 * for 5x5.
 *
 * The pixels around the region follow the border model. The four flags, alone or together, tell
 * sides where they are read from memory; #nuvBorderInMemory tells all four. A row above or below
 * that #nuvBorderConstant makes up is constant in its corners too.
 *
 * - `8u16s`: the exact sum.
 * - `8u8s`: the sum in float times the float 1 / divisor, saturated; rounded to nearest even in
 *   whole blocks of 8 columns, **truncated toward zero** in the columns behind the last of them.
 * - `32f`: single precision throughout. Rows p first, with products and sums each rounded, in
 *   ascending order; but (p(1) + p(-1)) + (p(0) + p(0)) for 1 2 1 and
 *   3 * (p(-1) + p(1)) + 10 * p(0) for 3 10 3. Then columns of these sums r(0), r(1), ...: every
 *   product is fused onto the sum before it, the first one is rounded, in ascending order; but
 *   1 2 1 and 1 -2 1 begin with r(0) + r(2), 1 0 -2 0 1 with r(0) + r(4), 1 4 6 4 1 with r(0) +
 *   r(4), onto which 4 * (r(1) + r(3)) and 6 * r(2) are fused. SobelNegVert subtracts from 0.
 *   Laplacian 3x3 is 2 * (a(y - 1) + a(y + 1)) - 8 * p(0), a = p(-1) + p(1), each step rounded;
 *   5x5 adds the sums of its two filters.
 * - Lowpass `8u`: ((sum + 5) * 7280) >> 16 for 3x3, (sum * 2621) >> 16 for 5x5, so a flat area of
 *   255 stays 255 and becomes 254. Lowpass `32f`: with c the float nearest 1/9 or 1/25, r(1) * c is
 *   fused onto (r(0) + r(2)) * c for 3x3, ((r(0) + r(4)) + r(2)) * c onto (r(1) + r(3)) * c for
 *   5x5.
 *
 * After I. Sobel and G. Feldman, "A 3x3 Isotropic Gradient Operator for Image Processing", 1968;
 * H. Scharr, "Optimale Operatoren in der Digitalen Bildverarbeitung", 2000.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result; no source
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param maskSize #nuvMask3x3 or #nuvMask5x5
 * @param borderType a plain border kind or #nuvBorderInMemory, with any of the four flags; bits
 *        above them are ignored beside a flag
 * @param borderValue the pixel of #nuvBorderConstant
 * @param divisor what `8u8s` sums are divided by, not 0
 * @param pBuffer scratch of the size that the size function of the same form reports, at any
 *        address
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of elements
 * - #nuvStatusBadArgument another border kind, or bits above it without one of the four flags
 * - #nuvStatusBadArgument a divisor of zero
 * - #nuvStatusBadMask another mask size
 *
 * Rows are cut over the threads, at least 128 for each, from 256 rows of 256 pixels on if there are
 * 5 rows for each thread and more than one core. The result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviFilterSobelHorizBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                         int16_t* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviMaskSize maskSize,
                                                         NuviBorderType borderType,
                                                         uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelHorizBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        int8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviMaskSize maskSize,
                                                        NuviBorderType borderType,
                                                        uint8_t borderValue, int32_t divisor,
                                                        uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelHorizBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                       float* pDst, int32_t dstStep,
                                                       NuviSize roiSize, NuviMaskSize maskSize,
                                                       NuviBorderType borderType, float borderValue,
                                                       uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        int16_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviMaskSize maskSize,
                                                        NuviBorderType borderType,
                                                        uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                       int8_t* pDst, int32_t dstStep,
                                                       NuviSize roiSize, NuviMaskSize maskSize,
                                                       NuviBorderType borderType,
                                                       uint8_t borderValue, int32_t divisor,
                                                       uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, NuviMaskSize maskSize,
                                                      NuviBorderType borderType, float borderValue,
                                                      uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelNegVertBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                           int16_t* pDst, int32_t dstStep,
                                                           NuviSize roiSize, NuviMaskSize maskSize,
                                                           NuviBorderType borderType,
                                                           uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelNegVertBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                          int8_t* pDst, int32_t dstStep,
                                                          NuviSize roiSize, NuviMaskSize maskSize,
                                                          NuviBorderType borderType,
                                                          uint8_t borderValue, int32_t divisor,
                                                          uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelNegVertBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviMaskSize maskSize,
                                                         NuviBorderType borderType,
                                                         float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondBorder_8u16s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int16_t* pDst, int32_t dstStep, NuviSize roiSize,
    NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondBorder_8u8s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int8_t* pDst, int32_t dstStep, NuviSize roiSize,
    NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, int32_t divisor,
    uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondBorder_32f_C1R(
    const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep, NuviSize roiSize,
    NuviMaskSize maskSize, NuviBorderType borderType, float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertSecondBorder_8u16s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int16_t* pDst, int32_t dstStep, NuviSize roiSize,
    NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertSecondBorder_8u8s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int8_t* pDst, int32_t dstStep, NuviSize roiSize,
    NuviMaskSize maskSize, NuviBorderType borderType, uint8_t borderValue, int32_t divisor,
    uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelVertSecondBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                            float* pDst, int32_t dstStep,
                                                            NuviSize roiSize, NuviMaskSize maskSize,
                                                            NuviBorderType borderType,
                                                            float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelCrossBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                         int16_t* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviMaskSize maskSize,
                                                         NuviBorderType borderType,
                                                         uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelCrossBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        int8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviMaskSize maskSize,
                                                        NuviBorderType borderType,
                                                        uint8_t borderValue, int32_t divisor,
                                                        uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterSobelCrossBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                       float* pDst, int32_t dstStep,
                                                       NuviSize roiSize, NuviMaskSize maskSize,
                                                       NuviBorderType borderType, float borderValue,
                                                       uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrHorizBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                          int16_t* pDst, int32_t dstStep,
                                                          NuviSize roiSize,
                                                          NuviBorderType borderType,
                                                          uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrHorizBorder_8u8s_C1R(
    const uint8_t* pSrc, int32_t srcStep, int8_t* pDst, int32_t dstStep, NuviSize roiSize,
    NuviBorderType borderType, uint8_t borderValue, int32_t divisor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrHorizBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                        float* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviBorderType borderType,
                                                        float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrVertBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                         int16_t* pDst, int32_t dstStep,
                                                         NuviSize roiSize,
                                                         NuviBorderType borderType,
                                                         uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrVertBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        int8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviBorderType borderType,
                                                        uint8_t borderValue, int32_t divisor,
                                                        uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterScharrVertBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                       float* pDst, int32_t dstStep,
                                                       NuviSize roiSize, NuviBorderType borderType,
                                                       float borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterLaplacianBorder_8u16s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        int16_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviMaskSize maskSize,
                                                        NuviBorderType borderType,
                                                        uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterLaplacianBorder_8u8s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                       int8_t* pDst, int32_t dstStep,
                                                       NuviSize roiSize, NuviMaskSize maskSize,
                                                       NuviBorderType borderType,
                                                       uint8_t borderValue, int32_t divisor,
                                                       uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterLaplacianBorder_32f_C1R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, NuviMaskSize maskSize,
                                                      NuviBorderType borderType, float borderValue,
                                                      uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterLowpassBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviMaskSize maskSize, NuviBorderType borderType,
                                                   uint8_t borderValue, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterLowpassBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviMaskSize maskSize,
                                                    NuviBorderType borderType, float borderValue,
                                                    uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch size of a filter with a border
 *
 * Writes the number of bytes that the filter of the same form needs.
 *
 * @param roiSize the region in pixels
 * @param maskSize #nuvMask3x3 or #nuvMask5x5
 * @param pBufferSize receives the size; it grows with the configured number of threads
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pBufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadMask another mask size
 * @{
 */
NUVCV_API NuvStatus nuviFilterSobelHorizGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                NuviMaskSize maskSize,
                                                                int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelHorizGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                               NuviMaskSize maskSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelHorizGetBufferSize_32f_C1R(NuviSize roiSize,
                                                              NuviMaskSize maskSize,
                                                              int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                               NuviMaskSize maskSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                              NuviMaskSize maskSize,
                                                              int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertGetBufferSize_32f_C1R(NuviSize roiSize,
                                                             NuviMaskSize maskSize,
                                                             int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelNegVertGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                  NuviMaskSize maskSize,
                                                                  int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelNegVertGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                                 NuviMaskSize maskSize,
                                                                 int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelNegVertGetBufferSize_32f_C1R(NuviSize roiSize,
                                                                NuviMaskSize maskSize,
                                                                int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                      NuviMaskSize maskSize,
                                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                                     NuviMaskSize maskSize,
                                                                     int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelHorizSecondGetBufferSize_32f_C1R(NuviSize roiSize,
                                                                    NuviMaskSize maskSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertSecondGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                     NuviMaskSize maskSize,
                                                                     int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertSecondGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                                    NuviMaskSize maskSize,
                                                                    int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelVertSecondGetBufferSize_32f_C1R(NuviSize roiSize,
                                                                   NuviMaskSize maskSize,
                                                                   int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelCrossGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                NuviMaskSize maskSize,
                                                                int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelCrossGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                               NuviMaskSize maskSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterSobelCrossGetBufferSize_32f_C1R(NuviSize roiSize,
                                                              NuviMaskSize maskSize,
                                                              int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrHorizGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                 int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrHorizGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                                int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrHorizGetBufferSize_32f_C1R(NuviSize roiSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrVertGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                                int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrVertGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterScharrVertGetBufferSize_32f_C1R(NuviSize roiSize,
                                                              int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterLaplacianGetBufferSize_8u16s_C1R(NuviSize roiSize,
                                                               NuviMaskSize maskSize,
                                                               int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterLaplacianGetBufferSize_8u8s_C1R(NuviSize roiSize,
                                                              NuviMaskSize maskSize,
                                                              int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterLaplacianGetBufferSize_32f_C1R(NuviSize roiSize,
                                                             NuviMaskSize maskSize,
                                                             int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterLowpassGetBufferSize_8u_C1R(NuviSize roiSize, NuviMaskSize maskSize,
                                                          int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterLowpassGetBufferSize_32f_C1R(NuviSize roiSize, NuviMaskSize maskSize,
                                                           int32_t* pBufferSize);
/** @} */

/**
 * @name Gaussian filter with a border
 *
 * Smooths a `32f` picture with the weights exp(-t * t / (2 * sigma * sigma)), t the distance from
 * the middle tap, divided by their sum. The weights are formed in single precision, but for the
 * exponential in double; rows are filtered by nuviFilterRowBorderPipeline_32f_C1R(), columns by
 * nuviFilterColumnPipeline_32f_C1R(). The rows above and below follow the border kind, or are read
 * from memory under #nuvBorderFlagMemTop and #nuvBorderFlagMemBottom. A sigma of 0 divides by zero.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result; no source
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param kernelSize number of taps, odd, 3 or more
 * @param sigma standard deviation in pixels
 * @param borderType a plain border kind, with the flags for top and bottom allowed
 * @param borderValue the pixel of #nuvBorderConstant
 * @param pBuffer scratch of the size that nuviFilterGaussGetBufferSize_32f_C1R() reports, at any
 *        address
 * @param pBufferSize receives the size in bytes
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image, buffer or `pBufferSize`
 * - #nuvStatusBadSize a height or width less than 1
 * - #nuvStatusBadStep a step in bytes less than the width in pixels; nothing else is asked of it
 * - #nuvStatusBadArgument `kernelSize` below 3 or even
 * - #nuvStatusBadArgument another border kind or flag
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviFilterGaussBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  int32_t kernelSize, float sigma,
                                                  NuviBorderType borderType, float borderValue,
                                                  uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterGaussGetBufferSize_32f_C1R(NuviSize roiSize, int32_t kernelSize,
                                                         int32_t* pBufferSize);
/** @} */

/**
 * @name Sobel kernels
 *
 * Fill in the coefficients of (1 + z)^(n - 1 - d) * (z - 1)^d, n being `kernelSize` and d `order`,
 * with coefficient j that of z^j: -1 0 1 for size 3 and order 1, -1 -2 0 2 1 for size 5. 16-bit
 * coefficients that do not fit wrap.
 *
 * @param pDst receives `kernelSize` coefficients
 * @param kernelSize their number, odd
 * @param order order of the derivative, 0 to kernelSize - 1
 * @param sign negative: all coefficients are negated
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pDst`
 * - #nuvStatusBadSize a `kernelSize` below 1 or even, or an `order` outside its range
 * @{
 */
NUVCV_API NuvStatus nuviGenSobelKernel_16s(int16_t* pDst, int32_t kernelSize, int32_t order,
                                           int32_t sign);
NUVCV_API NuvStatus nuviGenSobelKernel_32f(float* pDst, int32_t kernelSize, int32_t order,
                                           int32_t sign);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

/**
 * @file
 * Object detection: integral images, the deviation under a sliding rectangle, Haar classifiers.
 *
 * The three meet in the caller's planes: the integral planes of a picture give the deviation plane,
 * and both are read by the stages of a classifier cascade.
 */
#ifndef NUVCV_DETECT_H
#define NUVCV_DETECT_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Integral images
 *
 * A plane of sums, one column and one row larger than the source: cell (x, y) is `val` plus the sum
 * of the pixels left of column x and above row y, so that the pixels of the rectangle from (x0, y0)
 * up to, not including, (x1, y1) sum up to P(x0, y0) - P(x1, y0) - P(x0, y1) + P(x1, y1). The `Sqr`
 * forms also write a plane of the sums of squared pixels. Method: F. C. Crow, "Summed-area tables
 * for texture mapping", SIGGRAPH 1984.
 *
 * `32s` planes wrap modulo 2^32, with no report. The cell of a `32f` or `64f` plane is the sum of
 * its row of pixels (a 32-bit integer that wraps, under a `64f` plane an exact double) plus the
 * cell above, rounded once; so roundings are carried on from row to row.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first cell of the plane of sums: `roiSize.width` + 1 by `roiSize.height` + 1 cells
 * @param dstStep its row step in bytes
 * @param pSqr first cell of the plane of squares, of the same size
 * @param sqrStep its row step in bytes
 * @param roiSize the size of the source in pixels
 * @param val what row 0 and column 0 of the plane of sums hold, and every cell contains once
 * @param valSqr the same for the plane of squares
 *
 * @note nuviIntegral_8u32f_C1R() has one column more where `pDst` and `dstStep` are multiples of 16
 *       and the width is less than 15: it reads the byte behind each row of pixels and writes the
 *       cell behind each row of the plane but the first. With a step of exactly 4 * (width + 1)
 *       that is the first cell of the next row, which is then set to `val`, and one cell behind the
 *       plane. Callers leave room for it.
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or plane
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of pixels or of cells
 * - #nuvStatusStepNotElementMultiple a plane's step that is no whole number of cells
 *
 * All forms run on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                           int32_t dstStep, NuviSize roiSize, int32_t val);
NUVCV_API NuvStatus nuviIntegral_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                           int32_t dstStep, NuviSize roiSize, float val);
NUVCV_API NuvStatus nuviSqrIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pDst,
                                              int32_t dstStep, int32_t* pSqr, int32_t sqrStep,
                                              NuviSize roiSize, int32_t val, int32_t valSqr);
NUVCV_API NuvStatus nuviSqrIntegral_8u32s64f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                 int32_t* pDst, int32_t dstStep, double* pSqr,
                                                 int32_t sqrStep, NuviSize roiSize, int32_t val,
                                                 double valSqr);
NUVCV_API NuvStatus nuviSqrIntegral_8u32f64f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, double* pSqr, int32_t sqrStep,
                                                 NuviSize roiSize, float val, double valSqr);
/** @} */

/**
 * @name Tilted integral images
 *
 * Planes of sums turned by 45 degrees, two columns and two rows larger than the source: cell (x, y)
 * is `val` plus the sum of the pixels between the two diagonals that meet between the pixels
 * (x - 1, y - 2) and (x, y - 2) and open upwards, so that the pixels of a rectangle standing on its
 * corner take four reads. Method: R. Lienhart and J. Maydt, "An extended set of Haar-like features
 * for rapid object detection", ICIP 2002.
 *
 * Rows 0 and 1 hold `val`. Row y + 2 follows from the pixels s of source row y and the rows of
 * cells above it:
 *
 *     T(0, y+2)   = T(1, y+1)
 *     T(x, y+2)   = T(x-1, y+1) + T(x+1, y+1) - T(x, y) + s(x-1) + s(x)     for x of 1 to W-1
 *     T(W, y+2)   = T(W-1, y+1) + T(W+1, y+1) - T(W, y) + s(W-1)
 *     T(W+1, y+2) = T(W, y+1)
 *
 * with the pixels squared in a plane of squares. (So a diagonal that reaches column 0 or W + 1 is
 * cut off there.) `32s` planes wrap modulo 2^32. A `32f` cell is computed in double precision, in
 * the order T(x-1) - T(x, y) + T(x+1) + s(x-1) + s(x), in column W s + T(W-1) + T(W+1) - T(W, y),
 * and rounded once; a `64f` cell in the order (s^2 + s^2) + T(x-1) - T(x, y) + T(x+1), in column W
 * s^2 + T(W-1) + T(W+1) - T(W, y).
 *
 * Two forms end a row in their own way:
 * - In the `32f` planes column W of the rows from 2 on is added, in single precision, to what the
 *   cell held before the call. Callers who want the plain sum clear that column first.
 * - nuviTiltedSqrIntegral_8u32s_C1R() takes the byte behind each row of pixels, which must be
 *   readable, for the pixel s(W): column W follows the rule of the columns before it.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first cell of the plane of sums: `roiSize.width` + 2 by `roiSize.height` + 2 cells
 * @param dstStep its row step in bytes
 * @param pSqr first cell of the plane of squares, of the same size
 * @param sqrStep its row step in bytes
 * @param roiSize the size of the source in pixels
 * @param val what rows 0 and 1 of the plane of sums hold, and every cell contains once
 * @param valSqr the same for the plane of squares
 *
 * @return the statuses of the upright forms, in the same order; threads likewise
 * @{
 */
NUVCV_API NuvStatus nuviTiltedIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                 int32_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 int32_t val);
NUVCV_API NuvStatus nuviTiltedIntegral_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize, float val);
NUVCV_API NuvStatus nuviTiltedSqrIntegral_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                    int32_t* pDst, int32_t dstStep, int32_t* pSqr,
                                                    int32_t sqrStep, NuviSize roiSize, int32_t val,
                                                    int32_t valSqr);
NUVCV_API NuvStatus nuviTiltedSqrIntegral_8u32s64f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                       int32_t* pDst, int32_t dstStep, double* pSqr,
                                                       int32_t sqrStep, NuviSize roiSize,
                                                       int32_t val, double valSqr);
NUVCV_API NuvStatus nuviTiltedSqrIntegral_8u32f64f_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                       float* pDst, int32_t dstStep, double* pSqr,
                                                       int32_t sqrStep, NuviSize roiSize, float val,
                                                       double valSqr);
/** @} */

/**
 * @name Standard deviation under a sliding rectangle
 *
 * Writes for each position (x, y) of the result the standard deviation of the pixels under a window
 * there, from an integral plane and one of squares: sqrt(max(0, mean square - mean^2)). This is the
 * plane that the classifiers take as `pNorm`.
 *
 * The window of the upright forms covers the pixels from (x + rect.x, y + rect.y) on, rect.width by
 * rect.height of them. In the tilted forms `rect` counts along the diagonals: the window's top
 * corner is the cell (x + rect.x - rect.y, y + rect.x + rect.y), it extends rect.width cells down
 * to the right and rect.height down to the left, and covers 2 * rect.width * rect.height pixels.
 *
 * The forms round in different places; with P, Q the cells of the two planes and A the area:
 * - nuviRectStdDev_32f_C1R(), nuviRectStdDev_32s32f_C1R(): single precision throughout, the cells
 *   of squares rounded to it first. Float cells are summed up as ((TL - TR) - BL) + BR in the
 * blocks of eight positions from the left, as (TL - TR) + (BR - BL) in the positions behind them.
 * Integer cells are summed up modulo 2^32. A NaN variance gives a NaN.
 * - nuviRectStdDev_32s_C1RSfs(): integer sums, means in single precision, the variance a fused step
 *   in it, the root in double.
 * - nuviTiltedRectStdDev_32f_C1R(): means in double precision, summed up as
 *   ((bottom - left) - right) + top, the variance a fused step, then rounded to single for its
 * root.
 * - nuviTiltedRectStdDev_32s32f_C1R(): the same, with an integer sum and its mean in single.
 * - nuviTiltedRectStdDev_32s_C1RSfs(): the same, with integer sums and both means in single.
 *
 * The `Sfs` forms multiply the deviation by 2^-scaleFactor and round half up: one fused step with
 * 0.5, then truncation; what does not fit 32 bits becomes the most negative integer. The shift
 * counts modulo 32, and 2^31 stands for -2^31.
 *
 * @param pSrc first cell of the integral plane
 * @param srcStep its row step in bytes
 * @param pSqr first cell of the plane of squares
 * @param sqrStep its row step in bytes
 * @param pDst first pixel of the result
 * @param dstStep its row step in bytes
 * @param roiSize the size of the result in pixels. The planes hold all cells that its windows
 * touch, also the columns and rows that the checks do not cover: the rows, and in a tilted form the
 *        columns left of the window's top corner
 * @param rect the window
 * @param scaleFactor the result is scaled by 2^-scaleFactor
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null plane or result
 * - #nuvStatusBadSize a width or height of `roiSize` less than 1
 * - #nuvStatusBadStep a step of the result less than its row, or one of a plane less than
 *   roiSize.width + rect.x + rect.width cells; in the tilted forms rect.y + rect.height - 1 cells
 *   more
 * - #nuvStatusStepNotElementMultiple a step that is no whole number of elements
 * - #nuvStatusBadSize a negative rect.x or rect.y, a rect.width or rect.height less than 1
 *
 * nuviRectStdDev_32f_C1R() cuts its rows over the threads from 2048 positions on, one thread for
 * each 1024 and 32 at most; the result does not depend on the cut. The others run on the calling
 * thread.
 * @{
 */
NUVCV_API NuvStatus nuviRectStdDev_32f_C1R(const float* pSrc, int32_t srcStep, const double* pSqr,
                                           int32_t sqrStep, float* pDst, int32_t dstStep,
                                           NuviSize roiSize, NuviRect rect);
NUVCV_API NuvStatus nuviRectStdDev_32s32f_C1R(const int32_t* pSrc, int32_t srcStep,
                                              const double* pSqr, int32_t sqrStep, float* pDst,
                                              int32_t dstStep, NuviSize roiSize, NuviRect rect);
NUVCV_API NuvStatus nuviRectStdDev_32s_C1RSfs(const int32_t* pSrc, int32_t srcStep,
                                              const int32_t* pSqr, int32_t sqrStep, int32_t* pDst,
                                              int32_t dstStep, NuviSize roiSize, NuviRect rect,
                                              int32_t scaleFactor);
NUVCV_API NuvStatus nuviTiltedRectStdDev_32f_C1R(const float* pSrc, int32_t srcStep,
                                                 const double* pSqr, int32_t sqrStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize, NuviRect rect);
NUVCV_API NuvStatus nuviTiltedRectStdDev_32s32f_C1R(const int32_t* pSrc, int32_t srcStep,
                                                    const double* pSqr, int32_t sqrStep,
                                                    float* pDst, int32_t dstStep, NuviSize roiSize,
                                                    NuviRect rect);
NUVCV_API NuvStatus nuviTiltedRectStdDev_32s_C1RSfs(const int32_t* pSrc, int32_t srcStep,
                                                    const int32_t* pSqr, int32_t sqrStep,
                                                    int32_t* pDst, int32_t dstStep,
                                                    NuviSize roiSize, NuviRect rect,
                                                    int32_t scaleFactor);
/** @} */

NUVCV_API NuvStatus nuviHaarClassifierInitAlloc_32f(NuviHaarClassifier** ppState,
                                                    const NuviRect* pFeature, const float* pWeight,
                                                    const float* pThreshold, const float* pVal1,
                                                    const float* pVal2, const int32_t* pNum,
                                                    int32_t length);
NUVCV_API NuvStatus nuviHaarClassifierInitAlloc_32s(NuviHaarClassifier** ppState,
                                                    const NuviRect* pFeature,
                                                    const int32_t* pWeight,
                                                    const int32_t* pThreshold, const int32_t* pVal1,
                                                    const int32_t* pVal2, const int32_t* pNum,
                                                    int32_t length);
NUVCV_API NuvStatus nuviTiltedHaarClassifierInitAlloc_32f(NuviHaarClassifier** ppState,
                                                          const NuviRect* pFeature,
                                                          const float* pWeight,
                                                          const float* pThreshold,
                                                          const float* pVal1, const float* pVal2,
                                                          const int32_t* pNum, int32_t length);
NUVCV_API NuvStatus nuviTiltedHaarClassifierInitAlloc_32s(
    NuviHaarClassifier** ppState, const NuviRect* pFeature, const int32_t* pWeight,
    const int32_t* pThreshold, const int32_t* pVal1, const int32_t* pVal2, const int32_t* pNum,
    int32_t length);
NUVCV_API NuvStatus nuviHaarClassifierFree_32f(NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviHaarClassifierFree_32s(NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviGetHaarClassifierSize_32f(const NuviHaarClassifier* pState,
                                                  NuviSize* pSize);
NUVCV_API NuvStatus nuviGetHaarClassifierSize_32s(const NuviHaarClassifier* pState,
                                                  NuviSize* pSize);
NUVCV_API NuvStatus nuviTiltHaarFeatures_32f(const uint8_t* pMask, int32_t flag,
                                             NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviTiltHaarFeatures_32s(const uint8_t* pMask, int32_t flag,
                                             NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviApplyHaarClassifier_32f_C1R(const float* pSrc, int32_t srcStep,
                                                    const float* pNorm, int32_t normStep,
                                                    uint8_t* pMask, int32_t maskStep,
                                                    NuviSize roiSize, int32_t* pPositive,
                                                    float threshold,
                                                    const NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviApplyHaarClassifier_32s32f_C1R(const int32_t* pSrc, int32_t srcStep,
                                                       const float* pNorm, int32_t normStep,
                                                       uint8_t* pMask, int32_t maskStep,
                                                       NuviSize roiSize, int32_t* pPositive,
                                                       float threshold,
                                                       const NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviApplyHaarClassifier_32s_C1RSfs(
    const int32_t* pSrc, int32_t srcStep, const int32_t* pNorm, int32_t normStep, uint8_t* pMask,
    int32_t maskStep, NuviSize roiSize, int32_t* pPositive, int32_t threshold,
    const NuviHaarClassifier* pState, int32_t scaleFactor);
NUVCV_API NuvStatus nuviApplyMixedHaarClassifier_32f_C1R(
    const float* pSrc, int32_t srcStep, const float* pTilt, int32_t tiltStep, const float* pNorm,
    int32_t normStep, uint8_t* pMask, int32_t maskStep, NuviSize roiSize, int32_t* pPositive,
    float threshold, const NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviApplyMixedHaarClassifier_32s32f_C1R(
    const int32_t* pSrc, int32_t srcStep, const int32_t* pTilt, int32_t tiltStep,
    const float* pNorm, int32_t normStep, uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
    int32_t* pPositive, float threshold, const NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviApplyMixedHaarClassifier_32s_C1RSfs(
    const int32_t* pSrc, int32_t srcStep, const int32_t* pTilt, int32_t tiltStep,
    const int32_t* pNorm, int32_t normStep, uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
    int32_t* pPositive, int32_t threshold, const NuviHaarClassifier* pState, int32_t scaleFactor);

#ifdef __cplusplus
}
#endif

#endif

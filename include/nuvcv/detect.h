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
 * The forms round in different places:
 * - nuviRectStdDev_32f_C1R(), nuviRectStdDev_32s32f_C1R(): single precision throughout, the cells
 *   of squares rounded to it first. Float cells are summed up as ((TL - TR) - BL) + BR in the
 *   blocks of eight positions from the left, as (TL - TR) + (BR - BL) in the positions behind
 *   them. Integer cells are summed up modulo 2^32. A NaN variance gives a NaN.
 * - nuviRectStdDev_32s_C1RSfs(): integer sums, means in single precision, the variance a fused step
 *   in it, the root in double.
 * - nuviTiltedRectStdDev_32f_C1R(): means in double precision, summed up as
 *   ((bottom - left) - right) + top, the variance a fused step, then rounded to single for its
 *   root.
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
 *        touch, also those that the checks do not cover: their rows, and in a tilted form the
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

/**
 * @name Stages of a Haar classifier
 *
 * A stage is a list of weak classifiers, each with its rectangle features. (P. Viola and M. Jones,
 * "Rapid object detection using a boosted cascade of simple features", 2001; tilted features: R.
 * Lienhart and J. Maydt, "An extended set of Haar-like features for rapid object detection", 2002.)
 * `InitAlloc` builds the state of one, and `Free` releases it. The numbers of a `32f` stage are
 * floats, those of a `32s` stage 32-bit integers; a state goes to functions of its own kind only.
 *
 * A rectangle is measured from the pixel under evaluation. An upright one has its corners at the
 * cells (x, y) and (x + width, y + height). In a stage from a `Tilted` function it is a diamond
 * with its top at the cell (x, y), its right corner at (x + width, y + width), its left one at
 * (x - height, y + height) and its bottom at (x + width - height, y + width + height).
 *
 * A stage from nuviHaarClassifierInitAlloc_32f() or nuviHaarClassifierInitAlloc_32s() votes in the
 * order: classifiers with two features, those with three, all others, each group as it was given.
 * A tilted stage keeps the order that it was given.
 *
 * @param ppState where the pointer to the state is written. Where a rectangle is bad,
 *        nuviHaarClassifierInitAlloc_32f() leaves it and the three others write a null pointer;
 *        every other failure leaves it
 * @param pFeature the rectangles of all classifiers, one classifier after another. The first one is
 *        read even if there is no classifier
 * @param pWeight the weight of each rectangle
 * @param pThreshold the threshold of each classifier, for a deviation of 1
 * @param pVal1 what each classifier votes where its weighted sum is below the scaled threshold
 * @param pVal2 what it votes elsewhere
 * @param pNum how many rectangles each classifier has
 * @param length the number of classifiers; 0 makes a stage whose votes sum up to 0
 * @param pState the state
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a negative length, then a classifier without rectangles
 * - #nuvStatusBadArgument (nuviHaarClassifierInitAlloc_32f()) x or y negative, width or height less
 *   than 1
 * - #nuvStatusNoMemory no memory for the state
 * - #nuvStatusBadArgument (the others) the same; in a tilted stage also a height above x + 1. The
 *   left corner of a diamond may stand at column -1
 * @{
 */
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
/** @} */

/**
 * @name Extent of a Haar classifier
 *
 * Writes how far a stage reaches from the pixel under evaluation: the largest column of its
 * features' third corners (top right, of a diamond right) and the largest row of their first
 * corners (bottom right, of a diamond bottom), both at least 0. What it reaches to the left and up
 * is not told.
 *
 * @param pState the state
 * @param pSize where the two are written, as width and height
 * @return #nuvStatusNullPointer a null pointer
 * @{
 */
NUVCV_API NuvStatus nuviGetHaarClassifierSize_32f(const NuviHaarClassifier* pState,
                                                  NuviSize* pSize);
NUVCV_API NuvStatus nuviGetHaarClassifierSize_32s(const NuviHaarClassifier* pState,
                                                  NuviSize* pSize);
/** @} */

/**
 * @name Tilting the features of a Haar classifier
 *
 * Turns chosen classifiers of an upright stage by 45 degrees, for the `Mixed` functions. This works
 * once: a stage that holds tilted features is refused.
 *
 * A rectangle at (x, y) of width w and height h becomes a diamond. With a non-zero flag its top is
 * (x, y), and its sides run w cells down to the right and h down to the left; with flag 0 its
 * bottom is (x, y + h), and its sides run w cells up to the right and h up to the left. A `32s`
 * stage takes the diamond for a square: both sides are w long.
 *
 * @param pMask a byte for each classifier, in the order in which they were given; one that is not
 *        zero chooses
 * @param flag which corner stays
 * @param pState the state
 *
 * @return In the order of the checks; a failed call changes nothing:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadArgument the stage is tilted, in whole or in part
 * @{
 */
NUVCV_API NuvStatus nuviTiltHaarFeatures_32f(const uint8_t* pMask, int32_t flag,
                                             NuviHaarClassifier* pState);
NUVCV_API NuvStatus nuviTiltHaarFeatures_32s(const uint8_t* pMask, int32_t flag,
                                             NuviHaarClassifier* pState);
/** @} */

/**
 * @name Applying a stage of a Haar classifier
 *
 * Evaluates a stage at every pixel that the mask selects, clears the mask where it fails, and
 * counts the survivors. The stages of a cascade are applied in turn to one mask.
 *
 * At a pixel with deviation n each classifier sums up its features, the sum of a feature times its
 * weight, and votes `val1` if the total is below threshold * n, else `val2`. The sum of a feature
 * is read at four cells of the integral plane, at its corners counted from the pixel, as
 * c1 - c2 - c3 + c4 with the corners bottom right, bottom left, top right, top left (bottom, left,
 * right, top). A pixel survives if its votes reach the stage's threshold; it fails if they are
 * below.
 *
 * The `Mixed` forms read tilted classifiers from a tilted plane, counted from its cell (1, 1) on;
 * the others read every classifier from the one plane. The caller sees to it that all cells that
 * the features of selected pixels touch are there; nuviApplyHaarClassifier_32f_C1R() also reads
 * those of neighbouring pixels of the region.
 *
 * Arithmetic:
 * - nuviApplyHaarClassifier_32s_C1RSfs(): modulo 2^32 throughout, compared with signs.
 * - nuviApplyMixedHaarClassifier_32s_C1RSfs(): weighted sums modulo 2^32, added up in 64 bits,
 *   shifted left by -scaleFactor and compared with the 64-bit product of threshold and deviation;
 *   votes modulo 2^32. A shift of 32 and more is one by 32 and then by the rest modulo 32.
 * - `32s32f`: sums of features modulo 2^32, converted to float; the rest in float, each product and
 *   sum rounded, in order.
 * - nuviApplyMixedHaarClassifier_32f_C1R(): float, a feature as (c1 - c2) - (c3 - c4), each product
 *   and sum rounded, in order.
 * - nuviApplyHaarClassifier_32f_C1R(): float, as the table below tells.
 *
 * nuviApplyHaarClassifier_32f_C1R() takes the count on entry for an estimate of the survivors among
 * the area of `roiSize`, and looks at a row accordingly; so its last bits depend on where in the
 * row a pixel stands:
 *
 * | estimate             | a row is cut into            | behind the last whole one |
 * |----------------------|------------------------------|---------------------------|
 * | at least area >> 2   | blocks of 16, always fused   | single pixels, fused      |
 * | at least area >> 3   | groups of 4                  | single pixels             |
 * | at least area >> 4   | groups of 8                  | single pixels             |
 * | below                | groups of 16                 | single pixels             |
 *
 * In a block or group a feature is ((c1 - c2) - c3) + c4; of single pixels it is
 * (c1 - c2) - (c3 - c4), but for the first one of a classifier where sums are fused. Fused means
 * that each feature after the first is multiplied and added in one rounding; elsewhere both are
 * rounded. In a block or group a pixel must exceed the stage's threshold, and the mask of a
 * survivor becomes 255. A single pixel, and every pixel of the other forms, survives at the
 * threshold too and keeps its mask.
 *
 * @param pSrc the integral plane, at the cell that offset 0 means for the first pixel
 * @param srcStep its row step in bytes
 * @param pTilt the tilted integral plane, a row and a column before that cell
 * @param tiltStep its row step in bytes
 * @param pNorm the deviation at the first pixel
 * @param normStep its row step in bytes
 * @param pMask the mask at the first pixel
 * @param maskStep its row step in bytes
 * @param roiSize the size of mask and deviations in pixels
 * @param pPositive on return, the number of survivors of this call
 * @param threshold the stage's threshold
 * @param pState the stage; it is only read, so that calls at one time may share it
 * @param scaleFactor nuviApplyHaarClassifier_32s_C1RSfs() does not use it; the mixed form
 *        scales its sums by 2^-scaleFactor
 *
 * @return In the order of the checks; a failed call changes nothing:
 * - #nuvStatusNullPointer a null pointer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row of `roiSize.width` elements
 * - #nuvStatusStepNotElementMultiple a step of a plane or of the deviations that is no whole number
 *   of elements
 * - #nuvStatusBadArgument nuviApplyMixedHaarClassifier_32s_C1RSfs(): a positive scale factor
 * - #nuvStatusNoMemory (not the `Mixed` forms) no memory for the offsets of the corners
 *
 * All run on the calling thread.
 * @{
 */
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
/** @} */

#ifdef __cplusplus
}
#endif

#endif

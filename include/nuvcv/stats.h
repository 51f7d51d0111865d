/**
 * @file
 * Image statistics: reductions of a region to numbers.
 *
 * A mask is an `8u` image; an element that is not zero selects its pixel. A `C3C` form works on one
 * channel of a three-channel image, the channel of interest `coi`, numbered 1 to 3.
 */
#ifndef NUVCV_STATS_H
#define NUVCV_STATS_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Mean, and mean with standard deviation
 *
 * The mean is sum / n over the n pixels that count, the deviation sqrt(|sum of squares / n - mean *
 * mean|); both are 0.0 when no pixel is selected. Integer images are summed exactly. `32f` images
 * are summed in lanes of single precision, whose grouping depends on the number of threads: the
 * last bits of the result do too. A `32f` deviation that is small against the mean (0.05 * mean *
 * mean above its square) is computed again from the distances to the mean. A NaN under a zero mask
 * does no harm.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pMask first pixel of the mask
 * @param maskStep its row step in bytes
 * @param roiSize the region in pixels
 * @param coi the channel of interest, 1 to 3
 * @param pMean receives the mean; may be null in the forms with a deviation
 * @param pStdDev receives the standard deviation; may be null
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pSrc`, `pMask`, or `pMean` of the forms without a deviation
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a source step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`: an odd source step
 * - #nuvStatusBadStep a mask step less than a row
 * - #nuvStatusStepNotElementMultiple `32f`: a source step that is no multiple of four
 * - #nuvStatusBadChannel `coi` outside 1..3
 *
 * Rows are cut over the threads from 0x20000 pixels for each thread on (0x10000 in
 * nuviMean_StdDev_32f_C1R()); nuviMean_8u_C1MR() and nuviMean_StdDev_32f_C3CR() run on the calling
 * thread, nuviMean_StdDev_8u_C1R() on a machine with one core.
 * @{
 */
NUVCV_API NuvStatus nuviMean_8u_C1MR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                     int32_t maskStep, NuviSize roiSize, double* pMean);
NUVCV_API NuvStatus nuviMean_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                      int32_t maskStep, NuviSize roiSize, int32_t coi,
                                      double* pMean);
NUVCV_API NuvStatus nuviMean_8s_C1MR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                     int32_t maskStep, NuviSize roiSize, double* pMean);
NUVCV_API NuvStatus nuviMean_8s_C3CMR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                      int32_t maskStep, NuviSize roiSize, int32_t coi,
                                      double* pMean);
NUVCV_API NuvStatus nuviMean_16u_C1MR(const uint16_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                      int32_t maskStep, NuviSize roiSize, double* pMean);
NUVCV_API NuvStatus nuviMean_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                       int32_t maskStep, NuviSize roiSize, int32_t coi,
                                       double* pMean);
NUVCV_API NuvStatus nuviMean_32f_C1MR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                      int32_t maskStep, NuviSize roiSize, double* pMean);
NUVCV_API NuvStatus nuviMean_32f_C3CMR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                       int32_t maskStep, NuviSize roiSize, int32_t coi,
                                       double* pMean);
NUVCV_API NuvStatus nuviMean_StdDev_8u_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8u_C3CR(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                            int32_t coi, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8u_C1MR(const uint8_t* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pMean,
                                             double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8s_C1R(const int8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8s_C3CR(const int8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                            int32_t coi, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8s_C1MR(const int8_t* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_8s_C3CMR(const int8_t* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pMean,
                                             double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_16u_C1R(const uint16_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                            double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_16u_C3CR(const uint16_t* pSrc, int32_t srcStep,
                                             NuviSize roiSize, int32_t coi, double* pMean,
                                             double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_16u_C1MR(const uint16_t* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pMean,
                                              double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                            double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_32f_C3CR(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                             int32_t coi, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_32f_C1MR(const float* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pMean, double* pStdDev);
NUVCV_API NuvStatus nuviMean_StdDev_32f_C3CMR(const float* pSrc, int32_t srcStep,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pMean,
                                              double* pStdDev);
/** @} */

/**
 * @name Norms under a mask
 *
 * With x the selected pixels of an image, or of the difference of two: the largest magnitude
 * (`Inf`), the sum of magnitudes (`L1`), the Euclidean norm (`L2`). nuviNormRel divides the norm of
 * the difference by that of the second image. Integer terms and sums are exact. In `32f` the mask
 * is a factor, 1.0 or +0.0, and every step of a term is rounded to single precision: |x| * m, or t
 * * t with t = x * m; `L1` and `L2` add the terms in double precision, so an infinite pixel under a
 * zero mask makes a NaN. `Inf` of `32f` keeps the running maximum when a term is a NaN.
 *
 * @param pSrc,pSrc1,pSrc2 first pixel of the sources; the difference is source 1 - source 2
 * @param srcStep,src1Step,src2Step their row steps in bytes
 * @param pMask first pixel of the mask
 * @param maskStep its row step in bytes
 * @param roiSize the region in pixels
 * @param coi the channel of interest, 1 to 3
 * @param pValue receives the norm
 *
 * @return In the order of the checks; a failed check writes nothing:
 * - #nuvStatusNullPointer a null image, mask or `pValue`
 * - #nuvStatusBadSize a width or height less than 1
 * - nuviNorm: #nuvStatusBadStep a source step less than a row;
 *   #nuvStatusStepNotElementMultiple one that is no whole number of elements; #nuvStatusBadStep a
 *   mask step less than a row
 * - nuviNormDiff, nuviNormRel: #nuvStatusBadStep a step of a source or the mask less than a row;
 *   #nuvStatusStepNotElementMultiple a source step that is no whole number of elements
 * - #nuvStatusBadChannel `coi` outside 1..3
 * - nuviNormRel: #nuvStatusDivisorZero, a warning, if the norm of the second image is zero: the
 *   result is a NaN for a zero difference and infinite for any other
 *
 * Rows are cut over the threads from 0x20000 pixels for each thread on (0x80000 in the integer
 * nuviNorm_Inf forms of one channel), in some forms only on more than one core; nuviNormDiff_Inf
 * and most `32f` forms of nuviNormDiff and nuviNormRel run on the calling thread. Only the last
 * bits of a `32f` sum depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviNorm_Inf_8u_C1MR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep,
                                          const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                          int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_8s_C1MR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_8s_C3CMR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                          int32_t maskStep, NuviSize roiSize, int32_t coi,
                                          double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_16u_C1MR(const uint16_t* pSrc, int32_t srcStep,
                                          const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                          double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_32f_C1MR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                          int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_Inf_32f_C3CMR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                           int32_t maskStep, NuviSize roiSize, int32_t coi,
                                           double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_8u_C1MR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, int32_t coi,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_8s_C1MR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_8s_C3CMR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, int32_t coi,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_16u_C1MR(const uint16_t* pSrc, int32_t srcStep,
                                         const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep,
                                          const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                          int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_32f_C1MR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L1_32f_C3CMR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                          int32_t maskStep, NuviSize roiSize, int32_t coi,
                                          double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_8u_C1MR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, int32_t coi,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_8s_C1MR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                        int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_8s_C3CMR(const int8_t* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, int32_t coi,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_16u_C1MR(const uint16_t* pSrc, int32_t srcStep,
                                         const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                         double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep,
                                          const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                          int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_32f_C1MR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                         int32_t maskStep, NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNorm_L2_32f_C3CMR(const float* pSrc, int32_t srcStep, const uint8_t* pMask,
                                          int32_t maskStep, NuviSize roiSize, int32_t coi,
                                          double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                             const uint8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                              const uint8_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                             const int8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                              const int8_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                              const uint16_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                               const uint16_t* pSrc2, int32_t src2Step,
                                               const uint8_t* pMask, int32_t maskStep,
                                               NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                              const float* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_Inf_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                               const float* pSrc2, int32_t src2Step,
                                               const uint8_t* pMask, int32_t maskStep,
                                               NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                            const uint8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                             const uint8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                            const int8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                             const int8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                             const uint16_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                              const uint16_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L1_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                              const float* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                            const uint8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                             const uint8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                            const int8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                             const int8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                             const uint16_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                              const uint16_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormDiff_L2_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                              const float* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                            const uint8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                             const uint8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                            const int8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                             const int8_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                             const uint16_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                              const uint16_t* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_Inf_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                              const float* pSrc2, int32_t src2Step,
                                              const uint8_t* pMask, int32_t maskStep,
                                              NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                           const uint8_t* pSrc2, int32_t src2Step,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                            const uint8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                           const int8_t* pSrc2, int32_t src2Step,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                            const int8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                            const uint16_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                             const uint16_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                            const float* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L1_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_8u_C1MR(const uint8_t* pSrc1, int32_t src1Step,
                                           const uint8_t* pSrc2, int32_t src2Step,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_8u_C3CMR(const uint8_t* pSrc1, int32_t src1Step,
                                            const uint8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_8s_C1MR(const int8_t* pSrc1, int32_t src1Step,
                                           const int8_t* pSrc2, int32_t src2Step,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_8s_C3CMR(const int8_t* pSrc1, int32_t src1Step,
                                            const int8_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_16u_C1MR(const uint16_t* pSrc1, int32_t src1Step,
                                            const uint16_t* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_16u_C3CMR(const uint16_t* pSrc1, int32_t src1Step,
                                             const uint16_t* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_32f_C1MR(const float* pSrc1, int32_t src1Step,
                                            const float* pSrc2, int32_t src2Step,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, double* pValue);
NUVCV_API NuvStatus nuviNormRel_L2_32f_C3CMR(const float* pSrc1, int32_t src1Step,
                                             const float* pSrc2, int32_t src2Step,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, double* pValue);
/** @} */

/**
 * @name Extrema with location
 *
 * Finds the smallest and the largest pixel of a region, or of the pixels that a mask selects, and
 * for each its first place in raster order. With no pixel selected the values are 0 and the places
 * (0, 0). Without a mask the search starts at the finite limits of the type: where no `32f` pixel
 * lies inside them, as in a region of infinities, the limit is reported at (0, 0). A NaN is neither
 * below nor above anything.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pMask first pixel of the mask
 * @param maskStep its row step in bytes
 * @param roiSize the region in pixels
 * @param coi the channel of interest, 1 to 3
 * @param pMinVal,pMaxVal receive the values; each may be null
 * @param pMinIndex,pMaxIndex receive the places; each may be null
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null `pSrc` or `pMask`
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step of the source, then of the mask, less than a row
 * - #nuvStatusStepNotElementMultiple a source step that is no whole number of elements
 * - #nuvStatusBadChannel `coi` outside 1..3
 *
 * Rows are cut over the threads from 0x4000 pixels on; the result does not depend on the cut.
 * @{
 */
NUVCV_API NuvStatus nuviMinMaxIndx_8u_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                          float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                          NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8u_C3CR(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           int32_t coi, float* pMinVal, float* pMaxVal,
                                           NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8u_C1MR(const uint8_t* pSrc, int32_t srcStep,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                           NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8u_C3CMR(const uint8_t* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, float* pMinVal,
                                            float* pMaxVal, NuviPoint* pMinIndex,
                                            NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8s_C1R(const int8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                          float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                          NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8s_C3CR(const int8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           int32_t coi, float* pMinVal, float* pMaxVal,
                                           NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8s_C1MR(const int8_t* pSrc, int32_t srcStep,
                                           const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                                           float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                           NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_8s_C3CMR(const int8_t* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, int32_t coi, float* pMinVal,
                                            float* pMaxVal, NuviPoint* pMinIndex,
                                            NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_16u_C1R(const uint16_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                           float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                           NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_16u_C3CR(const uint16_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                            int32_t coi, float* pMinVal, float* pMaxVal,
                                            NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_16u_C1MR(const uint16_t* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, float* pMinVal, float* pMaxVal,
                                            NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_16u_C3CMR(const uint16_t* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, float* pMinVal,
                                             float* pMaxVal, NuviPoint* pMinIndex,
                                             NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                           float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,
                                           NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_32f_C3CR(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                            int32_t coi, float* pMinVal, float* pMaxVal,
                                            NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_32f_C1MR(const float* pSrc, int32_t srcStep,
                                            const uint8_t* pMask, int32_t maskStep,
                                            NuviSize roiSize, float* pMinVal, float* pMaxVal,
                                            NuviPoint* pMinIndex, NuviPoint* pMaxIndex);
NUVCV_API NuvStatus nuviMinMaxIndx_32f_C3CMR(const float* pSrc, int32_t srcStep,
                                             const uint8_t* pMask, int32_t maskStep,
                                             NuviSize roiSize, int32_t coi, float* pMinVal,
                                             float* pMaxVal, NuviPoint* pMinIndex,
                                             NuviPoint* pMaxIndex);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

/**
 * @file
 * Segmentation: flood fill, watershed, gradient-driven growth, labels and bounds of segments.
 */
#ifndef NUVCV_SEGMENT_H
#define NUVCV_SEGMENT_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Scratch memory of the flood fills
 *
 * 6 * width * height + 32 bytes for the plain and the range fills; the gradient fills need another
 * (width + 2) * (height + 2). The figure is computed in 64 bits and stored in 32, so it is of no
 * use for images beyond its range.
 *
 * @param roiSize the image in pixels
 * @param bufferSize receives the size in bytes
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null `bufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 * @{
 */
NUVCV_API NuvStatus nuviFloodFillGetSize(NuviSize roiSize, int32_t* bufferSize);
NUVCV_API NuvStatus nuviFloodFillGetSize_Grad(NuviSize roiSize, int32_t* bufferSize);
/** @} */

/**
 * @name Flood fill of equal pixels
 *
 * Repaints, in place, the connected region of pixels that equal the seed in every channel, and
 * tells its area and bounding rectangle. `4Con` regions are connected along rows and columns,
 * `8Con` regions also along diagonals. Floats compare as numbers, so a NaN equals nothing and is
 * filled only as the seed. The method is a scan-line seed fill (A. R. Smith, "Tint fill", 1979).
 *
 * A seed that already has the new value is left alone: image and `region` stay untouched.
 *
 * @param image first pixel of the image, changed in place
 * @param imageStep its row step in bytes
 * @param roiSize the image in pixels
 * @param seed a pixel of the image
 * @param newVal the new value: one in `C1` forms, three in `C3` forms
 * @param region receives area, new value and bounding rectangle of the filled pixels
 * @param buffer scratch memory at any address, of nuviFloodFillGetSize() bytes
 *
 * @return In the order of the checks; a call that fails one of them writes nothing:
 * - #nuvStatusNullPointer a null image, region, buffer or (`C3`) value
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`: a step that is no whole number of elements
 * - #nuvStatusOutOfRange a seed outside the image
 * - #nuvStatusNoMemory the scratch memory was too small for the shape of the region, and there was
 *   no other; the image is filled in part
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviFloodFill_4Con_8u_C1IR(uint8_t* image, int32_t imageStep, NuviSize roiSize,
                                               NuviPoint seed, uint8_t newVal,
                                               NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_4Con_8u_C3IR(uint8_t* image, int32_t imageStep, NuviSize roiSize,
                                               NuviPoint seed, const uint8_t* newVal,
                                               NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_4Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                NuviSize roiSize, NuviPoint seed, uint16_t newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_4Con_16u_C3IR(uint16_t* image, int32_t imageStep,
                                                NuviSize roiSize, NuviPoint seed,
                                                const uint16_t* newVal, NuviFilledRegion* region,
                                                uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_4Con_32f_C1IR(float* image, int32_t imageStep, NuviSize roiSize,
                                                NuviPoint seed, float newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_4Con_32f_C3IR(float* image, int32_t imageStep, NuviSize roiSize,
                                                NuviPoint seed, const float* newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_8u_C1IR(uint8_t* image, int32_t imageStep, NuviSize roiSize,
                                               NuviPoint seed, uint8_t newVal,
                                               NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_8u_C3IR(uint8_t* image, int32_t imageStep, NuviSize roiSize,
                                               NuviPoint seed, const uint8_t* newVal,
                                               NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                NuviSize roiSize, NuviPoint seed, uint16_t newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_16u_C3IR(uint16_t* image, int32_t imageStep,
                                                NuviSize roiSize, NuviPoint seed,
                                                const uint16_t* newVal, NuviFilledRegion* region,
                                                uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_32f_C1IR(float* image, int32_t imageStep, NuviSize roiSize,
                                                NuviPoint seed, float newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_8Con_32f_C3IR(float* image, int32_t imageStep, NuviSize roiSize,
                                                NuviPoint seed, const float* newVal,
                                                NuviFilledRegion* region, uint8_t* buffer);
/** @} */

/**
 * @name Flood fill of a range around the seed
 *
 * As the fill of equal pixels, but takes the pixels between seed - `minDelta` and seed +
 * `maxDelta`, both included, in every channel. Integer bounds saturate to the range of the type;
 * `32f` bounds are rounded once. Negative `32f` deltas are allowed.
 *
 * Where the new value itself lies in the range, painted pixels match again, and the region's area
 * counts each span that was found, repeated ones too. Spans that wait to be searched stand on a
 * stack of (width * height) / 4, which is emptied whenever it becomes full: such a fill may end
 * early, as does one of more than one row in an image of 4 to 7 pixels, which fills the seed's row
 * only. A fill whose area has passed 64 times the image ends as well.
 *
 * @param image,imageStep,roiSize,seed,newVal,region,buffer as for equal pixels
 * @param minDelta,maxDelta how far a pixel may be below and above the seed: one value each in `C1`
 *   forms, three in `C3` forms
 *
 * @return the statuses of the fill of equal pixels, in the same order; in `C3` forms a null delta
 * is a null pointer too
 * @{
 */
NUVCV_API NuvStatus nuviFloodFill_Range4Con_8u_C1IR(uint8_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    uint8_t newVal, uint8_t minDelta,
                                                    uint8_t maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range4Con_8u_C3IR(uint8_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    const uint8_t* newVal, const uint8_t* minDelta,
                                                    const uint8_t* maxDelta,
                                                    NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range4Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed,
                                                     uint16_t newVal, uint16_t minDelta,
                                                     uint16_t maxDelta, NuviFilledRegion* region,
                                                     uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range4Con_16u_C3IR(
    uint16_t* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const uint16_t* newVal,
    const uint16_t* minDelta, const uint16_t* maxDelta, NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range4Con_32f_C1IR(float* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed, float newVal,
                                                     float minDelta, float maxDelta,
                                                     NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range4Con_32f_C3IR(float* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed,
                                                     const float* newVal, const float* minDelta,
                                                     const float* maxDelta,
                                                     NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_8u_C1IR(uint8_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    uint8_t newVal, uint8_t minDelta,
                                                    uint8_t maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_8u_C3IR(uint8_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    const uint8_t* newVal, const uint8_t* minDelta,
                                                    const uint8_t* maxDelta,
                                                    NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed,
                                                     uint16_t newVal, uint16_t minDelta,
                                                     uint16_t maxDelta, NuviFilledRegion* region,
                                                     uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_16u_C3IR(
    uint16_t* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const uint16_t* newVal,
    const uint16_t* minDelta, const uint16_t* maxDelta, NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_32f_C1IR(float* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed, float newVal,
                                                     float minDelta, float maxDelta,
                                                     NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Range8Con_32f_C3IR(float* image, int32_t imageStep,
                                                     NuviSize roiSize, NuviPoint seed,
                                                     const float* newVal, const float* minDelta,
                                                     const float* maxDelta,
                                                     NuviFilledRegion* region, uint8_t* buffer);
/** @} */

/**
 * @name Flood fill along small steps
 *
 * As the fill of equal pixels, but takes a pixel `a` next to a taken pixel `b` if it lies between
 * b - `minDelta` and b + `maxDelta`, both included, in every channel. All values are those of
 * before the fill. With different deltas a slope can be climbed in one direction and not in the
 * other.
 *
 * `32f` forms reject a pixel if |(0.5 (minDelta - maxDelta) + a) - b| > 0.5 (minDelta + maxDelta),
 * evaluated in this order in single precision; a NaN is thus not rejected.
 *
 * A seed that already has the new value is filled like any other.
 *
 * @param image,imageStep,roiSize,seed,newVal,region as for equal pixels
 * @param minDelta,maxDelta how far a pixel may be below and above its neighbour: one value each in
 *   `C1` forms, three in `C3` forms
 * @param buffer scratch memory at any address, of nuviFloodFillGetSize_Grad() bytes
 *
 * @return the statuses of the fill of equal pixels, in the same order; in `C3` forms a null delta
 * is a null pointer too, and behind the seed's test comes
 * - #nuvStatusOutOfRange `32f`: a delta below 0
 * @{
 */
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_8u_C1IR(uint8_t* image, int32_t imageStep,
                                                   NuviSize roiSize, NuviPoint seed, uint8_t newVal,
                                                   uint8_t minDelta, uint8_t maxDelta,
                                                   NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_8u_C3IR(uint8_t* image, int32_t imageStep,
                                                   NuviSize roiSize, NuviPoint seed,
                                                   const uint8_t* newVal, const uint8_t* minDelta,
                                                   const uint8_t* maxDelta,
                                                   NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    uint16_t newVal, uint16_t minDelta,
                                                    uint16_t maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_16u_C3IR(
    uint16_t* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const uint16_t* newVal,
    const uint16_t* minDelta, const uint16_t* maxDelta, NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_32f_C1IR(float* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed, float newVal,
                                                    float minDelta, float maxDelta,
                                                    NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad4Con_32f_C3IR(float* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    const float* newVal, const float* minDelta,
                                                    const float* maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_8u_C1IR(uint8_t* image, int32_t imageStep,
                                                   NuviSize roiSize, NuviPoint seed, uint8_t newVal,
                                                   uint8_t minDelta, uint8_t maxDelta,
                                                   NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_8u_C3IR(uint8_t* image, int32_t imageStep,
                                                   NuviSize roiSize, NuviPoint seed,
                                                   const uint8_t* newVal, const uint8_t* minDelta,
                                                   const uint8_t* maxDelta,
                                                   NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_16u_C1IR(uint16_t* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    uint16_t newVal, uint16_t minDelta,
                                                    uint16_t maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_16u_C3IR(
    uint16_t* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const uint16_t* newVal,
    const uint16_t* minDelta, const uint16_t* maxDelta, NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_32f_C1IR(float* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed, float newVal,
                                                    float minDelta, float maxDelta,
                                                    NuviFilledRegion* region, uint8_t* buffer);
NUVCV_API NuvStatus nuviFloodFill_Grad8Con_32f_C3IR(float* image, int32_t imageStep,
                                                    NuviSize roiSize, NuviPoint seed,
                                                    const float* newVal, const float* minDelta,
                                                    const float* maxDelta, NuviFilledRegion* region,
                                                    uint8_t* buffer);
/** @} */

/**
 * @name Scratch memory of marker labelling
 *
 * As nuviFloodFillGetSize(): 6 * width * height + 32 bytes, with the same statuses.
 *
 * @param roiSize the image in pixels
 * @param bufferSize receives the size in bytes
 *
 * @return #nuvStatusOk, #nuvStatusNullPointer, #nuvStatusBadSize
 * @{
 */
NUVCV_API NuvStatus nuviLabelMarkersGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize);
NUVCV_API NuvStatus nuviLabelMarkersGetBufferSize_16u_C1R(NuviSize roiSize, int32_t* bufferSize);
/** @} */

/**
 * @name Labels of connected components
 *
 * Numbers the connected components of non-zero pixels, in place and in raster order of their first
 * pixels, from `minLabel` up to `maxLabel` and from `minLabel` again. With more components than
 * labels, components share them; their number is right all the same.
 *
 * @param markers first pixel of the image; not 0 is a pixel of a component, and becomes its label
 * @param markerStep its row step in bytes
 * @param roiSize the image in pixels
 * @param minLabel,maxLabel the labels: 1 to 254 (`8u`) or 65534 (`16u`)
 * @param norm 1: components are connected along rows and columns, 0: also along diagonals
 * @param number receives the number of components
 * @param buffer scratch memory at any address, of the size that nuviLabelMarkersGetBufferSize tells
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image, buffer or number
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`: an odd step
 * - #nuvStatusBadArgument labels outside their range or in the wrong order, then a `norm` that is
 *   neither 0 nor 1
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviLabelMarkers_8u_C1IR(uint8_t* markers, int32_t markerStep, NuviSize roiSize,
                                             int32_t minLabel, int32_t maxLabel, int32_t norm,
                                             int32_t* number, uint8_t* buffer);
NUVCV_API NuvStatus nuviLabelMarkers_16u_C1IR(uint16_t* markers, int32_t markerStep,
                                              NuviSize roiSize, int32_t minLabel, int32_t maxLabel,
                                              int32_t norm, int32_t* number, uint8_t* buffer);
/** @} */

/**
 * @name Bounds of segments
 *
 * Marks, in place and in raster order, the pixels where a labelled image changes: a pixel is set to
 * `val` if a neighbour before it has another value that is not `val`. Marks set before count, so a
 * bound is mostly one pixel wide. With `norm` 1 the neighbours are the left and the upper pixel,
 * with `norm` 0 also the upper left and the upper right one; an image of one column always takes
 * `norm` 1.
 *
 * @param markers first pixel of the image
 * @param markerStep its row step in bytes; a negative one walks upward through memory
 * @param roiSize the image in pixels
 * @param val the mark
 * @param norm 1 or 0
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step from 0 to less than a row
 * - #nuvStatusStepNotElementMultiple `16u`: an odd step
 * - #nuvStatusBadArgument a `norm` that is neither 0 nor 1
 *
 * Called from inside a parallel region of n threads, the rows are cut into at most n bands, of at
 * least 16 rows and 1024 pixels each, if the runtime allows regions inside regions. The first row
 * of a band sees the row above as it stands at that moment, so a mark there can depend on the
 * timing. Called from outside any region, it runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviBoundSegments_8u_C1IR(uint8_t* markers, int32_t markerStep,
                                              NuviSize roiSize, uint8_t val, int32_t norm);
NUVCV_API NuvStatus nuviBoundSegments_16u_C1IR(uint16_t* markers, int32_t markerStep,
                                               NuviSize roiSize, uint16_t val, int32_t norm);
/** @} */

/**
 * @name Scratch memory of the watershed
 *
 * With L the bytes of a label, S = width * L rounded up to a multiple of 32: the larger of
 * (6 * height + 2) * S + height + 66 and 12 * width * height + L * (width + 2) * (height + 2) + 36,
 * each taken as a 32-bit signed integer.
 *
 * @param roiSize the image in pixels
 * @param bufferSize receives the size in bytes
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null `bufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 * @{
 */
NUVCV_API NuvStatus nuviSegmentWatershedGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize);
NUVCV_API NuvStatus nuviSegmentWatershedGetBufferSize_8u16u_C1R(NuviSize roiSize,
                                                                int32_t* bufferSize);
/** @} */

/**
 * @name Watershed
 *
 * Grows markers over a relief, in place, until every pixel has a label. The top value of the
 * label's type stands for the lines between regions; as a marker it grows like any label. Without
 * markers all pixels stay 0.
 *
 * `flag` is a sum of
 * - 1: the queue method. Pixels are flooded in the order of their height, but never below the
 * present level, and first come first served within a level; neighbours are taken in the order
 * west, east, north, south, north-west, north-east, south-west, south-east. `norm` 0 floods over
 * eight neighbours, 1 over four. (F. Meyer, "Color image segmentation", 1992.)
 * - 2, ignored beside 1: the sweep method. A pixel joins the marker from which its path has the
 *   lowest highest pixel and, among those, is the shortest since then. A step along a row or column
 *   counts 1 and a diagonal one 1 (`norm` 0), four neighbours count 1 (1), 11 and 15 (2); with
 *   `norm` 3 four neighbours count 64, less where two of them advance a slanted front, as in the
 *   eikonal equation. (The image foresting transform, A. X. Falcao et al., 2004, by raster sweeps.)
 * - 64: lines between regions, against the four neighbours
 * - 128, ignored beside 64: lines against the eight neighbours
 *
 * Lines of the queue method are drawn first where markers touch, in raster order, and then as
 * regions meet; a line's follower joins a region beside it or becomes a line. Lines of the sweep
 * method are drawn over the finished regions in raster order: of two neighbours with different
 * labels the one with the higher path, or the later one, turns into a line.
 *
 * @param src first pixel of the relief
 * @param srcStep its row step in bytes
 * @param markers first pixel of the markers; 0 has no label yet
 * @param markerStep its row step in bytes
 * @param roiSize the images in pixels
 * @param norm the neighbourhood, see above
 * @param flag method and lines, see above
 * @param buffer scratch memory at any address, of the size that
 *   nuviSegmentWatershedGetBufferSize_8u_C1R() or nuviSegmentWatershedGetBufferSize_8u16u_C1R()
 * tells
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u` markers: an odd step
 * - #nuvStatusBadArgument a `norm` other than 0 or 1 of the queue method or 0 to 3 of the sweep
 *   method, or neither method
 *
 * The queue method runs on the calling thread. The sweep method, but for `norm` 3, cuts images of
 * at least 1024 rows and 2^19 pixels into strips, which are spread over threads; the result does
 * not depend on their number.
 * @{
 */
NUVCV_API NuvStatus nuviSegmentWatershed_8u_C1IR(const uint8_t* src, int32_t srcStep,
                                                 uint8_t* markers, int32_t markerStep,
                                                 NuviSize roiSize, int32_t norm, int32_t flag,
                                                 uint8_t* buffer);
NUVCV_API NuvStatus nuviSegmentWatershed_8u16u_C1IR(const uint8_t* src, int32_t srcStep,
                                                    uint16_t* markers, int32_t markerStep,
                                                    NuviSize roiSize, int32_t norm, int32_t flag,
                                                    uint8_t* buffer);
/** @} */

/**
 * @name Scratch memory of gradient-driven segmentation
 *
 * 13 * width * height + 103 bytes in both forms.
 *
 * @param roiSize the image in pixels
 * @param bufferSize receives the size in bytes
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null `bufferSize`
 * - #nuvStatusBadSize a width or height less than 1
 * @{
 */
NUVCV_API NuvStatus nuviSegmentGradientGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize);
NUVCV_API NuvStatus nuviSegmentGradientGetBufferSize_8u_C3R(NuviSize roiSize, int32_t* bufferSize);
/** @} */

/**
 * @name Gradient-driven segmentation
 *
 * Grows markers over an image, in place, in the order of the difference between a pixel and the
 * neighbour that reaches it: the absolute difference, or in `C3` the largest one of the channels.
 * First come first served among equal differences; where growth reaches a smooth place, the
 * difference falls again. A pixel takes the label of the most similar neighbour; among equally
 * similar ones of the last that is no line, in the order west, east, north, south, north-west,
 * north-east, south-west, south-east. (Seeded region growing, R. Adams and L. Bischof, 1994.)
 *
 * Labels are 1 to 253; 254 is a line between regions and 255 is closed to growth. The image's outer
 * frame of one pixel takes no part and becomes 255. If no marker touches an unlabelled pixel inside
 * the frame, `markers` stays as it is, frame included. Pixels that no marker reaches stay 0.
 *
 * @param src first pixel of the image, of 1 or 3 channels
 * @param srcStep its row step in bytes
 * @param markers first pixel of the markers, of one channel; 0 has no label yet
 * @param markerStep its row step in bytes
 * @param roiSize the images in pixels
 * @param norm 0: eight neighbours, 1: four
 * @param flag 64: a pixel with another label among its four neighbours becomes a line, 128: among
 * its eight neighbours; 128 holds if both are set, and other bits are ignored
 * @param buffer scratch memory at any address, of the size that
 *   nuviSegmentGradientGetBufferSize_8u_C1R() tells
 *
 * @return In the order of the checks; a failed call writes nothing:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusBadArgument a `norm` that is neither 0 nor 1
 *
 * Runs on the calling thread.
 * @{
 */
NUVCV_API NuvStatus nuviSegmentGradient_8u_C1IR(const uint8_t* src, int32_t srcStep,
                                                uint8_t* markers, int32_t markerStep,
                                                NuviSize roiSize, int32_t norm, int32_t flag,
                                                uint8_t* buffer);
NUVCV_API NuvStatus nuviSegmentGradient_8u_C3IR(const uint8_t* src, int32_t srcStep,
                                                uint8_t* markers, int32_t markerStep,
                                                NuviSize roiSize, int32_t norm, int32_t flag,
                                                uint8_t* buffer);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

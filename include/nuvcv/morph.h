/**
 * @file
 * Morphology: erosion and dilation by flat masks, their compositions, weighted structuring
 * elements, reconstruction.
 *
 * Erosion is a minimum and dilation a maximum over the pixels under a mask, every channel on its
 * own. Outside the image stands the nearest edge pixel. No mask is reflected: the element in column
 * i and row j of a mask with anchor (ax, ay) reads the pixel at the offset (i - ax, j - ay), in
 * erosion and dilation alike. The results of `32f` images that hold a NaN or an infinity are not
 * specified, nor is the sign of a zero among zeros of both signs.
 *
 * Unless a function says otherwise it runs on the calling thread, its source and its result are
 * distinct images, and a failed call writes nothing.
 */
#ifndef NUVCV_MORPH_H
#define NUVCV_MORPH_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Minimum and maximum over a rectangle
 *
 * Writes for each pixel the maximum (minimum) of the pixels under a solid rectangle of
 * `maskSize.width` by `maskSize.height` pixels whose element `anchor` lies on it. The time does not
 * depend on the height of the mask, and grows with the logarithm of its width: the running block
 * method down the columns (M. van Herk, Pattern Recognition Letters 13, 1992; J. Gil and M. Werman,
 * IEEE PAMI 15, 1993), doubling windows along the rows.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, a distinct image
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param maskSize the rectangle, 1 by 1 or larger; it may be larger than the image
 * @param anchor the element that lies on the pixel: 0,0 is the mask's left top
 * @param pBuffer scratch of the size that the `GetBufferSize` function of the form reports for this
 *        mask and a width not less than `roiSize.width`; it may start at any address
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height of the region less than 1
 * - #nuvStatusBadMask a width or height of the mask less than 1
 * - #nuvStatusBadAnchor an anchor outside the mask
 * - #nuvStatusBadStep, then #nuvStatusStepNotElementMultiple (`32f`): the source's step is less
 * than a row, or no whole number of elements; then the same of the result's step
 * @{
 */
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_32f_C1R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_32f_C3R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMaxBorderReplicate_32f_C4R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                        uint8_t* pDst, int32_t dstStep,
                                                        NuviSize roiSize, NuviSize maskSize,
                                                        NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_32f_C1R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_32f_C3R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
NUVCV_API NuvStatus nuviFilterMinBorderReplicate_32f_C4R(const float* pSrc, int32_t srcStep,
                                                         float* pDst, int32_t dstStep,
                                                         NuviSize roiSize, NuviSize maskSize,
                                                         NuviPoint anchor, uint8_t* pBuffer);
/** @} */

/**
 * @name Scratch of the minimum and maximum over a rectangle
 *
 * Writes (2 * roiWidth * pixel + 80) * maskSize.height + 32, where `pixel` is the bytes of a pixel.
 * A mask and width for which that passes the range of an int32 have no scratch.
 *
 * @param roiWidth width in pixels of the widest region
 * @param maskSize the rectangle
 * @param pBufferSize receives the number of bytes
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null result
 * - #nuvStatusBadSize a width less than 1
 * - #nuvStatusBadMask a width or height of the mask less than 1
 * @{
 */
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_8u_C1R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_8u_C3R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_8u_C4R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_32f_C1R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_32f_C3R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMaxGetBufferSize_32f_C4R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_8u_C1R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_8u_C3R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_8u_C4R(int32_t roiWidth, NuviSize maskSize,
                                                      int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_32f_C1R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_32f_C3R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
NUVCV_API NuvStatus nuviFilterMinGetBufferSize_32f_C4R(int32_t roiWidth, NuviSize maskSize,
                                                       int32_t* pBufferSize);
/** @} */

/**
 * @name Morphology state
 *
 * A state holds a mask that was classified once, and the scratch of the calls that use it. It
 * serves images of any height, up to a width given at its creation. It is one block, which cannot
 * be moved or copied once it is filled, and belongs to one call at a time.
 *
 * A mask is `maskSize.height` rows of exactly `maskSize.width` bytes; an element that is not zero
 * is on. The library copies it. It is one of four kinds: empty (every operation is a copy); a solid
 * rectangle, wherever it stands in the mask; rows of single runs that all cover the anchor's
 * column, where runs of the same length also begin in the same column, as in a disk, a diamond or a
 * cross; or a general mask. Time and size follow the kind. A general mask costs one comparison for
 * each element that is on, a mask of runs one for each of its rows and a few for each distinct run.
 *
 * `GetSize` writes the size of a state with the anchor in the middle, at
 * (maskSize.width / 2, maskSize.height / 2). Another anchor can change the kind, and with it the
 * size: the caller of `Init` with such an anchor sees to it that the block is large enough.
 * `Init` fills a block of the caller, which may start at any address; `InitAlloc` allocates the
 * state, which nuviMorphologyFree() releases.
 *
 * @param roiWidth width in pixels of the widest image
 * @param pMask the mask
 * @param maskSize its width and height in elements
 * @param anchor the element that lies on the pixel: 0,0 is the mask's left top
 * @param pStateSize receives the number of bytes
 * @param pState the caller's block
 * @param ppState receives the new state; a failed call leaves it alone
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null mask
 * - #nuvStatusBadSize a width of the images, or a width or height of the mask, less than 1
 * - #nuvStatusBadAnchor an anchor outside the mask
 * - #nuvStatusNoMemory no memory for the classification
 * - #nuvStatusNullPointer a null result, block or state pointer
 * - #nuvStatusBadSize (`GetSize`, `Init`) a state of more bytes than an int32 can tell
 * - #nuvStatusNoMemory (`InitAlloc`) no memory for the state
 * @{
 */
NUVCV_API NuvStatus nuviMorphologyGetSize_8u_C1R(int32_t roiWidth, const uint8_t* pMask,
                                                 NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyGetSize_8u_C3R(int32_t roiWidth, const uint8_t* pMask,
                                                 NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyGetSize_8u_C4R(int32_t roiWidth, const uint8_t* pMask,
                                                 NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyGetSize_32f_C1R(int32_t roiWidth, const uint8_t* pMask,
                                                  NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyGetSize_32f_C3R(int32_t roiWidth, const uint8_t* pMask,
                                                  NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyGetSize_32f_C4R(int32_t roiWidth, const uint8_t* pMask,
                                                  NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphologyInit_8u_C1R(int32_t roiWidth, const uint8_t* pMask,
                                              NuviSize maskSize, NuviPoint anchor,
                                              NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInit_8u_C3R(int32_t roiWidth, const uint8_t* pMask,
                                              NuviSize maskSize, NuviPoint anchor,
                                              NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInit_8u_C4R(int32_t roiWidth, const uint8_t* pMask,
                                              NuviSize maskSize, NuviPoint anchor,
                                              NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInit_32f_C1R(int32_t roiWidth, const uint8_t* pMask,
                                               NuviSize maskSize, NuviPoint anchor,
                                               NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInit_32f_C3R(int32_t roiWidth, const uint8_t* pMask,
                                               NuviSize maskSize, NuviPoint anchor,
                                               NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInit_32f_C4R(int32_t roiWidth, const uint8_t* pMask,
                                               NuviSize maskSize, NuviPoint anchor,
                                               NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_8u_C1R(int32_t roiWidth, const uint8_t* pMask,
                                                   NuviSize maskSize, NuviPoint anchor,
                                                   NuviMorphologyState** ppState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_8u_C3R(int32_t roiWidth, const uint8_t* pMask,
                                                   NuviSize maskSize, NuviPoint anchor,
                                                   NuviMorphologyState** ppState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_8u_C4R(int32_t roiWidth, const uint8_t* pMask,
                                                   NuviSize maskSize, NuviPoint anchor,
                                                   NuviMorphologyState** ppState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_32f_C1R(int32_t roiWidth, const uint8_t* pMask,
                                                    NuviSize maskSize, NuviPoint anchor,
                                                    NuviMorphologyState** ppState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_32f_C3R(int32_t roiWidth, const uint8_t* pMask,
                                                    NuviSize maskSize, NuviPoint anchor,
                                                    NuviMorphologyState** ppState);
NUVCV_API NuvStatus nuviMorphologyInitAlloc_32f_C4R(int32_t roiWidth, const uint8_t* pMask,
                                                    NuviSize maskSize, NuviPoint anchor,
                                                    NuviMorphologyState** ppState);
/** @} */

/**
 * Releases a state from a `nuviMorphologyInitAlloc` function.
 *
 * @param pState the state
 * @return #nuvStatusNullPointer for a null state
 */
NUVCV_API NuvStatus nuviMorphologyFree(NuviMorphologyState* pState);

/**
 * @name Dilation and erosion by a mask
 *
 * Writes for each pixel the maximum (minimum) of the pixels under the elements of the mask that are
 * on. A mask with no such element gives a copy.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, a distinct image
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param border #nuvBorderReplicate
 * @param pState a state that was built for the same form; it is not tested for null
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null image
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument any other border
 * - #nuvStatusBadSize a width greater than the one that the state was built for
 * @{
 */
NUVCV_API NuvStatus nuviDilateBorderReplicate_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, NuviBorderType border,
                                                     NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviDilateBorderReplicate_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, NuviBorderType border,
                                                     NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviDilateBorderReplicate_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                     uint8_t* pDst, int32_t dstStep,
                                                     NuviSize roiSize, NuviBorderType border,
                                                     NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviDilateBorderReplicate_32f_C1R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, NuviBorderType border,
                                                      NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviDilateBorderReplicate_32f_C3R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, NuviBorderType border,
                                                      NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviDilateBorderReplicate_32f_C4R(const float* pSrc, int32_t srcStep,
                                                      float* pDst, int32_t dstStep,
                                                      NuviSize roiSize, NuviBorderType border,
                                                      NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                    uint8_t* pDst, int32_t dstStep,
                                                    NuviSize roiSize, NuviBorderType border,
                                                    NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                    uint8_t* pDst, int32_t dstStep,
                                                    NuviSize roiSize, NuviBorderType border,
                                                    NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                    uint8_t* pDst, int32_t dstStep,
                                                    NuviSize roiSize, NuviBorderType border,
                                                    NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_32f_C1R(const float* pSrc, int32_t srcStep,
                                                     float* pDst, int32_t dstStep, NuviSize roiSize,
                                                     NuviBorderType border,
                                                     NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_32f_C3R(const float* pSrc, int32_t srcStep,
                                                     float* pDst, int32_t dstStep, NuviSize roiSize,
                                                     NuviBorderType border,
                                                     NuviMorphologyState* pState);
NUVCV_API NuvStatus nuviErodeBorderReplicate_32f_C4R(const float* pSrc, int32_t srcStep,
                                                     float* pDst, int32_t dstStep, NuviSize roiSize,
                                                     NuviBorderType border,
                                                     NuviMorphologyState* pState);
/** @} */

/**
 * @name Composite state
 *
 * What opening, closing, top-hat, black-hat and gradient run on: the states of a mask and of its
 * reflection, and a temporary image. It serves images of the size that it was built for, and
 * belongs to one call at a time. The mask, its anchor and the kinds of masks are those of
 * ::nuviMorphologyInit_8u_C1R and its companions; the reflected mask is turned by 180 degrees with
 * its anchor.
 *
 * `GetSize` writes the size of the block that `Init` fills; it does not depend on the anchor, since
 * such a state takes a mask of runs as a general one. The block may start at any address and cannot
 * be moved. `InitAlloc` allocates the state in parts that nuviMorphAdvFree() releases.
 *
 * @param roiSize the image size in pixels
 * @param pMask the mask
 * @param maskSize its width and height in elements
 * @param anchor the element that lies on the pixel: 0,0 is the mask's left top
 * @param pStateSize receives the number of bytes
 * @param pState the caller's block; not to be given to nuviMorphAdvFree()
 * @param ppState receives the new state; a failed call leaves it alone
 *
 * @return In the order of the checks:
 * - `GetSize`, `Init`: #nuvStatusBadSize a height of the image less than 1; #nuvStatusNullPointer a
 *   null result or block; the statuses of a morphology state; #nuvStatusBadSize (`GetSize`) a state
 *   of more bytes than an int32 can tell
 * - `InitAlloc`: #nuvStatusNullPointer a null `ppState`; the statuses of a morphology state;
 *   #nuvStatusNoMemory no memory, or a height of the image less than 1
 * @{
 */
NUVCV_API NuvStatus nuviMorphAdvGetSize_8u_C1R(NuviSize roiSize, const uint8_t* pMask,
                                               NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvGetSize_8u_C3R(NuviSize roiSize, const uint8_t* pMask,
                                               NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvGetSize_8u_C4R(NuviSize roiSize, const uint8_t* pMask,
                                               NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvGetSize_32f_C1R(NuviSize roiSize, const uint8_t* pMask,
                                                NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvGetSize_32f_C3R(NuviSize roiSize, const uint8_t* pMask,
                                                NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvGetSize_32f_C4R(NuviSize roiSize, const uint8_t* pMask,
                                                NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphAdvInit_8u_C1R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                            const uint8_t* pMask, NuviSize maskSize,
                                            NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInit_8u_C3R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                            const uint8_t* pMask, NuviSize maskSize,
                                            NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInit_8u_C4R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                            const uint8_t* pMask, NuviSize maskSize,
                                            NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInit_32f_C1R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                             const uint8_t* pMask, NuviSize maskSize,
                                             NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInit_32f_C3R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                             const uint8_t* pMask, NuviSize maskSize,
                                             NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInit_32f_C4R(NuviMorphCompositeState* pState, NuviSize roiSize,
                                             const uint8_t* pMask, NuviSize maskSize,
                                             NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_8u_C1R(NuviMorphCompositeState** ppState,
                                                 NuviSize roiSize, const uint8_t* pMask,
                                                 NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_8u_C3R(NuviMorphCompositeState** ppState,
                                                 NuviSize roiSize, const uint8_t* pMask,
                                                 NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_8u_C4R(NuviMorphCompositeState** ppState,
                                                 NuviSize roiSize, const uint8_t* pMask,
                                                 NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_32f_C1R(NuviMorphCompositeState** ppState,
                                                  NuviSize roiSize, const uint8_t* pMask,
                                                  NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_32f_C3R(NuviMorphCompositeState** ppState,
                                                  NuviSize roiSize, const uint8_t* pMask,
                                                  NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphAdvInitAlloc_32f_C4R(NuviMorphCompositeState** ppState,
                                                  NuviSize roiSize, const uint8_t* pMask,
                                                  NuviSize maskSize, NuviPoint anchor);
/** @} */

/**
 * Releases a state from a `nuviMorphAdvInitAlloc` function.
 *
 * @param pState the state
 * @return #nuvStatusNullPointer for a null state
 */
NUVCV_API NuvStatus nuviMorphAdvFree(NuviMorphCompositeState* pState);

/**
 * @name Opening, closing, top-hat, black-hat and gradient
 *
 * - Opening: erosion by the mask, then dilation by the reflected mask.
 * - Closing: dilation by the mask, then erosion by the reflected mask.
 * - Top-hat: the source less its opening.
 * - Black-hat: the closing less the source.
 * - Gradient: dilation by the mask less erosion by the mask.
 *
 * (J. Serra, Image Analysis and Mathematical Morphology, 1982.) Each pass replicates the borders of
 * its own source. A difference below 0 becomes 0; a `32f` difference that is a NaN becomes 0.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, a distinct image
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels: of the size that the state was built for, or one that is no
 *        wider and whose rows, each rounded up to a multiple of 32 bytes, take as many bytes
 * @param border #nuvBorderReplicate
 * @param pState a state that was built for the same form
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null image or state
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument any other border
 * - #nuvStatusBadSize a region of another size
 *
 * The difference of `8u` images is cut over the threads by rows; the result does not depend on it.
 * @{
 */
NUVCV_API NuvStatus nuviMorphOpenBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize,
                                               NuviBorderType border,
                                               NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphOpenBorder_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize,
                                               NuviBorderType border,
                                               NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphOpenBorder_8u_C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize,
                                               NuviBorderType border,
                                               NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphOpenBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphOpenBorder_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphOpenBorder_32f_C4R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_8u_C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphCloseBorder_32f_C4R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                 uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                 uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                 uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  NuviBorderType border,
                                                  NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  NuviBorderType border,
                                                  NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphTophatBorder_32f_C4R(const float* pSrc, int32_t srcStep, float* pDst,
                                                  int32_t dstStep, NuviSize roiSize,
                                                  NuviBorderType border,
                                                  NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphBlackhatBorder_32f_C4R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_8u_C3R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_8u_C4R(const uint8_t* pSrc, int32_t srcStep,
                                                   uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                                                   NuviBorderType border,
                                                   NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_32f_C3R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
NUVCV_API NuvStatus nuviMorphGradientBorder_32f_C4R(const float* pSrc, int32_t srcStep, float* pDst,
                                                    int32_t dstStep, NuviSize roiSize,
                                                    NuviBorderType border,
                                                    NuviMorphCompositeState* pState);
/** @} */

/**
 * @name Weighted state
 *
 * A structuring element of weights, int32 for `8u` images and float for `32f` images. It serves
 * images of up to a size given at its creation. Calls on images only read it, so that several may
 * share it. It is one block, which may start at any address; `InitAlloc` allocates one, which
 * `Free` releases.
 *
 * @param roiSize size in pixels of the largest image
 * @param pMask the weights, rows of exactly `maskSize.width` of them; the library copies them
 * @param maskSize width and height of the element
 * @param anchor the weight that lies on the pixel: 0,0 is the mask's left top
 * @param pStateSize receives the number of bytes, 4 * maskSize.width * maskSize.height + 28
 * @param pState the caller's block, or the state to release
 * @param ppState receives the new state; a failed call leaves it alone
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null mask, result, block or state pointer; `Free`: a null state
 * - #nuvStatusBadSize a width or height of the image or of the mask less than 1
 * - #nuvStatusBadAnchor an anchor outside the mask
 * - #nuvStatusBadSize (`GetSize`) a state of more bytes than an int32 can tell
 * - #nuvStatusNoMemory (`InitAlloc`) no memory
 * @{
 */
NUVCV_API NuvStatus nuviMorphGrayGetSize_8u_C1R(NuviSize roiSize, const int32_t* pMask,
                                                NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphGrayGetSize_32f_C1R(NuviSize roiSize, const float* pMask,
                                                 NuviSize maskSize, int32_t* pStateSize);
NUVCV_API NuvStatus nuviMorphGrayInit_8u_C1R(NuviGrayMorphologyState* pState, NuviSize roiSize,
                                             const int32_t* pMask, NuviSize maskSize,
                                             NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphGrayInit_32f_C1R(NuviGrayMorphologyState* pState, NuviSize roiSize,
                                              const float* pMask, NuviSize maskSize,
                                              NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphGrayInitAlloc_8u_C1R(NuviGrayMorphologyState** ppState,
                                                  NuviSize roiSize, const int32_t* pMask,
                                                  NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphGrayInitAlloc_32f_C1R(NuviGrayMorphologyState** ppState,
                                                   NuviSize roiSize, const float* pMask,
                                                   NuviSize maskSize, NuviPoint anchor);
NUVCV_API NuvStatus nuviMorphGrayFree_8u_C1R(NuviGrayMorphologyState* pState);
NUVCV_API NuvStatus nuviMorphGrayFree_32f_C1R(NuviGrayMorphologyState* pState);
/** @} */

/**
 * @name Dilation and erosion by weights
 *
 * Writes for each pixel the maximum (minimum) of pixel plus weight over the structuring element.
 * The weight is added in erosion too: give negated weights for the subtractive form. A weight of 0
 * is an element like any other, and the element is not reflected. `8u`: sums of 32 bits, the
 * extreme limited to 0..255. `32f`: single additions, without a limit; sums that overflow are not
 * specified.
 *
 * @param pSrc first pixel of the source
 * @param srcStep its row step in bytes
 * @param pDst first pixel of the result, a distinct image
 * @param dstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param border #nuvBorderReplicate
 * @param pState a state that was built for the same form
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null image or state
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `32f`: a step that is no whole number of elements
 * - #nuvStatusBadArgument any other border
 * - #nuvStatusBadSize a width or height greater than the one that the state was built for
 * @{
 */
NUVCV_API NuvStatus nuviGrayDilateBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                const NuviGrayMorphologyState* pState);
NUVCV_API NuvStatus nuviGrayDilateBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                 int32_t dstStep, NuviSize roiSize,
                                                 NuviBorderType border,
                                                 const NuviGrayMorphologyState* pState);
NUVCV_API NuvStatus nuviGrayErodeBorder_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, NuviSize roiSize,
                                               NuviBorderType border,
                                               const NuviGrayMorphologyState* pState);
NUVCV_API NuvStatus nuviGrayErodeBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                                int32_t dstStep, NuviSize roiSize,
                                                NuviBorderType border,
                                                const NuviGrayMorphologyState* pState);
/** @} */

/**
 * @name Reconstruction
 *
 * Reconstruction by dilation grows a marker under a limiting image until nothing changes: the
 * result is the fixed point of F = min(G, max of F over the pixel and its neighbours), begun at
 * min(F, G). Reconstruction by erosion is its dual: it shrinks the marker above the limit, to the
 * fixed point of F = max(G, min of F over the pixel and its neighbours), begun at max(F, G). (L.
 * Vincent, Morphological Grayscale Reconstruction in Image Analysis, IEEE Transactions on Image
 * Processing 2, 1993.) All results are values of the images. Images that hold a NaN are not
 * specified.
 *
 * @param pSrc first pixel of the limiting image
 * @param srcStep its row step in bytes
 * @param pSrcDst first pixel of the marker, which becomes the result
 * @param srcDstStep its row step in bytes
 * @param roiSize the region in pixels
 * @param pBuffer scratch of the size that the `GetBufferSize` function of the type reports for this
 *        region; it may start at any address
 * @param norm 0: eight neighbours; 1: the four direct ones
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null image or buffer
 * - #nuvStatusBadSize a width or height less than 1
 * - #nuvStatusBadStep a step less than a row
 * - #nuvStatusStepNotElementMultiple `16u`, `32f`, `64f`: a step that is no whole number of
 * elements
 * - #nuvStatusBadArgument any other norm
 *
 * Images of more than 10 rows and 10 columns are cut into two halves for two threads; the result
 * does not depend on it.
 * @{
 */
NUVCV_API NuvStatus nuviMorphReconstructDilate_8u_C1IR(const uint8_t* pSrc, int32_t srcStep,
                                                       uint8_t* pSrcDst, int32_t srcDstStep,
                                                       NuviSize roiSize, uint8_t* pBuffer,
                                                       int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructDilate_16u_C1IR(const uint16_t* pSrc, int32_t srcStep,
                                                        uint16_t* pSrcDst, int32_t srcDstStep,
                                                        NuviSize roiSize, uint8_t* pBuffer,
                                                        int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructDilate_32f_C1IR(const float* pSrc, int32_t srcStep,
                                                        float* pSrcDst, int32_t srcDstStep,
                                                        NuviSize roiSize, uint8_t* pBuffer,
                                                        int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructDilate_64f_C1IR(const double* pSrc, int32_t srcStep,
                                                        double* pSrcDst, int32_t srcDstStep,
                                                        NuviSize roiSize, uint8_t* pBuffer,
                                                        int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructErode_8u_C1IR(const uint8_t* pSrc, int32_t srcStep,
                                                      uint8_t* pSrcDst, int32_t srcDstStep,
                                                      NuviSize roiSize, uint8_t* pBuffer,
                                                      int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructErode_16u_C1IR(const uint16_t* pSrc, int32_t srcStep,
                                                       uint16_t* pSrcDst, int32_t srcDstStep,
                                                       NuviSize roiSize, uint8_t* pBuffer,
                                                       int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructErode_32f_C1IR(const float* pSrc, int32_t srcStep,
                                                       float* pSrcDst, int32_t srcDstStep,
                                                       NuviSize roiSize, uint8_t* pBuffer,
                                                       int32_t norm);
NUVCV_API NuvStatus nuviMorphReconstructErode_64f_C1IR(const double* pSrc, int32_t srcStep,
                                                       double* pSrcDst, int32_t srcDstStep,
                                                       NuviSize roiSize, uint8_t* pBuffer,
                                                       int32_t norm);
/** @} */

/**
 * @name Scratch of the reconstruction
 *
 * Writes, for width w and height h, 4 * w + h + 161 (`8u`), 2 * (4 * w + h) + 322 (`16u`),
 * 16 * w + h + 164 (`32f`), 32 * w + h + 168 (`64f`). A region for which that passes the range of
 * an int32 has no scratch.
 *
 * @param roiSize the region in pixels
 * @param pBufferSize receives the number of bytes
 *
 * @return In the order of the checks:
 * - #nuvStatusNullPointer a null result
 * - #nuvStatusBadSize a width or height less than 1
 * @{
 */
NUVCV_API NuvStatus nuviMorphReconstructGetBufferSize_8u_C1(NuviSize roiSize, int32_t* pBufferSize);
NUVCV_API NuvStatus nuviMorphReconstructGetBufferSize_16u_C1(NuviSize roiSize,
                                                             int32_t* pBufferSize);
NUVCV_API NuvStatus nuviMorphReconstructGetBufferSize_32f_C1(NuviSize roiSize,
                                                             int32_t* pBufferSize);
NUVCV_API NuvStatus nuviMorphReconstructGetBufferSize_64f_C1(NuviSize roiSize,
                                                             int32_t* pBufferSize);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

// The state of flat morphology: a mask, classified once, with the scratch of the calls that use it.
#pragma once

#include "core/numeric.h"
#include "nuvcv/types.h"

namespace nuv {

enum MaskKind : int32_t {
  ownMaskKindGeneral = 0,    // any shape: one sample for each element that is on
  ownMaskKindRectangle = 1,  // a solid rectangle, which need not contain the anchor
  ownMaskKindRowRuns = 2,    // every row that is not empty is one run over the anchor's column
  ownMaskKindEmpty = 3       // nothing is on: the operation is a copy
};

// A mask without its empty margin. In the row-run kind four arrays of int32 follow the record: for
// each row that is not empty its index and the index of its run, for each distinct run its length
// (strictly decreasing) and how far it reaches left of the anchor. Items that point to them hold
// their offset from the start of the state.
struct NuviMaskRunDescriptor {
  int32_t width;
  int32_t height;
  int32_t anchorX;
  int32_t anchorY;
  int32_t reserved[2];
  int32_t rowCount;
  int32_t runCount;
  int32_t rowOffsets;
  int32_t rowRunIndex;
  int32_t runLengths;
  int32_t runLeftExtents;
};

// Bytes of scratch for calls with a row-run mask: a ring with a line for each distinct run of each
// row under the mask, one line to spare, and a table of lines.
inline int64_t rowRunScratchBytes(int32_t roiWidth, int32_t pixelBytes, int32_t height,
                                  int32_t runCount) {
  return (int64_t{height} * runCount + 1) * (int64_t{roiWidth} * pixelBytes + 32) +
         int64_t{height} * 20 + 36;
}

enum class StateMode : int32_t { reportSize = 0, fillBlock = 1, allocate = 2 };

// Builds the state of a mask: reports its size through sizeOut, fills the block at *stateSlot, or
// allocates it and writes *stateSlot, which a failure leaves alone. noRunDecomposition (0 or 1)
// rules the row-run kind out, so that the size does not depend on the anchor.
NuvStatus ownBuildMorphologyState(int32_t elementCode, int32_t channels, int32_t roiWidth,
                                  const uint8_t* mask, int32_t maskWidth, int32_t maskHeight,
                                  int32_t anchorX, int32_t anchorY, NuviMorphologyState** stateSlot,
                                  int32_t* sizeOut, StateMode mode, int32_t noRunDecomposition);

}  // namespace nuv

// One block, which starts at any address. It holds what follows the record at offsets from its own
// start, 0 for nothing; kinds with a descriptor tell width, height and anchor within the mask's
// bounding box, the others those of the mask as it was given.
#pragma pack(push, 1)
struct NuviMorphologyState {
  int32_t maskCopy;       // the mask, row by row
  int32_t taps;           // general kind: of each element that is on, its place in the work image
  int32_t tapCount;       // general kind
  int32_t workBuffer;     // scratch of a call
  int32_t runDescriptor;  // rectangle and row-run kinds
  int32_t maskWidth;
  int32_t maskHeight;
  int32_t anchorX;  // rectangle kind: may lie outside the mask
  int32_t anchorY;
  int32_t rightExtent;    // general kind: columns right of the anchor
  int32_t bottomExtent;   // general kind: rows below the anchor
  int32_t paddedRowStep;  // general kind: row step of the work image, in bytes
  int32_t stateSize;      // bytes of the block
  int32_t elementCode;    // an NuvDataType
  int32_t channels;
  int32_t maxRoiWidth;
  int32_t reservedMinusOne;
  nuv::MaskKind maskKind;
};
#pragma pack(pop)

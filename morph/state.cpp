// States of flat morphology: a binary mask is classified once, and everything that the calls on
// images need is kept in one block: the kind of the mask, its decomposition, and their scratch.
//
// A solid rectangle is a pair of running extremes. A mask whose rows are single runs over the
// anchor's column (a disk, a diamond, a cross) is a few row filters, one for each distinct run, and
// one combination for each row. Anything else is taken element by element.

#include "morph/state.h"

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "morph/minmaxfilter.h"
#include "nuvcv/morph.h"

namespace nuv {
namespace {

constexpr int32_t headerBytes = 80;
constexpr int32_t rectangleDescriptorBytes = 32;  // the first six items and a gap
constexpr int32_t elementRoom = 32;  // general kind: bytes for each element of the mask's copy
constexpr int64_t tailAlignment = 16;
static_assert(sizeof(NuviMorphologyState) == 72 && sizeof(NuviMaskRunDescriptor) == 48);

struct Mask {
  const uint8_t* elements;
  int32_t width;
  int32_t height;
  int32_t anchorX;
  int32_t anchorY;

  const uint8_t* row(int32_t y) const { return elements + ptrdiff_t{y} * width; }
  int64_t area() const { return int64_t{width} * height; }
};

// What classification learns, in scratch with some entries for each row of the mask.
struct Classification {
  static constexpr int32_t entriesPerRow = 6;

  Classification(int32_t* scratch, int32_t maskHeight)
      : rowOffsets(scratch),
        rowRunIndex(rowOffsets + maskHeight),
        runLengths(rowRunIndex + maskHeight),
        runLeftExtents(runLengths + maskHeight),
        rowLengths(runLeftExtents + maskHeight),
        rowLeftExtents(rowLengths + maskHeight) {}

  MaskKind kind = ownMaskKindGeneral;
  NuviMaskRunDescriptor descriptor = {1, 1, 0, 0, {0, 0}, 0, 0, 0, 0, 0, 0};
  int32_t* const rowOffsets;   // of each row that is not empty, from the first such row
  int32_t* const rowRunIndex;  // its place in the list of distinct runs
  int32_t* const runLengths;   // of each distinct run, strictly decreasing
  int32_t* const runLeftExtents;
  int32_t* const rowLengths;  // of each row that is not empty
  int32_t* const rowLeftExtents;
};

// Two rows of the same length are to be the same run: false if they are not.
bool listDistinctRuns(Classification& found) {
  int32_t& count = found.descriptor.runCount;
  for (int32_t k = 0; k < found.descriptor.rowCount; ++k) {
    const int32_t length = found.rowLengths[k];
    const int32_t leftExtent = found.rowLeftExtents[k];
    int32_t cursor = 0;
    while (cursor < count && found.runLengths[cursor] > length) ++cursor;
    if (cursor < count && found.runLengths[cursor] == length) {
      if (found.runLeftExtents[cursor] != leftExtent) return false;
      continue;
    }
    std::copy_backward(found.runLengths + cursor, found.runLengths + count,
                       found.runLengths + count + 1);
    std::copy_backward(found.runLeftExtents + cursor, found.runLeftExtents + count,
                       found.runLeftExtents + count + 1);
    found.runLengths[cursor] = length;
    found.runLeftExtents[cursor] = leftExtent;
    ++count;
  }
  for (int32_t k = 0; k < found.descriptor.rowCount; ++k) {
    const int32_t* const run =
        std::find(found.runLengths, found.runLengths + count, found.rowLengths[k]);
    found.rowRunIndex[k] = static_cast<int32_t>(run - found.runLengths);
  }
  return true;
}

MaskKind ownClassifyMask(const Mask& mask, int32_t noRunDecomposition, Classification& found) {
  const auto isOn = [](uint8_t element) { return element != 0; };
  int32_t rows = 0;
  int32_t rowsOffAnchor = noRunDecomposition;
  int32_t firstColumn = mask.width;
  int32_t endColumn = 0;
  for (int32_t y = 0; y < mask.height; ++y) {
    const uint8_t* const row = mask.row(y);
    const uint8_t* const rowEnd = row + mask.width;
    const uint8_t* const runBegin = std::find_if(row, rowEnd, isOn);
    if (runBegin == rowEnd) continue;
    const uint8_t* const runEnd = std::find(runBegin, rowEnd, 0);
    if (std::any_of(runEnd, rowEnd, isOn)) return ownMaskKindGeneral;

    const auto begin = static_cast<int32_t>(runBegin - row);
    const auto end = static_cast<int32_t>(runEnd - row);
    found.rowOffsets[rows] = y;
    found.rowLengths[rows] = end - begin;
    found.rowLeftExtents[rows] = mask.anchorX - begin;
    ++rows;
    firstColumn = std::min(firstColumn, begin);
    endColumn = std::max(endColumn, end);
    if (begin > mask.anchorX || end <= mask.anchorX) ++rowsOffAnchor;
  }
  if (rows == 0) return ownMaskKindEmpty;

  const int32_t firstRow = found.rowOffsets[0];
  const int32_t lastRow = found.rowOffsets[rows - 1];
  found.descriptor.width = endColumn - firstColumn;
  found.descriptor.height = lastRow - firstRow + 1;
  found.descriptor.anchorX = mask.anchorX - firstColumn;
  found.descriptor.anchorY = mask.anchorY - firstRow;

  // Before any question of the anchor: a rectangle need not contain it.
  bool isRectangle = found.descriptor.height == rows;
  for (int32_t k = 1; k < rows && isRectangle; ++k) {
    isRectangle = found.rowLengths[k] == found.rowLengths[0] &&
                  found.rowLeftExtents[k] == found.rowLeftExtents[0];
  }
  if (isRectangle) return ownMaskKindRectangle;

  if (rowsOffAnchor > 0 || mask.anchorY < firstRow || mask.anchorY > lastRow) {
    return ownMaskKindGeneral;
  }
  for (int32_t k = 0; k < rows; ++k) found.rowOffsets[k] -= firstRow;
  found.descriptor.rowCount = rows;
  return listDistinctRuns(found) ? ownMaskKindRowRuns : ownMaskKindGeneral;
}

// A small mask of wide pixels is faster taken element by element.
bool prefersElements(int32_t elementCode, int32_t channels, int64_t maskArea) {
  if (elementCode != nuvDataType32f) return false;
  return (channels == 3 && maskArea < 17) || (channels == 4 && maskArea < 49);
}

// How large a state and the parts of its tail are.
struct Sizes {
  int64_t maskCopy;
  int64_t runArrays = 0;      // row-run kind
  int64_t paddedRowStep = 0;  // general kind
  int64_t state;

  Sizes(const Mask& mask, const Classification& found, int32_t roiWidth, int32_t pixelBytes)
      : maskCopy(alignUp(mask.area(), tailAlignment)) {
    const NuviMaskRunDescriptor& box = found.descriptor;
    switch (found.kind) {
      case ownMaskKindEmpty:
        state = headerBytes + maskCopy;
        break;
      case ownMaskKindRectangle:
        state = headerBytes + rectangleDescriptorBytes + maskCopy +
                rectangleScratchBytes(roiWidth, pixelBytes, box.height);
        break;
      case ownMaskKindRowRuns:
        runArrays = (int64_t{box.rowCount} + box.runCount) * 8;
        state = headerBytes + int64_t{sizeof box} + runArrays + maskCopy +
                rowRunScratchBytes(roiWidth, pixelBytes, box.height, box.runCount);
        break;
      default:
        paddedRowStep = alignUp((int64_t{roiWidth} + mask.width) * pixelBytes, tailAlignment);
        state = headerBytes + tailAlignment + (1 + elementRoom) * maskCopy +
                2 * mask.height * paddedRowStep;
    }
  }
};

// A state under construction: the record is gathered here and copied to the block at last, since a
// block may start at any address.
class StateBuilder {
 public:
  StateBuilder(uint8_t* block, const Mask& mask, const Classification& found, const Sizes& sizes)
      : block_(block), mask_(mask), found_(found), sizes_(sizes) {}

  void build(int32_t elementCode, int32_t channels, int32_t roiWidth) {
    state_.stateSize = static_cast<int32_t>(sizes_.state);
    state_.elementCode = elementCode;
    state_.channels = channels;
    state_.maxRoiWidth = roiWidth;
    state_.reservedMinusOne = -1;
    state_.maskKind = found_.kind;
    switch (found_.kind) {
      case ownMaskKindEmpty:
        buildEmpty();
        break;
      case ownMaskKindRectangle:
        buildRectangle();
        break;
      case ownMaskKindRowRuns:
        buildRowRuns();
        break;
      default:
        buildGeneral();
    }
    std::memcpy(block_ + state_.maskCopy, mask_.elements, static_cast<size_t>(mask_.area()));
    std::memcpy(block_, &state_, sizeof state_);
  }

 private:
  void buildEmpty() {
    state_.maskCopy = headerBytes;
    state_.runDescriptor = state_.maskCopy;
    state_.maskWidth = mask_.width;
    state_.maskHeight = mask_.height;
  }

  void takeBox() {
    state_.runDescriptor = headerBytes;
    state_.maskWidth = found_.descriptor.width;
    state_.maskHeight = found_.descriptor.height;
    state_.anchorX = found_.descriptor.anchorX;
    state_.anchorY = found_.descriptor.anchorY;
  }

  void buildRectangle() {
    takeBox();
    std::memcpy(block_ + headerBytes, &found_.descriptor, 6 * sizeof(int32_t));
    state_.maskCopy = headerBytes + rectangleDescriptorBytes;
    state_.workBuffer = state_.maskCopy + maskCopyBytes();
  }

  void buildRowRuns() {
    takeBox();
    NuviMaskRunDescriptor descriptor = found_.descriptor;
    int32_t next = headerBytes + static_cast<int32_t>(sizeof descriptor);
    const auto append = [&](const int32_t* items, int32_t count) {
      const int32_t offset = next;
      const auto bytes = sizeof(int32_t) * static_cast<size_t>(count);
      std::memcpy(block_ + offset, items, bytes);
      next += static_cast<int32_t>(bytes);
      return offset;
    };
    descriptor.rowOffsets = append(found_.rowOffsets, descriptor.rowCount);
    descriptor.rowRunIndex = append(found_.rowRunIndex, descriptor.rowCount);
    descriptor.runLengths = append(found_.runLengths, descriptor.runCount);
    descriptor.runLeftExtents = append(found_.runLeftExtents, descriptor.runCount);
    std::memcpy(block_ + headerBytes, &descriptor, sizeof descriptor);
    state_.maskCopy = next;
    state_.workBuffer = state_.maskCopy + maskCopyBytes();
  }

  void buildGeneral() {
    const auto start = reinterpret_cast<uintptr_t>(block_);
    const uintptr_t tail = alignUp<uintptr_t>(start + headerBytes, tailAlignment);
    state_.maskCopy = static_cast<int32_t>(tail - start);
    state_.taps = state_.maskCopy + maskCopyBytes();
    state_.workBuffer = state_.taps + elementRoom * maskCopyBytes();
    state_.maskWidth = mask_.width;
    state_.maskHeight = mask_.height;
    state_.anchorX = mask_.anchorX;
    state_.anchorY = mask_.anchorY;
    state_.rightExtent = mask_.width - mask_.anchorX - 1;
    state_.bottomExtent = mask_.height - mask_.anchorY - 1;
    state_.paddedRowStep = static_cast<int32_t>(sizes_.paddedRowStep);

    const int32_t elementBytes = state_.elementCode == nuvDataType8u ? 1 : 4;
    auto* const taps = reinterpret_cast<int32_t*>(block_ + state_.taps);
    for (int32_t j = 0; j < mask_.height; ++j) {
      for (int32_t i = 0; i < mask_.width; ++i) {
        if (mask_.row(j)[i] == 0) continue;
        taps[state_.tapCount++] = j * (state_.paddedRowStep / elementBytes) + i * state_.channels;
      }
    }
  }

  int32_t maskCopyBytes() const { return static_cast<int32_t>(sizes_.maskCopy); }

  uint8_t* const block_;
  const Mask& mask_;
  const Classification& found_;
  const Sizes& sizes_;
  NuviMorphologyState state_ = {};
};

}  // namespace

NuvStatus ownBuildMorphologyState(int32_t elementCode, int32_t channels, int32_t roiWidth,
                                  const uint8_t* mask, int32_t maskWidth, int32_t maskHeight,
                                  int32_t anchorX, int32_t anchorY, NuviMorphologyState** stateSlot,
                                  int32_t* sizeOut, StateMode mode, int32_t noRunDecomposition) {
  const NuvStatus status =
      Check()
          .pointers(mask)
          .require(roiWidth >= 1 && maskWidth >= 1 && maskHeight >= 1, nuvStatusBadSize)
          .require(anchorX >= 0 && anchorX < maskWidth, nuvStatusBadAnchor)
          .require(anchorY >= 0 && anchorY < maskHeight, nuvStatusBadAnchor)
          .status();
  if (status != nuvStatusOk) return status;

  const OwnedBlock<int32_t> scratch(int64_t{Classification::entriesPerRow} * maskHeight);
  if (scratch.get() == nullptr) return nuvStatusNoMemory;
  const Mask given = {mask, maskWidth, maskHeight, anchorX, anchorY};
  Classification found(scratch.get(), maskHeight);
  found.kind = ownClassifyMask(given, noRunDecomposition, found);
  if (found.kind == ownMaskKindRowRuns && prefersElements(elementCode, channels, given.area())) {
    found.kind = ownMaskKindGeneral;
  }
  const Sizes sizes(given, found, roiWidth, channels * (elementCode == nuvDataType8u ? 1 : 4));
  const bool addressable = sizes.state <= INT32_MAX;

  if (mode == StateMode::reportSize) {
    if (sizeOut == nullptr) return nuvStatusNullPointer;
    if (!addressable) return nuvStatusBadSize;
    *sizeOut = static_cast<int32_t>(sizes.state);
    return nuvStatusOk;
  }
  if (stateSlot == nullptr) return nuvStatusNullPointer;
  if (mode == StateMode::fillBlock) {
    if (*stateSlot == nullptr) return nuvStatusNullPointer;
    if (!addressable) return nuvStatusBadSize;
  } else {
    void* const block = allocate<uint8_t>(sizes.state);
    if (block == nullptr) return nuvStatusNoMemory;
    *stateSlot = static_cast<NuviMorphologyState*>(block);
  }
  StateBuilder(reinterpret_cast<uint8_t*>(*stateSlot), given, found, sizes)
      .build(elementCode, channels, roiWidth);
  return nuvStatusOk;
}

}  // namespace nuv

using namespace nuv;

#define NUV_STATE_FORM(form, elementCode, channels)                                              \
  NuvStatus nuviMorphologyGetSize_##form(int32_t roiWidth, const uint8_t* pMask,                 \
                                         NuviSize maskSize, int32_t* pStateSize) {               \
    return ownBuildMorphologyState(elementCode, channels, roiWidth, pMask, maskSize.width,       \
                                   maskSize.height, maskSize.width >> 1, maskSize.height >> 1,   \
                                   nullptr, pStateSize, StateMode::reportSize, 0);               \
  }                                                                                              \
  NuvStatus nuviMorphologyInit_##form(int32_t roiWidth, const uint8_t* pMask, NuviSize maskSize, \
                                      NuviPoint anchor, NuviMorphologyState* pState) {           \
    return ownBuildMorphologyState(elementCode, channels, roiWidth, pMask, maskSize.width,       \
                                   maskSize.height, anchor.x, anchor.y, &pState, nullptr,        \
                                   StateMode::fillBlock, 0);                                     \
  }                                                                                              \
  NuvStatus nuviMorphologyInitAlloc_##form(int32_t roiWidth, const uint8_t* pMask,               \
                                           NuviSize maskSize, NuviPoint anchor,                  \
                                           NuviMorphologyState** ppState) {                      \
    return ownBuildMorphologyState(elementCode, channels, roiWidth, pMask, maskSize.width,       \
                                   maskSize.height, anchor.x, anchor.y, ppState, nullptr,        \
                                   StateMode::allocate, 0);                                      \
  }
NUV_STATE_FORM(8u_C1R, nuvDataType8u, 1)
NUV_STATE_FORM(8u_C3R, nuvDataType8u, 3)
NUV_STATE_FORM(8u_C4R, nuvDataType8u, 4)
NUV_STATE_FORM(32f_C1R, nuvDataType32f, 1)
NUV_STATE_FORM(32f_C3R, nuvDataType32f, 3)
NUV_STATE_FORM(32f_C4R, nuvDataType32f, 4)
#undef NUV_STATE_FORM

NuvStatus nuviMorphologyFree(NuviMorphologyState* pState) { return freeState(pState); }

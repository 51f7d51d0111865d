// The engine of the ready-made filters with a border: a row pass and a column pass over a ring of
// rows. Each source row is continued on both sides first, and rows above and below stand in for
// rows outside, so the result is that of extending the image in both directions.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "filter/pipeline/border.h"
#include "nuvcv/filter.h"

namespace nuv {

// ---- the border argument

// A kind that these filters take; flags have to be among the four that exist.
inline bool isFilterBorder(NuviBorderType border) {
  const int32_t kind = border & 0xF;
  if (!isPlainBorder(kind) && kind != nuvBorderInMemory) return false;
  return (border & 0xFFF0) == 0 || (border & 0xF0) != 0;
}

// The kind, and the sides where memory is read instead.
struct FilterBorder {
  explicit FilterBorder(NuviBorderType border)
      : FilterBorder(border & 0xF, (border & 0xF) == nuvBorderInMemory ? 0xF0 : border) {}

  NuviBorderType kind;
  bool top, bottom, left, right;

 private:
  FilterBorder(int32_t givenKind, int32_t flags)
      : kind(givenKind == nuvBorderInMemory ? nuvBorderConstant : givenKind),
        top((flags & nuvBorderFlagMemTop) != 0),
        bottom((flags & nuvBorderFlagMemBottom) != 0),
        left((flags & nuvBorderFlagMemLeft) != 0),
        right((flags & nuvBorderFlagMemRight) != 0) {}
};

inline int32_t tapsOf(NuviMaskSize maskSize) { return maskSize == nuvMask5x5 ? 5 : 3; }
inline bool isFilterMask(NuviMaskSize maskSize) {
  return maskSize == nuvMask3x3 || maskSize == nuvMask5x5;
}

// ---- reported scratch

// What a filter reports for each thread: ring rows, and the stages of the separable pipelines.
struct FilterScratch {
  int32_t sampleBytes;  // of a ring row's sample, for each value that the row pass keeps
  int32_t planes;       // values that the row pass keeps for each pixel
  int32_t fixedBytes;
  int32_t slackBytes;
  bool isFloat;              // the element of the pipelines whose stages are counted in
  bool countsImage = false;  // with 5 taps a 16-bit picture is counted in
};

inline int32_t threadScratchBytes(const FilterScratch& form, NuviSize roiSize, int32_t taps) {
  int32_t row = 0, column = 0;
  if (form.isFloat) {
    nuviFilterRowBorderPipelineGetBufferSize_32f_C1R(roiSize, taps, &row);
    nuviFilterColumnPipelineGetBufferSize_32f_C3R(roiSize, taps, &column);
  } else {
    nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R(roiSize, taps, &row);
    nuviFilterColumnPipelineGetBufferSize_16s_C1R(roiSize, taps, &column);
  }
  const int64_t pitch = alignUp<int64_t>(roiSize.width, 16);
  const int64_t rings = pitch * form.sampleBytes * form.planes * (15 + 2 * taps);
  const int64_t parts = rings + 12 * form.planes * taps + form.fixedBytes + row + column;
  const int64_t image = form.countsImage && taps == 5 ? 2 * pitch * roiSize.height + 32 : 0;
  // What no memory can hold wraps.
  return static_cast<int32_t>(static_cast<uint64_t>(parts + form.slackBytes) +
                              static_cast<uint64_t>(image));
}

// ---- the passes

// One thread's part of a filter: `Source` pixels become `Sample` rows in the ring, and those
// `Result` pixels. The row pass writes whole blocks of the columns `first` to `end`, in `planes`
// rows of `pitch` samples; the column pass is given the planes of each tap's row.
template <class Source, class Sample, class Result>
struct Filter {
  int32_t taps;
  int32_t planes;
  void (*rowPass)(const Source* row, Sample* rows, ptrdiff_t pitch, ptrdiff_t first, ptrdiff_t end);
  void (*columnPass)(const Sample* const* rows, ptrdiff_t pitch, Result* dst, ptrdiff_t width,
                     float inverse);
};

// Where the pixels come from: the region, what lies around it, and the constant.
template <class Source>
struct FilterSource {
  Image<const Source> image;
  NuviSize size;
  FilterBorder border;
  Source constant;

  // The row that stands at y; null if it is all constant.
  const Source* rowAt(int32_t y) const {
    if ((y >= 0 || border.top) && (y < size.height || border.bottom)) return image.row(y);
    if (border.kind == nuvBorderConstant) return nullptr;
    return image.row(static_cast<ptrdiff_t>(borderPosition(border.kind, y, size.height)));
  }

  // Writes what stands in for the `reach` pixels left and right of a row.
  void fillBorder(const Source* row, int32_t reach, Source* line) const {
    const ptrdiff_t width = size.width;
    if (border.left) {
      std::copy(row - reach, row, line - reach);
    } else {
      extendRow<1>(row, width, border.kind, &constant, -reach, 0, line - reach);
    }
    if (border.right) {
      std::copy(row + width, row + width + reach, line + width);
    } else {
      extendRow<1>(row, width, border.kind, &constant, width, width + reach, line + width);
    }
  }
};

// Filters `rows` rows from `firstRow` on. The line and the ring keep room for whole blocks, so that
// the passes have no tail; what stands behind the row's end is dropped at the result.
template <class Source, class Sample, class Result>
void filterShare(const Filter<Source, Sample, Result>& filter, const FilterSource<Source>& src,
                 const Image<Result>& dst, Scratch scratch, int32_t firstRow, int32_t rows,
                 float inverse) {
  constexpr int32_t mostTaps = 5;
  constexpr ptrdiff_t mostReach = mostTaps / 2;
  constexpr ptrdiff_t stretch = 32;  // columns; whole blocks of every kind
  const ptrdiff_t width = src.size.width;
  const ptrdiff_t pitch = alignUp(width, stretch);
  const int32_t taps = filter.taps;
  const int32_t reach = taps / 2;
  Source* const line = scratch.take<Source>(pitch + 2 * stretch, 32) + stretch;
  Sample* const ring = scratch.take<Sample>(pitch * taps * filter.planes, 32);

  // Row y has its place in the ring; the rows in use are `taps` in sequence.
  const auto place = [&](int32_t y) {
    return ring + (y - firstRow + reach) % taps * filter.planes * pitch;
  };
  // Stretches that need no pixel from outside the row are filtered where they are. The first one
  // and what follows the last one go through the line, where the border continues them.
  const ptrdiff_t insideEnd = (width - mostReach) / stretch * stretch;
  const ptrdiff_t insideFirst = std::min(stretch, insideEnd);
  const auto fill = [&](int32_t y) {
    Sample* const filtered = place(y);
    const Source* const row = src.rowAt(y);
    if (row == nullptr) {
      std::fill(line - reach, line + width + reach, src.constant);
      filter.rowPass(line, filtered, pitch, 0, pitch);
      return;
    }
    src.fillBorder(row, reach, line);
    std::copy(row, row + std::min(insideFirst + mostReach, width), line);
    const ptrdiff_t rest = std::max<ptrdiff_t>(insideEnd - mostReach, 0);
    std::copy(row + rest, row + width, line + rest);
    filter.rowPass(line, filtered, pitch, 0, insideFirst);
    filter.rowPass(row, filtered, pitch, insideFirst, insideEnd);
    filter.rowPass(line, filtered, pitch, insideEnd, pitch);
  };
  for (int32_t y = firstRow - reach; y < firstRow + reach; ++y) fill(y);
  for (int32_t y = firstRow; y < firstRow + rows; ++y) {
    fill(y + reach);
    const Sample* tapRows[mostTaps];
    for (int32_t k = 0; k < taps; ++k) tapRows[k] = place(y - reach + k);
    filter.columnPass(tapRows, pitch, dst.row(y), width, inverse);
  }
}

// Whether a region is worth a team, and its size.
inline bool isLargeForFilter(NuviSize size) {
  const int32_t threads = ownThreadCount();
  return int64_t{5} * threads <= size.height && size.width >= 0x100 && threads > 1 &&
         size.height >= 0x100 && ownCoresIfMany() != 0;
}
inline int32_t filterTeam(NuviSize size) {
  return std::min({size.height / 128, nuvGetNumCoresOnDie(), ownGetNumThreads()});
}

template <class Source, class Sample, class Result>
void runFilter(const Filter<Source, Sample, Result>& filter, const FilterSource<Source>& src,
               const Image<Result>& dst, uint8_t* pBuffer, int32_t threadBytes, float inverse) {
  const auto run = [&](int32_t thread, int32_t firstRow, int32_t rows) {
    filterShare(filter, src, dst, Scratch(pBuffer + int64_t{thread} * threadBytes, threadBytes),
                firstRow, rows, inverse);
  };
  if (isLargeForFilter(src.size)) {
    forkRows(filterTeam(src.size), src.size.height, run);
  } else {
    run(0, 0, src.size.height);
  }
}

// ---- the exported shape

template <class Source, class Result>
struct FilterCall {
  const Source* pSrc;
  int32_t srcStep;
  Result* pDst;
  int32_t dstStep;
  NuviSize roiSize;
  NuviMaskSize maskSize;
  NuviBorderType borderType;
  Source borderValue;
  int32_t divisor;  // 1 in the forms without one
  uint8_t* pBuffer;
};

template <class Source, class Result>
NuvStatus checkFilter(const FilterCall<Source, Result>& call) {
  return Check()
      .pointers(call.pSrc, call.pDst, call.pBuffer)
      .size(call.roiSize)
      .step(call.pSrc, call.srcStep, call.roiSize.width)
      .step(call.pDst, call.dstStep, call.roiSize.width)
      .elementMultiple(call.pSrc, call.srcStep)
      .elementMultiple(call.pDst, call.dstStep)
      .require(isFilterBorder(call.borderType), nuvStatusBadArgument)
      .require(call.divisor != 0, nuvStatusBadArgument)
      .require(isFilterMask(call.maskSize), nuvStatusBadMask)
      .status();
}

// Checks and runs a filter: `small` for the 3x3 mask, `large` for the 5x5 one.
template <class Source, class Sample, class Result>
NuvStatus filterWithBorder(const FilterCall<Source, Result>& call, const FilterScratch& form,
                           const Filter<Source, Sample, Result>& small,
                           const Filter<Source, Sample, Result>& large) {
  const NuvStatus status = checkFilter(call);
  if (status != nuvStatusOk) return status;

  const int32_t taps = tapsOf(call.maskSize);
  const FilterSource<Source> src = {
      {call.pSrc, call.srcStep}, call.roiSize, FilterBorder(call.borderType), call.borderValue};
  runFilter(taps == 3 ? small : large, src, Image<Result>(call.pDst, call.dstStep), call.pBuffer,
            threadScratchBytes(form, call.roiSize, taps), 1.0f / static_cast<float>(call.divisor));
  return nuvStatusOk;
}

// The size function of a filter.
inline NuvStatus reportFilterSize(const FilterScratch& form, NuviSize roiSize,
                                  NuviMaskSize maskSize, int32_t* pBufferSize) {
  const NuvStatus status = Check()
                               .pointers(pBufferSize)
                               .size(roiSize)
                               .require(isFilterMask(maskSize), nuvStatusBadMask)
                               .status();
  if (status != nuvStatusOk) return status;
  *pBufferSize =
      wrappingMultiply(ownThreadCount(), threadScratchBytes(form, roiSize, tapsOf(maskSize)));
  return nuvStatusOk;
}

}  // namespace nuv

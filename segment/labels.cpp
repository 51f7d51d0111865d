// Connected components get numbers, one flood fill for each, and the bounds of labelled segments
// get a mark.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "nuvcv/segment.h"
#include "segment/runs.h"

namespace nuv {
namespace {

constexpr int32_t eightNeighbours = 0, fourNeighbours = 1;

NuvStatus fill(uint8_t* image, int32_t step, NuviSize size, NuviPoint seed, uint8_t label,
               int32_t norm, NuviFilledRegion* region, uint8_t* buffer) {
  const auto form =
      norm == fourNeighbours ? nuviFloodFill_4Con_8u_C1IR : nuviFloodFill_8Con_8u_C1IR;
  return form(image, step, size, seed, label, region, buffer);
}
NuvStatus fill(uint16_t* image, int32_t step, NuviSize size, NuviPoint seed, uint16_t label,
               int32_t norm, NuviFilledRegion* region, uint8_t* buffer) {
  const auto form =
      norm == fourNeighbours ? nuviFloodFill_4Con_16u_C1IR : nuviFloodFill_8Con_16u_C1IR;
  return form(image, step, size, seed, label, region, buffer);
}

template <class T>
void raiseToTop(T* row, ptrdiff_t width) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    row[x] = row[x] != 0 ? std::numeric_limits<T>::max() : T{0};
  }
}

template <class T>
NuvStatus labelMarkers(T* pMarkers, int32_t markerStep, NuviSize roiSize, int32_t minLabel,
                       int32_t maxLabel, int32_t norm, int32_t* number, uint8_t* buffer) {
  constexpr T top = std::numeric_limits<T>::max();
  const NuvStatus status =
      Check()
          .pointers(pMarkers, buffer, number)
          .size(roiSize)
          .step(pMarkers, markerStep, roiSize.width)
          .elementMultiple(pMarkers, markerStep)
          .require(minLabel >= 1 && maxLabel < top && minLabel <= maxLabel, nuvStatusBadArgument)
          .require(norm == fourNeighbours || norm == eightNeighbours, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  // The top value, which is no label, stands for a pixel without a label yet.
  const Image<T> markers(pMarkers, markerStep);
  for (int32_t y = 0; y < roiSize.height; ++y) raiseToTop(markers.row(y), roiSize.width);
  int32_t label = minLabel, count = 0;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const T* const row = markers.row(y);
    for (int32_t x = 0;; ++x) {
      x = firstWhere<true>(row, x, roiSize.width, top, top);
      if (x == roiSize.width) break;
      NuviFilledRegion region;
      fill(pMarkers, markerStep, roiSize, {x, y}, static_cast<T>(label), norm, &region, buffer);
      ++count;
      label = label == maxLabel ? minLabel : label + 1;
    }
  }
  *number = count;
  return nuvStatusOk;
}

// Whether the neighbour makes the pixel part of a bound.
template <class T>
inline bool differs(T neighbour, T pixel, T mark) {
  return neighbour != mark && neighbour != pixel;
}

#if NUV_AVX2
// One bit for each of 32 pixels: the neighbours that differ from their pixels.
inline uint32_t differing(const uint8_t* neighbours, const uint8_t* pixels, uint8_t mark) {
  const auto a = load<U8x32>(neighbours), c = load<U8x32>(pixels);
  const auto lanes = (a != broadcast<U8x32>(mark)) & (a != c);
  return static_cast<uint32_t>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(lanes)));
}
inline uint32_t differing(const uint16_t* neighbours, const uint16_t* pixels, uint16_t mark) {
  const auto half = [&](int at) {
    const auto a = load<U16x16>(neighbours + at), c = load<U16x16>(pixels + at);
    return reinterpret_cast<S16x16>((a != broadcast<U16x16>(mark)) & (a != c));
  };
  const __m256i packed =
      _mm256_packs_epi16(reinterpret_cast<__m256i>(half(0)), reinterpret_cast<__m256i>(half(16)));
  return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(packed, 0xD8)));
}

// Solves marked[i] = above[i] | (left[i] & ~marked[i - 1]) for 32 pixels at once: a left neighbour
// that was marked is excused. `before` is the mark of the pixel before the first. Along a run of
// pixels that only the left neighbour decides, marks alternate, beginning with the opposite of the
// pixel before the run; so a run's marks are all at even or all at odd places. The sum carries
// through the runs of the first kind and so tells them apart.
inline uint32_t alternateMarks(uint32_t above, uint32_t left, uint32_t before) {
  constexpr uint64_t even = 0x5555555555555555u;
  const uint64_t open = left & ~above;
  const uint64_t starts = open & ~(open << 1);
  const uint64_t markedBefore = (uint64_t{above} << 1) | before;
  const uint64_t evenStarts = starts & (even ^ markedBefore);
  const uint64_t evenRuns = open & ~(open + evenStarts);
  return static_cast<uint32_t>(above | (evenRuns & even) | (open & ~evenRuns & ~even));
}
#endif

// One row, left to right; `above` is the row before, or null for the image's first row.
template <bool corners, class T>
void boundRow(T* row, const T* above, int32_t width, T mark) {
  // Whether the row above marks the pixel. The last corners lie inside the row.
  const auto markedFromAbove = [&](int32_t x) {
    if (above == nullptr) return false;
    if (differs(above[x], row[x], mark)) return true;
    return corners && ((x > 0 && differs(above[x - 1], row[x], mark)) ||
                       (x + 1 < width && differs(above[x + 1], row[x], mark)));
  };
  const auto scalar = [&](int32_t from, int32_t to) {
    for (int32_t x = from; x < to; ++x) {
      if ((x > 0 && differs(row[x - 1], row[x], mark)) || markedFromAbove(x)) row[x] = mark;
    }
  };
  int32_t x = 1;
  scalar(0, 1);
#if NUV_AVX2
  // A pixel before the block reads as it is now: marked, it differs from nothing.
  for (; width - x >= 33; x += 32) {
    uint32_t fromAbove = 0;
    if (above != nullptr) {
      fromAbove = differing(above + x, row + x, mark);
      if (corners) {
        fromAbove |= differing(above + x - 1, row + x, mark);
        fromAbove |= differing(above + x + 1, row + x, mark);
      }
    }
    const uint32_t fromLeft = differing(row + x - 1, row + x, mark);
    uint32_t marked = alternateMarks(fromAbove, fromLeft, 0);
    for (; marked != 0; marked &= marked - 1) row[x + __builtin_ctz(marked)] = mark;
  }
#endif
  scalar(x, width);
}

template <class T>
NuvStatus boundSegments(T* pMarkers, int32_t markerStep, NuviSize roiSize, T val, int32_t norm) {
  // Compared as unsigned values, so that an image may be walked upward.
  const auto rowBytes =
      static_cast<uint32_t>(wrappingMultiply(roiSize.width, static_cast<int32_t>(sizeof(T))));
  const NuvStatus status =
      Check()
          .pointers(pMarkers)
          .size(roiSize)
          .require(static_cast<uint32_t>(markerStep) >= rowBytes, nuvStatusBadStep)
          .elementMultiple(pMarkers, markerStep)
          .require(norm == fourNeighbours || norm == eightNeighbours, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  const Image<T> markers(pMarkers, markerStep);
  const auto boundRows = [&](int32_t firstRow, int32_t endRow) {
    for (int32_t y = firstRow; y < endRow; ++y) {
      const T* const above = y == 0 ? nullptr : markers.row(y - 1);
      if (norm == eightNeighbours) {
        boundRow<true>(markers.row(y), above, roiSize.width, val);
      } else {
        boundRow<false>(markers.row(y), above, roiSize.width, val);
      }
    }
  };
  const int32_t bands =
      std::min(std::min(callerTeamSize(), roiSize.height >> 4), gateArea(roiSize) >> 10);
  if (bands <= 1) {
    boundRows(0, roiSize.height);
  } else {
    forkBands(std::min(bands, ownGetNumThreads()), roiSize.height,
              [&](int32_t, int32_t firstRow, int32_t endRow) { boundRows(firstRow, endRow); });
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviLabelMarkersGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize) {
  return nuviFloodFillGetSize(roiSize, bufferSize);
}

NuvStatus nuviLabelMarkersGetBufferSize_16u_C1R(NuviSize roiSize, int32_t* bufferSize) {
  return nuviFloodFillGetSize(roiSize, bufferSize);
}

NuvStatus nuviLabelMarkers_8u_C1IR(uint8_t* markers, int32_t markerStep, NuviSize roiSize,
                                   int32_t minLabel, int32_t maxLabel, int32_t norm,
                                   int32_t* number, uint8_t* buffer) {
  return labelMarkers(markers, markerStep, roiSize, minLabel, maxLabel, norm, number, buffer);
}

NuvStatus nuviLabelMarkers_16u_C1IR(uint16_t* markers, int32_t markerStep, NuviSize roiSize,
                                    int32_t minLabel, int32_t maxLabel, int32_t norm,
                                    int32_t* number, uint8_t* buffer) {
  return labelMarkers(markers, markerStep, roiSize, minLabel, maxLabel, norm, number, buffer);
}

NuvStatus nuviBoundSegments_8u_C1IR(uint8_t* markers, int32_t markerStep, NuviSize roiSize,
                                    uint8_t val, int32_t norm) {
  return boundSegments(markers, markerStep, roiSize, val, norm);
}

NuvStatus nuviBoundSegments_16u_C1IR(uint16_t* markers, int32_t markerStep, NuviSize roiSize,
                                     uint16_t val, int32_t norm) {
  return boundSegments(markers, markerStep, roiSize, val, norm);
}

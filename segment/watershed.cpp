// Watershed by growing markers over a relief, in two ways. The queue method floods level by level,
// first come first served within a level (F. Meyer, "Color image segmentation", 1992). The sweep
// method stands in a file of its own.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "nuvcv/segment.h"
#include "segment/levelqueue.h"
#include "segment/sweeps.h"

namespace nuv {
namespace {

enum Method : int32_t { queueMethod = 1, sweepMethod = 2 };

template <class T>
bool isProper(T label) {
  return label != 0 && label != lineLabel<T>;
}

// Where a neighbour finds the pixel that it was reached from.
constexpr int32_t opposite[] = {1, 0, 3, 2, 7, 6, 5, 4};

// What the two methods were given; the caller lends the larger. What no memory can hold wraps.
template <class T>
int64_t queueBytes(NuviSize size) {
  const auto area = static_cast<uint64_t>(int64_t{size.width} * size.height);
  const auto framed = static_cast<uint64_t>((int64_t{size.width} + 2) * (int64_t{size.height} + 2));
  return static_cast<int64_t>(12 * area + framed * sizeof(T) + 36);
}
template <class T>
int64_t sweepBytes(NuviSize size) {
  const auto stride = static_cast<uint64_t>(alignUp(size.width * int64_t{sizeof(T)}, int64_t{32}));
  const auto height = static_cast<uint64_t>(size.height);
  return static_cast<int64_t>((6 * height + 2) * stride + height + 66);
}

template <class T>
void growFromQueue(Image<const uint8_t> src, Image<T> markers, NuviSize size, int32_t neighbours,
                   int32_t lineNeighbours, uint8_t* buffer) {
  Scratch scratch(buffer, queueBytes<T>(size));
  const int64_t pixels = int64_t{size.width} * size.height;
  LevelQueue queue(scratch.take<uint8_t>(12 * pixels), pixels);

  // The labels with a frame of lines around them, which stops the growth at the edges.
  const ptrdiff_t mapWidth = ptrdiff_t{size.width} + 2;
  T* const map = scratch.take<T>(mapWidth * (ptrdiff_t{size.height} + 2));
  std::fill(map, map + mapWidth * (ptrdiff_t{size.height} + 2), lineLabel<T>);
  const auto mapRow = [&](int32_t y) { return map + (ptrdiff_t{y} + 1) * mapWidth + 1; };
  for (int32_t y = 0; y < size.height; ++y) {
    std::copy(markers.row(y), markers.row(y) + size.width, mapRow(y));
  }
  ptrdiff_t offset[8];
  for (int i = 0; i < 8; ++i) offset[i] = stepY[i] * mapWidth + stepX[i];

  for (int32_t y = 0; y < size.height; ++y) {
    T* const row = mapRow(y);
    for (int32_t x = 0; x < size.width; ++x) {
      T* const pixel = row + x;
      if (*pixel == 0) continue;
      for (int32_t i = 0; i < neighbours; ++i) {
        if (pixel[offset[i]] == 0) {
          queue.append(src.row(y)[x], {x, y});
          break;
        }
      }
      if (*pixel == lineLabel<T>) continue;
      for (int32_t i = 0; i < lineNeighbours; ++i) {
        const T label = pixel[offset[i]];
        if (isProper(label) && label != *pixel) {
          *pixel = lineLabel<T>;
          break;
        }
      }
    }
  }

  // A line's follower takes the first proper label beside it; any other pixel between two labels
  // becomes a line.
  const auto drawLine = [&](T* pixel, int32_t origin) {
    for (int32_t i = 0; i < lineNeighbours; ++i) {
      const T label = pixel[offset[i]];
      if (i == origin || !isProper(label) || label == *pixel) continue;
      if (*pixel != lineLabel<T>) {
        *pixel = lineLabel<T>;
        break;
      }
      *pixel = label;
    }
  };
  int32_t level = 0;
  while ((level = queue.nextLevel(level)) < LevelQueue::levelCount) {
    const LevelQueue::Pixel at = queue.take(level);
    T* const pixel = mapRow(at.y) + at.x;
    const T label = *pixel;
    if (LevelQueue::Pixel next; queue.peek(level, next)) {
      prefetchAround(mapRow(next.y) + next.x, mapWidth * ptrdiff_t{sizeof(T)});
      prefetchAround(src.row(next.y) + next.x, src.step());
    }
    for (int32_t i = 0; i < neighbours; ++i) {
      T* const neighbour = pixel + offset[i];
      if (*neighbour != 0) continue;
      const int32_t x = at.x + stepX[i], y = at.y + stepY[i];
      queue.append(std::max<int32_t>(src.row(y)[x], level), {x, y});
      *neighbour = label;
      drawLine(neighbour, opposite[i]);
    }
  }
  for (int32_t y = 0; y < size.height; ++y) {
    std::copy(mapRow(y), mapRow(y) + size.width, markers.row(y));
  }
}

template <class T>
NuvStatus watershed(const uint8_t* pSrc, int32_t srcStep, T* pMarkers, int32_t markerStep,
                    NuviSize roiSize, int32_t norm, int32_t flag, uint8_t* buffer) {
  const bool byQueue = (flag & queueMethod) != 0, bySweeps = (flag & sweepMethod) != 0;
  const NuvStatus status =
      Check()
          .pointers(pSrc, pMarkers, buffer)
          .size(roiSize)
          .step(pSrc, srcStep, roiSize.width)
          .step(pMarkers, markerStep, roiSize.width)
          .elementMultiple(pMarkers, markerStep)
          .require(byQueue || bySweeps, nuvStatusBadArgument)
          .require(norm >= 0 && norm <= (byQueue ? 1 : 3), nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<T> markers(pMarkers, markerStep);
  const int32_t lineNeighbours = (flag & fourNeighbourLines) != 0    ? 4
                                 : (flag & eightNeighbourLines) != 0 ? 8
                                                                     : 0;
  if (byQueue) {
    growFromQueue(src, markers, roiSize, norm == 0 ? 8 : 4, lineNeighbours, buffer);
  } else {
    Scratch scratch(buffer, std::max(sweepBytes<T>(roiSize), queueBytes<T>(roiSize)));
    Sweeps<T> sweeps(src, markers, roiSize, norm, scratch);
    sweeps.run();
    if (lineNeighbours > 0) sweeps.drawLines(lineNeighbours);
  }
  return nuvStatusOk;
}

// Both figures in wrapping 32-bit arithmetic, compared as signed values.
template <class T>
NuvStatus watershedBufferSize(NuviSize roiSize, int32_t* bufferSize) {
  const NuvStatus status = Check().pointers(bufferSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;

  *bufferSize = std::max(static_cast<int32_t>(sweepBytes<T>(roiSize)),
                         static_cast<int32_t>(queueBytes<T>(roiSize)));
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviSegmentWatershedGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize) {
  return watershedBufferSize<uint8_t>(roiSize, bufferSize);
}

NuvStatus nuviSegmentWatershedGetBufferSize_8u16u_C1R(NuviSize roiSize, int32_t* bufferSize) {
  return watershedBufferSize<uint16_t>(roiSize, bufferSize);
}

NuvStatus nuviSegmentWatershed_8u_C1IR(const uint8_t* src, int32_t srcStep, uint8_t* markers,
                                       int32_t markerStep, NuviSize roiSize, int32_t norm,
                                       int32_t flag, uint8_t* buffer) {
  return watershed(src, srcStep, markers, markerStep, roiSize, norm, flag, buffer);
}

NuvStatus nuviSegmentWatershed_8u16u_C1IR(const uint8_t* src, int32_t srcStep, uint16_t* markers,
                                          int32_t markerStep, NuviSize roiSize, int32_t norm,
                                          int32_t flag, uint8_t* buffer) {
  return watershed(src, srcStep, markers, markerStep, roiSize, norm, flag, buffer);
}

// Growth of markers in the order of the difference between a pixel and the neighbour that reaches
// it: seeded region growing (R. Adams and L. Bischof, 1994) by local contrast. Unlike a flood's,
// the level falls again where growth reaches a smooth place.

#include <algorithm>
#include <cstdlib>

#include "core/check.h"
#include "core/image.h"
#include "nuvcv/segment.h"
#include "segment/levelqueue.h"

namespace nuv {
namespace {

// What a map element can be besides a proper label: 1 to 253.
constexpr uint8_t unlabelled = 0, lineMark = 254, closed = 255;

bool isGrown(uint8_t label) { return label != unlabelled && label != closed; }
bool isProper(uint8_t label) { return label != unlabelled && label < lineMark; }

// The largest difference of any channel.
template <int channels>
int32_t difference(const uint8_t* p, const uint8_t* q) {
  int32_t largest = 0;
  for (int c = 0; c < channels; ++c) largest = std::max(largest, std::abs(p[c] - q[c]));
  return largest;
}

// What no memory can hold wraps.
uint64_t bufferBytes(NuviSize size) {
  return 13 * static_cast<uint64_t>(int64_t{size.width} * size.height) + 103;
}

template <int channels, int neighbours>
void grow(Image<const uint8_t> src, Image<uint8_t> markers, NuviSize size, int32_t lineNeighbours,
          uint8_t* buffer) {
  LevelQueue queue(buffer, int64_t{size.width} * size.height);
  const ptrdiff_t width = size.width;
  uint8_t* const map = buffer + 12 * int64_t{size.width} * size.height;
  for (int32_t y = 0; y < size.height; ++y) {
    uint8_t* const row = map + y * width;
    std::copy(markers.row(y), markers.row(y) + width, row);
    row[0] = row[width - 1] = closed;
    if (y == 0 || y == size.height - 1) std::fill(row, row + width, closed);
  }

  ptrdiff_t mapOffset[8], srcOffset[8];
  for (int i = 0; i < 8; ++i) {
    mapOffset[i] = stepY[i] * width + stepX[i];
    srcOffset[i] = stepY[i] * src.step() + stepX[i] * channels;
  }
  const auto srcPixel = [&](int32_t x, int32_t y) { return src.row(y) + ptrdiff_t{x} * channels; };

  // A neighbour's rank is its difference, then its kind, then its place, the last one first.
  constexpr uint16_t noRank = 256 << 4, lineRank = 8;
  uint16_t rankOf[256] = {};
  rankOf[unlabelled] = rankOf[closed] = noRank;
  rankOf[lineMark] = lineRank;

  int32_t level = LevelQueue::levelCount;
  for (int32_t y = 1; y < size.height - 1; ++y) {
    for (int32_t x = 1; x < size.width - 1; ++x) {
      uint8_t* const label = map + y * width + x;
      if (*label != unlabelled) continue;
      const uint8_t* const pixel = srcPixel(x, y);
      int32_t least = LevelQueue::levelCount;
      for (int32_t i = 0; i < neighbours; ++i) {
        if (!isGrown(label[mapOffset[i]])) continue;
        least = std::min(least, difference<channels>(pixel, pixel + srcOffset[i]));
      }
      if (least == LevelQueue::levelCount) continue;
      queue.append(least, {x, y});
      *label = closed;
      level = std::min(level, least);
    }
  }
  if (level == LevelQueue::levelCount) return;

  while ((level = queue.nextLevel(level)) < LevelQueue::levelCount) {
    const LevelQueue::Pixel at = queue.take(level);
    uint8_t* const label = map + at.y * width + at.x;
    const uint8_t* const pixel = srcPixel(at.x, at.y);
    int32_t differences[neighbours];
    if (LevelQueue::Pixel next; queue.peek(level, next)) {
      prefetchAround(map + next.y * width + next.x, width);
      prefetchAround(srcPixel(next.x, next.y), src.step());
    }

    // The most similar neighbour's label; among equals the last, and a line only if all are lines.
    uint32_t open = 0;
    int32_t best = noRank;
#pragma GCC unroll 8
    for (int i = 0; i < neighbours; ++i) {
      const uint8_t other = label[mapOffset[i]];
      open |= uint32_t{other == unlabelled} << i;
      differences[i] = difference<channels>(pixel, pixel + srcOffset[i]);
      best = std::min(best, (differences[i] << 4) + rankOf[other] + 7 - i);
    }
    const uint8_t chosen = best == noRank ? closed : label[mapOffset[7 - (best & 7)]];
    bool isBetween = false;
    for (int32_t i = 0; i < lineNeighbours; ++i) {
      const uint8_t other = label[mapOffset[i]];
      isBetween |= isProper(other) & (other != chosen);
    }
    *label = isBetween ? lineMark : chosen;
    for (; open != 0; open &= open - 1) {
      const int i = __builtin_ctz(open);
      const int32_t distance = differences[i];
      queue.append(distance, {at.x + stepX[i], at.y + stepY[i]});
      label[mapOffset[i]] = closed;
      level = std::min(level, distance);
    }
  }
  for (int32_t y = 0; y < size.height; ++y) {
    std::copy(map + y * width, map + (y + 1) * width, markers.row(y));
  }
}

template <int channels>
NuvStatus segmentGradient(const uint8_t* pSrc, int32_t srcStep, uint8_t* pMarkers,
                          int32_t markerStep, NuviSize roiSize, int32_t norm, int32_t flag,
                          uint8_t* buffer) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pMarkers, buffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .step(pMarkers, markerStep, roiSize.width)
                               .require(norm == 0 || norm == 1, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const int32_t lineNeighbours = (flag & eightNeighbourLines) != 0  ? 8
                                 : (flag & fourNeighbourLines) != 0 ? 4
                                                                    : 0;
  const auto growByNorm = norm == 0 ? grow<channels, 8> : grow<channels, 4>;
  growByNorm(Image<const uint8_t>(pSrc, srcStep), Image<uint8_t>(pMarkers, markerStep), roiSize,
             lineNeighbours, buffer);
  return nuvStatusOk;
}

NuvStatus gradientBufferSize(NuviSize roiSize, int32_t* bufferSize) {
  const NuvStatus status = Check().pointers(bufferSize).size(roiSize).status();
  if (status == nuvStatusOk) *bufferSize = static_cast<int32_t>(bufferBytes(roiSize));
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviSegmentGradientGetBufferSize_8u_C1R(NuviSize roiSize, int32_t* bufferSize) {
  return gradientBufferSize(roiSize, bufferSize);
}

NuvStatus nuviSegmentGradientGetBufferSize_8u_C3R(NuviSize roiSize, int32_t* bufferSize) {
  return gradientBufferSize(roiSize, bufferSize);
}

NuvStatus nuviSegmentGradient_8u_C1IR(const uint8_t* src, int32_t srcStep, uint8_t* markers,
                                      int32_t markerStep, NuviSize roiSize, int32_t norm,
                                      int32_t flag, uint8_t* buffer) {
  return segmentGradient<1>(src, srcStep, markers, markerStep, roiSize, norm, flag, buffer);
}

NuvStatus nuviSegmentGradient_8u_C3IR(const uint8_t* src, int32_t srcStep, uint8_t* markers,
                                      int32_t markerStep, NuviSize roiSize, int32_t norm,
                                      int32_t flag, uint8_t* buffer) {
  return segmentGradient<3>(src, srcStep, markers, markerStep, roiSize, norm, flag, buffer);
}

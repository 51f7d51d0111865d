// Growth of markers in the order of the difference between a pixel and the neighbour that reaches
// it: seeded region growing (R. Adams and L. Bischof, 1994) by local contrast. Unlike a flood's,
// the level falls again where growth reaches a smooth place.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "nuvcv/segment.h"

namespace nuv {
namespace {

enum Lines : int32_t { fourNeighbourLines = 64, eightNeighbourLines = 128 };

// What a map element can be besides a proper label: 1 to 253.
constexpr uint8_t unlabelled = 0, lineMark = 254, closed = 255;

bool isGrown(uint8_t label) { return label != unlabelled && label != closed; }
bool isProper(uint8_t label) { return isGrown(label) && label != lineMark; }

// The neighbours in the order in which all choices are made: west, east, north, south, then the
// diagonals.
constexpr int32_t stepX[] = {-1, 1, 0, 0, -1, 1, -1, 1};
constexpr int32_t stepY[] = {0, 0, -1, 1, -1, -1, 1, 1};

// The largest difference of any channel.
template <int channels>
int32_t difference(const uint8_t* p, const uint8_t* q) {
  int32_t largest = 0;
  for (int c = 0; c < channels; ++c) largest = std::max(largest, std::abs(p[c] - q[c]));
  return largest;
}

int64_t bufferBytes(NuviSize size) { return 13 * int64_t{size.width} * size.height + 103; }

// First-in first-out lists of pixels, one for each difference, in nodes of 12 bytes that may stand
// at any address. A pixel is queued once; used nodes are taken again first.
class DifferenceQueue {
 public:
  struct Node {
    int32_t next;
    int32_t x, y;
  };

  explicit DifferenceQueue(uint8_t* nodes) : nodes_(nodes) {
    for (List& list : levels_) list = {none, none};
  }

  void append(int32_t level, int32_t x, int32_t y) {
    int32_t index = free_;
    if (index == none) {
      index = used_++;
    } else {
      free_ = read(index).next;
    }
    write(index, {none, x, y});
    List& list = levels_[level];
    if (list.head == none) {
      list.head = index;
    } else {
      link(list.tail, index);
    }
    list.tail = index;
  }

  // The first level from `level` on that has pixels, or levelCount.
  int32_t nextLevel(int32_t level) const {
    while (level < levelCount && levels_[level].head == none) ++level;
    return level;
  }

  Node take(int32_t level) {
    const int32_t index = levels_[level].head;
    const Node taken = read(index);
    levels_[level].head = taken.next;
    link(index, free_);
    free_ = index;
    return taken;
  }

  static constexpr int32_t levelCount = 256;

 private:
  static constexpr int32_t none = -1;
  struct List {
    int32_t head, tail;
  };

  uint8_t* at(int32_t index) const { return nodes_ + int64_t{sizeof(Node)} * index; }
  Node read(int32_t index) const {
    Node node;
    std::memcpy(&node, at(index), sizeof node);
    return node;
  }
  void write(int32_t index, const Node& node) { std::memcpy(at(index), &node, sizeof node); }
  void link(int32_t index, int32_t next) { std::memcpy(at(index), &next, sizeof next); }

  List levels_[levelCount];
  uint8_t* nodes_;
  int32_t free_ = none;
  int32_t used_ = 0;
};

template <int channels>
void grow(Image<const uint8_t> src, Image<uint8_t> markers, NuviSize size, int32_t neighbours,
          int32_t lineNeighbours, uint8_t* buffer) {
  DifferenceQueue queue(buffer);
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

  int32_t level = DifferenceQueue::levelCount;
  for (int32_t y = 1; y < size.height - 1; ++y) {
    for (int32_t x = 1; x < size.width - 1; ++x) {
      uint8_t* const label = map + y * width + x;
      if (*label != unlabelled) continue;
      const uint8_t* const pixel = srcPixel(x, y);
      int32_t least = DifferenceQueue::levelCount;
      for (int32_t i = 0; i < neighbours; ++i) {
        if (!isGrown(label[mapOffset[i]])) continue;
        least = std::min(least, difference<channels>(pixel, pixel + srcOffset[i]));
      }
      if (least == DifferenceQueue::levelCount) continue;
      queue.append(least, x, y);
      *label = closed;
      level = std::min(level, least);
    }
  }
  if (level == DifferenceQueue::levelCount) return;

  while ((level = queue.nextLevel(level)) < DifferenceQueue::levelCount) {
    const DifferenceQueue::Node node = queue.take(level);
    uint8_t* const label = map + node.y * width + node.x;
    const uint8_t* const pixel = srcPixel(node.x, node.y);

    // The most similar neighbour's label; among equals the last, but a line only where it is first.
    int32_t least = DifferenceQueue::levelCount;
    for (int32_t i = 0; i < neighbours; ++i) {
      const uint8_t other = label[mapOffset[i]];
      if (!isGrown(other)) continue;
      const int32_t distance = difference<channels>(pixel, pixel + srcOffset[i]);
      if (distance < least || (distance == least && other != lineMark)) {
        least = distance;
        *label = other;
      }
    }
    const uint8_t chosen = *label;
    for (int32_t i = 0; i < lineNeighbours; ++i) {
      const uint8_t other = label[mapOffset[i]];
      if (isProper(other) && other != chosen) *label = lineMark;
    }
    for (int32_t i = 0; i < neighbours; ++i) {
      if (label[mapOffset[i]] != unlabelled) continue;
      const int32_t distance = difference<channels>(pixel, pixel + srcOffset[i]);
      queue.append(distance, node.x + stepX[i], node.y + stepY[i]);
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
  grow<channels>(Image<const uint8_t>(pSrc, srcStep), Image<uint8_t>(pMarkers, markerStep), roiSize,
                 norm == 0 ? 8 : 4, lineNeighbours, buffer);
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

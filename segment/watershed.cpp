// Watershed by growing markers over a relief, in two ways. The queue method floods level by level,
// first come first served within a level (F. Meyer, "Color image segmentation", 1992). The sweep
// method finds for each pixel the path from a marker that is lowest by its highest pixel, then
// shortest, by raster sweeps (the image foresting transform of A. X. Falcao et al., 2004, with the
// sweeps of distance transforms).

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "nuvcv/segment.h"
#include "segment/levelqueue.h"

namespace nuv {
namespace {

enum Method : int32_t { queueMethod = 1, sweepMethod = 2 };

// The label of lines between regions is the type's top value.
template <class T>
constexpr T lineLabel = std::numeric_limits<T>::max();

template <class T>
bool isProper(T label) {
  return label != 0 && label != lineLabel<T>;
}

// Where a neighbour finds the pixel that it was reached from.
constexpr int32_t opposite[] = {1, 0, 3, 2, 7, 6, 5, 4};

template <class T>
int64_t queueBytes(NuviSize size) {
  const int64_t width = size.width, height = size.height;
  return 12 * width * height + (width + 2) * (height + 2) * static_cast<int64_t>(sizeof(T)) + 36;
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

// Directions of the sweep method, counter-clockwise from the east: where a pixel's label and key
// come from. 0 is a marker itself.
enum Direction : uint8_t {
  marker,
  east,
  northEast,
  north,
  northWest,
  west,
  southWest,
  south,
  southEast,
  notReached
};
constexpr int32_t directionX[] = {0, 1, 1, 0, -1, -1, -1, 0, 1};
constexpr int32_t directionY[] = {0, 0, -1, -1, -1, 0, 1, 1, 1};

// A key orders paths by their highest pixel (from bit 23 on), then by their length since then.
constexpr int32_t noKey = 0x7FC00000;
inline int32_t heightKey(uint8_t value) { return int32_t{value} << 23; }

// What a diagonal front is ahead of the nearer of two neighbours, by the difference of their keys:
// round(64 - k / 2 - sqrt(8192 - k * k) / 2), the solution of the eikonal equation from two
// neighbours on a grid of step 64.
constexpr uint8_t eikonalGain[64] = {19, 18, 18, 17, 17, 16, 16, 15, 15, 14, 14, 14, 13, 13, 12, 12,
                                     11, 11, 11, 10, 10, 9,  9,  9,  8,  8,  8,  7,  7,  7,  6,  6,
                                     6,  5,  5,  5,  4,  4,  4,  4,  3,  3,  3,  3,  2,  2,  2,  2,
                                     2,  1,  1,  1,  1,  1,  1,  1,  0,  0,  0,  0,  0,  0,  0,  0};

template <class T>
class Sweeps {
 public:
  Sweeps(Image<const uint8_t> src, Image<T> labels, NuviSize size, int32_t norm, uint8_t* buffer)
      : src_(src),
        labels_(labels),
        size_(size),
        corners_(norm == 0 || norm == 2),
        eikonal_(norm == 3),
        axial_(norm == 2   ? 10
               : norm == 3 ? 63
                           : 0),
        diagonal_(norm == 2 ? 14 : 0),
        stride_(size.width) {
    const ptrdiff_t pixels = stride_ * size.height;
    Scratch scratch(buffer, queueBytes<T>(size));
    keys_ = scratch.take<int32_t>(pixels);
    next_ = scratch.take<int32_t>(pixels);
    directions_ = scratch.take<uint8_t>(pixels);
  }

  void run() {
    for (int32_t y = 0; y < size_.height; ++y) {
      initialise(y);
      sweepRow(y, y > 0 ? y - 1 : y, northWest, north, northEast);
    }
    for (int32_t y = size_.height - 1; y >= 0; --y) {
      sweepRow(y, y + 1 < size_.height ? y + 1 : y, southWest, south, southEast);
    }
    correct();
  }

  void drawLines(int32_t neighbours) {
    constexpr Direction pairs[] = {east, south, southWest, southEast};
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) {
        T& a = labels_.row(y)[x];
        for (int32_t i = 0; i < neighbours / 2 && a != lineLabel<T>; ++i) {
          const int32_t otherX = x + directionX[pairs[i]], otherY = y + directionY[pairs[i]];
          if (!isInside(otherX, otherY)) continue;
          T& b = labels_.row(otherY)[otherX];
          if (b == lineLabel<T> || b == a) continue;
          (keys(y)[x] <= keys(otherY)[otherX] ? b : a) = lineLabel<T>;
        }
      }
    }
  }

 private:
  // The best neighbour so far, before its step's last unit and the pixel's height are added. The
  // earlier one wins ties.
  struct Candidate {
    int32_t key = std::numeric_limits<int32_t>::max();
    Direction direction = notReached;
    T label = 0;

    void offer(int32_t otherKey, Direction otherDirection, T otherLabel) {
      if (otherKey < key) *this = {otherKey, otherDirection, otherLabel};
    }
  };

  int32_t* keys(int32_t y) const { return keys_ + y * stride_; }
  uint8_t* directions(int32_t y) const { return directions_ + y * stride_; }
  bool isInside(int32_t x, int32_t y) const {
    return x >= 0 && x < size_.width && y >= 0 && y < size_.height;
  }

  void initialise(int32_t y) {
    for (int32_t x = 0; x < size_.width; ++x) {
      const bool isMarker = labels_.row(y)[x] != 0;
      keys(y)[x] = isMarker ? heightKey(src_.row(y)[x]) : noKey;
      directions(y)[x] = isMarker ? marker : notReached;
    }
  }

  // Lowers a pixel's key to what the candidate gives. False if that is not lower.
  bool take(int32_t x, int32_t y, const Candidate& candidate) const {
    if (candidate.key >= noKey) return false;
    const int32_t key = std::max(candidate.key + 1, heightKey(src_.row(y)[x]));
    if (key >= keys(y)[x]) return false;
    keys(y)[x] = key;
    directions(y)[x] = candidate.direction;
    labels_.row(y)[x] = candidate.label;
    return true;
  }

  // One row from the row `from` beside it, whose pixels lie in the given directions, left to right
  // with the west and then right to left. There is no such row if it is the row itself.
  void sweepRow(int32_t y, int32_t from, Direction fromWest, Direction fromHere,
                Direction fromEast) const {
    const int32_t* const otherKeys = keys(from);
    const T* const otherLabels = labels_.row(from);
    const T* const labels = labels_.row(y);
    const int32_t* const key = keys(y);
    const uint8_t* const direction = directions(y);
    const bool hasOther = from != y;
    for (int32_t x = 0; x < size_.width; ++x) {
      if (direction[x] == marker) continue;
      Candidate best;
      if (x > 0) best.offer(key[x - 1] + axial_, west, labels[x - 1]);
      if (hasOther && corners_ && x > 0) {
        best.offer(otherKeys[x - 1] + diagonal_, fromWest, otherLabels[x - 1]);
      }
      if (hasOther) best.offer(otherKeys[x] + axial_, fromHere, otherLabels[x]);
      if (hasOther && corners_ && x + 1 < size_.width) {
        best.offer(otherKeys[x + 1] + diagonal_, fromEast, otherLabels[x + 1]);
      }
      if (eikonal_ && hasOther && x > 0) {
        const int32_t difference = std::abs(key[x - 1] - otherKeys[x]);
        if (difference <= 63 && best.key < noKey) best.key -= eikonalGain[difference];
      }
      take(x, y, best);
    }
    for (int32_t x = size_.width - 2; x >= 0; --x) {
      if (direction[x] == marker) continue;
      take(x, y, {key[x + 1] + axial_, east, labels[x + 1]});
    }
  }

  // Lowers a pixel's key through the best of all its neighbours; where none is lower, the label
  // follows the pixel that it came from. False if nothing changed.
  bool correctPixel(int32_t x, int32_t y) const {
    constexpr Direction order[] = {west,      north,     east,      south,
                                   northWest, northEast, southWest, southEast};
    Candidate best;
    for (int32_t i = 0; i < (corners_ ? 8 : 4); ++i) {
      const int32_t otherX = x + directionX[order[i]], otherY = y + directionY[order[i]];
      if (!isInside(otherX, otherY)) continue;
      best.offer(keys(otherY)[otherX] + (i < 4 ? axial_ : diagonal_), order[i],
                 labels_.row(otherY)[otherX]);
    }
    if (take(x, y, best)) return true;
    const uint8_t direction = directions(y)[x];
    if (direction == notReached) return false;
    const T label = labels_.row(y + directionY[direction])[x + directionX[direction]];
    const bool changed = labels_.row(y)[x] != label;
    labels_.row(y)[x] = label;
    return changed;
  }

  // Until no key can be lowered and every label follows its direction. The pixels of a change wait
  // in lists by their heights, the lowest first, until they have told their neighbours. A key is
  // always above the one that it came from, so directions never form a circle and this comes to an
  // end.
  void correct() {
    std::fill(next_, next_ + stride_ * size_.height, idle);
    for (List& list : waiting_) list = {none, none};
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) {
        if (directions(y)[x] != marker && correctPixel(x, y)) wait(x, y);
      }
    }
    for (;;) {
      while (lowest_ < levels && waiting_[lowest_].head == none) ++lowest_;
      if (lowest_ == levels) return;
      const int32_t pixel = waiting_[lowest_].head;
      waiting_[lowest_].head = next_[pixel];
      next_[pixel] = idle;
      tellNeighbours(static_cast<int32_t>(pixel % stride_), static_cast<int32_t>(pixel / stride_));
    }
  }

  void wait(int32_t x, int32_t y) {
    const auto pixel = static_cast<int32_t>(y * stride_ + x);
    if (next_[pixel] != idle) return;
    next_[pixel] = none;
    const int32_t level = keys(y)[x] >> 23;
    List& list = waiting_[level];
    (list.head == none ? list.head : next_[list.tail]) = pixel;
    list.tail = pixel;
    lowest_ = std::min(lowest_, level);
  }

  void tellNeighbours(int32_t x, int32_t y) {
    for (int32_t i = east; i <= southEast; ++i) {
      const bool isDiagonal = directionX[i] != 0 && directionY[i] != 0;
      // A neighbour sees this pixel in the opposite direction.
      const int32_t otherX = x - directionX[i], otherY = y - directionY[i];
      if ((isDiagonal && !corners_) || !isInside(otherX, otherY)) continue;
      uint8_t& direction = directions(otherY)[otherX];
      if (direction == marker) continue;
      const T label = labels_.row(y)[x];
      T& otherLabel = labels_.row(otherY)[otherX];
      const int32_t step = isDiagonal ? diagonal_ : axial_;
      if (take(otherX, otherY, {keys(y)[x] + step, static_cast<Direction>(i), label})) {
        wait(otherX, otherY);
      } else if (direction == i && otherLabel != label) {
        otherLabel = label;
        wait(otherX, otherY);
      }
    }
  }

  static constexpr int32_t none = -1, idle = -2;
  static constexpr int32_t levels = 256;
  struct List {
    int32_t head, tail;
  };

  Image<const uint8_t> src_;
  Image<T> labels_;
  NuviSize size_;
  bool corners_;
  bool eikonal_;
  int32_t axial_;
  int32_t diagonal_;
  ptrdiff_t stride_;
  int32_t* keys_;
  uint8_t* directions_;
  int32_t* next_;
  List waiting_[levels];
  int32_t lowest_ = levels;
};

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
    Sweeps<T> sweeps(src, markers, roiSize, norm, buffer);
    sweeps.run();
    sweeps.drawLines(lineNeighbours);
  }
  return nuvStatusOk;
}

// Both figures in wrapping 32-bit arithmetic, compared as signed values.
template <class T>
NuvStatus watershedBufferSize(NuviSize roiSize, int32_t* bufferSize) {
  const NuvStatus status = Check().pointers(bufferSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;

  const int64_t stride = alignUp<int64_t>(int64_t{roiSize.width} * int64_t{sizeof(T)}, 32);
  const int64_t sweeps = (6 * int64_t{roiSize.height} + 2) * stride + roiSize.height + 66;
  *bufferSize =
      std::max(static_cast<int32_t>(sweeps), static_cast<int32_t>(queueBytes<T>(roiSize)));
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

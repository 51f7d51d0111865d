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

// The sweep method works on keys and directions alone: labels follow their directions at the end.
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
        stride_(ptrdiff_t{size.width} + 2),
        blocks_((size.width + blockSize - 1) / blockSize) {
    // Around the keys stands a frame without keys: no neighbour is missing.
    const ptrdiff_t rows = ptrdiff_t{size.height} + 2;
    Scratch scratch(buffer, queueBytes<T>(size));
    keys_ = scratch.take<int32_t>(stride_ * rows) + stride_ + 1;
    directions_ = scratch.take<uint8_t>(int64_t{size.width} * size.height);
    stale_ = scratch.take<uint8_t>(int64_t{blocks_} * size.height);
    std::fill(keys_ - stride_ - 1, keys_ - stride_ - 1 + stride_ * rows, noKey);
  }

  void run() {
    for (int32_t y = 0; y < size_.height; ++y) {
      initialise(y);
      sweepRow(y, -1);
    }
    for (int32_t y = size_.height - 1; y >= 0; --y) sweepRow(y, 1);
    correct();
    followDirections();
  }

  void drawLines(int32_t neighbours) {
    constexpr Direction pairs[] = {east, south, southWest, southEast};
    for (int32_t y = 0; y < size_.height; ++y) {
      T* const row = labels_.row(y);
      const T* const below = labels_.row(std::min(y + 1, size_.height - 1));
      for (int32_t x = 0; x < size_.width; ++x) {
        T& a = row[x];
        const bool isInner = x > 0 && x + 1 < size_.width;
        if (isInner && a == row[x + 1] && a == below[x] && a == below[x - 1] && a == below[x + 1]) {
          continue;
        }
        for (int32_t i = 0; i < neighbours / 2 && a != lineLabel<T>; ++i) {
          const int32_t otherX = x + directionX[pairs[i]], otherY = y + directionY[pairs[i]];
          if (otherX < 0 || otherX >= size_.width || otherY >= size_.height) continue;
          T& b = labels_.row(otherY)[otherX];
          if (b == lineLabel<T> || b == a) continue;
          (keys(y)[x] <= keys(otherY)[otherX] ? b : a) = lineLabel<T>;
        }
      }
    }
  }

 private:
  // Of pixels of a row that are looked at together.
  static constexpr int32_t blockSize = 64;
  // Which of the rows beside a block has changed since the block was lowered from it.
  enum Stale : uint8_t { fromAbove = 1, fromBelow = 2 };

  int32_t* keys(int32_t y) const { return keys_ + y * stride_; }
  uint8_t* directions(int32_t y) const { return directions_ + int64_t{y} * size_.width; }
  uint8_t* stale(int32_t y) const { return stale_ + int64_t{y} * blocks_; }

  void initialise(int32_t y) {
    const T* const labels = labels_.row(y);
    const uint8_t* const src = src_.row(y);
    for (int32_t x = 0; x < size_.width; ++x) {
      const bool isMarker = labels[x] != 0;
      keys(y)[x] = isMarker ? heightKey(src[x]) : noKey;
      directions(y)[x] = isMarker ? marker : notReached;
    }
  }

  // What the row `side` (above: -1, below: 1) offers to pixels, one step on, and from where: the
  // first of its three neighbours, from the west on, that offers least.
  void ask(int32_t y, int32_t side, int32_t first, int32_t count, int32_t* offers,
           uint8_t* from) const {
    const int32_t* const others = keys(y + side) + first;
    const Direction fromWest = side < 0 ? northWest : southWest;
    const Direction fromHere = side < 0 ? north : south;
    const Direction fromEast = side < 0 ? northEast : southEast;
    if (!corners_) {
      for (int32_t i = 0; i < count; ++i) offers[i] = std::min(others[i] + axial_ + 1, noKey);
      std::fill(from, from + count, static_cast<uint8_t>(fromHere));
      return;
    }
    for (int32_t i = 0; i < count; ++i) {
      const int32_t west = others[i - 1] + diagonal_, here = others[i] + axial_;
      const int32_t east = others[i + 1] + diagonal_;
      const int32_t least = std::min(west, here);
      const int32_t direction = here < west ? fromHere : fromWest;
      from[i] = static_cast<uint8_t>(east < least ? fromEast : direction);
      offers[i] = std::min(std::min(least, east) + 1, noKey);
    }
  }

  // One row from the row beside it: left to right with the west, which wins ties, then right to
  // left. A marker's key is its height, and nothing is lower.
  void sweepRow(int32_t y, int32_t side) const {
    int32_t* const key = keys(y);
    const uint8_t* const src = src_.row(y);
    uint8_t* const direction = directions(y);
    int32_t offers[blockSize], before[blockSize + 1];
    uint8_t from[blockSize];
    for (int32_t x = 0; x < size_.width; x += blockSize) {
      const int32_t count = std::min(blockSize, size_.width - x);
      ask(y, side, x, count, offers, from);
      std::copy(key + x - 1, key + x + count, before);
      if (eikonal_) {
        walkEikonal(key + x, keys(y + side) + x, src + x, count, offers);
      } else {
        walkEast(key + x, src + x, count, offers);
      }
      for (int32_t i = 0; i < count; ++i) {
        const bool isWest = key[x + i - 1] + axial_ + 1 <= offers[i];
        const uint8_t chosen = isWest ? static_cast<uint8_t>(west) : from[i];
        direction[x + i] = key[x + i] < before[i + 1] ? chosen : direction[x + i];
      }
    }
    int32_t behind = noKey;
    for (int32_t x = size_.width - 1; x >= 0; --x) {
      const int32_t offered = std::max(behind + axial_ + 1, heightKey(src[x]));
      direction[x] = offered < key[x] ? static_cast<uint8_t>(east) : direction[x];
      behind = key[x] = std::min(key[x], offered);
    }
  }

  // A key that is not lower stays; none is below its height, so that can be asked first.
  void walkEast(int32_t* key, const uint8_t* src, int32_t count, const int32_t* offers) const {
    int32_t lowest[blockSize], heights[blockSize];
    for (int32_t i = 0; i < count; ++i) {
      lowest[i] = std::min(offers[i], key[i]);
      heights[i] = heightKey(src[i]);
    }
    int32_t behind = key[-1];
    for (int32_t i = 0; i < count; ++i) {
      behind = std::max(std::min(behind + axial_ + 1, lowest[i]), heights[i]);
      key[i] = behind;
    }
  }

  // Where the west and the other row's pixel are near to each other in time, the front comes from
  // both and is earlier.
  void walkEikonal(int32_t* key, const int32_t* others, const uint8_t* src, int32_t count,
                   const int32_t* offers) const {
    for (int32_t i = 0; i < count; ++i) {
      int32_t offered = std::min(key[i - 1] + axial_ + 1, offers[i]);
      const int32_t difference = std::abs(key[i - 1] - others[i]);
      if (difference <= 63 && offered < noKey) offered -= eikonalGain[difference];
      key[i] = std::min(key[i], std::max(offered, heightKey(src[i])));
    }
  }

  // Rows downward and upward, each from the row before it where that has changed, until no key can
  // be lowered. A key is always above the one that it came from, so directions never form a circle.
  void correct() {
    std::fill(stale_, stale_ + int64_t{blocks_} * size_.height, fromAbove);
    for (bool goesOn = true; goesOn;) {
      goesOn = false;
      for (int32_t y = 0; y < size_.height; ++y) goesOn |= lowerRow(y, -1, fromAbove);
      for (int32_t y = size_.height - 1; y >= 0; --y) goesOn |= lowerRow(y, 1, fromBelow);
    }
  }

  bool lowerRow(int32_t y, int32_t side, Stale bit) {
    bool isLowered = false;
    for (int32_t block = 0; block < blocks_; ++block) {
      uint8_t& flags = stale(y)[block];
      if ((flags & bit) == 0) continue;
      flags = static_cast<uint8_t>(flags & ~bit);
      const int32_t x = block * blockSize, count = std::min(blockSize, size_.width - x);
      int32_t offers[blockSize];
      uint8_t from[blockSize];
      ask(y, side, x, count, offers, from);
      const int32_t* const key = keys(y) + x;
      const uint8_t* const src = src_.row(y) + x;
      int32_t any = 0;
      for (int32_t i = 0; i < count; ++i) {
        any |= std::max(offers[i], heightKey(src[i])) < key[i];
      }
      if (any == 0) continue;
      for (int32_t i = 0; i < count; ++i) {
        if (lower(x + i, y, offers[i], from[i])) spread(x + i, y);
      }
      isLowered = true;
    }
    return isLowered;
  }

  bool lower(int32_t x, int32_t y, int32_t offered, uint8_t from) {
    const int32_t key = std::max(offered, heightKey(src_.row(y)[x]));
    if (key >= keys(y)[x]) return false;
    keys(y)[x] = key;
    directions(y)[x] = from;
    // The rows beside it have not seen this yet, nor the blocks that it touches at a corner.
    for (const int32_t column : {std::max(x - 1, 0), std::min(x + 1, size_.width - 1)}) {
      const int32_t block = column / blockSize;
      const auto mark = [](uint8_t& flags, Stale bit) {
        flags = static_cast<uint8_t>(flags | bit);
      };
      if (y > 0) mark(stale(y - 1)[block], fromBelow);
      if (y + 1 < size_.height) mark(stale(y + 1)[block], fromAbove);
    }
    return true;
  }

  // Hands a lowered key on along its row, both ways, as far as it lowers others.
  void spread(int32_t x, int32_t y) {
    const int32_t* const key = keys(y);
    for (int32_t i = x + 1; i < size_.width && lower(i, y, key[i - 1] + axial_ + 1, west);) ++i;
    for (int32_t i = x - 1; i >= 0 && lower(i, y, key[i + 1] + axial_ + 1, east);) --i;
  }

  // Each pixel takes the label at the end of its directions, and so do all on the way there.
  void followDirections() {
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) {
        if (labels_.row(y)[x] != 0 || directions(y)[x] == notReached) continue;
        int32_t atX = x, atY = y;
        const auto advance = [&] {
          const uint8_t direction = directions(atY)[atX];
          atX += directionX[direction];
          atY += directionY[direction];
        };
        while (labels_.row(atY)[atX] == 0) advance();
        const T label = labels_.row(atY)[atX];
        for (atX = x, atY = y; labels_.row(atY)[atX] == 0;) {
          labels_.row(atY)[atX] = label;
          advance();
        }
      }
    }
  }

  Image<const uint8_t> src_;
  Image<T> labels_;
  NuviSize size_;
  bool corners_;
  bool eikonal_;
  int32_t axial_;
  int32_t diagonal_;
  ptrdiff_t stride_;
  int32_t blocks_;
  int32_t* keys_;
  uint8_t* directions_;
  uint8_t* stale_;
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

// The sweep method of the watershed. It finds for each pixel the path from a marker that is lowest
// by its highest pixel, then shortest, by raster sweeps (the image foresting transform of A. X.
// Falcao et al., 2004, with the sweeps of distance transforms).
#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "core/image.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "core/simd.h"

namespace nuv {

// The label of lines between regions is the type's top value.
template <class T>
constexpr T lineLabel = std::numeric_limits<T>::max();

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
constexpr int32_t heightShift = 23;
inline int32_t heightKey(uint8_t value) { return int32_t{value} << heightShift; }

// What a diagonal front is ahead of the nearer of two neighbours, by the difference of their keys:
// round(64 - k / 2 - sqrt(8192 - k * k) / 2), the solution of the eikonal equation from two
// neighbours on a grid of step 64.
constexpr uint8_t eikonalGain[64] = {19, 18, 18, 17, 17, 16, 16, 15, 15, 14, 14, 14, 13, 13, 12, 12,
                                     11, 11, 11, 10, 10, 9,  9,  9,  8,  8,  8,  7,  7,  7,  6,  6,
                                     6,  5,  5,  5,  4,  4,  4,  4,  3,  3,  3,  3,  2,  2,  2,  2,
                                     2,  1,  1,  1,  1,  1,  1,  1,  0,  0,  0,  0,  0,  0,  0,  0};

// A pixel's key from the key before it in its row. Clamps one after the other are a clamp.
struct Clamp {
  S32x8 upper, lower;  // upper is not below lower
  S32x8 operator()(S32x8 key) const { return maximum(minimum(key, upper), lower); }
  Clamp after(Clamp first) const { return {(*this)(first.upper), (*this)(first.lower)}; }
};

// The clamps 1, 2 or 4 lanes back in a walk to the east or west. The first lanes get their own,
// since a clamp after itself is the clamp.
template <int lanesBack, Direction to>
inline S32x8 back(S32x8 v) {
  if constexpr (lanesBack == 1) {
    return to == east ? __builtin_shufflevector(v, v, 0, 0, 1, 2, 3, 4, 5, 6)
                      : __builtin_shufflevector(v, v, 1, 2, 3, 4, 5, 6, 7, 7);
  } else if constexpr (lanesBack == 2) {
    return to == east ? __builtin_shufflevector(v, v, 0, 1, 0, 1, 2, 3, 4, 5)
                      : __builtin_shufflevector(v, v, 2, 3, 4, 5, 6, 7, 6, 7);
  } else {
    return to == east ? __builtin_shufflevector(v, v, 0, 1, 2, 3, 0, 1, 2, 3)
                      : __builtin_shufflevector(v, v, 4, 5, 6, 7, 4, 5, 6, 7);
  }
}

// Eight keys in a walk along a row: each is the one before it and a step, but no higher than
// `present` and no lower than `height`.
template <Direction to>
inline S32x8 walk(S32x8 before, S32x8 present, S32x8 height, S32x8 step) {
  const S32x8 way =
      (to == east ? S32x8{1, 2, 3, 4, 5, 6, 7, 8} : S32x8{8, 7, 6, 5, 4, 3, 2, 1}) * step;
  Clamp all = {maximum(present, height) - way, height - way};
  all = all.after({back<1, to>(all.upper), back<1, to>(all.lower)});
  all = all.after({back<2, to>(all.upper), back<2, to>(all.lower)});
  all = all.after({back<4, to>(all.upper), back<4, to>(all.lower)});
  return all(before) + way;
}

// A walk to the east beside keys of another row, which offer `offers`. Where the two neighbours of
// a pixel are near to each other in time, the front comes from both and is earlier.
inline S32x8 walkEikonal(S32x8 before, S32x8 present, S32x8 height, S32x8 step, S32x8 others,
                         S32x8 offers) {
  S32x8 keys = before;
  for (int32_t i = 0; i < 8; ++i) {
    const int32_t key = keys[i == 0 ? 0 : i - 1], difference = std::abs(key - others[i]);
    int32_t offered = std::min(key + step[0], offers[i]);
    if (difference <= 63 && offered < noKey) offered -= eikonalGain[difference];
    keys[i] = std::min(present[i], std::max(offered, height[i]));
  }
  return keys;
}

// The sweep method works on keys and directions alone: labels follow their directions at the end.
// High images are cut into strips, which threads sweep at the same time; the cut depends on the
// size alone, so that the result does not depend on the threads. An eikonal front would lose its
// shape where it passes from one strip to the next.
template <class T>
class Sweeps {
 public:
  Sweeps(Image<const uint8_t> src, Image<T> labels, NuviSize size, int32_t norm, Scratch& scratch)
      : src_(src),
        labels_(labels),
        size_(size),
        norm_(norm),
        axialStep_(norm == 2   ? 11
                   : norm == 3 ? 64
                               : 1),
        diagonalStep_(norm == 2 ? 15 : 1),
        strips_(norm == 3 ? 1 : stripsOf(size)),
        stripRows_((size.height + strips_ - 1) / strips_),
        rowLanes_(alignUp<ptrdiff_t>(size.width, lanes)),
        keyStride_(rowLanes_ + 1),
        blocks_((size.width + blockSize - 1) / blockSize) {
    // A column without keys stands between the rows, and a row without keys behind them, so that no
    // neighbour is missing. Then come the rows that strips see beyond their ends.
    const int64_t keyRows = int64_t{size.height} + 1 + 2 * (strips_ - 1);
    const int64_t staleBytes = (int64_t{size.height} + 2 * strips_) * blocks_;
    keys_ = scratch.take<int32_t>(1 + keyRows * keyStride_) + 1;
    directions_ = scratch.take<uint8_t>(rowLanes_ * size.height);
    found_ = scratch.take<T>(rowLanes_ * size.height);
    stale_ = scratch.take<uint8_t>(staleBytes);
    for (int32_t y = 0; y <= size.height; ++y) keys(y)[-1] = noKey;
    std::fill(keys(size.height), keys_ + keyRows * keyStride_, noKey);
    std::fill(stale_, stale_ + staleBytes, fromAbove | fromBelow | fromWest | fromEast);
  }

  void run() {
    for (bool isFirst = true, goesOn = true; goesOn; isFirst = false) {
      bool isLowered[maxStrips] = {};
      forEachStrip([&](int32_t strip) { isLowered[strip] = sweep(strip, isFirst); });
      goesOn = std::count(isLowered, isLowered + strips_, true) != 0;
      for (int32_t strip = 1; strip < strips_; ++strip) showEnds(strip);
    }
    findLabels();
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
  static constexpr int32_t lanes = 8;
  // Of pixels of a row that are looked at together.
  static constexpr int32_t blockSize = 64;
  static constexpr int32_t maxStrips = 32;

  // From where a block may have to be lowered: what lies there has changed since the last time.
  enum Stale : uint8_t { fromAbove = 1, fromBelow = 2, fromWest = 4, fromEast = 8 };
  enum class Front { fourNeighbours, eightNeighbours, eikonal };

  static int32_t stripsOf(NuviSize size) {
    const int64_t byArea = (int64_t{size.width} * size.height) >> 18;
    return std::clamp(static_cast<int32_t>(std::min<int64_t>(size.height / 512, byArea)), 1,
                      maxStrips);
  }

  template <class Body>
  void forEachStrip(Body&& body) {
    const auto each = [&](int32_t, int32_t first, int32_t count) {
      for (int32_t strip = first; strip < first + count; ++strip) body(strip);
    };
    const int32_t team = std::min(ownGetNumThreads(), strips_);
    if (team == 1) {
      each(0, 0, strips_);
    } else {
      forkRows(team, strips_, each);
    }
  }

  int32_t firstRow(int32_t strip) const { return std::min(strip * stripRows_, size_.height); }
  int32_t* keys(int32_t y) const { return keys_ + y * keyStride_; }
  uint8_t* directions(int32_t y) const { return directions_ + y * rowLanes_; }
  T* found(int32_t y) const { return found_ + y * rowLanes_; }
  // Each strip has two rows more, so that a row has others to tell of a change.
  uint8_t* stale(int32_t y) const {
    return stale_ + (int64_t{y} + 1 + 2 * (y / stripRows_)) * blocks_;
  }

  // What a strip sees of the row before its first one, and the strip before it of that first row.
  int32_t* keysBefore(int32_t strip) const { return keys(size_.height - 1 + 2 * strip); }
  int32_t* keysBehind(int32_t strip) const { return keys(size_.height + 2 * strip); }

  // The keys of the row above (side -1) or below (1), as the row's strip sees them.
  const int32_t* keysBeside(int32_t y, int32_t side) const {
    const int32_t other = y + side, strip = other / stripRows_;
    if (other < 0 || other == size_.height) return keys(size_.height);
    if (strip > y / stripRows_) return keysBehind(strip);
    if (strip < y / stripRows_) return keysBefore(strip + 1);
    return keys(other);
  }

  // Shows each other's rows to a strip and the one before it.
  void showEnds(int32_t strip) const {
    const int32_t y = firstRow(strip);
    const auto show = [&](const int32_t* keys, int32_t* shown, uint8_t* flags, Stale side) {
      for (int32_t block = 0; block < blocks_; ++block) {
        const ptrdiff_t first = ptrdiff_t{block} * blockSize - 1;
        const ptrdiff_t end = std::min(first + blockSize + 2, rowLanes_ + 1);
        if (!std::equal(keys + first, keys + end, shown + first)) raise(flags[block], side);
      }
      std::copy(keys, keys + rowLanes_, shown);
    };
    show(keys(y - 1), keysBefore(strip), stale(y), fromAbove);
    show(keys(y), keysBehind(strip), stale(y - 1), fromBelow);
  }

  void initialise(int32_t y) const {
    const T* const labels = labels_.row(y);
    const uint8_t* const src = src_.row(y);
    int32_t* const key = keys(y);
    uint8_t* const direction = directions(y);
    std::copy(labels, labels + size_.width, found(y));
    for (int32_t x = 0; x < size_.width; ++x) key[x] = labels[x] != 0 ? heightKey(src[x]) : noKey;
    for (int32_t x = 0; x < size_.width; ++x) direction[x] = labels[x] != 0 ? marker : notReached;
    std::fill(key + size_.width, key + rowLanes_, noKey);
  }

  // Down and up: over all rows first, then where something beside a block has changed, until no key
  // can be lowered. A key is always above the one that it came from, so directions never form a
  // circle.
  bool sweep(int32_t strip, bool isFirst) const {
    const auto lowerRow = norm_ == 0 || norm_ == 2 ? &Sweeps::lowerRowBy<Front::eightNeighbours>
                          : norm_ == 3 && isFirst  ? &Sweeps::lowerRowBy<Front::eikonal>
                                                   : &Sweeps::lowerRowBy<Front::fourNeighbours>;
    bool isLowered = false;
    for (int32_t y = firstRow(strip); y < firstRow(strip + 1); ++y) {
      if (isFirst) initialise(y);
      isLowered |= (this->*lowerRow)(y, -1);
    }
    for (int32_t y = firstRow(strip + 1) - 1; y >= firstRow(strip); --y) {
      isLowered |= (this->*lowerRow)(y, 1);
    }
    return isLowered;
  }

  // A row from the row above (side -1) or below (1) and from the west, then from the east.
  template <Front front>
  bool lowerRowBy(int32_t y, int32_t side) const {
    const int32_t* const others = keysBeside(y, side);
    uint8_t* const flags = stale(y);
    const uint8_t causes = fromWest | (side < 0 ? fromAbove : fromBelow);
    bool isLowered = false;
    for (int32_t block = 0; block < blocks_; ++block) {
      if ((flags[block] & causes) == 0) continue;
      flags[block] = static_cast<uint8_t>(flags[block] & ~causes);
      isLowered |= lowerBlock<front>(block, y, side, others);
    }
    for (int32_t block = blocks_ - 1; block >= 0; --block) {
      if ((flags[block] & fromEast) == 0) continue;
      flags[block] = static_cast<uint8_t>(flags[block] & ~fromEast);
      isLowered |= lowerBlockFromEast(block, y);
    }
    return isLowered;
  }

  // A block, which is gone through by eight pixels at a time.
  struct Block {
    int32_t* keys;
    uint8_t* directions;
    const uint8_t* src;
    int32_t width;
    ptrdiff_t first, end;

    // Behind the row's end, where src may not be read, nothing is lower than no key.
    S32x8 heights(ptrdiff_t x) const {
      if (x + lanes <= width) return loadAs32s(src + x) << heightShift;
      S32x8 all = broadcast<S32x8>(noKey);
      for (ptrdiff_t i = 0; x + i < width; ++i) all[i] = heightKey(src[x + i]);
      return all;
    }

    // Stores the keys, and the directions of those that are lower than before; tells which.
    S32x8 lower(ptrdiff_t x, S32x8 present, S32x8 lowest, S32x8 from) const {
      const S32x8 isLower = lowest < present;
      store(keys + x, lowest);
      storeNarrowed(directions + x, isLower ? from : loadAs32s(directions + x));
      return isLower;
    }
  };
  Block blockAt(int32_t block, int32_t y) const {
    const ptrdiff_t first = ptrdiff_t{block} * blockSize;
    return {keys(y),     directions(y), src_.row(y),
            size_.width, first,         std::min(first + blockSize, rowLanes_)};
  }

  static S32x8 lanesOf(Direction direction) {
    return broadcast<S32x8>(static_cast<int32_t>(direction));
  }

  // A block from the west and from another row. Of neighbours that offer the same the first one
  // counts: the west, then the other row's from west to east.
  template <Front front>
  bool lowerBlock(int32_t block, int32_t y, int32_t side, const int32_t* others) const {
    const S32x8 otherWest = lanesOf(side < 0 ? northWest : southWest);
    const S32x8 otherHere = lanesOf(side < 0 ? north : south);
    const S32x8 otherEast = lanesOf(side < 0 ? northEast : southEast);
    const S32x8 axialStep = broadcast<S32x8>(axialStep_);
    const S32x8 diagonalStep = broadcast<S32x8>(diagonalStep_);
    const Block at = blockAt(block, y);
    S32x8 before = broadcast<S32x8>(at.keys[at.first - 1]);
    S32x8 any = {}, atWestEnd = {}, atEastEnd = {};
    for (ptrdiff_t x = at.first; x < at.end; x += lanes) {
      const S32x8 present = load<S32x8>(at.keys + x), height = at.heights(x);
      const S32x8 here = load<S32x8>(others + x);
      S32x8 offers = here + axialStep, from = otherHere;
      if constexpr (front == Front::eightNeighbours) {
        const S32x8 westOffers = load<S32x8>(others + x - 1) + diagonalStep;
        const S32x8 eastOffers = load<S32x8>(others + x + 1) + diagonalStep;
        from = offers < westOffers ? otherHere : otherWest;
        offers = minimum(offers, westOffers);
        from = eastOffers < offers ? otherEast : from;
        offers = minimum(offers, eastOffers);
      }
      offers = minimum(offers, broadcast<S32x8>(noKey));
      const S32x8 lowest = front == Front::eikonal
                               ? walkEikonal(before, present, height, axialStep, here, offers)
                               : walk<east>(before, minimum(present, offers), height, axialStep);
      const S32x8 inWest = __builtin_shufflevector(lowest, before, 8, 0, 1, 2, 3, 4, 5, 6);
      from = inWest + axialStep <= offers ? lanesOf(west) : from;
      before = __builtin_shufflevector(lowest, lowest, 7, 7, 7, 7, 7, 7, 7, 7);
      atEastEnd = at.lower(x, present, lowest, from);
      if (x == at.first) atWestEnd = atEastEnd;
      any |= atEastEnd;
    }
    if (laneBits(any) == 0) return false;
    uint8_t* const flags = stale(y) + block;
    raise(flags[0], fromEast);
    if (atEastEnd[lanes - 1] != 0 && block + 1 < blocks_) raise(flags[1], fromWest);
    tellNeighbours(block, y, atWestEnd[0] != 0, atEastEnd[lanes - 1] != 0);
    return true;
  }

  bool lowerBlockFromEast(int32_t block, int32_t y) const {
    const S32x8 axialStep = broadcast<S32x8>(axialStep_);
    const Block at = blockAt(block, y);
    S32x8 before = broadcast<S32x8>(at.keys[at.end]);
    S32x8 any = {}, atWestEnd = {}, atEastEnd = {};
    for (ptrdiff_t x = at.end - lanes; x >= at.first; x -= lanes) {
      const S32x8 present = load<S32x8>(at.keys + x);
      const S32x8 lowest = walk<west>(before, present, at.heights(x), axialStep);
      before = __builtin_shufflevector(lowest, lowest, 0, 0, 0, 0, 0, 0, 0, 0);
      atWestEnd = at.lower(x, present, lowest, lanesOf(east));
      if (x == at.end - lanes) atEastEnd = atWestEnd;
      any |= atWestEnd;
    }
    if (laneBits(any) == 0) return false;
    tellNeighbours(block, y, atWestEnd[0] != 0, atEastEnd[lanes - 1] != 0);
    return true;
  }

  static void raise(uint8_t& flags, Stale stale) { flags = static_cast<uint8_t>(flags | stale); }

  // A block has been lowered, perhaps at an end.
  void tellNeighbours(int32_t block, int32_t y, bool atWestEnd, bool atEastEnd) const {
    uint8_t* const flags = stale(y);
    const int32_t first = atWestEnd && block > 0 ? block - 1 : block;
    const int32_t last = atEastEnd && block + 1 < blocks_ ? block + 1 : block;
    if (first < block) raise(flags[first], fromEast);
    for (int32_t i = first; i <= last; ++i) {
      raise(flags[i - blocks_], fromBelow);
      raise(flags[i + blocks_], fromAbove);
    }
  }

  // First the rows beside the strips' ends, so that no strip's pixels lead into another then.
  void findLabels() {
    for (int32_t strip = 1; strip < strips_; ++strip) {
      findLabels(firstRow(strip) - 1);
      findLabels(firstRow(strip));
    }
    forEachStrip([&](int32_t strip) {
      for (int32_t y = firstRow(strip); y < firstRow(strip + 1); ++y) findLabels(y);
      for (int32_t y = firstRow(strip); y < firstRow(strip + 1); ++y) {
        std::copy(found(y), found(y) + size_.width, labels_.row(y));
      }
    });
  }

  // Each pixel of a row takes the label at the end of its directions, and so do all on the way
  // there, whose last part is kept.
  void findLabels(int32_t y) const {
    ptrdiff_t steps[notReached];
    for (int i = 0; i < notReached; ++i) steps[i] = directionY[i] * rowLanes_ + directionX[i];
    ptrdiff_t way[1024];
    for (int32_t x = 0; x < size_.width; ++x) {
      const ptrdiff_t start = y * rowLanes_ + x;
      if (found_[start] != 0 || directions_[start] == notReached) continue;
      ptrdiff_t at = start;
      int64_t length = 0;
      for (; found_[at] == 0; at += steps[directions_[at]]) way[length++ % 1024] = at;
      const T label = found_[at];
      at = start;
      for (int64_t i = 1024; i < length; ++i, at += steps[directions_[at]]) found_[at] = label;
      for (int64_t i = std::min<int64_t>(length, 1024) - 1; i >= 0; --i) found_[way[i]] = label;
    }
  }

  Image<const uint8_t> src_;
  Image<T> labels_;
  NuviSize size_;
  int32_t norm_;
  int32_t axialStep_;  // of a key, to a neighbour in the row or column
  int32_t diagonalStep_;
  int32_t strips_;
  int32_t stripRows_;
  ptrdiff_t rowLanes_;
  ptrdiff_t keyStride_;
  int32_t blocks_;
  int32_t* keys_;
  uint8_t* directions_;
  T* found_;
  uint8_t* stale_;
};

}  // namespace nuv

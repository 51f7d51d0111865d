// What growth by levels is made of: the order of the neighbours and first-in first-out lists of
// pixels, one for each level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace nuv {

// Flags that ask for lines between regions.
enum Lines : int32_t { fourNeighbourLines = 64, eightNeighbourLines = 128 };

// The neighbours in the order in which growth makes all its choices: west, east, north, south, then
// the diagonals.
constexpr int32_t stepX[] = {-1, 1, 0, 0, -1, 1, -1, 1};
constexpr int32_t stepY[] = {0, 0, -1, 1, -1, -1, 1, 1};

// Fetches what a visit to the neighbours of a pixel will read; rows beside the image do no harm.
inline void prefetchAround(const void* pixel, ptrdiff_t step) {
  const auto address = reinterpret_cast<uintptr_t>(pixel);
  for (const ptrdiff_t row : {-step, ptrdiff_t{0}, step}) {
    __builtin_prefetch(reinterpret_cast<const void*>(address + static_cast<uintptr_t>(row)));
  }
}

// A pixel is queued once, so 12 bytes for each pixel suffice: a block is a link of 4 bytes and
// places of 8. Blocks of several places keep the pixels of a list together, but each level may
// leave two of them unfilled, so small images have blocks of one place.
class LevelQueue {
 public:
  struct Pixel {
    int32_t x, y;
  };

  // `memory` is 12 bytes for each of `pixels`, at any address.
  LevelQueue(uint8_t* memory, int64_t pixels)
      : memory_(memory), places_(pixels < smallImage ? 1 : placesOfBlock) {
    for (List& list : levels_) list = {none, none, 0, places_};
  }

  void append(int32_t level, Pixel pixel) {
    List& list = levels_[level];
    if (list.end == places_) extend(list);
    std::memcpy(place(list.tail, list.end++), &pixel, sizeof pixel);
    filled_[level / 64] |= uint64_t{1} << (level % 64);
  }

  // The first level from `level` on that has pixels, or levelCount.
  int32_t nextLevel(int32_t level) const {
    int32_t at = level / 64;
    uint64_t word = filled_[at] >> (level % 64) << (level % 64);
    while (word == 0) {
      if (++at == words) return levelCount;
      word = filled_[at];
    }
    return at * 64 + __builtin_ctzll(word);
  }

  // Takes the first pixel of a level that has any.
  Pixel take(int32_t level) {
    List& list = levels_[level];
    Pixel taken;
    std::memcpy(&taken, place(list.head, list.first++), sizeof taken);
    const bool isEmpty = (list.first == list.end) & (list.head == list.tail);
    filled_[level / 64] &= ~(uint64_t{isEmpty} << (level % 64));
    if (list.first == places_) leaveBlock(list);
    return taken;
  }

  // Tells the pixel that is first in a level, if it stands in the block of the one taken last, so
  // that what it needs can be fetched in time.
  bool peek(int32_t level, Pixel& pixel) const {
    const List& list = levels_[level];
    const int32_t end = list.head == none ? 0 : list.head == list.tail ? list.end : places_;
    const bool isThere = list.first < end;
    if (isThere) std::memcpy(&pixel, place(list.head, list.first), sizeof pixel);
    return isThere;
  }

  static constexpr int32_t levelCount = 257;

 private:
  static constexpr int32_t none = -1;
  static constexpr int32_t words = levelCount / 64 + 1;
  static constexpr int32_t placesOfBlock = 7;
  // From here on 12 bytes a pixel hold all full blocks and two more for each level.
  static constexpr int64_t smallImage = 9000;
  static_assert((smallImage / placesOfBlock + 2 * levelCount) * (4 + 8 * placesOfBlock) <=
                12 * smallImage);

  // Its first and last block, and the places of the first pixel and behind the last one. The last
  // block is full where there is none.
  struct List {
    int32_t head, tail, first, end;
  };

  uint8_t* block(int32_t index) const { return memory_ + (4 + int64_t{8} * places_) * index; }
  uint8_t* place(int32_t index, int32_t i) const { return block(index) + 4 + int64_t{8} * i; }

  int32_t nextBlock(int32_t index) const {
    int32_t next;
    std::memcpy(&next, block(index), sizeof next);
    return next;
  }
  void link(int32_t index, int32_t next) { std::memcpy(block(index), &next, sizeof next); }

  void extend(List& list) {
    int32_t added = free_;
    if (added == none) {
      added = used_++;
    } else {
      free_ = nextBlock(added);
    }
    if (list.tail == none) {
      list.head = added;
    } else {
      link(list.tail, added);
    }
    list.tail = added;
    list.end = 0;
  }

  void leaveBlock(List& list) {
    const int32_t left = list.head;
    if (left == list.tail) {
      list.head = list.tail = none;
    } else {
      list.head = nextBlock(left);
    }
    list.first = 0;
    link(left, free_);
    free_ = left;
  }

  List levels_[levelCount];
  uint64_t filled_[words] = {};
  uint8_t* memory_;
  int32_t places_;
  int32_t free_ = none;
  int32_t used_ = 0;
};

}  // namespace nuv

// Flood fill by spans: a stack holds the horizontal runs whose neighbouring rows are still to be
// searched (scan-line seed fill; A. R. Smith, "Tint fill", SIGGRAPH 1979). A pixel is taken by its
// distance to the seed (plain, range), or to the neighbour that it is reached from (gradient).

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "nuvcv/segment.h"
#include "segment/runs.h"

namespace nuv {
namespace {

int64_t area(NuviSize size) { return int64_t{size.width} * size.height; }

// The interface sizes a stack for a quarter of the pixels with 24 bytes each. What no memory can
// hold wraps.
uint64_t stackBytes(NuviSize size) { return 6 * static_cast<uint64_t>(area(size)) + 32; }
uint64_t mapBytes(NuviSize size) {
  return static_cast<uint64_t>((int64_t{size.width} + 2) * (int64_t{size.height} + 2));
}

// A span whose two adjacent rows are to be searched.
struct Span {
  int32_t y;
  int32_t left;
  int32_t right;
};

// A span that knows where it was reached from: the row y + direction, which needs no search above
// or below the parent's columns.
struct DirectedSpan {
  Span span;
  int32_t parentLeft;
  int32_t parentRight;
  int32_t direction;
};

// A stack in the caller's memory, which may start at any address; it moves to a block of its own if
// that should not be enough. (Branching shapes have more spans waiting at once than a quarter of
// their pixels.)
template <class Frame>
class FrameStack {
 public:
  FrameStack(uint8_t* memory, uint64_t bytes)
      : frames_(memory), room_(static_cast<int64_t>(bytes) / frameBytes) {}
  ~FrameStack() { ownFree(block_); }
  FrameStack(const FrameStack&) = delete;
  FrameStack& operator=(const FrameStack&) = delete;

  bool empty() const { return count_ == 0; }
  int64_t count() const { return count_; }
  void clear() { count_ = 0; }

  // False if there is no memory.
  bool push(const Frame& frame) {
    if (count_ >= room_ && !grow()) return false;
    std::memcpy(frames_ + count_ * frameBytes, &frame, sizeof frame);
    ++count_;
    return true;
  }

  Frame pop() {
    Frame frame;
    --count_;
    std::memcpy(&frame, frames_ + count_ * frameBytes, sizeof frame);
    return frame;
  }

 private:
  static constexpr auto frameBytes = static_cast<int64_t>(sizeof(Frame));

  bool grow() {
    const int64_t room = std::max<int64_t>(2 * count_, 64);
    uint8_t* const block = allocate<uint8_t>(room * frameBytes);
    if (block == nullptr) return false;
    std::memcpy(block, frames_, static_cast<size_t>(count_ * frameBytes));
    ownFree(block_);
    frames_ = block_ = block;
    room_ = room;
    return true;
  }

  uint8_t* frames_;
  uint8_t* block_ = nullptr;
  int64_t room_;
  int64_t count_ = 0;
};

// The smallest rectangle around spans.
class Bounds {
 public:
  explicit Bounds(const Span& span)
      : left_(span.left), right_(span.right), top_(span.y), bottom_(span.y) {}

  void include(const Span& span) {
    left_ = std::min(left_, span.left);
    right_ = std::max(right_, span.right);
    top_ = std::min(top_, span.y);
    bottom_ = std::max(bottom_, span.y);
  }

  NuviRect rect() const { return {left_, top_, right_ - left_ + 1, bottom_ - top_ + 1}; }

 private:
  int32_t left_, right_, top_, bottom_;
};

// The pixels whose every channel lies in an interval of its own; for the plain fill the interval is
// the seed's value alone, which for floats is equality.
template <class T, int channels>
struct Interval {
  T low[channels];
  T high[channels];

  bool holds(const T* pixel) const {
    bool inside = true;
    for (int c = 0; c < channels; ++c) inside &= isBetween(pixel[c], low[c], high[c]);
    return inside;
  }

  // The first column in from..end - 1 with (or without) a pixel of the interval, else `end`.
  template <bool wanted>
  int32_t first(const T* row, int32_t from, int32_t end) const {
    if constexpr (channels == 1) {
      return firstWhere<wanted>(row, from, end, low[0], high[0]);
    } else {
      while (from < end && holds(row + ptrdiff_t{from} * channels) != wanted) ++from;
      return from;
    }
  }
};

// seed - minDelta .. seed + maxDelta; integers saturate, floats are rounded once.
template <class T>
T lowerEnd(T seed, T delta) {
  if constexpr (std::is_floating_point_v<T>) {
    return seed - delta;
  } else {
    return saturate<T>(seed - delta);
  }
}
template <class T>
T upperEnd(T seed, T delta) {
  if constexpr (std::is_floating_point_v<T>) {
    return seed + delta;
  } else {
    return saturate<T>(seed + delta);
  }
}

// Whether a pixel is near enough to the one it is reached from: b - minDelta <= a <= b + maxDelta
// in every channel. In wrapping arithmetic a value below the interval turns into a large one.
template <class T, int channels>
struct Nearness {
  uint32_t below[channels];
  uint32_t extent[channels];

  Nearness(const T* minDelta, const T* maxDelta) {
    for (int c = 0; c < channels; ++c) {
      below[c] = minDelta[c];
      extent[c] = uint32_t{minDelta[c]} + maxDelta[c];
    }
  }
  bool holds(const T* a, const T* b) const {
    bool near = true;
    for (int c = 0; c < channels; ++c) near &= a[c] + below[c] - b[c] <= extent[c];
    return near;
  }
};
// Floats compare the distance to the interval's middle with its half width, in single precision and
// in this order. What does not compare, a NaN, is not rejected.
template <int channels>
struct Nearness<float, channels> {
  float shift[channels];
  float halfWidth[channels];

  Nearness(const float* minDelta, const float* maxDelta) {
    for (int c = 0; c < channels; ++c) {
      shift[c] = 0.5f * (minDelta[c] - maxDelta[c]);
      halfWidth[c] = 0.5f * (minDelta[c] + maxDelta[c]);
    }
  }
  bool holds(const float* a, const float* b) const {
    bool near = true;
    for (int c = 0; c < channels; ++c) {
      near &= !(__builtin_fabsf((shift[c] + a[c]) - b[c]) > halfWidth[c]);
    }
    return near;
  }
};

// The image being filled and the value that goes into it.
template <class T, int channels>
struct Canvas {
  Image<T> image;
  NuviSize size;
  const T* newVal;

  T* pixel(NuviPoint at) const { return image.row(at.y) + ptrdiff_t{at.x} * channels; }

  bool isPainted(const T* pixel) const {
    for (int c = 0; c < channels; ++c) {
      if (!(pixel[c] == newVal[c])) return false;
    }
    return true;
  }

  void paint(const Span& span) const {
    T* const first = image.row(span.y) + ptrdiff_t{span.left} * channels;
    const ptrdiff_t pixels = ptrdiff_t{span.right} - span.left + 1;
    if constexpr (channels == 1) {
      std::fill(first, first + pixels, newVal[0]);
    } else {
      for (ptrdiff_t i = 0; i < pixels * channels; i += channels) {
        for (int c = 0; c < channels; ++c) first[i + c] = newVal[c];
      }
    }
  }

  // Paints the run of the interval around a pixel, which itself is painted whatever its value.
  Span paintRun(const Interval<T, channels>& interval, NuviPoint at) const {
    const T* const row = image.row(at.y);
    int32_t left = at.x;
    while (left > 0 && interval.holds(row + ptrdiff_t{left - 1} * channels)) --left;
    const int32_t right = interval.template first<false>(row, at.x + 1, size.width) - 1;
    const Span span = {at.y, left, right};
    paint(span);
    return span;
  }

  // Paints every run of the interval that begins in, or reaches into, the columns from..to of row
  // y, from left to right, and hands it to found(span) until that returns false. The column behind
  // a run is known to fail.
  template <class Found>
  bool paintRuns(const Interval<T, channels>& interval, int32_t y, int32_t from, int32_t to,
                 Found&& found) const {
    const T* const row = image.row(y);
    for (int32_t x = from; x <= to;) {
      x = interval.template first<true>(row, x, to + 1);
      if (x > to) break;
      const Span span = paintRun(interval, {x, y});
      if (!found(span)) return false;
      x = span.right + 2;
    }
    return true;
  }
};

int64_t length(const Span& span) { return int64_t{span.right} - span.left + 1; }

template <class T, int channels>
void report(int64_t area, const Bounds& bounds, const Canvas<T, channels>& canvas,
            NuviFilledRegion* region) {
  *region = {static_cast<double>(area), {}, bounds.rect()};
  for (int c = 0; c < channels; ++c) region->value[c] = static_cast<double>(canvas.newVal[c]);
}

// The checks that all fills begin with. In forms of one channel the values are the call's own, and
// their addresses always pass.
template <int channels, class T>
NuvStatus checkFill(const T* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed,
                    const T* newVal, const T* minDelta, const T* maxDelta,
                    const NuviFilledRegion* region, const uint8_t* buffer) {
  const bool inside =
      seed.x >= 0 && seed.x < roiSize.width && seed.y >= 0 && seed.y < roiSize.height;
  return Check()
      .pointers(image, region, buffer, newVal, minDelta, maxDelta)
      .size(roiSize)
      .step(image, imageStep, roiSize.width, channels)
      .elementMultiple(image, imageStep)
      .require(inside, nuvStatusOutOfRange)
      .status();
}

// Columns that a pixel touches on either side in the adjacent rows.
enum class Reach : int32_t { edges = 0, corners = 1 };

// Painted pixels stop matching, so each is visited once, in any order, and searching a parent's
// columns again finds nothing.
template <int channels, class T>
NuvStatus fillPlain(Reach connectivity, T* image, int32_t imageStep, NuviSize roiSize,
                    NuviPoint seed, const T* newVal, NuviFilledRegion* region, uint8_t* buffer) {
  const NuvStatus status =
      checkFill<channels>(image, imageStep, roiSize, seed, newVal, newVal, newVal, region, buffer);
  if (status != nuvStatusOk) return status;

  const Canvas<T, channels> canvas = {Image<T>(image, imageStep), roiSize, newVal};
  const T* const seedPixel = canvas.pixel(seed);
  if (canvas.isPainted(seedPixel)) return nuvStatusOk;
  Interval<T, channels> interval;
  std::copy(seedPixel, seedPixel + channels, interval.low);
  std::copy(seedPixel, seedPixel + channels, interval.high);

  const Span first = canvas.paintRun(interval, seed);
  FrameStack<Span> stack(buffer, stackBytes(roiSize));
  if (!stack.push(first)) return nuvStatusNoMemory;
  int64_t painted = length(first);
  Bounds bounds(first);
  const auto found = [&](const Span& span) {
    painted += length(span);
    return stack.push(span);
  };
  const auto reach = static_cast<int32_t>(connectivity);
  while (!stack.empty()) {
    const Span span = stack.pop();
    bounds.include(span);
    const int32_t from = std::max(span.left - reach, 0);
    const int32_t to = std::min(span.right + reach, roiSize.width - 1);
    for (const int32_t y : {span.y - 1, span.y + 1}) {
      if (y < 0 || y >= roiSize.height) continue;
      if (!canvas.paintRuns(interval, y, from, to, found)) return nuvStatusNoMemory;
    }
  }
  report(painted, bounds, canvas, region);
  return nuvStatusOk;
}

// Where the new value lies inside the interval, painted pixels match again. What is filled then
// depends on the order of the searches and on the room of the stack: the last span found is taken
// first, and a stack that has just become full is emptied. Spans can then be found in circles for
// ever, so the fill also ends once it has found 64 times the image.
template <int channels, class T>
NuvStatus fillRange(Reach connectivity, T* image, int32_t imageStep, NuviSize roiSize,
                    NuviPoint seed, const T* newVal, const T* minDelta, const T* maxDelta,
                    NuviFilledRegion* region, uint8_t* buffer) {
  const NuvStatus status = checkFill<channels>(image, imageStep, roiSize, seed, newVal, minDelta,
                                               maxDelta, region, buffer);
  if (status != nuvStatusOk) return status;

  const Canvas<T, channels> canvas = {Image<T>(image, imageStep), roiSize, newVal};
  const T* const seedPixel = canvas.pixel(seed);
  if (canvas.isPainted(seedPixel)) return nuvStatusOk;
  Interval<T, channels> interval;
  for (int c = 0; c < channels; ++c) {
    interval.low[c] = lowerEnd(seedPixel[c], minDelta[c]);
    interval.high[c] = upperEnd(seedPixel[c], maxDelta[c]);
  }

  const Span first = canvas.paintRun(interval, seed);
  int64_t painted = length(first);
  Bounds bounds(first);
  const int64_t capacity = area(roiSize) / 4;
  const int64_t limit = 64 * area(roiSize);
  FrameStack<DirectedSpan> stack(buffer, stackBytes(roiSize));
  if (roiSize.height > 1 && capacity != 1) {
    const int32_t direction = seed.y == roiSize.height - 1 ? -1 : 1;
    if (!stack.push({first, first.right + 1, first.right, direction})) return nuvStatusNoMemory;
  }
  const auto reach = static_cast<int32_t>(connectivity);
  while (!stack.empty() && painted <= limit) {
    const DirectedSpan frame = stack.pop();
    const Span& span = frame.span;
    bounds.include(span);
    bool noMemory = false;
    const auto search = [&](int32_t y, int32_t from, int32_t to, int32_t direction) {
      return canvas.paintRuns(interval, y, from, to, [&](const Span& found) {
        painted += length(found);
        noMemory = !stack.push({found, span.left, span.right, direction});
        if (stack.count() == capacity) stack.clear();
        return !noMemory && painted <= limit;
      });
    };
    const int32_t from = std::max(span.left - reach, 0);
    const int32_t to = std::min(span.right + reach, roiSize.width - 1);
    const int32_t onward = span.y - frame.direction, back = span.y + frame.direction;
    bool going = true;
    if (onward >= 0 && onward < roiSize.height) going = search(onward, from, to, frame.direction);
    going = going && search(back, from, frame.parentLeft - 1, -frame.direction);
    going = going && search(back, frame.parentRight + 1, to, -frame.direction);
    if (noMemory) return nuvStatusNoMemory;
  }
  report(painted, bounds, canvas, region);
  return nuvStatusOk;
}

// A span is painted behind its searches, so that all comparisons read the values of before; a map
// with a frame around the image tells which pixels are taken. The pixels reached are those of all
// chains of near neighbours, in whatever order they are found.
template <int channels, class T>
NuvStatus fillGradient(Reach connectivity, T* image, int32_t imageStep, NuviSize roiSize,
                       NuviPoint seed, const T* newVal, const T* minDelta, const T* maxDelta,
                       NuviFilledRegion* region, uint8_t* buffer) {
  const NuvStatus status = checkFill<channels>(image, imageStep, roiSize, seed, newVal, minDelta,
                                               maxDelta, region, buffer);
  if (status != nuvStatusOk) return status;
  if constexpr (std::is_floating_point_v<T>) {
    for (int c = 0; c < channels; ++c) {
      if (minDelta[c] < 0 || maxDelta[c] < 0) return nuvStatusOutOfRange;
    }
  }

  const ptrdiff_t mapStep = ptrdiff_t{roiSize.width} + 2;
  std::memset(buffer, 1, static_cast<size_t>(mapStep));
  for (int32_t y = 0; y < roiSize.height; ++y) {
    uint8_t* const row = buffer + (y + 1) * mapStep;
    std::memset(row, 0, static_cast<size_t>(mapStep));
    row[0] = row[mapStep - 1] = 1;
  }
  std::memset(buffer + (roiSize.height + 1) * mapStep, 1, static_cast<size_t>(mapStep));
  const Image<uint8_t> taken(buffer + mapStep + 1, mapStep);

  const Canvas<T, channels> canvas = {Image<T>(image, imageStep), roiSize, newVal};
  const Nearness<T, channels> near(minDelta, maxDelta);
  const auto nearEachOther = [&](const T* row, int32_t a, const T* otherRow, int32_t b) {
    return near.holds(row + ptrdiff_t{a} * channels, otherRow + ptrdiff_t{b} * channels);
  };
  const auto takeLeft = [&](const T* row, uint8_t* rowTaken, int32_t left) {
    while (rowTaken[left - 1] == 0 && nearEachOther(row, left - 1, row, left)) {
      rowTaken[--left] = 1;
    }
    return left;
  };

  FrameStack<Span> stack(buffer + mapBytes(roiSize), stackBytes(roiSize));
  Span first = {seed.y, seed.x, seed.x};
  {
    const T* const row = canvas.image.row(seed.y);
    uint8_t* const rowTaken = taken.row(seed.y);
    rowTaken[seed.x] = 1;
    while (rowTaken[first.right + 1] == 0 &&
           nearEachOther(row, first.right + 1, row, first.right)) {
      rowTaken[++first.right] = 1;
    }
    first.left = takeLeft(row, rowTaken, seed.x);
  }
  if (!stack.push(first)) return nuvStatusNoMemory;

  int64_t painted = 0;
  Bounds bounds(first);
  const auto reach = static_cast<int32_t>(connectivity);
  while (!stack.empty()) {
    const Span span = stack.pop();
    bounds.include(span);
    const T* const spanRow = canvas.image.row(span.y);
    const int32_t from = std::max(span.left - reach, 0);
    const int32_t to = std::min(span.right + reach, roiSize.width - 1);
    for (const int32_t y : {span.y - 1, span.y + 1}) {
      if (y < 0 || y >= roiSize.height) continue;
      const T* const row = canvas.image.row(y);
      uint8_t* const rowTaken = taken.row(y);
      // From a pixel of the span above or below, or beside those.
      const auto reachedFromSpan = [&](int32_t x) {
        const int32_t last = std::min(x + reach, span.right);
        for (int32_t c = std::max(x - reach, span.left); c <= last; ++c) {
          if (nearEachOther(row, x, spanRow, c)) return true;
        }
        return false;
      };
      for (int32_t x = from; x <= to; ++x) {
        if (rowTaken[x] != 0 || !reachedFromSpan(x)) continue;
        rowTaken[x] = 1;
        const int32_t left = takeLeft(row, rowTaken, x);
        while (rowTaken[x + 1] == 0 &&
               (nearEachOther(row, x + 1, row, x) || reachedFromSpan(x + 1))) {
          rowTaken[++x] = 1;
        }
        if (!stack.push({y, left, x})) return nuvStatusNoMemory;
        ++x;  // was tested, and failed
      }
    }
    canvas.paint(span);
    painted += length(span);
  }
  report(painted, bounds, canvas, region);
  return nuvStatusOk;
}

NuvStatus reportSize(NuviSize roiSize, uint64_t bytes, int32_t* bufferSize) {
  const NuvStatus status = Check().pointers(bufferSize).size(roiSize).status();
  if (status == nuvStatusOk) *bufferSize = static_cast<int32_t>(bytes);
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFloodFillGetSize(NuviSize roiSize, int32_t* bufferSize) {
  return reportSize(roiSize, stackBytes(roiSize), bufferSize);
}

NuvStatus nuviFloodFillGetSize_Grad(NuviSize roiSize, int32_t* bufferSize) {
  return reportSize(roiSize, mapBytes(roiSize) + stackBytes(roiSize), bufferSize);
}

// The three fills of one element type, one connectivity and one or three channels; a value of one
// channel comes by value, three by pointer.
#define FILLS_C1(con, reach, type, T)                                                             \
  NuvStatus nuviFloodFill_##con##_##type##_C1IR(T* image, int32_t imageStep, NuviSize roiSize,    \
                                                NuviPoint seed, T newVal,                         \
                                                NuviFilledRegion* region, uint8_t* buffer) {      \
    return fillPlain<1>(reach, image, imageStep, roiSize, seed, &newVal, region, buffer);         \
  }                                                                                               \
  NuvStatus nuviFloodFill_Range##con##_##type##_C1IR(                                             \
      T* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, T newVal, T minDelta,        \
      T maxDelta, NuviFilledRegion* region, uint8_t* buffer) {                                    \
    return fillRange<1>(reach, image, imageStep, roiSize, seed, &newVal, &minDelta, &maxDelta,    \
                        region, buffer);                                                          \
  }                                                                                               \
  NuvStatus nuviFloodFill_Grad##con##_##type##_C1IR(                                              \
      T* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, T newVal, T minDelta,        \
      T maxDelta, NuviFilledRegion* region, uint8_t* buffer) {                                    \
    return fillGradient<1>(reach, image, imageStep, roiSize, seed, &newVal, &minDelta, &maxDelta, \
                           region, buffer);                                                       \
  }
#define FILLS_C3(con, reach, type, T)                                                          \
  NuvStatus nuviFloodFill_##con##_##type##_C3IR(T* image, int32_t imageStep, NuviSize roiSize, \
                                                NuviPoint seed, const T* newVal,               \
                                                NuviFilledRegion* region, uint8_t* buffer) {   \
    return fillPlain<3>(reach, image, imageStep, roiSize, seed, newVal, region, buffer);       \
  }                                                                                            \
  NuvStatus nuviFloodFill_Range##con##_##type##_C3IR(                                          \
      T* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const T* newVal,          \
      const T* minDelta, const T* maxDelta, NuviFilledRegion* region, uint8_t* buffer) {       \
    return fillRange<3>(reach, image, imageStep, roiSize, seed, newVal, minDelta, maxDelta,    \
                        region, buffer);                                                       \
  }                                                                                            \
  NuvStatus nuviFloodFill_Grad##con##_##type##_C3IR(                                           \
      T* image, int32_t imageStep, NuviSize roiSize, NuviPoint seed, const T* newVal,          \
      const T* minDelta, const T* maxDelta, NuviFilledRegion* region, uint8_t* buffer) {       \
    return fillGradient<3>(reach, image, imageStep, roiSize, seed, newVal, minDelta, maxDelta, \
                           region, buffer);                                                    \
  }
#define FILLS(type, T)                    \
  FILLS_C1(4Con, Reach::edges, type, T)   \
  FILLS_C1(8Con, Reach::corners, type, T) \
  FILLS_C3(4Con, Reach::edges, type, T)   \
  FILLS_C3(8Con, Reach::corners, type, T)

FILLS(8u, uint8_t)
FILLS(16u, uint16_t)
FILLS(32f, float)

#undef FILLS
#undef FILLS_C3
#undef FILLS_C1

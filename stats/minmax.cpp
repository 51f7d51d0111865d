// Smallest and largest pixel of a region, with their places: first the extrema of the rows and the
// rows where they were first reached, then one search for the column in each of the two rows.

#include <algorithm>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "nuvcv/stats.h"
#include "stats/select.h"

namespace nuv {
namespace {

constexpr int32_t parallelArea = 0x4000;

// A pixel of one channel, or the selected channel of three: the elements lie `stride` apart.
template <int stride, class T>
inline T pixelAt(const T* row, ptrdiff_t x) {
  return row[x * stride];
}

// Values that no pixel is strictly below or above.
template <class T>
constexpr T aboveAll() {
  using Limits = std::numeric_limits<T>;
  return Limits::has_infinity ? Limits::infinity() : Limits::max();
}
template <class T>
constexpr T belowAll() {
  using Limits = std::numeric_limits<T>;
  return Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
}

template <class T>
struct Range {
  T smallest = aboveAll<T>();
  T largest = belowAll<T>();

  void add(T value) {
    smallest = value < smallest ? value : smallest;
    largest = value > largest ? value : largest;
  }
};

// A NaN is neither below nor above anything.
template <int stride, class T>
Range<T> rowRange(const T* row, ptrdiff_t width) {
  Range<T> range;
  for (ptrdiff_t x = 0; x < width; ++x) range.add(pixelAt<stride>(row, x));
  return range;
}

// Where the mask is 0, a value takes part that is never better.
template <int stride, class T>
Range<T> maskedRowRange(const T* row, const uint8_t* mask, ptrdiff_t width) {
  Range<T> range;
  for (ptrdiff_t x = 0; x < width; x += chunkWidth) {
    const ptrdiff_t count = std::min(width - x, chunkWidth);
    T buffer[chunkWidth];
    const T* pixels = collect<stride>(row + x * stride, mask + x, aboveAll<T>(), count, buffer);
    for (ptrdiff_t i = 0; i < count; ++i) {
      range.smallest = pixels[i] < range.smallest ? pixels[i] : range.smallest;
    }
    pixels = collect<stride>(row + x * stride, mask + x, belowAll<T>(), count, buffer);
    for (ptrdiff_t i = 0; i < count; ++i) {
      range.largest = pixels[i] > range.largest ? pixels[i] : range.largest;
    }
  }
  return range;
}

// Lanes of extrema of float rows; an operand that is a NaN gives way to the running one.
struct RangeLanes {
  F32x8 smallest = broadcast<F32x8>(aboveAll<float>());
  F32x8 largest = broadcast<F32x8>(belowAll<float>());

  void add(F32x8 low, F32x8 high) {
    smallest = minimum(low, smallest);
    largest = maximum(high, largest);
  }
  Range<float> fold() const {
    Range<float> range;
    for (int lane = 0; lane < 8; ++lane) {
      if (smallest[lane] < range.smallest) range.smallest = smallest[lane];
      if (largest[lane] > range.largest) range.largest = largest[lane];
    }
    return range;
  }
};

template <>
Range<float> rowRange<1, float>(const float* row, ptrdiff_t width) {
  RangeLanes even, odd;
  ptrdiff_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const F32x8 first = load<F32x8>(row + x);
    const F32x8 second = load<F32x8>(row + x + 8);
    even.add(first, first);
    odd.add(second, second);
  }
  even.add(odd.smallest, odd.largest);
  Range<float> range = even.fold();
  for (; x < width; ++x) range.add(row[x]);
  return range;
}

template <>
Range<float> maskedRowRange<1, float>(const float* row, const uint8_t* mask, ptrdiff_t width) {
  const F32x8 above = broadcast<F32x8>(aboveAll<float>());
  const F32x8 below = broadcast<F32x8>(belowAll<float>());
  RangeLanes lanes;
  ptrdiff_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const S32x8 selected = loadAs32s(mask + x) != 0;
    const F32x8 value = load<F32x8>(row + x);
    lanes.add(selected ? value : above, selected ? value : below);
  }
  Range<float> range = lanes.fold();
  for (; x < width; ++x) {
    if (mask[x] != 0) range.add(row[x]);
  }
  return range;
}

// The extrema of a share of rows, and the first rows that hold them.
template <class T>
struct Extrema {
  Range<T> range;
  int32_t smallestRow = 0;
  int32_t largestRow = 0;
  // Masked search: the first selected pixel in raster order.
  bool found = false;
  T first{};
  int32_t firstRow = 0;

  // Takes over what is strictly better.
  void add(const Range<T>& other, int32_t otherSmallestRow, int32_t otherLargestRow) {
    if (other.smallest < range.smallest) {
      range.smallest = other.smallest;
      smallestRow = otherSmallestRow;
    }
    if (other.largest > range.largest) {
      range.largest = other.largest;
      largestRow = otherLargestRow;
    }
  }
  void startFrom(T value, int32_t row) {
    range.smallest = range.largest = value;
    smallestRow = largestRow = row;
    found = true;
  }
};

template <class T>
struct Source {
  Image<const T> image;
  int32_t width;

  template <int stride>
  int32_t columnOf(T value, int32_t y) const {
    const T* const row = image.row(y);
    for (int32_t x = 0; x < width; ++x) {
      if (pixelAt<stride>(row, x) == value) return x;
    }
    return 0;
  }
  template <int stride>
  int32_t selectedColumnOf(T value, int32_t y, const Image<const uint8_t>& mask) const {
    const T* const row = image.row(y);
    const uint8_t* const selected = mask.row(y);
    for (int32_t x = 0; x < width; ++x) {
      if (selected[x] != 0 && pixelAt<stride>(row, x) == value) return x;
    }
    return 0;
  }
};

// The caller's result pointers, each of which may be null.
struct Results {
  float* pMinVal;
  float* pMaxVal;
  NuviPoint* pMinIndex;
  NuviPoint* pMaxIndex;

  void write(float smallest, float largest, NuviPoint smallestAt, NuviPoint largestAt) const {
    if (pMinVal != nullptr) *pMinVal = smallest;
    if (pMaxVal != nullptr) *pMaxVal = largest;
    if (pMinIndex != nullptr) *pMinIndex = smallestAt;
    if (pMaxIndex != nullptr) *pMaxIndex = largestAt;
  }
};

// The element of the channel of interest in the first pixel. stride 1: the one channel there is.
template <int stride, class T>
const T* channelOf(const T* pSrc, int32_t coi) {
  return stride == 1 ? pSrc : pSrc + (coi - 1);
}

template <int stride, class T>
NuvStatus minMax(const T* pSrc, int32_t srcStep, NuviSize roiSize, int32_t coi,
                 const Results& results) {
  const NuvStatus status = Check()
                               .pointers(pSrc)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, stride)
                               .elementMultiple(pSrc, srcStep)
                               .channel(coi)
                               .status();
  if (status != nuvStatusOk) return status;

  const Source<T> src = {{channelOf<stride>(pSrc, coi), srcStep}, roiSize.width};
  using Limits = std::numeric_limits<T>;
  // The search starts at the finite limits: a region of infinities alone beats only one of them.
  Extrema<T> best;
  best.range.smallest = Limits::max();
  best.range.largest = Limits::lowest();

  ThreadSlots<Extrema<T>> slots(ownGetNumThreads());
  const bool serial = gateArea(roiSize) < parallelArea;
  const int32_t used = reduceRowShares(
      serial, roiSize.height, slots, [&](Extrema<T>& slot, int32_t firstRow, int32_t rows) {
        for (int32_t y = firstRow; y < firstRow + rows; ++y) {
          slot.add(rowRange<stride>(src.image.row(y), src.width), y, y);
        }
      });
  for (int32_t t = 0; t < used; ++t) {
    best.add(slots[t].range, slots[t].smallestRow, slots[t].largestRow);
  }

  const T smallest = best.range.smallest;
  const T largest = best.range.largest;
  results.write(static_cast<float>(smallest), static_cast<float>(largest),
                {src.template columnOf<stride>(smallest, best.smallestRow), best.smallestRow},
                {src.template columnOf<stride>(largest, best.largestRow), best.largestRow});
  return nuvStatusOk;
}

// Extends a share's extrema by a row.
template <int stride, class T>
void addMaskedRow(const T* row, const uint8_t* mask, int32_t y, ptrdiff_t width,
                  Extrema<T>& extrema) {
  if (!extrema.found) {
    ptrdiff_t x = 0;
    while (x < width && mask[x] == 0) ++x;
    if (x == width) return;
    extrema.found = true;
    extrema.first = pixelAt<stride>(row, x);
    extrema.firstRow = y;
  }
  extrema.add(maskedRowRange<stride>(row, mask, width), y, y);
}

template <int stride, class T>
NuvStatus minMaxMasked(const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
                       NuviSize roiSize, int32_t coi, const Results& results) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pMask)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, stride)
                               .step(pMask, maskStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep)
                               .channel(coi)
                               .status();
  if (status != nuvStatusOk) return status;

  const Source<T> src = {{channelOf<stride>(pSrc, coi), srcStep}, roiSize.width};
  const Image<const uint8_t> mask(pMask, maskStep);
  ThreadSlots<Extrema<T>> slots(ownGetNumThreads());
  const bool serial = gateArea(roiSize) < parallelArea;
  const int32_t used = reduceRowShares(
      serial, roiSize.height, slots, [&](Extrema<T>& slot, int32_t firstRow, int32_t rows) {
        for (int32_t y = firstRow; y < firstRow + rows; ++y) {
          addMaskedRow<stride>(src.image.row(y), mask.row(y), y, src.width, slot);
        }
      });

  // The search starts at the first selected pixel of all, whatever its value.
  Extrema<T> best;
  for (int32_t t = 0; t < used; ++t) {
    if (!slots[t].found) continue;
    if (!best.found) best.startFrom(slots[t].first, slots[t].firstRow);
    best.add(slots[t].range, slots[t].smallestRow, slots[t].largestRow);
  }
  if (!best.found) {
    results.write(0.0f, 0.0f, {0, 0}, {0, 0});
    return nuvStatusOk;
  }
  const T smallest = best.range.smallest;
  const T largest = best.range.largest;
  results.write(
      static_cast<float>(smallest), static_cast<float>(largest),
      {src.template selectedColumnOf<stride>(smallest, best.smallestRow, mask), best.smallestRow},
      {src.template selectedColumnOf<stride>(largest, best.largestRow, mask), best.largestRow});
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define MIN_MAX(form, T)                                                                         \
  NuvStatus nuviMinMaxIndx_##form##_C1R(const T* pSrc, int32_t srcStep, NuviSize roiSize,        \
                                        float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex,    \
                                        NuviPoint* pMaxIndex) {                                  \
    return minMax<1>(pSrc, srcStep, roiSize, 1, {pMinVal, pMaxVal, pMinIndex, pMaxIndex});       \
  }                                                                                              \
  NuvStatus nuviMinMaxIndx_##form##_C3CR(const T* pSrc, int32_t srcStep, NuviSize roiSize,       \
                                         int32_t coi, float* pMinVal, float* pMaxVal,            \
                                         NuviPoint* pMinIndex, NuviPoint* pMaxIndex) {           \
    return minMax<3>(pSrc, srcStep, roiSize, coi, {pMinVal, pMaxVal, pMinIndex, pMaxIndex});     \
  }                                                                                              \
  NuvStatus nuviMinMaxIndx_##form##_C1MR(                                                        \
      const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,  \
      float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex, NuviPoint* pMaxIndex) {              \
    return minMaxMasked<1>(pSrc, srcStep, pMask, maskStep, roiSize, 1,                           \
                           {pMinVal, pMaxVal, pMinIndex, pMaxIndex});                            \
  }                                                                                              \
  NuvStatus nuviMinMaxIndx_##form##_C3CMR(                                                       \
      const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,  \
      int32_t coi, float* pMinVal, float* pMaxVal, NuviPoint* pMinIndex, NuviPoint* pMaxIndex) { \
    return minMaxMasked<3>(pSrc, srcStep, pMask, maskStep, roiSize, coi,                         \
                           {pMinVal, pMaxVal, pMinIndex, pMaxIndex});                            \
  }

MIN_MAX(8u, uint8_t)
MIN_MAX(8s, int8_t)
MIN_MAX(16u, uint16_t)
MIN_MAX(32f, float)

#undef MIN_MAX

// Local extrema of an image: positive pixels that are the maximum of their neighbourhood, and other
// pixels that are its minimum, of more than a given magnitude.
//
// Few pixels pass the threshold, so a block of them is tested against it first, and only where one
// passes the neighbourhood is looked at. No work rows are needed for that.

#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/feature.h"

namespace nuv {
namespace {

enum Norm : int32_t { eightNeighbours = 0, fourNeighbours = 1 };

// Lanes whose magnitude exceeds the threshold. A NaN's does not.
inline S32x8 exceeds(F32x8 value, float threshold) {
  return (value > threshold) | (-value > threshold);
}
// No integer is -threshold for the least one, but all magnitudes exceed a negative threshold.
inline S32x8 exceeds(S32x8 value, int32_t threshold) {
  if (threshold < 0) return ~S32x8{};
  return (value > threshold) | (value < -threshold);
}

// Lanes in which a value is the extreme of its neighbourhood, `above` or below it. Infinities have
// no difference.
inline S32x8 isSame(F32x8 above, F32x8 below) {
  return above - below <= std::numeric_limits<float>::min();
}
inline S32x8 isSame(S32x8 above, S32x8 below) { return above == below; }

// What combine() makes of eight pixels and their neighbours.
template <int32_t norm, class T, class Combine>
Vector<T, 8> overNeighbourhood(const T* above, const T* row, const T* below, Combine&& combine) {
  const auto at = [](const T* pixels) { return load<Vector<T, 8>>(pixels); };
  const auto pair = [&](const T* a, const T* b) { return combine(at(a), at(b)); };
  auto extreme = combine(combine(pair(row - 1, row + 1), pair(above, below)), at(row));
  if constexpr (norm == eightNeighbours) {
    extreme = combine(extreme, combine(pair(above - 1, above + 1), pair(below - 1, below + 1)));
  }
  return extreme;
}

// A bit for each of eight pixels that are peaks.
template <int32_t norm, class T>
uint32_t peaksOfBlock(const T* above, const T* row, const T* below, T threshold) {
  using V = Vector<T, 8>;
  const V value = load<V>(row);
  const uint32_t strong = laneBits(exceeds(value, threshold));
  if (strong == 0) return 0;
  const uint32_t positive = strong & laneBits(value > T{0});
  uint32_t peaks = 0;
  if (positive != 0) {
    const V highest =
        overNeighbourhood<norm>(above, row, below, [](V a, V b) { return maximum(a, b); });
    peaks = positive & laneBits(isSame(highest, value));
  }
  if (positive != strong) {
    const V lowest =
        overNeighbourhood<norm>(above, row, below, [](V a, V b) { return minimum(a, b); });
    peaks |= strong & ~positive & laneBits(isSame(value, lowest));
  }
  return peaks;
}

// The caller's list.
struct PeakList {
  NuviPoint* peaks;
  int32_t room;
  int32_t count = 0;

  // False if the list is full.
  bool append(int32_t x, int32_t y) {
    peaks[count++] = {x, y};
    return count < room;
  }
};

// The columns border..end-1 of row y. The last block of a row goes by way of a copy, since what
// stands behind its neighbours is not the caller's. False if the list is full.
template <int32_t norm, class T>
bool findInRow(const Image<const T>& src, int32_t y, int32_t border, int32_t end, T threshold,
               PeakList& list) {
  const T* const rows[] = {src.row(y - 1), src.row(y), src.row(y + 1)};
  for (int32_t x = border; x < end; x += 8) {
    uint32_t peaks;
    if (end - x >= 8) {
      peaks = peaksOfBlock<norm>(rows[0] + x, rows[1] + x, rows[2] + x, threshold);
    } else {
      T copy[3][10] = {};
      for (int i = 0; i < 3; ++i) {
        std::memcpy(copy[i], rows[i] + x - 1, static_cast<size_t>(end - x + 2) * sizeof(T));
      }
      peaks = peaksOfBlock<norm>(copy[0] + 1, copy[1] + 1, copy[2] + 1, threshold) &
              ((1u << (end - x)) - 1);
    }
    for (; peaks != 0; peaks &= peaks - 1) {
      if (!list.append(x + __builtin_ctz(peaks), y)) return false;
    }
  }
  return true;
}

template <class T>
NuvStatus findPeaks(const T* pSrc, int32_t srcStep, NuviSize roiSize, T threshold, NuviPoint* pPeak,
                    int32_t maxPeakCount, int32_t* pPeakCount, int32_t norm, int32_t border,
                    const uint8_t* pBuffer) {
  const auto frame = static_cast<float>(border);
  const bool frameFits = !(static_cast<double>(frame) > 0.5 * roiSize.width) &&
                         !(static_cast<double>(frame) > 0.5 * roiSize.height);
  const NuvStatus status =
      Check()
          .pointers(pSrc, pPeak, pPeakCount, pBuffer)
          .size(roiSize)
          .require(maxPeakCount >= 1 && border >= 1, nuvStatusBadSize)
          .require(frameFits, nuvStatusBadSize)
          .require(srcStep / 4 >= roiSize.width, nuvStatusBadStep)
          .elementMultiple(pSrc, srcStep)
          .require(norm == eightNeighbours || norm == fourNeighbours, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  PeakList list = {pPeak, maxPeakCount};
  const auto findInRows = [&](auto find) {
    for (int32_t y = border; y < roiSize.height - border; ++y) {
      if (!find(src, y, border, roiSize.width - border, threshold, list)) return;
    }
  };
  findInRows(norm == eightNeighbours ? findInRow<eightNeighbours, T>
                                     : findInRow<fourNeighbours, T>);
  *pPeakCount = list.count;
  return nuvStatusOk;
}

NuvStatus getBufferSize(int32_t width, int32_t* pBufferSize) {
  const NuvStatus status =
      Check().pointers(pBufferSize).require(width >= 1, nuvStatusBadSize).status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = wrappingAdd(wrappingMultiply(wrappingAdd(width, 5) / 4, 128), 32);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFindPeaks3x3_32f_C1R(const float* pSrc, int32_t srcStep, NuviSize roiSize,
                                   float threshold, NuviPoint* pPeak, int32_t maxPeakCount,
                                   int32_t* pPeakCount, int32_t norm, int32_t border,
                                   uint8_t* pBuffer) {
  return findPeaks(pSrc, srcStep, roiSize, threshold, pPeak, maxPeakCount, pPeakCount, norm, border,
                   pBuffer);
}

NuvStatus nuviFindPeaks3x3_32s_C1R(const int32_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                   int32_t threshold, NuviPoint* pPeak, int32_t maxPeakCount,
                                   int32_t* pPeakCount, int32_t norm, int32_t border,
                                   uint8_t* pBuffer) {
  return findPeaks(pSrc, srcStep, roiSize, threshold, pPeak, maxPeakCount, pPeakCount, norm, border,
                   pBuffer);
}

NuvStatus nuviFindPeaks3x3GetBufferSize_32f_C1R(int32_t width, int32_t* pBufferSize) {
  return getBufferSize(width, pBufferSize);
}

NuvStatus nuviFindPeaks3x3GetBufferSize_32s_C1R(int32_t width, int32_t* pBufferSize) {
  return getBufferSize(width, pBufferSize);
}

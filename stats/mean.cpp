// Mean and standard deviation of a region, over all pixels or those that a mask selects. Integer
// images are reduced exactly. Float images are summed in lanes of single precision; where the mean
// is large against the spread, the one-pass formula cancels, and a second pass sums the squared
// distances from the mean.

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/stats.h"
#include "stats/gate.h"
#include "stats/select.h"

namespace nuv {
namespace {

// What a share of the rows adds up to.
struct Sums {
  double sum = 0.0;
  double squares = 0.0;
  int32_t count = 0;

  void add(const Sums& other) {
    sum += other.sum;
    squares += other.squares;
    count += other.count;
  }
};

// The pixels of one channel lie `stride` elements apart; `src` starts at the channel's first one.
// The mask is read in masked forms only.
template <class T>
struct Region {
  Image<const T> src;
  Image<const uint8_t> mask;
  ptrdiff_t width;
};

// ---- integers

// The sum of up to a chunk of pixels side by side.
template <class T>
int32_t sumOf(const T* pixels, ptrdiff_t width) {
  int32_t sum = 0;
  ptrdiff_t x = 0;
#if NUV_AVX2
  if constexpr (sizeof(T) == 1) {
    // Sums of absolute differences from zero, or from the least value of a signed type.
    const __m256i least = _mm256_set1_epi8(std::numeric_limits<T>::min());
    __m256i sums = _mm256_setzero_si256();
    for (; x + 32 <= width; x += 32) {
      const auto values = reinterpret_cast<__m256i>(load<U8x32>(pixels + x));
      sums = _mm256_add_epi64(
          sums, _mm256_sad_epu8(_mm256_xor_si256(values, least), _mm256_setzero_si256()));
    }
    const auto lanes = reinterpret_cast<Vector<int64_t, 4>>(sums);
    sum = static_cast<int32_t>((lanes[0] + lanes[2]) + (lanes[1] + lanes[3]) +
                               x * std::numeric_limits<T>::min());
  }
#endif
  for (; x < width; ++x) sum += pixels[x];
  return sum;
}

// The sum of their squares.
template <class T>
double squaresOf(const T* pixels, ptrdiff_t width) {
  using Factor = std::conditional_t<sizeof(T) == 1, int16_t, uint64_t>;
  using Square = std::conditional_t<sizeof(T) == 1, int32_t, uint64_t>;
  Square sum = 0;
  for (ptrdiff_t x = 0; x < width; ++x) {
    const auto factor = static_cast<Factor>(pixels[x]);
    sum += Square{factor} * Square{factor};
  }
  return static_cast<double>(sum);
}

template <int stride, bool masked, bool squares, class T>
Sums rowSums(const T* row, const uint8_t* mask, ptrdiff_t width) {
  Sums sums;
  for (ptrdiff_t x = 0; x < width; x += chunkWidth) {
    const ptrdiff_t count = std::min(width - x, chunkWidth);
    const uint8_t* const selected = masked ? mask + x : nullptr;
    T buffer[chunkWidth];
    const T* const pixels = collect<stride>(row + x * stride, selected, T{0}, count, buffer);
    sums.sum += sumOf(pixels, count);
    if (squares) sums.squares += squaresOf(pixels, count);
    sums.count += masked ? countSelected(selected, count) : static_cast<int32_t>(count);
  }
  return sums;
}

// The sums of a share of rows, exact up to 2 to the 53rd.
template <int stride, bool masked, bool squares, class T>
Sums shareSums(const Region<T>& region, int32_t firstRow, int32_t rows) {
  Sums sums;
  for (int32_t y = firstRow; y < firstRow + rows; ++y) {
    const uint8_t* const mask = masked ? region.mask.row(y) : nullptr;
    sums.add(rowSums<stride, masked, squares>(region.src.row(y), mask, region.width));
  }
  return sums;
}

// ---- floats

// A set of single-precision lanes that a share of rows is summed in. They are widened once, at the
// end, the two halves of the set first.
template <size_t lanes>
double widenedSum(Vector<float, lanes> set) {
  double folded[lanes];
  for (size_t i = 0; i < lanes; ++i) folded[i] = static_cast<double>(set[i]);
  for (size_t half = lanes / 2; half >= 1; half /= 2) {
    for (size_t i = 0; i < half; ++i) folded[i] += folded[i + half];
  }
  return folded[0];
}

// How a square joins its lane: rounded first, or in one step.
enum class Squares { none, rounded, fused };

template <Squares squares, class F>
inline void addSquare(F value, F& lane) {
  if constexpr (squares == Squares::rounded) lane += value * value;
  if constexpr (squares == Squares::fused) lane = fused(value, value, lane);
}

// `lanes` pixels of one channel less `origin`, +0.0 where the mask is 0: a selection of bits, so
// that a NaN under a zero mask does no harm.
template <size_t lanes, int stride, bool masked>
inline Vector<float, lanes> loadLanes(const float* row, const uint8_t* mask, ptrdiff_t x,
                                      float origin) {
  Vector<float, lanes> pixels;
  if constexpr (stride == 1) {
    pixels = load<Vector<float, lanes>>(row + x);
  } else {
    for (size_t i = 0; i < lanes; ++i) {
      pixels[i] = row[(x + static_cast<ptrdiff_t>(i)) * stride];
    }
  }
  pixels = pixels - origin;
  if constexpr (masked) {
    using Lanes = Vector<int32_t, lanes>;
    const auto selected = convert<Lanes>(load<Vector<uint8_t, lanes>>(mask + x)) != 0;
    pixels = reinterpret_cast<Vector<float, lanes>>(selected & reinterpret_cast<Lanes>(pixels));
  }
  return pixels;
}

// Walks the rows in blocks of two sets of lanes; the pixels behind the last whole block of a row go
// into the first lane one by one. The lanes run on from row to row.
template <size_t lanes, int stride, bool masked, Squares squares>
Sums shareSums(const Region<float>& region, float origin, int32_t firstRow, int32_t rows) {
  constexpr auto half = static_cast<ptrdiff_t>(lanes);
  Vector<float, lanes> sum{}, sumOfSquares{};
  int32_t count = 0;
  for (int32_t y = firstRow; y < firstRow + rows; ++y) {
    const float* const row = region.src.row(y);
    const uint8_t* const mask = masked ? region.mask.row(y) : nullptr;
    ptrdiff_t x = 0;
    for (; x + 2 * half <= region.width; x += 2 * half) {
      for (const ptrdiff_t begin : {x, x + half}) {
        const auto pixels = loadLanes<lanes, stride, masked>(row, mask, begin, origin);
        sum += pixels;
        addSquare<squares>(pixels, sumOfSquares);
      }
    }
    for (; x < region.width; ++x) {
      const float pixel = masked && mask[x] == 0 ? 0.0f : row[x * stride] - origin;
      float square = sumOfSquares[0];
      addSquare<squares>(pixel, square);
      sumOfSquares[0] = square;
      sum[0] += pixel;
    }
    for (x = 0; masked && x < region.width; x += chunkWidth) {
      count += countSelected(mask + x, std::min(region.width - x, chunkWidth));
    }
  }
  if (!masked) count = wrappingMultiply(static_cast<int32_t>(region.width), rows);
  return {widenedSum<lanes>(sum), widenedSum<lanes>(sumOfSquares), count};
}

// The whole one-channel region of nuviMean_StdDev_32f_C1R is walked in wider lanes, with fused
// squares.
template <int stride, bool masked>
constexpr size_t lanesOf = stride == 1 && !masked ? 8 : 4;

template <int stride, bool masked, bool squares>
Sums shareSums(const Region<float>& region, int32_t firstRow, int32_t rows) {
  constexpr Squares kind = !squares                 ? Squares::none
                           : stride == 1 && !masked ? Squares::fused
                                                    : Squares::rounded;
  return shareSums<lanesOf<stride, masked>, stride, masked, kind>(region, 0.0f, firstRow, rows);
}

// ---- the operations

// One channel of the caller's image. The channel's steps of `stride` elements start at its element.
template <int stride, class T>
Region<T> regionOf(const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
                   NuviSize roiSize, int32_t coi) {
  return {{pSrc + (coi - 1), srcStep}, {pMask, maskStep}, roiSize.width};
}

// The element test of 16-bit sources stands before the mask's step, that of floats behind it.
template <int stride, bool masked, class T>
NuvStatus check(const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
                NuviSize roiSize, int32_t coi, bool resultsGiven) {
  Check check;
  check.pointers(pSrc);
  if (masked) check.pointers(pMask);
  check.require(resultsGiven, nuvStatusNullPointer)
      .size(roiSize)
      .step(pSrc, srcStep, roiSize.width, stride);
  if constexpr (sizeof(T) == 2) check.elementMultiple(pSrc, srcStep);
  if (masked) check.step(pMask, maskStep, roiSize.width);
  if constexpr (sizeof(T) == 4) check.elementMultiple(pSrc, srcStep);
  return check.channel(coi).status();
}

template <int stride, bool masked, bool squares, class T>
Sums regionSums(const Region<T>& region, NuviSize roiSize, Gate gate) {
  ThreadSlots<Sums> slots(ownGetNumThreads());
  const int32_t used =
      reduceRowShares(staysSerial(gate, roiSize), roiSize.height, slots,
                      [&](Sums& slot, int32_t firstRow, int32_t rows) {
                        slot = shareSums<stride, masked, squares>(region, firstRow, rows);
                      });
  Sums total;
  for (int32_t t = 0; t < used; ++t) total.add(slots[t]);
  return total;
}

template <int stride, bool masked, class T>
NuvStatus mean(Gate gate, const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
               NuviSize roiSize, int32_t coi, double* pMean) {
  const NuvStatus status =
      check<stride, masked>(pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean != nullptr);
  if (status != nuvStatusOk) return status;

  const auto region = regionOf<stride>(pSrc, srcStep, pMask, maskStep, roiSize, coi);
  const Sums sums = regionSums<stride, masked, false>(region, roiSize, gate);
  *pMean = sums.count > 0 ? sums.sum / sums.count : 0.0;
  return nuvStatusOk;
}

// The deviation summed again as distances from the mean, if the mean is large against it.
template <int stride, bool masked>
double refined(const Region<float>& region, int32_t height, double mean, double deviation,
               int32_t count) {
  if (!(mean * 0.05 * mean > deviation * deviation)) return deviation;
  const Sums sums = shareSums<lanesOf<stride, masked>, stride, masked, Squares::rounded>(
      region, static_cast<float>(mean), 0, height);
  return std::sqrt(sums.squares / count);
}
template <int stride, bool masked, class T>
double refined(const Region<T>&, int32_t, double, double deviation, int32_t) {
  return deviation;
}

template <int stride, bool masked, class T>
NuvStatus meanDeviation(Gate gate, const T* pSrc, int32_t srcStep, const uint8_t* pMask,
                        int32_t maskStep, NuviSize roiSize, int32_t coi, double* pMean,
                        double* pStdDev) {
  const NuvStatus status =
      check<stride, masked>(pSrc, srcStep, pMask, maskStep, roiSize, coi, true);
  if (status != nuvStatusOk) return status;

  const auto region = regionOf<stride>(pSrc, srcStep, pMask, maskStep, roiSize, coi);
  const Sums sums = regionSums<stride, masked, true>(region, roiSize, gate);
  double mean = 0.0, deviation = 0.0;
  if (sums.count > 0) {
    mean = sums.sum / sums.count;
    // The magnitude, since rounding can leave the difference just below zero.
    deviation = std::sqrt(std::fabs(fused(-mean, mean, sums.squares / sums.count)));
    deviation = refined<stride, masked>(region, roiSize.height, mean, deviation, sums.count);
  }
  if (pMean != nullptr) *pMean = mean;
  if (pStdDev != nullptr) *pStdDev = deviation;
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define MEAN(form, T, gateC1, gateC3)                                                     \
  NuvStatus nuviMean_##form##_C1MR(const T* pSrc, int32_t srcStep, const uint8_t* pMask,  \
                                   int32_t maskStep, NuviSize roiSize, double* pMean) {   \
    return mean<1, true>(gateC1, pSrc, srcStep, pMask, maskStep, roiSize, 1, pMean);      \
  }                                                                                       \
  NuvStatus nuviMean_##form##_C3CMR(const T* pSrc, int32_t srcStep, const uint8_t* pMask, \
                                    int32_t maskStep, NuviSize roiSize, int32_t coi,      \
                                    double* pMean) {                                      \
    return mean<3, true>(gateC3, pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean);    \
  }

MEAN(8u, uint8_t, alwaysSerial, byArea)
MEAN(8s, int8_t, byArea, byArea)
MEAN(16u, uint16_t, byArea, byArea)
MEAN(32f, float, byArea, byArea)
#undef MEAN

#define MEAN_DEVIATION(form, T, gateC1, gateC3)                                                    \
  NuvStatus nuviMean_StdDev_##form##_C1R(const T* pSrc, int32_t srcStep, NuviSize roiSize,         \
                                         double* pMean, double* pStdDev) {                         \
    return meanDeviation<1, false>(gateC1, pSrc, srcStep, nullptr, 0, roiSize, 1, pMean, pStdDev); \
  }                                                                                                \
  NuvStatus nuviMean_StdDev_##form##_C3CR(const T* pSrc, int32_t srcStep, NuviSize roiSize,        \
                                          int32_t coi, double* pMean, double* pStdDev) {           \
    return meanDeviation<3, false>(gateC3, pSrc, srcStep, nullptr, 0, roiSize, coi, pMean,         \
                                   pStdDev);                                                       \
  }                                                                                                \
  NuvStatus nuviMean_StdDev_##form##_C1MR(const T* pSrc, int32_t srcStep, const uint8_t* pMask,    \
                                          int32_t maskStep, NuviSize roiSize, double* pMean,       \
                                          double* pStdDev) {                                       \
    return meanDeviation<1, true>(byArea, pSrc, srcStep, pMask, maskStep, roiSize, 1, pMean,       \
                                  pStdDev);                                                        \
  }                                                                                                \
  NuvStatus nuviMean_StdDev_##form##_C3CMR(const T* pSrc, int32_t srcStep, const uint8_t* pMask,   \
                                           int32_t maskStep, NuviSize roiSize, int32_t coi,        \
                                           double* pMean, double* pStdDev) {                       \
    return meanDeviation<3, true>(byArea, pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean,     \
                                  pStdDev);                                                        \
  }

constexpr Gate byHalfTheArea = {0x10000, false};
MEAN_DEVIATION(8u, uint8_t, byAreaAndCores, byArea)
MEAN_DEVIATION(8s, int8_t, byArea, byArea)
MEAN_DEVIATION(16u, uint16_t, byArea, byArea)
MEAN_DEVIATION(32f, float, byHalfTheArea, alwaysSerial)
#undef MEAN_DEVIATION

// The row stage of separable filters: each row of an image is correlated with a kernel of one
// dimension and written into rows that the caller names one by one.
//
// A row has an interior, whose windows lie inside the row, and edge columns, whose windows the
// border completes. The two round differently. An arithmetic is a pair of kernels over windows:
// each computes a block of `lanes` neighbouring results from the first sample of the first window,
// and reads nothing but these windows.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "core/check.h"
#include "core/image.h"
#include "filter/pipeline/border.h"
#include "filter/pipeline/samples.h"
#include "filter/pipeline/sizes.h"
#include "filter/pipeline/stage.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

// The exact sum of a window, modulo 2^32.
template <int channels, class T, int count>
inline PairSums windowSum(const T* window, const Taps<int16_t, count>& kernel) {
  const auto at = [&](int32_t j) { return loadSamples(window + ptrdiff_t{channels} * j); };
  PairSums sum = {};
  int32_t j = 0;
  for (; j + 1 < kernel.size(); j += 2) {
    sum = sum + multiplyPairs(at(j), at(j + 1), coefficientPair(kernel[j], kernel[j + 1]));
  }
  if (j < kernel.size()) sum = sum + multiplyPairs(at(j), S16x16{}, coefficientPair(kernel[j]));
  return sum;
}

// Interior, 16-bit samples, 3 or 5 taps whose magnitudes add up to less than 65535, so that the sum
// fits 32 bits: converted to float, times inverse, rounded to nearest even, saturated.
template <int channels, int count>
struct ExactInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, count> kernel;
  float inverse;

  void operator()(const int16_t* window, int16_t* out) const {
    store(out, roundScaled(toFloat(windowSum<channels>(window, kernel)), inverse));
  }
};

// Interior, 16-bit samples, any other number of taps: four taps at a time in ascending order are
// summed in 32 bits, converted and added to a sum in float, the taps that are left one by one.
template <int channels>
struct GroupedInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, 0> kernel;
  float inverse;

  void operator()(const int16_t* window, int16_t* out) const {
    const auto at = [&](int32_t j) { return loadSamples(window + ptrdiff_t{channels} * j); };
    PairFloats sum = {};
    int32_t j = 0;
    for (; j + 3 < kernel.size(); j += 4) {
      sum =
          sum + toFloat(multiplyPairs(at(j), at(j + 1), coefficientPair(kernel[j], kernel[j + 1])) +
                        multiplyPairs(at(j + 2), at(j + 3),
                                      coefficientPair(kernel[j + 2], kernel[j + 3])));
    }
    for (; j < kernel.size(); ++j) {
      sum = sum + toFloat(multiplyPairs(at(j), S16x16{}, coefficientPair(kernel[j])));
    }
    store(out, roundScaled(sum, inverse));
  }
};

// Interior, 16-bit samples, coefficients too large for the two above: coefficients times inverse
// and products in float, no step fused. 3 and 5 taps: the outer pair first, where pairs of equal
// coefficients add their samples before they multiply. Others in ascending order. Clamped, rounded
// to nearest even.
template <int channels, int count>
struct FloatInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, count> kernel;
  Taps<float, count> scaled;

  void operator()(const int16_t* window, int16_t* out) const {
    const auto at = [&](int32_t j) { return loadIntegers(window + ptrdiff_t{channels} * j); };
    const auto pair = [&](int32_t j) {
      const int32_t partner = count - 1 - j;
      return kernel[j] == kernel[partner]
                 ? toFloat(at(j) + at(partner)) * scaled[j]
                 : toFloat(at(j)) * scaled[j] + toFloat(at(partner)) * scaled[partner];
    };
    Floats sum;
    if constexpr (count != 0) {
      sum = pair(0);
      if constexpr (count == 5) sum = sum + pair(1);
      sum = sum + toFloat(at(count / 2)) * scaled[count / 2];
    } else {
      sum = toFloat(at(0)) * scaled[0];
      for (int32_t j = 1; j < scaled.size(); ++j) sum = sum + toFloat(at(j)) * scaled[j];
    }
    store(out, roundSaturate(sum));
  }
};

// Edge columns, 16-bit samples: the sum in float, times inverse, clamped and truncated. Three taps
// have an order of their own; others take products and sums in ascending order.
template <int channels>
struct FloatEdge {
  static constexpr int lanes = 16;
  Taps<int16_t, 0> kernel;
  float inverse;

  void operator()(const int16_t* window, int16_t* out) const {
    const auto at = [&](int32_t j) {
      return toFloat(loadIntegers(window + ptrdiff_t{channels} * j));
    };
    if (kernel.size() == 3) {
      const Floats last = fused(at(1), kernel[1], at(2) * kernel[2]);
      store(out, truncateSaturate(fused(last, inverse, at(0) * inverse * kernel[0])));
      return;
    }
    Floats sum = at(0) * kernel[0];
    for (int32_t j = 1; j < kernel.size(); ++j) sum = sum + at(j) * kernel[j];
    store(out, truncateSaturate(sum * inverse));
  }
};

// Interior, 8-bit samples: the exact sum, converted to float, times inverse, rounded to nearest
// even, saturated. Divisor 1 needs no float: whatever fits 16 bits is exact in it.
template <int channels, int count>
struct ByteInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, count> kernel;
  float inverse;

  void operator()(const uint8_t* window, int16_t* out) const {
    const PairSums sum = windowSum<channels>(window, kernel);
    store(out, inverse == 1.0f ? packSaturate(sum) : roundScaled(toFloat(sum), inverse));
  }
};

// The same for 3 and 5 taps whose sum cannot leave 16 bits, as those of derivatives and of light
// smoothing: sums of half the width. 255 times the magnitude is 32640.
constexpr float mostNarrowMagnitude = 128.0f;
template <int channels, int count>
struct NarrowByteInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, count> kernel;
  float inverse;

  void operator()(const uint8_t* window, int16_t* out) const {
    S16x16 sum = {};
    for (int32_t j = 0; j < kernel.size(); ++j) {
      sum += loadSamples(window + ptrdiff_t{channels} * j) * kernel[j];
    }
    store(out, inverse == 1.0f ? sum : roundScaled(toFloat(widen(sum)), inverse));
  }
};

// Edge columns, 8-bit samples: as the interior, but clamped and truncated.
template <int channels>
struct ByteEdge {
  static constexpr int lanes = 16;
  Taps<int16_t, 0> kernel;
  float inverse;

  void operator()(const uint8_t* window, int16_t* out) const {
    store(out, truncateScaled(toFloat(windowSum<channels>(window, kernel)), inverse));
  }
};

// Interior of the low forms: the sum modulo 2^16. With a divisor other than 1, times the factor and
// shifted, saturated.
template <int channels, int count>
struct LowInterior {
  static constexpr int lanes = 16;
  Taps<int16_t, count> kernel;
  int16_t factor;
  bool divides;

  void operator()(const int16_t* window, int16_t* out) const {
    U16x16 sum = {};
    for (int32_t j = 0; j < kernel.size(); ++j) {
      sum += load<U16x16>(window + ptrdiff_t{channels} * j) * static_cast<uint16_t>(kernel[j]);
    }
    const auto wrapped = reinterpret_cast<S16x16>(sum);
    store(out, divides ? scaleFixedPoint(wrapped, factor) : wrapped);
  }
};

// Edge columns of the low forms: the full sum times the factor, shifted, its low 16 bits. Under
// divisor 1 the factor is 2^14, which leaves the low bits of the sum.
template <int channels>
struct LowEdge {
  static constexpr int lanes = 16;
  Taps<int16_t, 0> kernel;
  int16_t factor;

  void operator()(const int16_t* window, int16_t* out) const {
    PairSums sum = windowSum<channels>(window, kernel);
    sum.low = (sum.low * static_cast<uint32_t>(factor)) >> 14;
    sum.high = (sum.high * static_cast<uint32_t>(factor)) >> 14;
    store(out, packLowBits(sum));
  }
};

// Floats: the sum in ascending order, fused in the interior and with separate products and sums in
// the edge columns. Several vectors side by side hide the time of a step.
template <int channels, int count, bool interior>
struct FloatSum {
  static constexpr int vectors = 4;
  static constexpr int lanes = 8 * vectors;
  Taps<float, count> kernel;

  void operator()(const float* window, float* out) const {
    F32x8 sum[vectors];
    for (int v = 0; v < vectors; ++v) sum[v] = load<F32x8>(window + 8 * v) * kernel[0];
    for (int32_t j = 1; j < kernel.size(); ++j) {
      const auto coefficient = broadcast<F32x8>(kernel[j]);
      const float* const samples = window + ptrdiff_t{channels} * j;
      for (int v = 0; v < vectors; ++v) {
        const auto sample = load<F32x8>(samples + 8 * v);
        sum[v] = interior ? fused(sample, coefficient, sum[v]) : sum[v] + sample * coefficient;
      }
    }
    for (int v = 0; v < vectors; ++v) store(out + 8 * v, sum[v]);
  }
};

// The arguments of a call; the float forms have divisor 1.
template <class SourceElement, class ResultElement, class Coefficient>
struct RowCall {
  using Source = SourceElement;
  using Result = ResultElement;
  const Source* pSrc;
  int32_t srcStep;
  Result* const* ppDst;
  NuviSize roiSize;
  const Coefficient* pKernel;
  int32_t kernelSize;
  int32_t xAnchor;
  NuviBorderType borderType;
  const Source* borderValue;
  int32_t divisor;
  uint8_t* pBuffer;
};
using RowCall16s = RowCall<int16_t, int16_t, int16_t>;
using RowCall8u16s = RowCall<uint8_t, int16_t, int16_t>;
using RowCall32f = RowCall<float, float, float>;
struct RowCallLow16s : RowCall16s {};

// Columns first..end-1 of a row, whose windows are completed by the border in a line. The last
// block may compute with whatever stands behind the line's last window; those results are dropped.
template <int channels, class Call, class Kernel>
void filterThroughLine(const Call& call, const Kernel& kernel, const typename Call::Source* row,
                       int64_t first, int64_t end, typename Call::Source* line,
                       typename Call::Result* dst) {
  if (first == end) return;
  extendRow<channels>(row, call.roiSize.width, call.borderType, call.borderValue,
                      first - call.xAnchor, end - call.xAnchor + call.kernelSize - 1, line);
  const int64_t samples = channels * (end - first);
  for (int64_t x = 0; x < samples; x += Kernel::lanes) {
    typename Call::Result block[Kernel::lanes];
    kernel(line + x, block);
    const auto kept = static_cast<size_t>(std::min<int64_t>(Kernel::lanes, samples - x));
    std::memcpy(dst + channels * first + x, block, kept * sizeof block[0]);
  }
}

// The interior lies in columns first..end-1; its first window begins with the row. A block that
// would pass its end is moved back onto results that are there already.
template <int channels, class Call, class Interior, class Edge>
void filterRows(const Call& call, Scratch scratch, int32_t firstRow, int32_t rows,
                const Interior& interior, const Edge& edge) {
  static_assert(Interior::lanes == Edge::lanes);
  constexpr int64_t lanes = Interior::lanes;
  const int64_t width = call.roiSize.width;
  const int64_t reach = call.kernelSize - 1;
  const int64_t first = std::min<int64_t>(call.xAnchor, width);
  const int64_t end = std::max(first, width - (reach - call.xAnchor));
  const int64_t samples = channels * (end - first);

  // At most `reach` columns go through the line at once, or a block of the interior.
  using Source = typename Call::Source;
  auto* const line = scratch.take<Source>(
      channels * reach + alignUp<int64_t>(std::max(channels * reach, int64_t{1}), lanes));
  const Image<const Source> src(call.pSrc, call.srcStep);
  for (int32_t y = firstRow; y < firstRow + rows; ++y) {
    const Source* const row = src.row(y);
    auto* const dst = call.ppDst[y];
    filterThroughLine<channels>(call, edge, row, 0, first, line, dst);
    if (samples >= lanes) {
      auto* const out = dst + channels * first;
      int64_t x = 0;
      for (; x + lanes <= samples; x += lanes) interior(row + x, out + x);
      if (x < samples) interior(row + samples - lanes, out + samples - lanes);
    } else {
      filterThroughLine<channels>(call, interior, row, first, end, line, dst);
    }
    filterThroughLine<channels>(call, edge, row, end, width, line, dst);
  }
}

// The sum of the coefficients' magnitudes.
float magnitudeOf(const int16_t* kernel, int32_t size) {
  float sum = 0.0f;
  for (int32_t j = 0; j < size; ++j) sum += std::fabs(static_cast<float>(kernel[j]));
  return sum;
}

// The arithmetic that a call's kernel takes, over a share of its rows.

template <int channels>
void filterShare(const RowCall16s& call, Scratch scratch, int32_t firstRow, int32_t rows) {
  const int16_t* const kernel = call.pKernel;
  const int32_t size = call.kernelSize;
  const float inverse = inverseOf(call.divisor);
  const float magnitude = magnitudeOf(kernel, size);
  const bool hasLowest = std::find(kernel, kernel + size, INT16_MIN) != kernel + size;

  const FloatEdge<channels> edge = {{kernel, size}, inverse};
  const auto run = [&](const auto& interior) {
    filterRows<channels>(call, scratch, firstRow, rows, interior, edge);
  };
  const auto runFloat = [&](auto count) {
    auto* const scaled = scratch.take<float>(size);
    for (int32_t j = 0; j < size; ++j) scaled[j] = static_cast<float>(kernel[j]) * inverse;
    run(FloatInterior<channels, count>{{kernel, size}, {scaled, size}});
  };
  withTapCount(size, [&](auto count) {
    if constexpr (count == 0) {
      if (hasLowest) {
        runFloat(count);
      } else {
        run(GroupedInterior<channels>{{kernel, size}, inverse});
      }
    } else {
      if (magnitude < 65535.0f) {
        run(ExactInterior<channels, count>{{kernel, size}, inverse});
      } else {
        runFloat(count);
      }
    }
  });
}

template <int channels>
void filterShare(const RowCall8u16s& call, Scratch scratch, int32_t firstRow, int32_t rows) {
  const int16_t* const kernel = call.pKernel;
  const int32_t size = call.kernelSize;
  const float inverse = inverseOf(call.divisor);
  const bool isNarrow = magnitudeOf(kernel, size) <= mostNarrowMagnitude;
  const auto run = [&](const auto& interior) {
    filterRows<channels>(call, scratch, firstRow, rows, interior,
                         ByteEdge<channels>{{kernel, size}, inverse});
  };
  withTapCount(size, [&](auto count) {
    if constexpr (count != 0) {
      if (isNarrow) {
        run(NarrowByteInterior<channels, count>{{kernel, size}, inverse});
        return;
      }
    }
    run(ByteInterior<channels, count>{{kernel, size}, inverse});
  });
}

template <int channels>
void filterShare(const RowCallLow16s& call, Scratch scratch, int32_t firstRow, int32_t rows) {
  const int16_t* const kernel = call.pKernel;
  const int32_t size = call.kernelSize;
  const int16_t factor = fixedPointFactor(call.divisor);
  withTapCount(size, [&](auto count) {
    filterRows<channels>(call, scratch, firstRow, rows,
                         LowInterior<channels, count>{{kernel, size}, factor, call.divisor != 1},
                         LowEdge<channels>{{kernel, size}, factor});
  });
}

template <int channels>
void filterShare(const RowCall32f& call, Scratch scratch, int32_t firstRow, int32_t rows) {
  const float* const kernel = call.pKernel;
  const int32_t size = call.kernelSize;
  withTapCount(size, [&](auto count) {
    filterRows<channels>(call, scratch, firstRow, rows,
                         FloatSum<channels, count, true>{{kernel, size}},
                         FloatSum<channels, 0, false>{{kernel, size}});
  });
}

// The rows before the first null one.
template <class Result>
int32_t rowsGiven(Result* const* ppDst, int32_t height) {
  return static_cast<int32_t>(std::find(ppDst, ppDst + height, nullptr) - ppDst);
}

// `forks`: this form and kernel size may go to a team where the region is large.
template <int channels, class Call>
NuvStatus rowStage(const Call& call, int64_t ownBytes, bool forks) {
  const NuvStatus status =
      Check()
          .pointers(call.pSrc, call.ppDst, call.pKernel, call.pBuffer)
          .size(call.roiSize)
          .require(call.kernelSize >= 1, nuvStatusBadSize)
          .require(call.xAnchor >= 0 && call.xAnchor < call.kernelSize, nuvStatusBadAnchor)
          .step(call.pSrc, call.srcStep, call.roiSize.width, channels)
          .elementMultiple(call.pSrc, call.srcStep)
          .require(isPlainBorder(call.borderType), nuvStatusBadArgument)
          .require(call.divisor != 0, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  // A null row ends the run. Nothing behind it is written, however many threads there are.
  const int32_t rows = rowsGiven(call.ppDst, call.roiSize.height);
  forEachStageShare(!forks || !isLargeForStage(call.roiSize), rows, call.pBuffer,
                    threadShareBytes(ownBytes, call.roiSize, call.kernelSize),
                    [&](Scratch scratch, int32_t firstRow, int32_t shareRows) {
                      filterShare<channels>(call, scratch, firstRow, shareRows);
                    });
  return rows < call.roiSize.height ? nuvStatusNullPointer : nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define ROW_PARAMETERS(Source, Result, Coefficient)                            \
  const Source *pSrc, int32_t srcStep, Result *const *ppDst, NuviSize roiSize, \
      const Coefficient *pKernel, int32_t kernelSize, int32_t xAnchor, NuviBorderType borderType
#define ROW_CALL(border, divisor)                                                             \
  {                                                                                           \
    pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor, borderType, border, divisor, \
        pBuffer                                                                               \
  }

#define INTEGER_ROW_STAGE(form, Source, Call, ownBytes1, ownBytes3, forks1)                      \
  NuvStatus nuviFilterRowBorderPipeline_##form##_C1R(ROW_PARAMETERS(Source, int16_t, int16_t),   \
                                                     Source borderValue, int32_t divisor,        \
                                                     uint8_t* pBuffer) {                         \
    return rowStage<1>(Call ROW_CALL(&borderValue, divisor), ownBytes1(kernelSize), forks1);     \
  }                                                                                              \
  NuvStatus nuviFilterRowBorderPipeline_##form##_C3R(ROW_PARAMETERS(Source, int16_t, int16_t),   \
                                                     const Source* borderValue, int32_t divisor, \
                                                     uint8_t* pBuffer) {                         \
    return rowStage<3>(Call ROW_CALL(borderValue, divisor), ownBytes3(kernelSize), true);        \
  }

INTEGER_ROW_STAGE(16s, int16_t, RowCall16s, rowOwnBytes16sC1, rowOwnBytes16sC3, kernelSize > 3)
INTEGER_ROW_STAGE(8u16s, uint8_t, RowCall8u16s, rowOwnBytes8u16sC1, rowOwnBytes8u16sC3, true)
INTEGER_ROW_STAGE(Low_16s, int16_t, RowCallLow16s, rowOwnBytesLow16sC1, rowOwnBytesLow16sC3, true)

NuvStatus nuviFilterRowBorderPipeline_32f_C1R(ROW_PARAMETERS(float, float, float),
                                              float borderValue, uint8_t* pBuffer) {
  // Counting the cores can take longer than a row, so only a large region asks for them.
  const bool forks =
      isLargeForStage(roiSize) && ((kernelSize != 3 && kernelSize != 5) || ownCoresIfMany() != 0);
  return rowStage<1>(RowCall32f ROW_CALL(&borderValue, 1), rowOwnBytes32fC1(kernelSize), forks);
}
NuvStatus nuviFilterRowBorderPipeline_32f_C3R(ROW_PARAMETERS(float, float, float),
                                              const float* borderValue, uint8_t* pBuffer) {
  return rowStage<3>(RowCall32f ROW_CALL(borderValue, 1), rowOwnBytes32fC3(kernelSize), true);
}

#undef ROW_PARAMETERS
#undef ROW_CALL
#undef INTEGER_ROW_STAGE

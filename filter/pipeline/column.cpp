// The column stage of separable filters: the columns of rows that the caller names one by one are
// correlated with a kernel of one dimension and written as an image.
//
// Integer results depend on where in the row a sample stands. Whole blocks of samples round to
// nearest, and the samples behind the last whole block, the tail, truncate. An arithmetic is a
// kernel for sixteen samples of blocks (in shorter rows some of them are dropped), and one for a
// sample of the tail.

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "filter/pipeline/samples.h"
#include "filter/pipeline/sizes.h"
#include "filter/pipeline/stage.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

constexpr int32_t lanes = 16;

inline void storeResults(S16x16 value, int16_t* out) { store(out, value); }
template <class Byte>
inline void storeResults(S16x16 value, Byte* out) {
  store(out, narrowSaturate<Byte>(value));
}

// 16-bit sources. Blocks: coefficients times inverse in float. 3 and 5 taps: the product of the
// middle row is rounded, and the outer pairs are fused onto it, where pairs of equal coefficients
// add their samples before they multiply. Others: the first product is rounded and the others fused
// onto it in ascending order. Rounded to nearest even, saturated to 16 bits and then to the result.
//
// Tail: the exact sum, converted to float, times inverse, clamped to the result's range and
// truncated.
template <int count, class ResultElement>
struct ScaledColumn {
  using Result = ResultElement;
  static constexpr int taps = count;
  static constexpr int32_t block = count == 0 ? 16 : 4;
  Taps<int16_t, count> kernel;
  Taps<float, count> scaled;
  float inverse;

  template <int groups>
  void filter(const int16_t* const* rows, ptrdiff_t x, Result* out) const {
    Floats sum[groups] = {};
    if constexpr (count != 0) {
      for (int g = 0; g < groups; ++g) sum[g] = sumOutward(rows, x + lanes * g);
    } else {
      for (int32_t j = 0; j < scaled.size(); ++j) {
        const int16_t* const samples = rows[j] + x;
        const float coefficient = scaled[j];
        for (int g = 0; g < groups; ++g) {
          sum[g] = fused(toFloat(loadIntegers(samples + lanes * g)), coefficient, sum[g]);
        }
      }
    }
    for (int g = 0; g < groups; ++g) storeResults(roundSaturate(sum[g]), out + lanes * g);
  }

  Result tail(const int16_t* const* rows, ptrdiff_t x) const {
    int64_t sum = 0;
    for (int32_t j = 0; j < kernel.size(); ++j) sum += int32_t{rows[j][x]} * kernel[j];
    return truncateSaturate<Result>(static_cast<float>(sum) * inverse);
  }

 private:
  Floats sumOutward(const int16_t* const* rows, ptrdiff_t x) const {
    const auto at = [&](int32_t j) { return loadIntegers(rows[j] + x); };
    Floats sum = toFloat(at(count / 2)) * scaled[count / 2];
    for (int32_t j = 0; j < count / 2; ++j) {
      const int32_t partner = count - 1 - j;
      if (kernel[j] == kernel[partner]) {
        sum = fused(toFloat(at(j) + at(partner)), scaled[j], sum);
      } else {
        sum = fused(toFloat(at(j)), scaled[j], sum);
        sum = fused(toFloat(at(partner)), scaled[partner], sum);
      }
    }
    return sum;
  }
};

// The low forms. Blocks: the sum modulo 2^16; with a divisor other than 1, times the factor and
// shifted, saturated. Tail: the full sum times the factor, shifted, its low 16 bits.
template <int count>
struct LowColumn {
  using Result = int16_t;
  static constexpr int taps = count;
  static constexpr int32_t block = count == 0 ? 16 : 8;
  Taps<int16_t, count> kernel;
  int16_t factor;
  bool divides;

  template <int groups>
  void filter(const int16_t* const* rows, ptrdiff_t x, int16_t* out) const {
    U16x16 sum[groups] = {};
    for (int32_t j = 0; j < kernel.size(); ++j) {
      const int16_t* const samples = rows[j] + x;
      const auto coefficient = static_cast<uint16_t>(kernel[j]);
      for (int g = 0; g < groups; ++g) sum[g] += load<U16x16>(samples + lanes * g) * coefficient;
    }
    for (int g = 0; g < groups; ++g) {
      const auto wrapped = reinterpret_cast<S16x16>(sum[g]);
      store(out + lanes * g, divides ? scaleFixedPoint(wrapped, factor) : wrapped);
    }
  }

  int16_t tail(const int16_t* const* rows, ptrdiff_t x) const {
    uint32_t sum = 0;
    for (int32_t j = 0; j < kernel.size(); ++j) {
      sum += static_cast<uint32_t>(int32_t{rows[j][x]} * kernel[j]);
    }
    return static_cast<int16_t>((sum * static_cast<uint32_t>(factor)) >> 14);
  }
};

// A group that would pass the last whole block is moved back onto results that are there already.
template <class Column>
void filterRow(const Column& column, const int16_t* const* rows, typename Column::Result* dst,
               ptrdiff_t samples) {
  const ptrdiff_t blocksEnd = samples - samples % Column::block;
  ptrdiff_t x = 0;
  for (; x + 2 * lanes <= blocksEnd; x += 2 * lanes) {
    column.template filter<2>(rows, x, dst + x);
  }
  if (x + lanes <= blocksEnd) {
    column.template filter<1>(rows, x, dst + x);
    x += lanes;
  }
  if constexpr (Column::block < lanes) {
    if (x < blocksEnd && blocksEnd >= lanes) {
      column.template filter<1>(rows, blocksEnd - lanes, dst + blocksEnd - lanes);
    } else if (x < blocksEnd) {
      // The blocks of a row shorter than a group are filtered in a padded copy.
      int16_t padded[Column::taps][lanes] = {};
      const int16_t* paddedRows[Column::taps];
      for (int j = 0; j < Column::taps; ++j) {
        std::memcpy(padded[j], rows[j], static_cast<size_t>(blocksEnd) * sizeof(int16_t));
        paddedRows[j] = padded[j];
      }
      typename Column::Result results[lanes];
      column.template filter<1>(paddedRows, 0, results);
      std::memcpy(dst, results, static_cast<size_t>(blocksEnd) * sizeof results[0]);
    }
  }
  for (x = blocksEnd; x < samples; ++x) dst[x] = column.tail(rows, x);
}

// Floats, every sample alike. Three taps: the middle product is rounded and the others are fused
// onto it; other lengths: the first product is rounded, the others fused in ascending order. V is a
// vector or float; several side by side hide the time of a step.
template <int count, int vectors, class V>
inline void floatColumns(const Taps<float, count>& kernel, const float* const* rows, ptrdiff_t x,
                         float* out) {
  constexpr auto stride = static_cast<ptrdiff_t>(sizeof(V) / sizeof(float));
  constexpr int32_t first = count == 3 ? 1 : 0;
  V sum[vectors];
  for (int v = 0; v < vectors; ++v) sum[v] = load<V>(rows[first] + x + stride * v) * kernel[first];
  for (int32_t j = 0; j < kernel.size(); ++j) {
    if (j == first) continue;
    const auto coefficient = broadcast<V>(kernel[j]);
    for (int v = 0; v < vectors; ++v) {
      sum[v] = fused(load<V>(rows[j] + x + stride * v), coefficient, sum[v]);
    }
  }
  for (int v = 0; v < vectors; ++v) store(out + stride * v, sum[v]);
}

template <int count>
void filterRow(const Taps<float, count>& kernel, const float* const* rows, float* dst,
               ptrdiff_t samples) {
  ptrdiff_t x = 0;
  for (; x + 64 <= samples; x += 64) floatColumns<count, 8, F32x8>(kernel, rows, x, dst + x);
  for (; x + 8 <= samples; x += 8) floatColumns<count, 1, F32x8>(kernel, rows, x, dst + x);
  for (; x < samples; ++x) floatColumns<count, 1, float>(kernel, rows, x, dst + x);
}

// The arguments of a call; the float forms have divisor 1.
template <class Source, class Result, class Coefficient>
struct ColumnCall {
  const Source* const* ppSrc;
  Result* pDst;
  int32_t dstStep;
  NuviSize roiSize;
  const Coefficient* pKernel;
  int32_t kernelSize;
  int32_t divisor;
  uint8_t* pBuffer;
};
using ColumnCall32f = ColumnCall<float, float, float>;
template <class Result>
using ColumnCall16s = ColumnCall<int16_t, Result, int16_t>;
struct ColumnCallLow16s : ColumnCall16s<int16_t> {};

// The arithmetic that a call's kernel takes, over a share of its rows.

template <class Call, class Column>
void filterRows(const Call& call, int32_t firstRow, int32_t rows, ptrdiff_t samples,
                const Column& column) {
  const Image dst(call.pDst, call.dstStep);
  for (int32_t y = firstRow; y < firstRow + rows; ++y) {
    filterRow(column, call.ppSrc + y, dst.row(y), samples);
  }
}

template <class Result>
void filterShare(const ColumnCall16s<Result>& call, Scratch scratch, int32_t firstRow, int32_t rows,
                 ptrdiff_t samples) {
  const int32_t size = call.kernelSize;
  const float inverse = inverseOf(call.divisor);
  auto* const scaled = scratch.take<float>(size);
  for (int32_t j = 0; j < size; ++j) scaled[j] = inverse * static_cast<float>(call.pKernel[j]);
  withTapCount(size, [&](auto count) {
    filterRows(call, firstRow, rows, samples,
               ScaledColumn<count, Result>{{call.pKernel, size}, {scaled, size}, inverse});
  });
}

void filterShare(const ColumnCallLow16s& call, Scratch, int32_t firstRow, int32_t rows,
                 ptrdiff_t samples) {
  withTapCount(call.kernelSize, [&](auto count) {
    filterRows(
        call, firstRow, rows, samples,
        LowColumn<count>{
            {call.pKernel, call.kernelSize}, fixedPointFactor(call.divisor), call.divisor != 1});
  });
}

void filterShare(const ColumnCall32f& call, Scratch, int32_t firstRow, int32_t rows,
                 ptrdiff_t samples) {
  withTapCount(call.kernelSize, [&](auto count) {
    filterRows(call, firstRow, rows, samples, Taps<float, count>(call.pKernel, call.kernelSize));
  });
}

// `forks`: this form may go to a team where the region is large.
template <int channels, class Call>
NuvStatus columnStage(const Call& call, int64_t shareBytes, bool forks) {
  const NuvStatus status = Check()
                               .pointers(call.ppSrc, call.pDst, call.pKernel)
                               .size(call.roiSize)
                               .require(call.kernelSize >= 1, nuvStatusBadSize)
                               .step(call.pDst, call.dstStep, call.roiSize.width, channels)
                               .elementMultiple(call.pDst, call.dstStep)
                               .pointers(call.pBuffer)
                               .require(call.divisor != 0, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;
  const auto* const rowsEnd = call.ppSrc + call.roiSize.height + (call.kernelSize - 1);
  if (std::find(call.ppSrc, rowsEnd, nullptr) != rowsEnd) return nuvStatusNullPointer;

  const ptrdiff_t samples = ptrdiff_t{channels} * call.roiSize.width;
  forEachStageShare(!forks || !isLargeForStage(call.roiSize), call.roiSize.height, call.pBuffer,
                    shareBytes, [&](Scratch scratch, int32_t firstRow, int32_t rows) {
                      filterShare(call, scratch, firstRow, rows, samples);
                    });
  return nuvStatusOk;
}

// The integer forms.
template <int channels, class Call>
NuvStatus integerColumnStage(const Call& call, int64_t ownBytes) {
  const bool isGeneral = call.kernelSize != 3 && call.kernelSize != 5;
  // Counting the cores can take longer than a row, so only a large region asks for them.
  const bool forks = isLargeForStage(call.roiSize) && (isGeneral || ownCoresIfMany() != 0);
  return columnStage<channels>(call, threadShareBytes(ownBytes, call.roiSize, call.kernelSize),
                               forks);
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define INTEGER_COLUMN_STAGE(form, Result, Call, channels, ownBytes)                          \
  NuvStatus nuviFilterColumnPipeline_##form(                                                  \
      const int16_t* const* ppSrc, Result* pDst, int32_t dstStep, NuviSize roiSize,           \
      const int16_t* pKernel, int32_t kernelSize, int32_t divisor, uint8_t* pBuffer) {        \
    const Call call = {ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, divisor, pBuffer}; \
    return integerColumnStage<channels>(call, ownBytes(roiSize.width));                       \
  }
#define FLOAT_COLUMN_STAGE(form, channels)                                                       \
  NuvStatus nuviFilterColumnPipeline_##form(                                                     \
      const float* const* ppSrc, float* pDst, int32_t dstStep, NuviSize roiSize,                 \
      const float* pKernel, int32_t kernelSize, uint8_t* pBuffer) {                              \
    const ColumnCall32f call = {ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, 1, pBuffer}; \
    return columnStage<channels>(call, columnBytes32f, false);                                   \
  }

INTEGER_COLUMN_STAGE(16s_C1R, int16_t, ColumnCall16s<int16_t>, 1, columnOwnBytes16sC1)
INTEGER_COLUMN_STAGE(16s_C3R, int16_t, ColumnCall16s<int16_t>, 3, columnOwnBytes16sC3)
INTEGER_COLUMN_STAGE(16s8u_C1R, uint8_t, ColumnCall16s<uint8_t>, 1, columnOwnBytes16sC1)
INTEGER_COLUMN_STAGE(16s8u_C3R, uint8_t, ColumnCall16s<uint8_t>, 3, columnOwnBytes16sC3)
INTEGER_COLUMN_STAGE(16s8s_C1R, int8_t, ColumnCall16s<int8_t>, 1, columnOwnBytes16sC1)
INTEGER_COLUMN_STAGE(16s8s_C3R, int8_t, ColumnCall16s<int8_t>, 3, columnOwnBytes16sC3)
INTEGER_COLUMN_STAGE(Low_16s_C1R, int16_t, ColumnCallLow16s, 1, columnOwnBytesLow16sC1)
INTEGER_COLUMN_STAGE(Low_16s_C3R, int16_t, ColumnCallLow16s, 3, columnOwnBytesLow16sC3)
FLOAT_COLUMN_STAGE(32f_C1R, 1)
FLOAT_COLUMN_STAGE(32f_C3R, 3)

#undef INTEGER_COLUMN_STAGE
#undef FLOAT_COLUMN_STAGE

// One layer up in a pyramid: source pixel i stands at i * rate among the results, the cells between
// are empty, and the kernel is laid over this stretched grid. Of the taps, those that meet a source
// pixel count; a pixel between two cells counts for both, by its distance. This is the expansion of
// P. J. Burt and E. H. Adelson ("The Laplacian pyramid as a compact image code", 1983) for any
// rate.
//
// The weights of a result add up to one, so that a flat picture stays flat, and their centre of
// gravity lies at the result, so that a slope stays a slope: where the pixels around it are not
// balanced, as at most rates, the weights are corrected to first order. Where the kernel meets a
// single pixel, the result is interpolated linearly.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/numeric.h"
#include "core/scratch.h"
#include "filter/pipeline/border.h"
#include "nuvcv/pyramid.h"
#include "pyramid/lanes.h"
#include "pyramid/layerstate.h"
#include "pyramid/rates.h"

namespace nuv {
namespace {

constexpr size_t rowAlignment = 64;
// Row kernels step by up to as many elements; rows of work memory have room for whole steps.
constexpr ptrdiff_t largestStep = 32;

// Weights of the integer images have 15 fraction bits.
constexpr int32_t unitWeight = 1 << 15;

template <class T>
using Weight = std::conditional_t<std::is_same_v<T, float>, float, int32_t>;

// Pixels around a result that can have a weight: their distance is less than the reach.
int32_t tapCount(float rate, int32_t kernelSize) {
  const int32_t reach = kernelSize / 2 + 1;
  return std::max(static_cast<int32_t>(std::ceil(2.0 * reach / double{rate})), 2);
}

// The weights of one result on consecutive source pixels.
template <class Entry>
class ResultWeights {
 public:
  ResultWeights(const NuviPyramidLayerState& state, int32_t pixels, double* weights, int32_t taps)
      : kernel_(static_cast<const Entry*>(state.kernel)),
        half_(state.kernelSize / 2),
        rate_(double{state.rate}),
        pixels_(pixels),
        weights_(weights),
        taps_(taps) {}

  double weight(int32_t tap) const { return weights_[tap]; }

  // Fills the weights for the result at `position`, and returns the source pixel of the first one.
  // All of them lie within the source and the margin around it.
  int32_t place(int32_t position) {
    // Sizes in single precision let the last results of very long rows lie far behind the source.
    const double exact = std::min(position / rate_, static_cast<double>(pixels_));
    const auto before = static_cast<int32_t>(exact);
    const auto reached = static_cast<int32_t>(std::floor((position - half_ - 1) / rate_)) + 1;
    const int32_t first = std::min({before, reached, pixels_ + half_ + 1 - taps_});
    if (balance(first, position)) return first;

    std::fill(weights_, weights_ + taps_, 0.0);
    const double fraction = exact - before;
    weights_[before - first] = 1 - fraction;
    if (fraction > 0) weights_[before + 1 - first] = fraction;
    return first;
  }

 private:
  // The kernel at a whole distance, and between two, linearly.
  double tap(double distance) const {
    return std::abs(distance) > half_
               ? 0.0
               : static_cast<double>(kernel_[half_ + static_cast<int32_t>(distance)]);
  }
  double kernelAt(double distance) const {
    const double whole = std::floor(distance);
    const double fraction = distance - whole;
    if (fraction < double{std::numeric_limits<float>::min()}) return tap(whole);
    return (1 - fraction) * tap(whole) + fraction * tap(whole + 1);
  }

  // Weights w * (a + b * distance) of sum one and first moment zero. False if there are none, or
  // only excessive ones, since the kernel meets a single pixel or its entries nearly cancel out.
  bool balance(int32_t first, int32_t position) {
    double sum = 0, moment = 0, spread = 0, size = 0, sizeSpread = 0;
    for (int32_t i = 0; i < taps_; ++i) {
      const double distance = (first + i) * rate_ - position;
      const double weight = kernelAt(distance);
      weights_[i] = weight;
      sum += weight;
      moment += weight * distance;
      spread += weight * distance * distance;
      size += std::abs(weight);
      sizeSpread += std::abs(weight) * distance * distance;
    }
    const double determinant = sum * spread - moment * moment;
    if (!(std::abs(determinant) > 0.0625 * size * sizeSpread)) return false;
    for (int32_t i = 0; i < taps_; ++i) {
      const double distance = (first + i) * rate_ - position;
      weights_[i] *= (spread - moment * distance) / determinant;
    }
    return true;
  }

  const Entry* kernel_;
  int32_t half_;
  double rate_;
  int32_t pixels_;
  double* weights_;
  int32_t taps_;
};

// A weight as the passes use it.
void round(double weight, float* out) { *out = static_cast<float>(weight); }
void round(double weight, int32_t* out) {
  *out = static_cast<int32_t>(std::lrint(weight * unitWeight));
}

// The weights of all results of one direction, an element for each channel. Tap t of an element
// lies t pixels behind its first one.
template <class W>
struct Direction {
  Direction(Scratch& memory, int32_t results, int32_t channels_, int32_t taps_)
      : taps(taps_),
        channels(channels_),
        count(ptrdiff_t{results} * channels_),
        stride(alignUp(count, largestStep)),
        first(memory.take<int32_t>(stride, rowAlignment)),
        weights(memory.take<W>(stride * taps_, rowAlignment)) {}

  template <class Entry>
  void fill(ResultWeights<Entry>&& result) {
    for (ptrdiff_t i = 0; i < count; i += channels) {
      const int32_t pixel = result.place(static_cast<int32_t>(i / channels));
      for (int32_t t = 0; t < taps; ++t) round(result.weight(t), weights + t * stride + i);
      if constexpr (std::is_integral_v<W>) completeSum(i);
      for (int32_t c = 0; c < channels; ++c) {
        first[i + c] = pixel * channels + c;
        for (int32_t t = 0; t < taps; ++t) weights[t * stride + i + c] = weights[t * stride + i];
      }
    }
    // Steps over whole vectors pass the last element.
    std::fill(first + count, first + stride, first[count - 1]);
    for (int32_t t = 0; t < taps; ++t) {
      std::fill(weights + t * stride + count, weights + (t + 1) * stride, W{0});
    }
  }

  // Rounded weights, too, have to add up to one: the largest takes the rest.
  void completeSum(ptrdiff_t i) {
    W rest = unitWeight;
    W* largest = weights + i;
    for (int32_t t = 0; t < taps; ++t) {
      W* const weight = weights + t * stride + i;
      rest -= *weight;
      if (std::abs(*weight) > std::abs(*largest)) largest = weight;
    }
    *largest += rest;
  }

  // How much larger than the largest pixel a sum can become.
  double gain() const {
    double most = 0;
    for (ptrdiff_t i = 0; i < count; ++i) {
      double size = 0;
      for (int32_t t = 0; t < taps; ++t) {
        size += std::abs(static_cast<double>(weights[t * stride + i]));
      }
      most = std::max(most, size);
    }
    return most / unitWeight;
  }

  int32_t taps;
  int32_t channels;
  ptrdiff_t count;
  ptrdiff_t stride;  // from the weights of a tap to those of the next
  int32_t* first;
  W* weights;
};

// ---- The passes. Integers: the sum of weight * pixel across, >> 8, then the sum of weight * sum
// across over the rows, >> 22, clamped to the pixel's type. Shifts round down. Sums of `8u` have 32
// bits if the weights allow it, others are exact in a double. For floats there are no shifts: fused
// sums, from the first tap to the last.

template <class V>
inline void add(V& sum, V weight, V value) {
  sum += weight * value;
}
inline void add(F32x8& sum, F32x8 weight, F32x8 value) { sum = fused(weight, value, sum); }

template <class Sum, class W>
void expandAcross(const Sum* src, const Direction<W>& columns, Sum* out) {
  constexpr ptrdiff_t vectors = 4, lanes = laneCount<Sum>;
  static_assert(vectors * lanes <= largestStep);
  for (ptrdiff_t x = 0; x < columns.count; x += vectors * lanes) {
    Lanes<Sum> sums[vectors] = {};
    for (int32_t t = 0; t < columns.taps; ++t) {
      const W* const weights = columns.weights + t * columns.stride + x;
      const Sum* const tap = src + ptrdiff_t{t} * columns.channels;
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        add(sums[i], loadLanes<Sum>(weights + i * lanes),
            gatherLanes(tap, columns.first + x + i * lanes));
      }
    }
    for (ptrdiff_t i = 0; i < vectors; ++i) {
      if constexpr (!std::is_same_v<Sum, float>) sums[i] = shifted(sums[i], 8);
      store(out + x + i * lanes, sums[i]);
    }
  }
}

template <class Sum, class T>
inline void storePixel(Sum sum, T* pixel) {
  constexpr auto most = static_cast<Sum>(std::numeric_limits<T>::max());
  *pixel = static_cast<T>(clampTo(shifted(sum, 22), Sum{0}, most));
}
inline void storePixel(float sum, float* pixel) { *pixel = sum; }

// One row of the result, from the rows of its taps; a row without a weight is null.
template <class Sum, class W, class T>
void expandDown(const Sum* const* rows, const Direction<W>& lines, int32_t y, T* out,
                ptrdiff_t count) {
  constexpr ptrdiff_t vectors = 4, lanes = laneCount<Sum>;
  static_assert(vectors * lanes <= largestStep);
  for (ptrdiff_t x = 0; x < count; x += vectors * lanes) {
    Lanes<Sum> sums[vectors] = {};
    for (int32_t t = 0; t < lines.taps; ++t) {
      if (rows[t] == nullptr) continue;
      const auto weight =
          broadcast<Lanes<Sum>>(static_cast<Sum>(lines.weights[t * lines.stride + y]));
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        add(sums[i], weight, load<Lanes<Sum>>(rows[t] + x + i * lanes));
      }
    }
    Sum stored[vectors * lanes];
    T pixels[vectors * lanes];
    for (ptrdiff_t i = 0; i < vectors; ++i) store(stored + i * lanes, sums[i]);
    for (ptrdiff_t i = 0; i < vectors * lanes; ++i) storePixel(stored[i], pixels + i);
    const ptrdiff_t used = std::min(vectors * lanes, count - x);
    if (used == vectors * lanes) {
      std::memcpy(out + x, pixels, sizeof pixels);
    } else {
      std::memcpy(out + x, pixels, static_cast<size_t>(used) * sizeof(T));
    }
  }
}

// ---- The operation.

// The work memory of a call. Measured and cut by the same lines.
template <class T, int channels>
struct Work {
  // Sums of 32 bits, or of 64.
  using LargestSum = std::conditional_t<std::is_same_v<T, float>, float, double>;

  Work(Scratch& memory, NuviSize srcSize, NuviSize dstSize, int32_t taps_, int32_t margin_)
      : taps(taps_),
        margin(margin_),
        columns(memory, dstSize.width, channels, taps),
        lines(memory, dstSize.height, 1, taps),
        exact(memory.take<double>(taps, rowAlignment)),
        rows(memory.take<const void*>(taps)),
        held(memory.take<int32_t>(ringRows())),
        pixels(memory.take<T>(extendedPixels(srcSize.width) * channels, rowAlignment)),
        extended(memory.take<LargestSum>(extendedPixels(srcSize.width) * channels, rowAlignment)),
        ring(memory.take<LargestSum>(columns.stride * ringRows(), rowAlignment)) {}

  int64_t extendedPixels(int32_t width) const { return int64_t{width} + 2 * margin; }
  // The source rows of one result, reflected ones among them, lie this close together.
  int32_t ringRows() const { return taps + 2; }

  int32_t taps;
  int32_t margin;
  Direction<Weight<T>> columns;
  Direction<Weight<T>> lines;
  double* exact;
  const void** rows;
  int32_t* held;
  T* pixels;
  LargestSum* extended;
  LargestSum* ring;
};

template <int channels, class Sum, class T>
void expand(const Work<T, channels>& work, Image<const T> src, NuviSize srcSize, Image<T> dst,
            NuviSize dstSize) {
  auto* const extended = reinterpret_cast<Sum*>(work.extended);
  auto* const ring = reinterpret_cast<Sum*>(work.ring);
  auto** const rows = reinterpret_cast<const Sum**>(work.rows);
  const int64_t margin = work.margin;
  const int64_t elements = work.extendedPixels(srcSize.width) * channels;
  std::fill(work.held, work.held + work.ringRows(), -1);

  const auto rowAcross = [&](int32_t y) {
    const int32_t slot = y % work.ringRows();
    Sum* const out = ring + slot * work.columns.stride;
    if (work.held[slot] != y) {
      work.held[slot] = y;
      extendRow<channels, T>(src.row(y), srcSize.width, nuvBorderMirror, nullptr, -margin,
                             srcSize.width + margin, work.pixels);
      for (int64_t i = 0; i < elements; ++i) extended[i] = static_cast<Sum>(work.pixels[i]);
      expandAcross(extended + margin * channels, work.columns, out);
    }
    return out;
  };
  for (int32_t y = 0; y < dstSize.height; ++y) {
    for (int32_t t = 0; t < work.taps; ++t) {
      const int64_t position =
          borderPosition(nuvBorderMirror, int64_t{work.lines.first[y]} + t, srcSize.height);
      const bool counts = work.lines.weights[t * work.lines.stride + y] != 0;
      rows[t] = counts ? rowAcross(static_cast<int32_t>(position)) : nullptr;
    }
    expandDown(rows, work.lines, y, dst.row(y), work.columns.count);
  }
}

bool isReached(NuviSize srcSize, NuviSize dstSize, float rate) {
  const LengthRange widths = lengthsAbove(srcSize.width, rate);
  const LengthRange heights = lengthsAbove(srcSize.height, rate);
  return dstSize.width >= widths.least && dstSize.width <= widths.most &&
         dstSize.height >= heights.least && dstSize.height <= heights.most;
}

template <int channels, class T>
NuvStatus layerUp(const T* pSrc, int32_t srcStep, NuviSize srcSize, T* pDst, int32_t dstStep,
                  NuviSize dstSize, const NuviPyramidLayerState* pState) {
  NuvStatus status = Check()
                         .pointers(pSrc, pDst, pState)
                         .size(srcSize)
                         .step(pSrc, srcStep, srcSize.width, channels)
                         .step(pDst, dstStep, dstSize.width, channels)
                         .elementMultiple(pSrc, srcStep, dstStep)
                         .status();
  if (status != nuvStatusOk) return status;
  status = Check()
               .require(isLayerRate(pState->rate), nuvStatusBadArgument)
               .require(isReached(srcSize, dstSize, pState->rate), nuvStatusBadSize)
               .status();
  if (status != nuvStatusOk) return status;

  const int32_t taps = tapCount(pState->rate, pState->kernelSize);
  const int32_t margin = pState->kernelSize / 2 + 1;
  // That many weights would pass any block, and the sizes computed below.
  const int64_t longer = std::max(dstSize.width, dstSize.height);
  if (longer * taps > INT32_MAX) return nuvStatusNoMemory;
  Scratch measure(nullptr, INT64_MAX);
  Work<T, channels>(measure, srcSize, dstSize, taps, margin);
  const int64_t bytes = INT64_MAX - measure.left() + static_cast<int64_t>(rowAlignment);
  const OwnedBlock<uint8_t> block(bytes);
  if (block.get() == nullptr) return nuvStatusNoMemory;

  Scratch memory(block.get(), bytes);
  Work<T, channels> work(memory, srcSize, dstSize, taps, margin);
  using Entry = KernelEntry<T>;
  work.columns.fill(ResultWeights<Entry>(*pState, srcSize.width, work.exact, taps));
  work.lines.fill(ResultWeights<Entry>(*pState, srcSize.height, work.exact, taps));

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  if constexpr (std::is_same_v<T, float>) {
    expand<channels, float>(work, src, srcSize, dst, dstSize);
  } else if (sizeof(T) == 1 && work.columns.gain() * work.lines.gain() < 2) {
    expand<channels, int32_t>(work, src, srcSize, dst, dstSize);
  } else {
    expand<channels, double>(work, src, srcSize, dst, dstSize);
  }
  return nuvStatusOk;
}

template <class T>
NuvStatus initLayerUp(NuviPyramidLayerState** ppState, NuviSize dstSize, float rate,
                      const GivenEntry<T>* pKernel, int32_t kernelSize, int32_t mode) {
  const NuvStatus refused = checkLayerState(ppState, dstSize, rate, pKernel, kernelSize, mode);
  if (refused != nuvStatusOk) return refused;

  NuviPyramidLayerState* const state = allocateLayerState(kernelSize, 0, 0);
  if (state == nullptr) return nuvStatusNoMemory;
  const NuvStatus status =
      normaliseKernel(pKernel, kernelSize, static_cast<KernelEntry<T>*>(state->kernel));
  state->mode = mode;
  state->rate = rate;
  *ppState = state;
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_LAYER_UP(name, T, Entry, channels)                                                    \
  NuvStatus nuviPyramidLayerUpInitAlloc_##name(NuviPyramidLayerState** ppState, NuviSize dstSize, \
                                               float rate, const Entry* pKernel,                  \
                                               int32_t kernelSize, int32_t mode) {                \
    return initLayerUp<T>(ppState, dstSize, rate, pKernel, kernelSize, mode);                     \
  }                                                                                               \
  NuvStatus nuviPyramidLayerUp_##name(const T* pSrc, int32_t srcStep, NuviSize srcSize, T* pDst,  \
                                      int32_t dstStep, NuviSize dstSize,                          \
                                      NuviPyramidLayerState* pState) {                            \
    return layerUp<channels>(pSrc, srcStep, srcSize, pDst, dstStep, dstSize, pState);             \
  }                                                                                               \
  NuvStatus nuviPyramidLayerUpFree_##name(NuviPyramidLayerState* pState) {                        \
    return freeState(pState);                                                                     \
  }
NUV_LAYER_UP(8u_C1R, uint8_t, int16_t, 1)
NUV_LAYER_UP(8u_C3R, uint8_t, int16_t, 3)
NUV_LAYER_UP(16u_C1R, uint16_t, int16_t, 1)
NUV_LAYER_UP(16u_C3R, uint16_t, int16_t, 3)
NUV_LAYER_UP(32f_C1R, float, float, 1)
NUV_LAYER_UP(32f_C3R, float, float, 3)
#undef NUV_LAYER_UP

// One layer down in a pyramid: the picture is smoothed with a symmetric kernel in both directions,
// then read at the distance of the rate, linearly between pixels (P. J. Burt, E. H. Adelson, "The
// Laplacian pyramid as a compact image code", 1983, for the rate 2).
//
// Smoothed rows are made as they are needed and never stored as a plane: a ring holds as many rows,
// smoothed across, as the kernel is high.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "filter/pipeline/border.h"
#include "nuvcv/pyramid.h"
#include "pyramid/lanes.h"
#include "pyramid/layerstate.h"
#include "pyramid/rates.h"

namespace nuv {
namespace {

// Row kernels step by as many elements; rows of a state's own memory have room for a whole step
// more.
constexpr int64_t slack = 64;
constexpr size_t rowAlignment = 64;

// ---- Smoothing. A pixel's sum across is the sum of (pixel * entry) >> 8 over the columns. Its
// work value is the sum of entry * sum across over the rows, plus 2^14, >> 15, so that 3 fraction
// bits are left; `8u` clamps it to 16 bits. Shifts round down. For floats there are no shifts:
// fused sums, in the order of the taps. The three forms of integer arithmetic are all exact and
// differ in the entries that they have room for.

template <class T>
using Cell = std::conditional_t<std::is_same_v<T, uint8_t>, int16_t,
                                std::conditional_t<std::is_same_v<T, float>, float, int32_t>>;

template <class Across>
using Down = std::conditional_t<std::is_same_v<Across, int16_t>, int32_t,
                                std::conditional_t<std::is_same_v<Across, float>, float, double>>;

inline void addAcross(S32x8& sum, S32x8 entry, S32x8 pixel) { sum += (pixel * entry) >> 8; }
inline void addAcross(F64x4& sum, F64x4 entry, F64x4 pixel) { sum += shifted(pixel * entry, 8); }
inline void addAcross(F32x8& sum, F32x8 entry, F32x8 pixel) { sum = fused(entry, pixel, sum); }

// The pixel of tap j for the result x is src[taps[j] + x].
template <class T, class Across, class Entry>
void smoothAcross(const T* src, const ptrdiff_t* taps, const Entry* kernel, int32_t kernelSize,
                  Across* out, ptrdiff_t count) {
  using Sum = std::conditional_t<std::is_same_v<Across, int16_t>, int32_t, Across>;
  constexpr ptrdiff_t vectors = 4, lanes = laneCount<Sum>;
  for (ptrdiff_t x = 0; x < count; x += vectors * lanes) {
    Lanes<Sum> sums[vectors] = {};
    for (int32_t j = 0; j < kernelSize; ++j) {
      const T* const tap = src + taps[j] + x;
      const auto entry = broadcast<Lanes<Sum>>(static_cast<Sum>(kernel[j]));
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        addAcross(sums[i], entry, loadLanes<Sum>(tap + i * lanes));
      }
    }
    for (ptrdiff_t i = 0; i < vectors; ++i) {
      store(out + x + i * lanes, convert<Vector<Across, lanes>>(sums[i]));
    }
  }
}

#if NUV_AVX2
// Twice an entry fits 16 bits: (pixel << 7) * (2 * entry), >> 16, is one instruction.
void smoothAcross(const uint8_t* src, const ptrdiff_t* taps, const int32_t* kernel,
                  int32_t kernelSize, int16_t* out, ptrdiff_t count) {
  constexpr ptrdiff_t vectors = slack / 16;
  for (ptrdiff_t x = 0; x < count; x += slack) {
    S16x16 sums[vectors] = {};
    for (int32_t j = 0; j < kernelSize; ++j) {
      const uint8_t* const tap = src + taps[j] + x;
      const __m256i entry = _mm256_set1_epi16(static_cast<int16_t>(2 * kernel[j]));
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        const S16x16 pixels = loadWidened(tap + 16 * i) << 7;
        sums[i] +=
            reinterpret_cast<S16x16>(_mm256_mulhi_epi16(reinterpret_cast<__m256i>(pixels), entry));
      }
    }
    for (ptrdiff_t i = 0; i < vectors; ++i) store(out + x + 16 * i, sums[i]);
  }
}
#endif

// The work value from a sum down. Values of 32 bits do not pass 2^24 unless the sums across need a
// double.
template <class Across, class Sum>
inline void storeWork(Sum sum, int16_t* cell) {
  *cell = static_cast<int16_t>(
      clampTo(shifted(sum + 16384, 15), static_cast<Sum>(INT16_MIN), static_cast<Sum>(INT16_MAX)));
}
template <class Across>
inline void storeWork(double sum, int32_t* cell) {
  const double work = shifted(sum + 16384, 15);
  *cell = static_cast<int32_t>(
      std::is_same_v<Across, double> ? clampTo(work, double{INT32_MIN}, double{INT32_MAX}) : work);
}
template <class Across>
inline void storeWork(float sum, float* cell) {
  *cell = sum;
}

// Rows at the same distance from the centre have the same entry: whole numbers are added before
// they are multiplied, floats are not.
template <class Across, class Entry, class WorkCell>
void smoothDown(const Across* const* rows, const Entry* kernel, int32_t kernelSize, WorkCell* out,
                ptrdiff_t count) {
  using Sum = Down<Across>;
  using Row = std::conditional_t<std::is_same_v<Across, int16_t>, int32_t, Across>;
  constexpr ptrdiff_t vectors = 4, lanes = laneCount<Sum>;
  const int32_t centre = kernelSize / 2;
  for (ptrdiff_t x = 0; x < count; x += vectors * lanes) {
    Lanes<Sum> sums[vectors] = {};
    for (int32_t j = 0; j < (std::is_same_v<Sum, float> ? kernelSize : centre + 1); ++j) {
      const auto entry = broadcast<Lanes<Sum>>(static_cast<Sum>(kernel[j]));
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        const Across* const row = rows[j] + x + i * lanes;
        if constexpr (std::is_same_v<Sum, float>) {
          sums[i] = fused(entry, load<F32x8>(row), sums[i]);
        } else {
          auto value = convert<Vector<Row, lanes>>(load<Vector<Across, lanes>>(row));
          if (j != centre) {
            const Across* const mirrored = rows[kernelSize - 1 - j] + x + i * lanes;
            value += convert<Vector<Row, lanes>>(load<Vector<Across, lanes>>(mirrored));
          }
          sums[i] += entry * convert<Lanes<Sum>>(value);
        }
      }
    }
    Sum stored[vectors * lanes];
    for (ptrdiff_t i = 0; i < vectors; ++i) store(stored + i * lanes, sums[i]);
    for (ptrdiff_t i = 0; i < vectors * lanes; ++i) storeWork<Across>(stored[i], out + x + i);
  }
}

#if NUV_AVX2
// Rows at the same distance are added in 16 bits. Their sums are taken in pairs: two products and
// the sum of both are one instruction.
void smoothDown(const int16_t* const* rows, const int32_t* kernel, int32_t kernelSize, int16_t* out,
                ptrdiff_t count) {
  constexpr ptrdiff_t vectors = slack / 16;
  const int32_t centre = kernelSize / 2;
  for (ptrdiff_t x = 0; x < count; x += slack) {
    const auto rowSum = [=](int32_t j, ptrdiff_t i) {
      const ptrdiff_t offset = x + 16 * i;
      const auto row = load<S16x16>(rows[j] + offset);
      return reinterpret_cast<__m256i>(
          j == centre ? row : row + load<S16x16>(rows[kernelSize - 1 - j] + offset));
    };
    __m256i low[vectors], high[vectors];
    for (ptrdiff_t i = 0; i < vectors; ++i) low[i] = high[i] = _mm256_set1_epi32(16384);
    for (int32_t j = 0; j <= centre; j += 2) {
      const bool isPair = j < centre;
      const int32_t second = isPair ? kernel[j + 1] : 0;
      const __m256i entries = _mm256_set1_epi32((kernel[j] & 0xFFFF) | second * 0x10000);
      for (ptrdiff_t i = 0; i < vectors; ++i) {
        const __m256i a = rowSum(j, i), b = isPair ? rowSum(j + 1, i) : _mm256_setzero_si256();
        low[i] = _mm256_add_epi32(low[i], _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), entries));
        high[i] =
            _mm256_add_epi32(high[i], _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), entries));
      }
    }
    for (ptrdiff_t i = 0; i < vectors; ++i) {
      store(out + x + 16 * i,
            _mm256_packs_epi32(_mm256_srai_epi32(low[i], 15), _mm256_srai_epi32(high[i], 15)));
    }
  }
}
#endif

// ---- Reading between positions a and b, at a fraction of the way. Integers: truncated toward
// zero.

inline int16_t between(int16_t a, int16_t b, float fraction) {
  return static_cast<int16_t>(
      fused(1 - fraction, static_cast<float>(a), fused(fraction, static_cast<float>(b), 0.5f)));
}
inline int32_t between(int32_t a, int32_t b, float fraction) {
  const float value =
      fused(1 - fraction, static_cast<float>(a), fused(fraction, static_cast<float>(b), 0.5f));
  return static_cast<int32_t>(std::min(value, 2147483520.0f));  // the last float below 2^31
}
inline float between(float a, float b, float fraction) {
  return fused(1 - fraction, a, fraction * b);
}

// (work + 4) >> 3, clamped to the pixel's type. A work value of 32 bits must not overflow.
inline void storePixel(int32_t work, uint8_t* pixel) {
  *pixel = saturate<uint8_t>((work + 4) >> 3);
}
inline void storePixel(int32_t work, uint16_t* pixel) {
  *pixel = saturate<uint16_t>((work >> 3) + ((work >> 2) & 1));
}
inline void storePixel(float work, float* pixel) { *pixel = work; }

template <class WorkCell, class T>
void storeRow(const WorkCell* work, T* out, ptrdiff_t count) {
  for (ptrdiff_t x = 0; x < count; ++x) storePixel(work[x], out + x);
}

template <class WorkCell, class T>
void storeBetween(const WorkCell* above, const WorkCell* below, float fraction, T* out,
                  ptrdiff_t count) {
  for (ptrdiff_t x = 0; x < count; ++x) storePixel(between(above[x], below[x], fraction), out + x);
}

// Where a result lies among `length` source positions. The last position has no neighbour to
// interpolate with.
struct Position {
  Position(float rate, int32_t result, int32_t length) {
    const float exact = rate * static_cast<float>(result);
    const auto whole = static_cast<int64_t>(exact);
    fraction = exact - static_cast<float>(whole);
    index = static_cast<int32_t>(std::min<int64_t>(whole, length - 1));
    hasNext = index + 1 < length;
  }
  int32_t index;
  float fraction;
  bool hasNext;
};

// The elements of a result row: where each lies in a work row. Those with a next pixel to
// interpolate with come first.
struct Columns {
  const int32_t* index;
  const float* fraction;
  ptrdiff_t interpolated;
  ptrdiff_t count;
};

#if NUV_AVX2
inline F32x8 between(F32x8 a, F32x8 b, F32x8 fraction) {
  return fused(1 - fraction, a, fraction * b);
}
inline S32x8 between(S32x8 a, S32x8 b, F32x8 fraction) {
  const F32x8 value = fused(1 - fraction, convert<F32x8>(a),
                            fused(fraction, convert<F32x8>(b), broadcast<F32x8>(0.5f)));
  return convert<S32x8>(minimum(value, broadcast<F32x8>(2147483520.0f)));
}

template <int channels, class WorkCell>
Lanes<WorkCell> readEight(const WorkCell* work, const int32_t* index, const float* fraction) {
  return between(gatherLanes(work, index), gatherLanes(work + channels, index),
                 load<F32x8>(fraction));
}
// Of 16 bits, two cells are gathered at once.
template <int channels>
S32x8 readEight(const int16_t* work, const int32_t* index, const float* fraction) {
  const auto gather = [=](const int16_t* cells) {
    const auto* const pairs = reinterpret_cast<const int*>(cells);
    return reinterpret_cast<S32x8>(
        _mm256_i32gather_epi32(pairs, load<__m256i>(index), sizeof(int16_t)));
  };
  const S32x8 pairs = gather(work);
  const S32x8 a = (pairs << 16) >> 16;
  const S32x8 b = channels == 1 ? pairs >> 16 : (gather(work + channels) << 16) >> 16;
  return between(a, b, load<F32x8>(fraction));
}
#endif

template <int channels, class WorkCell>
void readAcross(const WorkCell* work, const Columns& columns, WorkCell* out) {
  ptrdiff_t x = 0;
#if NUV_AVX2
  for (; x + 16 <= columns.interpolated; x += 16) {
    const auto low = readEight<channels>(work, columns.index + x, columns.fraction + x);
    const auto high = readEight<channels>(work, columns.index + x + 8, columns.fraction + x + 8);
    if constexpr (std::is_same_v<WorkCell, int16_t>) {
      store(out + x, packSaturate(low, high));
    } else {
      store(out + x, low);
      store(out + x + 8, high);
    }
  }
#endif
  for (; x < columns.interpolated; ++x) {
    const WorkCell* const cell = work + columns.index[x];
    out[x] = between(cell[0], cell[channels], columns.fraction[x]);
  }
  for (; x < columns.count; ++x) out[x] = work[columns.index[x]];
}

// Every second pixel of a row.
template <class T>
void takePhase(const T* row, ptrdiff_t pixels, T* out, std::integral_constant<int, 1>) {
  for (ptrdiff_t i = 0; i < pixels; ++i) out[i] = row[2 * i];
}
// Four elements move at once: both rows have room for one more.
template <class T>
void takePhase(const T* row, ptrdiff_t pixels, T* out, std::integral_constant<int, 3>) {
  for (ptrdiff_t i = 0; i < pixels; ++i) std::memcpy(out + 3 * i, row + 6 * i, 4 * sizeof(T));
}

// The even pixels of a row, then its odd ones.
template <int channels, class T>
void splitPhases(const T* row, ptrdiff_t pixels, T* phases) {
  constexpr std::integral_constant<int, channels> layout;
  const ptrdiff_t even = (pixels + 1) / 2;
  takePhase(row, even, phases, layout);
  takePhase(row + channels, pixels - even, phases + even * channels, layout);
}

// ---- The work memory of a state: tables that all threads share, then the rows of each thread. It
// serves a source of up to `width` columns.

template <int channels>
struct Tables {
  Tables(Scratch& memory, int32_t width, int32_t kernelSize)
      : taps(memory.take<ptrdiff_t>(kernelSize, rowAlignment)),
        lastTaps(memory.take<ptrdiff_t>(kernelSize)),
        index(memory.take<int32_t>(int64_t{width} * channels)),
        fraction(memory.take<float>(int64_t{width} * channels)) {}
  ptrdiff_t* taps;      // of the first column
  ptrdiff_t* lastTaps;  // of the last column, where a rate of 2 needs it
  int32_t* index;       // Columns, for other rates
  float* fraction;
};

template <class T, int channels, class Across>
struct Rows {
  Rows(Scratch& memory, int32_t width, int32_t kernelSize)
      : taps(memory.take<const Across*>(kernelSize, rowAlignment)),
        held(memory.take<int32_t>(kernelSize)),
        length(alignUp(int64_t{width} * channels + slack, slack)),
        extended(memory.take<T>(length + int64_t{kernelSize} * channels, rowAlignment)),
        phases(memory.take<T>(length + int64_t{kernelSize} * channels, rowAlignment)),
        ring(memory.take<Across>(length * kernelSize, rowAlignment)),
        work(memory.take<Cell<T>>(length, rowAlignment)),
        read{memory.take<Cell<T>>(length, rowAlignment),
             memory.take<Cell<T>>(length, rowAlignment)} {}
  const Across** taps;  // the rows of the ring in the order of the taps down
  int32_t* held;        // the source row that each row of the ring was made of
  ptrdiff_t length;     // elements from a row of the ring to the next
  T* extended;          // a source row with its border
  T* phases;            // its even pixels, then its odd ones
  Across* ring;
  Cell<T>* work;     // a work row
  Cell<T>* read[2];  // two work rows, read at the columns of the result
};

template <class Layout>
int64_t bytesOf(int32_t width, int32_t kernelSize) {
  Scratch memory(nullptr, INT64_MAX);
  Layout(memory, width, kernelSize);
  return alignUp(INT64_MAX - memory.left(), static_cast<int64_t>(rowAlignment));
}

// ---- The operation.

// What the entries of a kernel leave room for.
enum LayerArithmetic : int32_t {
  narrow,    // 8u: two sums across add up to 16 bits, the sum down has 32 bits
  standard,  // the sum across has 32 bits, the sum down is a double
  wide       // both are doubles
};

template <class T>
int32_t chooseArithmetic(const int32_t* kernel, int32_t kernelSize) {
  constexpr double most = std::numeric_limits<T>::max();
  double magnitude = 0;
  for (int32_t j = 0; j < kernelSize; ++j) magnitude += std::abs(static_cast<double>(kernel[j]));
  if (sizeof(T) == 1 && magnitude + kernelSize < 16384) return narrow;
  return magnitude * most < 2147483648.0 ? standard : wide;
}
template <class T>
int32_t chooseArithmetic(const float*, int32_t) {
  return narrow;
}

// At these rates a result is a single work cell, and only every second row and column is needed.
bool halves(float rate) { return rate > 1.99998f && rate < 2.00002f; }

template <class T, int channels, class Across>
class LayerDown {
 public:
  LayerDown(const NuviPyramidLayerState& state, Image<const T> src, NuviSize srcSize, Image<T> dst,
            NuviSize dstSize)
      : state_(state),
        kernel_(static_cast<const KernelEntry<T>*>(state.kernel)),
        kernelSize_(state.kernelSize),
        src_(src),
        srcSize_(srcSize),
        dst_(dst),
        dstSize_(dstSize),
        halves_(halves(state.rate)) {
    Scratch memory(state.work, bytesOf<Tables<channels>>(state.size.width, kernelSize_));
    const Tables<channels> tables(memory, state.size.width, kernelSize_);
    taps_ = tables.taps;
    lastTaps_ = tables.lastTaps;
    placeTaps(tables.taps, 0);
    placeTaps(tables.lastTaps, srcSize.width - 1);
    if (!halves_) placeColumns(tables.index, tables.fraction);
  }

  // The result rows from `first` on, in the work memory of one thread.
  void run(int32_t thread, int32_t first, int32_t count) const {
    uint8_t* const block = state_.work + bytesOf<Tables<channels>>(state_.size.width, kernelSize_) +
                           thread * state_.threadBytes;
    Scratch memory(block, state_.threadBytes);
    const ThreadRows rows(memory, state_.size.width, kernelSize_);
    std::fill(rows.held, rows.held + kernelSize_, -1);
    if (halves_) {
      halveRows(rows, first, count);
    } else {
      interpolateRows(rows, first, count);
    }
  }

 private:
  using ThreadRows = Rows<T, channels, Across>;

  // Where the taps of a column stand in an extended row, or in its phases.
  void placeTaps(ptrdiff_t* taps, int32_t column) const {
    const ptrdiff_t oddPixels = (ptrdiff_t{srcSize_.width} + kernelSize_) / 2;
    for (int32_t j = 0; j < kernelSize_; ++j) {
      const ptrdiff_t position = ptrdiff_t{column} + j;
      const ptrdiff_t inPhases = position / 2 + (position % 2 == 0 ? 0 : oddPixels);
      taps[j] = channels * (halves_ ? inPhases : position);
    }
  }

  void placeColumns(int32_t* index, float* fraction) {
    columns_ = {index, fraction, 0, ptrdiff_t{dstSize_.width} * channels};
    for (int32_t x = 0; x < dstSize_.width; ++x) {
      const Position position(state_.rate, x, srcSize_.width);
      for (int32_t c = 0; c < channels; ++c) {
        *index++ = position.index * channels + c;
        *fraction++ = position.fraction;
      }
      if (position.hasNext) columns_.interpolated += channels;
    }
  }

  // The sums across of a source row.
  const Across* rowAcross(const ThreadRows& rows, int32_t y) const {
    const int32_t slot = y % kernelSize_;
    Across* const out = rows.ring + slot * rows.length;
    if (rows.held[slot] == y) return out;
    rows.held[slot] = y;
    const int32_t width = srcSize_.width, reach = kernelSize_ / 2;
    extendRow<channels, T>(src_.row(y), width, nuvBorderMirror, nullptr, -reach,
                           int64_t{width} + reach, rows.extended);
    if (!halves_) {
      smoothAcross(rows.extended, taps_, kernel_, kernelSize_, out, ptrdiff_t{width} * channels);
      return out;
    }
    splitPhases<channels>(rows.extended, ptrdiff_t{width} + 2 * reach, rows.phases);
    const ptrdiff_t evenElements = ptrdiff_t{evenColumns()} * channels;
    smoothAcross(rows.phases, taps_, kernel_, kernelSize_, out, evenElements);
    if (readsLastColumn()) {
      smoothAcross(rows.phases, lastTaps_, kernel_, kernelSize_, out + evenElements, channels);
    }
    return out;
  }

  // A work row of `count` elements.
  void smoothRow(const ThreadRows& rows, int32_t y, ptrdiff_t count) const {
    const int32_t reach = kernelSize_ / 2;
    for (int32_t j = 0; j < kernelSize_; ++j) {
      const int64_t position =
          borderPosition(nuvBorderMirror, int64_t{y} - reach + j, srcSize_.height);
      rows.taps[j] = rowAcross(rows, static_cast<int32_t>(position));
    }
    smoothDown(rows.taps, kernel_, kernelSize_, rows.work, count);
  }

  int32_t evenColumns() const { return srcSize_.width / 2 + srcSize_.width % 2; }
  bool readsLastColumn() const { return dstSize_.width > evenColumns(); }

  // A result past the even cells reads the last cell, which follows them in the work row.
  void halveRows(const ThreadRows& rows, int32_t first, int32_t count) const {
    const int32_t columns = std::min(evenColumns(), dstSize_.width);
    const ptrdiff_t elements = ptrdiff_t{columns} * channels;
    for (int32_t y = first; y < first + count; ++y) {
      const auto row = static_cast<int32_t>(std::min<int64_t>(2 * int64_t{y}, srcSize_.height - 1));
      smoothRow(rows, row, elements + (readsLastColumn() ? channels : 0));
      T* const out = dst_.row(y);
      storeRow(rows.work, out, elements);
      for (ptrdiff_t x = columns; x < dstSize_.width; ++x) {
        storeRow(rows.work + elements, out + x * channels, channels);
      }
    }
  }

  void interpolateRows(const ThreadRows& rows, int32_t first, int32_t count) const {
    int32_t heldRows[2] = {-1, -1};
    const auto readRow = [&](int32_t y) {
      Cell<T>* const row = rows.read[y % 2];
      if (heldRows[y % 2] != y) {
        heldRows[y % 2] = y;
        smoothRow(rows, y, ptrdiff_t{srcSize_.width} * channels);
        readAcross<channels>(rows.work, columns_, row);
      }
      return row;
    };
    for (int32_t y = first; y < first + count; ++y) {
      const Position position(state_.rate, y, srcSize_.height);
      const Cell<T>* const above = readRow(position.index);
      if (position.hasNext) {
        const Cell<T>* const below = readRow(position.index + 1);
        storeBetween(above, below, position.fraction, dst_.row(y), columns_.count);
      } else {
        storeRow(above, dst_.row(y), columns_.count);
      }
    }
  }

  const NuviPyramidLayerState& state_;
  const KernelEntry<T>* kernel_;
  int32_t kernelSize_;
  const ptrdiff_t* taps_;
  const ptrdiff_t* lastTaps_;
  Columns columns_ = {};
  Image<const T> src_;
  NuviSize srcSize_;
  Image<T> dst_;
  NuviSize dstSize_;
  bool halves_;
};

// The size that follows a listed source, else the one that the rate gives. Sizes are found by their
// height; among layers of the same height, which only pictures of a few rows have, by both.
NuviSize resultSize(const NuviPyramidLayerState& state, NuviSize srcSize) {
  const NuviSize* const first = state.sizes;
  const NuviSize* const end = first + state.sizeCount - 1;
  const auto sameHeight = [=](const NuviSize& size) { return size.height == srcSize.height; };
  const auto same = [=](const NuviSize& size) {
    return sameHeight(size) && size.width == srcSize.width;
  };
  const NuviSize* found = std::find_if(first, end, same);
  if (found == end) found = std::find_if(first, end, sameHeight);
  return found != end ? found[1] : sizeBelow(srcSize, state.rate);
}

bool isServed(const NuviPyramidLayerState& state, NuviSize srcSize, NuviSize dstSize) {
  if (srcSize.width > state.size.width || srcSize.height > state.size.height) return false;
  const NuviSize result = resultSize(state, srcSize);
  return dstSize.width == result.width && dstSize.height == result.height;
}

// Outside a parallel region of the caller's the team is one thread, and the call stays serial.
bool staysSerial(NuviSize srcSize, int32_t kernelSize) {
  constexpr int32_t margin = 2;
  const int32_t team = callerTeamSize();
  return team <= 1 || gateArea(srcSize) < wrappingMultiply(team, 0x4000) ||
         srcSize.height < wrappingMultiply(team, wrappingAdd(kernelSize, margin)) ||
         srcSize.width <= kernelSize || ownCoresIfMany() == 0;
}

template <int channels, class Across, class T>
void layerDown(const NuviPyramidLayerState& state, Image<const T> src, NuviSize srcSize,
               Image<T> dst, NuviSize dstSize) {
  const LayerDown<T, channels, Across> down(state, src, srcSize, dst, dstSize);
  if (staysSerial(srcSize, state.kernelSize)) {
    down.run(0, 0, dstSize.height);
    return;
  }
  forkRows(std::min(ownGetNumThreads(), state.threads), dstSize.height,
           [&](int32_t thread, int32_t first, int32_t count) { down.run(thread, first, count); });
}

template <int channels, class T>
NuvStatus layerDown(const T* pSrc, int32_t srcStep, NuviSize srcSize, T* pDst, int32_t dstStep,
                    NuviSize dstSize, NuviPyramidLayerState* pState) {
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
               .require(isServed(*pState, srcSize, dstSize), nuvStatusBadSize)
               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  if constexpr (std::is_same_v<T, float>) {
    layerDown<channels, float>(*pState, src, srcSize, dst, dstSize);
  } else if (pState->arithmetic == wide) {
    layerDown<channels, double>(*pState, src, srcSize, dst, dstSize);
  } else if (sizeof(T) > 1 || pState->arithmetic == standard) {
    layerDown<channels, int32_t>(*pState, src, srcSize, dst, dstSize);
  } else if constexpr (sizeof(T) == 1) {
    layerDown<channels, int16_t>(*pState, src, srcSize, dst, dstSize);
  }
  return nuvStatusOk;
}

template <int channels, class T>
NuvStatus initLayerDown(NuviPyramidLayerState** ppState, NuviSize srcSize, float rate,
                        const GivenEntry<T>* pKernel, int32_t kernelSize, int32_t mode) {
  using Entry = KernelEntry<T>;
  using LargestSum = std::conditional_t<std::is_same_v<T, float>, float, double>;
  const NuvStatus refused = checkLayerState(ppState, srcSize, rate, pKernel, kernelSize, mode);
  if (refused != nuvStatusOk) return refused;

  // Rows of that many sums would pass any block, and the sizes computed below.
  if (int64_t{srcSize.width} * kernelSize > INT32_MAX) return nuvStatusNoMemory;
  const int32_t sizeCount = 1 + layersBelow(srcSize, rate, INT32_MAX - 1);
  const int32_t threads = std::max(ownThreadCount(), 1);
  const int64_t threadBytes = bytesOf<Rows<T, channels, LargestSum>>(srcSize.width, kernelSize);
  const int64_t workBytes =
      bytesOf<Tables<channels>>(srcSize.width, kernelSize) + threads * threadBytes;
  NuviPyramidLayerState* const state = allocateLayerState(kernelSize, sizeCount, workBytes);
  if (state == nullptr) return nuvStatusNoMemory;

  auto* const kernel = static_cast<Entry*>(state->kernel);
  const NuvStatus status = normaliseKernel(pKernel, kernelSize, kernel);
  state->sizes[0] = srcSize;
  for (int32_t i = 1; i < sizeCount; ++i) state->sizes[i] = sizeBelow(state->sizes[i - 1], rate);
  state->size = srcSize;
  state->mode = mode;
  state->rate = rate;
  state->arithmetic = chooseArithmetic<T>(kernel, kernelSize);
  state->threads = threads;
  state->threadBytes = threadBytes;
  *ppState = state;
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_LAYER_DOWN(name, T, Entry, channels)                                                   \
  NuvStatus nuviPyramidLayerDownInitAlloc_##name(                                                  \
      NuviPyramidLayerState** ppState, NuviSize srcSize, float rate, const Entry* pKernel,         \
      int32_t kernelSize, int32_t mode) {                                                          \
    return initLayerDown<channels, T>(ppState, srcSize, rate, pKernel, kernelSize, mode);          \
  }                                                                                                \
  NuvStatus nuviPyramidLayerDown_##name(const T* pSrc, int32_t srcStep, NuviSize srcSize, T* pDst, \
                                        int32_t dstStep, NuviSize dstSize,                         \
                                        NuviPyramidLayerState* pState) {                           \
    return layerDown<channels>(pSrc, srcStep, srcSize, pDst, dstStep, dstSize, pState);            \
  }                                                                                                \
  NuvStatus nuviPyramidLayerDownFree_##name(NuviPyramidLayerState* pState) {                       \
    return freeState(pState);                                                                      \
  }
NUV_LAYER_DOWN(8u_C1R, uint8_t, int16_t, 1)
NUV_LAYER_DOWN(8u_C3R, uint8_t, int16_t, 3)
NUV_LAYER_DOWN(16u_C1R, uint16_t, int16_t, 1)
NUV_LAYER_DOWN(16u_C3R, uint16_t, int16_t, 3)
NUV_LAYER_DOWN(32f_C1R, float, float, 1)
NUV_LAYER_DOWN(32f_C3R, float, float, 3)
#undef NUV_LAYER_DOWN

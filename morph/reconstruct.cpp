// Morphological reconstruction: a marker grows under a limiting image until nothing changes, or
// shrinks above it (L. Vincent, Morphological Grayscale Reconstruction in Image Analysis, 1993).
//
// Rows are updated from the row above in downward passes and from the row below in upward passes,
// each followed by a sweep along the row in both directions. After the first two passes only rows
// beside a row that changed are looked at again, and in them only the blocks that a change reaches.
// The fixed point is one and the same for every order of updates.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "morph/extreme.h"
#include "nuvcv/morph.h"

namespace nuv {
namespace {

template <class T>
constexpr T lowest = std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                          : std::numeric_limits<T>::lowest();
template <class T>
constexpr T highest = std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                           : std::numeric_limits<T>::max();

// The two directions of growth, for elements and vectors of them. `nothing` gives way to every
// value in growth, `everything` in the limit.
template <class Element>
struct Dilation {
  using T = Element;
  using Extreme = Maximum<T>;
  static constexpr T nothing = lowest<T>;
  static constexpr T everything = highest<T>;
  template <class V>
  static V grow(V a, V b) {
    return maximum(a, b);
  }
  template <class V>
  static V limit(V a, V b) {
    return minimum(a, b);
  }
  template <class V>
  static auto isBeyond(V a, V b) {
    return a > b;
  }
};
template <class Element>
struct Erosion {
  using T = Element;
  using Extreme = Minimum<T>;
  static constexpr T nothing = highest<T>;
  static constexpr T everything = lowest<T>;
  template <class V>
  static V grow(V a, V b) {
    return minimum(a, b);
  }
  template <class V>
  static V limit(V a, V b) {
    return maximum(a, b);
  }
  template <class V>
  static auto isBeyond(V a, V b) {
    return a < b;
  }
};

// One row of the marker grows by `neighbours` (the row itself where there are none) and along
// itself, under its limit: r[x] = limit(grow(r[x - 1], r[x]), g[x]) from left to right, then the
// same from right to left. Returns whether any element went further than it was.
template <class Growth, class T>
bool updateRow(T* row, const T* limit, const T* neighbours, ptrdiff_t width) {
  bool changed = false;
  T running = Growth::nothing;
  for (ptrdiff_t x = 0; x < width; ++x) {
    const T grown = Growth::grow(Growth::grow(row[x], neighbours[x]), running);
    running = Growth::limit(grown, limit[x]);
    changed |= Growth::isBeyond(running, row[x]);
    row[x] = running;
  }
  running = Growth::nothing;
  for (ptrdiff_t x = width - 1; x >= 0; --x) {
    running = Growth::limit(Growth::grow(row[x], running), limit[x]);
    changed |= Growth::isBeyond(running, row[x]);
    row[x] = running;
  }
  return changed;
}

#if NUV_AVX2
constexpr ptrdiff_t blockBytes = 32;

// All lanes of each half of a block become the element that begins at byte `at` of the half.
template <int elementBytes>
inline __m256i repeated(__m256i block, int at) {
  uint64_t bytes = 0;
  for (int i = 0; i < 8; ++i) bytes |= static_cast<uint64_t>(at + i % elementBytes) << (8 * i);
  return _mm256_shuffle_epi8(block, _mm256_set1_epi64x(static_cast<int64_t>(bytes)));
}

// The two directions of a sweep, in terms of a block of two halves. Lanes move within their half
// only; the ones that come free take their values from `fill`.
struct Rightward {
  template <int bytes>
  static __m256i moved(__m256i lanes, __m256i fill) {
    return _mm256_alignr_epi8(lanes, fill, 16 - bytes);
  }
  // In all lanes, the last one that the sweep meets in its first half.
  template <int elementBytes>
  static __m256i endOfFirstHalf(__m256i block) {
    return repeated<elementBytes>(_mm256_permute2x128_si256(block, block, 0x00), 16 - elementBytes);
  }
  static __m256i joined(__m256i firstHalf, __m256i secondHalf) {
    return _mm256_blend_epi32(firstHalf, secondHalf, 0xF0);
  }
};
struct Leftward {
  template <int bytes>
  static __m256i moved(__m256i lanes, __m256i fill) {
    return _mm256_alignr_epi8(fill, lanes, bytes);
  }
  template <int elementBytes>
  static __m256i endOfFirstHalf(__m256i block) {
    return repeated<elementBytes>(_mm256_permute2x128_si256(block, block, 0x11), 0);
  }
  static __m256i joined(__m256i firstHalf, __m256i secondHalf) {
    return _mm256_blend_epi32(secondHalf, firstHalf, 0xF0);
  }
};

// A sweep over one block, into which `carry` comes from the element before it. An element is
// reached by those before it, each cut off by the limits on its way: windows of twice the length
// follow from two of the length (`way` is the limit over a window), within each half; then the
// carry enters the first half, and what leaves that enters the second.
template <class Growth, class Direction, class V>
V sweepBlock(V row, V limit, typename Growth::T carry) {
  using T = typename Growth::T;
  const auto bits = [](V lanes) { return reinterpret_cast<__m256i>(lanes); };
  const auto nothing = bits(broadcast<V>(Growth::nothing));
  const auto everything = bits(broadcast<V>(Growth::everything));
  V way = limit;
  const auto doubleWindow = [&](auto bytes) {
    if constexpr (bytes >= int{sizeof(T)}) {
      const V reaching = V(Direction::template moved<bytes>(bits(row), nothing));
      row = Growth::grow(row, Growth::limit(reaching, way));
      way = Growth::limit(way, V(Direction::template moved<bytes>(bits(way), everything)));
    }
  };
  doubleWindow(std::integral_constant<int, 1>());
  doubleWindow(std::integral_constant<int, 2>());
  doubleWindow(std::integral_constant<int, 4>());
  doubleWindow(std::integral_constant<int, 8>());
  const V first = Growth::grow(row, Growth::limit(broadcast<V>(carry), way));
  const V between = V(Direction::template endOfFirstHalf<sizeof(T)>(bits(first)));
  const V second = Growth::grow(row, Growth::limit(between, way));
  return V(Direction::joined(bits(first), bits(second)));
}

// As updateRow, for rows of at least one block. A row that is not `fresh` was swept before: then a
// block changes only by its neighbours in the other row or by a change beside it. The last block
// overlaps the one before it, where it finds what that block left: to update again changes nothing.
// `changed` has one flag for each block.
template <class Growth, class T>
bool updateRowByBlocks(T* row, const T* limit, const T* neighbours, ptrdiff_t width, bool fresh,
                       uint8_t* changed) {
  constexpr auto lanes = blockBytes / static_cast<ptrdiff_t>(sizeof(T));
  using V = Vector<T, lanes>;
  const ptrdiff_t blocks = (width + lanes - 1) / lanes;
  const auto begin = [=](ptrdiff_t block) { return std::min(block * lanes, width - lanes); };
  const auto isAnyBeyond = [](V a, V b) {
    const auto beyond = reinterpret_cast<__m256i>(Growth::isBeyond(a, b));
    return _mm256_testz_si256(beyond, beyond) == 0;
  };
  const auto spreads = [=](ptrdiff_t from, ptrdiff_t to) {
    return Growth::isBeyond(Growth::limit(row[from], limit[to]), row[to]);
  };

  for (ptrdiff_t block = 0; block < blocks; ++block) {
    const ptrdiff_t x = begin(block);
    const V old = load<V>(row + x);
    const V bound = load<V>(limit + x);
    const V grown = Growth::limit(Growth::grow(old, load<V>(neighbours + x)), bound);
    const auto isEntered = [&] {
      if (block == 0 || !changed[block - 1]) return false;
      const ptrdiff_t behind = begin(block - 1) + lanes;
      return spreads(behind - 1, behind);
    };
    changed[block] = fresh || isAnyBeyond(grown, old) || isEntered();
    if (changed[block]) {
      const T carry = x > 0 ? row[x - 1] : Growth::nothing;
      store(row + x, sweepBlock<Growth, Rightward>(grown, bound, carry));
    }
  }

  bool any = false;
  for (ptrdiff_t block = blocks - 1; block >= 0; --block) {
    const ptrdiff_t x = begin(block);
    const auto isEntered = [&] {
      if (block == blocks - 1 || !changed[block + 1]) return false;
      const ptrdiff_t next = begin(block + 1);
      return spreads(next, next - 1);
    };
    changed[block] = changed[block] || isEntered();
    if (changed[block]) {
      const T carry = x + lanes < width ? row[x + lanes] : Growth::nothing;
      store(row + x, sweepBlock<Growth, Leftward>(load<V>(row + x), load<V>(limit + x), carry));
      any = true;
    }
  }
  return any;
}
#endif

// Which neighbours of a row have not seen its last change.
enum Unseen : uint8_t { unseenAbove = 1, unseenBelow = 2, unseenByBoth = 3 };

// Rows that one thread works on, with scratch of its own.
template <class T>
struct Band {
  int32_t firstRow;
  int32_t endRow;
  T* line;           // as wide as the image
  uint8_t* changed;  // a flag for each block of a row
};

template <class Growth>
class Reconstruction {
 public:
  using T = typename Growth::T;

  Reconstruction(Image<const T> limit, Image<T> marker, NuviSize size, bool diagonal,
                 uint8_t* unseen)
      : limit_(limit), marker_(marker), width_(size.width), diagonal_(diagonal), unseen_(unseen) {}

  // What a row's neighbours in row `y` offer it, as a line.
  const T* neighbours(int32_t y, T* line) const {
    const T* const row = marker_.row(y);
    if (!diagonal_) return row;
    constexpr int32_t offsets[] = {-1, 0, 1};
    constexpr int32_t ends[] = {0, 1};
    using Extreme = typename Growth::Extreme;
    if (width_ == 1) return row;
    extremeOfShifts<Extreme>(row, ends, 2, line, 1);
    extremeOfShifts<Extreme>(row + 1, offsets, 3, line + 1, width_ - 2);
    extremeOfShifts<Extreme>(row + width_ - 2, ends, 2, line + width_ - 1, 1);
    return line;
  }

  // Brings every row of the band under its limit and grows it once downward.
  void begin(const Band<T>& band) const {
    update(band, band.firstRow, marker_.row(band.firstRow), true);
    for (int32_t y = band.firstRow + 1; y < band.endRow; ++y) {
      update(band, y, neighbours(y - 1, band.line), true);
    }
    std::fill(unseen_ + band.firstRow, unseen_ + band.endRow, unseenByBoth);
  }

  // Passes upward and downward until no row of the band changes.
  void settle(const Band<T>& band) const {
    for (bool changed = true; changed;) {
      changed = false;
      for (int32_t y = band.endRow - 2; y >= band.firstRow; --y) {
        changed |= updateFrom(band, y, y + 1, unseenAbove);
      }
      for (int32_t y = band.firstRow + 1; y < band.endRow; ++y) {
        changed |= updateFrom(band, y, y - 1, unseenBelow);
      }
    }
  }

 private:
  bool updateFrom(const Band<T>& band, int32_t y, int32_t from, Unseen direction) const {
    if ((unseen_[from] & direction) == 0) return false;
    unseen_[from] = static_cast<uint8_t>(unseen_[from] & ~direction);
    if (!update(band, y, neighbours(from, band.line), false)) return false;
    unseen_[y] = unseenByBoth;
    return true;
  }

  bool update([[maybe_unused]] const Band<T>& band, int32_t y, const T* line,
              [[maybe_unused]] bool fresh) const {
#if NUV_AVX2
    if (width_ * static_cast<ptrdiff_t>(sizeof(T)) >= blockBytes) {
      return updateRowByBlocks<Growth>(marker_.row(y), limit_.row(y), line, width_, fresh,
                                       band.changed);
    }
#endif
    return updateRow<Growth>(marker_.row(y), limit_.row(y), line, width_);
  }

  Image<const T> limit_;
  Image<T> marker_;
  ptrdiff_t width_;
  bool diagonal_;
  uint8_t* unseen_;
};

template <class Growth, class T>
void reconstruct(Image<const T> limit, Image<T> marker, NuviSize size, bool diagonal,
                 Scratch scratch) {
  constexpr ptrdiff_t elementsPerFlag = 32 / static_cast<ptrdiff_t>(sizeof(T));
  const ptrdiff_t flags = (size.width + elementsPerFlag - 1) / elementsPerFlag;
  T* const lines[2] = {scratch.take<T>(size.width), scratch.take<T>(size.width)};
  uint8_t* const changed[2] = {scratch.take<uint8_t>(flags), scratch.take<uint8_t>(flags)};
  const Reconstruction<Growth> rows(limit, marker, size, diagonal,
                                    scratch.take<uint8_t>(size.height));

  // Two halves are brought to rest on their own; what they have to offer each other at the cut is
  // then left to the whole.
  const int32_t cut = size.height / 2;
  const Band<T> whole = {0, size.height, lines[0], changed[0]};
  const Band<T> halves[2] = {{0, cut, lines[0], changed[0]},
                             {cut, size.height, lines[1], changed[1]}};
  if (size.height > 10 && size.width > 10 && ownGetNumThreads() > 1) {
    forkRows(2, 2, [&](int32_t, int32_t first, int32_t count) {
      for (int32_t half = first; half < first + count; ++half) {
        rows.begin(halves[half]);
        rows.settle(halves[half]);
      }
    });
  } else {
    rows.begin(whole);
  }
  rows.settle(whole);
}

// The room is for four lines of elements and one flag for each row.
template <class T>
int64_t scratchBytes(NuviSize size) {
  constexpr auto elementBytes = static_cast<int64_t>(sizeof(T));
  const int64_t lines = 4 * elementBytes * size.width;
  if (sizeof(T) == 2) return lines + 2 * int64_t{size.height} + 322;
  return lines + size.height + 160 + elementBytes;
}

template <class T>
NuvStatus getBufferSize(NuviSize roiSize, int32_t* pBufferSize) {
  const NuvStatus status = Check().pointers(pBufferSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(scratchBytes<T>(roiSize));
  return nuvStatusOk;
}

template <class Growth, class T>
NuvStatus morphReconstruct(const T* pSrc, int32_t srcStep, T* pSrcDst, int32_t srcDstStep,
                           NuviSize roiSize, uint8_t* pBuffer, int32_t norm) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pSrcDst, pBuffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pSrcDst, srcDstStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep, srcDstStep)
                               .require(norm == 0 || norm == 1, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  reconstruct<Growth>(Image<const T>(pSrc, srcStep), Image<T>(pSrcDst, srcDstStep), roiSize,
                      norm == 0, Scratch(pBuffer, scratchBytes<T>(roiSize)));
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_RECONSTRUCT(Name, Growth, type, T)                                                     \
  NuvStatus nuviMorphReconstruct##Name##_##type##_C1IR(const T* pSrc, int32_t srcStep, T* pSrcDst, \
                                                       int32_t srcDstStep, NuviSize roiSize,       \
                                                       uint8_t* pBuffer, int32_t norm) {           \
    return morphReconstruct<Growth<T>>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, pBuffer,       \
                                       norm);                                                      \
  }
#define NUV_RECONSTRUCT_FORM(type, T)                                             \
  NUV_RECONSTRUCT(Dilate, Dilation, type, T)                                      \
  NUV_RECONSTRUCT(Erode, Erosion, type, T)                                        \
  NuvStatus nuviMorphReconstructGetBufferSize_##type##_C1(NuviSize roiSize,       \
                                                          int32_t* pBufferSize) { \
    return getBufferSize<T>(roiSize, pBufferSize);                                \
  }
NUV_RECONSTRUCT_FORM(8u, uint8_t)
NUV_RECONSTRUCT_FORM(16u, uint16_t)
NUV_RECONSTRUCT_FORM(32f, float)
NUV_RECONSTRUCT_FORM(64f, double)
#undef NUV_RECONSTRUCT_FORM
#undef NUV_RECONSTRUCT

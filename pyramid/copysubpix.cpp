// A rectangle of an image sampled at a fractional offset by bilinear interpolation: each pixel is a
// weighted sum of the four around its position. The plain form reads a rectangle that lies in the
// image with a margin of one pixel to its right and below; the intersecting form is centred on a
// point, may leave the image, and replicates the edge there.

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/pyramid.h"

namespace nuv {
namespace {

// The fraction of an offset, of the offset's sign. A fraction that is no number counts as 0.
inline float signedFraction(float offset) {
  return clampTo(offset - __builtin_truncf(offset), -1.0f, 1.0f);
}

// Weights of 14 fraction bits. Each of the four is rounded up by a whole unit at most; what their
// sum has more than 1 is taken from the largest. Sums are below 2^23, so unsigned arithmetic holds
// them, and the shifts by the scale factor, taken modulo 32, stay defined.
class FixedWeights {
 public:
  using Sum = uint32_t;

  FixedWeights(float fractionX, float fractionY, int32_t scaleFactor)
      : right(share(fractionX)),
        left(one - right),
        below(share(fractionY)),
        above(one - below),
        w00(product(left, above)),
        w10(product(right, above)),
        w01(product(left, below)),
        w11(product(right, below)),
        shift_((static_cast<uint32_t>(scaleFactor) + 14) & 31),
        half_(Sum{1} << ((static_cast<uint32_t>(scaleFactor) + 13) & 31)) {
    const Sum excess = w00 + w10 + w01 + w11 - one;
    Sum& largest = w00 >= w01 && w00 >= w10 && w00 >= w11   ? w00
                   : w01 >= w00 && w01 >= w10 && w01 >= w11 ? w01
                   : w10 >= w00 && w10 >= w01 && w10 >= w11 ? w10
                                                            : w11;
    largest -= excess;
  }

  // The sum without its fraction bits, rounded half up; the low bits are kept.
  template <class To>
  To result(Sum sum) const {
    return static_cast<To>((sum + half_) >> shift_);
  }
#if NUV_AVX2
  __m256i result(__m256i sums) const {
    const __m256i rounded = _mm256_add_epi32(sums, _mm256_set1_epi32(static_cast<int>(half_)));
    return _mm256_srl_epi32(rounded, _mm_cvtsi32_si128(static_cast<int>(shift_)));
  }
#endif

 private:
  static constexpr Sum one = 1 << 14;
  static Sum share(float fraction) {
    return static_cast<uint16_t>(
        static_cast<int32_t>(fused(16384.0f, fraction, fraction >= 0 ? 0.5f : 16384.5f)));
  }
  static Sum product(Sum a, Sum b) { return (a * b + one) >> 14; }

 public:
  // The shares of two neighbours along one axis, and the weights of the four around a position:
  // w10 is the one to the right, w01 the one below.
  Sum right, left, below, above;
  Sum w00, w10, w01, w11;

 private:
  Sum shift_, half_;
};

// Float weights. The fractions have a lower limit, since where rows are paired a sum is divided by
// one.
struct FloatWeights {
  using Sum = float;

  FloatWeights(float fractionX, float fractionY, float leastX, float leastY)
      : right(share(fractionX, leastX)),
        left(1.0f - right),
        below(share(fractionY, leastY)),
        above(1.0f - below),
        w00(fused(-above, right, above)),
        w10(fused(-below, right, right)),
        w01(fused(-below, right, below)),
        w11(right * below) {}

  static float share(float fraction, float least) {
    const float positive = fraction < 0 ? 1.0f + fraction : fraction;
    return positive < least ? least : positive;
  }

  template <class To>
  To result(float sum) const {
    if constexpr (std::is_same_v<To, float>) {
      return sum;
    } else {
      return roundSaturate<To>(sum);
    }
  }

  float right, left, below, above;
  float w00, w10, w01, w11;
};

template <class From, class To>
auto makeWeights(float fractionX, float fractionY, int32_t scaleFactor) {
  if constexpr (std::is_same_v<From, uint8_t> && !std::is_same_v<To, float>) {
    return FixedWeights(fractionX, fractionY, scaleFactor);
  } else if constexpr (std::is_same_v<From, uint16_t>) {
    return FloatWeights(fractionX, fractionY, 0.0f, 0.0f);
  } else {
    constexpr bool widened = std::is_same_v<From, uint8_t>;
    return FloatWeights(fractionX, fractionY, 1e-6f, widened ? 1e-9f : 1e-6f);
  }
}

// a * p + b * q, in float with both products rounded.
template <class Sum, class From>
inline Sum mix(Sum a, From p, Sum b, From q) {
  return a * static_cast<Sum>(p) + b * static_cast<Sum>(q);
}

template <class From, class To>
void interpolatePixels(const From* upper, const From* lower, To* dst, ptrdiff_t x, ptrdiff_t width,
                       FloatWeights w) {
  NUV_IVDEP
  for (; x < width; ++x) {
    dst[x] = w.result<To>(mix(w.w00, upper[x], w.w10, upper[x + 1]) +
                          mix(w.w01, lower[x], w.w11, lower[x + 1]));
  }
}
template <class To>
void interpolatePixels(const uint8_t* upper, const uint8_t* lower, To* dst, ptrdiff_t x,
                       ptrdiff_t width, const FixedWeights& w) {
  for (; x < width; ++x) {
    dst[x] = w.result<To>(mix(w.w00, upper[x], w.w10, upper[x + 1]) +
                          mix(w.w01, lower[x], w.w11, lower[x + 1]));
  }
}

#if NUV_AVX2
// Sixteen pixels of a row and their right neighbours, in pairs, times a pair of weights: the first
// eight sums and the last eight. Weights are below 2^14 and fit the signed 16-bit products.
struct PairSums {
  __m256i first, last;
};
inline PairSums pairSums(const uint8_t* row, __m256i weights) {
  const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
  const __m128i right = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 1));
  const __m256i first = _mm256_cvtepu8_epi16(_mm_unpacklo_epi8(here, right));
  const __m256i last = _mm256_cvtepu8_epi16(_mm_unpackhi_epi8(here, right));
  return {_mm256_madd_epi16(first, weights), _mm256_madd_epi16(last, weights)};
}
inline __m256i weightPair(uint32_t left, uint32_t right) {
  return _mm256_set1_epi32(static_cast<int32_t>(left | right << 16));
}

inline void storeLow(uint8_t* dst, __m256i first, __m256i last) {
  store(dst, narrowSaturate<uint8_t>(
                 packSaturate(reinterpret_cast<S32x8>(first), reinterpret_cast<S32x8>(last))));
}
inline void storeLow(uint16_t* dst, __m256i first, __m256i last) {
  const __m256i mask = _mm256_set1_epi32(0xFFFF);
  const __m256i packed =
      _mm256_packus_epi32(_mm256_and_si256(first, mask), _mm256_and_si256(last, mask));
  store(dst, _mm256_permute4x64_epi64(packed, 0xD8));
}
#endif

template <class To>
void interpolateRow(const uint8_t* upper, const uint8_t* lower, To* dst, ptrdiff_t width,
                    const FixedWeights& w) {
  ptrdiff_t x = 0;
#if NUV_AVX2
  const __m256i upperWeights = weightPair(w.w00, w.w10), lowerWeights = weightPair(w.w01, w.w11);
  for (; x + 16 <= width; x += 16) {
    const PairSums above = pairSums(upper + x, upperWeights);
    const PairSums below = pairSums(lower + x, lowerWeights);
    storeLow(dst + x, w.result(_mm256_add_epi32(above.first, below.first)),
             w.result(_mm256_add_epi32(above.last, below.last)));
  }
#endif
  interpolatePixels(upper, lower, dst, x, width, w);
}
template <class From, class To>
void interpolateRow(const From* upper, const From* lower, To* dst, ptrdiff_t width,
                    const FloatWeights& w) {
  interpolatePixels(upper, lower, dst, 0, width, w);
}

// The largest width and height in which float rows are paired.
constexpr int32_t pairedAtMost = 64;

template <class From, class To>
bool rowsArePaired(NuviSize size) {
  if constexpr (!std::is_same_v<To, float>) {
    return false;
  } else if constexpr (std::is_same_v<From, float>) {
    return size.width <= pairedAtMost && size.height <= pairedAtMost;
  } else {
    return std::is_same_v<From, uint8_t>;
  }
}

// From the second row on, the sum over the upper two pixels is the one over the lower two of the
// row above, brought to its weights by one factor. Columns are taken in strips, so that the sums
// carried down need no memory of the caller's.
template <class From>
void interpolatePaired(const Image<const From>& src, const Image<float>& dst, NuviSize size,
                       const FloatWeights& weights) {
  const FloatWeights w = weights;
  const float ratio = w.above / w.below;
  for (ptrdiff_t strip = 0; strip < size.width; strip += pairedAtMost) {
    const ptrdiff_t width = std::min<ptrdiff_t>(pairedAtMost, size.width - strip);
    float upper[pairedAtMost];
    const From* const first = src.row(0) + strip;
    for (ptrdiff_t x = 0; x < width; ++x) upper[x] = mix(w.w00, first[x], w.w10, first[x + 1]);
    for (ptrdiff_t y = 0; y < size.height; ++y) {
      const From* const below = src.row(y + 1) + strip;
      float* const out = dst.row(y) + strip;
      NUV_IVDEP
      for (ptrdiff_t x = 0; x < width; ++x) {
        const float lower = mix(w.w01, below[x], w.w11, below[x + 1]);
        out[x] = upper[x] + lower;
        upper[x] = lower * ratio;
      }
    }
  }
}

template <class From, class To>
NuvStatus copySubpix(const From* pSrc, int32_t srcStep, To* pDst, int32_t dstStep, NuviSize roiSize,
                     float dx, float dy, int32_t scaleFactor = 0) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep)
                               .elementMultiple(pDst, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const From> src(pSrc, srcStep);
  const Image<To> dst(pDst, dstStep);
  const auto weights = makeWeights<From, To>(signedFraction(dx), signedFraction(dy), scaleFactor);
  if constexpr (std::is_same_v<To, float>) {
    if (rowsArePaired<From, To>(roiSize)) {
      interpolatePaired(src, dst, roiSize, weights);
      return nuvStatusOk;
    }
  }
  for (ptrdiff_t y = 0; y < roiSize.height; ++y) {
    interpolateRow(src.row(y), src.row(y + 1), dst.row(y), roiSize.width, weights);
  }
  return nuvStatusOk;
}

// Where the destination lies in the source along one axis: its position `first` reads the source
// positions origin + first and the next, up to `last`. Positions before and behind read the edge.
struct Overlap {
  Overlap(float center, int32_t srcLength, int32_t dstLength) {
    const float start = fused(-0.5f, static_cast<float>(dstLength - 1), center);
    // A point too far away for 32 bits stays as far outside as they can tell.
    const double floored = __builtin_trunc(dstLength + static_cast<double>(start));
    origin = static_cast<int64_t>(clampTo(floored, -2147483648.0, 2147483647.0)) - dstLength;
    fraction = clampTo(start - static_cast<float>(origin), -1.0f, 1.0f);
    first = static_cast<int32_t>(clampTo<int64_t>(-origin, 0, dstLength));
    last = static_cast<int32_t>(std::min<int64_t>(srcLength - origin - 2, dstLength - 1));
    if (origin >= srcLength) {
      first = 0;
      last = -1;
    }
  }
  int64_t origin;
  float fraction;
  int32_t first, last;
};

template <class To>
void fillFrom(To* dst, int32_t begin, int32_t end, To value) {
  for (int32_t x = begin; x < end; ++x) dst[x] = value;
}

template <class From, class To>
NuvStatus copySubpixIntersect(const From* pSrc, int32_t srcStep, NuviSize srcSize, To* pDst,
                              int32_t dstStep, NuviSize dstSize, NuviPoint32f point,
                              NuviPoint* pMin, NuviPoint* pMax, int32_t scaleFactor = 0) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pMin, pMax)
                               .size(srcSize)
                               .size(dstSize)
                               .step(pSrc, srcStep, srcSize.width)
                               .step(pDst, dstStep, dstSize.width)
                               .elementMultiple(pSrc, srcStep)
                               .elementMultiple(pDst, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const From> src(pSrc, srcStep);
  const Image<To> dst(pDst, dstStep);
  const Overlap columns(point.x, srcSize.width, dstSize.width);
  const Overlap rows(point.y, srcSize.height, dstSize.height);
  *pMin = {columns.first, rows.first};
  *pMax = {columns.last, rows.last};

  const auto w = makeWeights<From, To>(columns.fraction, rows.fraction, scaleFactor);
  using Sum = std::remove_const_t<decltype(w.w00)>;
  const ptrdiff_t rightEdge = srcSize.width - 1;

  // A row above or below the source: its nearest row, interpolated along x alone.
  const auto outerRow = [&](const From* from, To* to) {
    const Sum whole = w.right + w.left;
    fillFrom(to, 0, columns.first, w.template result<To>(whole * static_cast<Sum>(from[0])));
    for (int32_t x = columns.first; x <= columns.last; ++x) {
      const From* const at = from + (columns.origin + x);
      to[x] = w.template result<To>(mix(w.left, at[0], w.right, at[1]));
    }
    fillFrom(to, columns.last + 1, dstSize.width,
             w.template result<To>(whole * static_cast<Sum>(from[rightEdge])));
  };
  const auto outerRows = [&](const From* from, int32_t begin, int32_t end) {
    if (begin >= end) return;
    outerRow(from, dst.row(begin));
    for (int32_t y = begin + 1; y < end; ++y) {
      std::memcpy(dst.row(y), dst.row(begin), static_cast<size_t>(dstSize.width) * sizeof(To));
    }
  };

  outerRows(src.row(0), 0, rows.first);
  for (int32_t y = rows.first; y <= rows.last; ++y) {
    const From* const upper = src.row(rows.origin + y);
    const From* const lower = src.row(rows.origin + y + 1);
    To* const to = dst.row(y);
    const auto edge = [&](ptrdiff_t x) {
      return w.template result<To>(mix(w.above, upper[x], w.below, lower[x]));
    };
    fillFrom(to, 0, columns.first, edge(0));
    if (columns.first <= columns.last) {
      const ptrdiff_t from = columns.origin + columns.first;
      interpolateRow(upper + from, lower + from, to + columns.first,
                     columns.last - columns.first + 1, w);
    }
    fillFrom(to, columns.last + 1, dstSize.width, edge(rightEdge));
  }
  outerRows(src.row(srcSize.height - 1), rows.last + 1, dstSize.height);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_COPY(types, From, To)                                                                  \
  NuvStatus nuviCopySubpix_##types##_C1R(const From* pSrc, int32_t srcStep, To* pDst,              \
                                         int32_t dstStep, NuviSize roiSize, float dx, float dy) {  \
    return copySubpix(pSrc, srcStep, pDst, dstStep, roiSize, dx, dy);                              \
  }                                                                                                \
  NuvStatus nuviCopySubpixIntersect_##types##_C1R(                                                 \
      const From* pSrc, int32_t srcStep, NuviSize srcSize, To* pDst, int32_t dstStep,              \
      NuviSize dstSize, NuviPoint32f point, NuviPoint* pMin, NuviPoint* pMax) {                    \
    return copySubpixIntersect(pSrc, srcStep, srcSize, pDst, dstStep, dstSize, point, pMin, pMax); \
  }
NUV_COPY(8u, uint8_t, uint8_t)
NUV_COPY(8u32f, uint8_t, float)
NUV_COPY(16u, uint16_t, uint16_t)
NUV_COPY(16u32f, uint16_t, float)
NUV_COPY(32f, float, float)
#undef NUV_COPY

NuvStatus nuviCopySubpix_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep, uint16_t* pDst,
                                       int32_t dstStep, NuviSize roiSize, float dx, float dy,
                                       int32_t scaleFactor) {
  return copySubpix(pSrc, srcStep, pDst, dstStep, roiSize, dx, dy, scaleFactor);
}
NuvStatus nuviCopySubpixIntersect_8u16u_C1R_Sfs(const uint8_t* pSrc, int32_t srcStep,
                                                NuviSize srcSize, uint16_t* pDst, int32_t dstStep,
                                                NuviSize dstSize, NuviPoint32f point,
                                                NuviPoint* pMin, NuviPoint* pMax,
                                                int32_t scaleFactor) {
  return copySubpixIntersect(pSrc, srcStep, srcSize, pDst, dstStep, dstSize, point, pMin, pMax,
                             scaleFactor);
}

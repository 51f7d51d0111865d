// One octave of a Gaussian pyramid (P. J. Burt and E. H. Adelson, 1983) with the binomial kernel
// 1 4 6 4 1: a reduction that smooths and keeps every second pixel, and the expansion that doubles
// a picture with the two halves of the same kernel. Each source row is filtered horizontally once,
// into a ring of rows that the vertical filter combines.
//
// Integer sums are exact. They are kept in 16 bits: the largest, 255 * 256 + 128, is below 2^16,
// and of signed pixels they lie between -128 * 256 and 127 * 256 + 128.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/pyramid.h"

namespace nuv {
namespace {

// What a filtered row of pixels T is made of.
template <class T>
struct FilteredOf {
  using type = std::conditional_t<std::is_signed_v<T>, int16_t, uint16_t>;
};
template <>
struct FilteredOf<float> {
  using type = float;
};
template <class T>
using Filtered = typename FilteredOf<T>::type;

// A position folded back into 0 to count - 1 around the first and the last, neither repeated.
inline ptrdiff_t folded(ptrdiff_t position, ptrdiff_t count) {
  if (count == 1) return 0;
  while (position < 0 || position >= count) {
    position = position < 0 ? -position : 2 * (count - 1) - position;
  }
  return position;
}

// -------- reduction

// The output column i of one channel from the five taps around its centre, inside the row.
template <int32_t channels, class T>
inline Filtered<T> reduceInterior(const T* centre) {
  const T *far0 = centre - 2 * channels, *near0 = centre - channels;
  const T *near1 = centre + channels, *far1 = centre + 2 * channels;
  if constexpr (std::is_same_v<T, float>) {
    return fused(4.0f, *near0 + *near1, *far0) + fused(6.0f, *centre, *far1);
  } else {
    return static_cast<Filtered<T>>(*far0 + 4 * (*near0 + *near1) + 6 * *centre + *far1);
  }
}

// The same with taps that may lie outside and are folded back; `s(x)` is the pixel at column x. In
// float a column that lacks taps on one side alone has an order of operations of its own.
template <class T, class Pixel>
Filtered<T> reduceAtBorder(Pixel&& s, ptrdiff_t centre, ptrdiff_t width) {
  const auto tap = [&](ptrdiff_t x) { return s(folded(x, width)); };
  const T far0 = tap(centre - 2), near0 = tap(centre - 1), here = tap(centre);
  const T near1 = tap(centre + 1), far1 = tap(centre + 2);
  if constexpr (std::is_same_v<T, float>) {
    const bool lacksLeft = centre < 2, lacksRight = centre + 2 >= width;
    if (lacksLeft && !lacksRight) return fused(2.0f, far1, fused(6.0f, here, 8.0f * near1));
    if (lacksRight && !lacksLeft) {
      if (centre == width - 1) return fused(2.0f, far0, fused(6.0f, here, 8.0f * near0));
      return fused(4.0f, near0 + near1, fused(7.0f, here, far0));
    }
    return fused(4.0f, near0 + near1, far0) + fused(6.0f, here, far1);
  } else {
    return static_cast<Filtered<T>>(far0 + 4 * (near0 + near1) + 6 * here + far1);
  }
}

// Output columns from `i` on as far as whole blocks of sixteen go, for 8-bit pixels of one channel:
// a 16-bit lane holds an even column in its low byte and the odd one behind it in its high byte.
// Returns the first column left.
template <class T>
ptrdiff_t reduceBlocks(const T* src, Filtered<T>* dst, ptrdiff_t i, ptrdiff_t width) {
  using Lanes = Vector<Filtered<T>, 16>;
  const auto even = [](Lanes pairs) { return (pairs << 8) >> 8; };
  const auto odd = [](Lanes pairs) { return pairs >> 8; };
  for (; 2 * i + 34 <= width; i += 16) {
    const auto before = load<Lanes>(src + 2 * i - 2), here = load<Lanes>(src + 2 * i);
    const auto behind = load<Lanes>(src + 2 * i + 2);
    const Lanes far = even(before) + even(behind), near = odd(before) + odd(here);
    store(dst + i, far + even(here) * 6 + near * 4);
  }
  return i;
}

template <int32_t channels, class T>
void reduceRow(const T* src, Filtered<T>* dst, ptrdiff_t width) {
  const ptrdiff_t outWidth = (width + 1) / 2;
  const auto atBorder = [&](ptrdiff_t i) {
    for (ptrdiff_t c = 0; c < channels; ++c) {
      const auto pixel = [&](ptrdiff_t x) { return src[x * channels + c]; };
      dst[i * channels + c] = reduceAtBorder<T>(pixel, 2 * i, width);
    }
  };
  const ptrdiff_t interiorEnd =
      std::max<ptrdiff_t>(1, (width - 1) / 2);  // first with a tap outside
  atBorder(0);
  ptrdiff_t i = 1;
  if constexpr (channels == 1 && sizeof(T) == 1) i = reduceBlocks(src, dst, i, width);
  NUV_IVDEP
  for (; i < interiorEnd; ++i) {
    for (ptrdiff_t c = 0; c < channels; ++c) {
      dst[i * channels + c] = reduceInterior<channels>(src + 2 * i * channels + c);
    }
  }
  for (; i < outWidth; ++i) atBorder(i);
}

// Five filtered rows to one of the result.
template <class T>
void reduceColumns(const Filtered<T>* const rows[5], T* dst, ptrdiff_t samples) {
  const auto *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < samples; ++x) {
    if constexpr (std::is_same_v<T, float>) {
      constexpr float whole = 1.0f / 256;
      const float t = fused(4.0f, b[x] + d[x], fused(6.0f, c[x], e[x]));
      dst[x] = fused(whole, t, whole * a[x]);
    } else {
      const int32_t sum = a[x] + 4 * (b[x] + d[x]) + 6 * c[x] + e[x] + 128;
      dst[x] = static_cast<T>(static_cast<Filtered<T>>(sum) >> 8);
    }
  }
}

// -------- expansion

// Position -1 folds to 1, or to 0 where there is no 1; position `count` repeats the last.
inline ptrdiff_t before(ptrdiff_t position, ptrdiff_t count) {
  return position > 0 ? position - 1 : std::min<ptrdiff_t>(1, count - 1);
}
inline ptrdiff_t behind(ptrdiff_t position, ptrdiff_t count) {
  return std::min(position + 1, count - 1);
}

template <class T>
inline Filtered<T> expandEven(T left, T here, T right) {
  if constexpr (std::is_same_v<T, float>) {
    return fused(6.0f, here, left) + right;
  } else {
    return static_cast<Filtered<T>>(left + 6 * here + right);
  }
}
template <class T>
inline Filtered<T> expandOdd(T here, T right) {
  return static_cast<Filtered<T>>(4 * (here + right));
}

// The even columns at both ends, which in float have an order of operations of their own.
template <class T>
Filtered<T> expandEvenAtBorder(T left, T here, T right, bool first, bool last) {
  if constexpr (std::is_same_v<T, float>) {
    if (first && last) return 8.0f * here;
    if (first) return fused(6.0f, here, 2.0f * right);
    if (last) return fused(here, 6.0f, here) + left;
  }
  return expandEven(left, here, right);
}

template <int32_t channels, class T>
void expandRow(const T* src, Filtered<T>* dst, ptrdiff_t width) {
  const auto atBorder = [&](ptrdiff_t j) {
    for (ptrdiff_t c = 0; c < channels; ++c) {
      const T left = src[before(j, width) * channels + c], here = src[j * channels + c];
      const T right = src[behind(j, width) * channels + c];
      dst[2 * j * channels + c] = expandEvenAtBorder(left, here, right, j == 0, j == width - 1);
      dst[(2 * j + 1) * channels + c] = expandOdd(here, right);
    }
  };
  atBorder(0);
  NUV_IVDEP
  for (ptrdiff_t j = 1; j < width - 1; ++j) {
    for (ptrdiff_t c = 0; c < channels; ++c) {
      const T* const here = src + j * channels + c;
      dst[2 * j * channels + c] = expandEven(here[-channels], here[0], here[channels]);
      dst[(2 * j + 1) * channels + c] = expandOdd(here[0], here[channels]);
    }
  }
  if (width > 1) atBorder(width - 1);
}

// The filtered row above, the row itself and the one below to an even and an odd row of the result.
template <class T>
void expandColumns(const Filtered<T>* a, const Filtered<T>* b, const Filtered<T>* c, T* even,
                   T* odd, ptrdiff_t samples) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < samples; ++x) {
    if constexpr (std::is_same_v<T, float>) {
      even[x] = fused(1.0f / 64, fused(6.0f, b[x], a[x]), (1.0f / 64) * c[x]);
      odd[x] = (1.0f / 16) * (b[x] + c[x]);
    } else {
      const int32_t evenSum = a[x] + 6 * b[x] + c[x] + 32, oddSum = 4 * (b[x] + c[x]) + 32;
      even[x] = static_cast<T>(static_cast<Filtered<T>>(evenSum) >> 6);
      odd[x] = static_cast<T>(static_cast<Filtered<T>>(oddSum) >> 6);
    }
  }
}

// A single float row needs no vertical filter but its weight.
inline void expandSingleRow(const float* row, float* even, float* odd, ptrdiff_t samples) {
  for (ptrdiff_t x = 0; x < samples; ++x) even[x] = odd[x] = 0.125f * row[x];
}

// -------- operations

constexpr size_t ringAlignment = 64;
constexpr int32_t reduceRing = 6, expandRing = 3;

// `rows` rows of 32-bit elements, each a whole number of 16 bytes, and room to align them. The
// products wrap as the result's 32 bits do.
int32_t ringBytes(int32_t rows, int32_t elements) {
  const auto rowBytes = static_cast<uint32_t>(wrappingMultiply(elements, 4));
  const auto units = static_cast<int32_t>(rowBytes / 16 + (rowBytes % 16 != 0));
  return wrappingAdd(wrappingMultiply(units, 16 * rows), static_cast<int32_t>(ringAlignment));
}

NuvStatus ringSize(int32_t width, int32_t dataType, int32_t channels, int32_t* pSize, int32_t rows,
                   int32_t elementsPerSample) {
  const NuvStatus status =
      Check()
          .pointers(pSize)
          .require(width >= 1, nuvStatusBadSize)
          .require(channels == 1 || channels == 3, nuvStatusBadChannelCount)
          .require(dataType == 1 || dataType == 3 || dataType == 13, nuvStatusBadDataType)
          .status();
  if (status != nuvStatusOk) return status;
  *pSize = ringBytes(rows, wrappingMultiply(wrappingMultiply(width, channels), elementsPerSample));
  return nuvStatusOk;
}

// A ring of filtered rows in the caller's buffer: source row y lies at y modulo the ring's rows.
template <class Row, int32_t ringRows>
class Ring {
 public:
  Ring(void* pBuffer, int32_t samples, int32_t reportedBytes)
      : stride_(alignUp<ptrdiff_t>(samples, 16 / sizeof(Row))),
        rows_(
            Scratch(pBuffer, reportedBytes).template take<Row>(ringRows * stride_, ringAlignment)) {
  }
  Row* row(ptrdiff_t y) const { return rows_ + y % ringRows * stride_; }

 private:
  ptrdiff_t stride_;
  Row* rows_;
};

template <int32_t channels, class T>
NuvStatus pyrDown(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,
                  uint8_t* pBuffer) {
  const int32_t outWidth = static_cast<int32_t>((int64_t{roiSize.width} + 1) / 2);
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pBuffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .step(pDst, dstStep, outWidth, channels)
                               .elementMultiple(pSrc, srcStep, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  const ptrdiff_t width = roiSize.width, height = roiSize.height;
  const int32_t samples = outWidth * channels;
  const Ring<Filtered<T>, reduceRing> ring(pBuffer, samples,
                                           ringBytes(reduceRing, roiSize.width * channels));
  ptrdiff_t filtered = 0;  // rows so far
  for (ptrdiff_t j = 0; 2 * j < height; ++j) {
    for (; filtered < std::min(2 * j + 3, height); ++filtered) {
      reduceRow<channels>(src.row(filtered), ring.row(filtered), width);
    }
    const Filtered<T>* rows[5];
    for (ptrdiff_t k = 0; k < 5; ++k) rows[k] = ring.row(folded(2 * j + k - 2, height));
    reduceColumns(rows, dst.row(j), samples);
  }
  return nuvStatusOk;
}

template <int32_t channels, class T>
NuvStatus pyrUp(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,
                uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pBuffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .step(pDst, dstStep, roiSize.width, 2 * channels)
                               .elementMultiple(pSrc, srcStep, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  const ptrdiff_t width = roiSize.width, height = roiSize.height;
  const int32_t samples = 2 * roiSize.width * channels;
  const Ring<Filtered<T>, expandRing> ring(pBuffer, samples, ringBytes(expandRing, samples));
  ptrdiff_t filtered = 0;  // rows so far
  for (ptrdiff_t i = 0; i < height; ++i) {
    for (; filtered < std::min(i + 2, height); ++filtered) {
      expandRow<channels>(src.row(filtered), ring.row(filtered), width);
    }
    T *const even = dst.row(2 * i), *const odd = dst.row(2 * i + 1);
    if constexpr (std::is_same_v<T, float>) {
      if (height == 1) {
        expandSingleRow(ring.row(0), even, odd, samples);
        return nuvStatusOk;
      }
    }
    expandColumns(ring.row(before(i, height)), ring.row(i), ring.row(behind(i, height)), even, odd,
                  samples);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

// Sizes count 4 bytes for each sample of the source, or 8 for the two that expand from it.
NuvStatus nuviPyrDownGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType, int32_t channels,
                                         int32_t* pSize) {
  return ringSize(roiWidth, dataType, channels, pSize, reduceRing, 1);
}
NuvStatus nuviPyrUpGetBufSize_Gauss5x5(int32_t roiWidth, int32_t dataType, int32_t channels,
                                       int32_t* pSize) {
  return ringSize(roiWidth, dataType, channels, pSize, expandRing, 2);
}

#define NUV_STEPS(layout, channels, types, T)                                                \
  NuvStatus nuviPyrDown_Gauss5x5_##types##_##layout(const T* pSrc, int32_t srcStep, T* pDst, \
                                                    int32_t dstStep, NuviSize roiSize,       \
                                                    uint8_t* pBuffer) {                      \
    return pyrDown<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pBuffer);                \
  }                                                                                          \
  NuvStatus nuviPyrUp_Gauss5x5_##types##_##layout(const T* pSrc, int32_t srcStep, T* pDst,   \
                                                  int32_t dstStep, NuviSize roiSize,         \
                                                  uint8_t* pBuffer) {                        \
    return pyrUp<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pBuffer);                  \
  }
NUV_STEPS(C1R, 1, 8u, uint8_t)
NUV_STEPS(C3R, 3, 8u, uint8_t)
NUV_STEPS(C1R, 1, 8s, int8_t)
NUV_STEPS(C3R, 3, 8s, int8_t)
NUV_STEPS(C1R, 1, 32f, float)
NUV_STEPS(C3R, 3, 32f, float)
#undef NUV_STEPS

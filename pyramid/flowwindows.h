// What optical flow sees of an image: windows about points, and the sums that it takes of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/image.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/pyramid.h"

namespace nuv {

// What windows of a pixel type are made of: fixed point with 7 fraction bits, or floats.
template <class Pixel>
struct Form {
  using Sample = float;    // of an image
  using Gradient = float;  // of its derivatives
  static constexpr double errorUnit = 1.0;
};
template <>
struct Form<uint8_t> {
  using Sample = uint16_t;
  using Gradient = int16_t;
  static constexpr double errorUnit = 0.0078125;
};

// A rectangle of a window, its last column and row included.
struct Extent {
  int32_t left, top, right, bottom;

  bool isEmpty() const { return right < left || bottom < top; }
  bool operator==(const Extent& other) const {
    return left == other.left && top == other.top && right == other.right && bottom == other.bottom;
  }
};

inline Extent intersection(const Extent& a, const Extent& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

struct Layer {
  const void* image;
  int32_t step;
  NuviSize size;
};

// A square of `size` about `centre`, and in `known` what of it lies in the image. False if a layer
// has no image or too small a step.
template <class Pixel>
bool takeWindow(const Layer& layer, NuviPoint32f centre, int32_t size,
                typename Form<Pixel>::Sample* window, int32_t step, Extent& known) {
  const auto* const image = static_cast<const Pixel*>(layer.image);
  const NuviSize square = {size, size};
  NuviPoint first = {}, last = {};
  NuvStatus status;
  if constexpr (std::is_same_v<Pixel, uint8_t>) {
    status = nuviCopySubpixIntersect_8u16u_C1R_Sfs(image, layer.step, layer.size, window, step,
                                                   square, centre, &first, &last, -7);
  } else if constexpr (std::is_same_v<Pixel, uint16_t>) {
    status = nuviCopySubpixIntersect_16u32f_C1R(image, layer.step, layer.size, window, step, square,
                                                centre, &first, &last);
  } else {
    status = nuviCopySubpixIntersect_32f_C1R(image, layer.step, layer.size, window, step, square,
                                             centre, &first, &last);
  }
  known = {first.x, first.y, last.x, last.y};
  return status == nuvStatusOk;
}

// Sums over the window of products of the derivatives, and of these with the difference of the
// images.
struct NormalEquations {
  double g11, g12, g22;
  double b1, b2;
};

// The four windows of a thread. The first image's has a margin of one pixel on all sides. Rows have
// room for a vector behind their last element.
template <class Pixel>
class Windows {
 public:
  using Sample = typename Form<Pixel>::Sample;
  using Gradient = typename Form<Pixel>::Gradient;

  Windows(uint8_t* memory, int32_t size) : size_(size), stride_(strideOf(size)) {
    Scratch scratch(memory, bytes(size));
    const int64_t count = stride_ * (int64_t{size} + 2);
    first_ = scratch.take<Sample>(count, alignment);
    second_ = scratch.take<Sample>(count, alignment);
    gradientX_ = scratch.take<Gradient>(count, alignment);
    gradientY_ = scratch.take<Gradient>(count, alignment);
  }

  static int64_t bytes(int32_t size) {
    const int64_t count = strideOf(size) * (int64_t{size} + 2);
    return alignUp<int64_t>(
        count * 2 * static_cast<int64_t>(sizeof(Sample) + sizeof(Gradient)) + 5 * alignment,
        alignment);
  }

  // The window of the first image about p, and where all its samples are from the image. False if
  // there is no such window.
  bool takeFirst(const Layer& layer, NuviPoint32f p) {
    Extent known;
    if (!takeWindow<Pixel>(layer, p, size_ + 2, first_, stepBytes(first_), known)) return false;
    const auto withoutMargin = [&](int32_t& low, int32_t& high) {
      if (low > 0) --low;
      high -= high > size_ ? 2 : 1;
    };
    withoutMargin(known.left, known.right);
    withoutMargin(known.top, known.bottom);
    known_ = known;
    return true;
  }

  const Extent& known() const { return known_; }

  bool takeSecond(const Layer& layer, NuviPoint32f q, Extent& known) {
    return takeWindow<Pixel>(layer, q, size_, second_, stepBytes(second_), known);
  }

  // The derivatives about p, from planes of the whole layer.
  void sampleGradients(const Gradient* planeX, const Gradient* planeY, int32_t planeStep,
                       NuviPoint32f p) {
    if (known_.isEmpty()) return;
    const auto begin = [&](float centre) {
      const auto whole = static_cast<int64_t>(centre - static_cast<float>(size_ + 1) * 0.5f);
      const bool isInside = centre - static_cast<float>(size_ + 1) * 0.5f >= 0.0f;
      return isInside ? whole + 1 : 0;
    };
    const auto fraction = [&](float centre) {
      const float start = fused(-0.5f, static_cast<float>(size_ - 1), centre);
      return start - std::floor(start);
    };
    const ptrdiff_t origin =
        begin(p.y) * (planeStep / static_cast<int32_t>(sizeof(Gradient))) + begin(p.x);
    const float fx = fraction(p.x), fy = fraction(p.y);
    const NuviSize extent = {known_.right - known_.left + 1, known_.bottom - known_.top + 1};
    sample(planeX + origin, planeStep, gradientX_ + at(known_.left, known_.top), extent, fx, fy);
    sample(planeY + origin, planeStep, gradientY_ + at(known_.left, known_.top), extent, fx, fy);
  }

  // The derivatives of the first image's window itself, by Scharr's filter with the gain of one.
  void deriveGradients() {
    for (int32_t y = 0; y < size_; ++y) {
      const Sample* const above = first_ + at(0, y);
      const Sample* const here = above + stride_;
      const Sample* const below = here + stride_;
      for (int32_t x = 0; x < size_; ++x) {
        const auto value = [x](const Sample* row, int32_t column) {
          return static_cast<float>(row[x + column]);
        };
        const auto smooth = [](float side, float middle, float otherSide) {
          return 0.09375f * (side + otherSide) + 0.3125f * middle;
        };
        const float alongX =
            smooth(value(above, 2) - value(above, 0), value(here, 2) - value(here, 0),
                   value(below, 2) - value(below, 0));
        const float alongY =
            smooth(value(below, 0) - value(above, 0), value(below, 1) - value(above, 1),
                   value(below, 2) - value(above, 2));
        gradientX_[at(x, y)] = rounded(alongX);
        gradientY_[at(x, y)] = rounded(alongY);
      }
    }
  }

  // The sums over `extent`; those of derivatives alone only where they are asked for.
  template <bool withSquares>
  void sum(const Extent& extent, NormalEquations& sums) const;

  double squaredDifferences(const Extent& extent) const {
    double sum = 0.0;
    for (int32_t y = extent.top; y < extent.bottom; ++y) {
      const Sample *first = first_ + at(1, y + 1), *second = second_ + at(0, y);
      for (int32_t x = extent.left; x < extent.right; ++x) {
        const double d = static_cast<double>(difference(first[x], second[x]));
        sum += d * d;
      }
    }
    return sum;
  }

 private:
  static constexpr int64_t alignment = 32;
  static int64_t strideOf(int32_t size) { return alignUp<int64_t>(int64_t{size} + 2, 16) + 16; }

  ptrdiff_t at(int32_t x, int32_t y) const { return y * stride_ + x; }
  template <class T>
  int32_t stepBytes(const T*) const {
    return static_cast<int32_t>(stride_ * static_cast<int64_t>(sizeof(T)));
  }

  static int32_t difference(uint16_t a, uint16_t b) { return int32_t{a} - int32_t{b}; }
  static float difference(float a, float b) { return a - b; }

  static Gradient rounded(float value) {
    if constexpr (std::is_same_v<Gradient, float>) {
      return value;
    } else {
      return roundSaturate<Gradient>(value);
    }
  }

  void sample(const float* plane, int32_t planeStep, float* window, NuviSize extent, float fx,
              float fy) const {
    nuviCopySubpix_32f_C1R(plane, planeStep, window, stepBytes(window), extent, fx, fy);
  }
  void sample(const int16_t* plane, int32_t planeStep, int16_t* window, NuviSize extent, float fx,
              float fy) const {
    const float w00 = (1.0f - fx) * (1.0f - fy), w10 = fx * (1.0f - fy);
    const float w01 = (1.0f - fx) * fy, w11 = fx * fy;
    const Image<const int16_t> image(plane, planeStep);
    for (int32_t y = 0; y < extent.height; ++y) {
      const int16_t *upper = image.row(y), *lower = image.row(y + 1);
      int16_t* const row = window + y * stride_;
      NUV_IVDEP
      for (int32_t x = 0; x < extent.width; ++x) {
        const float above =
            w00 * static_cast<float>(upper[x]) + w10 * static_cast<float>(upper[x + 1]);
        const float below =
            w01 * static_cast<float>(lower[x]) + w11 * static_cast<float>(lower[x + 1]);
        row[x] = roundSaturate<int16_t>(above + below);
      }
    }
  }

  int32_t size_;
  int64_t stride_;
  Sample* first_;
  Sample* second_;
  Gradient* gradientX_;
  Gradient* gradientY_;
  Extent known_ = {};
};

// In double precision, a row at a time.
template <class Pixel>
template <bool withSquares>
void Windows<Pixel>::sum(const Extent& extent, NormalEquations& sums) const {
  NormalEquations total = {};
  for (int32_t y = extent.top; y <= extent.bottom; ++y) {
    const Sample *first = first_ + at(1, y + 1), *second = second_ + at(0, y);
    const Gradient *rowX = gradientX_ + at(0, y), *rowY = gradientY_ + at(0, y);
    NormalEquations row = {};
    for (int32_t x = extent.left; x <= extent.right; ++x) {
      const double ix = rowX[x], iy = rowY[x];
      const double d = static_cast<double>(difference(first[x], second[x]));
      if (withSquares) {
        row.g11 += ix * ix;
        row.g12 += ix * iy;
        row.g22 += iy * iy;
      }
      row.b1 += ix * d;
      row.b2 += iy * d;
    }
    total.g11 += row.g11;
    total.g12 += row.g12;
    total.g22 += row.g22;
    total.b1 += row.b1;
    total.b2 += row.b2;
  }
  if (!withSquares) {
    total.g11 = sums.g11;
    total.g12 = sums.g12;
    total.g22 = sums.g22;
  }
  sums = total;
}

#if NUV_AVX2
// Products of 16-bit numbers in pairs, added up in 64 bits: exact, as are the sums in double
// precision.
class PairSum {
 public:
  void add(__m256i a, __m256i b) {
    const __m256i pairs = _mm256_madd_epi16(a, b);
    low_ = _mm256_add_epi64(low_, _mm256_cvtepi32_epi64(_mm256_castsi256_si128(pairs)));
    high_ = _mm256_add_epi64(high_, _mm256_cvtepi32_epi64(_mm256_extracti128_si256(pairs, 1)));
  }
  double total() const {
    const auto sum = reinterpret_cast<Vector<int64_t, 4>>(_mm256_add_epi64(low_, high_));
    return static_cast<double>(sum[0] + sum[1] + sum[2] + sum[3]);
  }

 private:
  __m256i low_ = _mm256_setzero_si256();
  __m256i high_ = _mm256_setzero_si256();
};

template <>
template <bool withSquares>
void Windows<uint8_t>::sum(const Extent& extent, NormalEquations& sums) const {
  const __m256i lanes = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  PairSum g11, g12, g22, b1, b2;
  const auto vectorAt = [](const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
  };
  for (int32_t x = extent.left; x <= extent.right; x += 16) {
    const int32_t left = std::min(extent.right - x + 1, 16);
    const __m256i counted =
        _mm256_cmpgt_epi16(_mm256_set1_epi16(static_cast<int16_t>(left)), lanes);
    for (int32_t y = extent.top; y <= extent.bottom; ++y) {
      const __m256i ix = _mm256_and_si256(vectorAt(gradientX_ + at(x, y)), counted);
      const __m256i iy = _mm256_and_si256(vectorAt(gradientY_ + at(x, y)), counted);
      const __m256i d =
          _mm256_sub_epi16(vectorAt(first_ + at(x + 1, y + 1)), vectorAt(second_ + at(x, y)));
      if (withSquares) {
        g11.add(ix, ix);
        g12.add(ix, iy);
        g22.add(iy, iy);
      }
      b1.add(ix, d);
      b2.add(iy, d);
    }
  }
  if (withSquares) {
    sums.g11 = g11.total();
    sums.g12 = g12.total();
    sums.g22 = g22.total();
  }
  sums.b1 = b1.total();
  sums.b2 = b2.total();
}
#endif

}  // namespace nuv

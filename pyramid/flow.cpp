// Sparse optical flow: points of one image found in another by Lucas and Kanade's normal equations
// on a square window, from the coarsest layer of two pyramids down to the base (B. D. Lucas and T.
// Kanade, "An iterative image registration technique", 1981; J.-Y. Bouguet, "Pyramidal
// implementation of the Lucas Kanade feature tracker", 2000).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/filter.h"
#include "nuvcv/pyramid.h"

struct NuviOptFlowPyrLKState {
  NuviSize maxSize;  // of a layer that gets gradients of the whole image
  int32_t threads;
  int32_t hint;  // kept, not used
  int32_t winSize;
  int64_t planesBytes;
  uint8_t* work;  // the derivatives of a layer in `planesBytes`, then the windows of each thread
};

namespace nuv {
namespace {

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

Extent intersection(const Extent& a, const Extent& b) {
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

inline NuviPoint32f scaled(NuviPoint32f point, double rate) {
  return {static_cast<float>(point.x * rate), static_cast<float>(point.y * rate)};
}
inline NuviPoint32f divided(NuviPoint32f point, double rate) {
  return {static_cast<float>(point.x / rate), static_cast<float>(point.y / rate)};
}

enum class Outcome { found, outside, lost };

struct Limits {
  int32_t maxIter;
  float squaredThreshold;
};

// Moves q until its window in the second layer fits the one that the windows hold. `extent` becomes
// where both were known in the last iteration.
template <class Pixel>
Outcome follow(Windows<Pixel>& windows, const Layer& second, const Limits& limits, NuviPoint32f& q,
               Extent& extent) {
  constexpr double singular = 2.220446049250313e-16;
  const auto oscillating =
      static_cast<double>(static_cast<float>(std::sqrt(1.1920928955078125e-07)));
  NormalEquations sums = {};
  double previousX = static_cast<double>(second.size.width) + second.size.height;
  double previousY = previousX;
  for (int32_t iteration = 0; iteration < limits.maxIter; ++iteration) {
    Extent known;
    if (!windows.takeSecond(second, q, known)) return Outcome::lost;
    const Extent present = intersection(windows.known(), known);
    if (present.isEmpty()) return Outcome::outside;
    if (iteration == 0 || !(present == extent)) {
      windows.template sum<true>(present, sums);
    } else {
      windows.template sum<false>(present, sums);
    }
    extent = present;
    const double determinant = sums.g11 * sums.g22 - sums.g12 * sums.g12;
    if (determinant < singular) return Outcome::lost;
    const double dx = (sums.g22 * sums.b1 - sums.g12 * sums.b2) / determinant;
    const double dy = (sums.g11 * sums.b2 - sums.g12 * sums.b1) / determinant;
    q = {static_cast<float>(q.x + dx), static_cast<float>(q.y + dy)};
    if (dx * dx + dy * dy < static_cast<double>(limits.squaredThreshold)) break;
    if (std::fabs(dx + previousX) < oscillating && std::fabs(dy + previousY) < oscillating) {
      q = {static_cast<float>(q.x - 0.5 * dx), static_cast<float>(q.y - 0.5 * dy)};
      break;
    }
    previousX = dx;
    previousY = dy;
  }
  return Outcome::found;
}

// The root of the mean squared difference over the window, without its last column and row.
template <class Pixel>
float errorOf(const Windows<Pixel>& windows, const Extent& extent) {
  const double sum = windows.squaredDifferences(extent);
  if (!(sum > 0.0)) return 0.0f;
  const double count =
      static_cast<double>(int64_t{extent.bottom - extent.top}) * (extent.right - extent.left);
  return static_cast<float>(std::sqrt(sum / count) * Form<Pixel>::errorUnit);
}

// The derivatives of a layer no larger than the state's largest, in units of the windows.
template <class Pixel>
class GradientPlanes {
 public:
  using Gradient = typename Form<Pixel>::Gradient;

  GradientPlanes(Scratch scratch, NuviSize size)
      : alongX(scratch.take<Gradient>(elements(size), 32)),
        alongY(scratch.take<Gradient>(elements(size), 32)),
        step((size.width + 5) * gradientBytes),
        converted_(scratch.take<float>(isConverted ? elements(size) : 0, 32)),
        filterBuffer_(scratch.take<uint8_t>(scratch.left())) {}

  static int64_t bytes(NuviSize size) {
    return (isConverted ? 3 : 2) * elements(size) * gradientBytes + filterBytes() + 3 * 32;
  }

  // In tiles: each is scaled while it is in the cache, and is too low for the filters to take a
  // team, so that their memory does not depend on the thread count of the run.
  void derive(const Layer& layer) const {
    const auto* const pixels = static_cast<const Pixel*>(layer.image);
    const NuvStatus status = Check()
                                 .pointers(pixels)
                                 .step(pixels, layer.step, layer.size.width)
                                 .elementMultiple(pixels, layer.step)
                                 .status();
    if (status != nuvStatusOk) return;  // no window can be taken of it either
    const auto image = filterable(Image<const Pixel>(pixels, layer.step), layer.size);
    for (int32_t y = 0; y < layer.size.height; y += tileSize.height) {
      for (int32_t x = 0; x < layer.size.width; x += tileSize.width) {
        deriveTile(image, layer.size,
                   {x, y, std::min(tileSize.width, layer.size.width - x),
                    std::min(tileSize.height, layer.size.height - y)});
      }
    }
  }

  Gradient* const alongX;
  Gradient* const alongY;
  const int32_t step;

 private:
  using Source = std::conditional_t<std::is_same_v<Pixel, uint8_t>, uint8_t, float>;
  static constexpr bool isConverted = !std::is_same_v<Pixel, Source>;
  static constexpr int32_t gradientBytes = static_cast<int32_t>(sizeof(Gradient));
  static constexpr NuviSize tileSize = {512, 32};

  static int64_t elements(NuviSize size) {
    return (int64_t{size.width} + 5) * (int64_t{size.height} + 5);
  }

  // Of the filters for a tile.
  static int64_t filterBytes() {
    int32_t horizontal = 0, vertical = 0;
    if constexpr (std::is_same_v<Source, uint8_t>) {
      nuviFilterScharrHorizGetBufferSize_8u16s_C1R(tileSize, &horizontal);
      nuviFilterScharrVertGetBufferSize_8u16s_C1R(tileSize, &vertical);
    } else {
      nuviFilterScharrHorizGetBufferSize_32f_C1R(tileSize, &horizontal);
      nuviFilterScharrVertGetBufferSize_32f_C1R(tileSize, &vertical);
    }
    return std::max(horizontal, vertical);
  }

  Image<const Source> filterable(Image<const Pixel> image, NuviSize size) const {
    if constexpr (isConverted) {
      const Image<float> floats(converted_, step);
      for (int32_t y = 0; y < size.height; ++y) {
        std::copy(image.row(y), image.row(y) + size.width, floats.row(y));
      }
      return {converted_, step};
    } else {
      return image;
    }
  }

  // Around the tile the filters read the layer, beyond the layer its nearest pixel.
  void deriveTile(Image<const Source> image, NuviSize layerSize, NuviRect tile) const {
    NuviBorderType border = nuvBorderReplicate;
    if (tile.x > 0) border |= nuvBorderFlagMemLeft;
    if (tile.y > 0) border |= nuvBorderFlagMemTop;
    if (tile.x + tile.width < layerSize.width) border |= nuvBorderFlagMemRight;
    if (tile.y + tile.height < layerSize.height) border |= nuvBorderFlagMemBottom;
    const NuviSize size = {tile.width, tile.height};
    const auto sourceStep = static_cast<int32_t>(image.step());
    const Source* const src = image.row(tile.y) + tile.x;
    Gradient* const dstX = Image<Gradient>(alongX, step).row(tile.y) + tile.x;
    Gradient* const dstY = Image<Gradient>(alongY, step).row(tile.y) + tile.x;
    if constexpr (std::is_same_v<Source, uint8_t>) {
      nuviFilterScharrVertBorder_8u16s_C1R(src, sourceStep, dstX, step, size, border, 0,
                                           filterBuffer_);
      nuviFilterScharrHorizBorder_8u16s_C1R(src, sourceStep, dstY, step, size, border, 0,
                                            filterBuffer_);
      scale(dstX, size, int16_t{4});
      scale(dstY, size, int16_t{4});
    } else {
      nuviFilterScharrVertBorder_32f_C1R(src, sourceStep, dstX, step, size, border, 0.0f,
                                         filterBuffer_);
      nuviFilterScharrHorizBorder_32f_C1R(src, sourceStep, dstY, step, size, border, 0.0f,
                                          filterBuffer_);
      scale(dstX, size, 0.03125f);
      scale(dstY, size, 0.03125f);
    }
  }

  void scale(Gradient* tile, NuviSize size, Gradient factor) const {
    const Image<Gradient> image(tile, step);
    for (int32_t y = 0; y < size.height; ++y) {
      Gradient* const row = image.row(y);
      for (int32_t x = 0; x < size.width; ++x) row[x] = static_cast<Gradient>(row[x] * factor);
    }
  }

  float* const converted_;  // `16u`: the layer in floats
  uint8_t* const filterBuffer_;
};

// One run. A point's status is the level above the one at which it is followed next, or, once it is
// lost, the one above that of its loss.
template <class Pixel>
class Run {
 public:
  Run(const NuviPyramid& first, const NuviPyramid& second, const NuviPoint32f* prevPoints,
      NuviPoint32f* nextPoints, uint8_t* status, float* error, int32_t numPoints, Limits limits,
      const NuviOptFlowPyrLKState& state)
      : first_(first),
        second_(second),
        prevPoints_(prevPoints),
        nextPoints_(nextPoints),
        status_(status),
        error_(error),
        numPoints_(numPoints),
        limits_(limits),
        state_(state) {}

  void track(int32_t maxLevel) {
    std::memset(status_, maxLevel + 1, static_cast<size_t>(numPoints_));
    int32_t split = std::min(maxLevel, first_.level);
    while (split >= 0 && fits(first_.sizes[split])) --split;
    ++split;

    const GradientPlanes<Pixel> planes(Scratch(state_.work, state_.planesBytes), state_.maxSize);
    for (int32_t level = std::min(maxLevel, first_.level); level >= split; --level) {
      planes.derive(layerOf(first_, level));
      forEachBand([&](Windows<Pixel>& windows, int32_t i) {
        if (status_[i] == level + 1) followOnLevel(windows, planes, level, i);
      });
    }
    if (split == 0) return;
    forEachBand([&](Windows<Pixel>& windows, int32_t i) {
      if (status_[i] == split) followDown(windows, split - 1, i);
    });
  }

 private:
  bool fits(NuviSize size) const {
    return size.width <= state_.maxSize.width && size.height <= state_.maxSize.height;
  }

  // The first pyramid tells the sizes of both.
  Layer layerOf(const NuviPyramid& pyramid, int32_t level) const {
    return {pyramid.images[level], pyramid.steps[level], first_.sizes[level]};
  }

  template <class Body>
  void forEachBand(Body&& body) const {
    uint8_t* const shares = state_.work + state_.planesBytes;
    forkRows(std::min(ownGetNumThreads(), state_.threads), numPoints_,
             [&](int32_t thread, int32_t firstPoint, int32_t count) {
               Windows<Pixel> windows(shares + thread * Windows<Pixel>::bytes(state_.winSize),
                                      state_.winSize);
               for (int32_t i = firstPoint; i < firstPoint + count; ++i) body(windows, i);
             });
  }

  // A level with derivatives of the whole layer; between levels the result waits in base units.
  void followOnLevel(Windows<Pixel>& windows, const GradientPlanes<Pixel>& planes, int32_t level,
                     int32_t i) const {
    const double rate = first_.rates[level];
    const NuviPoint32f p = scaled(prevPoints_[i], rate);
    NuviPoint32f q = scaled(nextPoints_[i], rate);
    Extent extent = {};
    Outcome outcome = Outcome::lost;
    if (windows.takeFirst(layerOf(first_, level), p)) {
      windows.sampleGradients(planes.alongX, planes.alongY, planes.step, p);
      outcome = follow(windows, layerOf(second_, level), limits_, q, extent);
    }
    status_[i] = static_cast<uint8_t>(outcome == Outcome::found ? level : level + 1);
    error_[i] = outcome == Outcome::found ? errorOf(windows, extent) : 0.0f;
    if (outcome != Outcome::lost)
      nextPoints_[i] = level == 0 && outcome == Outcome::found ? q : divided(q, rate);
  }

  // The levels that are too large for that, one after another, with derivatives of the window.
  void followDown(Windows<Pixel>& windows, int32_t top, int32_t i) const {
    const double upRate = 1.0 / first_.rates[std::min(1, first_.level)];
    NuviPoint32f q = scaled(nextPoints_[i], first_.rates[top]);
    Extent extent = {};
    for (int32_t level = top; level >= 0; --level) {
      const NuviPoint32f p = scaled(prevPoints_[i], first_.rates[level]);
      Outcome outcome = Outcome::lost;
      if (windows.takeFirst(layerOf(first_, level), p)) {
        windows.deriveGradients();
        outcome = follow(windows, layerOf(second_, level), limits_, q, extent);
      }
      if (outcome != Outcome::found) {
        status_[i] = static_cast<uint8_t>(level + 1);
        error_[i] = 0.0f;
        if (outcome == Outcome::outside) nextPoints_[i] = divided(q, first_.rates[level]);
        return;
      }
      if (level > 0) q = scaled(q, upRate);
    }
    status_[i] = 0;
    nextPoints_[i] = q;
    error_[i] = errorOf(windows, extent);
  }

  const NuviPyramid& first_;
  const NuviPyramid& second_;
  const NuviPoint32f* prevPoints_;
  NuviPoint32f* nextPoints_;
  uint8_t* status_;
  float* error_;
  int32_t numPoints_;
  Limits limits_;
  const NuviOptFlowPyrLKState& state_;
};

template <class Pixel>
NuvStatus initAlloc(NuviOptFlowPyrLKState** ppState, NuviSize roiSize, int32_t winSize,
                    int32_t hint) {
  const NuvStatus status =
      Check().pointers(ppState).require(winSize >= 1, nuvStatusBadSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;

  // Neither count can overflow in 64 bits below these sides; what is larger passes the allocator's
  // reach by far.
  constexpr int32_t longestSide = 1 << 28, longestWindow = 1 << 15;
  if (roiSize.width > longestSide || roiSize.height > longestSide || winSize > longestWindow) {
    return nuvStatusNoMemory;
  }
  const int32_t threads = ownGetNumThreads();
  const int64_t planesBytes = GradientPlanes<Pixel>::bytes(roiSize);
  const int64_t bytes = planesBytes + threads * Windows<Pixel>::bytes(winSize);
  OwnedBlock<NuviOptFlowPyrLKState> state(1);
  OwnedBlock<uint8_t> work(bytes);
  if (state.get() == nullptr || work.get() == nullptr) return nuvStatusNoMemory;
  *state.get() = {roiSize, threads, hint, winSize, planesBytes, work.release()};
  *ppState = state.release();
  return nuvStatusOk;
}

NuvStatus freeFlow(NuviOptFlowPyrLKState* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  ownFree(pState->work);
  ownFree(pState);
  return nuvStatusOk;
}

template <class Pixel>
NuvStatus flow(const NuviPyramid* pPyr1, const NuviPyramid* pPyr2, const NuviPoint32f* pPrevPoints,
               NuviPoint32f* pNextPoints, uint8_t* pStatus, float* pError, int32_t numPoints,
               int32_t winSize, int32_t maxLevel, int32_t maxIter, float threshold,
               NuviOptFlowPyrLKState* pState) {
  Check check;
  check.pointers(pPyr1, pPyr2, pState, pPrevPoints, pNextPoints, pStatus, pError)
      .require(numPoints >= 1, nuvStatusBadSize);
  if (check.status() != nuvStatusOk) return check.status();
  const NuvStatus status =
      check.require(winSize >= 1 && winSize == pState->winSize, nuvStatusBadSize)
          .require(maxLevel >= 0 && maxIter >= 1 && !(threshold < 0.0f), nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  Run<Pixel>(*pPyr1, *pPyr2, pPrevPoints, pNextPoints, pStatus, pError, numPoints,
             Limits{maxIter, threshold * threshold}, *pState)
      .track(maxLevel);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_OPTICAL_FLOW(type, Pixel)                                                      \
  NuvStatus nuviOpticalFlowPyrLKInitAlloc_##type##_C1R(                                    \
      NuviOptFlowPyrLKState** ppState, NuviSize roiSize, int32_t winSize, int32_t hint) {  \
    return initAlloc<Pixel>(ppState, roiSize, winSize, hint);                              \
  }                                                                                        \
  NuvStatus nuviOpticalFlowPyrLKFree_##type##_C1R(NuviOptFlowPyrLKState* pState) {         \
    return freeFlow(pState);                                                               \
  }                                                                                        \
  NuvStatus nuviOpticalFlowPyrLK_##type##_C1R(                                             \
      const NuviPyramid* pPyr1, const NuviPyramid* pPyr2, const NuviPoint32f* pPrevPoints, \
      NuviPoint32f* pNextPoints, uint8_t* pStatus, float* pError, int32_t numPoints,       \
      int32_t winSize, int32_t maxLevel, int32_t maxIter, float threshold,                 \
      NuviOptFlowPyrLKState* pState) {                                                     \
    return flow<Pixel>(pPyr1, pPyr2, pPrevPoints, pNextPoints, pStatus, pError, numPoints, \
                       winSize, maxLevel, maxIter, threshold, pState);                     \
  }
NUV_OPTICAL_FLOW(8u, uint8_t)
NUV_OPTICAL_FLOW(16u, uint16_t)
NUV_OPTICAL_FLOW(32f, float)
#undef NUV_OPTICAL_FLOW

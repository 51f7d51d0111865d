// Correction of radial lens distortion. A result pixel takes the source at its distorted position,
//   u = x + dx * (k1 * r^2 + k2 * r^4),  v = y + dy * (k1 * r^2 + k2 * r^4),
//   dx = x - cx,  dy = y - cy,  r^2 = (dx / fx)^2 + (dy / fy)^2,
// by bilinear interpolation, or the positions themselves are written as two maps, there also with
// the tangential terms of decentred elements. The model is D. C. Brown's, "Decentering distortion
// of lenses", Photogrammetric Engineering 32 (3), 1966.
//
// Everything is single precision, each operation rounded once. The correction computes positions
// and samples with rounding toward zero; the maps are computed in the caller's rounding mode. The
// compiler must neither fold nor move arithmetic over the change of the mode: this file is built
// with -frounding-math, and what runs between the two changes is a function that is not inlined.

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/geometry.h"

#ifdef __SSE__
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

namespace nuv {
namespace {

// Rounding toward zero in this thread for the life of the object. The caller's control and status
// register comes back as it was, whatever it held.
class TruncatingMode {
 public:
#ifdef __SSE__
  TruncatingMode() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | _MM_ROUND_TOWARD_ZERO); }
  ~TruncatingMode() { _mm_setcsr(saved_); }
#else
  TruncatingMode() : saved_(static_cast<unsigned>(std::fegetround())) {
    std::fesetround(FE_TOWARDZERO);
  }
  ~TruncatingMode() { std::fesetround(static_cast<int>(saved_)); }
#endif
  TruncatingMode(const TruncatingMode&) = delete;
  TruncatingMode& operator=(const TruncatingMode&) = delete;

 private:
  unsigned saved_;
};

struct Lens {
  float fx, fy;  // focal lengths in pixels
  float cx, cy;  // principal point
  float k1, k2;  // radial coefficients
};

// What a position needs of its column, for a run of columns.
struct ColumnTerms {
  float* offset;   // dx = x - cx
  float* squared;  // X = (dx * (1 / fx^2)) * dx
  float* radial;   // (k2 * X + k1) * X
};

void computeColumnTerms(const Lens& lens, int32_t first, int32_t count, ColumnTerms terms) {
  const float scale = 1.0f / (lens.fx * lens.fx);
  const float origin = 0.0f - lens.cx;
  NUV_IVDEP
  for (int32_t i = 0; i < count; ++i) {
    const float dx = static_cast<float>(first + i) + origin;
    const float X = (dx * scale) * dx;
    terms.offset[i] = dx;
    terms.squared[i] = X;
    terms.radial[i] = (lens.k2 * X + lens.k1) * X;
  }
}

// What a position needs of its row: the radial factor is radial + (slope * X + constant).
struct RowTerms {
  RowTerms(const Lens& lens, int32_t row) : y(static_cast<float>(row)), dy(y + (0.0f - lens.cy)) {
    const float Y = (dy * (1.0f / (lens.fy * lens.fy))) * dy;
    slope = (2.0f * lens.k2) * Y;
    constant = (lens.k2 * Y + lens.k1) * Y;
  }
  float y, dy;
  float slope, constant;
};

// Source positions of `count` result pixels from column `first` on.
void computePositions(const RowTerms& row, ColumnTerms columns, int32_t first, int32_t count,
                      float* u, float* v) {
  NUV_IVDEP
  for (int32_t i = 0; i < count; ++i) {
    const float factor = columns.radial[i] + (row.slope * columns.squared[i] + row.constant);
    u[i] = columns.offset[i] * factor + static_cast<float>(first + i);
    v[i] = row.dy * factor + row.y;
  }
}

// A row is worked off in blocks, whose positions and weights stay in the first cache.
constexpr int32_t blockColumns = 128;

// The column terms of a call: of all columns in the caller's buffer, else of one block at a time.
class Columns {
 public:
  Columns(const Lens& lens, NuviSize roiSize, uint8_t* pBuffer)
      : lens_(lens), whole_(pBuffer != nullptr) {
    if (!whole_) return;
    int32_t bufferBytes = 0;
    nuviUndistortGetSize(roiSize, &bufferBytes);
    Scratch scratch(pBuffer, bufferBytes);
    terms_.offset = scratch.take<float>(roiSize.width, 32);
    terms_.squared = scratch.take<float>(roiSize.width);
    terms_.radial = scratch.take<float>(roiSize.width);
    computeColumnTerms(lens, 0, roiSize.width, terms_);
  }

  ColumnTerms block(int32_t first, int32_t count) {
    if (whole_) return {terms_.offset + first, terms_.squared + first, terms_.radial + first};
    const ColumnTerms terms = {offset_, squared_, radial_};
    computeColumnTerms(lens_, first, count, terms);
    return terms;
  }

 private:
  const Lens& lens_;
  bool whole_;
  ColumnTerms terms_ = {};
  float offset_[blockColumns], squared_[blockColumns], radial_[blockColumns];
};

// Where a block's samples lie and how their four neighbours weigh. An outside sample has neighbours
// inside the image too, but its result is not used.
struct Samples {
  int32_t insideCount;
  int32_t inside[blockColumns];
  int32_t column[blockColumns], row[blockColumns];  // of the upper left neighbour
  float upperLeft[blockColumns], upperRight[blockColumns];
  float lowerLeft[blockColumns], lowerRight[blockColumns];
};

// A sample lies inside if it has a neighbour to its right and one below it. An outside position may
// be anything, also a NaN, and is brought into the image before it is converted. No position is
// -0.0, since it is a sum with a column or a row.
void computeSamples(const float* u, const float* v, int32_t count, NuviSize roiSize,
                    Samples& samples) {
  const auto lastColumn = static_cast<float>(roiSize.width - 1);
  const auto lastRow = static_cast<float>(roiSize.height - 1);
  int32_t insideCount = 0;
  NUV_IVDEP
  for (int32_t i = 0; i < count; ++i) {
    const float x = clampTo(u[i], 0.0f, lastColumn);
    const float y = clampTo(v[i], 0.0f, lastRow);
    const int32_t column = std::min(static_cast<int32_t>(x), roiSize.width - 2);
    const int32_t row = std::min(static_cast<int32_t>(y), roiSize.height - 2);
    const float right = x - static_cast<float>(column);
    const float lower = y - static_cast<float>(row);
    const float left = 1.0f - right;
    const float upper = 1.0f - lower;
    samples.column[i] = column;
    samples.row[i] = row;
    samples.upperLeft[i] = left * upper;
    samples.upperRight[i] = right * upper;
    samples.lowerLeft[i] = left * lower;
    samples.lowerRight[i] = right * lower;
    samples.inside[i] = (u[i] >= 0.0f) & (v[i] >= 0.0f) & (u[i] < lastColumn) & (v[i] < lastRow);
    insideCount += samples.inside[i];
  }
  samples.insideCount = insideCount;
}

// Integer results are the sum plus one half, truncated. The weights' sum never passes 1, so the
// result fits.
template <class T>
inline T finish(float sum) {
  if constexpr (std::is_integral_v<T>) {
    const float raised = sum + 0.5f;
    return static_cast<T>(static_cast<int32_t>(raised));
  } else {
    return sum;
  }
}

// One channel: the neighbours are collected first, so that the arithmetic runs over whole vectors.
// A sum is the upper pair, the lower pair, then both.
template <class T>
void sampleOneChannel(Image<const T> src, const Samples& samples, int32_t count, T* result) {
  T upper[2 * blockColumns];
  T lower[2 * blockColumns];
  for (int32_t i = 0; i < count; ++i) {
    const T* const first = src.row(samples.row[i]) + samples.column[i];
    const T* const second = src.row(ptrdiff_t{samples.row[i]} + 1) + samples.column[i];
    std::memcpy(upper + 2 * i, first, 2 * sizeof(T));
    std::memcpy(lower + 2 * i, second, 2 * sizeof(T));
  }
  NUV_IVDEP
  for (int32_t i = 0; i < count; ++i) {
    const float upperPair = static_cast<float>(upper[2 * i]) * samples.upperLeft[i] +
                            static_cast<float>(upper[2 * i + 1]) * samples.upperRight[i];
    const float lowerPair = static_cast<float>(lower[2 * i]) * samples.lowerLeft[i] +
                            static_cast<float>(lower[2 * i + 1]) * samples.lowerRight[i];
    result[i] = finish<T>(upperPair + lowerPair);
  }
}

using F32x4 = Vector<float, 4>;

// Three channels: a pixel is one vector, of which the low three lanes count. Left and right pixel
// lie side by side; no load leaves their six elements, so the left one is read with one element
// behind it and the right one with one before it.
template <class T>
inline F32x4 leftPixel(const T* pair) {
  return F32x4{static_cast<float>(pair[0]), static_cast<float>(pair[1]),
               static_cast<float>(pair[2])};
}
template <class T>
inline F32x4 rightPixel(const T* pair) {
  return leftPixel(pair + 3);
}
inline F32x4 leftPixel(const float* pair) { return load<F32x4>(pair); }
inline F32x4 rightPixel(const float* pair) {
  const auto pixels = load<F32x4>(pair + 2);
  return __builtin_shufflevector(pixels, pixels, 1, 2, 3, 0);
}

template <class T>
inline void storePixel(F32x4 sum, T* result) {
  for (int c = 0; c < 3; ++c) result[c] = finish<T>(sum[c]);
}
// One element more is written than the pixel has.
inline void storePixel(F32x4 sum, float* result) { store(result, sum); }

#if NUV_AVX2
inline F32x4 leftPixel(const uint8_t* pair) {
  return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_loadu_si32(pair)));
}
inline F32x4 rightPixel(const uint8_t* pair) {
  return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_epi32(_mm_loadu_si32(pair + 2), 8)));
}
inline F32x4 leftPixel(const uint16_t* pair) {
  return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_loadu_si64(pair)));
}
inline F32x4 rightPixel(const uint16_t* pair) {
  return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_epi64(_mm_loadu_si64(pair + 2), 16)));
}
inline void storePixel(F32x4 sum, uint16_t* result) {
  const __m128i whole = _mm_cvttps_epi32(sum + 0.5f);
  _mm_storeu_si64(result, _mm_packus_epi32(whole, whole));
}
inline void storePixel(F32x4 sum, uint8_t* result) {
  const __m128i whole = _mm_cvttps_epi32(sum + 0.5f);
  const __m128i words = _mm_packus_epi32(whole, whole);
  _mm_storeu_si32(result, _mm_packus_epi16(words, words));
}
#endif

// The store of a pixel may reach into the next one's, so they are taken in ascending order, and the
// last one goes by way of an array of its own.
template <class T>
void sampleThreeChannels(Image<const T> src, const Samples& samples, int32_t count, T* result) {
  T last[4];
  for (int32_t i = 0; i < count; ++i) {
    const ptrdiff_t column = ptrdiff_t{samples.column[i]} * 3;
    const T* const upper = src.row(samples.row[i]) + column;
    const T* const lower = src.row(ptrdiff_t{samples.row[i]} + 1) + column;
    const F32x4 upperPair =
        leftPixel(upper) * samples.upperLeft[i] + rightPixel(upper) * samples.upperRight[i];
    const F32x4 lowerPair =
        leftPixel(lower) * samples.lowerLeft[i] + rightPixel(lower) * samples.lowerRight[i];
    storePixel(upperPair + lowerPair, i + 1 < count ? result + 3 * i : last);
  }
  std::memcpy(result + 3 * (count - 1), last, 3 * sizeof(T));
}

template <class T, int32_t channels>
void sampleBlock(Image<const T> src, const Samples& samples, int32_t count, T* result) {
  if constexpr (channels == 1) {
    sampleOneChannel(src, samples, count, result);
  } else {
    sampleThreeChannels(src, samples, count, result);
  }
}

// The result keeps what it has where a sample lies outside.
template <class T, int32_t channels>
void sampleInside(Image<const T> src, const Samples& samples, int32_t count, T* dst) {
  if (samples.insideCount == 0) return;
  if (samples.insideCount == count) {
    sampleBlock<T, channels>(src, samples, count, dst);
    return;
  }
  T result[blockColumns * channels];
  sampleBlock<T, channels>(src, samples, count, result);
  for (int32_t i = 0; i < count; ++i) {
    if (!samples.inside[i]) continue;
    for (int32_t c = 0; c < channels; ++c) dst[channels * i + c] = result[channels * i + c];
  }
}

// All floating-point work of a correction, to run with rounding toward zero.
template <class T, int32_t channels>
[[gnu::noinline]] void undistortImage(Image<const T> src, Image<T> dst, NuviSize roiSize,
                                      const Lens& lens, uint8_t* pBuffer) {
  if (roiSize.width < 2 || roiSize.height < 2) return;  // no sample lies inside
  Columns columns(lens, roiSize, pBuffer);
  float u[blockColumns], v[blockColumns];
  Samples samples;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const RowTerms row(lens, y);
    for (int32_t first = 0, count = 0; first < roiSize.width; first += count) {
      count = std::min(blockColumns, roiSize.width - first);
      computePositions(row, columns.block(first, count), first, count, u, v);
      computeSamples(u, v, count, roiSize, samples);
      sampleInside<T, channels>(src, samples, count, dst.row(y) + ptrdiff_t{first} * channels);
    }
  }
}

template <class T, int32_t channels>
NuvStatus undistortRadial(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                          NuviSize roiSize, Lens lens, uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .step(pDst, dstStep, roiSize.width, channels)
                               .elementMultiple(pSrc, srcStep, dstStep)
                               .require(lens.fx != 0.0f && lens.fy != 0.0f, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const TruncatingMode mode;
  undistortImage<T, channels>(Image<const T>(pSrc, srcStep), Image<T>(pDst, dstStep), roiSize, lens,
                              pBuffer);
  return nuvStatusOk;
}

// Positions with the tangential terms, each sum and product taken from left to right:
//   x + dx * F + (2 * p1) * dx * yn + (fx * p2) * (r2 + 2 * xn^2), and y likewise,
// with xn = dx / fx, yn = dy / fy, r2 = xn^2 + yn^2 and F = k1 * r2 + k2 * r2 * r2.
void computeTangentialRow(const Lens& lens, float p1, float p2, int32_t row, int32_t width,
                          float* xMap, float* yMap) {
  const float scale = 1.0f / lens.fx;
  const float origin = 0.0f - lens.cx;
  const auto y = static_cast<float>(row);
  const float dy = y + (0.0f - lens.cy);
  const float yn = dy * (1.0f / lens.fy);
  const float Y = yn * yn;
  const float p1Twice = 2.0f * p1;
  const float p2Twice = 2.0f * p2;
  const float p1Pixels = lens.fy * p1;
  const float p2Pixels = lens.fx * p2;
  NUV_IVDEP
  for (int32_t column = 0; column < width; ++column) {
    const auto x = static_cast<float>(column);
    const float dx = x + origin;
    const float xn = dx * scale;
    const float X = xn * xn;
    const float r2 = X + Y;
    const float factor = lens.k1 * r2 + lens.k2 * r2 * r2;
    xMap[column] = x + dx * factor + p1Twice * dx * yn + p2Pixels * (r2 + 2.0f * X);
    yMap[column] = y + dy * factor + p1Pixels * (r2 + 2.0f * Y) + p2Twice * dy * xn;
  }
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviUndistortGetSize(NuviSize roiSize, int32_t* pBufferSize) {
  const NuvStatus status = Check().pointers(pBufferSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;

  const int32_t columns = wrappingAdd(roiSize.width, 3) & ~3;
  *pBufferSize = wrappingAdd(wrappingMultiply(columns, 24), 32);
  return nuvStatusOk;
}

#define NUV_UNDISTORT_RADIAL(suffix, T, channels)                                                  \
  NuvStatus nuviUndistortRadial_##suffix(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, \
                                         NuviSize roiSize, float fx, float fy, float cx, float cy, \
                                         float k1, float k2, uint8_t* pBuffer) {                   \
    return undistortRadial<T, channels>(pSrc, srcStep, pDst, dstStep, roiSize,                     \
                                        {fx, fy, cx, cy, k1, k2}, pBuffer);                        \
  }
NUV_UNDISTORT_RADIAL(8u_C1R, uint8_t, 1)
NUV_UNDISTORT_RADIAL(8u_C3R, uint8_t, 3)
NUV_UNDISTORT_RADIAL(16u_C1R, uint16_t, 1)
NUV_UNDISTORT_RADIAL(16u_C3R, uint16_t, 3)
NUV_UNDISTORT_RADIAL(32f_C1R, float, 1)
NUV_UNDISTORT_RADIAL(32f_C3R, float, 3)
#undef NUV_UNDISTORT_RADIAL

NuvStatus nuviCreateMapCameraUndistort_32f_C1R(float* pxMap, int32_t xStep, float* pyMap,
                                               int32_t yStep, NuviSize roiSize, float fx, float fy,
                                               float cx, float cy, float k1, float k2, float p1,
                                               float p2, uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pxMap, pyMap)
                               .size(roiSize)
                               .step(pxMap, xStep, roiSize.width)
                               .step(pyMap, yStep, roiSize.width)
                               .elementMultiple(pxMap, xStep, yStep)
                               .require(fx != 0.0f && fy != 0.0f, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<float> xMap(pxMap, xStep);
  const Image<float> yMap(pyMap, yStep);
  const Lens lens = {fx, fy, cx, cy, k1, k2};
  if (p1 != 0.0f || p2 != 0.0f) {
    for (int32_t y = 0; y < roiSize.height; ++y) {
      computeTangentialRow(lens, p1, p2, y, roiSize.width, xMap.row(y), yMap.row(y));
    }
    return nuvStatusOk;
  }

  Columns columns(lens, roiSize, pBuffer);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const RowTerms row(lens, y);
    for (int32_t first = 0, count = 0; first < roiSize.width; first += count) {
      count = std::min(blockColumns, roiSize.width - first);
      computePositions(row, columns.block(first, count), first, count, xMap.row(y) + first,
                       yMap.row(y) + first);
    }
  }
  return nuvStatusOk;
}

// Exact Euclidean distance to the nearest zero pixel: the squared distances of the columns, then
// the lower envelope of their parabolas along each row (P. F. Felzenszwalb and D. P. Huttenlocher,
// "Distance transforms of sampled functions", 2004).

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "nuvcv/distance.h"

namespace nuv {
namespace {

constexpr float noDistance = std::numeric_limits<float>::max();

inline float squared(int32_t distance) {
  const auto length = static_cast<float>(distance);
  return length * length;
}

int64_t longestSide(NuviSize size) {
  return alignUp<int64_t>(std::max(size.width, size.height), 4);
}
// Of one thread.
int64_t shareBytes(NuviSize size) { return 24 * longestSide(size) + 56; }

// The squared distance along its column of each pixel, with the pixels since the last zero counted
// for all columns of the range at once, downward and then upward.
void measureColumns(Image<const uint8_t> src, Image<float> dst, int32_t height, int32_t first,
                    int32_t count, int32_t* sinceZero) {
  constexpr int32_t never = 1 << 30;
  std::fill(sinceZero, sinceZero + count, never);
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* const source = src.row(y) + first;
    float* const squares = dst.row(y) + first;
    for (int32_t x = 0; x < count; ++x) {
      const int32_t since = source[x] == 0 ? 0 : sinceZero[x] + 1;
      sinceZero[x] = since;
      squares[x] = since < never ? squared(since) : noDistance;
    }
  }
  std::fill(sinceZero, sinceZero + count, never);
  for (int32_t y = height - 1; y >= 0; --y) {
    const uint8_t* const source = src.row(y) + first;
    float* const squares = dst.row(y) + first;
    for (int32_t x = 0; x < count; ++x) {
      const int32_t since = source[x] == 0 ? 0 : sinceZero[x] + 1;
      sinceZero[x] = since;
      squares[x] = std::min(squares[x], since < never ? squared(since) : noDistance);
    }
  }
}

// The parabolas of a row of which each is the lowest somewhere, from left to right, and where each
// one ends.
class Envelope {
 public:
  Envelope(uint8_t* memory, NuviSize size)
      : Envelope(Scratch(memory, shareBytes(size)), longestSide(size)) {
    for (int32_t i = 1; i < longestSide(size); ++i) halfInverses_[i] = 0.5f / static_cast<float>(i);
  }

  // Replaces a row of squared distances along the columns by the distances.
  void apply(float* row, int32_t width) {
    std::copy(row, row + width, heights_);
    build(width);
    int32_t x = 0;
    for (int32_t k = 0; x < width; ++k) {
      const int32_t end = k == last_ ? width : endOf(ends_[k], width);
      const int32_t at = parabolas_[k];
      const float height = heights_[at];
      for (; x < end; ++x) row[x] = std::sqrt(squared(x - at) + height);
    }
  }

 private:
  Envelope(Scratch scratch, int64_t side)
      : heights_(scratch.take<float>(side)),
        halfInverses_(scratch.take<float>(side)),
        parabolas_(scratch.take<int32_t>(side)),
        ends_(scratch.take<float>(side)) {}

  // Behind the last whole x that is not beyond `bound`.
  static int32_t endOf(float bound, int32_t width) {
    if (bound < 0.0f) return 0;
    return bound >= static_cast<float>(width - 1) ? width : static_cast<int32_t>(bound) + 1;
  }

  // Where the parabola at q comes below the one at v.
  float crossing(int32_t v, int32_t q) const {
    const float half = halfInverses_[q - v];
    return fused(-(heights_[v] + squared(v)), half, (heights_[q] + squared(q)) * half);
  }

  void build(int32_t width) {
    last_ = 0;
    parabolas_[0] = 0;
    for (int32_t q = 1; q < width; ++q) {
      float start = crossing(parabolas_[last_], q);
      while (!(start > (last_ == 0 ? -noDistance : ends_[last_ - 1]))) {
        --last_;
        start = crossing(parabolas_[last_], q);
      }
      ends_[last_] = start;
      parabolas_[++last_] = q;
    }
  }

  float* heights_;
  float* halfInverses_;
  int32_t* parabolas_;
  float* ends_;
  int32_t last_ = 0;
};

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviTrueDistanceTransformGetBufferSize_8u32f_C1R(NuviSize roiSize, int32_t* pSize) {
  const NuvStatus status = Check().pointers(pSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;
  *pSize = wrappingMultiply(static_cast<int32_t>(shareBytes(roiSize)), ownThreadCount());
  return nuvStatusOk;
}

NuvStatus nuviTrueDistanceTransform_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                              int32_t dstStep, NuviSize roiSize, uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pBuffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pDst, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<float> dst(pDst, dstStep);
  const int32_t threads = ownThreadCount();
  const bool forks =
      threads > 1 &&
      (ownCoresIfMany() != 0 || (int64_t{threads} * roiSize.height >= 256 && roiSize.width >= 256));
  const auto share = [&](int32_t thread) { return pBuffer + thread * shareBytes(roiSize); };
  const auto columns = [&](int32_t thread, int32_t first, int32_t count) {
    int32_t* const sinceZero = Scratch(share(thread), shareBytes(roiSize)).take<int32_t>(count);
    measureColumns(src, dst, roiSize.height, first, count, sinceZero);
  };
  const auto rows = [&](int32_t thread, int32_t firstRow, int32_t count) {
    Envelope envelope(share(thread), roiSize);
    for (int32_t y = firstRow; y < firstRow + count; ++y) envelope.apply(dst.row(y), roiSize.width);
  };
  if (forks) {
    forkRows(threads, roiSize.width, columns);
    forkRows(threads, roiSize.height, rows);
  } else {
    columns(0, 0, roiSize.width);
    rows(0, 0, roiSize.height);
  }
  return nuvStatusOk;
}

// Canny edge detector on given derivatives: gradient magnitude in the L1 norm, non-maximum
// suppression along the gradient's direction quantised to four lines, and hysteresis, which links
// weak edges to strong ones through their eight neighbours. After J. Canny, "A Computational
// Approach to Edge Detection", IEEE Transactions on Pattern Analysis and Machine Intelligence 8(6),
// 1986.

#include <algorithm>
#include <cstdlib>

#include "core/check.h"
#include "core/image.h"
#include "core/numeric.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/feature.h"

namespace nuv {
namespace {

constexpr uint8_t edge = 255;
constexpr uint8_t pending =
    0x80;  // in the status map: a weak survivor that no edge has reached yet

// Magnitudes of three rows, with a 0 on either side of each.
template <class Magnitude>
struct Ring {
  Magnitude* above;
  Magnitude* here;
  Magnitude* below;

  void rotate() {
    Magnitude* const oldest = above;
    above = here;
    here = below;
    below = oldest;
  }
};

// ---- magnitude

// Sums of up to `most`; one that is not above `low` becomes 0.
void magnitudes(const int16_t* dx, const int16_t* dy, int32_t* dst, ptrdiff_t begin, ptrdiff_t end,
                int32_t low, int32_t most) {
  NUV_IVDEP
  for (ptrdiff_t x = begin; x < end; ++x) {
    const int32_t magnitude = std::min(std::abs(int32_t{dx[x]}) + std::abs(int32_t{dy[x]}), most);
    dst[x] = magnitude > low ? magnitude : 0;
  }
}

// Whole blocks of 8 columns saturate to 16 bits; in the columns behind them nothing does.
void magnitudeRow(const int16_t* dx, const int16_t* dy, int32_t* dst, ptrdiff_t width,
                  int32_t low) {
  const ptrdiff_t blocks = width & ~ptrdiff_t{7};
  magnitudes(dx, dy, dst, 0, blocks, low, UINT16_MAX);
  magnitudes(dx, dy, dst, blocks, width, low, INT32_MAX);
}

// One rounded sum; it becomes 0 only below `low`, so one equal to it is kept.
void magnitudeRow(const float* dx, const float* dy, float* dst, ptrdiff_t width, float low) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    const float magnitude = __builtin_fabsf(dx[x]) + __builtin_fabsf(dy[x]);
    dst[x] = magnitude < low ? 0.0f : magnitude;
  }
}

// ---- suppression

// The line that a gradient lies nearest to; if neither flag is set, a diagonal, which falls to the
// right or rises. Mask is bool, or a vector of lanes.
template <class Mask>
struct Direction {
  Mask vertical;
  Mask horizontal;
  Mask falling;
};

// tan(67.5 degrees) and tan(22.5 degrees).
constexpr double steep = 2.414213562373095;
constexpr double flat = 0.41421356237309503;

// The products are formed in Real and rounded to float.
template <class Real>
inline Direction<bool> directionOf(float dx, float dy) {
  const float ax = __builtin_fabsf(dx);
  const float ay = __builtin_fabsf(dy);
  return {ay > static_cast<float>(ax * static_cast<Real>(steep)),
          ay < static_cast<float>(ax * static_cast<Real>(flat)), (dx < 0) == (dy < 0)};
}
inline Direction<S32x8> directionOf(F32x8 dx, F32x8 dy) {
  const F32x8 ax = maximum(dx, -dx);
  const F32x8 ay = maximum(dy, -dy);
  return {ay > ax * static_cast<float>(steep), ay < ax * static_cast<float>(flat),
          (dx < 0) == (dy < 0)};
}

// Whether the pixel at x is a maximum along its direction. A tie is lost to the left or upper pixel
// and won over the right or lower one; on a diagonal it is lost to both. A magnitude of 0 is above
// none, since none is negative. M is one magnitude, or a vector of them.
template <class M, class Mask, class Magnitude>
inline Mask isMaximum(const Direction<Mask>& line, const Ring<Magnitude>& ring, ptrdiff_t x) {
  const auto at = [x](const Magnitude* row, int offset) { return load<M>(row + x + offset); };
  const M m = at(ring.here, 0);
  const M diagonalBefore = line.falling ? at(ring.above, -1) : at(ring.above, 1);
  const M diagonalAfter = line.falling ? at(ring.below, 1) : at(ring.below, -1);
  const M before = line.vertical     ? at(ring.above, 0)
                   : line.horizontal ? at(ring.here, -1)
                                     : diagonalBefore;
  const M after = line.vertical     ? at(ring.below, 0)
                  : line.horizontal ? at(ring.here, 1)
                                    : diagonalAfter;
  const Mask straight = line.vertical | line.horizontal;
  return (m > before) & ((m > after) | (straight & (m == after)));
}

inline F32x8 loadAsFloat(const int16_t* from) {
  return convert<F32x8>(convert<S32x8>(load<S16x8>(from)));
}
inline F32x8 loadAsFloat(const float* from) { return load<F32x8>(from); }

constexpr ptrdiff_t blockWidth = 16;

// Whether a block of magnitudes is 0 throughout; as bits, since none is -0.
template <class Magnitude>
inline bool isZeroBlock(const Magnitude* block) {
  uint64_t bits = 0;
  for (int i = 0; i < blockWidth; i += 2) bits |= load<uint64_t>(block + i);
  return bits == 0;
}

// The survivors of the block at x: strong ones become edges, weak ones pending.
template <class T, class Magnitude>
inline void suppressBlock(const T* dx, const T* dy, const Ring<Magnitude>& ring, Magnitude high,
                          uint8_t* map, uint8_t* dst, ptrdiff_t x) {
  using M = Vector<Magnitude, 8>;
  S32x8 maxima[2], strong[2];
  for (int half = 0; half < 2; ++half) {
    const ptrdiff_t column = x + 8 * half;
    const Direction<S32x8> line = directionOf(loadAsFloat(dx + column), loadAsFloat(dy + column));
    maxima[half] = isMaximum<M>(line, ring, column);
    strong[half] = load<M>(ring.here + column) > high;
  }
  const auto bytes = [](S32x8 low, S32x8 high) {
    return narrowSaturate<int8_t>(packSaturate(low, high));
  };
  store(dst + x, bytes(maxima[0] & strong[0], maxima[1] & strong[1]));
  store(map + x,
        bytes(maxima[0] & ~strong[0], maxima[1] & ~strong[1]) & static_cast<int8_t>(pending));
}

// The same for the columns from begin to end. High is the type in which strength is tested.
template <class Real, class T, class Magnitude, class High>
inline void suppressColumns(const T* dx, const T* dy, const Ring<Magnitude>& ring, High high,
                            uint8_t* map, uint8_t* dst, ptrdiff_t begin, ptrdiff_t end) {
  for (ptrdiff_t x = begin; x < end; ++x) {
    const Magnitude m = ring.here[x];
    if (m == 0) continue;
    const Direction<bool> line = directionOf<Real>(dx[x], dy[x]);
    if (!isMaximum<Magnitude>(line, ring, x)) continue;
    if (static_cast<High>(m) > high) {
      dst[x] = edge;
    } else {
      map[x] = pending;
    }
  }
}

// `map` and `dst` are 0 on entry. Whole blocks of 4 columns take float constants; the columns
// behind them take double ones, and the high threshold as the caller gave it.
template <class T, class Magnitude>
void suppressRow(const T* dx, const T* dy, const Ring<Magnitude>& ring, Magnitude high,
                 float highThresh, uint8_t* map, uint8_t* dst, ptrdiff_t width) {
  const ptrdiff_t blocks = width & ~ptrdiff_t{3};
  ptrdiff_t x = 0;
  for (; x <= width - blockWidth; x += blockWidth) {
    if (!isZeroBlock(ring.here + x)) suppressBlock(dx, dy, ring, high, map, dst, x);
  }
  suppressColumns<float>(dx, dy, ring, high, map, dst, x, blocks);
  suppressColumns<double>(dx, dy, ring, highThresh, map, dst, blocks, width);
}

// ---- hysteresis

template <class Coordinate>
struct Pixel {
  Coordinate y;
  Coordinate x;
};

// Pushes the edges of a row from left to right.
template <class Coordinate>
Pixel<Coordinate>* pushEdges(const uint8_t* row, int32_t y, ptrdiff_t width,
                             Pixel<Coordinate>* top) {
  ptrdiff_t x = 0;
  for (; x <= width - 8; x += 8) {
    uint64_t edges = load<uint64_t>(row + x) & 0x0101010101010101;
    for (; edges != 0; edges &= edges - 1) {
      *top++ = {static_cast<Coordinate>(y),
                static_cast<Coordinate>(x + __builtin_ctzll(edges) / 8)};
    }
  }
  for (; x < width; ++x) {
    if (row[x] != 0) *top++ = {static_cast<Coordinate>(y), static_cast<Coordinate>(x)};
  }
  return top;
}

struct Offset {
  int8_t y;
  int8_t x;
};
constexpr Offset neighbours[8] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, -1},
                                  {0, 1},   {1, -1}, {1, 0},  {1, 1}};

// The status of the eight neighbours, a byte for each in their order.
inline uint64_t statusAround(const uint8_t* at, ptrdiff_t step) {
  uint64_t around = 0;
  for (int i = 0; i < 8; ++i) {
    around |= uint64_t{at[neighbours[i].y * step + neighbours[i].x]} << (8 * i);
  }
  return around;
}

// Pops pixels until the stack is empty, and makes an edge of every pending neighbour of each, which
// goes on the stack in turn. No pixel goes there twice, so the stack cannot pass one entry for
// each. The map's frame is never pending, which keeps the visits inside the image.
template <class Coordinate>
void link(Pixel<Coordinate>* stack, Pixel<Coordinate>* top, const Image<uint8_t>& map,
          const Image<uint8_t>& dst) {
  while (top != stack) {
    const Pixel<Coordinate> pixel = *--top;
    uint8_t* const at = map.row(pixel.y) + pixel.x;
    uint8_t* const result = dst.row(pixel.y) + pixel.x;
    uint64_t around = statusAround(at, map.step());
    for (; around != 0; around &= around - 1) {
      const Offset n = neighbours[__builtin_ctzll(around) / 8];
      at[n.y * map.step() + n.x] = 0;
      result[n.y * dst.step() + n.x] = edge;
      *top++ = {static_cast<Coordinate>(pixel.y + n.y), static_cast<Coordinate>(pixel.x + n.x)};
    }
  }
}

// ---- the operation

// Entries of two 16-bit coordinates serve all but the largest images.
inline bool needsWideStack(NuviSize size) { return size.width >= 65533 || size.height >= 65533; }

// The status map and the stack, 1 byte and 4 or 8 for each pixel of the frame, and the magnitudes.
template <class Int>
Int bufferBytes(NuviSize size) {
  const auto width = static_cast<Int>(size.width);
  const auto height = static_cast<Int>(size.height);
  const Int bytesPerPixel = needsWideStack(size) ? 9 : 5;
  return (height + 2) * bytesPerPixel * (width + 2) + width * 16 + 160;
}

template <class T>
struct Form;
template <>
struct Form<int16_t> {
  using Magnitude = int32_t;
  // Truncated. No magnitude is above 65536, so the clamp keeps the meaning of a greater threshold.
  static int32_t threshold(float given) {
    return static_cast<int32_t>(clampTo(given, 0.0f, 65536.0f));
  }
};
template <>
struct Form<float> {
  using Magnitude = float;
  static float threshold(float given) { return given; }
};

template <class Coordinate, class T>
void detectEdges(const Image<const T>& dx, const Image<const T>& dy, const Image<uint8_t>& dst,
                 NuviSize size, float lowThresh, float highThresh, uint8_t* pBuffer) {
  using Magnitude = typename Form<T>::Magnitude;
  const Magnitude low = Form<T>::threshold(lowThresh);
  const Magnitude high = Form<T>::threshold(highThresh);
  const ptrdiff_t width = size.width;

  const ptrdiff_t frameWidth = width + 2;
  const ptrdiff_t framePixels = frameWidth * (ptrdiff_t{size.height} + 2);
  Scratch scratch(pBuffer, bufferBytes<int64_t>(size));
  uint8_t* const frame = scratch.take<uint8_t>(framePixels, 32);
  Magnitude* const rows = scratch.take<Magnitude>(3 * frameWidth);
  auto* const stack = scratch.take<Pixel<Coordinate>>(framePixels);

  // The status map has a frame of one pixel, so that every pixel has eight neighbours in it.
  std::memset(frame, 0, static_cast<size_t>(framePixels));
  const Image<uint8_t> map(frame + frameWidth + 1, frameWidth);
  std::fill_n(rows, 3 * frameWidth, Magnitude{0});
  Ring<Magnitude> ring = {rows + 1, rows + frameWidth + 1, rows + 2 * frameWidth + 1};

  Pixel<Coordinate>* top = stack;
  magnitudeRow(dx.row(0), dy.row(0), ring.here, width, low);
  for (int32_t y = 0; y < size.height; ++y) {
    if (y + 1 < size.height) {
      magnitudeRow(dx.row(y + 1), dy.row(y + 1), ring.below, width, low);
    } else {
      std::fill_n(ring.below, width, Magnitude{0});
    }
    std::memset(dst.row(y), 0, static_cast<size_t>(width));
    suppressRow(dx.row(y), dy.row(y), ring, high, highThresh, map.row(y), dst.row(y), width);
    top = pushEdges(dst.row(y), y, width, top);
    ring.rotate();
  }
  link(stack, top, map, dst);
}

template <class T>
NuvStatus canny(const T* pSrcDx, int32_t srcDxStep, const T* pSrcDy, int32_t srcDyStep,
                uint8_t* pDstEdges, int32_t dstEdgeStep, NuviSize roiSize, float lowThresh,
                float highThresh, uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pSrcDx, pSrcDy, pDstEdges, pBuffer)
                               .size(roiSize)
                               .step(pSrcDx, srcDxStep, roiSize.width)
                               .step(pSrcDy, srcDyStep, roiSize.width)
                               .step(pDstEdges, dstEdgeStep, roiSize.width)
                               .elementMultiple(pSrcDx, srcDxStep, srcDyStep)
                               .require(!(lowThresh < 0.0f), nuvStatusBadArgument)
                               .require(!(lowThresh > highThresh), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> dx(pSrcDx, srcDxStep);
  const Image<const T> dy(pSrcDy, srcDyStep);
  const Image<uint8_t> dst(pDstEdges, dstEdgeStep);
  if (needsWideStack(roiSize)) {
    detectEdges<uint32_t>(dx, dy, dst, roiSize, lowThresh, highThresh, pBuffer);
  } else {
    detectEdges<uint16_t>(dx, dy, dst, roiSize, lowThresh, highThresh, pBuffer);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviCannyGetSize(NuviSize roiSize, int32_t* pBufferSize) {
  const NuvStatus status = Check().pointers(pBufferSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(bufferBytes<uint32_t>(roiSize));
  return nuvStatusOk;
}

NuvStatus nuviCanny_16s8u_C1R(const int16_t* pSrcDx, int32_t srcDxStep, const int16_t* pSrcDy,
                              int32_t srcDyStep, uint8_t* pDstEdges, int32_t dstEdgeStep,
                              NuviSize roiSize, float lowThresh, float highThresh,
                              uint8_t* pBuffer) {
  return canny(pSrcDx, srcDxStep, pSrcDy, srcDyStep, pDstEdges, dstEdgeStep, roiSize, lowThresh,
               highThresh, pBuffer);
}

NuvStatus nuviCanny_32f8u_C1R(const float* pSrcDx, int32_t srcDxStep, const float* pSrcDy,
                              int32_t srcDyStep, uint8_t* pDstEdges, int32_t dstEdgeStep,
                              NuviSize roiSize, float lowThresh, float highThresh,
                              uint8_t* pBuffer) {
  return canny(pSrcDx, srcDxStep, pSrcDy, srcDyStep, pDstEdges, dstEdgeStep, roiSize, lowThresh,
               highThresh, pBuffer);
}

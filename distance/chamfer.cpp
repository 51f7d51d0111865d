// Chamfer distance: two raster passes with a small mask of metrics bring each pixel's distance to
// the nearest zero pixel close to the Euclidean one (G. Borgefors, "Distance transformations in
// digital images", 1986).

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/distance.h"

namespace nuv {
namespace {

// Of whom a pixel asks its distance: the four direct neighbours, with the diagonal ones, and with
// the eight knight's moves.
enum Moves { direct, diagonal, knight };

template <class T>
constexpr T limit = std::numeric_limits<T>::max();

// A metric of each kind of move, none above the limit.
template <class T>
struct Metrics {
  T a, b, c;
};

// Sums stay at the limit.
template <class T>
inline T longer(T distance, T metric) {
  return distance > limit<T> - metric ? limit<T> : static_cast<T>(distance + metric);
}
inline float longer(float distance, float metric) {
  return std::min(distance + metric, limit<float>);
}
template <class V, class T>
inline V longer(V distances, T metric) {
  return minimum(distances, broadcast<V>(static_cast<T>(limit<T> - metric))) + broadcast<V>(metric);
}
inline F32x8 longer(F32x8 distances, float metric) {
  return minimum(distances + broadcast<F32x8>(metric), broadcast<F32x8>(limit<float>));
}

// A move to the row before (or, two rows, to the one before that).
template <class T>
struct Move {
  int32_t dx, rows;
  T metric;
};

template <class T, Moves moves>
class Passes {
 public:
  Passes(Image<T> dst, NuviSize size, Metrics<T> metrics)
      : dst_(dst), size_(size), a_(metrics.a), moves_{{0, 1, metrics.a}, {-1, 1, metrics.b},
                                                      {1, 1, metrics.b}, {-2, 1, metrics.c},
                                                      {2, 1, metrics.c}, {-1, 2, metrics.c},
                                                      {1, 2, metrics.c}} {
    ramp_[0] = ramp_[2 * lanes - 1] = a_;
    for (int32_t i = 1; i < lanes; ++i) {
      ramp_[i] = ramp_[2 * lanes - 1 - i] = longer(ramp_[i - 1], a_);
    }
  }

  // Rows top down, left to right. A pixel of the source is read before its distance is written, so
  // both may be one image.
  void forward(Image<const uint8_t> src) const {
    pass<1>([&](int32_t x, int32_t y, int32_t count, T* block) {
      const uint8_t* const source = src.row(y) + x;
      for (int32_t i = 0; i < count; ++i) block[i] = source[i] == 0 ? T{0} : block[i];
    });
  }

  // Rows bottom up, right to left. Only a distance above that of a direct neighbour of a zero can
  // still fall.
  void backward() const {
    pass<-1>([&](int32_t x, int32_t y, int32_t count, T* block) {
      const T* const distances = dst_.row(y) + x;
      for (int32_t i = 0; i < count; ++i) {
        const T lower = std::min(block[i], distances[i]);
        block[i] = distances[i] > a_ ? lower : distances[i];
      }
    });
  }

 private:
  static constexpr int32_t blockSize = 128;
  static constexpr int32_t rowsAtOnce = std::is_integral_v<T> ? 1 : 4;
  static constexpr int32_t lanes = 16 / static_cast<int32_t>(sizeof(T));
  static constexpr int32_t moveCount = moves == direct ? 1 : moves == diagonal ? 3 : 7;

  // Pixels of a row that are settled together.
  struct Block {
    int32_t x = 0, y = 0, count = 0;
    T distances[blockSize];
  };

  // All rows in blocks, in the direction of the pass: what the rows before give, `settle`, then
  // what the pixels before give. Floats wait for each sum along a row, so several rows go side by
  // side, each two blocks behind the one before.
  template <int32_t direction, class Settle>
  void pass(Settle&& settle) const {
    const int32_t blocks = (size_.width + blockSize - 1) / blockSize;
    for (int32_t firstRow = 0; firstRow < size_.height; firstRow += rowsAtOnce) {
      Block row[rowsAtOnce];
      T carry[rowsAtOnce];
      std::fill(carry, carry + rowsAtOnce, limit<T>);
      for (int32_t turn = 0; turn < blocks + 2 * (rowsAtOnce - 1); ++turn) {
        for (int32_t r = 0; r < rowsAtOnce; ++r) {
          Block& block = row[r];
          const int32_t index = turn - 2 * r, y = firstRow + r;
          block.count = 0;
          if (index < 0 || index >= blocks || y >= size_.height) continue;
          const int32_t before = index * blockSize;
          block.count = std::min(blockSize, size_.width - before);
          block.x = direction > 0 ? before : size_.width - before - block.count;
          block.y = direction > 0 ? y : size_.height - 1 - y;
          std::fill(block.distances, block.distances + block.count, limit<T>);
          askRows<-direction>(block.y, block.x, block.count, block.distances);
          settle(block.x, block.y, block.count, block.distances);
        }
        if constexpr (rowsAtOnce == 1) {
          carry[0] = spread<direction>(row[0].distances, row[0].count, carry[0]);
        } else {
          spreadRows<direction>(row, carry);
        }
        for (const Block& block : row) {
          std::copy(block.distances, block.distances + block.count, dst_.row(block.y) + block.x);
        }
      }
    }
  }

  // Along all rows at once, as far as all of them reach; then along each.
  template <int32_t direction>
  void spreadRows(Block* row, T* carry) const {
    int32_t common = blockSize;
    for (int32_t r = 0; r < rowsAtOnce; ++r) common = std::min(common, row[r].count);
    const auto at = [&](int32_t r, int32_t i) -> T& {
      return row[r].distances[direction > 0 ? i : row[r].count - 1 - i];
    };
    for (int32_t i = 0; i < common; ++i) {
#pragma GCC unroll 8
      for (int32_t r = 0; r < rowsAtOnce; ++r) {
        carry[r] = at(r, i) = std::min(at(r, i), carry[r] + a_);
      }
    }
    for (int32_t r = 0; r < rowsAtOnce; ++r) {
      const int32_t left = row[r].count - common;
      carry[r] = spread<direction>(row[r].distances + (direction > 0 ? common : 0), left, carry[r]);
    }
  }

  // Lowers the distances of `count` pixels from x on to what the moves to the rows above (-1) or
  // below (1) give. Neighbours outside the image are left out.
  template <int32_t direction>
  void askRows(int32_t y, int32_t x, int32_t count, T* distances) const {
    constexpr int32_t wide = 32 / static_cast<int32_t>(sizeof(T));
    using V = Vector<T, wide>;
    for (int32_t k = 0; k < moveCount; ++k) {
      const Move<T>& move = moves_[k];
      const int32_t otherY = y + direction * move.rows;
      if (otherY < 0 || otherY >= size_.height) continue;
      const T* const others = dst_.row(otherY) + x + move.dx;
      int32_t i = std::max(0, -(x + move.dx));
      const int32_t end = std::min(count, size_.width - (x + move.dx));
      for (; i + wide <= end; i += wide) {
        const V lowered = longer(load<V>(others + i), move.metric);
        store(distances + i, minimum(lowered, load<V>(distances + i)));
      }
      for (; i < end; ++i) distances[i] = std::min(distances[i], longer(others[i], move.metric));
    }
  }

  // Lowers distances along the row, from the `carry` before the first pixel on; returns the last.
  template <int32_t direction>
  T spread(T* distances, int32_t count, T carry) const {
    int32_t i = direction > 0 ? 0 : count - 1;
    if constexpr (std::is_integral_v<T>) {
      using V = Vector<T, lanes>;
      // Within a vector by steps of doubled length; only the last lane is handed on.
      const V ramp = load<V>(direction > 0 ? ramp_ : ramp_ + lanes);
      for (; count >= lanes; count -= lanes) {
        T* const at = direction > 0 ? distances + i : distances + i - (lanes - 1);
        V lowest = spreadLanes<direction, 1>(load<V>(at));
        const V carried = broadcast<V>(carry);
        lowest = minimum(lowest, minimum(carried, broadcast<V>(limit<T>) - ramp) + ramp);
        store(at, lowest);
        carry = lowest[direction > 0 ? lanes - 1 : 0];
        i += direction * lanes;
      }
    }
    for (; count > 0; --count, i += direction) {
      carry = distances[i] = std::min(distances[i], longer(carry, a_));
    }
    return carry;
  }

  // Each lane gets what `by` lanes before it holds, the limit where there is none.
  template <int32_t by, class V, int... lane>
  static V movedLanes(V distances, std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(distances, broadcast<V>(limit<T>),
                                   (lane - by >= 0 && lane - by < lanes ? lane - by : lanes)...);
  }

  template <int32_t direction, int32_t steps, class V>
  V spreadLanes(V distances) const {
    if constexpr (steps == lanes) {
      return distances;
    } else {
      const V moved =
          movedLanes<direction * steps>(distances, std::make_integer_sequence<int, lanes>());
      const T metric = ramp_[steps - 1];
      return spreadLanes<direction, 2 * steps>(minimum(distances, longer(moved, metric)));
    }
  }

  Image<T> dst_;
  NuviSize size_;
  T a_;
  Move<T> moves_[7];
  T ramp_[2 * lanes];  // 1 to `lanes` steps, and down again
};

inline bool isPositive(int32_t metric) { return metric >= 1; }
inline bool isPositive(float metric) { return !(metric <= 0.0f); }

template <class T, Moves moves>
void transform(Image<const uint8_t> src, Image<T> dst, NuviSize size, Metrics<T> metrics) {
  const Passes<T, moves> passes(dst, size, metrics);
  passes.forward(src);
  passes.backward();
}

// A direct move that costs more than a diagonal one is taken for that price, where there are
// diagonal ones; a diagonal move that costs as much as two direct ones is left out.
template <class T, class Metric>
void transform3x3(Image<const uint8_t> src, Image<T> dst, NuviSize size, Metric a, Metric b) {
  using Wide = std::conditional_t<std::is_integral_v<Metric>, int64_t, float>;
  const auto within = [](Wide metric) {
    return static_cast<T>(std::min<Wide>(metric, static_cast<Wide>(limit<T>)));
  };
  Wide direction = a;
  if (a > b && size.width >= 2 && size.height >= 2) direction = b;
  const Metrics<T> metrics = {within(direction), within(b), T{}};
  if (b >= 2 * direction) {
    transform<T, direct>(src, dst, size, metrics);
  } else {
    transform<T, diagonal>(src, dst, size, metrics);
  }
}

// Where a knight's move costs as much as what it is made of, the 3x3 mask has the same distances.
// Of whole metrics each is taken for the cheapest way to its place.
template <class T>
void transform5x5(Image<const uint8_t> src, Image<T> dst, NuviSize size, const int32_t* metrics) {
  const int64_t a = metrics[0], c = metrics[2], b = std::min<int64_t>(2 * a, metrics[1]);
  if (a + b <= c) return transform3x3(src, dst, size, metrics[0], metrics[1]);
  const auto within = [](int64_t metric) {
    return static_cast<T>(std::min<int64_t>(metric, limit<T>));
  };
  const int64_t direction = std::min({a, c + b, 3 * c}), corner = std::min(b, 2 * c);
  transform<T, knight>(src, dst, size, {within(direction), within(corner), within(c)});
}
void transform5x5(Image<const uint8_t> src, Image<float> dst, NuviSize size, const float* metrics) {
  const float a = metrics[0], c = metrics[2], b = std::min(2 * a, metrics[1]);
  if ((c - a) - b > -1e-7f * std::fabs(a + b)) {
    return transform3x3(src, dst, size, metrics[0], metrics[1]);
  }
  transform<float, knight>(src, dst, size, {a, metrics[1], c});
}

template <int32_t kernel, class T, class Metric>
NuvStatus distanceTransform(const uint8_t* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                            NuviSize roiSize, const Metric* pMetrics) {
  Check check;
  check.pointers(pSrc, pDst, pMetrics)
      .size(roiSize)
      .step(pSrc, srcStep, roiSize.width)
      .step(pDst, dstStep, roiSize.width)
      .elementMultiple(pDst, dstStep);
  if (check.status() != nuvStatusOk) return check.status();
  for (int i = 0; i < kernel / 2 + 1; ++i)
    check.require(isPositive(pMetrics[i]), nuvStatusBadMetric);
  if (check.status() != nuvStatusOk) return check.status();

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<T> dst(pDst, dstStep);
  if constexpr (kernel == 3) {
    transform3x3(src, dst, roiSize, pMetrics[0], pMetrics[1]);
  } else {
    transform5x5(src, dst, roiSize, pMetrics);
  }
  return nuvStatusOk;
}

template <class Metric>
NuvStatus standardMetrics(int32_t kernelSize, int32_t norm, Metric* pMetrics) {
  const NuvStatus status = Check()
                               .pointers(pMetrics)
                               .require(kernelSize == 3 || kernelSize == 5, nuvStatusBadSize)
                               .require(norm >= 0 && norm <= 2, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  static constexpr int32_t whole[2][3][3] = {{{1, 1}, {1, 2}, {2, 3}},
                                             {{1, 1, 2}, {1, 2, 3}, {5, 7, 11}}};
  static constexpr float real[2][3][3] = {
      {{1.0f, 1.0f}, {1.0f, 2.0f}, {0.955f, 1.3693f}},
      {{1.0f, 1.0f, 2.0f}, {1.0f, 2.0f, 3.0f}, {1.0f, 1.4f, 2.1969f}}};
  for (int32_t i = 0; i < kernelSize / 2 + 1; ++i) {
    const int32_t kernel = kernelSize / 2 - 1;
    if constexpr (std::is_integral_v<Metric>) {
      pMetrics[i] = whole[kernel][norm][i];
    } else {
      pMetrics[i] = real[kernel][norm][i];
    }
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_DISTANCE_TRANSFORM(kernel, types, T, Metric)                                \
  NuvStatus nuviDistanceTransform_##kernel##x##kernel##_##types##_C1R(                  \
      const uint8_t* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize, \
      const Metric* pMetrics) {                                                         \
    return distanceTransform<kernel>(pSrc, srcStep, pDst, dstStep, roiSize, pMetrics);  \
  }
#define NUV_DISTANCE_TRANSFORMS(kernel)                                                            \
  NUV_DISTANCE_TRANSFORM(kernel, 8u, uint8_t, int32_t)                                             \
  NUV_DISTANCE_TRANSFORM(kernel, 8u16u, uint16_t, int32_t)                                         \
  NUV_DISTANCE_TRANSFORM(kernel, 8u32f, float, float)                                              \
  NuvStatus nuviDistanceTransform_##kernel##x##kernel##_8u_C1IR(                                   \
      uint8_t* pSrcDst, int32_t srcDstStep, NuviSize roiSize, const int32_t* pMetrics) {           \
    return distanceTransform<kernel>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, pMetrics); \
  }
NUV_DISTANCE_TRANSFORMS(3)
NUV_DISTANCE_TRANSFORMS(5)
#undef NUV_DISTANCE_TRANSFORMS
#undef NUV_DISTANCE_TRANSFORM

NuvStatus nuviGetDistanceTransformMask_32s(int32_t kernelSize, int32_t norm, int32_t* pMetrics) {
  return standardMetrics(kernelSize, norm, pMetrics);
}

NuvStatus nuviGetDistanceTransformMask_32f(int32_t kernelSize, int32_t norm, float* pMetrics) {
  return standardMetrics(kernelSize, norm, pMetrics);
}

NuvStatus nuviGetDistanceTransformMask(int32_t maskType, float* pMetrics) {
  const int32_t norm = maskType % 10;
  if (norm < 0 || norm > 2) return nuvStatusBadArgument;
  return standardMetrics(maskType / 10, norm, pMetrics);
}

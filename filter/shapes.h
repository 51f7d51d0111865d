// The shapes that the ready-made filters are made of: kernels of one dimension for the row pass and
// for the column pass, and the ways in which a sum becomes a result.
//
// Sums of 8-bit pixels stay within 16 bits and are exact, in whatever order. In float the order and
// the fused steps are the contract: plain products and sums in rows, fused ones in columns, in
// ascending order of the taps except where pairs of equal taps are added first.
#pragma once

#include "core/numeric.h"
#include "core/simd.h"
#include "filter/borderengine.h"

namespace nuv {

// ---- row shapes: p(i) are the pixels at offset i

struct Row101 {  // -1 0 1
  template <class P>
  static auto sum(P p) {
    return p(1) - p(-1);
  }
};
struct Row101Negated {  // 1 0 -1
  template <class P>
  static auto sum(P p) {
    return p(-1) - p(1);
  }
};
struct Row121 {  // 1 2 1
  template <class P>
  static auto sum(P p) {
    return (p(1) + p(-1)) + (p(0) + p(0));
  }
};
struct Row1m21 {  // 1 -2 1
  template <class P>
  static auto sum(P p) {
    return (p(-1) - (p(0) + p(0))) + p(1);
  }
};
struct Row3A3 {  // 3 10 3
  template <class P>
  static auto sum(P p) {
    return (p(-1) + p(1)) * 3 + p(0) * 10;
  }
};
struct Row111 {  // 1 1 1
  template <class P>
  static auto sum(P p) {
    return (p(-1) + p(0)) + p(1);
  }
};
struct Row11111 {  // 1 1 1 1 1
  template <class P>
  static auto sum(P p) {
    return (((p(-2) + p(-1)) + p(0)) + p(1)) + p(2);
  }
};
struct Row120m2m1 {  // 1 2 0 -2 -1
  template <class P>
  static auto sum(P p) {
    return ((p(-2) + (p(-1) + p(-1))) - (p(1) + p(1))) - p(2);
  }
};
struct Row10m201 {  // 1 0 -2 0 1
  template <class P>
  static auto sum(P p) {
    return (p(-2) - (p(0) + p(0))) + p(2);
  }
};
struct Row14641 {  // 1 4 6 4 1
  template <class P>
  static auto sum(P p) {
    return (((p(-2) + p(-1) * 4) + p(0) * 6) + p(1) * 4) + p(2);
  }
};
struct RowOuter {  // 1 0 1
  template <class P>
  static auto sum(P p) {
    return p(-1) + p(1);
  }
};
struct RowEightfold {  // 0 8 0
  template <class P>
  static auto sum(P p) {
    return p(0) * 8;
  }
};

// ---- column shapes: r(k) is the row of tap k

// a * factor + c: in float rounded once, in 16 bits exact.
inline S16x16 multiplyAdd(S16x16 a, int factor, S16x16 c) {
  return a * static_cast<int16_t>(factor) + c;
}
inline F32x8 multiplyAdd(F32x8 a, int factor, F32x8 c) {
  return fused(broadcast<F32x8>(static_cast<float>(factor)), a, c);
}

struct Column101 {  // -1 0 1
  template <class R>
  static auto sum(R r) {
    return r(2) - r(0);
  }
};
struct Column121 {  // 1 2 1
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(1), 2, r(0) + r(2));
  }
};
struct Column1m21 {  // 1 -2 1
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(1), -2, r(0) + r(2));
  }
};
struct Column3A3 {  // 3 10 3
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(2), 3, multiplyAdd(r(1), 10, r(0) * 3));
  }
};
struct Column14641 {  // 1 4 6 4 1
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(2), 6, multiplyAdd(r(1) + r(3), 4, r(0) + r(4)));
  }
};
struct Column1m2021 {  // -1 -2 0 2 1
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(3), 2, multiplyAdd(r(1), -2, -r(0))) + r(4);
  }
};
struct Column10m201 {  // 1 0 -2 0 1
  template <class R>
  static auto sum(R r) {
    return multiplyAdd(r(2), -2, r(0) + r(4));
  }
};
// A shape with its sum subtracted from zero.
template <class Shape>
struct Negated {
  template <class R>
  static auto sum(R r) {
    const auto sum = Shape::sum(r);
    return decltype(sum){} - sum;
  }
};

// ---- the passes of a shape

template <class Sample>
using Block = std::conditional_t<sizeof(Sample) == 2, S16x16, F32x8>;
template <class Sample>
constexpr ptrdiff_t blockLanes = static_cast<ptrdiff_t>(sizeof(Block<Sample>) / sizeof(Sample));

inline S16x16 loadBlock(const uint8_t* from) { return loadWidened(from); }
inline F32x8 loadBlock(const float* from) { return load<F32x8>(from); }

// The row pass of one shape, or of several, each of which fills a plane of its own.
template <class Source, class Sample, class... Shapes>
void rowPass(const Source* line, Sample* rows, ptrdiff_t pitch) {
  for (ptrdiff_t x = 0; x < pitch; x += blockLanes<Sample>) {
    const auto pixels = [&](ptrdiff_t offset) { return loadBlock(line + x + offset); };
    ptrdiff_t plane = 0;
    ((store(rows + pitch * plane++ + x, Shapes::sum(pixels))), ...);
  }
}

// Ways in which the sums of a block become results, of which `count` stand in the row.

// The sums as they are: 16 bits for 8-bit pixels, float for float.
template <class Sample>
struct AsSum {
  using Result = Sample;
  static void write(Block<Sample> sum, Sample* dst, ptrdiff_t count, ptrdiff_t, float) {
    if (count >= blockLanes<Sample>) {
      store(dst, sum);
    } else {
      std::memcpy(dst, &sum, static_cast<size_t>(count) * sizeof(Sample));
    }
  }
};

// Sums times the inverse of the divisor, saturated to 8 bits signed. Whole blocks of 8 columns are
// rounded to nearest even; the columns behind the last of them are clamped and truncated.
struct AsQuotient {
  using Result = int8_t;
  static void write(S16x16 sum, int8_t* dst, ptrdiff_t count, ptrdiff_t rounded, float inverse) {
    if (rounded >= 16) {
      int16_t sums[16];
      store(sums, sum);
      const F32x8 low = loadAs32f(sums) * inverse;
      const F32x8 high = loadAs32f(sums + 8) * inverse;
      store(dst,
            narrowSaturate<int8_t>(packSaturate(roundNearestEven(low), roundNearestEven(high))));
      return;
    }
    for (ptrdiff_t x = 0; x < std::min<ptrdiff_t>(count, 16); ++x) {
      const float quotient = static_cast<float>(sum[x]) * inverse;
      dst[x] = x < rounded ? roundSaturate<int8_t>(quotient) : truncateSaturate<int8_t>(quotient);
    }
  }
};

// The column pass of a shape; at(k, plane) is a block of the row of tap k.
template <class Shape, class Sample, class Write>
void columnPass(const Sample* const* rows, ptrdiff_t pitch, typename Write::Result* dst,
                ptrdiff_t width, float inverse) {
  const ptrdiff_t wholeBlocks = width & ~ptrdiff_t{7};
  for (ptrdiff_t x = 0; x < width; x += blockLanes<Sample>) {
    const auto at = [&](int k, ptrdiff_t plane = 0) {
      return load<Block<Sample>>(rows[k] + plane * pitch + x);
    };
    Write::write(Shape::sum(at), dst + x, width - x, wholeBlocks - x, inverse);
  }
}

// A filter of one row shape and one column shape.
template <class Source, class Sample, class Write, int taps, class RowShape, class ColumnShape>
constexpr Filter<Source, Sample, typename Write::Result> separable = {
    taps, 1, rowPass<Source, Sample, RowShape>, columnPass<ColumnShape, Sample, Write>};

}  // namespace nuv

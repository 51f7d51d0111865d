// The shapes that the ready-made filters are made of: kernels of one dimension for the row pass and
// for the column pass, and the ways in which a sum becomes a result.
//
// Sums of 8-bit pixels stay within 16 bits and are exact, in whatever order. In float the order and
// the fused steps are the contract: plain products and sums in rows, fused ones in columns, in
// ascending order of the taps except where pairs of equal taps are added first.
#pragma once

#include "filter/blocks.h"
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
    return decltype(Shape::sum(r)){} - sum;
  }
};

// ---- the passes of a shape

// The row pass of one shape, or of several, each of which fills a plane of its own.
template <class Source, class Sample, class... Shapes>
void rowPass(const Source* row, Sample* rows, ptrdiff_t pitch, ptrdiff_t first, ptrdiff_t end) {
  for (ptrdiff_t x = first; x < end; x += BlockOf<Sample>::columns) {
    const auto pixels = [&](ptrdiff_t offset) { return loadPixels(row + x, offset); };
    ptrdiff_t plane = 0;
    ((store(rows + pitch * plane++ + x, Shapes::sum(pixels))), ...);
  }
}

// The column pass of a shape; at(k, plane) is a block of the row of tap k.
template <class Shape, class Sample, class Write>
void columnPass(const Sample* const* rows, ptrdiff_t pitch, typename Write::Result* dst,
                ptrdiff_t width, float inverse) {
  const Write write(inverse);
  ptrdiff_t x = 0;
  const auto at = [&](int k, ptrdiff_t plane = 0) {
    typename BlockOf<Sample>::type block;
    load(rows[k] + plane * pitch + x, block);
    return block;
  };
  for (; x + BlockOf<Sample>::columns <= width; x += BlockOf<Sample>::columns) {
    write(Shape::sum(at), dst + x);
  }
  if (x < width) writeTail(write, Shape::sum(at), dst + x, width - x);
}

// A filter of one row shape and one column shape.
template <class Source, class Sample, class Write, int taps, class RowShape, class ColumnShape>
constexpr Filter<Source, Sample, typename Write::Result> separable() {
  return {taps, 1, rowPass<Source, Sample, RowShape>, columnPass<ColumnShape, Sample, Write>};
}

}  // namespace nuv

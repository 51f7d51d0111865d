// What all of morphology runs on: the extreme of samples, taken over strips of a row.
#pragma once

#include "core/simd.h"

namespace nuv {

// The two operations. An extreme selects one of its values, so the order of combination does not
// show in a result. The neutral value gives way to every other.
template <class T>
struct Minimum {
  using Element = T;
  static constexpr T neutral() { return std::numeric_limits<T>::max(); }
  template <class V>
  static V of(V a, V b) {
    return minimum(a, b);
  }
};
template <class T>
struct Maximum {
  using Element = T;
  static constexpr T neutral() { return std::numeric_limits<T>::lowest(); }
  template <class V>
  static V of(V a, V b) {
    return maximum(a, b);
  }
};

// Running extremes of neighbouring columns, kept in registers while the rows or the shifts of a
// mask go by. V is a vector, of one element for rows that are narrower than a register.
template <class Extreme, class V, int parts>
class Strip {
 public:
  using T = typename Extreme::Element;
  static constexpr ptrdiff_t lanes() { return sizeof(V) / sizeof(T); }
  static constexpr ptrdiff_t width() { return parts * lanes(); }

  void load(const T* from) {
    for (int i = 0; i < parts; ++i) part_[i] = nuv::load<V>(from + i * lanes());
  }
  void fill(T value) {
    for (V& part : part_) part = broadcast<V>(value);
  }
  void fold(const T* from) {
    fold(from, [](V samples) { return samples; });
  }
  // Folds what `map` makes of the samples.
  template <class Map>
  void fold(const T* from, Map&& map) {
    for (int i = 0; i < parts; ++i) {
      part_[i] = Extreme::of(part_[i], map(nuv::load<V>(from + i * lanes())));
    }
  }
  void store(T* to) const {
    for (int i = 0; i < parts; ++i) nuv::store(to + i * lanes(), part_[i]);
  }
  // Stores the extreme of the strip and what stands there; the strip keeps its own.
  void foldInto(T* to) const {
    for (int i = 0; i < parts; ++i) {
      nuv::store(to + i * lanes(), Extreme::of(part_[i], nuv::load<V>(to + i * lanes())));
    }
  }

 private:
  V part_[parts];
};

// Calls body(strip, x) for strips that cover the elements 0..count-1. The last strip of a row may
// overlap the one before it, so the body computes its elements afresh from a source other than its
// result, or the count is a whole number of vectors.
template <class Extreme, class Body>
inline void forStrips(ptrdiff_t count, Body&& body) {
  using T = typename Extreme::Element;
  using V = Vector<T, 32 / sizeof(T)>;
  using Wide = Strip<Extreme, V, 8>;
  using Narrow = Strip<Extreme, V, 1>;
  ptrdiff_t x = 0;
  for (; x + Wide::width() <= count; x += Wide::width()) body(Wide(), x);
  for (; x + Narrow::width() <= count; x += Narrow::width()) body(Narrow(), x);
  if (x == count) return;
  if (count >= Narrow::width()) {
    body(Narrow(), count - Narrow::width());
  } else {
    for (; x < count; ++x) body(Strip<Extreme, Vector<T, 1>, 1>(), x);
  }
}

// to[x] becomes the extreme of from[x + offsets[t]] over all t. In place, the offsets are not
// negative and the count is a whole number of vectors.
template <class Extreme, class Offset>
inline void extremeOfShifts(const typename Extreme::Element* from, const Offset* offsets,
                            int32_t offsetCount, typename Extreme::Element* to, ptrdiff_t count) {
  forStrips<Extreme>(count, [=](auto strip, ptrdiff_t x) {
    strip.load(from + x + offsets[0]);
    for (int32_t t = 1; t < offsetCount; ++t) strip.fold(from + x + offsets[t]);
    strip.store(to + x);
  });
}

}  // namespace nuv

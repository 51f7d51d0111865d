// One channel's pixels under a mask, brought side by side so that a kernel sees a plain row.
#pragma once

#include <cstring>

#include "core/simd.h"

namespace nuv {

// Pixels that a kernel is given at a time: few enough that they stay in the first-level cache, and
// that the sums of 16-bit magnitudes and of 8-bit squares fit 32 bits.
constexpr ptrdiff_t chunkWidth = 2048;

// pixels[x], or otherwise(x) where the mask is 0; otherwise() gives an element, or a vector of
// them. `selected` may be `pixels`.
template <class T, class Otherwise>
void select(const T* pixels, const uint8_t* mask, ptrdiff_t width, T* selected,
            Otherwise&& otherwise) {
  constexpr ptrdiff_t lanes = 32 / sizeof(T);
  using V = Vector<T, lanes>;
  ptrdiff_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const V value = load<V>(pixels + x);
    const V other = otherwise(x, V{});
    if constexpr (sizeof(T) == 1) {
      store(selected + x, load<U8x32>(mask + x) != 0 ? value : other);
    } else if constexpr (sizeof(T) == 2) {
      store(selected + x, loadWidened(mask + x) != 0 ? value : other);
    } else {
      store(selected + x, loadAs32s(mask + x) != 0 ? value : other);
    }
  }
  for (; x < width; ++x) selected[x] = mask[x] != 0 ? pixels[x] : otherwise(x, T{});
}
template <class T>
void select(const T* pixels, const uint8_t* mask, ptrdiff_t width, T* selected, T otherwise) {
  select(pixels, mask, width, selected,
         [=](ptrdiff_t, auto like) { return broadcast<decltype(like)>(otherwise); });
}
template <class T>
void select(const T* pixels, const uint8_t* mask, ptrdiff_t width, T* selected,
            const T* otherwise) {
  select(pixels, mask, width, selected,
         [=](ptrdiff_t x, auto like) { return load<decltype(like)>(otherwise + x); });
}

// The pixels of up to a chunk of a row whose channel's elements lie `stride` apart, `otherwise`
// where the mask is 0: the row itself where nothing has to be done, else in `buffer`. A null mask
// selects all.
template <int stride, class T>
const T* collect(const T* row, const uint8_t* mask, T otherwise, ptrdiff_t width, T* buffer) {
  const T* pixels = row;
  if constexpr (stride != 1) {
    for (ptrdiff_t x = 0; x < width; ++x) buffer[x] = row[x * stride];
    pixels = buffer;
  }
  if (mask == nullptr) return pixels;
  select(pixels, mask, width, buffer, otherwise);
  return buffer;
}

// How many of up to a chunk of mask elements are set. Lanes of 8 bits hold what they count, since a
// chunk has no more than 64 blocks.
inline int32_t countSelected(const uint8_t* mask, ptrdiff_t width) {
  static_assert(chunkWidth / 32 <= 255);
  U8x32 lanes{};
  ptrdiff_t x = 0;
  for (; x + 32 <= width; x += 32) {
    lanes -= reinterpret_cast<U8x32>(load<U8x32>(mask + x) != 0);
  }
  int32_t selected = 0;
  for (int lane = 0; lane < 32; ++lane) selected += lanes[lane];
  for (; x < width; ++x) selected += mask[x] != 0;
  return selected;
}

}  // namespace nuv

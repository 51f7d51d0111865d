// The border model: what stands in for the pixels outside a row, or the rows outside an image.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nuvcv/types.h"

namespace nuv {

// One of the kinds that make up every pixel outside, without flags.
inline bool isPlainBorder(NuviBorderType border) {
  return border >= nuvBorderConstant && border <= nuvBorderMirrorRepeat;
}

// The position inside 0..length-1 that stands in for `position`, which may lie any distance outside
// on either side: reflections and repetitions go on as far as needed. For the plain kinds other
// than the constant one.
inline int64_t borderPosition(NuviBorderType border, int64_t position, int64_t length) {
  if (position >= 0 && position < length) return position;
  if (border == nuvBorderReplicate || length == 1) return position < 0 ? 0 : length - 1;
  const int64_t period = border == nuvBorderWrap     ? length
                         : border == nuvBorderMirror ? 2 * (length - 1)
                                                     : 2 * length;
  int64_t phase = position % period;
  if (phase < 0) phase += period;
  if (phase < length) return phase;
  return border == nuvBorderMirror ? period - phase : period - 1 - phase;
}

// Writes the pixels from `first` up to, not including, `end` of a row that the border continues on
// both sides. `constant` is one pixel, read under the constant kind only.
template <int channels, class T>
inline void extendRow(const T* row, int64_t width, NuviBorderType border, const T* constant,
                      int64_t first, int64_t end, T* out) {
  const auto copyPixels = [&out](const T* from, int64_t count) {
    std::memcpy(out, from, static_cast<size_t>(channels * count) * sizeof(T));
    out += channels * count;
  };
  const auto standIn = [&](int64_t position) {
    return border == nuvBorderConstant ? constant
                                       : row + channels * borderPosition(border, position, width);
  };
  int64_t x = first;
  for (; x < std::min<int64_t>(end, 0); ++x) copyPixels(standIn(x), 1);
  const int64_t insideEnd = std::min(end, width);
  if (x < insideEnd) {
    copyPixels(row + channels * x, insideEnd - x);
    x = insideEnd;
  }
  for (; x < end; ++x) copyPixels(standIn(x), 1);
}

}  // namespace nuv

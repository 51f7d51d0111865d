// Runs along a row: where samples inside an interval begin and end.
#pragma once

#include "core/simd.h"

namespace nuv {

// Whether the sample lies in low..high; a NaN lies in no interval.
template <class T>
inline bool isBetween(T sample, T low, T high) {
  return sample >= low && high >= sample;
}

// The first x in from..end - 1 for which isBetween() tells `wanted`; `end` if there is none.
template <bool wanted, class T>
inline int32_t firstWhere(const T* row, int32_t from, int32_t end, T low, T high) {
#if NUV_AVX2
  constexpr int32_t lanes = 32 / static_cast<int32_t>(sizeof(T));
  using Lanes = Vector<T, lanes>;
  const auto lowest = broadcast<Lanes>(low), highest = broadcast<Lanes>(high);
  for (; end - from >= lanes; from += lanes) {
    const auto samples = load<Lanes>(row + from);
    const auto between = (samples >= lowest) & (highest >= samples);
    auto bytes = static_cast<uint32_t>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(between)));
    if (!wanted) bytes = ~bytes;
    if (bytes != 0) return from + __builtin_ctz(bytes) / static_cast<int32_t>(sizeof(T));
  }
#endif
  while (from < end && isBetween(row[from], low, high) != wanted) ++from;
  return from;
}

}  // namespace nuv

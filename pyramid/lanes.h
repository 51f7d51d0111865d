// What the row kernels of pyramid layers have in common: sums in vectors of 32 bytes.
#pragma once

#include <cmath>
#include <type_traits>

#include "core/simd.h"

namespace nuv {

template <class Sum>
constexpr ptrdiff_t laneCount = 32 / sizeof(Sum);
template <class Sum>
using Lanes = Vector<Sum, laneCount<Sum>>;

// Consecutive elements of any type, as lanes of sums.
template <class Sum, class From>
inline Lanes<Sum> loadLanes(const From* from) {
  if constexpr (std::is_same_v<Sum, From>) {
    return load<Lanes<Sum>>(from);
  } else if constexpr (std::is_same_v<Sum, int32_t>) {
    return loadAs32s(from);
  } else {
    return convert<Lanes<Sum>>(load<Vector<From, laneCount<Sum>>>(from));
  }
}

// The elements from[index[0]], from[index[1]] and so on.
template <class Sum>
inline Lanes<Sum> gatherLanes(const Sum* from, const int32_t* index) {
#if NUV_AVX2
  if constexpr (std::is_same_v<Sum, int32_t>) {
    return reinterpret_cast<S32x8>(_mm256_i32gather_epi32(from, load<__m256i>(index), sizeof(Sum)));
  } else if constexpr (std::is_same_v<Sum, float>) {
    return _mm256_i32gather_ps(from, load<__m256i>(index), sizeof(Sum));
  } else {
    // The form without a mask draws a warning about what it starts from.
    const F64x4 zero = {};
    const auto all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
    return _mm256_mask_i32gather_pd(zero, from, load<__m128i>(index), all, sizeof(Sum));
  }
#else
  Lanes<Sum> result;
  for (ptrdiff_t i = 0; i < laneCount<Sum>; ++i) result[i] = from[index[i]];
  return result;
#endif
}

// Shifts round down. A double holds a whole number, too.
inline int32_t shifted(int32_t value, int32_t bits) { return value >> bits; }
inline double shifted(double value, int32_t bits) {
  return std::floor(value / static_cast<double>(1 << bits));
}
inline S32x8 shifted(S32x8 values, int32_t bits) { return values >> bits; }
inline F64x4 shifted(F64x4 values, int32_t bits) {
#if NUV_AVX2
  return _mm256_floor_pd(values / static_cast<double>(1 << bits));
#else
  for (int i = 0; i < 4; ++i) values[i] = shifted(values[i], bits);
  return values;
#endif
}

}  // namespace nuv

// Thin vector types, for kernels that a plain loop does not make fast enough. They are the
// compiler's own vectors, so arithmetic and comparisons are the plain operators, the same source
// builds for any target, and a lane computes exactly what the scalar expression would.
//
// Intrinsics stand here and, where nothing else does, in a kernel under NUV_AVX2 beside the plain
// loop that serves every other target and the rest of the row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/numeric.h"

#if defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>
#define NUV_AVX2 1
#else
#define NUV_AVX2 0
#endif

namespace nuv {

template <class T, size_t lanes>
struct VectorOf {
  typedef T type __attribute__((vector_size(lanes * sizeof(T))));
};
template <class T, size_t lanes>
using Vector = typename VectorOf<T, lanes>::type;

using S8x16 = Vector<int8_t, 16>;
using S8x32 = Vector<int8_t, 32>;
using U8x16 = Vector<uint8_t, 16>;
using U8x32 = Vector<uint8_t, 32>;
using S16x8 = Vector<int16_t, 8>;
using S16x16 = Vector<int16_t, 16>;
using U16x16 = Vector<uint16_t, 16>;
using S32x8 = Vector<int32_t, 8>;
using F32x8 = Vector<float, 8>;
using F64x4 = Vector<double, 4>;

// A vector from memory of any alignment, and back.
template <class V>
inline V load(const void* from) {
  V value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
template <class V>
inline void store(void* to, V value) {
  std::memcpy(to, &value, sizeof value);
}

// All lanes the same. (A sum with zero would turn -0.0 into +0.0.)
template <class V, class T>
inline V broadcast(T value) {
  return value - V{};
}

// Lane-wise conversion, as static_cast does it.
template <class To, class From>
inline To convert(From value) {
  return __builtin_convertvector(value, To);
}

template <class V>
inline V minimum(V a, V b) {
  return a < b ? a : b;
}
template <class V>
inline V maximum(V a, V b) {
  return a > b ? a : b;
}
#if NUV_AVX2
// Against a constant, the compiler would not see one instruction in the comparison.
inline F32x8 minimum(F32x8 a, F32x8 b) { return _mm256_min_ps(a, b); }
inline F32x8 maximum(F32x8 a, F32x8 b) { return _mm256_max_ps(a, b); }
#endif

// Samples from memory of any alignment, each widened to the next larger integer type.
inline S16x16 loadWidened(const uint8_t* from) {
#if NUV_AVX2
  return reinterpret_cast<S16x16>(
      _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))));
#else
  return convert<S16x16>(load<U8x16>(from));
#endif
}
inline S32x8 loadWidened(const int16_t* from) {
#if NUV_AVX2
  return reinterpret_cast<S32x8>(
      _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))));
#else
  return convert<S32x8>(load<S16x8>(from));
#endif
}

// Eight samples of up to 16 bits from memory of any alignment, as 32-bit integers and as floats.
inline S32x8 loadAs32s(const uint8_t* from) {
#if NUV_AVX2
  return reinterpret_cast<S32x8>(
      _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
#else
  return convert<S32x8>(load<Vector<uint8_t, 8>>(from));
#endif
}
inline S32x8 loadAs32s(const int8_t* from) {
#if NUV_AVX2
  return reinterpret_cast<S32x8>(
      _mm256_cvtepi8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
#else
  return convert<S32x8>(load<Vector<int8_t, 8>>(from));
#endif
}
inline S32x8 loadAs32s(const uint16_t* from) {
#if NUV_AVX2
  return reinterpret_cast<S32x8>(
      _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))));
#else
  return convert<S32x8>(load<Vector<uint16_t, 8>>(from));
#endif
}
inline S32x8 loadAs32s(const int16_t* from) { return loadWidened(from); }
template <class T>
inline F32x8 loadAs32f(const T* from) {
  if constexpr (std::is_same_v<T, float>) {
    return load<F32x8>(from);
  } else {
    return convert<F32x8>(loadAs32s(from));
  }
}

// One bit for each lane of a mask, the first lane's lowest.
inline uint32_t laneBits(S32x8 mask) {
#if NUV_AVX2
  return static_cast<uint32_t>(_mm256_movemask_ps(reinterpret_cast<__m256>(mask)));
#else
  uint32_t bits = 0;
  for (int i = 0; i < 8; ++i) bits |= (mask[i] != 0 ? 1u : 0u) << i;
  return bits;
#endif
}

// `value` where the mask lane is set (all bits), +0.0 elsewhere.
inline F32x8 selectOrZero(S32x8 mask, F32x8 value) {
  return reinterpret_cast<F32x8>(mask & reinterpret_cast<S32x8>(value));
}

// a * b + c, rounded once in each lane.
inline F32x8 fused(F32x8 a, F32x8 b, F32x8 c) {
#if NUV_AVX2
  return _mm256_fmadd_ps(a, b, c);
#else
  F32x8 result;
  for (int i = 0; i < 8; ++i) result[i] = __builtin_fmaf(a[i], b[i], c[i]);
  return result;
#endif
}

// The nearest integers, ties to even, for lanes that fit 32 bits.
inline S32x8 roundNearestEven(F32x8 value) {
#if NUV_AVX2
  return reinterpret_cast<S32x8>(_mm256_cvtps_epi32(value));
#else
  S32x8 result;
  for (int i = 0; i < 8; ++i) result[i] = static_cast<int32_t>(__builtin_rintf(value[i]));
  return result;
#endif
}

// Two vectors narrowed with saturation into one, the lanes of `low` first.
inline S16x16 packSaturate(S32x8 low, S32x8 high) {
#if NUV_AVX2
  const __m256i packed =
      _mm256_packs_epi32(reinterpret_cast<__m256i>(low), reinterpret_cast<__m256i>(high));
  return reinterpret_cast<S16x16>(_mm256_permute4x64_epi64(packed, 0xD8));
#else
  S16x16 result;
  for (int i = 0; i < 8; ++i) {
    result[i] = saturate<int16_t>(low[i]);
    result[i + 8] = saturate<int16_t>(high[i]);
  }
  return result;
#endif
}

// The signed 16-bit lanes narrowed with saturation to 8 bits, unsigned or signed.
template <class To>
inline Vector<To, 16> narrowSaturate(S16x16 value) {
  static_assert(sizeof(To) == 1);
#if NUV_AVX2
  const auto lanes = reinterpret_cast<__m256i>(value);
  const __m128i low = _mm256_castsi256_si128(lanes);
  const __m128i high = _mm256_extracti128_si256(lanes, 1);
  return reinterpret_cast<Vector<To, 16>>(std::is_signed_v<To> ? _mm_packs_epi16(low, high)
                                                               : _mm_packus_epi16(low, high));
#else
  Vector<To, 16> result;
  for (int i = 0; i < 16; ++i) result[i] = saturate<To>(value[i]);
  return result;
#endif
}

// Eight lanes narrowed with saturation to bytes, into memory of any alignment.
inline void storeNarrowed(uint8_t* to, S32x8 value) {
  const U8x16 twice = narrowSaturate<uint8_t>(packSaturate(value, value));
  std::memcpy(to, &twice, 8);
}

}  // namespace nuv

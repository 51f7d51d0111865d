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

// All lanes the same.
template <class V, class T>
inline V broadcast(T value) {
  return V{} + value;
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

}  // namespace nuv

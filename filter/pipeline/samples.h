// Sixteen samples at a time, as the row and column stages compute with them: sums of products in
// 32 bits, sums in float, and the ways back to 16 bits.
#pragma once

#include <cstdint>
#include <type_traits>

#include "core/numeric.h"
#include "core/simd.h"

namespace nuv {

using U32x8 = Vector<uint32_t, 8>;

inline S16x16 loadSamples(const int16_t* from) { return load<S16x16>(from); }
inline S16x16 loadSamples(const uint8_t* from) { return loadWidened(from); }

// Sums of sixteen samples in 32 bits that wrap. The order of the lanes is that of the machine's
// unpacking, which its packing undoes: only the functions here look inside.
struct PairSums {
  U32x8 low, high;
};
// Such sums in float.
struct PairFloats {
  F32x8 low, high;
};

inline PairSums operator+(PairSums a, PairSums b) { return {a.low + b.low, a.high + b.high}; }
inline PairFloats operator+(PairFloats a, PairFloats b) { return {a.low + b.low, a.high + b.high}; }

// Two coefficients for the two partners of a pair of samples.
inline S32x8 coefficientPair(int16_t first, int16_t second = 0) {
  return broadcast<S32x8>(static_cast<int32_t>(
      static_cast<uint16_t>(first) | static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16));
}

// first * (first coefficient) + second * (second coefficient).
inline PairSums multiplyPairs(S16x16 first, S16x16 second, S32x8 coefficients) {
#if NUV_AVX2
  const auto a = reinterpret_cast<__m256i>(first);
  const auto b = reinterpret_cast<__m256i>(second);
  const auto k = reinterpret_cast<__m256i>(coefficients);
  return {reinterpret_cast<U32x8>(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), k)),
          reinterpret_cast<U32x8>(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), k))};
#else
  const auto k = static_cast<uint32_t>(coefficients[0]);
  const int32_t k0 = static_cast<int16_t>(k & 0xFFFF);
  const int32_t k1 = static_cast<int16_t>(k >> 16);
  PairSums sums;
  for (int i = 0; i < 8; ++i) {
    sums.low[i] = static_cast<uint32_t>(first[i] * k0) + static_cast<uint32_t>(second[i] * k1);
    sums.high[i] =
        static_cast<uint32_t>(first[i + 8] * k0) + static_cast<uint32_t>(second[i + 8] * k1);
  }
  return sums;
#endif
}

inline PairSums widen(S16x16 samples) {
  return multiplyPairs(samples, S16x16{}, coefficientPair(1));
}
inline PairFloats toFloat(PairSums sums) {
  return {convert<F32x8>(reinterpret_cast<S32x8>(sums.low)),
          convert<F32x8>(reinterpret_cast<S32x8>(sums.high))};
}

// Back to 16 bits, with saturation.
inline S16x16 packSaturate(PairSums sums) {
#if NUV_AVX2
  return reinterpret_cast<S16x16>(_mm256_packs_epi32(reinterpret_cast<__m256i>(sums.low),
                                                     reinterpret_cast<__m256i>(sums.high)));
#else
  return packSaturate(reinterpret_cast<S32x8>(sums.low), reinterpret_cast<S32x8>(sums.high));
#endif
}

inline PairSums shiftRightSigned(PairSums sums, int bits) {
  return {reinterpret_cast<U32x8>(reinterpret_cast<S32x8>(sums.low) >> bits),
          reinterpret_cast<U32x8>(reinterpret_cast<S32x8>(sums.high) >> bits)};
}

// The low 16 bits of each sum.
inline S16x16 packLowBits(PairSums sums) {
  return packSaturate(shiftRightSigned({sums.low << 16, sums.high << 16}, 16));
}

// (sum * factor) >> 14, saturated: the quotient of the 16-bit forms, whose factor is 2^14 /
// divisor.
inline S16x16 scaleFixedPoint(S16x16 sums, int16_t factor) {
  return packSaturate(shiftRightSigned(multiplyPairs(sums, S16x16{}, coefficientPair(factor)), 14));
}

inline F32x8 clampTo16s(F32x8 value) {
  return minimum(maximum(value, broadcast<F32x8>(-32768.0f)), broadcast<F32x8>(32767.0f));
}

// Scaled, clamped to 16 bits, and rounded to nearest even.
inline S16x16 roundScaled(PairFloats sums, float scale) {
  return packSaturate(
      PairSums{reinterpret_cast<U32x8>(roundNearestEven(clampTo16s(sums.low * scale))),
               reinterpret_cast<U32x8>(roundNearestEven(clampTo16s(sums.high * scale)))});
}
// Scaled, clamped to 16 bits, and truncated toward zero.
inline S16x16 truncateScaled(PairFloats sums, float scale) {
  return packSaturate(PairSums{convert<U32x8>(convert<S32x8>(clampTo16s(sums.low * scale))),
                               convert<U32x8>(convert<S32x8>(clampTo16s(sums.high * scale)))});
}

// Sixteen floats in the order of the samples.
struct Floats {
  F32x8 low, high;
};
// Sixteen samples in 32 bits, likewise.
struct Integers {
  S32x8 low, high;
};

inline Integers loadIntegers(const int16_t* from) {
  return {loadWidened(from), loadWidened(from + 8)};
}
inline Integers operator+(Integers a, Integers b) { return {a.low + b.low, a.high + b.high}; }
inline Floats toFloat(Integers value) {
  return {convert<F32x8>(value.low), convert<F32x8>(value.high)};
}
inline Floats operator+(Floats a, Floats b) { return {a.low + b.low, a.high + b.high}; }
inline Floats operator*(Floats a, float b) { return {a.low * b, a.high * b}; }
inline Floats fused(Floats a, float b, Floats c) {
  return {fused(a.low, broadcast<F32x8>(b), c.low), fused(a.high, broadcast<F32x8>(b), c.high)};
}

// Clamped to 16 bits, and rounded to nearest even or truncated toward zero.
inline S16x16 roundSaturate(Floats value) {
  return packSaturate(roundNearestEven(clampTo16s(value.low)),
                      roundNearestEven(clampTo16s(value.high)));
}
inline S16x16 truncateSaturate(Floats value) {
  return packSaturate(convert<S32x8>(clampTo16s(value.low)),
                      convert<S32x8>(clampTo16s(value.high)));
}

// The coefficients of a kernel whose length is known when compiling, kept in registers; with
// `count` 0 any number of them, where they are.
template <class Coefficient, int count>
class Taps {
 public:
  Taps(const Coefficient* kernel, int32_t) {
    for (int j = 0; j < count; ++j) kernel_[j] = kernel[j];
  }
  static constexpr int32_t size() { return count; }
  Coefficient operator[](int32_t j) const { return kernel_[j]; }

 private:
  Coefficient kernel_[count];
};
template <class Coefficient>
class Taps<Coefficient, 0> {
 public:
  Taps(const Coefficient* kernel, int32_t size) : kernel_(kernel), size_(size) {}
  int32_t size() const { return size_; }
  Coefficient operator[](int32_t j) const { return kernel_[j]; }

 private:
  const Coefficient* kernel_;
  int32_t size_;
};

// Calls body(count) with the constant 3 or 5 for that many taps, and 0 for any other number.
template <class Body>
inline void withTapCount(int32_t size, Body&& body) {
  if (size == 3) {
    body(std::integral_constant<int, 3>());
  } else if (size == 5) {
    body(std::integral_constant<int, 5>());
  } else {
    body(std::integral_constant<int, 0>());
  }
}

}  // namespace nuv

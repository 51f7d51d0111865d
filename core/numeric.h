// Arithmetic that the contract fixes to the bit: fused steps, rounding, saturation, wrapping.
// Each has one helper here, named after what it does; kernels never spell them out again.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace nuv {

// The next loop has no dependence between its iterations other than an exact in-place one, so it
// may be vectorised without a test for overlap.
#define NUV_IVDEP _Pragma("GCC ivdep")

// a * b + c, rounded once.
inline float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
inline double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }

// Signed arithmetic modulo 2 to the 32nd.
inline int32_t wrappingMultiply(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
inline int32_t wrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrappingSubtract(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// `value` brought into low..high. A NaN becomes `low`.
template <class T>
inline T clampTo(T value, T low, T high) {
  const T raised = value > low ? value : low;
  return raised < high ? raised : high;
}

// `value` brought into the range of the integer type To.
template <class To, class From>
inline To saturate(From value) {
  static_assert(std::is_integral_v<To> && std::is_integral_v<From> && sizeof(From) >= sizeof(To));
  return static_cast<To>(clampTo(value, static_cast<From>(std::numeric_limits<To>::min()),
                                 static_cast<From>(std::numeric_limits<To>::max())));
}

// Rounded to nearest, ties to even, and saturated to the range of To (8 or 16 bits). After the
// clamp the sum with 1.5 * 2^23 rounds to a whole number in the default rounding mode, and its low
// bits are that number.
template <class To>
inline To roundSaturate(float value) {
  static_assert(sizeof(To) <= 2);
  constexpr auto low = static_cast<float>(std::numeric_limits<To>::min());
  constexpr auto high = static_cast<float>(std::numeric_limits<To>::max());
  const float biased = clampTo(value, low, high) + 12582912.0f;
  int32_t bits;
  __builtin_memcpy(&bits, &biased, sizeof bits);
  return static_cast<To>(bits - 0x4B400000);
}

// Clamped to the range of To (8 or 16 bits), then truncated toward zero.
template <class To>
inline To truncateSaturate(float value) {
  static_assert(sizeof(To) <= 2);
  constexpr auto low = static_cast<float>(std::numeric_limits<To>::min());
  constexpr auto high = static_cast<float>(std::numeric_limits<To>::max());
  return static_cast<To>(static_cast<int32_t>(clampTo(value, low, high)));
}

// Truncated toward zero. What does not fit into 32 bits, and a NaN, becomes the most negative
// integer.
inline int32_t truncateOrLowest(double value) {
  return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int32_t>(value)
                                                       : std::numeric_limits<int32_t>::min();
}

// The next multiple of `multiple` (a power of two) at or above `value`.
template <class T>
constexpr T alignUp(T value, T multiple) {
  return (value + multiple - 1) & ~(multiple - 1);
}

}  // namespace nuv

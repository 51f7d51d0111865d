// Kernels that reach every rounding of the separable stages, and parts of both stages' references.
#pragma once

#include <algorithm>
#include <cmath>

#include "support/guarded.h"

namespace testing_support {

// A kernel and its divisor. Small ones leave halves to round, large ones saturate, wrap and lose
// bits in float; some are symmetric.
template <class Coefficient>
struct RandomKernel {
  std::vector<Coefficient> taps;
  int32_t divisor;
  bool isSmall;

  RandomKernel(int32_t count, unsigned seed) {
    std::mt19937 random(seed);
    constexpr int32_t small[] = {1, 2, 3, 6, 9, -4, -1};
    constexpr int32_t large[] = {1, 256, 30000, 50000, -40000, 1 << 20};
    isSmall = random() % 2 == 0;
    divisor = isSmall ? small[random() % 7] : large[random() % 6];
    RandomSamples<Coefficient> any(seed + 1);
    for (int32_t j = 0; j < count; ++j) {
      taps.push_back(static_cast<Coefficient>(isSmall ? std::fmod(any(), 10) : any()));
    }
    if (random() % 3 == 0) std::copy_n(taps.begin(), count / 2, taps.rbegin());
  }

  // Samples that suit it.
  template <class Sample>
  auto samples(unsigned seed) const {
    return [small = isSmall, any = RandomSamples<Sample>(seed)]() mutable {
      return static_cast<Sample>(small ? std::fmod(any(), 100) : any());
    };
  }
};

template <class To>
To clamped(double value) {
  using Limits = std::numeric_limits<To>;
  return static_cast<To>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

template <class Sample>
int64_t exactSum(const std::vector<Sample>& samples, const std::vector<int16_t>& kernel) {
  int64_t sum = 0;
  for (size_t j = 0; j < kernel.size(); ++j) sum += int64_t{kernel[j]} * samples[j];
  return sum;
}

inline float inverseOf(int32_t divisor) { return 1.0f / static_cast<float>(divisor); }

// The low forms: the wrapped sum, scaled and saturated; or the full one, scaled, its low bits.
inline int16_t lowWrapped(int64_t sum, int32_t divisor) {
  const auto factor = static_cast<int32_t>(16384.0f / static_cast<float>(divisor));
  const auto wrapped = static_cast<int16_t>(sum);
  return divisor == 1 ? wrapped : clamped<int16_t>((wrapped * factor) >> 14);
}
inline int16_t lowFull(int64_t sum, int32_t divisor) {
  const auto factor = static_cast<int32_t>(16384.0f / static_cast<float>(divisor));
  return static_cast<int16_t>(static_cast<uint32_t>(sum * factor) >> 14);
}

}  // namespace testing_support

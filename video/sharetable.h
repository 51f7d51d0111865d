// A table of how often a pixel has had a value, which learns by forgetting: the entries that a
// value passes fade, and the value enters anew with the rate as its share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/numeric.h"
#include "core/simd.h"

namespace nuv {

// `stored` entries, of which the first `used` take part in decisions and sums. An entry's value has
// `valueBytes` bytes, kept in planes.
template <int32_t stored, int32_t used, int32_t valueBytes>
struct ShareTable {
  static_assert(stored <= 64);

  uint8_t values[valueBytes][stored];
  float shares[stored];
  float conditionals[stored];  // the part of the share that fell to the background

  struct Sums {
    float share = 0.0f;
    float conditional = 0.0f;
    int32_t entries = 0;
  };

  // Fades the leading entries, up to and with the first one that differs from `value` by more than
  // `tolerance` in any byte. What fades below 1e-10 is emptied and does not end the walk; an entry
  // that was empty before ends it if `stopsAtEmpty`.
  void fade(const uint8_t* value, int32_t tolerance, float keep, bool stopsAtEmpty) {
    const uint64_t differing = differingEntries(value, tolerance);
    const int32_t first = differing == 0 ? stored : __builtin_ctzll(differing) + 1;
    if (fadesWhole(first, keep)) {
      NUV_IVDEP
      for (int32_t i = 0; i < first; ++i) {
        shares[i] *= keep;
        conditionals[i] *= keep;
      }
      return;
    }
    for (int32_t i = 0; i < stored; ++i) {
      if (stopsAtEmpty && shares[i] == 0.0f) return;
      shares[i] *= keep;
      conditionals[i] *= keep;
      if (shares[i] < least) {
        shares[i] = conditionals[i] = 0.0f;
      } else if ((differing >> i & 1) != 0) {
        return;
      }
    }
  }

  // Overwrites the last entry, then moves it in front of the first one whose share is not above its
  // own.
  void insert(const uint8_t* value, float rate) {
    const int32_t place = firstNotAbove(rate);
    insertAt(place, rate, shares);
    insertAt(place, rate, conditionals);
    for (int32_t b = 0; b < valueBytes; ++b) {
      uint8_t* const at = values[b] + place;
      std::memmove(at + 1, at, static_cast<size_t>(stored - 1 - place));
      *at = value[b];
    }
  }

  // Over the used entries before the first empty one.
  Sums sums() const {
    Sums sums;
    while (sums.entries < used && shares[sums.entries] != 0.0f) {
      sums.share += shares[sums.entries];
      sums.conditional += conditionals[sums.entries++];
    }
    return sums;
  }

  // Over the used entries before the first with a share of `floor` or less, those whose first three
  // value bytes (0 where it has fewer) are near to `bytes`.
  Sums sumsNear(const uint8_t* bytes, int32_t tolerance, float floor) const {
    Sums sums;
    for (int32_t i = 0; i < used && shares[i] > floor; ++i) {
      bool isNear = true;
      for (int32_t b = 0; b < 3; ++b) {
        const int32_t value = b < valueBytes ? values[b < valueBytes ? b : 0][i] : 0;
        isNear &= isWithin(value - bytes[b], tolerance);
      }
      if (!isNear) continue;
      sums.share += shares[i];
      sums.conditional += conditionals[i];
    }
    return sums;
  }

 private:
  // The float below it is less than 1e-10 in double precision, too.
  static constexpr float least = 1e-10f;
  static_assert(double{least} >= 1e-10);

  static bool isWithin(int32_t difference, int32_t tolerance) {
    return difference <= tolerance && -difference <= tolerance;
  }

  // One bit for each entry.
  uint64_t differingEntries(const uint8_t* value, int32_t tolerance) const {
    uint64_t differing = 0;
    for (int32_t b = 0; b < valueBytes; ++b) {
      differing |= differingBits(values[b], value[b], static_cast<uint8_t>(tolerance));
    }
    return differing;
  }

  // The vectors pass the end of a plane or of the shares, and stay in the table.
  static uint64_t differingBits(const uint8_t* plane, uint8_t value, uint8_t tolerance) {
    uint64_t bits = 0;
#if NUV_AVX2
    const auto wanted = broadcast<U8x32>(value), allowed = broadcast<U8x32>(tolerance);
    for (int32_t i = 0; i < stored; i += 32) {
      const auto entries = load<U8x32>(plane + i);
      const auto beyond = maximum(entries, wanted) - minimum(entries, wanted) > allowed;
      const auto lanes =
          static_cast<uint32_t>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(beyond)));
      bits |= uint64_t{lanes} << i;
    }
    bits &= ~uint64_t{0} >> (64 - stored);
#else
    for (int32_t i = 0; i < stored; ++i) {
      bits |= uint64_t{!isWithin(plane[i] - value, tolerance)} << i;
    }
#endif
    return bits;
  }

  // The first entry whose share is not above `share`, or the last entry.
  int32_t firstNotAbove(float share) const {
#if NUV_AVX2
    for (int32_t i = 0; i < stored; i += 8) {
      const uint32_t lanes = laneBits(load<F32x8>(shares + i) <= broadcast<F32x8>(share));
      if (lanes != 0) return std::min<int32_t>(i + __builtin_ctz(lanes), stored - 1);
    }
    return stored - 1;
#else
    int32_t place = 0;
    while (place < stored - 1 && !(share >= shares[place])) ++place;
    return place;
#endif
  }

  bool fadesWhole(int32_t count, float keep) const {
    int32_t low = 0;
    for (int32_t i = 0; i < count; ++i) low |= shares[i] * keep < least;
    return low == 0;
  }

  static void insertAt(int32_t place, float value, float* entries) {
    float moved[stored];
    moved[0] = place == 0 ? value : entries[0];
    for (int32_t i = 1; i < stored; ++i) {
      const float kept = i < place ? entries[i] : entries[i - 1];
      moved[i] = i == place ? value : kept;
    }
    std::memcpy(entries, moved, sizeof moved);
  }
};

}  // namespace nuv

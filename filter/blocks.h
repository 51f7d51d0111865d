// The blocks of neighbouring pixels that the filters with a border compute with, and the ways in
// which a block of sums becomes results.
#pragma once

#include <cstring>

#include "core/numeric.h"
#include "core/simd.h"

namespace nuv {

// Thirty-two bytes, or sums of them in 16 bits, which are exact: those of the even columns and
// those of the odd ones apart. A mask and a shift split bytes this way, where widening them in
// order would shuffle every load, and bytes come together again as easily.
struct ByteBlock {
  S16x16 even, odd;
};

inline ByteBlock operator+(ByteBlock a, ByteBlock b) { return {a.even + b.even, a.odd + b.odd}; }
inline ByteBlock operator-(ByteBlock a, ByteBlock b) { return {a.even - b.even, a.odd - b.odd}; }
inline ByteBlock operator-(ByteBlock a) { return {-a.even, -a.odd}; }
inline ByteBlock operator*(ByteBlock a, int factor) {
  const auto narrow = static_cast<int16_t>(factor);
  return {a.even * narrow, a.odd * narrow};
}

// The block of each kind of sample.
template <class Sample>
struct BlockOf;
template <>
struct BlockOf<int16_t> {
  using type = ByteBlock;
  static constexpr ptrdiff_t columns = 32;
};
template <>
struct BlockOf<float> {
  using type = F32x8;
  static constexpr ptrdiff_t columns = 8;
};

// A block of a ring row, from memory of any alignment, and back.
inline void load(const int16_t* from, ByteBlock& block) {
  block = {load<S16x16>(from), load<S16x16>(from + 16)};
}
inline void load(const float* from, F32x8& block) { block = load<F32x8>(from); }
inline void store(int16_t* to, ByteBlock block) {
  store(to, block.even);
  store(to + 16, block.odd);
}

// The block of pixels that begins `offset` columns behind `at`. At an odd offset the even columns
// of the block are the odd ones of the bytes from one column before, and the odd ones the even ones
// from one column on. So neighbouring offsets share loads; one more byte is read on either side.
inline ByteBlock loadPixels(const uint8_t* at, ptrdiff_t offset) {
  const auto lower = [&](ptrdiff_t from) {
    return reinterpret_cast<S16x16>(load<U16x16>(at + from) & static_cast<uint16_t>(0xFF));
  };
  const auto upper = [&](ptrdiff_t from) {
    return reinterpret_cast<S16x16>(load<U16x16>(at + from) >> 8);
  };
  if (offset % 2 == 0) return {lower(offset), upper(offset)};
  return {upper(offset - 1), lower(offset + 1)};
}
inline F32x8 loadPixels(const float* at, ptrdiff_t offset) { return load<F32x8>(at + offset); }

// a * factor + c: in float rounded once, in 16 bits exact.
inline ByteBlock multiplyAdd(ByteBlock a, int factor, ByteBlock c) { return a * factor + c; }
inline F32x8 multiplyAdd(F32x8 a, int factor, F32x8 c) {
  return fused(broadcast<F32x8>(static_cast<float>(factor)), a, c);
}

// ---- results of a whole block

// The sums as they are.
struct AsFloat {
  using Result = float;
  explicit AsFloat(float) {}
  void operator()(F32x8 sum, float* dst) const { store(dst, sum); }
};
struct AsShort {
  using Result = int16_t;
  explicit AsShort(float) {}
  void operator()(ByteBlock sum, int16_t* dst) const {
#if NUV_AVX2
    const auto even = reinterpret_cast<__m256i>(sum.even);
    const auto odd = reinterpret_cast<__m256i>(sum.odd);
    const __m256i low = _mm256_unpacklo_epi16(even, odd);
    const __m256i high = _mm256_unpackhi_epi16(even, odd);
    store(dst, _mm256_permute2x128_si256(low, high, 0x20));
    store(dst + 16, _mm256_permute2x128_si256(low, high, 0x31));
#else
    for (int i = 0; i < 16; ++i) {
      dst[2 * i] = sum.even[i];
      dst[2 * i + 1] = sum.odd[i];
    }
#endif
  }
};

// Sums that fit a byte.
struct AsByte {
  using Result = uint8_t;
  explicit AsByte(float) {}
  void operator()(ByteBlock sum, uint8_t* dst) const { store(dst, sum.even | sum.odd << 8); }
};

// Sums in float times the inverse of the divisor, saturated to 8 bits signed. Whole groups of 8
// columns are rounded to nearest even; the columns behind the last of them are truncated.
class AsQuotient {
 public:
  using Result = int8_t;
  explicit AsQuotient(float inverse) : inverse_(inverse) {}

  void operator()(ByteBlock sum, int8_t* dst) const {
    write(sum, dst, [](F32x8 value) { return roundNearestEven(value); });
  }
  void truncated(ByteBlock sum, int8_t* dst) const {
    write(sum, dst, [](F32x8 value) { return convert<S32x8>(value); });
  }

 private:
  template <class ToInteger>
  void write(ByteBlock sum, int8_t* dst, ToInteger&& toInteger) const {
    // 16-bit sums at the upper end of 32 bits are 2^16 times as large, exactly.
    const float scale = inverse_ / 65536.0f;
    const auto lower = [&](S16x16 sums) {
      return toInteger(convert<F32x8>(reinterpret_cast<S32x8>(sums) << 16) * scale);
    };
    const auto upper = [&](S16x16 sums) {
      return toInteger(convert<F32x8>(reinterpret_cast<S32x8>(sums) & -65536) * scale);
    };
    // Column 4 i + k stands in lane i of quarter k.
    const S32x8 quarters[] = {lower(sum.even), lower(sum.odd), upper(sum.even), upper(sum.odd)};
#if NUV_AVX2
    const auto quarter = [&](int k) { return reinterpret_cast<__m256i>(quarters[k]); };
    const __m256i packed = _mm256_packs_epi16(_mm256_packs_epi32(quarter(0), quarter(1)),
                                              _mm256_packs_epi32(quarter(2), quarter(3)));
    const __m256i order = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    store(dst, _mm256_shuffle_epi8(packed, order));
#else
    for (int i = 0; i < 32; ++i) dst[i] = saturate<int8_t>(quarters[i % 4][i / 4]);
#endif
  }

  float inverse_;
};

// The first `count` columns of a block that passes the end of the row.
template <class Write, class Sum>
void writeTail(const Write& write, Sum sum, typename Write::Result* dst, ptrdiff_t count) {
  typename Write::Result whole[32];
  write(sum, whole);
  std::memcpy(dst, whole, static_cast<size_t>(count) * sizeof(*dst));
}
inline void writeTail(const AsQuotient& write, ByteBlock sum, int8_t* dst, ptrdiff_t count) {
  const ptrdiff_t rounded = count / 8 * 8;
  int8_t whole[32];
  write(sum, whole);
  std::memcpy(dst, whole, static_cast<size_t>(rounded));
  write.truncated(sum, whole);
  std::memcpy(dst + rounded, whole + rounded, static_cast<size_t>(count - rounded));
}

}  // namespace nuv

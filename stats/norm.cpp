// Norms under a mask: of one image, of the difference of two, and of that difference relative to
// the second image. Integer norms are exact. In a float term the mask is a factor and every step is
// rounded to single precision; sums of terms are formed in double precision.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "core/check.h"
#include "core/image.h"
#include "core/simd.h"
#include "nuvcv/stats.h"
#include "stats/gate.h"
#include "stats/select.h"

namespace nuv {
namespace {

enum class Kind { inf, l1, l2 };

// ---- integers

// The norm of up to a chunk of differences of pixels side by side, before the final root. A
// magnitude fits the unsigned type of the pixels, a difference the next wider signed type.
template <Kind kind, class T>
double chunkNorm(const T* a, const T* b, ptrdiff_t width) {
  if constexpr (kind == Kind::inf) {
    using Magnitude = std::make_unsigned_t<T>;
    Magnitude most = 0;
    for (ptrdiff_t x = 0; x < width; ++x) {
      const auto magnitude = static_cast<Magnitude>(a[x] > b[x] ? a[x] - b[x] : b[x] - a[x]);
      most = magnitude > most ? magnitude : most;
    }
    return most;
  } else if constexpr (kind == Kind::l1) {
    int32_t sum = 0;
    for (ptrdiff_t x = 0; x < width; ++x) sum += std::abs(a[x] - b[x]);
    return sum;
  } else {
    using Difference = std::conditional_t<sizeof(T) == 1, int16_t, int64_t>;
    using Square = std::conditional_t<sizeof(T) == 1, int32_t, int64_t>;
    Square sum = 0;
    for (ptrdiff_t x = 0; x < width; ++x) {
      const auto difference = static_cast<Difference>(a[x] - b[x]);
      sum += Square{difference} * Square{difference};
    }
    return static_cast<double>(sum);
  }
}

// What the pixels of one image alone are a difference to.
template <class T>
constexpr T zeros[chunkWidth] = {};

// Joins the norms of parts before the final root.
template <Kind kind>
inline double joined(double a, double b) {
  return kind == Kind::inf ? std::max(a, b) : a + b;
}

// Under a zero mask a pixel is 0, or equal to the one that it is compared with.
template <Kind kind, bool difference, int stride, class T>
double rowNorm(const T* a, const T* b, const uint8_t* mask, ptrdiff_t width) {
  double norm = 0.0;
  for (ptrdiff_t x = 0; x < width; x += chunkWidth) {
    const ptrdiff_t count = std::min(width - x, chunkWidth);
    T firstBuffer[chunkWidth], secondBuffer[chunkWidth];
    const uint8_t* const firstMask = difference ? nullptr : mask + x;
    const T* const first = collect<stride>(a + x * stride, firstMask, T{0}, count, firstBuffer);
    const T* second = zeros<T>;
    if constexpr (difference) {
      second = collect<stride, T>(b + x * stride, nullptr, T{0}, count, secondBuffer);
      select(second, mask + x, count, secondBuffer, first);
      second = secondBuffer;
    }
    norm = joined<kind>(norm, chunkNorm<kind>(first, second, count));
  }
  return norm;
}

// ---- floats

// Every step of a term is rounded to single precision. F is a float or a vector of them.
template <Kind kind, class F>
inline F floatTerm(F value, F factor, F magnitude) {
  if constexpr (kind == Kind::l2) {
    const F t = value * factor;
    return t * t;
  } else {
    return magnitude * factor;
  }
}

// The magnitude that `Inf` and `L1` multiply by the mask is that of x; of a difference they take
// the magnitude behind the multiplication, which is the same value.
template <bool difference, int stride>
inline float valueAt(const float* a, const float* b, ptrdiff_t x) {
  return difference ? a[x * stride] - b[x * stride] : a[x * stride];
}

// A running norm of terms: the largest float, where a NaN leaves the running one, or a double sum.
template <Kind kind>
struct FloatNorm {
  float most = 0.0f;
  double sum = 0.0;

  void add(float term) {
    if constexpr (kind == Kind::inf) {
      most = term > most ? term : most;
    } else {
      sum += static_cast<double>(term);
    }
  }
  double result() const { return kind == Kind::inf ? static_cast<double>(most) : sum; }
};

template <Kind kind>
struct FloatNormLanes {
  F32x8 most{};
  F64x4 low{}, high{};

  void add(F32x8 terms) {
    if constexpr (kind == Kind::inf) {
      most = maximum(terms, most);
    } else {
      low += convert<F64x4>(__builtin_shufflevector(terms, terms, 0, 1, 2, 3));
      high += convert<F64x4>(__builtin_shufflevector(terms, terms, 4, 5, 6, 7));
    }
  }
  FloatNorm<kind> fold() const {
    FloatNorm<kind> norm;
    if constexpr (kind == Kind::inf) {
      for (int lane = 0; lane < 8; ++lane) norm.add(most[lane]);
    } else {
      const F64x4 sum = low + high;
      norm.sum = (sum[0] + sum[2]) + (sum[1] + sum[3]);
    }
    return norm;
  }
};

inline F32x8 magnitudeOf(F32x8 value) {
  return reinterpret_cast<F32x8>(reinterpret_cast<S32x8>(value) & INT32_MAX);
}

template <Kind kind, bool difference, int stride>
double rowNorm(const float* a, const float* b, const uint8_t* mask, ptrdiff_t width) {
  FloatNorm<kind> norm;
  ptrdiff_t x = 0;
  if constexpr (stride == 1) {
    FloatNormLanes<kind> lanes;
    const F32x8 one = broadcast<F32x8>(1.0f);
    for (; x + 8 <= width; x += 8) {
      F32x8 value = load<F32x8>(a + x);
      if constexpr (difference) value -= load<F32x8>(b + x);
      const F32x8 factor = selectOrZero(loadAs32s(mask + x) != 0, one);
      lanes.add(floatTerm<kind>(value, factor, magnitudeOf(value)));
    }
    norm = lanes.fold();
  }
  for (; x < width; ++x) {
    const float value = valueAt<difference, stride>(a, b, x);
    const float factor = mask[x] != 0 ? 1.0f : 0.0f;
    norm.add(floatTerm<kind>(value, factor, __builtin_fabsf(value)));
  }
  return norm.result();
}

// ---- the operations

// Norms before the final root: of the terms, and of the second image in a relative norm.
struct Parts {
  double norm = 0.0;
  double reference = 0.0;
};

enum class Family { norm, difference, relative };

template <Family family, Kind kind, int stride, class T>
Parts imageNorms(Gate gate, const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step,
                 const uint8_t* pMask, int32_t maskStep, NuviSize roiSize, int32_t coi) {
  constexpr bool difference = family != Family::norm;
  const Image<const T> src1(pSrc1 + (coi - 1), src1Step);
  const Image<const T> src2(difference ? pSrc2 + (coi - 1) : nullptr, src2Step);
  const Image<const uint8_t> mask(pMask, maskStep);
  ThreadSlots<Parts> slots(ownGetNumThreads());
  const int32_t used = reduceRowShares(
      staysSerial(gate, roiSize), roiSize.height, slots,
      [&](Parts& slot, int32_t firstRow, int32_t rows) {
        Parts parts;  // apart from the slots, which lie side by side
        for (int32_t y = firstRow; y < firstRow + rows; ++y) {
          const T* const second = difference ? src2.row(y) : nullptr;
          parts.norm = joined<kind>(
              parts.norm,
              rowNorm<kind, difference, stride>(src1.row(y), second, mask.row(y), roiSize.width));
          if (family == Family::relative) {
            parts.reference = joined<kind>(
                parts.reference,
                rowNorm<kind, false, stride>(second, second, mask.row(y), roiSize.width));
          }
        }
        slot = parts;
      });
  Parts total;
  for (int32_t t = 0; t < used; ++t) {
    total.norm = joined<kind>(total.norm, slots[t].norm);
    total.reference = joined<kind>(total.reference, slots[t].reference);
  }
  return total;
}

template <Kind kind>
inline double rooted(double value) {
  return kind == Kind::l2 ? std::sqrt(value) : value;
}

// One root of the ratio, not the ratio of two roots.
template <Kind kind>
NuvStatus writeRatio(const Parts& parts, double* pValue) {
  if (parts.reference != 0.0) {
    *pValue = rooted<kind>(parts.norm / parts.reference);
    return nuvStatusOk;
  }
  if (parts.norm == 0.0) {
    *pValue = -std::numeric_limits<double>::quiet_NaN();  // the one with its sign bit set
  } else {
    *pValue = parts.norm > 0.0 ? HUGE_VAL : -HUGE_VAL;
  }
  return nuvStatusDivisorZero;
}

template <Kind kind, int stride, class T>
NuvStatus norm(Gate gate, const T* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
               NuviSize roiSize, int32_t coi, double* pValue) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pMask, pValue)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, stride)
                               .elementMultiple(pSrc, srcStep)
                               .step(pMask, maskStep, roiSize.width)
                               .channel(coi)
                               .status();
  if (status != nuvStatusOk) return status;

  const Parts parts = imageNorms<Family::norm, kind, stride, T>(gate, pSrc, srcStep, nullptr, 0,
                                                                pMask, maskStep, roiSize, coi);
  *pValue = rooted<kind>(parts.norm);
  return nuvStatusOk;
}

template <Family family, Kind kind, int stride, class T>
NuvStatus differenceNorm(Gate gate, const T* pSrc1, int32_t src1Step, const T* pSrc2,
                         int32_t src2Step, const uint8_t* pMask, int32_t maskStep, NuviSize roiSize,
                         int32_t coi, double* pValue) {
  const NuvStatus status = Check()
                               .pointers(pSrc1, pSrc2, pMask, pValue)
                               .size(roiSize)
                               .step(pSrc1, src1Step, roiSize.width, stride)
                               .step(pSrc2, src2Step, roiSize.width, stride)
                               .step(pMask, maskStep, roiSize.width)
                               .elementMultiple(pSrc1, src1Step, src2Step)
                               .channel(coi)
                               .status();
  if (status != nuvStatusOk) return status;

  const Parts parts = imageNorms<family, kind, stride>(gate, pSrc1, src1Step, pSrc2, src2Step,
                                                       pMask, maskStep, roiSize, coi);
  if (family == Family::relative) return writeRatio<kind>(parts, pValue);
  *pValue = rooted<kind>(parts.norm);
  return nuvStatusOk;
}

constexpr Gate byFourTimesTheArea = {0x80000, false};

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NORM(kindName, kind, form, T, gateC1, gateC3)                                             \
  NuvStatus nuviNorm_##kindName##_##form##_C1MR(const T* pSrc, int32_t srcStep,                   \
                                                const uint8_t* pMask, int32_t maskStep,           \
                                                NuviSize roiSize, double* pValue) {               \
    return norm<Kind::kind, 1>(gateC1, pSrc, srcStep, pMask, maskStep, roiSize, 1, pValue);       \
  }                                                                                               \
  NuvStatus nuviNorm_##kindName##_##form##_C3CMR(const T* pSrc, int32_t srcStep,                  \
                                                 const uint8_t* pMask, int32_t maskStep,          \
                                                 NuviSize roiSize, int32_t coi, double* pValue) { \
    return norm<Kind::kind, 3>(gateC3, pSrc, srcStep, pMask, maskStep, roiSize, coi, pValue);     \
  }

NORM(Inf, inf, 8u, uint8_t, byFourTimesTheArea, byArea)
NORM(Inf, inf, 8s, int8_t, byFourTimesTheArea, byArea)
NORM(Inf, inf, 16u, uint16_t, byFourTimesTheArea, byArea)
NORM(Inf, inf, 32f, float, byArea, byArea)
NORM(L1, l1, 8u, uint8_t, byAreaAndCores, byArea)
NORM(L1, l1, 8s, int8_t, byAreaAndCores, byArea)
NORM(L1, l1, 16u, uint16_t, byArea, byArea)
NORM(L1, l1, 32f, float, byArea, byArea)
NORM(L2, l2, 8u, uint8_t, byAreaAndCores, byAreaAndCores)
NORM(L2, l2, 8s, int8_t, byAreaAndCores, byAreaAndCores)
NORM(L2, l2, 16u, uint16_t, byArea, byAreaAndCores)
NORM(L2, l2, 32f, float, byArea, byAreaAndCores)
#undef NORM

#define DIFFERENCE(name, family, kindName, kind, form, T, gateC1, gateC3)                          \
  NuvStatus nuvi##name##_##kindName##_##form##_C1MR(                                               \
      const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step, const uint8_t* pMask,    \
      int32_t maskStep, NuviSize roiSize, double* pValue) {                                        \
    return differenceNorm<Family::family, Kind::kind, 1>(gateC1, pSrc1, src1Step, pSrc2, src2Step, \
                                                         pMask, maskStep, roiSize, 1, pValue);     \
  }                                                                                                \
  NuvStatus nuvi##name##_##kindName##_##form##_C3CMR(                                              \
      const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step, const uint8_t* pMask,    \
      int32_t maskStep, NuviSize roiSize, int32_t coi, double* pValue) {                           \
    return differenceNorm<Family::family, Kind::kind, 3>(gateC3, pSrc1, src1Step, pSrc2, src2Step, \
                                                         pMask, maskStep, roiSize, coi, pValue);   \
  }

DIFFERENCE(NormDiff, difference, Inf, inf, 8u, uint8_t, alwaysSerial, alwaysSerial)
DIFFERENCE(NormDiff, difference, Inf, inf, 8s, int8_t, alwaysSerial, alwaysSerial)
DIFFERENCE(NormDiff, difference, Inf, inf, 16u, uint16_t, alwaysSerial, alwaysSerial)
DIFFERENCE(NormDiff, difference, Inf, inf, 32f, float, alwaysSerial, alwaysSerial)
DIFFERENCE(NormDiff, difference, L1, l1, 8u, uint8_t, byAreaAndCores, byArea)
DIFFERENCE(NormDiff, difference, L1, l1, 8s, int8_t, byAreaAndCores, byAreaAndCores)
DIFFERENCE(NormDiff, difference, L1, l1, 16u, uint16_t, byArea, byAreaAndCores)
DIFFERENCE(NormDiff, difference, L1, l1, 32f, float, alwaysSerial, alwaysSerial)
DIFFERENCE(NormDiff, difference, L2, l2, 8u, uint8_t, byAreaAndCores, byArea)
DIFFERENCE(NormDiff, difference, L2, l2, 8s, int8_t, byAreaAndCores, byArea)
DIFFERENCE(NormDiff, difference, L2, l2, 16u, uint16_t, byArea, byAreaAndCores)
DIFFERENCE(NormDiff, difference, L2, l2, 32f, float, alwaysSerial, alwaysSerial)

DIFFERENCE(NormRel, relative, Inf, inf, 8u, uint8_t, byAreaAndCores, byAreaAndCores)
DIFFERENCE(NormRel, relative, Inf, inf, 8s, int8_t, byAreaAndCores, byAreaAndCores)
DIFFERENCE(NormRel, relative, Inf, inf, 16u, uint16_t, byAreaAndCores, byArea)
DIFFERENCE(NormRel, relative, Inf, inf, 32f, float, byArea, byArea)
DIFFERENCE(NormRel, relative, L1, l1, 8u, uint8_t, alwaysSerial, byAreaAndCores)
DIFFERENCE(NormRel, relative, L1, l1, 8s, int8_t, byAreaAndCores, byAreaAndCores)
DIFFERENCE(NormRel, relative, L1, l1, 16u, uint16_t, byAreaAndCores, byArea)
DIFFERENCE(NormRel, relative, L1, l1, 32f, float, alwaysSerial, alwaysSerial)
DIFFERENCE(NormRel, relative, L2, l2, 8u, uint8_t, byArea, byAreaAndCores)
DIFFERENCE(NormRel, relative, L2, l2, 8s, int8_t, byArea, byAreaAndCores)
DIFFERENCE(NormRel, relative, L2, l2, 16u, uint16_t, byAreaAndCores, byArea)
DIFFERENCE(NormRel, relative, L2, l2, 32f, float, alwaysSerial, alwaysSerial)
#undef DIFFERENCE

// Sums that build up in a float image, frame after frame: plain, of squares, of products, and a
// running average with a weight, each with an optional mask.

#include "core/check.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "nuvcv/arith.h"

namespace nuv {
namespace {

constexpr int32_t parallelArea = 0x40000;

// An operation tells the new value of the accumulator element d from one or two source elements.
// The masked forms multiply by a weight that is +0.0 where the mask is zero. They round a product
// of sources before the weight is applied, where the unmasked forms round once. F is a float or a
// vector of them.
struct Add {
  static constexpr float weight = 1.0f;
  template <class F>
  F plain(F s, F, F d) const {
    return d + s;
  }
  template <class F>
  F masked(F s, F, F m, F d) const {
    return fused(s, m, d);
  }
};

struct AddProduct {
  static constexpr float weight = 1.0f;
  template <class F>
  F plain(F s1, F s2, F d) const {
    return fused(s1, s2, d);
  }
  template <class F>
  F masked(F s1, F s2, F m, F d) const {
    return fused(s1 * s2, m, d);
  }
};

struct AddWeighted {
  float weight;
  template <class F>
  F plain(F s, F, F d) const {
    return fused(s - d, broadcast<F>(weight), d);
  }
  template <class F>
  F masked(F s, F, F m, F d) const {
    return fused(s - d, m, d);
  }
};

template <class Operation, class T>
void accumulateRow(Operation operation, const T* src1, const T* src2, float* acc, ptrdiff_t width) {
  ptrdiff_t x = 0;
  for (; x + 8 <= width; x += 8) {
    store(acc + x, operation.plain(loadAs32f(src1 + x), loadAs32f(src2 + x), loadAs32f(acc + x)));
  }
  for (; x < width; ++x) {
    acc[x] = operation.plain(static_cast<float>(src1[x]), static_cast<float>(src2[x]), acc[x]);
  }
}

template <class Operation, class T>
void accumulateMaskedRow(Operation operation, const T* src1, const T* src2, const uint8_t* mask,
                         float* acc, ptrdiff_t width) {
  const F32x8 weights = broadcast<F32x8>(operation.weight);
  ptrdiff_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const F32x8 weight = selectOrZero(loadAs32s(mask + x) != 0, weights);
    store(acc + x,
          operation.masked(loadAs32f(src1 + x), loadAs32f(src2 + x), weight, loadAs32f(acc + x)));
  }
  for (; x < width; ++x) {
    const float weight = mask[x] != 0 ? operation.weight : 0.0f;
    acc[x] =
        operation.masked(static_cast<float>(src1[x]), static_cast<float>(src2[x]), weight, acc[x]);
  }
}

// The checks of all accumulators, on one source or two. A 16-bit source's element test stands
// before the steps of the mask and the accumulator, a float source's with the accumulator's.
template <class T>
NuvStatus checkAccumulator(const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step,
                           bool masked, const uint8_t* pMask, int32_t maskStep,
                           const float* pSrcDst, int32_t srcDstStep, NuviSize roiSize) {
  Check check;
  check.pointers(pSrc1, pSrc2, pSrcDst);
  if (masked) check.pointers(pMask);
  check.size(roiSize).step(pSrc1, src1Step, roiSize.width).step(pSrc2, src2Step, roiSize.width);
  if constexpr (sizeof(T) == 2) check.elementMultiple(pSrc1, src1Step, src2Step);
  if (masked) check.step(pMask, maskStep, roiSize.width);
  check.step(pSrcDst, srcDstStep, roiSize.width);
  if constexpr (sizeof(T) == 4) check.elementMultiple(pSrc1, src1Step, src2Step);
  return check.elementMultiple(pSrcDst, srcDstStep).status();
}

// One source is told by naming it twice.
template <class Operation, class T>
NuvStatus accumulate(Operation operation, const T* pSrc1, int32_t src1Step, const T* pSrc2,
                     int32_t src2Step, float* pSrcDst, int32_t srcDstStep, NuviSize roiSize) {
  const NuvStatus status = checkAccumulator(pSrc1, src1Step, pSrc2, src2Step, false, nullptr, 0,
                                            pSrcDst, srcDstStep, roiSize);
  if (status != nuvStatusOk) return status;

  const Image<const T> src1(pSrc1, src1Step);
  const Image<const T> src2(pSrc2, src2Step);
  const Image<float> acc(pSrcDst, srcDstStep);
  const bool serial = gateArea(roiSize) < parallelArea;
  forEachRowShare(serial, roiSize.height, [&](int32_t firstRow, int32_t rows) {
    for (int32_t y = firstRow; y < firstRow + rows; ++y) {
      accumulateRow(operation, src1.row(y), src2.row(y), acc.row(y), roiSize.width);
    }
  });
  return nuvStatusOk;
}

template <class Operation, class T>
NuvStatus accumulateMasked(Operation operation, const T* pSrc1, int32_t src1Step, const T* pSrc2,
                           int32_t src2Step, const uint8_t* pMask, int32_t maskStep, float* pSrcDst,
                           int32_t srcDstStep, NuviSize roiSize) {
  const NuvStatus status = checkAccumulator(pSrc1, src1Step, pSrc2, src2Step, true, pMask, maskStep,
                                            pSrcDst, srcDstStep, roiSize);
  if (status != nuvStatusOk) return status;

  const Image<const T> src1(pSrc1, src1Step);
  const Image<const T> src2(pSrc2, src2Step);
  const Image<const uint8_t> mask(pMask, maskStep);
  const Image<float> acc(pSrcDst, srcDstStep);
  const bool serial = gateArea(roiSize) < parallelArea;
  forEachRowShare(serial, roiSize.height, [&](int32_t firstRow, int32_t rows) {
    for (int32_t y = firstRow; y < firstRow + rows; ++y) {
      accumulateMaskedRow(operation, src1.row(y), src2.row(y), mask.row(y), acc.row(y),
                          roiSize.width);
    }
  });
  return nuvStatusOk;
}

void weightedSumRow(const float* src1, const float* src2, float* dst, float alpha,
                    ptrdiff_t width) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) dst[x] = fused(src1[x] - src2[x], alpha, src2[x]);
}

}  // namespace
}  // namespace nuv

using namespace nuv;

// A square is a product of the source with itself.
#define ONE_SOURCE(name, Operation, form, T)                                                    \
  NuvStatus nuvi##name##_##form##_C1IR(const T* pSrc, int32_t srcStep, float* pSrcDst,          \
                                       int32_t srcDstStep, NuviSize roiSize) {                  \
    return accumulate(Operation{}, pSrc, srcStep, pSrc, srcStep, pSrcDst, srcDstStep, roiSize); \
  }
#define ONE_SOURCE_MASKED(name, Operation, form, T)                                              \
  NuvStatus nuvi##name##_##form##_C1IMR(const T* pSrc, int32_t srcStep, const uint8_t* pMask,    \
                                        int32_t maskStep, float* pSrcDst, int32_t srcDstStep,    \
                                        NuviSize roiSize) {                                      \
    return accumulateMasked(Operation{}, pSrc, srcStep, pSrc, srcStep, pMask, maskStep, pSrcDst, \
                            srcDstStep, roiSize);                                                \
  }
#define TWO_SOURCES(form, T)                                                                    \
  NuvStatus nuviAddProduct_##form##_C1IR(const T* pSrc1, int32_t src1Step, const T* pSrc2,      \
                                         int32_t src2Step, float* pSrcDst, int32_t srcDstStep,  \
                                         NuviSize roiSize) {                                    \
    return accumulate(AddProduct{}, pSrc1, src1Step, pSrc2, src2Step, pSrcDst, srcDstStep,      \
                      roiSize);                                                                 \
  }                                                                                             \
  NuvStatus nuviAddProduct_##form##_C1IMR(                                                      \
      const T* pSrc1, int32_t src1Step, const T* pSrc2, int32_t src2Step, const uint8_t* pMask, \
      int32_t maskStep, float* pSrcDst, int32_t srcDstStep, NuviSize roiSize) {                 \
    return accumulateMasked(AddProduct{}, pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep,    \
                            pSrcDst, srcDstStep, roiSize);                                      \
  }
#define WEIGHTED(form, T)                                                                        \
  NuvStatus nuviAddWeighted_##form##_C1IR(const T* pSrc, int32_t srcStep, float* pSrcDst,        \
                                          int32_t srcDstStep, NuviSize roiSize, float alpha) {   \
    return accumulate(AddWeighted{alpha}, pSrc, srcStep, pSrc, srcStep, pSrcDst, srcDstStep,     \
                      roiSize);                                                                  \
  }                                                                                              \
  NuvStatus nuviAddWeighted_##form##_C1IMR(const T* pSrc, int32_t srcStep, const uint8_t* pMask, \
                                           int32_t maskStep, float* pSrcDst, int32_t srcDstStep, \
                                           NuviSize roiSize, float alpha) {                      \
    return accumulateMasked(AddWeighted{alpha}, pSrc, srcStep, pSrc, srcStep, pMask, maskStep,   \
                            pSrcDst, srcDstStep, roiSize);                                       \
  }
#define ALL_FORMS(form, T)                          \
  ONE_SOURCE_MASKED(Add, Add, form, T)              \
  ONE_SOURCE(AddSquare, AddProduct, form, T)        \
  ONE_SOURCE_MASKED(AddSquare, AddProduct, form, T) \
  TWO_SOURCES(form, T)                              \
  WEIGHTED(form, T)

ONE_SOURCE(Add, Add, 8u32f, uint8_t)
ONE_SOURCE(Add, Add, 8s32f, int8_t)
ONE_SOURCE(Add, Add, 16u32f, uint16_t)
ALL_FORMS(8u32f, uint8_t)
ALL_FORMS(8s32f, int8_t)
ALL_FORMS(16u32f, uint16_t)
ALL_FORMS(32f, float)

#undef ONE_SOURCE
#undef ONE_SOURCE_MASKED
#undef TWO_SOURCES
#undef WEIGHTED
#undef ALL_FORMS

NuvStatus nuviAddWeighted_32f_C1R(const float* pSrc1, int32_t src1Step, const float* pSrc2,
                                  int32_t src2Step, float* pDst, int32_t dstStep, NuviSize roiSize,
                                  float alpha) {
  const NuvStatus status = Check()
                               .pointers(pSrc1, pSrc2, pDst)
                               .size(roiSize)
                               .step(pSrc1, src1Step, roiSize.width)
                               .step(pSrc2, src2Step, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pDst, src1Step, src2Step, dstStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const float> src1(pSrc1, src1Step);
  const Image<const float> src2(pSrc2, src2Step);
  const Image<float> dst(pDst, dstStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    weightedSumRow(src1.row(y), src2.row(y), dst.row(y), alpha, roiSize.width);
  }
  return nuvStatusOk;
}

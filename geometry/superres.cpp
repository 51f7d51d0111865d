// The inner loops of iterative super-resolution by simulation and back-projection (M. Irani and
// S. Peleg, "Improving resolution by image registration", CVGIP: Graphical Models and Image
// Processing 53 (3), 1991). An observed low-resolution sample is predicted from the high-resolution
// image through a small point-spread function at the sample's sub-pixel phase; prediction minus
// observation is its residual, and residuals are spread back into a gradient image through the same
// function. The caller lists the samples: where each falls, its phase and its weight.

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "nuvcv/geometry.h"

struct NuviSRHNState {
  float* table;  // a point-spread function for each phase
};

namespace nuv {
namespace {

// A point-spread function of 2 x 2 taps, in the table as the caller gives it.
struct Psf2x2 {
  static constexpr int32_t size = 2;
  static constexpr int32_t rowFloats = 2;
  static constexpr int32_t entryFloats = 4;

  // Which steps are fused, and their order, is the contract.
  static float residual(const float* r0, const float* c, ptrdiff_t stepBytes, float observed) {
    const float* const r1 = Image<const float>(r0, stepBytes).row(1);
    const float right = fused(r0[0], c[0], r1[1] * c[3]);
    const float left = fused(r0[1], c[1], fused(r1[0], c[2], -observed));
    return left + right;
  }
};

// A point-spread function of 3 x 3 taps, in the table with a 0 behind each row.
struct Psf3x3 {
  static constexpr int32_t size = 3;
  static constexpr int32_t rowFloats = 4;
  static constexpr int32_t entryFloats = 12;

  static float residual(const float* r0, const float* c, ptrdiff_t stepBytes, float observed) {
    const Image<const float> image(r0, stepBytes);
    const float* const r1 = image.row(1);
    const float* const r2 = image.row(2);
    const float *const a = c, *const b = c + 4, *const d = c + 8;
    const float e = fused(r2[0], d[0], -observed);
    const float f = fused(r2[1], d[1], r1[2] * b[2]);
    const float g = fused(r2[2], d[2], e);
    const float h = fused(r1[1], b[1], r0[2] * a[2]);
    const float k = fused(r1[0], b[0], r0[0] * a[0]);
    const float m = fused(r0[1], a[1], h + k);
    return m + (g + f);
  }
};

template <class Psf>
NuvStatus initAlloc(NuviSRHNState** ppState, const float* pPSF, int32_t count) {
  const NuvStatus status =
      Check().pointers(ppState, pPSF).require(count >= 1, nuvStatusBadSize).status();
  if (status != nuvStatusOk) return status;

  OwnedBlock<NuviSRHNState> state(1);
  OwnedBlock<float> table(int64_t{count} * Psf::entryFloats);
  if (state.get() == nullptr || table.get() == nullptr) return nuvStatusNoMemory;

  const int64_t rows = int64_t{count} * Psf::size;
  for (int64_t row = 0; row < rows; ++row) {
    float* const taps = table.get() + row * Psf::rowFloats;
    for (int32_t i = 0; i < Psf::rowFloats; ++i) {
      taps[i] = i < Psf::size ? pPSF[row * Psf::size + i] : 0.0f;
    }
  }
  state.get()->table = table.release();
  *ppState = state.release();
  return nuvStatusOk;
}

NuvStatus freeState(NuviSRHNState* pState) {
  const NuvStatus status = Check().pointers(pState).status();
  if (status != nuvStatusOk) return status;

  ownFree(pState->table);
  ownFree(pState);
  return nuvStatusOk;
}

// A step has room for a row of taps and is a whole number of elements; both failures are a bad
// step. As an unsigned value a negative step is large: the rows then go upwards.
template <class Psf>
bool stepFits(int32_t step) {
  constexpr uint32_t rowBytes = Psf::size * sizeof(float);
  return static_cast<uint32_t>(step) >= rowBytes && step % 4 == 0;
}

template <class Psf, class Observed>
NuvStatus calcResidual(const float* pHiRes, int32_t hiResStep, const Observed* pLowRes,
                       const int32_t* pOfs, const uint16_t* pCoeffIdx, float* pResidual,
                       int32_t len, const NuviSRHNState* pState) {
  const NuvStatus status = Check()
                               .pointers(pHiRes, pLowRes, pOfs, pCoeffIdx, pResidual, pState)
                               .require(len >= 1, nuvStatusBadSize)
                               .require(stepFits<Psf>(hiResStep), nuvStatusBadStep)
                               .status();
  if (status != nuvStatusOk) return status;

  const float* const table = pState->table;
  for (ptrdiff_t i = 0; i < len; ++i) {
    pResidual[i] =
        Psf::residual(pHiRes + pOfs[i], table + ptrdiff_t{pCoeffIdx[i]} * Psf::entryFloats,
                      hiResStep, static_cast<float>(pLowRes[i]));
  }
  return nuvStatusOk;
}

// Samples are taken in their order and not at once: two that touch the same pixel add to it in that
// order.
template <class Psf>
NuvStatus updateGradient(float* pGrad, int32_t gradStep, const int32_t* pOfs,
                         const uint16_t* pCoeffIdx, const float* pResidual,
                         const uint8_t* pWeightIdx, int32_t len, const float* pWeights,
                         const NuviSRHNState* pState) {
  const NuvStatus status =
      Check()
          .pointers(pGrad, pOfs, pCoeffIdx, pResidual, pWeightIdx, pWeights, pState)
          .require(len >= 1, nuvStatusBadSize)
          .require(stepFits<Psf>(gradStep), nuvStatusBadStep)
          .status();
  if (status != nuvStatusOk) return status;

  const float* const table = pState->table;
  for (ptrdiff_t i = 0; i < len; ++i) {
    const float weighted = pWeights[pWeightIdx[i]] * pResidual[i];
    const float* const taps = table + ptrdiff_t{pCoeffIdx[i]} * Psf::entryFloats;
    const Image<float> gradient(pGrad + pOfs[i], gradStep);
    for (int32_t y = 0; y < Psf::size; ++y) {
      float* const row = gradient.row(y);
      for (int32_t x = 0; x < Psf::size; ++x) {
        row[x] = fused(weighted, taps[y * Psf::rowFloats + x], row[x]);
      }
    }
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviSRHNInitAlloc_PSF2x2(NuviSRHNState** ppState, const float* pPSF, int32_t count) {
  return initAlloc<Psf2x2>(ppState, pPSF, count);
}

NuvStatus nuviSRHNInitAlloc_PSF3x3(NuviSRHNState** ppState, const float* pPSF, int32_t count) {
  return initAlloc<Psf3x3>(ppState, pPSF, count);
}

NuvStatus nuviSRHNFree_PSF2x2(NuviSRHNState* pState) { return freeState(pState); }

NuvStatus nuviSRHNFree_PSF3x3(NuviSRHNState* pState) { return freeState(pState); }

#define NUV_CALC_RESIDUAL(size, types, Observed)                                                \
  NuvStatus nuviSRHNCalcResidual_PSF##size##_##types##_C1R(                                     \
      const float* pHiRes, int32_t hiResStep, const Observed* pLowRes, const int32_t* pOfs,     \
      const uint16_t* pCoeffIdx, float* pResidual, int32_t len, const NuviSRHNState* pState) {  \
    return calcResidual<Psf##size>(pHiRes, hiResStep, pLowRes, pOfs, pCoeffIdx, pResidual, len, \
                                   pState);                                                     \
  }
NUV_CALC_RESIDUAL(2x2, 8u32f, uint8_t)
NUV_CALC_RESIDUAL(2x2, 16u32f, uint16_t)
NUV_CALC_RESIDUAL(3x3, 8u32f, uint8_t)
NUV_CALC_RESIDUAL(3x3, 16u32f, uint16_t)
#undef NUV_CALC_RESIDUAL

#define NUV_UPDATE_GRADIENT(size)                                                                  \
  NuvStatus nuviSRHNUpdateGradient_PSF##size##_32f_C1R(                                            \
      float* pGrad, int32_t gradStep, const int32_t* pOfs, const uint16_t* pCoeffIdx,              \
      const float* pResidual, const uint8_t* pWeightIdx, int32_t len, const float* pWeights,       \
      const NuviSRHNState* pState) {                                                               \
    return updateGradient<Psf##size>(pGrad, gradStep, pOfs, pCoeffIdx, pResidual, pWeightIdx, len, \
                                     pWeights, pState);                                            \
  }
NUV_UPDATE_GRADIENT(2x2)
NUV_UPDATE_GRADIENT(3x3)
#undef NUV_UPDATE_GRADIENT

#include "support.h"

namespace {

// A picture of 1920 x 1080 low-resolution samples, at jittered places of an image of twice the
// size, with 64 phases and 256 weights.
constexpr int32_t hiResWidth = 2 * 1920 + 4;
constexpr int32_t hiResStep = hiResWidth * static_cast<int32_t>(sizeof(float));
constexpr int32_t samples = 1920 * 1080;

struct Lists {
  Lists() {
    std::mt19937 random(1);
    for (int32_t i = 0; i < samples; ++i) {
      const int32_t x = 2 * (i % 1920) + static_cast<int32_t>(random() % 2);
      const int32_t y = 2 * (i / 1920) + static_cast<int32_t>(random() % 2);
      offsets.push_back(y * hiResWidth + x);
      phases.push_back(static_cast<uint16_t>(random() % 64));
      weightIndices.push_back(static_cast<uint8_t>(random()));
    }
  }
  std::vector<int32_t> offsets;
  std::vector<uint16_t> phases;
  std::vector<uint8_t> weightIndices;
};

template <class InitAlloc>
NuviSRHNState* makeState(InitAlloc initAlloc) {
  const auto psf = bench::picture<float>(64 * 9, 4);
  NuviSRHNState* state = nullptr;
  initAlloc(&state, psf.data(), 64);
  return state;
}

template <class Observed, class InitAlloc, class Function, class Free>
auto residual(InitAlloc initAlloc, Function function, Free free) {
  return [=](benchmark::State& state, int32_t threads) {
    const Lists lists;
    NuviSRHNState* const psf = makeState(initAlloc);
    const auto image = bench::picture<float>(int64_t{hiResWidth} * (2 * 1080 + 4), 1);
    const auto observed = bench::picture<Observed>(samples, 2);
    std::vector<float> result(samples);
    bench::run(state, threads, [&] {
      return function(image.data(), hiResStep, observed.data(), lists.offsets.data(),
                      lists.phases.data(), result.data(), samples, psf);
    });
    free(psf);
  };
}

template <class InitAlloc, class Function, class Free>
auto gradient(InitAlloc initAlloc, Function function, Free free) {
  return [=](benchmark::State& state, int32_t threads) {
    const Lists lists;
    NuviSRHNState* const psf = makeState(initAlloc);
    auto image = bench::picture<float>(int64_t{hiResWidth} * (2 * 1080 + 4), 1);
    const auto residuals = bench::picture<float>(samples, 2);
    const auto weights = bench::picture<float>(256, 3);
    bench::run(state, threads, [&] {
      return function(image.data(), hiResStep, lists.offsets.data(), lists.phases.data(),
                      residuals.data(), lists.weightIndices.data(), samples, weights.data(), psf);
    });
    free(psf);
  };
}

const bool registered = [] {
  bench::add("superres/residual_2x2/8u",
             residual<uint8_t>(nuviSRHNInitAlloc_PSF2x2, nuviSRHNCalcResidual_PSF2x2_8u32f_C1R,
                               nuviSRHNFree_PSF2x2));
  bench::add("superres/residual_3x3/8u",
             residual<uint8_t>(nuviSRHNInitAlloc_PSF3x3, nuviSRHNCalcResidual_PSF3x3_8u32f_C1R,
                               nuviSRHNFree_PSF3x3));
  bench::add("superres/residual_3x3/16u",
             residual<uint16_t>(nuviSRHNInitAlloc_PSF3x3, nuviSRHNCalcResidual_PSF3x3_16u32f_C1R,
                                nuviSRHNFree_PSF3x3));
  bench::add("superres/gradient_2x2",
             gradient(nuviSRHNInitAlloc_PSF2x2, nuviSRHNUpdateGradient_PSF2x2_32f_C1R,
                      nuviSRHNFree_PSF2x2));
  bench::add("superres/gradient_3x3",
             gradient(nuviSRHNInitAlloc_PSF3x3, nuviSRHNUpdateGradient_PSF3x3_32f_C1R,
                      nuviSRHNFree_PSF3x3));
  return true;
}();

}  // namespace

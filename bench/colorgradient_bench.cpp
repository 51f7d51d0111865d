#include "support.h"

namespace {

template <class T, class Function>
auto colorGradient(Function function, int32_t norm) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels * 3, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels, 2);
    constexpr int32_t step = 1920 * sizeof(T);
    bench::run(state, threads, [&] {
      return function(src.data(), 3 * step, dst.data(), step, bench::fullHd, norm);
    });
  };
}

const bool registered = [] {
  bench::add("colorgradient/8u/inf", colorGradient<uint8_t>(nuviGradientColorToGray_8u_C3C1R, 0));
  bench::add("colorgradient/8u/L1", colorGradient<uint8_t>(nuviGradientColorToGray_8u_C3C1R, 1));
  bench::add("colorgradient/8u/L2", colorGradient<uint8_t>(nuviGradientColorToGray_8u_C3C1R, 2));
  bench::add("colorgradient/16u/inf",
             colorGradient<uint16_t>(nuviGradientColorToGray_16u_C3C1R, 0));
  bench::add("colorgradient/16u/L1", colorGradient<uint16_t>(nuviGradientColorToGray_16u_C3C1R, 1));
  bench::add("colorgradient/16u/L2", colorGradient<uint16_t>(nuviGradientColorToGray_16u_C3C1R, 2));
  bench::add("colorgradient/32f/inf", colorGradient<float>(nuviGradientColorToGray_32f_C3C1R, 0));
  bench::add("colorgradient/32f/L1", colorGradient<float>(nuviGradientColorToGray_32f_C3C1R, 1));
  bench::add("colorgradient/32f/L2", colorGradient<float>(nuviGradientColorToGray_32f_C3C1R, 2));
  return true;
}();

}  // namespace

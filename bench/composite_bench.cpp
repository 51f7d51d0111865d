#include "support.h"

namespace {

template <class T, class Init, class Operation>
auto composite(Init init, Operation operation, int32_t side) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels, 2);
    constexpr int32_t step = 1920 * sizeof(T);
    const std::vector<uint8_t> mask(static_cast<size_t>(side * side), 1);
    NuviMorphCompositeState* composed = nullptr;
    init(&composed, bench::fullHd, mask.data(), {side, side}, {side / 2, side / 2});
    bench::run(state, threads, [&] {
      return operation(src.data(), step, dst.data(), step, bench::fullHd, nuvBorderReplicate,
                       composed);
    });
    nuviMorphAdvFree(composed);
  };
}

const bool registered = [] {
  const auto init8u = nuviMorphAdvInitAlloc_8u_C1R;
  bench::add("open/8u/5", composite<uint8_t>(init8u, nuviMorphOpenBorder_8u_C1R, 5));
  bench::add("close/8u/15", composite<uint8_t>(init8u, nuviMorphCloseBorder_8u_C1R, 15));
  bench::add("tophat/8u/5", composite<uint8_t>(init8u, nuviMorphTophatBorder_8u_C1R, 5));
  bench::add("blackhat/8u/5", composite<uint8_t>(init8u, nuviMorphBlackhatBorder_8u_C1R, 5));
  bench::add("gradient/8u/5", composite<uint8_t>(init8u, nuviMorphGradientBorder_8u_C1R, 5));
  bench::add("gradient/32f/5",
             composite<float>(nuviMorphAdvInitAlloc_32f_C1R, nuviMorphGradientBorder_32f_C1R, 5));
  return true;
}();

}  // namespace

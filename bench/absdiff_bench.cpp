#include "support.h"

namespace {

template <class T, class Function>
auto absDiff(Function function) {
  return [function](benchmark::State& state, int32_t threads) {
    const auto a = bench::picture<T>(bench::fullHdPixels, 1);
    const auto b = bench::picture<T>(bench::fullHdPixels, 2);
    auto dst = bench::picture<T>(bench::fullHdPixels, 3);
    constexpr int32_t step = 1920 * sizeof(T);
    bench::run(state, threads, [&] {
      return function(a.data(), step, b.data(), step, dst.data(), step, bench::fullHd);
    });
  };
}

const bool registered = [] {
  bench::add("absdiff/8u", absDiff<uint8_t>(nuviAbsDiff_8u_C1R));
  bench::add("absdiff/16u", absDiff<uint16_t>(nuviAbsDiff_16u_C1R));
  bench::add("absdiff/32f", absDiff<float>(nuviAbsDiff_32f_C1R));
  return true;
}();

}  // namespace

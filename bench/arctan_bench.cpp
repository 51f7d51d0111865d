#include "support.h"

namespace {

const bool registered = [] {
  bench::add("arctan/32f", [](benchmark::State& state, int32_t threads) {
    auto y = bench::picture<float>(bench::fullHdPixels, 1);
    auto x = bench::picture<float>(bench::fullHdPixels, 2);
    for (float& value : y) value -= 120;
    for (float& value : x) value -= 120;
    auto angle = bench::picture<float>(bench::fullHdPixels, 3);
    bench::run(state, threads, [&] {
      return nuvibFastArctan_32f(y.data(), x.data(), angle.data(), bench::fullHdPixels);
    });
  });
  return true;
}();

}  // namespace

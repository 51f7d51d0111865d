#include "support.h"

namespace {

template <class T>
auto history(NuvStatus (*update)(const T*, int32_t, float*, int32_t, NuviSize, float, float)) {
  return [update](benchmark::State& state, int32_t threads) {
    auto silhouette = bench::picture<T>(bench::fullHdPixels);
    for (T& element : silhouette) element = element > 120 ? element : T(0);
    std::vector<float> times(bench::fullHdPixels);
    float timestamp = 0.0f;
    bench::run(state, threads, [&] {
      timestamp += 1.0f;
      return update(silhouette.data(), 1920 * sizeof(T), times.data(), 1920 * 4, bench::fullHd,
                    timestamp, 15.0f);
    });
  };
}

const bool registered = [] {
  bench::add("motion history/8u", history(nuviUpdateMotionHistory_8u32f_C1IR));
  bench::add("motion history/16u", history(nuviUpdateMotionHistory_16u32f_C1IR));
  bench::add("motion history/32f", history(nuviUpdateMotionHistory_32f_C1IR));
  return true;
}();

}  // namespace

#include "relief.h"

namespace {

void add(const char* name, size_t channels) {
  benchmark::RegisterBenchmark(
      name,
      [=](benchmark::State& state) {
        const auto plane = bench::relief(), markers = bench::fortyMarkers();
        std::vector<uint8_t> src(plane.size() * channels);
        for (size_t i = 0; i < src.size(); ++i) src[i] = plane[i / channels];
        const auto step = static_cast<int32_t>(1920 * channels);
        const auto grow = channels == 1 ? nuviSegmentGradient_8u_C1IR : nuviSegmentGradient_8u_C3IR;
        int32_t bytes = 0;
        nuviSegmentGradientGetBufferSize_8u_C1R(bench::fullHd, &bytes);
        std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
        const double yardstick = bench::copySeconds();
        double best = std::numeric_limits<double>::infinity();
        for (auto _ : state) {
          auto labels = markers;
          const double seconds = bench::secondsOf([&] {
            grow(src.data(), step, labels.data(), 1920, bench::fullHd, 0, 64, buffer.data());
          });
          state.SetIterationTime(seconds);
          best = std::min(best, seconds);
        }
        state.counters["best us"] = 1e6 * best;
        state.counters["x copy"] = best / yardstick;
      })
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
  add("gradient/C1", 1);
  add("gradient/C3", 3);
  return true;
}();

}  // namespace

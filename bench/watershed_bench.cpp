#include "relief.h"

namespace {

void add(const char* name, int32_t norm, int32_t flag) {
  benchmark::RegisterBenchmark(name,
                               [=](benchmark::State& state) {
                                 const auto src = bench::relief(), markers = bench::fortyMarkers();
                                 int32_t bytes = 0;
                                 nuviSegmentWatershedGetBufferSize_8u_C1R(bench::fullHd, &bytes);
                                 std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
                                 const double yardstick = bench::copySeconds();
                                 double best = std::numeric_limits<double>::infinity();
                                 for (auto _ : state) {
                                   auto labels = markers;
                                   const double seconds = bench::secondsOf([&] {
                                     nuviSegmentWatershed_8u_C1IR(src.data(), 1920, labels.data(),
                                                                  1920, bench::fullHd, norm, flag,
                                                                  buffer.data());
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
  add("watershed/queue8", 0, 1 + 128);
  add("watershed/queue4", 1, 1);
  add("watershed/sweep8", 0, 2);
  add("watershed/sweep4", 1, 2 + 64);
  add("watershed/sweep8weighted", 2, 2);
  add("watershed/sweepEikonal", 3, 2);
  return true;
}();

}  // namespace

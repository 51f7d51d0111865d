#include "support.h"

namespace {

constexpr size_t width = 1920, height = 1080;

// Smooth hills with a little noise, like the gradient of a photograph.
std::vector<uint8_t> relief() {
  auto pixels = bench::picture<uint8_t>(bench::fullHdPixels);
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const size_t hill =
          (x % 160 < 80 ? x % 80 : 80 - x % 80) + (y % 130 < 65 ? y % 65 : 65 - y % 65);
      pixels[y * width + x] = static_cast<uint8_t>(hill + pixels[y * width + x] / 8);
    }
  }
  return pixels;
}

// 8 x 5 markers of 9 x 9 pixels.
std::vector<uint8_t> forty() {
  std::vector<uint8_t> markers(bench::fullHdPixels);
  for (size_t i = 0; i < 40 * 81; ++i) {
    const size_t marker = i / 81, x = 100 + marker % 8 * 240, y = 90 + marker / 8 * 210;
    markers[(y + i % 81 / 9) * width + x + i % 9] = static_cast<uint8_t>(marker + 1);
  }
  return markers;
}

void add(const char* name, int32_t norm, int32_t flag) {
  benchmark::RegisterBenchmark(name,
                               [=](benchmark::State& state) {
                                 const auto src = relief(), markers = forty();
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

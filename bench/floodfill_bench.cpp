#include "support.h"

namespace {

// Fills from the middle a picture of which all pixels are taken. Each run has a fresh copy, which
// is not timed.
template <class Call>
void fill(benchmark::State& state, const std::vector<uint8_t>& source, bool gradient, Call call) {
  int32_t bytes = 0;
  (gradient ? nuviFloodFillGetSize_Grad : nuviFloodFillGetSize)(bench::fullHd, &bytes);
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  auto image = source;
  const double yardstick = bench::copySeconds();
  double best = std::numeric_limits<double>::infinity();
  for (auto _ : state) {
    image = source;
    NuviFilledRegion region = {};
    const double seconds = bench::secondsOf([&] {
      call(image.data(), NuviPoint{960, 540}, &region, buffer.data());
    });
    if (region.area != bench::fullHdPixels) state.SkipWithError("not all pixels were filled");
    state.SetIterationTime(seconds);
    best = std::min(best, seconds);
  }
  state.counters["best us"] = 1e6 * best;
  state.counters["x copy"] = best / yardstick;
}

template <class Call>
void add(const char* name, std::vector<uint8_t> source, bool gradient, Call call) {
  benchmark::RegisterBenchmark(
      name, [=](benchmark::State& state) { fill(state, source, gradient, call); })
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
  const std::vector<uint8_t> flat(bench::fullHdPixels, 50);
  const auto picture = bench::picture<uint8_t>(bench::fullHdPixels);  // 0 to 248
  add("floodfill/4Con", flat, false,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        nuviFloodFill_4Con_8u_C1IR(image, 1920, bench::fullHd, seed, 99, region, buffer);
      });
  add("floodfill/Range4Con", picture, false,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        const uint8_t value = image[1920 * seed.y + seed.x];
        nuviFloodFill_Range4Con_8u_C1IR(image, 1920, bench::fullHd, seed, 255, value,
                                        static_cast<uint8_t>(250 - value), region, buffer);
      });
  add("floodfill/Grad8Con", picture, true,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        nuviFloodFill_Grad8Con_8u_C1IR(image, 1920, bench::fullHd, seed, 255, 250, 250, region,
                                       buffer);
      });
  return true;
}();

}  // namespace

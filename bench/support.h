// What every benchmark shares: the picture size, filled pictures, and the yardstick. A time is told
// as a multiple of one memcpy of a 1920 x 1080 8u picture, measured right beside it. Both are the
// best of many runs: what disturbs a run only ever makes it longer.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "nuvcore.h"
#include "nuvcv.h"

namespace bench {

constexpr NuviSize fullHd = {1920, 1080};
constexpr int64_t fullHdPixels = int64_t{1920} * 1080;

// The time that call() takes, in seconds.
template <class Call>
double secondsOf(Call&& call) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  call();
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The best of many copies.
inline double copySeconds() {
  static std::vector<uint8_t> src(fullHdPixels, 1), dst(fullHdPixels, 2);
  double best = std::numeric_limits<double>::infinity();
  for (int i = 0; i < 60; ++i) {
    best = std::min(best, secondsOf([] {
                      std::memcpy(dst.data(), src.data(), src.size());
                      benchmark::DoNotOptimize(dst.data());
                    }));
  }
  return best;
}

// A picture of `count` elements: smooth waves with noise on top, like a photograph of low contrast.
template <class T>
std::vector<T> picture(int64_t count, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::vector<T> pixels(static_cast<size_t>(count));
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto wave = static_cast<int>((i / 16) % 160);
    pixels[i] = static_cast<T>(wave + static_cast<int>(random() % 90));
    if (std::is_signed_v<T> && sizeof(T) == 1) pixels[i] = static_cast<T>(pixels[i] / 2);
  }
  return pixels;
}

// Runs `call` until the time is known, with the given thread count (0: the default), and reports
// the best time and its "x copy".
template <class Call>
void run(benchmark::State& state, int32_t threads, Call&& call) {
  nuvSetNumThreads(threads);
  if (call() < nuvStatusOk) state.SkipWithError("the call failed");
  const double yardstick = copySeconds();
  double best = std::numeric_limits<double>::infinity();
  for (auto _ : state) best = std::min(best, secondsOf(call));
  nuvSetNumThreads(0);
  state.counters["best us"] = 1e6 * best;
  state.counters["x copy"] = best / yardstick;
}

// Registers a benchmark under `name` with one thread, told in the thread's own time, and under
// `name/threads` with all threads, told in real time.
template <class Body>
void add(const char* name, Body body) {
  benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
    body(state, 1);
  })->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark((std::string(name) + "/threads").c_str(),
                               [=](benchmark::State& state) { body(state, 0); })
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

// Registers a benchmark of call(image, buffer), which changes the image: each run has a fresh copy
// of `source`, which is not timed. 0 threads are the default.
template <class Call>
void addInPlace(const std::string& name, int32_t threads, std::vector<uint8_t> source,
                int32_t bufferBytes, Call call) {
  const auto body = [=](benchmark::State& state) {
    std::vector<uint8_t> image, buffer(static_cast<size_t>(bufferBytes));
    nuvSetNumThreads(threads);
    const double yardstick = copySeconds();
    double best = std::numeric_limits<double>::infinity();
    for (auto _ : state) {
      image = source;
      NuvStatus status = nuvStatusFailure;
      const double seconds = secondsOf([&] { status = call(image.data(), buffer.data()); });
      if (status < nuvStatusOk) state.SkipWithError("the call failed");
      state.SetIterationTime(seconds);
      best = std::min(best, seconds);
    }
    nuvSetNumThreads(0);
    state.counters["best us"] = 1e6 * best;
    state.counters["x copy"] = best / yardstick;
  };
  benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

}  // namespace bench

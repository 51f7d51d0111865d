#include "support.h"

namespace {

// A fan of 64 lines from the upper left corner over the whole picture.
template <class T, class Function>
auto sampleLines(Function function, int32_t channels) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels * channels, 1);
    std::vector<T> line(static_cast<size_t>(1920 * channels));
    const int32_t step = 1920 * channels * static_cast<int32_t>(sizeof(T));
    bench::run(state, threads, [&] {
      NuvStatus status = nuvStatusOk;
      for (int32_t y = 0; y < 1080 && status == nuvStatusOk; y += 17) {
        status = function(src.data(), step, bench::fullHd, line.data(), {0, 0}, {1919, y});
      }
      return status;
    });
  };
}

const bool registered = [] {
  bench::add("sampleline/8u_C1/64_lines", sampleLines<uint8_t>(nuviSampleLine_8u_C1R, 1));
  bench::add("sampleline/8u_C3/64_lines", sampleLines<uint8_t>(nuviSampleLine_8u_C3R, 3));
  bench::add("sampleline/32f_C1/64_lines", sampleLines<float>(nuviSampleLine_32f_C1R, 1));
  return true;
}();

}  // namespace

#include "support.h"

namespace {

// With a threshold that most pixels pass, and with one that few pass.
auto peaks(float threshold) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<float>(bench::fullHdPixels);
    std::vector<NuviPoint> found(bench::fullHdPixels);
    int32_t bytes = 0, count = 0;
    nuviFindPeaks3x3GetBufferSize_32f_C1R(bench::fullHd.width, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] {
      return nuviFindPeaks3x3_32f_C1R(src.data(), 7680, bench::fullHd, threshold, found.data(),
                                      static_cast<int32_t>(found.size()), &count, 0, 1,
                                      buffer.data());
    });
  };
}

const bool registered = [] {
  bench::add("peaks/most", peaks(20.0f));
  bench::add("peaks/few", peaks(240.0f));
  return true;
}();

}  // namespace

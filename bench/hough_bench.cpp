#include "support.h"

namespace {

// About 525,000 points, a quarter of the picture, at 1 pixel and 1 degree.
void hough(benchmark::State& state, int32_t threads) {
  auto src = bench::picture<uint8_t>(bench::fullHdPixels);
  std::mt19937 random(1);
  for (auto& pixel : src) pixel = random() % 79 < 20 ? 255 : 0;
  const NuviPointPolar delta = {1.0f, 3.14159f / 180};
  std::vector<NuviPointPolar> lines(50);
  int32_t bytes = 0, count = 0;
  nuviHoughLineGetSize_8u_C1R(bench::fullHd, delta, 50, &bytes);
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  bench::run(state, threads, [&] {
    return nuviHoughLine_8u32f_C1R(src.data(), 1920, bench::fullHd, delta, 300, lines.data(), 50,
                                   &count, buffer.data());
  });
}

const bool registered = [] {
  bench::add("hough/525000 points", hough);
  return true;
}();

}  // namespace

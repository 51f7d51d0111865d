#include <array>

#include "support.h"

namespace {

using bench::fullHd;

// A picture with zeros far apart, as the edges of a photograph are.
std::vector<uint8_t> sparseZeros() {
  auto pixels = bench::picture<uint8_t>(bench::fullHdPixels);
  std::mt19937 random(5);
  for (auto& pixel : pixels) pixel = random() % 400 == 0 ? 0 : 255;
  return pixels;
}

template <class T, class Metric>
void addChamfer(const char* name,
                NuvStatus (*transform)(const uint8_t*, int32_t, T*, int32_t, NuviSize,
                                       const Metric*),
                std::array<Metric, 3> metrics) {
  bench::add(name, [=](benchmark::State& state, int threads) {
    const auto src = sparseZeros();
    std::vector<T> dst(src.size());
    bench::run(state, threads, [&] {
      return transform(src.data(), 1920, dst.data(), static_cast<int32_t>(1920 * sizeof(T)), fullHd,
                       metrics.data());
    });
  });
}

const bool registered = [] {
  addChamfer<uint8_t, int32_t>("distance/chamfer3_8u", nuviDistanceTransform_3x3_8u_C1R, {2, 3, 0});
  addChamfer<uint16_t, int32_t>("distance/chamfer3_8u16u", nuviDistanceTransform_3x3_8u16u_C1R,
                                {2, 3, 0});
  addChamfer<float, float>("distance/chamfer3_8u32f", nuviDistanceTransform_3x3_8u32f_C1R,
                           {0.955f, 1.3693f, 0});
  addChamfer<uint16_t, int32_t>("distance/chamfer5_8u16u", nuviDistanceTransform_5x5_8u16u_C1R,
                                {5, 7, 11});
  addChamfer<float, float>("distance/chamfer5_8u32f", nuviDistanceTransform_5x5_8u32f_C1R,
                           {1.0f, 1.4f, 2.1969f});
  bench::add("distance/exact", [](benchmark::State& state, int threads) {
    const auto src = sparseZeros();
    std::vector<float> dst(src.size());
    int32_t bytes = 0;
    nuviTrueDistanceTransformGetBufferSize_8u32f_C1R(fullHd, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] {
      return nuviTrueDistanceTransform_8u32f_C1R(src.data(), 1920, dst.data(), 1920 * 4, fullHd,
                                                 buffer.data());
    });
  });
  bench::add("distance/fastMarching", [](benchmark::State& state, int threads) {
    // 35 strokes of 10 x 100 pixels.
    std::vector<uint8_t> mask(bench::fullHdPixels);
    for (size_t i = 0; i < 35000; ++i) {
      const size_t stroke = i / 1000, x = 100 + stroke % 7 * 250, y = 80 + stroke / 7 * 200;
      mask[(y + i % 1000 / 100) * 1920 + x + i % 100] = 255;
    }
    std::vector<float> dst(mask.size());
    int32_t bytes = 0;
    nuviFastMarchingGetBufferSize_8u32f_C1R(fullHd, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] {
      return nuviFastMarching_8u32f_C1R(mask.data(), 1920, dst.data(), 1920 * 4, fullHd, 5.0f,
                                        buffer.data());
    });
  });
  return true;
}();

}  // namespace

#include <cmath>

#include "support.h"

namespace {

// A smooth texture moved by a shift, at a scale.
std::vector<uint8_t> layer(NuviSize size, double scale, double shift) {
  std::vector<uint8_t> pixels;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      const double u = x * scale - shift, v = y * scale + shift;
      pixels.push_back(static_cast<uint8_t>(128 + 50 * std::sin(0.31 * u + 0.12 * v) +
                                            40 * std::sin(0.17 * u - 0.29 * v) +
                                            30 * std::sin(0.05 * u + 0.44 * v)));
    }
  }
  return pixels;
}

struct Pyramid {
  NuviPyramid* record = nullptr;
  std::vector<std::vector<uint8_t>> layers;

  explicit Pyramid(double shift) {
    nuviPyramidInitAlloc(&record, 2, bench::fullHd, 2.0f);
    for (int32_t i = 0; i <= 2; ++i) {
      layers.push_back(layer(record->sizes[i], 1 / record->rates[i], shift));
      record->images[i] = layers.back().data();
      record->steps[i] = record->sizes[i].width;
    }
  }
  ~Pyramid() { nuviPyramidFree(record); }
};

// 58 x 32 points, 3 levels, windows of 15 pixels.
void addFlow(const char* name, NuviSize largest) {
  bench::add(name, [=](benchmark::State& state, int threads) {
    const Pyramid first(0), second(2.6);
    std::vector<NuviPoint32f> prev;
    for (int i = 0; i < 1856; ++i) {
      prev.push_back(
          {30.3f + static_cast<float>(i % 58 * 32), 30.7f + static_cast<float>(i / 58 * 32)});
    }
    std::vector<uint8_t> status(prev.size());
    std::vector<float> error(prev.size());
    NuviOptFlowPyrLKState* flow = nullptr;
    nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&flow, largest, 15, 0);
    auto next = prev;
    bench::run(state, threads, [&] {
      next = prev;
      return nuviOpticalFlowPyrLK_8u_C1R(first.record, second.record, prev.data(), next.data(),
                                         status.data(), error.data(), 1856, 15, 2, 20, 0.01f, flow);
    });
    nuviOpticalFlowPyrLKFree_8u_C1R(flow);
  });
}

const bool registered = [] {
  addFlow("flow/windows", {1, 1});
  addFlow("flow/planes", bench::fullHd);
  return true;
}();

}  // namespace

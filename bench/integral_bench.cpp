#include "support.h"

namespace {

constexpr int32_t border = 2;  // of the tilted planes, the larger
constexpr int64_t cells = int64_t{1920 + border} * (1080 + border);

template <class Sum>
auto plane(NuvStatus (*function)(const uint8_t*, int32_t, Sum*, int32_t, NuviSize, Sum)) {
  return [function](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<uint8_t>(bench::fullHdPixels);
    std::vector<Sum> dst(cells);
    bench::run(state, threads, [&] {
      return function(src.data(), 1920, dst.data(), (1920 + border) * sizeof(Sum), bench::fullHd,
                      Sum{0});
    });
  };
}

template <class Sum, class Square>
auto planes(NuvStatus (*function)(const uint8_t*, int32_t, Sum*, int32_t, Square*, int32_t,
                                  NuviSize, Sum, Square)) {
  return [function](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<uint8_t>(bench::fullHdPixels);
    std::vector<Sum> dst(cells);
    std::vector<Square> sqr(cells);
    bench::run(state, threads, [&] {
      return function(src.data(), 1920, dst.data(), (1920 + border) * sizeof(Sum), sqr.data(),
                      (1920 + border) * sizeof(Square), bench::fullHd, Sum{0}, Square{0});
    });
  };
}

const bool registered = [] {
  bench::add("integral/8u32s", plane(nuviIntegral_8u32s_C1R));
  bench::add("integral/8u32f", plane(nuviIntegral_8u32f_C1R));
  bench::add("integral/squares 8u32s", planes(nuviSqrIntegral_8u32s_C1R));
  bench::add("integral/squares 8u32s64f", planes(nuviSqrIntegral_8u32s64f_C1R));
  bench::add("integral/squares 8u32f64f", planes(nuviSqrIntegral_8u32f64f_C1R));
  bench::add("integral/tilted 8u32s", plane(nuviTiltedIntegral_8u32s_C1R));
  bench::add("integral/tilted 8u32f", plane(nuviTiltedIntegral_8u32f_C1R));
  bench::add("integral/tilted squares 8u32s", planes(nuviTiltedSqrIntegral_8u32s_C1R));
  bench::add("integral/tilted squares 8u32s64f", planes(nuviTiltedSqrIntegral_8u32s64f_C1R));
  bench::add("integral/tilted squares 8u32f64f", planes(nuviTiltedSqrIntegral_8u32f64f_C1R));
  return true;
}();

}  // namespace

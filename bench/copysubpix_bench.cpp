#include "support.h"

namespace {

constexpr NuviSize sourceSize = {1921, 1081};

template <class From, class To>
auto copy(NuvStatus (*function)(const From*, int32_t, To*, int32_t, NuviSize, float, float)) {
  return [function](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<From>(int64_t{sourceSize.width} * sourceSize.height);
    std::vector<To> dst(bench::fullHdPixels);
    bench::run(state, threads, [&] {
      return function(src.data(), sourceSize.width * sizeof(From), dst.data(), 1920 * sizeof(To),
                      bench::fullHd, 0.3f, 0.6f);
    });
  };
}

void scaled(benchmark::State& state, int32_t threads) {
  const auto src = bench::picture<uint8_t>(int64_t{sourceSize.width} * sourceSize.height);
  std::vector<uint16_t> dst(bench::fullHdPixels);
  bench::run(state, threads, [&] {
    return nuviCopySubpix_8u16u_C1R_Sfs(src.data(), sourceSize.width, dst.data(), 1920 * 2,
                                        bench::fullHd, 0.3f, 0.6f, -2);
  });
}

// A picture's worth of windows of 21 x 21 pixels.
void windows(benchmark::State& state, int32_t threads) {
  constexpr int32_t side = 21;
  const auto src = bench::picture<uint8_t>(bench::fullHdPixels);
  float dst[side * side];
  bench::run(state, threads, [&] {
    NuvStatus status = nuvStatusOk;
    for (float y = 0.3f; y < 1080; y += side) {
      for (float x = 0.6f; x < 1920; x += side) {
        NuviPoint low, high;
        status = nuviCopySubpixIntersect_8u32f_C1R(src.data(), 1920, bench::fullHd, dst, side * 4,
                                                   {side, side}, {x, y}, &low, &high);
      }
    }
    return status;
  });
}

const bool registered = [] {
  bench::add("copysubpix/8u", copy(nuviCopySubpix_8u_C1R));
  bench::add("copysubpix/8u16u", scaled);
  bench::add("copysubpix/8u32f", copy(nuviCopySubpix_8u32f_C1R));
  bench::add("copysubpix/16u", copy(nuviCopySubpix_16u_C1R));
  bench::add("copysubpix/16u32f", copy(nuviCopySubpix_16u32f_C1R));
  bench::add("copysubpix/32f", copy(nuviCopySubpix_32f_C1R));
  bench::add("copysubpix/8u32f windows", windows);
  return true;
}();

}  // namespace

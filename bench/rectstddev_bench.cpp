#include "support.h"

namespace {

constexpr NuviRect window = {1, 1, 20, 20};
constexpr int32_t columns = 1920 + 64, rows = 1080 + 64;
constexpr int64_t cells = int64_t{columns} * rows;

// A window that leans to the left starts so many columns inside the planes.
constexpr int64_t lean = 32;

template <class Sum, class Square, class Result, class... Scale>
auto deviation(NuvStatus (*function)(const Sum*, int32_t, const Square*, int32_t, Result*, int32_t,
                                     NuviSize, NuviRect, Scale...),
               Scale... scale) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<Sum>(cells, 1);
    const auto sqr = bench::picture<Square>(cells, 2);
    std::vector<Result> dst(bench::fullHdPixels);
    bench::run(state, threads, [&] {
      return function(src.data() + lean, columns * sizeof(Sum), sqr.data() + lean,
                      columns * sizeof(Square), dst.data(), 1920 * sizeof(Result), bench::fullHd,
                      window, scale...);
    });
  };
}

const bool registered = [] {
  bench::add("rectstddev/32f", deviation(nuviRectStdDev_32f_C1R));
  bench::add("rectstddev/32s32f", deviation(nuviRectStdDev_32s32f_C1R));
  bench::add("rectstddev/32s", deviation(nuviRectStdDev_32s_C1RSfs, 0));
  bench::add("rectstddev/tilted 32f", deviation(nuviTiltedRectStdDev_32f_C1R));
  bench::add("rectstddev/tilted 32s32f", deviation(nuviTiltedRectStdDev_32s32f_C1R));
  bench::add("rectstddev/tilted 32s", deviation(nuviTiltedRectStdDev_32s_C1RSfs, 0));
  return true;
}();

}  // namespace

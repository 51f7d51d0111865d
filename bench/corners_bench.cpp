#include "support.h"

namespace {

template <int32_t resultFloats, class Function, class Size>
auto corners(Function function, Size size) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<uint8_t>(bench::fullHdPixels);
    std::vector<float> dst(bench::fullHdPixels * resultFloats);
    nuvSetNumThreads(threads);
    int32_t bytes = 0;
    size(bench::fullHd, 3, 3, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] {
      return function(src.data(), 1920, dst.data(), 7680 * resultFloats, bench::fullHd, 0, 3, 3,
                      buffer.data());
    });
  };
}

template <int32_t taps>
void gauss(benchmark::State& state, int32_t threads) {
  const auto src = bench::picture<float>(bench::fullHdPixels);
  std::vector<float> dst(bench::fullHdPixels);
  nuvSetNumThreads(threads);
  int32_t bytes = 0;
  nuviFilterGaussGetBufferSize_32f_C1R(bench::fullHd, taps, &bytes);
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  bench::run(state, threads, [&] {
    return nuviFilterGaussBorder_32f_C1R(src.data(), 7680, dst.data(), 7680, bench::fullHd, taps,
                                         1.5f, nuvBorderReplicate, 0.0f, buffer.data());
  });
}

const bool registered = [] {
  bench::add("corners/smallest/8u",
             corners<1>(nuviMinEigenVal_8u32f_C1R, nuviMinEigenValGetBufferSize_8u32f_C1R));
  bench::add("corners/eigen/8u",
             corners<6>(nuviEigenValsVecs_8u32f_C1R, nuviEigenValsVecsGetBufferSize_8u32f_C1R));
  bench::add("gauss/5", gauss<5>);
  bench::add("gauss/15", gauss<15>);
  return true;
}();

}  // namespace

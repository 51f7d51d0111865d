#include "support.h"

namespace {

template <class T, class Filter, class Size>
auto filter(Filter function, Size bufferSize, int32_t channels, int32_t side) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels * channels, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels * channels, 2);
    const int32_t step = 1920 * channels * static_cast<int32_t>(sizeof(T));
    int32_t bytes = 0;
    bufferSize(1920, {side, side}, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] {
      return function(src.data(), step, dst.data(), step, bench::fullHd, {side, side},
                      {side / 2, side / 2}, buffer.data());
    });
  };
}

const bool registered = [] {
  bench::add("filtermax/8u/3", filter<uint8_t>(nuviFilterMaxBorderReplicate_8u_C1R,
                                               nuviFilterMaxGetBufferSize_8u_C1R, 1, 3));
  bench::add("filtermax/8u/31", filter<uint8_t>(nuviFilterMaxBorderReplicate_8u_C1R,
                                                nuviFilterMaxGetBufferSize_8u_C1R, 1, 31));
  bench::add("filtermin/8uC3/15", filter<uint8_t>(nuviFilterMinBorderReplicate_8u_C3R,
                                                  nuviFilterMinGetBufferSize_8u_C3R, 3, 15));
  bench::add("filtermin/32f/15", filter<float>(nuviFilterMinBorderReplicate_32f_C1R,
                                               nuviFilterMinGetBufferSize_32f_C1R, 1, 15));
  return true;
}();

}  // namespace

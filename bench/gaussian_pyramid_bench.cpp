#include "support.h"

namespace {

template <class T>
using Step = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, uint8_t*);

constexpr NuviSize quarter = {960, 540};

// The larger picture is full HD, the source on the way down and the result on the way up.
template <class T>
auto step(Step<T> function, bool down, int32_t channels) {
  return [=](benchmark::State& state, int32_t threads) {
    const NuviSize from = down ? bench::fullHd : quarter, to = down ? quarter : bench::fullHd;
    const auto src = bench::picture<T>(int64_t{from.width} * from.height * channels);
    std::vector<T> dst(static_cast<size_t>(to.width * to.height * channels));
    int32_t bytes = 0;
    if (down) {
      nuviPyrDownGetBufSize_Gauss5x5(from.width, 1, channels, &bytes);
    } else {
      nuviPyrUpGetBufSize_Gauss5x5(from.width, 1, channels, &bytes);
    }
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    const auto pixelBytes = channels * static_cast<int32_t>(sizeof(T));
    bench::run(state, threads, [&] {
      return function(src.data(), from.width * pixelBytes, dst.data(), to.width * pixelBytes, from,
                      buffer.data());
    });
  };
}

const bool registered = [] {
  bench::add("gaussian pyramid/down 8u C1", step(nuviPyrDown_Gauss5x5_8u_C1R, true, 1));
  bench::add("gaussian pyramid/down 8u C3", step(nuviPyrDown_Gauss5x5_8u_C3R, true, 3));
  bench::add("gaussian pyramid/down 8s C1", step(nuviPyrDown_Gauss5x5_8s_C1R, true, 1));
  bench::add("gaussian pyramid/down 32f C1", step(nuviPyrDown_Gauss5x5_32f_C1R, true, 1));
  bench::add("gaussian pyramid/down 32f C3", step(nuviPyrDown_Gauss5x5_32f_C3R, true, 3));
  bench::add("gaussian pyramid/up 8u C1", step(nuviPyrUp_Gauss5x5_8u_C1R, false, 1));
  bench::add("gaussian pyramid/up 8u C3", step(nuviPyrUp_Gauss5x5_8u_C3R, false, 3));
  bench::add("gaussian pyramid/up 8s C1", step(nuviPyrUp_Gauss5x5_8s_C1R, false, 1));
  bench::add("gaussian pyramid/up 32f C1", step(nuviPyrUp_Gauss5x5_32f_C1R, false, 1));
  bench::add("gaussian pyramid/up 32f C3", step(nuviPyrUp_Gauss5x5_32f_C3R, false, 3));
  return true;
}();

}  // namespace

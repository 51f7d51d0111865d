#include "support.h"

namespace {

// A call on two pictures and a mask of full size.
template <class T, class Call>
auto onPictures(Call call) {
  return [call](benchmark::State& state, int32_t threads) {
    const auto a = bench::picture<T>(bench::fullHdPixels, 1);
    const auto b = bench::picture<T>(bench::fullHdPixels, 2);
    auto mask = bench::picture<uint8_t>(bench::fullHdPixels, 3);
    for (auto& pixel : mask) pixel = pixel % 2;
    constexpr int32_t step = 1920 * sizeof(T);
    bench::run(state, threads,
               [&] { return call(a.data(), b.data(), mask.data(), step, bench::fullHd); });
  };
}

#define CASE(name, T, ...)                                                                      \
  bench::add(name,                                                                              \
             onPictures<T>([](const T* a, [[maybe_unused]] const T* b,                          \
                              [[maybe_unused]] const uint8_t* m, int32_t step, NuviSize size) { \
               [[maybe_unused]] double value, other;                                            \
               [[maybe_unused]] float low, high;                                                \
               [[maybe_unused]] NuviPoint lowAt, highAt;                                        \
               return __VA_ARGS__;                                                              \
             }))

const bool registered = [] {
  CASE("mean/8u/masked", uint8_t, nuviMean_8u_C1MR(a, step, m, 1920, size, &value));
  CASE("mean/deviation/8u", uint8_t, nuviMean_StdDev_8u_C1R(a, step, size, &value, &other));
  CASE("mean/deviation/8u/masked", uint8_t,
       nuviMean_StdDev_8u_C1MR(a, step, m, 1920, size, &value, &other));
  CASE("mean/deviation/32f", float, nuviMean_StdDev_32f_C1R(a, step, size, &value, &other));
  CASE("norm/L1/8u", uint8_t, nuviNorm_L1_8u_C1MR(a, step, m, 1920, size, &value));
  CASE("norm/L2/8u", uint8_t, nuviNorm_L2_8u_C1MR(a, step, m, 1920, size, &value));
  CASE("norm/Inf/8u", uint8_t, nuviNorm_Inf_8u_C1MR(a, step, m, 1920, size, &value));
  CASE("norm/difference/L2/8u", uint8_t,
       nuviNormDiff_L2_8u_C1MR(a, step, b, step, m, 1920, size, &value));
  CASE("norm/difference/L2/32f", float,
       nuviNormDiff_L2_32f_C1MR(a, step, b, step, m, 1920, size, &value));
  CASE("minmax/8u", uint8_t, nuviMinMaxIndx_8u_C1R(a, step, size, &low, &high, &lowAt, &highAt));
  CASE("minmax/8u/masked", uint8_t,
       nuviMinMaxIndx_8u_C1MR(a, step, m, 1920, size, &low, &high, &lowAt, &highAt));
  CASE("minmax/32f", float, nuviMinMaxIndx_32f_C1R(a, step, size, &low, &high, &lowAt, &highAt));
  return true;
}();

#undef CASE

}  // namespace

#include "support.h"

namespace {

// A call on a source, a second one, a mask and an accumulator of full size.
template <class T, class Call>
auto accumulate(Call call) {
  return [call](benchmark::State& state, int32_t threads) {
    const auto src1 = bench::picture<T>(bench::fullHdPixels, 1);
    const auto src2 = bench::picture<T>(bench::fullHdPixels, 2);
    auto mask = bench::picture<uint8_t>(bench::fullHdPixels, 3);
    for (auto& pixel : mask) pixel = pixel % 2;
    std::vector<float> acc(bench::fullHdPixels, 0.0f);
    constexpr int32_t step = 1920 * sizeof(T);
    bench::run(state, threads,
               [&] { return call(src1.data(), src2.data(), step, mask.data(), acc.data()); });
  };
}

#define PLAIN(T, function)                                                         \
  accumulate<T>([](const T* s, const T*, int32_t step, const uint8_t*, float* d) { \
    return function(s, step, d, 7680, bench::fullHd);                              \
  })
#define MASKED(T, function)                                                          \
  accumulate<T>([](const T* s, const T*, int32_t step, const uint8_t* m, float* d) { \
    return function(s, step, m, 1920, d, 7680, bench::fullHd);                       \
  })

const bool registered = [] {
  bench::add("accumulate/add/8u", PLAIN(uint8_t, nuviAdd_8u32f_C1IR));
  bench::add("accumulate/add/8u/masked", MASKED(uint8_t, nuviAdd_8u32f_C1IMR));
  bench::add("accumulate/square/8u", PLAIN(uint8_t, nuviAddSquare_8u32f_C1IR));
  bench::add("accumulate/square/8u/masked", MASKED(uint8_t, nuviAddSquare_8u32f_C1IMR));
  bench::add("accumulate/square/32f/masked", MASKED(float, nuviAddSquare_32f_C1IMR));
  using U8 = const uint8_t*;
  bench::add("accumulate/product/8u",
             accumulate<uint8_t>([](U8 s1, U8 s2, int32_t step, U8, float* d) {
               return nuviAddProduct_8u32f_C1IR(s1, step, s2, step, d, 7680, bench::fullHd);
             }));
  bench::add("accumulate/product/8u/masked",
             accumulate<uint8_t>([](U8 s1, U8 s2, int32_t step, U8 m, float* d) {
               return nuviAddProduct_8u32f_C1IMR(s1, step, s2, step, m, 1920, d, 7680,
                                                 bench::fullHd);
             }));
  bench::add("accumulate/weighted/8u",
             accumulate<uint8_t>([](U8 s, U8, int32_t step, U8, float* d) {
               return nuviAddWeighted_8u32f_C1IR(s, step, d, 7680, bench::fullHd, 0.05f);
             }));
  bench::add("accumulate/weighted/8u/masked",
             accumulate<uint8_t>([](U8 s, U8, int32_t step, U8 m, float* d) {
               return nuviAddWeighted_8u32f_C1IMR(s, step, m, 1920, d, 7680, bench::fullHd, 0.05f);
             }));
  return true;
}();

#undef PLAIN
#undef MASKED

}  // namespace

#include "support.h"

namespace {

// A filter on a full picture, with the scratch that it reports.
template <class Source, class Result, class Size, class Call>
auto filter(Size size, Call call) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<Source>(bench::fullHdPixels);
    std::vector<Result> dst(bench::fullHdPixels);
    nuvSetNumThreads(threads);
    int32_t bytes = 0;
    size(&bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    bench::run(state, threads, [&] { return call(src.data(), dst.data(), buffer.data()); });
  };
}

// With a mask size, and without one.
#define FILTER(label, name, form, Source, Result, mask)                                       \
  bench::add(label, filter<Source, Result>(                                                   \
                        [](int32_t* bytes) {                                                  \
                          nuviFilter##name##GetBufferSize_##form(bench::fullHd, mask, bytes); \
                        },                                                                    \
                        [](const Source* src, Result* dst, uint8_t* buffer) {                 \
                          return nuviFilter##name##Border_##form(                             \
                              src, 1920 * sizeof(Source), dst, 1920 * sizeof(Result),         \
                              bench::fullHd, mask, nuvBorderReplicate, 0, buffer);            \
                        }))

const bool registered = [] {
  FILTER("filter/sobel3x3/8u16s", SobelHoriz, 8u16s_C1R, uint8_t, int16_t, nuvMask3x3);
  FILTER("filter/sobel5x5/8u16s", SobelHoriz, 8u16s_C1R, uint8_t, int16_t, nuvMask5x5);
  FILTER("filter/sobelvert3x3/8u16s", SobelVert, 8u16s_C1R, uint8_t, int16_t, nuvMask3x3);
  FILTER("filter/sobel3x3/32f", SobelHoriz, 32f_C1R, float, float, nuvMask3x3);
  FILTER("filter/laplacian3x3/8u16s", Laplacian, 8u16s_C1R, uint8_t, int16_t, nuvMask3x3);
  FILTER("filter/laplacian5x5/8u16s", Laplacian, 8u16s_C1R, uint8_t, int16_t, nuvMask5x5);
  FILTER("filter/lowpass3x3/8u", Lowpass, 8u_C1R, uint8_t, uint8_t, nuvMask3x3);
  FILTER("filter/lowpass5x5/8u", Lowpass, 8u_C1R, uint8_t, uint8_t, nuvMask5x5);
  FILTER("filter/lowpass5x5/32f", Lowpass, 32f_C1R, float, float, nuvMask5x5);
  bench::add(
      "filter/scharr/8u16s",
      filter<uint8_t, int16_t>(
          [](int32_t* bytes) { nuviFilterScharrVertGetBufferSize_8u16s_C1R(bench::fullHd, bytes); },
          [](const uint8_t* src, int16_t* dst, uint8_t* buffer) {
            return nuviFilterScharrVertBorder_8u16s_C1R(src, 1920, dst, 3840, bench::fullHd,
                                                        nuvBorderReplicate, 0, buffer);
          }));
  bench::add("filter/sobel3x3/8u8s",
             filter<uint8_t, int8_t>(
                 [](int32_t* bytes) {
                   nuviFilterSobelVertGetBufferSize_8u8s_C1R(bench::fullHd, nuvMask3x3, bytes);
                 },
                 [](const uint8_t* src, int8_t* dst, uint8_t* buffer) {
                   return nuviFilterSobelVertBorder_8u8s_C1R(src, 1920, dst, 1920, bench::fullHd,
                                                             nuvMask3x3, nuvBorderReplicate, 0, 8,
                                                             buffer);
                 }));
  return true;
}();

#undef FILTER

}  // namespace

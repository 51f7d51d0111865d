#include "support.h"

namespace {

// Row pointers of an image of `width` elements a row.
template <class T, class Element>
std::vector<T*> rowPointers(std::vector<Element>& pixels, int64_t width) {
  std::vector<T*> rows;
  for (size_t at = 0; at < pixels.size(); at += static_cast<size_t>(width)) {
    rows.push_back(pixels.data() + at);
  }
  return rows;
}

// A smoothing kernel without two equal neighbours; its divisor is close to its sum.
template <class Coefficient>
std::vector<Coefficient> smoothing(int32_t taps) {
  std::vector<Coefficient> kernel(static_cast<size_t>(taps));
  for (int32_t j = 0; j < taps; ++j) {
    kernel[static_cast<size_t>(j)] = static_cast<Coefficient>(1 + std::min(j, taps - 1 - j));
  }
  return kernel;
}

template <class Size>
std::vector<uint8_t> scratchFor(Size size, NuviSize roiSize, int32_t taps) {
  int32_t bytes = 0;
  size(roiSize, taps, &bytes);
  return std::vector<uint8_t>(static_cast<size_t>(bytes));
}

// `border` is the border value, `divisor` none or one integer.
template <class Source, class Result, class Coefficient, class Function, class Size, class Border,
          class... Divisor>
auto row(Function function, Size size, int32_t channels, int32_t taps, Border border,
         Divisor... divisor) {
  return [=](benchmark::State& state, int32_t threads) {
    const NuviSize roiSize = {1920 / channels, 1080};
    const auto src = bench::picture<Source>(bench::fullHdPixels);
    auto dst = bench::picture<Result>(bench::fullHdPixels);
    const auto rows = rowPointers<Result>(dst, 1920);
    const auto kernel = smoothing<Coefficient>(taps);
    nuvSetNumThreads(threads);
    auto scratch = scratchFor(size, roiSize, taps);
    bench::run(state, threads, [&] {
      return function(src.data(), 1920 * sizeof(Source), rows.data(), roiSize, kernel.data(), taps,
                      taps / 2, nuvBorderReplicate, border, divisor..., scratch.data());
    });
  };
}

template <class Source, class Result, class Coefficient, class Function, class Size,
          class... Divisor>
auto column(Function function, Size size, int32_t taps, Divisor... divisor) {
  return [=](benchmark::State& state, int32_t threads) {
    auto src = bench::picture<Source>(int64_t{1920} * (1080 + taps - 1));
    auto dst = bench::picture<Result>(bench::fullHdPixels);
    const auto rows = rowPointers<const Source>(src, 1920);
    const auto kernel = smoothing<Coefficient>(taps);
    nuvSetNumThreads(threads);
    auto scratch = scratchFor(size, bench::fullHd, taps);
    bench::run(state, threads, [&] {
      return function(rows.data(), dst.data(), 1920 * sizeof(Result), bench::fullHd, kernel.data(),
                      taps, divisor..., scratch.data());
    });
  };
}

const bool registered = [] {
  for (const int32_t taps : {3, 5, 7, 31}) {
    const auto add = [&](const char* form, auto body) {
      bench::add(("pipeline/" + std::string(form) + "/" + std::to_string(taps)).c_str(), body);
    };
    add("row_16s", row<int16_t, int16_t, int16_t>(nuviFilterRowBorderPipeline_16s_C1R,
                                                  nuviFilterRowBorderPipelineGetBufferSize_16s_C1R,
                                                  1, taps, int16_t{0}, 9));
    add("row_16s_C3", row<int16_t, int16_t, int16_t>(
                          nuviFilterRowBorderPipeline_16s_C3R,
                          nuviFilterRowBorderPipelineGetBufferSize_16s_C3R, 3, taps, nullptr, 9));
    add("row_8u16s",
        row<uint8_t, int16_t, int16_t>(nuviFilterRowBorderPipeline_8u16s_C1R,
                                       nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R, 1, taps,
                                       uint8_t{0}, 1));
    add("row_Low_16s",
        row<int16_t, int16_t, int16_t>(nuviFilterRowBorderPipeline_Low_16s_C1R,
                                       nuviFilterRowBorderPipelineGetBufferSize_Low_16s_C1R, 1,
                                       taps, int16_t{0}, 9));
    add("row_32f",
        row<float, float, float>(nuviFilterRowBorderPipeline_32f_C1R,
                                 nuviFilterRowBorderPipelineGetBufferSize_32f_C1R, 1, taps, 0.0f));
    add("column_16s",
        column<int16_t, int16_t, int16_t>(nuviFilterColumnPipeline_16s_C1R,
                                          nuviFilterColumnPipelineGetBufferSize_16s_C1R, taps, 9));
    add("column_16s8u", column<int16_t, uint8_t, int16_t>(
                            nuviFilterColumnPipeline_16s8u_C1R,
                            nuviFilterColumnPipelineGetBufferSize_16s8u_C1R, taps, 9));
    add("column_Low_16s", column<int16_t, int16_t, int16_t>(
                              nuviFilterColumnPipeline_Low_16s_C1R,
                              nuviFilterColumnPipelineGetBufferSize_Low_16s_C1R, taps, 9));
    add("column_32f",
        column<float, float, float>(nuviFilterColumnPipeline_32f_C1R,
                                    nuviFilterColumnPipelineGetBufferSize_32f_C1R, taps));
  }
  return true;
}();

}  // namespace

#include "support.h"

namespace {

template <class T, class Entry, class Init, class Down, class Free>
auto down(Init init, Down layer, Free release, int32_t channels, float rate) {
  return [=](benchmark::State& state, int32_t threads) {
    const Entry kernel[] = {1, 4, 6, 4, 1};
    NuviSize below;
    NuviPyramidLayerState* layerState = nullptr;
    nuviGetPyramidDownROI(bench::fullHd, &below, rate);
    if (init(&layerState, bench::fullHd, rate, kernel, 5, 2) != nuvStatusOk) {
      return state.SkipWithError("no state");
    }
    const auto src = bench::picture<T>(bench::fullHdPixels * channels);
    std::vector<T> dst(static_cast<size_t>(below.width * below.height * channels));
    const auto pixelBytes = static_cast<int32_t>(sizeof(T)) * channels;
    bench::run(state, threads, [&] {
      return layer(src.data(), 1920 * pixelBytes, bench::fullHd, dst.data(),
                   below.width * pixelBytes, below, layerState);
    });
    release(layerState);
  };
}

template <class T, class Entry, class Init, class Up, class Free>
auto up(Init init, Up layer, Free release, int32_t channels, float rate) {
  return [=](benchmark::State& state, int32_t threads) {
    const Entry kernel[] = {1, 4, 6, 4, 1};
    NuviSize below;
    NuviPyramidLayerState* layerState = nullptr;
    nuviGetPyramidDownROI(bench::fullHd, &below, rate);
    if (init(&layerState, bench::fullHd, rate, kernel, 5, 2) != nuvStatusOk) {
      return state.SkipWithError("no state");
    }
    const auto src = bench::picture<T>(int64_t{below.width} * below.height * channels);
    std::vector<T> dst(static_cast<size_t>(bench::fullHdPixels * channels));
    const auto pixelBytes = static_cast<int32_t>(sizeof(T)) * channels;
    bench::run(state, threads, [&] {
      return layer(src.data(), below.width * pixelBytes, below, dst.data(), 1920 * pixelBytes,
                   bench::fullHd, layerState);
    });
    release(layerState);
  };
}

const bool registered = [] {
#define NUV_DOWN(name, T, Entry, channels, rate)                                               \
  bench::add("layer/down " #name " rate " #rate,                                               \
             down<T, Entry>(nuviPyramidLayerDownInitAlloc_##name, nuviPyramidLayerDown_##name, \
                            nuviPyramidLayerDownFree_##name, channels, rate))
  NUV_DOWN(8u_C1R, uint8_t, int16_t, 1, 2);
  NUV_DOWN(8u_C1R, uint8_t, int16_t, 1, 1.5);
  NUV_DOWN(8u_C3R, uint8_t, int16_t, 3, 2);
  NUV_DOWN(8u_C3R, uint8_t, int16_t, 3, 1.5);
  NUV_DOWN(16u_C1R, uint16_t, int16_t, 1, 2);
  NUV_DOWN(16u_C1R, uint16_t, int16_t, 1, 1.5);
  NUV_DOWN(32f_C1R, float, float, 1, 2);
  NUV_DOWN(32f_C1R, float, float, 1, 1.5);
#undef NUV_DOWN
#define NUV_UP(name, T, Entry, channels, rate)                                           \
  bench::add("layer/up " #name " rate " #rate,                                           \
             up<T, Entry>(nuviPyramidLayerUpInitAlloc_##name, nuviPyramidLayerUp_##name, \
                          nuviPyramidLayerUpFree_##name, channels, rate))
  NUV_UP(8u_C1R, uint8_t, int16_t, 1, 2);
  NUV_UP(8u_C1R, uint8_t, int16_t, 1, 1.5);
  NUV_UP(8u_C3R, uint8_t, int16_t, 3, 2);
  NUV_UP(16u_C1R, uint16_t, int16_t, 1, 2);
  NUV_UP(32f_C1R, float, float, 1, 2);
#undef NUV_UP
  return true;
}();

}  // namespace

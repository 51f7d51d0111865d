#include "support.h"

namespace {

template <int channels>
auto model(decltype(&nuviForegroundGaussianInitAlloc_8u_C1R) initAlloc,
           decltype(&nuviForegroundGaussian_8u_C1R) process,
           decltype(&nuviForegroundGaussianFree_8u_C1R) release, bool noisy) {
  return [=](benchmark::State& state, int32_t threads) {
    // Frames of a still scene, with a bar of other pixels that is 5 percent wide and moves on; with
    // noise, if asked for. The model has seen some frames when the clock starts.
    constexpr int32_t frameCount = 8, barWidth = 96, row = 1920 * channels;
    const auto scene = bench::picture<uint8_t>(bench::fullHdPixels * channels);
    std::vector<uint8_t> ref(scene.size()), dst(bench::fullHdPixels);
    std::vector<std::vector<uint8_t>> frames(frameCount, scene);
    std::mt19937 random(5);
    for (int32_t f = 0; f < frameCount; ++f) {
      for (size_t i = 0; i < scene.size(); ++i) {
        const auto x = static_cast<int32_t>(i % row) / channels;
        if (noisy) frames[f][i] = static_cast<uint8_t>(scene[i] + random() % 5);
        if (x / barWidth % 20 == f * 2) frames[f][i] = static_cast<uint8_t>(random());
      }
    }
    NuviForegroundGaussianState* model = nullptr;
    initAlloc(scene.data(), row, bench::fullHd, &model, &model);
    int32_t next = 0;
    const auto call = [&] {
      const auto& frame = frames[static_cast<size_t>(next++ % frameCount)];
      return process(frame.data(), row, ref.data(), row, dst.data(), 1920, bench::fullHd, model);
    };
    for (int32_t f = 0; f < 2 * frameCount; ++f) call();
    bench::run(state, threads, call);
    release(model);
  };
}

const bool registered = [] {
  const auto c1 = [](bool noisy) {
    return model<1>(nuviForegroundGaussianInitAlloc_8u_C1R, nuviForegroundGaussian_8u_C1R,
                    nuviForegroundGaussianFree_8u_C1R, noisy);
  };
  const auto c3 = [](bool noisy) {
    return model<3>(nuviForegroundGaussianInitAlloc_8u_C3R, nuviForegroundGaussian_8u_C3R,
                    nuviForegroundGaussianFree_8u_C3R, noisy);
  };
  bench::add("gaussian model/C1", c1(false));
  bench::add("gaussian model/C3", c3(false));
  bench::add("gaussian model/C1 noise", c1(true));
  bench::add("gaussian model/C3 noise", c3(true));
  return true;
}();

}  // namespace

#include "support.h"

namespace {

struct Functions {
  decltype(&nuviInpaintInitAlloc_8u_C1R) initAlloc;
  decltype(&nuviInpaint_8u_C1R) inpaint;
  decltype(&nuviInpaintFree_8u_C1R) free;
};
constexpr Functions oneChannel = {nuviInpaintInitAlloc_8u_C1R, nuviInpaint_8u_C1R,
                                  nuviInpaintFree_8u_C1R};
constexpr Functions threeChannels = {nuviInpaintInitAlloc_8u_C3R, nuviInpaint_8u_C3R,
                                     nuviInpaintFree_8u_C3R};

// Ten scratches over the picture, 500 pixels long and 7 wide: 35,000 pixels, with their distance
// from the rim.
struct Scratches {
  std::vector<uint8_t> mask = std::vector<uint8_t>(bench::fullHdPixels);
  std::vector<float> distance = std::vector<float>(bench::fullHdPixels);

  Scratches() {
    for (int i = 0; i < 10; ++i) {
      for (int along = 0; along < 500; ++along) {
        for (int across = 0; across < 7; ++across) {
          const int x = 20 + 140 * i + along, y = 60 + 100 * i + across + along / 11;
          mask[static_cast<size_t>(y * 1920 + x)] = 1;
          distance[static_cast<size_t>(y * 1920 + x)] =
              static_cast<float>(std::min({across + 1, 7 - across, along + 1, 500 - along}));
        }
      }
    }
  }
};

NuviInpaintState* makeState(const Functions& functions, const Scratches& scratches, int32_t mode) {
  NuviInpaintState* made = nullptr;
  functions.initAlloc(&made, scratches.distance.data(), 1920 * sizeof(float), scratches.mask.data(),
                      1920, bench::fullHd, 5, mode);
  return made;
}

auto filling(Functions functions, int32_t channels, int32_t mode) {
  return [=](benchmark::State& state, int32_t threads) {
    NuviInpaintState* const made = makeState(functions, Scratches(), mode);
    const auto src = bench::picture<uint8_t>(bench::fullHdPixels * channels);
    std::vector<uint8_t> dst(src.size());
    bench::run(state, threads, [&] {
      return functions.inpaint(src.data(), 1920 * channels, dst.data(), 1920 * channels,
                               bench::fullHd, made);
    });
    functions.free(made);
  };
}

void initialising(benchmark::State& state, int32_t threads) {
  const Scratches scratches;
  bench::run(state, threads, [&] { return oneChannel.free(makeState(oneChannel, scratches, 0)); });
}

const bool registered = [] {
  bench::add("inpaint/InitAlloc", initialising);
  bench::add("inpaint/by distance C1", filling(oneChannel, 1, 0));
  bench::add("inpaint/along level lines C1", filling(oneChannel, 1, 1));
  bench::add("inpaint/by distance C3", filling(threeChannels, 3, 0));
  bench::add("inpaint/along level lines C3", filling(threeChannels, 3, 1));
  return true;
}();

}  // namespace

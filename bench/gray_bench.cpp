#include "support.h"

namespace {

template <class T, class Weight, class Init, class Operation, class Free>
auto weighted(Init init, Operation operation, Free release, int32_t side) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels, 2);
    constexpr int32_t step = 1920 * sizeof(T);
    std::vector<Weight> weights;  // a paraboloid
    for (int32_t y = -(side / 2); y <= side / 2; ++y) {
      for (int32_t x = -(side / 2); x <= side / 2; ++x) {
        weights.push_back(static_cast<Weight>(10 - x * x - y * y));
      }
    }
    NuviGrayMorphologyState* gray = nullptr;
    init(&gray, bench::fullHd, weights.data(), {side, side}, {side / 2, side / 2});
    bench::run(state, threads, [&] {
      return operation(src.data(), step, dst.data(), step, bench::fullHd, nuvBorderReplicate, gray);
    });
    release(gray);
  };
}

const bool registered = [] {
  bench::add("graydilate/8u/3",
             weighted<uint8_t, int32_t>(nuviMorphGrayInitAlloc_8u_C1R, nuviGrayDilateBorder_8u_C1R,
                                        nuviMorphGrayFree_8u_C1R, 3));
  bench::add("grayerode/8u/11",
             weighted<uint8_t, int32_t>(nuviMorphGrayInitAlloc_8u_C1R, nuviGrayErodeBorder_8u_C1R,
                                        nuviMorphGrayFree_8u_C1R, 11));
  bench::add("graydilate/32f/3",
             weighted<float, float>(nuviMorphGrayInitAlloc_32f_C1R, nuviGrayDilateBorder_32f_C1R,
                                    nuviMorphGrayFree_32f_C1R, 3));
  return true;
}();

}  // namespace

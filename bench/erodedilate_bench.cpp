#include "support.h"

namespace {

// Masks of odd side with the anchor in the middle.
struct Mask {
  NuviSize size;
  std::vector<uint8_t> elements;
};

Mask rectangle(int32_t side) {
  return {{side, side}, std::vector<uint8_t>(static_cast<size_t>(side * side), 1)};
}

template <class IsOn>
Mask maskOf(int32_t side, IsOn&& isOn) {
  Mask mask = {{side, side}, {}};
  for (int32_t y = -(side / 2); y <= side / 2; ++y) {
    for (int32_t x = -(side / 2); x <= side / 2; ++x) mask.elements.push_back(isOn(x, y) ? 1 : 0);
  }
  return mask;
}

Mask ellipse(int32_t side) {
  return maskOf(side, [=](int32_t x, int32_t y) { return 4 * (x * x + y * y) <= side * side; });
}
Mask cross(int32_t side) {
  return maskOf(side, [](int32_t x, int32_t y) { return x == 0 || y == 0; });
}
// A ring: two runs in most rows, so it is taken element by element.
Mask ring(int32_t side) {
  return maskOf(side, [](int32_t x, int32_t y) { return x != 0 || y != 0; });
}

template <class T, class Init, class Operation>
auto morphology(Init init, Operation operation, const Mask& mask) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels, 2);
    constexpr int32_t step = 1920 * sizeof(T);
    NuviMorphologyState* morphology = nullptr;
    init(1920, mask.elements.data(), mask.size, {mask.size.width / 2, mask.size.height / 2},
         &morphology);
    bench::run(state, threads, [&] {
      return operation(src.data(), step, dst.data(), step, bench::fullHd, nuvBorderReplicate,
                       morphology);
    });
    nuviMorphologyFree(morphology);
  };
}

const bool registered = [] {
  const auto dilate = [](const Mask& mask) {
    return morphology<uint8_t>(nuviMorphologyInitAlloc_8u_C1R, nuviDilateBorderReplicate_8u_C1R,
                               mask);
  };
  bench::add("dilate/8u/rectangle3", dilate(rectangle(3)));
  bench::add("dilate/8u/rectangle5", dilate(rectangle(5)));
  bench::add("dilate/8u/rectangle15", dilate(rectangle(15)));
  bench::add("dilate/8u/rectangle31", dilate(rectangle(31)));
  bench::add("dilate/8u/rectangle255", dilate(rectangle(255)));
  bench::add("dilate/8u/cross3", dilate(cross(3)));
  bench::add("dilate/8u/ellipse5", dilate(ellipse(5)));
  bench::add("dilate/8u/ellipse15", dilate(ellipse(15)));
  bench::add("dilate/8u/general3", dilate(ring(3)));
  bench::add("dilate/8u/general15", dilate(ring(15)));
  bench::add("erode/32f/rectangle15",
             morphology<float>(nuviMorphologyInitAlloc_32f_C1R, nuviErodeBorderReplicate_32f_C1R,
                               rectangle(15)));
  bench::add("erode/32f/ellipse15",
             morphology<float>(nuviMorphologyInitAlloc_32f_C1R, nuviErodeBorderReplicate_32f_C1R,
                               ellipse(15)));
  bench::add("erode/32f/general15", morphology<float>(nuviMorphologyInitAlloc_32f_C1R,
                                                      nuviErodeBorderReplicate_32f_C1R, ring(15)));
  return true;
}();

}  // namespace

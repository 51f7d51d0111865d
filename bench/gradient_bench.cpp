#include "photograph.h"

namespace {

template <size_t channels, class Grow>
void add(const char* name, Grow grow) {
  int32_t bytes = 0;
  nuviSegmentGradientGetBufferSize_8u_C1R(bench::fullHd, &bytes);
  bench::addInPlace(name, 1, bench::fortyMarkers(), bytes, [=](uint8_t* markers, uint8_t* buffer) {
    return grow(bench::photograph<channels>(), 1920 * channels, markers, 1920, bench::fullHd, 0, 64,
                buffer);
  });
}

const bool registered = [] {
  add<1>("gradient/C1", nuviSegmentGradient_8u_C1IR);
  add<3>("gradient/C3", nuviSegmentGradient_8u_C3IR);
  return true;
}();

}  // namespace

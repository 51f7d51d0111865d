#include "photograph.h"

namespace {

void add(const std::string& name, int32_t threads, int32_t norm, int32_t flag) {
  int32_t bytes = 0;
  nuviSegmentWatershedGetBufferSize_8u_C1R(bench::fullHd, &bytes);
  bench::addInPlace("watershed/" + name, threads, bench::fortyMarkers(), bytes,
                    [=](uint8_t* markers, uint8_t* buffer) {
                      return nuviSegmentWatershed_8u_C1IR(bench::photograph<1>(), 1920, markers,
                                                          1920, bench::fullHd, norm, flag, buffer);
                    });
}

const bool registered = [] {
  add("queue8", 1, 0, 1 + 128);
  add("queue4", 1, 1, 1);
  add("sweep8", 1, 0, 2);
  add("sweep8/threads", 0, 0, 2);
  add("sweep4", 1, 1, 2 + 64);
  add("sweep8weighted", 1, 2, 2);
  add("sweepEikonal", 1, 3, 2);
  return true;
}();

}  // namespace

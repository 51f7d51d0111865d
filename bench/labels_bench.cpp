#include "support.h"

namespace {

// 200 x 100 blocks of 6 x 7 pixels apart from one another: 20000 components.
std::vector<uint8_t> blobs() {
  std::vector<uint8_t> pixels(bench::fullHdPixels);
  for (size_t y = 0; y < 1000; ++y) {
    for (size_t x = 0; x < 1800; ++x) {
      if (x % 9 < 6 && y % 10 < 7) pixels[y * 1920 + x] = 1;
    }
  }
  return pixels;
}

// Labels in blocks of 40 x 30 pixels.
std::vector<uint8_t> segments() {
  std::vector<uint8_t> pixels(bench::fullHdPixels);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(1 + (i % 1920 / 40 + 48 * (i / 1920 / 30)) % 250);
  }
  return pixels;
}

const bool registered = [] {
  int32_t bytes = 0;
  nuviLabelMarkersGetBufferSize_8u_C1R(bench::fullHd, &bytes);
  bench::addInPlace("labels/20000blobs", 1, blobs(), bytes, [](uint8_t* image, uint8_t* buffer) {
    int32_t number = 0;
    const NuvStatus status =
        nuviLabelMarkers_8u_C1IR(image, 1920, bench::fullHd, 1, 254, 1, &number, buffer);
    return number == 20000 ? status : nuvStatusFailure;
  });
  for (const int32_t norm : {0, 1}) {
    bench::addInPlace(norm == 0 ? "bounds/8neighbours" : "bounds/4neighbours", 1, segments(), 0,
                      [norm](uint8_t* image, uint8_t*) {
                        return nuviBoundSegments_8u_C1IR(image, 1920, bench::fullHd, 255, norm);
                      });
  }
  return true;
}();

}  // namespace

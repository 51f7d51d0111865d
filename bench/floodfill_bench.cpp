#include "support.h"

namespace {

// Fills from the middle a picture of which all pixels are taken.
template <class Call>
void add(const char* name, const std::vector<uint8_t>& source, bool gradient, Call call) {
  int32_t bytes = 0;
  (gradient ? nuviFloodFillGetSize_Grad : nuviFloodFillGetSize)(bench::fullHd, &bytes);
  bench::addInPlace(name, 1, source, bytes, [=](uint8_t* image, uint8_t* buffer) {
    NuviFilledRegion region = {};
    const NuvStatus status = call(image, NuviPoint{960, 540}, &region, buffer);
    return region.area == bench::fullHdPixels ? status : nuvStatusFailure;
  });
}

const bool registered = [] {
  const std::vector<uint8_t> flat(bench::fullHdPixels, 50);
  const auto picture = bench::picture<uint8_t>(bench::fullHdPixels);  // 0 to 248
  add("floodfill/4Con", flat, false,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        return nuviFloodFill_4Con_8u_C1IR(image, 1920, bench::fullHd, seed, 99, region, buffer);
      });
  add("floodfill/Range4Con", picture, false,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        const uint8_t value = image[1920 * seed.y + seed.x];
        return nuviFloodFill_Range4Con_8u_C1IR(image, 1920, bench::fullHd, seed, 255, value,
                                               static_cast<uint8_t>(250 - value), region, buffer);
      });
  add("floodfill/Grad8Con", picture, true,
      [](uint8_t* image, NuviPoint seed, NuviFilledRegion* region, uint8_t* buffer) {
        return nuviFloodFill_Grad8Con_8u_C1IR(image, 1920, bench::fullHd, seed, 255, 250, 250,
                                              region, buffer);
      });
  return true;
}();

}  // namespace

// What growing regions are timed on: a relief and markers in it.
#pragma once

#include "support.h"

namespace bench {

inline constexpr size_t width = 1920, height = 1080;

// Smooth hills with a little noise, like the gradient of a photograph.
inline std::vector<uint8_t> relief() {
  auto pixels = picture<uint8_t>(fullHdPixels);
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const size_t hill =
          (x % 160 < 80 ? x % 80 : 80 - x % 80) + (y % 130 < 65 ? y % 65 : 65 - y % 65);
      pixels[y * width + x] = static_cast<uint8_t>(hill + pixels[y * width + x] / 8);
    }
  }
  return pixels;
}

// 8 x 5 markers of 9 x 9 pixels.
inline std::vector<uint8_t> fortyMarkers() {
  std::vector<uint8_t> markers(fullHdPixels);
  for (size_t i = 0; i < 40 * 81; ++i) {
    const size_t marker = i / 81, x = 100 + marker % 8 * 240, y = 90 + marker / 8 * 210;
    markers[(y + i % 81 / 9) * width + x + i % 9] = static_cast<uint8_t>(marker + 1);
  }
  return markers;
}

}  // namespace bench

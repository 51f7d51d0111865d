// What growing regions are timed on: a photograph and markers in it.
#pragma once

#include <png.h>

#include <cstdlib>

#include "support.h"

namespace bench {

// A photograph of 512 x 512 pixels, mirrored at its edges to fill the picture: a grey one, or with
// three channels a coloured one.
inline std::vector<uint8_t> readPhotograph(size_t channels) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  png_image_begin_read_from_file(&image, channels == 1 ? GREY_PHOTOGRAPH : COLOUR_PHOTOGRAPH);
  image.format = channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  std::vector<uint8_t> read(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, read.data(), 0, nullptr) == 0) std::abort();
  const auto mirrored = [](size_t at, size_t size) {
    return at % (2 * size) < size ? at % size : size - 1 - at % size;
  };
  std::vector<uint8_t> pixels;
  for (size_t y = 0; y < 1080; ++y) {
    for (size_t x = 0; x < 1920; ++x) {
      const size_t pixel = mirrored(y, image.height) * image.width + mirrored(x, image.width);
      const auto from = read.begin() + static_cast<ptrdiff_t>(pixel * channels);
      pixels.insert(pixels.end(), from, from + static_cast<ptrdiff_t>(channels));
    }
  }
  return pixels;
}

template <size_t channels>
const uint8_t* photograph() {
  static const std::vector<uint8_t> pixels = readPhotograph(channels);
  return pixels.data();
}

// 8 x 5 markers of 9 x 9 pixels.
inline std::vector<uint8_t> fortyMarkers() {
  std::vector<uint8_t> markers(fullHdPixels);
  for (size_t i = 0; i < 40 * 81; ++i) {
    const size_t marker = i / 81, x = 100 + marker % 8 * 240, y = 90 + marker / 8 * 210;
    markers[(y + i % 81 / 9) * 1920 + x + i % 9] = static_cast<uint8_t>(marker + 1);
  }
  return markers;
}

}  // namespace bench

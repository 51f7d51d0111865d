// Pictures and PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace example {

// Rows without pads; the channels of a pixel side by side.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;  // 1: grey, 3: red, green, blue
  std::vector<uint8_t> pixels;

  Picture() = default;
  Picture(int width, int height, int channels)
      : width(width),
        height(height),
        channels(channels),
        pixels(static_cast<size_t>(width) * static_cast<size_t>(height) *
               static_cast<size_t>(channels)) {}

  int step() const { return width * channels; }  // bytes from row to row
};

enum class Colour { asInFile, grey, rgb };

// Reads a PNG of any kind. 16-bit samples are reduced to 8 bits, palettes resolved, and what is
// transparent is laid over white. Throws an Error whose text names the file.
Picture readPng(const std::filesystem::path& file, Colour colour = Colour::asInFile);

// Writes a picture of 1 or 3 channels; throws likewise.
void writePng(const std::filesystem::path& file, const Picture& picture);

}  // namespace example

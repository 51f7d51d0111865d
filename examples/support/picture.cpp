#include "support/picture.h"

#include <png.h>

#include <cstring>
#include <string>

#include "support/program.h"

namespace example {
namespace {

// Scratch sizes of the library are 32-bit counts of several bytes for each sample.
constexpr int64_t maxSamples = 200'000'000;

// libpng's record of a file being read, released at the end of its scope.
struct Reading {
  png_image image;

  Reading() {
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
  }
  ~Reading() { png_image_free(&image); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

}  // namespace

Picture readPng(const std::filesystem::path& file, Colour colour) {
  const auto fail = [&](const std::string& reason) { throw Error(file.string() + ": " + reason); };
  if (std::filesystem::is_directory(file)) fail("is a folder");

  Reading reading;
  png_image& image = reading.image;
  const std::string unreadable = "cannot be read as a PNG: ";
  if (!png_image_begin_read_from_file(&image, file.c_str())) fail(unreadable + image.message);

  const bool hasColour = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
  const bool rgb = colour == Colour::rgb || (colour == Colour::asInFile && hasColour);
  image.format = rgb ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // else 16-bit samples would be taken as linear light
  const int channels = rgb ? 3 : 1;
  if (int64_t{image.width} * image.height * channels > maxSamples) fail("the picture is too large");

  Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), channels);
  const png_color white = {255, 255, 255};
  if (!png_image_finish_read(&image, &white, picture.pixels.data(), picture.step(), nullptr)) {
    fail(unreadable + image.message);
  }
  return picture;
}

void writePng(const std::filesystem::path& file, const Picture& picture) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = picture.channels == 3 ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  if (!png_image_write_to_file(&image, file.c_str(), 0, picture.pixels.data(), picture.step(),
                               nullptr)) {
    throw Error(file.string() + ": cannot be written: " + image.message);
  }
}

}  // namespace example

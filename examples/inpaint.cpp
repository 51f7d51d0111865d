// A photograph is scratched and written over, and then restored by both methods of inpainting.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

constexpr float radius = 5.0f;

NuviSize sizeOf(const Picture& picture) { return {picture.width, picture.height}; }

bool isMasked(const Picture& mask, size_t pixel) { return mask.pixels[pixel] != 0; }

void drawDisk(Picture& mask, double centreX, double centreY, double size) {
  for (int y = std::max(0, static_cast<int>(centreY - size)); y <= centreY + size; ++y) {
    for (int x = std::max(0, static_cast<int>(centreX - size)); x <= centreX + size; ++x) {
      if (x < mask.width && y < mask.height && std::hypot(x - centreX, y - centreY) <= size) {
        mask.pixels[static_cast<size_t>(y) * mask.width + x] = 255;
      }
    }
  }
}

// Letters of 5 x 7 cells, each row's leftmost cell its highest bit.
void drawText(Picture& mask, const std::string& text, int left, int top, int cell) {
  struct Letter {
    char name;
    std::array<uint8_t, 7> rows;
  };
  static const Letter letters[] = {{'C', {0x0F, 0x10, 0x10, 0x10, 0x10, 0x10, 0x0F}},
                                   {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
                                   {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
                                   {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
                                   {'N', {0x11, 0x19, 0x15, 0x13, 0x11, 0x11, 0x11}},
                                   {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
                                   {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
                                   {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
                                   {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
                                   {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}};
  for (const char name : text) {
    for (const Letter& letter : letters) {
      if (letter.name != name) continue;
      for (int y = 0; y < 7 * cell; ++y) {
        for (int x = 0; x < 5 * cell; ++x) {
          const bool isOn = (letter.rows[static_cast<size_t>(y / cell)] >> (4 - x / cell) & 1) != 0;
          if (!isOn || left + x >= mask.width || top + y >= mask.height) continue;
          mask.pixels[static_cast<size_t>(top + y) * mask.width + left + x] = 255;
        }
      }
    }
    left += 6 * cell;
  }
}

// Text across the picture and scratches that wander over it.
Picture drawDamage(NuviSize size) {
  Picture mask(size.width, size.height, 1);
  const int cell = std::max(1, size.width / 100);
  drawText(mask, "SPECIMEN", size.width / 12, size.height / 8, cell);
  drawText(mask, "RESTORE ME", size.width / 5, size.height * 3 / 4, cell);

  std::mt19937 random(7);
  const auto fraction = [&] { return static_cast<double>(random() % 1000) / 1000; };
  const double thickness = std::max(1, size.width / 400);
  for (int scratch = 0; scratch < 9; ++scratch) {
    double x = fraction() * size.width, y = fraction() * size.height, angle = fraction() * 6.3;
    for (int step = 0; step < (size.width + size.height) / 2; ++step) {
      drawDisk(mask, x, y, thickness * (0.5 + 0.5 * std::sin(step / 40.0 + scratch)));
      angle += (fraction() - 0.5) / 8;
      x += std::cos(angle), y += std::sin(angle);
    }
  }
  return mask;
}

// What is not black in the second picture.
Picture readMask(const std::filesystem::path& file, NuviSize size) {
  Picture mask = example::readPng(file, example::Colour::grey);
  if (mask.width != size.width || mask.height != size.height) {
    throw example::Error(file.string() + ": the mask is not of the picture's size");
  }
  for (uint8_t& cell : mask.pixels) cell = cell != 0 ? 255 : 0;
  return mask;
}

Picture damaged(const Picture& original, const Picture& mask) {
  Picture picture = original;
  for (size_t i = 0; i < picture.pixels.size(); ++i) {
    if (isMasked(mask, i / static_cast<size_t>(picture.channels))) picture.pixels[i] = 255;
  }
  return picture;
}

// The mean absolute error of the masked samples.
double errorOf(const Picture& picture, const Picture& original, const Picture& mask) {
  double sum = 0.0, count = 0.0;
  for (size_t i = 0; i < picture.pixels.size(); ++i) {
    if (!isMasked(mask, i / static_cast<size_t>(picture.channels))) continue;
    sum += std::abs(picture.pixels[i] - original.pixels[i]);
    ++count;
  }
  return sum / count;
}

std::vector<float> distancesIn(const Picture& mask) {
  int32_t bytes = 0;
  example::check(nuviFastMarchingGetBufferSize_8u32f_C1R(sizeOf(mask), &bytes),
                 "nuviFastMarchingGetBufferSize_8u32f_C1R");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  std::vector<float> distances(mask.pixels.size());
  example::check(nuviFastMarching_8u32f_C1R(mask.pixels.data(), mask.step(), distances.data(),
                                            mask.width * static_cast<int32_t>(sizeof(float)),
                                            sizeOf(mask), radius, buffer.data()),
                 "nuviFastMarching_8u32f_C1R");
  return distances;
}

Picture fill(const Picture& picture, const Picture& mask, const std::vector<float>& distances,
             int32_t mode) {
  const bool grey = picture.channels == 1;
  const auto initAlloc = grey ? nuviInpaintInitAlloc_8u_C1R : nuviInpaintInitAlloc_8u_C3R;
  const auto inpaint = grey ? nuviInpaint_8u_C1R : nuviInpaint_8u_C3R;
  const auto release = grey ? nuviInpaintFree_8u_C1R : nuviInpaintFree_8u_C3R;

  NuviInpaintState* state = nullptr;
  example::check(
      initAlloc(&state, distances.data(), mask.width * static_cast<int32_t>(sizeof(float)),
                mask.pixels.data(), mask.step(), sizeOf(mask), radius, mode),
      "nuviInpaintInitAlloc");
  Picture filled(picture.width, picture.height, picture.channels);
  const NuvStatus status = inpaint(picture.pixels.data(), picture.step(), filled.pixels.data(),
                                   filled.step(), sizeOf(picture), state);
  release(state);
  example::check(status, "nuviInpaint");
  return filled;
}

void restore(const example::Arguments& arguments) {
  if (arguments.pictures.size() > 2) throw example::Error("one picture, and one mask at most");
  const std::filesystem::path& file = arguments.pictures[0];
  const Picture original = example::readPng(file);
  const NuviSize size = sizeOf(original);
  const Picture mask =
      arguments.pictures.size() == 2 ? readMask(arguments.pictures[1], size) : drawDamage(size);
  const auto masked = std::count(mask.pixels.begin(), mask.pixels.end(), 255);
  if (masked == 0)
    throw example::Error(arguments.pictures.back().string() + ": no pixel is masked");
  const Picture before = damaged(original, mask);

  std::vector<float> distances;
  Picture byDistance, alongLines;
  const double distanceTime = example::milliseconds([&] { distances = distancesIn(mask); });
  const double byDistanceTime =
      example::milliseconds([&] { byDistance = fill(before, mask, distances, 0); });
  const double alongLinesTime =
      example::milliseconds([&] { alongLines = fill(before, mask, distances, 1); });

  const std::string stem = (arguments.output / file.stem()).string();
  example::writePng(stem + "-damaged.png", before);
  example::writePng(stem + "-mask.png", mask);
  example::writePng(stem + "-by-distance.png", byDistance);
  example::writePng(stem + "-along-lines.png", alongLines);
  std::cout << std::fixed << std::setprecision(2) << file.string() << '\n'
            << "  size         " << size.width << " x " << size.height << " pixels, "
            << original.channels << " channels\n"
            << "  mask         " << masked << " pixels, mean absolute error there "
            << errorOf(before, original, mask) << '\n'
            << "  distances    " << distanceTime << " ms by fast marching\n"
            << "  by distance  " << byDistanceTime << " ms, mean absolute error "
            << errorOf(byDistance, original, mask) << '\n'
            << "  along lines  " << alongLinesTime << " ms, mean absolute error "
            << errorOf(alongLines, original, mask) << '\n'
            << "  written      " << stem
            << "-damaged.png, -mask.png, -by-distance.png, -along-lines.png\n";
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(
      argc, argv,
      "Restores a picture, the first PNG, that is scratched and written over: where "
      "a mask, the second PNG, is not black, or else where the program draws.",
      {"astronaut.png"}, restore);
}

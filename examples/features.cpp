// From a picture to its strongest corners and its longest straight lines, drawn into a copy of it.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "support/corners.h"
#include "support/picture.h"
#include "support/program.h"

namespace {

using example::bufferOf;
using example::Picture;

constexpr size_t cornersShown = 100;
constexpr int32_t linesShown = 12;

NuviSize sizeOf(const Picture& picture) { return {picture.width, picture.height}; }

// Edges where the gradient is steeper than four times its mean, with the derivatives' signs as the
// detector needs them: right minus left, below minus above.
Picture findEdges(const Picture& picture) {
  const NuviSize size = sizeOf(picture);
  const int32_t step = picture.width * static_cast<int32_t>(sizeof(int16_t));
  std::vector<int16_t> dx(picture.pixels.size()), dy(picture.pixels.size());
  auto buffer = bufferOf([&](int32_t* bytes) {
    return nuviFilterSobelNegVertGetBufferSize_8u16s_C1R(size, nuvMask3x3, bytes);
  });
  example::check(nuviFilterSobelNegVertBorder_8u16s_C1R(picture.pixels.data(), picture.step(),
                                                        dx.data(), step, size, nuvMask3x3,
                                                        nuvBorderReplicate, 0, buffer.data()),
                 "nuviFilterSobelNegVertBorder_8u16s_C1R");
  buffer = bufferOf([&](int32_t* bytes) {
    return nuviFilterSobelHorizGetBufferSize_8u16s_C1R(size, nuvMask3x3, bytes);
  });
  example::check(
      nuviFilterSobelHorizBorder_8u16s_C1R(picture.pixels.data(), picture.step(), dy.data(), step,
                                           size, nuvMask3x3, nuvBorderReplicate, 0, buffer.data()),
      "nuviFilterSobelHorizBorder_8u16s_C1R");
  double sum = 0;
  for (size_t i = 0; i < dx.size(); ++i) sum += std::abs(dx[i]) + std::abs(dy[i]);
  const auto high = static_cast<float>(4 * sum / static_cast<double>(dx.size()));

  Picture edges(picture.width, picture.height, 1);
  buffer = bufferOf([&](int32_t* bytes) { return nuviCannyGetSize(size, bytes); });
  example::check(nuviCanny_16s8u_C1R(dx.data(), step, dy.data(), step, edges.pixels.data(),
                                     edges.step(), size, 0.4f * high, high, buffer.data()),
                 "nuviCanny_16s8u_C1R");
  return edges;
}

// Lines with more edge pixels than an eighth of the picture is wide, at 1 pixel and 1 degree.
std::vector<NuviPointPolar> findLines(const Picture& edges) {
  const NuviSize size = sizeOf(edges);
  const NuviPointPolar delta = {1.0f, 3.14159f / 180};
  std::vector<NuviPointPolar> lines(linesShown);
  int32_t count = 0;
  auto buffer = bufferOf(
      [&](int32_t* bytes) { return nuviHoughLineGetSize_8u_C1R(size, delta, linesShown, bytes); });
  example::check(nuviHoughLine_8u32f_C1R(edges.pixels.data(), edges.step(), size, delta,
                                         std::max(edges.width / 8, 1), lines.data(), linesShown,
                                         &count, buffer.data()),
                 "nuviHoughLine_8u32f_C1R");
  lines.resize(static_cast<size_t>(count));
  return lines;
}

struct Colour {
  uint8_t red, green, blue;
};

void paint(Picture& picture, double x, double y, Colour colour) {
  const auto column = static_cast<int>(std::lround(x)), row = static_cast<int>(std::lround(y));
  if (column < 0 || column >= picture.width || row < 0 || row >= picture.height) return;
  uint8_t* const pixel = &picture.pixels[static_cast<size_t>(row * picture.step() + 3 * column)];
  pixel[0] = colour.red;
  pixel[1] = colour.green;
  pixel[2] = colour.blue;
}

void draw(Picture& picture, const NuviPointPolar& line) {
  const double c = std::cos(line.theta), s = std::sin(line.theta);
  const int reach = picture.width + picture.height;
  for (double t = -reach; t <= reach; t += 0.5) {
    paint(picture, line.rho * c - t * s, line.rho * s + t * c, {255, 160, 0});
  }
}

void draw(Picture& picture, const NuviPoint& corner) {
  for (int i = -4; i <= 4; ++i) {
    paint(picture, corner.x + i, corner.y, {0, 255, 60});
    paint(picture, corner.x, corner.y + i, {0, 255, 60});
  }
}

void findFeatures(const std::filesystem::path& file, const std::filesystem::path& output) {
  const Picture grey = example::readPng(file, example::Colour::grey);
  Picture drawn = example::readPng(file, example::Colour::rgb);

  std::vector<NuviPoint> corners;
  const double cornerTime = example::milliseconds([&] { corners = example::findCorners(grey); });
  Picture edges;
  std::vector<NuviPointPolar> lines;
  const double lineTime = example::milliseconds([&] {
    edges = findEdges(grey);
    lines = findLines(edges);
  });
  for (const NuviPointPolar& line : lines) draw(drawn, line);
  const size_t shown = std::min(corners.size(), cornersShown);
  for (size_t i = 0; i < shown; ++i) draw(drawn, corners[i]);

  const std::string written = (output / file.stem()).string() + "-features.png";
  example::writePng(written, drawn);
  std::cout << std::fixed << std::setprecision(2) << file.string() << ", " << grey.width << " x "
            << grey.height << " pixels as grey\n"
            << "  corners  " << cornerTime << " ms: " << corners.size()
            << " peaks of the smaller eigenvalue, the strongest " << shown << " drawn\n"
            << "  lines    " << lineTime << " ms: edges, then the " << lines.size()
            << " lines with most votes\n"
            << "  written  " << written << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv, "Finds corners and straight lines in pictures.",
                      {"camera.png", "astronaut.png", "coins.png"},
                      [](const example::Arguments& arguments) {
                        for (const auto& file : arguments.pictures) {
                          findFeatures(file, arguments.output);
                        }
                      });
}

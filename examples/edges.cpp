// From a picture to its edges: Sobel derivatives, then the Canny detector.

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

struct Derivative {
  std::vector<int16_t> values;
  int step;  // in bytes
};

// Applies a Sobel filter of 3 x 3 with the border pixels repeated outward.
template <class SizeFunction, class Filter>
Derivative derive(const Picture& picture, SizeFunction bufferSize, Filter filter) {
  const NuviSize size = {picture.width, picture.height};
  int32_t bytes = 0;
  example::check(bufferSize(size, nuvMask3x3, &bytes), "the size of the Sobel filter's buffer");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));

  Derivative result = {std::vector<int16_t>(picture.pixels.size()),
                       picture.width * static_cast<int>(sizeof(int16_t))};
  example::check(filter(picture.pixels.data(), picture.step(), result.values.data(), result.step,
                        size, nuvMask3x3, nuvBorderReplicate, 0, buffer.data()),
                 "the Sobel filter");
  return result;
}

struct Thresholds {
  float low;
  float high;
};

// The high threshold leaves the steepest tenth of all pixels above it; the low one is 0.4 of that,
// within the ratio of two or three to one that suits most pictures.
Thresholds chooseThresholds(const Derivative& dx, const Derivative& dy) {
  constexpr int greatest = 8 * 255;  // of a 3 x 3 Sobel gradient in the L1 norm
  std::vector<size_t> histogram(greatest + 1);
  for (size_t i = 0; i < dx.values.size(); ++i) {
    ++histogram[static_cast<size_t>(std::abs(dx.values[i]) + std::abs(dy.values[i]))];
  }
  int high = greatest;
  size_t above = 0;
  while (high > 0 && above + histogram[static_cast<size_t>(high)] <= dx.values.size() / 10) {
    above += histogram[static_cast<size_t>(high--)];
  }
  return {0.4f * static_cast<float>(high), static_cast<float>(high)};
}

// Finds the edges of a grey picture.
Picture detectEdges(const Picture& picture, const Derivative& dx, const Derivative& dy,
                    const Thresholds& thresholds) {
  const NuviSize size = {picture.width, picture.height};
  int32_t bytes = 0;
  example::check(nuviCannyGetSize(size, &bytes), "nuviCannyGetSize");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));

  Picture edges(picture.width, picture.height, 1);
  example::check(
      nuviCanny_16s8u_C1R(dx.values.data(), dx.step, dy.values.data(), dy.step, edges.pixels.data(),
                          edges.step(), size, thresholds.low, thresholds.high, buffer.data()),
      "nuviCanny_16s8u_C1R");
  return edges;
}

// A derivative as a picture: 0 is a middle grey, the steepest slope black or white.
Picture toPicture(const Derivative& derivative, const Picture& source) {
  int steepest = 1;
  for (const int16_t value : derivative.values) steepest = std::max(steepest, std::abs(value));
  Picture picture(source.width, source.height, 1);
  std::transform(derivative.values.begin(), derivative.values.end(), picture.pixels.begin(),
                 [&](int16_t value) { return static_cast<uint8_t>(128 + value * 127 / steepest); });
  return picture;
}

void findEdges(const std::filesystem::path& file, const std::filesystem::path& output) {
  Picture picture;
  const double readTime =
      example::milliseconds([&] { picture = example::readPng(file, example::Colour::grey); });

  // The detector needs both slopes with their signs: right minus left and below minus above. The
  // plain vertical filter, left minus right, would swap the diagonals.
  Derivative dx, dy;
  const double derivativeTime = example::milliseconds([&] {
    dx = derive(picture, nuviFilterSobelNegVertGetBufferSize_8u16s_C1R,
                nuviFilterSobelNegVertBorder_8u16s_C1R);
    dy = derive(picture, nuviFilterSobelHorizGetBufferSize_8u16s_C1R,
                nuviFilterSobelHorizBorder_8u16s_C1R);
  });

  const Thresholds thresholds = chooseThresholds(dx, dy);
  Picture edges;
  const double edgeTime =
      example::milliseconds([&] { edges = detectEdges(picture, dx, dy, thresholds); });

  const std::string stem = (output / file.stem()).string();
  example::writePng(stem + "-dx.png", toPicture(dx, picture));
  example::writePng(stem + "-dy.png", toPicture(dy, picture));
  example::writePng(stem + "-edges.png", edges);

  const auto found = std::count(edges.pixels.begin(), edges.pixels.end(), 255);
  const double share =
      100.0 * static_cast<double>(found) / static_cast<double>(edges.pixels.size());
  std::cout << std::fixed << std::setprecision(2) << file.string() << '\n'
            << "  read         " << readTime << " ms, " << picture.width << " x " << picture.height
            << " pixels as grey\n"
            << "  derivatives  " << derivativeTime << " ms, Sobel 3 x 3 along x and y\n"
            << "  edges        " << edgeTime << " ms, Canny with thresholds " << thresholds.low
            << " and " << thresholds.high << ": " << found << " pixels, " << share << " %\n"
            << "  written      " << stem << "-dx.png, -dy.png, -edges.png\n";
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv, "Finds the edges in pictures.",
                      {"camera.png", "astronaut.png", "coins.png"},
                      [](const example::Arguments& arguments) {
                        for (const auto& file : arguments.pictures) {
                          findEdges(file, arguments.output);
                        }
                      });
}

// From a picture to its regions: places that are lighter or darker than their surroundings become
// markers, which grow by watersheds and along small differences.

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

NuviSize sizeOf(const Picture& picture) { return {picture.width, picture.height}; }

// The size of the Sobel gradient in the L1 norm, at most 255: the relief whose ridges are edges.
Picture gradientOf(const Picture& grey) {
  Picture relief(grey.width, grey.height, 1);
  const auto at = [&](int x, int y) {
    x = std::clamp(x, 0, grey.width - 1), y = std::clamp(y, 0, grey.height - 1);
    return static_cast<int>(grey.pixels[static_cast<size_t>(y) * grey.width + x]);
  };
  for (int y = 0; y < grey.height; ++y) {
    for (int x = 0; x < grey.width; ++x) {
      int dx = 0, dy = 0;
      for (int i = -1; i <= 1; ++i) {
        const int weight = i == 0 ? 2 : 1;
        dx += weight * (at(x + 1, y + i) - at(x - 1, y + i));
        dy += weight * (at(x + i, y + 1) - at(x + i, y - 1));
      }
      relief.pixels[static_cast<size_t>(y) * grey.width + x] =
          static_cast<uint8_t>(std::min((std::abs(dx) + std::abs(dy)) / 2, 255));
    }
  }
  return relief;
}

// The mean of the pixels up to `radius` columns and rows away.
Picture meanOf(const Picture& grey, int radius) {
  Picture mean(grey.width, grey.height, 1), rows = mean;
  const auto slide = [radius](const uint8_t* from, uint8_t* to, int length, int stride) {
    int sum = 0, count = 0;
    for (int i = -radius; i < length; ++i) {
      if (i + radius < length) sum += from[(i + radius) * stride], ++count;
      if (i - radius > 0) sum -= from[(i - radius - 1) * stride], --count;
      if (i >= 0) to[i * stride] = static_cast<uint8_t>(sum / count);
    }
  };
  for (int y = 0; y < grey.height; ++y) {
    slide(&grey.pixels[static_cast<size_t>(y) * grey.width],
          &rows.pixels[static_cast<size_t>(y) * grey.width], grey.width, 1);
  }
  for (int x = 0; x < grey.width; ++x) {
    slide(&rows.pixels[static_cast<size_t>(x)], &mean.pixels[static_cast<size_t>(x)], grey.height,
          grey.width);
  }
  return mean;
}

// The places that are lighter or darker than what is around them, numbered. A fill tells a place's
// area; a second one takes a place of less than 60 pixels away again.
Picture markersOf(const Picture& grey, int* count) {
  Picture markers(grey.width, grey.height, 1);
  const NuviSize size = sizeOf(grey);
  constexpr uint8_t lighter = 1, darker = 2, counted = 3;
  const Picture here = meanOf(grey, 2), around = meanOf(grey, 40);
  for (size_t i = 0; i < markers.pixels.size(); ++i) {
    const int contrast = here.pixels[i] - around.pixels[i];
    markers.pixels[i] = contrast > 16 ? lighter : contrast < -16 ? darker : 0;
  }

  // Bounds of value 0 keep lighter places apart from darker ones that touch them.
  example::check(nuviBoundSegments_8u_C1IR(markers.pixels.data(), markers.step(), size, 0, 1),
                 "nuviBoundSegments_8u_C1IR");

  int32_t bytes = 0;
  example::check(nuviFloodFillGetSize(size, &bytes), "nuviFloodFillGetSize");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const uint8_t value = markers.pixels[static_cast<size_t>(y) * size.width + x];
      if (value == 0 || value == counted) continue;
      NuviFilledRegion region;
      example::check(nuviFloodFill_4Con_8u_C1IR(markers.pixels.data(), markers.step(), size, {x, y},
                                                counted, &region, buffer.data()),
                     "nuviFloodFill_4Con_8u_C1IR");
      if (region.area >= 60) continue;
      example::check(nuviFloodFill_4Con_8u_C1IR(markers.pixels.data(), markers.step(), size, {x, y},
                                                0, &region, buffer.data()),
                     "nuviFloodFill_4Con_8u_C1IR");
    }
  }
  example::check(nuviLabelMarkers_8u_C1IR(markers.pixels.data(), markers.step(), size, 1, 253, 1,
                                          count, buffer.data()),
                 "nuviLabelMarkers_8u_C1IR");
  return markers;
}

// Regions in colours over the picture; lines, bounds and what has no label in black.
Picture colour(const Picture& labels, const Picture& grey, int line) {
  Picture picture(labels.width, labels.height, 3);
  for (size_t i = 0; i < labels.pixels.size(); ++i) {
    const unsigned label = labels.pixels[i];
    if (label == 0 || label >= static_cast<unsigned>(line)) continue;
    const unsigned hash = label * 2654435761u;
    for (unsigned c = 0; c < 3; ++c) {
      const unsigned tint = 60 + (hash >> (8 * c + 4)) % 196;
      picture.pixels[3 * i + c] = static_cast<uint8_t>((tint * 3 + grey.pixels[i]) / 4);
    }
  }
  return picture;
}

void segment(const std::filesystem::path& file, const std::filesystem::path& output) {
  const Picture picture = example::readPng(file, example::Colour::rgb);
  const Picture grey = example::readPng(file, example::Colour::grey);
  const NuviSize size = sizeOf(grey);
  const Picture relief = gradientOf(grey);
  int count = 0;
  Picture markers;
  const double markerTime = example::milliseconds([&] { markers = markersOf(grey, &count); });

  int32_t bytes = 0;
  example::check(nuviSegmentWatershedGetBufferSize_8u_C1R(size, &bytes),
                 "nuviSegmentWatershedGetBufferSize_8u_C1R");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  const auto watershed = [&](Picture& labels, int32_t norm, int32_t flag) {
    return example::milliseconds([&] {
      labels = markers;
      example::check(
          nuviSegmentWatershed_8u_C1IR(relief.pixels.data(), relief.step(), labels.pixels.data(),
                                       labels.step(), size, norm, flag, buffer.data()),
          "nuviSegmentWatershed_8u_C1IR");
    });
  };
  Picture queue, sweeps, grown;
  const double queueTime = watershed(queue, 0, 1 + 64);
  const double sweepTime = watershed(sweeps, 2, 2);
  example::check(nuviBoundSegments_8u_C1IR(sweeps.pixels.data(), sweeps.step(), size, 255, 1),
                 "nuviBoundSegments_8u_C1IR");

  example::check(nuviSegmentGradientGetBufferSize_8u_C3R(size, &bytes),
                 "nuviSegmentGradientGetBufferSize_8u_C3R");
  buffer.resize(static_cast<size_t>(bytes));
  const double growTime = example::milliseconds([&] {
    grown = markers;
    example::check(
        nuviSegmentGradient_8u_C3IR(picture.pixels.data(), picture.step(), grown.pixels.data(),
                                    grown.step(), size, 0, 64, buffer.data()),
        "nuviSegmentGradient_8u_C3IR");
  });

  const std::string stem = (output / file.stem()).string();
  example::writePng(stem + "-markers.png", colour(markers, grey, 254));
  example::writePng(stem + "-watershed-queue.png", colour(queue, grey, 255));
  example::writePng(stem + "-watershed-sweeps.png", colour(sweeps, grey, 255));
  example::writePng(stem + "-gradient.png", colour(grown, grey, 254));
  std::cout << std::fixed << std::setprecision(2) << file.string() << '\n'
            << "  size         " << size.width << " x " << size.height << " pixels\n"
            << "  markers      " << markerTime << " ms, " << count
            << " places lighter or darker than their surroundings\n"
            << "  watershed    " << queueTime << " ms by the queue, " << sweepTime
            << " ms by sweeps\n"
            << "  gradient     " << growTime << " ms in three channels\n"
            << "  written      " << stem
            << "-markers.png, -watershed-queue.png, -watershed-sweeps.png, -gradient.png\n";
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv, "Cuts pictures into regions.", {"coins.png", "astronaut.png"},
                      [](const example::Arguments& arguments) {
                        for (const auto& file : arguments.pictures) {
                          segment(file, arguments.output);
                        }
                      });
}

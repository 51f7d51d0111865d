// Photographs as a wide-angle lens would have shown them, and their correction: each is distorted
// by known coefficients, corrected by the library, and compared with what it was.

#include <algorithm>
#include <cmath>
#include <iostream>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

// Brown's radial model: the lens moves a point at radius r, in focal lengths from the principal
// point, to r * (1 + k1 * r^2 + k2 * r^4).
struct Lens {
  float focal, cx, cy;
  float k1 = -0.25f, k2 = 0.05f;

  explicit Lens(const Picture& picture)
      : focal(0.6f *
              std::hypot(static_cast<float>(picture.width), static_cast<float>(picture.height))),
        cx(static_cast<float>(picture.width - 1) / 2),
        cy(static_cast<float>(picture.height - 1) / 2) {}

  double moved(double r) const { return r * (1 + r * r * (k1 + k2 * r * r)); }

  // The radius that the lens moves to `r`, by Newton's method.
  double unmoved(double r) const {
    double at = r;
    for (int i = 0; i < 10; ++i) {
      const double slope = 1 + at * at * (3 * k1 + 5 * k2 * at * at);
      at -= (moved(at) - r) / slope;
    }
    return at;
  }
};

// What the lens makes of the scene: each pixel comes from the place that the lens moves onto it,
// between four pixels; black beyond the scene.
Picture distort(const Picture& scene, const Lens& lens) {
  Picture seen(scene.width, scene.height, scene.channels);
  for (int y = 0; y < seen.height; ++y) {
    for (int x = 0; x < seen.width; ++x) {
      const double dx = x - lens.cx, dy = y - lens.cy;
      const double radius = std::hypot(dx, dy) / lens.focal;
      const double scale = radius > 0 ? lens.unmoved(radius) / radius : 1;
      const double u = lens.cx + dx * scale, v = lens.cy + dy * scale;
      if (!(u >= 0 && v >= 0 && u <= scene.width - 1 && v <= scene.height - 1)) continue;
      const int left = std::min(static_cast<int>(u), scene.width - 2);
      const int top = std::min(static_cast<int>(v), scene.height - 2);
      const double right = u - left, lower = v - top;
      for (int c = 0; c < scene.channels; ++c) {
        const auto at = [&](int column, int row) -> double {
          return scene.pixels[static_cast<size_t>(row) * static_cast<size_t>(scene.step()) +
                              static_cast<size_t>(column * scene.channels + c)];
        };
        const double above = at(left, top) * (1 - right) + at(left + 1, top) * right;
        const double below = at(left, top + 1) * (1 - right) + at(left + 1, top + 1) * right;
        seen.pixels[static_cast<size_t>(y) * static_cast<size_t>(seen.step()) +
                    static_cast<size_t>(x * seen.channels + c)] =
            static_cast<uint8_t>(above * (1 - lower) + below * lower + 0.5);
      }
    }
  }
  return seen;
}

void undistort(const Picture& seen, const Lens& lens, Picture& corrected) {
  const NuviSize size = {seen.width, seen.height};
  int32_t bytes = 0;
  example::check(nuviUndistortGetSize(size, &bytes), "nuviUndistortGetSize");
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  const auto function =
      seen.channels == 3 ? nuviUndistortRadial_8u_C3R : nuviUndistortRadial_8u_C1R;
  example::check(
      function(seen.pixels.data(), seen.step(), corrected.pixels.data(), corrected.step(), size,
               lens.focal, lens.focal, lens.cx, lens.cy, lens.k1, lens.k2, buffer.data()),
      "nuviUndistortRadial");
}

// The root of the mean squared difference, and the largest one, but for a rim where the distorted
// picture knows only part of what is interpolated.
struct Difference {
  double rms = 0;
  int largest = 0;
};
constexpr int rim = 3;

Difference compare(const Picture& a, const Picture& b) {
  Difference difference;
  double squares = 0, count = 0;
  for (int y = rim; y < a.height - rim; ++y) {
    const size_t row = static_cast<size_t>(y) * static_cast<size_t>(a.step());
    for (int i = rim * a.channels; i < (a.width - rim) * a.channels; ++i) {
      const int d =
          std::abs(a.pixels[row + static_cast<size_t>(i)] - b.pixels[row + static_cast<size_t>(i)]);
      difference.largest = std::max(difference.largest, d);
      squares += d * d;
      ++count;
    }
  }
  difference.rms = std::sqrt(squares / count);
  return difference;
}

void process(const std::filesystem::path& file, const std::filesystem::path& output) {
  const Picture scene = example::readPng(file);
  if (scene.width <= 2 * rim || scene.height <= 2 * rim) {
    throw example::Error(file.string() + ": the picture is too small");
  }
  const Lens lens(scene);
  const Picture seen = distort(scene, lens);
  Picture corrected(scene.width, scene.height, scene.channels);
  const double time = example::milliseconds([&] { undistort(seen, lens, corrected); });

  const Difference before = compare(scene, seen);
  const Difference after = compare(scene, corrected);
  const double corner = std::hypot(lens.cx, lens.cy);
  const std::string name = file.stem().string();
  const auto distortedFile = output / (name + "-distorted.png");
  const auto correctedFile = output / (name + "-corrected.png");
  example::writePng(distortedFile, seen);
  example::writePng(correctedFile, corrected);
  std::cout << file.filename().string() << ", " << scene.width << " x " << scene.height << ", "
            << scene.channels << (scene.channels == 1 ? " channel\n" : " channels\n")
            << "  lens: focal length " << lens.focal << " pixels, k1 " << lens.k1 << ", k2 "
            << lens.k2 << "; it moves a corner by "
            << corner - lens.moved(corner / lens.focal) * lens.focal << " pixels\n"
            << "  corrected in " << time << " ms\n"
            << "  difference from the photograph, distorted: rms " << before.rms << ", largest "
            << before.largest << '\n'
            << "  difference from the photograph, corrected: rms " << after.rms << ", largest "
            << after.largest << '\n'
            << "  " << distortedFile.string() << "\n  " << correctedFile.string() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv, "Distorts photographs by a known lens and corrects them.",
                      {"camera.png", "astronaut.png"}, [](const example::Arguments& arguments) {
                        for (const auto& file : arguments.pictures) process(file, arguments.output);
                      });
}

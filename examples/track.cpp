// Corners of one frame followed into another by pyramidal optical flow. Two pictures are two
// frames; of any other picture the second frame is made by moving it by a known part of pixels.

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>

#include "support/corners.h"
#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

constexpr size_t mostPoints = 200;
constexpr int32_t coarsest = 2, windowSize = 15, iterations = 20;
constexpr float tolerance = 0.01f;

// How far the second frame is moved: the scene goes right and up.
constexpr NuviPoint32f shift = {5.3f, -3.7f};

NuviSize sizeOf(const Picture& picture) { return {picture.width, picture.height}; }

// The picture from column x and row y on, at a fraction of a pixel: a margin stays outside.
Picture crop(const Picture& picture, double x, double y, NuviSize size) {
  Picture result(size.width, size.height, 1);
  const auto column = static_cast<size_t>(x), row = static_cast<size_t>(y);
  const size_t first = row * static_cast<size_t>(picture.width) + column;
  example::check(
      nuviCopySubpix_8u_C1R(picture.pixels.data() + first, picture.step(), result.pixels.data(),
                            result.step(), size, static_cast<float>(x), static_cast<float>(y)),
      "nuviCopySubpix_8u_C1R");
  return result;
}

// Layers of half the width and height each.
class Pyramid {
 public:
  explicit Pyramid(const Picture& base) {
    const NuviSize size = sizeOf(base);
    example::check(nuviPyramidInitAlloc(&record_, coarsest, size, 2.0f), "nuviPyramidInitAlloc");
    constexpr int16_t kernel[] = {1, 4, 6, 4, 1};
    NuviPyramidLayerState* step = nullptr;
    example::check(nuviPyramidLayerDownInitAlloc_8u_C1R(&step, size, 2.0f, kernel, 5, 2),
                   "nuviPyramidLayerDownInitAlloc_8u_C1R");
    layers_.push_back(base);
    for (int32_t i = 1; i <= record_->level; ++i) {
      const Picture& larger = layers_.back();
      const NuviSize next = record_->sizes[i];
      Picture layer(next.width, next.height, 1);
      example::check(
          nuviPyramidLayerDown_8u_C1R(larger.pixels.data(), larger.step(), sizeOf(larger),
                                      layer.pixels.data(), layer.step(), next, step),
          "nuviPyramidLayerDown_8u_C1R");
      layers_.push_back(std::move(layer));
    }
    nuviPyramidLayerDownFree_8u_C1R(step);
    for (size_t i = 0; i < layers_.size(); ++i) {
      record_->images[i] = layers_[i].pixels.data();
      record_->steps[i] = layers_[i].step();
    }
  }
  ~Pyramid() { nuviPyramidFree(record_); }
  Pyramid(const Pyramid&) = delete;
  Pyramid& operator=(const Pyramid&) = delete;

  const NuviPyramid* get() const { return record_; }

 private:
  NuviPyramid* record_ = nullptr;
  std::vector<Picture> layers_;
};

struct Tracks {
  std::vector<NuviPoint32f> from, to;
  std::vector<uint8_t> status;
  std::vector<float> error;
};

Tracks track(const Pyramid& first, const Pyramid& second, const std::vector<NuviPoint>& corners) {
  Tracks tracks;
  for (const NuviPoint& corner : corners) {
    tracks.from.push_back({static_cast<float>(corner.x), static_cast<float>(corner.y)});
  }
  tracks.to = tracks.from;
  tracks.status.resize(corners.size());
  tracks.error.resize(corners.size());
  if (corners.empty()) return tracks;

  const NuviPyramid* const pyramid = first.get();
  NuviOptFlowPyrLKState* state = nullptr;
  example::check(nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&state, pyramid->sizes[0], windowSize, 0),
                 "nuviOpticalFlowPyrLKInitAlloc_8u_C1R");
  const NuvStatus status = nuviOpticalFlowPyrLK_8u_C1R(
      pyramid, second.get(), tracks.from.data(), tracks.to.data(), tracks.status.data(),
      tracks.error.data(), static_cast<int32_t>(corners.size()), windowSize, pyramid->level,
      iterations, tolerance, state);
  nuviOpticalFlowPyrLKFree_8u_C1R(state);
  example::check(status, "nuviOpticalFlowPyrLK_8u_C1R");
  return tracks;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Arrows three times as long as the way, from green (both windows alike) to red (32 grey levels
// apart), with a white dot where they begin.
Picture draw(const Picture& frame, const Tracks& tracks) {
  Picture result(frame.width, frame.height, 3);
  for (size_t i = 0; i < frame.pixels.size(); ++i) {
    std::fill_n(&result.pixels[3 * i], 3, static_cast<uint8_t>(frame.pixels[i] / 2));
  }
  const auto paint = [&](double x, double y, int red, int green, int blue) {
    const long column = std::lround(x), row = std::lround(y);
    if (column < 0 || row < 0 || column >= result.width || row >= result.height) return;
    uint8_t* const pixel = &result.pixels[static_cast<size_t>(row * result.step() + 3 * column)];
    pixel[0] = static_cast<uint8_t>(red);
    pixel[1] = static_cast<uint8_t>(green);
    pixel[2] = static_cast<uint8_t>(blue);
  };
  for (size_t i = 0; i < tracks.from.size(); ++i) {
    if (tracks.status[i] != 0) continue;
    const double x = tracks.from[i].x, y = tracks.from[i].y;
    const double dx = 3 * (tracks.to[i].x - x), dy = 3 * (tracks.to[i].y - y);
    const int red = std::min(static_cast<int>(tracks.error[i] * 8), 255);
    const double length = std::hypot(dx, dy);
    for (double t = 0; t <= length; t += 0.5) {
      paint(x + dx * t / length, y + dy * t / length, red, 255 - red, 0);
    }
    for (double t = 0; t <= 5 && length > 0; t += 0.5) {  // the head's two strokes
      for (const double side : {-0.5, 0.5}) {
        paint(x + dx - t * (dx - side * dy) / length, y + dy - t * (dy + side * dx) / length, red,
              255 - red, 0);
      }
    }
    paint(x, y, 255, 255, 255);
  }
  return result;
}

// Follows the corners; `isKnown` tells that the second frame is the first one moved by `shift`.
void trackFrames(const Picture& first, const Picture& second, bool isKnown,
                 const std::string& target) {
  std::vector<NuviPoint> corners = example::findCorners(first);
  corners.resize(std::min(corners.size(), mostPoints));
  const double buildTime = example::milliseconds([&] { const Pyramid a(first), b(second); });
  const Pyramid a(first), b(second);
  Tracks tracks;
  const double trackTime = example::milliseconds([&] { tracks = track(a, b, corners); });
  example::writePng(target, draw(first, tracks));

  std::vector<double> ways, offs;
  size_t near = 0;
  for (size_t i = 0; i < corners.size(); ++i) {
    if (tracks.status[i] != 0) continue;
    const double dx = tracks.to[i].x - tracks.from[i].x, dy = tracks.to[i].y - tracks.from[i].y;
    ways.push_back(std::hypot(dx, dy));
    offs.push_back(std::hypot(dx - shift.x, dy - shift.y));
    near += offs.back() < 0.1;
  }
  std::cout << "  pyramids     " << buildTime << " ms, two of " << a.get()->level + 1 << " layers, "
            << first.width << " x " << first.height << " pixels\n"
            << "  tracked      " << trackTime << " ms, " << ways.size() << " of " << corners.size()
            << " corners, median way " << median(ways) << " pixels\n";
  if (isKnown) {
    std::cout << "  against      the known shift of " << shift.x << ", " << shift.y
              << ": median error " << median(offs) << " pixels, " << near << " within 0.1\n";
  }
  std::cout << "  written      " << target << '\n';
}

void trackMoved(const std::filesystem::path& file, const std::filesystem::path& output) {
  const Picture picture = example::readPng(file, example::Colour::grey);
  std::cout << file.string() << '\n';
  constexpr int margin = 8;
  const NuviSize size = {picture.width - 2 * margin, picture.height - 2 * margin};
  if (size.width < 1 || size.height < 1) {
    throw example::Error(file.string() + ": smaller than 17 x 17 pixels");
  }
  trackFrames(crop(picture, margin, margin, size),
              crop(picture, margin - double{shift.x}, margin - double{shift.y}, size), true,
              (output / file.stem()).string() + "-track.png");
}

void trackPair(const std::vector<std::filesystem::path>& files,
               const std::filesystem::path& output) {
  const Picture first = example::readPng(files[0], example::Colour::grey);
  const Picture second = example::readPng(files[1], example::Colour::grey);
  if (first.width != second.width || first.height != second.height) {
    throw example::Error(files[1].string() + ": not of the size of " + files[0].string());
  }
  std::cout << files[0].string() << " to " << files[1].string() << '\n';
  trackFrames(first, second, false, (output / files[0].stem()).string() + "-track.png");
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv, "Follows corners from one frame to the next.", {"camera.png"},
                      [](const example::Arguments& arguments) {
                        std::cout << std::fixed << std::setprecision(3);
                        if (arguments.pictures.size() == 2) {
                          trackPair(arguments.pictures, arguments.output);
                        } else {
                          for (const auto& file : arguments.pictures) {
                            trackMoved(file, arguments.output);
                          }
                        }
                      });
}

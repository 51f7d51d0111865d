// What moves before a still scene: a clip is made of one photograph, past which a round piece of
// another one flies, with camera noise and slowly changing light. Two foreground models learn the
// scene and mark the object; the motion history keeps where it was. Since the object is known,
// precision and recall are, too.

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <memory>
#include <random>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

constexpr int frameCount = 120;
constexpr int firstMoving = 40;  // until then the models see the scene alone
constexpr int shown[] = {20, 56, 80, 104};
constexpr float historyFrames = 24;

NuviSize sizeOf(const Picture& picture) { return {picture.width, picture.height}; }

// Half the size, each pixel the mean of four.
Picture halved(const Picture& picture) {
  Picture half(std::max(picture.width / 2, 1), std::max(picture.height / 2, 1), picture.channels);
  const auto at = [&](int x, int y, int c) {
    x = std::min(x, picture.width - 1), y = std::min(y, picture.height - 1);
    return static_cast<int>(
        picture.pixels[static_cast<size_t>(y * picture.step() + x * picture.channels + c)]);
  };
  auto pixel = half.pixels.begin();
  for (int y = 0; y < half.height; ++y) {
    for (int x = 0; x < half.width; ++x) {
      for (int c = 0; c < half.channels; ++c) {
        const int sum = at(2 * x, 2 * y, c) + at(2 * x + 1, 2 * y, c) + at(2 * x, 2 * y + 1, c) +
                        at(2 * x + 1, 2 * y + 1, c);
        *pixel++ = static_cast<uint8_t>((sum + 2) / 4);
      }
    }
  }
  return half;
}

// The frames of a film that never was.
class Clip {
 public:
  // A disk from the middle of `texture` is the object.
  Clip(Picture scene, Picture texture)
      : scene_(std::move(scene)),
        texture_(std::move(texture)),
        radius_(std::max(std::min(scene_.width, scene_.height) / 8, 1)),
        noise_(1 << 16) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(0.0f, 1.5f);
    for (float& sample : noise_) sample = normal(random);
  }

  // Writes frame `index`, and 255 into `truth` where the object is.
  void draw(int index, Picture& frame, Picture& truth) {
    const auto time = static_cast<float>(index);
    const float light = 1.0f + 0.02f * std::sin(time * 0.04f);
    const float way = (time - firstMoving) / (frameCount - firstMoving);  // 0 to 1, or waiting
    const int centreX =
        static_cast<int>(way * static_cast<float>(scene_.width + 2 * radius_)) - radius_;
    const int centreY = scene_.height / 2 + static_cast<int>(static_cast<float>(scene_.height) *
                                                             0.25f * std::sin(6.0f * way));
    for (int y = 0; y < scene_.height; ++y) {
      size_t sample = random_();
      for (int x = 0; x < scene_.width; ++x) {
        const int dx = x - centreX, dy = y - centreY;
        const bool covered = index >= firstMoving && dx * dx + dy * dy <= radius_ * radius_;
        truth.pixels[static_cast<size_t>(y * scene_.width + x)] = covered ? 255 : 0;
        const uint8_t* const source = covered ? texel(dx, dy) : pixel(scene_, x, y);
        for (int c = 0; c < 3; ++c) {
          const float value = static_cast<float>(source[c]) * light + noise_[sample++ % (1 << 16)];
          frame.pixels[static_cast<size_t>(y * frame.step() + 3 * x + c)] =
              static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
        }
      }
    }
  }

 private:
  static const uint8_t* pixel(const Picture& picture, int x, int y) {
    return &picture.pixels[static_cast<size_t>(y * picture.step() + 3 * x)];
  }
  const uint8_t* texel(int dx, int dy) const {
    return pixel(texture_, std::clamp(texture_.width / 2 + dx, 0, texture_.width - 1),
                 std::clamp(texture_.height / 2 + dy, 0, texture_.height - 1));
  }

  Picture scene_;
  Picture texture_;
  int radius_;
  std::vector<float> noise_;
  std::mt19937 random_{2};
};

// How well masks tell the object, over many frames.
class Score {
 public:
  void add(const Picture& mask, const Picture& truth) {
    for (size_t i = 0; i < mask.pixels.size(); ++i) {
      const bool marked = mask.pixels[i] != 0, object = truth.pixels[i] != 0;
      hits_ += marked && object;
      falseAlarms_ += marked && !object;
      misses_ += !marked && object;
    }
  }
  double precision() const { return share(hits_, falseAlarms_); }
  double recall() const { return share(hits_, misses_); }

 private:
  static double share(double part, double rest) {
    return part + rest > 0.0 ? part / (part + rest) : 1.0;
  }
  double hits_ = 0.0, falseAlarms_ = 0.0, misses_ = 0.0;
};

// What a model made of a frame, and how it fared so far.
struct Result {
  explicit Result(NuviSize size)
      : mask(size.width, size.height, 1),
        opened(size.width, size.height, 1),
        background(size.width, size.height, 3) {}

  Picture mask;
  Picture opened;  // the mask without specks
  Picture background;
  Score score;
  Score openedScore;
  double time = 0.0;  // milliseconds in all
};

template <class State>
using Owned = std::unique_ptr<State, NuvStatus (*)(State*)>;

// Takes specks off a mask: an opening by 3 x 3 pixels.
class Opening {
 public:
  explicit Opening(NuviSize size) {
    const uint8_t square[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    NuviMorphCompositeState* state = nullptr;
    example::check(nuviMorphAdvInitAlloc_8u_C1R(&state, size, square, {3, 3}, {1, 1}),
                   "nuviMorphAdvInitAlloc_8u_C1R");
    state_.reset(state);
  }
  void operator()(const Picture& mask, Picture& opened) {
    example::check(
        nuviMorphOpenBorder_8u_C1R(mask.pixels.data(), mask.step(), opened.pixels.data(),
                                   opened.step(), sizeOf(mask), nuvBorderReplicate, state_.get()),
        "nuviMorphOpenBorder_8u_C1R");
  }

 private:
  Owned<NuviMorphCompositeState> state_{nullptr, nuviMorphAdvFree};
};

class GaussianModel {
 public:
  static constexpr const char* name = "gaussian";
  explicit GaussianModel(const Picture& first) {
    const int model = 0;  // the model's values are the library's own
    NuviForegroundGaussianState* state = nullptr;
    example::check(nuviForegroundGaussianInitAlloc_8u_C3R(first.pixels.data(), first.step(),
                                                          sizeOf(first), &model, &state),
                   "nuviForegroundGaussianInitAlloc_8u_C3R");
    state_.reset(state);
  }
  void take(const Picture& frame, Result& result) {
    Picture &mask = result.mask, &background = result.background;
    example::check(
        nuviForegroundGaussian_8u_C3R(frame.pixels.data(), frame.step(), background.pixels.data(),
                                      background.step(), mask.pixels.data(), mask.step(),
                                      sizeOf(frame), state_.get()),
        "nuviForegroundGaussian_8u_C3R");
  }

 private:
  Owned<NuviForegroundGaussianState> state_{nullptr, nuviForegroundGaussianFree_8u_C3R};
};

class HistogramModel {
 public:
  static constexpr const char* name = "histogram";
  explicit HistogramModel(const Picture& first) {
    const int model = 0;
    NuviForegroundHistogramState* state = nullptr;
    example::check(nuviForegroundHistogramInitAlloc_8u_C3R(first.pixels.data(), first.step(),
                                                           sizeOf(first), &model, &state),
                   "nuviForegroundHistogramInitAlloc_8u_C3R");
    state_.reset(state);
  }
  void take(const Picture& frame, Result& result) {
    Picture &mask = result.mask, &background = result.background;
    example::check(
        nuviForegroundHistogram_8u_C3R(frame.pixels.data(), frame.step(), mask.pixels.data(),
                                       mask.step(), sizeOf(frame), state_.get()),
        "nuviForegroundHistogram_8u_C3R");
    example::check(nuviForegroundHistogramUpdate_8u_C3R(
                       frame.pixels.data(), frame.step(), mask.pixels.data(), mask.step(),
                       background.pixels.data(), background.step(), sizeOf(frame), state_.get()),
                   "nuviForegroundHistogramUpdate_8u_C3R");
  }

 private:
  Owned<NuviForegroundHistogramState> state_{nullptr, nuviForegroundHistogramFree_8u_C3R};
};

template <class Model>
void look(Model& model, Opening& opening, int index, const Picture& frame, const Picture& truth,
          Result& result) {
  result.time += example::milliseconds([&] { model.take(frame, result); }, 1);
  opening(result.mask, result.opened);
  if (index < firstMoving) return;
  result.score.add(result.mask, truth);
  result.openedScore.add(result.opened, truth);
}

// Times as grey levels, the present one white; 0 is no time.
Picture levels(const std::vector<float>& history, NuviSize size, float timestamp) {
  Picture picture(size.width, size.height, 1);
  for (size_t i = 0; i < history.size(); ++i) {
    if (history[i] == 0.0f) continue;
    const float age = (timestamp - history[i]) / (historyFrames + 1);
    picture.pixels[i] = static_cast<uint8_t>(255.0f * (1.0f - age));
  }
  return picture;
}

// Puts a grey or coloured tile into the strip of coloured ones.
void put(Picture& strip, const Picture& tile, int column, int row) {
  for (int y = 0; y < tile.height; ++y) {
    for (int x = 0; x < 3 * tile.width; ++x) {
      const int from = tile.channels == 3 ? x : x / 3;
      strip.pixels[static_cast<size_t>((row * tile.height + y) * strip.step() +
                                       column * 3 * tile.width + x)] =
          tile.pixels[static_cast<size_t>(y * tile.step() + from)];
    }
  }
}

void print(const char* name, const Result& result) {
  std::cout << "  " << std::left << std::setw(11) << name << std::right << result.time / frameCount
            << " ms a frame; precision " << result.score.precision() << ", recall "
            << result.score.recall() << "; after opening " << result.openedScore.precision() << ", "
            << result.openedScore.recall() << '\n';
}

void film(const std::filesystem::path& sceneFile, const std::filesystem::path& objectFile,
          const std::filesystem::path& output) {
  Picture scene = example::readPng(sceneFile, example::Colour::rgb);
  while (scene.width > 320) scene = halved(scene);
  const NuviSize size = sizeOf(scene);
  Clip clip(scene, example::readPng(objectFile, example::Colour::rgb));

  Picture frame(size.width, size.height, 3), truth(size.width, size.height, 1);
  clip.draw(0, frame, truth);
  GaussianModel gaussian(frame);
  HistogramModel histogram(frame);
  Opening opening(size);
  Result byGaussian(size), byHistogram(size);
  std::vector<float> history(truth.pixels.size(), 0.0f);
  double historyTime = 0.0;

  constexpr int columns = 6;
  Picture strip(columns * size.width, static_cast<int>(std::size(shown)) * size.height, 3);
  int row = 0;
  for (int index = 1; index < frameCount; ++index) {
    clip.draw(index, frame, truth);
    look(gaussian, opening, index, frame, truth, byGaussian);
    look(histogram, opening, index, frame, truth, byHistogram);
    const auto timestamp = static_cast<float>(index);
    historyTime += example::milliseconds(
        [&] {
          example::check(nuviUpdateMotionHistory_8u32f_C1IR(
                             byGaussian.opened.pixels.data(), byGaussian.opened.step(),
                             history.data(), size.width * 4, size, timestamp, historyFrames),
                         "nuviUpdateMotionHistory_8u32f_C1IR");
        },
        1);
    if (row < static_cast<int>(std::size(shown)) && index == shown[row]) {
      const Picture times = levels(history, size, timestamp);
      const Picture* const tiles[columns] = {&frame,
                                             &byGaussian.mask,
                                             &byGaussian.background,
                                             &byHistogram.mask,
                                             &byHistogram.background,
                                             &times};
      for (int column = 0; column < columns; ++column) put(strip, *tiles[column], column, row);
      ++row;
    }
  }

  const std::string file = (output / sceneFile.stem()).string() + "-foreground.png";
  example::writePng(file, strip);
  std::cout << std::fixed << std::setprecision(3) << sceneFile.string() << " with a piece of "
            << objectFile.string() << '\n'
            << "  clip       " << frameCount << " frames of " << size.width << " x " << size.height
            << " pixels in three channels\n";
  print(GaussianModel::name, byGaussian);
  print(HistogramModel::name, byHistogram);
  std::cout << "  history    " << historyTime / frameCount << " ms a frame\n"
            << "  written    " << file
            << ": frame, mask and background by Gaussians, by histograms, motion history\n";
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(
      argc, argv,
      "Marks what moves before a still scene. Two pictures make a clip: the scene,\n"
      "and another one of whose middle the moving object is cut.",
      {"astronaut.png", "coins.png"}, [](const example::Arguments& arguments) {
        film(arguments.pictures.front(), arguments.pictures.back(), arguments.output);
      });
}

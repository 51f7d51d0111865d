// One sharp picture from sixteen coarse ones. A photograph is sampled sixteen times at half its
// resolution, each time shifted by another known fraction of a coarse pixel. Gradient steps then
// look for the picture that would give all these samplings.

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <memory>

#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

constexpr int steps = 40;  // of the gradient descent
constexpr int shifts = 4;  // in each direction, a quarter of a coarse pixel apart
constexpr int samplings = shifts * shifts;

// A picture of floats.
struct Plane {
  int width, height;
  std::vector<float> pixels;

  Plane(int w, int h)
      : width(w), height(h), pixels(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  explicit Plane(const Picture& picture) : Plane(picture.width, picture.height) {
    std::copy(picture.pixels.begin(), picture.pixels.end(), pixels.begin());
  }
  float at(int x, int y) const {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  int32_t step() const { return width * static_cast<int32_t>(sizeof(float)); }
};

Picture toPicture(const Plane& plane) {
  Picture picture(plane.width, plane.height, 1);
  std::transform(plane.pixels.begin(), plane.pixels.end(), picture.pixels.begin(), [](float value) {
    return static_cast<uint8_t>(std::clamp(value, 0.0f, 255.0f) + 0.5f);
  });
  return picture;
}

// A coarse pixel is the mean over a square of 2 x 2 pixels. Shifted by half a pixel it touches
// three in a row, which is what the taps tell: full ones count 1/2, halves 1/4.
struct Shift {
  int whole;                  // in pixels
  std::array<float, 3> taps;  // of the three pixels from there on

  explicit Shift(int quarters)
      : whole(quarters / 2),
        taps(quarters % 2 == 0 ? std::array{0.5f, 0.5f, 0.0f} : std::array{0.25f, 0.5f, 0.25f}) {}
};

// One sampling of the photograph.
struct Sampling {
  int width, height;  // in coarse pixels
  Shift right, down;
  std::vector<uint8_t> observed;  // the coarse picture

  Sampling(const Plane& photograph, int number)
      : width((photograph.width - 2) / 2),
        height((photograph.height - 2) / 2),
        right(number % shifts),
        down(number / shifts) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        float mean = 0;
        for (int j = 0; j < 3; ++j) {
          for (int i = 0; i < 3; ++i) {
            mean += down.taps[static_cast<size_t>(j)] * right.taps[static_cast<size_t>(i)] *
                    photograph.at(2 * x + right.whole + i, 2 * y + down.whole + j);
          }
        }
        observed.push_back(static_cast<uint8_t>(mean + 0.5f));
      }
    }
  }
};

// The first sampling, enlarged between four pixels: the best that it can give alone, and where the
// descent begins. The middle of its coarse pixel x lies at 2 * x + 1/2.
Plane enlarge(const Sampling& coarse, int width, int height) {
  Plane plane(width, height);
  const auto place = [](int at, int count) {
    return std::clamp(static_cast<float>(2 * at - 1) / 4, 0.0f, static_cast<float>(count - 1));
  };
  for (int y = 0; y < height; ++y) {
    const float v = place(y, coarse.height);
    const int top = static_cast<int>(v), bottom = std::min(top + 1, coarse.height - 1);
    for (int x = 0; x < width; ++x) {
      const float u = place(x, coarse.width);
      const int left = static_cast<int>(u), right = std::min(left + 1, coarse.width - 1);
      const auto at = [&](int column, int row) {
        return static_cast<float>(
            coarse.observed[static_cast<size_t>(row) * static_cast<size_t>(coarse.width) +
                            static_cast<size_t>(column)]);
      };
      const float fx = u - static_cast<float>(left), fy = v - static_cast<float>(top);
      const float above = at(left, top) * (1 - fx) + at(right, top) * fx;
      const float below = at(left, bottom) * (1 - fx) + at(right, bottom) * fx;
      plane.pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] =
          above * (1 - fy) + below * fy;
    }
  }
  return plane;
}

struct FreeState {
  void operator()(NuviSRHNState* state) const { nuviSRHNFree_PSF3x3(state); }
};
using State = std::unique_ptr<NuviSRHNState, FreeState>;

State makeState(const std::vector<Sampling>& all) {
  std::vector<float> psf;
  for (const Sampling& sampling : all) {
    for (const float down : sampling.down.taps) {
      for (const float right : sampling.right.taps) psf.push_back(down * right);
    }
  }
  NuviSRHNState* state = nullptr;
  example::check(nuviSRHNInitAlloc_PSF3x3(&state, psf.data(), samplings),
                 "nuviSRHNInitAlloc_PSF3x3");
  return State(state);
}

// Takes the steps of the descent from `estimate` on, and tells how far the last one's predictions
// were off, as the root of their mean square.
double fuse(const std::vector<Sampling>& all, Plane& estimate) {
  const int width = all.front().width, height = all.front().height;
  const int32_t count = width * height;
  const State state = makeState(all);
  std::vector<int32_t> offsets;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) offsets.push_back(2 * y * estimate.width + 2 * x);
  }
  std::vector<float> residual(offsets.size());
  const std::vector<uint8_t> weightIndices(offsets.size(), 0);
  // Each pixel counts in four coarse ones of all samplings together, so steps up to 2/4 converge.
  const float weight = -0.45f;

  double squares = 0;
  for (int step = 0; step < steps; ++step) {
    Plane change(estimate.width, estimate.height);
    squares = 0;
    for (int i = 0; i < samplings; ++i) {
      const Sampling& sampling = all[static_cast<size_t>(i)];
      const std::vector<uint16_t> psf(offsets.size(), static_cast<uint16_t>(i));
      const ptrdiff_t whole =
          ptrdiff_t{sampling.down.whole} * estimate.width + sampling.right.whole;
      example::check(nuviSRHNCalcResidual_PSF3x3_8u32f_C1R(
                         estimate.pixels.data() + whole, estimate.step(), sampling.observed.data(),
                         offsets.data(), psf.data(), residual.data(), count, state.get()),
                     "nuviSRHNCalcResidual_PSF3x3_8u32f_C1R");
      example::check(nuviSRHNUpdateGradient_PSF3x3_32f_C1R(
                         change.pixels.data() + whole, change.step(), offsets.data(), psf.data(),
                         residual.data(), weightIndices.data(), count, &weight, state.get()),
                     "nuviSRHNUpdateGradient_PSF3x3_32f_C1R");
      for (const float off : residual) squares += double{off} * off;
    }
    for (size_t i = 0; i < change.pixels.size(); ++i) estimate.pixels[i] += change.pixels[i];
  }
  return std::sqrt(squares / (double{samplings} * count));
}

double rmsDifference(const Plane& a, const Plane& b) {
  double squares = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const double difference = double{a.pixels[i]} - b.pixels[i];
    squares += difference * difference;
  }
  return std::sqrt(squares / static_cast<double>(a.pixels.size()));
}

void process(const std::filesystem::path& file, const std::filesystem::path& output) {
  const Plane photograph(example::readPng(file, example::Colour::grey));
  if (photograph.width < 4 || photograph.height < 4) {
    throw example::Error(file.string() + ": the picture is too small");
  }
  std::vector<Sampling> all;
  for (int i = 0; i < samplings; ++i) all.emplace_back(photograph, i);
  const Plane enlarged = enlarge(all.front(), photograph.width, photograph.height);
  Plane fused = enlarged;
  double left = 0;
  const double time = example::milliseconds([&] { left = fuse(all, fused); });

  const std::string name = file.stem().string();
  const auto enlargedFile = output / (name + "-enlarged.png");
  const auto fusedFile = output / (name + "-fused.png");
  example::writePng(enlargedFile, toPicture(enlarged));
  example::writePng(fusedFile, toPicture(fused));
  std::cout << file.filename().string() << ", " << photograph.width << " x " << photograph.height
            << ", " << samplings << " samplings of " << all.front().width << " x "
            << all.front().height << '\n'
            << "  " << steps << " gradient steps in " << time
            << " ms; the samplings are met with rms " << left << '\n'
            << "  difference from the photograph, one sampling enlarged: rms "
            << rmsDifference(photograph, enlarged) << '\n'
            << "  difference from the photograph, all samplings fused: rms "
            << rmsDifference(photograph, fused) << '\n'
            << "  " << enlargedFile.string() << "\n  " << fusedFile.string() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv,
                      "Fuses sixteen coarse samplings of a photograph, at known sub-pixel shifts.",
                      {"camera.png", "coins.png"}, [](const example::Arguments& arguments) {
                        for (const auto& file : arguments.pictures) process(file, arguments.output);
                      });
}

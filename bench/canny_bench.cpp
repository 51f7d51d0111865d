#include <array>

#include "support.h"

namespace {

constexpr int32_t width = bench::fullHd.width;
constexpr int32_t height = bench::fullHd.height;

// A picture of 512 x 288 pixels, scaled to 1920 x 1080 by linear interpolation.
std::vector<float> scaledPicture() {
  constexpr int32_t smallWidth = 512, smallHeight = 288;
  const auto source = bench::picture<uint8_t>(smallWidth * smallHeight);
  std::vector<float> scaled(bench::fullHdPixels);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const float sx = static_cast<float>(x) * (smallWidth - 1) / width;
      const float sy = static_cast<float>(y) * (smallHeight - 1) / height;
      const auto left = static_cast<int32_t>(sx), top = static_cast<int32_t>(sy);
      const float fx = sx - static_cast<float>(left), fy = sy - static_cast<float>(top);
      const uint8_t* const at = &source[static_cast<size_t>(top * smallWidth + left)];
      const float upper = at[0] + fx * static_cast<float>(at[1] - at[0]);
      const float lower =
          at[smallWidth] + fx * static_cast<float>(at[smallWidth + 1] - at[smallWidth]);
      scaled[static_cast<size_t>(y * width + x)] = upper + fy * (lower - upper);
    }
  }
  return scaled;
}

// Sobel derivatives of the scaled picture along x and y; 0 on the border.
template <class T>
std::array<std::vector<T>, 2> derivatives() {
  const std::vector<float> picture = scaledPicture();
  std::array<std::vector<T>, 2> result = {std::vector<T>(picture.size()),
                                          std::vector<T>(picture.size())};
  for (size_t i = width + 1; i < picture.size() - width - 1; ++i) {
    const float* const p = &picture[i];
    const float east = p[1 - width] + 2 * p[1] + p[1 + width];
    const float west = p[-1 - width] + 2 * p[-1] + p[-1 + width];
    const float south = p[width - 1] + 2 * p[width] + p[width + 1];
    const float north = p[-width - 1] + 2 * p[-width] + p[-width + 1];
    result[0][i] = static_cast<T>(east - west);
    result[1][i] = static_cast<T>(south - north);
  }
  return result;
}

template <class T, class Function>
auto canny(Function function, float low, float high) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto [dx, dy] = derivatives<T>();
    std::vector<uint8_t> edges(bench::fullHdPixels);
    int32_t bytes = 0;
    nuviCannyGetSize(bench::fullHd, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    constexpr int32_t step = width * sizeof(T);
    bench::run(state, threads, [&, &dx = dx, &dy = dy] {
      return function(dx.data(), step, dy.data(), step, edges.data(), width, bench::fullHd, low,
                      high, buffer.data());
    });
    const auto count = static_cast<double>(std::count(edges.begin(), edges.end(), 255));
    state.counters["edges %"] = 100 * count / bench::fullHdPixels;
  };
}

const bool registered = [] {
  // Nearly a quarter of all pixels are edges, many of them by linking; or few are.
  bench::add("canny/16s8u/many", canny<int16_t>(nuviCanny_16s8u_C1R, 0, 100));
  bench::add("canny/32f8u/many", canny<float>(nuviCanny_32f8u_C1R, 0, 100));
  bench::add("canny/16s8u/few", canny<int16_t>(nuviCanny_16s8u_C1R, 150, 300));
  return true;
}();

}  // namespace

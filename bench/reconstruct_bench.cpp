#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support.h"

namespace {

// A photograph that NUVCV_BENCH_PGM names (binary, 8 bits), enlarged to full HD by linear
// interpolation; without one, smooth blobs with noise.
std::vector<uint8_t> photograph() {
  std::vector<uint8_t> pixels;
  int width = 0, height = 0, most = 0;
  const char* const path = std::getenv("NUVCV_BENCH_PGM");
  if (std::FILE* const file = path != nullptr ? std::fopen(path, "rb") : nullptr) {
    if (std::fscanf(file, "P5 %d %d %d", &width, &height, &most) == 3 && std::fgetc(file) >= 0) {
      pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
      if (std::fread(pixels.data(), 1, pixels.size(), file) != pixels.size()) pixels.clear();
    }
    std::fclose(file);
  }
  if (pixels.empty()) {
    width = height = 512;
    std::mt19937 random(1);
    for (int i = 0; i < width * height; ++i) {
      const double wave = std::sin(i % width / 23.0) * std::sin(i / width / 31.0);
      pixels.push_back(static_cast<uint8_t>(100 + 70 * wave + random() % 30));
    }
  }

  const auto at = [&](int x, int y) {
    const int index = std::min(y, height - 1) * width + std::min(x, width - 1);
    return static_cast<double>(pixels[static_cast<size_t>(index)]);
  };
  std::vector<uint8_t> enlarged;
  for (int y = 0; y < bench::fullHd.height; ++y) {
    for (int x = 0; x < bench::fullHd.width; ++x) {
      const double u = double(x) * (width - 1) / (bench::fullHd.width - 1);
      const double v = double(y) * (height - 1) / (bench::fullHd.height - 1);
      const int i = static_cast<int>(u), j = static_cast<int>(v);
      const double top = at(i, j) * (1 - u + i) + at(i + 1, j) * (u - i);
      const double bottom = at(i, j + 1) * (1 - u + i) + at(i + 1, j + 1) * (u - i);
      enlarged.push_back(static_cast<uint8_t>(top * (1 - v + j) + bottom * (v - j) + 0.5));
    }
  }
  return enlarged;
}

// The marker is the picture less 40 (more 40 for erosion). Each call needs it anew, so its copy is
// part of the time.
template <class T, class Operation, class Size>
auto reconstruction(Operation operation, Size bufferSize, int change) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto picture = photograph();
    const std::vector<T> limit(picture.begin(), picture.end());
    std::vector<T> start, marker(limit.size());
    for (const int pixel : picture) {
      start.push_back(static_cast<T>(std::min(std::max(pixel + change, 0), 255)));
    }
    int32_t bytes = 0;
    bufferSize(bench::fullHd, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    constexpr int32_t step = 1920 * sizeof(T);
    bench::run(state, threads, [&] {
      std::memcpy(marker.data(), start.data(), start.size() * sizeof(T));
      return operation(limit.data(), step, marker.data(), step, bench::fullHd, buffer.data(), 0);
    });
  };
}

const bool registered = [] {
  bench::add("reconstruct/dilate/8u",
             reconstruction<uint8_t>(nuviMorphReconstructDilate_8u_C1IR,
                                     nuviMorphReconstructGetBufferSize_8u_C1, -40));
  bench::add("reconstruct/erode/8u",
             reconstruction<uint8_t>(nuviMorphReconstructErode_8u_C1IR,
                                     nuviMorphReconstructGetBufferSize_8u_C1, 40));
  bench::add("reconstruct/dilate/32f",
             reconstruction<float>(nuviMorphReconstructDilate_32f_C1IR,
                                   nuviMorphReconstructGetBufferSize_32f_C1, -40));
  return true;
}();

}  // namespace

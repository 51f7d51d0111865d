// What plain references of segmentation stand on: images with an outside and their neighbours.
#pragma once

#include <vector>

#include "support/guarded.h"

namespace testing_support {

// West, east, north, south, then the diagonals.
constexpr int dx[] = {-1, 1, 0, 0, -1, 1, -1, 1};
constexpr int dy[] = {0, 0, -1, 1, -1, -1, 1, 1};

// An image whose outside reads as a given value.
template <class V>
struct Plane {
  int width, height;
  V outside;
  std::vector<V> values;

  Plane(NuviSize size, V outside)
      : width(size.width),
        height(size.height),
        outside(outside),
        values(static_cast<size_t>(width * height), outside) {}
  template <class T>
  Plane(const TestImage<T>& image, V outside) : Plane(image.size(), outside) {
    forEach([&](int x, int y) { (*this)(x, y) = image.at(x, y); });
  }

  V& operator()(int x, int y) {
    const bool inside = x >= 0 && y >= 0 && x < width && y < height;
    return inside ? values[static_cast<size_t>(y * width + x)] : outside;
  }
  // Visits the places in raster order.
  template <class Visit>
  void forEach(Visit&& visit) const {
    for (int i = 0; i < width * height; ++i) visit(i % width, i / width);
  }
};

}  // namespace testing_support

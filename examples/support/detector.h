// A cascade over a picture: planes, stages, merged hits.
#pragma once

#include <cstdint>
#include <vector>

#include "support/cascade.h"
#include "support/picture.h"

namespace example {

// The integral planes of a grey picture, with a column and a row more than it has.
struct Planes {
  explicit Planes(const Picture& grey);

  int32_t step() const { return (size.width + 1) * 4; }  // of the sums; of the squares twice that

  NuviSize size;  // of the picture
  std::vector<int32_t> sums;
  std::vector<double> squares;
};

// A window that passed all stages; of a merged one, how many they were.
struct Hit {
  NuviRect window;
  int support;
};

struct Scan {
  std::vector<Hit> hits;
  std::vector<int64_t> survivors;  // windows in all, then those that are left by each stage
};

// A rectangle in a window `scale` times as large. A sum of the picture's pixels over it, times its
// weight, is what it contributes to the feature.
Rectangle scaled(const Rectangle& rectangle, NuviSize window, double scale);

// The size of a window `scale` times as large.
NuviSize scaled(NuviSize window, double scale);

// Applies the cascade at every position, in sizes from `smallest` pixels of width on, each larger
// than the one before by `growth`.
Scan scan(const Cascade& cascade, const Planes& planes, int smallest, double growth);

// Hits of about the same place and size become one, their mean, if they are at least `support`; of
// those that overlap the one with the most hits stays.
std::vector<Hit> merged(const std::vector<Hit>& hits, int support);

// What two windows share, as a part of what they cover together.
double overlap(NuviRect a, NuviRect b);

}  // namespace example

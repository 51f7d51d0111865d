// Sizes of neighbouring layers of a pyramid whose layers differ by a rate.
#pragma once

#include "nuvcv/types.h"

namespace nuv {

// Rates lie in (1, 10]. A NaN does not.
inline bool isLayerRate(float rate) { return rate > 1.0f && rate <= 10.0f; }

// The lengths that a length may grow to, going one layer up.
struct LengthRange {
  int32_t least;
  int32_t most;
};
LengthRange lengthsAbove(int32_t length, float rate);

// The size one layer down: the one whose range going up contains `size`.
NuviSize sizeBelow(NuviSize size, float rate);

// The layers that follow `baseSize` going down, to the first one of a single pixel; `most` if there
// are more.
int32_t layersBelow(NuviSize baseSize, float rate, int32_t most);

}  // namespace nuv

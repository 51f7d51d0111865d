// Corners of a picture.
#pragma once

#include "picture.h"
#include "program.h"

namespace example {

// The peaks of the smaller eigenvalue of a grey picture above a hundredth of its maximum, strongest
// first.
std::vector<NuviPoint> findCorners(const Picture& picture);

}  // namespace example

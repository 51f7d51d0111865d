// The minimum or maximum over a rectangle, for the other operations that come down to it.
#pragma once

#include "core/image.h"
#include "morph/extreme.h"
#include "nuvcv/types.h"

namespace nuv {

// Bytes of scratch for images of up to `roiWidth` pixels of `pixelBytes` bytes. What no memory can
// hold wraps.
inline int64_t rectangleScratchBytes(int32_t roiWidth, int32_t pixelBytes, int32_t maskHeight) {
  const auto lineBytes = static_cast<uint64_t>(int64_t{2} * roiWidth * pixelBytes + 80);
  return static_cast<int64_t>(lineBytes * static_cast<uint32_t>(maskHeight) + 32);
}

// dst(x, y) = extreme of src over the mask's rectangle around (x, y), with replicated borders. The
// anchor lies inside the mask; src and dst are distinct. The scratch may start at any address.
template <class Extreme>
void filterRectangle(Image<const typename Extreme::Element> src,
                     Image<typename Extreme::Element> dst, NuviSize roiSize, int32_t channels,
                     NuviSize maskSize, NuviPoint anchor, void* scratch);

}  // namespace nuv

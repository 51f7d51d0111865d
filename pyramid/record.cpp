// The record of an image pyramid, and the sizes of its layers. A layer of n pixels stands for
// between (n - 1) * rate and n * rate pixels of the layer below it: these ranges of neighbouring
// lengths meet without a gap, so that every size has exactly one that follows it going down.

#include <algorithm>
#include <cstring>

#include "core/check.h"
#include "core/memory.h"
#include "core/scratch.h"
#include "nuvcv/pyramid.h"
#include "pyramid/rates.h"

namespace nuv {
namespace {

// length * rate in single precision, truncated, and kept to what a size can hold.
int64_t scaled(int64_t length, float rate) {
  const float product = static_cast<float>(length) * rate;
  return product < 2147483648.0f ? static_cast<int64_t>(product) : INT32_MAX;
}

// The search for the length whose range contains `length` starts beside it and moves by single
// steps.
int32_t lengthBelow(int32_t length, float rate) {
  const float estimate = static_cast<float>(length) / rate;
  auto below = static_cast<int32_t>(clampTo(0.5 + double{estimate}, 1.0, double{INT32_MAX}));
  for (;;) {
    const LengthRange range = lengthsAbove(below, rate);
    if (length < range.least) {
      --below;
    } else if (length > range.most) {
      ++below;
    } else {
      return below;
    }
  }
}

int64_t recordBytes(int32_t level) { return int64_t{44} * level + 112; }

NuvStatus initPyramid(NuviPyramid** ppPyramid, int32_t level, NuviSize baseSize, float rate) {
  const NuvStatus status = Check()
                               .pointers(ppPyramid)
                               .size(baseSize)
                               .require(isLayerRate(rate) && level >= 1, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const int32_t coarsest = layersBelow(baseSize, rate, level);
  const int64_t bytes = recordBytes(coarsest);
  uint8_t* const block = allocate<uint8_t>(bytes);
  if (block == nullptr) return nuvStatusNoMemory;
  std::memset(block, 0, static_cast<size_t>(bytes));

  const int64_t entries = int64_t{coarsest} + 1;
  Scratch memory(block, bytes);
  auto* const pyramid = memory.take<NuviPyramid>(1);
  pyramid->images = memory.take<uint8_t*>(entries);
  pyramid->sizes = memory.take<NuviSize>(entries, alignof(double));
  pyramid->rates = memory.take<double>(entries);
  pyramid->steps = memory.take<int32_t>(entries);
  pyramid->level = coarsest;
  pyramid->sizes[0] = baseSize;
  pyramid->rates[0] = 1.0;
  for (int32_t i = 0; i < coarsest; ++i) {
    pyramid->sizes[i + 1] = sizeBelow(pyramid->sizes[i], rate);
    pyramid->rates[i + 1] = pyramid->rates[i] * (1.0 / double{rate});
  }
  *ppPyramid = pyramid;
  return nuvStatusOk;
}

}  // namespace

LengthRange lengthsAbove(int32_t length, float rate) {
  const int64_t oneMore = int64_t{length} + 1;
  const int64_t least = length == 1 ? 1 : std::max(oneMore, scaled(length - 1, rate) + 1);
  const int64_t most = std::max(oneMore, scaled(length, rate));
  const auto asLength = [](int64_t value) {
    return static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX));
  };
  return {asLength(least), asLength(most)};
}

NuviSize sizeBelow(NuviSize size, float rate) {
  return {lengthBelow(size.width, rate), lengthBelow(size.height, rate)};
}

int32_t layersBelow(NuviSize baseSize, float rate, int32_t most) {
  int32_t layers = 0;
  NuviSize size = baseSize;
  while (layers < most && (size.width > 1 || size.height > 1)) {
    size = sizeBelow(size, rate);
    ++layers;
  }
  return layers;
}

}  // namespace nuv

using namespace nuv;

NuvStatus nuviPyramidInitAlloc(NuviPyramid** ppPyramid, int32_t level, NuviSize baseSize,
                               float rate) {
  return initPyramid(ppPyramid, level, baseSize, rate);
}

NuvStatus nuviPyramidFree(NuviPyramid* pPyramid) { return freeState(pPyramid); }

NuvStatus nuviGetPyramidDownROI(NuviSize srcSize, NuviSize* pDstSize, float rate) {
  const NuvStatus status = Check()
                               .pointers(pDstSize)
                               .size(srcSize)
                               .require(isLayerRate(rate), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  *pDstSize = sizeBelow(srcSize, rate);
  return nuvStatusOk;
}

NuvStatus nuviGetPyramidUpROI(NuviSize srcSize, NuviSize* pMinSize, NuviSize* pMaxSize,
                              float rate) {
  const NuvStatus status = Check()
                               .pointers(pMinSize, pMaxSize)
                               .size(srcSize)
                               .require(isLayerRate(rate), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const LengthRange widths = lengthsAbove(srcSize.width, rate);
  const LengthRange heights = lengthsAbove(srcSize.height, rate);
  *pMinSize = {widths.least, heights.least};
  *pMaxSize = {widths.most, heights.most};
  return nuvStatusOk;
}

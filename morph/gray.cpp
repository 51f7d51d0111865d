// Dilation and erosion by a structuring element of weights: the maximum, or minimum, of pixel plus
// weight over the element, with replicated borders (S. R. Sternberg, Grayscale Morphology, 1986).
// The weight is added in erosion too, and no element is skipped or reflected.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "morph/extreme.h"
#include "nuvcv/morph.h"

// The weights follow the record, as many as the mask has elements. A state starts at any address
// and is only read by the calls that use it, so its parts are loaded without regard to alignment.
#pragma pack(push, 1)
struct NuviGrayMorphologyState {
  int32_t maskCopy;  // where the weights stand, from the start of the state
  int32_t maskWidth;
  int32_t maskHeight;
  int32_t anchorX;
  int32_t anchorY;
  int32_t maxRoiWidth;
  int32_t maxRoiHeight;
};
#pragma pack(pop)

namespace nuv {
namespace {

constexpr int64_t weightBytes = 4;
static_assert(sizeof(NuviGrayMorphologyState) == 28);

// The largest masks, which no state can hold, stand for all larger ones: the product stays within
// 64 bits.
int64_t stateBytes(NuviSize maskSize) {
  const int64_t elements = std::min<int64_t>(int64_t{maskSize.width} * maskSize.height, INT32_MAX);
  return weightBytes * elements + static_cast<int64_t>(sizeof(NuviGrayMorphologyState));
}

// The three functions that make states serve both element types: weights of both have four bytes.
NuvStatus getSize(NuviSize roiSize, const void* pMask, NuviSize maskSize, int32_t* pStateSize) {
  const NuvStatus status =
      Check().pointers(pMask, pStateSize).size(roiSize).size(maskSize).status();
  if (status != nuvStatusOk) return status;
  if (stateBytes(maskSize) > INT32_MAX) return nuvStatusBadSize;

  *pStateSize = static_cast<int32_t>(stateBytes(maskSize));
  return nuvStatusOk;
}

NuvStatus checkMask(const void* pMask, const void* pState, NuviSize roiSize, NuviSize maskSize,
                    NuviPoint anchor) {
  return Check()
      .pointers(pMask, pState)
      .size(roiSize)
      .size(maskSize)
      .require(anchor.x >= 0 && anchor.x < maskSize.width, nuvStatusBadAnchor)
      .require(anchor.y >= 0 && anchor.y < maskSize.height, nuvStatusBadAnchor)
      .status();
}

void fillState(void* state, NuviSize roiSize, const void* pMask, NuviSize maskSize,
               NuviPoint anchor) {
  constexpr auto recordBytes = static_cast<int32_t>(sizeof(NuviGrayMorphologyState));
  const NuviGrayMorphologyState record = {recordBytes, maskSize.width, maskSize.height, anchor.x,
                                          anchor.y,    roiSize.width,  roiSize.height};
  std::memcpy(state, &record, sizeof record);
  std::memcpy(static_cast<uint8_t*>(state) + recordBytes, pMask,
              static_cast<size_t>(stateBytes(maskSize) - recordBytes));
}

NuvStatus init(NuviGrayMorphologyState* pState, NuviSize roiSize, const void* pMask,
               NuviSize maskSize, NuviPoint anchor) {
  const NuvStatus status = checkMask(pMask, pState, roiSize, maskSize, anchor);
  if (status != nuvStatusOk) return status;
  fillState(pState, roiSize, pMask, maskSize, anchor);
  return nuvStatusOk;
}

NuvStatus initAlloc(NuviGrayMorphologyState** ppState, NuviSize roiSize, const void* pMask,
                    NuviSize maskSize, NuviPoint anchor) {
  const NuvStatus status = checkMask(pMask, ppState, roiSize, maskSize, anchor);
  if (status != nuvStatusOk) return status;
  void* const block = allocate<uint8_t>(stateBytes(maskSize));
  if (block == nullptr) return nuvStatusNoMemory;
  fillState(block, roiSize, pMask, maskSize, anchor);
  *ppState = static_cast<NuviGrayMorphologyState*>(block);
  return nuvStatusOk;
}

// The weights of one call.
template <class Weight>
struct Element {
  const uint8_t* weights;
  int32_t width;
  int32_t height;
  int32_t anchorX;
  int32_t anchorY;

  explicit Element(const NuviGrayMorphologyState* state)
      : weights(reinterpret_cast<const uint8_t*>(state) + state->maskCopy),
        width(state->maskWidth),
        height(state->maskHeight),
        anchorX(state->anchorX),
        anchorY(state->anchorY) {}

  Weight weight(int32_t i, int32_t j) const {
    return load<Weight>(weights + weightBytes * (ptrdiff_t{j} * width + i));
  }
};

// Sums of 8-bit pixels are of 32 bits and wrap; their extreme is limited to the pixel's range at
// last. Float sums are single additions and have no limit.
struct Sums8u {
  using Pixel = uint8_t;
  using Weight = int32_t;
  static int32_t of(uint8_t pixel, int32_t weight) { return wrappingAdd(pixel, weight); }
  static uint8_t limited(int32_t extreme) { return saturate<uint8_t>(extreme); }
  // As the limit is monotone, each sum can be limited on its own, in the pixel's own width. That is
  // a saturated addition or subtraction, unless the sum wraps.
  static bool areNarrow(int32_t weight) { return weight <= INT32_MAX - UINT8_MAX; }
  template <class Strip>
  static void fold(Strip& strip, const uint8_t* from, int32_t weight) {
    const auto change = static_cast<uint8_t>(std::min(std::abs(std::max(weight, -255)), 255));
    if (weight >= 0) {
      strip.fold(from, [=](auto pixels) {
        using V = decltype(pixels);
        return V(minimum(pixels, broadcast<V>(static_cast<uint8_t>(255 - change))) + change);
      });
    } else {
      strip.fold(from, [=](auto pixels) {
        return maximum(pixels, broadcast<decltype(pixels)>(change)) - change;
      });
    }
  }
};
struct Sums32f {
  using Pixel = float;
  using Weight = float;
  static float of(float pixel, float weight) { return pixel + weight; }
  static float limited(float extreme) { return extreme; }
  static bool areNarrow(float) { return true; }
  template <class Strip>
  static void fold(Strip& strip, const float* from, float weight) {
    strip.fold(from, [=](auto pixels) { return pixels + weight; });
  }
};

// One result from its definition, for columns whose window passes the ends of the row.
template <class Sums, template <class> class Extreme>
typename Sums::Pixel extremeAt(Image<const typename Sums::Pixel> src, NuviSize size, int32_t x,
                               int32_t y, const Element<typename Sums::Weight>& element) {
  using Sum = typename Sums::Weight;
  Sum extreme = Extreme<typename Sums::Pixel>::neutral();
  for (int32_t j = 0; j < element.height; ++j) {
    const auto* const row = src.row(clampTo(y + j - element.anchorY, 0, size.height - 1));
    for (int32_t i = 0; i < element.width; ++i) {
      const int32_t column = clampTo(x + i - element.anchorX, 0, size.width - 1);
      extreme = Extreme<Sum>::of(extreme, Sums::of(row[column], element.weight(i, j)));
    }
  }
  return Sums::limited(extreme);
}

template <class Sums, template <class> class Extreme>
void applyWeights(Image<const typename Sums::Pixel> src, Image<typename Sums::Pixel> dst,
                  NuviSize size, const Element<typename Sums::Weight>& element) {
  using Pixel = typename Sums::Pixel;
  bool narrow = true;
  for (int32_t j = 0; j < element.height; ++j) {
    for (int32_t i = 0; i < element.width; ++i) narrow &= Sums::areNarrow(element.weight(i, j));
  }
  // The columns whose windows lie within the row.
  const int32_t behind = element.width - element.anchorX - 1;
  const int32_t begin = std::min(element.anchorX, size.width);
  const int32_t end = narrow ? std::max(begin, size.width - behind) : begin;

  for (int32_t y = 0; y < size.height; ++y) {
    Pixel* const result = dst.row(y);
    for (int32_t x = 0; x < begin; ++x) {
      result[x] = extremeAt<Sums, Extreme>(src, size, x, y, element);
    }
    forStrips<Extreme<Pixel>>(end - begin, [&](auto strip, ptrdiff_t x) {
      strip.fill(Extreme<Pixel>::neutral());
      for (int32_t j = 0; j < element.height; ++j) {
        const int32_t row = clampTo(y + j - element.anchorY, 0, size.height - 1);
        const Pixel* const window = src.row(row) + begin - element.anchorX + x;
        for (int32_t i = 0; i < element.width; ++i) {
          Sums::fold(strip, window + i, element.weight(i, j));
        }
      }
      strip.store(result + begin + x);
    });
    for (int32_t x = end; x < size.width; ++x) {
      result[x] = extremeAt<Sums, Extreme>(src, size, x, y, element);
    }
  }
}

template <class Sums, template <class> class Extreme>
NuvStatus grayBorder(const typename Sums::Pixel* pSrc, int32_t srcStep, typename Sums::Pixel* pDst,
                     int32_t dstStep, NuviSize roiSize, NuviBorderType border,
                     const NuviGrayMorphologyState* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pSrc, srcStep, dstStep)
                               .require(border == nuvBorderReplicate, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;
  if (roiSize.width > pState->maxRoiWidth || roiSize.height > pState->maxRoiHeight) {
    return nuvStatusBadSize;
  }

  using Pixel = typename Sums::Pixel;
  applyWeights<Sums, Extreme>(Image<const Pixel>(pSrc, srcStep), Image<Pixel>(pDst, dstStep),
                              roiSize, Element<typename Sums::Weight>(pState));
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_GRAY_FORM(form, Sums)                                                              \
  NuvStatus nuviMorphGrayGetSize_##form(NuviSize roiSize, const Sums::Weight* pMask,           \
                                        NuviSize maskSize, int32_t* pStateSize) {              \
    return getSize(roiSize, pMask, maskSize, pStateSize);                                      \
  }                                                                                            \
  NuvStatus nuviMorphGrayInit_##form(NuviGrayMorphologyState* pState, NuviSize roiSize,        \
                                     const Sums::Weight* pMask, NuviSize maskSize,             \
                                     NuviPoint anchor) {                                       \
    return init(pState, roiSize, pMask, maskSize, anchor);                                     \
  }                                                                                            \
  NuvStatus nuviMorphGrayInitAlloc_##form(NuviGrayMorphologyState** ppState, NuviSize roiSize, \
                                          const Sums::Weight* pMask, NuviSize maskSize,        \
                                          NuviPoint anchor) {                                  \
    return initAlloc(ppState, roiSize, pMask, maskSize, anchor);                               \
  }                                                                                            \
  NuvStatus nuviMorphGrayFree_##form(NuviGrayMorphologyState* pState) {                        \
    return freeState(pState);                                                                  \
  }                                                                                            \
  NuvStatus nuviGrayDilateBorder_##form(                                                       \
      const Sums::Pixel* pSrc, int32_t srcStep, Sums::Pixel* pDst, int32_t dstStep,            \
      NuviSize roiSize, NuviBorderType border, const NuviGrayMorphologyState* pState) {        \
    return grayBorder<Sums, Maximum>(pSrc, srcStep, pDst, dstStep, roiSize, border, pState);   \
  }                                                                                            \
  NuvStatus nuviGrayErodeBorder_##form(                                                        \
      const Sums::Pixel* pSrc, int32_t srcStep, Sums::Pixel* pDst, int32_t dstStep,            \
      NuviSize roiSize, NuviBorderType border, const NuviGrayMorphologyState* pState) {        \
    return grayBorder<Sums, Minimum>(pSrc, srcStep, pDst, dstStep, roiSize, border, pState);   \
  }
NUV_GRAY_FORM(8u_C1R, Sums8u)
NUV_GRAY_FORM(32f_C1R, Sums32f)
#undef NUV_GRAY_FORM

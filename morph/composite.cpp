// Opening, closing, top-hat, black-hat and morphological gradient: chains of an erosion and a
// dilation (J. Serra, Image Analysis and Mathematical Morphology, 1982). Those operations do not
// reflect their mask, so the second of an opening or a closing runs on a state of the mask turned
// by 180 degrees.

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "morph/state.h"
#include "nuvcv/morph.h"

// Both states and the temporary image are blocks of their own, or follow the record in one block of
// the caller. Such a block starts at any address, so a record there is loaded and stored whole.
struct NuviMorphCompositeState {
  NuviMorphologyState* firstState;   // of the mask as it was given
  NuviMorphologyState* secondState;  // of the reflected mask
  uint8_t* tempImage;
  int32_t tempSize;  // bytes
  int32_t reservedZero;
};

namespace nuv {
namespace {

constexpr int64_t rowAlignment = 32;
constexpr int64_t recordRoom = 84;  // the record and the alignment of the temporary image
static_assert(sizeof(NuviMorphCompositeState) + rowAlignment - 1 <= recordRoom);

int64_t paddedRowBytes(int32_t width, int32_t pixelBytes) {
  return alignUp(int64_t{width} * pixelBytes, rowAlignment);
}

// Of the temporary image. A row of 2 GiB stands for all longer ones, none of which fits, so that
// the product stays within 64 bits.
int64_t tempImageBytes(NuviSize size, int32_t pixelBytes) {
  return std::min(paddedRowBytes(size.width, pixelBytes), int64_t{1} << 31) * size.height;
}

struct Mask {
  const uint8_t* elements;
  NuviSize size;
};

// What the states and images of a form consist of.
struct PixelType {
  int32_t elementCode;
  int32_t channels;

  int32_t bytes() const { return channels * (elementCode == nuvDataType8u ? 1 : 4); }
};

NuvStatus buildState(PixelType type, int32_t roiWidth, const Mask& mask, NuviPoint anchor,
                     NuviMorphologyState** slot, StateMode mode, int32_t noRunDecomposition) {
  return ownBuildMorphologyState(type.elementCode, type.channels, roiWidth, mask.elements,
                                 mask.size.width, mask.size.height, anchor.x, anchor.y, slot,
                                 nullptr, mode, noRunDecomposition);
}

// The second state, from the first one's copy of the mask, which is turned around for the while.
NuvStatus buildReflected(PixelType type, int32_t roiWidth, NuviMorphologyState* first,
                         NuviSize maskSize, NuviPoint anchor, NuviMorphologyState** slot,
                         StateMode mode, int32_t noRunDecomposition) {
  uint8_t* const copy = reinterpret_cast<uint8_t*>(first) + first->maskCopy;
  uint8_t* const copyEnd = copy + ptrdiff_t{maskSize.width} * maskSize.height;
  const NuviPoint reflected = {maskSize.width - anchor.x - 1, maskSize.height - anchor.y - 1};
  std::reverse(copy, copyEnd);
  const NuvStatus status =
      buildState(type, roiWidth, {copy, maskSize}, reflected, slot, mode, noRunDecomposition);
  std::reverse(copy, copyEnd);
  return status;
}

NuvStatus getSize(PixelType type, NuviSize roiSize, const Mask& mask, int32_t* pStateSize) {
  const NuvStatus status =
      Check().require(roiSize.height >= 1, nuvStatusBadSize).pointers(pStateSize).status();
  if (status != nuvStatusOk) return status;

  int32_t stateBytes = 0;
  const NuvStatus built = ownBuildMorphologyState(type.elementCode, type.channels, roiSize.width,
                                                  mask.elements, mask.size.width, mask.size.height,
                                                  mask.size.width >> 1, mask.size.height >> 1,
                                                  nullptr, &stateBytes, StateMode::reportSize, 1);
  if (built != nuvStatusOk) return built;

  const int64_t bytes =
      tempImageBytes(roiSize, type.bytes()) + 2 * int64_t{stateBytes} + recordRoom;
  if (bytes > INT32_MAX) return nuvStatusBadSize;
  *pStateSize = static_cast<int32_t>(bytes);
  return nuvStatusOk;
}

NuvStatus init(PixelType type, NuviMorphCompositeState* pState, NuviSize roiSize, const Mask& mask,
               NuviPoint anchor) {
  const NuvStatus status =
      Check().require(roiSize.height >= 1, nuvStatusBadSize).pointers(pState).status();
  if (status != nuvStatusOk) return status;

  // Without the row-run kind both states are of the size that was reported, whatever the anchor.
  NuviMorphCompositeState record = {};
  auto* const block = reinterpret_cast<uint8_t*>(pState);
  record.firstState = reinterpret_cast<NuviMorphologyState*>(block + sizeof record);
  const NuvStatus first =
      buildState(type, roiSize.width, mask, anchor, &record.firstState, StateMode::fillBlock, 1);
  if (first != nuvStatusOk) return first;
  uint8_t* const behindFirst = block + sizeof record + record.firstState->stateSize;
  record.secondState = reinterpret_cast<NuviMorphologyState*>(behindFirst);
  const NuvStatus second = buildReflected(type, roiSize.width, record.firstState, mask.size, anchor,
                                          &record.secondState, StateMode::fillBlock, 1);
  if (second != nuvStatusOk) return second;

  const auto end = reinterpret_cast<uintptr_t>(behindFirst + record.secondState->stateSize);
  record.tempImage = reinterpret_cast<uint8_t*>(alignUp<uintptr_t>(end, rowAlignment));
  record.tempSize = static_cast<int32_t>(tempImageBytes(roiSize, type.bytes()));
  store(pState, record);
  return nuvStatusOk;
}

void releaseParts(const NuviMorphCompositeState& record) {
  ownFree(record.firstState);
  ownFree(record.secondState);
  ownFree(record.tempImage);
}

NuvStatus initAlloc(PixelType type, NuviMorphCompositeState** ppState, NuviSize roiSize,
                    const Mask& mask, NuviPoint anchor) {
  if (ppState == nullptr) return nuvStatusNullPointer;

  NuviMorphCompositeState record = {};
  NuvStatus status =
      buildState(type, roiSize.width, mask, anchor, &record.firstState, StateMode::allocate, 0);
  if (status != nuvStatusOk) return status;
  status = buildReflected(type, roiSize.width, record.firstState, mask.size, anchor,
                          &record.secondState, StateMode::allocate, 0);
  if (status == nuvStatusOk) {
    // No bytes are no memory, so a height less than 1 ends here.
    const int64_t tempBytes = tempImageBytes(roiSize, type.bytes());
    record.tempImage = allocate<uint8_t>(tempBytes);
    record.tempSize = static_cast<int32_t>(tempBytes);
    auto* const created =
        record.tempImage != nullptr ? allocate<NuviMorphCompositeState>(1) : nullptr;
    if (created != nullptr) {
      *created = record;
      *ppState = created;
      return nuvStatusOk;
    }
    status = nuvStatusNoMemory;
  }
  releaseParts(record);
  return status;
}

// Saturated at 0.
inline uint8_t difference(uint8_t a, uint8_t b) { return static_cast<uint8_t>(a > b ? a - b : 0); }
// A NaN becomes 0, and a zero is positive.
inline float difference(float a, float b) {
  const float exact = a - b;
  return exact > 0.0f ? exact : 0.0f;
}

// dst may be one of the sources.
template <class T>
void differenceRow(const T* a, const T* b, T* dst, ptrdiff_t samples) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < samples; ++x) dst[x] = difference(a[x], b[x]);
}

// The passes that an operation is chained of, on the images and states of one call.
template <class T>
struct Passes {
  using Flat = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, NuviBorderType,
                             NuviMorphologyState*);
  Flat erosion;
  Flat dilation;
  NuviSize roiSize;
  int32_t channels;
  Image<const T> src;
  Image<T> dst;
  Image<T> temp;
  NuviMorphologyState* first;
  NuviMorphologyState* second;

  template <class From>
  NuvStatus run(Flat operation, Image<From> from, Image<T> to, NuviMorphologyState* state) const {
    return operation(from.row(0), static_cast<int32_t>(from.step()), to.row(0),
                     static_cast<int32_t>(to.step()), roiSize, nuvBorderReplicate, state);
  }

  // dst = a - b
  template <class A, class B>
  NuvStatus subtract(Image<A> a, Image<B> b) const {
    constexpr bool serial = std::is_floating_point_v<T>;
    forEachRowShare(serial, roiSize.height, [&](int32_t firstRow, int32_t rows) {
      for (int32_t y = firstRow; y < firstRow + rows; ++y) {
        differenceRow<T>(a.row(y), b.row(y), dst.row(y), ptrdiff_t{roiSize.width} * channels);
      }
    });
    return nuvStatusOk;
  }
};

template <class T>
NuvStatus opening(const Passes<T>& call) {
  const NuvStatus status = call.run(call.erosion, call.src, call.temp, call.first);
  if (status != nuvStatusOk) return status;
  return call.run(call.dilation, call.temp, call.dst, call.second);
}

template <class T>
NuvStatus closing(const Passes<T>& call) {
  const NuvStatus status = call.run(call.dilation, call.src, call.temp, call.first);
  if (status != nuvStatusOk) return status;
  return call.run(call.erosion, call.temp, call.dst, call.second);
}

// The source without its opening.
template <class T>
NuvStatus topHat(const Passes<T>& call) {
  NuvStatus status = call.run(call.erosion, call.src, call.dst, call.first);
  if (status != nuvStatusOk) return status;
  status = call.run(call.dilation, call.dst, call.temp, call.second);
  if (status != nuvStatusOk) return status;
  return call.subtract(call.src, call.temp);
}

// The closing without its source.
template <class T>
NuvStatus blackHat(const Passes<T>& call) {
  const NuvStatus status = closing(call);
  if (status != nuvStatusOk) return status;
  return call.subtract(call.dst, call.src);
}

// Dilation less erosion, both with the mask as it was given.
template <class T>
NuvStatus gradient(const Passes<T>& call) {
  NuvStatus status = call.run(call.dilation, call.src, call.dst, call.first);
  if (status != nuvStatusOk) return status;
  status = call.run(call.erosion, call.src, call.temp, call.first);
  if (status != nuvStatusOk) return status;
  return call.subtract(call.dst, call.temp);
}

template <class T>
NuvStatus compose(NuvStatus (*operation)(const Passes<T>&), typename Passes<T>::Flat erosion,
                  typename Passes<T>::Flat dilation, int32_t channels, const T* pSrc,
                  int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,
                  NuviBorderType border, const NuviMorphCompositeState* pState) {
  NuvStatus status = Check()
                         .pointers(pSrc, pDst, pState)
                         .size(roiSize)
                         .step(pSrc, srcStep, roiSize.width, channels)
                         .step(pDst, dstStep, roiSize.width, channels)
                         .elementMultiple(pSrc, srcStep, dstStep)
                         .require(border == nuvBorderReplicate, nuvStatusBadArgument)
                         .status();
  if (status != nuvStatusOk) return status;

  // A region of fewer bytes than the temporary image has is refused; one of more does not fit.
  const auto state = load<NuviMorphCompositeState>(pState);
  const int32_t pixelBytes = channels * int32_t{sizeof(T)};
  status = Check()
               .require(roiSize.width <= state.firstState->maxRoiWidth, nuvStatusBadSize)
               .require(tempImageBytes(roiSize, pixelBytes) == state.tempSize, nuvStatusBadSize)
               .status();
  if (status != nuvStatusOk) return status;

  return operation(
      {erosion, dilation, roiSize, channels, Image<const T>(pSrc, srcStep), Image<T>(pDst, dstStep),
       Image<T>(reinterpret_cast<T*>(state.tempImage), paddedRowBytes(roiSize.width, pixelBytes)),
       state.firstState, state.secondState});
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_COMPOSITE(Name, operation, form, T, channels)                                       \
  NuvStatus nuviMorph##Name##Border_##form(                                                     \
      const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,               \
      NuviBorderType border, NuviMorphCompositeState* pState) {                                 \
    return compose<T>(operation, nuviErodeBorderReplicate_##form,                               \
                      nuviDilateBorderReplicate_##form, channels, pSrc, srcStep, pDst, dstStep, \
                      roiSize, border, pState);                                                 \
  }
#define NUV_COMPOSITE_FORM(form, T, elementCode, channels)                                        \
  NuvStatus nuviMorphAdvGetSize_##form(NuviSize roiSize, const uint8_t* pMask, NuviSize maskSize, \
                                       int32_t* pStateSize) {                                     \
    return getSize({elementCode, channels}, roiSize, {pMask, maskSize}, pStateSize);              \
  }                                                                                               \
  NuvStatus nuviMorphAdvInit_##form(NuviMorphCompositeState* pState, NuviSize roiSize,            \
                                    const uint8_t* pMask, NuviSize maskSize, NuviPoint anchor) {  \
    return init({elementCode, channels}, pState, roiSize, {pMask, maskSize}, anchor);             \
  }                                                                                               \
  NuvStatus nuviMorphAdvInitAlloc_##form(NuviMorphCompositeState** ppState, NuviSize roiSize,     \
                                         const uint8_t* pMask, NuviSize maskSize,                 \
                                         NuviPoint anchor) {                                      \
    return initAlloc({elementCode, channels}, ppState, roiSize, {pMask, maskSize}, anchor);       \
  }                                                                                               \
  NUV_COMPOSITE(Open, opening, form, T, channels)                                                 \
  NUV_COMPOSITE(Close, closing, form, T, channels)                                                \
  NUV_COMPOSITE(Tophat, topHat, form, T, channels)                                                \
  NUV_COMPOSITE(Blackhat, blackHat, form, T, channels)                                            \
  NUV_COMPOSITE(Gradient, gradient, form, T, channels)
NUV_COMPOSITE_FORM(8u_C1R, uint8_t, nuvDataType8u, 1)
NUV_COMPOSITE_FORM(8u_C3R, uint8_t, nuvDataType8u, 3)
NUV_COMPOSITE_FORM(8u_C4R, uint8_t, nuvDataType8u, 4)
NUV_COMPOSITE_FORM(32f_C1R, float, nuvDataType32f, 1)
NUV_COMPOSITE_FORM(32f_C3R, float, nuvDataType32f, 3)
NUV_COMPOSITE_FORM(32f_C4R, float, nuvDataType32f, 4)
#undef NUV_COMPOSITE_FORM
#undef NUV_COMPOSITE

NuvStatus nuviMorphAdvFree(NuviMorphCompositeState* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  releaseParts(*pState);
  ownFree(pState);
  return nuvStatusOk;
}

// Foreground of a video by tables of how often each pixel has had a value, or a pair of a previous
// and a present value (L. Li, W. Huang, I. Y.-H. Gu and Q. Tian, "Foreground object detection from
// videos containing complex background", 2003).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/numeric.h"
#include "nuvcv/video.h"
#include "video/sharetable.h"

namespace nuv {
namespace {

// Value bytes of a pair: `C1` the previous pixel, then the present one; `C3` the present one, then
// the previous one.
template <int channels>
using ColourTable = ShareTable<25, 15, channels>;
template <int channels>
using PairTable = ShareTable<40, 25, 2 * channels>;

struct PixelModel {
  float backgroundShareColour;
  float backgroundSharePair;
  uint8_t colourLearned;
  uint8_t pairLearned;
};

}  // namespace
}  // namespace nuv

struct NuviForegroundHistogramState {
  int32_t width;
  uint8_t* referenceImage;
  uint8_t* frameChangeMask;
  uint8_t* referenceChangeMask;
  uint8_t* previousFrame;
  nuv::PixelModel* pixels;
  void* colours;
  void* pairs;
};

namespace nuv {
namespace {

using State = NuviForegroundHistogramState;

constexpr int32_t colourTolerance = 4, pairTolerance = 8;
constexpr float referenceRate = 0.1f, slowRate = 0.005f, fastRate = 0.1f, coverage = 0.9f;
constexpr double leastThreshold = 10.0;

inline uint8_t difference(uint8_t a, uint8_t b) {
  return static_cast<uint8_t>(a > b ? a - b : b - a);
}

// The differences of two images from each value on spread most around their mean at noise; what is
// above that spread is a change.
class Differences {
 public:
  void add(const uint8_t* a, const uint8_t* b, int32_t count) {
    int32_t i = 0;
    for (; i + blockBytes <= count; i += blockBytes) {
      if (std::memcmp(a + i, b + i, blockBytes) == 0) {
        counts_[0][0] += blockBytes;
      } else {
        addEach(a + i, b + i, blockBytes);
      }
    }
    addEach(a + i, b + i, count - i);
  }

  uint8_t threshold() const {
    double largest = leastThreshold, count = 0, sum = 0, squares = 0;
    for (int32_t value = 255; value >= 0; --value) {
      const double times = static_cast<double>(counts_[0][value] + counts_[1][value] +
                                               counts_[2][value] + counts_[3][value]);
      count += times;
      sum += times * value;
      squares += times * (value * value);
      if (value == 255) continue;
      const double divisor = count > 0 ? count : 1.0, mean = sum / divisor;
      largest = std::max(largest, std::sqrt(squares / divisor - mean * mean));
    }
    return static_cast<uint8_t>(largest);
  }

 private:
  static constexpr int32_t blockBytes = 32;

  // In four histograms, so that equal neighbours do not wait for one count.
  void addEach(const uint8_t* a, const uint8_t* b, int32_t count) {
    for (int32_t i = 0; i < count; ++i) ++counts_[i % 4][difference(a[i], b[i])];
  }

  int64_t counts_[4][256] = {};
};

// 255 where any channel of the pixel has changed, 0 elsewhere.
template <int channels>
void markChanges(Image<const uint8_t> a, Image<const uint8_t> b, NuviSize size,
                 Image<uint8_t> mask) {
  Differences differences;
  for (int32_t y = 0; y < size.height; ++y) {
    differences.add(a.row(y), b.row(y), size.width * channels);
  }
  const uint8_t threshold = differences.threshold();
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t *first = a.row(y), *second = b.row(y);
    uint8_t* const marks = mask.row(y);
    for (int32_t x = 0; x < size.width; ++x) {
      uint8_t largest = 0;
      for (int c = 0; c < channels; ++c) {
        largest = std::max(largest, difference(first[x * channels + c], second[x * channels + c]));
      }
      marks[x] = largest > threshold ? 255 : 0;
    }
  }
}

// A model seen as images and rows of records.
template <int channels>
struct View {
  explicit View(const State& state)
      : reference(state.referenceImage, ptrdiff_t{state.width} * channels),
        previous(state.previousFrame, ptrdiff_t{state.width} * channels),
        frameChange(state.frameChangeMask, state.width),
        referenceChange(state.referenceChangeMask, state.width),
        state_(state) {}

  PixelModel* pixels(int32_t y) const { return state_.pixels + int64_t{y} * state_.width; }
  ColourTable<channels>* colours(int32_t y) const {
    return static_cast<ColourTable<channels>*>(state_.colours) + int64_t{y} * state_.width;
  }
  PairTable<channels>* pairs(int32_t y) const {
    return static_cast<PairTable<channels>*>(state_.pairs) + int64_t{y} * state_.width;
  }

  Image<uint8_t> reference, previous, frameChange, referenceChange;

 private:
  const State& state_;
};

// Whether the share found is at least twice the part that fell to the background.
template <class Table>
bool looksForeign(const Table& table, const uint8_t* pixel, int32_t tolerance,
                  float backgroundShare) {
  const auto sums = table.sumsNear(pixel, tolerance, slowRate);
  return !(sums.share < 2.0f * sums.conditional * backgroundShare);
}

template <int channels>
void classifyRow(const View<channels>& model, int32_t y, const uint8_t* src, uint8_t* dst,
                 int32_t width) {
  const uint8_t *frameChange = model.frameChange.row(y),
                *referenceChange = model.referenceChange.row(y);
  const PixelModel* const pixels = model.pixels(y);
  for (int32_t x = 0; x < width; ++x) {
    if ((frameChange[x] | referenceChange[x]) == 0) continue;
    const PixelModel& pixel = pixels[x];
    const uint8_t* const value = src + ptrdiff_t{x} * channels;
    bool isForeground;
    if (frameChange[x] == 0) {
      isForeground =
          pixel.colourLearned != 0 &&
          looksForeign(model.colours(y)[x], value, colourTolerance, pixel.backgroundShareColour);
    } else {
      isForeground = pixel.pairLearned == 0 || looksForeign(model.pairs(y)[x], value, pairTolerance,
                                                            pixel.backgroundSharePair);
    }
    if (isForeground) dst[x] = 255;
  }
}

// One value into one table. Once it covers enough, the entries' parts of the background are turned
// to the other side of the mixture; true then.
template <class Table>
bool learn(Table& table, const uint8_t* value, int32_t tolerance, bool stopsAtEmpty, float rate,
           bool isBackground, float& backgroundShare, uint8_t& learned) {
  const float keep = 1.0f - rate;
  backgroundShare *= keep;
  if (isBackground) backgroundShare += rate;
  table.fade(value, tolerance, keep, stopsAtEmpty);
  table.insert(value, rate);

  const auto sums = table.sums();
  if (sums.share > coverage) learned = 1;
  if (!(sums.share - backgroundShare * sums.conditional > coverage)) return false;
  for (int32_t i = 0; i < sums.entries; ++i) {
    table.conditionals[i] =
        fused(-backgroundShare, table.conditionals[i], table.shares[i]) / (1.0f - backgroundShare);
  }
  return true;
}

template <int channels>
void learnPixel(PixelModel& pixel, ColourTable<channels>& colours, PairTable<channels>& pairs,
                const uint8_t* value, const uint8_t* previous, bool isChanged, bool isBackground) {
  if (isChanged || pixel.pairLearned == 0) {
    uint8_t pair[2 * channels];
    std::memcpy(pair, channels == 1 ? previous : value, channels);
    std::memcpy(pair + channels, channels == 1 ? value : previous, channels);
    const float rate = isChanged && pixel.pairLearned != 0 ? slowRate : fastRate;
    learn(pairs, pair, pairTolerance, true, rate, isBackground, pixel.backgroundSharePair,
          pixel.pairLearned);
  }
  if (!isChanged) {
    const float rate = pixel.colourLearned != 0 ? slowRate : fastRate;
    const bool isTurned = learn(colours, value, colourTolerance, false, rate, isBackground,
                                pixel.backgroundShareColour, pixel.colourLearned);
    if (isTurned) pixel.backgroundShareColour = 1.0f - pixel.backgroundShareColour;
  }
}

// The reference creeps to the value of a still background pixel and takes that of a changed one.
template <int channels>
void learnReference(uint8_t* reference, const uint8_t* value, bool isStill) {
  for (int c = 0; c < channels; ++c) {
    const auto old = static_cast<float>(reference[c]);
    const float creeping = fused(static_cast<float>(value[c]) - old, referenceRate, old);
    reference[c] = isStill ? static_cast<uint8_t>(static_cast<int32_t>(creeping)) : value[c];
  }
}

NuvStatus freeModel(State* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  ownFree(pState->colours);
  ownFree(pState->pairs);
  ownFree(pState->pixels);
  ownFree(pState->frameChangeMask);
  ownFree(pState->referenceChangeMask);
  ownFree(pState->referenceImage);
  ownFree(pState->previousFrame);
  ownFree(pState);
  return nuvStatusOk;
}

// Zeroed elements, or null.
template <class T>
T* allocateCleared(int64_t count) {
  T* const block = allocate<T>(count);
  if (block != nullptr)
    std::memset(static_cast<void*>(block), 0, static_cast<size_t>(count) * sizeof(T));
  return block;
}

template <int channels>
void copyImage(Image<const uint8_t> from, Image<uint8_t> to, NuviSize size) {
  for (int32_t y = 0; y < size.height; ++y) {
    std::memcpy(to.row(y), from.row(y), static_cast<size_t>(size.width) * channels);
  }
}

template <int channels>
NuvStatus makeModel(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, const void* pModel,
                    State** ppState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pModel, ppState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  State* const state = allocateCleared<State>(1);
  if (state == nullptr) return nuvStatusNoMemory;
  const int64_t pixels = int64_t{roiSize.width} * roiSize.height;
  *state = {roiSize.width,
            allocate<uint8_t>(pixels * channels),
            allocateCleared<uint8_t>(pixels),
            allocateCleared<uint8_t>(pixels),
            allocate<uint8_t>(pixels * channels),
            allocateCleared<PixelModel>(pixels),
            allocateCleared<ColourTable<channels>>(pixels),
            allocateCleared<PairTable<channels>>(pixels)};
  for (const void* block :
       {static_cast<const void*>(state->referenceImage),
        static_cast<const void*>(state->frameChangeMask),
        static_cast<const void*>(state->referenceChangeMask),
        static_cast<const void*>(state->previousFrame), static_cast<const void*>(state->pixels),
        static_cast<const void*>(state->colours), static_cast<const void*>(state->pairs)}) {
    if (block == nullptr) {
      freeModel(state);
      return nuvStatusNoMemory;
    }
  }
  const View<channels> model(*state);
  const Image<const uint8_t> src(pSrc, srcStep);
  copyImage<channels>(src, model.reference, roiSize);
  copyImage<channels>(src, model.previous, roiSize);
  *ppState = state;
  return nuvStatusOk;
}

template <int channels>
NuvStatus classify(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                   NuviSize roiSize, State* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  const View<channels> model(*pState);
  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> dst(pDst, dstStep);
  const auto constant = [](const Image<uint8_t>& image) {
    return Image<const uint8_t>(image.row(0), image.step());
  };
  markChanges<channels>(constant(model.previous), src, roiSize, model.frameChange);
  markChanges<channels>(constant(model.reference), src, roiSize, model.referenceChange);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    std::memset(dst.row(y), 0, static_cast<size_t>(roiSize.width));
  }
  for (int32_t y = 0; y < roiSize.height; ++y) {
    classifyRow(model, y, src.row(y), dst.row(y), roiSize.width);
  }
  return nuvStatusOk;
}

template <int channels>
NuvStatus update(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
                 uint8_t* pRef, int32_t refStep, NuviSize roiSize, State* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pMask, pRef, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  const View<channels> model(*pState);
  const Image<const uint8_t> src(pSrc, srcStep), mask(pMask, maskStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t *values = src.row(y), *previous = model.previous.row(y);
    const uint8_t *frameChange = model.frameChange.row(y),
                  *referenceChange = model.referenceChange.row(y);
    for (int32_t x = 0; x < roiSize.width; ++x) {
      const ptrdiff_t at = ptrdiff_t{x} * channels;
      const bool isChanged = frameChange[x] != 0, isBackground = mask.row(y)[x] == 0;
      learnPixel<channels>(model.pixels(y)[x], model.colours(y)[x], model.pairs(y)[x], values + at,
                           previous + at, isChanged, isBackground);
      if (isBackground) {
        learnReference<channels>(model.reference.row(y) + at, values + at,
                                 !isChanged && referenceChange[x] == 0);
      }
    }
  }
  copyImage<channels>(src, model.previous, roiSize);
  copyImage<channels>(Image<const uint8_t>(model.reference.row(0), model.reference.step()),
                      Image<uint8_t>(pRef, refStep), roiSize);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_HISTOGRAM_MODEL(channels)                                                              \
  NuvStatus nuviForegroundHistogramInitAlloc_8u_C##channels##R(                                    \
      const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, const void* pModel,                  \
      NuviForegroundHistogramState** ppState) {                                                    \
    return makeModel<channels>(pSrc, srcStep, roiSize, pModel, ppState);                           \
  }                                                                                                \
  NuvStatus nuviForegroundHistogram_8u_C##channels##R(                                             \
      const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, NuviSize roiSize,      \
      NuviForegroundHistogramState* pState) {                                                      \
    return classify<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pState);                      \
  }                                                                                                \
  NuvStatus nuviForegroundHistogramUpdate_8u_C##channels##R(                                       \
      const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep, uint8_t* pRef, \
      int32_t refStep, NuviSize roiSize, NuviForegroundHistogramState* pState) {                   \
    return update<channels>(pSrc, srcStep, pMask, maskStep, pRef, refStep, roiSize, pState);       \
  }                                                                                                \
  NuvStatus nuviForegroundHistogramFree_8u_C##channels##R(NuviForegroundHistogramState* pState) {  \
    return freeModel(pState);                                                                      \
  }
NUV_HISTOGRAM_MODEL(1)
NUV_HISTOGRAM_MODEL(3)
#undef NUV_HISTOGRAM_MODEL

// A foreground model of learnt histograms: for each pixel, how often it has had a colour while it
// stood still, and how often a pair of a previous and a present colour while it changed, both with
// the part of it that was background (L. Li, W. Huang, I. Y.-H. Gu and Q. Tian, "Foreground object
// detection from videos containing complex background", ACM Multimedia 2003).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/simd.h"
#include "nuvcv/video.h"

namespace nuv {
namespace {

constexpr float slowRate = 0.005f;  // also the smallest share that a decision looks at
constexpr float fastRate = 0.1f;
constexpr float referenceRate = 0.1f;
constexpr float coverage = 0.9f;
constexpr double leastThreshold = 10.0;

// Shares below 1e-10 are forgotten. The comparison is one in double precision: this is the least
// float that is not below 1e-10.
constexpr float leastShare = 1e-10f;
static_assert(static_cast<double>(leastShare) >= 1e-10);

// Two values match when they are no further apart than two levels of their table.
constexpr int32_t toleranceOf(int32_t levels) { return 256 * 2 / levels; }

// How often a pixel has had a value, by share: a list in descending order, but for what has decayed
// unevenly. It has `stored` entries, of which the first `used` take part in decisions and sums; a
// share of 0 is no entry. All but the last entry fill whole vectors, or all do.
template <int32_t storedEntries, int32_t usedEntries, int32_t levels, int32_t bytes>
struct EntryList {
  static constexpr int32_t stored = storedEntries;
  static constexpr int32_t used = usedEntries;
  static constexpr int32_t tolerance = toleranceOf(levels);
  static constexpr int32_t valueBytes = bytes;
  static constexpr int32_t groups = stored / 8;
  static_assert(stored - 8 * groups <= 1 && alignUp(used, 8) <= 8 * groups);

  float share[stored];
  float conditional[stored];  // the share while the pixel was background
  uint8_t value[valueBytes][stored];
};

// The colours of a still pixel.
template <int32_t channels>
struct ColourList : EntryList<25, 15, 128, channels> {
  static constexpr bool endsAtEmpty = false;
  static constexpr bool complementsBackground = true;
};

// The colours of a changing pixel: in one channel the previous, then the present one, in three
// channels the present, then the previous one.
template <int32_t channels>
struct PairList : EntryList<40, 25, 64, 2 * channels> {
  static constexpr bool endsAtEmpty = true;
  static constexpr bool complementsBackground = false;
};

// What is known of one of a pixel's lists.
struct Belief {
  float backgroundShare;
  bool learned;
};

struct HistogramPixel {
  Belief colour;
  Belief pair;
};

// One bit for each lane of a group of eight entries, at its entry's place.
inline uint64_t entryBits(S32x8 mask, int32_t first) { return uint64_t{laneBits(mask)} << first; }

// The lowest bit set below `end`, else `end`.
inline int32_t firstBit(uint64_t bits, int32_t end) {
  return __builtin_ctzll(bits | uint64_t{1} << end);
}

// The eight entries from `first` on whose value number `v` differs from `value` by more than the
// tolerance.
template <class List>
inline S32x8 differs(const List& list, int32_t v, int32_t first, int32_t value) {
  const S32x8 distance = loadAs32s(list.value[v] + first) - broadcast<S32x8>(value);
  return (distance > List::tolerance) | (distance < -List::tolerance);
}

// Whether a pixel is foreground by its list: its three bytes are looked up among the entries in use
// that have more than the least share, and what is found is not below twice what of it was
// background. Sums are rounded entry by entry. An entry of fewer than three bytes continues with
// zeros.
template <class List>
bool isForeground(const List& list, const Belief& belief, const uint8_t* pixel) {
  uint64_t rare = 0, different = 0;
  S32x8 behindValue = {};
  for (int32_t v = List::valueBytes; v < 3; ++v) {
    behindValue |= broadcast<S32x8>(pixel[v]) > List::tolerance;
  }
  for (int32_t first = 0; first < List::used; first += 8) {
    S32x8 mismatch = behindValue;
    for (int32_t v = 0; v < std::min(List::valueBytes, 3); ++v) {
      mismatch |= differs(list, v, first, pixel[v]);
    }
    different |= entryBits(mismatch, first);
    rare |= entryBits(load<F32x8>(list.share + first) <= slowRate, first);
  }
  const int32_t walked = firstBit(rare, List::used);
  float sumShare = 0.0f, sumConditional = 0.0f;
  for (uint64_t found = ~different & ((uint64_t{1} << walked) - 1); found != 0;
       found &= found - 1) {
    const int32_t i = __builtin_ctzll(found);
    sumShare += list.share[i];
    sumConditional += list.conditional[i];
  }
  return !(sumShare < 2.0f * sumConditional * belief.backgroundShare);
}

// `entering` moved into lane 0 and the lanes of `v` moved up by one, the last one falling off.
inline F32x8 moveUp(F32x8 entering, F32x8 v) {
  return __builtin_shufflevector(entering, v, 7, 8, 9, 10, 11, 12, 13, 14);
}

// Puts `entering` in place of entry `position` and what stood from there on one place back.
inline void insertEntry(uint8_t* values, int32_t stored, int32_t position, uint8_t entering) {
  std::memmove(values + position + 1, values + position,
               static_cast<size_t>(stored - 1 - position));
  values[position] = entering;
}

// Teaches a list the present value. The leading entries decay, up to the first one that stays and
// does not match; the last entry is replaced by one of the present value with the share `rate`,
// which then moves ahead of the first entry with no more share. A list whose shares cover enough is
// learnt; once its background stands out, the conditional shares turn into those of the foreground
// seen against it. All in single precision, rounded at each operation but the one that is fused.
template <class List>
void learn(List& list, Belief& belief, const uint8_t (&value)[List::valueBytes], float rate,
           bool background) {
  constexpr int32_t groups = List::groups;
  constexpr int32_t last = List::stored - 1;
  const float keep = 1.0f - rate;
  belief.backgroundShare *= keep;
  if (background) belief.backgroundShare += rate;

  // The last entry is replaced, so it does not matter whether it decays.
  F32x8 share[groups], conditional[groups];
  uint64_t ends = 0;
  for (int32_t g = 0; g < groups; ++g) {
    share[g] = load<F32x8>(list.share + 8 * g);
    S32x8 mismatch = {};
    for (int32_t v = 0; v < List::valueBytes; ++v) mismatch |= differs(list, v, 8 * g, value[v]);
    S32x8 end = mismatch & (share[g] * keep >= leastShare);
    if (List::endsAtEmpty) end |= share[g] == 0.0f;
    ends |= entryBits(end, 8 * g);
  }
  const int32_t decaying = firstBit(ends, last) + 1;

  constexpr S32x8 lanes = {0, 1, 2, 3, 4, 5, 6, 7};
  uint64_t notAbove = 0;
  for (int32_t g = 0; g < groups; ++g) {
    const S32x8 decays = lanes + 8 * g < decaying;
    const F32x8 decayed = share[g] * keep;
    const S32x8 stays = decayed >= leastShare;
    conditional[g] = load<F32x8>(list.conditional + 8 * g);
    conditional[g] = decays ? selectOrZero(stays, conditional[g] * keep) : conditional[g];
    share[g] = decays ? selectOrZero(stays, decayed) : share[g];
    notAbove |= entryBits(share[g] <= rate, 8 * g);
  }
  const int32_t position = firstBit(notAbove, last);

  F32x8 shareBefore = {}, conditionalBefore = {};
  uint64_t empty = 0;
  for (int32_t g = 0; g < groups; ++g) {
    const S32x8 entry = lanes + 8 * g;
    const F32x8 entering = broadcast<F32x8>(rate);
    const F32x8 newShare = entry < position    ? share[g]
                           : entry == position ? entering
                                               : moveUp(shareBefore, share[g]);
    const F32x8 newConditional = entry < position    ? conditional[g]
                                 : entry == position ? entering
                                                     : moveUp(conditionalBefore, conditional[g]);
    shareBefore = share[g];
    conditionalBefore = conditional[g];
    store(list.share + 8 * g, newShare);
    store(list.conditional + 8 * g, newConditional);
    empty |= entryBits(newShare == 0.0f, 8 * g);
  }
  if (last == 8 * groups) {
    list.share[last] = position == last ? rate : shareBefore[7];
    list.conditional[last] = position == last ? rate : conditionalBefore[7];
  }
  for (int32_t v = 0; v < List::valueBytes; ++v) {
    insertEntry(list.value[v], List::stored, position, value[v]);
  }

  const int32_t counted = firstBit(empty, List::used);
  float sumShare = 0.0f, sumConditional = 0.0f;
  for (int32_t i = 0; i < counted; ++i) {
    sumShare += list.share[i];
    sumConditional += list.conditional[i];
  }
  if (sumShare > coverage) belief.learned = true;
  const float backgroundShare = belief.backgroundShare;
  if (sumShare - backgroundShare * sumConditional > coverage) {
    for (int32_t i = 0; i < counted; ++i) {
      list.conditional[i] =
          fused(-backgroundShare, list.conditional[i], list.share[i]) / (1.0f - backgroundShare);
    }
    if (List::complementsBackground) belief.backgroundShare = 1.0f - backgroundShare;
  }
}

// Counts the absolute differences of two rows. Neighbours count into tables of their own: equal
// differences in a row would wait for one another.
constexpr int32_t countTables = 4;
void countDifferences(const uint8_t* a, const uint8_t* b, ptrdiff_t samples,
                      uint32_t (&counts)[countTables][256]) {
  ptrdiff_t i = 0;
  for (; i + countTables <= samples; i += countTables) {
    for (int32_t t = 0; t < countTables; ++t) ++counts[t][std::abs(a[i + t] - b[i + t])];
  }
  for (; i < samples; ++i) ++counts[0][std::abs(a[i] - b[i])];
}

// The largest standard deviation of the differences from any one up to 255, in double precision,
// and at least 10.
double changeThreshold(const uint32_t (&counts)[countTables][256]) {
  double threshold = leastThreshold;
  int64_t n = 0, sum = 0, squares = 0;
  for (int32_t b = 255; b >= 0; --b) {
    int64_t count = 0;
    for (int32_t t = 0; t < countTables; ++t) count += counts[t][b];
    n += count;
    sum += count * b;
    squares += count * b * b;
    if (b == 255) continue;
    const auto divisor = static_cast<double>(n == 0 ? 1 : n);
    const double mean = static_cast<double>(sum) / divisor;
    const double deviation = std::sqrt(static_cast<double>(squares) / divisor - mean * mean);
    if (deviation > threshold) threshold = deviation;
  }
  return threshold;
}

// 255 where any channel's difference is above the threshold, 0 elsewhere.
template <int32_t channels>
void markChanges(const uint8_t* a, const uint8_t* b, uint8_t* mask, int32_t width,
                 uint8_t threshold) {
  NUV_IVDEP
  for (int32_t x = 0; x < width; ++x) {
    uint8_t largest = 0;
    for (int32_t c = 0; c < channels; ++c) {
      const uint8_t p = a[ptrdiff_t{x} * channels + c], q = b[ptrdiff_t{x} * channels + c];
      largest = std::max<uint8_t>(largest, static_cast<uint8_t>(p > q ? p - q : q - p));
    }
    mask[x] = largest > threshold ? 255 : 0;
  }
}

template <int32_t channels>
void makeChangeMask(Image<const uint8_t> a, Image<const uint8_t> b, Image<uint8_t> mask,
                    NuviSize size) {
  uint32_t counts[countTables][256] = {};
  for (int32_t y = 0; y < size.height; ++y) {
    countDifferences(a.row(y), b.row(y), ptrdiff_t{size.width} * channels, counts);
  }
  const auto threshold = static_cast<uint8_t>(changeThreshold(counts));
  for (int32_t y = 0; y < size.height; ++y) {
    markChanges<channels>(a.row(y), b.row(y), mask.row(y), size.width, threshold);
  }
}

// A background pixel of the reference follows the frame: slowly while it stands still (truncated
// from a fused step), at once where it has changed.
template <int32_t channels>
void followFrame(const uint8_t* src, const uint8_t* foreground, const uint8_t* frameChange,
                 const uint8_t* referenceChange, uint8_t* reference, int32_t width) {
  NUV_IVDEP
  for (int32_t x = 0; x < width; ++x) {
    for (int32_t c = 0; c < channels; ++c) {
      const ptrdiff_t i = ptrdiff_t{x} * channels + c;
      const auto old = static_cast<float>(reference[i]);
      const float step = static_cast<float>(src[i]) - old;
      const auto blended = static_cast<uint8_t>(fused(step, referenceRate, old));
      const bool still = (frameChange[x] | referenceChange[x]) == 0;
      const uint8_t followed = still ? blended : src[i];
      reference[i] = foreground[x] == 0 ? followed : reference[i];
    }
  }
}

}  // namespace
}  // namespace nuv

// Images have rows of just their pixels; pixels and lists stand row by row.
struct NuviForegroundHistogramState {
  uint8_t* referenceImage;  // the learnt background
  uint8_t* previousFrame;
  uint8_t* frameChangeMask;      // where the frame differs from the previous one
  uint8_t* referenceChangeMask;  // where it differs from the reference
  int32_t imageStep;             // of the images in bytes
  int32_t width;                 // in pixels, the masks' step
  nuv::HistogramPixel* pixelTable;
  void* colourLists;
  void* pairLists;
};

namespace nuv {
namespace {

// A state's memory as images and lists of its number of channels.
template <int32_t channels>
struct Model {
  explicit Model(const NuviForegroundHistogramState& state)
      : reference(state.referenceImage, state.imageStep),
        previous(state.previousFrame, state.imageStep),
        frameChange(state.frameChangeMask, state.width),
        referenceChange(state.referenceChangeMask, state.width),
        width(state.width),
        pixels(state.pixelTable),
        colours(static_cast<ColourList<channels>*>(state.colourLists)),
        pairs(static_cast<PairList<channels>*>(state.pairLists)) {}

  int64_t firstOfRow(int32_t y) const { return int64_t{y} * width; }

  Image<uint8_t> reference, previous, frameChange, referenceChange;
  int32_t width;
  HistogramPixel* pixels;
  ColourList<channels>* colours;
  PairList<channels>* pairs;
};

Image<const uint8_t> readOnly(Image<uint8_t> image) { return {image.row(0), image.step()}; }

template <int32_t channels>
void copyRows(Image<const uint8_t> from, Image<uint8_t> to, NuviSize size) {
  const size_t bytes = static_cast<size_t>(size.width) * channels;
  for (int32_t y = 0; y < size.height; ++y) std::memcpy(to.row(y), from.row(y), bytes);
}

NuvStatus release(NuviForegroundHistogramState* state) {
  if (state == nullptr) return nuvStatusNullPointer;
  ownFree(state->colourLists);
  ownFree(state->pairLists);
  ownFree(state->pixelTable);
  ownFree(state->frameChangeMask);
  ownFree(state->referenceChangeMask);
  ownFree(state->referenceImage);
  ownFree(state->previousFrame);
  ownFree(state);
  return nuvStatusOk;
}

// A block of zeros, null if there is no memory.
template <class T>
T* allocateZeros(int64_t count) {
  T* const block = allocate<T>(count);
  if (block != nullptr) std::memset(block, 0, static_cast<size_t>(count) * sizeof(T));
  return block;
}

template <int32_t channels>
NuvStatus initAlloc(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, const void* pModel,
                    NuviForegroundHistogramState** ppState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, static_cast<const uint8_t*>(pModel), ppState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  auto* const state = allocateZeros<NuviForegroundHistogramState>(1);
  if (state == nullptr) return nuvStatusNoMemory;
  const int64_t pixels = int64_t{roiSize.width} * roiSize.height;
  state->imageStep = wrappingMultiply(roiSize.width, channels);
  state->width = roiSize.width;
  // The largest block comes first: what cannot be had is known before anything is cleared.
  const bool complete =
      (state->pairLists = allocateZeros<PairList<channels>>(pixels)) != nullptr &&
      (state->colourLists = allocateZeros<ColourList<channels>>(pixels)) != nullptr &&
      (state->pixelTable = allocateZeros<HistogramPixel>(pixels)) != nullptr &&
      (state->frameChangeMask = allocateZeros<uint8_t>(pixels)) != nullptr &&
      (state->referenceChangeMask = allocateZeros<uint8_t>(pixels)) != nullptr &&
      (state->referenceImage = allocate<uint8_t>(pixels * channels)) != nullptr &&
      (state->previousFrame = allocate<uint8_t>(pixels * channels)) != nullptr;
  if (!complete) {
    release(state);
    return nuvStatusNoMemory;
  }
  const Image<const uint8_t> src(pSrc, srcStep);
  const Model<channels> model(*state);
  copyRows<channels>(src, model.reference, roiSize);
  copyRows<channels>(src, model.previous, roiSize);
  *ppState = state;
  return nuvStatusOk;
}

template <int32_t channels>
NuvStatus classify(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                   NuviSize roiSize, NuviForegroundHistogramState* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> dst(pDst, dstStep);
  const Model<channels> model(*pState);
  makeChangeMask<channels>(readOnly(model.previous), src, model.frameChange, roiSize);
  makeChangeMask<channels>(readOnly(model.reference), src, model.referenceChange, roiSize);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t* const frameChange = model.frameChange.row(y);
    const uint8_t* const referenceChange = model.referenceChange.row(y);
    uint8_t* const out = dst.row(y);
    std::memset(out, 0, static_cast<size_t>(roiSize.width));
    for (int32_t x = 0; x < roiSize.width; ++x) {
      if ((frameChange[x] | referenceChange[x]) == 0) continue;
      const int64_t p = model.firstOfRow(y) + x;
      const uint8_t* const pixel = src.row(y) + ptrdiff_t{x} * channels;
      const Belief& colour = model.pixels[p].colour;
      const Belief& pair = model.pixels[p].pair;
      const bool foreground = frameChange[x] != 0
                                  ? !pair.learned || isForeground(model.pairs[p], pair, pixel)
                                  : colour.learned && isForeground(model.colours[p], colour, pixel);
      if (foreground) out[x] = 255;
    }
  }
  return nuvStatusOk;
}

// Teaches a pixel's lists. A pixel that stands still has no pair to learn once enough are known,
// and only a pixel that stands still has a colour to learn.
template <int32_t channels>
void learnPixel(const Model<channels>& model, int64_t p, const uint8_t* present,
                const uint8_t* previous, bool changed, bool background) {
  HistogramPixel& pixel = model.pixels[p];
  if (changed || !pixel.pair.learned) {
    uint8_t value[2 * channels];
    std::copy(present, present + channels, value + (channels == 1 ? 1 : 0));
    std::copy(previous, previous + channels, value + (channels == 1 ? 0 : channels));
    const float rate = changed && pixel.pair.learned ? slowRate : fastRate;
    learn(model.pairs[p], pixel.pair, value, rate, background);
  }
  if (!changed) {
    uint8_t value[channels];
    std::copy(present, present + channels, value);
    learn(model.colours[p], pixel.colour, value, pixel.colour.learned ? slowRate : fastRate,
          background);
  }
}

// Lists are read and written as fast as memory allows, if they are asked for ahead of their turn.
// The address may lie behind the last list: a prefetch does not fault.
template <class List>
void prefetchAhead(const List* list) {
  constexpr uintptr_t lists = 12, lineBytes = 64;
  const uintptr_t ahead = reinterpret_cast<uintptr_t>(list) + lists * sizeof(List);
  for (uintptr_t line = 0; line < sizeof(List); line += lineBytes) {
    __builtin_prefetch(reinterpret_cast<const void*>(ahead + line), 1);
  }
}

template <int32_t channels>
NuvStatus update(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep,
                 uint8_t* pRef, int32_t refStep, NuviSize roiSize,
                 NuviForegroundHistogramState* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pMask, pRef, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep), mask(pMask, maskStep);
  const Model<channels> model(*pState);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t* const present = src.row(y);
    const uint8_t* const previous = model.previous.row(y);
    const uint8_t* const foreground = mask.row(y);
    const uint8_t* const frameChange = model.frameChange.row(y);
    for (int32_t x = 0; x < roiSize.width; ++x) {
      prefetchAhead(model.colours + model.firstOfRow(y) + x);
      learnPixel<channels>(model, model.firstOfRow(y) + x, present + ptrdiff_t{x} * channels,
                           previous + ptrdiff_t{x} * channels, frameChange[x] != 0,
                           foreground[x] == 0);
    }
    followFrame<channels>(present, foreground, frameChange, model.referenceChange.row(y),
                          model.reference.row(y), roiSize.width);
  }
  copyRows<channels>(src, model.previous, roiSize);
  copyRows<channels>(readOnly(model.reference), Image<uint8_t>(pRef, refStep), roiSize);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_HISTOGRAM_MODEL(layout, channels)                                                      \
  NuvStatus nuviForegroundHistogramInitAlloc_8u_##layout(const uint8_t* pSrc, int32_t srcStep,     \
                                                         NuviSize roiSize, const void* pModel,     \
                                                         NuviForegroundHistogramState** ppState) { \
    return initAlloc<channels>(pSrc, srcStep, roiSize, pModel, ppState);                           \
  }                                                                                                \
  NuvStatus nuviForegroundHistogram_8u_##layout(const uint8_t* pSrc, int32_t srcStep,              \
                                                uint8_t* pDst, int32_t dstStep, NuviSize roiSize,  \
                                                NuviForegroundHistogramState* pState) {            \
    return classify<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pState);                      \
  }                                                                                                \
  NuvStatus nuviForegroundHistogramUpdate_8u_##layout(                                             \
      const uint8_t* pSrc, int32_t srcStep, const uint8_t* pMask, int32_t maskStep, uint8_t* pRef, \
      int32_t refStep, NuviSize roiSize, NuviForegroundHistogramState* pState) {                   \
    return update<channels>(pSrc, srcStep, pMask, maskStep, pRef, refStep, roiSize, pState);       \
  }                                                                                                \
  NuvStatus nuviForegroundHistogramFree_8u_##layout(NuviForegroundHistogramState* pState) {        \
    return release(pState);                                                                        \
  }

NUV_HISTOGRAM_MODEL(C1R, 1)
NUV_HISTOGRAM_MODEL(C3R, 3)

#undef NUV_HISTOGRAM_MODEL

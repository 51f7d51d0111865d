// Flat erosion and dilation by a binary mask with replicated borders: the minimum or maximum of the
// pixels under the elements that are on. The mask is not reflected. How a result is computed
// follows the kind of the mask, and none of that shows in it.

#include <algorithm>

#include "core/check.h"
#include "core/scratch.h"
#include "morph/minmaxfilter.h"
#include "morph/state.h"
#include "nuvcv/morph.h"

namespace nuv {
namespace {

// The images of a call, with the sizes in all units in which they are needed.
template <class T>
struct Images {
  Image<const T> src;
  Image<T> dst;
  int32_t width;
  int32_t height;
  int32_t channels;

  ptrdiff_t samples() const { return ptrdiff_t{width} * channels; }
};

const uint8_t* part(const NuviMorphologyState* state, int32_t offset) {
  return reinterpret_cast<const uint8_t*>(state) + offset;
}
uint8_t* workBuffer(NuviMorphologyState* state) {
  return reinterpret_cast<uint8_t*>(state) + state->workBuffer;
}

template <class T>
void copyImage(const Images<T>& images) {
  for (int32_t y = 0; y < images.height; ++y) {
    std::copy_n(images.src.row(y), images.samples(), images.dst.row(y));
  }
}

// One axis of a rectangle that may lie wholly beside the anchor. Then the pixels within `skipped`
// of one end of the image read one and the same pixel there, so the filter runs on the rest of the
// image, with an anchor at the rectangle's near end, and its outermost result is repeated.
struct ShiftedAxis {
  int32_t anchor;
  int32_t skipped = 0;
  bool atEnd = false;  // which end of the result is repeated; the source is cut at the other one

  ShiftedAxis(int32_t maskLength, int32_t stateAnchor, int32_t imageLength) : anchor(stateAnchor) {
    if (stateAnchor < 0) {
      anchor = 0;
      skipped = -std::max(1 - imageLength, stateAnchor);
      atEnd = true;
    } else if (stateAnchor >= maskLength) {
      anchor = maskLength - 1;
      skipped = std::min(stateAnchor - maskLength + 1, imageLength - 1);
    }
  }
  int32_t srcOffset() const { return atEnd ? skipped : 0; }
  int32_t dstOffset() const { return atEnd ? 0 : skipped; }
};

template <class Extreme, class T>
void applyRectangle(const Images<T>& images, NuviMorphologyState* state) {
  const ShiftedAxis columns(state->maskWidth, state->anchorX, images.width);
  const ShiftedAxis rows(state->maskHeight, state->anchorY, images.height);
  const NuviSize inner = {images.width - columns.skipped, images.height - rows.skipped};
  const ptrdiff_t channels = images.channels;
  const ptrdiff_t skippedSamples = columns.skipped * channels;

  const Image<T> dst(images.dst.row(rows.dstOffset()) + columns.dstOffset() * channels,
                     images.dst.step());
  filterRectangle<Extreme>(
      Image<const T>(images.src.row(rows.srcOffset()) + columns.srcOffset() * channels,
                     images.src.step()),
      dst, inner, images.channels, {state->maskWidth, state->maskHeight},
      {columns.anchor, rows.anchor}, workBuffer(state));

  for (int32_t y = 0; skippedSamples > 0 && y < inner.height; ++y) {
    T* const row = dst.row(y);
    if (columns.atEnd) {
      T* const end = row + inner.width * channels;
      for (ptrdiff_t i = 0; i < skippedSamples; ++i) end[i] = end[i - channels];
    } else {
      for (ptrdiff_t i = 1; i <= skippedSamples; ++i) row[-i] = row[channels - i];
    }
  }
  const int32_t nearest = rows.atEnd ? inner.height - 1 : rows.skipped;
  for (int32_t i = 0; i < rows.skipped; ++i) {
    std::copy_n(images.dst.row(nearest), images.samples(),
                images.dst.row(rows.atEnd ? inner.height + i : i));
  }
}

// A run around the anchor's column: how many pixels it reaches to the left and to the right.
struct Run {
  int32_t left;
  int32_t right;

  int32_t length() const { return left + right + 1; }
  bool contains(Run other) const { return left >= other.left && right >= other.right; }
};

// `from` holds the extremes over the run `inner`; `to` becomes those over the larger run `outer`,
// which takes no more than a few places of `from`. Places outside the line are its nearest pixel.
constexpr int32_t mostShifts = 7;
template <class Extreme, class T>
void widenRun(const T* from, Run inner, Run outer, T* to, ptrdiff_t width, ptrdiff_t channels) {
  const ptrdiff_t left = outer.left - inner.left;
  const ptrdiff_t right = outer.right - inner.right;
  ptrdiff_t offsets[mostShifts + 1];
  int32_t shifts = 0;
  for (ptrdiff_t place = -left; place < right; place += inner.length()) {
    offsets[shifts++] = place * channels;
  }
  offsets[shifts++] = right * channels;

  const ptrdiff_t last = width - 1;
  const auto edgePixels = [=](ptrdiff_t begin, ptrdiff_t end) {
    for (ptrdiff_t x = begin; x < end; ++x) {
      for (ptrdiff_t c = 0; c < channels; ++c) {
        T extreme = Extreme::neutral();
        for (int32_t t = 0; t < shifts; ++t) {
          const ptrdiff_t place = clampTo<ptrdiff_t>(x + offsets[t] / channels, 0, last);
          extreme = Extreme::of(extreme, from[place * channels + c]);
        }
        to[x * channels + c] = extreme;
      }
    }
  };
  const ptrdiff_t interior = std::min(left, width);
  const ptrdiff_t interiorEnd = std::max(interior, width - right);
  edgePixels(0, interior);
  extremeOfShifts<Extreme>(from + interior * channels, offsets, shifts, to + interior * channels,
                           (interiorEnd - interior) * channels);
  edgePixels(interiorEnd, width);
}

// The same for a run of any length, by way of runs four times as long each.
template <class Extreme, class T>
void growRun(const T* from, Run inner, Run outer, T* to, T* spare, ptrdiff_t width,
             ptrdiff_t channels) {
  int32_t stages = 0;
  for (int64_t reach = inner.length(); outer.length() > mostShifts * reach; reach *= 4) ++stages;
  for (; stages > 0; --stages) {
    const int32_t growth = 3 * inner.length();
    const int32_t left = std::min(growth, outer.left - inner.left);
    const Run next = {inner.left + left, inner.right + growth - left};
    T* const result = stages % 2 == 0 ? to : spare;
    widenRun<Extreme>(from, inner, next, result, width, channels);
    from = result;
    inner = next;
  }
  widenRun<Extreme>(from, inner, outer, to, width, channels);
}

// Each row of the image is filtered once with every distinct run, into a ring of lines; a result
// row is the extreme of one line for each row of the mask.
template <class Extreme, class T>
void applyRowRuns(const Images<T>& images, NuviMorphologyState* state) {
  constexpr Run pixel = {0, 0};
  const auto mask = load<NuviMaskRunDescriptor>(part(state, state->runDescriptor));
  const auto item = [=](int32_t array, int32_t index) {
    return load<int32_t>(part(state, array + index * int32_t{sizeof(int32_t)}));
  };
  const int32_t last = images.width - 1;
  const auto runOf = [=](int32_t index) {
    const int32_t left = item(mask.runLeftExtents, index);
    const int32_t right = item(mask.runLengths, index) - left - 1;
    return Run{std::min(left, last), std::min(right, last)};
  };

  const int32_t elementBytes = sizeof(T);
  const auto lineBytes = alignUp<ptrdiff_t>(images.samples() * elementBytes, 32);
  const ptrdiff_t lineElements = lineBytes / elementBytes;
  Scratch scratch(
      workBuffer(state),
      rowRunScratchBytes(images.width, images.channels * elementBytes, mask.height, mask.runCount));
  const T** const maskLines = scratch.take<const T*>(mask.rowCount);
  T* const spare = scratch.take<T>(lineElements, 32);
  const Image<T> ring(scratch.take<T>(lineElements * mask.height * mask.runCount), lineBytes);

  // A run of one pixel is the image's own row.
  const auto runLine = [&](ptrdiff_t y, int32_t index) -> const T* {
    if (runOf(index).length() == 1) return images.src.row(y);
    return ring.row(y % mask.height * mask.runCount + index);
  };
  const auto filterRow = [&](ptrdiff_t y) {
    const T* from = images.src.row(y);
    Run inner = pixel;
    for (int32_t index = mask.runCount - 1; index >= 0; --index) {
      const Run run = runOf(index);
      if (run.length() == 1) continue;
      if (!run.contains(inner)) {
        from = images.src.row(y);
        inner = pixel;
      }
      T* const line = ring.row(y % mask.height * mask.runCount + index);
      growRun<Extreme>(from, inner, run, line, spare, images.width, images.channels);
      from = line;
      inner = run;
    }
  };

  int32_t filtered = 0;
  for (int32_t y = 0; y < images.height; ++y) {
    const int32_t end = std::min(y - mask.anchorY + mask.height, images.height);
    for (; filtered < end; ++filtered) filterRow(filtered);
    for (int32_t k = 0; k < mask.rowCount; ++k) {
      const int32_t row = y - mask.anchorY + item(mask.rowOffsets, k);
      maskLines[k] = runLine(clampTo(row, 0, images.height - 1), item(mask.rowRunIndex, k));
    }
    T* const result = images.dst.row(y);
    forStrips<Extreme>(images.samples(), [=](auto strip, ptrdiff_t x) {
      strip.load(maskLines[0] + x);
      for (int32_t k = 1; k < mask.rowCount; ++k) strip.fold(maskLines[k] + x);
      strip.store(result + x);
    });
  }
}

// A row with its first pixel repeated `left` times before it and its last one `right` times behind.
template <class T>
void replicateEnds(const T* row, ptrdiff_t samples, ptrdiff_t channels, ptrdiff_t left,
                   ptrdiff_t right, T* bordered) {
  for (ptrdiff_t i = 0; i < left; ++i) bordered = std::copy_n(row, channels, bordered);
  bordered = std::copy_n(row, samples, bordered);
  const T* const lastPixel = row + samples - channels;
  for (ptrdiff_t i = 0; i < right; ++i) bordered = std::copy_n(lastPixel, channels, bordered);
}

// The work image holds the rows under the mask with their borders. It has twice the mask's height:
// the window moves down in it row by row and is brought back to the top when it meets the end.
template <class Extreme, class T>
void applyElements(const Images<T>& images, NuviMorphologyState* state) {
  T* const work = reinterpret_cast<T*>(workBuffer(state));
  const auto* const taps = reinterpret_cast<const int32_t*>(part(state, state->taps));
  const ptrdiff_t step = state->paddedRowStep / static_cast<ptrdiff_t>(sizeof(T));
  const int32_t maskHeight = state->maskHeight;
  const int32_t left = state->anchorX;
  const int32_t right = state->rightExtent;

  ptrdiff_t sourceRow = -state->anchorY;
  T* window = work;
  T* next = work;  // the row to be filled
  for (int32_t y = 0; y < images.height; ++y, window += step) {
    if (window > work + maskHeight * step) {
      std::copy(window, next, work);
      next -= window - work;
      window = work;
    }
    for (; next < window + maskHeight * step; next += step, ++sourceRow) {
      const ptrdiff_t row = clampTo<ptrdiff_t>(sourceRow, 0, images.height - 1);
      replicateEnds<T>(images.src.row(row), images.samples(), images.channels, left, right, next);
    }
    extremeOfShifts<Extreme>(window, taps, state->tapCount, images.dst.row(y), images.samples());
  }
}

template <class Extreme, class T>
NuvStatus applyMask(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,
                    int32_t channels, NuviBorderType border, NuviMorphologyState* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .step(pDst, dstStep, roiSize.width, channels)
                               .elementMultiple(pSrc, srcStep, dstStep)
                               .require(border == nuvBorderReplicate, nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;
  if (roiSize.width > pState->maxRoiWidth) return nuvStatusBadSize;

  const Images<T> images = {Image<const T>(pSrc, srcStep), Image<T>(pDst, dstStep), roiSize.width,
                            roiSize.height, channels};
  switch (pState->maskKind) {
    case ownMaskKindEmpty:
      copyImage(images);
      break;
    case ownMaskKindRectangle:
      applyRectangle<Extreme>(images, pState);
      break;
    case ownMaskKindRowRuns:
      applyRowRuns<Extreme>(images, pState);
      break;
    default:
      applyElements<Extreme>(images, pState);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_MORPH_FORM(Name, Extreme, form, T, channels)                                           \
  NuvStatus nuvi##Name##BorderReplicate_##form(                                                    \
      const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,                  \
      NuviBorderType border, NuviMorphologyState* pState) {                                        \
    return applyMask<Extreme<T>>(pSrc, srcStep, pDst, dstStep, roiSize, channels, border, pState); \
  }
#define NUV_MORPH_FORMS(Name, Extreme)              \
  NUV_MORPH_FORM(Name, Extreme, 8u_C1R, uint8_t, 1) \
  NUV_MORPH_FORM(Name, Extreme, 8u_C3R, uint8_t, 3) \
  NUV_MORPH_FORM(Name, Extreme, 8u_C4R, uint8_t, 4) \
  NUV_MORPH_FORM(Name, Extreme, 32f_C1R, float, 1)  \
  NUV_MORPH_FORM(Name, Extreme, 32f_C3R, float, 3)  \
  NUV_MORPH_FORM(Name, Extreme, 32f_C4R, float, 4)
NUV_MORPH_FORMS(Dilate, Maximum)
NUV_MORPH_FORMS(Erode, Minimum)
#undef NUV_MORPH_FORMS
#undef NUV_MORPH_FORM

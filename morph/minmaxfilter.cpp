// Minimum and maximum over a rectangle with replicated borders: flat erosion and dilation by a
// solid rectangle.
//
// The filter is separable. Down the columns it is the running block method (van Herk 1992; Gil and
// Werman 1993): rows are taken in blocks of the mask's height; a window is the extreme of a
// backward running extreme of the block in which it begins and a forward one of the next block,
// three comparisons whatever the height. Along the rows windows grow by combination: the extreme
// over k pixels, taken at four places, gives that over 4 k pixels, so the cost grows only with the
// logarithm of the width.

#include "morph/minmaxfilter.h"

#include <algorithm>

#include "core/check.h"
#include "core/scratch.h"
#include "nuvcv/morph.h"

namespace nuv {
namespace {

constexpr ptrdiff_t vectorBytes = 32;
constexpr int32_t mostShifts = 7;  // places that one combination looks at

// One axis of the mask: how far it reaches before and behind the pixel. With replicated borders
// nothing changes when a reach past the whole image is cut off.
struct Reach {
  int32_t before;
  int32_t behind;

  Reach(int32_t maskLength, int32_t anchor, int32_t most)
      : before(std::min(anchor, most)), behind(std::min(maskLength - anchor - 1, most)) {}
  int32_t length() const { return before + behind + 1; }
};

// The first `count` output rows of a window of `height` rows that begins at row `firstRow` of the
// source, count <= height. Rows outside the image are its nearest row.
template <class Extreme, class T>
void filterColumns(Image<const T> src, ptrdiff_t lastRow, ptrdiff_t firstRow, int32_t height,
                   Image<T> dst, int32_t count, ptrdiff_t samples) {
  forStrips<Extreme>(samples, [=](auto strip, ptrdiff_t x) {
    const auto source = [=](ptrdiff_t i) {
      return src.row(clampTo<ptrdiff_t>(firstRow + i, 0, lastRow)) + x;
    };
    // Backward through the block in which the windows begin.
    strip.load(source(height - 1));
    for (int32_t i = height - 1;; --i) {
      if (i < count) strip.store(dst.row(i) + x);
      if (i == 0) break;
      strip.fold(source(i - 1));
    }
    // Forward through the next one.
    if (count > 1) strip.load(source(height));
    for (int32_t i = 1; i < count; ++i) {
      strip.fold(source(height + i - 1));
      strip.foldInto(dst.row(i) + x);
    }
  });
}

// A line of `samples` elements from line[0] on, with room for the reach on both sides and for the
// rest of a vector behind that. Destroys the line.
template <class Extreme, class T>
void filterLine(T* line, ptrdiff_t samples, ptrdiff_t channels, Reach reach, T* dst) {
  T* const begin = line - reach.before * channels;
  std::fill(begin, line, Extreme::neutral());
  std::fill_n(line + samples, reach.behind * channels, Extreme::neutral());

  // begin[x] is the extreme over the `covered` pixels from there on. The last vector reaches behind
  // what is needed, and what it finds there is not looked at again.
  constexpr auto lanes = vectorBytes / static_cast<ptrdiff_t>(sizeof(T));
  ptrdiff_t offsets[mostShifts] = {};
  ptrdiff_t covered = 1;
  for (; reach.length() > mostShifts * covered; covered *= 4) {
    for (int t = 0; t < 4; ++t) offsets[t] = t * covered * channels;
    const ptrdiff_t count = samples + (reach.length() - 4 * covered) * channels;
    extremeOfShifts<Extreme>(begin, offsets, 4, begin, alignUp(count, lanes));
  }
  int32_t shifts = 0;
  for (ptrdiff_t place = 0; place < reach.length(); place += covered) {
    offsets[shifts++] = std::min(place, reach.length() - covered) * channels;
  }
  extremeOfShifts<Extreme>(begin, offsets, shifts, dst, samples);
}

}  // namespace

template <class Extreme>
void filterRectangle(Image<const typename Extreme::Element> src,
                     Image<typename Extreme::Element> dst, NuviSize roiSize, int32_t channels,
                     NuviSize maskSize, NuviPoint anchor, void* pScratch) {
  using T = typename Extreme::Element;
  constexpr auto elementBytes = static_cast<ptrdiff_t>(sizeof(T));
  const ptrdiff_t samples = ptrdiff_t{roiSize.width} * channels;
  const ptrdiff_t lastRow = roiSize.height - 1;
  const Reach rows(maskSize.height, anchor.y, roiSize.height - 1);
  const Reach columns(maskSize.width, anchor.x, roiSize.width - 1);

  if (columns.length() == 1) {
    for (int32_t y = 0; y < roiSize.height; y += rows.length()) {
      filterColumns<Extreme>(src, lastRow, y - rows.before, rows.length(),
                             Image<T>(dst.row(y), dst.step()),
                             std::min(rows.length(), roiSize.height - y), samples);
    }
    return;
  }

  // The scratch has no room for borders that are wider together than the image, so a mask so wide
  // is the sum of two.
  const Reach first(columns.length(), columns.before, roiSize.width / 2);
  const Reach second(columns.length() - first.length() + 1, columns.before - first.before,
                     roiSize.width);

  Scratch scratch(pScratch, rectangleScratchBytes(roiSize.width, channels * int32_t{sizeof(T)},
                                                  maskSize.height));
  const ptrdiff_t before = ptrdiff_t{first.before} * channels;
  const ptrdiff_t bordered = before + samples + ptrdiff_t{first.behind} * channels;
  const ptrdiff_t lineBytes = alignUp(bordered * elementBytes + vectorBytes - 1, vectorBytes);
  const int32_t lineCount = std::min(rows.length(), roiSize.height);
  scratch.take<T>(before);
  const Image<T> lines(
      scratch.take<T>(lineCount * (lineBytes / elementBytes) - before, vectorBytes), lineBytes);

  for (int32_t y = 0; y < roiSize.height; y += lineCount) {
    const int32_t count = std::min(lineCount, roiSize.height - y);
    filterColumns<Extreme>(src, lastRow, y - rows.before, rows.length(), lines, count, samples);
    for (int32_t i = 0; i < count; ++i) {
      T* const result = dst.row(y + i);
      filterLine<Extreme>(lines.row(i), samples, channels, first, result);
      if (second.length() == 1) continue;
      std::copy_n(result, samples, lines.row(i));
      filterLine<Extreme>(lines.row(i), samples, channels, second, result);
    }
  }
}

template void filterRectangle<Minimum<uint8_t>>(Image<const uint8_t>, Image<uint8_t>, NuviSize,
                                                int32_t, NuviSize, NuviPoint, void*);
template void filterRectangle<Maximum<uint8_t>>(Image<const uint8_t>, Image<uint8_t>, NuviSize,
                                                int32_t, NuviSize, NuviPoint, void*);
template void filterRectangle<Minimum<float>>(Image<const float>, Image<float>, NuviSize, int32_t,
                                              NuviSize, NuviPoint, void*);
template void filterRectangle<Maximum<float>>(Image<const float>, Image<float>, NuviSize, int32_t,
                                              NuviSize, NuviPoint, void*);

namespace {

template <class Extreme, class T>
NuvStatus filterBorderReplicate(const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep,
                                NuviSize roiSize, int32_t channels, NuviSize maskSize,
                                NuviPoint anchor, uint8_t* pBuffer) {
  const NuvStatus status =
      Check()
          .pointers(pSrc, pDst, pBuffer)
          .size(roiSize)
          .require(maskSize.width >= 1 && maskSize.height >= 1, nuvStatusBadMask)
          .require(anchor.x >= 0 && anchor.x < maskSize.width, nuvStatusBadAnchor)
          .require(anchor.y >= 0 && anchor.y < maskSize.height, nuvStatusBadAnchor)
          .step(pSrc, srcStep, roiSize.width, channels)
          .elementMultiple(pSrc, srcStep)
          .step(pDst, dstStep, roiSize.width, channels)
          .elementMultiple(pDst, dstStep)
          .status();
  if (status != nuvStatusOk) return status;

  filterRectangle<Extreme>(Image<const T>(pSrc, srcStep), Image<T>(pDst, dstStep), roiSize,
                           channels, maskSize, anchor, pBuffer);
  return nuvStatusOk;
}

// The minimum and the maximum of a form need the same scratch.
NuvStatus scratchSize(int32_t roiWidth, int32_t pixelBytes, NuviSize maskSize,
                      int32_t* pBufferSize) {
  const NuvStatus status =
      Check()
          .pointers(pBufferSize)
          .require(roiWidth >= 1, nuvStatusBadSize)
          .require(maskSize.width >= 1 && maskSize.height >= 1, nuvStatusBadMask)
          .status();
  if (status != nuvStatusOk) return status;

  *pBufferSize = static_cast<int32_t>(rectangleScratchBytes(roiWidth, pixelBytes, maskSize.height));
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_FILTER_FORM(Name, Extreme, form, T, channels)                                     \
  NuvStatus nuviFilter##Name##BorderReplicate_##form(                                         \
      const T* pSrc, int32_t srcStep, T* pDst, int32_t dstStep, NuviSize roiSize,             \
      NuviSize maskSize, NuviPoint anchor, uint8_t* pBuffer) {                                \
    return filterBorderReplicate<Extreme<T>>(pSrc, srcStep, pDst, dstStep, roiSize, channels, \
                                             maskSize, anchor, pBuffer);                      \
  }                                                                                           \
  NuvStatus nuviFilter##Name##GetBufferSize_##form(int32_t roiWidth, NuviSize maskSize,       \
                                                   int32_t* pBufferSize) {                    \
    return scratchSize(roiWidth, channels * int32_t{sizeof(T)}, maskSize, pBufferSize);       \
  }
#define NUV_FILTER_FORMS(Name, Extreme)              \
  NUV_FILTER_FORM(Name, Extreme, 8u_C1R, uint8_t, 1) \
  NUV_FILTER_FORM(Name, Extreme, 8u_C3R, uint8_t, 3) \
  NUV_FILTER_FORM(Name, Extreme, 8u_C4R, uint8_t, 4) \
  NUV_FILTER_FORM(Name, Extreme, 32f_C1R, float, 1)  \
  NUV_FILTER_FORM(Name, Extreme, 32f_C3R, float, 3)  \
  NUV_FILTER_FORM(Name, Extreme, 32f_C4R, float, 4)
NUV_FILTER_FORMS(Max, Maximum)
NUV_FILTER_FORMS(Min, Minimum)
#undef NUV_FILTER_FORMS
#undef NUV_FILTER_FORM

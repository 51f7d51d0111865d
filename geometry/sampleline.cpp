// The pixels of a digital line from one point to another, both included, as a packed array. The
// line is Bresenham's ("Algorithm for computer control of a digital plotter", IBM Systems Journal
// 4 (1), 1965) with the error started at the full length of the longer axis: at an exact tie the
// step along the shorter axis comes one pixel later than half rounded up would put it.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "nuvcv/geometry.h"

namespace nuv {
namespace {

bool contains(NuviSize size, NuviPoint point) {
  return point.x >= 0 && point.x < size.width && point.y >= 0 && point.y < size.height;
}

template <class T, int32_t channels>
NuvStatus sampleLine(const T* pSrc, int32_t srcStep, NuviSize roiSize, T* pDst, NuviPoint pt1,
                     NuviPoint pt2) {
  const NuvStatus status =
      Check()
          .pointers(pSrc, pDst)
          .size(roiSize)
          .step(pSrc, srcStep, roiSize.width, channels)
          .elementMultiple(pSrc, srcStep)
          .require(contains(roiSize, pt1) && contains(roiSize, pt2), nuvStatusOutOfRange)
          .status();
  if (status != nuvStatusOk) return status;

  // 64 bits: twice an extent passes 32.
  const int64_t extentX = std::abs(int64_t{pt2.x} - pt1.x);
  const int64_t extentY = std::abs(int64_t{pt2.y} - pt1.y);
  const ptrdiff_t rowElements = srcStep / static_cast<int32_t>(sizeof(T));
  const ptrdiff_t alongX = pt2.x < pt1.x ? -channels : channels;
  const ptrdiff_t alongY = pt2.y < pt1.y ? -rowElements : rowElements;
  const bool steep = extentX <= extentY;
  const int64_t longer = std::max(extentX, extentY);
  const int64_t shorter = std::min(extentX, extentY);
  const ptrdiff_t alongLonger = steep ? alongY : alongX;
  const ptrdiff_t alongShorter = steep ? alongX : alongY;

  const T* const start = Image<const T>(pSrc, srcStep).row(pt1.y) + ptrdiff_t{pt1.x} * channels;
  ptrdiff_t offset = 0;
  int64_t error = longer;
  for (int64_t i = 0; i <= longer; ++i) {
    std::memcpy(pDst + i * channels, start + offset, channels * sizeof(T));
    offset += alongLonger;
    error -= 2 * shorter;
    if (error < 0) {
      offset += alongShorter;
      error += 2 * longer;
    }
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_SAMPLE_LINE(suffix, T, channels)                                                   \
  NuvStatus nuviSampleLine_##suffix(const T* pSrc, int32_t srcStep, NuviSize roiSize, T* pDst, \
                                    NuviPoint pt1, NuviPoint pt2) {                            \
    return sampleLine<T, channels>(pSrc, srcStep, roiSize, pDst, pt1, pt2);                    \
  }
NUV_SAMPLE_LINE(8u_C1R, uint8_t, 1)
NUV_SAMPLE_LINE(8u_C3R, uint8_t, 3)
NUV_SAMPLE_LINE(16u_C1R, uint16_t, 1)
NUV_SAMPLE_LINE(16u_C3R, uint16_t, 3)
NUV_SAMPLE_LINE(32f_C1R, float, 1)
NUV_SAMPLE_LINE(32f_C3R, float, 3)
#undef NUV_SAMPLE_LINE

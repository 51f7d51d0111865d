// Motion history: the time stamp of the last frame at which a silhouette covered each pixel, with
// times older than a duration forgotten (A. F. Bobick and J. W. Davis, "The recognition of human
// movement using temporal templates", 2001).

#include "core/check.h"
#include "core/image.h"
#include "nuvcv/video.h"

namespace nuv {
namespace {

// A float silhouette compares as a number: -0.0 is empty, a NaN is covered. A NaN in the history is
// not older than anything and stays.
template <class T>
void motionHistoryRow(const T* silhouette, float* history, ptrdiff_t width, float timestamp,
                      float oldest) {
  NUV_IVDEP
  for (ptrdiff_t x = 0; x < width; ++x) {
    const float kept = history[x] < oldest ? 0.0f : history[x];
    history[x] = silhouette[x] != T{0} ? timestamp : kept;
  }
}

template <class T>
NuvStatus updateMotionHistory(const T* pSilhouette, int32_t silhouetteStep, float* pHistory,
                              int32_t historyStep, NuviSize roiSize, float timestamp,
                              float duration) {
  const NuvStatus status = Check()
                               .pointers(pSilhouette, pHistory)
                               .size(roiSize)
                               .step(pSilhouette, silhouetteStep, roiSize.width)
                               .step(pHistory, historyStep, roiSize.width)
                               .elementMultiple(pSilhouette, silhouetteStep)
                               .elementMultiple(pHistory, historyStep)
                               .require(!(0.0f > duration), nuvStatusOutOfRange)
                               .status();
  if (status != nuvStatusOk) return status;

  const Image<const T> silhouette(pSilhouette, silhouetteStep);
  const Image<float> history(pHistory, historyStep);
  const float oldest = timestamp - duration;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    motionHistoryRow(silhouette.row(y), history.row(y), roiSize.width, timestamp, oldest);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

#define NUV_MOTION_HISTORY(name, T)                                                              \
  NuvStatus name(const T* pSilhouette, int32_t silhouetteStep, float* pHistory,                  \
                 int32_t historyStep, NuviSize roiSize, float timestamp, float duration) {       \
    return nuv::updateMotionHistory(pSilhouette, silhouetteStep, pHistory, historyStep, roiSize, \
                                    timestamp, duration);                                        \
  }
NUV_MOTION_HISTORY(nuviUpdateMotionHistory_8u32f_C1IR, uint8_t)
NUV_MOTION_HISTORY(nuviUpdateMotionHistory_16u32f_C1IR, uint16_t)
NUV_MOTION_HISTORY(nuviUpdateMotionHistory_32f_C1IR, float)
#undef NUV_MOTION_HISTORY

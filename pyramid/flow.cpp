// Sparse optical flow: points of one image found in another by Lucas and Kanade's normal equations
// on a square window, from the coarsest layer of two pyramids down to the base (B. D. Lucas and T.
// Kanade, "An iterative image registration technique", 1981; J.-Y. Bouguet, "Pyramidal
// implementation of the Lucas Kanade feature tracker", 2000).

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "core/memory.h"
#include "core/parallel.h"
#include "nuvcv/pyramid.h"
#include "pyramid/flowgradients.h"
#include "pyramid/flowwindows.h"

struct NuviOptFlowPyrLKState {
  NuviSize maxSize;  // of a layer that gets gradients of the whole image
  int32_t threads;
  int32_t hint;  // kept, not used
  int32_t winSize;
  int64_t planesBytes;
  uint8_t* work;  // the derivatives of a layer in `planesBytes`, then the windows of each thread
};

namespace nuv {
namespace {

inline NuviPoint32f scaled(NuviPoint32f point, double rate) {
  return {static_cast<float>(point.x * rate), static_cast<float>(point.y * rate)};
}
inline NuviPoint32f divided(NuviPoint32f point, double rate) {
  return {static_cast<float>(point.x / rate), static_cast<float>(point.y / rate)};
}

enum class Outcome { found, outside, lost };

struct Limits {
  int32_t maxIter;
  float squaredThreshold;
};

// Moves q until its window in the second layer fits the one that the windows hold. `extent` becomes
// where both were known in the last iteration.
template <class Pixel>
Outcome follow(Windows<Pixel>& windows, const Layer& second, const Limits& limits, NuviPoint32f& q,
               Extent& extent) {
  constexpr double singular = 2.220446049250313e-16;
  const auto oscillating =
      static_cast<double>(static_cast<float>(std::sqrt(1.1920928955078125e-07)));
  NormalEquations sums = {};
  double previousX = static_cast<double>(second.size.width) + second.size.height;
  double previousY = previousX;
  for (int32_t iteration = 0; iteration < limits.maxIter; ++iteration) {
    Extent known;
    if (!windows.takeSecond(second, q, known)) return Outcome::lost;
    const Extent present = intersection(windows.known(), known);
    if (present.isEmpty()) return Outcome::outside;
    if (iteration == 0 || !(present == extent)) {
      windows.template sum<true>(present, sums);
    } else {
      windows.template sum<false>(present, sums);
    }
    extent = present;
    const double determinant = sums.g11 * sums.g22 - sums.g12 * sums.g12;
    if (determinant < singular) return Outcome::lost;
    const double dx = (sums.g22 * sums.b1 - sums.g12 * sums.b2) / determinant;
    const double dy = (sums.g11 * sums.b2 - sums.g12 * sums.b1) / determinant;
    q = {static_cast<float>(q.x + dx), static_cast<float>(q.y + dy)};
    if (dx * dx + dy * dy < static_cast<double>(limits.squaredThreshold)) break;
    if (std::fabs(dx + previousX) < oscillating && std::fabs(dy + previousY) < oscillating) {
      q = {static_cast<float>(q.x - 0.5 * dx), static_cast<float>(q.y - 0.5 * dy)};
      break;
    }
    previousX = dx;
    previousY = dy;
  }
  return Outcome::found;
}

// The root of the mean squared difference over the window, without its last column and row.
template <class Pixel>
float errorOf(const Windows<Pixel>& windows, const Extent& extent) {
  const double sum = windows.squaredDifferences(extent);
  if (!(sum > 0.0)) return 0.0f;
  const double count =
      static_cast<double>(int64_t{extent.bottom - extent.top}) * (extent.right - extent.left);
  return static_cast<float>(std::sqrt(sum / count) * Form<Pixel>::errorUnit);
}

// One run. A point's status is the level above the one at which it is followed next, or, once it is
// lost, the one above that of its loss.
template <class Pixel>
class Run {
 public:
  Run(const NuviPyramid& first, const NuviPyramid& second, const NuviPoint32f* prevPoints,
      NuviPoint32f* nextPoints, uint8_t* status, float* error, int32_t numPoints, Limits limits,
      const NuviOptFlowPyrLKState& state)
      : first_(first),
        second_(second),
        prevPoints_(prevPoints),
        nextPoints_(nextPoints),
        status_(status),
        error_(error),
        numPoints_(numPoints),
        limits_(limits),
        state_(state) {}

  void track(int32_t maxLevel) {
    std::memset(status_, maxLevel + 1, static_cast<size_t>(numPoints_));
    int32_t split = std::min(maxLevel, first_.level);
    while (split >= 0 && fits(first_.sizes[split])) --split;
    ++split;

    const GradientPlanes<Pixel> planes(Scratch(state_.work, state_.planesBytes), state_.maxSize);
    for (int32_t level = std::min(maxLevel, first_.level); level >= split; --level) {
      planes.derive(layerOf(first_, level));
      forEachBand([&](Windows<Pixel>& windows, int32_t i) {
        if (status_[i] == level + 1) followOnLevel(windows, planes, level, i);
      });
    }
    if (split == 0) return;
    forEachBand([&](Windows<Pixel>& windows, int32_t i) {
      if (status_[i] == split) followDown(windows, split - 1, i);
    });
  }

 private:
  bool fits(NuviSize size) const {
    return size.width <= state_.maxSize.width && size.height <= state_.maxSize.height;
  }

  // The first pyramid tells the sizes of both.
  Layer layerOf(const NuviPyramid& pyramid, int32_t level) const {
    return {pyramid.images[level], pyramid.steps[level], first_.sizes[level]};
  }

  template <class Body>
  void forEachBand(Body&& body) const {
    uint8_t* const shares = state_.work + state_.planesBytes;
    forkRows(std::min(ownGetNumThreads(), state_.threads), numPoints_,
             [&](int32_t thread, int32_t firstPoint, int32_t count) {
               Windows<Pixel> windows(shares + thread * Windows<Pixel>::bytes(state_.winSize),
                                      state_.winSize);
               for (int32_t i = firstPoint; i < firstPoint + count; ++i) body(windows, i);
             });
  }

  // A level with derivatives of the whole layer; between levels the result waits in base units.
  void followOnLevel(Windows<Pixel>& windows, const GradientPlanes<Pixel>& planes, int32_t level,
                     int32_t i) const {
    const double rate = first_.rates[level];
    const NuviPoint32f p = scaled(prevPoints_[i], rate);
    NuviPoint32f q = scaled(nextPoints_[i], rate);
    Extent extent = {};
    Outcome outcome = Outcome::lost;
    if (windows.takeFirst(layerOf(first_, level), p)) {
      windows.sampleGradients(planes.alongX, planes.alongY, planes.step, p);
      outcome = follow(windows, layerOf(second_, level), limits_, q, extent);
    }
    status_[i] = static_cast<uint8_t>(outcome == Outcome::found ? level : level + 1);
    error_[i] = outcome == Outcome::found ? errorOf(windows, extent) : 0.0f;
    if (outcome != Outcome::lost)
      nextPoints_[i] = level == 0 && outcome == Outcome::found ? q : divided(q, rate);
  }

  // The levels that are too large for that, one after another, with derivatives of the window.
  void followDown(Windows<Pixel>& windows, int32_t top, int32_t i) const {
    const double upRate = 1.0 / first_.rates[std::min(1, first_.level)];
    NuviPoint32f q = scaled(nextPoints_[i], first_.rates[top]);
    Extent extent = {};
    for (int32_t level = top; level >= 0; --level) {
      const NuviPoint32f p = scaled(prevPoints_[i], first_.rates[level]);
      Outcome outcome = Outcome::lost;
      if (windows.takeFirst(layerOf(first_, level), p)) {
        windows.deriveGradients();
        outcome = follow(windows, layerOf(second_, level), limits_, q, extent);
      }
      if (outcome != Outcome::found) {
        status_[i] = static_cast<uint8_t>(level + 1);
        error_[i] = 0.0f;
        if (outcome == Outcome::outside) nextPoints_[i] = divided(q, first_.rates[level]);
        return;
      }
      if (level > 0) q = scaled(q, upRate);
    }
    status_[i] = 0;
    nextPoints_[i] = q;
    error_[i] = errorOf(windows, extent);
  }

  const NuviPyramid& first_;
  const NuviPyramid& second_;
  const NuviPoint32f* prevPoints_;
  NuviPoint32f* nextPoints_;
  uint8_t* status_;
  float* error_;
  int32_t numPoints_;
  Limits limits_;
  const NuviOptFlowPyrLKState& state_;
};

template <class Pixel>
NuvStatus initAlloc(NuviOptFlowPyrLKState** ppState, NuviSize roiSize, int32_t winSize,
                    int32_t hint) {
  const NuvStatus status =
      Check().pointers(ppState).require(winSize >= 1, nuvStatusBadSize).size(roiSize).status();
  if (status != nuvStatusOk) return status;

  // Neither count can overflow in 64 bits below these sides; what is larger passes the allocator's
  // reach by far.
  constexpr int32_t longestSide = 1 << 28, longestWindow = 1 << 15;
  if (roiSize.width > longestSide || roiSize.height > longestSide || winSize > longestWindow) {
    return nuvStatusNoMemory;
  }
  const int32_t threads = ownGetNumThreads();
  const int64_t planesBytes = GradientPlanes<Pixel>::bytes(roiSize);
  const int64_t bytes = planesBytes + threads * Windows<Pixel>::bytes(winSize);
  OwnedBlock<NuviOptFlowPyrLKState> state(1);
  OwnedBlock<uint8_t> work(bytes);
  if (state.get() == nullptr || work.get() == nullptr) return nuvStatusNoMemory;
  *state.get() = {roiSize, threads, hint, winSize, planesBytes, work.release()};
  *ppState = state.release();
  return nuvStatusOk;
}

NuvStatus freeFlow(NuviOptFlowPyrLKState* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  ownFree(pState->work);
  ownFree(pState);
  return nuvStatusOk;
}

template <class Pixel>
NuvStatus flow(const NuviPyramid* pPyr1, const NuviPyramid* pPyr2, const NuviPoint32f* pPrevPoints,
               NuviPoint32f* pNextPoints, uint8_t* pStatus, float* pError, int32_t numPoints,
               int32_t winSize, int32_t maxLevel, int32_t maxIter, float threshold,
               NuviOptFlowPyrLKState* pState) {
  Check check;
  check.pointers(pPyr1, pPyr2, pState, pPrevPoints, pNextPoints, pStatus, pError)
      .require(numPoints >= 1, nuvStatusBadSize);
  if (check.status() != nuvStatusOk) return check.status();
  const NuvStatus status =
      check.require(winSize >= 1 && winSize == pState->winSize, nuvStatusBadSize)
          .require(maxLevel >= 0 && maxIter >= 1 && !(threshold < 0.0f), nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  Run<Pixel>(*pPyr1, *pPyr2, pPrevPoints, pNextPoints, pStatus, pError, numPoints,
             Limits{maxIter, threshold * threshold}, *pState)
      .track(maxLevel);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_OPTICAL_FLOW(type, Pixel)                                                      \
  NuvStatus nuviOpticalFlowPyrLKInitAlloc_##type##_C1R(                                    \
      NuviOptFlowPyrLKState** ppState, NuviSize roiSize, int32_t winSize, int32_t hint) {  \
    return initAlloc<Pixel>(ppState, roiSize, winSize, hint);                              \
  }                                                                                        \
  NuvStatus nuviOpticalFlowPyrLKFree_##type##_C1R(NuviOptFlowPyrLKState* pState) {         \
    return freeFlow(pState);                                                               \
  }                                                                                        \
  NuvStatus nuviOpticalFlowPyrLK_##type##_C1R(                                             \
      const NuviPyramid* pPyr1, const NuviPyramid* pPyr2, const NuviPoint32f* pPrevPoints, \
      NuviPoint32f* pNextPoints, uint8_t* pStatus, float* pError, int32_t numPoints,       \
      int32_t winSize, int32_t maxLevel, int32_t maxIter, float threshold,                 \
      NuviOptFlowPyrLKState* pState) {                                                     \
    return flow<Pixel>(pPyr1, pPyr2, pPrevPoints, pNextPoints, pStatus, pError, numPoints, \
                       winSize, maxLevel, maxIter, threshold, pState);                     \
  }
NUV_OPTICAL_FLOW(8u, uint8_t)
NUV_OPTICAL_FLOW(16u, uint16_t)
NUV_OPTICAL_FLOW(32f, float)
#undef NUV_OPTICAL_FLOW

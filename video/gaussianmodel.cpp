// Foreground of a video by a mixture of five Gaussians for each pixel (C. Stauffer and W. E. L.
// Grimson, "Adaptive background mixture models for real-time tracking", 1999), in double precision.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/numeric.h"
#include "nuvcv/video.h"

namespace nuv {
namespace {

constexpr int32_t componentCount = 5;
constexpr double firstVariance = 12.5;

template <int channels>
struct Component {
  int32_t sampleCount;
  double weight;
  double variance[channels];
  double mean[channels];

  // Without samples and weight a component stays as it is until it matches. Such components stand
  // behind all others: they match in their order and are ordered last.
  bool isUnused() const { return sampleCount == 0 && weight == 0.0; }

  double totalVariance() const {
    double sum = variance[0];
    for (int c = 1; c < channels; ++c) sum += variance[c];
    return sum;
  }

  double squaredDistance(const double* pixel) const {
    double sum = (pixel[0] - mean[0]) * (pixel[0] - mean[0]);
    for (int c = 1; c < channels; ++c) sum += (pixel[c] - mean[c]) * (pixel[c] - mean[c]);
    return sum;
  }

  void learn(const double* pixel, double rho) {
    for (int c = 0; c < channels; ++c) {
      const double d = pixel[c] - mean[c];
      mean[c] = fused(d, rho, mean[c]);
      variance[c] = fused(fused(d, d, -variance[c]), rho, variance[c]);
    }
  }

  void start(const double* pixel, int32_t count, double share, double newVariance) {
    sampleCount = count;
    weight = share;
    for (int c = 0; c < channels; ++c) {
      variance[c] = newVariance;
      mean[c] = pixel[c];
    }
  }

  // The place in the order: the share of the mixture against the deviation.
  double key() const { return sampleCount > 0 ? weight / std::sqrt(totalVariance()) : 0.0; }
};

template <int channels>
struct Mixture {
  Component<channels> components[componentCount];
};

}  // namespace
}  // namespace nuv

// `records` is a block of mixtures, one for each pixel, row by row.
struct NuviForegroundGaussianState {
  uint8_t* backgroundImage;
  int32_t backgroundStep;
  uint8_t* foregroundImage;
  int32_t foregroundStep;
  int32_t windowLength;
  double backgroundRatio;
  double matchDeviations;
  double initialVariance;
  void* records;
  int32_t frameCounter;
};

namespace nuv {
namespace {

using State = NuviForegroundGaussianState;

// What a call learns by: the count of frames, or, in one call, a window.
template <int channels>
class Learner {
 public:
  explicit Learner(const State& state)
      : byWindow_(state.frameCounter == state.windowLength),
        windowLength_(state.windowLength),
        backgroundRatio_(state.backgroundRatio),
        matchFactor_(state.matchDeviations * state.matchDeviations),
        initialVariance_(state.initialVariance) {}

  // Learns one pixel. Whether it is foreground.
  bool take(Component<channels>* components, const double* pixel) const {
    int32_t match = 0;
    while (match < componentCount && !(matchFactor_ * components[match].totalVariance() >
                                       components[match].squaredDistance(pixel))) {
      ++match;
    }
    const bool isMatched = match < componentCount;
    int32_t used = 1;
    while (used < componentCount && !components[used].isUnused()) ++used;
    if (isMatched) used = std::max(used, match + 1);

    if (byWindow_) {
      learnByWindow(components, used, match, pixel);
    } else {
      learnByCount(components, used, match, pixel);
    }
    if (!isMatched) {
      replaceLast(components, pixel);
      used = componentCount;
    }
    if (used > 1) order(components, used);
    return !isMatched || !isBackground(components, match);
  }

 private:
  static int32_t totalCount(const Component<channels>* components, int32_t used) {
    uint32_t total = 0;
    for (int32_t i = 0; i < used; ++i) total += static_cast<uint32_t>(components[i].sampleCount);
    return static_cast<int32_t>(total);
  }

  static void learnByCount(Component<channels>* components, int32_t used, int32_t match,
                           const double* pixel) {
    const double rate = 1.0 / (1.0 + totalCount(components, used));
    for (int32_t i = 0; i < used; ++i) {
      Component<channels>& component = components[i];
      const double matched = i == match ? 1.0 : 0.0;
      component.weight = fused(rate, matched - component.weight, component.weight);
      if (i == match) {
        ++component.sampleCount;
        component.learn(pixel, 1.0 / component.sampleCount);
      }
    }
  }

  void learnByWindow(Component<channels>* components, int32_t used, int32_t match,
                     const double* pixel) const {
    const double rate = 1.0 / windowLength_;
    for (int32_t i = 0; i < used; ++i) {
      Component<channels>& component = components[i];
      const double matched = i == match ? 1.0 : 0.0;
      component.weight = fused(rate, matched - component.weight, component.weight);
      if (i == match) component.learn(pixel, 1.0 / (windowLength_ * component.weight));
    }
  }

  void replaceLast(Component<channels>* components, const double* pixel) const {
    Component<channels>& last = components[componentCount - 1];
    last.start(pixel, 1, last.weight, initialVariance_);
    const double total = totalCount(components, componentCount);
    for (int32_t i = 0; i < componentCount; ++i) {
      double& weight = components[i].weight;
      if (!byWindow_) {
        weight = components[i].sampleCount / total;
      } else if (i == componentCount - 1) {
        weight = 1.0 / total;
      } else {
        weight *= 1.0 - 1.0 / windowLength_;
      }
    }
  }

  // Descending keys; a component passes another only by a strictly greater one.
  static void order(Component<channels>* components, int32_t used) {
    double keys[componentCount];
    for (int32_t i = 0; i < used; ++i) keys[i] = components[i].key();
    for (int32_t i = 1; i < used; ++i) {
      int32_t place = i;
      while (place > 0 && keys[i] > keys[place - 1]) --place;
      if (place < i) {
        std::rotate(keys + place, keys + i, keys + i + 1);
        std::rotate(components + place, components + i, components + i + 1);
      }
    }
  }

  // The flag of a match stays at its place while the components move.
  bool isBackground(const Component<channels>* components, int32_t match) const {
    double share = 0.0;
    for (int32_t i = 0; i < match; ++i) {
      share += components[i].weight;
      if (share > backgroundRatio_) return false;
    }
    return true;
  }

  bool byWindow_;
  double windowLength_;
  double backgroundRatio_;
  double matchFactor_;
  double initialVariance_;
};

NuvStatus freeModel(State* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  ownFree(pState->records);
  ownFree(pState->backgroundImage);
  ownFree(pState->foregroundImage);
  ownFree(pState);
  return nuvStatusOk;
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

  const int64_t pixels = int64_t{roiSize.width} * roiSize.height;
  OwnedBlock<State> state(1);
  OwnedBlock<uint8_t> background(pixels * channels), foreground(pixels);
  OwnedBlock<Mixture<channels>> records(pixels);
  if (state.get() == nullptr || background.get() == nullptr || foreground.get() == nullptr ||
      records.get() == nullptr) {
    return nuvStatusNoMemory;
  }

  const Image<const uint8_t> src(pSrc, srcStep);
  Mixture<channels>* mixture = records.get();
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t* value = src.row(y);
    for (int32_t x = 0; x < roiSize.width; ++x, value += channels, ++mixture) {
      constexpr double zeros[channels] = {};
      double pixel[channels];
      std::copy(value, value + channels, pixel);
      mixture->components[0].start(pixel, 1, 1.0, firstVariance);
      for (int32_t i = 1; i < componentCount; ++i) {
        mixture->components[i].start(zeros, 0, 0.0, firstVariance);
      }
    }
  }
  *state.get() = {background.release(),
                  roiSize.width * channels,
                  foreground.release(),
                  roiSize.width,
                  200,    // windowLength
                  0.7,    // backgroundRatio
                  2.5,    // matchDeviations
                  900.0,  // initialVariance
                  records.release(),
                  0};
  *ppState = state.release();
  return nuvStatusOk;
}

template <int channels>
NuvStatus takeFrame(const uint8_t* pSrc, int32_t srcStep, uint8_t* pRef, int32_t refStep,
                    uint8_t* pDst, int32_t dstStep, NuviSize roiSize, State* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pRef, pDst, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  ++pState->frameCounter;
  const Learner<channels> learner(*pState);
  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> background(pState->backgroundImage, pState->backgroundStep);
  const Image<uint8_t> foreground(pState->foregroundImage, pState->foregroundStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t* value = src.row(y);
    uint8_t* mean = background.row(y);
    auto* mixture =
        static_cast<Mixture<channels>*>(pState->records) + int64_t{y} * pState->foregroundStep;
    for (int32_t x = 0; x < roiSize.width; ++x, value += channels, mean += channels, ++mixture) {
      double pixel[channels];
      std::copy(value, value + channels, pixel);
      foreground.row(y)[x] = learner.take(mixture->components, pixel) ? 255 : 0;
      for (int c = 0; c < channels; ++c) {
        mean[c] = static_cast<uint8_t>(static_cast<int32_t>(0.5 + mixture->components[0].mean[c]));
      }
    }
  }
  const Image<uint8_t> ref(pRef, refStep), dst(pDst, dstStep);
  const auto row = static_cast<size_t>(roiSize.width);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    std::memcpy(dst.row(y), foreground.row(y), row);
    std::memcpy(ref.row(y), background.row(y), row * channels);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_GAUSSIAN_MODEL(channels)                                                            \
  NuvStatus nuviForegroundGaussianInitAlloc_8u_C##channels##R(                                  \
      const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, const void* pModel,               \
      NuviForegroundGaussianState** ppState) {                                                  \
    return makeModel<channels>(pSrc, srcStep, roiSize, pModel, ppState);                        \
  }                                                                                             \
  NuvStatus nuviForegroundGaussian_8u_C##channels##R(                                           \
      const uint8_t* pSrc, int32_t srcStep, uint8_t* pRef, int32_t refStep, uint8_t* pDst,      \
      int32_t dstStep, NuviSize roiSize, NuviForegroundGaussianState* pState) {                 \
    return takeFrame<channels>(pSrc, srcStep, pRef, refStep, pDst, dstStep, roiSize, pState);   \
  }                                                                                             \
  NuvStatus nuviForegroundGaussianFree_8u_C##channels##R(NuviForegroundGaussianState* pState) { \
    return freeModel(pState);                                                                   \
  }
NUV_GAUSSIAN_MODEL(1)
NUV_GAUSSIAN_MODEL(3)
#undef NUV_GAUSSIAN_MODEL

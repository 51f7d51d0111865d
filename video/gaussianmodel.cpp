// A mixture of Gaussians for each pixel of a still scene, which learns the background of a video
// and tells what moves before it (C. Stauffer and W. E. L. Grimson, "Adaptive background mixture
// models for real-time tracking", CVPR 1999).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/numeric.h"
#include "nuvcv/video.h"

struct NuviForegroundGaussianState {
  uint8_t* backgroundImage;
  int32_t backgroundStep;
  uint8_t* foregroundImage;
  int32_t foregroundStep;
  int32_t windowLength;
  double backgroundRatio;
  double matchDeviations;
  double initialVariance;
  void* pixelTable;    // the components of all mixtures
  uint8_t* usedTable;  // how many of a pixel's components are in use
  int32_t frameCounter;
};

namespace nuv {
namespace {

constexpr int32_t componentCount = 5;
constexpr double firstVariance = 12.5;  // of every component at the start

template <int channels>
struct Pixel {
  uint8_t value[channels];
};

template <int channels>
struct Component {
  int32_t sampleCount;
  double weight;
  double variance[channels];
  double mean[channels];
};

// The memory for one pixel.
template <int channels>
struct Record {
  Component<channels> components[componentCount];
};

// The components of one pixel, in the order of their keys. Those behind `used` are as they were at
// the start, without samples or weight; what is stored there has no meaning.
//
// In memory the first components of a row's pixels stand side by side, then their second ones, and
// so on: most pixels of a still scene use one or two, and the others cost no time.
template <int channels>
struct Mixture {
  Component<channels>* first;
  ptrdiff_t stride;
  int32_t used;

  Component<channels>& operator[](int32_t i) const { return first[i * stride]; }

  // Brings `used` up to `count`.
  void use(int32_t count) {
    for (; used < count; ++used) {
      Component<channels>& component = (*this)[used];
      component.sampleCount = 0;
      component.weight = 0.0;
      std::fill_n(component.variance, channels, firstVariance);
      std::fill_n(component.mean, channels, 0.0);
    }
  }

  // Takes components that are as at the start off the end.
  void trim() {
    while (used > 0 && isUntouched((*this)[used - 1])) --used;
  }

  static bool isUntouched(const Component<channels>& component) {
    bool untouched = component.sampleCount == 0 && component.weight == 0.0;
    for (const double variance : component.variance) untouched &= variance == firstVariance;
    for (const double mean : component.mean) untouched &= mean == 0.0;
    return untouched;
  }

  int32_t samples() const {
    int32_t sum = 0;
    for (int32_t i = 0; i < used; ++i) sum += (*this)[i].sampleCount;
    return sum;
  }
};

// The sum over the channels, from the first one on.
template <int channels>
double sumOf(const double (&values)[channels]) {
  double sum = values[0];
  for (int c = 1; c < channels; ++c) sum += values[c];
  return sum;
}

// Whether x is strictly nearer to the mean than so many deviations.
template <int channels>
bool isNear(const Component<channels>& component, const double (&x)[channels],
            double squaredDeviations) {
  double squares[channels];
  for (int c = 0; c < channels; ++c) {
    const double distance = x[c] - component.mean[c];
    squares[c] = distance * distance;
  }
  return squaredDeviations * sumOf(component.variance) > sumOf(squares);
}

// Moves mean and variance toward x by the share `rho`.
template <int channels>
void learn(Component<channels>& component, const double (&x)[channels], double rho) {
  for (int c = 0; c < channels; ++c) {
    const double d = x[c] - component.mean[c];
    component.mean[c] = fused(d, rho, component.mean[c]);
    component.variance[c] = fused(fused(d, d, -component.variance[c]), rho, component.variance[c]);
  }
}

// The steps of one pixel in one frame.
template <int channels>
class Learner {
 public:
  explicit Learner(const NuviForegroundGaussianState& state)
      : windowLength_(state.windowLength),
        inWindow_(state.frameCounter == state.windowLength),
        squaredDeviations_(state.matchDeviations * state.matchDeviations),
        backgroundRatio_(state.backgroundRatio),
        initialVariance_(state.initialVariance) {}

  // Brings the mixture up to date with x, and returns whether x is foreground.
  bool operator()(Mixture<channels>& mixture, const double (&x)[channels]) const {
    const int32_t match = findMatch(mixture, x);
    if (match >= mixture.used) mixture.use(match + 1);
    if (inWindow_) {
      learnInWindow(mixture, match, x);
    } else {
      learnByCount(mixture, match, x);
    }
    if (match < 0) replaceLast(mixture, x);
    if (mixture.used > 1) order(mixture);
    if (match < 0) mixture.trim();
    return isForeground(mixture, match);
  }

 private:
  // The first component near x, or -1. The components not yet used are all alike.
  int32_t findMatch(const Mixture<channels>& mixture, const double (&x)[channels]) const {
    for (int32_t i = 0; i < mixture.used; ++i) {
      if (isNear(mixture[i], x, squaredDeviations_)) return i;
    }
    if (mixture.used == componentCount) return -1;
    Component<channels> unused = {};
    for (double& variance : unused.variance) variance = firstVariance;
    return isNear(unused, x, squaredDeviations_) ? mixture.used : -1;
  }

  void learnByCount(Mixture<channels>& mixture, int32_t match, const double (&x)[channels]) const {
    const double a = 1.0 / (1 + mixture.samples());
    for (int32_t i = 0; i < mixture.used; ++i) shiftWeight(mixture[i], a, i == match);
    if (match < 0) return;
    learn(mixture[match], x, 1.0 / ++mixture[match].sampleCount);
  }

  void learnInWindow(Mixture<channels>& mixture, int32_t match, const double (&x)[channels]) const {
    const double a = 1.0 / windowLength_;
    for (int32_t i = 0; i < mixture.used; ++i) shiftWeight(mixture[i], a, i == match);
    if (match < 0) return;
    learn(mixture[match], x, 1.0 / (windowLength_ * mixture[match].weight));
  }

  static void shiftWeight(Component<channels>& component, double a, bool matched) {
    component.weight = fused(a, (matched ? 1.0 : 0.0) - component.weight, component.weight);
  }

  void replaceLast(Mixture<channels>& mixture, const double (&x)[channels]) const {
    mixture.use(componentCount);
    constexpr int32_t last = componentCount - 1;
    mixture[last].sampleCount = 1;
    std::fill_n(mixture[last].variance, channels, initialVariance_);
    std::copy_n(x, channels, mixture[last].mean);

    const double samples = mixture.samples();
    for (int32_t i = 0; i < componentCount; ++i) {
      double& weight = mixture[i].weight;
      if (!inWindow_) {
        weight = mixture[i].sampleCount / samples;
      } else if (i == last) {
        weight = 1.0 / samples;
      } else {
        weight *= 1.0 - 1.0 / windowLength_;
      }
    }
  }

  // An insertion sort by descending key: equal keys keep their order, and so does a key that is
  // not a number.
  static void order(Mixture<channels>& mixture) {
    double keys[componentCount];
    for (int32_t i = 0; i < mixture.used; ++i) {
      const double key = keyOf(mixture[i]);
      int32_t place = i;
      while (place > 0 && key > keys[place - 1]) --place;
      if (place < i) {
        const Component<channels> moved = mixture[i];
        for (int32_t j = i; j > place; --j) {
          keys[j] = keys[j - 1];
          mixture[j] = mixture[j - 1];
        }
        mixture[place] = moved;
      }
      keys[place] = key;
    }
  }

  static double keyOf(const Component<channels>& component) {
    if (component.sampleCount <= 0) return 0.0;
    return component.weight / std::sqrt(sumOf(component.variance));
  }

  // Whether the place of the match, which the ordering leaves where it was, comes behind those that
  // make up the background.
  bool isForeground(const Mixture<channels>& mixture, int32_t match) const {
    if (match < 0) return true;
    double sum = 0.0;
    for (int32_t i = 0; i < match; ++i) {
      sum += mixture[i].weight;
      if (sum > backgroundRatio_) return true;
    }
    return false;
  }

  int32_t windowLength_;
  bool inWindow_;
  double squaredDeviations_;
  double backgroundRatio_;
  double initialVariance_;
};

// The mixtures of a row of pixels.
template <int channels>
struct MixtureRow {
  Component<channels>* components;
  uint8_t* used;
  ptrdiff_t width;
};

template <int channels>
void foregroundRow(const Learner<channels>& learner, const Pixel<channels>* frame,
                   const MixtureRow<channels>& mixtures, Pixel<channels>* background,
                   uint8_t* foreground, ptrdiff_t width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    Mixture<channels> mixture = {mixtures.components + i, mixtures.width, mixtures.used[i]};
    double x[channels];
    for (int c = 0; c < channels; ++c) x[c] = frame[i].value[c];
    foreground[i] = learner(mixture, x) ? 255 : 0;
    mixtures.used[i] = static_cast<uint8_t>(mixture.used);
    for (int c = 0; c < channels; ++c) {
      const double raised = 0.5 + mixture[0].mean[c];
      background[i].value[c] = static_cast<uint8_t>(raised);
    }
  }
}

template <int channels>
NuvStatus initAlloc(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, const void* pModel,
                    NuviForegroundGaussianState** ppState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pModel, ppState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  const int64_t pixels = int64_t{roiSize.width} * roiSize.height;
  OwnedBlock<NuviForegroundGaussianState> block(1);
  OwnedBlock<Pixel<channels>> background(pixels);
  OwnedBlock<uint8_t> foreground(pixels);
  OwnedBlock<Record<channels>> records(pixels);
  OwnedBlock<uint8_t> used(pixels);
  if (block.get() == nullptr || background.get() == nullptr || foreground.get() == nullptr ||
      records.get() == nullptr || used.get() == nullptr) {
    return nuvStatusNoMemory;
  }

  const Image<const uint8_t> src(pSrc, srcStep);
  Component<channels>* row = records.get()->components;
  for (int32_t y = 0; y < roiSize.height; ++y, row += ptrdiff_t{roiSize.width} * componentCount) {
    const uint8_t* pixel = src.row(y);
    for (int32_t x = 0; x < roiSize.width; ++x, pixel += channels) {
      Mixture<channels> mixture = {row + x, roiSize.width, 0};
      mixture.use(1);
      mixture[0].sampleCount = 1;
      mixture[0].weight = 1.0;
      std::copy_n(pixel, channels, mixture[0].mean);
    }
  }
  std::memset(used.get(), 1, static_cast<size_t>(pixels));

  NuviForegroundGaussianState& state = *block.get();
  state.backgroundImage = background.release()->value;
  state.backgroundStep = roiSize.width * channels;
  state.foregroundImage = foreground.release();
  state.foregroundStep = roiSize.width;
  state.windowLength = 200;
  state.backgroundRatio = 0.7;
  state.matchDeviations = 2.5;
  state.initialVariance = 900.0;
  state.pixelTable = records.release();
  state.usedTable = used.release();
  state.frameCounter = 0;
  *ppState = block.release();
  return nuvStatusOk;
}

template <int channels>
NuvStatus foregroundGaussian(const uint8_t* pSrc, int32_t srcStep, uint8_t* pRef, int32_t refStep,
                             uint8_t* pDst, int32_t dstStep, NuviSize roiSize,
                             NuviForegroundGaussianState* pState) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pRef, pDst, pState)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width, channels)
                               .status();
  if (status != nuvStatusOk) return status;

  pState->frameCounter = wrappingAdd(pState->frameCounter, 1);
  const Learner<channels> learner(*pState);
  const ptrdiff_t modelWidth = pState->foregroundStep;
  auto* const components = static_cast<Component<channels>*>(pState->pixelTable);
  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> background(pState->backgroundImage, pState->backgroundStep);
  const Image<uint8_t> foreground(pState->foregroundImage, pState->foregroundStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const MixtureRow<channels> mixtures = {components + y * modelWidth * componentCount,
                                           pState->usedTable + y * modelWidth, modelWidth};
    foregroundRow(learner, reinterpret_cast<const Pixel<channels>*>(src.row(y)), mixtures,
                  reinterpret_cast<Pixel<channels>*>(background.row(y)), foreground.row(y),
                  roiSize.width);
  }

  const Image<uint8_t> ref(pRef, refStep);
  const Image<uint8_t> dst(pDst, dstStep);
  const auto pixelsOfRow = static_cast<size_t>(roiSize.width);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    std::memcpy(dst.row(y), foreground.row(y), pixelsOfRow);
  }
  for (int32_t y = 0; y < roiSize.height; ++y) {
    std::memcpy(ref.row(y), background.row(y), pixelsOfRow * channels);
  }
  return nuvStatusOk;
}

NuvStatus freeGaussian(NuviForegroundGaussianState* pState) {
  if (pState == nullptr) return nuvStatusNullPointer;
  ownFree(pState->pixelTable);
  ownFree(pState->usedTable);
  ownFree(pState->backgroundImage);
  ownFree(pState->foregroundImage);
  ownFree(pState);
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

#define NUV_FOREGROUND_GAUSSIAN(layout, channels)                                                  \
  NuvStatus nuviForegroundGaussianInitAlloc_8u_##layout(const uint8_t* pSrc, int32_t srcStep,      \
                                                        NuviSize roiSize, const void* pModel,      \
                                                        NuviForegroundGaussianState** ppState) {   \
    return nuv::initAlloc<channels>(pSrc, srcStep, roiSize, pModel, ppState);                      \
  }                                                                                                \
  NuvStatus nuviForegroundGaussian_8u_##layout(                                                    \
      const uint8_t* pSrc, int32_t srcStep, uint8_t* pRef, int32_t refStep, uint8_t* pDst,         \
      int32_t dstStep, NuviSize roiSize, NuviForegroundGaussianState* pState) {                    \
    return nuv::foregroundGaussian<channels>(pSrc, srcStep, pRef, refStep, pDst, dstStep, roiSize, \
                                             pState);                                              \
  }                                                                                                \
  NuvStatus nuviForegroundGaussianFree_8u_##layout(NuviForegroundGaussianState* pState) {          \
    return nuv::freeGaussian(pState);                                                              \
  }
NUV_FOREGROUND_GAUSSIAN(C1R, 1)
NUV_FOREGROUND_GAUSSIAN(C3R, 3)
#undef NUV_FOREGROUND_GAUSSIAN

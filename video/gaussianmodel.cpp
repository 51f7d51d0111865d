// A mixture of Gaussians for each pixel of a still scene, which learns the background of a video
// and tells what moves before it (C. Stauffer and W. E. L. Grimson, "Adaptive background mixture
// models for real-time tracking", CVPR 1999).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
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
  void* pixelTable;  // a mixture for each pixel, row after row
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
struct Gaussian {
  double weight;
  double variance[channels];
  double mean[channels];
};

// Components in the order of their keys. Those behind `used` are as they were at the start, without
// samples or weight; what is stored there has no meaning. Most pixels of a still scene use few.
template <int channels>
struct Mixture {
  int32_t used;
  int32_t sampleCount[componentCount];
  Gaussian<channels> gaussian[componentCount];

  // Brings `used` up to `count`.
  void use(int32_t count) {
    for (; used < count; ++used) {
      sampleCount[used] = 0;
      gaussian[used].weight = 0.0;
      for (double& variance : gaussian[used].variance) variance = firstVariance;
      for (double& mean : gaussian[used].mean) mean = 0.0;
    }
  }

  // Takes components that are as at the start off the end.
  void trim() {
    while (used > 0 && isUntouched(used - 1)) --used;
  }

  bool isUntouched(int32_t i) const {
    bool untouched = sampleCount[i] == 0 && gaussian[i].weight == 0.0;
    for (const double variance : gaussian[i].variance) untouched &= variance == firstVariance;
    for (const double mean : gaussian[i].mean) untouched &= mean == 0.0;
    return untouched;
  }

  int32_t samples() const {
    int32_t sum = 0;
    for (int32_t i = 0; i < used; ++i) sum += sampleCount[i];
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
bool isNear(const Gaussian<channels>& gaussian, const double (&x)[channels],
            double squaredDeviations) {
  double squares[channels];
  for (int c = 0; c < channels; ++c) {
    const double distance = x[c] - gaussian.mean[c];
    squares[c] = distance * distance;
  }
  return squaredDeviations * sumOf(gaussian.variance) > sumOf(squares);
}

// Moves mean and variance toward x by the share `rho`.
template <int channels>
void learn(Gaussian<channels>& gaussian, const double (&x)[channels], double rho) {
  for (int c = 0; c < channels; ++c) {
    const double d = x[c] - gaussian.mean[c];
    gaussian.mean[c] = fused(d, rho, gaussian.mean[c]);
    gaussian.variance[c] = fused(fused(d, d, -gaussian.variance[c]), rho, gaussian.variance[c]);
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
    order(mixture);
    if (match < 0) mixture.trim();
    return isForeground(mixture, match);
  }

 private:
  // The first component near x, or -1. The components not yet used are all alike.
  int32_t findMatch(const Mixture<channels>& mixture, const double (&x)[channels]) const {
    for (int32_t i = 0; i < mixture.used; ++i) {
      if (isNear(mixture.gaussian[i], x, squaredDeviations_)) return i;
    }
    if (mixture.used == componentCount) return -1;
    Gaussian<channels> unused = {};
    for (double& variance : unused.variance) variance = firstVariance;
    return isNear(unused, x, squaredDeviations_) ? mixture.used : -1;
  }

  void learnByCount(Mixture<channels>& mixture, int32_t match, const double (&x)[channels]) const {
    const double a = 1.0 / (1 + mixture.samples());
    for (int32_t i = 0; i < mixture.used; ++i) shiftWeight(mixture.gaussian[i], a, i == match);
    if (match < 0) return;
    learn(mixture.gaussian[match], x, 1.0 / ++mixture.sampleCount[match]);
  }

  void learnInWindow(Mixture<channels>& mixture, int32_t match, const double (&x)[channels]) const {
    const double a = 1.0 / windowLength_;
    for (int32_t i = 0; i < mixture.used; ++i) shiftWeight(mixture.gaussian[i], a, i == match);
    if (match < 0) return;
    Gaussian<channels>& gaussian = mixture.gaussian[match];
    learn(gaussian, x, 1.0 / (windowLength_ * gaussian.weight));
  }

  static void shiftWeight(Gaussian<channels>& gaussian, double a, bool matched) {
    gaussian.weight = fused(a, (matched ? 1.0 : 0.0) - gaussian.weight, gaussian.weight);
  }

  void replaceLast(Mixture<channels>& mixture, const double (&x)[channels]) const {
    mixture.use(componentCount);
    constexpr int32_t last = componentCount - 1;
    mixture.sampleCount[last] = 1;
    std::fill_n(mixture.gaussian[last].variance, channels, initialVariance_);
    std::copy_n(x, channels, mixture.gaussian[last].mean);

    const double samples = mixture.samples();
    for (int32_t i = 0; i < componentCount; ++i) {
      double& weight = mixture.gaussian[i].weight;
      if (!inWindow_) {
        weight = mixture.sampleCount[i] / samples;
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
      const int32_t sampleCount = mixture.sampleCount[i];
      const Gaussian<channels> gaussian = mixture.gaussian[i];
      const double key =
          sampleCount > 0 ? gaussian.weight / std::sqrt(sumOf(gaussian.variance)) : 0.0;
      int32_t place = i;
      for (; place > 0 && key > keys[place - 1]; --place) {
        keys[place] = keys[place - 1];
        mixture.sampleCount[place] = mixture.sampleCount[place - 1];
        mixture.gaussian[place] = mixture.gaussian[place - 1];
      }
      keys[place] = key;
      mixture.sampleCount[place] = sampleCount;
      mixture.gaussian[place] = gaussian;
    }
  }

  // Whether the place of the match, which the ordering leaves where it was, comes behind those that
  // make up the background.
  bool isForeground(const Mixture<channels>& mixture, int32_t match) const {
    if (match < 0) return true;
    double sum = 0.0;
    for (int32_t i = 0; i < match; ++i) {
      sum += mixture.gaussian[i].weight;
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

template <int channels>
void foregroundRow(const Learner<channels>& learner, const Pixel<channels>* frame,
                   Mixture<channels>* mixtures, Pixel<channels>* background, uint8_t* foreground,
                   ptrdiff_t width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    double x[channels];
    for (int c = 0; c < channels; ++c) x[c] = frame[i].value[c];
    foreground[i] = learner(mixtures[i], x) ? 255 : 0;
    for (int c = 0; c < channels; ++c) {
      background[i].value[c] = static_cast<uint8_t>(0.5 + mixtures[i].gaussian[0].mean[c]);
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
  OwnedBlock<Mixture<channels>> mixtures(pixels);
  if (block.get() == nullptr || background.get() == nullptr || foreground.get() == nullptr ||
      mixtures.get() == nullptr) {
    return nuvStatusNoMemory;
  }

  const Image<const uint8_t> src(pSrc, srcStep);
  Mixture<channels>* mixture = mixtures.get();
  for (int32_t y = 0; y < roiSize.height; ++y) {
    const uint8_t* pixel = src.row(y);
    for (int32_t x = 0; x < roiSize.width; ++x, ++mixture, pixel += channels) {
      mixture->used = 0;
      mixture->use(1);
      mixture->sampleCount[0] = 1;
      mixture->gaussian[0].weight = 1.0;
      std::copy_n(pixel, channels, mixture->gaussian[0].mean);
    }
  }

  NuviForegroundGaussianState& state = *block.get();
  state.backgroundImage = background.release()->value;
  state.backgroundStep = roiSize.width * channels;
  state.foregroundImage = foreground.release();
  state.foregroundStep = roiSize.width;
  state.windowLength = 200;
  state.backgroundRatio = 0.7;
  state.matchDeviations = 2.5;
  state.initialVariance = 900.0;
  state.pixelTable = mixtures.release();
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
  auto* const mixtures = static_cast<Mixture<channels>*>(pState->pixelTable);
  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> background(pState->backgroundImage, pState->backgroundStep);
  const Image<uint8_t> foreground(pState->foregroundImage, pState->foregroundStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    foregroundRow(learner, reinterpret_cast<const Pixel<channels>*>(src.row(y)),
                  mixtures + ptrdiff_t{y} * pState->foregroundStep,
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

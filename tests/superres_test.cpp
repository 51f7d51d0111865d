#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

// The steps of a prediction minus observation; (x, y) is the tap's place, p the pixels, c the taps.
template <class Pixels>
float residualReference(int32_t size, const Pixels& p, const float* c, float observed) {
  if (size == 2) {
    const float t = p(1, 1) * c[3];
    const float u = std::fma(p(0, 0), c[0], t);
    const float v = std::fma(p(0, 1), c[2], -observed);
    const float w = std::fma(p(1, 0), c[1], v);
    return w + u;
  }
  const float e = std::fma(p(0, 2), c[6], -observed);
  const float f = std::fma(p(1, 2), c[7], p(2, 1) * c[5]);
  const float g = std::fma(p(2, 2), c[8], e);
  const float h = std::fma(p(1, 1), c[4], p(2, 0) * c[2]);
  const float k = std::fma(p(0, 1), c[3], p(0, 0) * c[0]);
  const float m = std::fma(p(1, 0), c[1], h + k);
  return m + (g + f);
}

template <int32_t psfSize, class T>
struct Form {
  using Observed = T;
  static constexpr int32_t size = psfSize;
  static constexpr auto initAlloc = size == 2 ? nuviSRHNInitAlloc_PSF2x2 : nuviSRHNInitAlloc_PSF3x3;
  static constexpr auto free = size == 2 ? nuviSRHNFree_PSF2x2 : nuviSRHNFree_PSF3x3;
  static constexpr auto gradient =
      size == 2 ? nuviSRHNUpdateGradient_PSF2x2_32f_C1R : nuviSRHNUpdateGradient_PSF3x3_32f_C1R;
  static auto residual() {
    if constexpr (sizeof(T) == 1) {
      return size == 2 ? nuviSRHNCalcResidual_PSF2x2_8u32f_C1R
                       : nuviSRHNCalcResidual_PSF3x3_8u32f_C1R;
    } else {
      return size == 2 ? nuviSRHNCalcResidual_PSF2x2_16u32f_C1R
                       : nuviSRHNCalcResidual_PSF3x3_16u32f_C1R;
    }
  }
};

// An array of exactly its size against a page that faults.
template <class T>
class List {
 public:
  template <class Value>
  List(int32_t length, Value&& value) : block_(static_cast<size_t>(length) * sizeof(T)) {
    for (int32_t i = 0; i < length; ++i) data()[i] = static_cast<T>(value());
  }
  T* data() const { return reinterpret_cast<T*>(block_.data()); }
  T operator[](int32_t i) const { return data()[i]; }

 private:
  GuardedBlock block_;
};

// Samples at random places of an image of the given size, with phases out of `count`. A negative
// step goes upwards: the image's rows are then taken from the last one on.
template <class F>
struct Problem {
  static constexpr int32_t taps = F::size * F::size;

  Problem(NuviSize imageSize, int32_t stepBytes, int32_t len, int32_t count)
      : step(stepBytes),
        length(len),
        psf(count * taps, RandomSamples<float>(1)),
        observed(len, RandomSamples<typename F::Observed>(2)),
        phases(len, [&] { return random() % static_cast<unsigned>(count); }),
        weightIndices(len, [&] { return random(); }),
        weights(256, RandomSamples<float>(3)),
        residuals(len, RandomSamples<float>(4)),
        offsets(len, [&] {
          const auto rows = static_cast<unsigned>(imageSize.height - F::size + 1);
          const auto columns = static_cast<unsigned>(imageSize.width - F::size + 1);
          const auto y = static_cast<int32_t>(random() % rows);
          return y * (stepBytes / 4) + static_cast<int32_t>(random() % columns);
        }) {
    // The table is a copy: what becomes of the caller's does not matter.
    const List<float> source(count * taps, [i = 0, this]() mutable { return psf[i++]; });
    EXPECT_EQ(nuvStatusOk, F::initAlloc(&state, source.data(), count));
    std::fill_n(source.data(), count * taps, NAN);
  }
  ~Problem() { EXPECT_EQ(nuvStatusOk, F::free(state)); }

  void expectResiduals(const float* image) const {
    const List<float> result(length, [] { return 0; });
    ASSERT_EQ(nuvStatusOk, F::residual()(image, step, observed.data(), offsets.data(),
                                         phases.data(), result.data(), length, state));
    for (int32_t i = 0; i < length; ++i) {
      const auto pixel = [&](int32_t x, int32_t y) { return image[offsets[i] + y * step / 4 + x]; };
      ASSERT_EQ(residualReference(F::size, pixel, &psf.data()[phases[i] * taps], observed[i]),
                result[i])
          << i;
    }
  }

  void expectGradient(float* image, int32_t firstElement, int32_t elements) const {
    const std::vector<float> before(image + firstElement, image + firstElement + elements);
    ASSERT_EQ(nuvStatusOk, F::gradient(image, step, offsets.data(), phases.data(), residuals.data(),
                                       weightIndices.data(), length, weights.data(), state));
    std::vector<float> expected = before;
    for (int32_t i = 0; i < length; ++i) {
      const float w = weights[weightIndices[i]] * residuals[i];
      for (int32_t tap = 0; tap < taps; ++tap) {
        const int32_t place = offsets[i] + tap / F::size * (step / 4) + tap % F::size;
        float& pixel = expected[static_cast<size_t>(place - firstElement)];
        pixel = std::fma(w, psf[phases[i] * taps + tap], pixel);
      }
    }
    for (int32_t i = 0; i < elements; ++i) {
      ASSERT_EQ(expected[static_cast<size_t>(i)], image[firstElement + i]) << i;
    }
  }

  std::mt19937 random{5};
  int32_t step, length;
  List<float> psf;
  List<typename F::Observed> observed;
  List<uint16_t> phases;
  List<uint8_t> weightIndices;
  List<float> weights, residuals;
  List<int32_t> offsets;
  NuviSRHNState* state = nullptr;
};

template <class F>
class SuperResolution : public ::testing::Test {};
using Forms =
    ::testing::Types<Form<2, uint8_t>, Form<2, uint16_t>, Form<3, uint8_t>, Form<3, uint16_t>>;
TYPED_TEST_SUITE(SuperResolution, Forms);

// Images from a single place for a sample on; many samples on few pixels, so that their order
// shows.
TYPED_TEST(SuperResolution, MatchesReference) {
  constexpr int32_t size = TypeParam::size;
  for (const NuviSize imageSize : {NuviSize{size, size}, {size + 1, size}, {5, 9}, {64, 33}}) {
    for (const int32_t length : {1, 2, 3, 7, 8, 9, 100}) {
      for (const int32_t pad : {0, 3}) {
        TestImage<float> image(imageSize, 1, pad);
        image.fill(RandomSamples<float>(6));
        const Problem<TypeParam> down(imageSize, image.step(), length, 10);
        ASSERT_NO_FATAL_FAILURE(down.expectResiduals(image.data()));
        const int32_t rowFloats = image.step() / 4;
        const int32_t lastRow = (imageSize.height - 1) * rowFloats;
        const int32_t elements = lastRow + imageSize.width;
        ASSERT_NO_FATAL_FAILURE(down.expectGradient(image.data(), 0, elements));
        ASSERT_TRUE(image.padsUntouched());

        image.fill(RandomSamples<float>(7));
        const Problem<TypeParam> up(imageSize, -image.step(), length, 10);
        ASSERT_NO_FATAL_FAILURE(up.expectResiduals(image.data() + lastRow));
        ASSERT_NO_FATAL_FAILURE(up.expectGradient(image.data() + lastRow, -lastRow, elements));
        ASSERT_TRUE(image.padsUntouched());
      }
    }
  }
}

// The widest indices, and a step so short that the rows of a sample overlap.
TYPED_TEST(SuperResolution, UnsignedIndicesAndOverlappingRows) {
  const Problem<TypeParam> problem({50, 1 + TypeParam::size}, -4, 300, 65536);
  TestImage<float> image({60, 1});
  image.fill(RandomSamples<float>(8));
  ASSERT_NO_FATAL_FAILURE(problem.expectResiduals(image.data() + 5));
  ASSERT_NO_FATAL_FAILURE(problem.expectGradient(image.data() + 5, -5, 60));
}

// The gradient is the adjoint of the prediction: <predict(image), r> = <image, spread(r)>.
TYPED_TEST(SuperResolution, GradientIsTheAdjointOfThePrediction) {
  constexpr int32_t size = TypeParam::size;
  const NuviSize imageSize = {40, 30};
  std::mt19937 random(9);
  const auto unit = [&] { return static_cast<float>(random() % 2001) / 1000 - 1; };
  TestImage<float> image(imageSize), gradient(imageSize);
  image.fill(unit);
  gradient.fill([] { return 0; });
  const Problem<TypeParam> places(imageSize, image.step(), 500, 4);
  const List<float> psf(4 * size * size, unit), residuals(500, unit), ones(256, [] { return 1; });
  const List<typename TypeParam::Observed> black(500, [] { return 0; });
  const List<float> predicted(500, unit);
  NuviSRHNState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, TypeParam::initAlloc(&state, psf.data(), 4));
  ASSERT_EQ(nuvStatusOk,
            TypeParam::residual()(image.data(), image.step(), black.data(), places.offsets.data(),
                                  places.phases.data(), predicted.data(), 500, state));
  ASSERT_EQ(nuvStatusOk,
            TypeParam::gradient(gradient.data(), gradient.step(), places.offsets.data(),
                                places.phases.data(), residuals.data(), places.weightIndices.data(),
                                500, ones.data(), state));
  ASSERT_EQ(nuvStatusOk, TypeParam::free(state));
  double left = 0, right = 0;
  for (int32_t i = 0; i < 500; ++i) left += double{predicted[i]} * residuals[i];
  for (int32_t y = 0; y < imageSize.height; ++y) {
    for (int32_t x = 0; x < imageSize.width; ++x)
      right += double{image.at(x, y)} * gradient.at(x, y);
  }
  EXPECT_NEAR(left, right, 1e-4);
  EXPECT_GT(std::fabs(left), 0.01);
}

TYPED_TEST(SuperResolution, ChecksInOrderAndNothingWritten) {
  constexpr int32_t size = TypeParam::size;
  constexpr int32_t least = 4 * size;
  float psf[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, image[16] = {}, result[2] = {}, weights[1] = {1};
  const typename TypeParam::Observed observed[2] = {7, 7};
  const int32_t offsets[2] = {};
  const uint16_t phases[2] = {};
  const uint8_t weightIndices[2] = {};
  NuviSRHNState* state = nullptr;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::initAlloc(nullptr, psf, 0));
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::initAlloc(&state, nullptr, 1));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::initAlloc(&state, psf, 0));
  EXPECT_EQ(nuvStatusNoMemory, TypeParam::initAlloc(&state, psf, INT32_MAX));
  EXPECT_EQ(nullptr, state);
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::free(nullptr));
  ASSERT_EQ(nuvStatusOk, TypeParam::initAlloc(&state, psf, 1));

  const auto residual = TypeParam::residual();
  const int32_t bad = least - 4;
  EXPECT_EQ(nuvStatusNullPointer,
            residual(nullptr, bad, observed, offsets, phases, result, 0, state));
  EXPECT_EQ(nuvStatusNullPointer, residual(image, bad, nullptr, offsets, phases, result, 0, state));
  EXPECT_EQ(nuvStatusNullPointer,
            residual(image, bad, observed, nullptr, phases, result, 0, state));
  EXPECT_EQ(nuvStatusNullPointer,
            residual(image, bad, observed, offsets, nullptr, result, 0, state));
  EXPECT_EQ(nuvStatusNullPointer,
            residual(image, bad, observed, offsets, phases, nullptr, 0, state));
  EXPECT_EQ(nuvStatusNullPointer,
            residual(image, bad, observed, offsets, phases, result, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, residual(image, bad, observed, offsets, phases, result, 0, state));

  const auto gradient = [&](float* pGrad, const int32_t* pOfs, const uint16_t* pCoeffIdx,
                            const float* pResidual, const uint8_t* pWeightIdx,
                            const float* pWeights, const NuviSRHNState* pState) {
    return TypeParam::gradient(pGrad, bad, pOfs, pCoeffIdx, pResidual, pWeightIdx, 0, pWeights,
                               pState);
  };
  const auto* const indices = weightIndices;
  EXPECT_EQ(nuvStatusNullPointer, gradient(nullptr, offsets, phases, psf, indices, weights, state));
  EXPECT_EQ(nuvStatusNullPointer, gradient(image, nullptr, phases, psf, indices, weights, state));
  EXPECT_EQ(nuvStatusNullPointer, gradient(image, offsets, nullptr, psf, indices, weights, state));
  EXPECT_EQ(nuvStatusNullPointer,
            gradient(image, offsets, phases, nullptr, indices, weights, state));
  EXPECT_EQ(nuvStatusNullPointer, gradient(image, offsets, phases, psf, nullptr, weights, state));
  EXPECT_EQ(nuvStatusNullPointer, gradient(image, offsets, phases, psf, indices, nullptr, state));
  EXPECT_EQ(nuvStatusNullPointer, gradient(image, offsets, phases, psf, indices, weights, nullptr));
  EXPECT_EQ(nuvStatusBadSize, gradient(image, offsets, phases, psf, indices, weights, state));

  for (const int32_t step : {0, 4, least - 4, least - 1, least + 1, least + 2, -3}) {
    EXPECT_EQ(nuvStatusBadStep, residual(image, step, observed, offsets, phases, result, 2, state));
    EXPECT_EQ(nuvStatusBadStep,
              TypeParam::gradient(image, step, offsets, phases, psf, indices, 2, weights, state));
  }
  for (const float value : image) EXPECT_EQ(0, value);
  for (const float value : result) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, residual(image, least, observed, offsets, phases, result, 1, state));
  EXPECT_EQ(-7, result[0]);
  EXPECT_EQ(nuvStatusOk, TypeParam::free(state));
}

}  // namespace

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

template <int32_t psfSize, class T, auto calcResidual>
struct Form {
  using Observed = T;
  static constexpr int32_t size = psfSize, taps = size * size;
  static constexpr bool isSmall = size == 2;
  static constexpr auto initAlloc = isSmall ? nuviSRHNInitAlloc_PSF2x2 : nuviSRHNInitAlloc_PSF3x3;
  static constexpr auto free = isSmall ? nuviSRHNFree_PSF2x2 : nuviSRHNFree_PSF3x3;
  static constexpr auto residual = calcResidual;
  static constexpr auto gradient =
      isSmall ? nuviSRHNUpdateGradient_PSF2x2_32f_C1R : nuviSRHNUpdateGradient_PSF3x3_32f_C1R;
};
template <class F>
class SuperResolution : public ::testing::Test {};
using Forms = ::testing::Types<Form<2, uint8_t, nuviSRHNCalcResidual_PSF2x2_8u32f_C1R>,
                               Form<2, uint16_t, nuviSRHNCalcResidual_PSF2x2_16u32f_C1R>,
                               Form<3, uint8_t, nuviSRHNCalcResidual_PSF3x3_8u32f_C1R>,
                               Form<3, uint16_t, nuviSRHNCalcResidual_PSF3x3_16u32f_C1R>>;
TYPED_TEST_SUITE(SuperResolution, Forms);

// An array of exactly its size against a page that faults.
template <class T>
struct List : TestImage<T> {
  template <class Value>
  List(int32_t length, Value&& value) : TestImage<T>({length, 1}) {
    this->fill(value);
  }
  T operator[](int32_t i) const { return this->at(i, 0); }
};

// `length` samples at random ones of `places`, with phases out of `count`. The step is the image's
// or another; place (0, 0) lies `origin` elements behind the image's first.
template <class F>
void expectReference(TestImage<float>& image, NuviSize places, int32_t origin, int32_t step,
                     int32_t length, int32_t count) {
  std::mt19937 random(5);
  const auto below = [&](int32_t bound) {
    return static_cast<int32_t>(random() % static_cast<unsigned>(bound));
  };
  const List<float> psf(count * F::taps, RandomSamples<float>(1));
  const List<typename F::Observed> observed(length, RandomSamples<typename F::Observed>(2));
  const List<uint16_t> phases(length, [&] { return below(count); });
  const List<uint8_t> weightIndices(length, [&] { return below(256); });
  const List<float> weights(256, RandomSamples<float>(3));
  const List<float> residuals(length, RandomSamples<float>(4));
  const List<int32_t> offsets(
      length, [&] { return below(places.height) * (step / 4) + below(places.width); });
  NuviSRHNState* state = nullptr;
  {
    const List<float> copy(count * F::taps, RandomSamples<float>(1));
    ASSERT_EQ(nuvStatusOk, F::initAlloc(&state, copy.data(), count));
  }
  float* const first = image.fill(RandomSamples<float>(6)).data() + origin;
  std::vector<float> expected(image.data(), &image.at(image.size().width, image.size().height - 1));
  const auto pixel = [&](int32_t i, int32_t x, int32_t y) -> float& {
    return expected[static_cast<size_t>(origin + offsets[i] + y * (step / 4) + x)];
  };

  const List<float> result(length, [] { return 0; });
  ASSERT_EQ(nuvStatusOk, F::residual(first, step, observed.data(), offsets.data(), phases.data(),
                                     result.data(), length, state));
  for (int32_t i = 0; i < length; ++i) {
    ASSERT_EQ(residualReference(
                  F::size, [&](int32_t x, int32_t y) { return pixel(i, x, y); },
                  &psf.data()[phases[i] * F::taps], observed[i]),
              result[i])
        << i;
  }

  ASSERT_EQ(nuvStatusOk, F::gradient(first, step, offsets.data(), phases.data(), residuals.data(),
                                     weightIndices.data(), length, weights.data(), state));
  for (int32_t i = 0; i < length; ++i) {
    const float w = weights[weightIndices[i]] * residuals[i];
    for (int32_t tap = 0; tap < F::taps; ++tap) {
      float& value = pixel(i, tap % F::size, tap / F::size);
      value = std::fma(w, psf[phases[i] * F::taps + tap], value);
    }
  }
  ASSERT_EQ(0, std::memcmp(expected.data(), image.data(), expected.size() * sizeof(float)));
  ASSERT_EQ(nuvStatusOk, F::free(state));
}

// Images from a single place for a sample on, down and up; many samples on few pixels, so that
// their order shows; the widest indices, and a step so short that the rows of a sample overlap.
TYPED_TEST(SuperResolution, MatchesReference) {
  constexpr int32_t size = TypeParam::size;
  for (const NuviSize imageSize : {NuviSize{size, size}, {size + 1, size}, {5, 9}, {64, 33}}) {
    const NuviSize places = {imageSize.width - size + 1, imageSize.height - size + 1};
    for (const int32_t length : {1, 2, 3, 7, 8, 9, 100}) {
      for (const int32_t pad : {0, 3}) {
        TestImage<float> image(imageSize, 1, pad);
        const int32_t lastRow = (imageSize.height - 1) * image.step() / 4;
        expectReference<TypeParam>(image, places, 0, image.step(), length, 10);
        expectReference<TypeParam>(image, places, lastRow, -image.step(), length, 10);
      }
    }
  }
  TestImage<float> line({60, 1});
  expectReference<TypeParam>(line, {48, 2}, 5, -4, 300, 65536);
}

TYPED_TEST(SuperResolution, ChecksInOrderAndNothingWritten) {
  constexpr int32_t least = 4 * TypeParam::size;
  float psf[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, image[16] = {}, result = 0, weight = 1;
  const typename TypeParam::Observed observed = 7;
  const int32_t offset = 0;
  const uint16_t phase = 0;
  const uint8_t weightIndex = 0;
  NuviSRHNState* state = nullptr;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::initAlloc(nullptr, psf, 0));
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::initAlloc(&state, nullptr, 1));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::initAlloc(&state, psf, 0));
  EXPECT_EQ(nuvStatusNoMemory, TypeParam::initAlloc(&state, psf, INT32_MAX));
  EXPECT_EQ(nullptr, state);
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::free(nullptr));
  ASSERT_EQ(nuvStatusOk, TypeParam::initAlloc(&state, psf, 1));

  // Argument `absent` null, if there is one of that number.
  const auto expect = [&](NuvStatus status, int32_t step, int32_t length, int absent) {
    const auto given = [&](int number, auto* pointer) {
      return number == absent ? nullptr : pointer;
    };
    EXPECT_EQ(status,
              TypeParam::residual(given(0, image), step, given(1, &observed), given(2, &offset),
                                  given(3, &phase), given(4, &result), length, given(5, state)));
    if (absent == 1) return;
    EXPECT_EQ(status,
              TypeParam::gradient(given(0, image), step, given(2, &offset), given(3, &phase),
                                  given(4, psf), &weightIndex, length, &weight, given(5, state)));
  };
  for (int absent = 0; absent < 6; ++absent) expect(nuvStatusNullPointer, least - 4, 0, absent);
  expect(nuvStatusBadSize, least - 4, 0, -1);
  for (const int32_t step : {0, 4, least - 4, least - 1, least + 1, least + 2, -3}) {
    expect(nuvStatusBadStep, step, 1, -1);
  }
  const auto gradient = TypeParam::gradient;
  EXPECT_EQ(nuvStatusNullPointer,
            gradient(image, least, &offset, &phase, psf, nullptr, 1, &weight, state));
  EXPECT_EQ(nuvStatusNullPointer,
            gradient(image, least, &offset, &phase, psf, &weightIndex, 1, nullptr, state));
  for (const float value : image) EXPECT_EQ(0, value);
  EXPECT_EQ(0, result);
  EXPECT_EQ(nuvStatusOk, TypeParam::free(state));
}

}  // namespace

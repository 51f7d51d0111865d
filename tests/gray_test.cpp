#include <gtest/gtest.h>

#include <cmath>

#include "support/morphology.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
template <>
struct Forms<uint8_t> {
  using Weight = int32_t;
  static constexpr auto getSize = nuviMorphGrayGetSize_8u_C1R;
  static constexpr auto init = nuviMorphGrayInit_8u_C1R;
  static constexpr auto initAlloc = nuviMorphGrayInitAlloc_8u_C1R;
  static constexpr auto release = nuviMorphGrayFree_8u_C1R;
  static constexpr auto dilate = nuviGrayDilateBorder_8u_C1R;
  static constexpr auto erode = nuviGrayErodeBorder_8u_C1R;
};
template <>
struct Forms<float> {
  using Weight = float;
  static constexpr auto getSize = nuviMorphGrayGetSize_32f_C1R;
  static constexpr auto init = nuviMorphGrayInit_32f_C1R;
  static constexpr auto initAlloc = nuviMorphGrayInitAlloc_32f_C1R;
  static constexpr auto release = nuviMorphGrayFree_32f_C1R;
  static constexpr auto dilate = nuviGrayDilateBorder_32f_C1R;
  static constexpr auto erode = nuviGrayErodeBorder_32f_C1R;
};

template <class T>
class Gray : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, float>;
TYPED_TEST_SUITE(Gray, Elements);

// Sums in 64 bits, or in float, that are limited at the end.
template <class T>
T reference(bool maximum, const TestImage<T>& src, int32_t x, int32_t y,
            const std::vector<typename Forms<T>::Weight>& weights, NuviSize mask,
            NuviPoint anchor) {
  using Sum = std::conditional_t<std::is_floating_point_v<T>, float, int64_t>;
  const NuviSize size = src.size();
  Sum extreme = 0;
  for (int32_t j = 0; j < mask.height; ++j) {
    for (int32_t i = 0; i < mask.width; ++i) {
      const Sum pixel = src.at(std::clamp(x + i - anchor.x, 0, size.width - 1),
                               std::clamp(y + j - anchor.y, 0, size.height - 1));
      const Sum sum = pixel + static_cast<Sum>(weights[static_cast<size_t>(j * mask.width + i)]);
      if ((i == 0 && j == 0) || (maximum ? sum > extreme : sum < extreme)) extreme = sum;
    }
  }
  if constexpr (!std::is_floating_point_v<T>) extreme = std::clamp<int64_t>(extreme, 0, 255);
  return static_cast<T>(extreme);
}

// Weights of mixed signs within -range..range, some of them 0.
template <class Weight>
std::vector<Weight> randomWeights(NuviSize mask, int32_t range, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Weight> weights(static_cast<size_t>(mask.width * mask.height));
  for (auto& weight : weights) {
    weight =
        static_cast<Weight>(static_cast<int64_t>(random() % (2u * unsigned(range) + 1)) - range);
    if (random() % 5 == 0) weight = 0;
  }
  return weights;
}

template <class T>
void expectReference(NuviSize size, const std::vector<typename Forms<T>::Weight>& weights,
                     NuviSize mask, NuviPoint anchor) {
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << ", mask " << mask.width
                                  << "x" << mask.height << " at " << anchor.x << "," << anchor.y);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, Forms<T>::getSize(size, weights.data(), mask, &bytes));
  ASSERT_EQ(28 + 4 * mask.width * mask.height, bytes);
  for (const auto against : {Against::end, Against::begin}) {
    const size_t before = against == Against::end ? 0 : 1;  // also at an odd address
    const GuardedBlock block(static_cast<size_t>(bytes) + before, against);
    auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block.data() + before);
    ASSERT_EQ(nuvStatusOk, Forms<T>::init(state, size, weights.data(), mask, anchor));
    TestImage<T> src(size, 1, 2, against), dst(size, 1, 1, against);
    src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width)));
    for (const bool maximum : {false, true}) {
      const auto operation = maximum ? Forms<T>::dilate : Forms<T>::erode;
      ASSERT_EQ(nuvStatusOk, operation(src.data(), src.step(), dst.data(), dst.step(), size,
                                       nuvBorderReplicate, state));
      for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
          ASSERT_EQ(reference(maximum, src, x, y, weights, mask, anchor), dst.at(x, y))
              << x << "," << y << (maximum ? " dilate" : " erode");
        }
      }
      ASSERT_TRUE(dst.padsUntouched());
    }
  }
}

TYPED_TEST(Gray, MatchesReference) {
  using Weight = typename Forms<TypeParam>::Weight;
  for (int32_t width = 1; width <= 68; ++width) {
    const NuviSize mask = {1 + width % 5, 1 + width % 3};
    expectReference<TypeParam>({width, 4}, randomWeights<Weight>(mask, 40, unsigned(width)), mask,
                               {width % mask.width, width % mask.height});
  }
  for (const NuviPoint anchor : {NuviPoint{0, 0}, {20, 3}, {40, 6}}) {
    const NuviSize mask = {41, 7};
    for (const int32_t range : {0, 10, 300, 1000000}) {
      const auto weights = randomWeights<Weight>(mask, range, 7);
      expectReference<TypeParam>({33, 5}, weights, mask, anchor);
      expectReference<TypeParam>({150, 9}, weights, mask, anchor);
    }
  }
}

TYPED_TEST(Gray, WeightsOfZeroAreTheFlatFilter) {
  const NuviSize size = {77, 20}, maskSize = {5, 3};
  const std::vector<typename Forms<TypeParam>::Weight> weights(15, 0);
  TestImage<TypeParam> src(size), dst(size), expected(size);
  src.fill(PeaksAndPits<TypeParam>(5));
  NuviGrayMorphologyState* state = nullptr;
  ASSERT_EQ(nuvStatusOk,
            Forms<TypeParam>::initAlloc(&state, size, weights.data(), maskSize, {4, 1}));
  referenceExtreme(false, src, 1, rectangle(5, 3), {4, 1}, expected);
  ASSERT_EQ(nuvStatusOk, Forms<TypeParam>::erode(src.data(), src.step(), dst.data(), dst.step(),
                                                 size, nuvBorderReplicate, state));
  EXPECT_EQ(expected.bytes(), dst.bytes());
  EXPECT_EQ(nuvStatusOk, Forms<TypeParam>::release(state));
  EXPECT_EQ(nuvStatusNullPointer, Forms<TypeParam>::release(nullptr));
}

TEST(GrayValues, SumsAreLimitedAndWrapAtTheEndOf32Bits) {
  const uint8_t src[40] = {0, 1, 255};
  const auto result = [&](int32_t weight, bool maximum) {
    uint8_t block[32], dst[40];
    auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block);
    EXPECT_EQ(nuvStatusOk, nuviMorphGrayInit_8u_C1R(state, {40, 1}, &weight, {1, 1}, {0, 0}));
    const auto operation = maximum ? nuviGrayDilateBorder_8u_C1R : nuviGrayErodeBorder_8u_C1R;
    EXPECT_EQ(nuvStatusOk, operation(src, 40, dst, 40, {40, 1}, nuvBorderReplicate, state));
    return std::vector<int>(dst, dst + 3);
  };
  for (const bool maximum : {false, true}) {
    EXPECT_EQ((std::vector<int>{0, 0, 0}), result(-255, maximum));
    EXPECT_EQ((std::vector<int>{0, 0, 1}), result(-254, maximum));
    EXPECT_EQ((std::vector<int>{0, 0, 0}), result(INT32_MIN, maximum));
    EXPECT_EQ((std::vector<int>{254, 255, 255}), result(254, maximum));
    EXPECT_EQ((std::vector<int>{255, 255, 255}), result(INT32_MAX - 255, maximum));
    EXPECT_EQ((std::vector<int>{255, 0, 0}), result(INT32_MAX, maximum));
  }
  // Beside a weight that never wins.
  const int32_t weights[] = {INT32_MAX, -255};
  uint8_t block[36], dst[40];
  auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block);
  ASSERT_EQ(nuvStatusOk, nuviMorphGrayInit_8u_C1R(state, {40, 1}, weights, {2, 1}, {0, 0}));
  ASSERT_EQ(nuvStatusOk,
            nuviGrayDilateBorder_8u_C1R(src, 40, dst, 40, {40, 1}, nuvBorderReplicate, state));
  EXPECT_EQ((std::vector<int>{255, 0, 0, 255}), std::vector<int>(dst, dst + 4));
}

TEST(GrayChecks, FirstFailureInOrderAndNothingWritten) {
  const float mask[9] = {};
  uint8_t block[64] = {};
  auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block);
  NuviGrayMorphologyState* unwritten = state;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphGrayGetSize_32f_C1R({0, 1}, nullptr, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphGrayGetSize_32f_C1R({0, 1}, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphGrayGetSize_32f_C1R({1, 0}, mask, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphGrayGetSize_32f_C1R({1, 1}, mask, {0, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize,
            nuviMorphGrayGetSize_32f_C1R({1, 1}, mask, {INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphGrayInit_32f_C1R(nullptr, {0, 1}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphGrayInit_32f_C1R(state, {4, 1}, mask, {3, 0}, {3, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphGrayInit_32f_C1R(state, {4, 1}, mask, {3, 3}, {1, 3}));
  for (const uint8_t byte : block) EXPECT_EQ(0, byte);
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMorphGrayInitAlloc_32f_C1R(&unwritten, {4, 1}, nullptr, {3, 3}, {3, 1}));
  EXPECT_EQ(nuvStatusBadAnchor,
            nuviMorphGrayInitAlloc_32f_C1R(&unwritten, {4, 1}, mask, {3, 3}, {-1, 1}));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphGrayInitAlloc_32f_C1R(&unwritten, {4, 1}, mask, {1 << 15, 1 << 15}, {1, 1}));
  EXPECT_EQ(state, unwritten);

  ASSERT_EQ(nuvStatusOk, nuviMorphGrayInit_32f_C1R(state, {4, 2}, mask, {3, 3}, {1, 1}));
  const float src[16] = {1};
  float dst[16] = {};
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, NuviBorderType border) {
    return nuviGrayErodeBorder_32f_C1R(src, srcStep, dst, dstStep, size, border, state);
  };
  EXPECT_EQ(nuvStatusNullPointer,
            nuviGrayDilateBorder_32f_C1R(src, 0, dst, 0, {0, 1}, nuvBorderReplicate, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(0, 16, {4, 0}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadStep, call(17, 14, {4, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(16, 17, {4, 2}, nuvBorderWrap));
  EXPECT_EQ(nuvStatusBadArgument, call(20, 20, {5, 2}, nuvBorderConstant));
  EXPECT_EQ(nuvStatusBadSize, call(20, 20, {5, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadSize, call(16, 16, {4, 3}, nuvBorderReplicate));
  for (const float value : dst) EXPECT_EQ(0, value);
}

}  // namespace

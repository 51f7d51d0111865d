#include <gtest/gtest.h>

#include "core/numeric.h"
#include "support/morphology.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define FORMS(type, T, W)                                                   \
  template <>                                                               \
  struct Forms<T> {                                                         \
    using Weight = W;                                                       \
    static constexpr auto getSize = nuviMorphGrayGetSize_##type;            \
    static constexpr auto init = nuviMorphGrayInit_##type;                  \
    static constexpr auto initAlloc = nuviMorphGrayInitAlloc_##type;        \
    static constexpr auto release = nuviMorphGrayFree_##type;               \
    static constexpr decltype(&nuviGrayErodeBorder_##type) operations[] = { \
        nuviGrayErodeBorder_##type, nuviGrayDilateBorder_##type};           \
  };
FORMS(8u_C1R, uint8_t, int32_t)
FORMS(32f_C1R, float, float)
#undef FORMS

template <class T>
class Gray : public ::testing::Test {};
using Elements = ::testing::Types<uint8_t, float>;
TYPED_TEST_SUITE(Gray, Elements);

uint8_t limited(int32_t extreme) { return static_cast<uint8_t>(std::clamp(extreme, 0, 255)); }
float limited(float extreme) { return extreme; }
int32_t sum(int32_t pixel, int32_t weight) { return nuv::wrappingAdd(pixel, weight); }
float sum(float pixel, float weight) { return pixel + weight; }

template <class T, class Weight>
void reference(bool maximum, const TestImage<T>& src, const std::vector<Weight>& weights,
               NuviSize mask, NuviPoint anchor, const TestImage<T>& result) {
  const NuviSize size = src.size();
  std::vector<Weight> sums(weights.size());
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      for (int32_t k = 0; k < mask.width * mask.height; ++k) {
        const T pixel = src.at(std::clamp(x + k % mask.width - anchor.x, 0, size.width - 1),
                               std::clamp(y + k / mask.width - anchor.y, 0, size.height - 1));
        sums[size_t(k)] = sum(pixel, weights[size_t(k)]);
      }
      const auto [least, greatest] = std::minmax_element(sums.begin(), sums.end());
      result.at(x, y) = limited(maximum ? *greatest : *least);
    }
  }
}

// With an allocated state, or with one in a block of exactly its size, at an odd address too.
template <class T, class Weight>
void expectReference(NuviSize size, const std::vector<Weight>& weights, NuviSize mask,
                     NuviPoint anchor) {
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, Forms<T>::getSize(size, weights.data(), mask, &bytes));
  ASSERT_EQ(28 + 4 * mask.width * mask.height, bytes);
  NuviGrayMorphologyState* allocated = nullptr;
  ASSERT_EQ(nuvStatusOk, Forms<T>::initAlloc(&allocated, size, weights.data(), mask, anchor));
  const int32_t odd = size.width % 2;
  const auto against = odd != 0 ? Against::begin : Against::end;
  const GuardedBlock block(static_cast<size_t>(bytes + odd), against);
  auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block.data() + odd);
  ASSERT_EQ(nuvStatusOk, Forms<T>::init(state, size, weights.data(), mask, anchor));
  TestImage<T> src(size, 1, 2, against), dst(size, 1, 1, against), expected(size);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width)));
  for (const bool maximum : {false, true}) {
    ASSERT_EQ(nuvStatusOk, Forms<T>::operations[maximum](src.data(), src.step(), dst.data(),
                                                         dst.step(), size, nuvBorderReplicate,
                                                         size.width % 4 == 0 ? allocated : state));
    reference(maximum, src, weights, mask, anchor, expected);
    ASSERT_EQ(expected.bytes(), dst.bytes())
        << (maximum ? "dilate " : "erode ") << size.width << "x" << size.height << ", mask "
        << mask.width << "x" << mask.height << " at " << anchor.x << "," << anchor.y;
    ASSERT_TRUE(dst.padsUntouched());
  }
  EXPECT_EQ(nuvStatusOk, Forms<T>::release(allocated));
}

TYPED_TEST(Gray, MatchesReference) {
  using Weight = typename Forms<TypeParam>::Weight;
  std::mt19937 random(1);
  // Of mixed signs, some of them 0.
  const auto compare = [&](NuviSize size, NuviSize mask, NuviPoint anchor, int32_t range) {
    std::vector<Weight> weights(static_cast<size_t>(mask.width * mask.height));
    for (auto& weight : weights) {
      const auto drawn = static_cast<int32_t>(random() % (2u * unsigned(range) + 1)) - range;
      weight = static_cast<Weight>(random() % 5 == 0 ? 0 : drawn);
    }
    expectReference<TypeParam>(size, weights, mask, anchor);
  };
  for (int32_t width = 1; width <= 68; ++width) {
    const NuviSize mask = {1 + width % 5, 1 + width % 3};
    compare({width, 4}, mask, {width % mask.width, width % mask.height}, 40);
  }
  for (const NuviPoint anchor : {NuviPoint{0, 0}, {20, 3}, {40, 6}}) {
    for (const int32_t range : {0, 10, 300, 1000000}) {
      compare({33, 5}, {41, 7}, anchor, range);
      compare({150, 9}, {41, 7}, anchor, range);
    }
  }
}

TEST(GrayValues, SumsAreLimitedAndWrapAtTheEndOf32Bits) {
  const int32_t last = INT32_MAX;
  for (const int32_t weight :
       {-256, -255, -254, 254, 255, INT32_MIN, last - 255, last - 254, last}) {
    expectReference<uint8_t, int32_t>({40, 5}, {weight}, {1, 1}, {0, 0});
    expectReference<uint8_t, int32_t>({40, 5}, {weight, -200}, {2, 1}, {0, 0});
  }
}

TEST(GrayChecks, FirstFailureInOrderAndNothingWritten) {
  const float mask[9] = {};
  uint8_t block[64] = {};
  auto* const state = reinterpret_cast<NuviGrayMorphologyState*>(block);
  NuviGrayMorphologyState* slot = state;
  int32_t bytes = -1;
  const auto getSize = nuviMorphGrayGetSize_32f_C1R;
  EXPECT_EQ(nuvStatusNullPointer, getSize({0, 1}, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, getSize({1, 0}, mask, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, getSize({1, 1}, mask, {0, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, getSize({1, 1}, mask, {INT32_MAX, INT32_MAX}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphGrayInit_32f_C1R(nullptr, {0, 1}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphGrayInit_32f_C1R(state, {4, 1}, mask, {3, 0}, {3, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphGrayInit_32f_C1R(state, {4, 1}, mask, {3, 3}, {3, 1}));
  const auto allocate = [&](const float* pMask, NuviSize size, NuviPoint anchor) {
    return nuviMorphGrayInitAlloc_32f_C1R(&slot, {4, 1}, pMask, size, anchor);
  };
  EXPECT_EQ(nuvStatusNullPointer, allocate(nullptr, {3, 3}, {3, 1}));
  for (const NuviPoint anchor : {NuviPoint{-1, 1}, {3, 1}, {1, -1}, {1, 3}}) {
    EXPECT_EQ(nuvStatusBadAnchor, allocate(mask, {3, 3}, anchor));
  }
  EXPECT_EQ(nuvStatusNoMemory, allocate(mask, {1 << 15, 1 << 15}, {1, 1}));
  EXPECT_EQ(state, slot);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphGrayFree_32f_C1R(nullptr));
  for (const uint8_t byte : block) EXPECT_EQ(0, byte);

  ASSERT_EQ(nuvStatusOk, nuviMorphGrayInit_32f_C1R(state, {4, 2}, mask, {3, 3}, {1, 1}));
  for (const auto operation : Forms<float>::operations) {
    const auto call = [&](const float* pSrc, int32_t srcStep, float* pDst, int32_t dstStep,
                          NuviSize size, NuviBorderType border) {
      return operation(pSrc, srcStep, pDst, dstStep, size, border, state);
    };
    expectChecksOfImages(call);
    float src[12] = {}, dst[12];
    EXPECT_EQ(nuvStatusBadSize, call(src, 16, dst, 16, {4, 3}, nuvBorderReplicate));
    EXPECT_EQ(nuvStatusNullPointer, operation(src, 0, dst, 0, {0, 1}, nuvBorderReplicate, nullptr));
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/morphology.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

enum Operation { open, close, topHat, blackHat, gradient };

template <class T>
struct Form {
  int32_t channels;
  NuvStatus (*getSize)(NuviSize, const uint8_t*, NuviSize, int32_t*);
  NuvStatus (*init)(NuviMorphCompositeState*, NuviSize, const uint8_t*, NuviSize, NuviPoint);
  NuvStatus (*initAlloc)(NuviMorphCompositeState**, NuviSize, const uint8_t*, NuviSize, NuviPoint);
  NuvStatus (*compose[5])(const T*, int32_t, T*, int32_t, NuviSize, NuviBorderType,
                          NuviMorphCompositeState*);
};

#define FORM(suffix, channels)                                                                     \
  {                                                                                                \
    channels, nuviMorphAdvGetSize_##suffix, nuviMorphAdvInit_##suffix,                             \
        nuviMorphAdvInitAlloc_##suffix, {                                                          \
      nuviMorphOpenBorder_##suffix, nuviMorphCloseBorder_##suffix, nuviMorphTophatBorder_##suffix, \
          nuviMorphBlackhatBorder_##suffix, nuviMorphGradientBorder_##suffix                       \
    }                                                                                              \
  }
const Form<uint8_t> forms8u[] = {FORM(8u_C1R, 1), FORM(8u_C3R, 3), FORM(8u_C4R, 4)};
const Form<float> forms32f[] = {FORM(32f_C1R, 1), FORM(32f_C3R, 3), FORM(32f_C4R, 4)};
#undef FORM

template <class T>
void reference(Operation operation, const TestImage<T>& src, int32_t channels, const Mask& mask,
               NuviPoint anchor, const TestImage<T>& result) {
  const NuviSize size = src.size();
  const TestImage<T> first(size, channels), second(size, channels);
  const Mask reflected = {mask.size, {mask.elements.rbegin(), mask.elements.rend()}};
  const bool opens = operation == open || operation == topHat;
  referenceExtreme(!opens, src, channels, mask, anchor, first);
  if (operation == gradient) {
    referenceExtreme(false, src, channels, mask, anchor, second);
  } else {
    referenceExtreme(opens, first, channels, reflected,
                     {mask.size.width - 1 - anchor.x, mask.size.height - 1 - anchor.y}, second);
  }
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < src.samples(); ++x) {
      const auto less = [](T a, T b) { return static_cast<T>(a > b ? a - b : 0); };
      const T s = src.at(x, y), a = first.at(x, y), b = second.at(x, y);
      result.at(x, y) = operation == topHat     ? less(s, b)
                        : operation == blackHat ? less(b, s)
                        : operation == gradient ? less(a, b)
                                                : b;
    }
  }
}

template <class T>
void expectReference(const Form<T>& form, const Mask& mask, NuviPoint anchor, NuviSize size,
                     NuviMorphCompositeState* state) {
  TestImage<T> src(size, form.channels, 1), dst(size, form.channels, 2);
  const TestImage<T> expected(size, form.channels);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width)));
  for (const Operation operation : {open, close, topHat, blackHat, gradient}) {
    reference(operation, src, form.channels, mask, anchor, expected);
    ASSERT_EQ(nuvStatusOk, form.compose[operation](src.data(), src.step(), dst.data(), dst.step(),
                                                   size, nuvBorderReplicate, state));
    ASSERT_EQ(expected.bytes(), dst.bytes())
        << operation << ", " << size.width << "x" << size.height;
    ASSERT_TRUE(dst.padsUntouched());
  }
}

// States that were allocated, and in a caller's block of exactly the reported size, at any address.
template <class T>
void expectReferenceEverywhere(const Form<T>& form) {
  for (const auto rows : {"#", "...", "###/###/###", ".../.##/.##", ".#./###/.#.", "##./#../...",
                          "#..#./....#", "..#..../.#####./#######/.#####./..#...."}) {
    SCOPED_TRACE(rows);
    const Mask mask = drawn(rows);
    for (const NuviSize size : {NuviSize{1, 3}, {33, 9}, {44, 4}, {64, 2}}) {
      const int32_t odd = size.width % 2;
      int32_t bytes = 0;
      ASSERT_EQ(nuvStatusOk, form.getSize(size, mask.elements.data(), mask.size, &bytes));
      const GuardedBlock block(static_cast<size_t>(bytes + odd),
                               odd != 0 ? Against::begin : Against::end);
      auto* const inBlock = reinterpret_cast<NuviMorphCompositeState*>(block.data() + odd);
      for (const NuviPoint anchor : {mask.centre(), NuviPoint{0, mask.size.height - 1}}) {
        const uint8_t* const elements = mask.elements.data();
        NuviMorphCompositeState* allocated = nullptr;
        ASSERT_EQ(nuvStatusOk, form.initAlloc(&allocated, size, elements, mask.size, anchor));
        ASSERT_EQ(nuvStatusOk, form.init(inBlock, size, elements, mask.size, anchor));
        for (auto* const state : {allocated, inBlock}) {
          expectReference(form, mask, anchor, size, state);
        }
        EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(allocated));
      }
    }
  }
}

TEST(Composite, MatchesReference) {
  nuvSetNumThreads(1);
  for (const auto& form : forms8u) expectReferenceEverywhere(form);
  for (const auto& form : forms32f) expectReferenceEverywhere(form);
  nuvSetNumThreads(0);
}

TEST(Composite, RegionsThatFitTheTemporaryImageAndThreads) {
  const Mask mask = drawn(".##/###/##.");
  NuviMorphCompositeState* state = nullptr;
  ASSERT_EQ(nuvStatusOk,
            nuviMorphAdvInitAlloc_8u_C1R(&state, {64, 8}, mask.elements.data(), mask.size, {1, 1}));
  withThreadCounts([&] {
    for (const NuviSize size : {NuviSize{64, 8}, {40, 8}, {32, 16}}) {
      expectReference(forms8u[0], mask, {1, 1}, size, state);
    }
  });
  uint8_t src[65 * 9] = {}, dst[65 * 9] = {7};
  for (const NuviSize size : {NuviSize{64, 7}, {65, 8}, {32, 8}, {64, 9}}) {
    EXPECT_EQ(nuvStatusBadSize,
              nuviMorphOpenBorder_8u_C1R(src, 65, dst, 65, size, nuvBorderReplicate, state));
  }
  EXPECT_EQ(7, dst[0]);
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
}

TEST(Composite, NanDifferenceIsZero) {
  const uint8_t mask = 1;
  const float src[] = {NAN, 1.0f, -0.0f};
  float dst[3];
  NuviMorphCompositeState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, nuviMorphAdvInitAlloc_32f_C1R(&state, {3, 1}, &mask, {1, 1}, {0, 0}));
  ASSERT_EQ(nuvStatusOk,
            nuviMorphTophatBorder_32f_C1R(src, 12, dst, 12, {3, 1}, nuvBorderReplicate, state));
  for (const float value : dst) EXPECT_TRUE(value == 0 && !std::signbit(value));
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
}

TEST(CompositeChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t mask[9] = {1, 0, 1};
  alignas(8) uint8_t block[4000] = {};
  auto* const state = reinterpret_cast<NuviMorphCompositeState*>(block);
  NuviMorphCompositeState* slot = state;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvGetSize_8u_C1R({0, 0}, nullptr, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvGetSize_8u_C1R({0, 1}, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvGetSize_8u_C1R({0, 1}, mask, {3, 3}, &bytes));
  const NuviSize largest = {INT32_MAX, INT32_MAX};
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvGetSize_32f_C4R(largest, mask + 3, {3, 1}, &bytes));
  EXPECT_EQ(-1, bytes);
  // Worked out by hand for two general masks.
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvGetSize_8u_C1R({50, 10}, mask, {3, 3}, &bytes));
  EXPECT_EQ(640 + 2 * (528 + 2 * 3 * 64 + 96) + 84, bytes);
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvInit_32f_C3R(nullptr, {4, 0}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvInit_32f_C3R(nullptr, {4, 2}, mask, {0, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphAdvInit_32f_C3R(state, {4, 2}, mask, {3, 3}, {3, 1}));
  for (const uint8_t byte : block) EXPECT_EQ(0, byte);
  const auto allocate = [&](NuviMorphCompositeState** ppState, NuviSize size) {
    return nuviMorphAdvInitAlloc_32f_C1R(ppState, size, mask, {3, 3}, {1, 1});
  };
  EXPECT_EQ(nuvStatusNullPointer, allocate(nullptr, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, allocate(&slot, {0, 0}));
  EXPECT_EQ(nuvStatusNoMemory, allocate(&slot, {4, 0}));
  EXPECT_EQ(state, slot);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvFree(nullptr));

  ASSERT_EQ(nuvStatusOk, allocate(&slot, {4, 2}));
  for (const auto compose : forms32f[0].compose) {
    expectChecksOfImages([&](auto... arguments) { return compose(arguments..., slot); });
    float src[8] = {}, dst[8];
    EXPECT_EQ(nuvStatusNullPointer, compose(src, 16, dst, 16, {0, 2}, nuvBorderReplicate, nullptr));
  }
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(slot));
}

}  // namespace

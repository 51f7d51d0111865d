#include <gtest/gtest.h>

#include <limits>

#include "support/morphology.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

enum class Operation { open, close, topHat, blackHat, gradient };
constexpr Operation operations[] = {Operation::open, Operation::close, Operation::topHat,
                                    Operation::blackHat, Operation::gradient};

template <class T>
struct Form {
  using Compose = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, NuviBorderType,
                                NuviMorphCompositeState*);
  int32_t channels;
  NuvStatus (*getSize)(NuviSize, const uint8_t*, NuviSize, int32_t*);
  NuvStatus (*init)(NuviMorphCompositeState*, NuviSize, const uint8_t*, NuviSize, NuviPoint);
  NuvStatus (*initAlloc)(NuviMorphCompositeState**, NuviSize, const uint8_t*, NuviSize, NuviPoint);
  Compose compose[5];
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
  const TestImage<T> other(size, channels);
  const Mask reflected = {mask.size, {mask.elements.rbegin(), mask.elements.rend()}};
  const NuviPoint reflectedAnchor = {mask.size.width - 1 - anchor.x,
                                     mask.size.height - 1 - anchor.y};
  const auto storeDifference = [&](const TestImage<T>& a, const TestImage<T>& b) {
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < src.samples(); ++x) {
        const auto difference = a.at(x, y) - b.at(x, y);
        result.at(x, y) = static_cast<T>(difference > 0 ? difference : 0);
      }
    }
  };
  const bool opens = operation == Operation::open || operation == Operation::topHat;
  if (operation == Operation::gradient) {
    referenceExtreme(true, src, channels, mask, anchor, result);
    referenceExtreme(false, src, channels, mask, anchor, other);
    storeDifference(result, other);
    return;
  }
  referenceExtreme(!opens, src, channels, mask, anchor, other);
  referenceExtreme(opens, other, channels, reflected, reflectedAnchor, result);
  if (operation == Operation::topHat) storeDifference(src, result);
  if (operation == Operation::blackHat) storeDifference(result, src);
}

template <class T>
void expectReference(const Form<T>& form, const Mask& mask, NuviPoint anchor, NuviSize size,
                     NuviMorphCompositeState* state) {
  TestImage<T> src(size, form.channels, 1), dst(size, form.channels, 2);
  const TestImage<T> expected(size, form.channels);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width)));
  for (const auto operation : operations) {
    const auto index = static_cast<int>(operation);
    SCOPED_TRACE(testing::Message()
                 << "operation " << index << ", " << form.channels << " channels, " << size.width
                 << "x" << size.height << ", anchor " << anchor.x << "," << anchor.y);
    reference(operation, src, form.channels, mask, anchor, expected);
    ASSERT_EQ(nuvStatusOk, form.compose[index](src.data(), src.step(), dst.data(), dst.step(), size,
                                               nuvBorderReplicate, state));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  }
}

const char* const masks[] = {
    "#",           "...",         "###/###/###", ".../.##/.##",
    ".#./###/.#.", "##./#../...", "#..#./....#", "..#..../.#####./#######/.#####./..#....",
};

template <class T, size_t count>
void expectReferenceEverywhere(const Form<T> (&forms)[count]) {
  for (const auto& form : forms) {
    for (const auto rows : masks) {
      SCOPED_TRACE(rows);
      const Mask mask = drawn(rows);
      for (const NuviPoint anchor : {mask.centre(), NuviPoint{0, mask.size.height - 1}}) {
        for (const NuviSize size : {NuviSize{1, 3}, {33, 9}, {64, 2}}) {
          NuviMorphCompositeState* state = nullptr;
          ASSERT_EQ(nuvStatusOk,
                    form.initAlloc(&state, size, mask.elements.data(), mask.size, anchor));
          expectReference(form, mask, anchor, size, state);
          EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
        }
      }
    }
  }
}

TEST(Composite, MatchesReference8u) {
  nuvSetNumThreads(1);
  expectReferenceEverywhere(forms8u);
  nuvSetNumThreads(0);
}
TEST(Composite, MatchesReference32f) { expectReferenceEverywhere(forms32f); }

TEST(Composite, ThreadsDoNotShow) {
  const Mask mask = rectangle(3, 2);
  NuviMorphCompositeState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, nuviMorphAdvInitAlloc_8u_C3R(&state, {50, 10}, mask.elements.data(),
                                                      mask.size, {1, 0}));
  withThreadCounts([&] { expectReference(forms8u[1], mask, {1, 0}, {50, 10}, state); });
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
}

// A caller's block of exactly the reported size, at any address and with any anchor.
template <class T, size_t count>
void expectReferenceInBlocks(const Form<T> (&forms)[count]) {
  const NuviSize size = {45, 4};
  for (const auto& form : forms) {
    for (const auto rows : masks) {
      SCOPED_TRACE(rows);
      const Mask mask = drawn(rows);
      int32_t bytes = 0;
      ASSERT_EQ(nuvStatusOk, form.getSize(size, mask.elements.data(), mask.size, &bytes));
      for (const auto against : {Against::end, Against::begin}) {
        for (const size_t shift : {0, 1, 9, 31}) {
          const size_t before = against == Against::end ? 0 : shift;
          const GuardedBlock block(static_cast<size_t>(bytes) + shift, against);
          auto* const state = reinterpret_cast<NuviMorphCompositeState*>(block.data() + before);
          for (const NuviPoint anchor : {mask.centre(), NuviPoint{0, mask.size.height - 1}}) {
            ASSERT_EQ(nuvStatusOk, form.init(state, size, mask.elements.data(), mask.size, anchor));
            expectReference(form, mask, anchor, size, state);
          }
        }
      }
    }
  }
}

TEST(Composite, StateInACallersBlock8u) {
  nuvSetNumThreads(1);
  expectReferenceInBlocks(forms8u);
  nuvSetNumThreads(0);
}
TEST(Composite, StateInACallersBlock32f) { expectReferenceInBlocks(forms32f); }

// Worked out by hand for an image of 50 x 10 pixels and a cross, which is a general mask here.
TEST(Composite, StateSize) {
  const Mask mask = drawn(".#./###/.#.");
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk,
            nuviMorphAdvGetSize_8u_C1R({50, 10}, mask.elements.data(), mask.size, &bytes));
  EXPECT_EQ(640 + 2 * (528 + 2 * 3 * 64 + 96) + 84, bytes);
}

TEST(Composite, RegionsThatFitTheTemporaryImage) {
  const Mask mask = drawn(".##/###/##.");
  NuviMorphCompositeState* state = nullptr;
  ASSERT_EQ(nuvStatusOk,
            nuviMorphAdvInitAlloc_8u_C1R(&state, {64, 4}, mask.elements.data(), mask.size, {1, 1}));
  expectReference(forms8u[0], mask, {1, 1}, {64, 4}, state);
  expectReference(forms8u[0], mask, {1, 1}, {40, 4}, state);
  expectReference(forms8u[0], mask, {1, 1}, {32, 8}, state);
  uint8_t src[65 * 5] = {}, dst[65 * 5] = {7};
  for (const NuviSize size : {NuviSize{64, 3}, {65, 4}, {32, 4}, {64, 5}}) {
    EXPECT_EQ(nuvStatusBadSize,
              nuviMorphOpenBorder_8u_C1R(src, 65, dst, 65, size, nuvBorderReplicate, state));
  }
  EXPECT_EQ(7, dst[0]);
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
}

TEST(Composite, NanDifferenceIsZero) {
  const uint8_t mask = 1;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float src[] = {nan, 1.0f, -0.0f};
  float dst[3];
  NuviMorphCompositeState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, nuviMorphAdvInitAlloc_32f_C1R(&state, {3, 1}, &mask, {1, 1}, {0, 0}));
  ASSERT_EQ(nuvStatusOk,
            nuviMorphTophatBorder_32f_C1R(src, 12, dst, 12, {3, 1}, nuvBorderReplicate, state));
  for (const float value : dst) {
    EXPECT_EQ(0.0f, value);
    EXPECT_FALSE(std::signbit(value));
  }
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(state));
}

TEST(CompositeChecks, FirstFailureInOrder) {
  const uint8_t mask[9] = {1, 0, 1};
  alignas(8) uint8_t block[4000] = {};
  auto* const state = reinterpret_cast<NuviMorphCompositeState*>(block);
  NuviMorphCompositeState* unwritten = state;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvGetSize_8u_C1R({0, 0}, nullptr, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvGetSize_8u_C1R({0, 1}, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvGetSize_8u_C1R({0, 1}, nullptr, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvGetSize_8u_C1R({0, 1}, mask, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize,
            nuviMorphAdvGetSize_32f_C4R({INT32_MAX, INT32_MAX}, mask + 3, {3, 1}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusBadSize, nuviMorphAdvInit_32f_C3R(nullptr, {4, 0}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvInit_32f_C3R(nullptr, {4, 2}, mask, {0, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphAdvInit_32f_C3R(state, {4, 2}, mask, {3, 3}, {3, 1}));
  for (const uint8_t byte : block) EXPECT_EQ(0, byte);
  EXPECT_EQ(nuvStatusNullPointer,
            nuviMorphAdvInitAlloc_8u_C4R(nullptr, {0, 0}, nullptr, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadSize,
            nuviMorphAdvInitAlloc_8u_C4R(&unwritten, {0, 0}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphAdvInitAlloc_8u_C4R(&unwritten, {4, 0}, mask, {3, 3}, {1, 1}));
  EXPECT_EQ(state, unwritten);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphAdvFree(nullptr));

  NuviMorphCompositeState* built = nullptr;
  ASSERT_EQ(nuvStatusOk, nuviMorphAdvInitAlloc_32f_C1R(&built, {4, 2}, mask, {3, 3}, {1, 1}));
  const float src[16] = {1};
  float dst[16] = {};
  for (const auto operation : operations) {
    const auto call = [&](const float* pSrc, int32_t srcStep, int32_t dstStep, NuviSize size,
                          NuviBorderType border, NuviMorphCompositeState* pState) {
      return forms32f[0].compose[static_cast<int>(operation)](pSrc, srcStep, dst, dstStep, size,
                                                              border, pState);
    };
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 16, 16, {0, 2}, nuvBorderReplicate, built));
    EXPECT_EQ(nuvStatusNullPointer, call(src, 16, 16, {0, 2}, nuvBorderReplicate, nullptr));
    EXPECT_EQ(nuvStatusBadSize, call(src, 0, 16, {4, 0}, nuvBorderReplicate, built));
    EXPECT_EQ(nuvStatusBadStep, call(src, 17, 14, {4, 2}, nuvBorderReplicate, built));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 16, 17, {4, 2}, nuvBorderWrap, built));
    EXPECT_EQ(nuvStatusBadArgument, call(src, 20, 20, {5, 2}, nuvBorderConstant, built));
    EXPECT_EQ(nuvStatusBadSize, call(src, 20, 20, {5, 2}, nuvBorderReplicate, built));
    EXPECT_EQ(nuvStatusBadSize, call(src, 16, 16, {4, 1}, nuvBorderReplicate, built));
  }
  for (const float value : dst) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, nuviMorphAdvFree(built));
}

}  // namespace

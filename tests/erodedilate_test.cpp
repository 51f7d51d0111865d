#include <gtest/gtest.h>

#include <memory>

#include "morph/state.h"
#include "support/morphology.h"

namespace {

using namespace testing_support;
using namespace nuv;

template <class T>
struct Form {
  using Operation = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, NuviBorderType,
                                  NuviMorphologyState*);
  int32_t channels;
  NuvStatus (*getSize)(int32_t, const uint8_t*, NuviSize, int32_t*);
  NuvStatus (*init)(int32_t, const uint8_t*, NuviSize, NuviPoint, NuviMorphologyState*);
  NuvStatus (*initAlloc)(int32_t, const uint8_t*, NuviSize, NuviPoint, NuviMorphologyState**);
  Operation dilate;
  Operation erode;
};

#define FORM(suffix, channels)                                                \
  {                                                                           \
    channels, nuviMorphologyGetSize_##suffix, nuviMorphologyInit_##suffix,    \
        nuviMorphologyInitAlloc_##suffix, nuviDilateBorderReplicate_##suffix, \
        nuviErodeBorderReplicate_##suffix                                     \
  }
const Form<uint8_t> forms8u[] = {FORM(8u_C1R, 1), FORM(8u_C3R, 3), FORM(8u_C4R, 4)};
const Form<float> forms32f[] = {FORM(32f_C1R, 1), FORM(32f_C3R, 3), FORM(32f_C4R, 4)};
#undef FORM

using OwnedState = std::unique_ptr<NuviMorphologyState, NuvStatus (*)(NuviMorphologyState*)>;
template <class T>
OwnedState allocated(const Form<T>& form, int32_t roiWidth, const Mask& mask, NuviPoint anchor) {
  NuviMorphologyState* state = nullptr;
  EXPECT_EQ(nuvStatusOk, form.initAlloc(roiWidth, mask.elements.data(), mask.size, anchor, &state));
  return OwnedState(state, nuviMorphologyFree);
}

MaskKind kindOf(const std::string& rows, NuviPoint anchor, const Form<float>* form = nullptr) {
  const Mask mask = drawn(rows);
  return form != nullptr ? allocated(*form, 8, mask, anchor)->maskKind
                         : allocated(forms8u[0], 8, mask, anchor)->maskKind;
}

const char* const cross = ".#./###/.#.";
const char* const diamond = "..#../.###./#####/.###./..#..";

TEST(MorphologyState, ClassifiesMasks) {
  EXPECT_EQ(ownMaskKindEmpty, kindOf("...../.....", {4, 1}));
  EXPECT_EQ(ownMaskKindRectangle, kindOf("#", {0, 0}));
  EXPECT_EQ(ownMaskKindRectangle, kindOf("...../...##/...##", {0, 0}));
  EXPECT_EQ(ownMaskKindGeneral, kindOf("#.#/###/###", {1, 1}));
  EXPECT_EQ(ownMaskKindRowRuns, kindOf(cross, {1, 1}));
  EXPECT_EQ(ownMaskKindGeneral, kindOf(cross, {0, 0}));
  EXPECT_EQ(ownMaskKindGeneral, kindOf("###/.#./.../...", {1, 3}));  // anchor below the last row
  EXPECT_EQ(ownMaskKindRowRuns, kindOf("###/.../.#.", {1, 1}));      // a gap
  EXPECT_EQ(ownMaskKindRowRuns, kindOf("###/.../###", {1, 1}));
  EXPECT_EQ(ownMaskKindGeneral, kindOf("##./.##/##.", {1, 1}));  // equal lengths, sheared
  EXPECT_EQ(ownMaskKindGeneral, kindOf(cross, {1, 1}, &forms32f[1]));
  EXPECT_EQ(ownMaskKindRowRuns, kindOf(diamond, {2, 2}, &forms32f[1]));
  EXPECT_EQ(ownMaskKindGeneral, kindOf(diamond, {2, 2}, &forms32f[2]));
  EXPECT_EQ(ownMaskKindRowRuns, kindOf(cross, {1, 1}, &forms32f[0]));
  const auto column = [](int32_t length) {  // with a gap at the second element
    std::string rows = "#/.";
    for (int32_t i = 2; i < length; ++i) rows += "/#";
    return rows;
  };
  EXPECT_EQ(ownMaskKindGeneral, kindOf(column(16), {0, 0}, &forms32f[1]));
  EXPECT_EQ(ownMaskKindRowRuns, kindOf(column(17), {0, 0}, &forms32f[1]));
  EXPECT_EQ(ownMaskKindGeneral, kindOf(column(48), {0, 0}, &forms32f[2]));
  EXPECT_EQ(ownMaskKindRowRuns, kindOf(column(49), {0, 0}, &forms32f[2]));
  EXPECT_EQ(ownMaskKindRectangle, kindOf("##/##", {1, 1}, &forms32f[2]));
}

// Worked out by hand for images of 64 pixels.
TEST(MorphologyState, SizesOfTheKinds) {
  const auto sizeOf = [](const auto& form, const std::string& rows) {
    const Mask mask = drawn(rows);
    int32_t bytes = 0;
    EXPECT_EQ(nuvStatusOk, form.getSize(64, mask.elements.data(), mask.size, &bytes));
    return bytes;
  };
  EXPECT_EQ(96, sizeOf(forms8u[0], ".../.../..."));
  EXPECT_EQ(784, sizeOf(forms8u[0], "###/###/###"));
  EXPECT_EQ(800, sizeOf(forms8u[0], ".####./.####./.####./....../......"));
  EXPECT_EQ(952, sizeOf(forms8u[0], cross));
  EXPECT_EQ(1104, sizeOf(forms8u[0], "###/#.#/###"));
  EXPECT_EQ(5520, sizeOf(forms32f[1], "###/#.#/###"));
}

const std::string masks[] = {
    "#",
    "...",
    "#.#",
    "#####",
    cross,
    diamond,
    "#.#/.#./#.#",
    "...../...##/...##",
    "......./#....../......./.......",
    "###/.../.#.",
    ".##/###/###/##.",
    "###../#####/..##.",  // neither short run contains the other
    "#################/....#######....../.....####........",
    std::string(46, '#') + "/....." + std::string(26, '#') + std::string(15, '.') + "/" +
        std::string(22, '.') + "##" + std::string(22, '.') + "/......" + std::string(40, '#'),
    "#...#....#...#../#......#......../....##..........",
};

template <class T>
void expectReference(const Form<T>& form, const Mask& mask, NuviPoint anchor, NuviSize size,
                     NuviMorphologyState* state) {
  const int32_t pad = size.height % 3;
  TestImage<T> src(size, form.channels, pad), dst(size, form.channels, pad);
  const TestImage<T> expected(size, form.channels);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width)));
  for (const bool maximum : {false, true}) {
    SCOPED_TRACE(maximum ? "dilate" : "erode");
    referenceExtreme(maximum, src, form.channels, mask, anchor, expected);
    const auto operation = maximum ? form.dilate : form.erode;
    ASSERT_EQ(nuvStatusOk, operation(src.data(), src.step(), dst.data(), dst.step(), size,
                                     nuvBorderReplicate, state));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  }
}

// Any mask with any anchor, on images of the width that the state was built for and of less.
template <class T, size_t count>
void expectReferenceEverywhere(const Form<T> (&forms)[count]) {
  for (const auto& form : forms) {
    for (const auto& rows : masks) {
      const Mask mask = drawn(rows);
      for (const NuviPoint anchor :
           {mask.centre(), NuviPoint{0, 0}, NuviPoint{mask.size.width - 1, mask.size.height - 1},
            NuviPoint{mask.size.width / 3, 0}}) {
        for (const int32_t roiWidth : {1, 6, 34, 69}) {
          const OwnedState state = allocated(form, roiWidth, mask, anchor);
          for (const int32_t width : {roiWidth, 1 + roiWidth / 2}) {
            for (const int32_t height : {1, 2, 11}) {
              SCOPED_TRACE(testing::Message()
                           << rows << " at " << anchor.x << "," << anchor.y << ", " << width << "x"
                           << height << ", " << form.channels << " channels");
              expectReference(form, mask, anchor, {width, height}, state.get());
              if (testing::Test::HasFatalFailure()) return;
            }
          }
        }
      }
    }
  }
}

TEST(ErodeDilate, MatchesReference8u) { expectReferenceEverywhere(forms8u); }
TEST(ErodeDilate, MatchesReference32f) { expectReferenceEverywhere(forms32f); }

// A caller's block of exactly the reported size, at any address.
template <class T, size_t count>
void expectReferenceInBlocks(const Form<T> (&forms)[count]) {
  for (const auto& form : forms) {
    for (const auto& rows : masks) {
      const Mask mask = drawn(rows);
      for (const auto against : {Against::end, Against::begin}) {
        for (const size_t shift : {0, 1, 7}) {
          SCOPED_TRACE(rows);
          int32_t bytes = 0;
          ASSERT_EQ(nuvStatusOk, form.getSize(61, mask.elements.data(), mask.size, &bytes));
          const size_t before = against == Against::end ? 0 : shift;
          const GuardedBlock block(static_cast<size_t>(bytes) + shift, against);
          auto* const state = reinterpret_cast<NuviMorphologyState*>(block.data() + before);
          ASSERT_EQ(nuvStatusOk,
                    form.init(61, mask.elements.data(), mask.size, mask.centre(), state));
          EXPECT_EQ(bytes, int32_t{state->stateSize});
          expectReference(form, mask, mask.centre(), {61, 5}, state);
        }
      }
    }
  }
}

TEST(ErodeDilate, StateInACallersBlock8u) { expectReferenceInBlocks(forms8u); }
TEST(ErodeDilate, StateInACallersBlock32f) { expectReferenceInBlocks(forms32f); }

TEST(MorphologyStateChecks, FirstFailureInOrder) {
  const uint8_t mask[9] = {1, 1, 1, 1};
  uint8_t block[2000] = {};
  auto* const state = reinterpret_cast<NuviMorphologyState*>(block);
  NuviMorphologyState* unwritten = state;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyGetSize_8u_C1R(0, nullptr, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyGetSize_8u_C1R(0, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyGetSize_8u_C1R(8, mask, {3, 0}, &bytes));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyGetSize_8u_C1R(8, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyGetSize_32f_C4R(INT32_MAX / 4, mask, {2, 2}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyInit_8u_C1R(8, mask, {0, 3}, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphologyInit_8u_C1R(8, mask, {3, 3}, {3, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadAnchor, nuviMorphologyInit_8u_C1R(8, mask, {3, 3}, {0, -1}, state));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyInit_8u_C1R(8, mask, {3, 3}, {0, 0}, nullptr));
  for (const uint8_t byte : block) EXPECT_EQ(0, byte);
  EXPECT_EQ(nuvStatusBadAnchor,
            nuviMorphologyInitAlloc_8u_C1R(8, mask, {3, 3}, {1, 3}, &unwritten));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyInitAlloc_8u_C1R(8, mask, {3, 3}, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphologyInitAlloc_32f_C4R(INT32_MAX / 4, mask, {2, 2}, {0, 0}, &unwritten));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphologyInitAlloc_8u_C1R(8, mask, {1, INT32_MAX / 16}, {0, 0}, &unwritten));
  EXPECT_EQ(state, unwritten);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyFree(nullptr));
}

TEST(ErodeDilateChecks, FirstFailureInOrderAndNothingWritten) {
  const OwnedState state = allocated(forms32f[0], 4, drawn(cross), {1, 1});
  float src[10] = {}, dst[10] = {};
  const auto call = [&](const float* pSrc, int32_t srcStep, int32_t dstStep, NuviSize size,
                        NuviBorderType border) {
    return nuviDilateBorderReplicate_32f_C1R(pSrc, srcStep, dst, dstStep, size, border,
                                             state.get());
  };
  src[0] = 1;
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 16, 16, {0, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, 16, {4, 0}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadStep, call(src, 17, 14, {4, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 16, 17, {4, 2}, nuvBorderConstant));
  EXPECT_EQ(nuvStatusBadArgument, call(src, 20, 20, {5, 2}, nuvBorderMirror));
  EXPECT_EQ(nuvStatusBadArgument, call(src, 16, 16, {4, 2}, nuvBorderReplicate | 0x10));
  EXPECT_EQ(nuvStatusBadSize, call(src, 20, 20, {5, 2}, nuvBorderReplicate));
  for (const float value : dst) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, call(src, 16, 16, {4, 2}, nuvBorderReplicate));
}

}  // namespace

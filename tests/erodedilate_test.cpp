#include <gtest/gtest.h>

#include "morph/state.h"
#include "support/morphology.h"

namespace {

using namespace testing_support;
using namespace nuv;

template <class T>
struct Form {
  int32_t channels;
  NuvStatus (*getSize)(int32_t, const uint8_t*, NuviSize, int32_t*);
  NuvStatus (*init)(int32_t, const uint8_t*, NuviSize, NuviPoint, NuviMorphologyState*);
  NuvStatus (*initAlloc)(int32_t, const uint8_t*, NuviSize, NuviPoint, NuviMorphologyState**);
  // Of the minimum, of the maximum:
  NuvStatus (*operations[2])(const T*, int32_t, T*, int32_t, NuviSize, NuviBorderType,
                             NuviMorphologyState*);
  NuvStatus (*filters[2])(const T*, int32_t, T*, int32_t, NuviSize, NuviSize, NuviPoint, uint8_t*);
  NuvStatus (*bufferSizes[2])(int32_t, NuviSize, int32_t*);
};

#define FORM(suffix, channels)                                                            \
  {                                                                                       \
    channels, nuviMorphologyGetSize_##suffix, nuviMorphologyInit_##suffix,                \
        nuviMorphologyInitAlloc_##suffix,                                                 \
        {nuviErodeBorderReplicate_##suffix, nuviDilateBorderReplicate_##suffix},          \
        {nuviFilterMinBorderReplicate_##suffix, nuviFilterMaxBorderReplicate_##suffix}, { \
      nuviFilterMinGetBufferSize_##suffix, nuviFilterMaxGetBufferSize_##suffix            \
    }                                                                                     \
  }
const Form<uint8_t> forms8u[] = {FORM(8u_C1R, 1), FORM(8u_C3R, 3), FORM(8u_C4R, 4)};
const Form<float> forms32f[] = {FORM(32f_C1R, 1), FORM(32f_C3R, 3), FORM(32f_C4R, 4)};
#undef FORM

const char* const cross = ".#./###/.#.";
const char* const diamond = "..#../.###./#####/.###./..#..";

// A column with a gap at its second element.
std::string column(int32_t length) {
  std::string rows = "#/.";
  for (int32_t i = 2; i < length; ++i) rows += "/#";
  return rows;
}

// What the layout of each kind of state comes to for images of 64 pixels: 8u C1, 32f C3, 32f C4.
TEST(MorphologyState, SizesTellTheKindsOfMasks) {
  const struct {
    std::string rows;
    int32_t bytes[3];
  } cases[] = {{"...../.....", {96, 96, 96}},
               {"##/##", {576, 3392, 4416}},              // a rectangle
               {"...../...##/...##", {576, 3392, 4416}},  // beside the anchor
               {"#.#/###/###", {1104, 5520, 7056}},       // general
               {cross, {952, 5520, 7056}},                // runs only as 8u: 9 elements are few
               {"#../##./#..", {1104, 5520, 7056}},       // a row beside the anchor
               {"###/.#./.../...", {1264, 7152, 9200}},   // all rows above it
               {"###/.../###", {648, 5520, 7056}},        // runs and a gap
               {"##./.##/##.", {1104, 5520, 7056}},       // equal lengths, sheared
               {diamond, {1896, 13160, 12192}},
               {column(16), {2260, 25712, 33904}},
               {column(17), {2400, 15072, 36512}},
               {column(48), {6260, 40756, 101520}},
               {column(49), {6400, 41600, 54400}}};
  for (const auto& [rows, bytes] : cases) {
    const Mask mask = drawn(rows);
    const auto sizeOf = [&](const auto& form) {
      int32_t size = 0;
      EXPECT_EQ(nuvStatusOk, form.getSize(64, mask.elements.data(), mask.size, &size));
      return size;
    };
    EXPECT_EQ(bytes[0], sizeOf(forms8u[0])) << rows;
    EXPECT_EQ(bytes[1], sizeOf(forms32f[1])) << rows;
    EXPECT_EQ(bytes[2], sizeOf(forms32f[2])) << rows;
  }
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
    "...../...../...../..##.",  // far below an anchor at its top
    ".../.../.#./###",
    ".##/###/###/##.",
    "###../#####/..##.",  // neither short run contains the other
    "#################/....#######....../.....####........",
    std::string(46, '#') + "/....." + std::string(26, '#') + std::string(15, '.') + "/" +
        std::string(22, '.') + "##" + std::string(22, '.') + "/......" + std::string(40, '#'),
    "#...#....#...#../#......#......../....##..........",
};

// Images of the width that a state was built for, which lies in a block of exactly its size at any
// address, and of less than that. With a solid mask the filters by a rectangle do the same.
template <class T>
void expectReference(const Form<T>& form, const Mask& mask, NuviPoint anchor, int32_t roiWidth,
                     int32_t height = 11) {
  SCOPED_TRACE(testing::Message() << form.channels << " channels, mask " << mask.size.width << "x"
                                  << mask.size.height << " at " << anchor.x << "," << anchor.y
                                  << ", width " << roiWidth);
  const uint8_t* const elements = mask.elements.data();
  const int32_t odd = roiWidth % 2;
  const auto against = odd != 0 ? Against::begin : Against::end;
  NuviMorphologyState* allocated = nullptr;
  ASSERT_EQ(nuvStatusOk, form.initAlloc(roiWidth, elements, mask.size, anchor, &allocated));
  const GuardedBlock block(static_cast<size_t>(allocated->stateSize + odd), against);
  auto* const state = reinterpret_cast<NuviMorphologyState*>(block.data() + odd);
  ASSERT_EQ(nuvStatusOk, form.init(roiWidth, elements, mask.size, anchor, state));
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, form.getSize(roiWidth, elements, mask.size, &bytes));
  if (anchor.x == mask.centre().x && anchor.y == mask.centre().y) {
    ASSERT_EQ(int32_t{allocated->stateSize}, bytes);
  }
  for (const NuviSize size : {NuviSize{roiWidth, height}, {roiWidth, 1}, {1 + roiWidth / 2, 2}}) {
    TestImage<T> src(size, form.channels, 2, against), dst(size, form.channels, odd, against);
    const TestImage<T> expected(size, form.channels);
    src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width + mask.size.height)));
    for (const bool maximum : {false, true}) {
      referenceExtreme(maximum, src, form.channels, mask, anchor, expected);
      ASSERT_EQ(nuvStatusOk,
                form.operations[maximum](src.data(), src.step(), dst.data(), dst.step(), size,
                                         nuvBorderReplicate, size.height > 1 ? state : allocated));
      ASSERT_EQ(expected.bytes(), dst.bytes()) << size.width << "x" << size.height;
      if (std::count(mask.elements.begin(), mask.elements.end(), 0) == 0) {
        ASSERT_EQ(nuvStatusOk, form.bufferSizes[maximum](size.width, mask.size, &bytes));
        const GuardedBlock buffer(static_cast<size_t>(bytes + odd), against);
        ASSERT_EQ(nuvStatusOk, form.filters[maximum](src.data(), src.step(), dst.data(), dst.step(),
                                                     size, mask.size, anchor, buffer.data() + odd));
        ASSERT_EQ(expected.bytes(), dst.bytes()) << size.width << "x" << size.height;
      }
      ASSERT_TRUE(dst.padsUntouched());
    }
  }
  EXPECT_EQ(nuvStatusOk, nuviMorphologyFree(allocated));
}

template <class T>
void expectReferenceEverywhere(const Form<T>& form) {
  for (const auto& rows : masks) {
    SCOPED_TRACE(rows);
    const Mask mask = drawn(rows);
    const NuviPoint last = {mask.size.width - 1, mask.size.height - 1};
    for (const NuviPoint anchor : {mask.centre(), NuviPoint{0, 0}, last, {last.x / 3, 0}}) {
      for (const int32_t width : {1, 6, 34, 69}) expectReference(form, mask, anchor, width);
    }
  }
  // Rectangles: widths around the vectors, every way to pass the image's ends, and lengths on both
  // sides of each number of stages.
  for (int32_t width = 1; width <= 36; ++width) {
    const Mask mask = rectangle(1 + width * 7 % 13, 1 + width % 6);
    expectReference(form, mask, {width % mask.size.width, width % mask.size.height}, width, 7);
  }
  for (const int32_t length : {1, 2, 7, 8, 9, 28, 29, 36, 37}) {
    for (const int32_t anchor : {0, length / 2, length - 1}) {
      expectReference(form, rectangle(length, 2), {anchor, 1}, 37, 9);
      expectReference(form, rectangle(2, length), {0, anchor}, 9, 37);
      expectReference(form, rectangle(length, length), {anchor, anchor}, 2, 3);
    }
  }
  expectReference(form, rectangle(131, 1), {3, 0}, 150, 4);  // three stages
  expectReference(form, rectangle(300, 5), {150, 2}, 40, 2);
}

TEST(ErodeDilate, MatchesReference) {
  for (const auto& form : forms8u) expectReferenceEverywhere(form);
  for (const auto& form : forms32f) expectReferenceEverywhere(form);
}

TEST(ErodeDilateChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t mask[9] = {1, 1, 1, 1};
  uint8_t block[2000] = {};
  auto* const state = reinterpret_cast<NuviMorphologyState*>(block);
  NuviMorphologyState* slot = state;
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyGetSize_8u_C1R(0, nullptr, {3, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyGetSize_8u_C1R(0, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyGetSize_8u_C1R(8, mask, {3, 3}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyGetSize_32f_C4R(INT32_MAX / 4, mask, {2, 2}, &bytes));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyInit_8u_C1R(8, mask, {0, 3}, {0, 0}, state));
  EXPECT_EQ(nuvStatusBadSize, nuviMorphologyInit_8u_C1R(8, mask, {3, 0}, {3, 0}, state));
  for (const NuviPoint anchor : {NuviPoint{-1, 1}, {3, 1}, {1, -1}, {1, 3}}) {
    EXPECT_EQ(nuvStatusBadAnchor, nuviMorphologyInit_8u_C1R(8, mask, {3, 3}, anchor, nullptr));
  }
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyInit_8u_C1R(8, mask, {3, 3}, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyInitAlloc_8u_C1R(8, mask, {3, 3}, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphologyInitAlloc_32f_C4R(INT32_MAX / 4, mask, {2, 2}, {0, 0}, &slot));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviMorphologyInitAlloc_8u_C1R(8, mask, {1, INT32_MAX / 16}, {0, 0}, &slot));
  EXPECT_EQ(state, slot);
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusNullPointer, nuviMorphologyFree(nullptr));
  for (const uint8_t byte : block) ASSERT_EQ(0, byte);

  ASSERT_EQ(nuvStatusOk, nuviMorphologyInit_32f_C1R(4, mask, {3, 3}, {1, 1}, state));
  for (const auto operation : forms32f[0].operations) {
    expectChecksOfImages([&](auto... arguments) { return operation(arguments..., state); });
  }
}

TEST(RectangleFilterChecks, FirstFailureInOrderAndNothingWritten) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadMask, nuviFilterMinGetBufferSize_32f_C3R(1, {3, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMinGetBufferSize_8u_C3R(100, {1, 3}, &bytes));
  EXPECT_EQ(2072, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_32f_C4R(INT32_MAX, {1, INT32_MAX}, &bytes));
  EXPECT_EQ(-16, bytes);  // wraps

  float src[8] = {}, dst[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  uint8_t buffer[1000];
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, NuviSize mask,
                        NuviPoint anchor, uint8_t* pBuffer) {
    return forms32f[0].filters[0](src, srcStep, dst, dstStep, size, mask, anchor, pBuffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(16, 16, {4, 0}, {3, 3}, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(16, 16, {4, 0}, {0, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusBadMask, call(16, 16, {4, 2}, {3, 0}, {3, 1}, buffer));
  for (const NuviPoint anchor : {NuviPoint{-1, 1}, {3, 1}, {1, -1}, {1, 3}}) {
    EXPECT_EQ(nuvStatusBadAnchor, call(0, 16, {4, 2}, {3, 3}, anchor, buffer));
  }
  EXPECT_EQ(nuvStatusBadStep, call(15, 18, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(18, 12, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(16, 14, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(16, 17, {4, 2}, {3, 3}, {1, 1}, buffer));
  for (const float value : dst) EXPECT_EQ(9, value);
}

}  // namespace

#include <gtest/gtest.h>

#include "support/morphology.h"

namespace {

using namespace testing_support;

template <class T>
struct Form {
  int32_t channels;
  bool maximum;
  NuvStatus (*filter)(const T*, int32_t, T*, int32_t, NuviSize, NuviSize, NuviPoint, uint8_t*);
  NuvStatus (*bufferSize)(int32_t, NuviSize, int32_t*);
};

#define FORMS(suffix, channels)                                                                   \
  {channels, true, nuviFilterMaxBorderReplicate_##suffix, nuviFilterMaxGetBufferSize_##suffix}, { \
    channels, false, nuviFilterMinBorderReplicate_##suffix, nuviFilterMinGetBufferSize_##suffix   \
  }
const Form<uint8_t> forms8u[] = {FORMS(8u_C1R, 1), FORMS(8u_C3R, 3), FORMS(8u_C4R, 4)};
const Form<float> forms32f[] = {FORMS(32f_C1R, 1), FORMS(32f_C3R, 3), FORMS(32f_C4R, 4)};
#undef FORMS

template <class T>
void expectReference(const Form<T>& form, NuviSize size, NuviSize maskSize, NuviPoint anchor,
                     Against against) {
  SCOPED_TRACE(testing::Message() << (form.maximum ? "max " : "min ") << form.channels
                                  << " channels, " << size.width << "x" << size.height << ", mask "
                                  << maskSize.width << "x" << maskSize.height << " at " << anchor.x
                                  << "," << anchor.y);
  const int32_t pad = size.width % 3;
  const size_t odd = against == Against::end ? 0 : 1;  // an odd address, too
  TestImage<T> src(size, form.channels, pad, against), dst(size, form.channels, pad, against);
  TestImage<T> expected(size, form.channels);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width + maskSize.height)));
  referenceExtreme(form.maximum, src, form.channels, rectangle(maskSize.width, maskSize.height),
                   anchor, expected);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, form.bufferSize(size.width, maskSize, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes) + odd, against);
  ASSERT_EQ(nuvStatusOk, form.filter(src.data(), src.step(), dst.data(), dst.step(), size, maskSize,
                                     anchor, buffer.data() + odd));
  ASSERT_EQ(expected.bytes(), dst.bytes());
  ASSERT_TRUE(dst.padsUntouched());
}

// Widths around the vectors, every way for a mask to pass the image's ends, and lengths on both
// sides of each number of stages.
template <class T, size_t count>
void expectReferenceEverywhere(const Form<T> (&forms)[count]) {
  for (const auto& form : forms) {
    for (const auto against : {Against::end, Against::begin}) {
      for (int32_t width = 1; width <= 36; ++width) {
        const NuviSize mask = {1 + width * 7 % 13, 1 + width % 6};
        expectReference(form, {width, 7}, mask, {width % mask.width, width % mask.height}, against);
      }
      for (const int32_t length : {1, 2, 7, 8, 9, 28, 29, 36, 37}) {
        for (const int32_t anchor : {0, length / 2, length - 1}) {
          expectReference(form, {37, 9}, {length, 2}, {anchor, 1}, against);
          expectReference(form, {9, 37}, {2, length}, {0, anchor}, against);
          expectReference(form, {2, 3}, {length, length}, {anchor, anchor}, against);
        }
      }
      expectReference(form, {150, 4}, {131, 1}, {3, 0}, against);  // three stages
      expectReference(form, {40, 2}, {300, 5}, {150, 2}, against);
    }
  }
}

TEST(MinMaxFilter, MatchesReference) {
  expectReferenceEverywhere(forms8u);
  expectReferenceEverywhere(forms32f);
}

TEST(MinMaxFilter, ReportedSize) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadMask, nuviFilterMinGetBufferSize_32f_C3R(1, {3, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_8u_C1R(100, {9, 3}, &bytes));
  EXPECT_EQ(872, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMinGetBufferSize_8u_C3R(100, {1, 3}, &bytes));
  EXPECT_EQ(2072, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_32f_C4R(100, {1, 3}, &bytes));
  EXPECT_EQ(9872, bytes);
}

TEST(MinMaxFilter, FirstFailureInOrderAndNothingWritten) {
  const float src[8] = {};
  float dst[8] = {};
  uint8_t buffer[1000];
  const auto call = [&](int32_t srcStep, int32_t dstStep, NuviSize size, NuviSize mask,
                        NuviPoint anchor) {
    return nuviFilterMinBorderReplicate_32f_C1R(src, srcStep, dst, dstStep, size, mask, anchor,
                                                buffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterMinBorderReplicate_32f_C1R(nullptr, 16, dst, 16, {0, 2},
                                                                       {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterMinBorderReplicate_32f_C1R(src, 16, dst, 16, {4, 0},
                                                                       {3, 3}, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(16, 16, {4, 0}, {0, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadMask, call(16, 16, {4, 2}, {3, 0}, {3, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, call(0, 16, {4, 2}, {3, 3}, {3, 1}));
  EXPECT_EQ(nuvStatusBadAnchor, call(0, 16, {4, 2}, {3, 3}, {1, -1}));
  EXPECT_EQ(nuvStatusBadStep, call(15, 18, {4, 2}, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(18, 12, {4, 2}, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusBadStep, call(16, 14, {4, 2}, {3, 3}, {1, 1}));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(16, 17, {4, 2}, {3, 3}, {1, 1}));
  for (const float value : dst) EXPECT_EQ(0, value);
}

}  // namespace

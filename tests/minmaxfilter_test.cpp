#include <gtest/gtest.h>

#include "support/morphology.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
struct Form {
  using Filter = NuvStatus (*)(const T*, int32_t, T*, int32_t, NuviSize, NuviSize, NuviPoint,
                               uint8_t*);
  using Size = NuvStatus (*)(int32_t, NuviSize, int32_t*);
  int32_t channels;
  bool maximum;
  Filter filter;
  Size bufferSize;
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
  TestImage<T> src(size, form.channels, pad, against), dst(size, form.channels, pad, against);
  TestImage<T> expected(size, form.channels);
  src.fill(PeaksAndPits<T>(static_cast<unsigned>(size.width + maskSize.height)));
  referenceExtreme(form.maximum, src, form.channels, rectangle(maskSize.width, maskSize.height),
                   anchor, expected);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, form.bufferSize(size.width, maskSize, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes), against);
  ASSERT_EQ(nuvStatusOk, form.filter(src.data(), src.step(), dst.data(), dst.step(), size, maskSize,
                                     anchor, buffer.data()));
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
          expectReference(form, {19, 1}, {length, 1}, {anchor, 0}, against);
          expectReference(form, {2, 3}, {length, length}, {anchor, anchor}, against);
        }
      }
      expectReference(form, {150, 4}, {131, 1}, {3, 0}, against);  // three stages
      expectReference(form, {40, 2}, {300, 5}, {150, 2}, against);
    }
  }
}

TEST(MinMaxFilter, MatchesReference8u) { expectReferenceEverywhere(forms8u); }
TEST(MinMaxFilter, MatchesReference32f) { expectReferenceEverywhere(forms32f); }

TEST(MinMaxFilter, BufferMayStartAnywhere) {
  const NuviSize size = {61, 8}, mask = {5, 3};
  TestImage<float> src(size), dst(size), expected(size);
  src.fill(PeaksAndPits<float>(1));
  referenceExtreme(true, src, 1, rectangle(5, 3), {2, 1}, expected);
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_32f_C1R(size.width, mask, &bytes));
  for (const size_t shift : {1, 3, 31}) {
    const GuardedBlock buffer(static_cast<size_t>(bytes) + shift);
    ASSERT_EQ(nuvStatusOk,
              nuviFilterMaxBorderReplicate_32f_C1R(src.data(), src.step(), dst.data(), dst.step(),
                                                   size, mask, {2, 1}, buffer.data() + shift));
    ASSERT_EQ(expected.bytes(), dst.bytes());
  }
}

TEST(MinMaxFilter, MinimumIsTheMaximumOfTheNegative) {
  const NuviSize size = {101, 33}, mask = {9, 11};
  TestImage<uint8_t> src(size), negative(size), minimum(size), maximum(size);
  src.fill(PeaksAndPits<uint8_t>(2));
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) negative.at(x, y) = uint8_t(255 - src.at(x, y));
  }
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviFilterMinGetBufferSize_8u_C1R(size.width, mask, &bytes));
  const GuardedBlock buffer(static_cast<size_t>(bytes));
  const auto filter = [&](auto function, auto& from, auto& to) {
    ASSERT_EQ(nuvStatusOk, function(from.data(), from.step(), to.data(), to.step(), size, mask,
                                    NuviPoint{1, 8}, buffer.data()));
  };
  filter(nuviFilterMinBorderReplicate_8u_C1R, src, minimum);
  filter(nuviFilterMaxBorderReplicate_8u_C1R, negative, maximum);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) ASSERT_EQ(255, minimum.at(x, y) + maximum.at(x, y));
  }
}

TEST(MinMaxFilterChecks, BufferSizes) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_8u_C1R(100, {9, 3}, &bytes));
  EXPECT_EQ(872, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMinGetBufferSize_8u_C3R(100, {1, 3}, &bytes));
  EXPECT_EQ(2072, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_32f_C4R(100, {1, 3}, &bytes));
  EXPECT_EQ(9872, bytes);
  EXPECT_EQ(nuvStatusOk, nuviFilterMaxGetBufferSize_32f_C4R(INT32_MAX, {1, INT32_MAX}, &bytes));
  EXPECT_EQ(-16, bytes);  // wraps
  bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 0}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, nuviFilterMaxGetBufferSize_8u_C1R(0, {0, 3}, &bytes));
  EXPECT_EQ(nuvStatusBadMask, nuviFilterMinGetBufferSize_32f_C3R(1, {3, 0}, &bytes));
  EXPECT_EQ(-1, bytes);
}

TEST(MinMaxFilterChecks, FirstFailureInOrderAndNothingWritten) {
  float src[8] = {}, dst[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  uint8_t buffer[1000];
  const auto call = [&](const float* pSrc, int32_t srcStep, int32_t dstStep, NuviSize size,
                        NuviSize mask, NuviPoint anchor, uint8_t* pBuffer) {
    return nuviFilterMinBorderReplicate_32f_C1R(pSrc, srcStep, dst, dstStep, size, mask, anchor,
                                                pBuffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 16, 16, {0, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 16, 16, {4, 0}, {3, 3}, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(src, 16, 16, {4, 0}, {0, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusBadMask, call(src, 16, 16, {4, 2}, {3, 0}, {3, 1}, buffer));
  EXPECT_EQ(nuvStatusBadAnchor, call(src, 0, 16, {4, 2}, {3, 3}, {3, 1}, buffer));
  EXPECT_EQ(nuvStatusBadAnchor, call(src, 0, 16, {4, 2}, {3, 3}, {1, -1}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(src, 15, 18, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 18, 12, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusBadStep, call(src, 16, 14, {4, 2}, {3, 3}, {1, 1}, buffer));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 16, 17, {4, 2}, {3, 3}, {1, 1}, buffer));
  for (const float value : dst) EXPECT_EQ(9, value);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

enum Operation { add, square, product, weighted, blend };

// The new accumulator value; each rounding is a float variable. A mask clears the factor and alpha.
float reference(Operation operation, bool masked, float s1, float s2, float factor, float alpha,
                float d) {
  if (operation == square) s2 = s1;
  const float twofold = s1 * s2, toAverage = s1 - d, toSecond = s1 - s2;
  if (operation == blend) return std::fma(toSecond, alpha, s2);
  if (operation == weighted) return std::fma(toAverage, alpha, d);
  if (operation == add) return masked ? std::fma(s1, factor, d) : d + s1;
  return masked ? std::fma(twofold, factor, d) : std::fma(s1, s2, d);
}

template <class T>
struct Images {
  TestImage<T> src1, src2;
  TestImage<uint8_t> mask;
  TestImage<float> acc;
  NuviSize size;
  float alpha;
};

// Runs the call over many sizes and thread counts against the reference.
template <class T>
void compare(Operation operation, bool masked, NuvStatus (*call)(const Images<T>&)) {
  const auto onSize = [&](NuviSize size, int32_t pad, float alpha) {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
    Images<T> images{{size, 1, pad}, {size, 1, 2 * pad, Against::begin},
                     {size, 1, pad}, {size, 1, pad},
                     size,           alpha};
    images.src1.fill(RandomSamples<T>(1));
    images.src2.fill(RandomSamples<T>(2));
    images.mask.fill([n = 0]() mutable { return n++ % 3 == 0 ? 0 : 0x80 >> (n % 8); });
    if constexpr (std::is_floating_point_v<T>) {
      images.src1.at(0, 0) = INFINITY;
      images.src1.at(size.width - 1, 0) = NAN;
    }
    const auto starts = [] {
      return [n = 0, random = RandomSamples<float>(3)]() mutable {
        return n++ % 7 == 0 ? -0.0f : random();
      };
    };
    TestImage<float> expected(size);
    expected.fill(starts());
    const auto forEach = [&](auto&& body) {
      for (int32_t i = 0; i < size.width * size.height; ++i) body(i % size.width, i / size.width);
    };
    forEach([&](int32_t x, int32_t y) {
      const bool isOn = !masked || images.mask.at(x, y) != 0;
      expected.at(x, y) = reference(operation, masked, static_cast<float>(images.src1.at(x, y)),
                                    static_cast<float>(images.src2.at(x, y)), isOn ? 1.0f : 0.0f,
                                    isOn ? alpha : 0.0f, expected.at(x, y));
    });
    withThreadCounts([&] {
      images.acc.fill(starts());
      ASSERT_EQ(nuvStatusOk, call(images));
      forEach([&](int32_t x, int32_t y) {
        const float wanted = expected.at(x, y), found = images.acc.at(x, y);
        const bool isSame = std::isnan(wanted) ? std::isnan(found)
                                               : std::memcmp(&wanted, &found, sizeof found) == 0;
        ASSERT_TRUE(isSame) << wanted << " " << found << " at " << x << "," << y;
      });
      ASSERT_TRUE(images.acc.padsUntouched());
    });
  };
  for (int32_t width = 1; width <= 35; ++width) onSize({width, 2}, width % 3, 0.05f);
  for (const float alpha : {0.0f, -0.0f, 1.0f, -2.5f, INFINITY, NAN}) onSize({21, 3}, 1, alpha);
  onSize({512, 512}, 1, 0.3f);
}

#define COMPARE(T, operation, masked, function, ...) \
  compare<T>(operation, masked, [](const Images<T>& i) { return function(__VA_ARGS__); })
#define SRC1 i.src1.data(), i.src1.step()
#define SRC2 i.src2.data(), i.src2.step()
#define MASK i.mask.data(), i.mask.step()
#define ACC i.acc.data(), i.acc.step(), i.size

#define TEST_FORM(form, T)                                                                \
  TEST(Accumulate, MatchesReference_##form) {                                             \
    COMPARE(T, add, true, nuviAdd_##form##_C1IMR, SRC1, MASK, ACC);                       \
    COMPARE(T, square, false, nuviAddSquare_##form##_C1IR, SRC1, ACC);                    \
    COMPARE(T, square, true, nuviAddSquare_##form##_C1IMR, SRC1, MASK, ACC);              \
    COMPARE(T, product, false, nuviAddProduct_##form##_C1IR, SRC1, SRC2, ACC);            \
    COMPARE(T, product, true, nuviAddProduct_##form##_C1IMR, SRC1, SRC2, MASK, ACC);      \
    COMPARE(T, weighted, false, nuviAddWeighted_##form##_C1IR, SRC1, ACC, i.alpha);       \
    COMPARE(T, weighted, true, nuviAddWeighted_##form##_C1IMR, SRC1, MASK, ACC, i.alpha); \
  }
TEST_FORM(8u32f, uint8_t)
TEST_FORM(8s32f, int8_t)
TEST_FORM(16u32f, uint16_t)
TEST_FORM(32f, float)

TEST(Accumulate, MatchesReferenceInFormsOfFewTypes) {
  COMPARE(uint8_t, add, false, nuviAdd_8u32f_C1IR, SRC1, ACC);
  COMPARE(int8_t, add, false, nuviAdd_8s32f_C1IR, SRC1, ACC);
  COMPARE(uint16_t, add, false, nuviAdd_16u32f_C1IR, SRC1, ACC);
  COMPARE(float, blend, false, nuviAddWeighted_32f_C1R, SRC1, SRC2, ACC, i.alpha);
}

// The places of the element tests differ between the source types.
TEST(Accumulate, ChecksInOrder) {
  const uint16_t s[8] = {};
  const uint8_t m[8] = {};
  const float f[8] = {};
  float d[8] = {1};
  const NuviSize size = {2, 2};
  EXPECT_EQ(nuvStatusNullPointer, nuviAdd_16u32f_C1IMR(s, 4, nullptr, 0, d, 0, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, nuviAddSquare_16u32f_C1IMR(s, 0, m, 0, d, 0, {2, 0}));
  // An odd 16-bit step is told before a short step of the mask or the accumulator, but behind the
  // row tests of both sources of a product.
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAdd_16u32f_C1IR(s, 5, d, 7, size));
  EXPECT_EQ(nuvStatusBadStep, nuviAddProduct_16u32f_C1IR(s, 5, s, 3, d, 8, size));
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviAddProduct_16u32f_C1IMR(s, 4, s, 5, m, 1, d, 7, size));
  // Float steps are tested for whole elements last, all at once.
  EXPECT_EQ(nuvStatusBadStep, nuviAdd_32f_C1IMR(f, 9, m, 1, d, 8, size));
  EXPECT_EQ(nuvStatusBadStep, nuviAddWeighted_32f_C1IR(f, 9, d, 7, size, 1.0f));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddWeighted_32f_C1IMR(f, 9, m, 2, d, 8, size, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddSquare_16u32f_C1IR(s, 4, d, 9, size));
  EXPECT_EQ(nuvStatusBadStep, nuviAddWeighted_32f_C1R(f, 9, f, 7, d, 8, size, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddWeighted_32f_C1R(f, 8, f, 8, d, 10, size, 1));
  EXPECT_EQ(1.0f, d[0]);
}

}  // namespace

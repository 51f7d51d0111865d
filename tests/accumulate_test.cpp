#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

enum class Operation { add, square, product, weighted };

// The new accumulator value, in double-checked single precision: each rounding is a float variable.
float reference(Operation operation, bool masked, float s1, float s2, bool selected, float alpha,
                float d) {
  const float m = selected ? (operation == Operation::weighted ? alpha : 1.0f) : 0.0f;
  float term = s1;
  if (operation == Operation::square) term = s1 * s1;
  if (operation == Operation::product) term = s1 * s2;
  if (operation == Operation::weighted) term = s1 - d;
  if (masked) return std::fma(term, m, d);
  switch (operation) {
    case Operation::add:
      return d + s1;
    case Operation::square:
      return std::fma(s1, s1, d);
    case Operation::product:
      return std::fma(s1, s2, d);
    default:
      return std::fma(term, alpha, d);
  }
}

template <class T>
struct Images {
  TestImage<T> src1, src2;
  TestImage<uint8_t> mask;
  TestImage<float> acc;
  NuviSize size;
  float alpha;
};

template <class T>
using Call = NuvStatus (*)(const Images<T>&);

// Runs the call over many sizes and thread counts against the reference.
template <class T>
void compare(Operation operation, bool masked, Call<T> call) {
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
    const TestImage<float> start(size), expected(size);
    RandomSamples<float> random(3);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        start.at(x, y) = x % 7 == 0 ? -0.0f : random();
        expected.at(x, y) = reference(operation, masked, static_cast<float>(images.src1.at(x, y)),
                                      static_cast<float>(images.src2.at(x, y)),
                                      images.mask.at(x, y) != 0, alpha, start.at(x, y));
        if (std::isnan(expected.at(x, y))) expected.at(x, y) = NAN;
      }
    }
    withThreadCounts([&] {
      for (int32_t y = 0; y < size.height; ++y) {
        std::copy_n(start.row(y), size.width, images.acc.row(y));
      }
      ASSERT_EQ(nuvStatusOk, call(images));
      for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
          if (std::isnan(images.acc.at(x, y))) images.acc.at(x, y) = NAN;  // any NaN will do
        }
      }
      ASSERT_EQ(expected.bytes(), images.acc.bytes());
      ASSERT_TRUE(images.acc.padsUntouched());
    });
  };
  for (int32_t width = 1; width <= 35; ++width) onSize({width, 2}, width % 3, 0.05f);
  for (const float alpha : {0.0f, -0.0f, 1.0f, -2.5f, INFINITY, NAN}) onSize({21, 3}, 1, alpha);
  onSize({512, 512}, 1, 0.3f);
}

#define SRC1 i.src1.data(), i.src1.step()
#define SRC2 i.src2.data(), i.src2.step()
#define MASK i.mask.data(), i.mask.step()
#define ACC i.acc.data(), i.acc.step(), i.size
#define CALL(T, ...) \
  (Call<T>)[](const Images<T>& i) { return __VA_ARGS__; }

#define TEST_FORM(form, T)                                                                       \
  TEST(Accumulate, MatchesReference_##form) {                                                    \
    using O = Operation;                                                                         \
    compare<T>(O::add, true, CALL(T, nuviAdd_##form##_C1IMR(SRC1, MASK, ACC)));                  \
    compare<T>(O::square, false, CALL(T, nuviAddSquare_##form##_C1IR(SRC1, ACC)));               \
    compare<T>(O::square, true, CALL(T, nuviAddSquare_##form##_C1IMR(SRC1, MASK, ACC)));         \
    compare<T>(O::product, false, CALL(T, nuviAddProduct_##form##_C1IR(SRC1, SRC2, ACC)));       \
    compare<T>(O::product, true, CALL(T, nuviAddProduct_##form##_C1IMR(SRC1, SRC2, MASK, ACC))); \
    compare<T>(O::weighted, false, CALL(T, nuviAddWeighted_##form##_C1IR(SRC1, ACC, i.alpha)));  \
    compare<T>(O::weighted, true,                                                                \
               CALL(T, nuviAddWeighted_##form##_C1IMR(SRC1, MASK, ACC, i.alpha)));               \
  }

TEST_FORM(8u32f, uint8_t)
TEST_FORM(8s32f, int8_t)
TEST_FORM(16u32f, uint16_t)
TEST_FORM(32f, float)

TEST(Accumulate, PlainSumMatchesReference) {
  compare<uint8_t>(Operation::add, false, CALL(uint8_t, nuviAdd_8u32f_C1IR(SRC1, ACC)));
  compare<int8_t>(Operation::add, false, CALL(int8_t, nuviAdd_8s32f_C1IR(SRC1, ACC)));
  compare<uint16_t>(Operation::add, false, CALL(uint16_t, nuviAdd_16u32f_C1IR(SRC1, ACC)));
}

TEST(Accumulate, WeightedSumOfTwoImages) {
  for (int32_t width = 1; width <= 35; ++width) {
    const NuviSize size = {width, 3};
    TestImage<float> a(size, 1, 1), b(size, 1, 2), dst(size), expected(size);
    a.fill(RandomSamples<float>(1));
    b.fill(RandomSamples<float>(2));
    for (int32_t y = 0; y < 3; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const float difference = a.at(x, y) - b.at(x, y);
        expected.at(x, y) = std::fma(difference, 0.7f, b.at(x, y));
      }
    }
    ASSERT_EQ(nuvStatusOk, nuviAddWeighted_32f_C1R(a.data(), a.step(), b.data(), b.step(),
                                                   dst.data(), dst.step(), size, 0.7f));
    ASSERT_EQ(expected.bytes(), dst.bytes());
  }
}

// The places of the element tests differ between the source types.
TEST(Accumulate, ChecksInOrder) {
  uint16_t s[8] = {};
  uint8_t m[8] = {};
  float f[8] = {}, d[8] = {1, 2, 3, 4};
  const NuviSize size = {2, 2};
  EXPECT_EQ(nuvStatusNullPointer,
            nuviAddProduct_16u32f_C1IMR(s, 4, s, 4, nullptr, 0, d, 0, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, nuviAddSquare_16u32f_C1IMR(s, 0, m, 0, d, 0, {2, 0}));
  // An odd 16-bit step is told before a short step of the mask or the accumulator ...
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAdd_16u32f_C1IMR(s, 5, m, 1, d, 7, size));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAdd_16u32f_C1IR(s, 5, d, 7, size));
  // ... but behind the row tests of both sources of a product.
  EXPECT_EQ(nuvStatusBadStep, nuviAddProduct_16u32f_C1IR(s, 5, s, 3, d, 8, size));
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviAddProduct_16u32f_C1IMR(s, 4, s, 5, m, 1, d, 7, size));
  // Float steps are tested for whole elements last, all at once.
  EXPECT_EQ(nuvStatusBadStep, nuviAdd_32f_C1IMR(f, 9, m, 1, d, 8, size));
  EXPECT_EQ(nuvStatusBadStep, nuviAddWeighted_32f_C1IR(f, 9, d, 7, size, 1.0f));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddWeighted_32f_C1IMR(f, 9, m, 2, d, 8, size, 1));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddSquare_16u32f_C1IR(s, 4, d, 9, size));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, nuviAddWeighted_32f_C1R(f, 8, f, 8, d, 10, size, 1));
  EXPECT_EQ(nuvStatusBadStep, nuviAddWeighted_32f_C1R(f, 9, f, 7, d, 8, size, 1));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(static_cast<float>(i + 1), d[i]);
}

}  // namespace

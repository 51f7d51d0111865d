#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
T clamped(double value) {
  using Limits = std::numeric_limits<T>;
  return static_cast<T>(std::fmin(std::fmax(value, Limits::min()), Limits::max()));
}
int32_t fixedPointFactor(int32_t divisor) {
  return static_cast<int32_t>(std::trunc(16384.0f / static_cast<float>(divisor)));
}

// The arithmetic of each class of forms over the samples of one column, in whole blocks and in the
// tail behind them.
template <class ResultType>
struct Class16s {
  using Source = int16_t;
  using Result = ResultType;

  static int32_t blockWidth(size_t taps) { return taps == 3 || taps == 5 ? 4 : 16; }
  static Result block(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                      int32_t divisor) {
    const size_t n = k.size();
    const float inv = 1.0f / static_cast<float>(divisor);
    const auto K = [&](size_t j) { return inv * static_cast<float>(k[j]); };
    const auto P = [&](size_t j) { return static_cast<float>(p[j]); };
    float acc;
    if (n == 3 || n == 5) {
      acc = P(n / 2) * K(n / 2);
      for (size_t j = 0; j < n / 2; ++j) {
        const size_t last = n - 1 - j;
        if (k[j] == k[last]) {
          acc = std::fma(P(j) + P(last), K(j), acc);
        } else {
          acc = std::fma(P(j), K(j), acc);
          acc = std::fma(P(last), K(last), acc);
        }
      }
    } else {
      acc = P(0) * K(0);
      for (size_t j = 1; j < n; ++j) acc = std::fma(P(j), K(j), acc);
    }
    return clamped<Result>(clamped<int16_t>(std::nearbyint(acc)));
  }
  static Result tail(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                     int32_t divisor) {
    int64_t sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += int64_t{p[j]} * k[j];
    return clamped<Result>(
        std::trunc(static_cast<float>(sum) * (1.0f / static_cast<float>(divisor))));
  }
};

struct ClassLow16s {
  using Source = int16_t;
  using Result = int16_t;

  static int32_t blockWidth(size_t taps) { return taps == 3 || taps == 5 ? 8 : 16; }
  static int64_t sum(const std::vector<int16_t>& p, const std::vector<int16_t>& k) {
    int64_t sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += int64_t{p[j]} * k[j];
    return sum;
  }
  static int16_t block(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                       int32_t divisor) {
    const auto s = static_cast<int16_t>(sum(p, k));
    return divisor == 1 ? s : clamped<int16_t>((s * fixedPointFactor(divisor)) >> 14);
  }
  static int16_t tail(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                      int32_t divisor) {
    const auto product = static_cast<uint32_t>(sum(p, k) * fixedPointFactor(divisor));
    return static_cast<int16_t>(product >> 14);
  }
};

struct Class32f {
  using Source = float;
  using Result = float;

  static int32_t blockWidth(size_t) { return 1; }
  static float block(const std::vector<float>& p, const std::vector<float>& k, int32_t) {
    const size_t first = k.size() == 3 ? 1 : 0;
    float acc = p[first] * k[first];
    for (size_t j = 0; j < k.size(); ++j) {
      if (j != first) acc = std::fma(p[j], k[j], acc);
    }
    return acc;
  }
  static float tail(const std::vector<float>&, const std::vector<float>&, int32_t) { return NAN; }
};

#define FORM(Name, Arithmetic, channelCount, form, ...)                                          \
  struct Name : Arithmetic {                                                                     \
    using typename Arithmetic::Result;                                                           \
    using typename Arithmetic::Source;                                                           \
    static constexpr int32_t channels = channelCount;                                            \
    static constexpr auto size = nuviFilterColumnPipelineGetBufferSize_##form;                   \
    static NuvStatus call(const Source* const* src, Result* dst, int32_t step, NuviSize roiSize, \
                          const Source* kernel, int32_t taps, [[maybe_unused]] int32_t divisor,  \
                          uint8_t* scratch) {                                                    \
      return nuviFilterColumnPipeline_##form(src, dst, step, roiSize, kernel, taps,              \
                                             __VA_ARGS__ scratch);                               \
    }                                                                                            \
  };
#define DIVISOR divisor,
FORM(Form16sC1, Class16s<int16_t>, 1, 16s_C1R, DIVISOR)
FORM(Form16sC3, Class16s<int16_t>, 3, 16s_C3R, DIVISOR)
FORM(Form16s8uC1, Class16s<uint8_t>, 1, 16s8u_C1R, DIVISOR)
FORM(Form16s8uC3, Class16s<uint8_t>, 3, 16s8u_C3R, DIVISOR)
FORM(Form16s8sC1, Class16s<int8_t>, 1, 16s8s_C1R, DIVISOR)
FORM(Form16s8sC3, Class16s<int8_t>, 3, 16s8s_C3R, DIVISOR)
FORM(FormLow16sC1, ClassLow16s, 1, Low_16s_C1R, DIVISOR)
FORM(FormLow16sC3, ClassLow16s, 3, Low_16s_C3R, DIVISOR)
FORM(Form32fC1, Class32f, 1, 32f_C1R)
FORM(Form32fC3, Class32f, 3, 32f_C3R)
#undef FORM
#undef DIVISOR

// Source rows of exactly the stated length in an order of their own, a kernel and its divisor.
// Small coefficients leave halves to round, large ones saturate, wrap and lose bits in float.
template <class Form>
struct Problem {
  using Source = typename Form::Source;
  using Result = typename Form::Result;

  NuviSize size;
  int32_t divisor;
  std::vector<Source> kernel;
  TestImage<Source> src;
  std::vector<const Source*> rows;

  Problem(NuviSize roiSize, int32_t taps, unsigned seed)
      : size(roiSize),
        kernel(static_cast<size_t>(taps)),
        src({roiSize.width, roiSize.height + taps - 1}, Form::channels, 0,
            seed % 2 == 0 ? Against::end : Against::begin) {
    std::mt19937 random(seed);
    constexpr int32_t small[] = {1, 2, 3, 6, 9, -4, -1};
    constexpr int32_t large[] = {1, 256, 30000, 50000, -40000, 1 << 20};
    const bool isSmall = random() % 2 == 0;
    divisor = isSmall ? small[random() % 7] : large[random() % 6];
    RandomSamples<Source> coefficients(seed + 1), samples(seed + 2);
    for (auto& k : kernel) {
      k = static_cast<Source>(isSmall ? std::fmod(coefficients(), 10) : coefficients());
    }
    if (random() % 3 == 0) {
      for (size_t j = 0; j < kernel.size() / 2; ++j) kernel[kernel.size() - 1 - j] = kernel[j];
    }
    src.fill([&] { return isSmall ? std::fmod(samples(), 100) : samples(); });
    const int32_t last = src.size().height - 1;
    for (int32_t y = 0; y <= last; ++y) rows.push_back(src.row(seed % 3 == 0 ? y : last - y));
    rows[0] = rows.back();
  }

  NuvStatus run(const TestImage<Result>& dst, unsigned seed) const {
    const auto taps = static_cast<int32_t>(kernel.size());
    int32_t bytes = 0;
    EXPECT_EQ(nuvStatusOk, Form::size(size, taps, &bytes));
    const size_t shift = seed % 3 == 0 ? 1 : 0;  // an odd address, too
    const GuardedBlock scratch(static_cast<size_t>(bytes) + shift,
                               seed % 2 == 0 ? Against::end : Against::begin);
    const GuardedBlock pointers(rows.size() * sizeof(void*));
    std::memcpy(pointers.data(), rows.data(), pointers.size());
    return Form::call(reinterpret_cast<const Source* const*>(pointers.data()), dst.data(),
                      dst.step(), size, kernel.data(), taps, divisor, scratch.data() + shift);
  }

  void expectResults(unsigned seed) const {
    SCOPED_TRACE(std::to_string(size.width) + " wide, taps " + std::to_string(kernel.size()) +
                 " divisor " + std::to_string(divisor));
    const TestImage<Result> dst(size, Form::channels, static_cast<int32_t>(seed % 2));
    ASSERT_EQ(nuvStatusOk, run(dst, seed));
    const int32_t blockWidth = Form::blockWidth(kernel.size());
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < dst.samples(); ++x) {
        std::vector<Source> column;
        for (size_t j = 0; j < kernel.size(); ++j) column.push_back(rows[size_t(y) + j][x]);
        const Result wanted = x < dst.samples() / blockWidth * blockWidth
                                  ? Form::block(column, kernel, divisor)
                                  : Form::tail(column, kernel, divisor);
        const Result result = dst.row(y)[x];
        ASSERT_EQ(0, std::memcmp(&wanted, &result, sizeof result))
            << x << "," << y << ": " << +wanted << " is right, not " << +result;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  }
};

template <class Form>
class ColumnPipeline : public ::testing::Test {};
using Forms = ::testing::Types<Form16sC1, Form16sC3, Form16s8uC1, Form16s8uC3, Form16s8sC1,
                               Form16s8sC3, FormLow16sC1, FormLow16sC3, Form32fC1, Form32fC3>;
TYPED_TEST_SUITE(ColumnPipeline, Forms);

TYPED_TEST(ColumnPipeline, MatchesReference) {
  unsigned seed = 1;
  for (const int32_t taps : {1, 2, 3, 4, 5, 6, 7, 8, 33}) {
    for (int32_t width = 1; width <= 70; width += width < 34 ? 1 : 5) {
      const Problem<TypeParam> problem({width, 1 + width % 3}, taps, seed);
      ASSERT_NO_FATAL_FAILURE(problem.expectResults(seed));
      ++seed;
    }
    const Problem<TypeParam> wide({211, 2}, taps, seed);
    ASSERT_NO_FATAL_FAILURE(wide.expectResults(seed));
  }
}

TYPED_TEST(ColumnPipeline, ThreadsChangeNothing) {
  for (const int32_t taps : {3, 7}) {
    for (const NuviSize size : {NuviSize{480, 480}, NuviSize{65536, 4}}) {
      const Problem<TypeParam> problem(size, taps, 5);
      nuvSetNumThreads(1);
      const TestImage<typename TypeParam::Result> one(size, TypeParam::channels);
      ASSERT_EQ(nuvStatusOk, problem.run(one, 0));
      withThreadCounts([&] {
        const TestImage<typename TypeParam::Result> many(size, TypeParam::channels);
        ASSERT_EQ(nuvStatusOk, problem.run(many, 1));
        ASSERT_EQ(one.bytes(), many.bytes());
      });
    }
  }
}

TYPED_TEST(ColumnPipeline, FirstFailureInOrderAndNothingWritten) {
  using Source = typename TypeParam::Source;
  using Result = typename TypeParam::Result;
  constexpr int32_t row = 2 * TypeParam::channels * static_cast<int32_t>(sizeof(Result));
  constexpr bool hasDivisor = !std::is_same_v<Source, float>;
  Source src[8] = {}, kernel[3] = {1, 2, 1};
  const Source* rows[] = {src, src, src, nullptr};
  Result dst[16] = {};
  uint8_t scratch[4096];
  const auto call = [&](const Source** ppSrc, Result* pDst, int32_t step, NuviSize size,
                        const Source* pKernel, int32_t taps, int32_t divisor, uint8_t* pBuffer) {
    return TypeParam::call(ppSrc, pDst, step, size, pKernel, taps, divisor, pBuffer);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, dst, 0, {0, 0}, kernel, 0, 0, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, call(rows, nullptr, 0, {0, 0}, kernel, 0, 0, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, call(rows, dst, 0, {0, 0}, nullptr, 0, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(rows, dst, 0, {2, 0}, kernel, 3, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(rows, dst, 0, {0, 2}, kernel, 3, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(rows, dst, 0, {2, 2}, kernel, 0, 0, nullptr));
  EXPECT_EQ(nuvStatusBadStep, call(rows, dst, row - 1, {2, 2}, kernel, 3, 0, nullptr));
  EXPECT_EQ(nuvStatusBadStep, call(rows, dst, -row, {2, 2}, kernel, 3, 0, nullptr));
  EXPECT_EQ(sizeof(Result) > 1 ? nuvStatusStepNotElementMultiple : nuvStatusNullPointer,
            call(rows, dst, row + 1, {2, 2}, kernel, 3, 0, nullptr));
  EXPECT_EQ(nuvStatusNullPointer, call(rows, dst, row, {2, 2}, kernel, 3, 0, nullptr));
  EXPECT_EQ(hasDivisor ? nuvStatusBadArgument : nuvStatusNullPointer,
            call(rows, dst, row, {2, 2}, kernel, 3, 0, scratch));
  EXPECT_EQ(nuvStatusNullPointer, call(rows, dst, row, {2, 2}, kernel, 3, 1, scratch));
  for (const Result value : dst) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, call(rows, dst, row, {2, 1}, kernel, 3, 1, scratch));
}

TEST(ColumnPipelineValues, BlocksRoundAndTailsTruncate) {
  const int16_t row[7] = {1, 3, 5, 7, 1, 3, 7};
  const int16_t* rows[] = {row, row, row};
  const int16_t kernel[] = {1, 2, 1};
  int16_t dst[7];
  uint8_t scratch[512];
  ASSERT_EQ(nuvStatusOk,
            nuviFilterColumnPipeline_16s_C1R(rows, dst, 14, {7, 1}, kernel, 3, 8, scratch));
  const int16_t expected[] = {0, 2, 2, 4, 0, 1, 3};
  EXPECT_EQ(0, std::memcmp(expected, dst, sizeof dst));
}

TYPED_TEST(ColumnPipeline, SizesAreChecked) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::size({0, 0}, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({0, 1}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 1}, 0, &bytes));
  EXPECT_EQ(-1, bytes);
}

TEST(ColumnPipelineSizes, AreTheStatedBytes) {
  nuvSetNumThreads(3);
  const auto size = [](auto function) {
    int32_t bytes = 0;
    function(NuviSize{101, 50}, 7, &bytes);
    return bytes;
  };
  const int32_t common = 3 * 32 + (7 + 50) * 3 * 4;
  EXPECT_EQ(common + 3 * (104 * 12 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s_C1R));
  EXPECT_EQ(common + 3 * (104 * 36 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s_C3R));
  EXPECT_EQ(common + 3 * (104 * 12 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s8u_C1R));
  EXPECT_EQ(common + 3 * (104 * 36 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s8u_C3R));
  EXPECT_EQ(common + 3 * (104 * 12 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s8s_C1R));
  EXPECT_EQ(common + 3 * (104 * 36 + 32), size(nuviFilterColumnPipelineGetBufferSize_16s8s_C3R));
  EXPECT_EQ(common + 3 * (104 * 12 + 32), size(nuviFilterColumnPipelineGetBufferSize_Low_16s_C1R));
  EXPECT_EQ(common + 3 * (104 * 36 + 32), size(nuviFilterColumnPipelineGetBufferSize_Low_16s_C3R));
  EXPECT_EQ(32, size(nuviFilterColumnPipelineGetBufferSize_32f_C1R));
  EXPECT_EQ(32, size(nuviFilterColumnPipelineGetBufferSize_32f_C3R));
  nuvSetNumThreads(0);
}

}  // namespace

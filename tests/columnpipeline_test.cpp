#include <gtest/gtest.h>

#include "support/separable.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The arithmetic of each class of forms: samples p and coefficients k of one column, which stands
// in a whole block of its row or in the tail behind them.
template <class ResultType>
struct Class16s {
  using Source = int16_t;
  using Result = ResultType;

  static size_t block(size_t taps) { return taps == 3 || taps == 5 ? 4 : 16; }
  static Result result(const std::vector<int16_t>& samples, const std::vector<int16_t>& k,
                       int32_t divisor, bool inBlock) {
    const float inverse = inverseOf(divisor);
    if (!inBlock) {
      return clamped<Result>(std::trunc(static_cast<float>(exactSum(samples, k)) * inverse));
    }
    const size_t n = k.size();
    const std::vector<float> p(samples.begin(), samples.end());
    const auto scaled = [&](size_t j) { return inverse * static_cast<float>(k[j]); };
    const size_t first = n == 3 || n == 5 ? n / 2 : 0;
    float sum = p[first] * scaled(first);
    for (size_t j = 0; j < first; ++j) {
      const size_t last = n - 1 - j;
      if (k[j] == k[last]) {
        sum = std::fma(p[j] + p[last], scaled(j), sum);
      } else {
        sum = std::fma(p[last], scaled(last), std::fma(p[j], scaled(j), sum));
      }
    }
    if (first == 0) {
      for (size_t j = 1; j < n; ++j) sum = std::fma(p[j], scaled(j), sum);
    }
    return clamped<Result>(clamped<int16_t>(std::nearbyint(sum)));
  }
};

struct ClassLow16s {
  using Source = int16_t;
  using Result = int16_t;

  static size_t block(size_t taps) { return taps == 3 || taps == 5 ? 8 : 16; }
  static int16_t result(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                        int32_t divisor, bool inBlock) {
    return inBlock ? lowWrapped(exactSum(p, k), divisor) : lowFull(exactSum(p, k), divisor);
  }
};

struct Class32f {
  using Source = float;
  using Result = float;

  static size_t block(size_t) { return 1; }
  static float result(const std::vector<float>& p, const std::vector<float>& k, int32_t, bool) {
    const size_t first = k.size() == 3 ? 1 : 0;
    float sum = p[first] * k[first];
    for (size_t j = 0; j < k.size(); ++j) {
      if (j != first) sum = std::fma(p[j], k[j], sum);
    }
    return sum;
  }
};

#define FORM(Name, Class, channelCount, form, ...)                                               \
  struct Name : Class {                                                                          \
    using typename Class::Result;                                                                \
    using typename Class::Source;                                                                \
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

// Runs a form and compares every sample with the definition. The source rows stand in reverse, and
// odd seeds lend scratch at an odd address.
template <class Form>
void expectReference(NuviSize size, int32_t taps, unsigned seed) {
  using Source = typename Form::Source;
  using Result = typename Form::Result;
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " taps " << taps);
  const unsigned odd = seed % 2;
  const Against against = odd == 0 ? Against::end : Against::begin;
  const RandomKernel<Source> kernel(taps, seed);
  const int32_t rowCount = size.height + taps - 1;
  TestImage<Source> src({size.width, rowCount}, Form::channels, 0, against);
  src.fill(kernel.template samples<Source>(seed + 2));
  const GuardedBlock pointers(static_cast<size_t>(rowCount) * sizeof(void*));
  auto** const rows = reinterpret_cast<const Source**>(pointers.data());
  for (int32_t y = 0; y < rowCount; ++y) rows[y] = src.row(rowCount - 1 - y);

  const TestImage<Result> expected(size, Form::channels);
  const auto block = static_cast<int32_t>(Form::block(kernel.taps.size()));
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < expected.samples(); ++x) {
      std::vector<Source> column;
      for (int32_t j = 0; j < taps; ++j) column.push_back(rows[y + j][x]);
      expected.at(x, y) =
          Form::result(column, kernel.taps, kernel.divisor, x < expected.samples() / block * block);
    }
  }
  const auto run = [&] {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, Form::size(size, taps, &bytes));
    const GuardedBlock scratch(static_cast<size_t>(bytes) + odd, against);
    const TestImage<Result> dst(size, Form::channels, static_cast<int32_t>(odd));
    ASSERT_EQ(nuvStatusOk, Form::call(rows, dst.data(), dst.step(), size, kernel.taps.data(), taps,
                                      kernel.divisor, scratch.data() + odd));
    ASSERT_EQ(expected.bytes(), dst.bytes()) << "divisor " << kernel.divisor;
    ASSERT_TRUE(dst.padsUntouched());
  };
  if (size.width < 32768) return run();
  withThreadCounts(run);
}

template <class Form>
class ColumnPipeline : public ::testing::Test {};
using Forms = ::testing::Types<Form16sC1, Form16sC3, Form16s8uC1, Form16s8uC3, Form16s8sC1,
                               Form16s8sC3, FormLow16sC1, FormLow16sC3, Form32fC1, Form32fC3>;
TYPED_TEST_SUITE(ColumnPipeline, Forms);

TYPED_TEST(ColumnPipeline, MatchesReference) {
  unsigned seed = 1;
  for (const int32_t taps : {1, 2, 3, 4, 5, 6, 7, 8, 33}) {
    for (int32_t width = 1; width <= 149; width += width < 34 ? 1 : 23) {
      expectReference<TypeParam>({width, 1 + width % 3}, taps, seed++);
      if (this->HasFatalFailure()) return;
    }
  }
  // Large enough for any number of threads.
  expectReference<TypeParam>({32768, 7}, 7, 5);
}

TYPED_TEST(ColumnPipeline, FirstFailureInOrderAndNothingWritten) {
  using Source = typename TypeParam::Source;
  using Result = typename TypeParam::Result;
  constexpr int32_t row = 2 * TypeParam::channels * static_cast<int32_t>(sizeof(Result));
  constexpr bool hasDivisor = !std::is_same_v<Source, float>;
  const Source src[8] = {}, kernel[3] = {1, 2, 1};
  const Source* rows[] = {src, src, src, nullptr};
  Result dst[16] = {};
  uint8_t scratch[4096];
  const auto call = [&](NuviSize size, int32_t taps, int32_t step, uint8_t* pBuffer,
                        int32_t divisor) {
    return TypeParam::call(rows, dst, step, size, kernel, taps, divisor, pBuffer);
  };
  for (int missing = 0; missing < 3; ++missing) {
    EXPECT_EQ(nuvStatusNullPointer,
              TypeParam::call(missing == 0 ? nullptr : rows, missing == 1 ? nullptr : dst, 0,
                              {0, 0}, missing == 2 ? nullptr : kernel, 0, 0, nullptr));
  }
  EXPECT_EQ(nuvStatusBadSize, call({2, 0}, 3, 0, nullptr, 0));
  EXPECT_EQ(nuvStatusBadSize, call({0, 2}, 3, 0, nullptr, 0));
  EXPECT_EQ(nuvStatusBadSize, call({2, 2}, 0, 0, nullptr, 0));
  EXPECT_EQ(nuvStatusBadStep, call({2, 2}, 3, row - 1, nullptr, 0));
  EXPECT_EQ(nuvStatusBadStep, call({2, 2}, 3, -row, nullptr, 0));
  EXPECT_EQ(sizeof(Result) > 1 ? nuvStatusStepNotElementMultiple : nuvStatusNullPointer,
            call({2, 2}, 3, row + 1, nullptr, 0));
  EXPECT_EQ(nuvStatusNullPointer, call({2, 2}, 3, row, nullptr, 0));
  EXPECT_EQ(hasDivisor ? nuvStatusBadArgument : nuvStatusNullPointer,
            call({2, 2}, 3, row, scratch, 0));
  EXPECT_EQ(nuvStatusNullPointer, call({2, 2}, 3, row, scratch, 1));
  for (const Result value : dst) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, call({2, 1}, 3, row, scratch, 1));
}

TYPED_TEST(ColumnPipeline, ReportedSize) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::size({0, 0}, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({0, 1}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 1}, 0, &bytes));
  EXPECT_EQ(-1, bytes);
  // A row of 105 pixels has room for whole blocks of 4 samples, or of 8.
  const int32_t pixels = std::is_base_of_v<ClassLow16s, TypeParam> ? 112 : 108;
  const int32_t share = 32 + (7 + 50) * 4 + pixels * TypeParam::channels * 12 + 32;
  nuvSetNumThreads(3);
  EXPECT_EQ(nuvStatusOk, TypeParam::size({105, 50}, 7, &bytes));
  EXPECT_EQ((std::is_base_of_v<Class32f, TypeParam>) ? 32 : 3 * share, bytes);
  nuvSetNumThreads(0);
}

}  // namespace

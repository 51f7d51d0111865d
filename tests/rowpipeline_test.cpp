#include <gtest/gtest.h>

#include "support/border.h"
#include "support/separable.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

int16_t rounded(float value) { return clamped<int16_t>(std::nearbyint(value)); }
int16_t truncated(float value) { return clamped<int16_t>(std::trunc(value)); }

template <class S, class R, class C>
struct Types {
  using Source = S;
  using Result = R;
  using Coefficient = C;
};

// The arithmetic of each class of forms: samples p and coefficients k of one window, which lies in
// the interior of the row or passes its ends.
struct Class16s : Types<int16_t, int16_t, int16_t> {
  static int16_t result(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                        int32_t divisor, bool isInterior) {
    const float inverse = inverseOf(divisor);
    const size_t n = k.size();
    const bool isFixed = n == 3 || n == 5;
    if (!isInterior) return truncated(edge(p, k, inverse));

    float magnitude = 0;
    for (const int16_t c : k) magnitude += std::fabs(static_cast<float>(c));
    const bool hasLowest = std::find(k.begin(), k.end(), INT16_MIN) != k.end();
    if (isFixed ? magnitude >= 65535.0f : hasLowest) return rounded(scaledFirst(p, k, inverse));
    if (isFixed) return rounded(static_cast<float>(exactSum(p, k)) * inverse);
    float sum = 0;
    for (size_t j = 0, group; j < n; j += group) {
      group = n - j >= 4 ? 4 : 1;
      int64_t part = 0;
      for (size_t i = j; i < j + group; ++i) part += int64_t{k[i]} * p[i];
      sum += static_cast<float>(static_cast<int32_t>(part));
    }
    return rounded(sum * inverse);
  }

  static float scaledFirst(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                           float inverse) {
    const size_t n = k.size();
    const auto scaled = [&](size_t j) { return static_cast<float>(k[j]) * inverse; };
    const auto pair = [&](size_t j) {
      const size_t last = n - 1 - j;
      if (k[j] == k[last]) return static_cast<float>(p[j] + p[last]) * scaled(j);
      return p[j] * scaled(j) + p[last] * scaled(last);
    };
    if (n == 3) return pair(0) + p[1] * scaled(1);
    if (n == 5) return (pair(0) + pair(1)) + p[2] * scaled(2);
    float sum = 0;
    for (size_t j = 0; j < n; ++j) sum += p[j] * scaled(j);
    return sum;
  }

  static float edge(const std::vector<int16_t>& samples, const std::vector<int16_t>& k,
                    float inverse) {
    const std::vector<float> p(samples.begin(), samples.end()), c(k.begin(), k.end());
    if (k.size() == 3) {
      const float last = std::fma(p[1], c[1], c[2] * p[2]);
      return std::fma(last, inverse, (p[0] * inverse) * c[0]);
    }
    float sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += p[j] * c[j];
    return sum * inverse;
  }
};

struct Class8u16s : Types<uint8_t, int16_t, int16_t> {
  static int16_t result(const std::vector<uint8_t>& p, const std::vector<int16_t>& k,
                        int32_t divisor, bool isInterior) {
    const float quotient = static_cast<float>(exactSum(p, k)) * inverseOf(divisor);
    return isInterior ? rounded(quotient) : truncated(quotient);
  }
};

struct ClassLow16s : Types<int16_t, int16_t, int16_t> {
  static int16_t result(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                        int32_t divisor, bool isInterior) {
    return isInterior ? lowWrapped(exactSum(p, k), divisor) : lowFull(exactSum(p, k), divisor);
  }
};

struct Class32f : Types<float, float, float> {
  static float result(const std::vector<float>& p, const std::vector<float>& k, int32_t,
                      bool isInterior) {
    float sum = p[0] * k[0];
    for (size_t j = 1; j < k.size(); ++j) {
      sum = isInterior ? std::fma(p[j], k[j], sum) : sum + p[j] * k[j];
    }
    return sum;
  }
};

// A form: its class, its channels, its functions called alike, and a thread's own bytes of scratch
// with 5 taps.
#define FORM(Name, Class, channelCount, form, fiveTapBytes, value, ...)                          \
  struct Name : Class {                                                                          \
    static constexpr int32_t channels = channelCount, ownBytes = fiveTapBytes;                   \
    static constexpr auto size = nuviFilterRowBorderPipelineGetBufferSize_##form;                \
    static NuvStatus call(const Source* src, int32_t step, Result* const* dst, NuviSize roiSize, \
                          const Coefficient* kernel, int32_t taps, int32_t anchor,               \
                          NuviBorderType border, const Source* pixel,                            \
                          [[maybe_unused]] int32_t divisor, uint8_t* scratch) {                  \
      return nuviFilterRowBorderPipeline_##form(src, step, dst, roiSize, kernel, taps, anchor,   \
                                                border, value, __VA_ARGS__ scratch);             \
    }                                                                                            \
  };
#define DIVISOR divisor,
FORM(Form16sC1, Class16s, 1, 16s_C1R, 320, *pixel, DIVISOR)
FORM(Form16sC3, Class16s, 3, 16s_C3R, 264, pixel, DIVISOR)
FORM(Form8u16sC1, Class8u16s, 1, 8u16s_C1R, 292, *pixel, DIVISOR)
FORM(Form8u16sC3, Class8u16s, 3, 8u16s_C3R, 412, pixel, DIVISOR)
FORM(FormLow16sC1, ClassLow16s, 1, Low_16s_C1R, 184, *pixel, DIVISOR)
FORM(FormLow16sC3, ClassLow16s, 3, Low_16s_C3R, 1104, pixel, DIVISOR)
FORM(Form32fC1, Class32f, 1, 32f_C1R, 384 + 16, *pixel)
FORM(Form32fC3, Class32f, 3, 32f_C3R, 992, pixel)
#undef FORM
#undef DIVISOR

// Runs a form and compares every sample with the definition. The result rows stand in reverse, and
// odd seeds lend scratch at an odd address.
template <class Form>
void expectReference(NuviSize size, int32_t taps, int32_t anchor, NuviBorderType border,
                     unsigned seed) {
  using Source = typename Form::Source;
  using Result = typename Form::Result;
  SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " taps " << taps
                                  << " anchor " << anchor << " border " << border);
  const unsigned odd = seed % 2;
  const Against against = odd == 0 ? Against::end : Against::begin;
  const RandomKernel<typename Form::Coefficient> kernel(taps, seed);
  auto samples = kernel.template samples<Source>(seed + 2);
  TestImage<Source> src(size, Form::channels, static_cast<int32_t>(seed % 3), against);
  src.fill(samples);
  const Source constant[] = {samples(), samples(), samples()};

  const TestImage<Result> expected(size, Form::channels);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t i = 0; i < expected.samples(); ++i) {
      const int32_t x = i / Form::channels, channel = i % Form::channels;
      std::vector<Source> window;
      for (int32_t j = x - anchor; j < x - anchor + taps; ++j) {
        const int32_t inside = standIn(border, j, size.width);
        window.push_back(inside < 0 ? constant[channel]
                                    : src.row(y)[Form::channels * inside + channel]);
      }
      const bool isInterior = x >= anchor && x < size.width - (taps - 1 - anchor);
      expected.row(size.height - 1 - y)[i] =
          Form::result(window, kernel.taps, kernel.divisor, isInterior);
    }
  }
  const auto run = [&] {
    int32_t bytes = 0;
    ASSERT_EQ(nuvStatusOk, Form::size(size, taps, &bytes));
    const GuardedBlock scratch(static_cast<size_t>(bytes) + odd, against);
    const TestImage<Result> dst(size, Form::channels, static_cast<int32_t>(odd));
    const GuardedBlock pointers(static_cast<size_t>(size.height) * sizeof(void*));
    auto** const rows = reinterpret_cast<Result**>(pointers.data());
    for (int32_t y = 0; y < size.height; ++y) rows[y] = dst.row(size.height - 1 - y);
    ASSERT_EQ(nuvStatusOk,
              Form::call(src.data(), src.step(), rows, size, kernel.taps.data(), taps, anchor,
                         border, constant, kernel.divisor, scratch.data() + odd));
    ASSERT_EQ(expected.bytes(), dst.bytes()) << "divisor " << kernel.divisor;
    ASSERT_TRUE(dst.padsUntouched());
  };
  if (size.width < 32768) return run();
  withThreadCounts(run);
}

template <class Form>
class RowPipeline : public ::testing::Test {};
using Forms = ::testing::Types<Form16sC1, Form16sC3, Form8u16sC1, Form8u16sC3, FormLow16sC1,
                               FormLow16sC3, Form32fC1, Form32fC3>;
TYPED_TEST_SUITE(RowPipeline, Forms);

TYPED_TEST(RowPipeline, MatchesReference) {
  unsigned seed = 1;
  for (const int32_t taps : {1, 2, 3, 4, 5, 6, 7, 8, 11, 40}) {
    for (int32_t width = 1; width <= 131; width += width < 50 ? 1 : 27) {
      const auto anchor = static_cast<int32_t>(seed * 7 % static_cast<unsigned>(taps));
      expectReference<TypeParam>({width, 2}, taps, anchor, static_cast<int32_t>(seed % 5), seed);
      if (this->HasFatalFailure()) return;
      ++seed;
    }
  }
  // Large enough for any number of threads.
  expectReference<TypeParam>({32768, 7}, 7, 2, nuvBorderMirror, 4);
}

// Sums of bytes on both sides of 16 bits.
TEST(RowPipelineValues, SumsOfBytesSaturate) {
  const std::vector<uint8_t> src(40, 255);
  std::vector<uint8_t> scratch(4096);
  for (const int16_t middle : {126, 127, -126, -131}) {
    const auto side = static_cast<int16_t>(middle < 0 ? -1 : 1);
    const int16_t kernel[] = {side, middle, side};
    int16_t dst[40];
    int16_t* rows[] = {dst};
    ASSERT_EQ(nuvStatusOk,
              nuviFilterRowBorderPipeline_8u16s_C1R(src.data(), 40, rows, {40, 1}, kernel, 3, 1,
                                                    nuvBorderReplicate, 0, 1, scratch.data()));
    for (const int16_t value : dst) {
      EXPECT_EQ(clamped<int16_t>(255.0 * (middle + 2 * side)), value);
    }
  }
}

TYPED_TEST(RowPipeline, FirstFailureInOrderAndNothingWritten) {
  using Source = typename TypeParam::Source;
  using Result = typename TypeParam::Result;
  constexpr auto element = static_cast<int32_t>(sizeof(Source));
  constexpr int32_t row = 2 * TypeParam::channels * element;
  const Source src[16] = {};
  Result dst[16] = {};
  Result* rows[] = {dst, nullptr};
  const typename TypeParam::Coefficient kernel[] = {1, 2, 1};
  uint8_t scratch[8192];
  const auto call = [&](NuviSize size, int32_t taps, int32_t anchor, int32_t step,
                        NuviBorderType border, int32_t divisor) {
    return TypeParam::call(src, step, rows, size, kernel, taps, anchor, border, src, divisor,
                           scratch);
  };
  for (int missing = 0; missing < 4; ++missing) {
    EXPECT_EQ(nuvStatusNullPointer,
              TypeParam::call(missing == 0 ? nullptr : src, 0, missing == 1 ? nullptr : rows,
                              {0, 0}, missing == 2 ? nullptr : kernel, 0, 9, 9, src, 0,
                              missing == 3 ? nullptr : scratch));
  }
  EXPECT_EQ(nuvStatusBadSize, call({2, 0}, 3, 3, 0, 9, 0));
  EXPECT_EQ(nuvStatusBadSize, call({0, 2}, 3, 3, 0, 9, 0));
  EXPECT_EQ(nuvStatusBadSize, call({2, 2}, 0, 3, 0, 9, 0));
  EXPECT_EQ(nuvStatusBadAnchor, call({2, 2}, 3, 3, row - 1, 9, 0));
  EXPECT_EQ(nuvStatusBadAnchor, call({2, 2}, 3, -1, row - 1, 9, 0));
  EXPECT_EQ(nuvStatusBadStep, call({2, 2}, 3, 1, row - 1, 9, 0));
  EXPECT_EQ(nuvStatusBadStep, call({2, 2}, 3, 1, -row, 9, 0));
  EXPECT_EQ(element > 1 ? nuvStatusStepNotElementMultiple : nuvStatusBadArgument,
            call({2, 2}, 3, 1, row + element / 2, 9, 0));
  for (const NuviBorderType border : {-1, 5, 6, 0x10, 0x41, 0xF0}) {
    EXPECT_EQ(nuvStatusBadArgument, call({2, 2}, 3, 1, row, border, 1));
  }
  if (!std::is_same_v<Source, float>) {
    EXPECT_EQ(nuvStatusBadArgument, call({2, 2}, 3, 1, row, 4, 0));
  }
  for (const Result value : dst) EXPECT_EQ(0, value);
  EXPECT_EQ(nuvStatusOk, call({2, 1}, 3, 1, row + element, 4, 1));  // an odd step, for bytes
}

// The rows before a null one are written and nothing behind it, also by a team.
TEST(RowPipelineChecks, NullRowEndsTheRun) {
  const NuviSize size = {512, 512};
  const TestImage<uint8_t> src(size);
  const int16_t kernel[] = {1, 2, 1};
  withThreadCounts([&] {
    const TestImage<int16_t> dst(size);
    std::vector<int16_t*> rows;
    for (int32_t y = 0; y < size.height; ++y) rows.push_back(dst.row(y));
    rows[5] = rows[400] = nullptr;
    int32_t bytes = 0;
    nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R(size, 3, &bytes);
    const GuardedBlock scratch(static_cast<size_t>(bytes));
    const int16_t before = dst.at(0, 0);
    EXPECT_EQ(nuvStatusNullPointer, nuviFilterRowBorderPipeline_8u16s_C1R(
                                        src.data(), src.step(), rows.data(), size, kernel, 3, 1,
                                        nuvBorderWrap, 0, 1, scratch.data()));
    for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(4 * src.at(0, 0), dst.at(511, y));
    EXPECT_EQ(before, dst.at(0, 6));
  });
}

TYPED_TEST(RowPipeline, ReportedSize) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::size({0, 0}, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({0, 1}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 1}, 0, &bytes));
  EXPECT_EQ(-1, bytes);
  nuvSetNumThreads(2);
  EXPECT_EQ(nuvStatusOk, TypeParam::size({100, 50}, 5, &bytes));
  EXPECT_EQ(2 * (32 + (5 + 50) * 4 + TypeParam::ownBytes), bytes);
  nuvSetNumThreads(0);
}

}  // namespace

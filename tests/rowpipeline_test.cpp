#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// The position that stands in for `i`, by the definition of each kind, one reflection at a time.
int32_t standIn(NuviBorderType border, int32_t i, int32_t w) {
  if (i >= 0 && i < w) return i;
  switch (border) {
    case nuvBorderReplicate:
      return i < 0 ? 0 : w - 1;
    case nuvBorderWrap:
      return standIn(border, i < 0 ? i + w : i - w, w);
    case nuvBorderMirror:
      if (w == 1) return 0;
      return standIn(border, i < 0 ? -i : 2 * (w - 1) - i, w);
    default:
      return standIn(border, i < 0 ? -1 - i : 2 * w - 1 - i, w);
  }
}

int16_t clamped(double value) {
  return static_cast<int16_t>(std::fmin(std::fmax(value, -32768.0), 32767.0));
}
int16_t rounded(float value) { return clamped(std::nearbyint(value)); }
int16_t truncated(float value) { return clamped(std::trunc(value)); }
int32_t wrapped32(int64_t value) { return static_cast<int32_t>(value); }
int16_t wrapped16(int64_t value) { return static_cast<int16_t>(value); }
int32_t fixedPointFactor(int32_t divisor) {
  return static_cast<int32_t>(std::trunc(16384.0f / static_cast<float>(divisor)));
}

// The arithmetic of each class of forms, over the samples of one window.
struct Class16s {
  using Source = int16_t;
  using Result = int16_t;
  using Coefficient = int16_t;

  static int16_t interior(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                          int32_t divisor) {
    const float inv = 1.0f / static_cast<float>(divisor);
    const size_t n = k.size();
    float magnitude = 0;
    bool lowest = false;
    for (const int16_t c : k) {
      magnitude += std::fabs(static_cast<float>(c));
      lowest |= c == -32768;
    }
    const bool isFixed = n == 3 || n == 5;
    if (isFixed ? !(65535.0f > magnitude) : lowest) return inFloat(p, k, inv);
    if (isFixed) {
      int64_t sum = 0;
      for (size_t j = 0; j < n; ++j) sum += int64_t{k[j]} * p[j];
      return rounded(static_cast<float>(sum) * inv);
    }
    float sum = 0;
    size_t j = 0;
    for (; j + 4 <= n; j += 4) {
      int64_t group = 0;
      for (size_t i = j; i < j + 4; ++i) group += int64_t{k[i]} * p[i];
      sum += static_cast<float>(wrapped32(group));
    }
    for (; j < n; ++j) sum += static_cast<float>(int32_t{k[j]} * p[j]);
    return rounded(sum * inv);
  }

  static int16_t inFloat(const std::vector<int16_t>& p, const std::vector<int16_t>& k, float inv) {
    const size_t n = k.size();
    const auto K = [&](size_t j) { return static_cast<float>(k[j]) * inv; };
    const auto P = [&](size_t j) { return static_cast<float>(p[j]); };
    const auto pair = [&](size_t a, size_t b) {
      if (k[a] == k[b]) return (P(a) + P(b)) * K(a);
      const float first = P(a) * K(a), second = P(b) * K(b);
      return first + second;
    };
    float sum = 0;
    if (n == 3) {
      sum = pair(0, 2) + P(1) * K(1);
    } else if (n == 5) {
      sum = (pair(0, 4) + pair(1, 3)) + P(2) * K(2);
    } else {
      for (size_t j = 0; j < n; ++j) sum += P(j) * K(j);
    }
    return rounded(sum);
  }

  static int16_t edge(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                      int32_t divisor) {
    const float inv = 1.0f / static_cast<float>(divisor);
    const auto K = [&](size_t j) { return static_cast<float>(k[j]); };
    const auto P = [&](size_t j) { return static_cast<float>(p[j]); };
    if (k.size() == 3) {
      float t = K(2) * P(2);
      t = std::fma(P(1), K(1), t);
      const float u = (P(0) * inv) * K(0);
      return truncated(std::fma(t, inv, u));
    }
    float sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += P(j) * K(j);
    return truncated(sum * inv);
  }
};

struct Class8u16s {
  using Source = uint8_t;
  using Result = int16_t;
  using Coefficient = int16_t;

  static float quotient(const std::vector<uint8_t>& p, const std::vector<int16_t>& k,
                        int32_t divisor) {
    int64_t sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += int64_t{k[j]} * p[j];
    return static_cast<float>(sum) * (1.0f / static_cast<float>(divisor));
  }
  static int16_t interior(const std::vector<uint8_t>& p, const std::vector<int16_t>& k,
                          int32_t divisor) {
    return rounded(quotient(p, k, divisor));
  }
  static int16_t edge(const std::vector<uint8_t>& p, const std::vector<int16_t>& k,
                      int32_t divisor) {
    return truncated(quotient(p, k, divisor));
  }
};

struct ClassLow16s {
  using Source = int16_t;
  using Result = int16_t;
  using Coefficient = int16_t;

  static int32_t sum(const std::vector<int16_t>& p, const std::vector<int16_t>& k) {
    int64_t sum = 0;
    for (size_t j = 0; j < k.size(); ++j) sum += int64_t{k[j]} * p[j];
    return wrapped32(sum);
  }
  static int16_t interior(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                          int32_t divisor) {
    const int16_t s = wrapped16(sum(p, k));
    return divisor == 1 ? s : clamped((s * fixedPointFactor(divisor)) >> 14);
  }
  static int16_t edge(const std::vector<int16_t>& p, const std::vector<int16_t>& k,
                      int32_t divisor) {
    const int32_t s = sum(p, k);
    if (divisor == 1) return wrapped16(s);
    const auto product = static_cast<uint32_t>(int64_t{s} * fixedPointFactor(divisor));
    return wrapped16(product >> 14);
  }
};

struct Class32f {
  using Source = float;
  using Result = float;
  using Coefficient = float;

  static float interior(const std::vector<float>& p, const std::vector<float>& k, int32_t) {
    float sum = p[0] * k[0];
    for (size_t j = 1; j < k.size(); ++j) sum = std::fma(p[j], k[j], sum);
    return sum;
  }
  static float edge(const std::vector<float>& p, const std::vector<float>& k, int32_t) {
    float sum = p[0] * k[0];
    for (size_t j = 1; j < k.size(); ++j) {
      const float product = p[j] * k[j];
      sum = sum + product;
    }
    return sum;
  }
};

// One form: its class, its channels and its two functions, called alike.
template <class Arithmetic, int32_t channelCount>
struct FormOf : Arithmetic {
  static constexpr int32_t channels = channelCount;
  using Source = typename Arithmetic::Source;

  // The border value as the form takes it.
  static auto borderOf(const Source* pixel) {
    if constexpr (channels == 1) {
      return *pixel;
    } else {
      return pixel;
    }
  }
};

#define FORM(Name, Arithmetic, channels, form, ...)                                              \
  struct Name : FormOf<Arithmetic, channels> {                                                   \
    static constexpr auto size = nuviFilterRowBorderPipelineGetBufferSize_##form;                \
    static NuvStatus call(const Source* src, int32_t step, Result* const* dst, NuviSize roiSize, \
                          const Coefficient* kernel, int32_t taps, int32_t anchor,               \
                          NuviBorderType border, const Source* value,                            \
                          [[maybe_unused]] int32_t divisor, uint8_t* scratch) {                  \
      return nuviFilterRowBorderPipeline_##form(src, step, dst, roiSize, kernel, taps, anchor,   \
                                                border, borderOf(value), __VA_ARGS__ scratch);   \
    }                                                                                            \
  };
#define DIVISOR divisor,
FORM(Form16sC1, Class16s, 1, 16s_C1R, DIVISOR)
FORM(Form16sC3, Class16s, 3, 16s_C3R, DIVISOR)
FORM(Form8u16sC1, Class8u16s, 1, 8u16s_C1R, DIVISOR)
FORM(Form8u16sC3, Class8u16s, 3, 8u16s_C3R, DIVISOR)
FORM(FormLow16sC1, ClassLow16s, 1, Low_16s_C1R, DIVISOR)
FORM(FormLow16sC3, ClassLow16s, 3, Low_16s_C3R, DIVISOR)
FORM(Form32fC1, Class32f, 1, 32f_C1R)
FORM(Form32fC3, Class32f, 3, 32f_C3R)
#undef FORM
#undef DIVISOR

// A kernel, its divisor and the samples that suit them. Small ones leave halves to round, large
// ones saturate, wrap and lose bits in float; some kernels are symmetric.
template <class Form>
struct Problem {
  using Source = typename Form::Source;
  using Coefficient = typename Form::Coefficient;

  NuviSize size;
  int32_t taps, anchor;
  NuviBorderType border;
  int32_t divisor;
  std::vector<Coefficient> kernel;
  TestImage<Source> src;
  Source value[3];

  Problem(NuviSize roiSize, int32_t tapCount, int32_t anchorTap, NuviBorderType kind, unsigned seed)
      : size(roiSize),
        taps(tapCount),
        anchor(anchorTap),
        border(kind),
        kernel(static_cast<size_t>(tapCount)),
        src(roiSize, Form::channels, static_cast<int32_t>(seed % 3),
            seed % 2 == 0 ? Against::end : Against::begin) {
    std::mt19937 random(seed);
    constexpr int32_t small[] = {1, 2, 3, 6, 9, -4, -1};
    constexpr int32_t large[] = {1, 256, 30000, 50000, -40000, 1 << 20};
    const bool isSmall = random() % 2 == 0;
    divisor = isSmall ? small[random() % 7] : large[random() % 6];
    RandomSamples<Coefficient> coefficients(seed + 1);
    for (auto& k : kernel) {
      k = coefficients();
      if (isSmall) k = static_cast<Coefficient>(std::fmod(k, 10));
    }
    if (random() % 3 == 0) {
      for (int32_t j = 0; j < taps / 2; ++j) kernel[size_t(taps - 1 - j)] = kernel[size_t(j)];
    }
    RandomSamples<Source> samples(seed + 2);
    const auto sample = [&] {
      return static_cast<Source>(isSmall ? std::fmod(samples(), 100) : samples());
    };
    src.fill(sample);
    for (auto& v : value) v = sample();
  }

  // The result at one sample, from the definition.
  typename Form::Result expected(int32_t x, int32_t y, int32_t channel) const {
    std::vector<Source> window(kernel.size());
    for (int32_t j = 0; j < taps; ++j) {
      const int32_t i = x + j - anchor;
      const bool inside = i >= 0 && i < size.width;
      window[size_t(j)] =
          !inside && border == nuvBorderConstant
              ? value[channel]
              : src.row(y)[Form::channels * standIn(border, i, size.width) + channel];
    }
    const bool isInterior = x >= anchor && x < size.width - (taps - 1 - anchor);
    return isInterior ? Form::interior(window, kernel, divisor)
                      : Form::edge(window, kernel, divisor);
  }

  // Calls the form with scratch of the reported size, and with rows in reverse order.
  NuvStatus run(const TestImage<typename Form::Result>& dst, unsigned seed) const {
    int32_t bytes = 0;
    EXPECT_EQ(nuvStatusOk, Form::size(size, taps, &bytes));
    const size_t shift = seed % 3 == 0 ? 1 : 0;  // an odd address, too
    const GuardedBlock scratch(static_cast<size_t>(bytes) + shift,
                               seed % 2 == 0 ? Against::end : Against::begin);
    const GuardedBlock pointers(static_cast<size_t>(size.height) * sizeof(void*));
    auto** rows = reinterpret_cast<typename Form::Result**>(pointers.data());
    for (int32_t y = 0; y < size.height; ++y) rows[y] = dst.row(size.height - 1 - y);
    return Form::call(src.data(), src.step(), rows, size, kernel.data(), taps, anchor, border,
                      value, divisor, scratch.data() + shift);
  }

  void expectResults(unsigned seed) const {
    SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " taps " +
                 std::to_string(taps) + " anchor " + std::to_string(anchor) + " border " +
                 std::to_string(border) + " divisor " + std::to_string(divisor));
    const TestImage<typename Form::Result> dst(size, Form::channels,
                                               static_cast<int32_t>(seed % 2));
    ASSERT_EQ(nuvStatusOk, run(dst, seed));
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t i = 0; i < dst.samples(); ++i) {
        const auto result = dst.row(size.height - 1 - y)[i];
        const auto wanted = expected(i / Form::channels, y, i % Form::channels);
        ASSERT_EQ(0, std::memcmp(&wanted, &result, sizeof result))
            << i << "," << y << ": " << +wanted << " is right, not " << +result;
      }
    }
    ASSERT_TRUE(dst.padsUntouched());
  }
};

template <class Form>
class RowPipeline : public ::testing::Test {};
using Forms = ::testing::Types<Form16sC1, Form16sC3, Form8u16sC1, Form8u16sC3, FormLow16sC1,
                               FormLow16sC3, Form32fC1, Form32fC3>;
TYPED_TEST_SUITE(RowPipeline, Forms);

constexpr int32_t tapCounts[] = {1, 2, 3, 4, 5, 6, 7, 8, 11, 40};

TYPED_TEST(RowPipeline, MatchesReference) {
  unsigned seed = 1;
  for (const int32_t taps : tapCounts) {
    for (int32_t width = 1; width <= 50; ++width) {
      const int32_t anchor = static_cast<int32_t>(seed * 7 % static_cast<unsigned>(taps));
      const auto border = static_cast<NuviBorderType>(seed % 5);
      const Problem<TypeParam> problem({width, 2}, taps, anchor, border, seed);
      ASSERT_NO_FATAL_FAILURE(problem.expectResults(seed));
      ++seed;
    }
  }
  for (const int32_t taps : {3, 5, 8}) {
    for (const int32_t anchor : {0, taps / 2, taps - 1}) {
      for (NuviBorderType border = 0; border <= 4; ++border) {
        const Problem<TypeParam> problem({131, 3}, taps, anchor, border, seed);
        ASSERT_NO_FATAL_FAILURE(problem.expectResults(seed));
        ++seed;
      }
    }
  }
}

TYPED_TEST(RowPipeline, ThreadsChangeNothing) {
  for (const int32_t taps : {3, 7}) {
    for (const NuviSize size : {NuviSize{480, 480}, NuviSize{65536, 4}}) {
      const Problem<TypeParam> problem(size, taps, taps / 2, nuvBorderMirror, 5);
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

// A kernel of one 1 picks one pixel of the extended row, however wide the extension is.
TEST(RowPipelineValues, BordersGoOnAsFarAsNeeded) {
  const struct {
    NuviBorderType border;
    std::vector<float> row, extended;  // positions -5..w+4
  } cases[] = {
      {nuvBorderConstant, {1, 2}, {9, 9, 9, 9, 9, 1, 2, 9, 9, 9, 9, 9}},
      {nuvBorderReplicate, {1, 2}, {1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2}},
      {nuvBorderWrap, {1, 2, 3}, {2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2}},
      {nuvBorderMirror, {1, 2, 3}, {2, 1, 2, 3, 2, 1, 2, 3, 2, 1, 2, 3, 2}},
      {nuvBorderMirrorRepeat, {1, 2, 3}, {2, 3, 3, 2, 1, 1, 2, 3, 3, 2, 1, 1, 2}},
      {nuvBorderMirror, {7}, {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}},
  };
  for (const auto& c : cases) {
    const auto width = static_cast<int32_t>(c.row.size());
    for (int32_t tap = 0; tap < 11; ++tap) {
      float kernel[11] = {};
      kernel[tap] = 1;
      float dst[3];
      float* rows[] = {dst};
      std::vector<uint8_t> scratch(4096);
      ASSERT_EQ(nuvStatusOk,
                nuviFilterRowBorderPipeline_32f_C1R(c.row.data(), 4 * width, rows, {width, 1},
                                                    kernel, 11, 5, c.border, 9, scratch.data()));
      for (int32_t x = 0; x < width; ++x) {
        EXPECT_EQ(c.extended[size_t(x + tap)], dst[x]) << c.border << " at " << x + tap - 5;
      }
    }
  }
}

TEST(RowPipelineValues, InteriorRoundsAndEdgesTruncate) {
  const int16_t src[] = {4, 3, 4, 3, 0, 4};  // sums 14, 14, 14, 10, 7, 11
  const int16_t kernel[] = {1, 2, 1};
  int16_t dst[6];
  int16_t* rows[] = {dst};
  std::vector<uint8_t> scratch(4096);
  ASSERT_EQ(nuvStatusOk,
            nuviFilterRowBorderPipeline_16s_C1R(src, 12, rows, {6, 1}, kernel, 3, 1,
                                                nuvBorderConstant, 3, 4, scratch.data()));
  const int16_t expected[] = {3, 4, 4, 2, 2, 2};
  EXPECT_EQ(0, std::memcmp(expected, dst, sizeof dst));
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
    for (const int16_t value : dst) EXPECT_EQ(clamped(255.0 * (middle + 2 * side)), value);
  }
}

TEST(RowPipelineChecks, FirstFailureInOrderAndNothingWritten) {
  int16_t src[16] = {}, dst[16];
  std::fill_n(dst, 16, int16_t{77});
  const int16_t kernel[] = {1, 2, 1};
  int16_t* rows[] = {dst, dst + 4};
  uint8_t scratch[4096];
  const auto call = [&](const int16_t* pSrc, int32_t step, int16_t** ppDst, NuviSize size,
                        const int16_t* pKernel, int32_t taps, int32_t anchor, NuviBorderType border,
                        int32_t divisor, uint8_t* pBuffer) {
    const int16_t values[3] = {};
    const NuvStatus status = nuviFilterRowBorderPipeline_16s_C1R(
        pSrc, step, ppDst, size, pKernel, taps, anchor, border, 0, divisor, pBuffer);
    EXPECT_EQ(status,
              nuviFilterRowBorderPipeline_Low_16s_C1R(pSrc, step, ppDst, size, pKernel, taps,
                                                      anchor, border, 0, divisor, pBuffer));
    // Three channels: the same with rows of a third.
    if (size.width % 3 == 0) {
      EXPECT_EQ(status, nuviFilterRowBorderPipeline_16s_C3R(
                            pSrc, step, ppDst, {size.width / 3, size.height}, pKernel, taps, anchor,
                            border, values, divisor, pBuffer));
    }
    return status;
  };
  const NuviSize good = {3, 2};
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 0, rows, {0, 0}, kernel, 0, 9, 9, 0, scratch));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 0, nullptr, {0, 0}, kernel, 0, 9, 9, 0, scratch));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 0, rows, {0, 0}, nullptr, 0, 9, 9, 0, scratch));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 0, rows, {0, 0}, kernel, 0, 9, 9, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, rows, {3, 0}, kernel, 3, 3, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, rows, {0, 2}, kernel, 3, 3, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, rows, good, kernel, 0, 3, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadAnchor, call(src, 5, rows, good, kernel, 3, 3, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadAnchor, call(src, 5, rows, good, kernel, 3, -1, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadStep, call(src, 5, rows, good, kernel, 3, 1, 9, 0, scratch));
  EXPECT_EQ(nuvStatusBadStep, call(src, -8, rows, good, kernel, 3, 1, 9, 0, scratch));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 7, rows, good, kernel, 3, 1, 9, 0, scratch));
  for (const NuviBorderType border : {-1, 5, 6, 0x10, 0x41, 0xF0}) {
    EXPECT_EQ(nuvStatusBadArgument, call(src, 8, rows, good, kernel, 3, 1, border, 1, scratch));
  }
  EXPECT_EQ(nuvStatusBadArgument, call(src, 8, rows, good, kernel, 3, 1, 4, 0, scratch));
  for (const int16_t value : dst) EXPECT_EQ(77, value);

  const float image[4] = {}, coefficients[1] = {1};
  float result[4];
  float* floatRows[] = {result};
  EXPECT_EQ(nuvStatusStepNotElementMultiple,
            nuviFilterRowBorderPipeline_32f_C1R(image, 6, floatRows, {1, 1}, coefficients, 1, 0, 9,
                                                0, scratch));
  const uint8_t bytes[8] = {};
  EXPECT_EQ(nuvStatusOk, nuviFilterRowBorderPipeline_8u16s_C1R(bytes, 5, rows, {3, 1}, kernel, 3, 1,
                                                               1, 0, 1, scratch));
}

TEST(RowPipelineChecks, NullRowEndsTheRun) {
  const NuviSize size = {512, 512};  // a region that goes to a team
  const TestImage<uint8_t> src(size);
  const int16_t kernel[] = {1, 2, 1};
  withThreadCounts([&] {
    const TestImage<int16_t> dst(size);
    std::vector<int16_t*> rows;
    for (int32_t y = 0; y < size.height; ++y) rows.push_back(dst.row(y));
    rows[5] = nullptr;
    rows[400] = nullptr;
    int32_t bytes = 0;
    nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R(size, 3, &bytes);
    const GuardedBlock scratch(static_cast<size_t>(bytes));
    const int16_t before = dst.at(0, 0);
    EXPECT_EQ(nuvStatusNullPointer, nuviFilterRowBorderPipeline_8u16s_C1R(
                                        src.data(), src.step(), rows.data(), size, kernel, 3, 1,
                                        nuvBorderWrap, 0, 1, scratch.data()));
    for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(4 * src.at(0, 0), dst.at(511, y));
    EXPECT_EQ(before, dst.at(0, 5));
  });
}

TYPED_TEST(RowPipeline, SizesAreChecked) {
  int32_t bytes = -1;
  EXPECT_EQ(nuvStatusNullPointer, TypeParam::size({0, 0}, 0, nullptr));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({0, 1}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 0}, 1, &bytes));
  EXPECT_EQ(nuvStatusBadSize, TypeParam::size({1, 1}, 0, &bytes));
  EXPECT_EQ(-1, bytes);
}

TEST(RowPipelineSizes, AreTheStatedBytes) {
  nuvSetNumThreads(2);
  const auto size = [](auto function) {
    int32_t bytes = 0;
    function(NuviSize{100, 50}, 5, &bytes);
    return bytes;
  };
  const int32_t common = 2 * 32 + (5 + 50) * 2 * 4;
  EXPECT_EQ(common + 2 * 320, size(nuviFilterRowBorderPipelineGetBufferSize_16s_C1R));
  EXPECT_EQ(common + 2 * 264, size(nuviFilterRowBorderPipelineGetBufferSize_16s_C3R));
  EXPECT_EQ(common + 2 * 292, size(nuviFilterRowBorderPipelineGetBufferSize_8u16s_C1R));
  EXPECT_EQ(common + 2 * 412, size(nuviFilterRowBorderPipelineGetBufferSize_8u16s_C3R));
  EXPECT_EQ(common + 2 * 384 + 2 * 16, size(nuviFilterRowBorderPipelineGetBufferSize_32f_C1R));
  EXPECT_EQ(common + 2 * 992, size(nuviFilterRowBorderPipelineGetBufferSize_32f_C3R));
  EXPECT_EQ(common + 2 * 184, size(nuviFilterRowBorderPipelineGetBufferSize_Low_16s_C1R));
  EXPECT_EQ(common + 2 * 1104, size(nuviFilterRowBorderPipelineGetBufferSize_Low_16s_C3R));
  nuvSetNumThreads(0);
}

}  // namespace

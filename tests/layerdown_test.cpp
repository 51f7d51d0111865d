#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <string>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
using Entry = std::conditional_t<std::is_same_v<T, float>, float, int16_t>;

template <class T>
struct Member {
  NuvStatus (*init)(NuviPyramidLayerState**, NuviSize, float, const Entry<T>*, int32_t, int32_t);
  NuvStatus (*down)(const T*, int32_t, NuviSize, T*, int32_t, NuviSize, NuviPyramidLayerState*);
  NuvStatus (*release)(NuviPyramidLayerState*);
  int32_t channels;
};

#define MEMBER(name, channels)                                         \
  {                                                                    \
    nuviPyramidLayerDownInitAlloc_##name, nuviPyramidLayerDown_##name, \
        nuviPyramidLayerDownFree_##name, channels                      \
  }
const Member<uint8_t> members8u[] = {MEMBER(8u_C1R, 1), MEMBER(8u_C3R, 3)};
const Member<uint16_t> members16u[] = {MEMBER(16u_C1R, 1), MEMBER(16u_C3R, 3)};
const Member<float> members32f[] = {MEMBER(32f_C1R, 1), MEMBER(32f_C3R, 3)};
#undef MEMBER

// ---- The contract as whole planes, in wide integers or floats.

template <class T>
constexpr bool isFloat = std::is_same_v<T, float>;
template <class T>
using Number = std::conditional_t<isFloat<T>, float, int64_t>;

int64_t divideDown(int64_t a, int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

template <class T>
std::vector<Number<T>> normalised(const std::vector<Entry<T>>& given) {
  const size_t centre = given.size() / 2;
  Number<T> sum = given[centre];
  for (size_t i = 1; i <= centre; ++i) sum += 2 * static_cast<Number<T>>(given[centre - i]);
  std::vector<Number<T>> kernel;
  for (size_t i = 0; i < given.size(); ++i) {
    const Number<T> entry = given[i < centre ? i : given.size() - 1 - i];
    if constexpr (isFloat<T>) {
      kernel.push_back(std::abs(sum) > 1.1754944e-38f ? entry / sum : entry);
    } else {
      kernel.push_back(sum == 0 ? entry : divideDown(entry * 16384 / sum, 2));
    }
  }
  return kernel;
}

int32_t mirrored(int32_t position, int32_t length) {
  while (length > 1 && (position < 0 || position >= length)) {
    position = position < 0 ? -position : 2 * (length - 1) - position;
  }
  return length > 1 ? position : 0;
}

template <class T>
Number<T> blend(Number<T> a, Number<T> b, float f) {
  const auto x = static_cast<float>(a), y = static_cast<float>(b);
  if constexpr (isFloat<T>) {
    return std::fma(1 - f, x, f * y);
  } else {
    return static_cast<int64_t>(std::trunc(std::fma(1 - f, x, std::fma(f, y, 0.5f))));
  }
}

template <class T>
void reference(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels, float rate,
               const std::vector<Number<T>>& kernel) {
  const auto [width, height] = src.size();
  const auto taps = static_cast<int32_t>(kernel.size());
  for (int32_t c = 0; c < channels; ++c) {
    std::vector<std::vector<Number<T>>> across(height), work(height);
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        Number<T> sum = 0;
        for (int32_t j = 0; j < taps; ++j) {
          const Number<T> pixel = src.at(mirrored(x + j - taps / 2, width) * channels + c, y);
          if constexpr (isFloat<T>) {
            sum = std::fma(kernel[j], pixel, sum);
          } else {
            sum += divideDown(pixel * kernel[j], 256);
          }
        }
        across[y].push_back(sum);
      }
    }
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        Number<T> sum = 0;
        for (int32_t j = 0; j < taps; ++j) {
          const Number<T> term = across[mirrored(y + j - taps / 2, height)][x];
          if constexpr (isFloat<T>) {
            sum = std::fma(kernel[j], term, sum);
          } else {
            sum += kernel[j] * term;
          }
        }
        if constexpr (!isFloat<T>) {
          using Plane = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
          sum = std::min<int64_t>(
              std::max<int64_t>(divideDown(sum + 16384, 32768), std::numeric_limits<Plane>::min()),
              std::numeric_limits<Plane>::max());
        }
        work[y].push_back(sum);
      }
    }
    const bool two = rate > 1.99998f && rate < 2.00002f;
    const auto read = [&](int32_t index, int32_t length, auto&& value) -> Number<T> {
      if (two) return value(std::min(2 * index, length - 1));
      const volatile float exact = rate * static_cast<float>(index);
      const auto k = static_cast<int32_t>(exact);
      const float f = exact - static_cast<float>(k);
      return k + 1 < length ? blend<T>(value(k), value(k + 1), f) : value(std::min(k, length - 1));
    };
    for (int32_t y = 0; y < dst.size().height; ++y) {
      for (int32_t x = 0; x < dst.size().width; ++x) {
        const Number<T> v = read(y, height, [&](int32_t row) {
          return read(x, width, [&](int32_t column) { return work[row][column]; });
        });
        if constexpr (isFloat<T>) {
          dst.at(x * channels + c, y) = v;
        } else {
          const int64_t pixel = divideDown(v + 4, 8);
          dst.at(x * channels + c, y) = static_cast<T>(
              std::min<int64_t>(std::max<int64_t>(pixel, 0), std::numeric_limits<T>::max()));
        }
      }
    }
  }
}

// ---- Comparison.

template <class T>
TestImage<T>& fillSource(TestImage<T>& src, bool extremes) {
  if constexpr (isFloat<T>) {
    std::mt19937 random(5);
    return src.fill([&] { return static_cast<float>(random() % 100000) / 7 - 3000; });
  } else {
    std::mt19937 random(6);
    return src.fill([&]() -> int64_t {
      return extremes ? (random() % 2) * std::numeric_limits<T>::max() : random();
    });
  }
}

template <class T>
void check(const Member<T>& member, NuviSize size, float rate, const std::vector<Entry<T>>& kernel,
           Against against, bool extremes) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " rate " +
               std::to_string(rate) + " channels " + std::to_string(member.channels));
  NuviPyramidLayerState* state = nullptr;
  const auto taps = static_cast<int32_t>(kernel.size());
  ASSERT_EQ(nuvStatusOk, member.init(&state, size, rate, kernel.data(), taps, 2));
  for (int32_t level = 0; level < 2; ++level) {
    NuviSize below;
    ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(size, &below, rate));
    TestImage<T> src(size, member.channels, size.width % 3, against);
    TestImage<T> dst(below, member.channels, size.height % 3, against);
    TestImage<T> expected(below, member.channels, size.height % 3, against);
    fillSource(src, extremes);
    ASSERT_EQ(nuvStatusOk,
              member.down(src.data(), src.step(), size, dst.data(), dst.step(), below, state));
    reference(src, expected, member.channels, rate, normalised<T>(kernel));
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
    size = below;
  }
  ASSERT_EQ(nuvStatusOk, member.release(state));
}

template <class T, size_t count>
void checkAll(const Member<T> (&members)[count]) {
  const std::vector<Entry<T>> kernels[] = {{1, 4, 6, 4, 1},
                                           {1, 2, 1},
                                           {3, 0, -7, 20, -7, 0, 3},
                                           {-2, 5, -2},  // sharpens
                                           {-1, 2, -1},
                                           {-1000, 2001, -1000},
                                           {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
  for (const auto& member : members) {
    for (const float rate : {1.05f, 1.5f, 1.99999f, 2.0f, 2.000019f, 2.5f, 10.0f}) {
      for (const auto& kernel : kernels) {
        const auto run = [&](NuviSize size) {
          check(member, size, rate, kernel, size.width % 2 ? Against::end : Against::begin,
                size.height % 2 != 0);
        };
        for (int32_t width = 1; width <= 12; ++width) run({width, 13 - width});
        run({37, 9});
        run({64, 1});
        run({1, 40});
      }
      check(member, {131, 67}, rate, kernels[0], Against::end, false);
      check(member, {1100, 5}, rate, kernels[2], Against::end, true);
    }
  }
}

TEST(LayerDown, MatchesReference8u) { checkAll(members8u); }
TEST(LayerDown, MatchesReference16u) { checkAll(members16u); }
TEST(LayerDown, MatchesReference32f) { checkAll(members32f); }

// A team is asked for inside a parallel region of the caller only.
TEST(LayerDown, ThreadsDoNotShow) {
  const int16_t kernel[] = {1, 4, 6, 4, 1};
  const NuviSize size = {400, 391};
  TestImage<uint8_t> src(size);
  fillSource(src, false);
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
  for (const float rate : {1.3f, 2.0f}) {
    NuviSize below;
    nuviGetPyramidDownROI(size, &below, rate);
    std::vector<uint8_t> serial;
    withThreadCounts([&] {
      NuviPyramidLayerState* state = nullptr;
      nuviPyramidLayerDownInitAlloc_8u_C1R(&state, size, rate, kernel, 5, 2);
      TestImage<uint8_t> dst(below), parallel(below);
      const auto call = [&](const TestImage<uint8_t>& to) {
        EXPECT_EQ(nuvStatusOk, nuviPyramidLayerDown_8u_C1R(src.data(), src.step(), size, to.data(),
                                                           to.step(), below, state));
      };
      call(dst);
#pragma omp parallel num_threads(2)
#pragma omp single
      call(parallel);
      if (serial.empty()) serial = dst.bytes();
      EXPECT_EQ(serial, dst.bytes());
      EXPECT_EQ(serial, parallel.bytes());
      nuviPyramidLayerDownFree_8u_C1R(state);
    });
  }
  omp_set_max_active_levels(levels);
}

// A source is found by its height. Its successor in the list is the only size allowed, which for a
// narrower source reads past its columns.
TEST(LayerDown, ResultSizeFollowsTheList) {
  const int16_t kernel[] = {0, 1, 0};
  for (const float rate : {2.0f, 1.5f}) {
    NuviPyramidLayerState* state = nullptr;
    ASSERT_EQ(nuvStatusOk,
              nuviPyramidLayerDownInitAlloc_8u_C1R(&state, {48, 32}, rate, kernel, 3, 2));
    const auto call = [&](NuviSize size, NuviSize below) {
      TestImage<uint8_t> src(size), dst(below), expected(below);
      fillSource(src, false);
      const NuvStatus status = nuviPyramidLayerDown_8u_C1R(src.data(), src.step(), size, dst.data(),
                                                           dst.step(), below, state);
      if (status == nuvStatusOk) reference(src, expected, 1, rate, normalised<uint8_t>({0, 1, 0}));
      EXPECT_EQ(expected.bytes(), dst.bytes());
      return status;
    };
    const NuviSize listed = rate == 2.0f ? NuviSize{24, 16} : NuviSize{32, 22};
    EXPECT_EQ(nuvStatusOk, call({48, 32}, listed));
    EXPECT_EQ(nuvStatusBadSize, call({48, 32}, {listed.width + 1, listed.height}));
    EXPECT_EQ(nuvStatusBadSize, call({48, 32}, {listed.width, listed.height - 1}));
    EXPECT_EQ(nuvStatusOk, call({20, 32}, listed));
    EXPECT_EQ(nuvStatusOk, call({47, 32}, listed));
    EXPECT_EQ(nuvStatusOk, call({12, 12}, rate == 2.0f ? NuviSize{6, 6} : NuviSize{8, 8}));
    EXPECT_EQ(nuvStatusBadSize, call({49, 32}, listed));
    EXPECT_EQ(nuvStatusBadSize, call({48, 33}, listed));
    EXPECT_EQ(nuvStatusOk, call({1, 1}, {1, 1}));
    nuviPyramidLayerDownFree_8u_C1R(state);
  }
}

template <class T>
void checkState(const Member<T>& member) {
  NuviPyramidLayerState* state = nullptr;
  const Entry<T> kernel[] = {1, 2, 1, 2, 5};
  const auto init = [&](NuviSize size, float rate, int32_t taps, int32_t mode) {
    return member.init(&state, size, rate, kernel, taps, mode);
  };
  EXPECT_EQ(nuvStatusNullPointer, member.init(nullptr, {0, 1}, 2, kernel, 3, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.init(&state, {0, 1}, 2, nullptr, 3, 2));
  EXPECT_EQ(nuvStatusBadSize, init({0, 5}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadSize, init({5, -1}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, 3, 1));
  for (const float rate : {1.0f, 10.000001f, std::nanf("")}) {
    EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, rate, 3, 2));
  }
  for (const int32_t taps : {1, 4, -3}) {
    EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, taps, 2));
  }
  EXPECT_EQ(nuvStatusNoMemory, init({INT32_MAX, 1}, 2.0f, 3, 2));
  EXPECT_EQ(nullptr, state);
  EXPECT_EQ(nuvStatusNullPointer, member.release(nullptr));

  // The second half of the kernel is told to differ, and not used.
  ASSERT_EQ(nuvStatusKernelAsymmetric, init({9, 9}, 10.0f, 5, 2));
  TestImage<T> src({9, 9}, member.channels), dst({1, 1}, member.channels);
  TestImage<T> expected({1, 1}, member.channels);
  fillSource(src, false);
  EXPECT_EQ(nuvStatusOk,
            member.down(src.data(), src.step(), {9, 9}, dst.data(), dst.step(), {1, 1}, state));
  reference(src, expected, member.channels, 10.0f, normalised<T>({1, 2, 1, 2, 1}));
  EXPECT_EQ(expected.bytes(), dst.bytes());

  const auto down = [&](const T* from, int32_t srcStep, NuviSize size, T* to, int32_t dstStep,
                        NuviSize below, NuviPyramidLayerState* with) {
    return member.down(from, srcStep, size, to, dstStep, below, with);
  };
  T* const to = dst.data();
  const NuviSize all = {9, 9}, one = {1, 1};
  EXPECT_EQ(nuvStatusNullPointer, down(nullptr, 0, {0, 1}, to, 0, one, state));
  EXPECT_EQ(nuvStatusNullPointer, down(src.data(), 0, {0, 1}, nullptr, 0, one, state));
  EXPECT_EQ(nuvStatusNullPointer, down(src.data(), 0, {0, 1}, to, 0, one, nullptr));
  EXPECT_EQ(nuvStatusBadSize, down(src.data(), 0, {9, 0}, to, 0, one, state));
  EXPECT_EQ(nuvStatusBadStep, down(src.data(), src.step() - 1, all, to, 99, {2, 1}, state));
  EXPECT_EQ(nuvStatusBadStep, down(src.data(), src.step(), all, to, dst.step() - 1, one, state));
  const NuvStatus odd = sizeof(T) == 1 ? nuvStatusBadSize : nuvStatusStepNotElementMultiple;
  EXPECT_EQ(odd, down(src.data(), src.step() + 1, all, to, 100, {2, 1}, state));
  EXPECT_EQ(odd, down(src.data(), src.step(), all, to, 101, {2, 1}, state));
  EXPECT_EQ(nuvStatusBadSize, down(src.data(), src.step(), all, to, 100, {0, 0}, state));
  EXPECT_EQ(expected.bytes(), dst.bytes());
  member.release(state);
}

TEST(LayerDownChecks, StateAndOrder) {
  for (const auto& member : members8u) checkState(member);
  for (const auto& member : members16u) checkState(member);
  for (const auto& member : members32f) checkState(member);
}

}  // namespace

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <string>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
constexpr bool isFloat = std::is_same_v<T, float>;
template <class T>
using Kernel = std::vector<std::conditional_t<isFloat<T>, float, int16_t>>;
template <class T>
using Number = std::conditional_t<isFloat<T>, float, int64_t>;
template <class T>
using Numbers = std::vector<Number<T>>;
template <class T>
using Plane = std::vector<Numbers<T>>;  // rows

constexpr bool Down = true, Up = false;

template <class T>
struct Member {
  using Element = T;
  NuvStatus (*init)(NuviPyramidLayerState**, NuviSize, float, const typename Kernel<T>::value_type*,
                    int32_t, int32_t);
  NuvStatus (*step)(const T*, int32_t, NuviSize, T*, int32_t, NuviSize, NuviPyramidLayerState*);
  NuvStatus (*release)(NuviPyramidLayerState*);
  int32_t channels;
  bool down;
};
#define MEMBER(direction, T, name, channels)                                             \
  Member<T> {                                                                            \
    nuviPyramidLayer##direction##InitAlloc_##name, nuviPyramidLayer##direction##_##name, \
        nuviPyramidLayer##direction##Free_##name, channels, direction                    \
  }
#define FOR_MEMBERS(direction, body)             \
  body(MEMBER(direction, uint8_t, 8u_C1R, 1));   \
  body(MEMBER(direction, uint8_t, 8u_C3R, 3));   \
  body(MEMBER(direction, uint16_t, 16u_C1R, 1)); \
  body(MEMBER(direction, uint16_t, 16u_C3R, 3)); \
  body(MEMBER(direction, float, 32f_C1R, 1));    \
  body(MEMBER(direction, float, 32f_C3R, 3))
const auto down8u = MEMBER(Down, uint8_t, 8u_C1R, 1);

// One step with a state of its own for images of up to `largest`. A kernel whose second half
// differs draws a warning.
template <class T>
NuvStatus step(const Member<T>& member, NuviSize largest, float rate, const Kernel<T>& kernel,
               const TestImage<T>& src, const TestImage<T>& dst) {
  NuviPyramidLayerState* state = nullptr;
  const auto taps = static_cast<int32_t>(kernel.size());
  const bool symmetric = std::equal(kernel.begin(), kernel.end(), kernel.rbegin());
  EXPECT_EQ(symmetric ? nuvStatusOk : nuvStatusKernelAsymmetric,
            member.init(&state, largest, rate, kernel.data(), taps, 2));
  const NuvStatus status =
      member.step(src.data(), src.step(), src.size(), dst.data(), dst.step(), dst.size(), state);
  EXPECT_EQ(nuvStatusOk, member.release(state));
  return status;
}

// ---- The contract as whole planes, one for each channel. A pass maps the rows, its result is
// transposed: the next pass does the columns.

// Shifts round down. Floats are not shifted.
int64_t shifted(int64_t value, int bits, int64_t rounding = 0) {
  return (value + rounding) >> bits;
}
float shifted(float value, int, int64_t = 0) { return value; }

template <class To>
int64_t clamped(int64_t value) {
  using Limits = std::numeric_limits<To>;
  return std::min<int64_t>(std::max<int64_t>(value, Limits::min()), Limits::max());
}
template <class To>
float clamped(float value) {
  return value;
}

template <class T>
Numbers<T> normalised(const Kernel<T>& given) {
  const size_t centre = given.size() / 2;
  Number<T> sum = given[centre];
  for (size_t i = 1; i <= centre; ++i) sum += 2 * Number<T>{given[centre - i]};
  Numbers<T> kernel;
  for (size_t i = 0; i < given.size(); ++i) {
    const Number<T> entry = given[std::min(i, given.size() - 1 - i)];
    kernel.push_back(sum == 0 ? entry : isFloat<T> ? entry / sum : shifted(entry * 16384 / sum, 1));
  }
  return kernel;
}

// The sum of weight * number from position `first` of a mirrored row on.
template <class T>
Number<T> weightedSum(const Numbers<T>& row, int32_t first, const Numbers<T>& weights,
                      int productBits) {
  const auto length = static_cast<int32_t>(row.size());
  Number<T> sum = 0;
  for (const Number<T> weight : weights) {
    int32_t i = first++;
    while (length > 1 && (i < 0 || i >= length)) i = i < 0 ? -i : 2 * (length - 1) - i;
    const Number<T> number = row[length > 1 ? static_cast<size_t>(i) : 0];
    if constexpr (isFloat<T>) {
      sum = std::fma(weight, number, sum);
    } else {
      sum += shifted(weight * number, productBits);
    }
  }
  return sum;
}

template <class T, class Value>
Plane<T> passed(const Plane<T>& plane, int32_t length, Value&& value) {
  Plane<T> result(static_cast<size_t>(length));
  for (int32_t x = 0; x < length; ++x) {
    for (const Numbers<T>& row : plane) result[static_cast<size_t>(x)].push_back(value(row, x));
  }
  return result;
}

template <class T>
Plane<T> down(const Plane<T>& src, NuviSize dstSize, float rate, const Numbers<T>& kernel) {
  using Work = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
  const auto length = static_cast<int32_t>(kernel.size());
  const auto sumAcross = [&](const Numbers<T>& row, int32_t x) {
    return weightedSum<T>(row, x - length / 2, kernel, 8);
  };
  const auto work = [&](const Numbers<T>& row, int32_t y) {
    return clamped<Work>(shifted(weightedSum<T>(row, y - length / 2, kernel, 0), 15, 16384));
  };
  const auto read = [&](const Numbers<T>& row, int32_t x) -> Number<T> {
    const bool halves = rate > 1.99998f && rate < 2.00002f;
    const volatile float exact = (halves ? 2 : rate) * static_cast<float>(x);
    const auto k = static_cast<size_t>(exact);
    const float f = exact - static_cast<float>(k);
    if (halves || k + 1 >= row.size()) return row[std::min(k, row.size() - 1)];
    const auto a = static_cast<float>(row[k]), b = static_cast<float>(row[k + 1]);
    if constexpr (isFloat<T>) return std::fma(1 - f, a, f * b);
    return static_cast<Number<T>>(std::fma(1 - f, a, std::fma(f, b, 0.5f)));
  };
  const auto stored = [&](const Numbers<T>& row, int32_t y) { return shifted(read(row, y), 3, 4); };
  const Plane<T> across = passed<T>(src, static_cast<int32_t>(src[0].size()), sumAcross);
  const Plane<T> smooth = passed<T>(across, static_cast<int32_t>(src.size()), work);
  return passed<T>(passed<T>(smooth, dstSize.width, read), dstSize.height, stored);
}

// Weights going up, as a dense row over the source pixels from -margin on. Each pixel is spread
// over the two cells around it, the kernel lies on cells.
template <class T>
Numbers<T> denseWeights(int32_t result, int32_t length, int32_t margin, double rate,
                        const Numbers<T>& kernel) {
  const int32_t half = margin - 1;
  const auto entryAt = [&](int32_t cell) {
    const int32_t i = cell - result + half;
    return i < 0 || i > 2 * half ? 0.0 : static_cast<double>(kernel[static_cast<size_t>(i)]);
  };
  std::vector<double> weights, distances;
  double moments[3] = {}, sizes[3] = {};  // of orders 0 to 2
  for (int32_t j = -margin; j < length + margin; ++j) {
    const double position = j * rate;
    const auto cell = static_cast<int32_t>(std::floor(position));
    const double part = position - cell;
    distances.push_back(position - result);
    weights.push_back((1 - part) * entryAt(cell) + part * entryAt(cell + 1));
    double term = weights.back();
    for (int order = 0; order < 3; ++order, term *= distances.back()) {
      moments[order] += term;
      sizes[order] += std::abs(term);
    }
  }
  const double determinant = moments[0] * moments[2] - moments[1] * moments[1];
  const bool balanced = std::abs(determinant) > sizes[0] * sizes[2] / 16;
  size_t largest = 0;
  Numbers<T> rounded;
  Number<T> rest = 32768;
  for (size_t i = 0; i < weights.size(); ++i) {
    weights[i] = balanced ? weights[i] * ((moments[2] - moments[1] * distances[i]) / determinant)
                          : std::max(0.0, 1 - std::abs(distances[i] / rate));
    if (std::abs(weights[i]) > std::abs(weights[largest]) + 1e-9) largest = i;
    rounded.push_back(
        static_cast<Number<T>>(isFloat<T> ? weights[i] : std::nearbyint(weights[i] * 32768)));
    rest -= rounded.back();
  }
  if (!isFloat<T>) rounded[largest] += rest;
  return rounded;
}

template <class T>
Plane<T> up(const Plane<T>& src, NuviSize dstSize, float rate, const Numbers<T>& kernel) {
  const auto margin = static_cast<int32_t>(kernel.size() / 2 + 1);
  const auto expanded = [&](const Plane<T>& plane, int32_t results, int bits) {
    const auto length = static_cast<int32_t>(plane[0].size());
    Plane<T> weights;
    for (int32_t x = 0; x < results; ++x) {
      weights.push_back(denseWeights<T>(x, length, margin, double{rate}, kernel));
    }
    return passed<T>(plane, results, [&](const Numbers<T>& row, int32_t x) {
      return shifted(weightedSum<T>(row, -margin, weights[x], 0), bits);
    });
  };
  return expanded(expanded(src, dstSize.width, 8), dstSize.height, 22);
}

template <class T>
void check(const Member<T>& member, NuviSize largest, NuviSize from, NuviSize to, float rate,
           const Kernel<T>& kernel) {
  SCOPED_TRACE(testing::Message() << from.width << "x" << from.height << " rate " << rate);
  const Against against = from.width % 2 ? Against::end : Against::begin;
  TestImage<T> src(from, member.channels, from.width % 3, against);
  TestImage<T> dst(to, member.channels, from.height % 3, against), expected(to, member.channels);
  std::mt19937 random(6);
  src.fill([&]() -> Number<T> {
    if constexpr (isFloat<T>) return static_cast<float>(random() % 100000) / 7 - 3000;
    return from.height % 2 ? (random() % 2) * std::numeric_limits<T>::max() : random();
  });
  ASSERT_EQ(nuvStatusOk, step(member, largest, rate, kernel, src, dst));
  for (int32_t c = 0; c < member.channels; ++c) {
    Plane<T> plane(static_cast<size_t>(from.height));
    for (int32_t y = 0; y < from.height; ++y) {
      for (int32_t x = 0; x < from.width; ++x) {
        plane[y].push_back(src.at(x * member.channels + c, y));
      }
    }
    plane = (member.down ? down<T> : up<T>)(plane, to, rate, normalised<T>(kernel));
    for (int32_t y = 0; y < to.height; ++y) {
      for (int32_t x = 0; x < to.width; ++x) {
        expected.at(x * member.channels + c, y) = static_cast<T>(clamped<T>(plane[y][x]));
      }
    }
  }
  ASSERT_EQ(expected.bytes(), dst.bytes());
  ASSERT_TRUE(dst.padsUntouched());
}

TEST(LayerDown, MatchesReference) {
  const auto checkMember = [](const auto& member) {
    using T = typename std::decay_t<decltype(member)>::Element;
    const auto twice = [&](NuviSize size, float rate, const Kernel<T>& kernel) {
      NuviSize below, last;
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(size, &below, rate));
      ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(below, &last, rate));
      check(member, size, size, below, rate, kernel);
      check(member, size, below, last, rate, kernel);
    };
    // The first fits narrow sums, others overshoot, or need wide ones.
    const Kernel<T> kernels[] = {{1, 4, 6, 4, 1},  {1, 2, 1},      {3, 0, -7, 20, -7, 0, 3},
                                 {-2, 5, -2},      {-1, 2, -1},    {-1000, 2001, -1000},
                                 Kernel<T>(11, 1), {1, 2, 1, 2, 5}};
    for (const float rate : {1.05f, 1.5f, 1.99999f, 2.0f, 2.000019f, 2.5f, 10.0f}) {
      for (const auto& kernel : kernels) {
        for (int32_t width = 1; width <= 12; ++width) twice({width, 13 - width}, rate, kernel);
        for (const NuviSize size : {NuviSize{37, 9}, {64, 1}, {1, 40}}) twice(size, rate, kernel);
      }
      twice({131, 67}, rate, kernels[0]);
      twice({1100, 5}, rate, kernels[2]);
    }
  };
  FOR_MEMBERS(Down, checkMember);
}

// A team is asked for inside a parallel region of the caller only.
TEST(LayerDown, ThreadsDoNotShow) {
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
  withThreadCounts([&] {
#pragma omp parallel num_threads(2)
#pragma omp single
    {
      check(down8u, {400, 391}, {400, 391}, {308, 301}, 1.3f, {1, 4, 6, 4, 1});
      check(down8u, {400, 391}, {400, 391}, {200, 196}, 2.0f, {1, 4, 6, 4, 1});
    }
  });
  omp_set_max_active_levels(levels);
}

// A source is found by its height. Its successor in the list is the only size allowed, which for a
// narrower source reads past its columns.
TEST(LayerDown, ResultSizeFollowsTheList) {
  const Kernel<uint8_t> kernel = {0, 1, 0};
  check(down8u, {48, 32}, {20, 32}, {24, 16}, 2.0f, kernel);
  check(down8u, {48, 32}, {20, 32}, {32, 22}, 1.5f, kernel);
  check(down8u, {48, 32}, {12, 12}, {8, 8}, 1.5f, kernel);  // not listed
  check(down8u, {48, 32}, {1, 1}, {1, 1}, 2.0f, kernel);
  check(down8u, {64, 1}, {16, 1}, {8, 1}, 2.0f, kernel);
  const NuviSize refused[][2] = {
      {{48, 32}, {25, 16}}, {{48, 32}, {24, 15}}, {{49, 32}, {24, 16}}, {{48, 33}, {24, 16}}};
  for (const auto& [from, to] : refused) {
    const TestImage<uint8_t> src(from), dst(to);
    EXPECT_EQ(nuvStatusBadSize, step(down8u, {48, 32}, 2.0f, kernel, src, dst));
  }
}

// A flat picture stays flat up to the border, and a slope a slope inside, one of its own in each
// channel.
template <class T>
void checkSlopes(const Member<T>& member, float rate, const Kernel<T>& kernel) {
  const double slopes[4][3] = {{4, 2, 0}, {-3, 0, 200}, {0, 5, 10}, {0, 0, 255}};
  const int32_t channels = member.channels;
  NuviSize least, above;
  nuviGetPyramidUpROI({40, 30}, &least, &above, rate);
  TestImage<T> src({40, 30}, channels), dst(above, channels);
  for (const bool flat : {false, true}) {
    const auto value = [&](int32_t i, double y, double scale) {
      const double* const slope = slopes[flat ? 3 : i % channels];
      return (slope[0] * (i / channels) + slope[1] * y) / scale + slope[2];
    };
    for (int32_t i = 0; i < 30 * src.samples(); ++i) {
      const int32_t x = i % src.samples(), y = i / src.samples();
      src.at(x, y) = static_cast<T>(value(x, y, 1));
    }
    ASSERT_EQ(nuvStatusOk, step(member, above, rate, kernel, src, dst));
    const int32_t border = flat ? 0 : static_cast<int32_t>(5 * rate) + 5;
    for (int32_t y = border; y < above.height - border; ++y) {
      for (int32_t i = border * channels; i < dst.samples() - border * channels; ++i) {
        const double error = dst.at(i, y) - value(i, y, double{rate});
        ASSERT_LE(error, isFloat<T> ? 1e-3 : flat ? 0 : 0.0525);
        ASSERT_GE(error, isFloat<T> ? -1e-3 : flat ? 0 : -1.05);  // shifts round down
      }
    }
  }
}

TEST(LayerUp, MatchesReference) {
  const auto checkMember = [](const auto& member) {
    using T = typename std::decay_t<decltype(member)>::Element;
    const Kernel<T> kernels[] = {
        {1, 4, 6, 4, 1}, {1, 2, 1}, {-1, 0, 4, 0, -1}, {-1, 2, -1}, {1, 2, 3, 4, 5, 4, 3, 2, 9}};
    for (const float rate : {1.0001f, 1.1f, 1.5f, 1.8f, 2.0f, 2.7f, 3.0f, 7.3f, 10.0f}) {
      for (const auto& kernel : kernels) {
        for (const NuviSize size :
             {NuviSize{1, 1}, {2, 7}, {3, 2}, {5, 1}, {8, 3}, {17, 6}, {53, 4}}) {
          NuviSize least, most;
          ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI(size, &least, &most, rate));
          check(member, least, size, least, rate, kernel);
          check(member, most, size, most, rate, kernel);
        }
        checkSlopes(member, rate, kernel);
      }
    }
  };
  FOR_MEMBERS(Up, checkMember);
}

// The checks, the same in both directions. `other` is another size than the step may have.
template <class T>
void checkOrder(const Member<T>& member, NuviSize from, NuviSize other) {
  NuviPyramidLayerState* state = nullptr;
  const typename Kernel<T>::value_type kernel[] = {1, 2, 1};
  const auto init = [&](NuviSize size, float rate, int32_t taps, int32_t mode) {
    return member.init(&state, size, rate, kernel, taps, mode);
  };
  EXPECT_EQ(nuvStatusNullPointer, member.init(nullptr, {0, 1}, 2, kernel, 3, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.init(&state, {0, 1}, 2, nullptr, 3, 2));
  EXPECT_EQ(nuvStatusBadSize, init({0, 5}, 2, 3, 1));
  EXPECT_EQ(nuvStatusBadSize, init({5, -1}, 2, 3, 1));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2, 3, 1));
  for (const float rate : {1.0f, 10.000001f, std::nanf("")}) {
    EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, rate, 3, 2));
  }
  for (const int32_t taps : {1, 4, -3}) EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2, taps, 2));
  EXPECT_EQ(nuvStatusNoMemory, init({9, 9}, 2, INT32_MAX, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.release(nullptr));
  EXPECT_EQ(nullptr, state);

  EXPECT_EQ(nuvStatusOk, init({20, 20}, 2, 3, 2));
  const TestImage<T> src(from, member.channels), dst(other, member.channels);
  const auto before = dst.bytes();
  const int32_t row = src.step(), out = dst.step();
  const auto step = [&](const T* pSrc, int32_t srcStep, NuviSize size, T* pDst, int32_t dstStep) {
    return member.step(pSrc, srcStep, size, pDst, dstStep, other, state);
  };
  EXPECT_EQ(nuvStatusNullPointer, step(nullptr, 0, {0, 1}, dst.data(), 0));
  EXPECT_EQ(nuvStatusNullPointer, step(src.data(), 0, {0, 1}, nullptr, 0));
  EXPECT_EQ(nuvStatusNullPointer,
            member.step(src.data(), 0, {0, 1}, dst.data(), 0, other, nullptr));
  EXPECT_EQ(nuvStatusBadSize, step(src.data(), 0, {from.width, 0}, dst.data(), 0));
  EXPECT_EQ(nuvStatusBadStep, step(src.data(), row - 1, from, dst.data(), out + 1));
  EXPECT_EQ(nuvStatusBadStep, step(src.data(), row + 1, from, dst.data(), out - 1));
  const NuvStatus odd = sizeof(T) == 1 ? nuvStatusBadSize : nuvStatusStepNotElementMultiple;
  EXPECT_EQ(odd, step(src.data(), row + 1, from, dst.data(), out));
  EXPECT_EQ(odd, step(src.data(), row, from, dst.data(), out + 1));
  EXPECT_EQ(nuvStatusBadSize, step(src.data(), row, from, dst.data(), out));
  EXPECT_EQ(before, dst.bytes());
  EXPECT_EQ(nuvStatusOk, member.release(state));
}

TEST(LayerChecks, FirstFailureInOrderAndNothingWritten) {
  const auto checkMember = [](const auto& member) {
    if (member.down) return checkOrder(member, {9, 9}, {5, 4});
    for (const NuviSize size : {NuviSize{14, 8}, {17, 8}, {16, 6}, {16, 9}}) {
      checkOrder(member, {8, 4}, size);
    }
  };
  FOR_MEMBERS(Down, checkMember);
  FOR_MEMBERS(Up, checkMember);
}

}  // namespace

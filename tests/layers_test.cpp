#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <string>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

// ---- Members of both families.

template <class T>
constexpr bool isFloat = std::is_same_v<T, float>;
template <class T>
using Entry = std::conditional_t<isFloat<T>, float, int16_t>;
template <class T>
using Number = std::conditional_t<isFloat<T>, float, int64_t>;
template <class T>
using Numbers = std::vector<Number<T>>;

template <class T>
struct Member {
  using Element = T;
  NuvStatus (*init)(NuviPyramidLayerState**, NuviSize, float, const Entry<T>*, int32_t, int32_t);
  NuvStatus (*step)(const T*, int32_t, NuviSize, T*, int32_t, NuviSize, NuviPyramidLayerState*);
  NuvStatus (*release)(NuviPyramidLayerState*);
  int32_t channels;
};

#define MEMBER(direction, name, channels)                                                \
  {                                                                                      \
    nuviPyramidLayer##direction##InitAlloc_##name, nuviPyramidLayer##direction##_##name, \
        nuviPyramidLayer##direction##Free_##name, channels                               \
  }
const Member<uint8_t> down8u[] = {MEMBER(Down, 8u_C1R, 1), MEMBER(Down, 8u_C3R, 3)};
const Member<uint16_t> down16u[] = {MEMBER(Down, 16u_C1R, 1), MEMBER(Down, 16u_C3R, 3)};
const Member<float> down32f[] = {MEMBER(Down, 32f_C1R, 1), MEMBER(Down, 32f_C3R, 3)};
const Member<uint8_t> up8u[] = {MEMBER(Up, 8u_C1R, 1), MEMBER(Up, 8u_C3R, 3)};
const Member<uint16_t> up16u[] = {MEMBER(Up, 16u_C1R, 1), MEMBER(Up, 16u_C3R, 3)};
const Member<float> up32f[] = {MEMBER(Up, 32f_C1R, 1), MEMBER(Up, 32f_C3R, 3)};
#undef MEMBER

template <class Body>
void forDown(Body&& body) {
  for (const auto& member : down8u) body(member);
  for (const auto& member : down16u) body(member);
  for (const auto& member : down32f) body(member);
}
template <class Body>
void forUp(Body&& body) {
  for (const auto& member : up8u) body(member);
  for (const auto& member : up16u) body(member);
  for (const auto& member : up32f) body(member);
}

// A state that ends with its scope.
template <class T>
class State {
 public:
  State(const Member<T>& member, NuviSize size, float rate, const std::vector<Entry<T>>& kernel,
        NuvStatus status = nuvStatusOk)
      : member_(member) {
    const auto taps = static_cast<int32_t>(kernel.size());
    EXPECT_EQ(status, member.init(&state_, size, rate, kernel.data(), taps, 2));
  }
  ~State() { EXPECT_EQ(nuvStatusOk, member_.release(state_)); }

  NuvStatus step(const TestImage<T>& src, const TestImage<T>& dst) const {
    return member_.step(src.data(), src.step(), src.size(), dst.data(), dst.step(), dst.size(),
                        state_);
  }
  NuviPyramidLayerState* get() const { return state_; }

 private:
  const Member<T>& member_;
  NuviPyramidLayerState* state_ = nullptr;
};

template <class T>
void fillSource(TestImage<T>& src, bool extremes) {
  std::mt19937 random(6);
  src.fill([&]() -> Number<T> {
    if constexpr (isFloat<T>) return static_cast<float>(random() % 100000) / 7 - 3000;
    return extremes ? (random() % 2) * std::numeric_limits<T>::max() : random();
  });
}

// ---- What both references share.

int64_t divideDown(int64_t a, int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

template <class T>
T clamped(int64_t value) {
  return static_cast<T>(std::min<int64_t>(std::max<int64_t>(value, std::numeric_limits<T>::min()),
                                          std::numeric_limits<T>::max()));
}

int32_t mirrored(int32_t position, int32_t length) {
  while (length > 1 && (position < 0 || position >= length)) {
    position = position < 0 ? -position : 2 * (length - 1) - position;
  }
  return length > 1 ? position : 0;
}

template <class T>
Numbers<T> normalised(const std::vector<Entry<T>>& given) {
  const size_t centre = given.size() / 2;
  Number<T> sum = given[centre];
  for (size_t i = 1; i <= centre; ++i) sum += 2 * static_cast<Number<T>>(given[centre - i]);
  Numbers<T> kernel;
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

// The sum of weight * value(mirrored position) from position `first` on, each product of whole
// numbers shifted by itself.
template <class T, class Value>
Number<T> weightedSum(const Numbers<T>& weights, int32_t first, int32_t length, int64_t divisor,
                      Value&& value) {
  Number<T> sum = 0;
  for (size_t i = 0; i < weights.size(); ++i) {
    const Number<T> term = value(mirrored(first + static_cast<int32_t>(i), length));
    if constexpr (isFloat<T>) {
      sum = std::fma(weights[i], term, sum);
    } else {
      sum += divideDown(weights[i] * term, divisor);
    }
  }
  return sum;
}

template <class T>
using Plane = std::vector<Numbers<T>>;
template <class T, class Value>
Plane<T> plane(NuviSize size, Value&& value) {
  Plane<T> cells(static_cast<size_t>(size.height));
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) cells[static_cast<size_t>(y)].push_back(value(x, y));
  }
  return cells;
}

// ---- Down: the contract as whole planes, one for each channel.

template <class T>
void referenceDown(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels, float rate,
                   const std::vector<Entry<T>>& given) {
  const Numbers<T> kernel = normalised<T>(given);
  const int32_t reach = static_cast<int32_t>(kernel.size()) / 2;
  const auto [width, height] = src.size();
  const int32_t columns = width, rows = height;
  const auto blend = [](Number<T> a, Number<T> b, float f) -> Number<T> {
    const auto x = static_cast<float>(a), y = static_cast<float>(b);
    if constexpr (isFloat<T>) return std::fma(1 - f, x, f * y);
    return static_cast<Number<T>>(std::trunc(std::fma(1 - f, x, std::fma(f, y, 0.5f))));
  };
  const auto read = [&](int32_t index, int32_t length, auto&& value) -> Number<T> {
    if (rate > 1.99998f && rate < 2.00002f) return value(std::min(2 * index, length - 1));
    const volatile float exact = rate * static_cast<float>(index);
    const auto k = static_cast<int32_t>(exact);
    const float f = exact - static_cast<float>(k);
    return k + 1 < length ? blend(value(k), value(k + 1), f) : value(std::min(k, length - 1));
  };
  for (int32_t c = 0; c < channels; ++c) {
    const Plane<T> across = plane<T>(src.size(), [&](int32_t x, int32_t y) {
      return weightedSum<T>(kernel, x - reach, columns, 256,
                            [&](int32_t i) -> Number<T> { return src.at(i * channels + c, y); });
    });
    const Plane<T> work = plane<T>(src.size(), [&](int32_t x, int32_t y) -> Number<T> {
      const Number<T> sum =
          weightedSum<T>(kernel, y - reach, rows, 1, [&](int32_t i) { return across[i][x]; });
      if constexpr (isFloat<T>) return sum;
      const int64_t value = divideDown(static_cast<int64_t>(sum) + 16384, 32768);
      return sizeof(T) == 1 ? clamped<int16_t>(value) : clamped<int32_t>(value);
    });
    for (int32_t y = 0; y < dst.size().height; ++y) {
      for (int32_t x = 0; x < dst.size().width; ++x) {
        const Number<T> v = read(y, rows, [&](int32_t row) {
          return read(x, columns, [&](int32_t column) { return work[row][column]; });
        });
        T& pixel = dst.at(x * channels + c, y);
        if constexpr (isFloat<T>) {
          pixel = v;
        } else {
          pixel = clamped<T>(divideDown(v + 4, 8));
        }
      }
    }
  }
}

template <class T>
void checkDown(const Member<T>& member, NuviSize size, float rate,
               const std::vector<Entry<T>>& kernel) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " rate " +
               std::to_string(rate) + " channels " + std::to_string(member.channels));
  const Against against = size.width % 2 ? Against::end : Against::begin;
  const State<T> state(member, size, rate, kernel);
  for (int32_t level = 0; level < 2; ++level) {
    NuviSize below;
    ASSERT_EQ(nuvStatusOk, nuviGetPyramidDownROI(size, &below, rate));
    TestImage<T> src(size, member.channels, size.width % 3, against);
    TestImage<T> dst(below, member.channels, size.height % 3, against);
    TestImage<T> expected(below, member.channels);
    fillSource(src, size.height % 2 != 0);
    ASSERT_EQ(nuvStatusOk, state.step(src, dst));
    referenceDown(src, expected, member.channels, rate, kernel);
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
    size = below;
  }
}

TEST(LayerDown, MatchesReference) {
  forDown([](const auto& member) {
    using T = typename std::decay_t<decltype(member)>::Element;
    const std::vector<Entry<T>> kernels[] = {
        {1, 4, 6, 4, 1},  // then some that overshoot
        {1, 2, 1},       {3, 0, -7, 20, -7, 0, 3}, {-2, 5, -2},
        {-1, 2, -1},     {-1000, 2001, -1000},     {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
    for (const float rate : {1.05f, 1.5f, 1.99999f, 2.0f, 2.000019f, 2.5f, 10.0f}) {
      for (const auto& kernel : kernels) {
        for (int32_t width = 1; width <= 12; ++width) {
          checkDown(member, {width, 13 - width}, rate, kernel);
        }
        for (const NuviSize size : {NuviSize{37, 9}, {64, 1}, {1, 40}}) {
          checkDown(member, size, rate, kernel);
        }
      }
      checkDown(member, {131, 67}, rate, kernels[0]);
      checkDown(member, {1100, 5}, rate, kernels[2]);
    }
  });
}

// A team is asked for inside a parallel region of the caller only.
TEST(LayerDown, ThreadsDoNotShow) {
  const NuviSize size = {400, 391};
  TestImage<uint8_t> src(size);
  fillSource(src, false);
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
  for (const float rate : {1.3f, 2.0f}) {
    NuviSize below;
    nuviGetPyramidDownROI(size, &below, rate);
    TestImage<uint8_t> expected(below);
    referenceDown(src, expected, 1, rate, {1, 4, 6, 4, 1});
    withThreadCounts([&] {
      const State<uint8_t> state(down8u[0], size, rate, {1, 4, 6, 4, 1});
      TestImage<uint8_t> serial(below), parallel(below);
      EXPECT_EQ(nuvStatusOk, state.step(src, serial));
#pragma omp parallel num_threads(2)
#pragma omp single
      EXPECT_EQ(nuvStatusOk, state.step(src, parallel));
      EXPECT_EQ(expected.bytes(), serial.bytes());
      EXPECT_EQ(expected.bytes(), parallel.bytes());
    });
  }
  omp_set_max_active_levels(levels);
}

// A source is found by its height. Its successor in the list is the only size allowed, which for a
// narrower source reads past its columns.
TEST(LayerDown, ResultSizeFollowsTheList) {
  for (const float rate : {2.0f, 1.5f}) {
    const NuviSize listed = rate == 2.0f ? NuviSize{24, 16} : NuviSize{32, 22};
    const NuviSize unlisted = rate == 2.0f ? NuviSize{6, 6} : NuviSize{8, 8};
    const State<uint8_t> state(down8u[0], {48, 32}, rate, {0, 1, 0});
    const auto call = [&](NuviSize size, NuviSize below) {
      TestImage<uint8_t> src(size), dst(below), expected(below);
      fillSource(src, false);
      const NuvStatus status = state.step(src, dst);
      if (status == nuvStatusOk) referenceDown(src, expected, 1, rate, {0, 1, 0});
      EXPECT_EQ(expected.bytes(), dst.bytes());
      return status;
    };
    EXPECT_EQ(nuvStatusOk, call({48, 32}, listed));
    EXPECT_EQ(nuvStatusOk, call({20, 32}, listed));
    EXPECT_EQ(nuvStatusOk, call({12, 12}, unlisted));
    EXPECT_EQ(nuvStatusOk, call({1, 1}, {1, 1}));
    EXPECT_EQ(nuvStatusBadSize, call({48, 32}, {listed.width + 1, listed.height}));
    EXPECT_EQ(nuvStatusBadSize, call({48, 32}, {listed.width, listed.height - 1}));
    EXPECT_EQ(nuvStatusBadSize, call({49, 32}, listed));
    EXPECT_EQ(nuvStatusBadSize, call({48, 33}, listed));
  }
  const State<uint8_t> row(down8u[0], {64, 1}, 2.0f, {0, 1, 0});
  TestImage<uint8_t> src({16, 1}), dst({8, 1});
  fillSource(src, false);
  EXPECT_EQ(nuvStatusOk, row.step(src, dst));
}

// ---- Up: weights as a dense row over the source pixels from -margin on. Each pixel is spread over
// the two cells around it, the kernel lies on cells.

template <class T>
Numbers<T> denseWeights(int32_t result, int32_t length, int32_t margin, double rate,
                        const Numbers<T>& kernel) {
  const int32_t half = margin - 1;
  const auto entryAt = [&](int32_t cell) {
    const int32_t i = cell - result + half;
    return i < 0 || i > 2 * half ? 0.0 : static_cast<double>(kernel[static_cast<size_t>(i)]);
  };
  std::vector<double> weights;
  double sum = 0, moment = 0, spread = 0, size = 0, sizeSpread = 0;
  for (int32_t j = -margin; j < length + margin; ++j) {
    const double position = j * rate;
    const auto cell = static_cast<int32_t>(std::floor(position));
    const double part = position - cell;
    const double w = (1 - part) * entryAt(cell) + part * entryAt(cell + 1);
    const double d = position - result;
    weights.push_back(w);
    sum += w;
    moment += w * d;
    spread += w * d * d;
    size += std::abs(w);
    sizeSpread += std::abs(w) * d * d;
  }
  const double determinant = sum * spread - moment * moment;
  const bool balanced = std::abs(determinant) > size * sizeSpread / 16;
  size_t largest = 0;
  for (size_t i = 0; i < weights.size(); ++i) {
    const int32_t j = static_cast<int32_t>(i) - margin;
    weights[i] = balanced ? weights[i] * ((spread - moment * (j * rate - result)) / determinant)
                          : std::max(0.0, 1 - std::abs(result / rate - j));
    if (std::abs(weights[i]) > std::abs(weights[largest]) + 1e-9) largest = i;
  }
  Numbers<T> rounded;
  Number<T> rest = 32768;
  for (const double w : weights) {
    rounded.push_back(static_cast<Number<T>>(isFloat<T> ? w : std::nearbyint(w * 32768)));
    rest -= rounded.back();
  }
  if (!isFloat<T>) rounded[largest] += rest;
  return rounded;
}

template <class T>
void referenceUp(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels, float rate,
                 const std::vector<Entry<T>>& given) {
  const Numbers<T> kernel = normalised<T>(given);
  const auto margin = static_cast<int32_t>(given.size() / 2 + 1);
  const auto [width, height] = src.size();
  const int32_t columns = width, rows = height;
  const auto shifted = [](Number<T> sum, int64_t divisor) -> Number<T> {
    if constexpr (isFloat<T>) return sum;
    return divideDown(static_cast<int64_t>(sum), divisor);
  };
  Plane<T> weightsAt[2];
  for (int32_t i = 0; i < std::max(dst.size().width, dst.size().height); ++i) {
    weightsAt[0].push_back(denseWeights<T>(i, columns, margin, double{rate}, kernel));
    weightsAt[1].push_back(denseWeights<T>(i, rows, margin, double{rate}, kernel));
  }
  const Plane<T> across = plane<T>({dst.samples(), rows}, [&](int32_t i, int32_t y) {
    const int32_t c = i % channels;
    return shifted(
        weightedSum<T>(weightsAt[0][i / channels], -margin, columns, 1,
                       [&](int32_t x) -> Number<T> { return src.at(x * channels + c, y); }),
        256);
  });
  for (int32_t y = 0; y < dst.size().height; ++y) {
    for (int32_t i = 0; i < dst.samples(); ++i) {
      const Number<T> sum = weightedSum<T>(weightsAt[1][y], -margin, rows, 1,
                                           [&](int32_t row) { return across[row][i]; });
      if constexpr (isFloat<T>) {
        dst.at(i, y) = sum;
      } else {
        dst.at(i, y) = clamped<T>(shifted(sum, 1 << 22));
      }
    }
  }
}

template <class T>
const std::vector<Entry<T>> upKernels[] = {
    {1, 4, 6, 4, 1}, {1, 2, 1}, {-1, 0, 4, 0, -1}, {-1, 2, -1}, {1, 2, 3, 4, 5, 4, 3, 2, 1}};

constexpr float upRates[] = {1.0001f, 1.1f, 1.5f, 1.8f, 2.0f, 2.7f, 3.0f, 7.3f, 10.0f};

template <class T>
void checkUp(const Member<T>& member, NuviSize size, float rate,
             const std::vector<Entry<T>>& kernel) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " rate " +
               std::to_string(rate) + " channels " + std::to_string(member.channels));
  const Against against = size.width % 2 ? Against::end : Against::begin;
  NuviSize range[2];
  ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI(size, &range[0], &range[1], rate));
  for (const NuviSize above : range) {
    TestImage<T> src(size, member.channels, 1, against);
    TestImage<T> dst(above, member.channels, 2, against), expected(above, member.channels);
    fillSource(src, size.height % 2 != 0);
    ASSERT_EQ(nuvStatusOk, State<T>(member, above, rate, kernel).step(src, dst));
    referenceUp(src, expected, member.channels, rate, kernel);
    ASSERT_EQ(expected.bytes(), dst.bytes());
    ASSERT_TRUE(dst.padsUntouched());
  }
}

// Flat pictures and slopes, a slope of its own in each channel.
template <class T>
void checkSlopes(const Member<T>& member, float rate, const std::vector<Entry<T>>& kernel) {
  const int32_t channels = member.channels;
  const double scale = static_cast<double>(rate);
  NuviSize least, above;
  nuviGetPyramidUpROI({40, 30}, &least, &above, rate);
  TestImage<T> src({40, 30}, channels), dst(above, channels);
  const auto border = static_cast<int32_t>(5 * rate) + 5;
  const auto check = [&](auto&& slope, int32_t outside, double roundedDown) {
    for (int32_t y = 0; y < 30; ++y) {
      for (int32_t i = 0; i < src.samples(); ++i) {
        src.at(i, y) = static_cast<T>(slope(i / channels, y, i % channels));
      }
    }
    ASSERT_EQ(nuvStatusOk, State<T>(member, above, rate, kernel).step(src, dst));
    for (int32_t y = outside; y < above.height - outside; ++y) {
      for (int32_t i = outside * channels; i < dst.samples() - outside * channels; ++i) {
        const double error = dst.at(i, y) - slope(i / channels / scale, y / scale, i % channels);
        ASSERT_LE(error, isFloat<T> ? 1e-3 : roundedDown / 20);
        ASSERT_GE(error, isFloat<T> ? -1e-3 : -roundedDown);
      }
    }
  };
  check([](double, double, int32_t) { return 255.0; }, 0, 0);
  check(
      [](double x, double y, int32_t c) {
        return c == 0 ? 4 * x + 2 * y : c == 1 ? 200 - 3 * x : 10 + 5 * y;
      },
      border, 1.05);
}

TEST(LayerUp, MatchesReference) {
  forUp([](const auto& member) {
    using T = typename std::decay_t<decltype(member)>::Element;
    for (const float rate : upRates) {
      for (const auto& kernel : upKernels<T>) {
        for (const NuviSize size :
             {NuviSize{1, 1}, {2, 7}, {3, 2}, {5, 1}, {8, 3}, {17, 6}, {53, 4}}) {
          checkUp(member, size, rate, kernel);
        }
        checkSlopes(member, rate, kernel);
      }
    }
  });
}

// At a rate of 2 the kernel 1 4 6 4 1 is the familiar expansion: 1 6 1 on pixels, 4 4 between them.
TEST(LayerUp, DoublesLikeTheGaussianPyramid) {
  TestImage<uint8_t> src({40, 1}), dst({80, 2});
  fillSource(src, false);
  ASSERT_EQ(nuvStatusOk, State<uint8_t>(up8u[0], {80, 2}, 2.0f, {1, 4, 6, 4, 1}).step(src, dst));
  for (int32_t x = 1; x < 39; ++x) {
    const int32_t a = src.at(x - 1, 0), b = src.at(x, 0), c = src.at(x + 1, 0);
    EXPECT_EQ((a + 6 * b + c) >> 3, dst.at(2 * x, 0));
    EXPECT_EQ((b + c) >> 1, dst.at(2 * x + 1, 1));
  }
}

// ---- Checks, the same in both directions. `lone` is another size than the step may have.

template <class T, class Reference>
void checkOrder(const Member<T>& member, NuviSize from, NuviSize to, NuviSize lone,
                Reference&& reference) {
  NuviPyramidLayerState* none = nullptr;
  const std::vector<Entry<T>> kernel = {1, 2, 1, 2, 5};
  const auto init = [&](NuviSize size, float rate, int32_t taps, int32_t mode) {
    return member.init(&none, size, rate, kernel.data(), taps, mode);
  };
  EXPECT_EQ(nuvStatusNullPointer, member.init(nullptr, {0, 1}, 2, kernel.data(), 3, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.init(&none, {0, 1}, 2, nullptr, 3, 2));
  EXPECT_EQ(nuvStatusBadSize, init({0, 5}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadSize, init({5, -1}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, 3, 1));
  for (const float rate : {1.0f, 10.000001f, std::nanf("")}) {
    EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, rate, 3, 2));
  }
  for (const int32_t taps : {1, 4, -3}) {
    EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, taps, 2));
  }
  EXPECT_EQ(nuvStatusNullPointer, member.release(nullptr));
  EXPECT_EQ(nullptr, none);

  // The second half of the kernel is told to differ, and not used.
  const NuviSize largest = {std::max(from.width, to.width), std::max(from.height, to.height)};
  const State<T> state(member, largest, 2.0f, kernel, nuvStatusKernelAsymmetric);
  TestImage<T> src(from, member.channels), dst(to, member.channels), other(lone, member.channels);
  TestImage<T> expected(to, member.channels);
  fillSource(src, false);
  EXPECT_EQ(nuvStatusOk, state.step(src, dst));
  reference(src, expected, member.channels, 2.0f, std::vector<Entry<T>>{1, 2, 1, 2, 1});
  EXPECT_EQ(expected.bytes(), dst.bytes());

  const auto step = [&](const T* pSrc, int32_t srcStep, NuviSize size, T* pDst, int32_t dstStep) {
    return member.step(pSrc, srcStep, size, pDst, dstStep, lone, state.get());
  };
  T* const out = other.data();
  const int32_t enough = other.step();
  EXPECT_EQ(nuvStatusNullPointer, step(nullptr, 0, {0, 1}, out, 0));
  EXPECT_EQ(nuvStatusNullPointer, step(src.data(), 0, {0, 1}, nullptr, 0));
  EXPECT_EQ(nuvStatusNullPointer, member.step(src.data(), 0, {0, 1}, out, 0, lone, nullptr));
  EXPECT_EQ(nuvStatusBadSize, step(src.data(), 0, {from.width, 0}, out, 0));
  EXPECT_EQ(nuvStatusBadStep, step(src.data(), src.step() - 1, from, out, enough));
  EXPECT_EQ(nuvStatusBadStep, step(src.data(), src.step(), from, out, enough - 1));
  const NuvStatus odd = sizeof(T) == 1 ? nuvStatusBadSize : nuvStatusStepNotElementMultiple;
  EXPECT_EQ(odd, step(src.data(), src.step() + 1, from, out, enough));
  EXPECT_EQ(odd, step(src.data(), src.step(), from, out, enough + 1));
  const auto before = other.bytes();
  EXPECT_EQ(nuvStatusBadSize, state.step(src, other));
  EXPECT_EQ(before, other.bytes());
}

TEST(LayerChecks, StateAndOrder) {
  const auto down = [](const auto&... arguments) { referenceDown(arguments...); };
  const auto up = [](const auto&... arguments) { referenceUp(arguments...); };
  forDown([&](const auto& member) { checkOrder(member, {9, 9}, {5, 5}, {5, 4}, down); });
  forUp([&](const auto& member) {
    for (const NuviSize lone : {NuviSize{14, 8}, {17, 8}, {16, 6}, {16, 9}}) {
      checkOrder(member, {8, 4}, {16, 8}, lone, up);
    }
  });
  NuviPyramidLayerState* none = nullptr;
  const int16_t kernel[] = {1, 2, 1};
  EXPECT_EQ(nuvStatusNoMemory,
            nuviPyramidLayerDownInitAlloc_8u_C1R(&none, {INT32_MAX, 1}, 2.0f, kernel, 3, 2));
  EXPECT_EQ(nullptr, none);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <class T>
using Entry = std::conditional_t<std::is_same_v<T, float>, float, int16_t>;
template <class T>
constexpr bool isFloat = std::is_same_v<T, float>;
template <class T>
using Number = std::conditional_t<isFloat<T>, float, int64_t>;

template <class T>
struct Member {
  using Element = T;
  NuvStatus (*init)(NuviPyramidLayerState**, NuviSize, float, const Entry<T>*, int32_t, int32_t);
  NuvStatus (*up)(const T*, int32_t, NuviSize, T*, int32_t, NuviSize, NuviPyramidLayerState*);
  NuvStatus (*release)(NuviPyramidLayerState*);
  int32_t channels;
};

#define MEMBER(name, channels)                                                                    \
  {                                                                                               \
    nuviPyramidLayerUpInitAlloc_##name, nuviPyramidLayerUp_##name, nuviPyramidLayerUpFree_##name, \
        channels                                                                                  \
  }
const Member<uint8_t> members8u[] = {MEMBER(8u_C1R, 1), MEMBER(8u_C3R, 3)};
const Member<uint16_t> members16u[] = {MEMBER(16u_C1R, 1), MEMBER(16u_C3R, 3)};
const Member<float> members32f[] = {MEMBER(32f_C1R, 1), MEMBER(32f_C3R, 3)};
#undef MEMBER

template <class Body>
void forMembers(Body&& body) {
  for (const auto& member : members8u) body(member);
  for (const auto& member : members16u) body(member);
  for (const auto& member : members32f) body(member);
}

// Calls a member, with a state of its own. The kernels here are symmetric.
template <class T>
void call(const Member<T>& member, const TestImage<T>& src, const TestImage<T>& dst, float rate,
          const std::vector<Entry<T>>& kernel) {
  NuviPyramidLayerState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, member.init(&state, dst.size(), rate, kernel.data(),
                                     static_cast<int32_t>(kernel.size()), 2));
  ASSERT_EQ(nuvStatusOk, member.up(src.data(), src.step(), src.size(), dst.data(), dst.step(),
                                   dst.size(), state));
  ASSERT_TRUE(dst.padsUntouched());
  member.release(state);
}

// The weights of one result as a dense row over the source pixels from -margin on: each pixel is
// spread over the two cells around it, the kernel lies on cells.
template <class T>
std::vector<Number<T>> denseWeights(int32_t result, int32_t length, int32_t margin, double rate,
                                    const std::vector<Entry<T>>& given) {
  const auto half = static_cast<int32_t>(given.size()) / 2;
  Number<T> total = 0;
  for (const auto entry : given) total += entry;
  const auto entryAt = [&](int32_t cell) -> double {
    if (std::abs(cell - result) > half) return 0;
    const Number<T> entry = given[static_cast<size_t>(cell - result + half)];
    if (total == 0) return static_cast<double>(entry);
    if constexpr (isFloat<T>) return entry / total;
    return std::floor(static_cast<double>(entry * 16384 / total) / 2);
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
  const bool balanced = std::abs(determinant) > 0.0625 * size * sizeSpread;
  const double exact = result / rate;
  size_t largest = 0;
  for (size_t i = 0; i < weights.size(); ++i) {
    const int32_t j = static_cast<int32_t>(i) - margin;
    weights[i] = balanced ? weights[i] * ((spread - moment * (j * rate - result)) / determinant)
                          : std::max(0.0, 1 - std::abs(exact - j));
    if (std::abs(weights[i]) > std::abs(weights[largest]) + 1e-9) largest = i;
  }
  std::vector<Number<T>> rounded;
  Number<T> rest = 32768;
  for (const double w : weights) {
    rounded.push_back(isFloat<T> ? static_cast<Number<T>>(w)
                                 : static_cast<Number<T>>(std::nearbyint(w * 32768)));
    rest -= rounded.back();
  }
  if (!isFloat<T>) rounded[largest] += rest;
  return rounded;
}

int32_t mirrored(int32_t position, int32_t length) {
  while (length > 1 && (position < 0 || position >= length)) {
    position = position < 0 ? -position : 2 * (length - 1) - position;
  }
  return length > 1 ? position : 0;
}

template <class T, class Value>
Number<T> weightedSum(const std::vector<Number<T>>& weights, int32_t margin, int32_t length,
                      Value&& value) {
  Number<T> sum = 0;
  for (size_t i = 0; i < weights.size(); ++i) {
    if (weights[i] == 0) continue;
    const Number<T> v = value(mirrored(static_cast<int32_t>(i) - margin, length));
    if constexpr (isFloat<T>) {
      sum = std::fma(weights[i], v, sum);
    } else {
      sum += weights[i] * v;
    }
  }
  return sum;
}

template <class T>
void reference(const TestImage<T>& src, const TestImage<T>& dst, int32_t channels, float rate,
               const std::vector<Entry<T>>& kernel) {
  const auto margin = static_cast<int32_t>(kernel.size() / 2 + 1);
  const auto [width, height] = src.size();
  std::vector<std::vector<Number<T>>> across(static_cast<size_t>(height));
  for (int32_t x = 0; x < dst.size().width; ++x) {
    const auto weights = denseWeights<T>(x, width, margin, double{rate}, kernel);
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t c = 0; c < channels; ++c) {
        Number<T> sum = weightedSum<T>(weights, margin, width,
                                       [&](int32_t i) { return src.at(i * channels + c, y); });
        if constexpr (!isFloat<T>) sum >>= 8;
        across[static_cast<size_t>(y)].push_back(sum);
      }
    }
  }
  for (int32_t y = 0; y < dst.size().height; ++y) {
    const auto weights = denseWeights<T>(y, height, margin, double{rate}, kernel);
    for (int32_t x = 0; x < dst.samples(); ++x) {
      const Number<T> sum = weightedSum<T>(weights, margin, height, [&](int32_t i) {
        return across[static_cast<size_t>(i)][static_cast<size_t>(x)];
      });
      if constexpr (isFloat<T>) {
        dst.at(x, y) = sum;
      } else {
        dst.at(x, y) = static_cast<T>(
            std::min<int64_t>(std::max<int64_t>(sum >> 22, 0), std::numeric_limits<T>::max()));
      }
    }
  }
}

template <class T>
const std::vector<Entry<T>> kernels[] = {
    {1, 4, 6, 4, 1}, {1, 2, 1}, {-1, 0, 4, 0, -1}, {-1, 2, -1}, {1, 2, 3, 4, 5, 4, 3, 2, 1}};

constexpr float rates[] = {1.0001f, 1.1f, 1.5f, 1.8f, 2.0f, 2.7f, 3.0f, 7.3f, 10.0f};

template <class T>
void checkAll(const Member<T>& member) {
  std::mt19937 random(9);
  for (const float rate : rates) {
    for (const auto& kernel : kernels<T>) {
      for (const NuviSize size :
           {NuviSize{1, 1}, {2, 7}, {3, 2}, {5, 1}, {8, 3}, {17, 6}, {53, 4}}) {
        NuviSize range[2];
        ASSERT_EQ(nuvStatusOk, nuviGetPyramidUpROI(size, &range[0], &range[1], rate));
        for (const NuviSize above : range) {
          SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " rate " +
                       std::to_string(rate) + " taps " + std::to_string(kernel.size()) +
                       " channels " + std::to_string(member.channels));
          const Against against = size.width % 2 ? Against::end : Against::begin;
          TestImage<T> src(size, member.channels, 1, against);
          TestImage<T> dst(above, member.channels, 2, against);
          TestImage<T> expected(above, member.channels, 2, against);
          src.fill([&]() -> std::conditional_t<isFloat<T>, float, uint32_t> {
            if constexpr (isFloat<T>) return static_cast<float>(random() % 100000) / 7 - 3000;
            return random() % 3 ? random() : random() % 2 * std::numeric_limits<T>::max();
          });
          call(member, src, dst, rate, kernel);
          reference(src, expected, member.channels, rate, kernel);
          ASSERT_EQ(expected.bytes(), dst.bytes());
        }
      }
    }
  }
}

TEST(LayerUp, MatchesReference) {
  forMembers([](const auto& member) { checkAll(member); });
}

// At a rate of 2 the kernel 1 4 6 4 1 is the familiar expansion: 1 6 1 on pixels, 4 4 between them.
TEST(LayerUp, DoublesLikeTheGaussianPyramid) {
  TestImage<uint8_t> src({40, 1}), dst({80, 2});
  src.fill(RandomSamples<uint8_t>(3));
  call(members8u[0], src, dst, 2.0f, {1, 4, 6, 4, 1});
  for (int32_t x = 1; x < 39; ++x) {
    const int32_t a = src.at(x - 1, 0), b = src.at(x, 0), c = src.at(x + 1, 0);
    EXPECT_EQ((a + 6 * b + c) >> 3, dst.at(2 * x, 0));
    EXPECT_EQ((b + c) >> 1, dst.at(2 * x + 1, 1));
  }
}

// Flat pictures and slopes, a slope of its own in each channel.
template <class T>
void checkSlopes(const Member<T>& member, float rate, const std::vector<Entry<T>>& kernel) {
  const int32_t channels = member.channels;
  NuviSize least, above;
  nuviGetPyramidUpROI({40, 30}, &least, &above, rate);
  TestImage<T> src({40, 30}, channels), dst(above, channels);
  src.fill([] { return 255; });
  call(member, src, dst, rate, kernel);
  for (int32_t y = 0; y < above.height; ++y) {
    for (int32_t i = 0; i < dst.samples(); ++i) {
      ASSERT_NEAR(255, dst.at(i, y), isFloat<T> ? 1e-3 : 0);
    }
  }
  const auto slope = [](double x, double y, int32_t c) {
    return c == 0 ? 4 * x + 2 * y : c == 1 ? 200 - 3 * x : 10 + 5 * y;
  };
  for (int32_t y = 0; y < 30; ++y) {
    for (int32_t i = 0; i < src.samples(); ++i) {
      src.at(i, y) = static_cast<T>(slope(i / channels, y, i % channels));
    }
  }
  call(member, src, dst, rate, kernel);
  const auto border = static_cast<int32_t>(5 * rate) + 5;
  for (int32_t y = border; y < above.height - border; ++y) {
    for (int32_t i = border * channels; i < dst.samples() - border * channels; ++i) {
      const double scale = static_cast<double>(rate);
      const double error = dst.at(i, y) - slope(i / channels / scale, y / scale, i % channels);
      ASSERT_LE(error, isFloat<T> ? 1e-3 : 0.05);
      ASSERT_GE(error, isFloat<T> ? -1e-3 : -1.05);  // shifts round down
    }
  }
}

TEST(LayerUp, FlatStaysFlatAndSlopeStaysSlope) {
  forMembers([](const auto& member) {
    using T = typename std::decay_t<decltype(member)>::Element;
    for (const float rate : rates) {
      for (const auto& kernel : kernels<T>) checkSlopes(member, rate, kernel);
    }
  });
}

template <class T>
void checkOrder(const Member<T>& member) {
  NuviPyramidLayerState* state = nullptr;
  const Entry<T> kernel[] = {1, 2, 1, 2, 5};
  const auto init = [&](NuviSize size, float rate, int32_t taps, int32_t mode) {
    return member.init(&state, size, rate, kernel, taps, mode);
  };
  EXPECT_EQ(nuvStatusNullPointer, member.init(nullptr, {0, 1}, 2, kernel, 3, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.init(&state, {0, 1}, 2, nullptr, 3, 2));
  EXPECT_EQ(nuvStatusBadSize, init({0, 5}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, 3, 1));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 1.0f, 3, 2));
  EXPECT_EQ(nuvStatusBadArgument, init({5, 5}, 2.0f, 4, 2));
  EXPECT_EQ(nuvStatusNullPointer, member.release(nullptr));
  EXPECT_EQ(nullptr, state);

  // The second half of the kernel is told to differ, and not used.
  ASSERT_EQ(nuvStatusKernelAsymmetric, init({16, 8}, 2.0f, 5, 2));
  TestImage<T> src({8, 4}, member.channels), dst({16, 8}, member.channels);
  TestImage<T> expected({16, 8}, member.channels);
  src.fill(RandomSamples<uint8_t>(2));
  const auto up = [&](const T* from, int32_t srcStep, NuviSize size, T* to, int32_t dstStep,
                      NuviSize above) {
    return member.up(from, srcStep, size, to, dstStep, above, state);
  };
  const NuviSize size = src.size();
  EXPECT_EQ(nuvStatusOk, up(src.data(), src.step(), size, dst.data(), dst.step(), {16, 8}));
  reference(src, expected, member.channels, 2.0f, {1, 2, 1, 2, 1});
  EXPECT_EQ(expected.bytes(), dst.bytes());

  EXPECT_EQ(nuvStatusNullPointer, up(nullptr, 0, {0, 1}, dst.data(), 0, {1, 1}));
  EXPECT_EQ(nuvStatusNullPointer, up(src.data(), 0, {0, 1}, nullptr, 0, {1, 1}));
  EXPECT_EQ(nuvStatusNullPointer, member.up(src.data(), 0, {0, 1}, dst.data(), 0, {1, 1}, nullptr));
  EXPECT_EQ(nuvStatusBadSize, up(src.data(), 0, {0, 1}, dst.data(), 0, {1, 1}));
  EXPECT_EQ(nuvStatusBadStep, up(src.data(), src.step() - 1, size, dst.data(), 0, {1, 1}));
  EXPECT_EQ(nuvStatusBadStep,
            up(src.data(), src.step(), size, dst.data(), dst.step() - 1, {16, 9}));
  const NuvStatus odd = sizeof(T) == 1 ? nuvStatusBadSize : nuvStatusStepNotElementMultiple;
  EXPECT_EQ(odd, up(src.data(), src.step() + 1, size, dst.data(), dst.step(), {16, 9}));
  EXPECT_EQ(odd, up(src.data(), src.step(), size, dst.data(), dst.step() + 1, {16, 9}));
  for (const NuviSize bad : {NuviSize{14, 8}, {17, 8}, {16, 6}, {16, 9}, {0, 0}}) {
    EXPECT_EQ(nuvStatusBadSize, up(src.data(), src.step(), size, dst.data(), 1000, bad));
  }
  EXPECT_EQ(expected.bytes(), dst.bytes());
  member.release(state);
}

TEST(LayerUpChecks, StateAndOrder) {
  forMembers([](const auto& member) { checkOrder(member); });
}

}  // namespace

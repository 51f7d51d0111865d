#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "support/guarded.h"

namespace {

using namespace testing_support;

struct Form {
  int channels;
  decltype(&nuviForegroundGaussianInitAlloc_8u_C1R) initAlloc;
  decltype(&nuviForegroundGaussian_8u_C1R) process;
  decltype(&nuviForegroundGaussianFree_8u_C1R) free;
};
constexpr Form forms[] = {{1, nuviForegroundGaussianInitAlloc_8u_C1R, nuviForegroundGaussian_8u_C1R,
                           nuviForegroundGaussianFree_8u_C1R},
                          {3, nuviForegroundGaussianInitAlloc_8u_C3R, nuviForegroundGaussian_8u_C3R,
                           nuviForegroundGaussianFree_8u_C3R}};
constexpr int model = 0;  // of which only the address counts

// One pixel by definition: all five components, step by step.
struct ReferencePixel {
  struct Component {
    int samples = 0;
    double weight = 0.0;
    double variance[3] = {12.5, 12.5, 12.5};
    double mean[3] = {};
  };
  int channels;
  Component components[5];

  ReferencePixel(const uint8_t* pixel, int channels) : channels(channels) {
    components[0].samples = 1;
    components[0].weight = 1.0;
    std::copy_n(pixel, channels, components[0].mean);
  }
  double varianceOf(const Component& one) const {
    return std::accumulate(one.variance, one.variance + channels, 0.0);
  }
  double keyOf(const Component& one) const {
    return one.samples > 0 ? one.weight / std::sqrt(varianceOf(one)) : 0.0;
  }

  uint8_t learn(const uint8_t* x, bool window) {
    int flags[5] = {}, samples = 0;
    bool matched = false;
    for (int i = 0; i < 5; ++i) {
      double distance = 0.0;
      for (int c = 0; c < channels; ++c) {
        const double d = x[c] - components[i].mean[c];
        distance += d * d;
      }
      flags[i] = !matched && 2.5 * 2.5 * varianceOf(components[i]) > distance;
      matched |= flags[i] != 0;
      samples += components[i].samples;
    }
    const double a = window ? 1.0 / 200 : 1.0 / (1 + samples);
    for (int i = 0; i < 5; ++i) {
      Component& one = components[i];
      if (!window) one.samples += flags[i];
      one.weight = std::fma(a, flags[i] - one.weight, one.weight);
      const double rho = window ? 1 / (200 * one.weight) : 1.0 / one.samples;
      for (int c = 0; c < channels && flags[i] != 0; ++c) {
        const double d = x[c] - one.mean[c];
        one.mean[c] = std::fma(d, rho, one.mean[c]);
        one.variance[c] = std::fma(std::fma(d, d, -one.variance[c]), rho, one.variance[c]);
      }
    }
    if (!matched) {
      samples += 1 - components[4].samples;
      components[4] = {1, 0.0, {900, 900, 900}, {}};
      std::copy_n(x, channels, components[4].mean);
      for (Component& one : components) {
        one.weight = window ? one.weight * (1 - 1.0 / 200) : 1.0 * one.samples / samples;
      }
      if (window) components[4].weight = 1.0 / samples;
    }
    for (int i = 1; i < 5; ++i) {
      for (int j = i; j > 0 && keyOf(components[j]) > keyOf(components[j - 1]); --j) {
        std::swap(components[j], components[j - 1]);
      }
    }
    double total = 0.0;
    for (int i = 0; i < 5 && total <= 0.7; ++i) {
      if (flags[i] != 0) return 0;
      total += components[i].weight;
    }
    return 255;
  }
};

// A sample of a video in which every pixel has a habit of its own, by its place: constant, nearly
// black (where components without samples match), noisy, flickering, wandering, wild.
int videoSample(std::mt19937& random, int x, int index, int c) {
  const int noise = static_cast<int>(random() % 7), habit = x % 15;
  const bool rare = random() % 16 == 0;
  if (habit == 0) return 40 * c + x;
  if (habit == 1) return static_cast<int>(random() % 12);
  if (habit == 2) return 100 + noise - 30 * c;
  if (habit == 3) return (index / 5 % 3) * 60 + noise;
  if (habit == 4) return (index * 2 + x) % 256;
  if (habit == 5) return static_cast<int>(random() % 256);
  if (habit == 6) return rare ? 250 : 10 + noise;
  if (habit == 7) return index % 40 < 36 ? 200 + c : noise;
  if (habit == 8) return index < 150 + x ? 90 : 90 + 5 * (x % 16);
  if (habit == 9) return rare ? noise : index < 190 ? 128 : 8 * (noise + c);
  // Black for the first time at 200.
  if (habit == 10) return index < 200 || index >= 220 ? 60 : 0;
  // Equal shares and spreads: the last bit of the keys decides the order.
  if (habit == 11) return index == 0 ? 20 : 60 + 90 * (index % 2) + c;
  if (habit == 12) return index < 3 ? 20 : 60 + 70 * (index % 3) + c;
  if (habit == 14) return 50 * static_cast<int>(random() % 4) + x % 9;
  // A jump by 2.5 deviations exactly, after so many frames of one colour.
  constexpr int jumps[7][4] = {{9, 25, 25, 25}, {25, 15, 15, 15}, {225, 5, 5, 5}, {15, 30, 15, 0},
                               {27, 15, 20, 0}, {75, 2, 10, 11},  {135, 10, 5, 0}};
  const int* const jump = jumps[x / 15 % 7];
  return index < 201 ? 20 : index == 201 + jump[0] ? 100 + jump[c + 1] : 100;
}

// Through the 200th frame, at which the regime differs, and well beyond it. The background may take
// the place of the frame, and results may run upward.
TEST(ForegroundGaussian, MatchesReferenceOverAVideo) {
  for (int i = 0; i < 6; ++i) {
    const Form& form = forms[i % 2];
    const NuviSize sizes[] = {{301, 3}, {1, 5}, {6, 3}}, size = sizes[i / 2];
    const Against against = i < 4 ? Against::end : Against::begin;
    TestImage<uint8_t> frame(size, form.channels, 1, against), ref(size, form.channels, 2, against);
    TestImage<uint8_t> dst(size, 1, 3, against);
    const TestImage<uint8_t>& background = i < 2 ? ref : frame;
    std::mt19937 random(7);
    std::vector<ReferencePixel> pixels;
    NuviForegroundGaussianState* state = nullptr;
    for (int index = 0; index <= 460; ++index) {
      frame.fill([&, sample = 0]() mutable {
        const int pixel = sample / form.channels, c = sample++ % form.channels;
        return videoSample(random, pixel % size.width + pixel / size.width * 2, index, c);
      });
      const std::vector<uint8_t> samples = frame.bytes();
      if (index == 0) {
        ASSERT_EQ(nuvStatusOk, form.initAlloc(frame.data(), frame.step(), size, &model, &state));
        for (size_t at = 0; at < samples.size(); at += static_cast<size_t>(form.channels)) {
          pixels.emplace_back(&samples[at], form.channels);
        }
        continue;
      }
      ASSERT_EQ(nuvStatusOk,
                form.process(frame.data(), frame.step(), background.data(), background.step(),
                             dst.row(size.height - 1), -dst.step(), size, state));
      std::vector<uint8_t> foreground(pixels.size()), means;
      for (int p = 0; p < size.width * size.height; ++p) {
        const int upward = (size.height - 1 - p / size.width) * size.width + p % size.width;
        ReferencePixel& pixel = pixels[p];
        foreground[upward] = pixel.learn(&samples[p * form.channels], index == 200);
        for (int c = 0; c < form.channels; ++c) {
          means.push_back(static_cast<uint8_t>(0.5 + pixel.components[0].mean[c]));
        }
      }
      ASSERT_EQ(foreground, dst.bytes()) << "frame " << index;
      ASSERT_EQ(means, background.bytes()) << "frame " << index;
    }
    EXPECT_TRUE(frame.padsUntouched() && ref.padsUntouched() && dst.padsUntouched());
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

TEST(ForegroundGaussian, FirstFailureInOrderAndNothingWritten) {
  for (const Form& form : forms) {
    uint8_t src[12] = {1, 2, 3}, ref[12] = {9}, dst[4] = {9};
    const int32_t row = 4 * form.channels;
    NuviForegroundGaussianState* state = nullptr;
    const auto make = [&](int32_t step, NuviSize size) {
      return form.initAlloc(src, step, size, &model, &state);
    };
    const auto call = [&](uint8_t* pSrc, uint8_t* pRef, uint8_t* pDst, int32_t step,
                          NuviSize size) {
      return form.process(pSrc, step, pRef, row, pDst, 4, size, state);
    };
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(nullptr, row, {0, 1}, &model, &state));
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(src, row, {0, 1}, nullptr, &state));
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(src, row, {4, 1}, &model, nullptr));
    EXPECT_EQ(nuvStatusBadSize, make(0, {0, 1}));
    EXPECT_EQ(nuvStatusBadStep, make(row - 1, {4, 1}));
    EXPECT_EQ(nuvStatusNoMemory, make(row, {4, INT32_MAX}));
    EXPECT_EQ(nullptr, state);
    EXPECT_EQ(nuvStatusNullPointer, call(src, ref, dst, row, {0, 1}));
    EXPECT_EQ(nuvStatusNullPointer, form.free(state));
    ASSERT_EQ(nuvStatusOk, make(row, {4, 1}));
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, ref, dst, row, {0, 1}));
    EXPECT_EQ(nuvStatusNullPointer, call(src, nullptr, dst, 0, {4, 1}));
    EXPECT_EQ(nuvStatusNullPointer, call(src, ref, nullptr, row, {4, 1}));
    EXPECT_EQ(nuvStatusBadSize, call(src, ref, dst, 0, {4, -1}));
    EXPECT_EQ(nuvStatusBadStep, call(src, ref, dst, row - 1, {4, 1}));
    EXPECT_TRUE(ref[0] == 9 && dst[0] == 9);
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <int channels>
struct Forms;
template <>
struct Forms<1> {
  static constexpr auto make = nuviForegroundGaussianInitAlloc_8u_C1R;
  static constexpr auto take = nuviForegroundGaussian_8u_C1R;
  static constexpr auto free = nuviForegroundGaussianFree_8u_C1R;
};
template <>
struct Forms<3> {
  static constexpr auto make = nuviForegroundGaussianInitAlloc_8u_C3R;
  static constexpr auto take = nuviForegroundGaussian_8u_C3R;
  static constexpr auto free = nuviForegroundGaussianFree_8u_C3R;
};

// One pixel's mixture, every component treated in every step.
struct Reference {
  struct Gaussian {
    int count = 0;
    double weight = 0, variance[3] = {12.5, 12.5, 12.5}, mean[3] = {};
  };
  int channels;
  Gaussian g[5];

  double variance(int i) const {
    double sum = 0;
    for (int c = 0; c < channels; ++c) sum += g[i].variance[c];
    return sum;
  }
  void learn(Gaussian& k, const uint8_t* pixel, double rho) const {
    for (int c = 0; c < channels; ++c) {
      const double d = pixel[c] - k.mean[c];
      k.mean[c] = std::fma(d, rho, k.mean[c]);
      k.variance[c] = std::fma(std::fma(d, d, -k.variance[c]), rho, k.variance[c]);
    }
  }

  int take(const uint8_t* pixel, int frame) {
    int flags[5] = {}, match = -1;
    for (int i = 0; i < 5 && match < 0; ++i) {
      double distance = 0;
      for (int c = 0; c < channels; ++c) {
        distance += (pixel[c] - g[i].mean[c]) * (pixel[c] - g[i].mean[c]);
      }
      if (6.25 * variance(i) > distance) flags[match = i] = 1;
    }
    double n = 0;
    for (const Gaussian& k : g) n += k.count;
    const double a = frame == 200 ? 1.0 / 200 : 1.0 / (1.0 + n);
    for (int i = 0; i < 5; ++i) {
      if (frame != 200) g[i].count += flags[i];
      g[i].weight = std::fma(a, flags[i] - g[i].weight, g[i].weight);
      if (flags[i] == 1) learn(g[i], pixel, 1.0 / (frame == 200 ? 200 * g[i].weight : g[i].count));
    }
    if (match < 0) {
      g[4].count = 1;
      double s = 0;
      for (const Gaussian& k : g) s += k.count;
      for (int c = 0; c < channels; ++c) g[4].variance[c] = 900, g[4].mean[c] = pixel[c];
      for (int i = 0; i < 5; ++i) {
        if (frame != 200) {
          g[i].weight = g[i].count / s;
        } else {
          g[i].weight = i == 4 ? 1 / s : g[i].weight * (1 - 1.0 / 200);
        }
      }
    }
    const auto key = [&](int i) {
      return g[i].count > 0 ? g[i].weight / std::sqrt(variance(i)) : 0.0;
    };
    for (int i = 1; i < 5; ++i) {
      for (int j = i; j > 0 && key(j) > key(j - 1); --j) std::swap(g[j], g[j - 1]);
    }
    double sum = 0;
    int mask = 255;
    for (int i = 0; i < 5; ++i) {
      if (flags[i] != 0) mask = 0;
      sum += g[i].weight;
      if (sum > 0.7) break;
    }
    return mask;
  }
};

// Over the length of the window: still, noisy, jumping and dark pixels (a dark one is near the mean
// of an empty component).
template <int channels>
void testVideo() {
  std::mt19937 random(channels);
  const NuviSize size = {9, 7};
  TestImage<uint8_t> frame(size, channels, 2), ref(size, channels, 1, Against::begin), mask(size);
  const auto scene = [&](int t) {
    int i = 0;
    return [&random, t, i]() mutable {
      const int kind = i++ / channels % 9;
      if (kind == 0) return 90;
      if (kind < 3) return 100 + static_cast<int>(random() % 9);
      if (kind < 5) return random() % 7 == 0 ? 230 : 60 + static_cast<int>(random() % 4);
      if (kind == 5) return t / 20 % 2 == 0 ? 3 : 200;
      if (kind == 6) return t > 195 ? static_cast<int>(random() % 9) : 77;
      if (kind == 7) return static_cast<int>(random() % 40);
      return static_cast<int>(random() % 256);
    };
  };
  frame.fill(scene(0));
  NuviForegroundGaussianState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, Forms<channels>::make(frame.data(), frame.step(), size, &size, &state));
  std::vector<Reference> pixels;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      Reference& r = pixels.emplace_back();
      r.channels = channels;
      r.g[0].count = 1;
      r.g[0].weight = 1;
      for (int c = 0; c < channels; ++c) r.g[0].mean[c] = frame.at(x * channels + c, y);
    }
  }
  int foreground = 0;
  for (int t = 1; t <= 230; ++t) {
    frame.fill(scene(t));
    ASSERT_EQ(nuvStatusOk, Forms<channels>::take(frame.data(), frame.step(), ref.data(), ref.step(),
                                                 mask.data(), mask.step(), size, state));
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        Reference& r = pixels[static_cast<size_t>(y * size.width + x)];
        ASSERT_EQ(r.take(&frame.at(x * channels, y), t), mask.at(x, y)) << t << ": " << x;
        foreground += mask.at(x, y) / 255;
        for (int c = 0; c < channels; ++c) {
          ASSERT_EQ(static_cast<int>(0.5 + r.g[0].mean[c]), ref.at(x * channels + c, y)) << t;
        }
      }
    }
    ASSERT_TRUE(ref.padsUntouched());
  }
  EXPECT_GT(foreground, 100);
  EXPECT_EQ(nuvStatusOk, Forms<channels>::free(state));
}

TEST(GaussianModel, MatchesReference) { testVideo<1>(); }
TEST(GaussianModel, MatchesReferenceInColour) { testVideo<3>(); }

TEST(GaussianModelChecks, FirstFailureInOrder) {
  uint8_t image[16] = {}, ref[16] = {9}, mask[16] = {9};
  NuviForegroundGaussianState* state = nullptr;
  const NuviSize size = {2, 2};
  EXPECT_EQ(nuvStatusNullPointer,
            nuviForegroundGaussianInitAlloc_8u_C3R(image, 0, {0, 0}, nullptr, &state));
  EXPECT_EQ(nuvStatusBadSize,
            nuviForegroundGaussianInitAlloc_8u_C3R(image, 0, {1, 0}, image, &state));
  EXPECT_EQ(nuvStatusBadStep,
            nuviForegroundGaussianInitAlloc_8u_C3R(image, 5, size, image, &state));
  EXPECT_EQ(nuvStatusNoMemory, nuviForegroundGaussianInitAlloc_8u_C1R(
                                   image, 1 << 20, {1 << 20, 1 << 20}, image, &state));
  EXPECT_EQ(nullptr, state);
  ASSERT_EQ(nuvStatusOk, nuviForegroundGaussianInitAlloc_8u_C3R(image, 6, size, image, &state));
  const auto take = [&](int32_t step, uint8_t* background, NuviSize roi) {
    return nuviForegroundGaussian_8u_C3R(image, step, background, 6, mask, 2, roi, state);
  };
  EXPECT_EQ(nuvStatusNullPointer, take(0, nullptr, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, take(0, ref, {2, 0}));
  EXPECT_EQ(nuvStatusBadStep, take(5, ref, size));
  EXPECT_EQ(9, ref[0]);
  EXPECT_EQ(9, mask[0]);
  EXPECT_EQ(nuvStatusOk, nuviForegroundGaussianFree_8u_C3R(state));
  EXPECT_EQ(nuvStatusNullPointer, nuviForegroundGaussianFree_8u_C1R(nullptr));
}

}  // namespace

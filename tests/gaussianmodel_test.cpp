#include <gtest/gtest.h>

#include <cmath>

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
class ReferencePixel {
 public:
  ReferencePixel(const uint8_t* pixel, int channels) : channels_(channels) {
    components_[0].samples = 1;
    components_[0].weight = 1.0;
    for (int c = 0; c < channels; ++c) components_[0].mean[c] = pixel[c];
  }

  uint8_t learn(const uint8_t* x, bool window) {
    int flags[5] = {};
    bool matched = false;
    for (int i = 0; i < 5 && !matched; ++i) {
      const Component& one = components_[i];
      double variance = 0.0, distance = 0.0;
      for (int c = 0; c < channels_; ++c) {
        variance += one.variance[c];
        distance += (x[c] - one.mean[c]) * (x[c] - one.mean[c]);
      }
      flags[i] = matched = 2.5 * 2.5 * variance > distance;
    }
    const double a = window ? 1.0 / 200 : 1.0 / (1 + sum());
    for (int i = 0; i < 5; ++i) {
      Component& one = components_[i];
      if (!window) one.samples += flags[i];
      one.weight = std::fma(a, flags[i] - one.weight, one.weight);
      if (flags[i] == 0) continue;
      const double rho = window ? 1 / (200 * one.weight) : 1.0 / one.samples;
      for (int c = 0; c < channels_; ++c) {
        const double d = x[c] - one.mean[c];
        one.mean[c] = std::fma(d, rho, one.mean[c]);
        one.variance[c] = std::fma(std::fma(d, d, -one.variance[c]), rho, one.variance[c]);
      }
    }
    if (!matched) replace(x, window);

    for (int i = 1; i < 5; ++i) {
      for (int j = i; j > 0 && key(components_[j]) > key(components_[j - 1]); --j) {
        std::swap(components_[j], components_[j - 1]);
      }
    }
    uint8_t foreground = 255;
    double total = 0.0;
    for (int i = 0; i < 5; ++i) {
      if (flags[i] != 0) foreground = 0;
      total += components_[i].weight;
      if (total > 0.7) break;
    }
    return foreground;
  }

  uint8_t background(int c) const { return static_cast<uint8_t>(0.5 + components_[0].mean[c]); }

 private:
  struct Component {
    int samples = 0;
    double weight = 0.0;
    double variance[3] = {12.5, 12.5, 12.5};
    double mean[3] = {};
  };

  int sum() const {
    int all = 0;
    for (const Component& one : components_) all += one.samples;
    return all;
  }

  void replace(const uint8_t* x, bool window) {
    components_[4].samples = 1;
    for (int c = 0; c < channels_; ++c) {
      components_[4].variance[c] = 900.0;
      components_[4].mean[c] = x[c];
    }
    const double samples = sum();
    for (Component& one : components_) {
      one.weight = window ? one.weight * (1 - 1.0 / 200) : one.samples / samples;
    }
    if (window) components_[4].weight = 1 / samples;
  }

  double key(const Component& one) const {
    double variance = 0.0;
    for (int c = 0; c < channels_; ++c) variance += one.variance[c];
    return one.samples > 0 ? one.weight / std::sqrt(variance) : 0.0;
  }

  int channels_;
  Component components_[5];
};

// A video in which every pixel has a habit of its own, by its column: constant, nearly black (where
// components without samples match), noisy, flickering between colours, wandering, wild.
class Video {
 public:
  explicit Video(int channels) : channels_(channels) {}

  void next(const TestImage<uint8_t>& frame, int index) {
    for (int32_t y = 0; y < frame.size().height; ++y) {
      for (int32_t x = 0; x < frame.size().width; ++x) {
        for (int c = 0; c < channels_; ++c) {
          frame.at(x * channels_ + c, y) = static_cast<uint8_t>(sample(x + 2 * y, index, c));
        }
      }
    }
  }

 private:
  int sample(int x, int index, int c) {
    const int noise = static_cast<int>(random_() % 7);
    const bool rare = random_() % 16 == 0;
    switch (x % 15) {
      case 0:
        return 40 * c + x;
      case 1:
        return static_cast<int>(random_() % 12);
      case 2:
        return 100 + noise - 30 * c;
      case 3:
        return (index / 5 % 3) * 60 + noise;
      case 4:
        return (index * 2 + x) % 256;
      case 5:
        return static_cast<int>(random_() % 256);
      case 6:
        return rare ? 250 : 10 + noise;
      case 7:
        return index % 40 < 36 ? 200 + c : noise;
      case 8:
        return index < 150 + x ? 90 : 90 + 5 * (x % 16);
      case 9:
        return rare ? noise : index < 190 ? 128 : 8 * (noise + c);
      case 10:
        return index < 200 ? 60 : index < 220 ? 0 : 60;  // black for the first time at 200
      // Equal shares and spreads: the last bit of the keys decides the order.
      case 11:
        return index == 0 ? 20 : 60 + 90 * (index % 2) + c;
      case 12:
        return index < 3 ? 20 : 60 + 70 * (index % 3) + c;
      case 13: {
        // A jump by 2.5 deviations exactly, after so many frames of one colour.
        constexpr int jumps[7][4] = {{9, 25, 25, 25}, {25, 15, 15, 15}, {225, 5, 5, 5},
                                     {15, 30, 15, 0}, {27, 15, 20, 0},  {75, 2, 10, 11},
                                     {135, 10, 5, 0}};
        const int* const jump = jumps[x / 15 % 7];
        return index < 201 ? 20 : index == 201 + jump[0] ? 100 + jump[c + 1] : 100;
      }
      default:
        return 50 * static_cast<int>(random_() % 4) + x % 9;
    }
  }

  int channels_;
  std::mt19937 random_{7};
};

// Through the 200th frame, at which the regime differs, and well beyond it.
TEST(ForegroundGaussian, MatchesReferenceOverAVideo) {
  for (const Form& form : forms) {
    for (const NuviSize size : {NuviSize{301, 3}, NuviSize{1, 5}, NuviSize{6, 3}}) {
      const Against against = size.width == 6 ? Against::begin : Against::end;
      TestImage<uint8_t> frame(size, form.channels, 1, against),
          ref(size, form.channels, 2, against);
      TestImage<uint8_t> dst(size, 1, 3, against);
      Video video(form.channels);
      video.next(frame, 0);
      std::vector<ReferencePixel> pixels;
      for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
          pixels.emplace_back(&frame.at(x * form.channels, y), form.channels);
        }
      }
      NuviForegroundGaussianState* state = nullptr;
      ASSERT_EQ(nuvStatusOk, form.initAlloc(frame.data(), frame.step(), size, &model, &state));
      for (int index = 1; index <= 460; ++index) {
        if (index > 1) video.next(frame, index);  // the first frame comes twice
        ASSERT_EQ(nuvStatusOk, form.process(frame.data(), frame.step(), ref.data(), ref.step(),
                                            dst.data(), dst.step(), size, state));
        auto pixel = pixels.begin();
        for (int32_t y = 0; y < size.height; ++y) {
          for (int32_t x = 0; x < size.width; ++x, ++pixel) {
            ASSERT_EQ(pixel->learn(&frame.at(x * form.channels, y), index == 200), dst.at(x, y))
                << "frame " << index << " at " << x << "," << y;
            for (int c = 0; c < form.channels; ++c) {
              ASSERT_EQ(pixel->background(c), ref.at(x * form.channels + c, y))
                  << "frame " << index << " at " << x << "," << y;
            }
          }
        }
      }
      EXPECT_TRUE(ref.padsUntouched() && dst.padsUntouched());
      EXPECT_EQ(nuvStatusOk, form.free(state));
    }
  }
}

TEST(ForegroundGaussian, ResultsMayTakeThePlaceOfTheFrameAndRunUpwards) {
  for (const Form& form : forms) {
    const NuviSize size = {5, 4};
    TestImage<uint8_t> frame(size, form.channels), ref(size, form.channels), dst(size);
    frame.fill([i = 0]() mutable { return 12 * i++ % 256; });
    const auto original = frame.bytes();
    NuviForegroundGaussianState* state = nullptr;
    ASSERT_EQ(nuvStatusOk, form.initAlloc(frame.data(), frame.step(), size, &model, &state));
    frame.at(0, 0) = 9;  // one more than matches a mean of 0; in three channels 15 do
    if (form.channels == 3) frame.at(0, 0) = 16;
    ASSERT_EQ(nuvStatusOk, form.process(frame.data(), frame.step(), frame.data(), frame.step(),
                                        dst.row(3), -dst.step(), size, state));
    EXPECT_EQ(original, frame.bytes());  // a still scene gives itself
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 5; ++x) EXPECT_EQ(x == 0 && y == 3 ? 255 : 0, dst.at(x, y));
    }
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

TEST(ForegroundGaussian, FirstFailureInOrderAndNothingWritten) {
  for (const Form& form : forms) {
    const uint8_t src[12] = {1, 2, 3};
    uint8_t ref[12] = {9}, dst[4] = {9};
    const int32_t row = 4 * form.channels;
    NuviForegroundGaussianState* state = nullptr;
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(nullptr, row, {0, 1}, &model, &state));
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(src, row, {0, 1}, nullptr, &state));
    EXPECT_EQ(nuvStatusNullPointer, form.initAlloc(src, row, {4, 1}, &model, nullptr));
    EXPECT_EQ(nuvStatusBadSize, form.initAlloc(src, 0, {0, 1}, &model, &state));
    EXPECT_EQ(nuvStatusBadSize, form.initAlloc(src, row - 1, {4, 0}, &model, &state));
    EXPECT_EQ(nuvStatusBadStep, form.initAlloc(src, row - 1, {4, 1}, &model, &state));
    EXPECT_EQ(nuvStatusBadStep, form.initAlloc(src, -row, {4, 1}, &model, &state));
    EXPECT_EQ(nuvStatusNoMemory, form.initAlloc(src, row, {4, INT32_MAX}, &model, &state));
    EXPECT_EQ(nullptr, state);
    ASSERT_EQ(nuvStatusOk, form.initAlloc(src, row, {4, 1}, &model, &state));

    const auto call = [&](const uint8_t* pSrc, int32_t step, uint8_t* pRef, uint8_t* pDst,
                          NuviSize size, NuviForegroundGaussianState* pState) {
      return form.process(pSrc, step, pRef, row, pDst, 4, size, pState);
    };
    EXPECT_EQ(nuvStatusNullPointer, call(nullptr, row, ref, dst, {0, 1}, state));
    EXPECT_EQ(nuvStatusNullPointer, call(src, 0, nullptr, dst, {4, 1}, state));
    EXPECT_EQ(nuvStatusNullPointer, call(src, row, ref, nullptr, {4, 1}, state));
    EXPECT_EQ(nuvStatusNullPointer, call(src, row, ref, dst, {0, 1}, nullptr));
    EXPECT_EQ(nuvStatusBadSize, call(src, 0, ref, dst, {0, 1}, state));
    EXPECT_EQ(nuvStatusBadSize, call(src, 0, ref, dst, {4, -1}, state));
    EXPECT_EQ(nuvStatusBadStep, call(src, row - 1, ref, dst, {4, 1}, state));
    EXPECT_TRUE(ref[0] == 9 && dst[0] == 9);
    EXPECT_EQ(nuvStatusNullPointer, form.free(nullptr));
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

struct Form {
  int channels;
  decltype(&nuviForegroundHistogramInitAlloc_8u_C1R) initAlloc;
  decltype(&nuviForegroundHistogram_8u_C1R) classify;
  decltype(&nuviForegroundHistogramUpdate_8u_C1R) update;
  decltype(&nuviForegroundHistogramFree_8u_C1R) free;
};
constexpr Form forms[] = {
    {1, nuviForegroundHistogramInitAlloc_8u_C1R, nuviForegroundHistogram_8u_C1R,
     nuviForegroundHistogramUpdate_8u_C1R, nuviForegroundHistogramFree_8u_C1R},
    {3, nuviForegroundHistogramInitAlloc_8u_C3R, nuviForegroundHistogram_8u_C3R,
     nuviForegroundHistogramUpdate_8u_C3R, nuviForegroundHistogramFree_8u_C3R}};

using Values = std::vector<int>;

// A list of entries, each treated on its own.
struct List {
  struct Entry {
    float share = 0, conditional = 0;
    Values value = Values(6);

    bool isNear(const Values& other, int tolerance) const {
      bool near = true;
      for (size_t b = 0; b < other.size(); ++b) near &= std::abs(value[b] - other[b]) <= tolerance;
      return near;
    }
  };
  size_t stored, used;
  int tolerance;
  bool isOfColours;
  std::vector<Entry> entries = std::vector<Entry>(stored);
  float background = 0;
  bool learned = false;

  void learn(const Values& value, float rate, bool isBackground) {
    const float keep = 1.0f - rate;
    background *= keep;
    if (isBackground) background += rate;
    for (Entry& entry : entries) {
      if (entry.share == 0.0f && !isOfColours) break;
      entry.share *= keep;
      entry.conditional *= keep;
      if (static_cast<double>(entry.share) < 0.0000000001) {
        entry.share = entry.conditional = 0.0f;
      } else if (!entry.isNear(value, tolerance)) {
        break;
      }
    }
    entries.pop_back();
    size_t place = 0;
    while (place < entries.size() && !(rate >= entries[place].share)) ++place;
    entries.insert(entries.begin() + static_cast<ptrdiff_t>(place), {rate, rate, value});

    float share = 0, conditional = 0;
    size_t n = 0;
    for (; n < used && entries[n].share != 0.0f; ++n) {
      share += entries[n].share;
      conditional += entries[n].conditional;
    }
    learned |= share > 0.9f;
    const float expected = background * conditional;
    if (!(share - expected > 0.9f)) return;
    for (size_t i = 0; i < n; ++i) {
      float& part = entries[i].conditional;
      part = std::fma(-background, part, entries[i].share) / (1.0f - background);
    }
    if (isOfColours) background = 1.0f - background;
  }

  bool isForeground(const uint8_t* bytes) const {
    float share = 0, conditional = 0;
    for (size_t i = 0; i < used && entries[i].share > 0.005f; ++i) {
      if (!entries[i].isNear({bytes[0], bytes[1], bytes[2]}, tolerance)) continue;
      share += entries[i].share;
      conditional += entries[i].conditional;
    }
    return !(share < 2 * conditional * background);
  }
};

// The pixels of which a channel differs by more than 10 and more than any deviation of the
// differences from some bin up.
std::vector<bool> changes(const Values& a, const Values& b, size_t channels) {
  double threshold = 10;
  for (int bin = 254; bin >= 0; --bin) {
    double n = 0, sum = 0, squares = 0;
    for (size_t i = 0; i < a.size(); ++i) {
      const int d = std::abs(a[i] - b[i]);
      if (d >= bin) n += 1, sum += d, squares += d * d;
    }
    n = std::max(n, 1.0);
    threshold = std::fmax(threshold, std::sqrt(squares / n - sum / n * (sum / n)));
  }
  std::vector<bool> changed(a.size() / channels);
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::abs(a[i] - b[i]) > threshold) changed[i / channels] = true;
  }
  return changed;
}

// A sample of a clip with still, flickering, noisy and wandering pixels.
int clipSample(std::mt19937& random, int pixel, int t) {
  const int habit = pixel % 13;
  if (habit < 3) return habit == 1 ? 2 : 120;
  if (habit < 5) return t / 3 % 2 == 0 ? 50 : 90;
  if (habit == 5) return static_cast<int>(random() % 5);
  if (habit == 6) return 40 + t % 130;
  if (habit < 9) return random() % 9 == 0 ? 210 : 70 + static_cast<int>(random() % 6);
  if (habit == 9) return t < 60 ? 33 : 180;
  return static_cast<int>(random() % 256);
}

// What is told to be background comes from the classification, at times from elsewhere. The frames
// have two columns more than the model, which the form of one channel reads.
TEST(HistogramModel, MatchesReferenceOverAClip) {
  for (const Form& form : forms) {
    const NuviSize size = {11, 4};
    const int channels = form.channels;
    std::mt19937 random(static_cast<unsigned>(channels));
    TestImage<uint8_t> frame({13, 4}, channels), mask(size, 1, 1);
    TestImage<uint8_t> ref(size, channels, 2, Against::begin);
    NuviForegroundHistogramState* state = nullptr;
    std::vector<List> colours(44, {25, 15, 4, true}), pairs(44, {40, 25, 8, false});
    Values reference, previous;
    for (int t = 0; t <= 260; ++t) {
      frame.fill([&, i = 0]() mutable { return clipSample(random, i++ / channels, t); });
      Values present;
      for (int y = 0; y < 4; ++y) {
        present.insert(present.end(), frame.row(y), frame.row(y) + 11 * channels);
      }
      if (t == 0) {
        ASSERT_EQ(nuvStatusOk, form.initAlloc(frame.data(), frame.step(), size, &size, &state));
        reference = previous = present;
        continue;
      }
      const std::vector<bool> frameChange = changes(previous, present, channels);
      const std::vector<bool> referenceChange = changes(reference, present, channels);
      ASSERT_EQ(nuvStatusOk,
                form.classify(frame.data(), frame.step(), mask.data(), mask.step(), size, state));
      const std::vector<uint8_t> told = mask.bytes();
      if (t % 11 == 0) mask.fill([&] { return random() % 2 * 9; });
      ASSERT_EQ(nuvStatusOk, form.update(frame.data(), frame.step(), mask.data(), mask.step(),
                                         ref.data(), ref.step(), size, state));
      for (int p = 0; p < 44; ++p) {
        const bool changed = frameChange[p], background = mask.at(p % 11, p / 11) == 0;
        List &colour = colours[p], &pair = pairs[p];
        bool foreground = changed;  // where nothing is learnt yet
        if (changed ? pair.learned : referenceChange[p] && colour.learned) {
          foreground = (changed ? pair : colour).isForeground(&frame.at(p % 11 * channels, p / 11));
        }
        ASSERT_EQ(foreground ? 255 : 0, told[p]) << t << ": " << p;

        const int first = p * channels;
        Values now(&present[first], &present[first] + channels);
        Values both(&previous[first], &previous[first] + channels);
        both.insert(channels == 1 ? both.end() : both.begin(), now.begin(), now.end());
        now.resize(6), both.resize(6);
        if (changed || !pair.learned) {
          pair.learn(both, changed && pair.learned ? 0.005f : 0.1f, background);
        }
        if (!changed) colour.learn(now, colour.learned ? 0.005f : 0.1f, background);
        for (int c = 0; c < channels && background; ++c) {
          int& old = reference[first + c];
          const auto was = static_cast<float>(old), is = static_cast<float>(now[c]);
          const bool still = !changed && !referenceChange[p];
          old = static_cast<int>(still ? std::fma(is - was, 0.1f, was) : is);
        }
      }
      ASSERT_EQ(std::vector<uint8_t>(reference.begin(), reference.end()), ref.bytes()) << t;
      previous = present;
    }
    EXPECT_TRUE(mask.padsUntouched() && ref.padsUntouched());
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

TEST(HistogramModelChecks, FirstFailureInOrderAndNothingWritten) {
  for (const Form& form : forms) {
    uint8_t image[12] = {}, out[12] = {9}, mask[4] = {9};
    const NuviSize size = {2, 2};
    const int32_t row = 2 * form.channels;
    NuviForegroundHistogramState* state = nullptr;
    const auto make = [&](int32_t step, NuviSize roi, const void* model) {
      return form.initAlloc(image, step, roi, model, &state);
    };
    const auto call = [&](int32_t step, uint8_t* result, NuviSize roi) {
      const NuvStatus status = form.classify(image, step, result, 2, roi, state);
      EXPECT_EQ(status, form.update(image, step, mask, 2, result, row, roi, state));
      return status;
    };
    EXPECT_EQ(nuvStatusNullPointer, make(0, {0, 0}, nullptr));
    EXPECT_EQ(nuvStatusBadSize, make(0, {0, 1}, image));
    EXPECT_EQ(nuvStatusBadStep, make(row - 1, size, image));
    EXPECT_EQ(nuvStatusNoMemory, make(1 << 22, {1 << 20, 1 << 20}, image));
    EXPECT_EQ(nullptr, state);
    EXPECT_EQ(nuvStatusNullPointer, call(0, out, {0, 0}));
    EXPECT_EQ(nuvStatusNullPointer, form.free(state));
    ASSERT_EQ(nuvStatusOk, make(row, size, image));
    EXPECT_EQ(nuvStatusNullPointer, call(0, nullptr, {0, 0}));
    EXPECT_EQ(nuvStatusBadSize, call(0, out, {2, 0}));
    EXPECT_EQ(nuvStatusBadStep, call(row - 1, out, size));
    EXPECT_EQ(9, out[0]);
    EXPECT_EQ(nuvStatusOk, form.free(state));
  }
}

}  // namespace

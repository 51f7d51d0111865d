#include <gtest/gtest.h>

#include <cmath>

#include "support/guarded.h"

namespace {

using namespace testing_support;

template <int channels>
struct Forms;
template <>
struct Forms<1> {
  static constexpr auto make = nuviForegroundHistogramInitAlloc_8u_C1R;
  static constexpr auto classify = nuviForegroundHistogram_8u_C1R;
  static constexpr auto update = nuviForegroundHistogramUpdate_8u_C1R;
  static constexpr auto free = nuviForegroundHistogramFree_8u_C1R;
};
template <>
struct Forms<3> {
  static constexpr auto make = nuviForegroundHistogramInitAlloc_8u_C3R;
  static constexpr auto classify = nuviForegroundHistogram_8u_C3R;
  static constexpr auto update = nuviForegroundHistogramUpdate_8u_C3R;
  static constexpr auto free = nuviForegroundHistogramFree_8u_C3R;
};

using Bytes = std::vector<int>;

// A list of entries, each treated on its own.
struct List {
  struct Entry {
    float share = 0, conditional = 0;
    Bytes value = Bytes(6);
  };
  size_t stored, used;
  int tolerance;
  std::vector<Entry> entries = std::vector<Entry>(stored);
  float background = 0;
  bool learned = false;

  // True if the parts of the background were replaced.
  bool learn(const Bytes& value, float rate, bool isBackground, bool stopsAtZero) {
    const float keep = 1.0f - rate;
    background *= keep;
    if (isBackground) background += rate;
    for (Entry& entry : entries) {
      if (stopsAtZero && entry.share == 0.0f) break;
      entry.share *= keep;
      entry.conditional *= keep;
      if (static_cast<double>(entry.share) < 0.0000000001) {
        entry.share = entry.conditional = 0.0f;
        continue;
      }
      bool near = true;
      for (size_t b = 0; b < 6; ++b) near &= std::abs(entry.value[b] - value[b]) <= tolerance;
      if (!near) break;
    }
    entries.back() = {rate, rate, value};
    for (size_t i = 0; i < stored; ++i) {
      if (!(rate >= entries[i].share)) continue;
      const Entry added = entries.back();
      entries.pop_back();
      entries.insert(entries.begin() + static_cast<ptrdiff_t>(i), added);
      break;
    }
    float share = 0, conditional = 0;
    size_t n = 0;
    for (; n < used && entries[n].share != 0.0f; ++n) {
      share += entries[n].share;
      conditional += entries[n].conditional;
    }
    learned |= share > 0.9f;
    const float foreign = background * conditional;
    if (!(share - foreign > 0.9f)) return false;
    for (size_t i = 0; i < n; ++i) {
      Entry& entry = entries[i];
      entry.conditional =
          std::fma(-background, entry.conditional, entry.share) / (1.0f - background);
    }
    return true;
  }

  bool isForeign(const uint8_t* bytes) const {
    float share = 0, conditional = 0;
    for (size_t i = 0; i < used && entries[i].share > 0.005f; ++i) {
      bool near = true;
      for (size_t b = 0; b < 3; ++b) near &= std::abs(entries[i].value[b] - bytes[b]) <= tolerance;
      if (near) share += entries[i].share, conditional += entries[i].conditional;
    }
    return !(share < 2 * conditional * background);
  }
};

struct Pixel {
  List colours{25, 15, 4}, pairs{40, 25, 8};
};

double thresholdOf(const std::vector<int>& differences) {
  double largest = 10;
  for (int bin = 254; bin >= 0; --bin) {
    double n = 0, sum = 0, squares = 0;
    for (const int d : differences) {
      if (d >= bin) n += 1, sum += d, squares += d * d;
    }
    if (n == 0) n = 1;
    const double spread = std::sqrt(squares / n - sum / n * (sum / n));
    if (spread > largest) largest = spread;
  }
  return largest;
}

// A clip with still, flickering, noisy and wandering pixels; what is told to be background comes
// from the classification, at times from elsewhere. The frames have two columns more than the
// model, which the C1 form reads.
template <int channels>
void testVideo() {
  std::mt19937 random(channels);
  const NuviSize size = {11, 4};
  const size_t count = 44, samples = count * channels;
  TestImage<uint8_t> frame({size.width + 2, size.height}, channels), mask(size, 1, 1),
      ref(size, channels, 2, Against::begin);
  const auto scene = [&](int t) {
    int i = 0;
    return [&random, t, i]() mutable {
      const int kind = i++ / channels % 13;
      if (kind < 3) return kind == 1 ? 2 : 120;
      if (kind < 5) return t / 3 % 2 == 0 ? 50 : 90;
      if (kind == 5) return static_cast<int>(random() % 5);
      if (kind == 6) return 40 + t % 130;
      if (kind < 9) return random() % 9 == 0 ? 210 : 70 + static_cast<int>(random() % 6);
      if (kind == 9) return t < 60 ? 33 : 180;
      return static_cast<int>(random() % 256);
    };
  };
  frame.fill(scene(0));
  NuviForegroundHistogramState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, Forms<channels>::make(frame.data(), frame.step(), size, &size, &state));
  std::vector<Pixel> pixels(count);
  std::vector<int> reference(samples), previous(samples), present(samples);
  const auto read = [&](std::vector<int>& values) {
    for (size_t i = 0; i < samples; ++i) {
      const auto row = static_cast<int>(i / (11 * channels));
      values[i] = frame.at(static_cast<int>(i % (11 * channels)), row);
    }
  };
  read(reference);
  previous = reference;
  std::vector<bool> frameChange(count), referenceChange(count);
  const auto mark = [&](const std::vector<int>& other, std::vector<bool>& marks) {
    std::vector<int> differences;
    for (size_t i = 0; i < samples; ++i) differences.push_back(std::abs(other[i] - present[i]));
    const double threshold = thresholdOf(differences);
    for (size_t i = 0; i < count; ++i) {
      marks[i] = false;
      for (size_t c = 0; c < channels; ++c) {
        if (differences[i * channels + c] > threshold) marks[i] = true;
      }
    }
  };
  int found = 0, lookedUp = 0;
  for (int t = 1; t <= 260; ++t) {
    frame.fill(scene(t));
    read(present);
    mark(previous, frameChange);
    mark(reference, referenceChange);
    ASSERT_EQ(nuvStatusOk, Forms<channels>::classify(frame.data(), frame.step(), mask.data(),
                                                     mask.step(), size, state));
    for (size_t i = 0; i < count; ++i) {
      const auto x = static_cast<int>(i % 11), y = static_cast<int>(i / 11);
      const uint8_t* const bytes = &frame.at(x * channels, y);
      const Pixel& pixel = pixels[i];
      bool expected = false;
      if (frameChange[i]) {
        expected = !pixel.pairs.learned || pixel.pairs.isForeign(bytes);
      } else if (referenceChange[i] && pixel.colours.learned) {
        expected = pixel.colours.isForeign(bytes);
        ++lookedUp;
      }
      ASSERT_EQ(expected ? 255 : 0, mask.at(x, y)) << t << ": " << i;
      found += expected;
    }
    if (t % 11 == 0) mask.fill([&] { return random() % 2 * 9; });

    ASSERT_EQ(nuvStatusOk,
              Forms<channels>::update(frame.data(), frame.step(), mask.data(), mask.step(),
                                      ref.data(), ref.step(), size, state));
    for (size_t i = 0; i < count; ++i) {
      const auto x = static_cast<int>(i % 11), y = static_cast<int>(i / 11);
      const bool background = mask.at(x, y) == 0;
      List &pairs = pixels[i].pairs, &colours = pixels[i].colours;
      Bytes value(6), pair(6);
      for (size_t c = 0; c < channels; ++c) {
        value[c] = present[i * channels + c];
        const bool presentFirst = channels == 3;
        pair[c] = presentFirst ? value[c] : previous[i * channels + c];
        pair[channels + c] = presentFirst ? previous[i * channels + c] : value[c];
      }
      if (frameChange[i] || !pairs.learned) {
        pairs.learn(pair, frameChange[i] && pairs.learned ? 0.005f : 0.1f, background, true);
      }
      if (!frameChange[i] &&
          colours.learn(value, colours.learned ? 0.005f : 0.1f, background, false)) {
        colours.background = 1.0f - colours.background;
      }
      for (size_t c = 0; c < channels && background; ++c) {
        int& old = reference[i * channels + c];
        const auto was = static_cast<float>(old);
        old = frameChange[i] || referenceChange[i]
                  ? value[c]
                  : static_cast<int>(std::fma(static_cast<float>(value[c]) - was, 0.1f, was));
      }
      for (size_t c = 0; c < channels; ++c) {
        ASSERT_EQ(reference[i * channels + c], ref.at(x * channels + static_cast<int>(c), y));
      }
    }
    previous = present;
    ASSERT_TRUE(mask.padsUntouched() && ref.padsUntouched());
  }
  EXPECT_GT(found, 500);
  EXPECT_GT(lookedUp, 50);
  EXPECT_EQ(nuvStatusOk, Forms<channels>::free(state));
}

TEST(HistogramModel, MatchesReference) { testVideo<1>(); }
TEST(HistogramModel, MatchesReferenceInColour) { testVideo<3>(); }

TEST(HistogramModelChecks, FirstFailureInOrder) {
  uint8_t image[32] = {}, ref[16] = {9}, mask[16] = {9};
  NuviForegroundHistogramState* state = nullptr;
  const NuviSize size = {2, 2};
  EXPECT_EQ(nuvStatusNullPointer,
            nuviForegroundHistogramInitAlloc_8u_C3R(image, 0, {0, 0}, nullptr, &state));
  EXPECT_EQ(nuvStatusBadSize,
            nuviForegroundHistogramInitAlloc_8u_C3R(image, 0, {0, 1}, image, &state));
  EXPECT_EQ(nuvStatusBadStep,
            nuviForegroundHistogramInitAlloc_8u_C1R(image, 1, size, image, &state));
  EXPECT_EQ(nuvStatusNoMemory, nuviForegroundHistogramInitAlloc_8u_C1R(
                                   image, 1 << 20, {1 << 20, 1 << 20}, image, &state));
  EXPECT_EQ(nullptr, state);
  ASSERT_EQ(nuvStatusOk, nuviForegroundHistogramInitAlloc_8u_C3R(image, 6, size, image, &state));
  const auto classify = [&](int32_t step, uint8_t* out, NuviSize roi) {
    return nuviForegroundHistogram_8u_C3R(image, step, out, 2, roi, state);
  };
  const auto update = [&](int32_t step, uint8_t* out, NuviSize roi) {
    return nuviForegroundHistogramUpdate_8u_C3R(image, step, mask, 2, out, 6, roi, state);
  };
  EXPECT_EQ(nuvStatusNullPointer, classify(0, nullptr, {0, 0}));
  EXPECT_EQ(nuvStatusNullPointer, update(0, nullptr, {0, 0}));
  EXPECT_EQ(nuvStatusBadSize, classify(0, mask, {2, 0}));
  EXPECT_EQ(nuvStatusBadSize, update(0, ref, {0, 2}));
  EXPECT_EQ(nuvStatusBadStep, classify(5, mask, size));
  EXPECT_EQ(nuvStatusBadStep, update(5, ref, size));
  EXPECT_EQ(9, mask[0]);
  EXPECT_EQ(9, ref[0]);
  EXPECT_EQ(nuvStatusOk, nuviForegroundHistogramFree_8u_C3R(state));
  EXPECT_EQ(nuvStatusNullPointer, nuviForegroundHistogramFree_8u_C1R(nullptr));
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "support/guarded.h"

namespace {

using namespace testing_support;

struct Functions {
  decltype(&nuviInpaintInitAlloc_8u_C1R) initAlloc;
  decltype(&nuviInpaint_8u_C1R) inpaint;
  decltype(&nuviInpaintFree_8u_C1R) free;
};

Functions functionsFor(int channels) {
  if (channels == 1) {
    return {nuviInpaintInitAlloc_8u_C1R, nuviInpaint_8u_C1R, nuviInpaintFree_8u_C1R};
  }
  return {nuviInpaintInitAlloc_8u_C3R, nuviInpaint_8u_C3R, nuviInpaintFree_8u_C3R};
}

// Fills a picture by definition: nothing is kept but which pixels are known, and differences are
// taken when they are needed.
class Reference {
 public:
  Reference(const TestImage<uint8_t>& picture, int channels, const TestImage<uint8_t>& mask,
            const TestImage<float>& distance, float radius, int mode)
      : picture_(picture),
        channels_(channels),
        distance_(distance),
        size_(mask.size()),
        radius_(radius),
        mode_(mode) {
    std::vector<NuviPoint> order;
    for (int y = 0; y < size_.height; ++y) {
      for (int x = 0; x < size_.width; ++x) {
        known_.push_back(mask.at(x, y) == 0);
        if (mask.at(x, y) != 0 && distance.at(x, y) > 0) order.push_back({x, y});
      }
    }
    std::stable_sort(order.begin(), order.end(), [&](NuviPoint a, NuviPoint b) {
      return distance.at(a.x, a.y) < distance.at(b.x, b.y);
    });
    for (const NuviPoint p : order) {
      fill(p);
      known_[static_cast<size_t>(p.y * size_.width + p.x)] = true;
    }
  }

 private:
  bool isInside(int x, int y) const {
    return x >= 0 && y >= 0 && x < size_.width && y < size_.height;
  }
  bool isKnown(int x, int y) const {
    return isInside(x, y) && known_[static_cast<size_t>(y * size_.width + x)];
  }
  int value(int x, int y, int c) const { return picture_.at(x * channels_ + c, y); }

  int imageSlope(int x, int y, int c, int dx, int dy) const {
    const bool before = isKnown(x - dx, y - dy), after = isKnown(x + dx, y + dy);
    const int here = value(x, y, c);
    if (before && after) return 2 * (value(x + dx, y + dy, c) - value(x - dx, y - dy, c));
    return before ? here - value(x - dx, y - dy, c) : after ? value(x + dx, y + dy, c) - here : 0;
  }
  int distanceSlope(int x, int y, int dx, int dy) const {
    const bool before = isInside(x - dx, y - dy), after = isInside(x + dx, y + dy);
    const float from = before ? distance_.at(x - dx, y - dy) : distance_.at(x, y);
    const float to = after ? distance_.at(x + dx, y + dy) : distance_.at(x, y);
    const float slope = (to - from) * (before && after ? 4096.0f : 2 * 4096.0f);
    return static_cast<int>(std::nearbyint(std::clamp(slope, -32768.0f, 32767.0f)));
  }

  void fill(NuviPoint p) {
    const int reach = static_cast<int>(radius_);
    const bool nearEdge = p.x < reach || p.y < reach || size_.width - 1 - p.x < reach ||
                          size_.height - 1 - p.y < reach;
    const float limit = nearEdge ? static_cast<float>(reach * reach) : radius_ * radius_;
    const int slopeX = distanceSlope(p.x, p.y, 1, 0), slopeY = distanceSlope(p.x, p.y, 0, 1);
    for (int c = 0; c < channels_; ++c) {
      float sum = 0, weights = 1e-30f, gx = 0, gy = 0;
      for (int dy = -reach; dy <= reach; ++dy) {
        for (int dx = -reach; dx <= reach; ++dx) {
          const int d2 = dx * dx + dy * dy, x = p.x + dx, y = p.y + dy;
          if (d2 == 0 || static_cast<float>(d2) > limit || !isKnown(x, y)) continue;
          const int slopes[] = {imageSlope(x, y, c, 1, 0), imageSlope(x, y, c, 0, 1)};
          const float w = mode_ == 0 ? weightByDistance(p, x, y, d2, -slopeX * dx - slopeY * dy)
                                     : weightAlongLine(slopes, dx, dy, d2);
          sum += static_cast<float>(value(x, y, c)) * w;
          weights += w;
          gx += static_cast<float>(slopes[0] * dx) * w;
          gy += static_cast<float>(slopes[1] * dy) * w;
        }
      }
      if (weights < 0.0001f) {
        int direct = 0, count = 0;
        for (const auto [dx, dy] : {NuviPoint{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
          if (isKnown(p.x + dx, p.y + dy)) direct += value(p.x + dx, p.y + dy, c), ++count;
        }
        if (count > 0) sum = static_cast<float>(direct), weights = static_cast<float>(count);
        gx = gy = 0;
      }
      uint8_t& result = picture_.at(p.x * channels_ + c, p.y);
      if (mode_ == 0) {
        const double x = gx, y = gy;
        const double step = (x + y) / (static_cast<float>(std::sqrt(x * x + y * y)) + 1e-20);
        const double mean = static_cast<double>(sum) / static_cast<double>(weights);
        result = static_cast<uint8_t>(std::clamp(static_cast<int>(mean + 0.5 + step), 0, 255));
      } else {
        result = static_cast<uint8_t>(sum / weights + 0.5f);
      }
    }
  }

  float weightByDistance(NuviPoint p, int x, int y, int d2, int along) const {
    const auto root = static_cast<float>(1 / std::sqrt(static_cast<double>(d2)));
    const float level = std::fabs(distance_.at(x, y) - distance_.at(p.x, p.y)) + 1;
    const float c = along == 0 ? 2.5e-25f : static_cast<float>(along);
    return std::fabs((1.0f / 4096) / level * (root * root * root) * c);
  }
  static float weightAlongLine(const int (&slopes)[2], int dx, int dy, int d2) {
    const auto d = static_cast<float>(d2);
    const float w = 1 / ((d * d + 1) * std::sqrt(d));
    const int along = std::abs(dx * slopes[1] - dy * slopes[0]);
    if (along == 0) return w * 1e-6f;
    const double squared = slopes[0] * slopes[0] + slopes[1] * slopes[1];
    return w * static_cast<float>(along) * static_cast<float>(1 / std::sqrt(squared));
  }

  const TestImage<uint8_t>& picture_;
  const int channels_;
  const TestImage<float>& distance_;
  const NuviSize size_;
  const float radius_;
  const int mode_;
  std::vector<bool> known_;
};

enum Kind { nothing, everything, ties, noise, crosses, kinds };

// A mask, and distances from which the order follows. Some masked pixels are at 0 or below.
struct Holes {
  Holes(NuviSize size, int kind, int pad, Against against, unsigned seed)
      : mask(size, 1, pad, against), distance(size, 1, pad, against) {
    std::mt19937 random(seed);
    std::vector<int> patch(static_cast<size_t>(size.width));  // rows still to come of a rectangle
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        int& rows = patch[static_cast<size_t>(x)];
        rows = rows > 0 ? rows - 1 : 0;
        if (random() % 80 == 0) {
          std::fill_n(&rows, std::min<int>(1 + random() % 7, size.width - x), 1 + random() % 5);
        }
        const int arm = std::abs(x % 7 - 3) + std::abs(y % 7 - 3);
        const bool on =
            kind == everything || (kind != nothing && (kind == crosses ? arm <= 1 : rows > 0));
        mask.at(x, y) = on ? static_cast<uint8_t>(1 + x % 255) : 0;

        // The middle of a cross is filled first: it knows no direct neighbour, and has no slope.
        float inside = kind == ties ? 1.0f : kind == crosses && arm == 0 ? 0.5f : 1.0f;
        const float rough = static_cast<float>(random() % 64) / 16;
        if (kind == everything || kind == noise) inside = 0.25f + rough;
        const float outside = kind == ties ? 0.0f : kind == crosses ? 1.0f : -rough;
        const bool unlisted = kind != crosses && random() % 23 == 0;
        distance.at(x, y) = on && !unlisted ? inside : outside;
      }
    }
  }
  TestImage<uint8_t> mask;
  TestImage<float> distance;
};

// Noise, or plateaus on which only the direct neighbours decide.
void paint(const TestImage<uint8_t>& picture, int channels, bool plateaus, unsigned seed) {
  std::mt19937 random(seed);
  for (int y = 0; y < picture.size().height; ++y) {
    for (int x = 0; x < picture.samples(); ++x) {
      const int level = 60 * ((x / channels / 8 + y / 8) % 4) + 20 * (x % channels);
      picture.at(x, y) = static_cast<uint8_t>(plateaus ? level : random() % 256);
    }
  }
}

// A state fills one picture, then another, then that in place, and none of them shows in the next.
void compare(NuviSize size, int channels, int mode, float radius, int kind) {
  SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " C" +
               std::to_string(channels) + " mode " + std::to_string(mode) + " radius " +
               std::to_string(radius) + " kind " + std::to_string(kind));
  const Against against = kind == ties ? Against::begin : Against::end;
  const Holes holes(size, kind, size.width % 3, against, static_cast<unsigned>(size.width + kind));
  TestImage<uint8_t> other(size, channels), src(size, channels, 1, against);
  TestImage<uint8_t> dst(size, channels, 2, against), expected(size, channels);
  paint(other, channels, false, 6);
  paint(src, channels, kind == ties, 5);
  paint(expected, channels, kind == ties, 5);
  Reference(expected, channels, holes.mask, holes.distance, radius, mode);

  const Functions functions = functionsFor(channels);
  NuviInpaintState* state = nullptr;
  ASSERT_EQ(nuvStatusOk,
            functions.initAlloc(&state, holes.distance.data(), holes.distance.step(),
                                holes.mask.data(), holes.mask.step(), size, radius, mode));
  for (const auto& [from, to] : {std::pair(&other, &dst), {&src, &dst}, {&src, &src}}) {
    ASSERT_EQ(nuvStatusOk,
              functions.inpaint(from->data(), from->step(), to->data(), to->step(), size, state));
    ASSERT_TRUE(from == &other || expected.bytes() == to->bytes());
    ASSERT_TRUE(to->padsUntouched());
  }
  ASSERT_EQ(nuvStatusOk, functions.free(state));
}

TEST(Inpaint, MatchesReference) {
  for (const int channels : {1, 3}) {
    for (const int mode : {0, 1}) {
      for (const float radius : {1.0f, 1.5f, 2.9f, 5.0f}) {
        for (int kind = 0; kind < kinds; ++kind) {
          for (const NuviSize size : {NuviSize{1, 1}, {1, 9}, {9, 1}, {2, 2}, {7, 5}, {33, 30}}) {
            compare(size, channels, mode, radius, kind);
          }
        }
      }
      compare({70, 61}, channels, mode, 3.3f, noise);
    }
  }
}

TEST(InpaintChecks, FirstFailureInOrderAndNothingWritten) {
  const uint8_t mask[8] = {1, 0, 0, 1}, empty[4] = {}, src[24] = {};
  const float distance[8] = {1, 0, 0, 1};
  uint8_t dst[24] = {9};
  for (const int channels : {1, 3}) {
    const Functions functions = functionsFor(channels);
    NuviInpaintState* state = nullptr;
    const auto init = [&](int32_t distStep, const uint8_t* pMask, int32_t maskStep, NuviSize size,
                          float radius, int32_t mode) {
      return functions.initAlloc(&state, distance, distStep, pMask, maskStep, size, radius, mode);
    };
    EXPECT_EQ(nuvStatusNullPointer, init(16, nullptr, 4, {0, 1}, 1, 0));
    EXPECT_EQ(nuvStatusNullPointer, functions.initAlloc(&state, nullptr, 0, mask, 4, {}, 1, 0));
    EXPECT_EQ(nuvStatusNullPointer, functions.initAlloc(nullptr, distance, 0, mask, 4, {}, 1, 0));
    EXPECT_EQ(nuvStatusBadSize, init(0, mask, 0, {0, 1}, 1, 0));
    EXPECT_EQ(nuvStatusBadStep, init(17, mask, 3, {4, 1}, 1, 0));
    EXPECT_EQ(nuvStatusBadStep, init(15, mask, 4, {4, 1}, 1, 0));
    EXPECT_EQ(nuvStatusStepNotElementMultiple, init(18, mask, 4, {4, 1}, 0.5f, 2));
    for (const int32_t mode : {-1, 2}) {
      EXPECT_EQ(nuvStatusBadArgument, init(16, mask, 4, {4, 1}, 1, mode));
    }
    for (const float radius : {0.5f, 0.99999994f, -2.0f, std::nanf("")}) {
      EXPECT_EQ(nuvStatusBadArgument, init(16, mask, 4, {4, 1}, radius, 1));
    }
    for (const float radius : {5000.0f, 1e9f, INFINITY}) {  // more neighbours than memory
      EXPECT_EQ(nuvStatusNoMemory, init(16, mask, 4, {4, 1}, radius, 1));
    }
    EXPECT_EQ(nullptr, state);
    EXPECT_EQ(nuvStatusOk, init(16, empty, 4, {4, 1}, 1e9f, 1));  // no pixel needs a neighbour
    EXPECT_EQ(nuvStatusOk, functions.free(state));

    ASSERT_EQ(nuvStatusOk, init(16, mask, 4, {4, 2}, 1, 1));
    const int32_t row = 4 * channels;
    EXPECT_EQ(nuvStatusNullPointer, functions.inpaint(nullptr, row, dst, row, {0, 2}, state));
    EXPECT_EQ(nuvStatusNullPointer, functions.inpaint(src, row, nullptr, row, {4, 2}, state));
    EXPECT_EQ(nuvStatusNullPointer, functions.inpaint(src, row, dst, 0, {4, 2}, nullptr));
    for (const NuviSize size : {NuviSize{0, 2}, {3, 2}, {4, 1}}) {
      EXPECT_EQ(nuvStatusBadSize, functions.inpaint(src, 0, dst, row, size, state));
    }
    EXPECT_EQ(nuvStatusBadStep, functions.inpaint(src, row - 1, dst, row, {4, 2}, state));
    EXPECT_EQ(nuvStatusBadStep, functions.inpaint(src, row, dst, row - 1, {4, 2}, state));
    EXPECT_EQ(nuvStatusOk, functions.free(state));
    EXPECT_EQ(nuvStatusNullPointer, functions.free(nullptr));
  }
  EXPECT_EQ(9, dst[0]);
}

}  // namespace

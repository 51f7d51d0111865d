#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <memory>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define NUV_FORMS(T, type, gray)                                             \
  template <>                                                                \
  struct Forms<T> {                                                          \
    static constexpr auto make = nuviOpticalFlowPyrLKInitAlloc_##type##_C1R; \
    static constexpr auto run = nuviOpticalFlowPyrLK_##type##_C1R;           \
    static constexpr auto free = nuviOpticalFlowPyrLKFree_##type##_C1R;      \
    static constexpr double unit = gray; /* of a window's samples */         \
  };
NUV_FORMS(uint8_t, 8u, 128)
NUV_FORMS(uint16_t, 16u, 1)
NUV_FORMS(float, 32f, 1)
#undef NUV_FORMS

// A smooth texture moved by (dx, dy), at a scale.
double texture(double x, double y) {
  return 128 + 45 * std::sin(0.13 * x + 0.06 * y) + 35 * std::sin(0.08 * x - 0.15 * y + 1) +
         25 * std::sin(0.03 * x + 0.19 * y + 2) + 20 * std::sin(0.22 * x - 0.04 * y);
}

// Levels of half the size, or of another rate, each sampled from the texture itself.
template <class T>
class Pyramid {
 public:
  Pyramid(NuviSize base, int32_t level, double dx, double dy, float rate = 2.0f) {
    EXPECT_EQ(nuvStatusOk, nuviPyramidInitAlloc(&record_, level, base, rate));
    for (int32_t i = 0; i <= level; ++i) {
      const double scale = 1 / record_->rates[i];
      images_.push_back(std::make_unique<TestImage<T>>(record_->sizes[i], 1, i));
      TestImage<T>& image = *images_.back();
      for (int32_t y = 0; y < image.size().height; ++y) {
        for (int32_t x = 0; x < image.size().width; ++x) {
          const double value = texture(x * scale - dx, y * scale - dy);
          image.at(x, y) = static_cast<T>(std::is_integral_v<T> ? std::lround(value) : value);
        }
      }
      record_->images[i] = reinterpret_cast<uint8_t*>(image.data());
      record_->steps[i] = image.step();
    }
  }
  ~Pyramid() { nuviPyramidFree(record_); }

  NuviPyramid* operator->() const { return record_; }
  NuviPyramid* get() const { return record_; }
  TestImage<T>& image(int32_t level) const { return *images_[static_cast<size_t>(level)]; }

 private:
  NuviPyramid* record_ = nullptr;
  std::vector<std::unique_ptr<TestImage<T>>> images_;
};

struct Point {
  NuviPoint32f next;
  int status;
  float error;
};

// One point, followed with plain arithmetic; windows and filters are the library's.
template <class T>
class Reference {
 public:
  Reference(const Pyramid<T>& first, const Pyramid<T>& second, NuviSize largest, int window,
            int iterations, float threshold)
      : first_(first),
        second_(second),
        largest_(largest),
        w_(window),
        iterations_(iterations),
        threshold_(threshold * threshold) {}

  Point follow(NuviPoint32f prev, NuviPoint32f next, int maxLevel) {
    Point point = {next, maxLevel + 1, -1};
    int split = maxLevel;
    while (split >= 0 && first_->sizes[split].width <= largest_.width &&
           first_->sizes[split].height <= largest_.height) {
      --split;
    }
    ++split;
    int level = maxLevel;
    for (; level >= split; --level) {
      const double r = first_->rates[level];
      NuviPoint32f q = scale(point.next, r);
      const char outcome = onLevel(level, scale(prev, r), q, true);
      point.error = outcome == 'f' ? error() : 0;
      if (outcome != 'l') point.next = outcome == 'f' && level == 0 ? q : divide(q, r);
      if (outcome != 'f') return point.status = level + 1, point;
      point.status = level;
    }
    if (split == 0) return point;
    NuviPoint32f q = scale(point.next, first_->rates[level]);
    for (; level >= 0; --level) {
      const char outcome = onLevel(level, scale(prev, first_->rates[level]), q, false);
      if (outcome != 'f') {
        if (outcome == 'o') point.next = divide(q, first_->rates[level]);
        return {point.next, level + 1, 0};
      }
      if (level > 0) q = scale(q, 1.0 / first_->rates[1]);
    }
    return {q, 0, error()};
  }

 private:
  static NuviPoint32f scale(NuviPoint32f p, double r) {
    return {static_cast<float>(double{p.x} * r), static_cast<float>(double{p.y} * r)};
  }
  static NuviPoint32f divide(NuviPoint32f p, double r) {
    return {static_cast<float>(double{p.x} / r), static_cast<float>(double{p.y} / r)};
  }

  void window(const Pyramid<T>& pyramid, int level, NuviPoint32f centre, int size,
              std::vector<float>& out, NuviPoint& low, NuviPoint& high) const {
    out.resize(static_cast<size_t>(size * size));
    TestImage<T>& image = pyramid.image(level);
    const NuviSize square = {size, size};
    if constexpr (std::is_same_v<T, uint8_t>) {
      std::vector<uint16_t> fixed(out.size());
      ASSERT_EQ(nuvStatusOk, nuviCopySubpixIntersect_8u16u_C1R_Sfs(
                                 image.data(), image.step(), image.size(), fixed.data(), size * 2,
                                 square, centre, &low, &high, -7));
      std::copy(fixed.begin(), fixed.end(), out.begin());
    } else if constexpr (std::is_same_v<T, uint16_t>) {
      ASSERT_EQ(nuvStatusOk, nuviCopySubpixIntersect_16u32f_C1R(image.data(), image.step(),
                                                                image.size(), out.data(), size * 4,
                                                                square, centre, &low, &high));
    } else {
      ASSERT_EQ(nuvStatusOk,
                nuviCopySubpixIntersect_32f_C1R(image.data(), image.step(), image.size(),
                                                out.data(), size * 4, square, centre, &low, &high));
    }
  }

  // The scaled derivative of the layer at a pixel, by the filter's masks with the edge repeated.
  float derivative(int level, int x, int y, bool alongX) const {
    TestImage<T>& image = first_.image(level);
    const auto p = [&](int px, int py) {
      return static_cast<float>(image.at(std::clamp(px, 0, image.size().width - 1),
                                         std::clamp(py, 0, image.size().height - 1)));
    };
    float r[3];
    for (int i = 0; i < 3; ++i) {
      r[i] = alongX ? p(x + 1, y + i - 1) - p(x - 1, y + i - 1)
                    : 3 * (p(x - 1, y + i - 1) + p(x + 1, y + i - 1)) + 10 * p(x, y + i - 1);
    }
    const float sum = alongX ? std::fma(3.0f, r[2], std::fma(10.0f, r[1], 3 * r[0])) : r[2] - r[0];
    return std::is_integral_v<T> && sizeof(T) == 1 ? sum * 4 : sum * 0.03125f;
  }

  void gradients(int level, NuviPoint32f p, bool fromPlane) {
    constexpr bool isFixed = std::is_same_v<T, uint8_t>;
    gx_.assign(static_cast<size_t>(w_ * w_), 0);
    gy_ = gx_;
    if (!fromPlane) {
      for (int y = 0; y < w_; ++y) {
        for (int x = 0; x < w_; ++x) {
          const auto i = [&](int px, int py) {
            return i_[static_cast<size_t>((y + py) * (w_ + 2) + x + px)];
          };
          const float a = 0.09375f, b = 0.3125f;
          const float dx =
              a * ((i(2, 0) - i(0, 0)) + (i(2, 2) - i(0, 2))) + b * (i(2, 1) - i(0, 1));
          const float dy =
              a * ((i(0, 2) - i(0, 0)) + (i(2, 2) - i(2, 0))) + b * (i(1, 2) - i(1, 0));
          gx_[static_cast<size_t>(y * w_ + x)] = isFixed ? std::nearbyint(dx) : dx;
          gy_[static_cast<size_t>(y * w_ + x)] = isFixed ? std::nearbyint(dy) : dy;
        }
      }
      return;
    }
    const auto origin = [&](float c) {
      const float d = c - static_cast<float>(w_ + 1) * 0.5f;
      return d < 0 ? 0 : static_cast<int>(d) + 1;
    };
    const auto fraction = [&](float c) {
      const float d = c - static_cast<float>(w_ - 1) * 0.5f;
      return d - std::floor(d);
    };
    const float fx = fraction(p.x), fy = fraction(p.y);
    const int columns = right_ - left_ + 1, rows = bottom_ - top_ + 1;
    if (columns < 1 || rows < 1) return;
    for (const bool alongX : {true, false}) {
      auto& g = alongX ? gx_ : gy_;
      std::vector<float> plane(static_cast<size_t>((columns + 1) * (rows + 1)));
      for (int y = 0; y <= rows; ++y) {
        for (int x = 0; x <= columns; ++x) {
          plane[static_cast<size_t>(y * (columns + 1) + x)] =
              derivative(level, origin(p.x) + x, origin(p.y) + y, alongX);
        }
      }
      std::vector<float> sampled(static_cast<size_t>(columns * rows));
      if (isFixed) {
        for (int y = 0; y < rows; ++y) {
          for (int x = 0; x < columns; ++x) {
            const float* const s = &plane[static_cast<size_t>(y * (columns + 1) + x)];
            const float above = (1 - fx) * (1 - fy) * s[0] + fx * (1 - fy) * s[1];
            const float below = (1 - fx) * fy * s[columns + 1] + fx * fy * s[columns + 2];
            sampled[static_cast<size_t>(y * columns + x)] = std::nearbyint(above + below);
          }
        }
      } else {
        ASSERT_EQ(nuvStatusOk,
                  nuviCopySubpix_32f_C1R(plane.data(), (columns + 1) * 4, sampled.data(),
                                         columns * 4, {columns, rows}, fx, fy));
      }
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
          g[static_cast<size_t>((top_ + y) * w_ + left_ + x)] =
              sampled[static_cast<size_t>(y * columns + x)];
        }
      }
    }
  }

  char onLevel(int level, NuviPoint32f p, NuviPoint32f& q, bool fromPlane) {
    NuviPoint low, high;
    window(first_, level, p, w_ + 2, i_, low, high);
    left_ = low.x > 0 ? low.x - 1 : 0, top_ = low.y > 0 ? low.y - 1 : 0;
    right_ = high.x - 1 - (high.x > w_), bottom_ = high.y - 1 - (high.y > w_);
    gradients(level, p, fromPlane);
    const int l = left_, t = top_, r = right_, b = bottom_;
    double lastX = first_->sizes[level].width + first_->sizes[level].height, lastY = lastX;
    for (int k = 0; k < iterations_; ++k) {
      window(second_, level, q, w_, j_, low, high);
      left_ = std::max(l, low.x), top_ = std::max(t, low.y);
      right_ = std::min(r, high.x), bottom_ = std::min(b, high.y);
      if (right_ < left_ || bottom_ < top_) return 'o';
      double g11 = 0, g12 = 0, g22 = 0, b1 = 0, b2 = 0;
      for (int y = top_; y <= bottom_; ++y) {
        double r11 = 0, r12 = 0, r22 = 0, rb1 = 0, rb2 = 0;
        for (int x = left_; x <= right_; ++x) {
          const double ix = gx_[static_cast<size_t>(y * w_ + x)],
                       iy = gy_[static_cast<size_t>(y * w_ + x)], d = difference(x, y);
          r11 += ix * ix, r12 += ix * iy, r22 += iy * iy, rb1 += ix * d, rb2 += iy * d;
        }
        g11 += r11, g12 += r12, g22 += r22, b1 += rb1, b2 += rb2;
      }
      const double det = g11 * g22 - g12 * g12;
      if (det < 2.220446049250313e-16) return 'l';
      const double dx = (g22 * b1 - g12 * b2) / det, dy = (g11 * b2 - g12 * b1) / det;
      q = {static_cast<float>(q.x + dx), static_cast<float>(q.y + dy)};
      if (dx * dx + dy * dy < double{threshold_}) break;
      const double e = std::sqrt(1.1920928955078125e-07f);
      if (std::fabs(dx + lastX) < e && std::fabs(dy + lastY) < e) {
        q = {static_cast<float>(q.x - 0.5 * dx), static_cast<float>(q.y - 0.5 * dy)};
        break;
      }
      lastX = dx, lastY = dy;
    }
    return 'f';
  }

  float difference(int x, int y) const {
    return i_[static_cast<size_t>((y + 1) * (w_ + 2) + x + 1)] -
           j_[static_cast<size_t>(y * w_ + x)];
  }
  float error() const {
    double sum = 0;
    for (int y = top_; y < bottom_; ++y) {
      for (int x = left_; x < right_; ++x)
        sum += double{difference(x, y)} * double{difference(x, y)};
    }
    const int n = (bottom_ - top_) * (right_ - left_);
    return sum > 0 ? static_cast<float>(std::sqrt(sum / n) / Forms<T>::unit) : 0.0f;
  }

  const Pyramid<T>&first_, &second_;
  NuviSize largest_;
  int w_, iterations_;
  float threshold_;
  std::vector<float> i_, j_, gx_, gy_;
  int left_ = 0, top_ = 0, right_ = 0, bottom_ = 0;
};

template <class T>
class Flow : public ::testing::Test {};
using Pixels = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Flow, Pixels);

// Points everywhere, over the edges and far outside; with planes for all levels, some, and none.
TYPED_TEST(Flow, MatchesReference) {
  using T = TypeParam;
  const NuviSize base = {91, 70};
  Pyramid<T> first(base, 2, 0, 0), second(base, 2, 1.7, -2.3);
  first.image(0).at(50, 20) = 0;
  for (int32_t y = 40; y < 70; ++y) {
    for (int32_t x = 0; x < 24; ++x)
      first.image(0).at(x, y) = second.image(0).at(x, y) = 9;  // flat
  }
  std::mt19937 random(6);
  std::vector<NuviPoint32f> prev(61), start(61);
  for (size_t i = 0; i < prev.size(); ++i) {
    const auto at = [&](int32_t length) {
      return static_cast<float>(
                 static_cast<int>(random() % static_cast<unsigned>(16 * length + 100)) - 50) /
             16;
    };
    prev[i] = {at(base.width), at(base.height)};
    start[i] = {prev[i].x + static_cast<float>(i % 5), prev[i].y - 1};
  }
  prev[5] = {-400, 20};
  start[6].x = 1e9f;
  start[7] = {8.5f, 55.25f}, prev[7] = {8, 55};
  for (const NuviSize largest : {NuviSize{91, 70}, {50, 50}, {2, 2}}) {
    for (const int window : {1, 2, 7, 15, 34}) {
      for (const auto& [iterations, threshold, maxLevel] :
           {std::tuple(20, 0.01f, 2), {1, 0.0f, 2}, {6, 0.0f, 0}}) {
        std::vector<Point> expected;
        Reference<T> reference(first, second, largest, window, iterations, threshold);
        for (size_t i = 0; i < prev.size(); ++i) {
          expected.push_back(reference.follow(prev[i], start[i], maxLevel));
        }
        withThreadCounts([&, iterations = iterations, threshold = threshold, maxLevel = maxLevel] {
          NuviOptFlowPyrLKState* state = nullptr;
          ASSERT_EQ(nuvStatusOk, Forms<T>::make(&state, largest, window, 0));
          auto next = start;
          std::vector<uint8_t> status(prev.size(), 99);
          std::vector<float> error(prev.size(), -1);
          ASSERT_EQ(nuvStatusOk, Forms<T>::run(first.get(), second.get(), prev.data(), next.data(),
                                               status.data(), error.data(), 61, window, maxLevel,
                                               iterations, threshold, state));
          for (size_t i = 0; i < prev.size(); ++i) {
            SCOPED_TRACE(std::to_string(i) + " window " + std::to_string(window) + " largest " +
                         std::to_string(largest.width));
            ASSERT_EQ(expected[i].status, status[i]);
            ASSERT_EQ(expected[i].next.x, next[i].x);
            ASSERT_EQ(expected[i].next.y, next[i].y);
            ASSERT_EQ(expected[i].error, error[i]);
          }
          ASSERT_NE(0, status[5]);
          ASSERT_EQ(nuvStatusOk, Forms<T>::free(state));
        });
      }
    }
  }
}

// Where a level has no image, or one with too small or an odd step, all points are lost there and
// stay where they were; the levels above it count.
TYPED_TEST(Flow, LosesPointsAtALevelWithoutAnImage) {
  using T = TypeParam;
  const NuviSize base = {91, 70};
  for (const NuviSize largest : {base, NuviSize{2, 2}}) {
    for (const int at : {0, 1}) {
      for (const int fault : {0, 1, 2, 3, 4, 5}) {
        Pyramid<T> first(base, 1, 0, 0, 1.7f), second(base, 1, 0.4, 0.3, 1.7f);
        const Pyramid<T>& faulty = fault % 2 == 0 ? first : second;
        if (fault / 2 == 0) faulty->images[at] = nullptr;
        if (fault / 2 == 1) faulty->steps[at] = faulty->sizes[at].width * sizeof(T) - 1;
        if (fault / 2 == 2) {
          if (sizeof(T) == 1) continue;
          faulty->steps[at] += 1;
        }
        NuviOptFlowPyrLKState* state = nullptr;
        ASSERT_EQ(nuvStatusOk, Forms<T>::make(&state, largest, 9, 0));
        const NuviPoint32f prev[] = {{30.1f, 20.7f}, {44.3f, 33.9f}, {60.9f, 41.3f}};
        NuviPoint32f next[] = {prev[0], prev[1], prev[2]};
        uint8_t status[3] = {77, 77, 77};
        float error[3] = {-1, -1, -1};
        ASSERT_EQ(nuvStatusOk, Forms<T>::run(first.get(), second.get(), prev, next, status, error,
                                             3, 9, 1, 10, 0.01f, state));
        for (int i = 0; i < 3; ++i) {
          SCOPED_TRACE(fault);
          EXPECT_EQ(at + 1, status[i]);
          EXPECT_EQ(0.0f, error[i]);
          const bool isMoved = next[i].x != prev[i].x || next[i].y != prev[i].y;
          EXPECT_EQ(at == 0 && largest.width == base.width, isMoved);
        }
        ASSERT_EQ(nuvStatusOk, Forms<T>::free(state));
      }
    }
  }
}

// Shifts of up to 8 pixels over 3 levels: at least 95 of 100 points within 0.1 pixel, or 0.05.
TYPED_TEST(Flow, FindsKnownShifts) {
  using T = TypeParam;
  const NuviSize base = {200, 180};
  const double allowed = std::is_same_v<T, uint8_t> ? 0.1 : 0.05;
  for (const auto& [dx, dy] :
       {std::pair(0.0, 0.0), {0.37, -0.81}, {-3.6, 2.25}, {7.3, 7.9}, {-8, 5.5}}) {
    Pyramid<T> first(base, 2, 0, 0), second(base, 2, dx, dy);
    for (const NuviSize largest : {base, NuviSize{100, 90}, {3, 3}}) {
      NuviOptFlowPyrLKState* state = nullptr;
      ASSERT_EQ(nuvStatusOk, Forms<T>::make(&state, largest, 15, 0));
      std::vector<NuviPoint32f> prev;
      for (int i = 0; i < 100; ++i)
        prev.push_back(
            {24.25f + static_cast<float>(i % 10 * 16), 22 + static_cast<float>(i / 10 * 15)});
      auto next = prev;
      std::vector<uint8_t> status(100);
      std::vector<float> error(100);
      ASSERT_EQ(nuvStatusOk,
                Forms<T>::run(first.get(), second.get(), prev.data(), next.data(), status.data(),
                              error.data(), 100, 15, 2, 20, 0.003f, state));
      int near = 0;
      for (size_t i = 0; i < 100; ++i) {
        const double off = std::hypot(next[i].x - prev[i].x - dx, next[i].y - prev[i].y - dy);
        near += status[i] == 0 && off < allowed;
      }
      EXPECT_GE(near, 95) << dx << "," << dy << " largest " << largest.width;
      ASSERT_EQ(nuvStatusOk, Forms<T>::free(state));
    }
  }
}

// A photograph's part from a column and row on, and pyramids of it by the library's own steps.
std::vector<uint8_t> photograph(int32_t& width) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(0, png_image_begin_read_from_file(&image, PHOTOGRAPH)) << image.message;
  image.format = PNG_FORMAT_GRAY;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
  EXPECT_NE(0, png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) << image.message;
  width = static_cast<int32_t>(image.width);
  return pixels;
}

template <class T>
void cropAndReduce(const std::vector<uint8_t>& pixels, int32_t width, int32_t x0, int32_t y0,
                   Pyramid<T>& pyramid) {
  for (int32_t i = 0; i <= pyramid->level; ++i) {
    TestImage<T>& image = pyramid.image(i);
    if (i == 0) {
      for (int32_t y = 0; y < image.size().height; ++y) {
        const uint8_t* const row = &pixels[static_cast<size_t>((y0 + y) * width + x0)];
        std::copy(row, row + image.size().width, image.row(y));
      }
      continue;
    }
    TestImage<T>& larger = pyramid.image(i - 1);
    NuviPyramidLayerState* state = nullptr;
    const auto reduce = [&](auto make, auto step, auto release, auto unit) {
      const decltype(unit) kernel[] = {1, 4, 6, 4, 1};
      ASSERT_EQ(nuvStatusOk, make(&state, larger.size(), 2.0f, kernel, 5, 2));
      ASSERT_EQ(nuvStatusOk, step(larger.data(), larger.step(), larger.size(), image.data(),
                                  image.step(), image.size(), state));
      ASSERT_EQ(nuvStatusOk, release(state));
    };
    if constexpr (std::is_same_v<T, uint8_t>) {
      reduce(nuviPyramidLayerDownInitAlloc_8u_C1R, nuviPyramidLayerDown_8u_C1R,
             nuviPyramidLayerDownFree_8u_C1R, int16_t{});
    } else if constexpr (std::is_same_v<T, uint16_t>) {
      reduce(nuviPyramidLayerDownInitAlloc_16u_C1R, nuviPyramidLayerDown_16u_C1R,
             nuviPyramidLayerDownFree_16u_C1R, int16_t{});
    } else {
      reduce(nuviPyramidLayerDownInitAlloc_32f_C1R, nuviPyramidLayerDown_32f_C1R,
             nuviPyramidLayerDownFree_32f_C1R, float{});
    }
  }
}

// Parts of a photograph some pixels apart: both frames are as sharp, so that the shift is exact.
TYPED_TEST(Flow, FindsShiftsOfAPhotograph) {
  using T = TypeParam;
  int32_t width = 0;
  const auto pixels = photograph(width);
  const NuviSize size = {480, 480};
  Pyramid<T> first(size, 2, 0, 0);
  cropAndReduce(pixels, width, 16, 16, first);

  std::vector<uint8_t> grey(480 * 480);
  for (size_t y = 0; y < 480; ++y) {
    std::copy_n(&pixels[(16 + y) * static_cast<size_t>(width) + 16], 480, &grey[480 * y]);
  }
  std::vector<float> measure(grey.size());
  int32_t bytes = 0;
  ASSERT_EQ(nuvStatusOk, nuviMinEigenValGetBufferSize_8u32f_C1R(size, 3, 5, &bytes));
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  ASSERT_EQ(nuvStatusOk, nuviMinEigenVal_8u32f_C1R(grey.data(), 480, measure.data(), 1920, size, 0,
                                                   3, 5, buffer.data()));
  std::vector<NuviPoint32f> prev;
  while (prev.size() < 100) {  // the strongest corners at least 10 pixels apart and from the edges
    size_t best = 0;
    for (size_t i = 0; i < measure.size(); ++i) {
      const size_t x = i % 480, y = i / 480;
      const bool isInside = x >= 20 && x < 460 && y >= 20 && y < 460;
      if (isInside && measure[i] > measure[best]) best = i;
    }
    const int bestX = static_cast<int>(best % 480), bestY = static_cast<int>(best / 480);
    prev.push_back({static_cast<float>(bestX), static_cast<float>(bestY)});
    for (int y = std::max(bestY - 10, 0); y <= std::min(bestY + 10, 479); ++y) {
      for (int x = std::max(bestX - 10, 0); x <= std::min(bestX + 10, 479); ++x) {
        measure[static_cast<size_t>(480 * y + x)] = -1;
      }
    }
    measure[0] = -1;
  }

  const double allowed = std::is_same_v<T, uint8_t> ? 0.1 : 0.05;
  for (const auto& [dx, dy] : {std::pair(1, 0), {3, -2}, {-7, 8}, {8, 5}}) {
    Pyramid<T> second(size, 2, 0, 0);
    cropAndReduce(pixels, width, 16 - dx, 16 - dy, second);
    for (const NuviSize largest : {size, NuviSize{3, 3}}) {
      NuviOptFlowPyrLKState* state = nullptr;
      ASSERT_EQ(nuvStatusOk, Forms<T>::make(&state, largest, 15, 0));
      auto next = prev;
      std::vector<uint8_t> status(100);
      std::vector<float> error(100);
      ASSERT_EQ(nuvStatusOk,
                Forms<T>::run(first.get(), second.get(), prev.data(), next.data(), status.data(),
                              error.data(), 100, 15, 2, 20, 0.003f, state));
      int near = 0;
      for (size_t i = 0; i < 100; ++i) {
        const double off = std::hypot(next[i].x - prev[i].x - dx, next[i].y - prev[i].y - dy);
        near += status[i] == 0 && off < allowed;
      }
      EXPECT_GE(near, 95) << dx << "," << dy << " largest " << largest.width;
      ASSERT_EQ(nuvStatusOk, Forms<T>::free(state));
    }
  }
}

TEST(FlowChecks, FirstFailureInOrderAndNothingWritten) {
  NuviOptFlowPyrLKState* state = nullptr;
  EXPECT_EQ(nuvStatusNullPointer, nuviOpticalFlowPyrLKInitAlloc_8u_C1R(nullptr, {0, 0}, 0, 0));
  EXPECT_EQ(nuvStatusBadSize, nuviOpticalFlowPyrLKInitAlloc_16u_C1R(&state, {4, 4}, 0, 0));
  EXPECT_EQ(nuvStatusBadSize, nuviOpticalFlowPyrLKInitAlloc_32f_C1R(&state, {4, 0}, 3, 0));
  EXPECT_EQ(nuvStatusNoMemory,
            nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&state, {INT32_MAX, INT32_MAX}, 3, 0));
  EXPECT_EQ(nuvStatusNoMemory, nuviOpticalFlowPyrLKInitAlloc_32f_C1R(&state, {4, 4}, INT32_MAX, 0));
  EXPECT_EQ(nullptr, state);
  ASSERT_EQ(nuvStatusOk, nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&state, {9, 9}, 3, 7));
  Pyramid<uint8_t> first({9, 9}, 1, 0, 0), second({9, 9}, 1, 0, 0);
  NuviPoint32f prev = {4, 4}, next = {5, 5};
  uint8_t status = 77;
  float error = -1;
  const auto call = [&](NuviPoint32f* result, int32_t count, int32_t window, int32_t level,
                        int32_t iterations, float threshold) {
    return nuviOpticalFlowPyrLK_8u_C1R(first.get(), second.get(), &prev, result, &status, &error,
                                       count, window, level, iterations, threshold, state);
  };
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 0, 3, 0, 1, 0));
  EXPECT_EQ(nuvStatusBadSize, call(&next, 0, 3, -1, 1, 0));
  EXPECT_EQ(nuvStatusBadSize, call(&next, 1, 2, -1, 1, 0));
  EXPECT_EQ(nuvStatusBadArgument, call(&next, 1, 3, -1, 1, 0));
  EXPECT_EQ(nuvStatusBadArgument, call(&next, 1, 3, 0, 0, 0));
  EXPECT_EQ(nuvStatusBadArgument, call(&next, 1, 3, 0, 1, -1e-20f));
  EXPECT_EQ(77, status);
  EXPECT_EQ(nuvStatusOk, call(&next, 1, 3, 0, 1, 0));
  EXPECT_EQ(0, status);
  EXPECT_EQ(nuvStatusOk, nuviOpticalFlowPyrLKFree_8u_C1R(state));
  EXPECT_EQ(nuvStatusNullPointer, nuviOpticalFlowPyrLKFree_16u_C1R(nullptr));
}

}  // namespace

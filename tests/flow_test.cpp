#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <functional>
#include <memory>

#include "support/guarded.h"
#include "support/threads.h"

namespace {

using namespace testing_support;

template <class T>
struct Forms;
#define NUV_FORMS(T, type, copy, SampleType, gray)                           \
  template <>                                                                \
  struct Forms<T> {                                                          \
    static constexpr auto make = nuviOpticalFlowPyrLKInitAlloc_##type##_C1R; \
    static constexpr auto run = nuviOpticalFlowPyrLK_##type##_C1R;           \
    static constexpr auto free = nuviOpticalFlowPyrLKFree_##type##_C1R;      \
    static constexpr auto window = nuviCopySubpixIntersect_##copy;           \
    using Sample = SampleType; /* of a window */                             \
    static constexpr double unit = gray;                                     \
  };
NUV_FORMS(uint8_t, 8u, 8u16u_C1R_Sfs, uint16_t, 128)
NUV_FORMS(uint16_t, 16u, 16u32f_C1R, float, 1)
NUV_FORMS(float, 32f, 32f_C1R, float, 1)
#undef NUV_FORMS

// A picture of the plane: the value about a place, at a scale.
using Picture = std::function<double(double x, double y, double scale)>;

// A smooth texture moved by (dx, dy).
Picture texture(double dx, double dy) {
  return [=](double x, double y, double) {
    x -= dx, y -= dy;
    return 128 + 45 * std::sin(0.13 * x + 0.06 * y) + 35 * std::sin(0.08 * x - 0.15 * y + 1) +
           25 * std::sin(0.03 * x + 0.19 * y + 2) + 20 * std::sin(0.22 * x - 0.04 * y);
  };
}

// Layers sampled from the picture itself, in whole numbers or 32nds of one.
template <class T>
class Pyramid {
 public:
  Pyramid(NuviSize base, int32_t level, const Picture& picture, float rate = 2.0f) {
    EXPECT_EQ(nuvStatusOk, nuviPyramidInitAlloc(&record_, level, base, rate));
    for (int32_t i = 0; i <= level; ++i) {
      const double scale = 1 / record_->rates[i];
      images_.push_back(std::make_unique<TestImage<T>>(record_->sizes[i], 1, i));
      TestImage<T>& image = *images_.back();
      for (int32_t y = 0; y < image.size().height; ++y) {
        for (int32_t x = 0; x < image.size().width; ++x) {
          const double unit = std::is_integral_v<T> ? 1 : 32;
          image.at(x, y) =
              static_cast<T>(std::round(picture(x * scale, y * scale, scale) * unit) / unit);
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

// A square of samples, and which of them are known.
struct Window {
  Window(int32_t side, NuviPoint first = {}, NuviPoint last = {})
      : size(side), low(first), high(last), samples(static_cast<size_t>(side * side)) {}
  float& at(int32_t x, int32_t y) { return samples[static_cast<size_t>(y * size + x)]; }

  int32_t size;
  NuviPoint low, high;
  std::vector<float> samples;
};

struct Settings {
  NuviSize largest;
  int32_t window, maxLevel, iterations;
  float threshold;
};

// One point, followed with plain arithmetic; the sub-pixel windows are the library's.
template <class T>
class Reference {
 public:
  Reference(const Pyramid<T>& first, const Pyramid<T>& second, const Settings& settings)
      : first_(first), second_(second), s_(settings), w_(settings.window) {}

  NuviPoint32f next = {};
  int32_t status = 0;
  float error = 0;

  void follow(NuviPoint32f prev, NuviPoint32f start) {
    next = start;
    NuviPoint32f q = start;
    bool isCarried = false;
    for (int32_t level = s_.maxLevel; level >= 0; --level) {
      const NuviSize size = first_->sizes[level];
      const bool isSmall = size.width <= s_.largest.width && size.height <= s_.largest.height;
      const double rate = first_->rates[level];
      q = isCarried ? scaled(q, 1.0 / first_->rates[1]) : scaled(next, rate);
      isCarried = !isSmall;
      const Outcome outcome = followOn(level, scaled(prev, rate), q, isSmall);
      status = outcome == found ? level : level + 1;
      if (outcome == outside || (outcome == found && isSmall)) {
        next = {static_cast<float>(q.x / rate), static_cast<float>(q.y / rate)};
      }
      if (outcome != found) break;
    }
    if (status == 0) next = q;
    error = 0;
    double sum = 0;
    for (int32_t y = top_; y < bottom_; ++y) {
      for (int32_t x = left_; x < right_; ++x) sum += std::pow(double{difference(x, y)}, 2);
    }
    if (status > 0 || !(sum > 0)) return;
    error =
        static_cast<float>(std::sqrt(sum / ((bottom_ - top_) * (right_ - left_))) / Forms<T>::unit);
  }

 private:
  static constexpr bool isFixed = std::is_same_v<T, uint8_t>;
  enum Outcome { found, outside, lost };

  static NuviPoint32f scaled(NuviPoint32f p, double r) {
    return {static_cast<float>(p.x * r), static_cast<float>(p.y * r)};
  }

  bool take(const Pyramid<T>& pyramid, int32_t level, NuviPoint32f centre, Window& window) const {
    TestImage<typename Forms<T>::Sample> samples({window.size, window.size});
    samples.fill([] { return 0; });
    const auto copy = [&](auto... scaleFactor) {
      return Forms<T>::window(reinterpret_cast<T*>(pyramid->images[level]), pyramid->steps[level],
                              pyramid.image(level).size(), samples.data(), samples.step(),
                              samples.size(), centre, &window.low, &window.high, scaleFactor...);
    };
    NuvStatus status = nuvStatusOk;
    if constexpr (isFixed) {
      status = copy(-7);
    } else {
      status = copy();
    }
    std::copy_n(samples.data(), window.samples.size(), window.samples.begin());
    return status == nuvStatusOk;
  }

  // The derivative of the layer at a pixel, by Scharr's mask with the edge repeated; exact.
  float derivative(int32_t level, int32_t x, int32_t y, bool alongX) const {
    const TestImage<T>& image = first_.image(level);
    double sum = 0;
    for (int32_t j = -1; j <= 1; ++j) {
      for (int32_t i = -1; i <= 1; ++i) {
        const int32_t weight = alongX ? i * (j == 0 ? 10 : 3) : j * (i == 0 ? 10 : 3);
        sum +=
            weight * static_cast<double>(image.at(std::clamp(x + i, 0, image.size().width - 1),
                                                  std::clamp(y + j, 0, image.size().height - 1)));
      }
    }
    return static_cast<float>(isFixed ? sum * 4 : sum / 32);
  }

  // The derivatives of the window, from those of the layer by bilinear interpolation.
  void sampleGradient(int32_t level, NuviPoint32f p, bool alongX, Window& g) const {
    const auto split = [&](float c, int32_t& origin) {
      const float corner = c - static_cast<float>(w_ + 1) * 0.5f;
      origin = corner < 0 ? 0 : static_cast<int32_t>(corner) + 1;
      const float start = c - static_cast<float>(w_ - 1) * 0.5f;
      return start - std::floor(start);
    };
    int32_t x0 = 0, y0 = 0;
    const float fx = split(p.x, x0), fy = split(p.y, y0);
    const NuviSize size = {right_ - left_ + 1, bottom_ - top_ + 1};
    if (size.width < 1 || size.height < 1) return;
    TestImage<float> plane({size.width + 1, size.height + 1}), sampled(size);
    for (int32_t y = 0; y <= size.height; ++y) {
      for (int32_t x = 0; x <= size.width; ++x) {
        plane.at(x, y) = derivative(level, x0 + x, y0 + y, alongX);
      }
    }
    nuviCopySubpix_32f_C1R(plane.data(), plane.step(), sampled.data(), sampled.step(), size, fx,
                           fy);
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) {
        const float above =
            (1 - fx) * (1 - fy) * plane.at(x, y) + fx * (1 - fy) * plane.at(x + 1, y);
        const float below = (1 - fx) * fy * plane.at(x, y + 1) + fx * fy * plane.at(x + 1, y + 1);
        g.at(left_ + x, top_ + y) = isFixed ? std::nearbyint(above + below) : sampled.at(x, y);
      }
    }
  }

  // The derivatives of the window, from the first image's window itself.
  void deriveGradient(bool alongX, Window& g) {
    for (int32_t y = 0; y < w_; ++y) {
      for (int32_t x = 0; x < w_; ++x) {
        const auto step = [&](int32_t i) {  // across the i-th row or column
          return alongX ? i_.at(x + 2, y + i) - i_.at(x, y + i)
                        : i_.at(x + i, y + 2) - i_.at(x + i, y);
        };
        const float sum = 0.09375f * (step(0) + step(2)) + 0.3125f * step(1);
        g.at(x, y) = isFixed ? std::nearbyint(sum) : sum;
      }
    }
  }

  Outcome followOn(int32_t level, NuviPoint32f p, NuviPoint32f& q, bool isSmall) {
    if (!take(first_, level, p, i_)) return lost;
    const int32_t l = left_ = std::max(i_.low.x - 1, 0), t = top_ = std::max(i_.low.y - 1, 0);
    const int32_t r = right_ = i_.high.x - (i_.high.x > w_ ? 2 : 1);
    const int32_t b = bottom_ = i_.high.y - (i_.high.y > w_ ? 2 : 1);
    Window gx(w_), gy(w_);
    for (const auto& [g, alongX] : {std::pair(&gx, true), {&gy, false}}) {
      isSmall ? sampleGradient(level, p, alongX, *g) : deriveGradient(alongX, *g);
    }
    double lastX = first_->sizes[level].width + first_->sizes[level].height, lastY = lastX;
    for (int32_t k = 0; k < s_.iterations; ++k) {
      if (!take(second_, level, q, j_)) return lost;
      left_ = std::max(l, j_.low.x), top_ = std::max(t, j_.low.y);
      right_ = std::min(r, j_.high.x), bottom_ = std::min(b, j_.high.y);
      if (right_ < left_ || bottom_ < top_) return outside;
      double sums[5] = {};  // a row at a time
      for (int32_t y = top_; y <= bottom_; ++y) {
        double row[5] = {};
        for (int32_t x = left_; x <= right_; ++x) {
          const double ix = gx.at(x, y), iy = gy.at(x, y), d = difference(x, y);
          const double products[] = {ix * ix, ix * iy, iy * iy, ix * d, iy * d};
          for (int i = 0; i < 5; ++i) row[i] += products[i];
        }
        for (int i = 0; i < 5; ++i) sums[i] += row[i];
      }
      const auto [g11, g12, g22, b1, b2] = sums;
      const double det = g11 * g22 - g12 * g12;
      if (det < 2.220446049250313e-16) return lost;
      const double dx = (g22 * b1 - g12 * b2) / det, dy = (g11 * b2 - g12 * b1) / det;
      q = {static_cast<float>(q.x + dx), static_cast<float>(q.y + dy)};
      if (dx * dx + dy * dy < double{s_.threshold * s_.threshold}) break;
      const double e = std::sqrt(1.1920928955078125e-07f);
      if (std::fabs(dx + lastX) < e && std::fabs(dy + lastY) < e) {
        q = {static_cast<float>(q.x - 0.5 * dx), static_cast<float>(q.y - 0.5 * dy)};
        break;
      }
      lastX = dx, lastY = dy;
    }
    return found;
  }

  float difference(int32_t x, int32_t y) { return i_.at(x + 1, y + 1) - j_.at(x, y); }

  const Pyramid<T>&first_, &second_;
  const Settings s_;
  const int32_t w_;
  Window i_{w_ + 2}, j_{w_};
  int32_t left_ = 0, top_ = 0, right_ = 0, bottom_ = 0;
};

// Calls judge(next, status, error) for a run with any number of threads, whatever number the state
// was made with.
template <class T, class Judge>
void forEachRun(const Pyramid<T>& first, const Pyramid<T>& second,
                const std::vector<NuviPoint32f>& from, const std::vector<NuviPoint32f>& start,
                const Settings& s, Judge&& judge) {
  nuvSetNumThreads(2);
  NuviOptFlowPyrLKState* state = nullptr;
  ASSERT_EQ(nuvStatusOk, Forms<T>::make(&state, s.largest, s.window, 0));
  withThreadCounts([&] {
    const auto count = static_cast<int32_t>(from.size());
    const TestImage<NuviPoint32f> prev({count, 1}), next({count, 1});
    const TestImage<uint8_t> status({count, 1});
    const TestImage<float> error({count, 1});
    std::copy(from.begin(), from.end(), prev.data());
    std::copy(start.begin(), start.end(), next.data());
    ASSERT_EQ(nuvStatusOk, Forms<T>::run(first.get(), second.get(), prev.data(), next.data(),
                                         status.data(), error.data(), count, s.window, s.maxLevel,
                                         s.iterations, s.threshold, state));
    judge(next.data(), status.data(), error.data());
  });
  ASSERT_EQ(nuvStatusOk, Forms<T>::free(state));
}

template <class T>
void expectReference(const Pyramid<T>& first, const Pyramid<T>& second,
                     const std::vector<NuviPoint32f>& from, const std::vector<NuviPoint32f>& start,
                     const Settings& s) {
  std::vector<Reference<T>> expected(from.size(), {first, second, s});
  for (size_t i = 0; i < from.size(); ++i) expected[i].follow(from[i], start[i]);
  forEachRun(first, second, from, start, s, [&](auto* next, auto* status, auto* error) {
    for (size_t i = 0; i < from.size(); ++i) {
      const NuviPoint32f point = expected[i].next;
      ASSERT_TRUE(expected[i].status == status[i] && expected[i].error == error[i] &&
                  point.x == next[i].x && point.y == next[i].y)
          << i << ", window " << s.window << ", planes up to " << s.largest.width;
    }
  });
}

template <class T>
class Flow : public ::testing::Test {};
using Pixels = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Flow, Pixels);

// Points everywhere, over the edges and far outside; with planes for all levels, some, and none.
TYPED_TEST(Flow, MatchesReference) {
  using T = TypeParam;
  const NuviSize base = {530, 46};
  Pyramid<T> first(base, 2, texture(0, 0)), second(base, 2, texture(1.7, -2.3));
  first.image(0).at(50, 20) = 0;
  for (int32_t y = 22; y < 46; ++y) {
    for (int32_t x = 0; x < 24; ++x) first.image(0).at(x, y) = second.image(0).at(x, y) = 9;
  }
  std::mt19937 random(6);
  std::vector<NuviPoint32f> prev, start;
  for (int32_t i = 0; i < 61; ++i) {
    const auto at = [&](float low, unsigned length) {
      return low + static_cast<float>(random() % (16 * length)) / 16;
    };
    prev.push_back({i % 2 == 0 ? at(490, 50) : at(-5, 95), at(-3, 53)});
    start.push_back({prev.back().x + static_cast<float>(i % 5), prev.back().y - 1});
  }
  prev[5] = {-400, 20};
  start[6].x = 1e9f;
  prev[7] = {8, 34}, start[7] = {8.5f, 34.25f};  // flat
  for (const NuviSize largest : {base, NuviSize{300, 30}, {2, 2}}) {
    for (const int32_t window : {1, 2, 7, 15, 34}) {
      expectReference(first, second, prev, start, {largest, window, 2, 20, 0.01f});
    }
    expectReference(first, second, prev, start, {largest, 5, 2, 1, 0});
    expectReference(first, second, prev, start, {largest, 9, 0, 6, 0});
  }
}

// Where a level has no image, or one with too small or an odd step, all points are lost there; the
// levels above it count.
TYPED_TEST(Flow, LosesPointsAtALevelWithoutAnImage) {
  using T = TypeParam;
  const NuviSize base = {91, 70};
  const std::vector<NuviPoint32f> points = {{30.1f, 20.7f}, {44.3f, 33.9f}, {60.9f, 41.3f}};
  for (const int32_t level : {0, 1}) {
    for (int fault = 0; fault < (sizeof(T) == 1 ? 4 : 6); ++fault) {
      Pyramid<T> first(base, 1, texture(0, 0), 1.7f), second(base, 1, texture(0.4, 0.3), 1.7f);
      const Pyramid<T>& faulty = fault % 2 == 0 ? first : second;
      if (fault / 2 == 0) faulty->images[level] = nullptr;
      if (fault / 2 == 1) faulty->steps[level] = faulty->sizes[level].width * sizeof(T) - 1;
      if (fault / 2 == 2) faulty->steps[level] += 1;
      for (const NuviSize largest : {base, NuviSize{2, 2}}) {
        expectReference(first, second, points, points, {largest, 9, 1, 10, 0.01f});
      }
    }
  }
}

// A photograph from a column and row on; the mean of 4 or 16 pixels in smaller layers.
class Photograph {
 public:
  Photograph() {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(0, png_image_begin_read_from_file(&image, PHOTOGRAPH)) << image.message;
    image.format = PNG_FORMAT_GRAY;
    pixels_.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(0, png_image_finish_read(&image, nullptr, pixels_.data(), 0, nullptr));
    width_ = image.width;
  }
  Picture from(int32_t x0, int32_t y0) const {
    return [=](double x, double y, double scale) {
      double sum = 0;
      for (int32_t i = 0; i < scale * scale; ++i) {
        const double column = x0 + x + i % static_cast<int32_t>(scale);
        const double row = y0 + y + i / static_cast<int32_t>(scale);
        sum += pixels_[static_cast<size_t>(row) * width_ + static_cast<size_t>(column)];
      }
      return sum / (scale * scale);
    };
  }

 private:
  std::vector<uint8_t> pixels_;
  size_t width_;
};

// Places with much texture in both directions, away from the edges.
std::vector<NuviPoint32f> corners(const TestImage<uint8_t>& picture, size_t count) {
  const NuviSize size = picture.size();
  int32_t bytes = 0;
  nuviMinEigenValGetBufferSize_8u32f_C1R(size, 3, 5, &bytes);
  const GuardedBlock buffer(static_cast<size_t>(bytes));
  const TestImage<float> texture(size);
  nuviMinEigenVal_8u32f_C1R(picture.data(), picture.step(), texture.data(), texture.step(), size, 0,
                            3, 5, buffer.data());
  double mean = 0, deviation = 0;
  nuviMean_StdDev_32f_C1R(texture.data(), texture.step(), size, &mean, &deviation);
  std::vector<NuviPoint32f> points;
  for (std::mt19937 random(1); points.size() < count;) {
    const auto x = static_cast<int32_t>(20 + random() % 440);
    const auto y = static_cast<int32_t>(20 + random() % 440);
    if (texture.at(x, y) < mean + deviation) continue;
    points.push_back({static_cast<float>(x), static_cast<float>(y)});
  }
  return points;
}

// At least 95 of 100 corners within 0.1 pixel, or 0.05, over 3 levels: parts of a photograph some
// pixels apart, both as sharp, and fractional shifts of a texture.
TYPED_TEST(Flow, FindsKnownShifts) {
  using T = TypeParam;
  const NuviSize size = {480, 480};
  const double allowed = std::is_same_v<T, uint8_t> ? 0.1 : 0.05;
  const Photograph photograph;
  const auto expectShift = [&](const Picture& from, const Picture& to, double dx, double dy) {
    Pyramid<T> first(size, 2, from), second(size, 2, to);
    const auto prev = corners(Pyramid<uint8_t>(size, 1, from).image(0), 100);
    for (const NuviSize largest : {size, NuviSize{240, 240}, {3, 3}}) {
      const Settings settings = {largest, 15, 2, 20, 0.003f};
      forEachRun(first, second, prev, prev, settings, [&](auto* next, auto* status, auto*) {
        int near = 0;
        for (size_t i = 0; i < prev.size(); ++i) {
          const double off = std::hypot(next[i].x - prev[i].x - dx, next[i].y - prev[i].y - dy);
          near += status[i] == 0 && off < allowed;
        }
        EXPECT_GE(near, 95) << dx << "," << dy << " largest " << largest.width;
      });
    }
  };
  for (const auto& [dx, dy] : {std::pair(0, 0), {3, -2}, {-7, 8}, {8, 5}}) {
    expectShift(photograph.from(16, 16), photograph.from(16 - dx, 16 - dy), dx, dy);
  }
  for (const auto& [dx, dy] : {std::pair(0.37, -0.81), {-3.6, 2.25}, {7.3, 7.9}}) {
    expectShift(texture(0, 0), texture(dx, dy), dx, dy);
  }
}

TEST(FlowChecks, FirstFailureInOrderAndNothingWritten) {
  NuviOptFlowPyrLKState* state = nullptr;
  EXPECT_EQ(nuvStatusNullPointer, nuviOpticalFlowPyrLKInitAlloc_8u_C1R(nullptr, {0, 0}, 0, 0));
  EXPECT_EQ(nuvStatusBadSize, nuviOpticalFlowPyrLKInitAlloc_16u_C1R(&state, {4, 4}, 0, 0));
  EXPECT_EQ(nuvStatusBadSize, nuviOpticalFlowPyrLKInitAlloc_32f_C1R(&state, {4, 0}, 3, 0));
  for (const auto& [side, window] : {std::pair(INT32_MAX, 3), {4, INT32_MAX}}) {
    EXPECT_EQ(nuvStatusNoMemory,
              nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&state, {side, side}, window, 0));
  }
  EXPECT_EQ(nullptr, state);
  EXPECT_EQ(nuvStatusNullPointer, nuviOpticalFlowPyrLKFree_16u_C1R(nullptr));
  ASSERT_EQ(nuvStatusOk, nuviOpticalFlowPyrLKInitAlloc_8u_C1R(&state, {9, 9}, 3, 7));
  const Pyramid<uint8_t> pyramid({9, 9}, 1, texture(0, 0));
  NuviPoint32f point = {4, 4};
  uint8_t status = 77;
  float error = -1;
  const auto expect = [&](NuvStatus expected, NuviPoint32f* next, int32_t count, int32_t window,
                          int32_t level, int32_t iterations, float threshold) {
    EXPECT_EQ(expected, nuviOpticalFlowPyrLK_8u_C1R(pyramid.get(), pyramid.get(), &point, next,
                                                    &status, &error, count, window, level,
                                                    iterations, threshold, state));
  };
  expect(nuvStatusNullPointer, nullptr, 0, 3, 0, 1, 0);
  expect(nuvStatusBadSize, &point, 0, 3, -1, 1, 0);
  expect(nuvStatusBadSize, &point, 1, 2, -1, 1, 0);
  expect(nuvStatusBadArgument, &point, 1, 3, -1, 1, 0);
  expect(nuvStatusBadArgument, &point, 1, 3, 0, 0, 0);
  expect(nuvStatusBadArgument, &point, 1, 3, 0, 1, -1e-20f);
  EXPECT_TRUE(status == 77 && error == -1);
  EXPECT_EQ(nuvStatusOk, nuviOpticalFlowPyrLKFree_8u_C1R(state));
}

}  // namespace

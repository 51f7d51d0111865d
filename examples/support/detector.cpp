#include "support/detector.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "support/program.h"

namespace example {
namespace {

int rounded(double value) { return static_cast<int>(std::lround(value)); }

struct FreeStage {
  void operator()(NuviHaarClassifier* state) const { nuviHaarClassifierFree_32f(state); }
};
using StagePointer = std::unique_ptr<NuviHaarClassifier, FreeStage>;

// A stage of the cascade for windows of one size.
StagePointer build(const Stage& stage, NuviSize window, double scale) {
  std::vector<NuviRect> rects;
  std::vector<float> weights, thresholds, below, otherwise;
  std::vector<int32_t> counts;
  for (const Classifier& classifier : stage.classifiers) {
    for (const Rectangle& rectangle : classifier.rectangles) {
      const Rectangle here = scaled(rectangle, window, scale);
      rects.push_back(here.rect);
      weights.push_back(here.weight);
    }
    thresholds.push_back(classifier.threshold);
    below.push_back(classifier.below);
    otherwise.push_back(classifier.otherwise);
    counts.push_back(static_cast<int32_t>(classifier.rectangles.size()));
  }
  NuviHaarClassifier* state = nullptr;
  check(nuviHaarClassifierInitAlloc_32f(&state, rects.data(), weights.data(), thresholds.data(),
                                        below.data(), otherwise.data(), counts.data(),
                                        static_cast<int32_t>(counts.size())),
        "nuviHaarClassifierInitAlloc_32f");
  return StagePointer(state);
}

// All windows of one size.
void scanAt(const Cascade& cascade, const Planes& planes, double scale, Scan& result) {
  const NuviSize window = scaled(cascade.window, scale);
  const NuviSize positions = {planes.size.width - window.width + 1,
                              planes.size.height - window.height + 1};
  const auto count = static_cast<size_t>(positions.width) * static_cast<size_t>(positions.height);
  std::vector<float> deviations(count);
  check(nuviRectStdDev_32s32f_C1R(planes.sums.data(), planes.step(), planes.squares.data(),
                                  2 * planes.step(), deviations.data(), positions.width * 4,
                                  positions, {0, 0, window.width, window.height}),
        "nuviRectStdDev_32s32f_C1R");

  std::vector<uint8_t> mask(count, 1);
  auto positive = static_cast<int32_t>(count);
  result.survivors[0] += positive;
  for (size_t i = 0; i < cascade.stages.size() && positive > 0; ++i) {
    const StagePointer stage = build(cascade.stages[i], cascade.window, scale);
    check(nuviApplyHaarClassifier_32s32f_C1R(planes.sums.data(), planes.step(), deviations.data(),
                                             positions.width * 4, mask.data(), positions.width,
                                             positions, &positive, cascade.stages[i].threshold,
                                             stage.get()),
          "nuviApplyHaarClassifier_32s32f_C1R");
    result.survivors[i + 1] += positive;
  }
  if (positive == 0) return;
  for (int y = 0; y < positions.height; ++y) {
    for (int x = 0; x < positions.width; ++x) {
      if (mask[static_cast<size_t>(y) * positions.width + x] == 0) continue;
      result.hits.push_back({{x, y, window.width, window.height}, 1});
    }
  }
}

}  // namespace

Planes::Planes(const Picture& grey)
    : size({grey.width, grey.height}),
      sums(static_cast<size_t>(grey.width + 1) * static_cast<size_t>(grey.height + 1)),
      squares(sums.size()) {
  check(nuviSqrIntegral_8u32s64f_C1R(grey.pixels.data(), grey.step(), sums.data(), step(),
                                     squares.data(), 2 * step(), size, 0, 0),
        "nuviSqrIntegral_8u32s64f_C1R");
}

NuviSize scaled(NuviSize window, double scale) {
  return {rounded(window.width * scale), rounded(window.height * scale)};
}

Rectangle scaled(const Rectangle& rectangle, NuviSize window, double scale) {
  const NuviRect r = rectangle.rect;
  const int left = rounded(r.x * scale), right = rounded((r.x + r.width) * scale);
  const int top = rounded(r.y * scale), bottom = rounded((r.y + r.height) * scale);
  const double share = static_cast<double>(r.width) * r.height / (window.width * window.height);
  const double pixels = static_cast<double>(right - left) * (bottom - top);
  return {{left, top, right - left, bottom - top},
          static_cast<float>(rectangle.weight * share / pixels)};
}

Scan scan(const Cascade& cascade, const Planes& planes, int smallest, double growth) {
  Scan result;
  result.survivors.resize(cascade.stages.size() + 1);
  // A smaller window than the cascade's own could round a rectangle away.
  for (double scale = std::max(1.0, static_cast<double>(smallest) / cascade.window.width);;
       scale *= growth) {
    const NuviSize window = scaled(cascade.window, scale);
    if (window.width > planes.size.width || window.height > planes.size.height) return result;
    scanAt(cascade, planes, scale, result);
  }
}

double overlap(NuviRect a, NuviRect b) {
  const double width = std::min(a.x + a.width, b.x + b.width) - std::max(a.x, b.x);
  const double height = std::min(a.y + a.height, b.y + b.height) - std::max(a.y, b.y);
  if (width <= 0 || height <= 0) return 0;
  const double both = width * height;
  return both /
         (static_cast<double>(a.width) * a.height + static_cast<double>(b.width) * b.height - both);
}

std::vector<Hit> merged(const std::vector<Hit>& hits, int support) {
  // Each hit joins the first group whose first hit it covers well.
  struct Group {
    NuviRect first;
    double x, y, width, height;
    int count;
  };
  std::vector<Group> groups;
  for (const Hit& hit : hits) {
    const NuviRect w = hit.window;
    const auto near = std::find_if(groups.begin(), groups.end(), [&](const Group& group) {
      return overlap(group.first, w) > 0.5;
    });
    if (near == groups.end()) {
      groups.push_back({w, 1.0 * w.x, 1.0 * w.y, 1.0 * w.width, 1.0 * w.height, 1});
    } else {
      near->x += w.x, near->y += w.y, near->width += w.width, near->height += w.height;
      ++near->count;
    }
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const Group& a, const Group& b) { return a.count > b.count; });
  std::vector<Hit> result;
  for (const Group& group : groups) {
    const double n = group.count;
    const Hit mean = {{rounded(group.x / n), rounded(group.y / n), rounded(group.width / n),
                       rounded(group.height / n)},
                      group.count};
    const bool covered = std::any_of(result.begin(), result.end(), [&](const Hit& other) {
      return overlap(other.window, mean.window) > 0.2;
    });
    if (group.count >= support && !covered) result.push_back(mean);
  }
  return result;
}

}  // namespace example

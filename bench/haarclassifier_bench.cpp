#include "support.h"

namespace {

// A stage of twenty classifiers with two rectangles each in a window of 20 by 20.
constexpr int32_t classifiers = 20;
constexpr int32_t window = 20;
constexpr int32_t columns = 1920 + window, rows = 1080 + window;

template <class Word>
struct Stage {
  Stage() {
    std::mt19937 random(1);
    for (int32_t i = 0; i < 2 * classifiers; ++i) {
      const auto x = static_cast<int32_t>(random() % 10), y = static_cast<int32_t>(random() % 10);
      rects.push_back(
          {x, y, 1 + static_cast<int32_t>(random() % 10), 1 + static_cast<int32_t>(random() % 10)});
      weights.push_back(i % 2 == 0 ? -1 : 2);
    }
    for (int32_t i = 0; i < classifiers; ++i) {
      thresholds.push_back(static_cast<Word>(random() % 30));
      lows.push_back(-1);
      highs.push_back(1);
    }
  }

  std::vector<NuviRect> rects;
  std::vector<Word> weights, thresholds, lows, highs;
  std::vector<int32_t> counts = std::vector<int32_t>(classifiers, 2);
};

NuviHaarClassifier* make(const Stage<float>& stage) {
  NuviHaarClassifier* state = nullptr;
  nuviHaarClassifierInitAlloc_32f(&state, stage.rects.data(), stage.weights.data(),
                                  stage.thresholds.data(), stage.lows.data(), stage.highs.data(),
                                  stage.counts.data(), classifiers);
  return state;
}
NuviHaarClassifier* make(const Stage<int32_t>& stage) {
  NuviHaarClassifier* state = nullptr;
  nuviHaarClassifierInitAlloc_32s(&state, stage.rects.data(), stage.weights.data(),
                                  stage.thresholds.data(), stage.lows.data(), stage.highs.data(),
                                  stage.counts.data(), classifiers);
  return state;
}

// Every `oneOf`th pixel is selected, in no order; all of them survive, so that calls are alike.
// Reports the time for one vote beside the others.
template <class Cell, class Word, class Call>
auto stage(int32_t oneOf, Call call) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<uint8_t>(int64_t{columns - 1} * (rows - 1));
    std::vector<Cell> plane(static_cast<size_t>(columns) * rows);
    if constexpr (std::is_same_v<Cell, float>) {
      nuviIntegral_8u32f_C1R(src.data(), columns - 1, plane.data(), columns * 4,
                             {columns - 1, rows - 1}, 0);
    } else {
      nuviIntegral_8u32s_C1R(src.data(), columns - 1, plane.data(), columns * 4,
                             {columns - 1, rows - 1}, 0);
    }
    const auto norm = bench::picture<Word>(bench::fullHdPixels);
    std::vector<uint8_t> mask(bench::fullHdPixels);
    std::mt19937 random(2);
    int32_t selected = 0;
    for (auto& element : mask) {
      element = random() % static_cast<unsigned>(oneOf) == 0 ? 255 : 0;
      selected += element != 0;
    }
    NuviHaarClassifier* const classifier = make(Stage<Word>());
    bench::run(state, threads, [&] {
      int32_t positive = selected;
      return call(plane.data(), columns * 4, norm.data(), 1920 * 4, mask.data(), 1920,
                  bench::fullHd, &positive, Word{-1000}, classifier);
    });
    nuviHaarClassifierFree_32f(classifier);
    state.counters["ns a vote"] = 1e3 * state.counters["best us"] / classifiers / selected;
  };
}

template <class Cell, class Word, class Call>
void add(const std::string& name, Call call) {
  for (const int32_t oneOf : {1, 6, 12, 64, 1024}) {
    bench::add((name + "/1 of " + std::to_string(oneOf)).c_str(), stage<Cell, Word>(oneOf, call));
  }
}

const bool registered = [] {
  add<float, float>("haarclassifier/32f", nuviApplyHaarClassifier_32f_C1R);
  add<int32_t, float>("haarclassifier/32s32f", nuviApplyHaarClassifier_32s32f_C1R);
  add<int32_t, int32_t>("haarclassifier/32s", [](auto... arguments) {
    return nuviApplyHaarClassifier_32s_C1RSfs(arguments..., 0);
  });
  // The upright plane serves as the tilted one, which no classifier of the stage reads.
  const auto mixed = [](auto function, auto... scale) {
    return [=](auto src, int32_t step, auto... arguments) {
      return function(src, step, src, step, arguments..., scale...);
    };
  };
  add<float, float>("haarclassifier/mixed 32f", mixed(nuviApplyMixedHaarClassifier_32f_C1R));
  add<int32_t, float>("haarclassifier/mixed 32s32f",
                      mixed(nuviApplyMixedHaarClassifier_32s32f_C1R));
  add<int32_t, int32_t>("haarclassifier/mixed 32s",
                        mixed(nuviApplyMixedHaarClassifier_32s_C1RSfs, 0));
  return true;
}();

}  // namespace

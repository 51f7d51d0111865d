// Learns the cascade that the example "detect" ships with: stages of boosted stumps on rectangle
// features, from the objects of a labelled picture and the background around them and in others.
//
// Beside the picture NAME.png a file NAME.boxes tells its objects, one a line: column and row of
// the centre, and the diameter. Objects whose centres lie in the right two fifths are held out:
// nothing that overlaps them is looked at, and at the end it is told how many of them are found.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <random>
#include <sstream>

#include "support/cascade.h"
#include "support/detector.h"
#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Cascade;
using example::Classifier;
using example::Rectangle;

constexpr NuviSize window = {24, 24};
constexpr double margin = 1.2;  // a window's side, by the diameter of its object
constexpr int featureCount = 700;
constexpr int backgroundCount = 1200;  // for each stage
constexpr int mostStages = 12, mostClassifiers = 25;
constexpr double passRate = 0.4;  // of the background, by each stage
constexpr double growth = 1.1;    // from one size of windows to the next
constexpr int support = 3;        // hits that make a find

struct Scene {
  std::string name;
  example::Planes planes;
  std::vector<NuviRect> learnt, heldOut;  // windows around the objects
};

struct Sample {
  const Scene* scene;
  NuviRect window;
};

// Draws the same numbers with every standard library.
class Random {
 public:
  double unit() { return static_cast<double>(engine_()) / 4294967296.0; }
  int below(int end) { return static_cast<int>(unit() * end); }

 private:
  std::mt19937 engine_;
};

NuviRect squareAround(double x, double y, double side) {
  const auto length = static_cast<int>(std::lround(side));
  return {static_cast<int>(std::lround(x - side / 2)), static_cast<int>(std::lround(y - side / 2)),
          length, length};
}

bool inside(NuviRect rect, NuviSize size) {
  return rect.x >= 0 && rect.y >= 0 && rect.x + rect.width <= size.width &&
         rect.y + rect.height <= size.height;
}

Scene sceneOf(const std::filesystem::path& file) {
  Scene scene = {
      file.stem().string(), example::Planes(example::readPng(file, example::Colour::grey)), {}, {}};
  std::ifstream boxes(std::filesystem::path(file).replace_extension(".boxes"));
  for (std::string line; std::getline(boxes, line);) {
    if (line.empty() || line[0] == '#') continue;
    double x = 0, y = 0, diameter = 0;
    if (!(std::istringstream(line) >> x >> y >> diameter)) {
      throw example::Error(file.stem().string() + ".boxes: not three numbers: " + line);
    }
    auto& objects = x < 0.6 * scene.planes.size.width ? scene.learnt : scene.heldOut;
    objects.push_back(squareAround(x, y, margin * diameter));
  }
  return scene;
}

template <class Plane>
double sumOver(const Plane& plane, int width, NuviRect r) {
  const auto at = [&](int x, int y) {
    return static_cast<double>(plane[static_cast<size_t>(y) * (width + 1) + x]);
  };
  return at(r.x, r.y) - at(r.x + r.width, r.y) - at(r.x, r.y + r.height) +
         at(r.x + r.width, r.y + r.height);
}

double deviationOf(const Sample& sample) {
  const example::Planes& planes = sample.scene->planes;
  const double pixels = static_cast<double>(sample.window.width) * sample.window.height;
  const double mean = sumOver(planes.sums, planes.size.width, sample.window) / pixels;
  const double square = sumOver(planes.squares, planes.size.width, sample.window) / pixels;
  return std::sqrt(std::max(0.0, square - mean * mean));
}

// A feature, as a multiple of the window's deviation.
double valueOf(const std::vector<Rectangle>& feature, const Sample& sample, double deviation) {
  double value = 0;
  for (const Rectangle& rectangle : feature) {
    Rectangle here =
        example::scaled(rectangle, window, static_cast<double>(sample.window.width) / window.width);
    here.rect.x += sample.window.x, here.rect.y += sample.window.y;
    const example::Planes& planes = sample.scene->planes;
    value += here.weight * sumOver(planes.sums, planes.size.width, here.rect);
  }
  return deviation > 0 ? value / deviation : 0;
}

double voteOf(const Classifier& classifier, double value) {
  return value < classifier.threshold ? classifier.below : classifier.otherwise;
}

// Random rectangles, each with a part of it that counts against the rest: a half, a middle third,
// or its core. The weights make up for the areas, so that even brightness gives 0.
std::vector<std::vector<Rectangle>> someFeatures(Random& random) {
  std::vector<std::vector<Rectangle>> features;
  while (features.size() < featureCount) {
    const int width = 2 + random.below(window.width - 1),
              height = 2 + random.below(window.height - 1);
    const NuviRect all = {random.below(window.width - width + 1),
                          random.below(window.height - height + 1), width, height};
    NuviRect part = all;
    const int kind = random.below(5);
    if (kind == 0) part.width /= 2;
    if (kind == 1) part.height /= 2;
    if (kind == 2 || kind == 4) part.width = width / 3, part.x += (width - part.width) / 2;
    if (kind == 3 || kind == 4) part.height = height / 3, part.y += (height - part.height) / 2;
    if (part.width == 0 || part.height == 0) continue;
    const float weight =
        static_cast<float>(width * height) / static_cast<float>(part.width * part.height);
    features.push_back({{all, -1}, {part, weight}});
  }
  return features;
}

// The objects, each also a little shifted and in other sizes.
std::vector<Sample> objectsOf(const std::vector<Scene>& scenes) {
  std::vector<Sample> samples;
  for (const Scene& scene : scenes) {
    for (const NuviRect object : scene.learnt) {
      const double x = object.x + object.width / 2.0, y = object.y + object.height / 2.0;
      for (const double size : {0.93, 1.0, 1.07}) {
        for (const auto& [dx, dy] : {std::pair(0, 0), {-1, 0}, {1, 0}, {0, -1}, {0, 1}}) {
          const double shift = 0.03 * object.width;
          const NuviRect moved = squareAround(x + dx * shift, y + dy * shift, size * object.width);
          if (inside(moved, scene.planes.size)) samples.push_back({&scene, moved});
        }
      }
    }
  }
  return samples;
}

// Windows without an object that the cascade takes for one: any windows for the first stage, later
// some of all that are found. Fewer than asked for where they are rare.
std::vector<Sample> backgroundOf(const std::vector<Scene>& scenes, const Cascade& cascade,
                                 Random& random) {
  std::vector<Sample> samples;
  const auto add = [&](const Scene& scene, NuviRect rect) {
    const auto overlaps = [&](const std::vector<NuviRect>& objects, double most) {
      return std::any_of(objects.begin(), objects.end(),
                         [&](NuviRect object) { return example::overlap(object, rect) > most; });
    };
    if (overlaps(scene.learnt, 0.4) || overlaps(scene.heldOut, 0)) return;
    samples.push_back({&scene, rect});
  };
  if (cascade.stages.empty()) {
    while (samples.size() < backgroundCount) {
      const Scene& scene =
          scenes[static_cast<size_t>(random.below(static_cast<int>(scenes.size())))];
      const NuviSize size = scene.planes.size;
      const double most = std::min(size.width, size.height) / static_cast<double>(window.width);
      const auto side = static_cast<int>(window.width * std::pow(most, random.unit()));
      add(scene,
          {random.below(size.width - side + 1), random.below(size.height - side + 1), side, side});
    }
    return samples;
  }
  for (const Scene& scene : scenes) {
    for (const example::Hit& hit : example::scan(cascade, scene.planes, 0, growth).hits) {
      add(scene, hit.window);
    }
  }
  for (size_t i = 0; i < samples.size(); ++i) {
    std::swap(samples[i],
              samples[i + static_cast<size_t>(random.below(static_cast<int>(samples.size() - i)))]);
  }
  if (samples.size() > backgroundCount) samples.resize(backgroundCount);
  return samples;
}

// The values of one feature for all samples, and the samples in the order of the values.
struct Column {
  std::vector<double> values;
  std::vector<int> order;
};

// A threshold, the votes on its sides, and how well they part the samples: less is better.
struct Stump {
  Classifier classifier;
  double loss;
};

// Splits where the bound on the error is least; the vote of a side is half the logarithm of its
// odds (R. Schapire and Y. Singer, 1999).
void improve(Stump& best, const std::vector<Rectangle>& feature, const Column& column,
             const std::vector<double>& weights, size_t objects, double allObjects,
             double allBackground) {
  double object = 0, background = 0;
  for (size_t i = 0; i + 1 < column.order.size(); ++i) {
    const auto sample = static_cast<size_t>(column.order[i]);
    (sample < objects ? object : background) += weights[sample];
    const double here = column.values[sample];
    const double next = column.values[static_cast<size_t>(column.order[i + 1])];
    if (here == next) continue;
    const double otherObject = allObjects - object, otherBackground = allBackground - background;
    const double loss = std::sqrt(std::max(0.0, object * background)) +
                        std::sqrt(std::max(0.0, otherObject * otherBackground));
    if (loss >= best.loss) continue;
    const auto vote = [](double yes, double no) {
      return static_cast<float>(0.5 *
                                std::log((std::max(yes, 0.0) + 1e-3) / (std::max(no, 0.0) + 1e-3)));
    };
    best = {{static_cast<float>((here + next) / 2), vote(object, background),
             vote(otherObject, otherBackground), feature},
            loss};
  }
}

// Adds classifiers until the background that passes is rare enough; every object passes.
example::Stage learnStage(const std::vector<Sample>& objects, const std::vector<Sample>& background,
                          const std::vector<std::vector<Rectangle>>& features) {
  std::vector<Sample> samples = objects;
  samples.insert(samples.end(), background.begin(), background.end());
  std::vector<Column> columns(features.size());
  std::vector<double> deviations;
  for (const Sample& sample : samples) deviations.push_back(deviationOf(sample));
  for (size_t f = 0; f < features.size(); ++f) {
    Column& column = columns[f];
    for (size_t i = 0; i < samples.size(); ++i) {
      column.values.push_back(valueOf(features[f], samples[i], deviations[i]));
    }
    column.order.resize(samples.size());
    std::iota(column.order.begin(), column.order.end(), 0);
    std::sort(column.order.begin(), column.order.end(), [&](int a, int b) {
      return std::pair(column.values[static_cast<size_t>(a)], a) <
             std::pair(column.values[static_cast<size_t>(b)], b);
    });
  }

  std::vector<double> weights(samples.size()), votes(samples.size());
  for (size_t i = 0; i < samples.size(); ++i) {
    weights[i] = 0.5 / static_cast<double>(i < objects.size() ? objects.size() : background.size());
  }
  example::Stage stage = {0, {}};
  for (double passing = 1; passing > passRate && stage.classifiers.size() < mostClassifiers;) {
    const auto firstBackground = weights.begin() + static_cast<ptrdiff_t>(objects.size());
    const double allObjects = std::accumulate(weights.begin(), firstBackground, 0.0);
    const double allBackground = std::accumulate(firstBackground, weights.end(), 0.0);
    Stump best = {{}, 1e9};
    size_t chosen = 0;
    for (size_t f = 0; f < features.size(); ++f) {
      const double before = best.loss;
      improve(best, features[f], columns[f], weights, objects.size(), allObjects, allBackground);
      if (best.loss < before) chosen = f;
    }
    stage.classifiers.push_back(best.classifier);
    double all = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
      const double vote = voteOf(best.classifier, columns[chosen].values[i]);
      votes[i] += vote;
      weights[i] *= std::exp(i < objects.size() ? -vote : vote);
      all += weights[i];
    }
    for (double& weight : weights) weight /= all;
    const auto end = votes.begin() + static_cast<ptrdiff_t>(objects.size());
    // A little less than the least: the detector sums up in single precision.
    stage.threshold = static_cast<float>(*std::min_element(votes.begin(), end) - 1e-3);
    passing = static_cast<double>(
                  std::count_if(end, votes.end(), [&](double v) { return v >= stage.threshold; })) /
              static_cast<double>(background.size());
  }
  return stage;
}

int found(const std::vector<NuviRect>& objects, const std::vector<example::Hit>& hits) {
  return static_cast<int>(std::count_if(objects.begin(), objects.end(), [&](NuviRect object) {
    return std::any_of(hits.begin(), hits.end(), [&](const example::Hit& hit) {
      return example::overlap(object, hit.window) > 0.5;
    });
  }));
}

void learn(const example::Arguments& arguments) {
  std::vector<Scene> scenes;
  for (const auto& file : arguments.pictures) scenes.push_back(sceneOf(file));
  const auto labelled = std::find_if(scenes.begin(), scenes.end(),
                                     [](const Scene& scene) { return !scene.learnt.empty(); });
  if (labelled == scenes.end()) throw example::Error("no picture has a .boxes file with objects");
  const std::vector<Sample> objects = objectsOf(scenes);

  Random random;
  Cascade cascade = {window, {}};
  std::cout << std::fixed << std::setprecision(2) << "  objects      " << labelled->learnt.size()
            << ", as " << objects.size() << " windows; " << labelled->heldOut.size()
            << " held out\n";
  while (cascade.stages.size() < mostStages) {
    const std::vector<Sample> background = backgroundOf(scenes, cascade, random);
    if (background.size() < 50) break;
    cascade.stages.push_back(learnStage(objects, background, someFeatures(random)));
    std::cout << "  stage        " << cascade.stages.size() << ": "
              << cascade.stages.back().classifiers.size() << " classifiers against "
              << background.size() << " windows of background" << std::endl;
  }

  const auto file = arguments.output / (labelled->name + ".cascade");
  example::writeCascade(
      file, cascade,
      "Learnt by examples/learn.cpp from the objects in the left three fifths of " +
          labelled->name +
          ".png and from\nwindows of background; the objects on the right were held "
          "out. The format stands in\nexamples/support/cascade.h.");
  cascade = example::readCascade(file);
  for (const Scene& scene : scenes) {
    const auto hits =
        example::merged(example::scan(cascade, scene.planes, 0, growth).hits, support);
    const int seen = found(scene.learnt, hits), unseen = found(scene.heldOut, hits);
    std::cout << "  " << std::left << std::setw(12) << scene.name << ' ' << seen << " of "
              << scene.learnt.size() << " objects found, " << unseen << " of "
              << scene.heldOut.size() << " held out, "
              << static_cast<int>(hits.size()) - seen - unseen << " other finds\n";
  }
  std::cout << "  written      " << file.string() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv,
                      "Learns a cascade from a labelled picture and others without objects.",
                      {"coins.png", "camera.png", "astronaut.png"}, learn);
}

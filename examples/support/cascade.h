// A cascade of classifier stages as text.
//
// A line holds a keyword and numbers; what follows a # is a comment, and empty lines are skipped:
//
//   window WIDTH HEIGHT                    the size in which rectangles are told; stands first
//   stage THRESHOLD                        begins a stage: a window passes it if the votes of its
//                                          classifiers sum up to THRESHOLD or more
//   classifier THRESHOLD BELOW OTHERWISE   begins a classifier of the stage, which votes BELOW if
//                                          its feature is less than THRESHOLD times the deviation
//                                          of the window's pixels, else OTHERWISE
//   rectangle X Y WIDTH HEIGHT WEIGHT      adds a rectangle to the classifier's feature, which is
//                                          the sum of WEIGHT times pixel over its rectangles,
//                                          divided by the number of pixels of the window
//
// In a window of another size the rectangles' edges are scaled and rounded, and a weight makes up
// for what its rectangle gained or lost by that.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "nuvcv.h"

namespace example {

struct Rectangle {
  NuviRect rect;
  float weight;
};

struct Classifier {
  float threshold, below, otherwise;
  std::vector<Rectangle> rectangles;
};

struct Stage {
  float threshold;
  std::vector<Classifier> classifiers;
};

struct Cascade {
  NuviSize window;
  std::vector<Stage> stages;
};

// Throws an Error "FILE:LINE: what is wrong".
Cascade readCascade(const std::filesystem::path& file);

// Every line of `comment` stands in the file as one.
void writeCascade(const std::filesystem::path& file, const Cascade& cascade,
                  const std::string& comment);

}  // namespace example

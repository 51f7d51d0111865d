#include "support/cascade.h"

#include <fstream>
#include <sstream>

#include "support/program.h"

namespace example {
namespace {

// The numbers of one line, and where it stands.
class Line {
 public:
  Line(const std::filesystem::path& file, int number, const std::string& text)
      : place_(file.string() + ":" + std::to_string(number)), words_(text) {
    words_ >> keyword_;
  }

  const std::string& keyword() const { return keyword_; }

  template <class Number>
  Number next(const std::string& name) {
    std::string word;
    if (!(words_ >> word)) refuse(keyword_ + " needs " + name);
    std::istringstream digits(word);
    Number number;
    if (!(digits >> number) || !digits.eof()) {
      refuse(name + " of " + keyword_ + " is no " +
             (std::is_same_v<Number, int> ? "integer: " : "number: ") + word);
    }
    return number;
  }

  void end() {
    std::string word;
    if (words_ >> word) refuse("unexpected " + word + " behind " + keyword_);
  }

  void require(bool holds, const std::string& otherwise) const {
    if (!holds) refuse(otherwise);
  }

  [[noreturn]] void refuse(const std::string& what) const { throw Error(place_ + ": " + what); }

 private:
  std::string place_, keyword_;
  std::istringstream words_;
};

// Fills a cascade from one line after another.
class Reader {
 public:
  void read(Line& line) {
    const std::string& keyword = line.keyword();
    if (keyword == "window") {
      window(line);
    } else if (keyword == "stage") {
      line.require(window_, "stage before window");
      requireComplete(line);
      cascade_.stages.push_back({line.next<float>("THRESHOLD"), {}});
    } else if (keyword == "classifier") {
      line.require(!cascade_.stages.empty(), "classifier before any stage");
      if (!stage().classifiers.empty()) requireRectangles(line);
      const auto threshold = line.next<float>("THRESHOLD");
      const auto below = line.next<float>("BELOW");
      stage().classifiers.push_back({threshold, below, line.next<float>("OTHERWISE"), {}});
    } else if (keyword == "rectangle") {
      line.require(!cascade_.stages.empty() && !stage().classifiers.empty(),
                   "rectangle before any classifier of its stage");
      rectangle(line);
    } else {
      line.refuse("unknown keyword " + keyword);
    }
    line.end();
  }

  // What is still missing at the end of the file is told of its last line.
  Cascade finish(const Line& last) {
    last.require(window_, "no window");
    last.require(!cascade_.stages.empty(), "no stage");
    requireComplete(last);
    return cascade_;
  }

 private:
  Stage& stage() { return cascade_.stages.back(); }

  void window(Line& line) {
    line.require(!window_, "a second window");
    cascade_.window.width = line.next<int>("WIDTH");
    cascade_.window.height = line.next<int>("HEIGHT");
    const auto fits = [](int length) { return length >= 1 && length <= 1000; };
    line.require(fits(cascade_.window.width) && fits(cascade_.window.height),
                 "a window is 1 to 1000 pixels wide and high");
    window_ = true;
  }

  void rectangle(Line& line) {
    NuviRect rect;
    rect.x = line.next<int>("X");
    rect.y = line.next<int>("Y");
    rect.width = line.next<int>("WIDTH");
    rect.height = line.next<int>("HEIGHT");
    const NuviSize size = cascade_.window;
    line.require(rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1 &&
                     rect.x < size.width && rect.width <= size.width - rect.x &&
                     rect.y < size.height && rect.height <= size.height - rect.y,
                 "the rectangle is empty or leaves the window");
    stage().classifiers.back().rectangles.push_back({rect, line.next<float>("WEIGHT")});
  }

  void requireRectangles(const Line& line) {
    line.require(!stage().classifiers.back().rectangles.empty(),
                 "the classifier before this line has no rectangle");
  }
  void requireComplete(const Line& line) {
    if (cascade_.stages.empty()) return;
    line.require(!stage().classifiers.empty(), "the stage before this line has no classifier");
    requireRectangles(line);
  }

  Cascade cascade_ = {};
  bool window_ = false;
};

}  // namespace

Cascade readCascade(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) throw Error(file.string() + ": cannot be read");
  Reader reader;
  int number = 0;
  for (std::string text; std::getline(in, text);) {
    Line line(file, ++number, text.substr(0, text.find('#')));
    if (!line.keyword().empty()) reader.read(line);
  }
  return reader.finish(Line(file, std::max(number, 1), ""));
}

void writeCascade(const std::filesystem::path& file, const Cascade& cascade,
                  const std::string& comment) {
  std::ofstream out(file);
  std::istringstream lines(comment);
  for (std::string line; std::getline(lines, line);) out << "# " << line << '\n';
  out << "\nwindow " << cascade.window.width << ' ' << cascade.window.height << '\n';
  for (const Stage& stage : cascade.stages) {
    out << "\nstage " << stage.threshold << '\n';
    for (const Classifier& classifier : stage.classifiers) {
      out << "  classifier " << classifier.threshold << ' ' << classifier.below << ' '
          << classifier.otherwise << '\n';
      for (const Rectangle& r : classifier.rectangles) {
        out << "    rectangle " << r.rect.x << ' ' << r.rect.y << ' ' << r.rect.width << ' '
            << r.rect.height << ' ' << r.weight << '\n';
      }
    }
  }
  if (!out.flush()) throw Error(file.string() + ": cannot be written");
}

}  // namespace example

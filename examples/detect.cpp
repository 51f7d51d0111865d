// Finds objects in a picture with a cascade of classifiers that is read from a text file.
// Windows of growing sizes slide over the integral planes; stage after stage clears the mask of
// those that remain, and neighbouring hits become one box.

#include <iomanip>
#include <iostream>

#include "support/cascade.h"
#include "support/detector.h"
#include "support/picture.h"
#include "support/program.h"

namespace {

using example::Picture;

// A frame of two pixels in green.
void draw(Picture& picture, NuviRect box) {
  for (int y = box.y; y < box.y + box.height; ++y) {
    for (int x = box.x; x < box.x + box.width; ++x) {
      const bool edge = x < box.x + 2 || x >= box.x + box.width - 2 || y < box.y + 2 ||
                        y >= box.y + box.height - 2;
      if (!edge) continue;
      uint8_t* const pixel = &picture.pixels[3 * (static_cast<size_t>(y) * picture.width + x)];
      pixel[0] = 40, pixel[1] = 230, pixel[2] = 60;
    }
  }
}

void detect(const std::filesystem::path& file, const example::Cascade& cascade,
            const std::filesystem::path& output) {
  Picture picture = example::readPng(file, example::Colour::rgb);
  const Picture grey = example::readPng(file, example::Colour::grey);
  example::Scan scan;
  const double time =
      example::milliseconds([&] { scan = example::scan(cascade, example::Planes(grey), 0, 1.1); });
  const std::vector<example::Hit> boxes = example::merged(scan.hits, 3);

  const std::string written = (output / file.stem()).string() + "-detect.png";
  for (const example::Hit& box : boxes) draw(picture, box.window);
  example::writePng(written, picture);
  std::cout << std::fixed << std::setprecision(2) << file.string() << '\n'
            << "  size         " << picture.width << " x " << picture.height << " pixels\n"
            << "  windows      " << scan.survivors[0] << ", after the stages";
  for (size_t i = 1; i < scan.survivors.size(); ++i) std::cout << ' ' << scan.survivors[i];
  std::cout << "\n  time         " << time << " ms\n"
            << "  found        " << boxes.size() << '\n';
  for (const example::Hit& box : boxes) {
    std::cout << "               at " << box.window.x << ", " << box.window.y << ", "
              << box.window.width << " x " << box.window.height << " pixels, by " << box.support
              << " windows\n";
  }
  std::cout << "  written      " << written << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  return example::run(argc, argv,
                      "Finds objects. A file that ends in .cascade, instead of coins.cascade, "
                      "tells their looks; its "
                      "format\nstands in examples/support/cascade.h.",
                      {"coins.png"}, [](const example::Arguments& arguments) {
                        std::vector<std::filesystem::path> pictures;
                        std::filesystem::path cascade = example::shipped("coins.cascade");
                        for (const auto& file : arguments.pictures) {
                          if (file.extension() == ".cascade") {
                            cascade = file;
                          } else {
                            pictures.push_back(file);
                          }
                        }
                        if (pictures.empty()) pictures.push_back(example::shipped("coins.png"));
                        const example::Cascade read = example::readCascade(cascade);
                        for (const auto& file : pictures) detect(file, read, arguments.output);
                      });
}

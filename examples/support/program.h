// What every example does around its work: arguments, folders, statuses, times and errors.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "nuvcv.h"

namespace example {

// What ends an example: its text is the one line that the user sees.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Arguments {
  std::vector<std::filesystem::path> pictures;  // as given, or the example's photographs
  std::filesystem::path output;                 // an existing folder
};

// The body of every main(). Reads the command line
//
//   PROGRAM [-o FOLDER] [PICTURE.png...]
//
// puts the `photographs`, by their names in examples/images, where no picture is given, and calls
// work(arguments). Returns the exit status: 0, or, behind one line on standard error, 1.
int run(int argc, char** argv, const std::string& purpose,
        const std::vector<std::string>& photographs,
        const std::function<void(const Arguments&)>& work);

// Throws an Error if a call of the library failed.
void check(NuvStatus status, const std::string& call);

// How long call() takes.
template <class Call>
double milliseconds(Call&& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

}  // namespace example

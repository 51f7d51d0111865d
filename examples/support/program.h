// What every example does around its work: arguments, folders, statuses, times and errors.
#pragma once

#include <algorithm>
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

// Where a file that ships beside the photographs is.
std::filesystem::path shipped(const std::string& name);

// Throws an Error if a call of the library failed.
void check(NuvStatus status, const std::string& call);

// A size function's answer as a buffer.
template <class SizeFunction>
std::vector<uint8_t> bufferOf(SizeFunction size) {
  int32_t bytes = 0;
  check(size(&bytes), "a size function");
  return std::vector<uint8_t>(static_cast<size_t>(bytes));
}

// How long call() takes: the best of several runs, since the first one also starts threads and maps
// memory. A call that changes what it works on is timed with one run.
template <class Call>
double milliseconds(Call&& call, int runs = 5) {
  using Clock = std::chrono::steady_clock;
  std::chrono::duration<double, std::milli> best(Clock::duration::max());
  for (int run = 0; run < runs; ++run) {
    const auto start = Clock::now();
    call();
    best = std::min<decltype(best)>(best, Clock::now() - start);
  }
  return best.count();
}

}  // namespace example

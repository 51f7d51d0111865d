// A C++17 user of the installed libraries.
#include <nuvcore.h>
#include <nuvcv.h>

#include <cstdio>
#include <vector>

int main() {
  constexpr NuviSize size = {640, 480};  // enough for a team of threads
  std::vector<uint8_t> a(640 * 480, 17), b(640 * 480, 20), difference(640 * 480);
  if (nuvSetNumThreads(3) != nuvStatusOk) return 1;
  if (nuviAbsDiff_8u_C1R(a.data(), 640, b.data(), 640, difference.data(), 640, size) !=
      nuvStatusOk) {
    return 2;
  }
  for (const uint8_t value : difference) {
    if (value != 3) return 3;
  }
  int32_t threads = 0;
  if (nuvGetNumThreads(&threads) != nuvStatusOk || threads != 3) return 4;
  std::printf("%s\n", nuvcvGetLibVersion()->versionText);
}

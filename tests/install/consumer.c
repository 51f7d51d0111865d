/* A C11 user of the installed libraries: nothing but the C compiler and the two headers. */
#include <nuvcore.h>
#include <nuvcv.h>
#include <stdio.h>

int main(void) {
  const uint8_t a[6] = {0, 10, 200, 7, 7, 7};
  const uint8_t b[6] = {5, 3, 255, 7, 0, 9};
  uint8_t difference[6];
  int32_t threads = 0;
  if (nuviAbsDiff_8u_C1R(a, 3, b, 3, difference, 3, (NuviSize){3, 2}) != nuvStatusOk) return 1;
  if (difference[0] != 5 || difference[1] != 7 || difference[2] != 55) return 2;
  if (difference[3] != 0 || difference[4] != 7 || difference[5] != 2) return 3;
  if (nuvSetNumThreads(3) != nuvStatusOk || nuvGetNumThreads(&threads) != nuvStatusOk) return 4;
  if (threads != 3) return 5;
  printf("%s\n", nuvcvGetLibVersion()->versionText);
  return 0;
}

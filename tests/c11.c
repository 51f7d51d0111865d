/* The public headers are C11; that this file compiles is the test. */
#include "nuvcore.h"
#include "nuvcv.h"

/* A record by value and an opaque state behind a pointer, as a C program writes them. */
NuviSize halved(NuviSize size, const NuviMorphologyState* state);
NuviSize halved(NuviSize size, const NuviMorphologyState* state) {
  return state == 0 ? size : (NuviSize){size.width / 2, size.height / 2};
}

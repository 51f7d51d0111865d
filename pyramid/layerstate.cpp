// Kernels of pyramid layers: symmetric by construction, and of sum one where their sum allows it.

#include "pyramid/layerstate.h"

#include <cmath>
#include <limits>

#include "core/check.h"
#include "core/memory.h"
#include "core/scratch.h"
#include "pyramid/rates.h"

namespace nuv {
namespace {

constexpr float smallest = std::numeric_limits<float>::min();

bool differ(int16_t a, int16_t b) { return a != b; }
bool differ(float a, float b) { return std::fabs(a - b) > smallest; }

// The entry with 14 fraction bits, truncated, then without the last of them.
int32_t quotient(int32_t entry, int64_t sum) {
  return sum == 0 ? entry : static_cast<int32_t>((int64_t{entry} * (1 << 14)) / sum) >> 1;
}
float quotient(float entry, float sum) { return std::fabs(sum) > smallest ? entry / sum : entry; }

template <class Sum, class Given, class Entry>
NuvStatus normalise(const Given* given, int32_t kernelSize, Entry* entries) {
  const int32_t centre = kernelSize / 2;
  bool symmetric = true;
  Sum sum = given[centre];
  for (int32_t i = 1; i <= centre; ++i) {
    const Given left = given[centre - i];
    sum += 2 * static_cast<Sum>(left);
    if (differ(given[centre + i], left)) symmetric = false;
  }
  for (int32_t i = 0; i <= centre; ++i) {
    entries[centre - i] = entries[centre + i] = quotient(Entry{given[centre - i]}, sum);
  }
  return symmetric ? nuvStatusOk : nuvStatusKernelAsymmetric;
}

}  // namespace

NuvStatus checkLayerState(const void* ppState, NuviSize size, float rate, const void* kernel,
                          int32_t kernelSize, int32_t mode) {
  return Check()
      .pointers(static_cast<const uint8_t*>(ppState), static_cast<const uint8_t*>(kernel))
      .size(size)
      .require(mode == linearMode, nuvStatusBadArgument)
      .require(isLayerRate(rate) && kernelSize >= 3 && kernelSize % 2 == 1, nuvStatusBadArgument)
      .status();
}

NuvStatus normaliseKernel(const int16_t* given, int32_t kernelSize, int32_t* entries) {
  return normalise<int64_t>(given, kernelSize, entries);
}
NuvStatus normaliseKernel(const float* given, int32_t kernelSize, float* entries) {
  return normalise<float>(given, kernelSize, entries);
}

NuviPyramidLayerState* allocateLayerState(int32_t kernelSize, int32_t sizeCount,
                                          int64_t workBytes) {
  constexpr size_t workAlignment = 64;
  const int64_t bytes = static_cast<int64_t>(sizeof(NuviPyramidLayerState)) +
                        int64_t{sizeof(int32_t)} * kernelSize +
                        static_cast<int64_t>(sizeof(NuviSize)) * sizeCount +
                        static_cast<int64_t>(workAlignment) + workBytes;
  uint8_t* const block = allocate<uint8_t>(bytes);
  if (block == nullptr) return nullptr;

  Scratch memory(block, bytes);
  auto* const state = memory.take<NuviPyramidLayerState>(1);
  *state = {};
  state->kernelSize = kernelSize;
  state->sizeCount = sizeCount;
  state->kernel = memory.take<int32_t>(kernelSize);
  state->sizes = memory.take<NuviSize>(sizeCount);
  state->work = memory.take<uint8_t>(workBytes, workAlignment);
  return state;
}

}  // namespace nuv

// The state of a step between two layers of a pyramid, and what the steps down and up share in
// making one.
#pragma once

#include <type_traits>

#include "nuvcv/types.h"

namespace nuv {

// A caller gives integers for the integer images. The state holds them with 13 fraction bits.
template <class T>
using GivenEntry = std::conditional_t<std::is_same_v<T, float>, float, int16_t>;
template <class T>
using KernelEntry = std::conditional_t<std::is_same_v<T, float>, float, int32_t>;

// The only mode there is: linear interpolation between the positions of a layer.
constexpr int32_t linearMode = 2;

// The checks of an InitAlloc function.
NuvStatus checkLayerState(const void* ppState, NuviSize size, float rate, const void* kernel,
                          int32_t kernelSize, int32_t mode);

// Writes the kernel mirrored about its centre and divided by its sum, and tells whether the given
// one was symmetric: the status of the InitAlloc function.
NuvStatus normaliseKernel(const int16_t* given, int32_t kernelSize, int32_t* entries);
NuvStatus normaliseKernel(const float* given, int32_t kernelSize, float* entries);

// A state with its tables in one block: a kernel of 32-bit entries, sizes, and work memory aligned
// for vectors. Null if there is no memory.
NuviPyramidLayerState* allocateLayerState(int32_t kernelSize, int32_t sizeCount, int64_t workBytes);

}  // namespace nuv

// One block: the tables stand behind the fields.
struct NuviPyramidLayerState {
  void* kernel;        // kernelSize entries, KernelEntry of the image type
  uint8_t* work;       // what all threads share, then threadBytes for each thread
  NuviSize* sizes;     // down: every size that srcSize comes to, itself first
  int32_t sizeCount;   // of `sizes`
  int32_t kernelSize;  // odd
  NuviSize size;       // down: the largest source; up: the largest result
  int32_t mode;
  float rate;
  int32_t arithmetic;   // down: which row kernels the kernel's entries allow
  int32_t threads;      // down: the largest team
  int64_t threadBytes;  // down: the rows of one thread
};

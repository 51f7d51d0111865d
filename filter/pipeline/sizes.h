// How the scratch of a row or column stage is cut over the threads of a call. The reported sizes
// are the share of one thread times their configured number.
#pragma once

#include <cstdint>

#include "core/numeric.h"
#include "nuvcv/types.h"

namespace nuv {

// A thread's own bytes: for its line of border pixels and its coefficients in a row stage, for its
// converted rows in a column stage.
constexpr int64_t rowOwnBytes16sC1(int64_t kernelSize) { return 48 * kernelSize + 80; }
constexpr int64_t rowOwnBytes16sC3(int64_t kernelSize) { return 40 * kernelSize + 64; }
constexpr int64_t rowOwnBytes8u16sC1(int64_t kernelSize) { return 36 * kernelSize + 112; }
constexpr int64_t rowOwnBytes8u16sC3(int64_t kernelSize) { return 60 * kernelSize + 112; }
constexpr int64_t rowOwnBytes32fC1(int64_t kernelSize) { return 64 * kernelSize + 80; }
constexpr int64_t rowOwnBytes32fC3(int64_t kernelSize) { return 192 * kernelSize + 32; }
constexpr int64_t rowOwnBytesLow16sC1(int64_t kernelSize) { return 24 * kernelSize + 64; }
constexpr int64_t rowOwnBytesLow16sC3(int64_t kernelSize) { return 208 * kernelSize + 64; }

constexpr int64_t columnOwnBytes16sC1(int64_t width) {
  return alignUp<int64_t>(width, 4) * 12 + 32;
}
constexpr int64_t columnOwnBytes16sC3(int64_t width) {
  return alignUp<int64_t>(width, 4) * 36 + 32;
}
constexpr int64_t columnOwnBytesLow16sC1(int64_t width) {
  return alignUp<int64_t>(width, 8) * 12 + 32;
}
constexpr int64_t columnOwnBytesLow16sC3(int64_t width) {
  return alignUp<int64_t>(width, 8) * 36 + 32;
}

// What every stage adds to that: a share of the rows that the call names.
constexpr int64_t threadShareBytes(int64_t ownBytes, NuviSize roiSize, int32_t kernelSize) {
  return 32 + (int64_t{kernelSize} + roiSize.height) * 4 + ownBytes;
}

// The column stages of floats have no converted rows.
constexpr int32_t columnBytes32f = 32;

}  // namespace nuv

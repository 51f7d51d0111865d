// What the row and the column stage have in common: the fork with a share of the scratch for each
// thread, and the factors that stand for a divisor.
#pragma once

#include <cstdint>

#include "core/parallel.h"
#include "core/scratch.h"

namespace nuv {

// The part of both stages' gates that reads the region.
inline bool isLargeForStage(NuviSize roiSize) {
  return gateArea(roiSize) >= int64_t{ownThreadCount()} * 0x8000;
}

// body(scratch, firstRow, rows) on the whole region if `serial`, else on the rows of a full team.
template <class Body>
void forEachStageShare(bool serial, int32_t height, uint8_t* pBuffer, int64_t shareBytes,
                       Body&& body) {
  const auto run = [&](int32_t thread, int32_t firstRow, int32_t rows) {
    body(Scratch(pBuffer + thread * shareBytes, shareBytes), firstRow, rows);
  };
  if (serial) {
    run(0, 0, height);
  } else {
    forkRows(ownGetNumThreads(), height, run);
  }
}

inline float inverseOf(int32_t divisor) { return 1.0f / static_cast<float>(divisor); }

// The factor of the 16-bit forms, for a shift by 14. The quotient always fits.
inline int16_t fixedPointFactor(int32_t divisor) {
  return static_cast<int16_t>(16384.0f / static_cast<float>(divisor));
}

}  // namespace nuv

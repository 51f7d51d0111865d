// When a reduction of an image is worth a team of threads. The members of these families were tuned
// one by one, so each export names its gate.
#pragma once

#include "core/parallel.h"

namespace nuv {

struct Gate {
  int32_t areaPerThread;  // 0: always serial
  bool needsCores;        // serial on a machine with one core
};

constexpr Gate alwaysSerial = {0, false};
constexpr Gate byArea = {0x20000, false};
constexpr Gate byAreaAndCores = {0x20000, true};

inline bool staysSerial(Gate gate, NuviSize size) {
  if (gate.areaPerThread == 0) return true;
  if (gateArea(size) < wrappingMultiply(ownThreadCount(), gate.areaPerThread)) return true;
  return gate.needsCores && ownCoresIfMany() == 0;
}

}  // namespace nuv

// The gate and the fork. A call is cut over threads here and nowhere else: no other file of the
// library writes an OpenMP directive.
//
// There is one shape of parallel region: a plain fork and join. The team's real size is read inside
// the region, since it may be less than was asked for. The body runs the same kernel that the
// serial path runs on the whole region, and writes its own rows and its own slot only.
#pragma once

#include <omp.h>

#include "core/memory.h"
#include "core/numeric.h"
#include "nuvcore.h"

namespace nuv {

// The configured thread count, as the gates read it.
inline int32_t ownThreadCount() {
  int32_t count = 1;
  nuvGetNumThreads(&count);
  return count;
}

// The number of cores, with 1 told as 0: true only on a machine with more than one core.
inline int32_t ownCoresIfMany() {
  const int32_t cores = nuvGetNumCoresOnDie();
  return cores == 1 ? 0 : cores;
}

// The area as the gates read it: a product that overflows wraps, and a negative one stays serial.
inline int32_t gateArea(NuviSize size) { return wrappingMultiply(size.width, size.height); }

// The team size of the parallel region that the caller runs in; 1 outside any region.
inline int32_t callerTeamSize() { return omp_get_num_threads(); }

// Runs body(thread, threads) on a team. Returns the team's real size.
template <class Body>
int32_t fork(int32_t team, Body&& body) {
  int32_t threads = 1;
#pragma omp parallel num_threads(team)
  {
#pragma omp master
    threads = omp_get_num_threads();
#pragma omp barrier
    body(omp_get_thread_num(), threads);
  }
  return threads;
}

// Runs body(thread, firstRow, rowCount) on a team: every thread has height / n rows, the last one
// also the rest. A thread without rows does not run the body. Returns the team's real size n.
template <class Body>
int32_t forkRows(int32_t team, int32_t height, Body&& body) {
  return fork(team, [&](int32_t thread, int32_t threads) {
    const int32_t share = height / threads;
    const int32_t rows = thread == threads - 1 ? share + height % threads : share;
    if (rows > 0) body(thread, thread * share, rows);
  });
}

// body(firstRow, rowCount) on the whole region if `serial`, else on the rows of a full team.
template <class Body>
void forEachRowShare(bool serial, int32_t height, Body&& body) {
  if (serial) {
    body(0, height);
    return;
  }
  forkRows(ownGetNumThreads(), height,
           [&](int32_t, int32_t firstRow, int32_t rows) { body(firstRow, rows); });
}

// Band t of n: the rows from trunc(t * (height / n) + 0.5) up to the same of t + 1, in single
// precision.
inline int32_t bandBound(int32_t band, int32_t bands, int32_t height) {
  if (band == bands) return height;
  const float bandRows = static_cast<float>(height) / static_cast<float>(bands);
  return static_cast<int32_t>(fused(static_cast<float>(band), bandRows, 0.5f));
}

// Runs body(thread, firstRow, endRow) on a team that cuts the height into bands.
template <class Body>
void forkBands(int32_t team, int32_t height, Body&& body) {
  fork(team, [&](int32_t thread, int32_t threads) {
    const int32_t first = bandBound(thread, threads, height);
    const int32_t end = bandBound(thread + 1, threads, height);
    if (first < end) body(thread, first, end);
  });
}

// One partial result for each thread of a team, on the stack for up to 32 threads. The slots start
// as T{}. Where there is no memory for more, size() is 32: ask for no larger a team.
template <class T>
class ThreadSlots {
 public:
  explicit ThreadSlots(int32_t team) : heap_(team > stackSlots ? team : 0) {
    if (heap_.get() != nullptr) {
      slots_ = heap_.get();
      size_ = team;
    }
    for (int32_t t = 0; t < size_; ++t) slots_[t] = T{};
  }

  T& operator[](int32_t thread) { return slots_[thread]; }
  int32_t size() const { return size_; }

 private:
  static constexpr int32_t stackSlots = 32;
  T stack_[stackSlots];
  OwnedBlock<T> heap_;
  T* slots_ = stack_;
  int32_t size_ = stackSlots;
};

// body(slot, firstRow, rowCount) on the whole region if `serial`, else on the rows of a full team,
// each share with a slot of its own. Returns how many slots were used; they stand in the order of
// the rows, and one of a thread without rows is T{}.
template <class T, class Body>
int32_t reduceRowShares(bool serial, int32_t height, ThreadSlots<T>& slots, Body&& body) {
  if (serial) {
    body(slots[0], 0, height);
    return 1;
  }
  const int32_t wanted = ownGetNumThreads();
  return forkRows(
      wanted < slots.size() ? wanted : slots.size(), height,
      [&](int32_t thread, int32_t firstRow, int32_t rows) { body(slots[thread], firstRow, rows); });
}

}  // namespace nuv

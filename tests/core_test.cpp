// The frame that every family stands on: core services, the cut of rows and bands, step tests.

#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "core/check.h"
#include "core/parallel.h"
#include "support/threads.h"

namespace {

using namespace nuv;

TEST(Services, ThreadSettingIsOneForBothReadersAndFallsBackToTheRuntime) {
  const int runtimeDefault = omp_get_max_threads();
  omp_set_num_threads(runtimeDefault + 3);
  for (const int32_t setting : {5, 1, -4, 0}) {
    nuvSetNumThreads(setting);
    EXPECT_EQ(setting > 0 ? setting : runtimeDefault + 3, ownThreadCount());
    EXPECT_EQ(ownThreadCount(), ownGetNumThreads());
  }
  omp_set_num_threads(runtimeDefault);
  EXPECT_EQ(runtimeDefault, ownThreadCount());
  EXPECT_EQ(nuvStatusNullPointer, nuvGetNumThreads(nullptr));
}

// A block of elements counts in 64 bits and never asks for a size that wrapped.
TEST(Services, MemoryIsAlignedAndWritableToItsEnd) {
  for (const int32_t bytes : {1, 63, 64, 65, 4097, 1 << 20}) {
    void* const block = nuvMalloc(bytes);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % 64);
    std::memset(block, 1, static_cast<size_t>(bytes));
    nuvFree(block);
  }
  nuvFree(nullptr);
  EXPECT_EQ(nullptr, nuvMalloc(0));
  EXPECT_EQ(nullptr, nuvMalloc(-1));
  EXPECT_EQ(nullptr, ownAlloc64f(0x20000001));  // 8 bytes more than 2^32
  EXPECT_EQ(nullptr, ownAlloc32s(0x40000001));
}

TEST(Services, ProcessorDataIsPlausible) {
  EXPECT_GE(nuvGetNumCoresOnDie(), 1);
  EXPECT_LE(nuvGetNumCoresOnDie(), omp_get_num_procs());
  int32_t cache = 0;
  const bool isKnown = nuvGetMaxCacheSizeB(&cache) == nuvStatusOk;
  EXPECT_TRUE(!isKnown || cache >= 4096);
  EXPECT_EQ(nuvStatusNullPointer, nuvGetMaxCacheSizeB(nullptr));
}

// The last thread takes the rows left; with more threads than rows, all.
TEST(Fork, SharesOfRows) {
  using Shares = std::vector<std::pair<int32_t, int32_t>>;  // first row and rows; no rows: not run
  const auto shares = [](int32_t team, int32_t height) {
    Shares given(static_cast<size_t>(team));
    EXPECT_EQ(team, forkRows(team, height, [&](int32_t thread, int32_t first, int32_t rows) {
                given[static_cast<size_t>(thread)] = {first, rows};
              }));
    return given;
  };
  EXPECT_EQ((Shares{{0, 3}, {3, 3}, {6, 4}}), shares(3, 10));
  EXPECT_EQ((Shares{{0, 0}, {0, 0}, {0, 0}, {0, 2}}), shares(4, 2));
}

TEST(Fork, TeamSmallerThanAskedForStillHasAllRows) {
  int32_t rowsSeen = 0, innerTeam = 0;
  omp_set_max_active_levels(1);  // a region inside a region gets one thread
  forkRows(2, 2, [&](int32_t thread, int32_t, int32_t) {
    if (thread != 0) return;
    innerTeam = forkRows(4, 9, [&](int32_t, int32_t, int32_t rows) { rowsSeen += rows; });
  });
  EXPECT_EQ(1, innerTeam);
  EXPECT_EQ(9, rowsSeen);
}

TEST(Fork, BandsCoverEveryRowOnce) {
  for (const int32_t team : {1, 2, 3, 7, 32}) {
    for (const int32_t height : {1, 2, 3, 10, 31, 100, 1080, 99991}) {
      std::vector<uint8_t> seen(static_cast<size_t>(height));
      forkBands(team, height, [&](int32_t, int32_t first, int32_t end) {
        for (int32_t y = first; y < end; ++y) ++seen[static_cast<size_t>(y)];
      });
      EXPECT_EQ(std::vector<uint8_t>(seen.size(), 1), seen) << team << " bands of " << height;
    }
  }
  EXPECT_EQ(5, bandBound(1, 2, 9));  // 4.5 rows and a half
  EXPECT_EQ(3, bandBound(1, 3, 8));  // 2.67 rows and a half
}

TEST(Fork, SlotsStartClearAndServeAnyTeam) {
  for (const int32_t team : {1, 32, 33, 100}) {
    ThreadSlots<double> slots(team);
    ASSERT_GE(slots.size(), team);
    forkRows(team, team, [&](int32_t thread, int32_t, int32_t) { slots[thread] += thread + 1; });
    double sum = 0;
    for (int32_t t = 0; t < team; ++t) sum += slots[t];
    EXPECT_EQ(team * (team + 1) / 2, sum);
  }
}

TEST(Check, RowBytesWrapBeforeTheyAreCompared) {
  const uint8_t* const u8 = nullptr;
  const float* const f32 = nullptr;
  EXPECT_EQ(nuvStatusBadStep, Check().step(f32, 11, 3).status());
  EXPECT_EQ(nuvStatusOk, Check().step(f32, 12, 3).status());
  EXPECT_EQ(nuvStatusBadStep, Check().step(u8, -1, 1).status());
  EXPECT_EQ(nuvStatusOk, Check().step(f32, 0, 0x40000000).status());       // 2^32 wraps to 0
  EXPECT_EQ(nuvStatusBadStep, Check().step(f32, 3, 0x40000001).status());  // wraps to 4
  EXPECT_EQ(nuvStatusOk, Check().step(u8, -1, 0x2AAAAAAB, 3).status());    // wraps below 0
}

TEST(Check, KeepsTheFirstFailure) {
  const double* const image = nullptr;
  EXPECT_EQ(nuvStatusBadSize, Check().size({1, 0}).pointers(image).channel(4).status());
  EXPECT_EQ(nuvStatusStepNotElementMultiple, Check().elementMultiple(image, 16, 12).status());
  EXPECT_EQ(nuvStatusOk, Check().elementMultiple(image, 16, -8).channel(3).status());
}

}  // namespace

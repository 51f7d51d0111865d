// The core services: thread setting, processor data, aligned memory.

#include "nuvcore.h"

#include <omp.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

namespace {

std::atomic<int32_t> configuredThreads{0};  // 0: the runtime's default

constexpr int maxCpus = 4096;  // the kernel's own upper limit on common builds is 8192 bits

// The first hardware thread of each processor's core, read once: it cannot change while running.
// An entry holds that number plus one; 0 means that it was not read yet.
std::atomic<int32_t> firstSibling[maxCpus];

int32_t readFirstSibling(int cpu) {
  char path[96];
  std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%d/topology/thread_siblings_list",
                cpu);
  std::FILE* file = std::fopen(path, "re");
  int first = cpu;  // unknown topology: every processor counts as a core
  if (file != nullptr) {
    if (std::fscanf(file, "%d", &first) != 1 || first < 0 || first >= maxCpus) first = cpu;
    std::fclose(file);
  }
  return first;
}

int32_t coreOf(int cpu) {
  int32_t known = firstSibling[cpu].load(std::memory_order_relaxed);
  if (known == 0) {
    known = readFirstSibling(cpu) + 1;
    firstSibling[cpu].store(known, std::memory_order_relaxed);
  }
  return known - 1;
}

}  // namespace

NuvStatus nuvSetNumThreads(int32_t numThreads) {
  configuredThreads.store(numThreads > 0 ? numThreads : 0, std::memory_order_relaxed);
  return nuvStatusOk;
}

int32_t ownGetNumThreads(void) {
  const int32_t configured = configuredThreads.load(std::memory_order_relaxed);
  return configured > 0 ? configured : omp_get_max_threads();
}

NuvStatus nuvGetNumThreads(int32_t* pNumThreads) {
  if (pNumThreads == nullptr) return nuvStatusNullPointer;
  *pNumThreads = ownGetNumThreads();
  return nuvStatusOk;
}

int32_t nuvGetNumCoresOnDie(void) {
  cpu_set_t* const allowed = CPU_ALLOC(maxCpus);
  cpu_set_t* const cores = CPU_ALLOC(maxCpus);
  int32_t count = 0;
  if (allowed != nullptr && cores != nullptr) {
    const size_t bytes = CPU_ALLOC_SIZE(maxCpus);
    CPU_ZERO_S(bytes, cores);
    if (sched_getaffinity(0, bytes, allowed) == 0) {
      int unseen = CPU_COUNT_S(bytes, allowed);
      for (int cpu = 0; unseen > 0 && cpu < maxCpus; ++cpu) {
        if (!CPU_ISSET_S(cpu, bytes, allowed)) continue;
        CPU_SET_S(coreOf(cpu), bytes, cores);
        --unseen;
      }
      count = CPU_COUNT_S(bytes, cores);
    }
  }
  CPU_FREE(allowed);
  CPU_FREE(cores);
  return count > 0 ? count : 1;
}

NuvStatus nuvGetMaxCacheSizeB(int32_t* pSizeByte) {
  if (pSizeByte == nullptr) return nuvStatusNullPointer;
  long largest = 0;
  for (const int name : {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE,
                         _SC_LEVEL4_CACHE_SIZE}) {
    const long size = sysconf(name);
    if (size > largest) largest = size;
  }
  if (largest <= 0) return nuvStatusFailure;
  *pSizeByte = largest > INT32_MAX ? INT32_MAX : static_cast<int32_t>(largest);
  return nuvStatusOk;
}

uint64_t nuvGetEnabledCpuFeatures(void) {
  uint64_t features = 0;
#if defined(__x86_64__) || defined(__i386__)
  if (__builtin_cpu_supports("sse2")) features |= nuvCpuFeatureSse2;
  if (__builtin_cpu_supports("sse3")) features |= nuvCpuFeatureSse3;
  if (__builtin_cpu_supports("ssse3")) features |= nuvCpuFeatureSsse3;
  if (__builtin_cpu_supports("sse4.1")) features |= nuvCpuFeatureSse41;
  if (__builtin_cpu_supports("sse4.2")) features |= nuvCpuFeatureSse42;
  if (__builtin_cpu_supports("avx")) features |= nuvCpuFeatureAvx;
  if (__builtin_cpu_supports("avx2")) features |= nuvCpuFeatureAvx2;
  if (__builtin_cpu_supports("fma")) features |= nuvCpuFeatureFma;
#endif
  return features;
}

void* nuvMalloc(int32_t sizeByte) {
  constexpr size_t alignment = 64;
  if (sizeByte < 1) return nullptr;
  const size_t whole = (static_cast<size_t>(sizeByte) + alignment - 1) / alignment * alignment;
  return std::aligned_alloc(alignment, whole);
}

void nuvFree(void* pBlock) { std::free(pBlock); }

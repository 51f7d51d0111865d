/**
 * @file
 * Core services: thread count, processor data and memory. They stand in a library of their own,
 * libnuvcore, so that an application configures threads once for everything built on it.
 */
#ifndef NUVCORE_H
#define NUVCORE_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Processor features reported by nuvGetEnabledCpuFeatures(). */
enum {
  nuvCpuFeatureSse2 = 0x01,
  nuvCpuFeatureSse3 = 0x02,
  nuvCpuFeatureSsse3 = 0x04,
  nuvCpuFeatureSse41 = 0x08,
  nuvCpuFeatureSse42 = 0x10,
  nuvCpuFeatureAvx = 0x20,
  nuvCpuFeatureAvx2 = 0x40,
  nuvCpuFeatureFma = 0x80
};

/**
 * Sets the number of threads that a parallel region asks for, for all calls that begin later in
 * any thread of the process.
 *
 * @param numThreads the count; 0 or less restores the default, omp_get_max_threads(), which
 *        follows the environment variable OMP_NUM_THREADS
 * @return #nuvStatusOk
 */
NUVCV_API NuvStatus nuvSetNumThreads(int32_t numThreads);

/**
 * Writes the configured thread count.
 *
 * @param pNumThreads receives the count, at least 1
 * @return #nuvStatusNullPointer for a null pointer, else #nuvStatusOk
 */
NUVCV_API NuvStatus nuvGetNumThreads(int32_t* pNumThreads);

/** The number of threads that a parallel region asks for: the setting of nuvSetNumThreads(). */
NUVCV_API int32_t ownGetNumThreads(void);

/** The number of physical cores that the calling thread may run on, at least 1. */
NUVCV_API int32_t nuvGetNumCoresOnDie(void);

/**
 * Writes the size in bytes of the largest cache that the processor reports.
 *
 * @param pSizeByte receives the size
 * @return #nuvStatusNullPointer for a null pointer, #nuvStatusFailure (and nothing written) if
 *         the size is not known, else #nuvStatusOk
 */
NUVCV_API NuvStatus nuvGetMaxCacheSizeB(int32_t* pSizeByte);

/** The features of the processor as a set of `nuvCpuFeature...` bits. Nothing depends on it. */
NUVCV_API uint64_t nuvGetEnabledCpuFeatures(void);

/**
 * Allocates memory aligned to 64 bytes.
 *
 * @param sizeByte the number of bytes
 * @return the block, or null if `sizeByte` is less than 1 or there is no memory; to be released
 *         with nuvFree()
 */
NUVCV_API void* nuvMalloc(int32_t sizeByte);

/** Releases a block from nuvMalloc(). A null pointer is allowed. */
NUVCV_API void nuvFree(void* pBlock);

#ifdef __cplusplus
}
#endif

#endif

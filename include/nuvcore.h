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
  nuvCpuFeatureSse2 = 0x01,  /**< SSE2 */
  nuvCpuFeatureSse3 = 0x02,  /**< SSE3 */
  nuvCpuFeatureSsse3 = 0x04, /**< SSSE3 */
  nuvCpuFeatureSse41 = 0x08, /**< SSE4.1 */
  nuvCpuFeatureSse42 = 0x10, /**< SSE4.2 */
  nuvCpuFeatureAvx = 0x20,   /**< AVX */
  nuvCpuFeatureAvx2 = 0x40,  /**< AVX2 */
  nuvCpuFeatureFma = 0x80    /**< fused multiply-add */
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

/**
 * The configured thread count.
 *
 * @return the number of threads that a parallel region asks for, at least 1
 */
NUVCV_API int32_t ownGetNumThreads(void);

/**
 * Counts physical cores.
 *
 * @return the number of cores that the calling thread may run on, at least 1
 */
NUVCV_API int32_t nuvGetNumCoresOnDie(void);

/**
 * Writes the size in bytes of the largest cache that the processor reports.
 *
 * @param pSizeByte receives the size
 * @return #nuvStatusNullPointer for a null pointer, #nuvStatusFailure (and nothing written) if
 *         the size is not known, else #nuvStatusOk
 */
NUVCV_API NuvStatus nuvGetMaxCacheSizeB(int32_t* pSizeByte);

/**
 * Tells the features of the processor. Nothing depends on it.
 *
 * @return a set of `nuvCpuFeature...` bits
 */
NUVCV_API uint64_t nuvGetEnabledCpuFeatures(void);

/**
 * Allocates memory aligned to 64 bytes.
 *
 * @param sizeByte the number of bytes
 * @return the block, or null if `sizeByte` is less than 1 or there is no memory; to be released
 *         with nuvFree()
 */
NUVCV_API void* nuvMalloc(int32_t sizeByte);

/**
 * Releases a block.
 *
 * @param pBlock a block from nuvMalloc(); may be null
 */
NUVCV_API void nuvFree(void* pBlock);

#ifdef __cplusplus
}
#endif

#endif

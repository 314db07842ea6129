/**
 * @file zelcore.h
 * @brief What zelj asks of the process it runs in: memory, the size of the cache, a number of threads.
 *
 * libzelcore defines these four functions. A program that defines one itself puts its own in the library's place.
 */
#ifndef ZELCORE_H
#define ZELCORE_H

#ifdef __cplusplus
extern "C" {
#endif

/** What the library shows to others. */
#if defined(__GNUC__)
#define ZELCORE_API __attribute__((visibility("default")))
#else
#define ZELCORE_API
#endif

/** Memory of `size` bytes, aligned to 64, which zelFree() accepts; null if there is none or `size` is below 1. */
ZELCORE_API void* zelMalloc(int size);
/** Releases memory of zelMalloc(); null is allowed. */
ZELCORE_API void zelFree(void* p);
/** Writes the size in bytes of the largest cache and returns 0; any other result means that it is unknown. */
ZELCORE_API int zelGetMaxCacheSizeB(int* pSizeByte);
/** The number of threads for a parallel region, at least 1: the OpenMP runtime's maximum. */
ZELCORE_API int ownGetNumThreads(void);

#ifdef __cplusplus
}
#endif

#endif

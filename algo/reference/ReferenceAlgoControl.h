// Control interface of the reference enhancement library (libsdsr_algo_reference.so). A host
// program that installs the library into a fake device tree dlopens the same file and uses these
// exported C functions to match the version the plugin compares against the device's version
// file and to choose how many threads a Run may use.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What VoalgoAi_DIPS_GetVersion answers from now on. Without a call, the version comes from the
// environment variable SDSR_REFERENCE_VERSION ("a.b.c.d") when it parses, else 1.0.0.0.
void sdsrReference_setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build);
// Worker threads of a Run; 0 means one per hardware thread. Without a call, the environment
// variable SDSR_REFERENCE_THREADS is used when it is a positive number, else 0.
void sdsrReference_setThreads(int32_t threads);
// Threads the next Run will use (the resolved number, at least 1).
int32_t sdsrReference_threads(void);
// Instances made by a successful Init and not yet released by Unit.
int32_t sdsrReference_liveInstances(void);

#ifdef __cplusplus
}
#endif

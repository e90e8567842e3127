// Control interface of the scriptable algorithm double (libsdsr_algo_scripted.so). A host program
// dlopens the same library file the plugin loads (the dynamic linker hands both the same copy)
// and steers it through these exported C functions: the version GetVersion answers, the results
// of Init, Run and Unit, and a record of every call with the records it received.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "sdsrAlgoApi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum ScriptedAlgoCallKind {
    SCRIPTED_CALL_GET_VERSION = 0,
    SCRIPTED_CALL_INIT = 1,
    SCRIPTED_CALL_RUN = 2,
    SCRIPTED_CALL_UNIT = 3,
} ScriptedAlgoCallKind;

// One recorded call. Strings the records pointed to are copied (cut at 255 bytes).
typedef struct ScriptedAlgoCall {
    ScriptedAlgoCallKind kind;
    int32_t result;                 // what the call returned (0 for GetVersion)
    VoalgoAi_DIPS_Version version;  // GetVersion: the answer
    VoalgoAi_DIPS_InitParams init;  // Init: the record as received (pointers as received)
    VoalgoAi_DIPS_RunParams run;    // Run: the record as received
    int handleWasNull;              // Init: *handle was null on entry
    char pathAssets[256];           // Init: copies of the two path strings
    char pathAssetsCompressed[256];
    char imageName[256];  // Run: copy of the image name
} ScriptedAlgoCall;

// Back to defaults: version 1.0.0.0, all results 0, Run mark on, no calls recorded, no live
// instances.
void sdsrScripted_reset(void);
void sdsrScripted_setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build);
void sdsrScripted_setResults(int32_t initResult, int32_t runResult, int32_t unitResult);
// Whether a successful Run writes the marked copy below (non-zero, the default) or leaves the
// output planes untouched (0), so that a successful request costs only the caller's frame.
void sdsrScripted_setRunTransform(int enabled);
size_t sdsrScripted_callCount(void);
// Copies call `index` into *out; 0 on success, -1 when there is no such call.
int sdsrScripted_getCall(size_t index, ScriptedAlgoCall* out);
// Instances made by a successful Init and not yet released by Unit.
int sdsrScripted_liveInstances(void);

// On a successful Run the double writes the input into the output planes with a visible mark, so
// that the output is recognisably the input and still tells a processed capture from a copy: a
// thin frame along the image's edges (sdsrScripted_frameWidth pixels, at least 2) whose luma is
// white (235), or black (16) where the input is near white (luma 200 and above), so that every
// frame pixel differs from the input; all other luma and all chroma are copied. Width, height and
// stride come from Init; rows honour the stride and the padding is never written.
static inline uint32_t sdsrScripted_frameWidth(uint32_t width, uint32_t height) {
    const uint32_t shorter = width < height ? width : height;
    return shorter / 100 > 2 ? shorter / 100 : 2;
}

// The luma the scripted Run writes at (x, y) of a width x height image for input luma `in`.
static inline uint8_t sdsrScripted_markedLuma(uint8_t in, uint32_t x, uint32_t y, uint32_t width,
                                              uint32_t height) {
    const uint32_t frame = sdsrScripted_frameWidth(width, height);
    const int onFrame = x < frame || y < frame || x + frame >= width || y + frame >= height;
    return onFrame ? (in < 200 ? 235 : 16) : in;
}

#ifdef __cplusplus
}
#endif

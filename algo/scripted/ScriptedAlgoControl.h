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

// Back to defaults: version 1.0.0.0, all results 0, Run transform on, no calls recorded, no live
// instances.
void sdsrScripted_reset(void);
void sdsrScripted_setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build);
void sdsrScripted_setResults(int32_t initResult, int32_t runResult, int32_t unitResult);
// Whether a successful Run writes the transform below (non-zero, the default) or leaves the
// output planes untouched (0), so that a successful request costs only the caller's frame.
void sdsrScripted_setRunTransform(int enabled);
size_t sdsrScripted_callCount(void);
// Copies call `index` into *out; 0 on success, -1 when there is no such call.
int sdsrScripted_getCall(size_t index, ScriptedAlgoCall* out);
// Instances made by a successful Init and not yet released by Unit.
int sdsrScripted_liveInstances(void);

// On a successful Run the double writes a visible transform into the output planes: every luma
// byte inverted (255 - input), chroma copied. Width, height and stride come from Init; rows
// honour the stride.

#ifdef __cplusplus
}
#endif

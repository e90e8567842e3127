// C interface of the SDSR algorithm library (four entry points) and the records exchanged with
// it. Sizes and offsets are the library's binary interface on the 64-bit device.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VoalgoAi_DIPS_Version {
    int32_t major;
    int32_t minor;
    int32_t patch;
    int32_t build;
} VoalgoAi_DIPS_Version;

// Pre-pipeline scene kind derived from the smart AE algorithm type.
typedef enum VoalgoAi_DIPS_SDSR_PrePipe1_Type {
    VOALGOAI_DIPS_PREPIPE1_NORMAL = 0,
    VOALGOAI_DIPS_PREPIPE1_TYPE5 = 1,
    VOALGOAI_DIPS_PREPIPE1_TYPE8 = 2,
    VOALGOAI_DIPS_PREPIPE1_UNKNOWN = 3,
} VoalgoAi_DIPS_SDSR_PrePipe1_Type;

// Pre-pipeline sensor mode kind derived from the smart AE sensor mode.
typedef enum VoalgoAi_DIPS_SDSR_PrePipe2_Type {
    VOALGOAI_DIPS_PREPIPE2_OTHER = 0,
    VOALGOAI_DIPS_PREPIPE2_MODE0 = 1,
    VOALGOAI_DIPS_PREPIPE2_MODE15 = 2,
    VOALGOAI_DIPS_PREPIPE2_UNKNOWN = 3,
} VoalgoAi_DIPS_SDSR_PrePipe2_Type;

typedef struct VoalgoAi_DIPS_InitParams {
    uint32_t rawType;  // 1: YCrCb semi-planar (NV21), 0: NV12
    int32_t height;
    int32_t width;
    int32_t stride;
    float zoomRatio;
    int32_t orientation;
    float lux_index;
    int32_t triggerType;
    VoalgoAi_DIPS_SDSR_PrePipe1_Type preAlgoType;
    VoalgoAi_DIPS_SDSR_PrePipe2_Type sensorModeType;
    const char* path_assets;
    const char* path_assets_compressed;
} VoalgoAi_DIPS_InitParams;

typedef struct VoalgoAi_DIPS_RunParams {
    uint8_t* inputPlane[2];
    int32_t inputFd[2];
    uint8_t* outputPlane[2];
    int32_t outputFd[2];
    const char* imageName;  // without extension, possibly empty, never null
} VoalgoAi_DIPS_RunParams;

typedef VoalgoAi_DIPS_Version (*VoalgoAi_DIPS_GetVersion_Fn)(void);
typedef int32_t (*VoalgoAi_DIPS_Init_Fn)(void** handle, VoalgoAi_DIPS_InitParams* params);
typedef int32_t (*VoalgoAi_DIPS_Run_Fn)(void** handle, VoalgoAi_DIPS_RunParams* params);
typedef int32_t (*VoalgoAi_DIPS_Unit_Fn)(void** handle);

#ifdef __cplusplus
}
#endif

#if defined(__cplusplus) && (defined(__LP64__) || defined(_LP64))
static_assert(sizeof(VoalgoAi_DIPS_Version) == 16, "version record");
static_assert(sizeof(VoalgoAi_DIPS_InitParams) == 56, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, zoomRatio) == 16, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, triggerType) == 28, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, preAlgoType) == 32, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, sensorModeType) == 36, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, path_assets) == 40, "init record");
static_assert(offsetof(VoalgoAi_DIPS_InitParams, path_assets_compressed) == 48, "init record");
static_assert(sizeof(VoalgoAi_DIPS_RunParams) == 56, "run record");
static_assert(offsetof(VoalgoAi_DIPS_RunParams, inputFd) == 16, "run record");
static_assert(offsetof(VoalgoAi_DIPS_RunParams, outputPlane) == 24, "run record");
static_assert(offsetof(VoalgoAi_DIPS_RunParams, outputFd) == 40, "run record");
static_assert(offsetof(VoalgoAi_DIPS_RunParams, imageName) == 48, "run record");
#endif

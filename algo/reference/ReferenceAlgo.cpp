// The four C entry points of the SDSR algorithm library, implemented with the classical detail
// enhancement of DetailEnhance.cpp, plus the control functions of ReferenceAlgoControl.h.
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <thread>

#include "DetailEnhance.h"
#include "ReferenceAlgoControl.h"
#include "sdsrAlgoApi.h"

#define REFERENCE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Status codes of Init and Run.
constexpr int32_t kBadArgument = -1;
constexpr int32_t kBadGeometry = -2;
constexpr int32_t kNoMemory = -3;
constexpr int32_t kNoInstance = -4;
constexpr int32_t kNoPlane = -5;

struct Instance {
    int width;
    int height;
    int stride;
};

std::mutex gLock;
bool gVersionSet = false;
VoalgoAi_DIPS_Version gVersion = {1, 0, 0, 0};
bool gThreadsSet = false;
int32_t gThreads = 0;
std::atomic<int32_t> gLive{0};

// "a.b.c.d" with four integers and nothing else.
bool parseVersion(const char* text, VoalgoAi_DIPS_Version* out) {
    if (text == nullptr)
        return false;
    long parts[4];
    const char* p = text;
    for (int i = 0; i < 4; ++i) {
        char* end = nullptr;
        parts[i] = strtol(p, &end, 10);
        if (end == p)
            return false;
        p = end;
        if (i < 3) {
            if (*p != '.')
                return false;
            ++p;
        }
    }
    if (*p != '\0')
        return false;
    *out = {static_cast<int32_t>(parts[0]), static_cast<int32_t>(parts[1]),
            static_cast<int32_t>(parts[2]), static_cast<int32_t>(parts[3])};
    return true;
}

int32_t resolvedThreads() {
    int32_t wanted = 0;
    {
        std::lock_guard<std::mutex> guard(gLock);
        if (gThreadsSet) {
            wanted = gThreads;
        } else if (const char* env = getenv("SDSR_REFERENCE_THREADS")) {
            wanted = static_cast<int32_t>(atoi(env));
        }
    }
    if (wanted <= 0)
        wanted = static_cast<int32_t>(std::thread::hardware_concurrency());
    return std::max<int32_t>(1, wanted);
}

}  // namespace

REFERENCE_EXPORT VoalgoAi_DIPS_Version VoalgoAi_DIPS_GetVersion(void) {
    std::lock_guard<std::mutex> guard(gLock);
    if (gVersionSet)
        return gVersion;
    VoalgoAi_DIPS_Version fromEnv{};
    if (parseVersion(getenv("SDSR_REFERENCE_VERSION"), &fromEnv))
        return fromEnv;
    return gVersion;
}

REFERENCE_EXPORT int32_t VoalgoAi_DIPS_Init(void** handle, VoalgoAi_DIPS_InitParams* params) {
    if (handle == nullptr || params == nullptr)
        return kBadArgument;
    if (params->width <= 0 || params->height <= 0 || params->stride < params->width) {
        return kBadGeometry;
    }
    Instance* instance = new (std::nothrow) Instance{params->width, params->height, params->stride};
    if (instance == nullptr)
        return kNoMemory;
    *handle = instance;
    gLive.fetch_add(1);
    return 0;
}

REFERENCE_EXPORT int32_t VoalgoAi_DIPS_Run(void** handle, VoalgoAi_DIPS_RunParams* params) {
    if (handle == nullptr || params == nullptr)
        return kBadArgument;
    const Instance* instance = static_cast<const Instance*>(*handle);
    if (instance == nullptr)
        return kNoInstance;
    if (params->inputPlane[0] == nullptr || params->inputPlane[1] == nullptr ||
        params->outputPlane[0] == nullptr || params->outputPlane[1] == nullptr) {
        return kNoPlane;
    }
    const size_t stride = static_cast<size_t>(instance->stride);
    try {
        sdsrref::enhanceLuma(params->inputPlane[0], stride, params->outputPlane[0], stride,
                             instance->width, instance->height, resolvedThreads());
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    } catch (...) {
        return kBadArgument;
    }
    // Chroma passes through: (height + 1) / 2 rows of the width rounded up to even.
    if (params->outputPlane[1] != params->inputPlane[1]) {
        const size_t rowBytes = std::min(stride, (static_cast<size_t>(instance->width) + 1) & ~1u);
        const int rows = (instance->height + 1) / 2;
        for (int y = 0; y < rows; ++y) {
            memcpy(params->outputPlane[1] + y * stride, params->inputPlane[1] + y * stride,
                   rowBytes);
        }
    }
    return 0;
}

REFERENCE_EXPORT int32_t VoalgoAi_DIPS_Unit(void** handle) {
    if (handle == nullptr)
        return kBadArgument;
    Instance* instance = static_cast<Instance*>(*handle);
    if (instance != nullptr) {
        delete instance;
        gLive.fetch_sub(1);
    }
    *handle = nullptr;
    return 0;
}

REFERENCE_EXPORT void sdsrReference_setVersion(int32_t major, int32_t minor, int32_t patch,
                                               int32_t build) {
    std::lock_guard<std::mutex> guard(gLock);
    gVersion = {major, minor, patch, build};
    gVersionSet = true;
}

REFERENCE_EXPORT void sdsrReference_setThreads(int32_t threads) {
    std::lock_guard<std::mutex> guard(gLock);
    gThreads = threads;
    gThreadsSet = true;
}

REFERENCE_EXPORT int32_t sdsrReference_threads(void) {
    return resolvedThreads();
}

REFERENCE_EXPORT int32_t sdsrReference_liveInstances(void) {
    return gLive.load();
}

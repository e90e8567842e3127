// Scriptable double of the SDSR algorithm library. It answers with the version and results the
// host program set, records every call with copies of the records it received, and on a
// successful Run writes the input with a thin frame marked into its luma: recognisably the input
// to a person, and still told from a plain copy by a test.
#include <string.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "ScriptedAlgoControl.h"

#define SCRIPTED_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// What Init remembers for Run; handed out through the handle.
struct Instance {
    int32_t width;
    int32_t height;
    int32_t stride;
};

struct State {
    ~State() {
        for (Instance* instance : live)
            delete instance;
    }
    std::mutex lock;
    VoalgoAi_DIPS_Version version{1, 0, 0, 0};
    int32_t initResult = 0;
    int32_t runResult = 0;
    int32_t unitResult = 0;
    bool runTransform = true;
    std::vector<ScriptedAlgoCall> calls;
    std::vector<Instance*> live;
};

State& state() {
    // Destroyed when the library is unloaded, so repeated load cycles in one process do not
    // pile up states.
    static State s;
    return s;
}

void copyText(char* target, size_t size, const char* text) {
    memset(target, 0, size);
    if (text != nullptr)
        strncpy(target, text, size - 1);
}

ScriptedAlgoCall newCall(ScriptedAlgoCallKind kind) {
    ScriptedAlgoCall call;
    memset(&call, 0, sizeof(call));
    call.kind = kind;
    return call;
}

bool isLive(const State& s, const Instance* instance) {
    for (const Instance* candidate : s.live) {
        if (candidate == instance)
            return true;
    }
    return false;
}

// Luma rows copied with the frame of ScriptedAlgoControl.h marked, chroma rows ((height + 1) / 2
// of them, width rounded up to even) copied; rows are `stride` apart and the padding between
// them is left alone.
void writeTransform(const Instance& instance, const VoalgoAi_DIPS_RunParams& run) {
    if (instance.width <= 0 || instance.height <= 0 || instance.stride < instance.width)
        return;
    const size_t stride = static_cast<size_t>(instance.stride);
    const uint32_t width = static_cast<uint32_t>(instance.width);
    const uint32_t height = static_cast<uint32_t>(instance.height);
    if (run.inputPlane[0] != nullptr && run.outputPlane[0] != nullptr) {
        // Rows are copied whole; only the frame's pixels are then marked, so the cost is a copy.
        const uint32_t frame = sdsrScripted_frameWidth(width, height);
        for (uint32_t y = 0; y < height; ++y) {
            const uint8_t* in = run.inputPlane[0] + y * stride;
            uint8_t* out = run.outputPlane[0] + y * stride;
            memcpy(out, in, width);
            const bool wholeRow = y < frame || y + frame >= height;
            for (uint32_t x = 0; x < width; ++x) {
                if (!wholeRow && x == frame && x + frame < width)
                    x = width - frame;  // skip the copied middle of the row
                out[x] = sdsrScripted_markedLuma(in[x], x, y, width, height);
            }
        }
    }
    if (run.inputPlane[1] != nullptr && run.outputPlane[1] != nullptr) {
        const size_t chromaWidth = std::min(stride, (size_t(width) + 1) & ~size_t(1));
        for (size_t y = 0; y < (height + 1) / 2; ++y) {
            memcpy(run.outputPlane[1] + y * stride, run.inputPlane[1] + y * stride, chromaWidth);
        }
    }
}

}  // namespace

// ---- The library's entry points --------------------------------------------------------------

SCRIPTED_EXPORT VoalgoAi_DIPS_Version VoalgoAi_DIPS_GetVersion(void) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    ScriptedAlgoCall call = newCall(SCRIPTED_CALL_GET_VERSION);
    call.version = s.version;
    s.calls.push_back(call);
    return s.version;
}

SCRIPTED_EXPORT int32_t VoalgoAi_DIPS_Init(void** handle, VoalgoAi_DIPS_InitParams* params) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    ScriptedAlgoCall call = newCall(SCRIPTED_CALL_INIT);
    call.result = s.initResult;
    call.handleWasNull = (handle != nullptr && *handle == nullptr) ? 1 : 0;
    if (params != nullptr) {
        call.init = *params;
        copyText(call.pathAssets, sizeof(call.pathAssets), params->path_assets);
        copyText(call.pathAssetsCompressed, sizeof(call.pathAssetsCompressed),
                 params->path_assets_compressed);
    }
    s.calls.push_back(call);
    if (s.initResult != 0 || handle == nullptr || params == nullptr)
        return s.initResult;
    // Owned until the list holds it, so a failing push_back does not lose it.
    std::unique_ptr<Instance> instance(new Instance{params->width, params->height, params->stride});
    s.live.push_back(instance.get());
    *handle = instance.release();
    return 0;
}

SCRIPTED_EXPORT int32_t VoalgoAi_DIPS_Run(void** handle, VoalgoAi_DIPS_RunParams* params) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    ScriptedAlgoCall call = newCall(SCRIPTED_CALL_RUN);
    call.result = s.runResult;
    if (params != nullptr) {
        call.run = *params;
        copyText(call.imageName, sizeof(call.imageName), params->imageName);
    }
    s.calls.push_back(call);
    if (s.runResult != 0 || handle == nullptr || params == nullptr)
        return s.runResult;
    const Instance* instance = static_cast<const Instance*>(*handle);
    if (!isLive(s, instance))
        return s.runResult;
    if (s.runTransform)
        writeTransform(*instance, *params);
    return 0;
}

SCRIPTED_EXPORT int32_t VoalgoAi_DIPS_Unit(void** handle) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    ScriptedAlgoCall call = newCall(SCRIPTED_CALL_UNIT);
    call.result = s.unitResult;
    s.calls.push_back(call);
    if (handle != nullptr && *handle != nullptr) {
        Instance* instance = static_cast<Instance*>(*handle);
        for (auto it = s.live.begin(); it != s.live.end(); ++it) {
            if (*it == instance) {
                delete instance;
                s.live.erase(it);
                *handle = nullptr;
                break;
            }
        }
    }
    return s.unitResult;
}

// ---- Control -----------------------------------------------------------------------------------

SCRIPTED_EXPORT void sdsrScripted_reset(void) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.version = VoalgoAi_DIPS_Version{1, 0, 0, 0};
    s.initResult = s.runResult = s.unitResult = 0;
    s.runTransform = true;
    s.calls.clear();
    for (Instance* instance : s.live)
        delete instance;
    s.live.clear();
}

SCRIPTED_EXPORT void sdsrScripted_setVersion(int32_t major, int32_t minor, int32_t patch,
                                             int32_t build) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.version = VoalgoAi_DIPS_Version{major, minor, patch, build};
}

SCRIPTED_EXPORT void sdsrScripted_setResults(int32_t initResult, int32_t runResult,
                                             int32_t unitResult) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.initResult = initResult;
    s.runResult = runResult;
    s.unitResult = unitResult;
}

SCRIPTED_EXPORT void sdsrScripted_setRunTransform(int enabled) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.runTransform = enabled != 0;
}

SCRIPTED_EXPORT size_t sdsrScripted_callCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.calls.size();
}

SCRIPTED_EXPORT int sdsrScripted_getCall(size_t index, ScriptedAlgoCall* out) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (out == nullptr || index >= s.calls.size())
        return -1;
    *out = s.calls[index];
    return 0;
}

SCRIPTED_EXPORT int sdsrScripted_liveInstances(void) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    return static_cast<int>(s.live.size());
}

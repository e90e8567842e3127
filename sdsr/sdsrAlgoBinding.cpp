// Binding of the closed algorithm library: opened once per plugin object, its four entry points
// resolved again on every request.
#include <dlfcn.h>

#include <mutex>

#include "devicePath.h"
#include "sdsrplugin.h"

namespace {

// Relative on purpose: the dynamic linker resolves it by its own search rules on the device.
const char* const kAlgoLibraryPath = "odm/lib64/libvoalgo_sdsr.so";

// Serialises binding between requests that arrive together on different threads; once bound,
// binding only reads the members it would write.
std::mutex gBindMutex;

}  // namespace

void SdSrPlugin::bindAlgoLibrary() {
    std::lock_guard<std::mutex> bindLock(gBindMutex);
    if (m_sdsrAlgoHandle == nullptr) {
        // Binding is the opening step of processRequest, and its lines carry that name.
        m_sdsrAlgoHandle = dlopen(voalgo2::devicePath(kAlgoLibraryPath).c_str(), RTLD_LAZY);
        SDSR_LOG_AS("processRequest", I, "dlopen sdsr %p", m_sdsrAlgoHandle);
        if (m_sdsrAlgoHandle == nullptr) {
#if defined(__BIONIC__)
            // Bionic refuses a null handle with an "invalid handle" error of its own, which is
            // what dlerror() reports next in place of dlopen's. glibc dereferences the handle and
            // crashes, so host builds leave the call out and report dlopen's error.
            dlclose(m_sdsrAlgoHandle);
#endif
            const char* why = dlerror();
            SDSR_LOG_AS("processRequest", D, "sdsr dlerror() %s", why != nullptr ? why : "(null)");
        }
    }

    // Resolved on every request. A null handle must not reach dlsym, where it would mean the
    // global scope of the process.
    VoalgoAi_DIPS_GetVersion_Fn getVersionFn = nullptr;
    VoalgoAi_DIPS_Init_Fn initFn = nullptr;
    VoalgoAi_DIPS_Run_Fn runFn = nullptr;
    VoalgoAi_DIPS_Unit_Fn unitFn = nullptr;
    if (m_sdsrAlgoHandle != nullptr) {
        getVersionFn = reinterpret_cast<VoalgoAi_DIPS_GetVersion_Fn>(
            dlsym(m_sdsrAlgoHandle, "VoalgoAi_DIPS_GetVersion"));
        initFn =
            reinterpret_cast<VoalgoAi_DIPS_Init_Fn>(dlsym(m_sdsrAlgoHandle, "VoalgoAi_DIPS_Init"));
        runFn =
            reinterpret_cast<VoalgoAi_DIPS_Run_Fn>(dlsym(m_sdsrAlgoHandle, "VoalgoAi_DIPS_Run"));
        unitFn =
            reinterpret_cast<VoalgoAi_DIPS_Unit_Fn>(dlsym(m_sdsrAlgoHandle, "VoalgoAi_DIPS_Unit"));
    }
    if (m_getVersionFn != getVersionFn)
        m_getVersionFn = getVersionFn;
    if (m_initFn != initFn)
        m_initFn = initFn;
    if (m_runFn != runFn)
        m_runFn = runFn;
    if (m_unitFn != unitFn)
        m_unitFn = unitFn;
}

bool SdSrPlugin::algoEntryPointsResolved() const {
    return m_sdsrAlgoHandle != nullptr && m_getVersionFn != nullptr && m_initFn != nullptr &&
           m_runFn != nullptr && m_unitFn != nullptr;
}

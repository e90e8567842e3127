#include "LibraryControl.h"

#include <dlfcn.h>

#include <stdexcept>

namespace hostkit {

namespace {

void* openLibrary(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = dlerror();
        throw std::runtime_error("cannot load " + path + ": " + (why ? why : "unknown error"));
    }
    return handle;
}

template <typename Fn>
Fn symbol(void* handle, const char* name) {
    void* address = dlsym(handle, name);
    if (address == nullptr)
        throw std::runtime_error(std::string("the library lacks its control function ") + name);
    return reinterpret_cast<Fn>(address);
}

}  // namespace

// ---- ScriptedAlgo -----------------------------------------------------------------------------

ScriptedAlgo::ScriptedAlgo(const std::string& libraryDir)
    : m_handle(openLibrary(path(libraryDir))),
      m_reset(symbol<decltype(m_reset)>(m_handle, "sdsrScripted_reset")),
      m_setVersion(symbol<decltype(m_setVersion)>(m_handle, "sdsrScripted_setVersion")),
      m_setResults(symbol<decltype(m_setResults)>(m_handle, "sdsrScripted_setResults")),
      m_setRunTransform(
          symbol<decltype(m_setRunTransform)>(m_handle, "sdsrScripted_setRunTransform")),
      m_callCount(symbol<decltype(m_callCount)>(m_handle, "sdsrScripted_callCount")),
      m_getCall(symbol<decltype(m_getCall)>(m_handle, "sdsrScripted_getCall")),
      m_liveInstances(symbol<decltype(m_liveInstances)>(m_handle, "sdsrScripted_liveInstances")) {}

ScriptedAlgo::~ScriptedAlgo() {
    dlclose(m_handle);
}

std::string ScriptedAlgo::path(const std::string& libraryDir) {
    return libraryDir + "/libsdsr_algo_scripted.so";
}

std::vector<ScriptedAlgoCall> ScriptedAlgo::calls() const {
    std::vector<ScriptedAlgoCall> out(callCount());
    for (size_t i = 0; i < out.size(); ++i)
        call(i, &out[i]);
    return out;
}

std::vector<ScriptedAlgoCallKind> ScriptedAlgo::kinds() const {
    std::vector<ScriptedAlgoCallKind> out;
    for (const auto& call : calls())
        out.push_back(call.kind);
    return out;
}

bool ScriptedAlgo::lastCall(ScriptedAlgoCallKind kind, ScriptedAlgoCall* out) const {
    bool found = false;
    for (const auto& call : calls()) {
        if (call.kind == kind) {
            *out = call;
            found = true;
        }
    }
    return found;
}

// ---- MetaHelperDouble -------------------------------------------------------------------------

MetaHelperDouble::MetaHelperDouble(const std::string& variant, const std::string& libraryDir)
    : m_handle(openLibrary(path(variant, libraryDir))) {}

MetaHelperDouble::~MetaHelperDouble() {
    dlclose(m_handle);
}

std::string MetaHelperDouble::path(const std::string& variant, const std::string& libraryDir) {
    return libraryDir + "/libmetahelper_" + variant + ".so";
}

bool MetaHelperDouble::isLoaded(const std::string& variant) {
    void* handle = dlopen(path(variant).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr)
        return false;
    dlclose(handle);
    return true;
}

void MetaHelperDouble::setStatus(int status) const {
    symbol<void (*)(int)>(m_handle, "metahelperDouble_setStatus")(status);
}

void MetaHelperDouble::reset() const {
    symbol<void (*)()>(m_handle, "metahelperDouble_reset")();
}

int MetaHelperDouble::getInstanceCalls() const {
    return symbol<int (*)()>(m_handle, "metahelperDouble_getInstanceCalls")();
}

int MetaHelperDouble::prepareCalls() const {
    return symbol<int (*)()>(m_handle, "metahelperDouble_prepareCalls")();
}

int MetaHelperDouble::createCalls() const {
    return symbol<int (*)()>(m_handle, "metahelperDouble_createCalls")();
}

int MetaHelperDouble::queryCalls() const {
    return symbol<int (*)()>(m_handle, "metahelperDouble_queryCalls")();
}

// ---- ReferenceAlgo ----------------------------------------------------------------------------

ReferenceAlgo::ReferenceAlgo(const std::string& libraryDir)
    : m_handle(openLibrary(path(libraryDir))) {
    symbol<void (*)()>(m_handle, "sdsrReference_setVersion");
}

ReferenceAlgo::~ReferenceAlgo() {
    dlclose(m_handle);
}

std::string ReferenceAlgo::path(const std::string& libraryDir) {
    return libraryDir + "/libsdsr_algo_reference.so";
}

void ReferenceAlgo::setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build) const {
    symbol<void (*)(int32_t, int32_t, int32_t, int32_t)>(m_handle, "sdsrReference_setVersion")(
        major, minor, patch, build);
}

int32_t ReferenceAlgo::threads() const {
    return symbol<int32_t (*)()>(m_handle, "sdsrReference_threads")();
}

}  // namespace hostkit

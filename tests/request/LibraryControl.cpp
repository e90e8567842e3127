#include "LibraryControl.h"

#include <dlfcn.h>

#include <stdexcept>

#include "PluginLoader.h"

namespace sdsrtest {

namespace {

void* openLibrary(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = dlerror();
        throw std::runtime_error("dlopen " + path + ": " + (why ? why : "?"));
    }
    return handle;
}

template <typename Fn>
Fn symbol(void* handle, const char* name) {
    void* address = dlsym(handle, name);
    if (address == nullptr)
        throw std::runtime_error(std::string("no symbol ") + name);
    return reinterpret_cast<Fn>(address);
}

}  // namespace

// ---- ScriptedAlgo -----------------------------------------------------------------------------

ScriptedAlgo::ScriptedAlgo() : m_handle(openLibrary(path())) {}

ScriptedAlgo::~ScriptedAlgo() {
    dlclose(m_handle);
}

std::string ScriptedAlgo::path() {
    return libraryDir() + "/libsdsr_algo_scripted.so";
}

void ScriptedAlgo::reset() const {
    symbol<void (*)()>(m_handle, "sdsrScripted_reset")();
}

void ScriptedAlgo::setVersion(int32_t major, int32_t minor, int32_t patch, int32_t build) const {
    symbol<void (*)(int32_t, int32_t, int32_t, int32_t)>(m_handle, "sdsrScripted_setVersion")(
        major, minor, patch, build);
}

void ScriptedAlgo::setResults(int32_t init, int32_t run, int32_t unit) const {
    symbol<void (*)(int32_t, int32_t, int32_t)>(m_handle, "sdsrScripted_setResults")(init, run,
                                                                                     unit);
}

std::vector<ScriptedAlgoCall> ScriptedAlgo::calls() const {
    const size_t count = symbol<size_t (*)()>(m_handle, "sdsrScripted_callCount")();
    auto get = symbol<int (*)(size_t, ScriptedAlgoCall*)>(m_handle, "sdsrScripted_getCall");
    std::vector<ScriptedAlgoCall> out(count);
    for (size_t i = 0; i < count; ++i)
        get(i, &out[i]);
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

int ScriptedAlgo::liveInstances() const {
    return symbol<int (*)()>(m_handle, "sdsrScripted_liveInstances")();
}

// ---- MetaHelperDouble -------------------------------------------------------------------------

MetaHelperDouble::MetaHelperDouble(const std::string& variant)
    : m_handle(openLibrary(path(variant))) {}

MetaHelperDouble::~MetaHelperDouble() {
    dlclose(m_handle);
}

std::string MetaHelperDouble::path(const std::string& variant) {
    return libraryDir() + "/libmetahelper_" + variant + ".so";
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

}  // namespace sdsrtest

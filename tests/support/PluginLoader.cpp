#include "PluginLoader.h"

#include <dlfcn.h>

namespace sdsrtest {

std::string pluginPath() {
    return SDSR_TEST_PLUGIN_PATH;
}
std::string libraryDir() {
    return SDSR_TEST_LIBRARY_DIR;
}

PluginLoader::PluginLoader(const std::string& path) : m_handle(nullptr), m_provider(nullptr) {
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* why = dlerror();
        m_error = "dlopen " + path + ": " + (why ? why : "unknown error");
        return;
    }
    auto connect = reinterpret_cast<KoraConnectFn>(dlsym(m_handle, "koraconnect"));
    if (connect == nullptr) {
        m_error = "no koraconnect in " + path;
        return;
    }
    if (!connect(m_manager)) {
        m_error = "koraconnect returned false";
        return;
    }
    if (m_manager.providers().size() != 1) {
        m_error = "expected exactly one provider";
        return;
    }
    m_provider = dynamic_cast<PluginWraperProvider*>(m_manager.providers().front());
    if (m_provider == nullptr)
        m_error = "provider is not a PluginWraperProvider";
}

PluginLoader::~PluginLoader() {
    // Providers come from the library's code: delete them before the code goes away.
    m_manager.clear();
    if (m_handle != nullptr)
        dlclose(m_handle);
}

std::unique_ptr<PluginWraper> PluginLoader::create() const {
    if (m_provider == nullptr)
        return nullptr;
    return std::unique_ptr<PluginWraper>(m_provider->create());
}

std::unique_ptr<PluginWraper> PluginLoader::createInitialized() const {
    auto plugin = create();
    if (plugin == nullptr)
        return nullptr;
    CreateInfo info{};
    info.nodeName = "SdsrNode0";
    info.cameraId = 0;
    VoaNodeInterface node{};
    plugin->initialize(&info, node);
    return plugin;
}

}  // namespace sdsrtest

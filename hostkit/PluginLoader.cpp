#include "PluginLoader.h"

#include <dlfcn.h>

namespace hostkit {

PluginLoader::PluginLoader(const std::string& path) : m_handle(nullptr), m_provider(nullptr) {
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* why = dlerror();
        m_error = "cannot load the plugin " + path + ": " + (why ? why : "unknown error");
        return;
    }
    auto connect = reinterpret_cast<KoraConnectFn>(dlsym(m_handle, "koraconnect"));
    if (connect == nullptr) {
        m_error = "the plugin " + path + " exports no koraconnect";
        return;
    }
    if (!connect(m_manager)) {
        m_error = "koraconnect returned false";
        return;
    }
    if (m_manager.providers().size() != 1) {
        m_error = "koraconnect registered " + std::to_string(m_manager.providers().size()) +
                  " providers, expected one";
        return;
    }
    m_provider = dynamic_cast<PluginWraperProvider*>(m_manager.providers().front());
    if (m_provider == nullptr)
        m_error = "koraconnect registered a provider that is not a PluginWraperProvider";
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

}  // namespace hostkit

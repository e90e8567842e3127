// Loads a plugin library the way the kora framework does: dlopen, look up "koraconnect", hand it
// a ProviderManager, then create plugin objects through the registered provider.
#pragma once

#include <memory>
#include <string>

#include "Layout.h"
#include "PluginWraper.h"
#include "Provider.h"

namespace hostkit {

class PluginLoader {
  public:
    // dlopen(path, RTLD_NOW | RTLD_LOCAL) and koraconnect, which must register exactly one
    // plugin provider. Check ok() and error().
    explicit PluginLoader(const std::string& path = pluginPath());
    // Clears the providers, then dlclose.
    ~PluginLoader();
    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    bool ok() const { return m_provider != nullptr; }
    const std::string& error() const { return m_error; }
    void* handle() const { return m_handle; }
    voalgo2::ProviderManager& manager() { return m_manager; }
    PluginWraperProvider* provider() const { return m_provider; }

    // A new plugin object; deleted through the base class by the deleter.
    std::unique_ptr<PluginWraper> create() const;
    // A new plugin, initialized with a default CreateInfo and an empty node interface.
    std::unique_ptr<PluginWraper> createInitialized() const;

  private:
    void* m_handle;
    voalgo2::ProviderManager m_manager;
    PluginWraperProvider* m_provider;
    std::string m_error;
};

}  // namespace hostkit

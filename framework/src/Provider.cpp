#include "Provider.h"

#include "PluginWraper.h"

namespace voalgo2 {

Provider::~Provider() = default;

ProviderManager::~ProviderManager() {
    clear();
}

bool ProviderManager::add(Provider* provider) {
    if (provider == nullptr)
        return false;
    // A second plugin provider under a name already registered is refused, and deleted since the
    // caller handed it over.
    if (auto* plugin = dynamic_cast<PluginWraperProvider*>(provider)) {
        const std::string name = plugin->getName();
        for (Provider* held : m_providers) {
            auto* heldPlugin = dynamic_cast<PluginWraperProvider*>(held);
            if (heldPlugin != nullptr && heldPlugin->getName() == name) {
                delete provider;
                return false;
            }
        }
    }
    m_providers.push_back(provider);
    return true;
}

std::vector<Provider*> ProviderManager::providersOfType(const std::string& type) const {
    std::vector<Provider*> out;
    for (Provider* provider : m_providers) {
        if (provider->plumaGetType() == type)
            out.push_back(provider);
    }
    return out;
}

void ProviderManager::clear() {
    for (Provider* provider : m_providers)
        delete provider;
    m_providers.clear();
}

}  // namespace voalgo2

const unsigned int PluginWraperProvider::PLUMA_INTERFACE_VERSION = 3;
const std::string PluginWraperProvider::PLUMA_PROVIDER_TYPE = "PluginWraper";

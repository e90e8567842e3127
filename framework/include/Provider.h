// Pluma-style provider registry of the kora framework.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace voalgo2 {

class Provider {
  public:
    virtual ~Provider();
    virtual unsigned int getVersion() const = 0;
    virtual std::string plumaGetType() const = 0;
};

// Keeps the providers that plugin libraries register through their entry function, and owns
// them: they are deleted with the manager (or by clear()).
class ProviderManager {
  public:
    ProviderManager() = default;
    ~ProviderManager();
    ProviderManager(const ProviderManager&) = delete;
    ProviderManager& operator=(const ProviderManager&) = delete;

    // Takes ownership. False (and the provider deleted) for a null provider or for a plugin
    // provider whose name is already registered.
    bool add(Provider* provider);
    const std::vector<Provider*>& providers() const { return m_providers; }
    // Providers whose plumaGetType() equals `type`, in registration order.
    std::vector<Provider*> providersOfType(const std::string& type) const;
    void clear();

  private:
    std::vector<Provider*> m_providers;
};

}  // namespace voalgo2

// Signature of a plugin library's exported entry.
extern "C" typedef bool (*KoraConnectFn)(voalgo2::ProviderManager& host);

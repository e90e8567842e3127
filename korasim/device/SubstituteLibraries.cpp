#include "device/SubstituteLibraries.h"

#include <stdexcept>

#include "common/SessionError.h"

namespace korasim {

namespace {

// Makes the library on first use; a library that cannot serve is the session's mistake.
template <typename Library, typename Make>
Library& bound(std::unique_ptr<Library>& slot, const std::string& path, Make make) {
    if (!slot) {
        try {
            slot = make();
        } catch (const std::runtime_error& e) {
            throw SessionError(path, e.what());
        }
    }
    return *slot;
}

}  // namespace

hostkit::ScriptedAlgo& SubstituteLibraries::scripted(const std::string& path) {
    return bound(m_scripted, path,
                 [this] { return std::make_unique<hostkit::ScriptedAlgo>(m_dir); });
}

hostkit::ReferenceAlgo& SubstituteLibraries::reference(const std::string& path) {
    return bound(m_reference, path,
                 [this] { return std::make_unique<hostkit::ReferenceAlgo>(m_dir); });
}

hostkit::MetaHelperDouble& SubstituteLibraries::metaHelper(const std::string& variant,
                                                           const std::string& path) {
    return bound(m_metaHelpers[variant], path, [this, &variant] {
        return std::make_unique<hostkit::MetaHelperDouble>(variant, m_dir);
    });
}

}  // namespace korasim

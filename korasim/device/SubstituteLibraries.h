// The substitute libraries a session installs, bound through the host kit's controls on first
// use and kept for the run: the plugin loads the same files and so shares their state.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "LibraryControl.h"

namespace korasim {

class SubstituteLibraries {
  public:
    explicit SubstituteLibraries(std::string dir) : m_dir(std::move(dir)) {}

    const std::string& dir() const { return m_dir; }
    // Each binds the library on first use; throws SessionError at `path` with the reason when
    // the library or one of its control functions is missing.
    hostkit::ScriptedAlgo& scripted(const std::string& path);
    hostkit::ReferenceAlgo& reference(const std::string& path);
    // `variant` is "double", "nullfactory" or "nosymbol".
    hostkit::MetaHelperDouble& metaHelper(const std::string& variant, const std::string& path);
    // The scripted library when a session bound it, else null.
    const hostkit::ScriptedAlgo* boundScripted() const { return m_scripted.get(); }

  private:
    std::string m_dir;
    std::unique_ptr<hostkit::ScriptedAlgo> m_scripted;
    std::unique_ptr<hostkit::ReferenceAlgo> m_reference;
    std::map<std::string, std::unique_ptr<hostkit::MetaHelperDouble>> m_metaHelpers;
};

}  // namespace korasim

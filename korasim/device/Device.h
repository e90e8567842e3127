// The fake device a session runs on: its tree (a temporary one that no exit leaves behind, or
// the --root a user keeps) and the session's device keys applied to it, with the substitute
// libraries installed where the plugin loads them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "DeviceTree.h"
#include "device/SubstituteLibraries.h"
#include "session/Session.h"

namespace korasim {

class DeviceRoot {
  public:
    // Uses `root` (created when missing, kept afterwards) or, when empty, a fresh temporary
    // directory that is removed with the object and by the exit guard on any other exit.
    explicit DeviceRoot(const std::string& root);
    ~DeviceRoot();
    DeviceRoot(const DeviceRoot&) = delete;
    DeviceRoot& operator=(const DeviceRoot&) = delete;

    hostkit::DeviceTree& tree() { return *m_tree; }
    const hostkit::DeviceTree& tree() const { return *m_tree; }
    // True when the tree is removed when korasim ends.
    bool temporary() const { return m_tree->removedAtEnd(); }

  private:
    std::unique_ptr<hostkit::DeviceTree> m_tree;
};

// Brings the tree and the libraries in line with the keys set in `change`, merging them into
// `current` (the complete device as it stands). Returns the names of the keys applied. Throws
// SessionError (at `path`) when a library cannot be bound.
std::vector<std::string> applyDevice(DeviceRoot& root, SubstituteLibraries& libraries,
                                     DeviceSpec& current, const DeviceSpec& change,
                                     const std::string& path);

}  // namespace korasim

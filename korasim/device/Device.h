// The fake device tree a session runs on, and the substitute libraries placed into it: the
// plugin maps every device path under $KORA_DEVICE_ROOT, and korasim steers the libraries it
// installs through their control functions (the same loaded copy the plugin uses).
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "ScriptedAlgoControl.h"
#include "session/Session.h"

namespace korasim {

// Directory of the libraries and the plugin beside the korasim executable: "<dir of korasim>/"
// followed by the build's relative path from its bin to its library directory (usually ../lib).
std::string defaultLibraryDir();

class DeviceRoot {
  public:
    // Uses `root` (created when missing, kept afterwards) or, when empty, a fresh temporary
    // directory that is removed with the object unless `keep`.
    DeviceRoot(const std::string& root, bool keep);
    ~DeviceRoot();
    DeviceRoot(const DeviceRoot&) = delete;
    DeviceRoot& operator=(const DeviceRoot&) = delete;

    const std::string& root() const { return m_root; }
    // True when the tree is removed with this object (and by the guard on any other exit).
    bool temporary() const { return m_remove; }
    std::string hostPath(const std::string& devicePath) const;
    void write(const std::string& devicePath, const std::string& content) const;
    void remove(const std::string& devicePath) const;
    void link(const std::string& devicePath, const std::string& hostFile) const;

    struct FileState {
        int64_t size;
        int64_t mtimeNs;
    };
    // Regular files of a device directory by name.
    std::map<std::string, FileState> listDir(const std::string& deviceDir) const;

  private:
    std::string m_root;
    bool m_remove;
};

// Control functions of the substitute libraries, bound by dlopen-ing the library files.
class Libraries {
  public:
    explicit Libraries(std::string libDir);
    ~Libraries();
    Libraries(const Libraries&) = delete;
    Libraries& operator=(const Libraries&) = delete;

    const std::string& dir() const { return m_dir; }
    std::string file(const std::string& name) const { return m_dir + "/" + name; }

    // Each returns false with a reason when the library or a control function is missing.
    bool bindScripted(std::string* error);
    bool bindReference(std::string* error);
    bool bindMetaHelper(const std::string& file, std::string* error);

    bool scriptedBound() const { return m_scripted != nullptr; }
    void scriptedReset();
    void scriptedSetVersion(const std::array<int32_t, 4>& v);
    void scriptedSetResults(int32_t init, int32_t run, int32_t unit);
    size_t scriptedCallCount();
    bool scriptedCall(size_t index, ScriptedAlgoCall* out);
    void referenceSetVersion(const std::array<int32_t, 4>& v);
    void metaHelperSetStatus(int32_t status);

  private:
    std::string m_dir;
    void* m_scripted = nullptr;
    void* m_reference = nullptr;
    std::map<std::string, void*> m_metaHelpers;
    void* m_metaHelperActive = nullptr;
};

// Brings the tree and the libraries in line with the keys set in `change`, merging them into
// `current` (the complete device as it stands). Returns the names of the keys applied. Throws
// SessionError (at `path`) when a library cannot be bound.
std::vector<std::string> applyDevice(DeviceRoot& root, Libraries& libraries, DeviceSpec& current,
                                     const DeviceSpec& change, const std::string& path);

}  // namespace korasim

// A fake device tree: a directory that becomes $KORA_DEVICE_ROOT while the object lives (the
// plugin maps every device path under it), with helpers to write the device files the plugin
// reads and to place the substitute libraries where it loads them.
#pragma once

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace hostkit {

class DeviceTree {
  public:
    // A fresh temporary tree, removed with the object.
    DeviceTree();
    // The tree at `root`, created when missing; removed with the object when `removeAtEnd`.
    // Throws std::runtime_error when it cannot be a directory.
    DeviceTree(const std::string& root, bool removeAtEnd);
    // Removes the tree (when it owns it) and restores the previous KORA_DEVICE_ROOT.
    ~DeviceTree();
    DeviceTree(const DeviceTree&) = delete;
    DeviceTree& operator=(const DeviceTree&) = delete;

    const std::string& root() const { return m_root; }
    bool removedAtEnd() const { return m_removeAtEnd; }
    // Host path of a device path ("/proc/meminfo" -> "<root>/proc/meminfo").
    std::string path(const std::string& devicePath) const;

    // Writes (creating directories) or removes a device file; write and link throw
    // std::runtime_error naming the file when they fail.
    void write(const std::string& devicePath, const std::string& content) const;
    void remove(const std::string& devicePath) const;
    bool exists(const std::string& devicePath) const;
    std::string read(const std::string& devicePath) const;
    // Creates a device directory (and its parents).
    void makeDir(const std::string& deviceDir) const;
    // Symlinks a host file into the tree (libraries).
    void link(const std::string& devicePath, const std::string& hostFile) const;

    // A tree on which every probe of the enable decision passes: version file "1.0.0.0\n",
    // all model files, ample free memory, a board temperature.
    void makePassing(const std::string& version = "1.0.0.0") const;
    void writeVersion(const std::string& content) const;
    void writeAllModels() const;
    void writeMeminfo(double freeKb) const;

    // Places a substitute library at the plugin's algorithm / metadata-helper path.
    void installAlgorithm(const std::string& hostLibrary) const;
    void installMetaHelper(const std::string& hostLibrary) const;

    // Entries of a device directory, sorted.
    std::vector<std::string> listDir(const std::string& deviceDir) const;

    struct FileState {
        int64_t size;
        int64_t mtimeNs;
    };
    // Regular files of a device directory by name, to tell new and rewritten files.
    std::map<std::string, FileState> files(const std::string& deviceDir) const;

  private:
    void enter();

    std::string m_root;
    bool m_removeAtEnd;
    std::string m_previousRoot;
    bool m_hadPreviousRoot = false;
};

}  // namespace hostkit

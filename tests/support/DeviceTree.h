// A fake device tree for one test: a fresh temporary directory that becomes $KORA_DEVICE_ROOT
// while the object lives, with helpers to write the device files the plugin reads.
#pragma once

#include <string>
#include <vector>

namespace sdsrtest {

class DeviceTree {
  public:
    // Creates an empty tree and points KORA_DEVICE_ROOT at it.
    DeviceTree();
    // Removes the tree and restores the previous KORA_DEVICE_ROOT.
    ~DeviceTree();
    DeviceTree(const DeviceTree&) = delete;
    DeviceTree& operator=(const DeviceTree&) = delete;

    const std::string& root() const { return m_root; }
    // Host path of a device path ("/proc/meminfo" -> "<root>/proc/meminfo").
    std::string path(const std::string& devicePath) const;

    // Writes (creating directories) or removes a device file.
    void write(const std::string& devicePath, const std::string& content) const;
    void remove(const std::string& devicePath) const;
    bool exists(const std::string& devicePath) const;
    std::string read(const std::string& devicePath) const;
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

    // Device files written under the dump directory, sorted.
    std::vector<std::string> listDir(const std::string& deviceDir) const;

  private:
    std::string m_root;
    std::string m_previousRoot;
    bool m_hadPreviousRoot;
};

}  // namespace sdsrtest

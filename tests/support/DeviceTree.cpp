#include "DeviceTree.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "korahost/DeviceModelFiles.h"
#include "korahost/SyntheticMeminfo.h"

namespace fs = std::filesystem;

namespace sdsrtest {

DeviceTree::DeviceTree() : m_hadPreviousRoot(false) {
    char pattern[] = "/tmp/sdsr-device-XXXXXX";
    const char* dir = mkdtemp(pattern);
    if (dir == nullptr)
        throw std::runtime_error("mkdtemp failed");
    m_root = dir;
    if (const char* previous = getenv("KORA_DEVICE_ROOT")) {
        m_previousRoot = previous;
        m_hadPreviousRoot = true;
    }
    setenv("KORA_DEVICE_ROOT", m_root.c_str(), 1);
}

DeviceTree::~DeviceTree() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
    if (m_hadPreviousRoot) {
        setenv("KORA_DEVICE_ROOT", m_previousRoot.c_str(), 1);
    } else {
        unsetenv("KORA_DEVICE_ROOT");
    }
}

std::string DeviceTree::path(const std::string& devicePath) const {
    if (!devicePath.empty() && devicePath[0] == '/')
        return m_root + devicePath;
    return m_root + "/" + devicePath;
}

void DeviceTree::write(const std::string& devicePath, const std::string& content) const {
    const fs::path host = path(devicePath);
    fs::create_directories(host.parent_path());
    fs::remove(host);
    std::ofstream out(host, std::ios::binary);
    out << content;
    if (!out)
        throw std::runtime_error("cannot write " + host.string());
}

void DeviceTree::remove(const std::string& devicePath) const {
    std::error_code ignored;
    fs::remove(path(devicePath), ignored);
}

bool DeviceTree::exists(const std::string& devicePath) const {
    return fs::exists(fs::symlink_status(path(devicePath)));
}

std::string DeviceTree::read(const std::string& devicePath) const {
    std::ifstream in(path(devicePath), std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void DeviceTree::link(const std::string& devicePath, const std::string& hostFile) const {
    const fs::path host = path(devicePath);
    fs::create_directories(host.parent_path());
    std::error_code ignored;
    fs::remove(host, ignored);
    fs::create_symlink(fs::absolute(hostFile), host);
}

void DeviceTree::makePassing(const std::string& version) const {
    writeVersion(version + "\n");
    writeAllModels();
    writeMeminfo(8.0 * 1024 * 1024);
    write("/sys/class/thermal/thermal_message/board_sensor_temp", "36500\n");
}

void DeviceTree::writeVersion(const std::string& content) const {
    write("/odm/etc/camera/sdsr_version.txt", content);
}

void DeviceTree::writeAllModels() const {
    for (const auto& name : korahost::deviceModelFiles())
        write("/data/vendor/camera/" + name, "model");
}

void DeviceTree::writeMeminfo(double freeKb) const {
    write("/proc/meminfo", korahost::syntheticMeminfo(freeKb));
}

void DeviceTree::installAlgorithm(const std::string& hostLibrary) const {
    link("odm/lib64/libvoalgo_sdsr.so", hostLibrary);
}

void DeviceTree::installMetaHelper(const std::string& hostLibrary) const {
    link("/odm/lib64/libmetadataHelper.so", hostLibrary);
}

std::vector<std::string> DeviceTree::listDir(const std::string& deviceDir) const {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(path(deviceDir), ec)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace sdsrtest

#include "DeviceTree.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "DevicePaths.h"
#include "korahost/DeviceModelFiles.h"
#include "korahost/SyntheticMeminfo.h"

namespace fs = std::filesystem;

namespace hostkit {

DeviceTree::DeviceTree() : m_removeAtEnd(true) {
    char pattern[] = "/tmp/sdsr-device-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("cannot create a temporary device tree /tmp/sdsr-device-XXXXXX");
    m_root = pattern;
    enter();
}

DeviceTree::DeviceTree(const std::string& root, bool removeAtEnd) : m_removeAtEnd(removeAtEnd) {
    std::error_code ec;
    fs::create_directories(root, ec);
    if (!fs::is_directory(root))
        throw std::runtime_error("cannot use " + root + " as the device root");
    m_root = fs::absolute(root).lexically_normal().string();
    while (m_root.size() > 1 && m_root.back() == '/')
        m_root.pop_back();
    enter();
}

void DeviceTree::enter() {
    if (const char* previous = getenv("KORA_DEVICE_ROOT")) {
        m_previousRoot = previous;
        m_hadPreviousRoot = true;
    }
    setenv("KORA_DEVICE_ROOT", m_root.c_str(), 1);
}

DeviceTree::~DeviceTree() {
    if (m_removeAtEnd) {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
    }
    if (m_hadPreviousRoot)
        setenv("KORA_DEVICE_ROOT", m_previousRoot.c_str(), 1);
    else
        unsetenv("KORA_DEVICE_ROOT");
}

std::string DeviceTree::path(const std::string& devicePath) const {
    if (!devicePath.empty() && devicePath[0] == '/')
        return m_root + devicePath;
    return m_root + "/" + devicePath;
}

void DeviceTree::write(const std::string& devicePath, const std::string& content) const {
    const fs::path host = path(devicePath);
    std::error_code ec;
    fs::create_directories(host.parent_path(), ec);
    fs::remove(host, ec);
    std::ofstream out(host, std::ios::binary);
    out << content;
    out.close();
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

void DeviceTree::makeDir(const std::string& deviceDir) const {
    std::error_code ec;
    fs::create_directories(path(deviceDir), ec);
    if (!fs::is_directory(path(deviceDir)))
        throw std::runtime_error("cannot create " + path(deviceDir));
}

void DeviceTree::link(const std::string& devicePath, const std::string& hostFile) const {
    const fs::path host = path(devicePath);
    std::error_code ec;
    fs::create_directories(host.parent_path(), ec);
    fs::remove(host, ec);
    fs::create_symlink(fs::absolute(hostFile), host, ec);
    if (ec)
        throw std::runtime_error("cannot link " + host.string() + ": " + ec.message());
}

void DeviceTree::makePassing(const std::string& version) const {
    writeVersion(version + "\n");
    writeAllModels();
    writeMeminfo(8.0 * 1024 * 1024);
    write(kBoardTemperature, "36500\n");
}

void DeviceTree::writeVersion(const std::string& content) const {
    write(kVersionFile, content);
}

void DeviceTree::writeAllModels() const {
    for (const auto& name : korahost::deviceModelFiles())
        write(kModelDir + name, "model");
}

void DeviceTree::writeMeminfo(double freeKb) const {
    write(kMeminfo, korahost::syntheticMeminfo(freeKb));
}

void DeviceTree::installAlgorithm(const std::string& hostLibrary) const {
    link(kAlgorithmLibrary, hostLibrary);
}

void DeviceTree::installMetaHelper(const std::string& hostLibrary) const {
    link(kMetaHelperLibrary, hostLibrary);
}

std::vector<std::string> DeviceTree::listDir(const std::string& deviceDir) const {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(path(deviceDir), ec))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::map<std::string, DeviceTree::FileState> DeviceTree::files(const std::string& deviceDir) const {
    std::map<std::string, FileState> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(path(deviceDir), ec)) {
        struct stat st {};
        if (stat(entry.path().c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        found[entry.path().filename().string()] =
            FileState{static_cast<int64_t>(st.st_size),
                      static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
    }
    return found;
}

}  // namespace hostkit

#include "device/Device.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "MetaHelperDoubleControl.h"
#include "common/Guard.h"
#include "korahost/DeviceModelFiles.h"
#include "korahost/HostControl.h"

namespace fs = std::filesystem;

namespace korasim {

namespace {

const char* const kVersionFile = "/odm/etc/camera/sdsr_version.txt";
const char* const kModelDir = "/data/vendor/camera/";
const char* const kMeminfo = "/proc/meminfo";
const char* const kBoardTemperature = "/sys/class/thermal/thermal_message/board_sensor_temp";
const char* const kAlgorithmLibrary = "odm/lib64/libvoalgo_sdsr.so";
const char* const kMetaHelperLibrary = "/odm/lib64/libmetadataHelper.so";
const char* const kControllerName = "SDSR";

template <typename F>
F symbol(void* handle, const char* name) {
    return reinterpret_cast<F>(dlsym(handle, name));
}

void* openLibrary(const std::string& path, std::string* error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr && error != nullptr) {
        const char* why = dlerror();
        *error = "cannot load " + path + ": " + (why ? why : "unknown error");
    }
    return handle;
}

void writeText(const DeviceRoot& root, const std::string& devicePath, const DeviceText& text) {
    if (text) {
        root.write(devicePath, *text);
    } else {
        root.remove(devicePath);
    }
}

}  // namespace

std::string defaultLibraryDir() {
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec)
        return "lib";
    return (exe.parent_path() / KORASIM_BIN_TO_LIB).lexically_normal().string();
}

DeviceRoot::DeviceRoot(const std::string& root, bool keep) : m_remove(false) {
    if (root.empty()) {
        m_remove = !keep;
        m_root = createTemporaryTree("korasim-device", m_remove);
    } else {
        std::error_code ec;
        fs::create_directories(root, ec);
        if (!fs::is_directory(root)) {
            throw std::runtime_error("cannot use " + root + " as the device root");
        }
        m_root = fs::absolute(root).lexically_normal().string();
        while (m_root.size() > 1 && m_root.back() == '/')
            m_root.pop_back();
    }
}

DeviceRoot::~DeviceRoot() {
    if (m_remove) {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
        forgetTemporaryTree(m_root);
    }
}

std::string DeviceRoot::hostPath(const std::string& devicePath) const {
    if (!devicePath.empty() && devicePath[0] == '/')
        return m_root + devicePath;
    return m_root + "/" + devicePath;
}

void DeviceRoot::write(const std::string& devicePath, const std::string& content) const {
    const fs::path host = hostPath(devicePath);
    std::error_code ec;
    fs::create_directories(host.parent_path(), ec);
    fs::remove(host, ec);
    std::ofstream out(host, std::ios::binary);
    out << content;
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + host.string());
}

void DeviceRoot::remove(const std::string& devicePath) const {
    std::error_code ignored;
    fs::remove(hostPath(devicePath), ignored);
}

void DeviceRoot::link(const std::string& devicePath, const std::string& hostFile) const {
    const fs::path host = hostPath(devicePath);
    std::error_code ec;
    fs::create_directories(host.parent_path(), ec);
    fs::remove(host, ec);
    fs::create_symlink(fs::absolute(hostFile), host, ec);
    if (ec)
        throw std::runtime_error("cannot link " + host.string() + ": " + ec.message());
}

std::map<std::string, DeviceRoot::FileState> DeviceRoot::listDir(
    const std::string& deviceDir) const {
    std::map<std::string, FileState> files;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(hostPath(deviceDir), ec)) {
        struct stat st {};
        if (stat(entry.path().c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        files[entry.path().filename().string()] =
            FileState{static_cast<int64_t>(st.st_size),
                      static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
    }
    return files;
}

Libraries::Libraries(std::string libDir) : m_dir(std::move(libDir)) {}

// The control handles stay open for the life of the process: the plugin may hold the same
// libraries, and closing ours would only drop a reference count.
Libraries::~Libraries() = default;

bool Libraries::bindScripted(std::string* error) {
    if (m_scripted != nullptr)
        return true;
    void* handle = openLibrary(file("libsdsr_algo_scripted.so"), error);
    if (handle == nullptr)
        return false;
    if (dlsym(handle, "sdsrScripted_reset") == nullptr ||
        dlsym(handle, "sdsrScripted_getCall") == nullptr) {
        if (error)
            *error = "libsdsr_algo_scripted.so lacks its control functions";
        return false;
    }
    m_scripted = handle;
    return true;
}

bool Libraries::bindReference(std::string* error) {
    if (m_reference != nullptr)
        return true;
    void* handle = openLibrary(file("libsdsr_algo_reference.so"), error);
    if (handle == nullptr)
        return false;
    if (dlsym(handle, "sdsrReference_setVersion") == nullptr) {
        if (error)
            *error = "libsdsr_algo_reference.so lacks sdsrReference_setVersion";
        return false;
    }
    m_reference = handle;
    return true;
}

bool Libraries::bindMetaHelper(const std::string& name, std::string* error) {
    auto it = m_metaHelpers.find(name);
    if (it == m_metaHelpers.end()) {
        void* handle = openLibrary(file(name), error);
        if (handle == nullptr)
            return false;
        it = m_metaHelpers.emplace(name, handle).first;
    }
    m_metaHelperActive = it->second;
    return true;
}

void Libraries::scriptedReset() {
    if (m_scripted)
        symbol<void (*)()>(m_scripted, "sdsrScripted_reset")();
}

void Libraries::scriptedSetVersion(const std::array<int32_t, 4>& v) {
    if (m_scripted) {
        symbol<void (*)(int32_t, int32_t, int32_t, int32_t)>(m_scripted, "sdsrScripted_setVersion")(
            v[0], v[1], v[2], v[3]);
    }
}

void Libraries::scriptedSetResults(int32_t init, int32_t run, int32_t unit) {
    if (m_scripted) {
        symbol<void (*)(int32_t, int32_t, int32_t)>(m_scripted, "sdsrScripted_setResults")(
            init, run, unit);
    }
}

size_t Libraries::scriptedCallCount() {
    return m_scripted ? symbol<size_t (*)()>(m_scripted, "sdsrScripted_callCount")() : 0;
}

bool Libraries::scriptedCall(size_t index, ScriptedAlgoCall* out) {
    return m_scripted && symbol<int (*)(size_t, ScriptedAlgoCall*)>(
                             m_scripted, "sdsrScripted_getCall")(index, out) == 0;
}

void Libraries::referenceSetVersion(const std::array<int32_t, 4>& v) {
    if (m_reference) {
        symbol<void (*)(int32_t, int32_t, int32_t, int32_t)>(
            m_reference, "sdsrReference_setVersion")(v[0], v[1], v[2], v[3]);
    }
}

void Libraries::metaHelperSetStatus(int32_t status) {
    if (m_metaHelperActive == nullptr)
        return;
    auto fn = symbol<void (*)(int)>(m_metaHelperActive, "metahelperDouble_setStatus");
    if (fn != nullptr)
        fn(status);
}

std::vector<std::string> applyDevice(DeviceRoot& root, Libraries& libraries, DeviceSpec& current,
                                     const DeviceSpec& change, const std::string& path) {
    std::vector<std::string> applied;
    auto prefix = [&path](const std::string& key) { return path.empty() ? key : path + "." + key; };
    if (change.versionFile) {
        current.versionFile = change.versionFile;
        writeText(root, kVersionFile, *change.versionFile);
        applied.push_back("versionFile");
    }
    if (change.models) {
        current.models = change.models;
        for (const auto& name : korahost::deviceModelFiles()) {
            const bool present = std::find(change.models->begin(), change.models->end(), name) !=
                                 change.models->end();
            writeText(root, kModelDir + name, present ? DeviceText("model") : std::nullopt);
        }
        applied.push_back("models");
    }
    // Dumps land beside the models: the directory exists on every device.
    std::error_code ec;
    fs::create_directories(root.hostPath(kModelDir), ec);
    if (change.meminfo) {
        current.meminfo = change.meminfo;
        writeText(root, kMeminfo, *change.meminfo);
        applied.push_back("meminfo");
    }
    if (change.boardTemperature) {
        current.boardTemperature = change.boardTemperature;
        writeText(root, kBoardTemperature, *change.boardTemperature);
        applied.push_back("boardTemperature");
    }
    for (const auto& f : change.files) {
        current.files[f.first] = f.second;
        writeText(root, f.first, f.second);
        applied.push_back("files." + f.first);
    }
    if (change.algorithm) {
        AlgorithmSpec& a = *current.algorithm;
        const AlgorithmSpec& c = *change.algorithm;
        if (c.library)
            a.library = c.library;
        if (c.version)
            a.version = c.version;
        if (c.init)
            a.init = c.init;
        if (c.run)
            a.run = c.run;
        if (c.unit)
            a.unit = c.unit;
        std::string error;
        if (*a.library == "scripted") {
            if (!libraries.bindScripted(&error))
                throw SessionError(prefix("algorithm"), error);
            root.link(kAlgorithmLibrary, libraries.file("libsdsr_algo_scripted.so"));
            libraries.scriptedSetVersion(*a.version);
            libraries.scriptedSetResults(*a.init, *a.run, *a.unit);
        } else if (*a.library == "reference") {
            if (!libraries.bindReference(&error))
                throw SessionError(prefix("algorithm"), error);
            root.link(kAlgorithmLibrary, libraries.file("libsdsr_algo_reference.so"));
            libraries.referenceSetVersion(*a.version);
        } else {
            root.remove(kAlgorithmLibrary);
        }
        applied.push_back("algorithm");
    }
    if (change.metaHelper) {
        MetaHelperSpec& m = *current.metaHelper;
        if (change.metaHelper->library)
            m.library = change.metaHelper->library;
        if (change.metaHelper->status)
            m.status = change.metaHelper->status;
        const std::map<std::string, std::string> files = {
            {"scripted", "libmetahelper_double.so"},
            {"nullFactory", "libmetahelper_nullfactory.so"},
            {"noSymbol", "libmetahelper_nosymbol.so"}};
        auto it = files.find(*m.library);
        if (it == files.end()) {
            root.remove(kMetaHelperLibrary);
        } else {
            std::string error;
            if (!libraries.bindMetaHelper(it->second, &error)) {
                throw SessionError(prefix("metaHelper"), error);
            }
            root.link(kMetaHelperLibrary, libraries.file(it->second));
            libraries.metaHelperSetStatus(*m.status);
        }
        applied.push_back("metaHelper");
    }
    if (change.controllerFlag) {
        current.controllerFlag = change.controllerFlag;
        korahost::setControllerFlag(kControllerName, *change.controllerFlag);
        applied.push_back("controllerFlag");
    }
    if (change.perfLockFails) {
        current.perfLockFails = change.perfLockFails;
        korahost::setPerfLockCreationFails(*change.perfLockFails);
        applied.push_back("perfLock");
    }
    return applied;
}

}  // namespace korasim

// Fuzzes the device files of the enable decision: /proc/meminfo, the installed version file (as
// the plugin object reads it at construction and as it reads it again per request), the board
// temperature node and the model files, each with any content, absent or a directory. A fresh
// plugin object answers isEnabled for a request whose tags all ask for SDSR.
//
// Besides the sanitizers: SDSR may be enabled only when memory could be read, the version file
// is there and still says what it said when the object was made, and every model file is there.
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "DeviceTree.h"
#include "FuzzInput.h"
#include "MetadataBuilders.h"
#include "YuvImage.h"
#include "korahost/DeviceModelFiles.h"
#include "korahost/HostControl.h"
#include "sdsrplugin.h"

namespace {

namespace fs = std::filesystem;
using sdsrfuzz::FuzzInput;

const char* const kMeminfo = "/proc/meminfo";
const char* const kVersion = "/odm/etc/camera/sdsr_version.txt";
const char* const kBoard = "/sys/class/thermal/thermal_message/board_sensor_temp";

void require(bool condition, const char* what) {
    if (condition)
        return;
    fprintf(stderr, "device files fuzzer: invariant broken: %s\n", what);
    abort();
}

hostkit::DeviceTree& tree() {
    // Removed at exit.
    static hostkit::DeviceTree t;
    static const bool prepared = [] {
        korahost::setLogEcho(getenv("SDSR_FUZZ_LOG") != nullptr);
        t.writeAllModels();
        return true;
    }();
    (void)prepared;
    return t;
}

enum class FileState { Absent, File, Directory };

// Absent, a directory, or a file with `content`.
void place(const std::string& devicePath, FileState state, const std::string& content) {
    const fs::path host = tree().path(devicePath);
    std::error_code ignored;
    fs::remove_all(host, ignored);
    if (state == FileState::File)
        tree().write(devicePath, content);
    else if (state == FileState::Directory)
        fs::create_directories(host);
}

FileState decodeState(FuzzInput& in) {
    const uint32_t choice = in.below(8);
    return choice == 0 ? FileState::Absent : choice == 1 ? FileState::Directory : FileState::File;
}

// The version the plugin sees in a version file: its first line; nothing when it cannot read
// one (the object remembers an empty version when the file is absent at construction).
std::string versionSeen(FileState state, const std::string& text) {
    return state == FileState::File ? text.substr(0, text.find('\n')) : std::string();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    tree();
    korahost::resetObservations();

    const FileState meminfoState = decodeState(in);
    const FileState versionAtCreation = decodeState(in);
    const FileState versionAtRequest = decodeState(in);
    const bool versionRewritten = in.flag();
    const FileState boardState = decodeState(in);
    const uint32_t missingModel = in.below(16);  // 12 and above: all present
    const std::string meminfo = in.blob(8192);
    const std::string version = in.blob(64);
    const std::string laterVersion = versionRewritten ? in.blob(64) : version;
    const std::string board = in.blob(32);
    const int32_t thermal = in.raw<int32_t>();

    const auto& models = korahost::deviceModelFiles();
    for (size_t i = 0; i < models.size(); ++i) {
        place("/data/vendor/camera/" + models[i],
              i == missingModel ? FileState::Absent : FileState::File, "model");
    }
    place(kMeminfo, meminfoState, meminfo);
    place(kBoard, boardState, board);
    place(kVersion, versionAtCreation, version);

    auto meta = hostkit::enablingMetadata();
    hostkit::putInt(*meta, "orvane.thermal.thermalResult", thermal);
    bool enabled = false;
    {
        SdSrPlugin plugin;
        CreateInfo createInfo{};
        createInfo.nodeName = "SdsrNode0";
        plugin.initialize(&createInfo, VoaNodeInterface{});
        place(kVersion, versionAtRequest, laterVersion);
        VoaParams params{};
        params.metadata = meta;
        enabled = plugin.isEnabled(params);
        plugin.destroy();
    }

    if (enabled) {
        require(meminfoState == FileState::File, "enabled with unreadable memory");
        require(versionAtRequest != FileState::Absent, "enabled without a version file");
        require(
            versionSeen(versionAtCreation, version) == versionSeen(versionAtRequest, laterVersion),
            "enabled with a changed version");
        require(missingModel >= models.size(), "enabled with a model file missing");
    }
    korahost::clearLogs();
    return 0;
}

// A korasim session: the fake device, the properties and log gates set before the plugin is
// loaded, and the steps that drive plugin objects. Parsed from JSON with every mistake reported
// by its JSON path (SessionError).
#pragma once

#include <stdint.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/SessionError.h"

namespace korasim {

// A device text file: absent (nullopt) or present with this content.
using DeviceText = std::optional<std::string>;

struct AlgorithmSpec {
    std::optional<std::string> library;  // "scripted", "reference", "absent"
    std::optional<std::array<int32_t, 4>> version;
    std::optional<int32_t> init, run, unit;  // results of the scripted library
};

struct MetaHelperSpec {
    std::optional<std::string> library;  // "scripted", "absent", "nullFactory", "noSymbol"
    std::optional<int32_t> status;
};

// The device tree, or the part of it a setDevice step changes: only keys that are set apply.
struct DeviceSpec {
    std::optional<DeviceText> versionFile;
    std::optional<std::vector<std::string>> models;  // names present
    std::optional<DeviceText> meminfo;
    std::optional<DeviceText> boardTemperature;
    std::map<std::string, DeviceText> files;
    std::optional<AlgorithmSpec> algorithm;
    std::optional<MetaHelperSpec> metaHelper;
    std::optional<int32_t> controllerFlag;
    std::optional<bool> perfLockFails;
};

// One metadata value, already encoded in the tag's type.
struct MetaValue {
    std::string name;  // as written in the session
    uint32_t tag = 0;
    uint8_t type = 0;
    size_t count = 0;
    std::vector<uint8_t> bytes;  // count values of the type, native byte order
};

// A metadata container: absent (null in the session) or present with these entries.
struct MetadataSpec {
    bool present = true;
    std::vector<MetaValue> entries;
};

struct ImageSource {
    std::string pattern;  // a pattern name, or empty when `file` is used
    std::string file;     // absolute path
    uint32_t seed = 1;
};

struct BufferSpec {
    std::string path;  // JSON path, for messages
    uint32_t port = 0;
    uint32_t format = 17;
    uint32_t width = 640, height = 480, stride = 0, scanline = 0;
    ImageSource image;
    MetadataSpec metadata;
    MetadataSpec physicalMetadata;
};

struct LogGates {
    int32_t level = 0;
    uint32_t groups = 0xFFFFFFFFu;
    int32_t offlineLevel = 0;
    uint32_t offlineGroups = 0xFFFFFFFFu;
    int32_t debugMask = 1;
};

enum class StepKind {
    Create,
    Initialize,
    IsEnabled,
    ProcessRequest,
    Flush,
    Destroy,
    Delete,
    SetDevice
};
const char* stepKindName(StepKind kind);

struct Step {
    std::string path;  // "steps[3]"
    StepKind kind = StepKind::Create;
    std::string plugin;
    // initialize
    std::string nodeName = "SdsrNode0";
    int32_t nodeValue = 0;
    std::optional<int32_t> processingTimeMs;  // the node's processing-time callback answer
    // isEnabled
    MetadataSpec metadata;
    bool metadataFromNextRequest = false;  // share the next request's first input metadata
    // isEnabled and processRequest
    uint64_t requestKey = 1;
    uint32_t frameNumber = 0;
    uint32_t requestIndex = 0;
    // processRequest
    std::vector<BufferSpec> inputs;
    std::vector<BufferSpec> outputs;
    bool ifEnabled = false;  // run only when the plugin's last isEnabled answered true
    // flush
    bool flushAll = false;
    // setDevice
    DeviceSpec device;
    // What the step must show in its report (see Expect.h); null when nothing is expected.
    nlohmann::json expect;
};

struct Session {
    DeviceSpec device;  // complete after parsing: every default filled in
    std::map<std::string, std::string> properties;
    LogGates log;
    std::vector<Step> steps;
    bool defaultSteps = false;
};

// Parses a session document. `baseDir` resolves relative image file paths. Throws SessionError.
Session parseSession(const nlohmann::json& document, const std::string& baseDir);
// Reads and parses a session file; JSON syntax errors become SessionError too.
Session loadSession(const std::string& path);

}  // namespace korasim

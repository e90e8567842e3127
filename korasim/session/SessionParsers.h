// The parts of the session parser, one file each: the device, metadata, buffers and requests.
// Internal to the parser; SessionParser.cpp puts them together.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "session/Session.h"
#include "session/StrictValues.h"

namespace korasim {
namespace parse {

// ---- SessionDevice.cpp ----
DeviceSpec parseDevice(const json& j, const std::string& path);
// The device a session runs on when it says nothing: every probe passes.
DeviceSpec defaultDevice();
// Fills every unset key of `d` from `base`.
void completeDevice(DeviceSpec& d, const DeviceSpec& base);

// ---- SessionMetadata.cpp ----
// The tags that make the plugin enable itself.
MetadataSpec enablingMetadata();
MetadataSpec parseMetadata(const json& j, const std::string& path);

// ---- SessionBuffers.cpp ----
struct RequestTemplate {
    std::vector<BufferSpec> inputs;
    std::optional<std::vector<BufferSpec>> outputs;
    uint64_t requestKey = 1;
    uint32_t frameNumber = 0, requestIndex = 0;
};

std::vector<BufferSpec> parseBuffers(const json& j, const std::string& path, bool input,
                                     const BufferSpec* geometry, const std::string& baseDir);
// Fills the request keys of a step or template.
void parseRequestValues(const json& j, const std::string& path, uint64_t& key, uint32_t& frame,
                        uint32_t* index);
// The step's outputs, or one output mirroring its primary input when the session names none.
void fillOutputs(Step& s, const std::optional<std::vector<BufferSpec>>& outputs,
                 const std::string& path);
RequestTemplate defaultRequest(const std::string& baseDir);
RequestTemplate parseRequestTemplate(const json& j, const std::string& path,
                                     const std::string& baseDir);

}  // namespace parse
}  // namespace korasim

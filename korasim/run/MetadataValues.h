// Metadata values between the session, the container the plugin sees and the report: type
// names, building a container from a session's entries, decoding values the plugin wrote.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "session/MetadataTypes.h"
#include "session/Session.h"

class VoMetadata;

namespace korasim {

// The container of a session's entries; null when the session gives none (null).
// Throws SessionError naming `path` when the container refuses a value.
std::shared_ptr<VoMetadata> buildMetadata(const MetadataSpec& wanted, const std::string& path);

// `count` values of `type` as JSON: numbers, pairs for rationals, hex text for bytes.
nlohmann::json decodeValues(uint8_t type, const std::vector<uint8_t>& bytes, size_t count);

}  // namespace korasim

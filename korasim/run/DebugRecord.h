// The plugin's 768-byte multi-frame debug record ("orvane.multiframe.debugData") decoded into
// its fields from the bytes the plugin wrote, for the report and the HTML page.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasim {

constexpr size_t kDebugRecordBytes = 768;

// {"cameraId", "frameCount", "frames": [{"sensorMode", "exposureNs", "startOfExposureNs"}...],
//  "reservedZero"}; frames lists the first frameCount slots (at most 20). A record of another
// size yields {"error": ...}.
nlohmann::json decodeDebugRecord(const std::vector<uint8_t>& bytes);

}  // namespace korasim

// Metadata containers as the framework hands them to the plugin: the tags that enable SDSR for a
// request and writers of single values.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

#include "VoMetadata.h"

namespace hostkit {

// A metadata container whose tags enable SDSR for a request (sdsrui 2, trigger 1, mode 1, a
// SmartAE record with algoType 7 and sensor mode 0, zoom 10.0).
std::shared_ptr<VoMetadata> enablingMetadata(float zoom = 10.0f);
// Writes a SmartAE record (full size unless `size` is smaller).
void putSmartAE(VoMetadata& meta, int32_t algoType, int32_t sensorMode, size_t size = 0);
// Each throws std::runtime_error for a tag name the registry does not know.
void putInt(VoMetadata& meta, const char* tagName, int32_t value);
void putInt64(VoMetadata& meta, const char* tagName, int64_t value);
void putFloat(VoMetadata& meta, uint32_t tag, float value);
void putString(VoMetadata& meta, const char* tagName, const std::string& text, bool withNul);

}  // namespace hostkit

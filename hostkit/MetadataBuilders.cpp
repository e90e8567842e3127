#include "MetadataBuilders.h"

#include <stdexcept>
#include <vector>

#include "SmartAEProcOutput.h"

namespace hostkit {

namespace {

uint32_t tagOf(const char* name) {
    unsigned int tag = 0;
    if (VoMetadata::getTagFromName(name, &tag) != 0)
        throw std::runtime_error(std::string("unknown tag ") + name);
    return tag;
}

}  // namespace

void putInt(VoMetadata& meta, const char* tagName, int32_t value) {
    meta.update(tagOf(tagName), &value, 1);
}

void putInt64(VoMetadata& meta, const char* tagName, int64_t value) {
    meta.update(tagOf(tagName), &value, 1);
}

void putFloat(VoMetadata& meta, uint32_t tag, float value) {
    meta.update(tag, &value, 1);
}

void putString(VoMetadata& meta, const char* tagName, const std::string& text, bool withNul) {
    std::vector<uint8_t> bytes(text.begin(), text.end());
    if (withNul)
        bytes.push_back(0);
    meta.update(tagOf(tagName), bytes.data(), bytes.size());
}

void putSmartAE(VoMetadata& meta, int32_t algoType, int32_t sensorMode, size_t size) {
    VO_SMARTAE::SmartAEProcOutput record{};
    record.algoType = algoType;
    record.sensorMode = sensorMode;
    const size_t bytes = (size == 0 || size > sizeof(record)) ? sizeof(record) : size;
    meta.update(tagOf("orvane.ai.asd.SmartAE"), reinterpret_cast<const uint8_t*>(&record), bytes);
}

std::shared_ptr<VoMetadata> enablingMetadata(float zoom) {
    auto meta = std::make_shared<VoMetadata>();
    putInt(*meta, "orvane.ai.asd.sdsrui", 2);
    putInt(*meta, "orvane.ai.asd.SDSRTrigger", 1);
    putInt(*meta, "com.orvane.stableDiffusionSR.mode", 1);
    putSmartAE(*meta, 7, 0);
    putFloat(*meta, ANDROID_CONTROL_ZOOM_RATIO, zoom);
    return meta;
}

}  // namespace hostkit

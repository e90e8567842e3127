// Per-request node data of the SDSR plugin (smart AE output, lux index, temperatures) and the
// typed metadata helpers readMeta / setMeta that every plugin unit uses.
#pragma once

#include <stdint.h>

#include <memory>

#include "SmartAEProcOutput.h"
#include "VoLog.h"
#include "VoMetadata.h"

// Log statements of the plugin's own units carry the tag "SDSR"; log group 2 is the plugin's
// ordinary group, 1 the debug-data and boost group, 32 the metadata group, 64 the EXIF-move
// group.
#define SDSR_LOG_TAG "SDSR"
#define VOA_LOG_TAG "VoAlgoEngine"
enum : uint32_t {
    SDSR_GROUP_COMMON = 1,
    SDSR_GROUP_PLUGIN = 2,
    SDSR_GROUP_META = 32,
    SDSR_GROUP_EXIF_MOVE = 64,
};

#define NODE_DATA_H_SOURCE "sdsr/nodeSdsrData.h"

namespace voalgo2 {

template <typename T>
inline T metaFirstValue(const MetadataEntry& entry);
template <>
inline int metaFirstValue<int>(const MetadataEntry& entry) {
    return entry.data.i32[0];
}
template <>
inline long metaFirstValue<long>(const MetadataEntry& entry) {
    return static_cast<long>(entry.data.i64[0]);
}
template <>
inline float metaFirstValue<float>(const MetadataEntry& entry) {
    return entry.data.f[0];
}

// Reads the first value of a tag, by name, into `out`. False (and `out` untouched) when the
// tag is absent or empty; `logName` names the tag in that log line only.
template <typename T>
bool readMeta(std::shared_ptr<VoMetadata> meta, const char* tagName, const char* logName, T& out) {
    MetadataEntry entry{};
    if (meta != nullptr && tagName != nullptr)
        entry = meta->find(tagName);
    if (entry.count != 0 && entry.data.u8 != nullptr) {
        out = metaFirstValue<T>(entry);
        return true;
    }
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_H_SOURCE, "MetaData not found for %s",
           logName ? logName : "(null)");
    return false;
}

// Reads the first value of a tag, by numeric id, into `out`.
template <typename T>
bool readMeta(std::shared_ptr<VoMetadata> meta, unsigned int tag, const char* logName, T& out) {
    MetadataEntry entry{};
    if (meta != nullptr)
        entry = meta->find(tag);
    if (entry.count != 0 && entry.data.u8 != nullptr) {
        out = metaFirstValue<T>(entry);
        return true;
    }
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_H_SOURCE, "MetaData not found for %s",
           logName ? logName : "(null)");
    return false;
}

// Writes `count` values of a tag named `tagName`. Returns the container's status: 0 on
// success, -1 for an unknown tag name; 0 as well when the write was skipped for a null
// container or a null name (logged).
template <typename T>
int setMeta(std::shared_ptr<VoMetadata> meta, const char* tagName, const T* data,
            unsigned long count) {
    if (meta == nullptr) {
        VO_LOG(I, VOA_LOG_TAG, SDSR_GROUP_META, NODE_DATA_H_SOURCE, "mdata is nullptr");
        return 0;
    }
    if (tagName == nullptr) {
        VO_LOG(I, VOA_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_H_SOURCE, "metaData is null");
        return 0;
    }
    unsigned int tag = 0;
    int status = -1;
    if (VoMetadata::getTagFromName(tagName, &tag) == 0)
        status = meta->update(tag, data, count);
    VO_LOG(D, VOA_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_H_SOURCE, "update tagName = %s ret = %d",
           tagName, status);
    return status;
}

// Bytes of the lux record exchanged with the metadata helper; the lux index is the float at
// byte 96.
struct LuxInfoRecord {
    uint8_t head[96];
    float luxIndex;
    uint8_t tail[20];
};
static_assert(sizeof(LuxInfoRecord) == 120, "lux record size");
static_assert(offsetof(LuxInfoRecord, luxIndex) == 96, "lux index at byte 96");

class NodeSdsrData {
  public:
    NodeSdsrData();
    virtual ~NodeSdsrData();
    NodeSdsrData(const NodeSdsrData&) = delete;
    NodeSdsrData& operator=(const NodeSdsrData&) = delete;

    bool init(unsigned int first, unsigned int second, int third);

    // The getters read only the request metadata and the device, never the object, so the
    // plugin calls them even when it has no node-data object (version file missing).

    // Points *out at the SmartAE record inside the container (borrowed, no copy). False, and
    // *out untouched, when the tag is absent or shorter than the record.
    static bool getSmartAEProcOutput(std::shared_ptr<VoMetadata> meta,
                                     VO_SMARTAE::SmartAEProcOutput** out);
    // Lux index from the metadata helper; 0.0 when unknown.
    static float getLuxIndex(std::shared_ptr<VoMetadata> meta);
    // "orvane.thermal.thermalResult" of the request; 0 when absent.
    static int getThermalTemperature(std::shared_ptr<VoMetadata> meta);
    // The board sensor node's value; 0 on any failure.
    static int getBoardTemperature(std::shared_ptr<VoMetadata> meta);

  private:
    unsigned int m_initFirst;
    unsigned int m_initSecond;
    int m_initThird;
};

}  // namespace voalgo2

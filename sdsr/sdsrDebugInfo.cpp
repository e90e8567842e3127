// The multi-frame debug record: per input frame exposure time, sensor mode and start of
// exposure, plus the physical camera id, packed into 768 bytes and attached to the metadata of
// every buffer of the request for the capture pipeline's EXIF writer.
#include <string.h>

#include "sdsrplugin.h"

#define DEBUG_INFO_LOGI(fmt, ...) \
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_EXIF_MOVE, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
// The frame lines are gathered by recordFrame for multiframeAlgoSetDebugInfo and carry its name.
#define DEBUG_INFO_FRAME_LOGI(fmt, ...)                                            \
    VO_LOG_AS("multiframeAlgoSetDebugInfo", I, SDSR_LOG_TAG, SDSR_GROUP_EXIF_MOVE, \
              SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
#define DEBUG_INFO_LOGW(fmt, ...) \
    VO_LOG(W, SDSR_LOG_TAG, SDSR_GROUP_COMMON, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)

namespace {

const char* const kDebugDataTag = "orvane.multiframe.debugData";
const char* const kSensorModeTag = "org.codeaurora.qcamera3.sensor_meta_data.current_mode";
const char* const kStartOfExposureTag = "org.quic.camera.qtimer.startOfExposure";
const char* const kPhysCameraIdTag = "orvane.snapshot.physCameraId";

// Layout of the record (little-endian, byte offsets).
const size_t kRecordSize = 768;
const size_t kCameraIdOffset = 0;
const size_t kFrameCountOffset = 1;
const size_t kSensorModeOffset = 208;
const size_t kExposureOffset = 288;
const size_t kTimestampOffset = 608;
// The sensor-mode and timestamp arrays hold this many frames; later frames are counted only.
const unsigned kMaxFrameSlots = 20;

template <typename T>
void putAt(uint8_t* record, size_t offset, T value) {
    memcpy(record + offset, &value, sizeof(value));
}

bool hasContent(const std::shared_ptr<VoMetadata>& meta) {
    return meta != nullptr && !meta->isEmpty();
}

// Fills frame slot `slot` from one metadata container: exposure time and start of exposure, and
// the sensor mode only when asked (logical metadata does not carry it).
void recordFrame(uint8_t* record, const std::shared_ptr<VoMetadata>& meta, unsigned slot,
                 bool withSensorMode) {
    long exposure = 0;
    voalgo2::readMeta<long>(meta, static_cast<unsigned int>(ANDROID_SENSOR_EXPOSURE_TIME),
                            "ANDROID_SENSOR_EXPOSURE_TIME", exposure);
    putAt<int64_t>(record, kExposureOffset + 8u * slot, exposure);
    DEBUG_INFO_FRAME_LOGI("[ImageExifMoveInfo] exposure time is %ld", exposure);

    if (withSensorMode) {
        int sensorMode = 0;
        voalgo2::readMeta<int>(meta, kSensorModeTag, kSensorModeTag, sensorMode);
        putAt<int32_t>(record, kSensorModeOffset + 4u * slot, sensorMode);
        DEBUG_INFO_FRAME_LOGI("[ImageExifMoveInfo] sensormode is %d", sensorMode);
    }

    long timestamp = 0;
    voalgo2::readMeta<long>(meta, kStartOfExposureTag, kStartOfExposureTag, timestamp);
    putAt<int64_t>(record, kTimestampOffset + 8u * slot, timestamp);
    DEBUG_INFO_FRAME_LOGI("[ImageExifMoveInfo] timestamp time is %ld", timestamp);
}

}  // namespace

int SdSrPlugin::multiframeAlgoSetDebugInfo(ProcessRequestInfo* request) {
    if (request == nullptr)
        return 0;

    uint8_t record[kRecordSize];
    memset(record, 0, sizeof(record));
    uint8_t frameCounter = 0;
    unsigned visited = 0;
    bool overflowReported = false;

    for (auto& port : request->inputBuffers) {
        for (auto& image : port.second) {
            const uint8_t slot = frameCounter;
            const bool hasSlot = visited < kMaxFrameSlots;
            if (!hasSlot && !overflowReported) {
                DEBUG_INFO_LOGW(
                    "[ImageExifMoveInfo] more than %u input frames: frames from %u on are "
                    "counted but not recorded",
                    kMaxFrameSlots, kMaxFrameSlots + 1);
                overflowReported = true;
            }
            if (hasContent(image.physicalMetadata)) {
                if (hasSlot)
                    recordFrame(record, image.physicalMetadata, slot, true);
                // Every frame with physical metadata overwrites the camera id, with 0 when it
                // lacks the tag, frames past the slots included: the last such frame decides.
                // The byte keeps the low 8 bits of the id.
                int cameraId = 0;
                voalgo2::readMeta<int>(image.physicalMetadata, kPhysCameraIdTag, kPhysCameraIdTag,
                                       cameraId);
                record[kCameraIdOffset] = static_cast<uint8_t>(cameraId);
                DEBUG_INFO_LOGI("[ImageExifMoveInfo] curCameraId is %d", cameraId);
            } else if (hasContent(image.metadata) && hasSlot) {
                recordFrame(record, image.metadata, slot, false);
            }
            ++frameCounter;
            ++visited;
        }
    }
    record[kFrameCountOffset] = frameCounter;

    // Writes the record into both containers of every buffer of one map.
    auto writeRecord = [&record](VoBufferMap& buffers) {
        for (auto& port : buffers) {
            for (auto& image : port.second) {
                if (hasContent(image.metadata)) {
                    if (voalgo2::setMeta<unsigned char>(image.metadata, kDebugDataTag, record,
                                                        kRecordSize) != 0) {
                        DEBUG_INFO_LOGW("[ImageExifMoveInfo] Cannot set multiframe debugdata");
                    }
                } else {
                    DEBUG_INFO_LOGW("[ImageExifMoveInfo] getLogicalMetadata is NULL");
                }
                if (hasContent(image.physicalMetadata)) {
                    if (voalgo2::setMeta<unsigned char>(image.physicalMetadata, kDebugDataTag,
                                                        record, kRecordSize) != 0) {
                        DEBUG_INFO_LOGW("[ImageExifMoveInfo] Cannot set multiframe debugdata");
                    }
                } else {
                    DEBUG_INFO_LOGW("[ImageExifMoveInfo] getPhysicalMetadata is NULL");
                }
            }
        }
    };

    writeRecord(request->inputBuffers);
    DEBUG_INFO_LOGI("[ImageExifMoveInfo] set inputBuffer meta result %d", 0);
    writeRecord(request->outputBuffers);
    DEBUG_INFO_LOGI("[ImageExifMoveInfo] set outputBuffer meta result %d", 0);
    return 0;
}

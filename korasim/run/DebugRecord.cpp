#include "run/DebugRecord.h"

#include <algorithm>

namespace korasim {

namespace {

// Byte offsets of the record's fields; the arrays hold one slot per input frame.
constexpr size_t kCameraId = 0, kFrameCount = 1, kReserved = 2, kReservedEnd = 208;
constexpr size_t kSensorModes = 208, kExposures = 288, kStartOfExposure = 608;
constexpr size_t kFrameSlots = 20;

template <typename T>
T little(const std::vector<uint8_t>& bytes, size_t offset) {
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<T>(static_cast<uint64_t>(bytes[offset + i]) << (8 * i));
    return value;
}

}  // namespace

nlohmann::json decodeDebugRecord(const std::vector<uint8_t>& bytes) {
    if (bytes.size() != kDebugRecordBytes)
        return {{"error", "record of " + std::to_string(bytes.size()) + " bytes, expected 768"}};
    const unsigned frameCount = bytes[kFrameCount];
    nlohmann::json frames = nlohmann::json::array();
    for (size_t i = 0; i < std::min<size_t>(frameCount, kFrameSlots); ++i) {
        frames.push_back({{"sensorMode", little<int32_t>(bytes, kSensorModes + 4 * i)},
                          {"exposureNs", little<int64_t>(bytes, kExposures + 8 * i)},
                          {"startOfExposureNs", little<int64_t>(bytes, kStartOfExposure + 8 * i)}});
    }
    const bool reservedZero = std::all_of(bytes.begin() + kReserved, bytes.begin() + kReservedEnd,
                                          [](uint8_t b) { return b == 0; });
    return {{"cameraId", bytes[kCameraId]},
            {"frameCount", frameCount},
            {"frames", frames},
            {"reservedZero", reservedZero}};
}

}  // namespace korasim

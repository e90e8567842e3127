// Tag registry: Android's standard tags the plugin and the tools use, by their published ids,
// and the vendor tags by name with fixed ids from 0x80000000 on. Host programs may register
// more tags.
#include "TagRegistry.h"

#include <stddef.h>
#include <string.h>

#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "VoMetadata.h"

namespace korahost {
namespace detail {

namespace {

struct Entry {
    std::string name;
    uint8_t type;
};

struct Registry {
    std::mutex lock;
    std::map<uint32_t, Entry> byId;
    // Transparent comparison: a lookup by C string builds no std::string.
    std::map<std::string, uint32_t, std::less<>> byName;

    Registry() {
        static const struct {
            const char* name;
            const char* alias;
            uint32_t tag;
            uint8_t type;
        } kStandard[] = {
            {"ANDROID_CONTROL_AE_MODE", "android.control.aeMode", ANDROID_CONTROL_AE_MODE,
             TYPE_BYTE},
            {"ANDROID_CONTROL_ZOOM_RATIO", "android.control.zoomRatio", ANDROID_CONTROL_ZOOM_RATIO,
             TYPE_FLOAT},
            {"ANDROID_JPEG_ORIENTATION", "android.jpeg.orientation", ANDROID_JPEG_ORIENTATION,
             TYPE_INT32},
            {"ANDROID_LENS_FOCAL_LENGTH", "android.lens.focalLength", ANDROID_LENS_FOCAL_LENGTH,
             TYPE_FLOAT},
            {"ANDROID_SENSOR_EXPOSURE_TIME", "android.sensor.exposureTime",
             ANDROID_SENSOR_EXPOSURE_TIME, TYPE_INT64},
            {"ANDROID_SENSOR_SENSITIVITY", "android.sensor.sensitivity", ANDROID_SENSOR_SENSITIVITY,
             TYPE_INT32},
            {"ANDROID_SENSOR_TIMESTAMP", "android.sensor.timestamp", ANDROID_SENSOR_TIMESTAMP,
             TYPE_INT64},
        };
        for (const auto& t : kStandard) {
            byId[t.tag] = Entry{t.name, t.type};
            byName[t.name] = t.tag;
            byName[t.alias] = t.tag;
        }
        static const struct {
            const char* name;
            uint8_t type;
        } kVendor[] = {
            {"com.orvane.kora2.preAnchorProc", TYPE_INT32},
            {"orvane.ai.asd.sdsrui", TYPE_INT32},
            {"orvane.ai.asd.SDSRTrigger", TYPE_INT32},
            {"com.orvane.stableDiffusionSR.mode", TYPE_INT32},
            {"orvane.snapshot.stableDiffusionSREnable", TYPE_INT32},
            {"orvane.ai.asd.SmartAE", TYPE_BYTE},
            {"orvane.thermal.thermalResult", TYPE_INT32},
            {"orvane.snapshot.imageName", TYPE_BYTE},
            {"org.codeaurora.qcamera3.sensor_meta_data.current_mode", TYPE_INT32},
            {"org.quic.camera.qtimer.startOfExposure", TYPE_INT64},
            {"orvane.snapshot.physCameraId", TYPE_INT32},
            {"orvane.multiframe.debugData", TYPE_BYTE},
            {"orvane.stats.luxIndex", TYPE_FLOAT},
        };
        uint32_t next = 0x80000000u;
        for (const auto& t : kVendor) {
            byId[next] = Entry{t.name, t.type};
            byName[t.name] = next;
            ++next;
        }
    }
};

Registry& registry() {
    static Registry* instance = new Registry();
    return *instance;
}

}  // namespace

TagInfo tagByName(const char* name) {
    if (name == nullptr)
        return TagInfo{false, 0, 0};
    Registry& r = registry();
    const std::string_view key(name);
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.byName.find(key);
    if (it == r.byName.end())
        return TagInfo{false, 0, 0};
    return TagInfo{true, it->second, r.byId[it->second].type};
}

TagInfo tagById(uint32_t tag) {
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.byId.find(tag);
    if (it == r.byId.end())
        return TagInfo{false, tag, 0};
    return TagInfo{true, tag, it->second.type};
}

const char* tagNameOf(uint32_t tag) {
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.byId.find(tag);
    // Entries are never removed, so the name's storage lives as long as the process.
    return it == r.byId.end() ? nullptr : it->second.name.c_str();
}

size_t typeSize(uint8_t type) {
    switch (type) {
        case TYPE_BYTE:
            return 1;
        case TYPE_INT32:
            return 4;
        case TYPE_FLOAT:
            return 4;
        case TYPE_INT64:
            return 8;
        case TYPE_DOUBLE:
            return 8;
        case TYPE_RATIONAL:
            return 8;
        default:
            return 0;
    }
}

int registerTag(const char* name, uint32_t tag, uint8_t type) {
    if (name == nullptr || typeSize(type) == 0)
        return -22;
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto byName = r.byName.find(name);
    auto byId = r.byId.find(tag);
    if (byName != r.byName.end() || byId != r.byId.end()) {
        const bool same = byName != r.byName.end() && byName->second == tag &&
                          byId != r.byId.end() && byId->second.type == type;
        return same ? 0 : -17;
    }
    r.byId[tag] = Entry{name, type};
    r.byName[name] = tag;
    return 0;
}

}  // namespace detail

std::vector<RegisteredTag> registeredTags() {
    auto& r = detail::registry();
    std::lock_guard<std::mutex> guard(r.lock);
    std::vector<RegisteredTag> out;
    for (const auto& entry : r.byId) {
        out.push_back(RegisteredTag{entry.second.name.c_str(), entry.first, entry.second.type});
    }
    return out;
}

}  // namespace korahost

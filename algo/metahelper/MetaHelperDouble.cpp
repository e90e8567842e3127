// Doubles of the platform's metadata helper library. METAHELPER_DOUBLE_VARIANT selects what
// "GetInstance" does: 0 returns a working factory, 1 returns null, 2 leaves the symbol out.
// The working helper reads the lux index from the request's "orvane.stats.luxIndex" tag.
#include <string.h>

#include <atomic>
#include <memory>

#include "MetaHelper.h"
#include "MetaHelperDoubleControl.h"
#include "VoMetadata.h"

#ifndef METAHELPER_DOUBLE_VARIANT
#define METAHELPER_DOUBLE_VARIANT 0
#endif

#define DOUBLE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

const char* const kLuxTag = "orvane.stats.luxIndex";
const size_t kLuxRecordOffset = 96;

std::atomic<int> gStatus{0};
std::atomic<int> gGetInstanceCalls{0};
std::atomic<int> gPrepareCalls{0};
std::atomic<int> gCreateCalls{0};
std::atomic<int> gQueryCalls{0};

class DoubleHelper : public metahelper::MetaHelper {
  public:
    int queryExposureInfo(std::shared_ptr<VoMetadata>, void*) override { return -1; }
    int queryFaceInfo(std::shared_ptr<VoMetadata>, void*) override { return -1; }
    int queryLuxInfo(std::shared_ptr<VoMetadata> meta, voalgo2::LuxInfoRecord* record) override {
        ++gQueryCalls;
        const int status = gStatus.load();
        if (status != 0 || record == nullptr)
            return status != 0 ? status : -1;
        float lux = 0.0f;
        if (meta != nullptr) {
            const MetadataEntry entry = meta->find(kLuxTag);
            if (entry.count != 0 && entry.data.f != nullptr)
                lux = entry.data.f[0];
        }
        memcpy(reinterpret_cast<uint8_t*>(record) + kLuxRecordOffset, &lux, sizeof(lux));
        return 0;
    }
    int queryAwbInfo(std::shared_ptr<VoMetadata>, void*) override { return -1; }
};

class DoubleFactory : public metahelper::MetaHelperFactory {
  public:
    int prepare() override {
        ++gPrepareCalls;
        return 0;
    }
    std::shared_ptr<metahelper::MetaHelper> createMetaHelper() override {
        ++gCreateCalls;
        // Not make_shared: its type tag is a unique symbol, which would keep the library loaded
        // after dlclose and hide whether a client closes it.
        return std::shared_ptr<metahelper::MetaHelper>(new DoubleHelper());
    }
};

[[maybe_unused]] DoubleFactory gFactory;

}  // namespace

#if METAHELPER_DOUBLE_VARIANT == 0
DOUBLE_EXPORT metahelper::MetaHelperFactory* GetInstance() {
    ++gGetInstanceCalls;
    return &gFactory;
}
#elif METAHELPER_DOUBLE_VARIANT == 1
DOUBLE_EXPORT metahelper::MetaHelperFactory* GetInstance() {
    ++gGetInstanceCalls;
    return nullptr;
}
#endif

DOUBLE_EXPORT void metahelperDouble_setStatus(int status) {
    gStatus = status;
}

DOUBLE_EXPORT void metahelperDouble_reset(void) {
    gStatus = 0;
    gGetInstanceCalls = 0;
    gPrepareCalls = 0;
    gCreateCalls = 0;
    gQueryCalls = 0;
}

DOUBLE_EXPORT int metahelperDouble_getInstanceCalls(void) {
    return gGetInstanceCalls;
}
DOUBLE_EXPORT int metahelperDouble_prepareCalls(void) {
    return gPrepareCalls;
}
DOUBLE_EXPORT int metahelperDouble_createCalls(void) {
    return gCreateCalls;
}
DOUBLE_EXPORT int metahelperDouble_queryCalls(void) {
    return gQueryCalls;
}

// Node data of the SDSR plugin: construction, init and the smart AE output of a request.
#include "nodeSdsrData.h"

#include "sdsrConfig.h"

#define NODE_DATA_SOURCE "sdsr/nodeSdsrData"
#define NODE_LOGW(fmt, ...) \
    VO_LOG(W, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_SOURCE, fmt, ##__VA_ARGS__)
#define NODE_LOGI(fmt, ...) \
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, NODE_DATA_SOURCE, fmt, ##__VA_ARGS__)

namespace voalgo2 {

namespace {
const char* const kSmartAETag = "orvane.ai.asd.SmartAE";
}

NodeSdsrData::NodeSdsrData() : m_initFirst(0), m_initSecond(0), m_initThird(0) {}

NodeSdsrData::~NodeSdsrData() {}

bool NodeSdsrData::init(unsigned int first, unsigned int second, int third) {
    m_initFirst = first;
    m_initSecond = second;
    m_initThird = third;
    return true;
}

bool NodeSdsrData::getSmartAEProcOutput(std::shared_ptr<VoMetadata> meta,
                                        VO_SMARTAE::SmartAEProcOutput** out) {
    bool found = false;
    const VO_SMARTAE::SmartAEProcOutput* record = nullptr;
    if (meta != nullptr) {
        MetadataEntry entry{};
        entry = meta->find(kSmartAETag);
        found = entry.count != 0;
        if (found && entry.count < sizeof(VO_SMARTAE::SmartAEProcOutput)) {
            // A truncated record would make every later field read run past the tag's bytes.
            NODE_LOGW("%s holds %zu bytes, less than the %zu of a record: ignored", kSmartAETag,
                      static_cast<size_t>(entry.count), sizeof(VO_SMARTAE::SmartAEProcOutput));
            found = false;
        }
        if (found)
            record = reinterpret_cast<const VO_SMARTAE::SmartAEProcOutput*>(entry.data.u8);
    }
    meta.reset();

    if (record != nullptr) {
        if (out != nullptr)
            *out = const_cast<VO_SMARTAE::SmartAEProcOutput*>(record);
        NODE_LOGI("get %s, is successful", kSmartAETag);
    } else {
        NODE_LOGI("get %s, is failed", kSmartAETag);
    }
    return found;
}

}  // namespace voalgo2

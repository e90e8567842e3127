#include "run/MetadataValues.h"

#include <string.h>

#include <algorithm>

#include "VoMetadata.h"
#include "VoaTypes.h"
#include "common/Hex.h"

namespace korasim {

using nlohmann::json;

namespace {

template <typename T>
json decodeList(const std::vector<uint8_t>& bytes, size_t count) {
    json values = json::array();
    for (size_t i = 0; i < count && (i + 1) * sizeof(T) <= bytes.size(); ++i) {
        T v;
        memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
        values.push_back(v);
    }
    return values;
}

}  // namespace

json decodeValues(uint8_t type, const std::vector<uint8_t>& bytes, size_t count) {
    switch (type) {
        case TYPE_INT32:
            return decodeList<int32_t>(bytes, count);
        case TYPE_FLOAT:
            return decodeList<float>(bytes, count);
        case TYPE_INT64:
            return decodeList<int64_t>(bytes, count);
        case TYPE_DOUBLE:
            return decodeList<double>(bytes, count);
        case TYPE_RATIONAL:
            return decodeList<int32_t>(bytes, count * 2);
        default:
            return hexBytes(bytes.data(), std::min(bytes.size(), count));
    }
}

std::shared_ptr<VoMetadata> buildMetadata(const MetadataSpec& wanted, const std::string& path) {
    if (!wanted.present)
        return nullptr;
    auto meta = std::make_shared<VoMetadata>();
    for (const MetaValue& e : wanted.entries) {
        const void* data = e.bytes.empty() ? nullptr : e.bytes.data();
        int status = -1;
        switch (e.type) {
            case TYPE_BYTE:
                status = meta->update(e.tag, static_cast<const uint8_t*>(data), e.count);
                break;
            case TYPE_INT32:
                status = meta->update(e.tag, static_cast<const int32_t*>(data), e.count);
                break;
            case TYPE_FLOAT:
                status = meta->update(e.tag, static_cast<const float*>(data), e.count);
                break;
            case TYPE_INT64:
                status = meta->update(e.tag, static_cast<const int64_t*>(data), e.count);
                break;
            case TYPE_DOUBLE:
                status = meta->update(e.tag, static_cast<const double*>(data), e.count);
                break;
            case TYPE_RATIONAL:
                status = meta->update(e.tag, static_cast<const camera_metadata_rational_t*>(data),
                                      e.count);
                break;
            default:
                break;
        }
        if (status != 0) {
            throw SessionError(path + "." + e.name, "the metadata container refused the value");
        }
    }
    return meta;
}

}  // namespace korasim

// VoMetadata on the host: typed entries by tag id, checked against the tag registry.
#include "VoMetadata.h"

#include <string.h>

#include "HostState.h"
#include "TagRegistry.h"

namespace {
constexpr int kBadValue = -22;  // -EINVAL, as Android's metadata returns it
constexpr int kNotFound = -2;   // -ENOENT
}  // namespace

VoMetadata::VoMetadata() = default;
VoMetadata::~VoMetadata() = default;

VoMetadata::VoMetadata(const VoMetadata& other) {
    std::lock_guard<std::mutex> guard(other.m_lock);
    m_entries = other.m_entries;
}

VoMetadata& VoMetadata::operator=(const VoMetadata& other) {
    if (this == &other)
        return *this;
    std::map<uint32_t, Stored> copy;
    {
        std::lock_guard<std::mutex> guard(other.m_lock);
        copy = other.m_entries;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries = std::move(copy);
    return *this;
}

MetadataEntry VoMetadata::find(uint32_t tag) const {
    MetadataEntry entry{};
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_entries.find(tag);
    if (it == m_entries.end())
        return entry;
    entry.index = size_t(std::distance(m_entries.begin(), it));
    entry.tag = tag;
    entry.type = it->second.type;
    entry.count = it->second.count;
    entry.data.u8 = it->second.count ? it->second.bytes.data() : nullptr;
    return entry;
}

MetadataEntry VoMetadata::find(const char* tagName) const {
    const auto info = korahost::detail::tagByName(tagName);
    if (!info.found)
        return MetadataEntry{};
    return find(info.tag);
}

int VoMetadata::getTagFromName(const char* name, unsigned int* tag) {
    if (tag == nullptr)
        return kBadValue;
    const auto info = korahost::detail::tagByName(name);
    if (!info.found)
        return kNotFound;
    *tag = info.tag;
    return 0;
}

const char* VoMetadata::getTagName(uint32_t tag) {
    return korahost::detail::tagNameOf(tag);
}

int VoMetadata::getTagType(uint32_t tag) {
    const auto info = korahost::detail::tagById(tag);
    return info.found ? int(info.type) : -1;
}

int VoMetadata::registerTag(const char* name, uint32_t tag, uint8_t type) {
    return korahost::detail::registerTag(name, tag, type);
}

int VoMetadata::store(uint32_t tag, uint8_t type, const void* data, unsigned long count,
                      size_t elemSize) {
    const auto info = korahost::detail::tagById(tag);
    int status = 0;
    if (!info.found || info.type != type || (data == nullptr && count != 0)) {
        status = kBadValue;
    } else {
        Stored stored;
        stored.type = type;
        stored.count = count;
        const size_t bytes = size_t(count) * elemSize;
        // Padding: a reader may take the first value as any type (up to 8 bytes).
        stored.bytes.assign(bytes < 8 ? 8 : bytes, 0);
        if (bytes)
            memcpy(stored.bytes.data(), data, bytes);
        std::lock_guard<std::mutex> guard(m_lock);
        m_entries[tag] = std::move(stored);
    }
    auto& host = korahost::detail::state();
    if (host.recordMetadataWrites) {
        korahost::MetadataWrite write{};
        write.container = this;
        write.tag = tag;
        write.type = type;
        write.status = status;
        write.count = count;
        if (data != nullptr) {
            const uint8_t* p = static_cast<const uint8_t*>(data);
            write.bytes.assign(p, p + size_t(count) * elemSize);
        }
        std::lock_guard<std::mutex> guard(host.lock);
        host.metadataWrites.push_back(std::move(write));
    }
    return status;
}

int VoMetadata::update(uint32_t tag, const uint8_t* data, unsigned long count) {
    return store(tag, TYPE_BYTE, data, count, 1);
}
int VoMetadata::update(uint32_t tag, const int32_t* data, unsigned long count) {
    return store(tag, TYPE_INT32, data, count, 4);
}
int VoMetadata::update(uint32_t tag, const float* data, unsigned long count) {
    return store(tag, TYPE_FLOAT, data, count, 4);
}
int VoMetadata::update(uint32_t tag, const int64_t* data, unsigned long count) {
    return store(tag, TYPE_INT64, data, count, 8);
}
int VoMetadata::update(uint32_t tag, const double* data, unsigned long count) {
    return store(tag, TYPE_DOUBLE, data, count, 8);
}
int VoMetadata::update(uint32_t tag, const camera_metadata_rational_t* data, unsigned long count) {
    return store(tag, TYPE_RATIONAL, data, count, 8);
}

int VoMetadata::erase(uint32_t tag) {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries.erase(tag) ? 0 : kNotFound;
}

bool VoMetadata::exists(uint32_t tag) const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries.count(tag) != 0;
}

bool VoMetadata::isEmpty() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries.empty();
}

size_t VoMetadata::entryCount() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries.size();
}

void VoMetadata::clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries.clear();
}

std::vector<uint32_t> VoMetadata::tags() const {
    std::lock_guard<std::mutex> guard(m_lock);
    std::vector<uint32_t> out;
    for (const auto& entry : m_entries)
        out.push_back(entry.first);
    return out;
}

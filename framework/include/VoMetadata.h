// The kora camera metadata container: typed tag storage with a process-wide tag registry that
// knows Android's standard tags by their published ids and the vendor tags by name.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <mutex>
#include <vector>

// Android's value types, by their published numbers.
enum {
    TYPE_BYTE = 0,
    TYPE_INT32 = 1,
    TYPE_FLOAT = 2,
    TYPE_INT64 = 3,
    TYPE_DOUBLE = 4,
    TYPE_RATIONAL = 5,
    NUM_TYPES
};

typedef struct camera_metadata_rational {
    int32_t numerator;
    int32_t denominator;
} camera_metadata_rational_t;

// Laid out as Android's read-only camera metadata entry. A tag is present when count != 0.
typedef struct camera_metadata_ro_entry {
    size_t index;
    uint32_t tag;
    uint8_t type;
    size_t count;
    union {
        const uint8_t* u8;
        const int32_t* i32;
        const float* f;
        const int64_t* i64;
        const double* d;
        const camera_metadata_rational_t* r;
    } data;
} camera_metadata_ro_entry_t;

using MetadataEntry = camera_metadata_ro_entry_t;

static_assert(sizeof(void*) != 8 || sizeof(MetadataEntry) == 32, "Android ro entry layout");
static_assert(sizeof(void*) != 8 || offsetof(MetadataEntry, count) == 16, "Android ro entry");
static_assert(sizeof(void*) != 8 || offsetof(MetadataEntry, data) == 24, "Android ro entry");

// Standard tags the plugin and the host tools use, by their published ids.
enum : uint32_t {
    ANDROID_CONTROL_AE_MODE = 0x10003,
    ANDROID_CONTROL_ZOOM_RATIO = 0x1002F,
    ANDROID_JPEG_ORIENTATION = 0x70003,
    ANDROID_LENS_FOCAL_LENGTH = 0x80002,
    ANDROID_SENSOR_EXPOSURE_TIME = 0xE0000,
    ANDROID_SENSOR_SENSITIVITY = 0xE0002,
    ANDROID_SENSOR_TIMESTAMP = 0xE0010,
};

class VoMetadata {
  public:
    VoMetadata();
    ~VoMetadata();
    VoMetadata(const VoMetadata& other);
    VoMetadata& operator=(const VoMetadata& other);

    // Looks a tag up by id or by registered name. Absent tags (and unknown names) give an entry
    // with count 0 and a null data pointer. The data stays valid until the tag is updated or
    // erased or the container is destroyed.
    MetadataEntry find(uint32_t tag) const;
    MetadataEntry find(const char* tagName) const;

    // Resolves a registered tag name; 0 on success, non-zero (and *tag untouched) otherwise.
    static int getTagFromName(const char* name, unsigned int* tag);
    // Registered name of a tag id, or null.
    static const char* getTagName(uint32_t tag);
    // Registered type of a tag id, or -1.
    static int getTagType(uint32_t tag);
    // Registers an extra tag (host programs and tests); 0 on success, non-zero when the name or
    // the id is already taken with a different meaning.
    static int registerTag(const char* name, uint32_t tag, uint8_t type);
    // Calls f(name, id, type) for every registered tag, in id order.
    template <typename F>
    static void forEachRegisteredTag(F&& f);

    // Replace a tag's values. 0 on success; non-zero when the tag is unknown, the value type does
    // not match the tag's registered type, or data is null with a non-zero count. A count of 0
    // stores a present-but-empty tag, which reads as absent.
    int update(uint32_t tag, const uint8_t* data, unsigned long count);
    int update(uint32_t tag, const int32_t* data, unsigned long count);
    int update(uint32_t tag, const float* data, unsigned long count);
    int update(uint32_t tag, const int64_t* data, unsigned long count);
    int update(uint32_t tag, const double* data, unsigned long count);
    int update(uint32_t tag, const camera_metadata_rational_t* data, unsigned long count);

    // 0 on success, non-zero when the tag is not present.
    int erase(uint32_t tag);
    bool exists(uint32_t tag) const;
    bool isEmpty() const;
    size_t entryCount() const;
    void clear();
    // Tag ids present, ascending.
    std::vector<uint32_t> tags() const;

  private:
    struct Stored {
        uint8_t type;
        size_t count;
        std::vector<uint8_t> bytes;  // padded so a first-value read of any type stays inside
    };
    int store(uint32_t tag, uint8_t type, const void* data, unsigned long count, size_t elemSize);

    mutable std::mutex m_lock;
    std::map<uint32_t, Stored> m_entries;
};

namespace korahost {
struct RegisteredTag {
    const char* name;
    uint32_t tag;
    uint8_t type;
};
// Snapshot of the registry, ascending by id.
std::vector<RegisteredTag> registeredTags();
}  // namespace korahost

template <typename F>
void VoMetadata::forEachRegisteredTag(F&& f) {
    for (const auto& t : korahost::registeredTags())
        f(t.name, t.tag, t.type);
}

// The metadata container's result conventions, which readMeta/setMeta and every host program
// rely on.
#include <gtest/gtest.h>

#include <cstring>

#include "VoMetadata.h"

namespace {

uint32_t tagOf(const char* name) {
    unsigned int tag = 0;
    EXPECT_EQ(0, VoMetadata::getTagFromName(name, &tag)) << name;
    return tag;
}

TEST(MetadataTest, RegistryKnowsStandardAndVendorTags) {
    struct Row {
        const char* name;
        uint32_t id;  // 0: vendor tag, any id
        int type;
    } rows[] = {
        {"ANDROID_CONTROL_ZOOM_RATIO", 0x1002F, TYPE_FLOAT},
        {"ANDROID_JPEG_ORIENTATION", 0x70003, TYPE_INT32},
        {"ANDROID_SENSOR_EXPOSURE_TIME", 0xE0000, TYPE_INT64},
        {"orvane.ai.asd.SmartAE", 0, TYPE_BYTE},
        {"orvane.snapshot.stableDiffusionSREnable", 0, TYPE_INT32},
        {"org.quic.camera.qtimer.startOfExposure", 0, TYPE_INT64},
        {"orvane.multiframe.debugData", 0, TYPE_BYTE},
    };
    for (const auto& row : rows) {
        const uint32_t tag = tagOf(row.name);
        if (row.id != 0) {
            EXPECT_EQ(row.id, tag) << row.name;
        }
        EXPECT_EQ(row.type, VoMetadata::getTagType(tag)) << row.name;
        EXPECT_STREQ(row.name, VoMetadata::getTagName(tag));
    }
    unsigned int untouched = 77;
    EXPECT_NE(0, VoMetadata::getTagFromName("no.such.tag", &untouched));
    EXPECT_NE(0, VoMetadata::getTagFromName(nullptr, &untouched));
    EXPECT_EQ(77u, untouched);
}

TEST(MetadataTest, FindReportsPresenceByCount) {
    VoMetadata meta;
    const uint32_t orientation = ANDROID_JPEG_ORIENTATION;
    EXPECT_EQ(0u, meta.find(orientation).count);
    EXPECT_EQ(nullptr, meta.find(orientation).data.u8);
    EXPECT_TRUE(meta.isEmpty());

    const int32_t values[] = {90, 180, 270};
    ASSERT_EQ(0, meta.update(orientation, values, 3));
    const MetadataEntry entry = meta.find("ANDROID_JPEG_ORIENTATION");
    EXPECT_EQ(3u, entry.count);
    EXPECT_EQ(orientation, entry.tag);
    EXPECT_EQ(TYPE_INT32, entry.type);
    EXPECT_EQ(90, entry.data.i32[0]);
    EXPECT_EQ(270, entry.data.i32[2]);
    EXPECT_FALSE(meta.isEmpty());

    // A tag written with no values is present in the container but reads as absent.
    ASSERT_EQ(0, meta.update(orientation, values, 0));
    EXPECT_EQ(0u, meta.find(orientation).count);
    EXPECT_FALSE(meta.isEmpty());
}

TEST(MetadataTest, UpdateRejectsUnknownTagsAndWrongTypes) {
    VoMetadata meta;
    const float zoom = 2.5f;
    const int32_t number = 1;
    const uint8_t byte = 1;
    struct Row {
        const char* what;
        int status;
    } rows[] = {
        {"float into float tag", meta.update(ANDROID_CONTROL_ZOOM_RATIO, &zoom, 1)},
        {"int into float tag", meta.update(ANDROID_CONTROL_ZOOM_RATIO, &number, 1)},
        {"byte into int tag", meta.update(ANDROID_JPEG_ORIENTATION, &byte, 1)},
        {"unknown id", meta.update(0x7FFF0001u, &number, 1)},
        {"null data", meta.update(ANDROID_JPEG_ORIENTATION, static_cast<int32_t*>(nullptr), 1)},
    };
    EXPECT_EQ(0, rows[0].status) << rows[0].what;
    for (size_t i = 1; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        EXPECT_NE(0, rows[i].status) << rows[i].what;
    }
    EXPECT_EQ(1u, meta.entryCount());
    EXPECT_FLOAT_EQ(2.5f, meta.find(ANDROID_CONTROL_ZOOM_RATIO).data.f[0]);
}

TEST(MetadataTest, ShortEntriesArePaddedForFirstValueReads) {
    // A reader may take the first value of a one-byte tag as a 64-bit number; the storage must
    // hold at least eight bytes so such a read stays inside it.
    VoMetadata meta;
    const uint8_t one = 0x5A;
    ASSERT_EQ(0, meta.update(tagOf("orvane.ai.asd.SmartAE"), &one, 1));
    const MetadataEntry entry = meta.find("orvane.ai.asd.SmartAE");
    ASSERT_EQ(1u, entry.count);
    int64_t wide = 0;
    std::memcpy(&wide, entry.data.u8, sizeof(wide));
    EXPECT_EQ(0x5A, wide & 0xFF);
}

TEST(MetadataTest, RegisterTagRefusesConflicts) {
    EXPECT_EQ(0, VoMetadata::registerTag("test.metadata.extra", 0x7F000001u, TYPE_INT32));
    EXPECT_EQ(0, VoMetadata::registerTag("test.metadata.extra", 0x7F000001u, TYPE_INT32));
    EXPECT_NE(0, VoMetadata::registerTag("test.metadata.extra", 0x7F000002u, TYPE_INT32));
    EXPECT_NE(0, VoMetadata::registerTag("test.metadata.other", 0x7F000001u, TYPE_FLOAT));
    EXPECT_NE(0, VoMetadata::registerTag("ANDROID_JPEG_ORIENTATION", 0x7F000003u, TYPE_INT32));
    EXPECT_EQ(0x7F000001u, tagOf("test.metadata.extra"));
}

}  // namespace

// The 768-byte multi-frame debug record that a successful request attaches to the metadata of
// its buffers: which frame facts land at which offsets, and where the record is written.
#include <string.h>

#include <ostream>
#include <string>
#include <vector>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {

const char* const kDebugTag = "orvane.multiframe.debugData";
const char* const kSensorModeTag = "org.codeaurora.qcamera3.sensor_meta_data.current_mode";
const char* const kStartOfExposureTag = "org.quic.camera.qtimer.startOfExposure";
const char* const kCameraIdTag = "orvane.snapshot.physCameraId";
const int kAbsent = -1;

using Record = std::vector<uint8_t>;

// Frame facts as written into a container (kAbsent: tag not written).
struct FrameTags {
    int64_t exposure = kAbsent;
    int32_t sensorMode = kAbsent;
    int64_t timestamp = kAbsent;
    int32_t cameraId = kAbsent;
};

void putFrameTags(VoMetadata& meta, const FrameTags& tags) {
    if (tags.exposure != kAbsent)
        meta.update(ANDROID_SENSOR_EXPOSURE_TIME, &tags.exposure, 1);
    if (tags.sensorMode != kAbsent)
        putInt(meta, kSensorModeTag, tags.sensorMode);
    if (tags.timestamp != kAbsent)
        putInt64(meta, kStartOfExposureTag, tags.timestamp);
    if (tags.cameraId != kAbsent)
        putInt(meta, kCameraIdTag, tags.cameraId);
}

// The record the plugin must build, field by field.
class ExpectedRecord {
  public:
    ExpectedRecord() : m_bytes(768, 0) {}
    ExpectedRecord& cameraId(uint8_t id) {
        m_bytes[0] = id;
        return *this;
    }
    ExpectedRecord& frameCount(uint8_t count) {
        m_bytes[1] = count;
        return *this;
    }
    ExpectedRecord& sensorMode(size_t slot, int32_t value) { return put(208 + 4 * slot, value); }
    ExpectedRecord& exposure(size_t slot, int64_t value) { return put(288 + 8 * slot, value); }
    ExpectedRecord& timestamp(size_t slot, int64_t value) { return put(608 + 8 * slot, value); }
    const Record& bytes() const { return m_bytes; }

  private:
    template <typename T>
    ExpectedRecord& put(size_t offset, T value) {
        memcpy(m_bytes.data() + offset, &value, sizeof(value));
        return *this;
    }
    Record m_bytes;
};

// The debug record held by a container; empty when it holds none.
Record recordIn(const std::shared_ptr<VoMetadata>& meta) {
    if (meta == nullptr)
        return {};
    const MetadataEntry entry = meta->find(kDebugTag);
    if (entry.count == 0)
        return {};
    return Record(entry.data.u8, entry.data.u8 + entry.count);
}

struct FrameRow {
    const char* name;
    bool logical;  // the input has a logical container (with the enabling tags)
    FrameTags logicalTags;
    bool physical;  // the input has a physical container
    FrameTags physicalTags;
    ExpectedRecord expected;
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const FrameRow& row, std::ostream* os) {
    *os << row.name;
}

class DebugRecordOfOneFrame : public ::testing::TestWithParam<FrameRow> {};

TEST_P(DebugRecordOfOneFrame, FieldsAndPlaces) {
    const FrameRow& row = GetParam();
    PluginSession session;
    std::shared_ptr<VoMetadata> logical;
    if (row.logical) {
        logical = enablingMetadata();
        putFrameTags(*logical, row.logicalTags);
    }
    std::shared_ptr<VoMetadata> physical;
    if (row.physical) {
        physical = std::make_shared<VoMetadata>();
        putFrameTags(*physical, row.physicalTags);
    }
    TestRequest request(32, 16, 17, 32, logical, physical);
    session.process(request);
    const auto logs = takeOnlineLogs();

    ASSERT_TRUE(lastFinishLine(logs).found);
    const ImageParams& output = request.info.outputBuffers[0][0];
    EXPECT_EQ(row.expected.bytes(), recordIn(output.metadata));
    EXPECT_EQ(row.expected.bytes(), recordIn(output.physicalMetadata));
    const bool physicalUsable = row.physical && !physical->isEmpty();
    EXPECT_EQ(row.logical ? row.expected.bytes() : Record(), recordIn(logical));
    EXPECT_EQ(physicalUsable ? row.expected.bytes() : Record(), recordIn(physical));
    EXPECT_EQ(!row.logical, hasLine(logs, 'W', "[ImageExifMoveInfo] getLogicalMetadata is NULL"));
    EXPECT_EQ(!physicalUsable,
              hasLine(logs, 'W', "[ImageExifMoveInfo] getPhysicalMetadata is NULL"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DebugRecordOfOneFrame,
    ::testing::Values(FrameRow{"PhysicalAllTags", true, FrameTags{}, true,
                               FrameTags{33000000, 3, 123456789012, 2},
                               ExpectedRecord()
                                   .cameraId(2)
                                   .frameCount(1)
                                   .sensorMode(0, 3)
                                   .exposure(0, 33000000)
                                   .timestamp(0, 123456789012)},
                      FrameRow{"LogicalOnlyGivesExposureAndTimestamp", true,
                               FrameTags{1000, 7, 5555, 9}, false, FrameTags{},
                               ExpectedRecord().frameCount(1).exposure(0, 1000).timestamp(0, 5555)},
                      FrameRow{"EmptyPhysicalFallsBackToLogical", true, FrameTags{1000, 7, 5555, 9},
                               true, FrameTags{},
                               ExpectedRecord().frameCount(1).exposure(0, 1000).timestamp(0, 5555)},
                      FrameRow{"NoMetadataStillCounts", false, FrameTags{}, false, FrameTags{},
                               ExpectedRecord().frameCount(1)},
                      FrameRow{"CameraIdKeepsLowByte", true, FrameTags{}, true,
                               FrameTags{kAbsent, kAbsent, kAbsent, 260},
                               ExpectedRecord().cameraId(4).frameCount(1)}),
    [](const ::testing::TestParamInfo<FrameRow>& param) { return param.param.name; });

// Every container of every buffer gets the same record. Frames in slots 1 and 2 carry logical
// metadata only: their exposure and timestamp land 8 bytes per slot, their sensor mode stays 0.
TEST(DebugRecord, IdenticalInEveryContainerOfEveryBuffer) {
    PluginSession session;
    auto physical0 = std::make_shared<VoMetadata>();
    putFrameTags(*physical0, FrameTags{10, 1, 100, 5});
    TestRequest request(32, 16, 17, 32, enablingMetadata(), physical0);
    YuvImage logicalOnly[2] = {YuvImage(32, 16, 17), YuvImage(32, 16, 17)};
    for (int i = 0; i < 2; ++i) {
        auto logical = std::make_shared<VoMetadata>();
        putFrameTags(*logical, FrameTags{20 + 10 * i, 2, 200 + 100 * i, 6});
        request.info.inputBuffers[3].push_back(logicalOnly[i].params(logical, nullptr));
    }
    YuvImage secondOutput(32, 16, 17);
    auto outputPhysical = std::make_shared<VoMetadata>();
    putInt(*outputPhysical, "orvane.ai.asd.sdsrui", 2);
    request.info.outputBuffers[5].push_back(
        secondOutput.params(std::make_shared<VoMetadata>(*outputPhysical), outputPhysical));
    session.process(request);

    const Record expected = ExpectedRecord()
                                .cameraId(5)
                                .frameCount(3)
                                .sensorMode(0, 1)
                                .exposure(0, 10)
                                .exposure(1, 20)
                                .exposure(2, 30)
                                .timestamp(0, 100)
                                .timestamp(1, 200)
                                .timestamp(2, 300)
                                .bytes();
    int containers = 0;
    for (VoBufferMap* map : {&request.info.inputBuffers, &request.info.outputBuffers}) {
        for (auto& port : *map) {
            for (auto& image : port.second) {
                for (const auto& meta : {image.metadata, image.physicalMetadata}) {
                    if (meta == nullptr)
                        continue;
                    EXPECT_EQ(expected, recordIn(meta)) << "port " << port.first;
                    ++containers;
                }
            }
        }
    }
    EXPECT_EQ(8, containers);
}

// More frames than the record has slots: all are counted, the first 20 recorded, the rest
// reported once; the camera id comes from the last frame with physical metadata, past the slots.
TEST(DebugRecord, FramesBeyondTwentyAreCountedNotStored) {
    PluginSession session;
    auto physical0 = std::make_shared<VoMetadata>();
    putFrameTags(*physical0, FrameTags{1000, 100, 5000, 1});
    TestRequest request(32, 16, 17, 32, enablingMetadata(), physical0);
    const int frames = 23;
    ExpectedRecord expected;
    expected.frameCount(frames).sensorMode(0, 100).exposure(0, 1000).timestamp(0, 5000);
    for (int i = 1; i < frames; ++i) {
        auto physical = std::make_shared<VoMetadata>();
        // The last frame has no camera id: its physical metadata still sets the byte, to 0.
        putFrameTags(*physical,
                     FrameTags{1000 + i, 100 + i, 5000 + i, i + 1 < frames ? 1 + i : kAbsent});
        ImageParams extra{};
        extra.physicalMetadata = physical;
        request.info.inputBuffers[uint32_t(i)].push_back(extra);
        if (i < 20)
            expected.sensorMode(i, 100 + i).exposure(i, 1000 + i).timestamp(i, 5000 + i);
    }
    session.process(request);

    EXPECT_EQ(expected.bytes(), recordIn(request.info.outputBuffers[0][0].metadata));
    EXPECT_EQ(1, countLines(takeOnlineLogs(), 'W', "more than 20 input frames"));
}

// Only a request that ran to its end carries the record; its lines are in the EXIF-move group,
// the writer's warnings in the common group.
TEST(DebugRecord, WrittenOnlyAfterASuccessfulRunWithItsLogGroups) {
    PluginSession session;
    session.algo.setResults(0, -5, 0);
    TestRequest failed(32, 16, 17, 32, enablingMetadata(), std::make_shared<VoMetadata>());
    session.process(failed);
    EXPECT_TRUE(recordIn(failed.info.outputBuffers[0][0].metadata).empty());
    EXPECT_FALSE(hasLine(takeOnlineLogs(), 'I', "[ImageExifMoveInfo]"));

    session.algo.setResults(0, 0, 0);
    TestRequest succeeded(32, 16, 17, 32, enablingMetadata(), nullptr);
    session.process(succeeded);
    int moveLines = 0;
    for (const auto& record : takeOnlineLogs()) {
        if (record.message.find("[ImageExifMoveInfo]") == std::string::npos)
            continue;
        ++moveLines;
        EXPECT_EQ(record.level == 'W' ? 1u : 64u, record.group) << record.message;
        EXPECT_EQ("SDSR", record.tag);
        if (record.level == 'I') {
            EXPECT_EQ("multiframeAlgoSetDebugInfo", record.function) << record.message;
        }
    }
    // exposure and timestamp from the logical container, two result lines, one missing
    // physical container of the input.
    EXPECT_EQ(5, moveLines);
}

}  // namespace
}  // namespace sdsrtest

// Metadata helpers, node data reads and the scoped boost lock.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "DeviceTree.h"
#include "FrameTestSupport.h"
#include "MetadataBuilders.h"
#include "VoaPerfManager.h"
#include "YuvImage.h"
#include "korahost/HostControl.h"
#include "nodeSdsrData.h"

namespace {

using frametest::LogView;
using voalgo2::NodeSdsrData;
using voalgo2::readMeta;
using voalgo2::setMeta;

const char* const kIntTag = "frametest.int";
const char* const kInt64Tag = "frametest.int64";
const char* const kBoardNode = "/sys/class/thermal/thermal_message/board_sensor_temp";

class NodeDataTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        VoMetadata::registerTag(kIntTag, 0x80FA0000u, TYPE_INT32);
        VoMetadata::registerTag(kInt64Tag, 0x80FA0001u, TYPE_INT64);
    }
    void SetUp() override {
        korahost::resetObservations();
        korahost::openAllLogGates();
    }
    static unsigned int tagOf(const char* name) {
        unsigned int tag = 0;
        EXPECT_EQ(VoMetadata::getTagFromName(name, &tag), 0) << name;
        return tag;
    }
};

TEST_F(NodeDataTest, ReadMetaYieldsTheFirstValueOrLeavesTheDefault) {
    auto meta = std::make_shared<VoMetadata>();
    const int32_t several[] = {41, 42, 43};
    ASSERT_EQ(meta->update(tagOf(kIntTag), several, 3), 0);
    const int64_t big = 0x123456789LL;
    ASSERT_EQ(meta->update(tagOf(kInt64Tag), &big, 1), 0);
    const float zoom = 2.5f;
    ASSERT_EQ(meta->update(ANDROID_CONTROL_ZOOM_RATIO, &zoom, 1), 0);
    const int32_t orientation = 90;
    ASSERT_EQ(meta->update(ANDROID_JPEG_ORIENTATION, &orientation, 1), 0);
    auto empty = std::make_shared<VoMetadata>();
    ASSERT_EQ(empty->update(tagOf(kIntTag), static_cast<const int32_t*>(nullptr), 0), 0);
    korahost::clearLogs();

    int i = -7;
    long l = -7;
    float f = -7.0f;
    EXPECT_TRUE(readMeta<int>(meta, kIntTag, "shown", i));
    EXPECT_EQ(i, 41);
    EXPECT_TRUE(readMeta<long>(meta, kInt64Tag, kInt64Tag, l));
    EXPECT_EQ(l, 0x123456789L);
    EXPECT_TRUE(readMeta<float>(meta, ANDROID_CONTROL_ZOOM_RATIO, "ZOOM", f));
    EXPECT_FLOAT_EQ(f, 2.5f);
    EXPECT_TRUE(readMeta<int>(meta, ANDROID_JPEG_ORIENTATION, "ORIENTATION", i));
    EXPECT_EQ(i, 90);
    EXPECT_TRUE(LogView::take().lines().empty()) << "found values log nothing";

    // Misses: an absent tag by name, a present tag with count 0, an absent tag by id.
    int out = 1234;
    EXPECT_FALSE(readMeta<int>(meta, "orvane.ai.asd.sdsrui", "logName", out));
    EXPECT_FALSE(readMeta<int>(empty, kIntTag, "logName", out));
    EXPECT_FALSE(readMeta<int>(meta, ANDROID_SENSOR_EXPOSURE_TIME, "logName", out));
    EXPECT_EQ(out, 1234);
    const LogView logs = LogView::take();
    ASSERT_EQ(logs.lines().size(), 3u) << logs.dump();
    for (const auto& line : logs.lines()) {
        EXPECT_EQ(line.message, "MetaData not found for logName");
        EXPECT_EQ(line.level, 'I');
        EXPECT_EQ(line.function, "readMeta");
        EXPECT_EQ(line.file, "nodeSdsrData.h");
    }
}

TEST_F(NodeDataTest, SetMetaWritesOrReportsWhyNot) {
    auto meta = std::make_shared<VoMetadata>();
    const int one = 1;
    struct Row {
        const char* name;
        std::shared_ptr<VoMetadata> container;
        const char* tag;
        int status;
        const char* message;
        uint32_t group;
    };
    const Row rows[] = {
        {"known tag", meta, "orvane.snapshot.stableDiffusionSREnable", 0,
         "update tagName = orvane.snapshot.stableDiffusionSREnable ret = 0", 2},
        {"unknown tag", meta, "no.such.tag", -1, "update tagName = no.such.tag ret = -1", 2},
        {"type refused", meta, "orvane.multiframe.debugData", 1, "ret = ", 2},
        {"null container", nullptr, "orvane.snapshot.stableDiffusionSREnable", 0,
         "mdata is nullptr", 32},
        {"null tag name", meta, nullptr, 0, "metaData is null", 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        korahost::clearLogs();
        const size_t before = row.container ? row.container->entryCount() : 0;
        const int status = setMeta<int>(row.container, row.tag, &one, 1);
        if (row.status == 1) {
            EXPECT_NE(status, 0);  // the container's own refusal is passed on
        } else {
            EXPECT_EQ(status, row.status);
        }
        const LogView logs = LogView::take();
        ASSERT_EQ(logs.lines().size(), 1u) << logs.dump();
        EXPECT_NE(logs.lines()[0].message.find(row.message), std::string::npos) << logs.dump();
        EXPECT_EQ(logs.lines()[0].tag, "VoAlgoEngine");
        EXPECT_EQ(logs.lines()[0].group, row.group);
        EXPECT_EQ(logs.lines()[0].function, "setMeta");
        if (row.container && row.status != 0) {
            EXPECT_EQ(row.container->entryCount(), before);
        }
    }
    int value = 0;
    EXPECT_TRUE(readMeta<int>(meta, "orvane.snapshot.stableDiffusionSREnable", "", value));
    EXPECT_EQ(value, 1);

    unsigned char blob[768];
    for (size_t i = 0; i < sizeof(blob); ++i)
        blob[i] = static_cast<unsigned char>(i);
    EXPECT_EQ(setMeta<unsigned char>(meta, "orvane.multiframe.debugData", blob, sizeof(blob)), 0);
    const MetadataEntry entry = meta->find("orvane.multiframe.debugData");
    ASSERT_EQ(entry.count, sizeof(blob));
    EXPECT_EQ(std::memcmp(entry.data.u8, blob, sizeof(blob)), 0);
}

TEST_F(NodeDataTest, SmartAERecordIsBorrowedFromTheContainer) {
    VO_SMARTAE::SmartAEProcOutput sentinel{};
    struct Row {
        const char* name;
        long size;  // bytes stored; -1 for no tag, 0 for the full record
        bool found;
        char level;
        const char* message;
    };
    const Row rows[] = {
        {"full record", 0, true, 'I', "get orvane.ai.asd.SmartAE, is successful"},
        {"no tag", -1, false, 'I', "get orvane.ai.asd.SmartAE, is failed"},
        {"one byte short", long(sizeof(VO_SMARTAE::SmartAEProcOutput)) - 1, false, 'W',
         "orvane.ai.asd.SmartAE"},
        {"algoType cut off", 1124, false, 'W', "orvane.ai.asd.SmartAE"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto meta = std::make_shared<VoMetadata>();
        if (row.size >= 0)
            hostkit::putSmartAE(*meta, 8, 15, static_cast<size_t>(row.size));
        korahost::clearLogs();
        VO_SMARTAE::SmartAEProcOutput* record = &sentinel;
        EXPECT_EQ(NodeSdsrData::getSmartAEProcOutput(meta, &record), row.found);
        const LogView logs = LogView::take();
        EXPECT_TRUE(logs.has(row.level, row.message)) << logs.dump();
        if (row.found) {
            EXPECT_EQ(static_cast<const void*>(record),
                      static_cast<const void*>(meta->find("orvane.ai.asd.SmartAE").data.u8));
            EXPECT_EQ(record->algoType, 8);
            EXPECT_EQ(record->sensorMode, 15);
        } else {
            EXPECT_EQ(record, &sentinel) << "the caller's pointer stays";
            EXPECT_TRUE(logs.has('I', "get orvane.ai.asd.SmartAE, is failed")) << logs.dump();
        }
    }
    VO_SMARTAE::SmartAEProcOutput* record = &sentinel;
    EXPECT_FALSE(NodeSdsrData::getSmartAEProcOutput(nullptr, &record));
    EXPECT_EQ(record, &sentinel);
}

TEST_F(NodeDataTest, ThermalResultComesFromTheRequest) {
    auto meta = std::make_shared<VoMetadata>();
    korahost::clearLogs();
    EXPECT_EQ(NodeSdsrData::getThermalTemperature(meta), 0);
    LogView logs = LogView::take();
    EXPECT_TRUE(logs.has('I', "MetaData not found for orvane.thermal.thermalResult"));
    EXPECT_TRUE(logs.hasExact('D', "Thermal temperature = 0 ret = 0")) << logs.dump();

    hostkit::putInt(*meta, "orvane.thermal.thermalResult", 38);
    EXPECT_EQ(NodeSdsrData::getThermalTemperature(meta), 38);
    logs = LogView::take();
    EXPECT_TRUE(logs.hasExact('D', "Thermal temperature = 38 ret = 1")) << logs.dump();
    EXPECT_EQ(logs.matching("Thermal").at(0).file, "nodeSdsrDataPlat");
}

TEST_F(NodeDataTest, BoardTemperatureFromTheSensorNode) {
    struct Row {
        const char* name;
        const char* content;  // null: no node
        int value;
        char level;
        std::string message;
    };
    const std::string path = kBoardNode;
    const Row rows[] = {
        {"reading", "41500\n", 41500, 'D', "Board temperature:(41500), readSize:6 from " + path},
        {"eight digits", "12345678", 1234567, 'D',
         "Board temperature:(1234567), readSize:7 from " + path},
        {"negative", "-5\n", -5, 'D', "Board temperature:(-5), readSize:3 from " + path},
        {"no digits", "hot\n", 0, 'D', "Board temperature:(0), readSize:4 from " + path},
        {"empty", "", 0, 'I', "can not get temperature from " + path},
        {"missing", nullptr, 0, 'I', "cannot open thermaNode: " + path + " thermalFd：-1"},
    };
    hostkit::DeviceTree tree;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.content != nullptr) {
            tree.write(kBoardNode, row.content);
        } else {
            tree.remove(kBoardNode);
        }
        korahost::clearLogs();
        EXPECT_EQ(NodeSdsrData::getBoardTemperature(nullptr), row.value);
        const LogView logs = LogView::take();
        EXPECT_TRUE(logs.hasExact(row.level, row.message)) << logs.dump();
    }
}

TEST_F(NodeDataTest, LuxIndexIsZeroWithoutContainerOrHelper) {
    hostkit::DeviceTree tree;  // no helper library installed
    for (const bool withContainer : {false, true}) {
        SCOPED_TRACE(withContainer ? "container" : "no container");
        korahost::clearLogs();
        auto meta = withContainer ? hostkit::enablingMetadata() : nullptr;
        EXPECT_EQ(NodeSdsrData::getLuxIndex(meta), 0.0f);
        const LogView logs = LogView::take();
        const auto lines = logs.matching("luxIndex = 0.00");
        ASSERT_EQ(lines.size(), 1u) << logs.dump();
        EXPECT_EQ(lines[0].level, 'D');
        EXPECT_EQ(lines[0].group, 32u);
        EXPECT_EQ(lines[0].tag, "SDSR");
    }
}

TEST_F(NodeDataTest, PerfLockManagerHoldsTheBoostForItsLifetime) {
    using korahost::PerfEventKind;
    struct Row {
        const char* name;
        bool creationFails;
        voalgo2::Perf_Lock_Algo algo;
        std::vector<PerfEventKind> events;
        std::vector<std::string> messages;
    };
    const Row rows[] = {
        {"creation fails",
         true,
         voalgo2::PERF_LOCK_ALGO_SNAPSHOT,
         {PerfEventKind::CreateFailed},
         {"VoaPerfLock create fail"}},
        {"plain boost",
         false,
         voalgo2::PERF_LOCK_ALGO_NONE,
         {PerfEventKind::Create, PerfEventKind::AcquirePlain, PerfEventKind::Release,
          PerfEventKind::Dispose},
         {"PluginPerfLockManager  AcquirePerfLock, boost cpu 3000 ms",
          "PluginPerfLockManager  ReleasePerfLock"}},
        {"algorithm boost",
         false,
         voalgo2::PERF_LOCK_ALGO_SNAPSHOT,
         {PerfEventKind::Create, PerfEventKind::AcquireAlgo, PerfEventKind::Release,
          PerfEventKind::Dispose},
         {"PluginPerfLockManager  VoAcquirePerfLock for Algo, boost cpu 3000 ms",
          "PluginPerfLockManager  ReleasePerfLock"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        korahost::resetObservations();
        korahost::setPerfLockCreationFails(row.creationFails);
        {
            voalgo2::PluginPerfLockManager lock(3000, row.algo);
            EXPECT_EQ(lock.holdsLock(), !row.creationFails);
            if (!row.creationFails) {
                EXPECT_EQ(korahost::livePerfLocks(), 1);
            }
        }
        korahost::setPerfLockCreationFails(false);
        EXPECT_EQ(korahost::livePerfLocks(), 0);
        const auto events = korahost::takePerfEvents();
        std::vector<PerfEventKind> kinds;
        for (const auto& event : events) {
            kinds.push_back(event.kind);
            if (event.kind == PerfEventKind::AcquirePlain ||
                event.kind == PerfEventKind::AcquireAlgo) {
                EXPECT_EQ(event.durationMs, 3000u);
                EXPECT_EQ(event.algo, static_cast<int>(row.algo));
            }
        }
        EXPECT_EQ(kinds, row.events);
        const LogView logs = LogView::take();
        std::vector<std::string> messages;
        for (const auto& line : logs.lines()) {
            messages.push_back(line.message);
            EXPECT_EQ(line.tag, "VoAlgoEngine");
            EXPECT_EQ(line.group, 1u);
            EXPECT_EQ(line.level, row.creationFails ? 'E' : 'I');
        }
        EXPECT_EQ(messages, row.messages);
    }
}

}  // namespace

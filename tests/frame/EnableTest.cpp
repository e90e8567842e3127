// The per-request enable decision: refusals in order, thresholds, the scene table and the
// outstanding-request limit.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DevicePaths.h"
#include "DeviceTree.h"
#include "FrameTestSupport.h"
#include "MetadataBuilders.h"
#include "YuvImage.h"
#include "korahost/HostControl.h"
#include "sdsrplugin.h"

struct SdSrPluginTestAccess {
    static int32_t& outstanding(SdSrPlugin& plugin) { return plugin.m_sdsrProcessCount; }
    static voalgo2::NodeSdsrData* nodeData(SdSrPlugin& plugin) { return plugin.m_pNodeSdsrData; }
};

namespace {

using frametest::LogView;

const char* const kEnableTag = "orvane.snapshot.stableDiffusionSREnable";
using hostkit::kVersionFile;

class EnableTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korahost::resetObservations();
        korahost::openAllLogGates();
        korahost::setMetadataWriteRecording(true);
        tree.makePassing();
    }
    void TearDown() override { korahost::setMetadataWriteRecording(false); }

    // Values of the enable tag written since the last call, in order.
    static std::vector<int32_t> enableTagWrites() {
        unsigned int tag = 0;
        EXPECT_EQ(VoMetadata::getTagFromName(kEnableTag, &tag), 0);
        std::vector<int32_t> values;
        for (const auto& write : korahost::takeMetadataWrites()) {
            if (write.tag != tag)
                continue;
            EXPECT_EQ(write.count, 1u);
            int32_t value = 0;
            if (write.bytes.size() >= sizeof(value))
                memcpy(&value, write.bytes.data(), 4);
            values.push_back(value);
        }
        return values;
    }

    hostkit::DeviceTree tree;
};

struct Request {
    hostkit::DeviceTree& tree;
    VoMetadata& meta;
};

struct Row {
    const char* name;
    std::function<void(Request&)> before;  // applied before the plugin is built
    std::function<void(Request&)> after;   // applied after the plugin is built
    bool answer;
    char level;
    std::string message;
    std::vector<std::string> absent;  // lines that must not appear (probes not consulted)
};

void setFlag(int flag) {
    korahost::setControllerFlag("SDSR", flag);
}
void breakVersion(Request& r) {
    r.tree.writeVersion("9.9.9.9\n");
}
void dropModel(Request& r) {
    r.tree.remove("/data/vendor/camera/sd_unet.vonn");
}
std::function<void(Request&)> scene(int ui, int32_t algoType) {
    return [ui, algoType](Request& r) {
        hostkit::putInt(r.meta, "orvane.ai.asd.sdsrui", ui);
        hostkit::putSmartAE(r.meta, algoType, 0);
    };
}

const std::string kRamRefusal = "sdsr BypassAlgo, m_sdsrController.getFlag() = ";
const std::string kFilesRefusal = "sdsr BypassAlgo,  isSameSdsrVersion = ";
const std::string kFinalFalse = "final sdsrEnable: 0 ";
const std::string kFinalTrue = "final sdsrEnable: 1 ";

std::vector<Row> refusalRows() {
    auto setTag = [](const char* name, int value) {
        return [name, value](Request& r) { hostkit::putInt(r.meta, name, value); };
    };
    auto preAnchor = [setTag](int value) {
        return setTag("com.orvane.kora2.preAnchorProc", value);
    };
    auto meminfo = [](double kb) { return [kb](Request& r) { r.tree.writeMeminfo(kb); }; };
    auto eraseTag = [](const char* name) {
        return [name](Request& r) {
            unsigned int tag = 0;
            VoMetadata::getTagFromName(name, &tag);
            r.meta.erase(tag);
        };
    };
    auto noVersionFile = [](Request& r) { r.tree.remove(kVersionFile); };
    // clang-format off
    std::vector<Row> rows = {
        // name, before the plugin is built, after, answer, level, message, lines not to appear
        {"pre-anchor request, nothing else measured",
         [](Request& r) {
             hostkit::putInt(r.meta, "com.orvane.kora2.preAnchorProc", 1);
             r.tree.remove("/proc/meminfo");
             setFlag(2);
         },
         breakVersion, false, 'I', "sdsr BypassAlgo, preAnchorProc = 1!",
         {"FreeRam", "Board temperature", kRamRefusal, kFinalFalse}},
        {"pre-anchor value 2 goes on", preAnchor(2), nullptr, true, 'D', kFinalTrue,
         {"preAnchorProc"}},
        {"exactly 512000 KB free", meminfo(512000.0), nullptr, true, 'D', kFinalTrue,
         {kRamRefusal}},
        {"one KB short, files not consulted", meminfo(511999.0), breakVersion, false, 'I',
         "sdsr BypassAlgo, m_sdsrController.getFlag() = 0 BYPASS_SDSR_RAM = 512000",
         {"open sdsr_version", "is access", kFilesRefusal, kFinalFalse}},
        {"meminfo unreadable", [](Request& r) { r.tree.remove("/proc/meminfo"); }, nullptr,
         false, 'I', kRamRefusal + "0 BYPASS_SDSR_RAM = 512000", {kFinalFalse}},
        {"controller flag 2 with ample memory", [](Request&) { setFlag(2); }, dropModel,
         false, 'I', kRamRefusal + "2 BYPASS_SDSR_RAM = 512000", {"is access", kFinalFalse}},
        {"version changed, models still checked", nullptr, breakVersion, false, 'I',
         kFilesRefusal + "0, isFileExist = 1", {"sdsrEnable:", kFinalFalse}},
        {"model missing", nullptr, dropModel, false, 'I', kFilesRefusal + "1, isFileExist = 0",
         {"sdsrEnable:"}},
        {"version and model", nullptr, [](Request& r) { breakVersion(r); dropModel(r); },
         false, 'I', kFilesRefusal + "0, isFileExist = 0", {}},
        {"no version file at construction", noVersionFile, nullptr, false, 'I',
         kFilesRefusal + "0, isFileExist = 1", {}},
        {"version file only appears later", noVersionFile,
         [](Request& r) { r.tree.writeVersion("1.0.0.0\n"); }, false, 'I',
         kFilesRefusal + "0, isFileExist = 1", {}},
        {"trigger off, SmartAE not fetched", setTag("orvane.ai.asd.SDSRTrigger", 0), nullptr,
         false, 'D', "sdsrEnable: 0 algoType = 0", {"orvane.ai.asd.SmartAE"}},
        {"mode off", setTag("com.orvane.stableDiffusionSR.mode", 0), nullptr, false, 'D',
         "sdsrEnable: 0 sdsrUi = 2 sdsrTrigger = 1 sdsrMode = 0", {}},
        {"ui tag absent", eraseTag("orvane.ai.asd.sdsrui"), nullptr, false, 'I',
         "MetaData not found for orvane.ai.asd.sdsrui", {}},
        {"no SmartAE output", eraseTag("orvane.ai.asd.SmartAE"), nullptr, false, 'D',
         "sdsrEnable: 0 algoType = 0", {}},
        {"truncated SmartAE output", [](Request& r) { hostkit::putSmartAE(r.meta, 7, 0, 1000); },
         nullptr, false, 'D', "sdsrEnable: 0 algoType = 0", {}},
    };
    // clang-format on
    for (int flag : {0, 1, 3}) {
        rows.push_back({"controller flag goes on",
                        [flag](Request&) { setFlag(flag); },
                        nullptr,
                        true,
                        'D',
                        kFinalTrue,
                        {kRamRefusal}});
    }
    // (sdsrUi, algoType) around the accepted pairs (2: 5, 7, 8; 1: 7).
    const struct {
        int ui;
        int32_t algoType;
        bool accepted;
    } scenes[] = {{2, 4, false},  {2, 5, true},  {2, 6, false}, {2, 7, true},
                  {2, 8, true},   {2, 9, false}, {2, 0, false}, {2, 37, false},
                  {2, -1, false}, {1, 7, true},  {1, 5, false}, {1, 8, false},
                  {1, 6, false},  {3, 7, false}, {3, 5, false}, {-2, 7, false}};
    for (const auto& s : scenes) {
        rows.push_back({"scene",
                        scene(s.ui, s.algoType),
                        nullptr,
                        s.accepted,
                        'D',
                        "sdsrEnable: " + std::to_string(s.accepted ? 1 : 0) +
                            " algoType = " + std::to_string(s.algoType),
                        {}});
    }
    return rows;
}

TEST_F(EnableTest, OutcomeTable) {
    for (const Row& row : refusalRows()) {
        SCOPED_TRACE(std::string(row.name) + " / " + row.message);
        korahost::resetObservations();
        tree.makePassing();
        auto meta = hostkit::enablingMetadata();
        Request request{tree, *meta};
        if (row.before)
            row.before(request);
        SdSrPlugin plugin;
        if (row.after)
            row.after(request);
        korahost::clearLogs();
        enableTagWrites();

        EXPECT_EQ(plugin.isEnabled(VoaParams{meta, 1, 1}), row.answer);

        const LogView logs = LogView::take();
        EXPECT_TRUE(logs.has(row.level, row.message)) << logs.dump();
        for (const auto& text : row.absent)
            EXPECT_FALSE(logs.has(text)) << text;
        EXPECT_EQ(SdSrPluginTestAccess::outstanding(plugin), row.answer ? 1 : 0);
        const auto writes = enableTagWrites();
        EXPECT_EQ(writes, row.answer ? std::vector<int32_t>{1} : std::vector<int32_t>{});
        const MetadataEntry entry = meta->find(kEnableTag);
        if (row.answer) {
            ASSERT_EQ(entry.count, 1u);
            EXPECT_EQ(entry.data.i32[0], 1);
            EXPECT_TRUE(logs.hasExact('I', std::string("update ") + kEnableTag));
        } else {
            EXPECT_EQ(entry.count, 0u) << "a refusal never writes the enable tag";
        }
        for (const auto& line : logs.lines()) {
            if (line.message.find("sdsrEnable") != std::string::npos ||
                line.message.find("BypassAlgo") != std::string::npos) {
                EXPECT_EQ(line.function, "isEnabled") << line.message;
            }
        }
    }
}

TEST_F(EnableTest, OutstandingLimitAdmitsTwo) {
    SdSrPlugin plugin;
    SdSrPluginTestAccess::outstanding(plugin) = 1;
    auto first = hostkit::enablingMetadata();
    EXPECT_TRUE(plugin.isEnabled(VoaParams{first, 1, 1}));
    EXPECT_EQ(SdSrPluginTestAccess::outstanding(plugin), 2);

    korahost::clearLogs();
    auto second = hostkit::enablingMetadata();
    EXPECT_FALSE(plugin.isEnabled(VoaParams{second, 2, 2}));
    EXPECT_EQ(SdSrPluginTestAccess::outstanding(plugin), 2);
    const LogView logs = LogView::take();
    EXPECT_TRUE(
        logs.hasExact('I', "sdsr BypassAlgo, process count:2 BYPASS_SDSR_PROCESS_COUNT = 2"))
        << logs.dump();
    EXPECT_TRUE(logs.hasExact('D', kFinalFalse));
    EXPECT_EQ(second->find(kEnableTag).count, 0u);

    // Any count at or above the limit refuses.
    SdSrPluginTestAccess::outstanding(plugin) = 7;
    EXPECT_FALSE(plugin.isEnabled(VoaParams{hostkit::enablingMetadata(), 3, 3}));
    EXPECT_EQ(SdSrPluginTestAccess::outstanding(plugin), 7);
}

TEST_F(EnableTest, DecisionWithoutNodeDataDoesNotCrash) {
    tree.remove(kVersionFile);
    SdSrPlugin plugin;
    ASSERT_EQ(SdSrPluginTestAccess::nodeData(plugin), nullptr);
    korahost::clearLogs();
    auto meta = hostkit::enablingMetadata();
    hostkit::putInt(*meta, "orvane.thermal.thermalResult", 41);
    EXPECT_FALSE(plugin.isEnabled(VoaParams{meta, 1, 1}));
    const LogView logs = LogView::take();
    EXPECT_TRUE(logs.has("get thermalTemperature = 41 boardTemperature 36500")) << logs.dump();
    EXPECT_TRUE(logs.has('I', kFilesRefusal + "0, isFileExist = 1")) << logs.dump();

    // An empty request container is no crash either: every tag reads as absent.
    tree.makePassing();
    SdSrPlugin withVersion;
    EXPECT_FALSE(withVersion.isEnabled(VoaParams{nullptr, 1, 1}));
}

// Each decision reads the device root once, at its start: a root moved between two decisions of
// one plugin object is seen by the next one, and moving it back is seen too.
TEST_F(EnableTest, EachDecisionReadsTheDeviceRootAnew) {
    SdSrPlugin plugin;
    EXPECT_TRUE(plugin.isEnabled(VoaParams{hostkit::enablingMetadata(), 1, 1}));
    {
        hostkit::DeviceTree otherDevice;
        otherDevice.makePassing("9.9.9.9");
        korahost::clearLogs();
        EXPECT_FALSE(plugin.isEnabled(VoaParams{hostkit::enablingMetadata(), 2, 2}));
        const LogView logs = LogView::take();
        EXPECT_TRUE(logs.hasExact('E', "odm version:1.0.0.0, data version:9.9.9.9")) << logs.dump();
    }
    EXPECT_TRUE(plugin.isEnabled(VoaParams{hostkit::enablingMetadata(), 3, 3}));
}

TEST_F(EnableTest, ConcurrentDecisionsNeverAdmitMoreThanTwo) {
    SdSrPlugin plugin;
    korahost::setLogCapture(false);
    std::atomic<int> admitted{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&plugin, &admitted, t] {
            for (int i = 0; i < 20; ++i) {
                if (plugin.isEnabled(VoaParams{hostkit::enablingMetadata(), uint64_t(t), 0})) {
                    ++admitted;
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    korahost::setLogCapture(true);
    EXPECT_EQ(admitted.load(), 2);
    EXPECT_EQ(SdSrPluginTestAccess::outstanding(plugin), 2);
}

}  // namespace

// Perf locks, EXIF writers, fault reports, the controller flag and the provider registry.
#include <gtest/gtest.h>

#include "AlgoControllerAdapter.h"
#include "CameraDFX.h"
#include "PluginWraper.h"
#include "VoExifIntf.h"
#include "VoaPerfLock.h"
#include "korahost/HostControl.h"

namespace {

using korahost::PerfEventKind;

class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override { korahost::resetObservations(); }
    void TearDown() override { korahost::resetObservations(); }
};

TEST_F(ServicesTest, PerfLocksRecordTheirLifeAndCanFail) {
    auto* manager = voalgo2::VoaPerfManager::getInstance();
    voalgo2::VoaPerfLock* lock = manager->CreatePerfLock();
    ASSERT_NE(nullptr, lock);
    EXPECT_EQ(1, korahost::livePerfLocks());
    lock->AcquirePerfLock(3000, voalgo2::PERF_LOCK_ALGO_SNAPSHOT);
    lock->ReleasePerfLock();
    lock->dispose();
    EXPECT_EQ(0, korahost::livePerfLocks());
    auto events = korahost::takePerfEvents();
    ASSERT_EQ(4u, events.size());
    EXPECT_EQ(PerfEventKind::Create, events[0].kind);
    EXPECT_EQ(PerfEventKind::AcquireAlgo, events[1].kind);
    EXPECT_EQ(3000u, events[1].durationMs);
    EXPECT_EQ(1, events[1].algo);
    EXPECT_EQ(PerfEventKind::Release, events[2].kind);
    EXPECT_EQ(PerfEventKind::Dispose, events[3].kind);

    korahost::setPerfLockCreationFails(true);
    EXPECT_EQ(nullptr, manager->CreatePerfLock());
    events = korahost::takePerfEvents();
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(PerfEventKind::CreateFailed, events[0].kind);
}

TEST_F(ServicesTest, ExifPublishesOnlyCommittedWriters) {
    {
        VoExifMgr::VoExifIntf dropped("sdsr", 11);
        dropped.update<int>("on", 1);
    }
    {
        VoExifMgr::VoExifIntf kept("sdsr", 12);
        kept.update<int>("on", 1);
        kept.update<std::string>("version", "1.2.3.4");
        EXPECT_EQ(0, kept.commit());
        EXPECT_NE(0, kept.commit());
    }
    EXPECT_TRUE(korahost::publishedExif(11).empty());
    const auto published = korahost::publishedExif(12);
    ASSERT_EQ(2u, published.size());
    EXPECT_EQ("version", published[1].key);
    EXPECT_EQ("1.2.3.4", published[1].value);
    EXPECT_TRUE(published[0].isInt);

    const auto writers = korahost::takeExifWriters();
    ASSERT_EQ(2u, writers.size());
    EXPECT_FALSE(writers[0].committed);
    EXPECT_EQ(11u, writers[0].requestKey);
    EXPECT_TRUE(writers[1].committed);
    EXPECT_EQ("sdsr", writers[1].module);
}

TEST_F(ServicesTest, FaultReportsAndControllerFlags) {
    CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(-5), 7);
    CameraDFX::ReportToDFX(DFX_NO_ERROR, 7);
    const auto reports = korahost::takeDfxReports();
    ASSERT_EQ(2u, reports.size());
    EXPECT_EQ(-5, reports[0].code);
    EXPECT_EQ(7, reports[0].module);

    cameraopt::AlgoControllerAdapter sdsr("SDSR"), other("MFNR");
    EXPECT_EQ(0, sdsr.getFlag());
    korahost::setControllerFlag("SDSR", 2);
    EXPECT_EQ(2, sdsr.getFlag());
    EXPECT_EQ(0, other.getFlag());
}

// A plugin that counts isEnabled calls, to check the framework's pre-processing rule.
class CountingPlugin : public PluginWraper {
  public:
    bool support = false, skip = false, enabled = true;
    int enabledCalls = 0;
    int initialize(CreateInfo*, VoaNodeInterface) override { return 0; }
    int preProcess(PreProcessInfo) override { return 0; }
    void getBufferAccessTypeByPlugin(const ProcessRequestInfo*,
                                     std::map<uint32_t, std::vector<VoBufferAccessType>>&,
                                     VoBufferAccessType&) override {}
    void getPreProcessBufferAccessType(const ProcessRequestInfo*,
                                       std::map<uint32_t, std::vector<VoBufferAccessType>>&,
                                       VoBufferAccessType&) override {}
    int processRequest(ProcessRequestInfo*) override { return 0; }
    int processRequest(ProcessRequestInfoV2*) override { return 0; }
    void customizeOutBufferFormats(std::map<int, VoaFrameInfo>&, const std::map<int, VoaFrameInfo>&,
                                   const std::map<int, VoaFrameInfo>&,
                                   const voalgo2::customizeOutExtend&) override {}
    VoaFrameOrder getCustomFrameOrder(std::shared_ptr<VoMetadata>) override { return {}; }
    int getExtraBufferCount() override { return 0; }
    int flushRequest(FlushRequestInfo*) override { return 0; }
    void destroy() override {}
    bool isEnabled(VoaParams) override {
        ++enabledCalls;
        return enabled;
    }
    void onSessionReset() override {}
    int onPrepareRequest(ProcessPluginPrivMessage*) override { return -1; }
    int onPrivateMessage(ProcessPluginPrivMessage*) override { return -1; }
    bool skipPreProcess() override { return skip; }
    bool supportPreProcess() override { return support; }
};

TEST_F(ServicesTest, NeedPreProcessRule) {
    struct Row {
        bool support, skip, enabled, expected;
        int enabledCalls;
    } rows[] = {
        {false, false, true, false, 0},
        {true, true, true, false, 0},
        {true, false, true, true, 1},
        {true, false, false, false, 1},
    };
    for (const auto& row : rows) {
        CountingPlugin plugin;
        plugin.support = row.support;
        plugin.skip = row.skip;
        plugin.enabled = row.enabled;
        EXPECT_EQ(row.expected, plugin.needPreProcess(VoaParams{}));
        EXPECT_EQ(row.enabledCalls, plugin.enabledCalls);
    }
}

TEST_F(ServicesTest, ConvertImageParamsStopsAtThreePlanes) {
    CountingPlugin plugin;
    uint8_t bytes[4] = {};
    ImageParams image{};
    image.format = 17;
    image.width = 8;
    image.height = 6;
    image.colorSpace = 9;
    image.stride = 16;
    image.scanline = 8;
    image.planeCount = 7;
    for (uint32_t i = 0; i < VO_MAX_PLANES; ++i)
        image.planes[i] = VoPlane{bytes + i, int(i), i};
    voalgo2::VoImageBuffer buffer{};
    plugin.convertImageParams(image, buffer);
    EXPECT_EQ(7u, buffer.planeCount);
    EXPECT_EQ(bytes + 2, buffer.planeAddr[2]);
    EXPECT_EQ(2, buffer.planeFd[2]);
    EXPECT_EQ(9u, buffer.colorSpace);
    EXPECT_EQ(16u, buffer.stride);
}

// A provider whose destruction is observable.
class CountedProvider : public voalgo2::Provider {
  public:
    explicit CountedProvider(int* deaths) : m_deaths(deaths) {}
    ~CountedProvider() override { ++*m_deaths; }
    unsigned int getVersion() const override { return 1; }
    std::string plumaGetType() const override { return "Counted"; }

  private:
    int* m_deaths;
};

TEST_F(ServicesTest, ProviderManagerOwnsItsProviders) {
    int deaths = 0;
    {
        voalgo2::ProviderManager manager;
        EXPECT_FALSE(manager.add(nullptr));
        EXPECT_TRUE(manager.add(new CountedProvider(&deaths)));
        EXPECT_TRUE(manager.add(new CountedProvider(&deaths)));
        EXPECT_EQ(2u, manager.providersOfType("Counted").size());
        EXPECT_TRUE(manager.providersOfType("Other").empty());
    }
    EXPECT_EQ(2, deaths);
}

}  // namespace

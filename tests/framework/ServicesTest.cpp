// The framework base class's pre-processing rule and image conversion. Boost, EXIF, fault-report
// and controller observations are proven through the plugin's request and enable tables.
#include <gtest/gtest.h>

#include "PluginWraper.h"
#include "korahost/HostControl.h"

namespace {

class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override { korahost::resetObservations(); }
    void TearDown() override { korahost::resetObservations(); }
};

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

}  // namespace

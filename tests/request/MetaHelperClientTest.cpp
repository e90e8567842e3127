// The metadata helper client as a request sees it: the lux index handed to the algorithm comes
// from the helper library when it can be used, and is 0.0 otherwise. The client is one object
// per process, so every case runs in a fresh process.
#include <ostream>
#include <string>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {

const float kLux = 321.25f;

std::shared_ptr<VoMetadata> metadataWithLux() {
    auto meta = enablingMetadata();
    unsigned int tag = 0;
    if (VoMetadata::getTagFromName("orvane.stats.luxIndex", &tag) != 0) {
        ADD_FAILURE() << "orvane.stats.luxIndex is not a registered tag";
        return meta;
    }
    putFloat(*meta, tag, kLux);
    return meta;
}

// The lux index the algorithm received for one request.
float luxOfOneRequest(PluginSession& session) {
    TestRequest request(32, 16, 17, 32, metadataWithLux());
    session.process(request);
    ScriptedAlgoCall init{};
    if (!session.algo.lastCall(SCRIPTED_CALL_INIT, &init)) {
        ADD_FAILURE() << "no Init call";
        return -1.0f;
    }
    return init.init.lux_index;
}

TEST(MetaHelperClient, LoadsOnceAndKeepsTheLibrary) {
    EXPECT_TRUE(inChild([] {
        SessionOptions options;
        options.metaHelper = "double";
        PluginSession session(options);
        MetaHelperDouble helper("double");
        for (int i = 0; i < 3; ++i)
            EXPECT_FLOAT_EQ(kLux, luxOfOneRequest(session));
        EXPECT_EQ(1, helper.getInstanceCalls());
        EXPECT_EQ(1, helper.prepareCalls());
        EXPECT_EQ(3, helper.createCalls());
        EXPECT_EQ(3, helper.queryCalls());
    }));
}

TEST(MetaHelperClient, RetriesWhileMissingAndStaysLoadedOnceFound) {
    EXPECT_TRUE(inChild([] {
        PluginSession session;
        EXPECT_FLOAT_EQ(0.0f, luxOfOneRequest(session));
        EXPECT_FLOAT_EQ(0.0f, luxOfOneRequest(session));

        session.tree.installMetaHelper(MetaHelperDouble::path("double"));
        EXPECT_FLOAT_EQ(kLux, luxOfOneRequest(session));
        EXPECT_TRUE(MetaHelperDouble::isLoaded("double"));
        // Gone from the device now, but the loaded library stays in use.
        session.tree.remove("/odm/lib64/libmetadataHelper.so");
        EXPECT_FLOAT_EQ(kLux, luxOfOneRequest(session));
        MetaHelperDouble helper("double");
        EXPECT_EQ(1, helper.getInstanceCalls());
        EXPECT_EQ(1, helper.prepareCalls());
    }));
}

// A library without a usable factory is closed again, and looked at again on the next request.
struct UnusableRow {
    const char* variant;
    int getInstanceCallsPerRequest;
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const UnusableRow& row, std::ostream* os) {
    *os << row.variant;
}

class UnusableHelper : public ::testing::TestWithParam<UnusableRow> {};

TEST_P(UnusableHelper, ClosedAgainAndRetried) {
    const UnusableRow& row = GetParam();
    EXPECT_TRUE(inChild([&row] {
        SessionOptions options;
        options.metaHelper = row.variant;
        PluginSession session(options);
        EXPECT_FLOAT_EQ(0.0f, luxOfOneRequest(session));
        EXPECT_FALSE(MetaHelperDouble::isLoaded(row.variant)) << "library kept open";

        // Hold the library so its counters survive the client's dlclose.
        MetaHelperDouble helper(row.variant);
        EXPECT_FLOAT_EQ(0.0f, luxOfOneRequest(session));
        EXPECT_FLOAT_EQ(0.0f, luxOfOneRequest(session));
        EXPECT_EQ(2 * row.getInstanceCallsPerRequest, helper.getInstanceCalls());
        EXPECT_EQ(0, helper.prepareCalls());
        EXPECT_EQ(0, helper.createCalls());
    }));
}

INSTANTIATE_TEST_SUITE_P(Variants, UnusableHelper,
                         ::testing::Values(UnusableRow{"nullfactory", 1},
                                           UnusableRow{"nosymbol", 0}),
                         [](const ::testing::TestParamInfo<UnusableRow>& param) {
                             return std::string(param.param.variant);
                         });

}  // namespace
}  // namespace sdsrtest

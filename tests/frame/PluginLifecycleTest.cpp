// The plugin as the framework sees it: loaded with dlopen, driven through PluginWraper*.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <cstring>
#include <set>
#include <string>

#include "DeviceTree.h"
#include "FrameTestSupport.h"
#include "MetadataBuilders.h"
#include "PluginLoader.h"
#include "YuvImage.h"
#include "korahost/HostControl.h"

namespace {

using frametest::LogView;

class PluginLifecycleTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korahost::resetObservations();
        korahost::openAllLogGates();
        ASSERT_TRUE(loader.ok()) << loader.error();
        korahost::clearLogs();
    }
    hostkit::DeviceTree tree;
    hostkit::PluginLoader loader;
};

std::string runTool(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char buffer[512];
    while (fgets(buffer, sizeof(buffer), pipe) != nullptr)
        output += buffer;
    pclose(pipe);
    return output;
}

TEST_F(PluginLifecycleTest, ProviderAnswersNameTypeAndVersion) {
    PluginWraperProvider* provider = loader.provider();
    EXPECT_EQ(provider->getName(), "com.orvane.plugin.sdsr");
    EXPECT_EQ(provider->plumaGetType(), PluginWraperProvider::PLUMA_PROVIDER_TYPE);
    EXPECT_EQ(provider->getVersion(), PluginWraperProvider::PLUMA_INTERFACE_VERSION);
    EXPECT_EQ(loader.manager().providersOfType(PluginWraperProvider::PLUMA_PROVIDER_TYPE).size(),
              1u);
}

TEST_F(PluginLifecycleTest, ConnectSucceedsEvenWhenTheHostRefusesTheProvider) {
    // The host refuses a second provider under the same name; the library is connected anyway.
    auto connect = reinterpret_cast<KoraConnectFn>(dlsym(loader.handle(), "koraconnect"));
    ASSERT_NE(connect, nullptr);
    voalgo2::ProviderManager host;
    EXPECT_TRUE(connect(host));
    EXPECT_TRUE(connect(host));
    EXPECT_EQ(host.providers().size(), 1u);
    const LogView logs = LogView::take();
    EXPECT_TRUE(logs.lines().empty()) << logs.dump();
}

TEST_F(PluginLifecycleTest, InitializeSucceedsWithAndWithoutVersionFile) {
    struct Row {
        const char* name;
        bool versionFile;
        char level;
        const char* initMessage;
        const char* constructionMessage;
    };
    const Row rows[] = {
        {"version file", true, 'D', " m_pNodeSdsrData->init() finish", ", sdsr_version:1.2.3"},
        {"no version file", false, 'I', "m_pNodeSdsrData is nullptr",
         "open /odm/etc/camera/sdsr_version.txt failed!"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.versionFile) {
            tree.writeVersion("1.2.3\nsecond line\n");
        } else {
            tree.remove("/odm/etc/camera/sdsr_version.txt");
        }
        korahost::clearLogs();
        auto plugin = loader.create();
        ASSERT_NE(plugin, nullptr);
        CreateInfo info{};
        info.nodeName = "SdsrNode7";
        info.cameraId = 3;
        VoaNodeInterface node{};
        EXPECT_EQ(plugin->initialize(&info, node), 0);
        const LogView logs = LogView::take();
        EXPECT_TRUE(logs.has(row.versionFile ? 'D' : 'E', row.constructionMessage)) << logs.dump();
        EXPECT_TRUE(logs.hasExact(row.level, row.initMessage)) << logs.dump();
        EXPECT_FALSE(logs.has(row.versionFile ? "m_pNodeSdsrData is nullptr" : "init() finish"));
        for (const auto& line : logs.lines()) {
            EXPECT_EQ(line.tag, "SDSR");
            EXPECT_EQ(line.group, 2u);
        }
    }
}

// The framework asks the plugin through its base class for the access it needs: CPU read and
// write on every buffer, without touching the per-port lists; the V2 request is not used.
TEST_F(PluginLifecycleTest, FixedSlotAnswersThroughTheBase) {
    tree.makePassing();
    std::unique_ptr<PluginWraper> plugin = loader.createInitialized();
    ASSERT_NE(plugin, nullptr);
    PluginWraper* base = plugin.get();
    std::map<uint32_t, std::vector<VoBufferAccessType>> perPort = {
        {4, {VO_BUFFER_ACCESS_READ, VO_BUFFER_ACCESS_WRITE}}};
    const auto perPortBefore = perPort;
    VoBufferAccessType access = VO_BUFFER_ACCESS_NONE;
    base->getBufferAccessTypeByPlugin(nullptr, perPort, access);
    EXPECT_EQ(access, VO_BUFFER_ACCESS_CPU_READ_WRITE);
    access = VO_BUFFER_ACCESS_READ;
    base->getPreProcessBufferAccessType(nullptr, perPort, access);
    EXPECT_EQ(access, VO_BUFFER_ACCESS_CPU_READ_WRITE);
    EXPECT_EQ(perPort, perPortBefore);
    ProcessRequestInfoV2 v2{};
    EXPECT_EQ(base->processRequest(&v2), 0);
    EXPECT_EQ(base->onPrepareRequest(nullptr), -1);
}

TEST_F(PluginLifecycleTest, NeedPreProcessIsFalseWithoutAskingIsEnabled) {
    tree.makePassing();
    auto plugin = loader.createInitialized();
    ASSERT_NE(plugin, nullptr);
    auto meta = hostkit::enablingMetadata();
    korahost::clearLogs();
    VoaParams params{meta, 1, 1};
    EXPECT_FALSE(plugin->needPreProcess(params));
    const LogView logs = LogView::take();
    EXPECT_FALSE(logs.has("FreeRam")) << logs.dump();
    EXPECT_FALSE(logs.has("final sdsrEnable")) << logs.dump();
    EXPECT_EQ(meta->find("orvane.snapshot.stableDiffusionSREnable").count, 0u);

    // The same parameters do enable the plugin: needPreProcess ignored a true answer.
    EXPECT_TRUE(plugin->isEnabled(VoaParams{meta, 1, 1}));
}

TEST_F(PluginLifecycleTest, DestroyAndDeleteLogTheObject) {
    tree.makePassing();
    auto plugin = loader.createInitialized();
    ASSERT_NE(plugin, nullptr);
    char address[32];
    snprintf(address, sizeof(address), "%p", static_cast<void*>(plugin.get()));
    korahost::clearLogs();

    plugin->destroy();
    LogView logs = LogView::take();
    EXPECT_TRUE(logs.hasExact('D', address)) << logs.dump();
    EXPECT_FALSE(logs.has("dlclose")) << "no library was bound";

    plugin.reset();
    logs = LogView::take();
    ASSERT_EQ(logs.matching(address).size(), 1u) << logs.dump();
    EXPECT_EQ(logs.matching(address)[0].function, "~SdSrPlugin");
}

TEST_F(PluginLifecycleTest, LibraryExportsOnlyTheEntry) {
    // Internal names must not be reachable from the camera process.
    EXPECT_NE(dlsym(loader.handle(), "koraconnect"), nullptr);
    for (const char* hidden : {"SdSrDump", "SdSrBypass", "SdSrLuxIndex", "_ZN10SdSrPluginC1Ev",
                               "_ZNK18SdSrPluginProvider7getNameEv"}) {
        EXPECT_EQ(dlsym(loader.handle(), hidden), nullptr) << hidden;
    }

    const std::string symbols =
        runTool("nm -D --defined-only '" + hostkit::pluginPath() + "' 2>/dev/null");
    ASSERT_FALSE(symbols.empty()) << "nm (binutils) printed nothing";
    std::set<std::string> defined;
    char type = 0;
    char name[512];
    for (const char* line = symbols.c_str(); *line != '\0';) {
        const char* end = std::strchr(line, '\n');
        const std::string row(line, end ? end - line : std::strlen(line));
        if (sscanf(row.c_str(), "%*s %c %511s", &type, name) == 2)
            defined.insert(name);
        line = end ? end + 1 : line + row.size();
    }
    EXPECT_EQ(defined, std::set<std::string>{"koraconnect"});
}

TEST_F(PluginLifecycleTest, LibraryCarriesItsSoname) {
    const std::string dynamic = runTool("readelf -d '" + hostkit::pluginPath() + "' 2>/dev/null");
    ASSERT_FALSE(dynamic.empty()) << "readelf (binutils) printed nothing";
    EXPECT_NE(dynamic.find("Library soname: [com.orvane.plugin.sdsr.so]"), std::string::npos)
        << dynamic;
}

}  // namespace

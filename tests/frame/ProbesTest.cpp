// Device probes of the enable decision on crafted device trees.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "DevicePaths.h"
#include "DeviceTree.h"
#include "FrameTestSupport.h"
#include "devicePath.h"
#include "korahost/HostControl.h"
#include "sdsrplugin.h"

namespace {

using frametest::LogView;
using Keywords = std::vector<std::string>;

using hostkit::kVersionFile;

class ProbesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korahost::resetObservations();
        korahost::openAllLogGates();
    }
    hostkit::DeviceTree tree;
};

TEST_F(ProbesTest, KeywordReaderSumsFirstMatchesInListOrder) {
    struct Row {
        const char* name;
        std::string content;
        Keywords keywords;
        float sum;
        Keywords left;
    };
    const Row rows[] = {
        {"no keyword in the file", "Foo: 1\nBar: 2\n", {"Baz:"}, 0.0f, {"Baz:"}},
        {"each keyword once", "A: 1\nB: 2\nA: 4\n", {"A:", "B:"}, 3.0f, {}},
        {"substring taken by the earlier keyword",
         "SwapCached: 10 kB\nCached: 20 kB\n",
         {"Cached:", "SwapCached:"},
         10.0f,
         {"SwapCached:"}},
        {"meminfo order meets each own line",
         "Cached: 20 kB\nSwapCached: 10 kB\n",
         {"Cached:", "SwapCached:"},
         30.0f,
         {}},
        {"no colon: number must lead the line", "Cached 55\n", {"Cached"}, 0.0f, {}},
        {"no colon: leading number", "55 Cached\n", {"Cached"}, 55.0f, {}},
        {"matched line without number",
         "MemFree: lots\nBuffers: 8\n",
         {"MemFree:", "Buffers:"},
         8.0f,
         {}},
        {"one line feeds one keyword", "AB: 3\n", {"A", "X", "AB"}, 3.0f, {"X", "AB"}},
        {"empty keyword list", "A: 1\n", {}, 0.0f, {}},
        {"empty keyword matches the first line", "A: 5\nB: 7\n", {"", "B:"}, 12.0f, {}},
        {"kernel spacing", "MemFree:        12345 kB\n", {"MemFree:"}, 12345.0f, {}},
        // Numbers are read as atof reads them, whatever their form.
        {"fraction", "A: 1.5 kB\n", {"A:"}, 1.5f, {}},
        {"exponent", "A: 2e3\n", {"A:"}, 2000.0f, {}},
        {"hex", "A: 0x10\n", {"A:"}, 16.0f, {}},
        {"sign", "A: -4 kB\n", {"A:"}, -4.0f, {}},
        {"tab before, unit right after", "A:\t12kB\n", {"A:"}, 12.0f, {}},
        {"number at the end of the file", "A: 77", {"A:"}, 77.0f, {}},
        {"beyond 64 bits", "A: 36893488147419103232\n", {"A:"}, 36893488147419103232.0f, {}},
    };
    SdSrPlugin plugin;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        tree.write("/proc/keywords", row.content);
        Keywords keywords = row.keywords;
        float sum = -1.0f;
        EXPECT_TRUE(plugin.getDataByFileAndKeywords("/proc/keywords", keywords, &sum));
        EXPECT_FLOAT_EQ(sum, row.sum);
        EXPECT_EQ(keywords, row.left);
    }
}

TEST_F(ProbesTest, KeywordReaderRefusesMissingPathOrFile) {
    SdSrPlugin plugin;
    korahost::clearLogs();
    Keywords keywords = {"MemFree:"};
    float sum = -1.0f;
    EXPECT_FALSE(plugin.getDataByFileAndKeywords(nullptr, keywords, &sum));
    EXPECT_FALSE(plugin.getDataByFileAndKeywords("/proc/nothing", keywords, &sum));
    EXPECT_FLOAT_EQ(sum, -1.0f);
    EXPECT_EQ(keywords, Keywords{"MemFree:"});
    const LogView logs = LogView::take();
    EXPECT_TRUE(logs.hasExact('I', "pPath is null")) << logs.dump();
    EXPECT_TRUE(logs.hasExact(
        'E', "failed open file path:/proc/nothing, open error: No such file or directory"))
        << logs.dump();
}

TEST_F(ProbesTest, FreeRamAddsTheFiveCountersOfMeminfo) {
    SdSrPlugin plugin;
    tree.writeMeminfo(512000.0);
    korahost::clearLogs();
    EXPECT_FLOAT_EQ(plugin.getFreeRam(), 512000.0f);
    EXPECT_TRUE(LogView::take().hasExact('I', "FreeRam 512000.000000 KB"));

    tree.write("/proc/meminfo",
               "MemTotal: 9000 kB\nMemFree: 100 kB\nMemAvailable: 7000 kB\nBuffers: 20 kB\n"
               "Cached: 300 kB\nSwapCached: 4 kB\nActive: 50 kB\nKReclaimable: 5 kB\n");
    EXPECT_FLOAT_EQ(plugin.getFreeRam(), 429.0f);

    tree.remove("/proc/meminfo");
    korahost::clearLogs();
    EXPECT_EQ(plugin.getFreeRam(), 0.0f);
    const LogView logs = LogView::take();
    EXPECT_TRUE(logs.hasExact('W', "GetFreeRam failed!")) << logs.dump();
    EXPECT_TRUE(logs.hasExact('I', "FreeRam 0.000000 KB")) << logs.dump();

    // A directory opens and its first read fails: a scan that finds nothing, not a failure.
    ASSERT_EQ(mkdir(tree.path("/proc/meminfo").c_str(), 0700), 0);
    EXPECT_EQ(plugin.getFreeRam(), 0.0f);
    const LogView directoryLogs = LogView::take();
    EXPECT_FALSE(directoryLogs.has("failed open file")) << directoryLogs.dump();
    EXPECT_FALSE(directoryLogs.has("GetFreeRam failed!")) << directoryLogs.dump();
    EXPECT_TRUE(directoryLogs.hasExact('I', "FreeRam 0.000000 KB")) << directoryLogs.dump();
}

TEST_F(ProbesTest, VersionMustStayWhatConstructionRead) {
    struct Row {
        const char* name;
        const char* atConstruction;  // null: no file
        const char* now;             // null: no file
        bool same;
        const char* message;  // E line, or null for none
    };
    // First lines longer than one read of the file (256 bytes): the whole line counts, not its
    // first block.
    const std::string longVersion(300, '7');
    const std::string longFile = longVersion + "\nA\n";
    const std::string longFileChangedAfter = longVersion + "\nB";
    const std::string longerFile = longVersion + "8\n";
    const std::string longMessage =
        "odm version:" + longVersion + ", data version:" + longVersion + "8";
    const Row rows[] = {
        {"unchanged", "1.0.0.0\n", "1.0.0.0\n", true, nullptr},
        {"no trailing newline", "1.0.0.0", "1.0.0.0\n", true, nullptr},
        {"changed after the first line", "1.0\nA\n", "1.0\nB\n", true, nullptr},
        {"changed first line", "1.0\n", "1.1\n", false, "odm version:1.0, data version:1.1"},
        {"trailing blank", "1.0\n", "1.0 \n", false, "odm version:1.0, data version:1.0 "},
        {"emptied", "1.0\n", "", false, "odm version:1.0, data version:"},
        {"removed", "1.0\n", nullptr, false, "open sdsr_version failed!"},
        {"appeared empty", nullptr, "", true, nullptr},
        {"appeared with empty first line", nullptr, "\n2.0\n", true, nullptr},
        {"appeared with a version", nullptr, "2.0\n", false, "odm version:, data version:2.0"},
        {"long line unchanged", longFile.c_str(), longFileChangedAfter.c_str(), true, nullptr},
        {"long line grown", longFile.c_str(), longerFile.c_str(), false, longMessage.c_str()},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.atConstruction) {
            tree.writeVersion(row.atConstruction);
        } else {
            tree.remove(kVersionFile);
        }
        SdSrPlugin plugin;
        if (row.now) {
            tree.writeVersion(row.now);
        } else {
            tree.remove(kVersionFile);
        }
        korahost::clearLogs();
        EXPECT_EQ(plugin.isSameSdsrVersion(), row.same);
        const LogView logs = LogView::take();
        if (row.message) {
            EXPECT_TRUE(logs.hasExact('E', row.message)) << logs.dump();
        } else {
            EXPECT_TRUE(logs.lines().empty()) << logs.dump();
        }
    }
}

TEST_F(ProbesTest, ModelWalkStopsAtTheFirstMissingFile) {
    tree.writeAllModels();
    SdSrPlugin plugin;
    korahost::clearLogs();
    EXPECT_TRUE(plugin.isFileExist());
    LogView logs = LogView::take();
    EXPECT_EQ(logs.matching(" is access").size(), 12u) << logs.dump();
    EXPECT_EQ(logs.matching("is access").front().message,
              "buf:/data/vendor/camera/gan_20x.vonn is access");
    EXPECT_EQ(logs.matching("is access").back().message,
              "buf:/data/vendor/camera/gan_text.vonn is access");

    tree.remove("/data/vendor/camera/det_face.vonn");
    korahost::clearLogs();
    EXPECT_FALSE(plugin.isFileExist());
    logs = LogView::take();
    EXPECT_TRUE(logs.hasExact('D', "buf:/data/vendor/camera/det_face.vonn is not acess"));
    EXPECT_TRUE(logs.hasExact('I', "modelName:det_face.vonn is not acess")) << logs.dump();
    EXPECT_EQ(logs.matching(" is access").size(), 3u) << "keys 4 to 11 are not tested";
    EXPECT_FALSE(logs.has("gan_face.vonn"));
    EXPECT_FALSE(logs.has("gan_text.vonn"));

    // Restoring the file heals the check without a new plugin object.
    tree.write("/data/vendor/camera/det_face.vonn", "model");
    EXPECT_TRUE(plugin.isFileExist());
}

TEST_F(ProbesTest, ModelPathIsCutAt127Characters) {
    const std::string directory = "/data/vendor/camera/";
    const std::string longName = std::string(140, 'm') + ".vonn";
    const std::string cut = (directory + longName).substr(0, 127);
    SdSrPlugin plugin;

    tree.write(directory + longName, "model");
    korahost::clearLogs();
    EXPECT_FALSE(plugin.modelAccess(longName.c_str())) << "the full path is never tested";
    EXPECT_TRUE(LogView::take().hasExact('D', "buf:" + cut + " is not acess"));

    tree.write(cut, "model");
    korahost::clearLogs();
    EXPECT_TRUE(plugin.modelAccess(longName.c_str()));
    EXPECT_TRUE(LogView::take().hasExact('D', "buf:" + cut + " is access"));
}

// Drops the two capabilities that let root read any file, from the effective and the permitted
// set (access() checks against the permitted set when the real uid is 0). Raw syscalls: two bits
// do not need libcap.
bool dropFileReadOverride() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) != 0)
        return false;
    const uint32_t mask = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);
    data[0].effective &= ~mask;
    data[0].permitted &= ~mask;
    return syscall(SYS_capset, &header, data) == 0;
}

// A scope holds the root it read at its start for the paths mapped while it lives; an inner scope
// reads anew and gives the outer reading back; outside any scope each mapping reads the variable.
TEST_F(ProbesTest, DeviceRootScopeHoldsOneReadingPerScope) {
    using voalgo2::DeviceRootScope;
    const auto mapped = [] { return std::string(voalgo2::devicePath("/proc/meminfo").c_str()); };
    setenv("KORA_DEVICE_ROOT", "/outer", 1);
    {
        const DeviceRootScope outer;
        setenv("KORA_DEVICE_ROOT", "/inner", 1);
        EXPECT_EQ(mapped(), "/outer/proc/meminfo") << "reading held by the live scope";
        {
            const DeviceRootScope inner;
            EXPECT_EQ(mapped(), "/inner/proc/meminfo") << "inner scope reads anew";
            unsetenv("KORA_DEVICE_ROOT");
            {
                const DeviceRootScope unset;
                EXPECT_EQ(mapped(), "/proc/meminfo") << "no root: path unchanged";
            }
            EXPECT_EQ(mapped(), "/inner/proc/meminfo") << "inner reading given back";
        }
        EXPECT_EQ(mapped(), "/outer/proc/meminfo") << "outer reading given back";
    }
    setenv("KORA_DEVICE_ROOT", "/after", 1);
    EXPECT_EQ(mapped(), "/after/proc/meminfo") << "outside any scope the variable is read";
}

// Run in a child that cannot override file permissions, so it holds as root too (CI).
TEST_F(ProbesTest, UnreadableModelCountsAsMissing) {
    tree.writeAllModels();
    ASSERT_EQ(chmod(tree.path("/data/vendor/camera/gan_30x.vonn").c_str(), 0), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!dropFileReadOverride())
            _exit(4);
        SdSrPlugin plugin;
        korahost::clearLogs();
        int failures = plugin.isFileExist() ? 1 : 0;
        failures |= LogView::take().hasExact('I', "modelName:gan_30x.vonn is not acess") ? 0 : 2;
        _exit(failures);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status))
        << "1: unreadable model counted as present, 2: no \"is not acess\" line, 4: capset "
           "failed";
}

}  // namespace

// The debug switches are read once when the library loads, so every configuration runs in a
// fresh child process that sets the properties, loads the plugin and reports what it sees.
// Nothing else in this executable loads the plugin: a copy loaded in the parent would be shared
// by every child and never re-initialised.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "FrameTestSupport.h"
#include "PluginLoader.h"
#include "korahost/HostControl.h"

namespace {

// What a child saw after loading the plugin.
struct LoadOutcome {
    bool loaded = false;
    bool created = false;
    int32_t dump = 0;
    int32_t bypass = 0;
    float luxIndex = 0.0f;
    int32_t preAlgoType = 0;
    int32_t sensorModeType = 0;
    int errorLines = 0;  // level E lines logged while loading
    int loadLines = 0;   // lines of any level logged while loading
    char errorText[160] = {0};
};

// Library-relative addresses of the switches, from the plugin's symbol table (the switches are
// not exported, so dlsym cannot see them).
std::map<std::string, uintptr_t> switchOffsets() {
    std::map<std::string, uintptr_t> offsets;
    const std::string command = "nm '" + hostkit::pluginPath() + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return offsets;
    char line[512];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        unsigned long long address = 0;
        char type = 0;
        char name[400];
        if (sscanf(line, "%llx %c %399s", &address, &type, name) != 3)
            continue;
        const std::string symbol(name);
        if (symbol.rfind("SdSr", 0) == 0)
            offsets[symbol] = static_cast<uintptr_t>(address);
    }
    pclose(pipe);
    return offsets;
}

template <typename T>
T readSwitch(void* handle, const std::map<std::string, uintptr_t>& offsets, const char* name) {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
        return T{};
    return *reinterpret_cast<const T*>(map->l_addr + offsets.at(name));
}

LoadOutcome loadInChild(const std::map<std::string, std::string>& properties,
                        const std::map<std::string, uintptr_t>& offsets) {
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        LoadOutcome outcome;
        korahost::clearProperties();
        for (const auto& property : properties) {
            korahost::setProperty(property.first, property.second);
        }
        korahost::openAllLogGates();
        korahost::clearLogs();
        {
            hostkit::PluginLoader loader;
            const frametest::LogView logs = frametest::LogView::take();
            outcome.loaded = loader.ok();
            outcome.loadLines = static_cast<int>(logs.lines().size());
            for (const auto& line : logs.lines()) {
                if (line.level != 'E')
                    continue;
                ++outcome.errorLines;
                snprintf(outcome.errorText, sizeof(outcome.errorText), "%s", line.message.c_str());
            }
            if (outcome.loaded) {
                outcome.created = loader.create() != nullptr;
                outcome.dump = readSwitch<int32_t>(loader.handle(), offsets, "SdSrDump");
                outcome.bypass = readSwitch<int32_t>(loader.handle(), offsets, "SdSrBypass");
                outcome.luxIndex = readSwitch<float>(loader.handle(), offsets, "SdSrLuxIndex");
                outcome.preAlgoType =
                    readSwitch<int32_t>(loader.handle(), offsets, "SdSrPreAlgoType");
                outcome.sensorModeType =
                    readSwitch<int32_t>(loader.handle(), offsets, "SdSrSensorModeType");
            }
        }
        const ssize_t written = write(fds[1], &outcome, sizeof(outcome));
        _exit(written == static_cast<ssize_t>(sizeof(outcome)) ? 0 : 1);
    }
    close(fds[1]);
    LoadOutcome outcome;
    const ssize_t got = read(fds[0], &outcome, sizeof(outcome));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
    EXPECT_EQ(got, static_cast<ssize_t>(sizeof(outcome)));
    return outcome;
}

TEST(PropertySwitchTest, SwitchesAreReadAtLoad) {
    const auto offsets = switchOffsets();
    for (const char* name :
         {"SdSrDump", "SdSrBypass", "SdSrLuxIndex", "SdSrPreAlgoType", "SdSrSensorModeType"}) {
        ASSERT_EQ(offsets.count(name), 1u) << "no symbol table entry for " << name;
    }

    struct Row {
        const char* name;
        std::map<std::string, std::string> properties;
        int32_t dump, bypass;
        float lux;
        int32_t preAlgoType, sensorModeType;
        int errorLines;
    };
    const std::string p = "persist.vendor.camera.sdsr.";
    // clang-format off
    const Row rows[] = {
        // name, properties -> dump, bypass, lux, preAlgoType, sensorModeType, error lines
        {"defaults", {}, 0, 0, -1.0f, -1, -1, 0},
        {"all set", {{p + "dump", "1"}, {p + "bypass", "1"}, {p + "luxIndex", "250.5"},
                     {p + "preAlgoType", "0"}, {p + "sensorModeType", "2"}}, 1, 1, 250.5f, 0, 2, 0},
        {"empty values read as unset", {{p + "dump", ""}, {p + "bypass", ""}, {p + "luxIndex", ""},
                     {p + "preAlgoType", ""}, {p + "sensorModeType", ""}}, 0, 0, -1.0f, -1, -1, 0},
        {"zero lux is stored as zero", {{p + "luxIndex", "0"}}, 0, 0, 0.0f, -1, -1, 0},
        {"lux with trailing text", {{p + "luxIndex", "12.5lux"}}, 0, 0, 12.5f, -1, -1, 0},
        {"lux not a number", {{p + "luxIndex", "bright"}}, 0, 0, -1.0f, -1, -1, 1},
        {"lux out of float range", {{p + "luxIndex", "1e60"}}, 0, 0, -1.0f, -1, -1, 1},
        {"integers: leading number or the default",
         {{p + "dump", "7x"}, {p + "bypass", "yes"}, {p + "preAlgoType", "-1"}},
         7, 0, -1.0f, -1, -1, 0},
        {"other keys are ignored", {{"persist.vendor.camera.sdsr.Dump", "1"}},
         0, 0, -1.0f, -1, -1, 0},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const LoadOutcome outcome = loadInChild(row.properties, offsets);
        ASSERT_TRUE(outcome.loaded);
        EXPECT_TRUE(outcome.created);
        EXPECT_EQ(outcome.dump, row.dump);
        EXPECT_EQ(outcome.bypass, row.bypass);
        EXPECT_FLOAT_EQ(outcome.luxIndex, row.lux);
        EXPECT_EQ(outcome.preAlgoType, row.preAlgoType);
        EXPECT_EQ(outcome.sensorModeType, row.sensorModeType);
        EXPECT_EQ(outcome.errorLines, row.errorLines) << outcome.errorText;
        // Loading and connecting log nothing unless a switch is unusable.
        EXPECT_EQ(outcome.loadLines, row.errorLines);
        if (row.errorLines > 0) {
            EXPECT_NE(std::string(outcome.errorText).find(row.properties.begin()->second),
                      std::string::npos)
                << "the bad value is named: " << outcome.errorText;
        }
    }
}

}  // namespace

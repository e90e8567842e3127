// Tuning dumps: which files a request leaves in the dump directory of the device, under which
// names, with which pixels. The dump switch is read at library load, so each case with the
// switch on runs in a fresh process.
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {

const char* const kDumpDir = "/data/vendor/camera";

std::vector<std::string> dumpFiles(const DeviceTree& tree) {
    std::vector<std::string> dumps;
    for (const auto& name : tree.listDir(kDumpDir)) {
        const std::string base = name.substr(name.find_last_of('/') + 1);
        if (base.rfind("IMG_", 0) == 0)
            dumps.push_back(base);
    }
    return dumps;
}

std::string asText(const std::vector<uint8_t>& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

enum class Path { Success, RunFails, FormatUnsupported, VersionMismatch };

struct DumpRow {
    const char* name;
    const char* dumpSwitch;  // property value, nullptr: unset
    Path path;
    float zoom;
    bool inputDump;
    bool outputDump;
    const char* zoomText;
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const DumpRow& row, std::ostream* os) {
    *os << row.name;
}

void checkDumps(const DumpRow& row) {
    if (row.dumpSwitch != nullptr) {
        korahost::setProperty("persist.vendor.camera.sdsr.dump", row.dumpSwitch);
    }
    PluginSession session;
    if (row.path == Path::RunFails)
        session.algo.setResults(0, -5, 0);
    if (row.path == Path::VersionMismatch)
        session.algo.setVersion(2, 0, 0, 0);
    const uint32_t format = row.path == Path::FormatUnsupported ? 34u : 17u;
    TestRequest request(64, 48, format, 80, enablingMetadata(row.zoom));
    session.process(request);

    const std::vector<std::string> files = dumpFiles(session.tree);
    ASSERT_EQ(size_t(row.inputDump) + size_t(row.outputDump), files.size());
    const std::regex pattern(std::string("IMG_\\d{8}_\\d{6}_SDSR_64x48_zoom") + row.zoomText +
                             "x_(input|output)\\.NV12");
    for (const auto& file : files) {
        EXPECT_TRUE(std::regex_match(file, pattern)) << file;
        const std::string content = session.tree.read(std::string(kDumpDir) + "/" + file);
        if (file.find("_input.") != std::string::npos) {
            EXPECT_TRUE(row.inputDump) << file;
            EXPECT_TRUE(content == asText(request.inputPixels)) << file << ": not the input";
        } else {
            EXPECT_TRUE(row.outputDump) << file;
            EXPECT_TRUE(content == asText(request.markedInput())) << file << ": not the result";
        }
    }
}

class Dumps : public ::testing::TestWithParam<DumpRow> {};

TEST_P(Dumps, FilesLeftInTheDumpDirectory) {
    const DumpRow& row = GetParam();
    EXPECT_TRUE(inChild([&row] { checkDumps(row); }));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Dumps,
    ::testing::Values(
        DumpRow{"SwitchUnsetSuccess", nullptr, Path::Success, 10.7f, false, false, "10"},
        DumpRow{"SwitchZeroSuccess", "0", Path::Success, 10.7f, false, false, "10"},
        DumpRow{"SwitchOnSuccess", "1", Path::Success, 10.7f, true, true, "10"},
        DumpRow{"SwitchOnZoomBelowOne", "1", Path::Success, 0.6f, true, true, "0"},
        DumpRow{"SwitchOnRunFails", "1", Path::RunFails, 10.7f, true, false, "10"},
        DumpRow{"SwitchOnFormatCopy", "1", Path::FormatUnsupported, 10.7f, false, false, "10"},
        DumpRow{"SwitchOnVersionCopy", "1", Path::VersionMismatch, 10.7f, false, false, "10"}),
    [](const ::testing::TestParamInfo<DumpRow>& param) { return param.param.name; });

}  // namespace
}  // namespace sdsrtest

// replay --min-psnr as a gate in CI: a comparison with the device's output below the limit
// exits 3 and names the dump; a folder replays every dump and exits 3 when any falls below.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "KorasimRunner.h"
#include "replay/DumpFiles.h"

using nlohmann::json;
using namespace korasimtest;

namespace {

// The example pair's output with a 20x16 patch raised by 12 levels: PSNR 41.14 dB.
constexpr int kRaise = 12;
const char* const kBelowText =
    "IMG_20240101_120001_SDSR_96x64_zoom10x_output.NV12: PSNR 41.14 dB < 45 dB";

struct GateCase {
    const char* name;
    int raise;
    size_t cut;  // bytes cut off the device's output
    std::vector<std::string> options;
    int exitCode;
    const char* stderrHas;  // "" : nothing said of the gate
    json belowMinPsnr;      // the report's compare.belowMinPsnr (null: no report)
};

TEST(KorasimReplayGate, OneDumpAgainstTheLimit) {
    const std::vector<GateCase> cases = {
        {"below", kRaise, 0, {"--min-psnr", "45"}, 3, kBelowText, true},
        {"above", kRaise, 0, {"--min-psnr", "40"}, 0, "", false},
        {"identical passes any limit", 0, 0, {"--min-psnr", "1000"}, 0, "", false},
        {"sizes differ", 0, 96, {"--min-psnr", "10"}, 3, "sizes differ, no PSNR", true},
        {"no limit", kRaise, 0, {}, 0, "", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const std::string input =
            exampleDumpPair(scratch, "dumps", "20240101_120001", c.raise, c.cut);
        std::vector<std::string> args = {
            "replay", input,       "--format",
            "nv12",   "--compare", input.substr(0, input.size() - 11) + "_output.NV12"};
        args.insert(args.end(), c.options.begin(), c.options.end());
        const Result r = runKorasim(scratch, args);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        // The failing dump named with its PSNR and the limit; nothing said when it passes.
        EXPECT_EQ(r.err.find("korasim: below --min-psnr: ") != std::string::npos, *c.stderrHas != 0)
            << r.err;
        EXPECT_NE(r.err.find(c.stderrHas), std::string::npos) << r.err;
        ASSERT_TRUE(r.report.contains("compare")) << r.out;
        EXPECT_EQ(r.report["compare"].value("belowMinPsnr", json()), c.belowMinPsnr);
    }
}

TEST(KorasimReplayGate, LimitWithoutAnythingToCompareIsAUsageError) {
    Scratch scratch;
    const std::string input = exampleDumpPair(scratch, "dumps", "20240101_120001");
    std::filesystem::remove(input.substr(0, input.size() - 11) + "_output.NV12");
    const std::vector<std::vector<std::string>> lines = {
        {"replay", input, "--format", "nv12", "--min-psnr", "40"},
        {"replay", scratch.path("dumps"), "--format", "nv12", "--min-psnr", "40"},
        {"replay", input, "--format", "nv12", "--compare", input, "--min-psnr", "inf"},
    };
    for (const auto& args : lines) {
        const Result r = runKorasim(scratch, args);
        EXPECT_EQ(r.exitCode, 2) << args[1];
        EXPECT_NE(r.err.find("--min-psnr"), std::string::npos) << r.err;
    }
}

TEST(KorasimReplayGate, AFolderFailsWhenAnyDumpFallsBelow) {
    Scratch scratch;
    exampleDumpPair(scratch, "dumps", "20240101_120000");
    exampleDumpPair(scratch, "dumps", "20240101_120001", kRaise);
    for (const auto& [limit, exitCode] : {std::pair{"45", 3}, std::pair{"40", 0}}) {
        SCOPED_TRACE(limit);
        const Result r = runKorasim(scratch, {"replay", scratch.path("dumps"), "--format", "nv12",
                                              "--min-psnr", limit, "--out", scratch.path("out")});
        EXPECT_EQ(r.exitCode, exitCode) << r.out << r.err;
        // Every dump is replayed and reported, the bad one named, the good one not.
        EXPECT_NE(r.out.find("2 dumps replayed"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("identical"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("PSNR 41.14 dB"), std::string::npos) << r.out;
        EXPECT_EQ(r.err.find("120000"), std::string::npos) << r.err;
        EXPECT_EQ(r.err.find("120001_SDSR_96x64_zoom10x_input.NV12: PSNR 41.14 dB < 45 dB") !=
                      std::string::npos,
                  exitCode == 3)
            << r.err;
        // The folder's report (--report, added by runKorasim), each dump's in its folder in --out.
        const json& report = r.report;
        EXPECT_TRUE(std::filesystem::exists(
            scratch.path("out/IMG_20240101_120001_SDSR_96x64_zoom10x_input/report.json")));
        ASSERT_EQ(report["dumps"].size(), 2u);
        EXPECT_EQ(report["dumps"][0]["belowMinPsnr"], false);
        EXPECT_EQ(report["dumps"][1]["belowMinPsnr"], exitCode == 3);
        EXPECT_EQ(report["reports"][1]["compare"]["differingBytes"], 320);
    }
}

// The plugin stamps each dump with the second it writes it: a capture's output dump may carry a
// later second than its input dump, but never the time of the next capture's input.
TEST(KorasimDumpPairs, EachInputFindsTheOutputOfItsOwnCapture) {
    struct Folder {
        std::vector<std::string> files;                          // IMG_<file>.NV12
        std::vector<std::pair<std::string, std::string>> pairs;  // input -> output ("": none)
    };
    const std::string a = "_SDSR_96x64_zoom10x_", b = "_SDSR_4000x3000_zoom10x_";
    const std::vector<Folder> folders = {
        {{"1_000001" + a + "input", "1_000001" + a + "output"}, {{"1_000001" + a, "1_000001" + a}}},
        {{"1_000001" + a + "input", "1_000002" + a + "output"}, {{"1_000001" + a, "1_000002" + a}}},
        {{"1_000001" + a + "input", "1_000002" + a + "output", "1_000003" + a + "input",
          "1_000004" + a + "output"},
         {{"1_000001" + a, "1_000002" + a}, {"1_000003" + a, "1_000004" + a}}},
        {{"1_000001" + a + "input", "1_000002" + a + "input", "1_000003" + a + "output"},
         {{"1_000001" + a, ""}, {"1_000002" + a, "1_000003" + a}}},
        {{"1_000001" + a + "input", "1_000001" + b + "output", "1_000000" + a + "output"},
         {{"1_000001" + a, ""}}},
    };
    for (const auto& f : folders) {
        Scratch scratch;
        for (const auto& name : f.files)
            scratch.write("IMG_" + name + ".NV12", "x");
        for (const auto& [input, output] : f.pairs) {
            SCOPED_TRACE(f.files.front() + ": " + input);
            const std::string found =
                korasim::outputDumpBeside(scratch.path("IMG_" + input + "input.NV12"));
            EXPECT_EQ(found, output.empty() ? "" : scratch.path("IMG_" + output + "output.NV12"));
        }
    }
}

}  // namespace

// Where every command's output files go: nothing into the current folder unasked, the report and
// page into --out when it is given, and a file whose folder does not exist is a usage error that
// creates nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "KorasimRunner.h"

namespace fs = std::filesystem;
using namespace korasimtest;

namespace {

struct PathCase {
    const char* name;
    std::vector<std::string> args;  // $S: the session, $L: a device log, $D: a folder of dumps
    int exitCode;
    std::vector<std::string> present;  // relative to the current folder: all that is there
    std::vector<std::string> absent;
    const char* stderrHas;
};

std::vector<PathCase> pathCases() {
    const char* missing = "does not exist (korasim creates no folder for an output file)";
    return {
        {"run writes nothing unasked", {"run", "$S"}, 0, {}, {}, ""},
        {"run --out gets report and page",
         {"run", "$S", "--out", "o"},
         0,
         {"o/report.json", "o/report.html", "o/step3-sdsr-out0-640x480.png"},
         {},
         ""},
        {"--html wins over the default in --out",
         {"run", "$S", "--out", "o", "--html", "page.html"},
         0,
         {"o/report.json", "page.html"},
         {"o/report.html"},
         ""},
        {"run --report into a missing folder",
         {"run", "$S", "--out", "o", "--report", "missing/r.json"},
         2,
         {},
         {"o", "missing"},
         missing},
        {"run --html into a missing folder",
         {"run", "$S", "--html", "missing/p.html"},
         2,
         {},
         {},
         "cannot write missing/p.html: missing does not exist"},
        {"replay writes nothing unasked",
         {"replay", "$D/IMG_20240101_120000_SDSR_96x64_zoom10x_input.NV12", "--format", "nv12"},
         0,
         {},
         {},
         ""},
        {"replay DIR --out gets the folder's report and page and a folder per dump",
         {"replay", "$D", "--format", "nv12", "--out", "o"},
         0,
         {"o/report.json", "o/report.html",
          "o/IMG_20240101_120000_SDSR_96x64_zoom10x_input/report.json"},
         {},
         ""},
        {"replay DIR --html into a missing folder",
         {"replay", "$D", "--format", "nv12", "--html", "missing/p.html"},
         2,
         {},
         {},
         missing},
        {"demo --report into a missing folder, before the run",
         {"demo", "--report", "missing/r.json"},
         2,
         {},
         {"out"},
         missing},
        {"explain writes nothing unasked", {"explain", "$L"}, 0, {}, {}, ""},
        {"explain --json into a missing folder",
         {"explain", "$L", "--json", "missing/x.json"},
         2,
         {},
         {},
         missing},
        {"explain --html into a missing folder",
         {"explain", "$L", "--html", "missing/x.html"},
         2,
         {},
         {},
         missing},
        {"explain --session-out creates the folder it names",
         {"explain", "$L", "--session-out", "s/a"},
         0,
         {"s/a/capture-001.json"},
         {},
         ""},
        {"test --junit into a missing folder",
         {"test", "$S", "--junit", "missing/j.xml"},
         2,
         {},
         {},
         missing},
    };
}

std::vector<std::string> expanded(const std::vector<std::string>& args, const Scratch& scratch) {
    std::vector<std::string> out;
    for (const auto& a : args) {
        if (a.rfind("$S", 0) == 0)
            out.push_back(scratch.path("session.json"));
        else if (a == "$L")
            out.push_back(std::string(KORASIM_FIXTURES) + "/field-report.log");
        else if (a.rfind("$D", 0) == 0)
            out.push_back(scratch.path("dumps") + a.substr(2));
        else
            out.push_back(a);
    }
    return out;
}

std::set<std::string> entries(const std::string& dir) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(dir))
        names.insert(e.path().filename().string());
    return names;
}

TEST(KorasimOutputPaths, EachOutputWhereItsOptionsSay) {
    for (const auto& c : pathCases()) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        scratch.write("session.json", "{}");
        exampleDumpPair(scratch, "dumps", "20240101_120000");
        const std::string cwd = scratch.path("cwd");
        fs::create_directories(cwd);
        const Result r = runKorasimIn(scratch, cwd, expanded(c.args, scratch));
        EXPECT_EQ(r.exitCode, c.exitCode) << r.out << r.err;
        EXPECT_NE(r.err.find(c.stderrHas), std::string::npos) << r.err;
        std::set<std::string> top;
        for (const auto& p : c.present) {
            EXPECT_TRUE(fs::exists(cwd + "/" + p)) << p;
            top.insert(fs::path(p).begin()->string());
        }
        for (const auto& p : c.absent)
            EXPECT_FALSE(fs::exists(cwd + "/" + p)) << p;
        EXPECT_EQ(entries(cwd), top);
    }
}

}  // namespace

// korasim as engineers use it every day, through the binary: sessions that check themselves and
// the test command, malformed input of every kind, cleanup on any exit, replay of device dumps,
// filtered logs, pictures, version and help.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "KorasimRunner.h"
#include "common/TextFile.h"

using nlohmann::json;
using namespace korasimtest;
namespace fs = std::filesystem;

namespace {

const std::string kDumps = std::string(KORASIM_EXAMPLES) + "/dumps/";
const std::string kInputDump = kDumps + "IMG_20240101_120000_SDSR_96x64_zoom10x_input.NV12";
const std::string kOutputDump = kDumps + "IMG_20240101_120000_SDSR_96x64_zoom10x_output.NV12";

// Runs a shell command; returns its exit status (128 + signal when killed).
int shell(const std::string& command) {
    const int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Temporary device trees korasim left in a folder.
size_t treesLeft(const std::string& dir) {
    size_t n = 0;
    for (const auto& e : fs::directory_iterator(dir))
        n += e.path().filename().string().rfind("korasim-", 0) == 0;
    return n;
}

const json kCheckedSession = {
    {"steps",
     {{{"do", "create"}},
      {{"do", "initialize"}, {"expect", {{"return", 0}}}},
      {{"do", "isEnabled"}, {"expect", {{"answer", false}}}},
      {{"do", "processRequest"},
       {"expect", {{"path", "runFailed"}, {"dfx", {0, 0, 0}}, {"exif", {{"committed", true}}}}}}}}};

TEST(KorasimDailyUse, SessionsCheckThemselvesAndTheTestCommandTabulatesThem) {
    Scratch scratch;
    const Result r = runSession(scratch, kCheckedSession);
    EXPECT_EQ(r.exitCode, 3) << r.err;
    EXPECT_TRUE(contains(r.err, "steps[2] (isEnabled): expect.answer: wanted false, got true"))
        << r.err;
    EXPECT_TRUE(contains(
        r.err, "steps[3] (processRequest): expect.path: wanted \"runFailed\", got \"processed\""));
    EXPECT_FALSE(contains(r.err, "expect.dfx"));
    EXPECT_FALSE(r.report.is_null());  // the report is still written

    // The test command: every unmet expectation under the session's row and in JUnit with the
    // plugin's log; a session without expectations "ran"; names relative to the folder.
    fs::create_directory(scratch.path("suite"));
    scratch.write("suite/a-fails.json", kCheckedSession.dump());
    scratch.write(
        "suite/b-passes.json",
        R"({"steps": [{"do": "create"}, {"do": "isEnabled", "expect": {"answer": true}}]})");
    scratch.write("suite/c-bad.json", R"({"steps": 1})");
    scratch.write("suite/d-ran.json", "{}");
    scratch.write("suite/notes.txt", "not a session");
    const Result t =
        runKorasim(scratch, {"test", scratch.path("suite"), "--junit", scratch.path("junit.xml")});
    EXPECT_EQ(t.exitCode, 3) << t.out << t.err;
    const std::string unmetAnswer = "steps[2] (isEnabled): expect.answer: wanted false, got true";
    const std::string unmetPath =
        "steps[3] (processRequest): expect.path: wanted \"runFailed\", got \"processed\"";
    // Each row: session, result, detail; the unmet expectation after the first on its own line.
    std::vector<std::string> lines;
    std::istringstream table(t.out);
    for (std::string line; std::getline(table, line);)
        lines.push_back(line);
    const std::vector<std::vector<std::string>> rows = {
        {"a-fails.json ", "FAIL", unmetAnswer},
        {"", "", unmetPath},
        {"b-passes.json", "pass", ""},
        {"c-bad.json ", "ERROR", "expected a list of steps, got the number 1"},
        {"d-ran.json ", "ran", "no expectation stated"}};
    ASSERT_GE(lines.size(), rows.size() + 2) << t.out;
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string& line = lines[i + 1];
        EXPECT_EQ(line.rfind(rows[i][0], 0), 0u) << line;
        EXPECT_TRUE(contains(line, " " + rows[i][1] + " ")) << line;
        EXPECT_EQ(line.substr(line.size() - std::min(line.size(), rows[i][2].size())), rows[i][2])
            << line;
    }
    EXPECT_EQ(lines[rows.size() + 1],
              "4 sessions: 1 passed, 1 ran without expectations, 1 failed, 1 errors");
    const std::string xml = korasim::readTextFile(scratch.path("junit.xml"));
    for (const std::string& part :
         {std::string("tests=\"4\" failures=\"1\" errors=\"1\""),
          "<failure message=\"2 expectations not met: " + unmetAnswer,
          std::string("expect.path: wanted &quot;runFailed&quot;, got &quot;processed&quot;"),
          std::string("<property name=\"outcome\" value=\"ran\"/>"),
          std::string("name=\"d-ran.json\""),
          std::string("--------- steps[3] processRequest (plugin sdsr)"),
          std::string(" I SDSR    : PLUGIN sdsrplugin:")})
        EXPECT_TRUE(contains(xml, part)) << part << "\n" << xml.substr(0, 2000);
    EXPECT_FALSE(contains(xml, "name=\"" + scratch.path(""))) << "names are relative";
}

struct Malformed {
    const char* name;
    std::vector<std::string> args;  // SCRATCH/ is replaced by the scratch folder
    const char* message;
};

TEST(KorasimDailyUse, MalformedInputEndsWithExitTwoAndSaysWhereItIs) {
    Scratch scratch;
    mkfifo(scratch.path("fifo.json").c_str(), 0600);
    scratch.write("duplicate.json",
                  R"({"steps": [{"do": "create"}, {"do": "x", "do": "create"}]})");
    // A PNG whose header claims 16000x16000 and whose pixels are cut off: only the header is
    // read before the size is refused.
    static const unsigned char lyingPng[] = {
        0x89, 'P',  'N',  'G', 0x0d, 0x0a, 0x1a, 0x0a, 0, 0, 0, 13, 'I',  'H',  'D',  'R', 0,
        0,    0x3e, 0x80, 0,   0,    0x3e, 0x80, 8,    2, 0, 0, 0,  0xce, 0x1c, 0x48, 0x89};
    std::ofstream(scratch.path("lying.png"), std::ios::binary)
        .write(reinterpret_cast<const char*>(lyingPng), sizeof(lyingPng));
    scratch.write("empty.json", "{}");
    scratch.write(
        "unknown-reason.json",
        R"({"steps": [{"do": "create"}, {"do": "isEnabled", "expect": {"reason": "mem"}}]})");
    scratch.write("png.json", R"({"request": {"inputs": [{"image": "lying.png"}]}})");
    scratch.write("big.json",
                  R"({"steps": [{"do": "create"}, {"do": "processRequest", "inputs": [
                      {"width": 8192, "height": 8192}, {"width": 8192, "height": 8192}]}]})");
    const std::vector<Malformed> cases = {
        {"directory", {"run", "SCRATCH/"}, "is a directory, not a session file"},
        {"fifo", {"run", "SCRATCH/fifo.json"}, "fifo.json is not a regular file"},
        {"duplicate", {"run", "SCRATCH/duplicate.json"}, "steps[1].do: duplicate key"},
        {"png", {"run", "SCRATCH/png.json"}, "the PNG is 16000x16000 but the buffer is 640x480"},
        {"budget",
         {"run", "SCRATCH/big.json", "--max-memory", "150M"},
         "steps[1].inputs[1]: the buffers of steps[1] would take 192.0 MiB"},
        {"budgetValue", {"run", "SCRATCH/big.json", "--max-memory", "lots"}, "--max-memory"},
        {"replayFormat", {"replay", kInputDump}, "cannot tell NV21 from NV12"},
        {"logcat", {"run", "SCRATCH/empty.json", "--logcat", "SDSR:Q"}, "bad logcat filter"},
        {"unknownReason",
         {"run", "SCRATCH/unknown-reason.json"},
         "steps[1].expect.reason: unknown refusal reason \"mem\""},
        {"logcatFormat",
         {"run", "SCRATCH/empty.json", "--logcat-format=threadtime,treadtime"},
         "bad logcat format \"treadtime\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::string> args;
        for (std::string a : c.args) {
            if (a.rfind("SCRATCH/", 0) == 0)
                a = scratch.path(a.substr(8));
            args.push_back(a);
        }
        const Result r = runKorasim(scratch, args);
        EXPECT_EQ(r.exitCode, 2) << r.err;
        EXPECT_TRUE(contains(r.err, c.message)) << r.err;
    }
}

TEST(KorasimDailyUse, NoTemporaryTreeOutlivesAnInterruptedOrPipedRun) {
    Scratch scratch;
    const std::string tmp = scratch.path("tmp");
    fs::create_directory(tmp);
    const std::string env = "TMPDIR=" + tmp + " ";
    const std::string k = std::string(KORASIM_BINARY);
    scratch.write("s.json", "{}");
    json many = {{"steps", json::array({{{"do", "create"}}})}};
    for (int i = 0; i < 4000; ++i)
        many["steps"].push_back({{"do", "isEnabled"}});
    scratch.write("many.json", many.dump());
    const std::string report = " --report " + scratch.path("r.json");

    // The reader goes away after one byte (SIGPIPE), and Ctrl-C once the tree exists.
    scratch.write("pipe.sh", env + k + " run " + scratch.path("many.json") + report +
                                 " --logcat 2>&1 | head -c 1 >/dev/null; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(shell("bash " + scratch.path("pipe.sh")), 141);
    EXPECT_EQ(treesLeft(tmp), 0u);
    scratch.write("interrupt.sh", env + k + " run " + scratch.path("many.json") + report +
                                      " >/dev/null 2>&1 & pid=$!\nuntil ls " + tmp +
                                      " | grep -q korasim-device; do sleep 0.01; done\n"
                                      "kill -INT $pid; wait $pid");
    EXPECT_EQ(shell("bash " + scratch.path("interrupt.sh")), 130);
    EXPECT_EQ(treesLeft(tmp), 0u);
    // A normal run: the report does not name the tree it removed.
    EXPECT_EQ(shell(env + k + " run " + scratch.path("s.json") + report + " >/dev/null"), 0);
    EXPECT_EQ(treesLeft(tmp), 0u);
    const json r = json::parse(korasim::readTextFile(scratch.path("r.json")));
    EXPECT_TRUE(r.at("root").is_null()) << r.at("root");
}

TEST(KorasimDailyUse, ReplayComparesWithTheDevicesOutputDump) {
    Scratch scratch;
    const Result same = runKorasim(scratch, {"replay", kInputDump, "--format", "nv12", "--compare",
                                             kOutputDump, "--root", scratch.path("d1")});
    ASSERT_EQ(same.exitCode, 0) << same.err;
    EXPECT_TRUE(contains(same.out, "compare: identical")) << same.out;
    // Against its input, the enhanced output differs.
    const Result swapped =
        runKorasim(scratch, {"replay", kInputDump, "--format", "nv12", "--compare", kInputDump,
                             "--root", scratch.path("d2")});
    ASSERT_EQ(swapped.exitCode, 0) << swapped.err;
    EXPECT_TRUE(contains(swapped.out, "compare: PSNR ")) << swapped.out;
    EXPECT_TRUE(contains(swapped.out, "of 9216 bytes differ")) << swapped.out;
    const Result folder = runKorasim(scratch, {"replay", kDumps, "--format", "nv12"});
    ASSERT_EQ(folder.exitCode, 0) << folder.err;
    EXPECT_TRUE(contains(folder.out, "IMG_20240101_120000_SDSR_96x64_zoom10x_input.NV12"))
        << folder.out;
    EXPECT_TRUE(contains(folder.out, "identical")) << folder.out;
}

TEST(KorasimDailyUse, LogcatFiltersLikeLogcatAndPicturesShowTheChange) {
    Scratch scratch;
    const Result r =
        runSession(scratch, json::object(), {"--logcat=SDSR:I *:S", "--out", scratch.path("out")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // logcat's threadtime layout: the tag padded to 8.
    EXPECT_TRUE(contains(r.err, " I SDSR    : ")) << r.err.substr(0, 600);
    EXPECT_FALSE(contains(r.err, " D SDSR    : "));
    EXPECT_FALSE(contains(r.err, "VoAlgoEngine"));
    EXPECT_FALSE(contains(r.err, " offline : "));
    EXPECT_TRUE(contains(r.err, "--------- steps[3] processRequest (plugin sdsr)")) << r.err;
    // A bare --logcat leaves the session file after it alone.
    const Result offline = runKorasim(
        scratch, {"run", "--channel", "offline", "--logcat", scratch.path("session.json")});
    ASSERT_EQ(offline.exitCode, 0) << offline.err;
    EXPECT_TRUE(contains(offline.err, " offline : "));
    EXPECT_FALSE(contains(offline.err, " SDSR    : "));
    // Another layout, in logcat's words: one line per echoed record of the report, in order.
    const Result tagged =
        runSession(scratch, json::object(), {"--logcat=SDSR:I *:S", "--logcat-format", "tag"});
    ASSERT_EQ(tagged.exitCode, 0) << tagged.err;
    std::vector<json> parts = {tagged.report.at("load")};
    for (const json& s : tagged.report.at("steps"))
        parts.push_back(s);
    parts.push_back(tagged.report.at("end"));
    std::vector<std::pair<std::string, std::string>> wanted;  // head and message
    for (const json& part : parts) {
        for (const json& line : part.at("log")) {
            const std::string level = line.at("level");
            if (line.at("channel") == "online" && line.at("tag") == "SDSR" && level != "V" &&
                level != "D") {
                wanted.emplace_back(level + "/SDSR    : ", line.at("message"));
            }
        }
    }
    std::vector<std::string> echoed;
    std::istringstream err(tagged.err);
    for (std::string line; std::getline(err, line);) {
        if (line.rfind("---------", 0) != 0)
            echoed.push_back(line);
    }
    EXPECT_FALSE(wanted.empty());
    ASSERT_EQ(echoed.size(), wanted.size()) << tagged.err;
    for (size_t i = 0; i < echoed.size(); ++i) {
        const std::string& line = echoed[i];
        EXPECT_EQ(line.rfind(wanted[i].first, 0), 0u) << line;
        EXPECT_GE(line.size(), wanted[i].second.size());
        EXPECT_EQ(line.substr(line.size() - std::min(line.size(), wanted[i].second.size())),
                  wanted[i].second);
    }

    const json& out = step(r, 3).at("outputs").at(0);
    // The scripted library marks a 4-pixel frame of the 640x480 capture: 8896 pixels changed.
    EXPECT_NEAR(out.at("changedPixels").get<double>(), (640 * 480 - 632 * 472) / (640.0 * 480),
                1e-9);
    EXPECT_GT(out.at("psnr").get<double>(), 0.0);
    for (const char* kind : {"compare", "diff"}) {
        struct stat st {};
        EXPECT_EQ(stat(out.at("pictures").at(kind).get<std::string>().c_str(), &st), 0) << kind;
    }
}

TEST(KorasimDailyUse, VersionAndHelpOfEachCommand) {
    Scratch scratch;
    const Result version = runKorasim(scratch, {"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out.rfind("korasim 1.1.0", 0), 0u) << version.out;
    const std::vector<std::pair<const char*, const char*>> help = {{"run", "--max-memory"},
                                                                   {"test", "--junit"},
                                                                   {"replay", "--compare"},
                                                                   {"demo", "--threads"},
                                                                   {"explain", "--session-out"}};
    for (const auto& h : help) {
        const Result r = runKorasim(scratch, {h.first, "--help"});
        EXPECT_EQ(r.exitCode, 0) << h.first;
        EXPECT_TRUE(contains(r.out, h.second)) << h.first << "\n" << r.out;
    }
}

}  // namespace

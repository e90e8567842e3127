// korasim's parts that need no plugin: the strict JSON reader, the expectation checker, the
// logcat filter and layouts, the comparison figures, the memory budget, JUnit output, the
// signal-safe tree removal and the plugin's soname.
#include <elf.h>
#include <gtest/gtest.h>
#include <log/logprint.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/ByteSize.h"
#include "common/JsonFile.h"
#include "common/TemporaryTrees.h"
#include "image/Comparison.h"
#include "image/Patterns.h"
#include "image/Png.h"
#include "report/JUnit.h"
#include "run/ElfSoname.h"
#include "run/LogcatEcho.h"
#include "session/Expect.h"
#include "session/MemoryBudget.h"
#include "session/Session.h"

using nlohmann::json;
using namespace korasim;
namespace fs = std::filesystem;

namespace {

struct TempDir {
    std::string path;
    TempDir() {
        char pattern[] = "/tmp/korasim-parts-XXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempDir() { fs::remove_all(path); }
};

std::string errorPath(const std::string& text) {
    try {
        parseJsonStrict(text);
    } catch (const SessionError& e) {
        return e.path() + " | " + e.what();
    }
    return "ok";
}

TEST(KorasimParts, StrictJsonNamesTheDuplicateKeyByItsPath) {
    const std::vector<std::pair<const char*, const char*>> cases = {
        {R"({"a": 1, "b": {"a": 2}})", "ok"},
        {R"({"a": 1, "a": 2})", "a | duplicate key"},
        {R"({"steps": [{"do": "create"}, {"do": "x", "do": "y"}]})", "steps[1].do | duplicate"},
        {R"({"request": {"inputs": [1, [2, 3], {"width": 1, "width": 2}]}})",
         "request.inputs[2].width | duplicate"},
        {R"([{"k": []}, {"k": {}, "k": 0}])", "[1].k | duplicate"},
        {R"({"a": )", " | not valid JSON"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(errorPath(c.first).substr(0, strlen(c.second)), c.second) << c.first;

    TempDir dir;
    for (const std::string& bad : {dir.path, std::string("/dev/null"), dir.path + "/none.json"}) {
        try {
            readJsonFile(bad);
            ADD_FAILURE() << bad;
        } catch (const SessionError& e) {
            EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
        }
    }
}

// One processRequest step's report as korasim writes it.
const json kStep = json::parse(R"({
  "do": "processRequest", "return": 0, "path": "runFailed",
  "process": {"path": "runFailed", "runCode": -5},
  "outputs": [{"equalsInput": true}],
  "exif": [{"committed": true, "records": [{"key": "on", "value": "1"},
           {"key": "runFailed", "value": "-5"}, {"key": "zoomRatio", "value": "10.000000"}]}],
  "dfx": [{"code": 0, "module": 7}, {"code": -5, "module": 7}],
  "algorithmCalls": [{"call": "GetVersion"}, {"call": "Init", "record": {"width": 640,
                      "zoomRatio": 10.0, "path_assets": "/data/vendor/camera/"}}, {"call": "Run"}],
  "dumps": [{"device": "/data/vendor/camera/IMG_1_SDSR_640x480_zoom10x_input.NV12"}]
})");

TEST(KorasimParts, ExpectationsReportEachMismatchWithWantedAndActual) {
    const std::vector<std::pair<json, std::vector<std::string>>> cases = {
        {{{"path", "runFailed"}, {"return", 0}, {"outputEqualsInput", true}}, {}},
        {{{"path", "processed"}}, {"expect.path"}},
        {{{"exif",
           {{"committed", true},
            {"keys",
             {{"runFailed", -5}, {"zoomRatio", 10}, {"on", true}, {"initFailed", nullptr}}}}}},
         {}},
        {{{"exif",
           {{"committed", false},
            {"keys", {{"runFailed", "-4"}, {"initFailed", true}, {"on", nullptr}}}}}},
         {"expect.exif.committed", "expect.exif.keys.initFailed", "expect.exif.keys.on",
          "expect.exif.keys.runFailed"}},
        {{{"dfx", {0, -5}}, {"algorithmCalls", {"GetVersion", "Init", "Run"}}}, {}},
        {{{"dfx", {-5}}, {"algorithmCalls", {"GetVersion", "Init", "Run", "Unit"}}},
         {"expect.algorithmCalls", "expect.dfx"}},
        {{{"init", {{"width", 640}, {"zoomRatio", 10}, {"path_assets", "/data/vendor/camera/"}}}},
         {}},
        {{{"init", {{"width", 641}, {"stride", 640}}}},
         {"expect.init.stride", "expect.init.width"}},
        {{{"dumps", {"*_input.NV12"}}}, {}},
        {{{"dumps", {"*_input.NV12", "*_output.NV12"}}}, {"expect.dumps"}},
        {{{"dumps", json::array()}}, {"expect.dumps"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> keys;
        for (const auto& m : checkExpect(c.first, kStep, "steps[3] (processRequest)"))
            keys.push_back(m.key);
        std::sort(keys.begin(), keys.end());
        EXPECT_EQ(keys, c.second) << c.first.dump();
    }
    const auto m = checkExpect({{"path", "processed"}}, kStep, "steps[3] (processRequest)");
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(mismatchText(m[0]),
              R"(steps[3] (processRequest): expect.path: wanted "processed", got "runFailed")");
    // A refusal reason matches the short id of the explained decision or the plain reason.
    const json refused = {
        {"answer", false}, {"reason", "memoryOrController"}, {"decision", {{"reason", "memory"}}}};
    EXPECT_TRUE(checkExpect({{"reason", "memory"}, {"answer", false}}, refused, "s").empty());
    EXPECT_TRUE(checkExpect({{"reason", "memoryOrController"}}, refused, "s").empty());
    EXPECT_EQ(checkExpect({{"reason", "controller"}}, refused, "s").at(0).actual, "\"memory\"");

    // A bad expectation is refused with its JSON path; ids are checked against those korasim names.
    struct Bad {
        json expect;
        StepKind kind;
        const char* error;  // "path | message" (start)
    };
    const std::vector<Bad> bad = {
        {{{"answer", true}},
         StepKind::ProcessRequest,
         "e.answer | not expected of a processRequest"},
        {{{"path", "processed"}},
         StepKind::IsEnabled,
         "e.path | not expected of an isEnabled step"},
        {{{"path", 3}}, StepKind::ProcessRequest, "e.path | expected a string"},
        {{{"path", "processd"}},
         StepKind::ProcessRequest,
         "e.path | unknown request path \"processd\""},
        {{{"reason", "mem"}},
         StepKind::IsEnabled,
         "e.reason | unknown refusal reason \"mem\"; known: "},
        {{{"dfx", {"x"}}}, StepKind::ProcessRequest, "e.dfx[0] | expected an integer"},
        {{{"exif", {{"commited", true}}}},
         StepKind::ProcessRequest,
         "e.exif.commited | unknown key"},
        {{{"init", {{"w", {1}}}}}, StepKind::ProcessRequest, "e.init.w | expected a number"},
    };
    for (const Bad& b : bad) {
        std::string error = "ok";
        try {
            validateExpect(b.expect, "e", b.kind);
        } catch (const SessionError& e) {
            error = e.path() + " | " + e.what();
        }
        EXPECT_EQ(error.substr(0, strlen(b.error)), b.error) << b.expect.dump();
    }
    for (const char* reason : {"memory", "controller", "version", "models", "processCount", "tags",
                               "scene", "preAnchorProc", "unknown"})
        EXPECT_NO_THROW(validateExpect({{"reason", reason}}, "e", StepKind::IsEnabled)) << reason;
    for (const char* path : {"processed", "initFailed", "runFailed", "unitStatus", "versionCopy",
                             "formatCopy", "bypassCopy", "libraryUnusable", "buffersUnusable"})
        EXPECT_NO_THROW(validateExpect({{"path", path}}, "e", StepKind::ProcessRequest)) << path;
}

TEST(KorasimParts, LogcatFiltersPassWhatLogcatWouldPass) {
    struct Case {
        const char* filter;
        korahost::LogChannel channel;
        const char* tag;
        int priority;
        bool passes;
    };
    const auto online = korahost::LogChannel::Online;
    const std::vector<Case> cases = {
        {"", online, "SDSR", ANDROID_LOG_VERBOSE, true},
        {"SDSR:I VoAlgoEngine:W *:S", online, "SDSR", ANDROID_LOG_INFO, true},
        {"SDSR:I VoAlgoEngine:W *:S", online, "SDSR", ANDROID_LOG_DEBUG, false},
        {"SDSR:I VoAlgoEngine:W *:S", online, "VoAlgoEngine", ANDROID_LOG_INFO, false},
        {"SDSR:I VoAlgoEngine:W *:S", online, "VoAlgoEngine", ANDROID_LOG_ERROR, true},
        {"SDSR:S", online, "SDSR", ANDROID_LOG_FATAL, false},
        {"SDSR:S", online, "other", ANDROID_LOG_VERBOSE, true},
        {"*:E", online, "SDSR", ANDROID_LOG_WARN, false},
        // Offline lines go by the tag "offline", whatever tag their record holds.
        {"SDSR:V *:S", korahost::LogChannel::Offline, "SDSR", ANDROID_LOG_ERROR, false},
        {"offline:W *:S", korahost::LogChannel::Offline, "", ANDROID_LOG_WARN, true},
    };
    for (const auto& c : cases) {
        korahost::LogRecord record{};
        record.channel = c.channel;
        record.tag = c.tag;
        record.priority = c.priority;
        EXPECT_EQ(LogcatFormat("", c.filter).passes(record), c.passes)
            << c.filter << " " << c.tag << ":" << c.priority;
    }
    for (const char* bad : {"SDSR:X", ":I", "session.json", "SDSR:I other"})
        EXPECT_THROW(LogcatFormat::checkFilter(bad), std::invalid_argument) << bad;
    EXPECT_THROW(parseChannel("all"), std::invalid_argument);
}

// What liblog itself prints for an entry given field by field, in logcat's -v words.
std::string liblogPrints(const std::vector<AndroidLogPrintFormat>& words,
                         const AndroidLogEntry& entry) {
    AndroidLogFormat* format = android_log_format_new();
    android_log_setPrintFormat(format, FORMAT_THREADTIME);
    for (AndroidLogPrintFormat word : words)
        android_log_setPrintFormat(format, word);
    char buffer[2048];
    size_t length = 0;
    char* line = android_log_formatLogLine(format, buffer, sizeof(buffer), &entry, &length);
    std::string text(line, length);
    android_log_format_free(format);
    return text.substr(0, text.size() - 1);  // without liblog's final newline
}

TEST(KorasimParts, LogcatLayoutsAreLiblogsOwn) {
    struct Case {
        const char* words;
        std::vector<AndroidLogPrintFormat> liblogWords;
    };
    const std::vector<Case> cases = {
        {"", {}},
        {"threadtime", {FORMAT_THREADTIME}},
        {"brief", {FORMAT_BRIEF}},
        {"process", {FORMAT_PROCESS}},
        {"tag", {FORMAT_TAG}},
        {"thread", {FORMAT_THREAD}},
        {"raw", {FORMAT_RAW}},
        {"time", {FORMAT_TIME}},
        {"long", {FORMAT_LONG}},
        {"threadtime,uid", {FORMAT_MODIFIER_UID}},
        {"time,usec", {FORMAT_TIME, FORMAT_MODIFIER_TIME_USEC}},
        {"threadtime nsec,year", {FORMAT_MODIFIER_TIME_NSEC, FORMAT_MODIFIER_YEAR}},
        {"epoch,uid", {FORMAT_MODIFIER_EPOCH, FORMAT_MODIFIER_UID}},
        {"brief,color", {FORMAT_BRIEF, FORMAT_MODIFIER_COLOR}},
        {"printable", {FORMAT_MODIFIER_PRINTABLE}},
    };
    korahost::LogRecord record{};
    record.channel = korahost::LogChannel::Online;
    record.priority = ANDROID_LOG_WARN;
    record.tag = "SDSR";
    record.text = "PLUGIN sdsrplugin:12 initialize()two\nlines\x01";
    record.timeUs = 1700000000123456;
    record.uid = 1047;
    record.pid = 4321;
    record.tid = 4322;
    AndroidLogEntry entry{};
    entry.tv_sec = 1700000000;
    entry.tv_nsec = 123456000;
    entry.priority = ANDROID_LOG_WARN;
    entry.uid = 1047;
    entry.pid = 4321;
    entry.tid = 4322;
    entry.tag = "SDSR";
    entry.tagLen = 4;
    entry.message = "PLUGIN sdsrplugin:12 initialize()two\nlines\x01";
    entry.messageLen = strlen(entry.message);
    for (const auto& c : cases) {
        EXPECT_EQ(LogcatFormat(c.words, "").format(record), liblogPrints(c.liblogWords, entry))
            << c.words;
    }
    // logcat's threadtime pads the tag to 8; an offline line shows under "offline".
    EXPECT_NE(LogcatFormat("", "").format(record).find(" 4321  4322 W SDSR    : PLUGIN"),
              std::string::npos);
    record.channel = korahost::LogChannel::Offline;
    EXPECT_NE(LogcatFormat("tag", "").format(record).find("W/offline : PLUGIN"), std::string::npos);

    for (const char* bad : {"treadtime", "threadtime,,bogus", "Etc/../../etc/passwd", "9x"})
        EXPECT_THROW(LogcatFormat::checkWords(bad), std::invalid_argument) << bad;
}

TEST(KorasimParts, ComparisonFiguresOfKnownDifferences) {
    EXPECT_FALSE(psnr({1, 2, 3}, {1, 2, 3}).has_value());
    // One byte off by 255 in four: MSE 255^2/4, PSNR 10 log10(4).
    EXPECT_NEAR(*psnr({0, 0, 0, 0}, {255, 0, 0, 0}), 6.0206, 1e-3);
    const ByteComparison c = compareBytes({1, 2, 3, 4}, {1, 9, 3});
    EXPECT_FALSE(c.identical);
    EXPECT_EQ(c.differingBytes, 2u);
    EXPECT_TRUE(compareBytes({5, 6}, {5, 6}).identical);

    YuvImage in(4, 4, 17, 6, 4), out(4, 4, 17, 4, 4);
    fillPattern(in, "gradient", 1);
    std::vector<uint8_t> bytes = in.visibleBytes();
    ASSERT_TRUE(out.setVisibleBytes(bytes));
    EXPECT_EQ(difference(in, out)->changedPixels, 0.0);
    bytes[5] ^= 1;           // one luma pixel
    bytes[16 + 4 + 2] ^= 1;  // the V of the lower right 2x2 block: four pixels
    ASSERT_TRUE(out.setVisibleBytes(bytes));
    const auto d = difference(in, out);
    EXPECT_DOUBLE_EQ(d->changedPixels, 5.0 / 16.0);
    EXPECT_NEAR(*d->psnrDb, *psnr(in.visibleBytes(), out.visibleBytes()), 1e-9);
    EXPECT_FALSE(difference(in, YuvImage(4, 2, 17, 4, 2)).has_value());
}

TEST(KorasimParts, MemoryBudgetNamesTheBufferThatCrossesIt) {
    const json doc = {
        {"steps",
         {{{"do", "create"}},
          {{"do", "processRequest"},
           {"inputs", {{{"width", 4096}, {"height", 4096}}, {{"width", 4096}, {"height", 4096}}}},
           {"outputs", {{{"width", 64}, {"height", 64}}}}}}}};
    const Session session = parseSession(doc, "/tmp");
    EXPECT_NO_THROW(checkMemoryBudget(session, 49ull << 20));
    try {
        checkMemoryBudget(session, 30ull << 20);
        ADD_FAILURE();
    } catch (const SessionError& e) {
        EXPECT_EQ(e.path(), "steps[1].inputs[1]");
        EXPECT_NE(std::string(e.what()).find("48.0 MiB"), std::string::npos) << e.what();
    }
    EXPECT_EQ(parseBytes("2G"), 2ull << 30);
    EXPECT_EQ(parseBytes("1500M"), 1500ull << 20);
    EXPECT_EQ(parseBytes("4096"), 4096u);
    EXPECT_EQ(parseBytes("2t"), 2ull << 40);  // CLI11 knows every binary unit
    for (const char* bad : {"", "G", "2X", "-1", "2.5G", "99999999999999999999"})
        EXPECT_THROW(parseBytes(bad), std::invalid_argument) << bad;
}

TEST(KorasimParts, PngSizeComesFromTheHeaderAndJUnitIsWellFormed) {
    TempDir dir;
    const std::string png = dir.path + "/a.png";
    ASSERT_TRUE(writePng(png, RgbImage(7, 3), nullptr));
    int w = 0, h = 0;
    ASSERT_TRUE(readPngSize(png, &w, &h, nullptr));
    EXPECT_EQ(w * 100 + h, 703);
    EXPECT_FALSE(readPngSize(dir.path + "/none.png", &w, &h, nullptr));

    const std::string xml = dir.path + "/j.xml";
    ASSERT_TRUE(writeJUnit(xml,
                           {{"a.json", "pass", 0.5, 0, "", "ok\n", {}},
                            {"r.json", "ran", 0.25, 0, "ran: no expectation stated", "", {}},
                            {"b.json",
                             "fail",
                             0.25,
                             3,
                             "2 expectations not met",
                             "\x01out",
                             {"steps[2]: wanted \"x\" <y> & z", "steps[3]: wanted 1, got 2"}},
                            {"c.json", "error", 0.1, 2, "bad", "", {"bad"}}},
                           nullptr));
    std::ifstream in(xml);
    std::stringstream text;
    text << in.rdbuf();
    const std::string s = text.str();
    for (const char* part :
         {"tests=\"4\" failures=\"1\" errors=\"1\" time=\"1.100\"",
          "<failure message=\"2 expectations not met\" type=\"exit 3\">steps[2]: wanted "
          "&quot;x&quot; &lt;y&gt; &amp; z\nsteps[3]: wanted 1, got 2\n</failure>",
          "<property name=\"outcome\" value=\"ran\"/>", "<error message=\"bad\" type=\"exit 2\"",
          "?out"}) {
        EXPECT_NE(s.find(part), std::string::npos) << part << "\n" << s;
    }
    // Only fail and error are failures: the test case that ran without expectations is not.
    const size_t ran = s.find("name=\"r.json\"");
    ASSERT_NE(ran, std::string::npos);
    EXPECT_LT(s.find("</testcase>", ran), s.find("<failure", ran)) << s;
}

TEST(KorasimParts, SignalSafeRemovalTakesTheTreeButNotWhatItLinksTo) {
    TempDir outside, tree;
    std::ofstream(outside.path + "/keep") << "x";
    fs::create_directories(tree.path + "/a/b/c");
    for (int i = 0; i < 300; ++i)  // more names than one getdents buffer holds
        std::ofstream(tree.path + "/a/file-with-a-long-name-" + std::to_string(i)) << i;
    fs::create_directory_symlink(outside.path, tree.path + "/a/b/link");
    EXPECT_TRUE(removeTreeSignalSafe(tree.path.c_str()));
    EXPECT_FALSE(fs::exists(tree.path));
    EXPECT_TRUE(fs::exists(outside.path + "/keep"));
    EXPECT_TRUE(removeTreeSignalSafe((tree.path + "/none").c_str()));
}

}  // namespace

TEST(KorasimParts, SonameOfThePluginAndOfNoOtherFile) {
    TempDir dir;
    const std::string plugin = SDSR_PLUGIN_FILE;
    std::ifstream in(plugin, std::ios::binary);
    std::string head(sizeof(Elf64_Ehdr), '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    const auto write = [&dir](const std::string& name, const std::string& bytes) {
        std::ofstream(dir.path + "/" + name, std::ios::binary) << bytes;
        return dir.path + "/" + name;
    };
    const struct {
        std::string path, soname;
    } cases[] = {
        {plugin, "com.orvane.plugin.sdsr.so"},
        {"/proc/self/exe", ""},  // an executable: no DT_SONAME
        {write("text.so", "not an ELF file\n"), ""},
        {write("header-only.so", head), ""},  // section headers past the end
        {write("short.so", head.substr(0, 10)), ""},
        {dir.path + "/missing.so", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(elfSoname(c.path), c.soname) << c.path;
}

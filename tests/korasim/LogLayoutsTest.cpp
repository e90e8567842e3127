// Android's own formatter (liblog's android_log_formatLogLine) prints the same records in every
// layout logcat has; explain must find the same captures in each, also when the layouts change
// from line to line, with CRLF line ends, user names in the uid column, and any block size.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "LogReaderSupport.h"

using namespace logtest;

namespace {

std::string fixtureText() {
    std::ifstream in(std::string(KORASIM_FIXTURES) + "/field-report.log");
    return std::string((std::istreambuf_iterator<char>(in)), {});
}

std::string replaceAll(std::string s, const std::string& from, const std::string& to) {
    for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size()))
        s.replace(at, from.size(), to);
    return s;
}

std::vector<Record> onlyPid(const std::vector<Record>& records, int pid) {
    std::vector<Record> out;
    for (const auto& r : records) {
        if (r.pid == pid)
            out.push_back(r);
    }
    return out;
}

struct Layout {
    std::vector<const char*> words;
    bool pids = true;  // the layout names the process
};

const std::vector<Layout> kLayouts = {
    {{"threadtime"}},
    {{"time"}},
    {{"brief"}},
    {{"process"}},
    {{"long"}},
    {{"threadtime", "uid"}},
    {{"threadtime", "printable", "uid"}},
    {{"time", "uid"}},
    {{"brief", "uid"}},
    {{"process", "uid"}},
    {{"long", "uid"}},
    {{"threadtime", "year"}},
    {{"threadtime", "usec"}},
    {{"threadtime", "nsec"}},
    {{"threadtime", "zone"}},
    {{"threadtime", "epoch"}},
    {{"threadtime", "monotonic"}},
    {{"threadtime", "color"}},
    {{"time", "year", "nsec", "zone", "uid"}},
    {{"long", "epoch", "usec", "color"}},
    {{"brief", "monotonic", "color"}},
    {{"long", "year", "zone", "nsec", "uid"}},
};

}  // namespace

TEST(LogLayouts, EveryLayoutReadsIntoTheSameCaptures) {
    const std::vector<Record> records = fieldReportRecords();
    ASSERT_GT(records.size(), 60u);
    const Read baseline = readBytes(printed(records, {"threadtime"}));
    ASSERT_TRUE(baseline.ok) << baseline.error;
    // The printed records read as the hand-written file they came from.
    const Read fromFile = readBytes(fixtureText());
    ASSERT_EQ(baseline.captures.size(), 7u);
    EXPECT_EQ(outcomes(baseline.captures), outcomes(fromFile.captures));
    for (const auto& layout : kLayouts) {
        std::string name;
        for (const char* w : layout.words)
            name += std::string(w) + " ";
        for (size_t block : {size_t(1) << 16, size_t(7)}) {
            const Read r = readBytes(printed(records, layout.words), block);
            ASSERT_TRUE(r.ok) << name << r.error;
            EXPECT_EQ(outcomes(r.captures), outcomes(baseline.captures)) << name << block;
            EXPECT_EQ(r.pluginLines, baseline.pluginLines) << name;
            ASSERT_EQ(r.counts.size(), 1u);
            EXPECT_EQ(r.counts[0].unreadLines, 0u) << name << r.counts[0].firstUnread;
        }
    }
}

TEST(LogLayouts, VariantsOfTheLinesBeyondTheFormatter) {
    const std::vector<Record> records = fieldReportRecords();
    const Read baseline = readBytes(printed(records, {"threadtime"}));
    // The tag layout names no process: one process's lines read alone.
    const std::vector<Record> one = onlyPid(records, 1234);
    const Read oneBaseline = readBytes(printed(one, {"threadtime"}));
    ASSERT_GE(oneBaseline.captures.size(), 4u);
    // Another app's line whose text names the plugin's tag: in the long layout the text stands
    // on a line of its own, after its header.
    std::vector<Record> withApp = records;
    Record app = records.at(5);
    app.pid = 3456;
    app.tag = "CameraApp";
    app.text = "saved IMG_20261122_SDSR_4000x3000.jpg";
    withApp.insert(withApp.begin() + 6, app);
    struct Variant {
        const char* name;
        std::string text;
        const Read& expected;
        bool pids;
    };
    const std::vector<Variant> variants = {
        {"tag", printed(one, {"tag"}), oneBaseline, false},
        {"tag uid color", printed(one, {"tag", "uid", "color"}), oneBaseline, false},
        // Devices print the uid's user name, cut to 5 characters.
        {"threadtime uid names",
         replaceAll(printed(records, {"threadtime", "uid"}), " 1047", "camer"), baseline, true},
        {"brief uid names", replaceAll(printed(records, {"brief", "uid"}), " 1047", "u0_a1"),
         baseline, true},
        {"long uid names", replaceAll(printed(records, {"long", "uid"}), " 1047", " root"),
         baseline, true},
        {"CRLF threadtime", replaceAll(printed(records, {"threadtime"}), "\n", "\r\n"), baseline,
         true},
        {"CRLF long", replaceAll(printed(records, {"long", "uid"}), "\n", "\r\n"), baseline, true},
        {"long, an app's text naming the tag", printed(withApp, {"long"}), baseline, true},
        // Concatenated logs: the layout changes from one line to the next.
        {"mixed per line",
         printedMixed(records, {{"threadtime", "uid"},
                                {"long"},
                                {"time", "year", "usec"},
                                {"brief", "uid", "color"},
                                {"process"},
                                {"threadtime", "epoch", "zone"}}),
         baseline, true},
    };
    for (const auto& v : variants) {
        for (size_t block : {size_t(1) << 16, size_t(5)}) {
            const Read r = readBytes(v.text, block);
            ASSERT_TRUE(r.ok) << v.name << r.error;
            EXPECT_EQ(outcomes(r.captures, v.pids), outcomes(v.expected.captures, v.pids))
                << v.name << " block " << block;
            EXPECT_EQ(r.counts.at(0).unreadLines, 0u) << v.name << r.counts[0].firstUnread;
        }
    }
}

TEST(LogLayouts, LinesTheReaderTakesApart) {
    struct Case {
        const char* line;
        const char* time;
        int pid, tid;
        char level;
        const char* tag;
        const char* text;
    };
    const std::vector<Case> cases = {
        {"11-22 18:43:10.123  1234  1261 D SDSR    : PLUGIN a:1 f()x", "11-22 18:43:10.123", 1234,
         1261, 'D', "SDSR", "PLUGIN a:1 f()x"},
        {"2026-11-22 18:43:10.123456789 +0100 camer  1234  1261 I SDSR: m: n",
         "2026-11-22 18:43:10.123456789 +0100", 1234, 1261, 'I', "SDSR", "m: n"},
        {"       1700000000.123  1047  1234  1240 W SDSR    : t", "1700000000.123", 1234, 1240, 'W',
         "SDSR", "t"},
        {"I/SDSR    (root: 1234): a (b): c", "", 1234, 0, 'I', "SDSR", "a (b): c"},
        {"E( 1047: 1234) text with  (parens)  (VoAlgoEngine)", "", 1234, 0, 'E', "VoAlgoEngine",
         "text with  (parens)"},
        {"V/SDSR: a (1): b", "", 0, 0, 'V', "SDSR", "a (1): b"},
        {"\x1b[38;5;75m11-22 18:43:10.123 D/SDSR    ( 1234): x\x1b[0m\r", "11-22 18:43:10.123",
         1234, 0, 'D', "SDSR", "x"},
        {"11-22 18:43:10.123  1234  1261 D SDSR:", "11-22 18:43:10.123", 1234, 1261, 'D', "SDSR",
         ""},
    };
    for (const auto& c : cases) {
        const auto line = korasim::logread::parseLogcatLine(c.line);
        ASSERT_TRUE(line) << c.line;
        EXPECT_EQ(line->time, c.time) << c.line;
        EXPECT_EQ(line->pid, c.pid) << c.line;
        EXPECT_EQ(line->tid, c.tid) << c.line;
        EXPECT_EQ(line->level, c.level) << c.line;
        EXPECT_EQ(line->tag, c.tag) << c.line;
        EXPECT_EQ(line->text, c.text) << c.line;
    }
    // Not lines of any layout: headers, cut lines, a thread layout (no tag), bad stamps.
    for (const char* bad : {"--------- beginning of main", "70 I SDSR    : PLUGIN x", "",
                            "D( 1234: 1240) SDSR says hi", "11-22 18:43 1234 1261 D SDSR: x",
                            "11-22 18:43:10.123  12a4  1261 D SDSR: x",
                            "11-22 18:43:10.123  toolong  1234  1261 D SDSR: x",
                            "[ 11-22 18:43:10.123  1234: 1261 D/SDSR", "X/SDSR( 1234): x"}) {
        EXPECT_FALSE(korasim::logread::parseLogcatLine(bad)) << bad;
    }
}

TEST(LogLayouts, AnUnknownLayoutIsNamedNeverSilent) {
    const std::vector<Record> records = fieldReportRecords();
    std::string unknown;
    for (const auto& r : records)
        unknown += "2026/11/22 " + std::to_string(r.pid) + " " + r.tag + " " + r.text + "\n";
    const std::string good = printed(records, {"threadtime"});
    const size_t firstPlugin = unknown.find(" SDSR ");
    const std::string firstUnread =
        "the first: " +
        unknown.substr(unknown.rfind('\n', firstPlugin) + 1,
                       unknown.find('\n', firstPlugin) - unknown.rfind('\n', firstPlugin) - 1);
    struct Case {
        const char* name;
        std::string text;
        bool verdict;
        std::string says;  // part of the verdict
    };
    // The plugin's own lines, some in a known layout and the rest in the unknown one.
    std::vector<Record> plugin;
    for (const auto& r : records) {
        if (r.tag == "SDSR")
            plugin.push_back(r);
    }
    const auto split = [&](size_t known) {
        std::string text = printed({plugin.begin(), plugin.begin() + known}, {"threadtime"});
        for (size_t i = known; i < 2 * known + 1 && i < plugin.size(); ++i)
            text +=
                "2026/11/22 " + std::to_string(plugin[i].pid) + " SDSR " + plugin[i].text + "\n";
        return text;
    };
    const std::vector<Case> cases = {
        {"all unknown", unknown, true, "memory: 61 of 61 lines"},
        {"most unknown", good.substr(0, good.find('\n', good.size() / 4) + 1) + unknown, true,
         firstUnread},
        {"one fewer known than unknown", split(20), true, "memory: 21 of 41 lines"},
        {"as many known as unknown",
         split(20).substr(0, split(20).rfind('\n', split(20).size() - 2) + 1), false, ""},
        {"a few cut lines", good + "70 I SDSR    : PLUGIN cut\n", false, ""},
        {"no plugin line", "11-22 18:43:09.001   612   640 I ActivityManager: x\n", false, ""},
    };
    for (const auto& c : cases) {
        const Read r = readBytes(c.text);
        ASSERT_TRUE(r.ok) << c.name;
        const std::string verdict = korasim::logread::unreadVerdict(r.counts.at(0));
        EXPECT_EQ(!verdict.empty(), c.verdict) << c.name << ": " << verdict;
        EXPECT_NE(verdict.find(c.says), std::string::npos) << c.name << ": " << verdict;
    }
}

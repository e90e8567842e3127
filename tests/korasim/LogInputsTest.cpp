// What phones send: gzip'ed logs and bug report zips (made here, with a dumpstate header, other
// sections, the uid layout among other processes' lines and logd's own files), read by content
// as streams; a line both the SYSTEM LOG and a logd file hold counts once.
#include <gtest/gtest.h>

#include "LogReaderSupport.h"

using namespace logtest;

namespace {

constexpr const char* kHeader =
    "========================================================\n"
    "== dumpstate: 2026-11-22 18:50:02\n"
    "========================================================\n"
    "\n"
    "Build: AP1A.240405.002\n"
    "Kernel: Linux version 6.1.25\n";

// A bug report's text: a dumpsys section that mentions the plugin (not log lines), the SYSTEM
// LOG in the uid layout, and an EVENT LOG.
std::string reportText(const std::string& systemLog) {
    return std::string(kHeader) +
           "------ DUMPSYS MEDIA (/system/bin/dumpsys media.camera) ------\n"
           "  Plugin SDSR: loaded, 3 objects\n"
           "------ 0.021s was the duration of 'DUMPSYS MEDIA' ------\n"
           "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n"
           "--------- beginning of main\n" +
           systemLog +
           "------ 0.512s was the duration of 'SYSTEM LOG' ------\n"
           "------ EVENT LOG (logcat -b events -v threadtime -v printable -v uid -d *:v) ------\n"
           "11-22 18:43:09.001  1000   612   640 I am_proc_start: [0,1234,10123,SDSR]\n"
           "------ 0.102s was the duration of 'EVENT LOG' ------\n"
           "------ CHECKIN BATTERYSTATS (dumpsys batterystats -c) ------\n"
           "9,0,i,vers,36,SDSR\n";
}

std::vector<Record> slice(const std::vector<Record>& r, size_t from, size_t to) {
    return std::vector<Record>(r.begin() + from, r.begin() + std::min(to, r.size()));
}

size_t duplicates(const Read& r) {
    size_t n = 0;
    for (const auto& c : r.counts)
        n += c.duplicates;
    return n;
}

}  // namespace

TEST(LogInputs, BugReportZipsAndCompressedLogsReadAsThePlainLog) {
    const std::vector<Record> records = fieldReportRecords();
    const std::string plain = printed(records, {"threadtime"});
    const Read baseline = readBytes(plain);
    ASSERT_EQ(baseline.captures.size(), 7u);
    const std::string systemLog = printed(records, {"threadtime", "printable", "uid"});
    // logd keeps its own copy (usec layout): the older half here, the rest overlapping.
    const size_t half = records.size() / 2;
    const std::string logdOld = printed(slice(records, 0, half), {"threadtime", "usec"});
    const std::string logdNew = printed(slice(records, half - 10, records.size()), {"threadtime"});
    struct Case {
        const char* name;
        std::string bytes;
        bool year;          // the dumpstate header's year on the stamps
        size_t duplicates;  // lines both parts held, counted once
    };
    const std::vector<Case> cases = {
        {"gzip", gzipped(plain), false, 0},
        {"bug report text", reportText(systemLog), true, 0},
        {"gzip'ed bug report text", gzipped(reportText(systemLog)), true, 0},
        {"bug report zip",
         zipped({{"version.txt", "2.0"},
                 {"main_entry.txt", "report-sdk-2026.txt"},
                 {"report-sdk-2026.txt", reportText(systemLog)},
                 {"dumpstate_board.txt", "SDSR board\n"},
                 {"FS/proc/meminfo", "MemFree: 1 kB SDSR\n"}}),
         true, 0},
        {"bug report zip whose text main_entry.txt names",
         zipped({{"main_entry.txt", "main.txt\n"}, {"main.txt", systemLog}}), false, 0},
        {"bug report zip found by its name",
         zipped({{"bugreport-sdk-2026-11-22.txt", "no header\n" + systemLog}}), false, 0},
        {"bug report zip with logd files",
         zipped({{"main_entry.txt", "bugreport-x.txt"},
                 {"FS/data/misc/logd/logcat.001", logdOld},
                 {"bugreport-x.txt", reportText(systemLog)},
                 {"FS/data/misc/logd/logcat", logdNew}}),
         true, 0},
    };
    for (const auto& c : cases) {
        for (size_t block : {size_t(1) << 16, size_t(3)}) {
            const Read r = readBytes(c.bytes, block);
            ASSERT_TRUE(r.ok) << c.name << ": " << r.error;
            EXPECT_EQ(outcomes(r.captures), outcomes(baseline.captures)) << c.name;
            EXPECT_EQ(r.pluginLines, baseline.pluginLines) << c.name;
            EXPECT_EQ(r.year.has_value(), c.year) << c.name;
            for (const auto& count : r.counts)
                EXPECT_EQ(count.unreadLines, 0u) << c.name << count.name << count.firstUnread;
        }
    }
    // Every plugin line of the logd files is also in the SYSTEM LOG, or older than it.
    const Read both = readBytes(cases.back().bytes);
    EXPECT_EQ(both.counts.size(), 3u);
    EXPECT_GT(duplicates(both), half / 2);
    EXPECT_EQ(both.year, 2026);
}

TEST(LogInputs, BrokenArchivesAreNamedNotExplained) {
    const std::string plain = printed(fieldReportRecords(), {"threadtime"});
    const std::string gz = gzipped(plain);
    const std::string zip = zipped({{"notes.md", "SDSR"}, {"photo.jpg", "\xff\xd8"}});
    struct Case {
        const char* name;
        std::string bytes;
        const char* error;
    };
    const std::vector<Case> cases = {
        {"truncated gzip", gz.substr(0, gz.size() / 2), "memory"},
        {"zip without a bug report", zip, "a zip without a bug report's text"},
        {"cut zip", zip.substr(0, 20), "memory"},
    };
    for (const auto& c : cases) {
        const Read r = readBytes(c.bytes);
        EXPECT_FALSE(r.ok) << c.name;
        EXPECT_NE(r.error.find(c.error), std::string::npos) << c.name << ": " << r.error;
    }
}

TEST(LogInputs, AnEndlessLineIsCutNotKept) {
    // 64 MiB without a newline, then a plugin line: read in bounded pieces, the line still counts.
    std::string bytes(64u << 20, 'x');
    bytes += "\n" + printed(fieldReportRecords(), {"threadtime"});
    const Read r = readBytes(bytes, 1 << 20);
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.captures.size(), 7u);
}

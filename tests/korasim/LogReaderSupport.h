// Test support for the log reader: records of the hand-made field report, printed in any layout
// by Android's own liblog formatter, and read back through explain's inputs from memory.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "logread/LogInputs.h"
#include "logread/PluginLog.h"

namespace logtest {

struct Record {
    time_t seconds = 0;
    long nanos = 0;
    char level = 'D';
    int uid = 1047;
    int pid = 0, tid = 0;
    std::string tag, text;
};

// The lines of tests/korasim/fixtures/field-report.log that are whole (threadtime), in 2026.
std::vector<Record> fieldReportRecords();

// The records as `logcat -v FORMAT -v MODIFIER...` prints them (through android_log_formatLogLine,
// in UTC). Each record may get its own layout: `layoutOf(i)` picks one of `layouts`.
std::string printed(const std::vector<Record>& records, const std::vector<const char*>& layout);
std::string printedMixed(const std::vector<Record>& records,
                         const std::vector<std::vector<const char*>>& layouts);

// What explain read from `bytes`, handed over in blocks of `block` bytes.
struct Read {
    bool ok = false;
    std::string error;
    std::vector<korasim::logread::Capture> captures;
    std::vector<korasim::logread::SourceCount> counts;
    std::optional<int> year;
    size_t pluginLines = 0;
};
Read readBytes(const std::string& bytes, size_t block = 1 << 16);

// One string per capture: object, pid, decision and path as explain prints them.
std::vector<std::string> outcomes(const std::vector<korasim::logread::Capture>& captures,
                                  bool withPid = true);

// Archives made in memory with libarchive's writer.
std::string gzipped(const std::string& text);
std::string zipped(const std::vector<std::pair<std::string, std::string>>& entries);

}  // namespace logtest

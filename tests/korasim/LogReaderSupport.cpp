#include "LogReaderSupport.h"

#include <archive.h>
#include <archive_entry.h>
#include <log/logprint.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

namespace logtest {
namespace {

// The fixtures' level letters in liblog's priority order, VERBOSE (2) to FATAL (7).
android_LogPriority priorityOf(char level) {
    static constexpr char kLetters[] = "VDIWEF";
    const char* at = level != '\0' ? strchr(kLetters, level) : nullptr;
    return static_cast<android_LogPriority>(
        at != nullptr ? int(ANDROID_LOG_VERBOSE) + (at - kLetters) : int(ANDROID_LOG_FATAL));
}

struct FormatFree {
    void operator()(AndroidLogFormat* f) const { android_log_format_free(f); }
};
using Format = std::unique_ptr<AndroidLogFormat, FormatFree>;

Format formatOf(const std::vector<const char*>& layout) {
    Format format(android_log_format_new());
    for (const char* word : layout)
        android_log_setPrintFormat(format.get(), android_log_formatFromString(word));
    return format;
}

void print(AndroidLogFormat* format, const Record& r, std::string& out) {
    AndroidLogEntry e{};
    e.tv_sec = r.seconds;
    e.tv_nsec = r.nanos;
    e.priority = priorityOf(r.level);
    e.uid = r.uid;
    e.pid = r.pid;
    e.tid = r.tid;
    e.tag = r.tag.c_str();
    e.tagLen = r.tag.size();
    e.message = r.text.c_str();
    e.messageLen = r.text.size();
    char buffer[1024];
    size_t length = 0;
    char* line = android_log_formatLogLine(format, buffer, sizeof(buffer), &e, &length);
    out.append(line, length);
    if (line != buffer)
        free(line);
}

}  // namespace

std::vector<Record> fieldReportRecords() {
    std::ifstream in(std::string(KORASIM_FIXTURES) + "/field-report.log");
    std::vector<Record> records;
    std::string line;
    while (std::getline(in, line)) {
        int month, day, hour, minute, second, millis, pid, tid, used = 0;
        char level;
        if (sscanf(line.c_str(), "%d-%d %d:%d:%d.%d %d %d %c %n", &month, &day, &hour, &minute,
                   &second, &millis, &pid, &tid, &level, &used) != 9 ||
            used == 0)
            continue;
        const size_t colon = line.find(": ", used);
        if (colon == std::string::npos)
            continue;
        struct tm t {};
        t.tm_year = 2026 - 1900;
        t.tm_mon = month - 1;
        t.tm_mday = day;
        t.tm_hour = hour;
        t.tm_min = minute;
        t.tm_sec = second;
        Record r;
        r.seconds = timegm(&t);
        r.nanos = millis * 1000000L + 456789;  // digits beyond the millisecond for usec, nsec
        r.level = level;
        r.pid = pid;
        r.tid = tid;
        r.tag = line.substr(used, line.find_last_not_of(' ', colon - 1) + 1 - used);
        r.text = line.substr(colon + 2);
        records.push_back(r);
    }
    return records;
}

std::string printed(const std::vector<Record>& records, const std::vector<const char*>& layout) {
    return printedMixed(records, {layout});
}

std::string printedMixed(const std::vector<Record>& records,
                         const std::vector<std::vector<const char*>>& layouts) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::vector<Format> formats;
    for (const auto& layout : layouts)
        formats.push_back(formatOf(layout));
    std::string out;
    for (size_t i = 0; i < records.size(); ++i)
        print(formats[i % formats.size()].get(), records[i], out);
    return out;
}

Read readBytes(const std::string& bytes, size_t block) {
    korasim::logread::PluginLogReader reader;
    korasim::logread::LogInputs inputs(reader);
    size_t at = 0;
    const korasim::logread::ByteSource source = [&](char* buffer, size_t size) -> ssize_t {
        const size_t n = std::min({size, block, bytes.size() - at});
        memcpy(buffer, bytes.data() + at, n);
        at += n;
        return static_cast<ssize_t>(n);
    };
    Read r;
    r.ok = inputs.readStream("memory", source, &r.error);
    reader.finish();
    r.captures = reader.captures();
    r.counts.assign(inputs.counts().begin(), inputs.counts().end());
    r.year = inputs.year();
    r.pluginLines = reader.pluginLines();
    return r;
}

std::vector<std::string> outcomes(const std::vector<korasim::logread::Capture>& captures,
                                  bool withPid) {
    std::vector<std::string> out;
    for (const auto& c : captures) {
        out.push_back(c.object + (withPid ? " pid " + std::to_string(c.pid) : "") + " " +
                      korasim::logread::describeEnable(c) + " / " +
                      (c.process.seen ? korasim::logread::describeProcess(c) : "-"));
    }
    return out;
}

std::string gzipped(const std::string& text) {
    std::vector<char> out(text.size() + 4096);
    size_t used = 0;
    struct archive* a = archive_write_new();
    archive_write_add_filter_gzip(a);
    archive_write_set_format_raw(a);
    archive_write_open_memory(a, out.data(), out.size(), &used);
    struct archive_entry* e = archive_entry_new();
    archive_entry_set_filetype(e, AE_IFREG);
    archive_write_header(a, e);
    archive_write_data(a, text.data(), text.size());
    archive_entry_free(e);
    archive_write_close(a);
    archive_write_free(a);
    return std::string(out.data(), used);
}

std::string zipped(const std::vector<std::pair<std::string, std::string>>& entries) {
    size_t total = 4096;
    for (const auto& e : entries)
        total += e.first.size() + e.second.size() + 256;
    std::vector<char> out(total);
    size_t used = 0;
    struct archive* a = archive_write_new();
    archive_write_set_format_zip(a);
    archive_write_open_memory(a, out.data(), out.size(), &used);
    for (const auto& [path, data] : entries) {
        struct archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, path.c_str());
        archive_entry_set_filetype(e, AE_IFREG);
        archive_entry_set_perm(e, 0644);
        archive_entry_set_size(e, static_cast<la_int64_t>(data.size()));
        archive_write_header(a, e);
        archive_write_data(a, data.data(), data.size());
        archive_entry_free(e);
    }
    archive_write_close(a);
    archive_write_free(a);
    return std::string(out.data(), used);
}

}  // namespace logtest

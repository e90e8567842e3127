// Captured lines as logcat prints them: each record becomes liblog's AndroidLogEntry and goes
// through android_log_formatLogLine, the formatter logcat itself uses.
#include <log/logprint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "korahost/HostControl.h"

namespace korahost {

// Offline lines carry no Android tag.
const char* logcatTag(const LogRecord& record) {
    return record.channel == LogChannel::Online ? record.tag.c_str() : "offline";
}

std::string formatLogLine(const LogRecord& record, AndroidLogFormat_t* format) {
    AndroidLogEntry entry{};
    entry.tv_sec = time_t(record.timeUs / 1000000);
    entry.tv_nsec = long(record.timeUs % 1000000) * 1000;
    entry.priority = android_LogPriority(record.priority);
    entry.uid = record.uid;
    entry.pid = record.pid;
    entry.tid = record.tid;
    entry.tag = logcatTag(record);
    entry.tagLen = strlen(entry.tag);
    entry.message = record.text.c_str();
    entry.messageLen = record.text.size();
    char small[1024];
    size_t length = 0;
    char* line = android_log_formatLogLine(format, small, sizeof(small), &entry, &length);
    if (line == nullptr)
        return std::string();
    std::string text(line, length);
    if (line != small)
        free(line);
    // liblog ends every line with a newline; callers add their own.
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

std::string formatThreadtime(const LogRecord& record) {
    std::unique_ptr<AndroidLogFormat, void (*)(AndroidLogFormat*)> format(android_log_format_new(),
                                                                          &android_log_format_free);
    if (!format)
        return std::string();
    android_log_setPrintFormat(format.get(), FORMAT_THREADTIME);
    return formatLogLine(record, format.get());
}

}  // namespace korahost

#include "LogcatEcho.h"

#include <log/logprint.h>
#include <stdio.h>
#include <strings.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace korasim {

namespace {

std::vector<std::string> splitWords(const std::string& text, const char* separators) {
    std::vector<std::string> words;
    size_t start = 0;
    while ((start = text.find_first_not_of(separators, start)) != std::string::npos) {
        const size_t end = text.find_first_of(separators, start);
        words.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = end;
    }
    return words;
}

// liblog takes every word it does not know for a time zone (logcat -v Europe/Paris), and glibc
// accepts any name as one: only "zone", UTC/GMT and the zones the system knows are taken, so
// that a misspelt word is an error rather than a silent zone.
bool isTimeZoneWord(const std::string& word) {
    if (word == "zone" || strcasecmp(word.c_str(), "UTC") == 0 ||
        strcasecmp(word.c_str(), "GMT") == 0) {
        return true;
    }
    if (word.empty() || word[0] == '/' || word.find("..") != std::string::npos)
        return false;
    std::error_code error;
    return std::filesystem::is_regular_file("/usr/share/zoneinfo/" + word, error);
}

[[noreturn]] void badWord(const std::string& word) {
    throw std::invalid_argument(
        "bad logcat format \"" + word +
        "\"; expected logcat -v words: brief, process, tag, thread, raw, time, threadtime, long, "
        "and the modifiers color, descriptive, epoch, monotonic, printable, uid, usec, nsec, "
        "year, zone or a time zone, e.g. threadtime,uid");
}

[[noreturn]] void badFilter(const std::string& word) {
    throw std::invalid_argument("bad logcat filter \"" + word +
                                "\"; expected TAG:PRIORITY with PRIORITY one of V D I W E F S, "
                                "e.g. SDSR:I *:S");
}

void applyWords(AndroidLogFormat* format, const std::string& words) {
    android_log_setPrintFormat(format, FORMAT_THREADTIME);
    for (const std::string& word : splitWords(words, ", \t")) {
        const AndroidLogPrintFormat value = android_log_formatFromString(word.c_str());
        if (value == FORMAT_OFF || (value == FORMAT_MODIFIER_ZONE && !isTimeZoneWord(word)))
            badWord(word);
        android_log_setPrintFormat(format, value);
    }
}

// Every word needs its colon: a bare word is refused, so that a session file put after a bare
// --logcat is not taken for a tag (liblog would read it as TAG:V).
void applyFilter(AndroidLogFormat* format, const std::string& filter) {
    for (const std::string& word : splitWords(filter, " \t")) {
        const size_t colon = word.find(':');
        if (colon == std::string::npos || colon == 0 ||
            android_log_addFilterRule(format, word.c_str()) != 0) {
            badFilter(word);
        }
    }
}

// liblog's android_log_format_free leaves the tag of every filter rule allocated (the copy
// android_log_addFilterRule makes). korasim makes a few formats in a run: they are kept, still
// reachable, for the life of the process rather than freed in part.
void keepFormat(AndroidLogFormat* format) {
    static std::mutex lock;
    static auto* kept = new std::vector<AndroidLogFormat*>();
    std::lock_guard<std::mutex> guard(lock);
    try {
        kept->push_back(format);
    } catch (...) {
        android_log_format_free(format);
    }
}

}  // namespace

LogcatFormat::LogcatFormat(const std::string& words, const std::string& filter)
    : m_format(android_log_format_new(), &keepFormat) {
    if (!m_format)
        throw std::bad_alloc();
    applyWords(m_format.get(), words);
    applyFilter(m_format.get(), filter);
}

void LogcatFormat::checkWords(const std::string& words) {
    const LogcatFormat checked(words, "");
    (void)checked;
}

void LogcatFormat::checkFilter(const std::string& filter) {
    const LogcatFormat checked("", filter);
    (void)checked;
}

bool LogcatFormat::passes(const korahost::LogRecord& record) const {
    return android_log_shouldPrintLine(m_format.get(), korahost::logcatTag(record),
                                       android_LogPriority(record.priority)) != 0;
}

std::string LogcatFormat::format(const korahost::LogRecord& record) const {
    return korahost::formatLogLine(record, m_format.get());
}

LogChannelChoice parseChannel(const std::string& text) {
    if (text == "online")
        return LogChannelChoice::Online;
    if (text == "offline")
        return LogChannelChoice::Offline;
    if (text == "both")
        return LogChannelChoice::Both;
    throw std::invalid_argument("--channel is online, offline or both, got \"" + text + "\"");
}

LogEcho::LogEcho(std::shared_ptr<const LogcatFormat> format, LogChannelChoice channel) {
    // Lines of several threads come out whole and in order.
    auto lock = std::make_shared<std::mutex>();
    m_listener = korahost::addLogListener([format, channel, lock](const korahost::LogRecord& r) {
        const bool online = r.channel == korahost::LogChannel::Online;
        if ((online && channel == LogChannelChoice::Offline) ||
            (!online && channel == LogChannelChoice::Online)) {
            return;
        }
        std::lock_guard<std::mutex> guard(*lock);
        if (!format->passes(r))
            return;
        const std::string line = format->format(r);
        fprintf(stderr, "%s\n", line.c_str());
    });
}

LogEcho::~LogEcho() {
    korahost::removeLogListener(m_listener);
}

void LogEcho::marker(const std::string& text) {
    fprintf(stderr, "--------- %s\n", text.c_str());
}

}  // namespace korasim

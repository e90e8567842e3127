// `--logcat`: echoes the plugin's log lines to stderr as they happen, exactly as logcat prints
// them: liblog's own formatter (the words of `logcat -v`: threadtime, brief, long, ... and the
// modifiers uid, usec, year, ...) and liblog's own filter (`SDSR:I VoAlgoEngine:W *:S`), on one
// channel or both, with a marker line before every step.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "korahost/HostControl.h"

namespace korasim {

// liblog's print format and filter, set up as `logcat -v WORDS FILTER...` sets them up.
class LogcatFormat {
  public:
    // `words`: logcat -v words separated by commas or spaces (empty: threadtime). `filter`:
    // TAG:PRIORITY words separated by spaces (empty: every line). Throws std::invalid_argument
    // naming the bad word.
    LogcatFormat(const std::string& words, const std::string& filter);

    // The checks of the command line; throw std::invalid_argument as the constructor does.
    static void checkWords(const std::string& words);
    static void checkFilter(const std::string& filter);

    bool passes(const korahost::LogRecord& record) const;
    // The line logcat prints, without its final newline.
    std::string format(const korahost::LogRecord& record) const;

  private:
    std::unique_ptr<AndroidLogFormat_t, void (*)(AndroidLogFormat_t*)> m_format;
};

enum class LogChannelChoice { Online, Offline, Both };
// "online", "offline" or "both"; throws std::invalid_argument otherwise.
LogChannelChoice parseChannel(const std::string& text);

// While alive, prints every captured line of the chosen channel that passes the filter to stderr.
// Offline lines carry no Android tag: they are shown and filtered under the tag "offline".
class LogEcho {
  public:
    LogEcho(std::shared_ptr<const LogcatFormat> format, LogChannelChoice channel);
    ~LogEcho();
    LogEcho(const LogEcho&) = delete;
    LogEcho& operator=(const LogEcho&) = delete;

    // "--------- step 3 processRequest (plugin sdsr)", as logcat marks its buffers.
    static void marker(const std::string& text);

  private:
    int m_listener;
};

}  // namespace korasim

// `--logcat`: echoes the plugin's log lines to stderr as they happen, filtered the way logcat
// filters (`SDSR:I VoAlgoEngine:W *:S`), on one channel or both, with a marker line before
// every step.
#pragma once

#include <map>
#include <string>

namespace korasim {

// logcat's filter: space-separated TAG:PRIORITY pairs, priority one of V D I W E F S (S
// silences); `*` is every other tag. An empty filter passes everything. A word without a colon is
// refused, so that a session file put after a bare --logcat is not taken for a tag.
class LogFilter {
  public:
    // Throws std::invalid_argument naming the bad pair.
    static LogFilter parse(const std::string& text);
    bool passes(const std::string& tag, char level) const;

  private:
    std::map<std::string, int> m_tags;
    int m_default = 0;  // rank of V
};

enum class LogChannelChoice { Online, Offline, Both };
// "online", "offline" or "both"; throws std::invalid_argument otherwise.
LogChannelChoice parseChannel(const std::string& text);

// While alive, prints every captured line that passes to stderr in logcat's threadtime style.
// Offline lines carry no Android tag: they are shown and filtered under the tag "offline".
class LogEcho {
  public:
    LogEcho(LogFilter filter, LogChannelChoice channel);
    ~LogEcho();
    LogEcho(const LogEcho&) = delete;
    LogEcho& operator=(const LogEcho&) = delete;

    // "--------- step 3 processRequest (plugin sdsr)", as logcat marks its buffers.
    static void marker(const std::string& text);

  private:
    int m_listener;
};

}  // namespace korasim

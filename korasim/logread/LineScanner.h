// Cuts a stream of log text into lines and hands the plugin's to the reader. Only lines holding
// the plugin's tag (and the framework's, while a request is open) are parsed: a memmem over each
// block finds them, the rest of a field report's lines are skipped unread. Memory stays flat:
// one block plus one unfinished line, a line longer than kMaxLine is cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "PluginLog.h"

namespace korasim::logread {

// What one input held: its lines with the plugin's tags, and those no layout could read.
struct SourceCount {
    std::string name;
    size_t tagLines = 0;  // read with the plugin's or the framework's tag, plus unread ones
    size_t unreadLines = 0;
    std::string firstUnread;
    // Lines left out because an earlier part of the same bug report held them.
    size_t duplicates = 0;
};

// The plugin's lines of the earlier parts of a bug report, so that a line its SYSTEM LOG and its
// logd files both hold counts once. Keys are hashes of the line without its layout (time to the
// millisecond without year, ids, level, tag, text); the set stops growing at kMaxKeys.
class SeenLines {
  public:
    static constexpr size_t kMaxKeys = 1 << 18;
    // Starts the next part: lines repeated within one part are all kept.
    void nextPart() { ++m_part; }
    // False when an earlier part held the same line.
    bool firstTime(const LogLine& line);

  private:
    std::unordered_map<uint64_t, uint32_t> m_keys;  // key -> part that first held it
    uint32_t m_part = 0;
};

class LineScanner {
  public:
    static constexpr size_t kMaxLine = 1 << 20;

    // `seen` (may be null) drops lines an earlier part of the same bug report held.
    LineScanner(PluginLogReader& reader, SourceCount& count, SeenLines* seen = nullptr);
    // Reads the complete lines of `data`; an unfinished last line waits for the next block.
    void push(const char* data, size_t size);
    // The last line, even without its newline.
    void finish();
    // The year of a bug report's "== dumpstate: YYYY-MM-DD HH:MM:SS" header, when the text
    // opened with one.
    std::optional<int> year() const { return m_year; }

  private:
    void scan(bool atEnd);
    void sections(const char* from, const char* to);
    void candidate(const char* lineStart, const char* lineEnd, const char* bufferStart);
    bool follows(const char* lineStart, const char* bufferStart) const;
    void deliver(LogLine line);
    void sniffBugReport();

    PluginLogReader& m_reader;
    SourceCount& m_count;
    SeenLines* m_seen;
    std::string m_buffer;
    bool m_sniffed = false;
    bool m_bugReport = false;     // the text of a bug report: only its logcat sections are read
    bool m_inLogSection = false;  // between "------ ... (logcat ...) ------" and the next header
    std::optional<int> m_year;
    std::optional<LogLine> m_waitingForText;  // a long layout's header whose text is next
    bool m_lastWasLongHeader = false;         // the last line dropped from the buffer was one
    size_t m_linesBefore = 0;                 // newlines before the position counted so far
    size_t m_lineNumber = 0;                  // 1-based number of the line being read
};

}  // namespace korasim::logread

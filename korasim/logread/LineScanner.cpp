#include "LineScanner.h"

#include <string.h>

#include <algorithm>
#include <functional>

namespace korasim::logread {
namespace {

constexpr char kPluginTag[] = "SDSR";
constexpr char kFrameworkTag[] = "VoAlgoEngine";
constexpr char kDumpstate[] = "== dumpstate: ";

const char* find(const char* from, const char* end, const char* needle, size_t size) {
    if (from >= end)
        return nullptr;
    return static_cast<const char*>(memmem(from, end - from, needle, size));
}

std::string_view withoutCr(const char* begin, const char* end) {
    std::string_view s(begin, end - begin);
    while (!s.empty() && s.back() == '\r')
        s.remove_suffix(1);
    return s;
}

bool isPluginTag(const std::string& tag) {
    return tag == kPluginTag || tag == kFrameworkTag;
}

// "[YYYY-]MM-DD HH:MM:SS.fff" without year, zone or digits beyond the millisecond, so that the
// same record printed by two layouts (a bug report's uid layout, logd's usec files) matches.
std::string_view comparableTime(std::string_view t) {
    if (t.size() > 5 && t[4] == '-')
        t.remove_prefix(5);
    const size_t dot = t.find('.');
    if (dot != std::string_view::npos && t.size() > dot + 4)
        t = t.substr(0, dot + 4);
    return t;
}

// memchr is glibc's vectorised search: three times faster here than std::count at -O2.
size_t newlines(const char* from, const char* to) {
    size_t n = 0;
    for (const char* at = from; at < to; ++n) {
        at = static_cast<const char*>(memchr(at, '\n', static_cast<size_t>(to - at)));
        if (!at)
            break;
        ++at;
    }
    return n;
}

}  // namespace

bool SeenLines::firstTime(const LogLine& line) {
    std::string key(comparableTime(line.time));
    key += '|' + std::to_string(line.pid) + '|' + std::to_string(line.tid) + '|' + line.level +
           line.tag + '|' + line.text;
    const uint64_t hash = std::hash<std::string>()(key);
    const auto it = m_keys.find(hash);
    if (it != m_keys.end())
        return it->second == m_part;
    if (m_keys.size() < kMaxKeys)
        m_keys.emplace(hash, m_part);
    return true;
}

LineScanner::LineScanner(PluginLogReader& reader, SourceCount& count, SeenLines* seen)
    : m_reader(reader), m_count(count), m_seen(seen) {}

void LineScanner::push(const char* data, size_t size) {
    m_buffer.append(data, size);
    if (!m_sniffed) {
        // The dumpstate header is on the second line: wait for it (or for a long first line).
        const size_t firstNewline = m_buffer.find('\n');
        if (m_buffer.size() < 4096 && (firstNewline == std::string::npos ||
                                       m_buffer.find('\n', firstNewline + 1) == std::string::npos))
            return;
        sniffBugReport();
    }
    scan(false);
}

void LineScanner::finish() {
    if (!m_sniffed)
        sniffBugReport();
    scan(true);
    if (m_waitingForText) {
        deliver(std::move(*m_waitingForText));
        m_waitingForText.reset();
    }
}

// A bug report's text opens with "====...", "== dumpstate: 2024-01-15 10:23:45".
void LineScanner::sniffBugReport() {
    m_sniffed = true;
    const std::string_view head = std::string_view(m_buffer).substr(0, 4096);
    size_t at = head.find(kDumpstate);
    if (at == std::string_view::npos || (at > 0 && head[at - 1] != '\n') ||
        head.substr(0, at).find('\n') != head.substr(0, at).rfind('\n'))
        return;
    m_bugReport = true;
    at += sizeof(kDumpstate) - 1;
    int year = 0;
    size_t digits = 0;
    for (; digits < 4 && at + digits < head.size() && isdigit(head[at + digits]); ++digits)
        year = year * 10 + (head[at + digits] - '0');
    if (digits == 4 && at + 4 < head.size() && head[at + 4] == '-')
        m_year = year;
}

void LineScanner::scan(bool atEnd) {
    const char* begin = m_buffer.data();
    const char* end = begin + m_buffer.size();
    const char* usable = end;
    if (!atEnd) {
        const char* lastNewline = static_cast<const char*>(memrchr(begin, '\n', end - begin));
        usable = lastNewline ? lastNewline + 1 : begin;
        if (usable == begin && m_buffer.size() >= kMaxLine)
            usable = end;  // no newline in a megabyte: not a log line, read it as cut
    }
    const char* pos = begin;
    // Line numbers: newlines are counted up to each line read, then up to the end of the block.
    const char* counted = begin;
    const auto countTo = [&](const char* to) {
        m_linesBefore += newlines(counted, to);
        counted = to;
    };
    const char* nextPlugin = find(pos, usable, kPluginTag, 4);
    while (pos < usable) {
        const char* hit = nullptr;
        if (!m_waitingForText) {
            // The framework's tag matters only inside a request (its boost lines): one scan for
            // the plugin's tag, a second only over the stretches inside requests.
            const char* limit = nextPlugin ? nextPlugin : usable;
            if (m_reader.frameworkLinesWanted())
                hit = find(pos, limit, kFrameworkTag, sizeof(kFrameworkTag) - 1);
            if (!hit)
                hit = nextPlugin;
            if (!hit) {
                if (m_bugReport)
                    sections(pos, usable);
                break;
            }
        } else {
            hit = pos;  // a long layout's text is the line after its header
        }
        const char* lineStart = hit;
        while (lineStart > pos && lineStart[-1] != '\n')
            --lineStart;
        countTo(lineStart);
        m_lineNumber = m_linesBefore + 1;
        if (m_bugReport)
            sections(pos, lineStart);
        const char* lineEnd = static_cast<const char*>(memchr(hit, '\n', usable - hit));
        if (!lineEnd)
            lineEnd = usable;
        if (m_waitingForText) {
            std::string_view text = withoutCr(lineStart, lineEnd);
            if (text.size() >= 4 && text.substr(text.size() - 4) == "\x1b[0m")
                text.remove_suffix(4);
            m_waitingForText->text = std::string(text);
            LogLine line = std::move(*m_waitingForText);
            m_waitingForText.reset();
            deliver(std::move(line));
        } else if (!m_bugReport || m_inLogSection) {
            candidate(lineStart, lineEnd, begin);
        }
        pos = lineEnd < usable ? lineEnd + 1 : usable;
        if (nextPlugin && nextPlugin < pos)
            nextPlugin = find(pos, usable, kPluginTag, 4);
    }
    countTo(usable);
    if (usable > begin) {
        const char* last = usable - 1;  // the newline (or the end) of the last line consumed
        m_lastWasLongHeader = follows(last + 1, begin);
    }
    m_buffer.erase(0, usable - begin);
}

// Section headers of a bug report between `from` and `to` (both at line starts): the lines of
// "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------" and the other
// logcat sections are read, those of dumpsys and the rest are not.
void LineScanner::sections(const char* from, const char* to) {
    const char* bufferStart = m_buffer.data();
    for (const char* h = find(from, to, "------ ", 7); h; h = find(h + 7, to, "------ ", 7)) {
        if (h > bufferStart && h[-1] != '\n')
            continue;
        const char* e = static_cast<const char*>(memchr(h, '\n', to - h));
        const std::string_view header(h, (e ? e : to) - h);
        m_inLogSection = header.find("(logcat ") != std::string_view::npos;
    }
}

// Whether the line before `lineStart` is a long layout's header: then this line is its text.
bool LineScanner::follows(const char* lineStart, const char* bufferStart) const {
    if (lineStart <= bufferStart)
        return m_lastWasLongHeader;
    const char* prevEnd = lineStart - 1;
    const char* prev = prevEnd;
    while (prev > bufferStart && prev[-1] != '\n')
        --prev;
    const std::string_view s = withoutCr(prev, prevEnd);
    return s.size() > 4 && s.substr(0, 2) == "[ " && s.substr(s.size() - 2) == " ]";
}

void LineScanner::candidate(const char* lineStart, const char* lineEnd, const char* bufferStart) {
    const std::string_view text = withoutCr(lineStart, lineEnd);
    std::optional<LogLine> line = parseLogcatLine(text);
    if (line)
        line->lineNumber = m_lineNumber;
    if (line && line->textOnNextLine) {
        m_waitingForText = std::move(line);
        return;
    }
    if (line) {
        deliver(std::move(*line));
        return;
    }
    if (text.find(kPluginTag) == std::string_view::npos || follows(lineStart, bufferStart))
        return;
    ++m_count.unreadLines;
    ++m_count.tagLines;
    if (m_count.firstUnread.empty())
        m_count.firstUnread = std::string(text.substr(0, 200));
    m_reader.countUnreadable();
}

void LineScanner::deliver(LogLine line) {
    if (isPluginTag(line.tag)) {
        ++m_count.tagLines;
        if (m_seen && !m_seen->firstTime(line)) {
            ++m_count.duplicates;
            return;
        }
    }
    splitPluginPrefix(line);
    m_reader.feed(std::move(line));
}

}  // namespace korasim::logread

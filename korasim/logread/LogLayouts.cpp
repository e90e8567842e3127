// The layouts of `logcat -v`, taken apart by hand: no Debian library parses logcat text, the
// layouts are regular enough for a few scans, and explain reads hundreds of megabytes. A line is
// an optional colour, a time stamp (date or seconds), a body that names level, tag and process,
// and the text. Each part has a short table of the shapes logcat prints; the first that fits the
// line wins, so every line finds its own layout.
#include <cctype>

#include "LogLine.h"

namespace korasim::logread {
namespace {

constexpr size_t npos = std::string_view::npos;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLevel(char c) {
    return c == 'V' || c == 'D' || c == 'I' || c == 'W' || c == 'E' || c == 'F' || c == 'A';
}

bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

size_t skipBlanks(std::string_view s, size_t pos) {
    while (pos < s.size() && s[pos] == ' ')
        ++pos;
    return pos;
}

std::string trimmed(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && s[b] == ' ')
        ++b;
    while (e > b && s[e - 1] == ' ')
        --e;
    return std::string(s.substr(b, e - b));
}

bool digitsAt(std::string_view s, size_t pos, size_t count) {
    if (pos + count > s.size())
        return false;
    for (size_t i = 0; i < count; ++i) {
        if (!isDigit(s[pos + i]))
            return false;
    }
    return true;
}

bool toNumber(std::string_view s, int& out) {
    if (s.empty() || s.size() > 9)
        return false;
    int value = 0;
    for (char c : s) {
        if (!isDigit(c))
            return false;
        value = value * 10 + (c - '0');
    }
    out = value;
    return true;
}

// A uid as the uid modifier prints it: a number, or a user name cut to 5 characters.
bool isUid(std::string_view s) {
    if (s.empty() || s.size() > 10)
        return false;
    for (char c : s) {
        if (!isNameChar(c))
            return false;
    }
    int number = 0;
    return s.size() <= 5 || toNumber(s, number);
}

// ---- Time stamps: each returns the end of its stamp, or npos. ----

// "[YYYY-]MM-DD HH:MM:SS[.fff|.ffffff|.fffffffff][ +hhmm]" (year, usec, nsec, zone).
size_t dateStamp(std::string_view s, size_t pos) {
    if (digitsAt(s, pos, 4) && pos + 4 < s.size() && s[pos + 4] == '-')
        pos += 5;
    if (!digitsAt(s, pos, 2) || s.substr(pos + 2, 1) != "-" || !digitsAt(s, pos + 3, 2) ||
        s.substr(pos + 5, 1) != " " || !digitsAt(s, pos + 6, 2) || s.substr(pos + 8, 1) != ":" ||
        !digitsAt(s, pos + 9, 2) || s.substr(pos + 11, 1) != ":" || !digitsAt(s, pos + 12, 2))
        return npos;
    pos += 14;
    if (pos < s.size() && s[pos] == '.') {
        size_t end = pos + 1;
        while (end < s.size() && isDigit(s[end]))
            ++end;
        if (end == pos + 1)
            return npos;
        pos = end;
    }
    if (pos + 5 < s.size() && s[pos] == ' ' && (s[pos + 1] == '+' || s[pos + 1] == '-') &&
        digitsAt(s, pos + 2, 4))
        pos += 6;
    return pos;
}

// "1700000000.123" (epoch) or "12345.678" (monotonic), right-aligned in blanks.
size_t secondsStamp(std::string_view s, size_t pos) {
    pos = skipBlanks(s, pos);
    const size_t start = pos;
    while (pos < s.size() && isDigit(s[pos]))
        ++pos;
    if (pos == start || pos >= s.size() || s[pos] != '.')
        return npos;
    const size_t fraction = ++pos;
    while (pos < s.size() && isDigit(s[pos]))
        ++pos;
    return pos == fraction ? npos : pos;
}

using StampReader = size_t (*)(std::string_view, size_t);
constexpr StampReader kStamps[] = {dateStamp, secondsStamp};

// ---- Process ids: "[uid:] pid" inside the brief and process layouts' parentheses. ----

bool readIds(std::string_view inside, LogLine& line) {
    const size_t colon = inside.find(':');
    if (colon != npos && !isUid(trimmed(inside.substr(0, colon))))
        return false;
    const std::string pid = trimmed(colon == npos ? inside : inside.substr(colon + 1));
    return toNumber(pid, line.pid);
}

// ---- Bodies, after the stamp. Each fills level, tag, pid (and tid) and text. ----

// threadtime: "[uid] pid tid L TAG: text" (the tag padded to 8 before its colon).
bool threadtimeBody(std::string_view s, size_t pos, LogLine& line) {
    std::string_view tokens[3];
    size_t count = 0;
    for (;;) {
        pos = skipBlanks(s, pos);
        if (count >= 2 && pos + 2 < s.size() && isLevel(s[pos]) && s[pos + 1] == ' ')
            break;
        if (count == 3)
            return false;
        const size_t start = pos;
        while (pos < s.size() && isNameChar(s[pos]))
            ++pos;
        if (pos == start || pos >= s.size() || s[pos] != ' ')
            return false;
        tokens[count++] = s.substr(start, pos - start);
    }
    if ((count == 3 && !isUid(tokens[0])) || !toNumber(tokens[count - 2], line.pid) ||
        !toNumber(tokens[count - 1], line.tid))
        return false;
    line.level = s[pos];
    pos += 2;
    const size_t colon = s.find(": ", pos);
    if (colon == npos) {
        // "TAG:" with an empty text still counts as a line.
        if (s.back() != ':')
            return false;
        line.tag = trimmed(s.substr(pos, s.size() - 1 - pos));
        return !line.tag.empty();
    }
    line.tag = trimmed(s.substr(pos, colon - pos));
    line.text = std::string(s.substr(colon + 2));
    return !line.tag.empty();
}

// brief and time: "L/TAG( [uid:] pid): text".
bool briefBody(std::string_view s, size_t pos, LogLine& line) {
    if (pos + 2 >= s.size() || !isLevel(s[pos]) || s[pos + 1] != '/')
        return false;
    size_t close = s.find("): ", pos + 2);
    if (close == npos && s.size() > 2 && s.substr(s.size() - 2) == "):")
        close = s.size() - 2;
    if (close == npos)
        return false;
    const size_t open = s.rfind('(', close);
    if (open == npos || open < pos + 2 || s.substr(pos + 2, open - pos - 2).find(": ") != npos ||
        !readIds(s.substr(open + 1, close - open - 1), line))
        return false;
    line.level = s[pos];
    line.tag = trimmed(s.substr(pos + 2, open - pos - 2));
    line.text = close + 3 <= s.size() ? std::string(s.substr(close + 3)) : std::string();
    return !line.tag.empty();
}

// process: "L( [uid:] pid) text  (TAG)".
bool processBody(std::string_view s, size_t pos, LogLine& line) {
    if (pos + 2 >= s.size() || !isLevel(s[pos]) || s[pos + 1] != '(' || s.back() != ')')
        return false;
    const size_t close = s.find(')', pos + 2);
    const size_t tagOpen = s.rfind("  (");
    if (close == npos || tagOpen == npos || tagOpen < close ||
        !readIds(s.substr(pos + 2, close - pos - 2), line))
        return false;
    line.level = s[pos];
    line.tag = trimmed(s.substr(tagOpen + 3, s.size() - tagOpen - 4));
    line.text = close + 2 <= tagOpen ? std::string(s.substr(close + 2, tagOpen - close - 2)) : "";
    return !line.tag.empty();
}

// tag: "L/TAG: text" (no process: every line counts as pid 0).
bool tagBody(std::string_view s, size_t pos, LogLine& line) {
    if (pos + 2 >= s.size() || !isLevel(s[pos]) || s[pos + 1] != '/')
        return false;
    const size_t colon = s.find(": ", pos + 2);
    if (colon == npos)
        return false;
    line.level = s[pos];
    line.tag = trimmed(s.substr(pos + 2, colon - pos - 2));
    line.text = std::string(s.substr(colon + 2));
    return !line.tag.empty();
}

using BodyReader = bool (*)(std::string_view, size_t, LogLine&);
constexpr BodyReader kStampedBodies[] = {threadtimeBody, briefBody};
constexpr BodyReader kBareBodies[] = {briefBody, processBody, tagBody};

// long: "[ STAMP [uid:] pid: tid L/TAG ]", the text on the next line.
bool longHeader(std::string_view s, size_t stampEnd, LogLine& line) {
    if (s.size() < 4 || s.substr(s.size() - 2) != " ]")
        return false;
    std::string_view ids[3];
    size_t count = 0, pos = stampEnd;
    for (;;) {
        pos = skipBlanks(s, pos);
        const size_t colon = s.find(':', pos);
        const size_t slash = s.find('/', pos);
        if (colon == npos || (slash != npos && slash < colon))
            break;
        if (count == 2)
            return false;
        ids[count++] = s.substr(pos, colon - pos);
        pos = colon + 1;
    }
    // What is left: "tid L/TAG ]".
    const size_t blank = s.find(' ', pos);
    if (count == 0 || blank == npos || blank + 2 >= s.size() || !isLevel(s[blank + 1]) ||
        s[blank + 2] != '/')
        return false;
    if ((count == 2 && !isUid(trimmed(ids[0]))) || !toNumber(trimmed(ids[count - 1]), line.pid) ||
        !toNumber(s.substr(pos, blank - pos), line.tid))
        return false;
    line.level = s[blank + 1];
    line.tag = trimmed(s.substr(blank + 3, s.size() - 2 - blank - 3));
    line.textOnNextLine = true;
    return !line.tag.empty();
}

// The colour modifier wraps a line in "ESC[38;5;Nm" ... "ESC[0m".
std::string_view withoutColour(std::string_view s) {
    if (s.size() > 2 && s[0] == '\x1b' && s[1] == '[') {
        const size_t m = s.find('m', 2);
        if (m != npos)
            s.remove_prefix(m + 1);
    }
    if (s.size() >= 4 && s.substr(s.size() - 4) == "\x1b[0m")
        s.remove_suffix(4);
    return s;
}

}  // namespace

std::optional<LogLine> parseLogcatLine(std::string_view s) {
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r'))
        s.remove_suffix(1);
    s = withoutColour(s);
    if (s.empty())
        return std::nullopt;
    LogLine line;
    const bool isLong = s.size() > 2 && s[0] == '[' && s[1] == ' ';
    const size_t from = isLong ? 2 : 0;
    for (StampReader stamp : kStamps) {
        const size_t end = stamp(s, from);
        if (end == npos || end >= s.size() || s[end] != ' ')
            continue;
        line.time = trimmed(s.substr(from, end - from));
        if (isLong)
            return longHeader(s, end, line) ? std::optional<LogLine>(line) : std::nullopt;
        for (BodyReader body : kStampedBodies) {
            LogLine parsed = line;
            if (body(s, skipBlanks(s, end), parsed))
                return parsed;
        }
        return std::nullopt;
    }
    if (isLong)
        return std::nullopt;
    for (BodyReader body : kBareBodies) {
        LogLine parsed = line;
        if (body(s, 0, parsed))
            return parsed;
    }
    return std::nullopt;
}

}  // namespace korasim::logread

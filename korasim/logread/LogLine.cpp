// Hand-written because no Debian library parses logcat text: the formats are fixed-width
// enough to take apart with a few scans, and the reader runs over hundreds of megabytes.
#include "LogLine.h"

#include <cctype>

namespace korasim::logread {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads an unsigned decimal number at `pos` after skipping blanks; false when there is none.
bool readNumber(std::string_view s, size_t& pos, int& out) {
    while (pos < s.size() && s[pos] == ' ')
        ++pos;
    if (pos >= s.size() || !isDigit(s[pos]))
        return false;
    long value = 0;
    while (pos < s.size() && isDigit(s[pos]) && value < 100000000)
        value = value * 10 + (s[pos++] - '0');
    out = static_cast<int>(value);
    return true;
}

bool isLevel(char c) {
    return c == 'V' || c == 'D' || c == 'I' || c == 'W' || c == 'E' || c == 'F' || c == 'A';
}

std::string trimmed(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && s[b] == ' ')
        ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\r'))
        --e;
    return std::string(s.substr(b, e - b));
}

// "L/TAG(  PID): text" (brief, and the time format after its stamp).
std::optional<LogLine> parseBrief(std::string_view s, LogLine line) {
    if (s.size() < 4 || !isLevel(s[0]) || s[1] != '/')
        return std::nullopt;
    const size_t open = s.find('(', 2);
    if (open == std::string_view::npos)
        return std::nullopt;
    size_t pos = open + 1;
    if (!readNumber(s, pos, line.pid))
        return std::nullopt;
    if (s.substr(pos, 3) != "): ")
        return std::nullopt;
    line.level = s[0];
    line.tag = trimmed(s.substr(2, open - 2));
    line.text = std::string(s.substr(pos + 3));
    return line;
}

}  // namespace

std::optional<LogLine> parseLogcatLine(std::string_view s) {
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r'))
        s.remove_suffix(1);
    LogLine line;
    if (s.empty())
        return std::nullopt;
    if (!isDigit(s[0]))
        return parseBrief(s, std::move(line));
    // Stamp: [YYYY-]MM-DD HH:MM:SS.fff...
    size_t pos = 0;
    if (s.size() > 5 && isDigit(s[3]) && s[4] == '-')
        pos = 5;
    if (s.size() < pos + 14 || s[pos + 2] != '-' || s[pos + 5] != ' ' || s[pos + 8] != ':')
        return std::nullopt;
    size_t end = pos + 6;
    while (end < s.size() && (isDigit(s[end]) || s[end] == ':' || s[end] == '.'))
        ++end;
    line.time = std::string(s.substr(0, end));
    pos = end;
    while (pos < s.size() && s[pos] == ' ')
        ++pos;
    if (pos < s.size() && !isDigit(s[pos]))
        return parseBrief(s.substr(pos), std::move(line));
    // threadtime: PID TID L TAG: text (the tag may be padded before its colon).
    if (!readNumber(s, pos, line.pid) || !readNumber(s, pos, line.tid))
        return std::nullopt;
    if (pos + 3 > s.size() || s[pos] != ' ' || !isLevel(s[pos + 1]) || s[pos + 2] != ' ')
        return std::nullopt;
    line.level = s[pos + 1];
    pos += 3;
    const size_t colon = s.find(": ", pos);
    if (colon == std::string_view::npos) {
        // "TAG:" with an empty text still counts as a line.
        if (s.size() > pos && s.back() == ':') {
            line.tag = trimmed(s.substr(pos, s.size() - 1 - pos));
            return line;
        }
        return std::nullopt;
    }
    line.tag = trimmed(s.substr(pos, colon - pos));
    line.text = std::string(s.substr(colon + 2));
    return line;
}

void splitPluginPrefix(LogLine& line) {
    const std::string& t = line.text;
    line.group.clear();
    line.function.clear();
    line.message = t;
    // "<GROUP> <file>:<line> <function>()<message>"
    const size_t sp1 = t.find(' ');
    if (sp1 == std::string::npos || sp1 == 0)
        return;
    const size_t sp2 = t.find(' ', sp1 + 1);
    if (sp2 == std::string::npos)
        return;
    const size_t colon = t.rfind(':', sp2);
    if (colon == std::string::npos || colon <= sp1 || colon + 1 >= sp2 || !isDigit(t[colon + 1]))
        return;
    size_t paren = t.find("()", sp2 + 1);
    if (paren == std::string::npos)
        return;
    if (t.compare(sp2 + 1, paren - sp2 - 1, "operator") == 0)
        paren = t.find("()", paren + 2);
    if (paren == std::string::npos)
        return;
    for (size_t i = sp2 + 1; i < paren; ++i) {
        const char c = t[i];
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '~' || c == '(' ||
              c == ')' || c == ':'))
            return;
    }
    line.group = t.substr(0, sp1);
    line.function = t.substr(sp2 + 1, paren - sp2 - 1);
    line.message = t.substr(paren + 2);
}

}  // namespace korasim::logread

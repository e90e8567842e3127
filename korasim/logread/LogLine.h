// One line of an Android log as korasim reads it: every layout of `logcat -v` that carries a tag
// (brief, process, tag, time, threadtime, long, with any of their time and uid modifiers), a bug
// report's log sections, and korasim's own --logcat echo. The layouts are in LogLayouts.cpp.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace korasim::logread {

struct LogLine {
    std::string time;  // "11-22 18:43:10.123" as printed; empty in the brief, process and tag
                       // layouts; seconds such as "1700000000.123" with epoch or monotonic
    int pid = 0;
    int tid = 0;  // 0 when the format has none
    char level = '?';
    std::string tag;
    std::string text;  // everything after "TAG: "
    // The plugin's online lines start with "<group> <file>:<line> <function>()"; these hold the
    // parts when the text has that shape (else function is empty and message is the text).
    std::string group;
    std::string function;
    std::string message;
    // The long layout prints "[ time pid: tid L/TAG ]" and the text on the following line.
    bool textOnNextLine = false;
    // 1-based line number in the input it came from (the header's, for the long layout); 0 when
    // the line came from no file (korasim run's own capture).
    size_t lineNumber = 0;
};

// Parses one line; nullopt when it has none of the known shapes (a cut line, a header such as
// "--------- beginning of main", a blank line). The layout is found per line, so logs of several
// layouts concatenated read as one.
std::optional<LogLine> parseLogcatLine(std::string_view line);

// Splits the plugin's online prefix off `line.text` into group, function and message.
void splitPluginPrefix(LogLine& line);

}  // namespace korasim::logread

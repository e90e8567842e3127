// The plugin's own prefix of a log text: "<group> <file>:<line> <function>()".
#include "LogLine.h"

#include <cctype>

namespace korasim::logread {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

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

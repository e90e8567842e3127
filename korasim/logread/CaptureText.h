// Words and numbers in the texts of a capture's decision and path.
#pragma once

#include <cstdio>
#include <string>

#include "PluginLog.h"

namespace korasim::logread {

inline std::string kb(double v) {
    char text[48];
    snprintf(text, sizeof(text), "%.0f kB", v);
    return text;
}

inline std::string ms(double v) {
    char text[48];
    snprintf(text, sizeof(text), "%.2f ms", v);
    return text;
}

inline std::string quoted(const std::string& s) {
    return "\"" + s + "\"";
}

// What stood in for a fact the log gates hid.
inline std::string hidden(const Capture& c) {
    return "hidden by log gates (" + (c.hiddenBy.empty() ? std::string("D lines") : c.hiddenBy) +
           ")";
}

}  // namespace korasim::logread

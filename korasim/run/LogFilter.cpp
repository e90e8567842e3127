#include "run/LogFilter.h"

#include <stdio.h>

#include <sstream>
#include <stdexcept>

#include "korahost/HostControl.h"

namespace korasim {

namespace {

// Rank of a priority letter; S (silent) is above every level.
int rank(char letter) {
    static const std::string order = "VDIWEFS";
    const size_t i = order.find(letter);
    return i == std::string::npos ? -1 : static_cast<int>(i);
}

}  // namespace

LogFilter LogFilter::parse(const std::string& text) {
    LogFilter filter;
    std::istringstream words(text);
    std::string word;
    while (words >> word) {
        const size_t colon = word.rfind(':');
        const std::string tag = colon == std::string::npos ? "" : word.substr(0, colon);
        const std::string level = colon == std::string::npos ? "" : word.substr(colon + 1);
        if (tag.empty() || level.size() != 1 || rank(level[0]) < 0) {
            throw std::invalid_argument("bad logcat filter \"" + word +
                                        "\"; expected TAG:PRIORITY with PRIORITY one of V D I W "
                                        "E F S, e.g. SDSR:I *:S");
        }
        if (tag == "*")
            filter.m_default = rank(level[0]);
        else
            filter.m_tags[tag] = rank(level[0]);
    }
    return filter;
}

bool LogFilter::passes(const std::string& tag, char level) const {
    auto it = m_tags.find(tag);
    const int minimum = it == m_tags.end() ? m_default : it->second;
    const int r = rank(level);
    return r >= 0 && r >= minimum;  // S ranks above every level a line has
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

LogEcho::LogEcho(LogFilter filter, LogChannelChoice channel) {
    m_listener = korahost::addLogListener([filter, channel](const korahost::LogRecord& r) {
        const bool online = r.channel == korahost::LogChannel::Online;
        if ((online && channel == LogChannelChoice::Offline) ||
            (!online && channel == LogChannelChoice::Online)) {
            return;
        }
        if (!filter.passes(online ? r.tag : "offline", r.level))
            return;
        const std::string line = korahost::formatThreadtime(r);
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

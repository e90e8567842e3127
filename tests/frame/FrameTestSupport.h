// Log inspection and plugin access shared by the frame tests.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "korahost/HostControl.h"

namespace frametest {

// The online lines logged since the last take, with lookups by message text.
class LogView {
  public:
    static LogView take() {
        LogView view;
        for (auto& record : korahost::takeLogs()) {
            if (record.channel == korahost::LogChannel::Online)
                view.m_lines.push_back(record);
        }
        return view;
    }

    // Lines whose message contains `text`.
    std::vector<korahost::LogRecord> matching(const std::string& text) const {
        std::vector<korahost::LogRecord> found;
        for (const auto& line : m_lines) {
            if (line.message.find(text) != std::string::npos)
                found.push_back(line);
        }
        return found;
    }
    bool has(const std::string& text) const { return !matching(text).empty(); }
    // True when some line contains `text` and was logged at `level`.
    bool has(char level, const std::string& text) const {
        const auto found = matching(text);
        return std::any_of(found.begin(), found.end(),
                           [level](const korahost::LogRecord& r) { return r.level == level; });
    }
    bool hasExact(char level, const std::string& message) const {
        return std::any_of(m_lines.begin(), m_lines.end(), [&](const korahost::LogRecord& r) {
            return r.level == level && r.message == message;
        });
    }
    const std::vector<korahost::LogRecord>& lines() const { return m_lines; }
    std::string dump() const {
        std::string text;
        for (const auto& line : m_lines) {
            text += std::string(1, line.level) + " " + line.function + "() " + line.message + "\n";
        }
        return text;
    }

  private:
    std::vector<korahost::LogRecord> m_lines;
};

}  // namespace frametest

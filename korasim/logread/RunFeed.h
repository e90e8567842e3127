// korasim run's side of the one reader: the lines captured during each step go, per plugin
// object of the session, to a PluginLogReader, and the isEnabled and processRequest steps take
// their decision, reason and path from it (never from a second reading of the plugin's lines).
// Unlike a field log, a run knows which call printed each line: every step's lines are fed as
// that call's, and the step is read from the capture they went to.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <korahost/HostControl.h>
#include <nlohmann/json.hpp>

#include "PluginLog.h"

namespace korasim::logread {

class RunFeed {
  public:
    void setGates(const Gates& gates) { m_gates = gates; }
    // A plugin object of this name is created: its lines start afresh.
    void created(const std::string& plugin);
    // The lines one step printed; `call` is the plugin call the step made.
    void feed(const std::string& plugin, Call call, const std::vector<korahost::LogRecord>& logs);
    // The decision the plugin's latest step printed; `answer` is what isEnabled returned.
    nlohmann::json decision(const std::string& plugin, bool answer) const;
    // The path and facts the plugin's latest step printed.
    nlohmann::json process(const std::string& plugin) const;

  private:
    Gates m_gates;
    std::map<std::string, PluginLogReader> m_readers;
    // The capture the latest step's lines of each plugin went to (none when the gates hid all).
    const Capture* latest(const std::string& plugin) const;
};

// The run summary's words for a decision: "answer false (memory: free memory 1 kB < ...)".
std::string decisionSummary(const nlohmann::json& decision);

}  // namespace korasim::logread

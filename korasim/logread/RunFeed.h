// korasim run's side of the one reader: the lines captured during each step go, per plugin
// object of the session, to a PluginLogReader, and the isEnabled and processRequest steps take
// their decision, reason and path from it (never from a second reading of the plugin's lines).
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
    void feed(const std::string& plugin, const std::vector<korahost::LogRecord>& logs);
    // The decision of the plugin's latest isEnabled; `answer` is what the call returned.
    nlohmann::json decision(const std::string& plugin, bool answer) const;
    // The latest processRequest's path and facts.
    nlohmann::json process(const std::string& plugin) const;

  private:
    Gates m_gates;
    std::map<std::string, PluginLogReader> m_readers;
    // Whether the latest step's lines reached a capture of that plugin (gates may hide all).
    std::map<std::string, bool> m_touched;
    const Capture* latest(const std::string& plugin) const;
};

// The run summary's words for a decision: "answer false (memory: free memory 1 kB < ...)".
std::string decisionSummary(const nlohmann::json& decision);

}  // namespace korasim::logread

// Runs one session against the plugin library: fills the properties and log gates, builds the
// device tree, loads the plugin as the framework does (dlopen, koraconnect), drives the steps
// and records everything the plugin did into the JSON report.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "YuvImage.h"
#include "run/LogcatEcho.h"
#include "session/Session.h"

namespace korasim {

using hostkit::YuvImage;

struct RunOptions {
    std::string pluginPath;  // empty: hostkit::pluginPath(), ../lib beside korasim
    std::string libDir;      // empty: hostkit::libraryDir(), ../lib/sdsr beside korasim
    std::string root;        // empty: a temporary device root, removed afterwards
    std::string outDir;      // where output images (and copies of dumps) go; empty: none
    std::string sessionName;
    bool writeOutputImages = true;
    bool logcat = false;       // echo the plugin's log lines to stderr
    std::string logcatFilter;  // logcat's filter; empty: every line
    std::string logcatFormat;  // logcat -v words; empty: threadtime
    LogChannelChoice channel = LogChannelChoice::Online;
};

// Buffers of a processRequest step after the call, for callers that look at pixels.
struct ProcessedRequest {
    size_t stepIndex;
    const std::vector<std::unique_ptr<YuvImage>>& inputs;
    const std::vector<std::unique_ptr<YuvImage>>& outputs;
};

class Runner {
  public:
    Runner(Session session, RunOptions options);
    ~Runner();

    // Called after every processRequest step that ran.
    void setProcessedCallback(std::function<void(const ProcessedRequest&)> callback);

    // Runs the whole session. Throws SessionError for mistakes that show only while running
    // (a library that cannot be bound) and std::runtime_error for internal failures.
    void run();

    const nlohmann::json& report() const { return m_report; }
    // One line per step (and one for the load), for people.
    const std::vector<std::string>& summary() const { return m_summary; }

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    nlohmann::json m_report;
    std::vector<std::string> m_summary;
};

}  // namespace korasim

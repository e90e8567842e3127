#include "trace/ExplainTrace.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "trace/LogTime.h"
#include "trace/TraceDocument.h"

using nlohmann::json;

namespace korasim::trace {
namespace {

// A log without stamps: one plugin line per millisecond, in the order of the log.
constexpr int64_t kLineSpacingUs = 1000;
constexpr char kPlacedFromLineOrder[] = "from the line order (the log has no time stamps)";

// The moments of one capture, on the log's timeline.
struct Moments {
    std::map<std::string, int64_t> first, last;  // "isEnabled start", "processRequest Init", ...
    int64_t start = std::numeric_limits<int64_t>::max(), end = 0;

    std::optional<int64_t> at(const std::string& key) const {
        const auto it = first.find(key);
        return it != first.end() ? std::optional<int64_t>(it->second) : std::nullopt;
    }
    std::optional<int64_t> lastAt(const std::string& key) const {
        const auto it = last.find(key);
        return it != last.end() ? std::optional<int64_t>(it->second) : std::nullopt;
    }
};

// Reads every stamp of the document once: the earliest, and whether the log has any.
struct LogClock {
    bool stamped = false;
    int64_t originUs = std::numeric_limits<int64_t>::max();

    explicit LogClock(const json& captures) {
        for (const auto& c : captures) {
            for (const auto& e : c.value("timeline", json::array())) {
                if (const auto t = logTimeUs(e.value("time", ""))) {
                    stamped = true;
                    originUs = std::min(originUs, *t);
                }
            }
        }
    }
    std::optional<int64_t> at(const json& entry) const {
        if (!stamped)
            return static_cast<int64_t>(entry.value("order", size_t(0))) * kLineSpacingUs;
        const auto t = logTimeUs(entry.value("time", ""));
        return t ? std::optional<int64_t>(*t - originUs) : std::nullopt;
    }
};

Moments momentsOf(const json& capture, const LogClock& clock) {
    Moments m;
    for (const auto& e : capture.value("timeline", json::array())) {
        const std::optional<int64_t> t = clock.at(e);
        if (!t)
            continue;
        const std::string key = e.value("call", "") + " " + e.value("step", "");
        m.first.emplace(key, *t);
        m.last[key] = *t;
        m.start = std::min(m.start, *t);
        m.end = std::max(m.end, *t);
    }
    return m;
}

void copyArgs(const json& from, std::initializer_list<const char*> keys, json& to) {
    for (const char* key : keys) {
        if (from.is_object() && from.contains(key) && !from[key].is_null())
            to[key] = from[key];
    }
}

void addDumps(const json& process, const char* which, std::vector<Span>& into) {
    for (const auto& d : process.value("dumps", json::array())) {
        const std::string name = d.get<std::string>();
        if (name.find(std::string("_") + which + ".") == std::string::npos)
            continue;
        Span dump(std::string("dump ") + which, "dump");
        dump.args["file"] = name;
        dump.args["placed"] = std::string(kPlacedInOrder) + " (the plugin does not log its dumps)";
        into.push_back(dump);
    }
}

// Init, Run and Unit end at their cost lines and last the cost those lines give.
void addAlgorithmCalls(const json& process, const Moments& m, std::vector<Span>& into) {
    static const char* const kCalls[] = {"Init", "Run", "Unit"};
    static const char* const kCosts[] = {"initMs", "runMs", "unitMs"};
    const json costs = process.value("costs", json::object());
    for (int i = 0; i < 3; ++i) {
        const std::optional<int64_t> end = m.at(std::string("processRequest ") + kCalls[i]);
        if (!end)
            continue;
        Span call(kCalls[i], "algorithm");
        call.endUs = end;
        if (costs.contains(kCosts[i]) && costs[kCosts[i]].is_number()) {
            call.durUs = static_cast<int64_t>(costs[kCosts[i]].get<double>() * 1000.0 + 0.5);
            call.args["costMs"] = costs[kCosts[i]];
        }
        into.push_back(call);
        if (i == 0)
            addDumps(process, "input", into);
        if (i == 1)
            addDumps(process, "output", into);
    }
}

Span requestSpan(const json& process, const Moments& m) {
    Span request("processRequest", "step");
    request.startUs = m.at("processRequest start");
    request.endUs = m.lastAt("processRequest end");
    copyArgs(process, {"path", "text", "imageName"}, request.args);
    std::vector<Span>* work = &request.children;
    if (const std::optional<int64_t> boostAt = m.at("processRequest boost")) {
        Span boost("boost", "boost");
        boost.startUs = boostAt;
        boost.endUs = m.at("processRequest release").value_or(*request.endUs);
        copyArgs(process, {"boost"}, boost.args);
        request.children.push_back(boost);
        work = &request.children.back().children;
    }
    addAlgorithmCalls(process, m, *work);
    return request;
}

Span captureSpan(const json& capture, const Moments& m, bool stamped) {
    Span span("capture " + capture.value("object", std::string("?")), "capture");
    span.startUs = m.start;
    span.endUs = m.end;
    copyArgs(capture, {"time", "pid", "object", "objectAddress"}, span.args);
    copyArgs(capture["enable"], {"answer", "reason"}, span.args);
    if (capture["process"].is_object())
        copyArgs(capture["process"], {"path"}, span.args);
    if (!stamped)
        span.args["placed"] = kPlacedFromLineOrder;
    if (const auto enableAt = m.at("isEnabled start")) {
        Span enable("isEnabled", "step");
        enable.startUs = enableAt;
        enable.endUs = m.lastAt("isEnabled end");
        copyArgs(capture["enable"], {"answer", "reason", "text"}, enable.args);
        span.children.push_back(enable);
    }
    if (m.at("processRequest start"))
        span.children.push_back(requestSpan(capture["process"], m));
    return span;
}

// Tracks of one process: a plugin object's captures go on its track; a capture that begins
// before the object's previous one ended (a decision made while a request ran) goes on a second
// track of the object, so that no two spans of one track overlap.
class Tracks {
  public:
    Tracks(TraceDocument& trace, const std::string& log) : m_trace(trace), m_log(log) {}

    int trackFor(int pid, const std::string& object, const Moments& m) {
        if (m_processes.emplace(pid, 0).second)
            m_trace.nameProcess(pid, m_log + " pid " + std::to_string(pid));
        for (int lane = 0;; ++lane) {
            auto [it, added] = m_lanes.emplace(Key{pid, object, lane}, Lane{});
            if (added) {
                it->second.tid = ++m_processes[pid];
                const std::string name =
                    "object " + object +
                    (lane == 0 ? "" : " (overlapping " + std::to_string(lane + 1) + ")");
                m_trace.nameTrack(pid, it->second.tid, name, it->second.tid);
            }
            if (added || it->second.endUs <= m.start) {
                it->second.endUs = m.end;
                return it->second.tid;
            }
        }
    }

  private:
    using Key = std::tuple<int, std::string, int>;
    struct Lane {
        int tid = 0;
        int64_t endUs = 0;
    };
    TraceDocument& m_trace;
    std::string m_log;
    std::map<int, int> m_processes;  // pid -> tracks so far
    std::map<Key, Lane> m_lanes;
};

}  // namespace

json explainTrace(const json& explain) {
    TraceDocument trace;
    const json captures = explain.value("captures", json::array());
    const LogClock clock(captures);
    // One log file names its processes by its file name; several keep the names as given.
    std::string log = explain.value("log", std::string("log"));
    if (log.find(' ') == std::string::npos && !std::filesystem::path(log).filename().empty())
        log = std::filesystem::path(log).filename().string();
    Tracks tracks(trace, log);
    for (const auto& capture : captures) {
        const Moments m = momentsOf(capture, clock);
        if (m.first.empty())
            continue;
        const int pid = capture.value("pid", 0);
        const int tid = tracks.trackFor(pid, capture.value("object", std::string("?")), m);
        trace.addSpan(pid, tid, captureSpan(capture, m, clock.stamped));
    }
    return trace.document();
}

}  // namespace korasim::trace

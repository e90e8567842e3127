#include "trace/RunTrace.h"

#include <map>
#include <optional>
#include <string>

#include "trace/TraceDocument.h"

using nlohmann::json;

namespace korasim::trace {
namespace {

constexpr int kPid = 1;
constexpr int kSessionTrack = 1;

std::optional<double> number(const json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_number())
        return std::nullopt;
    return it->get<double>();
}

int64_t microseconds(double ms) {
    return static_cast<int64_t>(ms * 1000.0 + 0.5);
}

// Wall-clock observations (fault reports, boost events, dump files) on the session's timeline.
struct Clock {
    std::optional<int64_t> wallStartUs;
    std::optional<int64_t> at(const json& event) const {
        const std::optional<double> t = number(event, "timeUs");
        if (!wallStartUs || !t)
            return std::nullopt;
        return static_cast<int64_t>(*t) - *wallStartUs;
    }
};

Span stepSpan(const json& step, int64_t& next) {
    Span s(step.value("do", std::string("step")), "step");
    const std::optional<double> start = number(step, "startUs");
    s.startUs = start ? static_cast<int64_t>(*start) : next;
    s.durUs = microseconds(number(step, "durationMs").value_or(0.0));
    if (!start)
        s.args["placed"] = kPlacedInOrder;
    next = s.start() + *s.durUs;
    if (step.contains("index"))
        s.args["step"] = step["index"];
    for (const char* key : {"answer", "reason", "path", "return", "durationMs"}) {
        if (step.contains(key) && !step[key].is_null())
            s.args[key] = step[key];
    }
    return s;
}

// The boost the plugin held around its work, from the framework's acquire and release.
std::optional<Span> boostSpan(const json& step, const Clock& clock) {
    std::optional<Span> boost;
    for (const auto& e : step.value("perfLock", json::array())) {
        if (e.value("event", "") == "acquire" && !boost) {
            boost.emplace("boost", "boost");
            boost->startUs = clock.at(e);
            boost->args["requestedMs"] = e.value("durationMs", 0);
            if (!boost->startUs)
                boost->args["placed"] = kPlacedInOrder;
        } else if (e.value("event", "") == "release" && boost) {
            boost->endUs = clock.at(e);
        }
    }
    return boost;
}

void addDumps(const json& step, const char* which, const Clock& clock, std::vector<Span>& into) {
    for (const auto& d : step.value("dumps", json::array())) {
        const std::string device = d.value("device", "");
        if (device.find(std::string("_") + which + ".") == std::string::npos)
            continue;
        Span dump(std::string("dump ") + which, "dump");
        dump.endUs = clock.at(d);
        dump.args["file"] = device;
        dump.args["bytes"] = d.value("bytes", 0);
        dump.args["placed"] = dump.endUs ? "ends at the file's modification time" : kPlacedInOrder;
        into.push_back(dump);
    }
}

// Init, Run and Unit: each ends at the fault report the plugin sends right after the call and
// lasts the cost the plugin logged.
void addAlgorithmCalls(const json& step, const Clock& clock, std::vector<Span>& into) {
    static const char* const kCalls[] = {"Init", "Run", "Unit"};
    static const char* const kCosts[] = {"initMs", "runMs", "unitMs"};
    const json dfx = step.value("dfx", json::array());
    const json timings = step.value("timings", json::object());
    size_t calls = std::min<size_t>(dfx.size(), 3);
    while (dfx.empty() && calls < 3 && number(timings, kCosts[calls]))
        ++calls;
    for (size_t i = 0; i < calls; ++i) {
        Span call(kCalls[i], "algorithm");
        const std::optional<double> cost = number(timings, kCosts[i]);
        if (cost) {
            call.durUs = microseconds(*cost);
            call.args["costMs"] = *cost;
        } else {
            call.args["costMs"] = "not in the log";
        }
        if (i < dfx.size()) {
            call.endUs = clock.at(dfx[i]);
            call.args["status"] = dfx[i].value("code", 0);
        }
        if (!call.endUs)
            call.args["placed"] = cost ? kPlacedFromCost : kPlacedInOrder;
        into.push_back(call);
        if (i == 0)
            addDumps(step, "input", clock, into);
        if (i == 1)
            addDumps(step, "output", clock, into);
    }
}

void addRequestWork(const json& step, const Clock& clock, Span& request) {
    std::optional<Span> boost = boostSpan(step, clock);
    std::vector<Span>& work = boost ? boost->children : request.children;
    addAlgorithmCalls(step, clock, work);
    if (boost) {
        if (!boost->endUs)
            boost->endUs = request.end();  // released as the call returned
        request.children.push_back(std::move(*boost));
    }
}

}  // namespace

json runTrace(const json& report) {
    TraceDocument trace;
    trace.nameProcess(kPid, "korasim");
    trace.nameTrack(kPid, kSessionTrack, "session", 0);
    Clock clock;
    if (const std::optional<double> wall = number(report, "startTimeUs"))
        clock.wallStartUs = static_cast<int64_t>(*wall);
    int64_t next = 0;
    if (report.contains("load")) {
        json load = report["load"];
        load["do"] = "load";
        trace.addSpan(kPid, kSessionTrack, stepSpan(load, next));
    }
    std::map<std::string, int> tracks;
    for (const auto& step : report.value("steps", json::array())) {
        int track = kSessionTrack;
        if (step.contains("plugin")) {
            const std::string object = step["plugin"];
            auto it = tracks.find(object);
            if (it == tracks.end()) {
                it = tracks.emplace(object, kSessionTrack + 1 + int(tracks.size())).first;
                trace.nameTrack(kPid, it->second, "plugin " + object, int(tracks.size()));
            }
            track = it->second;
        }
        Span span = stepSpan(step, next);
        if (step.value("do", "") == "processRequest" && !step.value("skipped", false))
            addRequestWork(step, clock, span);
        trace.addSpan(kPid, track, std::move(span));
    }
    return trace.document();
}

}  // namespace korasim::trace

#include "run/RunHeader.h"

#include "korahost/DeviceModelFiles.h"
#include "run/RunState.h"

namespace korasim {

namespace {

// A file's text on one line, shortened: device files are short, meminfo is not.
nlohmann::json textSummary(const DeviceText& text) {
    if (!text)
        return "absent";
    std::string line;
    for (char c : *text)
        line += c == '\n' ? ' ' : c;
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line.size() > 80 ? line.substr(0, 77) + "..." : line;
}

}  // namespace

nlohmann::json deviceSummary(const DeviceSpec& d) {
    nlohmann::json j = nlohmann::json::object();
    if (d.versionFile)
        j["versionFile"] = textSummary(*d.versionFile);
    if (d.models) {
        j["models"] = d.models->size() == korahost::deviceModelFiles().size()
                          ? "all " + std::to_string(d.models->size())
                          : std::to_string(d.models->size()) + " of " +
                                std::to_string(korahost::deviceModelFiles().size());
    }
    if (d.meminfo)
        j["meminfo"] = textSummary(*d.meminfo);
    if (d.boardTemperature)
        j["boardTemperature"] = textSummary(*d.boardTemperature);
    for (const auto& [path, text] : d.files)
        j["files"][path] = textSummary(text);
    if (d.algorithm) {
        const AlgorithmSpec& a = *d.algorithm;
        std::string text = a.library.value_or("?");
        if (a.version) {
            const auto& v = *a.version;
            text += " " + std::to_string(v[0]) + "." + std::to_string(v[1]) + "." +
                    std::to_string(v[2]) + "." + std::to_string(v[3]);
        }
        if (a.library == "scripted") {
            text += ", init " + std::to_string(a.init.value_or(0)) + " run " +
                    std::to_string(a.run.value_or(0)) + " unit " +
                    std::to_string(a.unit.value_or(0));
        }
        j["algorithm"] = text;
    }
    if (d.metaHelper) {
        j["metaHelper"] = d.metaHelper->library.value_or("?") + ", status " +
                          std::to_string(d.metaHelper->status.value_or(0));
    }
    if (d.controllerFlag)
        j["controllerFlag"] = *d.controllerFlag;
    if (d.perfLockFails)
        j["perfLock"] = *d.perfLockFails ? "fail" : "ok";
    return j;
}

nlohmann::json logGatesJson(const LogGates& g) {
    return {{"level", g.level},
            {"groups", hexNumber(g.groups)},
            {"offlineLevel", g.offlineLevel},
            {"offlineGroups", hexNumber(g.offlineGroups)},
            {"debugMask", g.debugMask}};
}

}  // namespace korasim

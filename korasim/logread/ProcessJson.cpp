// The request path of one capture and its text, the capture as JSON, and the facts the log could
// not show.
#include <cmath>
#include <cstdio>

#include "CaptureText.h"
#include "LineRules.h"
#include "PluginLog.h"

namespace korasim::logread {

using nlohmann::json;

namespace {

struct Path {
    std::string id = "unknown";
    std::string text;
};

std::string formatName(const ProcessFacts& p) {
    if (p.format && *p.format == 17)
        return "NV21";
    if (p.format && *p.format == 35)
        return "NV12";
    if (p.rawType)
        return *p.rawType == "YUV_NV21" ? "NV21" : "NV12";
    return p.format ? "format " + std::to_string(*p.format) : "";
}

Path pathOf(const Capture& c) {
    const ProcessFacts& p = c.process;
    Path r;
    if (!p.seen) {
        r.text = "processRequest not in the log";
        return r;
    }
    if (p.noBuffer) {
        r.id = "noBuffer";
        r.text = *p.noBuffer;
    } else if (p.checkFormat) {
        if (*p.checkFormat == 0) {
            r.id = "formatCopy";
            r.text = "format " + std::to_string(p.format.value_or(-1)) +
                     " is neither NV21 (17) nor NV12 (35)";
        } else {
            r.id = "bypassCopy";
            r.text = "bypass property " + std::to_string(p.skipBypass.value_or(1));
        }
    } else if (p.libraryUnusable) {
        r.id = "libraryUnusable";
        r.text = "algorithm library unusable (dlopen " + p.handle.value_or("?") +
                 (p.dlerror ? ": " + *p.dlerror : std::string()) + ")";
    } else if (p.buffersUnusable) {
        r.id = "buffersUnusable";
        const size_t open = p.buffersUnusable->find('(');
        const size_t close = p.buffersUnusable->find(')');
        r.text = "buffers unusable" + (open != std::string::npos && close != std::string::npos
                                           ? " " + p.buffersUnusable->substr(open, close - open + 1)
                                           : std::string());
    } else if (p.versionDiffers) {
        r.id = "versionCopy";
        const std::string file = c.objectVersion ? quoted(*c.objectVersion) : hidden(c);
        r.text = "library version " + quoted(p.libraryVersion.value_or("?")) + " != version file " +
                 file;
    } else if (p.initCode && *p.initCode != 0) {
        r.id = "initFailed";
        r.text = "Init failed with code " + std::to_string(*p.initCode);
    } else if (p.runCode && *p.runCode != 0) {
        r.id = "runFailed";
        r.text = "Run failed with code " + std::to_string(*p.runCode);
    } else if (p.unitCode && *p.unitCode != 0) {
        r.id = "unitStatus";
        r.text = "processed, Unit returned " + std::to_string(*p.unitCode);
    } else if (p.processCount) {
        r.id = "processed";
        r.text = "processed";
    } else if (p.aborted) {
        r.id = "aborted";
        r.text = *p.aborted;
    } else {
        r.text = "the end of processRequest is not in the log";
    }
    return r;
}

json opt(const std::optional<int>& v) {
    return v ? json(*v) : json(nullptr);
}
json opt(const std::optional<double>& v) {
    return v ? json(*v) : json(nullptr);
}
json opt(const std::optional<std::string>& v) {
    return v ? json(*v) : json(nullptr);
}

}  // namespace

json processJson(const Capture& c) {
    const ProcessFacts& p = c.process;
    const Path r = pathOf(c);
    json out = {
        {"path", r.id},
        {"text", r.text},
        {"initCode", opt(p.initCode)},
        {"runCode", opt(p.runCode)},
        {"unitCode", opt(p.unitCode)},
        {"libraryVersion", opt(p.libraryVersion)},
        {"fileVersion", opt(c.objectVersion)},
        {"format", opt(p.format)},
        {"costs", {{"initMs", opt(p.initMs)}, {"runMs", opt(p.runMs)}, {"unitMs", opt(p.unitMs)}}}};
    json input = json::object();
    if (p.width) {
        input = {{"width", opt(p.width)},   {"height", opt(p.height)},
                 {"stride", opt(p.stride)}, {"format", formatName(p)},
                 {"zoom", opt(p.zoom)},     {"orientation", opt(p.orientation)}};
    }
    if (p.trigger) {
        input["trigger"] = *p.trigger;
        input["lux"] = opt(p.lux);
        input["preAlgoType"] = opt(p.preAlgoType);
        input["sensorModeType"] = opt(p.sensorModeType);
        json overrides = json::object();
        if (p.propPreAlgoType && *p.propPreAlgoType != -1)
            overrides["preAlgoType"] = *p.propPreAlgoType;
        if (p.propSensorModeType && *p.propSensorModeType != -1)
            overrides["sensorModeType"] = *p.propSensorModeType;
        if (p.propLux && *p.propLux > 0)
            overrides["lux"] = *p.propLux;
        input["overrides"] = overrides;
    }
    out["algoInput"] = input.empty() ? json(nullptr) : input;
    // The plugin does not log its dumps: they follow from the dump switch and the path.
    json dumps = json::array();
    if (p.dump && *p.dump != 0 && p.width && p.height) {
        const std::string size = std::to_string(*p.width) + "x" + std::to_string(*p.height) +
                                 "_zoom" +
                                 std::to_string(static_cast<int>(std::trunc(p.zoom.value_or(1))));
        if (p.initCode && *p.initCode == 0)
            dumps.push_back("IMG_<time>_SDSR_" + size + "x_input.NV12");
        if (p.runCode && *p.runCode == 0)
            dumps.push_back("IMG_<time>_SDSR_" + size + "x_output.NV12");
    }
    out["dumps"] = dumps;
    out["boost"] = p.boostFailed ? json("create failed")
                   : p.boostMs   ? json(std::to_string(*p.boostMs) + " ms")
                                 : json(nullptr);
    out["imageName"] = opt(p.imageName);
    return out;
}

std::string describeProcess(const Capture& c) {
    Path r = pathOf(c);
    const ProcessFacts& p = c.process;
    if (r.id == "processed" || r.id == "unitStatus" || r.id == "runFailed") {
        r.text += ": " + formatName(p);
        if (p.width && p.height)
            r.text += " " + std::to_string(*p.width) + "x" + std::to_string(*p.height);
        if (p.initMs)
            r.text += ", init " + ms(*p.initMs);
        if (p.runMs)
            r.text += ", run " + ms(*p.runMs);
        if (p.unitMs)
            r.text += ", unit " + ms(*p.unitMs);
    }
    return r.id == "unknown" ? "path unknown: " + r.text : r.id + " (" + r.text + ")";
}

namespace {

json supportingJson(const Capture& c, const std::vector<std::string>& sources) {
    json lines = json::array();
    for (const SupportingLine& l : c.supporting) {
        json line = {{"line", l.number}, {"text", l.text}};
        if (l.source >= 0 && static_cast<size_t>(l.source) < sources.size())
            line["source"] = sources[static_cast<size_t>(l.source)];
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace

json timelineJson(const Capture& c) {
    const auto entry = [](const Stamp& s, const char* step) {
        return json{{"time", s.time},
                    {"order", s.order},
                    {"call", s.request ? "processRequest" : "isEnabled"},
                    {"step", step}};
    };
    json out = json::array();
    for (const bool request : {false, true}) {
        const Stamp* first = nullptr;
        const Stamp* last = nullptr;
        for (const Stamp& s : c.stamps) {
            if (s.request != request)
                continue;
            first = first != nullptr ? first : &s;
            last = &s;
            const char* step = !request              ? nullptr
                               : s.stage == kBoost   ? "boost"
                               : s.stage == kInit    ? "Init"
                               : s.stage == kRun     ? "Run"
                               : s.stage == kUnit    ? "Unit"
                               : s.stage == kRelease ? "release"
                                                     : nullptr;
            if (step != nullptr)
                out.push_back(entry(s, step));
        }
        if (first != nullptr) {
            out.push_back(entry(*first, "start"));
            out.push_back(entry(*last, "end"));
        }
    }
    return out;
}

json toJson(const Capture& c, const std::vector<std::string>& sources) {
    json unknown = json::array();
    const EnableFacts& e = c.enable;
    if (!e.seen && c.process.seen)
        unknown.push_back(
            "isEnabled: not in the log (before its start, or lost where the "
            "buffer wrapped)");
    if (e.seen && !c.debugLinesSeen)
        unknown.push_back(
            "controller flag (unless refused), temperatures, model checks, "
            "sdsrui/SDSRTrigger/mode and algoType: " +
            hidden(c));
    if (c.process.seen && !c.objectVersion)
        unknown.push_back("version read when the plugin object was created: " +
                          (c.debugLinesSeen ? std::string("creation not in the log") : hidden(c)));
    if (c.process.seen && c.process.dump && *c.process.dump != 0)
        unknown.push_back("dump file times: the plugin does not log its dumps");
    return {{"time", c.time},
            {"pid", c.pid},
            {"object", c.object},
            {"objectAddress", c.objectAddress.empty() ? json(nullptr) : json(c.objectAddress)},
            {"enable", enableJson(c)},
            {"process", c.process.seen ? processJson(c) : json(nullptr)},
            {"unknown", unknown},
            {"outstandingBefore", c.outstandingBefore},
            {"lines", supportingJson(c, sources)},
            {"linesNotKept", c.supportingDropped},
            {"timeline", timelineJson(c)}};
}

}  // namespace korasim::logread

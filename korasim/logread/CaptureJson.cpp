// The facts of one capture as the decision, the path and their texts, with the deciding value
// and its limit, and the facts the log could not show.
#include <cmath>
#include <cstdio>

#include "PluginLog.h"

namespace korasim::logread {
namespace {

using nlohmann::json;

constexpr double kMemoryLimitKb = 512000.0;
constexpr int kControllerSkipFlag = 2;
constexpr int kOutstandingLimit = 2;

std::string kb(double v) {
    char text[48];
    snprintf(text, sizeof(text), "%.0f kB", v);
    return text;
}

std::string ms(double v) {
    char text[48];
    snprintf(text, sizeof(text), "%.2f ms", v);
    return text;
}

std::string quoted(const std::string& s) {
    return "\"" + s + "\"";
}

json check(const char* name, const std::string& value, const std::string& limit,
           const char* result) {
    return {{"name", name},
            {"value", value.empty() ? json(nullptr) : json(value)},
            {"limit", limit},
            {"result", result}};
}

std::string hidden(const Capture& c) {
    return "hidden by log gates (" + (c.hiddenBy.empty() ? std::string("D lines") : c.hiddenBy) +
           ")";
}

struct Decision {
    std::string answer = "unknown";
    std::string reason;  // empty: none (enabled) or not known
    std::string text;
};

std::string acceptedScenes(const std::optional<int>& ui) {
    if (!ui)
        return "accepted for sdsrui";
    if (*ui == 2)
        return "5, 7 or 8 with sdsrui 2";
    if (*ui == 1)
        return "7 with sdsrui 1";
    return "none with sdsrui " + std::to_string(*ui);
}

Decision decide(const Capture& c) {
    const EnableFacts& e = c.enable;
    Decision d;
    if (!e.seen) {
        d.text = "isEnabled not in the log";
        return d;
    }
    d.answer = "disabled";
    if (e.preAnchorProc) {
        d.reason = "preAnchorProc";
        d.text = "preAnchorProc " + std::to_string(*e.preAnchorProc);
    } else if (e.memoryRefusal) {
        const bool lowMemory = e.freeRam && *e.freeRam < kMemoryLimitKb;
        if (lowMemory || !e.flag || *e.flag != kControllerSkipFlag) {
            d.reason = "memory";
            d.text = e.freeRam ? "free memory " + kb(*e.freeRam) + " < " + kb(kMemoryLimitKb)
                               : "free memory below " + kb(kMemoryLimitKb);
            if (e.meminfoUnreadable)
                d.text += " (/proc/meminfo unreadable)";
            if (e.flag && *e.flag == kControllerSkipFlag)
                d.text += ", controller flag 2";
        } else {
            d.reason = "controller";
            d.text = "controller flag " + std::to_string(*e.flag);
        }
    } else if (e.sameVersion) {
        std::string version;
        if (*e.sameVersion == 0) {
            if (e.versionFileUnreadable)
                version = "version file unreadable";
            else if (e.storedVersion && e.fileVersion)
                version =
                    "version file " + quoted(*e.fileVersion) + " != " + quoted(*e.storedVersion);
            else
                version = "version file changed";
        }
        std::string models;
        if (e.filesExist && *e.filesExist == 0)
            models = e.missingModel ? "model " + *e.missingModel + " missing" : "a model missing";
        d.reason = !version.empty() ? "version" : "models";
        d.text = version.empty() ? models : models.empty() ? version : version + "; " + models;
    } else if (e.outstanding) {
        d.reason = "processCount";
        d.text = std::to_string(*e.outstanding) + " requests outstanding";
    } else if (e.tagsEnable && *e.tagsEnable == 0) {
        d.reason = "tags";
        d.text = "sdsrui " + std::to_string(e.ui.value_or(0)) + ", SDSRTrigger " +
                 std::to_string(e.trigger.value_or(0)) + ", mode " +
                 std::to_string(e.mode.value_or(0));
    } else if (e.sceneEnable && *e.sceneEnable == 0) {
        d.reason = "scene";
        if (e.smartAE && !*e.smartAE)
            d.text = "no SmartAE output";
        else
            d.text = "sdsrui " + std::to_string(e.ui.value_or(0)) + " with algoType " +
                     std::to_string(e.algoType.value_or(0));
    } else if (e.failed) {
        d.reason = "error";
        d.text = "enable decision failed";
    } else if (e.tagWritten || (e.final && *e.final == 1)) {
        d.answer = "enabled";
        d.text = "enabled";
    } else if (e.final && *e.final == 0) {
        d.reason = "unknown";
        d.text = "refused by a check whose line is " + hidden(c);
    } else if (c.process.seen) {
        d.answer = "enabled";
        d.text = "enabled (processRequest followed)";
    } else if (e.followed) {
        // The next decision began without a refusal line or the tag write of this one.
        d.reason = "unknown";
        d.text = "refused by the tags, the scene or the outstanding count: " +
                 (c.debugLinesSeen ? std::string("the refusal is not in the log") : hidden(c));
    } else if (!c.debugLinesSeen) {
        d.answer = "unknown";
        d.text = "tags, scene or outstanding count: " + hidden(c);
    } else {
        d.answer = "unknown";
        d.text = "the end of the decision is not in the log";
    }
    return d;
}

json checksOf(const Capture& c, const Decision& d) {
    const EnableFacts& e = c.enable;
    json checks = json::array();
    auto state = [&](bool failed, bool passed, bool reached) {
        return failed ? "fail" : passed ? "pass" : reached ? "unknown" : "not reached";
    };
    // Whether the decision went past a step: a later step's line, or the answer itself.
    const bool enabled = d.answer == "enabled";
    const bool pastMemory = enabled || e.sameVersion || e.tagsEnable || e.outstanding ||
                            e.modelsReadable > 0 || e.missingModel || e.versionFileUnreadable;
    const bool pastFiles = enabled || e.tagsEnable || e.outstanding || e.sceneEnable;
    const bool pastTags =
        enabled || e.outstanding || (e.sceneEnable && e.tagsEnable && *e.tagsEnable == 1);
    const bool pastScene = enabled || e.outstanding;

    std::string pre = e.preAnchorProc     ? std::to_string(*e.preAnchorProc)
                      : e.preAnchorAbsent ? "absent (0)"
                                          : "";
    checks.push_back(check("preAnchorProc", pre, "!= 1",
                           state(d.reason == "preAnchorProc", e.stage > 1 || enabled, true)));
    const bool memoryReached = !e.preAnchorProc;
    checks.push_back(check(
        "free memory", e.freeRam ? kb(*e.freeRam) : "", ">= 512000 kB",
        state(d.reason == "memory" || (e.memoryRefusal && e.freeRam && *e.freeRam < kMemoryLimitKb),
              (e.freeRam && *e.freeRam >= kMemoryLimitKb) || pastMemory, memoryReached)));
    checks.push_back(
        check("controller flag", e.flag ? std::to_string(*e.flag) : "", "!= 2",
              state(e.memoryRefusal && e.flag && *e.flag == kControllerSkipFlag,
                    (e.flag && *e.flag != kControllerSkipFlag) || pastMemory, memoryReached)));
    const bool filesReached = memoryReached && !e.memoryRefusal;
    std::string fileValue = e.versionFileUnreadable ? "unreadable"
                            : e.fileVersion         ? quoted(*e.fileVersion)
                                                    : "";
    std::string fileLimit = e.storedVersion   ? "== " + quoted(*e.storedVersion)
                            : c.objectVersion ? "== " + quoted(*c.objectVersion)
                                              : "== the version read at creation";
    checks.push_back(
        check("version file", fileValue, fileLimit,
              state(e.sameVersion && *e.sameVersion == 0,
                    (e.sameVersion && *e.sameVersion == 1) || pastFiles, filesReached)));
    std::string modelValue = e.missingModel         ? *e.missingModel + " missing"
                             : e.modelsReadable > 0 ? std::to_string(e.modelsReadable) + " readable"
                                                    : "";
    checks.push_back(check("model files", modelValue, "all 12 readable",
                           state(e.filesExist && *e.filesExist == 0,
                                 (e.filesExist && *e.filesExist == 1) || pastFiles, filesReached)));
    const bool tagsReached = filesReached && !e.sameVersion;
    std::string tags = e.ui ? "sdsrui " + std::to_string(*e.ui) + ", SDSRTrigger " +
                                  std::to_string(e.trigger.value_or(0)) + ", mode " +
                                  std::to_string(e.mode.value_or(0))
                            : "";
    checks.push_back(
        check("tags", tags, "all non-zero", state(d.reason == "tags", pastTags, tagsReached)));
    const bool sceneReached = tagsReached && !(e.tagsEnable && *e.tagsEnable == 0);
    std::string scene = e.smartAE && !*e.smartAE ? "no SmartAE output"
                        : e.algoType             ? "algoType " + std::to_string(*e.algoType)
                                                 : "";
    checks.push_back(check("scene", scene, "algoType " + acceptedScenes(e.ui),
                           state(d.reason == "scene", pastScene, sceneReached)));
    const bool countReached = sceneReached && !(e.sceneEnable && *e.sceneEnable == 0);
    checks.push_back(check("outstanding requests",
                           e.outstanding ? std::to_string(*e.outstanding) : "", "< 2",
                           state(d.reason == "processCount", enabled, countReached)));
    return checks;
}

}  // namespace

json enableJson(const Capture& c) {
    const Decision d = decide(c);
    json out = {{"answer", d.answer},
                {"reason", d.reason.empty() ? json(nullptr) : json(d.reason)},
                {"text", d.text},
                {"checks", c.enable.seen ? checksOf(c, d) : json::array()}};
    return out;
}

std::string describeEnable(const Capture& c) {
    const Decision d = decide(c);
    if (d.answer == "enabled")
        return "enabled";
    if (d.answer == "disabled")
        return "disabled: " + d.text;
    return "answer unknown: " + d.text;
}

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

json toJson(const Capture& c) {
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
            {"unknown", unknown}};
}

}  // namespace korasim::logread

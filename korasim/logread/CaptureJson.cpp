// The enable decision of one capture and its text, with the deciding value and its limit, and
// the facts the log could not show.
#include <cmath>
#include <cstdio>

#include "CaptureText.h"
#include "PluginLog.h"

namespace korasim::logread {
namespace {

using nlohmann::json;

constexpr double kMemoryLimitKb = 512000.0;
constexpr int kControllerSkipFlag = 2;
constexpr int kOutstandingLimit = 2;

json check(const char* name, const std::string& value, const std::string& limit,
           const char* result) {
    return {{"name", name},
            {"value", value.empty() ? json(nullptr) : json(value)},
            {"limit", limit},
            {"result", result}};
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
    // The refusal prints the count; otherwise the earlier captures of the object tell it, when
    // the log holds the object from its creation on.
    std::string outstanding = e.outstanding ? std::to_string(*e.outstanding) : "";
    if (!e.outstanding && countReached && (c.objectCreationSeen || !c.outstandingBefore.empty()))
        outstanding = std::to_string(c.outstandingBefore.size()) + " (counted from the log)";
    checks.push_back(check("outstanding requests", outstanding, "< 2",
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

}  // namespace korasim::logread

#include "SessionOut.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <set>

namespace korasim::logread {
namespace {

using nlohmann::json;

const char* const kModels[] = {"gan_20x.vonn",    "gan_30x.vonn",      "cls_scene.vonn",
                               "det_face.vonn",   "gan_face.vonn",     "sd_encoder.vonn",
                               "colorfix.vonn",   "det_landmark.vonn", "gan_night.vonn",
                               "sd_decoder.vonn", "sd_unet.vonn",      "gan_text.vonn"};

// The version the object read at creation, from whichever line shows it.
std::optional<std::string> creationVersion(const Capture& c) {
    if (c.objectVersion)
        return c.objectVersion;
    if (c.enable.storedVersion)
        return c.enable.storedVersion;
    if (c.enable.versionInTags)
        return c.enable.versionInTags;
    if (c.process.libraryVersion && !c.process.versionDiffers)
        return c.process.libraryVersion;
    return std::nullopt;
}

struct Builder {
    explicit Builder(const Capture& capture) : c(capture) {}

    const Capture& c;
    json device = json::object();
    // What the decision read from the device: in the session's device, or set just before the
    // decision when earlier requests (admitted under the enabling device) come first.
    json decisionDevice = json::object();
    json properties = json::object();
    json metadata = {{"$extends", "enabling"}};
    json input = json::object();
    json outputs;  // null: korasim's default output
    json untold = json::array();
    bool refusalForced = false;  // the hidden refusal is recreated by sdsrui 0
    bool algoTypeTold = false;   // the SmartAE record's algoType comes from the log

    void missing(const std::string& what, const std::string& used) {
        untold.push_back(what + ": " + used);
    }

    void enableConditions(json& changes) {
        const EnableFacts& e = c.enable;
        if (e.preAnchorProc)
            metadata["com.orvane.kora2.preAnchorProc"] = *e.preAnchorProc;
        if (e.meminfoUnreadable)
            decisionDevice["meminfo"] = nullptr;
        else if (e.freeRam)
            decisionDevice["meminfo"] = std::llround(*e.freeRam);
        if (e.flag)
            decisionDevice["controllerFlag"] = *e.flag;
        if (e.board)
            decisionDevice["boardTemperature"] = std::to_string(*e.board) + "\n";
        if (e.thermal && e.thermalTagFound != false)
            metadata["orvane.thermal.thermalResult"] = *e.thermal;
        if (e.versionFileUnreadable)
            changes["versionFile"] = nullptr;
        else if (e.fileVersion)
            changes["versionFile"] = *e.fileVersion + "\n";
        if (e.missingModel) {
            json present = json::array();
            for (const char* m : kModels) {
                if (*e.missingModel == m)
                    break;
                present.push_back(m);
            }
            // The plugin stops at the first missing model: the later ones are not known.
            bool after = false;
            for (const char* m : kModels) {
                if (after)
                    present.push_back(m);
                after = after || *e.missingModel == m;
            }
            decisionDevice["models"] = present;
            missing("models after " + *e.missingModel, "present");
        } else if (e.filesExist && *e.filesExist == 0) {
            decisionDevice["models"] = "none";
            missing("which model is missing", "all missing");
        }
        if (e.ui)
            metadata["orvane.ai.asd.sdsrui"] = *e.ui;
        if (e.trigger)
            metadata["orvane.ai.asd.SDSRTrigger"] = *e.trigger;
        if (e.mode)
            metadata["com.orvane.stableDiffusionSR.mode"] = *e.mode;
        if (e.followed && !e.tagWritten && !e.final && !e.preAnchorProc && !e.memoryRefusal &&
            !e.sameVersion && !e.outstanding) {
            // Refused by a check whose line the log does not hold: refuse by the tags.
            metadata["orvane.ai.asd.sdsrui"] = 0;
            refusalForced = true;
            missing("the refusing check (tags, scene or outstanding count)", "sdsrui 0");
        }
        smartAE();
        decisionDefaults();
    }

    // The SmartAE record as far as the log shows it. The decision prints the algoType it read
    // (when the tags let it look); the request prints the pre-pipeline and sensor mode types it
    // derived from the record, unless a property overrode them; a record too short to use
    // prints its size. Fields the log does not show keep the enabling set's values.
    void smartAE() {
        const EnableFacts& e = c.enable;
        const ProcessFacts& p = c.process;
        const char* const tag = "orvane.ai.asd.SmartAE";
        const std::optional<int> bytes = e.smartAEBytes ? e.smartAEBytes : p.smartAEBytes;
        if (bytes) {
            metadata[tag] = {{"size", *bytes}};
            return;
        }
        const bool preTold = p.preAlgoType && p.propPreAlgoType.value_or(-1) == -1;
        const bool sensorTold = p.sensorModeType && p.propSensorModeType.value_or(-1) == -1;
        // Type 3 is the request's word for "no record".
        if ((e.smartAE && !*e.smartAE) || (preTold && *p.preAlgoType == 3) ||
            (sensorTold && *p.sensorModeType == 3)) {
            metadata[tag] = nullptr;
            return;
        }
        json record = {{"algoType", 7}, {"sensorMode", 0}};
        bool told = false;
        if (e.algoType && e.tagsEnable && *e.tagsEnable == 1) {
            record["algoType"] = *e.algoType;
            told = algoTypeTold = true;
        } else if (preTold && (*p.preAlgoType == 1 || *p.preAlgoType == 2)) {
            record["algoType"] = *p.preAlgoType == 1 ? 5 : 8;
            told = algoTypeTold = true;
        }
        if (sensorTold) {
            // Types 1 and 2 name sensor modes 0 and 15; type 0 any other mode.
            record["sensorMode"] = *p.sensorModeType == 1 ? 0 : *p.sensorModeType == 2 ? 15 : 1;
            if (*p.sensorModeType == 0)
                missing("SmartAE sensor mode (neither 0 nor 15)", "1");
            told = true;
        } else if (p.preAlgoType) {
            missing("SmartAE sensor mode (its type was overridden by the property)", "0");
        } else if (reachesInitRecord()) {
            missing("SmartAE sensor mode", "0");
        }
        if (told)
            metadata[tag] = record;
    }

    // Every check the decision reached whose value no line shows keeps the session's default.
    void decisionDefaults() {
        const EnableFacts& e = c.enable;
        if (!e.seen)
            return;
        static const std::map<std::string, const char*> kUsed = {
            {"preAnchorProc", "absent"},
            {"free memory", "8 GiB"},
            {"controller flag", "0"},
            {"version file", "unchanged since the object's creation"},
            {"model files", "all 12 present"},
            {"tags", "sdsrui 2, SDSRTrigger 1, mode 1 (the enabling set)"},
            {"scene", "SmartAE algoType 7"},
            {"outstanding requests", "none before the log began"},
        };
        const json decision = enableJson(c);
        for (const auto& check : decision["checks"]) {
            const std::string name = check["name"];
            if (!check["value"].is_null() || check["result"] == "not reached")
                continue;
            if ((name == "tags" || name == "scene" || name == "outstanding requests") &&
                refusalForced)
                continue;
            if (name == "scene" && algoTypeTold)
                continue;
            missing(name, kUsed.at(name));
        }
        if (e.modelsReadable > 0 && e.modelsReadable < 12 && !e.missingModel && !e.filesExist)
            missing("model files the log does not show", "present");
        if (!e.preAnchorProc && !e.thermal)
            missing("thermal temperature (only logged)", "no orvane.thermal.thermalResult tag");
        if (!e.preAnchorProc && !e.board)
            missing("board temperature (only logged)", "36500");
    }

    // Whether the request went past the copy checks to the Init record (or its path is unknown).
    bool reachesInitRecord() const {
        if (!c.process.seen)
            return false;
        static const std::set<std::string> kEarly = {"noBuffer",        "formatCopy",
                                                     "bypassCopy",      "libraryUnusable",
                                                     "buffersUnusable", "versionCopy"};
        return kEarly.count(processJson(c)["path"].get<std::string>()) == 0;
    }

    // Every value the request reads that no line of it shows.
    void requestDefaults() {
        const ProcessFacts& p = c.process;
        if (!p.seen)
            return;
        if (!p.boostMs && !p.boostFailed)
            missing("boost", "granted");
        if (!p.dump && !p.noBuffer)
            missing("dump and bypass properties", "0 (off)");
        if (!reachesInitRecord())
            return;
        if (!p.libraryVersion)
            missing("algorithm library version", "the version file's");
        if (!p.imageName)
            missing("image name", "none");
        if (!p.zoom)
            missing("zoom ratio", "10.0");
        if (!p.orientation)
            missing("orientation", "0");
        if (!p.propPreAlgoType)
            missing("properties preAlgoType, sensorModeType, luxIndex", "not set");
        if (!p.lux && !(p.propLux && *p.propLux > 0))
            missing("lux index", "250.0");
        const bool initFailed = p.initCode && *p.initCode != 0;
        const bool runFailed = p.runCode && *p.runCode != 0;
        const bool laterStep = p.runCode || p.unitCode || p.processCount;
        if (!p.initCode && !laterStep)
            missing("Init result", "0");
        if (!p.runCode && !initFailed && !p.unitCode && !p.processCount)
            missing("Run result", "0");
        if (!p.unitCode && !initFailed && !runFailed)
            missing("Unit result", "0");
    }

    void processConditions() {
        const ProcessFacts& p = c.process;
        if (p.dump)
            properties["persist.vendor.camera.sdsr.dump"] = std::to_string(*p.dump);
        if (p.bypass && *p.bypass != 0)
            properties["persist.vendor.camera.sdsr.bypass"] = std::to_string(*p.bypass);
        if (p.propPreAlgoType && *p.propPreAlgoType != -1)
            properties["persist.vendor.camera.sdsr.preAlgoType"] =
                std::to_string(*p.propPreAlgoType);
        if (p.propSensorModeType && *p.propSensorModeType != -1)
            properties["persist.vendor.camera.sdsr.sensorModeType"] =
                std::to_string(*p.propSensorModeType);
        if (p.propLux && *p.propLux > 0)
            properties["persist.vendor.camera.sdsr.luxIndex"] = std::to_string(*p.propLux);
        json algorithm = json::object();
        const bool noLibrary =
            p.libraryUnusable || (p.handle && (*p.handle == "(nil)" || *p.handle == "0x0"));
        if (noLibrary)
            algorithm["library"] = "absent";
        if (p.libraryVersion)
            algorithm["version"] = *p.libraryVersion;
        if (p.initCode)
            algorithm["init"] = *p.initCode;
        if (p.runCode)
            algorithm["run"] = *p.runCode;
        if (p.unitCode)
            algorithm["unit"] = *p.unitCode;
        if (p.versionDiffers && !p.libraryVersion)
            missing("library version", "differs from the version file");
        if (!algorithm.empty())
            device["algorithm"] = algorithm;
        if (p.boostFailed)
            device["perfLock"] = "fail";
        if (p.format)
            input["format"] = *p.format == 17   ? json("nv21")
                              : *p.format == 35 ? json("nv12")
                                                : json(*p.format);
        else if (p.seen && !p.noBuffer)
            missing("input format", "NV21");
        if (p.width && p.height) {
            input["width"] = *p.width;
            input["height"] = *p.height;
            if (p.stride)
                input["stride"] = *p.stride;
        } else if (p.seen && !p.noBuffer && !p.buffersUnusable) {
            missing("input size and stride", "640x480, stride 640");
        }
        unsigned iw = 0, ih = 0, is = 0, ip = 0, ow = 0, oh = 0, os = 0, op = 0;
        if (p.buffersUnusable &&
            sscanf(p.buffersUnusable->c_str(),
                   "sdsr buffers unusable (input %ux%u stride %u planes %u, output %ux%u stride %u "
                   "planes %u",
                   &iw, &ih, &is, &ip, &ow, &oh, &os, &op) == 8) {
            input["width"] = iw;
            input["height"] = ih;
            input["stride"] = is;
            outputs = json::array({{{"width", ow}, {"height", oh}, {"stride", os}}});
            if (input.contains("format"))
                outputs[0]["format"] = input["format"];
        }
        if (p.zoom)
            metadata["ANDROID_CONTROL_ZOOM_RATIO"] = *p.zoom;
        if (p.orientation && *p.orientation != 0)
            metadata["ANDROID_JPEG_ORIENTATION"] = *p.orientation;
        if (p.lux && !(p.propLux && *p.propLux > 0))
            metadata["orvane.stats.luxIndex"] = *p.lux;
        if (p.imageName && !p.imageName->empty())
            metadata["orvane.snapshot.imageName"] = *p.imageName;
        requestDefaults();
    }
};

// Requests of the same object admitted before this capture and not finished: the plugin's
// count refuses at two, so they are recreated as admitted decisions, under the enabling device,
// before the capture's own conditions are set.
size_t outstandingBefore(const Capture& c) {
    if (!c.enable.seen)
        return 0;
    return c.enable.outstanding ? static_cast<size_t>(*c.enable.outstanding)
                                : c.outstandingBefore.size();
}

json stepsFor(const Capture& c, Builder& b, json changes) {
    json steps = json::array({{{"do", "create"}}, {{"do", "initialize"}}});
    const size_t outstanding = outstandingBefore(c);
    for (size_t i = 0; i < outstanding; ++i)
        steps.push_back({{"do", "isEnabled"}, {"metadata", {{"$extends", "enabling"}}}});
    (outstanding > 0 ? changes : b.device).update(b.decisionDevice);
    if (c.enable.seen) {
        if (!changes.empty())
            steps.push_back({{"do", "setDevice"}, {"device", changes}});
        steps.push_back({{"do", "isEnabled"}, {"metadata", b.metadata}});
    }
    if (c.process.seen) {
        json step = {{"do", "processRequest"}};
        if (c.enable.seen)
            step["ifEnabled"] = true;
        if (c.process.noBuffer) {
            const bool noInput = c.process.noBuffer->find("no input") == 0;
            step[noInput ? "inputs" : "outputs"] = json::array();
        }
        steps.push_back(step);
    }
    steps.push_back({{"do", "destroy"}});
    steps.push_back({{"do", "delete"}});
    return steps;
}

std::string describe(const Capture& c, const Builder& b, const std::string& source) {
    std::string text = "Recreated by korasim explain from " + source + ": capture at " + c.time +
                       ", pid " + std::to_string(c.pid) + ", object " + c.object + ".";
    if (const size_t outstanding = outstandingBefore(c)) {
        text += outstanding == 1 ? std::string(" Step 3 recreates the request")
                                 : " Steps 3 to " + std::to_string(2 + outstanding) +
                                       " recreate the " + std::to_string(outstanding) + " requests";
        text += " of the object outstanding before it";
        if (c.enable.outstanding)
            text += " (the plugin logged the count)";
        for (size_t i = 0; i < c.outstandingBefore.size(); ++i)
            text += (i ? ", " : ": admitted at ") + c.outstandingBefore[i];
        text += ", never finished.";
    }
    if (!b.untold.empty()) {
        text += " Not in the log (default used):";
        for (size_t i = 0; i < b.untold.size(); ++i)
            text += std::string(i ? ";" : "") + " " + b.untold[i].get<std::string>();
        text += ".";
    }
    return text +
           " Always korasim's own: the input image (the chart pattern; a log holds no "
           "pixels) and the algorithm (the scripted library with the results above).";
}

}  // namespace

json sessionFor(const Capture& c, const std::string& source) {
    Builder b(c);
    json changes = json::object();
    b.enableConditions(changes);
    b.processConditions();
    const std::optional<std::string> version = creationVersion(c);
    if (c.objectVersionFileMissing)
        b.device["versionFile"] = nullptr;
    else if (version)
        b.device["versionFile"] = *version + "\n";
    else if (c.process.versionDiffers && c.process.libraryVersion)
        b.device["versionFile"] =
            *c.process.libraryVersion == "0.0.0.0" ? "1.0.0.0\n" : "0.0.0.0\n";
    if (!version && !c.objectVersionFileMissing)
        b.missing("version read at creation", b.device.contains("versionFile")
                                                  ? "one that differs from the library"
                                                  : "1.0.0.0");
    if (!c.enable.seen && c.process.seen)
        b.missing("isEnabled", "not called; processRequest runs directly");
    b.input["metadata"] = b.metadata;

    json request = {{"inputs", json::array({b.input})}};
    if (!b.outputs.is_null())
        request["outputs"] = b.outputs;
    const json steps = stepsFor(c, b, changes);
    json session = {
        {"description", describe(c, b, source)}, {"request", request}, {"steps", steps}};
    if (!b.device.empty())
        session["device"] = b.device;
    if (!b.properties.empty())
        session["properties"] = b.properties;
    return session;
}

}  // namespace korasim::logread

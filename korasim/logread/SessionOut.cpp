#include "SessionOut.h"

#include <cmath>
#include <cstdio>

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
    const Capture& c;
    json device = json::object();
    json properties = json::object();
    json metadata = {{"$extends", "enabling"}};
    json input = json::object();
    json outputs;  // null: korasim's default output
    json untold = json::array();

    void missing(const std::string& what, const std::string& used) {
        untold.push_back(what + ": " + used);
    }

    void enableConditions(json& changes) {
        const EnableFacts& e = c.enable;
        if (e.preAnchorProc)
            metadata["com.orvane.kora2.preAnchorProc"] = *e.preAnchorProc;
        if (e.meminfoUnreadable)
            device["meminfo"] = nullptr;
        else if (e.freeRam)
            device["meminfo"] = std::llround(*e.freeRam);
        else if (e.seen && !e.preAnchorProc)
            missing("free memory", "8 GiB");
        if (e.flag)
            device["controllerFlag"] = *e.flag;
        else if (e.seen && !e.preAnchorProc)
            missing("controller flag", "0");
        if (e.board)
            device["boardTemperature"] = std::to_string(*e.board) + "\n";
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
            device["models"] = present;
            missing("models after " + *e.missingModel, "present");
        } else if (e.filesExist && *e.filesExist == 0) {
            device["models"] = "none";
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
            missing("the refusing check (tags, scene or outstanding count)", "sdsrui 0");
        }
        if (e.seen && !e.ui && e.stage >= 9)
            missing("sdsrui, SDSRTrigger, mode", "the enabling set (2, 1, 1)");
        smartAE();
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
            told = true;
        } else if (preTold && (*p.preAlgoType == 1 || *p.preAlgoType == 2)) {
            record["algoType"] = *p.preAlgoType == 1 ? 5 : 8;
            told = true;
        }
        if (sensorTold) {
            // Types 1 and 2 name sensor modes 0 and 15; type 0 any other mode.
            record["sensorMode"] = *p.sensorModeType == 1 ? 0 : *p.sensorModeType == 2 ? 15 : 1;
            if (*p.sensorModeType == 0)
                missing("SmartAE sensor mode (neither 0 nor 15)", "1");
            told = true;
        } else if (p.preAlgoType) {
            missing("SmartAE sensor mode (its type was overridden by the property)", "0");
        }
        if (told)
            metadata[tag] = record;
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
        else if (p.seen)
            missing("input format", "NV21");
        if (p.width && p.height) {
            input["width"] = *p.width;
            input["height"] = *p.height;
            if (p.stride)
                input["stride"] = *p.stride;
        } else if (p.seen) {
            missing("input size", "640x480");
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
        if (p.seen && !p.width && !p.noBuffer && !p.checkFormat)
            missing("zoom, orientation, lux", "the enabling set (10.0, 0, 250.0)");
    }
};

}  // namespace

json sessionFor(const Capture& c, const std::string& source) {
    Builder b{c,      json::object(), json::object(), {{"$extends", "enabling"}}, json::object(),
              json(), json::array()};
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

    json steps = json::array({{{"do", "create"}}, {{"do", "initialize"}}});
    if (c.enable.seen) {
        // Requests already outstanding: admitted before this one and never finished.
        for (int i = 0; i < c.enable.outstanding.value_or(0); ++i)
            steps.push_back({{"do", "isEnabled"}, {"metadata", b.metadata}});
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

    json request = {{"inputs", json::array({b.input})}};
    if (!b.outputs.is_null())
        request["outputs"] = b.outputs;
    std::string description = "Recreated by korasim explain from " + source + ": capture at " +
                              c.time + ", pid " + std::to_string(c.pid) + ", object " + c.object +
                              ".";
    if (!b.untold.empty()) {
        description += " Not in the log (default used):";
        for (size_t i = 0; i < b.untold.size(); ++i)
            description += std::string(i ? ";" : "") + " " + b.untold[i].get<std::string>();
        description += ".";
    }
    json session = {{"description", description}, {"request", request}, {"steps", steps}};
    if (!b.device.empty())
        session["device"] = b.device;
    if (!b.properties.empty())
        session["properties"] = b.properties;
    return session;
}

}  // namespace korasim::logread

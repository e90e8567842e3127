#include "LineRules.h"

#include <cstdio>

namespace korasim::logread {
namespace {

bool isEnableTag(const std::string& tag) {
    return tag == "com.orvane.kora2.preAnchorProc" || tag == "orvane.thermal.thermalResult" ||
           tag == "orvane.ai.asd.sdsrui" || tag == "orvane.ai.asd.SDSRTrigger" ||
           tag == "com.orvane.stableDiffusionSR.mode";
}

}  // namespace

unsigned onceBit(const std::string& m) {
    static const char* const kOnce[] = {"FreeRam ",
                                        "m_sdsrController.getFlag = ",
                                        "sdsrEnable: ",
                                        "update orvane.snapshot.stableDiffusionSREnable",
                                        "final sdsrEnable",
                                        "add perflock",
                                        "get request:",
                                        "imgName:",
                                        "format:",
                                        "sdsr_version:",
                                        "sdsr init cost",
                                        "sdsr run cost",
                                        "finish m_processCount",
                                        "dlopen sdsr"};
    for (unsigned i = 0; i < sizeof(kOnce) / sizeof(kOnce[0]); ++i) {
        if (starts(m, kOnce[i]))
            return 1u << (i + (i == 2 && has(m, "algoType") ? 16 : 0));
    }
    return 0;
}

// The enable step of a message, 0 when it is not an isEnabled line.
int LineRules::enableStage(const std::string& m, bool processOpen) {
    if (starts(m, "MetaData not found for ")) {
        const std::string tag = m.substr(23);
        if (tag == "com.orvane.kora2.preAnchorProc")
            return kPreAnchor;
        if (tag == "orvane.thermal.thermalResult")
            return kTemperatures;
        if (isEnableTag(tag) && !processOpen)
            return kTags;
        return 0;
    }
    if (starts(m, "sdsr BypassAlgo, preAnchorProc"))
        return kPreAnchor;
    if (starts(m, "FreeRam ") || starts(m, "GetFreeRam failed") ||
        starts(m, "failed open file path:") || starts(m, "pPath is null"))
        return kMemory;
    if (starts(m, "Thermal temperature") || starts(m, "Board temperature") ||
        starts(m, "cannot open thermaNode") || starts(m, "can not get temperature"))
        return kTemperatures;
    if (starts(m, "m_sdsrController.getFlag = "))
        return kProbeLine;
    if (starts(m, "sdsr BypassAlgo, m_sdsrController.getFlag()"))
        return kMemoryRefusal;
    if (starts(m, "open sdsr_version failed") || starts(m, "odm version:"))
        return kVersion;
    if (starts(m, "buf:") || starts(m, "modelName:"))
        return kModels;
    if (starts(m, "sdsr BypassAlgo,  isSameSdsrVersion"))
        return kVersionRefusal;
    if (starts(m, "sdsrEnable: ") && has(m, "sdsrUi"))
        return kTags;
    if ((starts(m, "get orvane.ai.asd.SmartAE") || has(m, "less than the")) && !processOpen)
        return kSmartAE;
    if (starts(m, "sdsrEnable: ") && has(m, "algoType"))
        return kScene;
    if (starts(m, "sdsr BypassAlgo, process count"))
        return kCount;
    if (starts(m, "update orvane.snapshot.stableDiffusionSREnable") ||
        starts(m, "update tagName = orvane.snapshot.stableDiffusionSREnable"))
        return kTagWrite;
    if (starts(m, "final sdsrEnable") || starts(m, "enable decision failed"))
        return kFinal;
    return 0;
}

int LineRules::processStage(const std::string& m) {
    if (starts(m, "dlopen sdsr") || starts(m, "sdsr dlerror()"))
        return kBind;
    if (starts(m, "add perflock") || has(m, "boost cpu") || starts(m, "VoaPerfLock create fail"))
        return kBoost;
    if (starts(m, "get request:") || starts(m, "request is null"))
        return kRequest;
    if (starts(m, "imgName:") || (starts(m, "no ") && has(m, "buffer in the request")) ||
        has(m, "planes, only"))
        return kImageName;
    if (starts(m, "format:"))
        return kFormat;
    if (starts(m, "skip sdsr!") || starts(m, "sdsr library unusable") ||
        starts(m, "sdsr buffers unusable"))
        return kCopyCheck;
    if (starts(m, "sdsr_version:"))
        return kLibraryVersion;
    if (starts(m, "sdsr version is different"))
        return kVersionCopy;
    if (starts(m, "MetaData not found for ") || starts(m, "luxIndex = ") ||
        starts(m, "lux query failed") || starts(m, "get orvane.ai.asd.SmartAE") ||
        has(m, "less than the") || starts(m, "ui triggerType:") || starts(m, "raw_type:") ||
        starts(m, "path_assets"))
        return kInitRecord;
    if (starts(m, "sdsr - DIPS init failed") || starts(m, "sdsr init cost"))
        return kInit;
    if (starts(m, "sdsr run cost") || starts(m, "sdsr - run failed"))
        return kRun;
    if (starts(m, "sdsr - Unit cost"))
        return kUnit;
    if (starts(m, "finish m_processCount"))
        return kFinish;
    if (starts(m, "[ImageExifMoveInfo]") ||
        starts(m, "update tagName = orvane.multiframe.debugData"))
        return kDebugInfo;
    if (has(m, "ReleasePerfLock"))
        return kRelease;
    if (starts(m, "request aborted"))
        return kRelease;
    return 0;
}

void LineRules::enable(EnableFacts& e, const std::string& m) {
    int a = 0, b = 0, c = 0, d = 0;
    double f = 0;
    char text[256] = {0};
    if (sscanf(m.c_str(), "sdsr BypassAlgo, preAnchorProc = %d", &a) == 1) {
        e.preAnchorProc = a;
    } else if (starts(m, "MetaData not found for com.orvane.kora2.preAnchorProc")) {
        e.preAnchorAbsent = true;
    } else if (sscanf(m.c_str(), "FreeRam %lf", &f) == 1) {
        e.freeRam = f;
    } else if (starts(m, "GetFreeRam failed") || starts(m, "failed open file path:")) {
        e.meminfoUnreadable = true;
    } else if (sscanf(m.c_str(),
                      "m_sdsrController.getFlag = %d freeRam = %lf get thermalTemperature = "
                      "%d boardTemperature %d",
                      &a, &f, &b, &c) == 4) {
        e.flag = a;
        e.freeRam = f;
        e.thermal = b;
        e.board = c;
    } else if (sscanf(m.c_str(), "Thermal temperature = %d ret = %d", &a, &b) >= 1) {
        e.thermal = a;
        if (has(m, " ret = "))
            e.thermalTagFound = b != 0;
    } else if (sscanf(m.c_str(), "Board temperature:(%d)", &a) == 1) {
        e.board = a;
    } else if (sscanf(m.c_str(), "sdsr BypassAlgo, m_sdsrController.getFlag() = %d", &a) == 1) {
        e.memoryRefusal = true;
        if (!e.flag)
            e.flag = a;
    } else if (starts(m, "open sdsr_version failed")) {
        e.versionFileUnreadable = true;
    } else if (starts(m, "odm version:")) {
        const size_t split = m.rfind(", data version:");
        if (split != std::string::npos) {
            e.storedVersion = m.substr(12, split - 12);
            e.fileVersion = m.substr(split + 15);
        }
    } else if (starts(m, "buf:") && has(m, " is access")) {
        ++e.modelsReadable;
    } else if (sscanf(m.c_str(), "modelName:%255s", text) == 1) {
        e.missingModel = text;
    } else if (sscanf(m.c_str(), "sdsr BypassAlgo,  isSameSdsrVersion = %d, isFileExist = %d", &a,
                      &b) == 2) {
        e.sameVersion = a;
        e.filesExist = b;
    } else if (sscanf(m.c_str(), "sdsrEnable: %d sdsrUi = %d sdsrTrigger = %d sdsrMode = %d", &a,
                      &b, &c, &d) == 4) {
        e.tagsEnable = a;
        e.ui = b;
        e.trigger = c;
        e.mode = d;
        e.versionInTags = after(m, "sdsrVersion = ");
    } else if (starts(m, "get orvane.ai.asd.SmartAE")) {
        e.smartAE = has(m, "successful");
    } else if (has(m, "less than the")) {
        e.smartAE = false;
        if (sscanf(m.c_str(), "%*s holds %d bytes", &a) == 1)
            e.smartAEBytes = a;
    } else if (sscanf(m.c_str(), "sdsrEnable: %d algoType = %d", &a, &b) == 2) {
        e.sceneEnable = a;
        e.algoType = b;
    } else if (sscanf(m.c_str(), "sdsr BypassAlgo, process count:%d", &a) == 1) {
        e.outstanding = a;
    } else if (starts(m, "update orvane.snapshot.stableDiffusionSREnable")) {
        e.tagWritten = true;
    } else if (sscanf(m.c_str(), "final sdsrEnable: %d", &a) == 1) {
        e.final = a;
    } else if (starts(m, "enable decision failed")) {
        e.failed = true;
    }
}

void LineRules::process(ProcessFacts& p, const std::string& m) {
    int a = 0, b = 0, c = 0, d = 0, e = 0, g = 0;
    double f = 0, h = 0;
    char text[256] = {0};
    if (starts(m, "dlopen sdsr ")) {
        p.handle = m.substr(12);
    } else if (starts(m, "sdsr dlerror() ")) {
        p.dlerror = m.substr(15);
    } else if (sscanf(m.c_str(), "PluginPerfLockManager  VoAcquirePerfLock for Algo, boost cpu %d",
                      &a) == 1 ||
               sscanf(m.c_str(), "PluginPerfLockManager  AcquirePerfLock, boost cpu %d", &a) == 1) {
        p.boostMs = a;
    } else if (starts(m, "VoaPerfLock create fail")) {
        p.boostFailed = true;
    } else if (has(m, "ReleasePerfLock")) {
        p.boostReleased = true;
    } else if (starts(m, "no ") && has(m, "buffer in the request")) {
        p.noBuffer = m;
    } else if (starts(m, "imgName:")) {
        p.imageName = m.substr(8);
    } else if (sscanf(m.c_str(), "format:%d sdsr dump:%d, bypass:%d", &a, &b, &c) == 3) {
        p.format = a;
        p.dump = b;
        p.bypass = c;
    } else if (sscanf(m.c_str(), "skip sdsr!  Going voCopyBuffer. checkformat = %d SdSrBypass = %d",
                      &a, &b) == 2) {
        p.checkFormat = a;
        p.skipBypass = b;
    } else if (starts(m, "sdsr library unusable")) {
        p.libraryUnusable = m;
    } else if (starts(m, "sdsr buffers unusable")) {
        p.buffersUnusable = m;
    } else if (has(m, "less than the")) {
        if (sscanf(m.c_str(), "%*s holds %d bytes", &a) == 1)
            p.smartAEBytes = a;
    } else if (starts(m, "sdsr_version:")) {
        p.libraryVersion = m.substr(13);
    } else if (starts(m, "sdsr version is different")) {
        p.versionDiffers = true;
    } else if (sscanf(m.c_str(),
                      "ui triggerType:%d preAlgoType:%d, sensorModeType:%d, lux_index:%lf, "
                      "SdSrPreAlgoType:%d SdSrSensorModeType:%d SdSrLuxIndex:%lf",
                      &a, &b, &c, &f, &d, &e, &h) == 7) {
        p.trigger = a;
        p.preAlgoType = b;
        p.sensorModeType = c;
        p.lux = f;
        p.propPreAlgoType = d;
        p.propSensorModeType = e;
        p.propLux = h;
    } else if (sscanf(m.c_str(),
                      "raw_type:%63[^,], size(%d,%d), stride:%d, zooratio:%lf, orientation:%d",
                      text, &a, &b, &c, &f, &g) == 6) {
        p.rawType = text;
        p.width = a;
        p.height = b;
        p.stride = c;
        p.zoom = f;
        p.orientation = g;
    } else if (sscanf(m.c_str(), "sdsr - DIPS init failed: %d", &a) == 1) {
        p.initCode = a;
    } else if (sscanf(m.c_str(), "sdsr init cost = %lf - ret = %d", &f, &a) == 2) {
        p.initMs = f;
        p.initCode = a;
    } else if (sscanf(m.c_str(), "sdsr run cost = %lf - ret = %d", &f, &a) == 2) {
        p.runMs = f;
        p.runCode = a;
    } else if (sscanf(m.c_str(), "sdsr - run failed: %d", &a) == 1) {
        p.runCode = a;
    } else if (sscanf(m.c_str(), "sdsr - Unit cost = %lf - ret = %d", &f, &a) == 2) {
        p.unitMs = f;
        p.unitCode = a;
    } else if (sscanf(m.c_str(), "finish m_processCount:%d m_sdsrProcessCount:%d", &a, &b) == 2) {
        p.processCount = a;
        p.outstandingAfter = b;
    } else if (starts(m, "request aborted")) {
        p.aborted = m;
    }
}

}  // namespace korasim::logread

// Attribution of the plugin's lines to plugin objects and captures, and the facts they carry.
// The plugin prints no request id, so a capture is rebuilt from the order of its lines: each
// line belongs to a step of isEnabled or processRequest, and a step that goes backwards starts
// the next capture of the same plugin object.
#include <cstdio>
#include <cstring>

#include "PluginLog.h"

namespace korasim::logread {
namespace {

constexpr const char* kPluginTag = "SDSR";
constexpr const char* kFrameworkTag = "VoAlgoEngine";

bool starts(const std::string& s, const char* prefix) {
    return s.compare(0, strlen(prefix), prefix) == 0;
}
bool has(const std::string& s, const char* part) {
    return s.find(part) != std::string::npos;
}
bool isAddress(const std::string& s) {
    if (s == "(nil)" || s == "0x0")
        return true;
    if (s.size() < 3 || !starts(s, "0x"))
        return false;
    return s.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}
std::string after(const std::string& s, const char* marker) {
    const size_t at = s.find(marker);
    return at == std::string::npos ? std::string() : s.substr(at + strlen(marker));
}

// isEnabled steps in the plugin's order (stage numbers only need to grow along a decision).
enum EnableStage {
    kPreAnchor = 1,
    kMemory = 2,
    kTemperatures = 3,
    kProbeLine = 4,
    kMemoryRefusal = 5,
    kVersion = 6,
    kModels = 7,
    kVersionRefusal = 8,
    kTags = 9,
    kSmartAE = 10,
    kScene = 11,
    kCount = 12,
    kTagWrite = 13,
    kFinal = 14,
};

// processRequest steps in the plugin's order.
enum ProcessStage {
    kBind = 1,
    kBoost = 2,
    kRequest = 3,
    kImageName = 4,
    kFormat = 5,
    kCopyCheck = 6,
    kLibraryVersion = 7,
    kVersionCopy = 8,
    kInitRecord = 9,
    kInit = 10,
    kRun = 11,
    kUnit = 12,
    kFinish = 13,
    kDebugInfo = 14,
    kRelease = 15,
};

bool isEnableTag(const std::string& tag) {
    return tag == "com.orvane.kora2.preAnchorProc" || tag == "orvane.thermal.thermalResult" ||
           tag == "orvane.ai.asd.sdsrui" || tag == "orvane.ai.asd.SDSRTrigger" ||
           tag == "com.orvane.stableDiffusionSR.mode";
}

// Lines that one decision or one request prints at most once: a second one starts the next
// capture even when no step went backwards (a refusal whose own line the gates hid).
// A request between its boost and the boost's release: framework lines may be the plugin's.
bool isOpen(int processStage) {
    return processStage >= kBoost && processStage < kRelease;
}

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

}  // namespace

// The rules that read one message; kept apart from the bookkeeping of objects and captures.
struct LineRules {
    // The enable step of a message, 0 when it is not an isEnabled line.
    static int enableStage(const std::string& m, bool processOpen) {
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

    static int processStage(const std::string& m) {
        if (starts(m, "dlopen sdsr") || starts(m, "sdsr dlerror()"))
            return kBind;
        if (starts(m, "add perflock") || has(m, "boost cpu") ||
            starts(m, "VoaPerfLock create fail"))
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

    static void enable(EnableFacts& e, const std::string& m) {
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
        } else if (sscanf(m.c_str(), "Thermal temperature = %d", &a) == 1) {
            e.thermal = a;
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
        } else if (sscanf(m.c_str(), "sdsr BypassAlgo,  isSameSdsrVersion = %d, isFileExist = %d",
                          &a, &b) == 2) {
            e.sameVersion = a;
            e.filesExist = b;
        } else if (sscanf(m.c_str(), "sdsrEnable: %d sdsrUi = %d sdsrTrigger = %d sdsrMode = %d",
                          &a, &b, &c, &d) == 4) {
            e.tagsEnable = a;
            e.ui = b;
            e.trigger = c;
            e.mode = d;
            e.versionInTags = after(m, "sdsrVersion = ");
        } else if (starts(m, "get orvane.ai.asd.SmartAE")) {
            e.smartAE = has(m, "successful");
        } else if (has(m, "less than the")) {
            e.smartAE = false;
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

    static void process(ProcessFacts& p, const std::string& m) {
        int a = 0, b = 0, c = 0, d = 0, e = 0, g = 0;
        double f = 0, h = 0;
        char text[256] = {0};
        if (starts(m, "dlopen sdsr ")) {
            p.handle = m.substr(12);
        } else if (starts(m, "sdsr dlerror() ")) {
            p.dlerror = m.substr(15);
        } else if (sscanf(m.c_str(),
                          "PluginPerfLockManager  VoAcquirePerfLock for Algo, boost cpu %d",
                          &a) == 1 ||
                   sscanf(m.c_str(), "PluginPerfLockManager  AcquirePerfLock, boost cpu %d", &a) ==
                       1) {
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
        } else if (sscanf(m.c_str(),
                          "skip sdsr!  Going voCopyBuffer. checkformat = %d SdSrBypass = %d", &a,
                          &b) == 2) {
            p.checkFormat = a;
            p.skipBypass = b;
        } else if (starts(m, "sdsr library unusable")) {
            p.libraryUnusable = m;
        } else if (starts(m, "sdsr buffers unusable")) {
            p.buffersUnusable = m;
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
        } else if (sscanf(m.c_str(), "finish m_processCount:%d m_sdsrProcessCount:%d", &a, &b) ==
                   2) {
            p.processCount = a;
            p.outstandingAfter = b;
        } else if (starts(m, "request aborted")) {
            p.aborted = m;
        }
    }
};

PluginLogReader::Process& PluginLogReader::process(int pid) {
    // Few processes write the plugin's lines: a short list beats a map here.
    for (auto& entry : m_processes) {
        if (entry.first == pid)
            return entry.second;
    }
    m_processes.emplace_back(pid, Process{});
    return m_processes.back().second;
}

int PluginLogReader::objectFor(int pid, const std::string& address, bool create) {
    Process& proc = process(pid);
    if (!address.empty()) {
        for (size_t i = m_objects.size(); i-- > 0;) {
            if (m_objects[i].pid == pid && m_objects[i].address == address && !m_objects[i].gone) {
                proc.current = static_cast<int>(i);
                return proc.current;
            }
        }
    } else if (!create && proc.current >= 0 && !m_objects[proc.current].gone) {
        return proc.current;
    }
    Object o;
    o.id = "#" + std::to_string(m_objects.size() + 1);
    o.address = address;
    o.pid = pid;
    m_objects.push_back(o);
    proc.current = static_cast<int>(m_objects.size() - 1);
    return proc.current;
}

Capture& PluginLogReader::newCapture(int object, const LogLine& line) {
    const Object& o = m_objects[object];
    Capture c;
    c.time = line.time;
    c.pid = line.pid;
    c.object = o.id;
    c.objectAddress = o.address;
    c.objectVersion = o.version;
    c.objectVersionFileMissing = o.versionFileMissing;
    if (m_gates) {
        char gates[64];
        snprintf(gates, sizeof(gates), "level %d, groups 0x%x", m_gates->level, m_gates->groups);
        c.hiddenBy = gates;
        c.debugLinesSeen = m_gates->level < 4 && (m_gates->groups & 2u) != 0;
    }
    m_captures.push_back(std::move(c));
    return m_captures.back();
}

// Creation, initialisation and destruction of plugin objects; true when the line was one.
bool PluginLogReader::lifecycle(const LogLine& line, const std::string& m) {
    const size_t versionAt = m.find(", sdsr_version:");
    if (versionAt != std::string::npos && isAddress(m.substr(0, versionAt))) {
        const int o = objectFor(line.pid, m.substr(0, versionAt), true);
        m_objects[o].version = m.substr(versionAt + 15);
        return true;
    }
    if (starts(m, "open ") && has(m, "sdsr_version.txt failed")) {
        const int o = objectFor(line.pid, "", true);
        m_objects[o].versionFileMissing = true;
        m_objects[o].version = std::string();
        return true;
    }
    if (starts(m, "initialize:")) {
        const size_t sp = m.find(' ');
        const std::string address = sp == std::string::npos ? "" : m.substr(sp + 1);
        // An object whose creation line named no address ("open ... failed!") gets it here.
        Process& proc = process(line.pid);
        if (!address.empty() && proc.current >= 0 && m_objects[proc.current].address.empty() &&
            !m_objects[proc.current].gone && m_objects[proc.current].lastEnable < 0 &&
            m_objects[proc.current].lastProcess < 0) {
            m_objects[proc.current].address = address;
            return true;
        }
        objectFor(line.pid, address, false);
        return true;
    }
    if (starts(m, " m_pNodeSdsrData->init() finish") || starts(m, "m_pNodeSdsrData is nullptr") ||
        starts(m, "copy of the node name failed") || starts(m, "create SdSrPlugin failed") ||
        has(m, "is not a number, keep")) {
        return true;
    }
    if (starts(m, "sdsr dlclose ")) {
        const std::string address = m.substr(13, m.find(' ', 13) - 13);
        objectFor(line.pid, address, false);
        return true;
    }
    if (isAddress(m)) {
        // "%p" at destroy and again in the destructor: the destructor's ends the object.
        Object& obj = m_objects[objectFor(line.pid, m, false)];
        ++obj.addressLines;
        if (line.function == "~SdSrPlugin" || (line.function.empty() && obj.addressLines >= 2))
            obj.gone = true;
        return true;
    }
    return false;
}

void PluginLogReader::unattributed(const LogLine& line) {
    ++m_unattributed;
    if (m_samples.size() < 5)
        m_samples.push_back(line.time + " " + std::to_string(line.pid) + " " + line.tag + ": " +
                            line.text.substr(0, 120));
}

void PluginLogReader::feed(LogLine line) {
    if (line.tag == "offline") {
        ++m_offline;
        return;
    }
    const bool plugin = line.tag == kPluginTag;
    if (!plugin && line.tag != kFrameworkTag) {
        ++m_foreign;
        return;
    }
    const std::string& m = line.message;
    Process& proc = process(line.pid);
    if (plugin && line.level == 'D')
        proc.debugSeen = true;

    // The framework tag carries lines of every plugin in the camera process: only the boost
    // and the metadata writes inside an open capture of this plugin are ours.
    if (!plugin) {
        const bool ours = has(m, "PluginPerfLockManager") || starts(m, "VoaPerfLock create fail") ||
                          starts(m, "update tagName = orvane.snapshot.stableDiffusionSREnable") ||
                          starts(m, "update tagName = orvane.multiframe.debugData");
        if (!ours || proc.current < 0) {
            ++m_foreign;
            return;
        }
        const Object& o = m_objects[proc.current];
        if (has(m, "PluginPerfLockManager") || starts(m, "VoaPerfLock")) {
            const bool open = o.lastProcess >= 0 &&
                              m_captures[o.lastProcess].process.stage >= kBoost &&
                              m_captures[o.lastProcess].process.stage < kRelease;
            const bool starting =
                o.lastProcess >= 0 && m_captures[o.lastProcess].process.stage == kBoost;
            if (!open && !starting) {
                ++m_foreign;
                return;
            }
        }
    }
    ++m_pluginLines;
    if (lifecycle(line, m))
        return;

    const int objectIndex = objectFor(line.pid, "", false);
    Object& obj = m_objects[objectIndex];
    const bool processOpen = obj.lastProcess >= 0 &&
                             m_captures[obj.lastProcess].process.stage >= kFormat &&
                             m_captures[obj.lastProcess].process.stage < kFinish;

    if (const int stage = LineRules::enableStage(m, processOpen)) {
        const bool pending = obj.lastEnable >= 0 && !m_captures[obj.lastEnable].enable.final &&
                             !m_captures[obj.lastEnable].enable.preAnchorProc &&
                             !m_captures[obj.lastEnable].enable.memoryRefusal &&
                             !m_captures[obj.lastEnable].enable.sameVersion &&
                             !m_captures[obj.lastEnable].enable.failed &&
                             stage >= m_captures[obj.lastEnable].enable.stage &&
                             (m_captures[obj.lastEnable].enable.onceSeen & onceBit(m)) == 0;
        if (!pending) {
            if (obj.lastEnable >= 0)
                m_captures[obj.lastEnable].enable.followed = true;
            newCapture(objectIndex, line);
            obj.lastEnable = static_cast<int>(m_captures.size() - 1);
        }
        Capture& c = m_captures[obj.lastEnable];
        c.enable.seen = true;
        c.enable.stage = std::max(c.enable.stage, stage);
        c.enable.onceSeen |= onceBit(m);
        ++c.lines;
        LineRules::enable(c.enable, m);
        return;
    }
    if (const int stage = LineRules::processStage(m)) {
        // Tags read for the init record or the debug record do not move the request on.
        if (starts(m, "MetaData not found for ") && obj.lastProcess >= 0 &&
            m_captures[obj.lastProcess].process.stage >= kFormat &&
            m_captures[obj.lastProcess].process.stage < kRelease) {
            ++m_captures[obj.lastProcess].lines;
            return;
        }
        bool same = obj.lastProcess >= 0 && m_captures[obj.lastProcess].process.stage <= stage &&
                    m_captures[obj.lastProcess].process.stage < kRelease &&
                    (m_captures[obj.lastProcess].process.onceSeen & onceBit(m)) == 0;
        // "dlopen" comes only with the first request; a bind line always opens a request.
        if (same && stage == kBind && m_captures[obj.lastProcess].process.stage > kBind)
            same = false;
        if (!same) {
            // The oldest capture of this object whose decision let it through; failing that,
            // the oldest whose answer the log does not show.
            int target = -1, unsure = -1;
            for (int i = obj.lastProcess + 1; i < static_cast<int>(m_captures.size()); ++i) {
                const Capture& c = m_captures[i];
                if (c.object != obj.id || c.pid != line.pid || c.process.seen)
                    continue;
                const bool refused = c.enable.preAnchorProc || c.enable.memoryRefusal ||
                                     c.enable.sameVersion || (c.enable.final == 0) ||
                                     c.enable.outstanding;
                const bool admitted = c.enable.tagWritten || c.enable.final == 1;
                if (admitted) {
                    target = i;
                    break;
                }
                if (!refused && unsure < 0)
                    unsure = i;
            }
            if (target < 0)
                target = unsure;
            if (target < 0) {
                newCapture(objectIndex, line);
                target = static_cast<int>(m_captures.size() - 1);
            }
            if (obj.lastProcess >= 0 && isOpen(m_captures[obj.lastProcess].process.stage))
                --m_openRequests;  // its end was lost
            obj.lastProcess = target;
        }
        Capture& c = m_captures[obj.lastProcess];
        c.process.seen = true;
        const bool wasOpen = isOpen(c.process.stage);
        c.process.stage = std::max(c.process.stage, stage);
        m_openRequests += int(isOpen(c.process.stage)) - int(wasOpen);
        c.process.onceSeen |= onceBit(m);
        ++c.lines;
        LineRules::process(c.process, m);
        return;
    }
    unattributed(line);
}

void PluginLogReader::feedText(std::string_view text) {
    std::optional<LogLine> line = parseLogcatLine(text);
    if (!line) {
        if (text.find(kPluginTag) != std::string_view::npos)
            ++m_unreadable;
        return;
    }
    splitPluginPrefix(*line);
    feed(std::move(*line));
}

void PluginLogReader::finish() {
    if (m_gates)
        return;
    for (Capture& c : m_captures) {
        for (const auto& entry : m_processes) {
            if (entry.first == c.pid) {
                c.debugLinesSeen = entry.second.debugSeen;
                if (!c.debugLinesSeen)
                    c.hiddenBy = "no D line of the plugin in pid " + std::to_string(c.pid) +
                                 ": level above 3 or group 2 closed";
            }
        }
    }
}

}  // namespace korasim::logread

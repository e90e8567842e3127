// Attribution of the plugin's lines to plugin objects and captures, and the facts they carry.
// The plugin prints no request id, so a capture is rebuilt from the order of its lines: each
// line belongs to a step of isEnabled or processRequest, and a step that goes backwards starts
// the next capture of the same plugin object. A caller that made the calls itself (korasim run)
// says which call printed the lines instead; the facts are read by the same rules either way.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "PluginLog.h"

#include "LineRules.h"

namespace korasim::logread {
namespace {

constexpr const char* kPluginTag = "SDSR";
constexpr const char* kFrameworkTag = "VoAlgoEngine";
// The plugin refuses at two outstanding requests; a log that hides the ends of requests could
// make the list grow, so it keeps the latest few.
constexpr size_t kMaxOutstanding = 8;

}  // namespace

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
    c.objectCreationSeen = o.creationSeen;
    for (const int earlier : o.outstanding)
        c.outstandingBefore.push_back(m_captures[earlier].time);
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
        m_objects[o].creationSeen = true;
        return true;
    }
    if (starts(m, "open ") && has(m, "sdsr_version.txt failed")) {
        const int o = objectFor(line.pid, "", true);
        m_objects[o].versionFileMissing = true;
        m_objects[o].version = std::string();
        m_objects[o].creationSeen = true;
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

// The framework tag carries lines of every plugin in the camera process: only the boost and the
// metadata writes inside an open capture of this plugin are ours.
bool PluginLogReader::frameworkLineIsOurs(const LogLine& line, const Process& proc) const {
    const std::string& m = line.message;
    const bool boost = has(m, "PluginPerfLockManager") || starts(m, "VoaPerfLock create fail");
    const bool ours = boost ||
                      starts(m, "update tagName = orvane.snapshot.stableDiffusionSREnable") ||
                      starts(m, "update tagName = orvane.multiframe.debugData");
    if (!ours || proc.current < 0)
        return false;
    if (!boost)
        return true;
    // A run knows its request printed the boost; a field log needs the request to be open.
    if (m_call == Call::ProcessRequest)
        return true;
    if (m_call != Call::Inferred)
        return false;
    const Object& o = m_objects[proc.current];
    if (o.lastProcess < 0)
        return false;
    const int stage = m_captures[o.lastProcess].process.stage;
    return stage >= kBoost && stage < kRelease;
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
    Process& proc = process(line.pid);
    if (plugin && line.level == 'D')
        proc.debugSeen = true;
    if (!plugin && !frameworkLineIsOurs(line, proc)) {
        ++m_foreign;
        return;
    }
    ++m_pluginLines;
    const std::string& m = line.message;
    if (lifecycle(line, m))
        return;

    const int object = objectFor(line.pid, "", false);
    bool taken = false;
    if (m_call == Call::Inferred) {
        taken = inferCall(object, line);
    } else if (m_call == Call::IsEnabled) {
        if (const int stage = LineRules::enableStage(m, false)) {
            addEnableLine(object, line, stage, m_callCapture < 0);
            taken = true;
        }
    } else if (m_call == Call::ProcessRequest) {
        if (const int stage = LineRules::processStage(m)) {
            addProcessLine(object, line, stage, m_callCapture < 0);
            taken = true;
        }
    }
    if (!taken)
        unattributed(line);
}

// Whether an isEnabled line of a field log starts the next decision of the object: the last one
// ended, a step went backwards, or a line printed once per decision came again.
bool PluginLogReader::enableStarts(const Object& obj, const std::string& m, int stage) const {
    if (obj.lastEnable < 0)
        return true;
    const EnableFacts& e = m_captures[obj.lastEnable].enable;
    const bool ended = e.final || e.preAnchorProc || e.memoryRefusal || e.sameVersion || e.failed;
    return ended || stage < e.stage || (e.onceSeen & onceBit(m)) != 0;
}

// The same for a processRequest line and the object's last request.
bool PluginLogReader::requestStarts(const Object& obj, const std::string& m, int stage) const {
    if (obj.lastProcess < 0)
        return true;
    const ProcessFacts& p = m_captures[obj.lastProcess].process;
    if (p.stage > stage || p.stage >= kRelease || (p.onceSeen & onceBit(m)) != 0)
        return true;
    // "dlopen" comes only with the first request; a bind line always opens a request.
    return stage == kBind && p.stage > kBind;
}

// The oldest capture of this object whose decision let it through; failing that, the oldest
// whose answer the log does not show; -1 when there is neither.
int PluginLogReader::admittedCapture(const Object& obj, int pid) const {
    int unsure = -1;
    for (int i = obj.lastProcess + 1; i < static_cast<int>(m_captures.size()); ++i) {
        const Capture& c = m_captures[i];
        if (c.object != obj.id || c.pid != pid || c.process.seen)
            continue;
        const bool refused = c.enable.preAnchorProc || c.enable.memoryRefusal ||
                             c.enable.sameVersion || (c.enable.final == 0) || c.enable.outstanding;
        const bool admitted = c.enable.tagWritten || c.enable.final == 1;
        if (admitted)
            return i;
        if (!refused && unsure < 0)
            unsure = i;
    }
    return unsure;
}

// A field log: the order of the lines tells which call printed them.
bool PluginLogReader::inferCall(int object, const LogLine& line) {
    const std::string& m = line.message;
    const Object& obj = m_objects[object];
    const bool processOpen = obj.lastProcess >= 0 &&
                             m_captures[obj.lastProcess].process.stage >= kFormat &&
                             m_captures[obj.lastProcess].process.stage < kFinish;
    if (const int stage = LineRules::enableStage(m, processOpen)) {
        addEnableLine(object, line, stage, enableStarts(obj, m, stage));
        return true;
    }
    const int stage = LineRules::processStage(m);
    if (stage == 0)
        return false;
    // Tags read for the init record or the debug record do not move the request on.
    if (starts(m, "MetaData not found for ") && obj.lastProcess >= 0 &&
        m_captures[obj.lastProcess].process.stage >= kFormat &&
        m_captures[obj.lastProcess].process.stage < kRelease) {
        ++m_captures[obj.lastProcess].lines;
        m_callCapture = obj.lastProcess;
        support(m_captures[obj.lastProcess], line);
        return true;
    }
    addProcessLine(object, line, stage, requestStarts(obj, m, stage));
    return true;
}

void PluginLogReader::addEnableLine(int object, const LogLine& line, int stage, bool starts) {
    if (starts) {
        if (m_objects[object].lastEnable >= 0)
            m_captures[m_objects[object].lastEnable].enable.followed = true;
        newCapture(object, line);
        m_objects[object].lastEnable = static_cast<int>(m_captures.size() - 1);
    }
    m_callCapture = m_objects[object].lastEnable;
    Capture& c = m_captures[m_callCapture];
    c.enable.seen = true;
    c.enable.stage = std::max(c.enable.stage, stage);
    c.enable.onceSeen |= onceBit(line.message);
    ++c.lines;
    c.stamps.push_back({line.time, m_pluginLines, false, stage});
    LineRules::enable(c.enable, line.message);
    support(c, line);
    countOutstanding(object, m_callCapture);
}

void PluginLogReader::addProcessLine(int object, const LogLine& line, int stage, bool starts) {
    Object& obj = m_objects[object];
    if (starts) {
        int target = admittedCapture(obj, line.pid);
        if (target < 0) {
            newCapture(object, line);
            target = static_cast<int>(m_captures.size() - 1);
        }
        if (obj.lastProcess >= 0 && isOpen(m_captures[obj.lastProcess].process.stage))
            --m_openRequests;  // its end was lost
        obj.lastProcess = target;
    }
    m_callCapture = obj.lastProcess;
    Capture& c = m_captures[m_callCapture];
    c.process.seen = true;
    const bool wasOpen = isOpen(c.process.stage);
    c.process.stage = std::max(c.process.stage, stage);
    m_openRequests += int(isOpen(c.process.stage)) - int(wasOpen);
    c.process.onceSeen |= onceBit(line.message);
    ++c.lines;
    c.stamps.push_back({line.time, m_pluginLines, true, stage});
    LineRules::process(c.process, line.message);
    support(c, line);
    countOutstanding(object, m_callCapture);
}

void PluginLogReader::support(Capture& c, const LogLine& line) {
    if (!m_keepLines)
        return;
    if (c.supporting.size() >= kMaxSupportingLines) {
        ++c.supportingDropped;
        return;
    }
    SupportingLine kept;
    kept.source = static_cast<int>(m_sources.size()) - 1;
    kept.number = line.lineNumber;
    kept.text = (line.time.empty() ? std::string() : line.time + " ") + line.level + " " +
                line.tag + ": " + line.text.substr(0, kMaxSupportingText);
    c.supporting.push_back(std::move(kept));
}

// The plugin counts a request from its admission to the end of a successful run (the "finish"
// line); a request that failed or was copied stays counted for the life of the object, and two
// such refuse every later decision. The reader keeps the same count per object.
void PluginLogReader::countOutstanding(int object, int index) {
    Capture& c = m_captures[index];
    std::vector<int>& outstanding = m_objects[object].outstanding;
    const bool admitted = c.enable.tagWritten || c.enable.final == 1 || c.process.seen;
    if (admitted && !c.admissionCounted) {
        c.admissionCounted = true;
        outstanding.push_back(index);
        if (outstanding.size() > kMaxOutstanding)
            outstanding.erase(outstanding.begin());
    }
    if (c.process.processCount && !c.finishCounted) {
        c.finishCounted = true;
        outstanding.erase(std::remove(outstanding.begin(), outstanding.end(), index),
                          outstanding.end());
    }
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

// Attribution of the plugin's lines to plugin objects and captures, and the facts they carry.
// The plugin prints no request id, so a capture is rebuilt from the order of its lines: each
// line belongs to a step of isEnabled or processRequest, and a step that goes backwards starts
// the next capture of the same plugin object.
#include <cstdio>
#include <cstring>

#include "PluginLog.h"

#include "LineRules.h"

namespace korasim::logread {
namespace {

constexpr const char* kPluginTag = "SDSR";
constexpr const char* kFrameworkTag = "VoAlgoEngine";

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

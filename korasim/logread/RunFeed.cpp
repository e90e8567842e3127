#include "RunFeed.h"

namespace korasim::logread {

using nlohmann::json;

void RunFeed::created(const std::string& plugin) {
    m_readers[plugin] = PluginLogReader();
    m_readers[plugin].setGates(m_gates);
}

void RunFeed::feed(const std::string& plugin, Call call,
                   const std::vector<korahost::LogRecord>& logs) {
    auto it = m_readers.find(plugin);
    if (it == m_readers.end()) {
        created(plugin);
        it = m_readers.find(plugin);
    }
    it->second.beginCall(call);
    for (const auto& r : logs) {
        // Each statement reaches up to two channels; the online one is the logcat line.
        if (r.channel != korahost::LogChannel::Online)
            continue;
        LogLine line;
        line.pid = r.pid;
        line.tid = r.tid;
        line.level = r.level;
        line.tag = r.tag;
        line.text = r.text;
        line.function = r.function;
        line.message = r.message;
        it->second.feed(std::move(line));
    }
}

const Capture* RunFeed::latest(const std::string& plugin) const {
    const auto it = m_readers.find(plugin);
    if (it == m_readers.end() || it->second.callCapture() < 0)
        return nullptr;
    return &it->second.captures().at(static_cast<size_t>(it->second.callCapture()));
}

json RunFeed::decision(const std::string& plugin, bool answer) const {
    const Capture* c = latest(plugin);
    json d;
    if (c != nullptr && c->enable.seen) {
        d = enableJson(*c);
    } else {
        d = {{"answer", "unknown"}, {"reason", nullptr}, {"text", ""}, {"checks", json::array()}};
    }
    // The call's own answer is known here; the reason still comes only from the lines.
    const std::string wanted = answer ? "enabled" : "disabled";
    if (d["answer"] != wanted) {
        d["answer"] = wanted;
        if (!answer) {
            char gates[64];
            snprintf(gates, sizeof(gates), "level %d, groups 0x%x", m_gates.level, m_gates.groups);
            d["reason"] = "unknown";
            const std::string text = d["text"];
            if (text.find("hidden by log gates") == std::string::npos)
                d["text"] = std::string("hidden by log gates (") + gates + ")";
        } else {
            d["reason"] = nullptr;
            d["text"] = "enabled";
        }
    }
    return d;
}

json RunFeed::process(const std::string& plugin) const {
    const Capture* c = latest(plugin);
    if (c == nullptr || !c->process.seen) {
        char gates[64];
        snprintf(gates, sizeof(gates), "level %d, groups 0x%x", m_gates.level, m_gates.groups);
        return {{"path", "unknown"}, {"text", std::string("hidden by log gates (") + gates + ")"}};
    }
    return processJson(*c);
}

std::string decisionSummary(const json& decision) {
    if (decision["answer"] == "enabled")
        return "answer true";
    return "answer false (" + decision["reason"].get<std::string>() + ": " +
           decision["text"].get<std::string>() + ")";
}

}  // namespace korasim::logread

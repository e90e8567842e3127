// Runs one session: loads the plugin as the framework does, drives the steps, and closes the
// session. The step bodies that need more room live in RunnerRequest.cpp and RunnerReport.cpp.
#include "run/Runner.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "DevicePaths.h"
#include "VoMetadata.h"
#include "common/ExitGuard.h"
#include "run/ElfSoname.h"
#include "run/MetadataValues.h"
#include "run/RunHeader.h"
#include "run/RunState.h"

namespace fs = std::filesystem;

namespace korasim {

namespace {

int32_t processingTime(void* owner, uint64_t) {
    return owner != nullptr ? *static_cast<const int32_t*>(owner) : 0;
}

}  // namespace

void Runner::Impl::load() {
    sessionStart = std::chrono::steady_clock::now();
    const int64_t wallStartUs = std::chrono::duration_cast<std::chrono::microseconds>(
                                    std::chrono::system_clock::now().time_since_epoch())
                                    .count();
    korahost::resetObservations();
    korahost::clearProperties();
    for (const auto& p : session.properties)
        korahost::setProperty(p.first, p.second);
    const LogGates& g = session.log;
    korahost::setLogGates(g.level, g.groups, g.offlineLevel, g.offlineGroups, g.debugMask);
    feed.setGates(logread::Gates{g.level, g.groups});
    korahost::setLogEcho(false);
    if (options.logcat)
        echo = std::make_unique<LogEcho>(
            std::make_shared<const LogcatFormat>(options.logcatFormat, options.logcatFilter),
            options.channel);
    korahost::setMetadataWriteRecording(true);

    if (options.libDir.empty())
        options.libDir = hostkit::libraryDir();
    if (options.pluginPath.empty())
        options.pluginPath = hostkit::pluginPath();
    root = std::make_unique<DeviceRoot>(options.root);
    libraries = std::make_unique<SubstituteLibraries>(options.libDir);

    current = session.device;
    if (*current.algorithm->library == "scripted")
        libraries->scripted("device.algorithm").reset();
    applyDevice(*root, *libraries, current, session.device, "device");
    dumpsBefore = root->tree().files(hostkit::kDumpDir);

    report = json::object();
    report["korasim"] = 1;
    report["session"] = options.sessionName;
    report["plugin"] = options.pluginPath;
    report["libraryDir"] = options.libDir;
    // A temporary tree is removed when korasim ends: the report names only a tree that stays.
    report["root"] = root->temporary() ? json(nullptr) : json(root->tree().root());
    report["properties"] = session.properties;
    report["device"] = deviceSummary(session.device);
    report["logGates"] = logGatesJson(session.log);
    report["startTimeUs"] = wallStartUs;
    report["steps"] = json::array();

    const auto start = std::chrono::steady_clock::now();
    json loadJson;
    loader = std::make_unique<hostkit::PluginLoader>(options.pluginPath);
    const std::string error = loader->error();
    PluginWraperProvider* provider = loader->provider();
    const double ms = elapsedMs(start);
    loadJson["ok"] = error.empty();
    loadJson["soname"] = elfSoname(options.pluginPath);
    if (!error.empty())
        loadJson["error"] = error;
    if (provider != nullptr) {
        loadJson["provider"] = {{"name", provider->getName()},
                                {"type", provider->plumaGetType()},
                                {"version", provider->getVersion()}};
    }
    loadJson["startUs"] = offsetUs(sessionStart, start);
    loadJson["durationMs"] = ms;
    json logs = json::array();
    for (const auto& r : korahost::takeLogs())
        logs.push_back(logJson(r));
    loadJson["log"] = logs;
    report["load"] = loadJson;
    summary.push_back(error.empty() ? "load: " + fs::path(options.pluginPath).filename().string() +
                                          " loaded, provider \"" + provider->getName() + "\", " +
                                          std::to_string(logs.size()) + " log lines"
                                    : "load: " + error);
    if (!error.empty())
        throw std::runtime_error(error);
}

std::string Runner::Impl::initializeStep(const Step& s, Slot& slot, json& out) {
    CreateInfo info{};
    info.nodeName = s.nodeName;
    info.cameraId = s.nodeValue;
    VoaNodeInterface node{};
    if (s.processingTimeMs) {
        slot.processingTimeMs = *s.processingTimeMs;
        node.owner = &slot.processingTimeMs;
        node.getProcessingTime = processingTime;
    }
    const int ret = slot.object->initialize(&info, node);
    out["return"] = ret;
    return "return " + std::to_string(ret);
}

// The metadata of an enable query: its own, or that of the next request of the same object.
std::shared_ptr<VoMetadata> Runner::Impl::enableMetadata(size_t index, const Step& s) {
    if (!s.metadataFromNextRequest)
        return buildMetadata(s.metadata, s.path + ".metadata");
    for (size_t j = index + 1; j < session.steps.size(); ++j) {
        const Step& next = session.steps[j];
        if (next.kind == StepKind::ProcessRequest && next.plugin == s.plugin)
            return firstInputMetadata(j);
    }
    return nullptr;
}

std::string Runner::Impl::isEnabledStep(size_t index, const Step& s, Slot& slot, json& out,
                                        std::vector<korahost::LogRecord>& logs) {
    const std::shared_ptr<VoMetadata> meta = enableMetadata(index, s);
    labels.clear();
    labels[meta.get()] = "metadata";
    VoaParams params{};
    params.metadata = meta;
    params.requestKey = s.requestKey;
    params.frameNumber = s.frameNumber;
    korahost::takeMetadataWrites();
    const bool answer = slot.object->isEnabled(params);
    slot.lastEnabled = answer;
    out["answer"] = answer;
    logs = korahost::takeLogs();
    feed.feed(s.plugin, logread::Call::IsEnabled, logs);
    const json decision = feed.decision(s.plugin, answer);
    out["reason"] = decision["reason"];
    out["decision"] = decision;
    return logread::decisionSummary(decision);
}

std::string Runner::Impl::setDeviceStep(const Step& s, json& out) {
    const auto changed = applyDevice(*root, *libraries, current, s.device, s.path + ".device");
    out["changed"] = changed;
    std::string list;
    for (const auto& c : changed)
        list += (list.empty() ? "" : ", ") + c;
    return "changed " + list;
}

// Runs one step against its plugin object; returns the facts of its summary line. `logs`
// receives the lines an isEnabled or processRequest step read itself.
std::string Runner::Impl::dispatchStep(size_t index, const Step& s, json& out,
                                       std::vector<korahost::LogRecord>& logs) {
    if (s.kind == StepKind::SetDevice)
        return setDeviceStep(s, out);
    Slot& slot = slots[s.plugin];
    switch (s.kind) {
        case StepKind::Create:
            feed.created(s.plugin);
            slot.object = loader->create();
            slot.lastEnabled = false;
            out["created"] = slot.object != nullptr;
            return slot.object ? "created" : "provider returned null";
        case StepKind::Initialize:
            return initializeStep(s, slot, out);
        case StepKind::IsEnabled:
            return isEnabledStep(index, s, slot, out, logs);
        case StepKind::ProcessRequest:
            if (s.ifEnabled && !slot.lastEnabled) {
                out["skipped"] = true;
                return "skipped: the last isEnabled did not answer true";
            }
            return processRequest(index, s, slot, out, logs);
        case StepKind::Flush: {
            FlushRequestInfo info{s.requestKey, s.flushAll};
            const int ret = slot.object->flushRequest(&info);
            out["return"] = ret;
            return "return " + std::to_string(ret);
        }
        case StepKind::Destroy:
            slot.object->destroy();
            return "destroyed";
        case StepKind::Delete:
            slot.object.reset();
            slots.erase(s.plugin);
            return "deleted";
        case StepKind::SetDevice:
            break;
    }
    return "";
}

void Runner::Impl::runStep(size_t index) {
    const Step& s = session.steps[index];
    const std::string whose = s.kind == StepKind::SetDevice ? "" : " (plugin " + s.plugin + ")";
    setCurrentStep("running " + s.path + " " + stepKindName(s.kind) + whose);
    if (echo)
        LogEcho::marker(s.path + " " + stepKindName(s.kind) + whose);
    json out;
    out["index"] = index;
    out["do"] = stepKindName(s.kind);
    if (s.kind != StepKind::SetDevice)
        out["plugin"] = s.plugin;
    std::vector<korahost::LogRecord> logs;
    const auto start = std::chrono::steady_clock::now();
    const std::string facts = dispatchStep(index, s, out, logs);
    if (!out.contains("durationMs")) {
        out["startUs"] = offsetUs(sessionStart, start);
        out["durationMs"] = elapsedMs(start);
    }
    // A request that ran collected its own observations; every other step's are collected here.
    const bool requestRan = s.kind == StepKind::ProcessRequest && !out.contains("skipped");
    if (!requestRan) {
        if (logs.empty()) {
            logs = korahost::takeLogs();
            if (s.kind != StepKind::SetDevice && s.kind != StepKind::IsEnabled)
                feed.feed(s.plugin, logread::Call::Lifecycle, logs);
        }
        std::vector<korahost::ExifWriterLog> exif = korahost::takeExifWriters();
        collectCommon(out, logs, exif, false);
    }
    report["steps"].push_back(out);

    char head[96];
    snprintf(head, sizeof(head), "[%zu] %-14s %-8s ", index, stepKindName(s.kind),
             s.kind == StepKind::SetDevice ? "" : s.plugin.c_str());
    summary.push_back(std::string(head) + facts + " (" + fixed(out["durationMs"], 1) + " ms)");
}

void Runner::Impl::finish() {
    setCurrentStep("deleting the plugin objects left at the end");
    json end;
    json left = json::array();
    for (auto& slot : slots) {
        left.push_back(slot.first);
        slot.second.object.reset();
    }
    slots.clear();
    end["deletedPlugins"] = left;
    json logs = json::array();
    for (const auto& r : korahost::takeLogs())
        logs.push_back(logJson(r));
    end["log"] = logs;
    report["end"] = end;
    report["stepsRun"] = report["steps"].size();
    if (!left.empty()) {
        summary.push_back("end: deleted " + std::to_string(left.size()) +
                          " plugin object(s) the session left alive");
    }
    // The providers' code lives in the plugin library: they go before it is unloaded.
    loader->manager().clear();
    setCurrentStep("finishing");
}

Runner::Runner(Session session, RunOptions options)
    : m_impl(std::make_unique<Impl>(std::move(session), std::move(options), m_report, m_summary)) {}

Runner::~Runner() = default;

void Runner::setProcessedCallback(std::function<void(const ProcessedRequest&)> callback) {
    m_impl->processed = std::move(callback);
}

void Runner::run() {
    if (!m_impl->options.outDir.empty()) {
        std::error_code ec;
        fs::create_directories(m_impl->options.outDir, ec);
        if (!fs::is_directory(m_impl->options.outDir)) {
            throw std::runtime_error("cannot create the output directory " +
                                     m_impl->options.outDir);
        }
    }
    m_impl->load();
    for (size_t i = 0; i < m_impl->session.steps.size(); ++i)
        m_impl->runStep(i);
    m_impl->finish();
}

}  // namespace korasim

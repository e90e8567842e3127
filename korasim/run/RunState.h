// The runner's state while it drives a session, shared by its files: Runner.cpp (load, steps,
// end), RequestStep.cpp (a processRequest step and its buffers) and StepObservations.cpp (what a
// step observed, as report JSON).
#pragma once

#include <stdint.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "PluginLoader.h"
#include "PluginWraper.h"
#include "Provider.h"
#include "common/Hex.h"
#include "device/Device.h"
#include "korahost/HostControl.h"
#include "logread/RunFeed.h"
#include "run/LogcatEcho.h"
#include "run/Runner.h"

namespace korasim {

using nlohmann::json;

// `value` with `decimals` decimals, for the summary lines.
std::string fixed(double value, int decimals);
double elapsedMs(std::chrono::steady_clock::time_point start);
// Microseconds from `origin` to `moment`: where a step starts on the session's timeline.
int64_t offsetUs(std::chrono::steady_clock::time_point origin,
                 std::chrono::steady_clock::time_point moment);
json logJson(const korahost::LogRecord& r);
// The buffer the plugin works on: the first of the lowest port.
size_t primaryIndex(const std::vector<BufferSpec>& buffers);

struct Runner::Impl {
    struct Slot {
        std::unique_ptr<PluginWraper> object;
        bool lastEnabled = false;
        int32_t processingTimeMs = 0;
    };

    Session session;
    RunOptions options;
    std::unique_ptr<DeviceRoot> root;
    std::unique_ptr<SubstituteLibraries> libraries;
    DeviceSpec current;
    // Declared before the plugin objects, so that they are deleted before it is unloaded.
    std::unique_ptr<hostkit::PluginLoader> loader;
    std::map<std::string, Slot> slots;
    // Every plugin object's lines, read as explain reads a device log.
    logread::RunFeed feed;
    size_t scriptedSeen = 0;
    // Metadata of a request's first input, built early for the enable query before it.
    std::map<size_t, std::shared_ptr<VoMetadata>> earlyMetadata;
    std::function<void(const ProcessedRequest&)> processed;
    std::map<std::string, hostkit::DeviceTree::FileState> dumpsBefore;
    // Labels of containers and planes the plugin may mention.
    std::map<const void*, std::string> labels;
    std::unique_ptr<LogEcho> echo;  // with --logcat
    // The session's start: steps report their start from here ("startUs"), the report holds
    // the wall clock of the same moment ("startTimeUs") for the wall-clock observations.
    std::chrono::steady_clock::time_point sessionStart;

    json& report;
    std::vector<std::string>& summary;

    Impl(Session s, RunOptions o, json& r, std::vector<std::string>& sum)
        : session(std::move(s)), options(std::move(o)), report(r), summary(sum) {}

    std::string label(const void* p) const {
        if (p == nullptr)
            return "null";
        auto it = labels.find(p);
        return it != labels.end() ? it->second : hexNumber(reinterpret_cast<uintptr_t>(p));
    }

    void load();
    void runStep(size_t index);
    void finish();

    // One step of each kind (Runner.cpp); each returns the facts of the step's summary line.
    std::string dispatchStep(size_t index, const Step& s, json& out,
                             std::vector<korahost::LogRecord>& logs);
    std::string initializeStep(const Step& s, Slot& slot, json& out);
    std::shared_ptr<VoMetadata> enableMetadata(size_t index, const Step& s);
    std::string isEnabledStep(size_t index, const Step& s, Slot& slot, json& out,
                              std::vector<korahost::LogRecord>& logs);
    std::string setDeviceStep(const Step& s, json& out);

    // What a step observed, section by section (StepObservations.cpp).
    json metadataWritesJson(json& step);
    json algorithmCallsJson();
    json newDumpsJson();
    json collectCommon(json& step, std::vector<korahost::LogRecord>& logs,
                       std::vector<korahost::ExifWriterLog>& exif, bool always);
    // A processRequest step (RequestStep.cpp).
    struct RequestBuffers {
        std::vector<std::unique_ptr<YuvImage>> inputs, outputs;
        std::vector<VoBufferAccessType> inMarkers, outMarkers;
    };
    std::string processRequest(size_t index, const Step& s, Slot& slot, json& out,
                               std::vector<korahost::LogRecord>& logs);
    void buildBuffers(size_t index, const Step& s, bool input, RequestBuffers& buffers,
                      VoBufferMap& map);
    json inputsJson(const Step& s, const RequestBuffers& buffers,
                    const std::vector<std::string>& shaBefore);
    json outputsJson(size_t index, const Step& s, const RequestBuffers& buffers,
                     bool& primaryEqualsInput);
    json requestPath(const Step& s, const std::vector<korahost::LogRecord>& logs,
                     const std::vector<korahost::ExifWriterLog>& exif, bool primaryEqualsInput,
                     json& out);
    std::shared_ptr<VoMetadata> firstInputMetadata(size_t processIndex);
};

}  // namespace korasim

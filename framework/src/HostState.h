// Process-wide state of the host framework: captured logs and every observation korahost
// exposes. One instance, created on first use so it exists before any plugin's static
// constructors log.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "korahost/HostControl.h"

namespace korahost {
namespace detail {

struct HostState {
    std::mutex lock;

    // Logs
    bool logCapture = true;
    bool logEcho = false;
    int encryptCatchResult = 0;
    std::vector<LogRecord> logs;
    std::map<int, std::function<void(const LogRecord&)>> logListeners;
    int nextListenerId = 1;
    // Whether anything takes log lines (capture, echo or a listener); kept up to date under
    // `lock` and read without it, so that lines nobody takes cost only their formatting.
    std::atomic<bool> logWanted{true};

    // Properties
    std::map<std::string, std::string> properties;

    // Perf
    bool perfCreationFails = false;
    std::vector<PerfEvent> perfEvents;
    int livePerfLocks = 0;

    // Controller
    std::map<std::string, int> controllerFlags;

    // EXIF
    std::vector<ExifWriterLog> exifWriters;
    std::map<uint64_t, std::vector<ExifRecord>> publishedExif;

    // DFX
    std::vector<DfxReport> dfxReports;

    // Metadata writes
    std::atomic<bool> recordMetadataWrites{false};
    std::vector<MetadataWrite> metadataWrites;
};

HostState& state();
// Recomputes HostState::logWanted; call with HostState::lock held.
void updateLogWanted(HostState& s);
int64_t nowUs();
// The same clock read without gettimeofday, for observations made inside the plugin's timed
// sections: a test that scripts the plugin's clock through gettimeofday sees no extra call.
int64_t realtimeUs();
// Hands one log record to the sink, the listeners and the echo.
void emitLog(LogRecord&& record);

}  // namespace detail
}  // namespace korahost

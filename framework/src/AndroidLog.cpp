// The log capture behind both log channels. The online channel is Android's own liblog: at load
// the host framework installs a logger in it and lowers its minimum priority to verbose, so that
// every record of the process (plugin statements and raw __android_log_print lines alike)
// reaches the capture with its priority and tag.
#include <android/log.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "HostState.h"
#include "LogContext.h"
#include "VoLog.h"

namespace korahost {
namespace detail {

namespace {
thread_local PendingContext tPending{};
}

void setPendingContext(uint32_t group, const char* file, int line, const char* function,
                       char level) {
    tPending = PendingContext{true, group, file, line, function, level};
}

PendingContext takePendingContext() {
    PendingContext taken = tPending;
    tPending.valid = false;
    return taken;
}

std::string formatV(const char* fmt, va_list args) {
    if (fmt == nullptr)
        return std::string();
    char small[512];
    va_list copy;
    va_copy(copy, args);
    const int needed = vsnprintf(small, sizeof(small), fmt, copy);
    va_end(copy);
    if (needed < 0)
        return std::string();
    if (size_t(needed) < sizeof(small))
        return std::string(small, size_t(needed));
    std::string big(size_t(needed) + 1, '\0');
    vsnprintf(&big[0], big.size(), fmt, args);
    big.resize(size_t(needed));
    return big;
}

int priorityOfLevel(char level) {
    switch (level) {
        case 'V':
            return ANDROID_LOG_VERBOSE;
        case 'D':
            return ANDROID_LOG_DEBUG;
        case 'I':
            return ANDROID_LOG_INFO;
        case 'W':
            return ANDROID_LOG_WARN;
        case 'E':
            return ANDROID_LOG_ERROR;
        case 'F':
            return ANDROID_LOG_FATAL;
        default:
            return ANDROID_LOG_DEFAULT;
    }
}

char levelOfPriority(int priority) {
    switch (priority) {
        case ANDROID_LOG_VERBOSE:
            return 'V';
        case ANDROID_LOG_DEBUG:
            return 'D';
        case ANDROID_LOG_INFO:
            return 'I';
        case ANDROID_LOG_WARN:
            return 'W';
        case ANDROID_LOG_ERROR:
            return 'E';
        case ANDROID_LOG_FATAL:
            return 'F';
        default:
            return '?';
    }
}

void updateLogWanted(HostState& s) {
    s.logWanted.store(s.logCapture || s.logEcho || !s.logListeners.empty());
}

bool logWanted() {
    return state().logWanted.load(std::memory_order_relaxed);
}

int formatDropped(const char* fmt, va_list args) {
    if (fmt == nullptr)
        return 0;
    char text[1024];
    return vsnprintf(text, sizeof(text), fmt, args);
}

void emitLog(LogRecord&& record) {
    record.timeUs = nowUs();
    record.uid = int(getuid());
    record.pid = int(getpid());
    record.tid = int(syscall(SYS_gettid));
    HostState& s = state();
    std::vector<std::function<void(const LogRecord&)>> listeners;
    bool echo;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        echo = s.logEcho;
        for (const auto& entry : s.logListeners)
            listeners.push_back(entry.second);
        if (!s.logCapture && listeners.empty() && !echo)
            return;
    }
    for (const auto& listener : listeners)
        listener(record);
    if (echo) {
        const std::string line = formatThreadtime(record);
        fprintf(stderr, "%s\n", line.c_str());
    }
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.logCapture)
        s.logs.push_back(std::move(record));
}

}  // namespace detail

using detail::state;

void setLogCapture(bool enabled) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().logCapture = enabled;
    detail::updateLogWanted(state());
}

std::vector<LogRecord> takeLogs() {
    std::lock_guard<std::mutex> guard(state().lock);
    return std::move(state().logs);
}

void clearLogs() {
    std::lock_guard<std::mutex> guard(state().lock);
    state().logs.clear();
}

void setLogEcho(bool enabled) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().logEcho = enabled;
    detail::updateLogWanted(state());
}

int addLogListener(std::function<void(const LogRecord&)> listener) {
    std::lock_guard<std::mutex> guard(state().lock);
    const int id = state().nextListenerId++;
    state().logListeners[id] = std::move(listener);
    detail::updateLogWanted(state());
    return id;
}

void removeLogListener(int id) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().logListeners.erase(id);
    detail::updateLogWanted(state());
}

void setEncryptCatchResult(int result) {
    std::lock_guard<std::mutex> guard(state().lock);
    state().encryptCatchResult = result;
}

void setLogGates(int32_t level, uint32_t groups, int32_t offlineLevel, uint32_t offlineGroups,
                 int32_t debugMask) {
    vodebug::gVoCamLogLevel = level;
    vodebug::gVoCamLogGroup = groups;
    vodebug::gVoCamOfflineLogLevel = offlineLevel;
    vodebug::gVoCamOfflineLogGroup = offlineGroups;
    vodebug::gVoCamDebugMask = debugMask;
}

void openAllLogGates() {
    setLogGates(0, 0xFFFFFFFFu, 0, 0xFFFFFFFFu, 1);
}

}  // namespace korahost

namespace korahost {
namespace detail {
namespace {

// The statement's context (group, file, line, function) is the one its catchLogEncryptLog call
// left pending on this thread, provided its level is this record's priority: a context whose line
// never reached the logger must not be pinned on the next raw line.
bool contextFits(const PendingContext& context, int priority) {
    return context.valid && priorityOfLevel(context.level) == priority;
}

// One online record into the sink.
void emitOnline(int priority, const char* tag, const PendingContext& context, const char* text) {
    LogRecord record{};
    record.channel = LogChannel::Online;
    record.priority = priority;
    record.level = levelOfPriority(priority);
    record.tag = tag ? tag : "";
    record.text = text ? text : "";
    record.message = record.text;
    if (contextFits(context, priority)) {
        record.group = context.group;
        record.file = context.file ? context.file : "";
        record.line = context.line;
        record.function = context.function ? context.function : "";
        // The statement's prefix "GROUP file:line function()" is not part of its message.
        char prefix[512];
        const int length = snprintf(prefix, sizeof(prefix), "%s %s:%d %s()",
                                    vodebug::Log::voaGroupToString(context.group),
                                    record.file.c_str(), context.line, record.function.c_str());
        if (length > 0 && size_t(length) < sizeof(prefix) &&
            record.text.compare(0, size_t(length), prefix) == 0) {
            record.message = record.text.substr(size_t(length));
        }
    }
    emitLog(std::move(record));
}

// liblog's logger: called on the logging thread for every record that passed liblog's minimum
// priority, with the message already formatted (and cut to liblog's line size, as on a device).
void receiveRecord(const struct __android_logger_data* data, const char* message) {
    const PendingContext context = takePendingContext();
    if (data == nullptr || !logWanted())
        return;
    // The device's log never throws into its caller: a record that cannot be stored (an
    // allocation failed) is dropped.
    try {
        emitOnline(data->priority, data->tag, context, message);
    } catch (...) {
    }
}

// Hooks the capture into liblog when the framework library loads, before any plugin can log.
struct LiblogHookup {
    LiblogHookup() {
        __android_log_set_logger(&receiveRecord);
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
};
const LiblogHookup gLiblogHookup;

}  // namespace
}  // namespace detail
}  // namespace korahost

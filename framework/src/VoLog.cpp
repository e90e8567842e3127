// vodebug::Log on the host: gates open by default; the online channel goes through
// __android_log_print, the offline channel straight into the capture sink.
#include "VoLog.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "HostState.h"
#include "LogContext.h"

namespace vodebug {

int32_t gVoCamLogLevel = 0;
uint32_t gVoCamLogGroup = 0xFFFFFFFFu;
int32_t gVoCamOfflineLogLevel = 0;
uint32_t gVoCamOfflineLogGroup = 0xFFFFFFFFu;
int32_t gVoCamDebugMask = 1;

namespace {

// One offline line into the capture sink.
void emitOffline(uint32_t group, const char* level, const char* fileName, const char* functionName,
                 int line, std::string message) {
    korahost::LogRecord record{};
    record.channel = korahost::LogChannel::Offline;
    record.level = level ? level[0] : '?';
    record.priority = korahost::detail::priorityOfLevel(record.level);
    record.group = group;
    record.file = fileName ? fileName : "";
    record.line = line;
    record.function = functionName ? functionName : "";
    record.text = message;
    record.message = std::move(message);
    korahost::detail::emitLog(std::move(record));
}

}  // namespace

int Log::catchLogEncryptLog(uint32_t group, const char* fileName, int line,
                            const char* functionName, const char* level, const char* fmt, ...) {
    int answer;
    {
        std::lock_guard<std::mutex> guard(korahost::detail::state().lock);
        answer = korahost::detail::state().encryptCatchResult;
    }
    if (answer == 0) {
        // The __android_log_print call that follows on this thread belongs to this statement.
        korahost::detail::setPendingContext(group, fileName, line, functionName,
                                            level ? level[0] : '?');
    }
    return answer;
}

void Log::logSystem(uint32_t group, const char* level, const char* fileName,
                    const char* functionName, int line, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    if (!korahost::detail::logWanted()) {
        // Nothing takes the line: format it, as the device's log system does, and drop it.
        korahost::detail::formatDropped(fmt, args);
        va_end(args);
        return;
    }
    // The device's log never throws into its caller: a line that cannot be stored (an
    // allocation failed) is dropped.
    try {
        emitOffline(group, level, fileName, functionName, line,
                    korahost::detail::formatV(fmt, args));
    } catch (...) {
    }
    va_end(args);
}

const char* Log::voaGroupToString(uint32_t group) {
    switch (group) {
        case 1:
            return "COMMON";
        case 2:
            return "PLUGIN";
        case 4:
            return "NODE";
        case 8:
            return "PIPELINE";
        case 16:
            return "BUFFER";
        case 32:
            return "META";
        case 64:
            return "EXIF";
        case 128:
            return "PERF";
        default:
            return "UNKNOWN";
    }
}

const char* Log::getFileName(const char* sourcePath) {
    if (sourcePath == nullptr)
        return "";
    const char* slash = strrchr(sourcePath, '/');
    return slash ? slash + 1 : sourcePath;
}

}  // namespace vodebug

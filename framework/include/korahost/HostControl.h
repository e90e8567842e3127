// Host-only controls and observations of the kora stand-in. Host programs (tests, korasim,
// benchmarks) use them to set up the framework state a plugin sees and to read back what the
// plugin did. Plugin sources never include this header.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

class VoMetadata;
struct AndroidLogFormat_t;  // liblog's AndroidLogFormat (<log/logprint.h>)

namespace korahost {

// ---- Log capture -------------------------------------------------------------------------
enum class LogChannel { Online, Offline };

struct LogRecord {
    LogChannel channel;
    char level;        // 'V', 'D', 'I', 'W', 'E', 'F'
    int priority;      // Android priority of the line
    std::string tag;   // Android tag (online); empty for offline lines
    uint32_t group;    // log group bit; 0 for raw __android_log_print lines
    std::string file;  // file name as passed by the statement
    int line;
    std::string function;
    std::string message;  // the statement's message, fully formatted, without the prefix
    std::string text;     // the whole formatted line as the channel received it
    int64_t timeUs;       // wall clock, microseconds since the epoch
    int uid;
    int pid;
    int tid;
};

// Every record the process writes to Android's log (liblog), of every priority, and every
// offline line is captured. Captured lines are kept in memory until taken. Capture is on by
// default.
void setLogCapture(bool enabled);
std::vector<LogRecord> takeLogs();
void clearLogs();
// Echo every line to stderr as it happens, as `logcat -v threadtime` prints it.
void setLogEcho(bool enabled);
// One line as logcat prints it in `format` (liblog's android_log_formatLogLine), without the
// final newline; offline lines show under the tag "offline". A message of several lines gives
// several lines.
std::string formatLogLine(const LogRecord& record, AndroidLogFormat_t* format);
// The tag logcat-style output shows and filters a line under: its Android tag, or "offline".
const char* logcatTag(const LogRecord& record);
std::string formatThreadtime(const LogRecord& record);
// Called for every line, on the logging thread. Returns an id for removeLogListener.
int addLogListener(std::function<void(const LogRecord&)> listener);
void removeLogListener(int id);
// The answer vodebug::Log::catchLogEncryptLog gives (0 by default: lines go to the Android log).
void setEncryptCatchResult(int result);
// Sets the five gate values of vodebug::Log.
void setLogGates(int32_t level, uint32_t groups, int32_t offlineLevel, uint32_t offlineGroups,
                 int32_t debugMask);
// Opens every gate (the default of the host framework).
void openAllLogGates();

// ---- Properties ---------------------------------------------------------------------------
void setProperty(const std::string& key, const std::string& value);
void unsetProperty(const std::string& key);
void clearProperties();

// ---- Performance locks -----------------------------------------------------------------------
enum class PerfEventKind { Create, CreateFailed, AcquirePlain, AcquireAlgo, Release, Dispose };
struct PerfEvent {
    PerfEventKind kind;
    unsigned int durationMs;
    int algo;
    const void* lock;
    int64_t timeUs;
};
void setPerfLockCreationFails(bool fails);
std::vector<PerfEvent> takePerfEvents();
// Locks created and not yet disposed.
int livePerfLocks();

// ---- Algorithm controller --------------------------------------------------------------------
// Flag answered by AlgoControllerAdapter::getFlag for adapters of `algoName` (default 0).
void setControllerFlag(const std::string& algoName, int flag);
void clearControllerFlags();

// ---- EXIF ------------------------------------------------------------------------------------
struct ExifRecord {
    std::string key;
    std::string value;
    bool isInt;
};
struct ExifWriterLog {
    std::string module;
    uint64_t requestKey;
    bool committed;
    std::vector<ExifRecord> records;  // in update order
};
// Every writer destroyed since the last take, committed or not, in destruction order.
std::vector<ExifWriterLog> takeExifWriters();
// Records published by commit() for a request key, in commit order (all modules).
std::vector<ExifRecord> publishedExif(uint64_t requestKey);
void clearPublishedExif();

// ---- Fault reports ---------------------------------------------------------------------------
struct DfxReport {
    int32_t code;
    int module;
    int64_t timeUs;  // wall clock when reported: the plugin reports right after each call
};
std::vector<DfxReport> takeDfxReports();

// ---- Metadata writes -------------------------------------------------------------------------
struct MetadataWrite {
    const VoMetadata* container;
    uint32_t tag;
    uint8_t type;
    int status;                  // what update() returned
    std::vector<uint8_t> bytes;  // the values as written (native byte order)
    size_t count;
};
// Recording of VoMetadata::update calls is off by default.
void setMetadataWriteRecording(bool enabled);
std::vector<MetadataWrite> takeMetadataWrites();

// ---- Reset -------------------------------------------------------------------------------------
// Clears every recorded observation and control (logs, perf, controller, EXIF, DFX, metadata
// writes, encrypt answer) but not the properties nor the log gates.
void resetObservations();

}  // namespace korahost

// The kora debug-log facility. Every statement is gated by the globals below before anything is
// formatted, then emitted on two channels: online (the Android log, unless the encrypted-log
// catcher takes the line) and offline (the framework's own log system).
#pragma once

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <android/log.h>

namespace vodebug {

// Gate values. A statement of level L passes the online gate when gVoCamLogLevel is below the
// level's threshold (D 4, I 5, W 6, E 7) and its group bit is set in gVoCamLogGroup; the offline
// gate uses the offline pair and, for every level but E, a non-zero gVoCamDebugMask.
extern int32_t gVoCamLogLevel;
extern uint32_t gVoCamLogGroup;
extern int32_t gVoCamOfflineLogLevel;
extern uint32_t gVoCamOfflineLogGroup;
extern int32_t gVoCamDebugMask;

class Log {
  public:
    // Offered every online line first; a non-zero answer means the line was taken (encrypted
    // capture) and must not be written to the Android log.
    static int catchLogEncryptLog(uint32_t group, const char* fileName, int line,
                                  const char* functionName, const char* level, const char* fmt, ...)
        __attribute__((format(printf, 6, 7)));
    // Writes one line to the offline log system.
    static void logSystem(uint32_t group, const char* level, const char* fileName,
                          const char* functionName, int line, const char* fmt, ...)
        __attribute__((format(printf, 6, 7)));
    // Display name of a log group ("COMMON", "PLUGIN", ...); never null.
    static const char* voaGroupToString(uint32_t group);
    // The part of a source path after its last '/'; never null.
    static const char* getFileName(const char* sourcePath);
};

}  // namespace vodebug

// Gate thresholds by level: a statement passes when the configured level is below it.
#define VO_LOG_THRESHOLD_D 4
#define VO_LOG_THRESHOLD_I 5
#define VO_LOG_THRESHOLD_W 6
#define VO_LOG_THRESHOLD_E 7
#define VO_LOG_NEEDS_MASK_D 1
#define VO_LOG_NEEDS_MASK_I 1
#define VO_LOG_NEEDS_MASK_W 1
#define VO_LOG_NEEDS_MASK_E 0
#define VO_LOG_PRIO_D ANDROID_LOG_DEBUG
#define VO_LOG_PRIO_I ANDROID_LOG_INFO
#define VO_LOG_PRIO_W ANDROID_LOG_WARN
#define VO_LOG_PRIO_E ANDROID_LOG_ERROR

namespace vodebug {

// Where a statement stands and how it is tagged; built by VO_LOG_AS for logStatement.
struct LogSite {
    int priority;
    const char* tag;
    uint32_t group;
    const char* sourcePath;
    int line;
    const char* function;
    const char* level;
};

// Emits one statement whose gates are open. The message is formatted once, here, so each
// argument has been evaluated exactly once (as this call's argument) and both channels carry the
// same text, whatever the arguments do when they are evaluated. Lines that fit 512 bytes are
// formatted on the stack; a longer one takes one heap block, and is cut to 511 bytes only when
// that block cannot be had.
inline void logStatement(const LogSite& site, bool online, bool offline, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

inline void logStatement(const LogSite& site, bool online, bool offline, const char* fmt, ...) {
    char small[512];
    char* big = nullptr;
    const char* text = small;
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    const int length = vsnprintf(small, sizeof(small), fmt, args);
    if (length < 0) {
        small[0] = '\0';
    } else if (static_cast<size_t>(length) >= sizeof(small)) {
        big = static_cast<char*>(malloc(static_cast<size_t>(length) + 1));
        if (big != nullptr) {
            vsnprintf(big, static_cast<size_t>(length) + 1, fmt, again);
            text = big;
        }
    }
    va_end(again);
    va_end(args);

    const char* fileName = Log::getFileName(site.sourcePath);
    if (online && Log::catchLogEncryptLog(site.group, fileName, site.line, site.function,
                                          site.level, "%s", text) == 0) {
        __android_log_print(site.priority, site.tag, "%s %s:%d %s()%s",
                            Log::voaGroupToString(site.group), fileName, site.line, site.function,
                            text);
    }
    if (offline)
        Log::logSystem(site.group, site.level, fileName, site.function, site.line, "%s", text);
    free(big);
}

}  // namespace vodebug

// One log statement that names its function itself: FUNC is what the line shows as the function
// (a helper that does one step of its caller's work logs under the caller's name). LVL is the
// bare level letter (D, I, W, E); TAG, GROUP and SRC are the Android tag, the log group bit and
// the source name; FMT must be a string literal. The gates are tested first, so a closed gate
// costs a few loads and comparisons, evaluates no argument and formats nothing; an open gate
// evaluates every argument once, whichever channels are open.
#define VO_LOG_AS(FUNC, LVL, TAG, GROUP, SRC, FMT, ...)                                         \
    do {                                                                                        \
        const bool voOnline_ = ::vodebug::gVoCamLogLevel < VO_LOG_THRESHOLD_##LVL &&            \
                               (::vodebug::gVoCamLogGroup & (GROUP)) != 0;                      \
        const bool voOffline_ = ::vodebug::gVoCamOfflineLogLevel < VO_LOG_THRESHOLD_##LVL &&    \
                                (::vodebug::gVoCamOfflineLogGroup & (GROUP)) != 0 &&            \
                                (!VO_LOG_NEEDS_MASK_##LVL || ::vodebug::gVoCamDebugMask != 0);  \
        if (voOnline_ || voOffline_) {                                                          \
            ::vodebug::logStatement(                                                            \
                ::vodebug::LogSite{VO_LOG_PRIO_##LVL, TAG, (GROUP), SRC, __LINE__, FUNC, #LVL}, \
                voOnline_, voOffline_, FMT, ##__VA_ARGS__);                                     \
        }                                                                                       \
    } while (0)

// One log statement under the name of the function it stands in.
#define VO_LOG(LVL, TAG, GROUP, SRC, FMT, ...) \
    VO_LOG_AS(__func__, LVL, TAG, GROUP, SRC, FMT, ##__VA_ARGS__)

// The kora debug-log facility. Every statement is gated by the globals below before anything is
// formatted, then emitted on two channels: online (the Android log, unless the encrypted-log
// catcher takes the line) and offline (the framework's own log system).
#pragma once

#include <stdint.h>

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

// One log statement. LVL is the bare level letter (D, I, W, E); TAG, GROUP and SRC are the
// Android tag, the log group bit and the source name; FMT must be a string literal. The gates are
// tested first, so a closed gate costs a few loads and comparisons and no formatting.
#define VO_LOG(LVL, TAG, GROUP, SRC, FMT, ...)                                                  \
    do {                                                                                        \
        const bool voOnline_ = ::vodebug::gVoCamLogLevel < VO_LOG_THRESHOLD_##LVL &&            \
                               (::vodebug::gVoCamLogGroup & (GROUP)) != 0;                      \
        const bool voOffline_ = ::vodebug::gVoCamOfflineLogLevel < VO_LOG_THRESHOLD_##LVL &&    \
                                (::vodebug::gVoCamOfflineLogGroup & (GROUP)) != 0 &&            \
                                (!VO_LOG_NEEDS_MASK_##LVL || ::vodebug::gVoCamDebugMask != 0);  \
        if (voOnline_ || voOffline_) {                                                          \
            const char* voFile_ = ::vodebug::Log::getFileName(SRC);                             \
            if (voOnline_ &&                                                                    \
                ::vodebug::Log::catchLogEncryptLog((GROUP), voFile_, __LINE__, __func__, #LVL,  \
                                                   FMT, ##__VA_ARGS__) == 0) {                  \
                __android_log_print(VO_LOG_PRIO_##LVL, TAG, "%s %s:%d %s()" FMT,                \
                                    ::vodebug::Log::voaGroupToString(GROUP), voFile_, __LINE__, \
                                    __func__, ##__VA_ARGS__);                                   \
            }                                                                                   \
            if (voOffline_) {                                                                   \
                ::vodebug::Log::logSystem((GROUP), #LVL, voFile_, __func__, __LINE__, FMT,      \
                                          ##__VA_ARGS__);                                       \
            }                                                                                   \
        }                                                                                       \
    } while (0)

// Glue between the two halves of an online log statement: vodebug::Log::catchLogEncryptLog
// leaves the statement's structured fields for the __android_log_print call that follows on
// the same thread; liblog hands that record to the framework's logger on the same thread, which
// records the line with them.
#pragma once

#include <stdarg.h>
#include <stdint.h>

#include <string>

namespace korahost {
namespace detail {

struct PendingContext {
    bool valid;
    uint32_t group;
    const char* file;
    int line;
    const char* function;
    char level;
};

void setPendingContext(uint32_t group, const char* file, int line, const char* function,
                       char level);
// Takes (and clears) this thread's pending context.
PendingContext takePendingContext();

std::string formatV(const char* fmt, va_list args);
// Whether anything takes log lines now (capture, echo or a listener).
bool logWanted();
// Formats a line that nothing takes into a scratch buffer; returns the formatter's result.
int formatDropped(const char* fmt, va_list args);
int priorityOfLevel(char level);
char levelOfPriority(int priority);

}  // namespace detail
}  // namespace korahost

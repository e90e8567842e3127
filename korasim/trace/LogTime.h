// Times of log lines as logcat prints them, in microseconds, so that the lines of a log can be
// placed on one timeline.
#pragma once

#include <stdint.h>

#include <optional>
#include <string_view>

namespace korasim::trace {

// "[YYYY-]MM-DD HH:MM:SS[.fraction][ +hhmm]" (microseconds since 1970 of that day and time in
// UTC; a stamp without a year is read in 2000, so only differences between stamps of one log
// mean something) or "SECONDS.fraction" (the epoch and monotonic modifiers). nullopt for an
// empty or unknown stamp. The zone is left out: a log is printed in one zone.
std::optional<int64_t> logTimeUs(std::string_view stamp);

}  // namespace korasim::trace

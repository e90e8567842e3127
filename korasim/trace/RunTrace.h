// The timeline of a run, replay or demo report: a track per plugin object with a span per step
// at the moment it ran; inside a processRequest the boost, and inside the boost Init, Run, Unit
// and the dumps, at the times korasim observed them.
#pragma once

#include <nlohmann/json.hpp>

namespace korasim::trace {

// {"traceEvents": [...], "displayTimeUnit": "ms"} of a report that korasim run wrote. A report
// without step start times ("startUs", written before korasim 1.2) gives its steps one after
// the other.
nlohmann::json runTrace(const nlohmann::json& report);

}  // namespace korasim::trace

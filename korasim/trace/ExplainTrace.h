// The timeline of explain's captures: each capture at the time its lines were logged, on a track
// per process and plugin object, with the isEnabled decision and the request inside it; inside
// the request the boost, and inside the boost Init, Run, Unit (ending at their cost lines and
// lasting the logged cost) and the dumps the dump switch implies.
#pragma once

#include <nlohmann/json.hpp>

namespace korasim::trace {

// {"traceEvents": [...], "displayTimeUnit": "ms"} of explain's document ({"log": NAME,
// "captures": [...]} with each capture's "timeline"). Times count from the earliest stamp; a log
// without time stamps places its lines a millisecond apart in their order.
nlohmann::json explainTrace(const nlohmann::json& explain);

}  // namespace korasim::trace

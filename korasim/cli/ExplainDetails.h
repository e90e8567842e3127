// The --details block of korasim explain: under each capture's summary line, the checks of the
// decision as an aligned table, the Init record the algorithm was given as one named field per
// line, the costs, boost, dumps and what the log could not tell; no line wider than 100 columns.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace korasim {

constexpr size_t kDetailsWidth = 100;

// The block for one capture of explain's JSON (logread::toJson), lines ending in '\n'.
std::string explainDetails(const nlohmann::json& capture);

}  // namespace korasim

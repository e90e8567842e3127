// A call the scripted algorithm library recorded, as the report's "algorithmCalls" entry.
#pragma once

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include "ScriptedAlgoControl.h"

namespace korasim {

// `label` names a plane or container address the way the step's report does.
nlohmann::json scriptedCallJson(const ScriptedAlgoCall& c,
                                const std::function<std::string(const void*)>& label);

}  // namespace korasim

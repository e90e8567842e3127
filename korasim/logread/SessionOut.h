// A korasim session that recreates what the log tells of one capture, and says in its
// description what the log did not tell and which default stands in for it.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "PluginLog.h"

namespace korasim::logread {

nlohmann::json sessionFor(const Capture& capture, const std::string& source);

}  // namespace korasim::logread

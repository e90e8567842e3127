// The report's description of the run's setting, for people reading it (and the HTML page):
// the device tree the session asked for and the log gates.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "session/Session.h"

namespace korasim {

// One short value per device key: file texts, the model files present, the libraries.
nlohmann::json deviceSummary(const DeviceSpec& device);
nlohmann::json logGatesJson(const LogGates& gates);

}  // namespace korasim

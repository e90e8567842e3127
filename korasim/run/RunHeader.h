// The report's description of the run's setting, for people reading it (and the HTML page):
// the plugin library's soname, the device tree the session asked for, and the log gates.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "session/Session.h"

namespace korasim {

// DT_SONAME of a 64-bit ELF shared library; empty when the file has none or is not one.
std::string elfSoname(const std::string& path);
// One short value per device key: file texts, the model files present, the libraries.
nlohmann::json deviceSummary(const DeviceSpec& device);
nlohmann::json logGatesJson(const LogGates& gates);

}  // namespace korasim

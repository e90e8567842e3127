// Expectations a session states per step (`"expect": {...}`) and their check against the step's
// report, so that a folder of sessions serves as a regression suite (korasim run exits 3 on a
// mismatch).
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "session/Session.h"

namespace korasim {

// Checks the keys and value types of a step's `expect` object; throws SessionError at
// `path` ("steps[3].expect.path").
void validateExpect(const nlohmann::json& expect, const std::string& path, StepKind kind);

struct Mismatch {
    std::string step;    // "steps[3] (processRequest)"
    std::string key;     // "expect.exif.keys.runFailed"
    std::string wanted;  // JSON text
    std::string actual;  // JSON text, or "absent"
};

// Compares one step's report with what it expects; empty when everything matches.
std::vector<Mismatch> checkExpect(const nlohmann::json& expect, const nlohmann::json& stepReport,
                                  const std::string& stepLabel);

// The mismatches of every step of a finished session that states expectations.
std::vector<Mismatch> checkSession(const Session& session, const nlohmann::json& report);

// "steps[3] (processRequest): expect.path: wanted "processed", got "runFailed"".
std::string mismatchText(const Mismatch& m);

}  // namespace korasim

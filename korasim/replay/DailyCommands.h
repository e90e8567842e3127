// The parts of korasim's commands that go beyond one run: the verdict on a session's
// expectations, the format a replay must be told, and the replay of a whole folder of dumps.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "session/Session.h"

namespace korasim {

// Prints every failed expectation to stderr, one line each; returns 3 when any failed, else 0.
int reportExpectations(const Session& session, const nlohmann::json& report);

// The format of the replayed image: --format, else the one the --session overrides state.
// Throws std::invalid_argument with the reason when neither says it or the value is unknown.
std::string replayFormat(const std::optional<std::string>& option, const nlohmann::json& overrides);

// Replays every *_input.NV12 of `dir` in its own korasim process (`passArgs` go to each),
// compares each with its *_output.NV12 when present, and prints a table. Returns 0 when every
// replay ran, else the first failing exit status.
int replayFolder(const std::string& dir, const std::vector<std::string>& passArgs);

}  // namespace korasim

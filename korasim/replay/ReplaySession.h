// The session `korasim replay` runs for one dump: one request through the reference library with
// the dump as its input, the user's --session overrides merged in, and the image format, which
// the dump's name cannot tell.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace korasim {

// Why replay needs --format: the dump extension is .NV12 whatever the buffer's format.
extern const char* const kReplayFormatHelp;

nlohmann::json replayDocument(const std::string& file, uint32_t width, uint32_t height,
                              const std::string& format, double zoom);

// Applies --session overrides as a JSON merge patch (RFC 7396), except that each object of
// request.inputs is merged into the generated input at its index instead of replacing the list,
// so that `{"request": {"inputs": [{"format": "nv12"}]}}` keeps the dump as the image.
nlohmann::json applyOverrides(nlohmann::json document, const nlohmann::json& overrides);

// The format a session document gives its request's first input, if any ("nv21", "nv12" or a
// number as text).
std::optional<std::string> sessionFormat(const nlohmann::json& document);

// The format of the replayed image: --format, else the one the --session overrides state.
// Throws std::invalid_argument with the reason when neither says it or the value is unknown.
std::string replayFormat(const std::optional<std::string>& option, const nlohmann::json& overrides);

}  // namespace korasim

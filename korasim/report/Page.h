// One self-contained HTML page per korasim run, replay, demo or explain: inline CSS and
// script, the report as JSON data, pictures as PNG data URIs (or files beside the page when
// they would make it too large). The script in the page renders the header, the step timeline,
// the enable checklist, the request details, the before/after viewer and the log table.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "report/PageImages.h"

namespace korasim::html {

// Pictures larger than this in total (as base64) go beside the page, into <page>.files/.
constexpr size_t kEmbedLimitBytes = 7 * 1000 * 1000;

// The page of a run, replay or demo report. Throws std::runtime_error when it cannot be written.
void writeRunPage(const nlohmann::json& report, const std::vector<StepPictures>& pictures,
                  const std::string& path, size_t embedLimit = kEmbedLimitBytes);
// The page of explain's JSON ({"captures": [...], ...}).
void writeExplainPage(const nlohmann::json& explain, const std::string& path);

// RFC 4648 base64 of the bytes (no line breaks).
std::string base64(const std::vector<uint8_t>& bytes);

}  // namespace korasim::html

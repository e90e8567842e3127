// One self-contained HTML page per korasim run, replay, demo or explain: inline CSS and
// script, the report as JSON data, pictures as PNG data URIs (or files beside the page when
// they would make it too large). The script in the page renders the header, the step timeline,
// the enable checklist, the request details, the before/after viewer and the log table.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "report/ComparisonPictures.h"
#include "report/PageImages.h"

namespace korasim::html {

// Pictures larger than this in total (as base64) go beside the page, into <page>.files/.
constexpr size_t kEmbedLimitBytes = 7 * 1000 * 1000;

// The page of a run, replay or demo report; a replay compared with the device's output adds the
// pictures of that comparison. Throws std::runtime_error when it cannot be written (the folder
// it goes into must exist).
void writeRunPage(const nlohmann::json& report, const std::vector<StepPictures>& pictures,
                  const std::string& path, size_t embedLimit = kEmbedLimitBytes,
                  const ComparisonPictures* comparison = nullptr);
// What the page of one run shows, pictures as data URIs: a child of `replay DIR` hands this to
// the folder's page.
nlohmann::json runPageData(const nlohmann::json& report, const std::vector<StepPictures>& pictures,
                           const ComparisonPictures* comparison = nullptr);
// The page of `replay DIR`: `folder` holds the folder's table and gate, `replays` the
// runPageData of each dump (null for a dump whose replay failed). Pictures over `embedLimit`
// go beside the page, as writeRunPage's do.
void writeReplayFolderPage(const nlohmann::json& folder, nlohmann::json replays,
                           const std::string& path, size_t embedLimit = kEmbedLimitBytes);
// The page of explain's JSON ({"captures": [...], ...}).
void writeExplainPage(const nlohmann::json& explain, const std::string& path);

// RFC 4648 base64 of the bytes (no line breaks).
std::string base64(const std::vector<uint8_t>& bytes);

}  // namespace korasim::html

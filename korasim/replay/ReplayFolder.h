// `korasim replay DIR`: every input dump of a folder replayed in its own korasim process.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasim {

struct FolderReplayOptions {
    std::string dir;
    std::vector<std::string> passArgs;  // given to the replay of each dump
    std::optional<double> minPsnr;      // the gate each comparison is held against
    std::string outDir;                 // each dump's replay goes into <outDir>/<dump's stem>/
    bool pageData = false;              // collect what the folder's page shows of each replay
};

struct FolderReplay {
    int status = 0;  // 0, the first failing replay's exit status, or 3 below --min-psnr
    // {"folder", "minPsnr", "dumps": [{"dump", "exitCode", "error", "path", "runMs",
    // "compare", "belowMinPsnr"}]}: the folder's table, as printed.
    nlohmann::json summary;
    nlohmann::json reports;   // each dump's report (null when its replay failed)
    nlohmann::json pageData;  // with `pageData`, each dump's page data (null when none)
};

// Replays every *_input.NV12 of the folder in its own korasim process, compares each with its
// *_output.NV12 when present, holds the comparisons against the limit and prints a table and
// the dumps below the limit. Throws std::invalid_argument for a folder without input dumps,
// and for a limit without any output dump to compare with.
FolderReplay replayFolder(const FolderReplayOptions& options);

}  // namespace korasim

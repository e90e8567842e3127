// `korasim replay DIR`: every input dump of a folder replayed in its own korasim process.
#pragma once

#include <string>
#include <vector>

namespace korasim {

// Replays every *_input.NV12 of `dir` in its own korasim process (`passArgs` go to each),
// compares each with its *_output.NV12 when present, and prints a table. Returns 0 when every
// replay ran, else the first failing exit status. Throws std::invalid_argument for a folder
// without input dumps.
int replayFolder(const std::string& dir, const std::vector<std::string>& passArgs);

}  // namespace korasim

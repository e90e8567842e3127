// Whole files as text: what korasim reads back from its children and writes as reports.
#pragma once

#include <string>

namespace korasim {

// The file's bytes; empty when it cannot be read.
std::string readTextFile(const std::string& path);
// Writes `text`; false when the file cannot be written (its folder must exist: korasim creates
// no folder for an output file).
bool writeTextFile(const std::string& path, const std::string& text);

}  // namespace korasim

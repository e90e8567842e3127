// The comparison of a replayed output with the device's own output dump.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasim {

// Compares visible output bytes with a dump file: {"file", "identical", "psnr",
// "differingBytes", "bytes"}. Throws std::runtime_error when the file cannot be read.
nlohmann::json compareWithDump(const std::vector<uint8_t>& output, const std::string& dumpFile);
// "identical" or "PSNR 38.21 dB, 1234 of 9216 bytes differ".
std::string describeComparison(const nlohmann::json& comparison);

}  // namespace korasim

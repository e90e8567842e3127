// The comparison of a replayed output with the device's own output dump, and the PSNR gate of
// `replay --min-psnr`.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "YuvImage.h"

namespace korasim {

// What a replay compares its output with: the device's output dump, and the lowest PSNR that
// passes (none: any result passes).
struct DumpCheck {
    std::string file;
    std::optional<double> minPsnr;
};

// The bytes of a dump file. Throws std::runtime_error when it cannot be read.
std::vector<uint8_t> readDump(const std::string& dumpFile);

// Compares visible output bytes with the device's: {"file", "identical", "psnr",
// "differingBytes", "bytes"}, and with a limit "minPsnr" and "belowMinPsnr".
nlohmann::json compareWithDump(const std::vector<uint8_t>& output,
                               const std::vector<uint8_t>& device, const DumpCheck& check);
// "identical" or "PSNR 38.21 dB, 1234 of 9216 bytes differ".
std::string describeComparison(const nlohmann::json& comparison);

// Whether a comparison fails the gate: a PSNR below the limit, or outputs of different sizes
// (no PSNR to hold against it). Identical outputs (infinite PSNR) always pass.
bool belowMinPsnr(const nlohmann::json& comparison, double minPsnr);
// "<file>: PSNR 31.20 dB < 40 dB" (or "sizes differ"), the line that names a failed dump.
std::string gateFailureText(const std::string& name, const nlohmann::json& comparison,
                            double minPsnr);

// The device's output dump as an image of the replayed output's size and format; nullopt when
// the dump holds another number of bytes.
std::optional<hostkit::YuvImage> dumpAsImage(const std::vector<uint8_t>& device,
                                             const hostkit::YuvImage& like);

}  // namespace korasim

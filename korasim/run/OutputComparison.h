// What a processRequest step's report says about each output against the input the plugin
// used: PSNR and the share of changed pixels, and with --out two pictures to look at.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "YuvImage.h"

namespace korasim {

using hostkit::YuvImage;

// Adds "psnr" (dB, null when identical or of another size) and "changedPixels" (share 0..1,
// null for another size) to `entry`. With a non-empty `base` it also writes
// `<base>-compare.png` (input beside output) and `<base>-diff.png` (|output - input| x8) and
// names them under "pictures". Throws std::runtime_error when a picture cannot be written.
void describeDifference(const YuvImage& input, const YuvImage& output, const std::string& base,
                        nlohmann::json& entry);

}  // namespace korasim

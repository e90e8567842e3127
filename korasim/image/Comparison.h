// Figures that compare an output with its input: PSNR, the share of changed pixels, the mean
// luma difference, and the byte comparison of a replayed output with the device's own output
// dump.
#pragma once

#include <stdint.h>

#include <optional>
#include <vector>

#include "YuvImage.h"

namespace korasim {

using hostkit::YuvImage;

// PSNR in dB of two byte sequences of equal length (peak 255); nullopt when they are equal
// (the PSNR is infinite) or of different lengths.
std::optional<double> psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

struct Difference {
    std::optional<double> psnrDb;  // of the visible bytes, luma and chroma; nullopt: identical
    double changedPixels = 0;      // share of pixels whose luma or chroma differs, 0..1
};
// Nullopt when the buffers differ in size.
std::optional<Difference> difference(const YuvImage& input, const YuvImage& output);
// Mean absolute luma difference of two buffers of equal size; -1 for other sizes.
double meanAbsLumaDiff(const YuvImage& a, const YuvImage& b);

struct ByteComparison {
    bool identical = false;
    std::optional<double> psnrDb;  // nullopt when identical or the lengths differ
    uint64_t differingBytes = 0;   // includes the length difference
};
ByteComparison compareBytes(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

}  // namespace korasim

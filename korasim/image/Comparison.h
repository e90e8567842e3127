// Pictures and figures that compare an output with its input: PSNR, the share of changed
// pixels, input beside output, an amplified difference image, and the byte comparison of a
// replayed output with the device's own output dump.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "image/Png.h"
#include "image/YuvBuffer.h"

namespace korasim {

// PSNR in dB of two byte sequences of equal length (peak 255); nullopt when they are equal
// (the PSNR is infinite) or of different lengths.
std::optional<double> psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

struct Difference {
    std::optional<double> psnrDb;  // of the visible bytes, luma and chroma; nullopt: identical
    double changedPixels = 0;      // share of pixels whose luma or chroma differs, 0..1
};
// Nullopt when the buffers differ in size.
std::optional<Difference> difference(const YuvBuffer& input, const YuvBuffer& output);

// Input and output side by side, labelled, with a gap.
RgbImage sideBySide(const RgbImage& input, const RgbImage& output);
// |output - input| per RGB channel times `gain`, clipped: invisible changes become visible.
RgbImage amplifiedDifference(const RgbImage& input, const RgbImage& output, int gain = 8);

struct ByteComparison {
    bool identical = false;
    std::optional<double> psnrDb;  // nullopt when identical or the lengths differ
    uint64_t differingBytes = 0;   // includes the length difference
};
ByteComparison compareBytes(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

// Copies a rectangle of `image` into `canvas` at (left, top), clipped to both.
void paste(RgbImage& canvas, const RgbImage& image, int left, int top, int x0 = 0, int y0 = 0,
           int w = -1, int h = -1);

}  // namespace korasim

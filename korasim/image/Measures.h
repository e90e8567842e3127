// Figures korasim reports of one image: its hash and its sharpness.
#pragma once

#include <string>

#include "YuvImage.h"

namespace korasim {

using hostkit::YuvImage;

// SHA-256 of the visible bytes (luma rows, then chroma rows, no padding), as hex.
std::string visibleSha256(const YuvImage& image);
// Mean Sobel gradient magnitude of the luma plane, in levels per pixel: the sharpness figure.
double lumaSharpness(const YuvImage& image);

}  // namespace korasim

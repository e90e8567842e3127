// YUV 4:2:0 semi-planar images and RGB pictures, both ways, through libyuv: full-range BT.601
// (libyuv's JPEG matrix), the matrix of JPEG and of camera YUV captures.
#pragma once

#include <stdint.h>

#include "YuvImage.h"
#include "image/RgbImage.h"

namespace korasim {

using hostkit::isVuOrder;
using hostkit::YuvImage;

// RGB of `width` x `height` pixels from a luma and an interleaved chroma plane (V first when
// `vu`). Throws std::runtime_error when libyuv refuses the planes.
RgbImage semiPlanarToRgb(const uint8_t* y, const uint8_t* uv, int stride, int uvStride, bool vu,
                         int width, int height);
RgbImage toRgb(const YuvImage& image);
// Fills the top-left of `image` that `rgb` covers; chroma averages each 2x2 block.
void fillFromRgb(YuvImage& image, const RgbImage& rgb);
// Area-averaging downscale of a whole RGB picture by an integer factor (libyuv's box filter).
RgbImage shrink(const RgbImage& in, int factor);

}  // namespace korasim

// Pictures of processed requests for the HTML page: a scaled-down preview of the whole input and
// output frame, and one full-resolution crop of each where the output differs most from the
// input. Taken while the buffers still exist, encoded as PNG right away.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "image/YuvRgb.h"

namespace korasim::html {

struct Region {
    int x = 0, y = 0, width = 0, height = 0;
};

struct StepPictures {
    size_t step = 0;
    int frameWidth = 0, frameHeight = 0;  // of the input
    int previewScale = 1;                 // preview pixel = scale x scale frame pixels
    Region crop;                          // in frame pixels; the whole frame when scale is 1
    std::vector<uint8_t> inputPreview, outputPreview;  // PNG
    std::vector<uint8_t> inputCrop, outputCrop;        // PNG; empty when scale is 1
};

// Limits that keep a 12-megapixel capture's page small: the preview fits in this box, and the
// crop is at most this size.
constexpr int kPreviewMaxWidth = 1024, kPreviewMaxHeight = 768;
constexpr int kCropMaxWidth = 1024, kCropMaxHeight = 768;

// A picture of the page as PNG; throws std::runtime_error when it cannot be encoded.
std::vector<uint8_t> encodePicture(const RgbImage& image);

// Converts and encodes the pictures of one step (first input and first output buffer).
StepPictures takePictures(size_t step, const YuvImage& input, const YuvImage& output);

// Box-averaged RGB preview: every output pixel averages scale x scale pixels.
RgbImage previewRgb(const YuvImage& buffer, int scale);
// RGB of a region of the buffer at full resolution (clipped to the buffer).
RgbImage regionRgb(const YuvImage& buffer, const Region& region);
// The window of the given size where the luma of `b` differs most from `a` (the frame centre
// when they are equal), within the area both buffers cover.
Region mostChangedRegion(const YuvImage& a, const YuvImage& b, int width, int height);

}  // namespace korasim::html

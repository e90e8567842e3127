// Pictures for people: input beside output, an amplified difference, and pasting a part of one
// picture into another.
#pragma once

#include "image/RgbImage.h"

namespace korasim {

// Input and output side by side, labelled, with a gap.
RgbImage sideBySide(const RgbImage& input, const RgbImage& output);
// |output - input| per RGB channel times `gain`, clipped: invisible changes become visible.
RgbImage amplifiedDifference(const RgbImage& input, const RgbImage& output, int gain = 8);
// Copies a rectangle of `image` into `canvas` at (left, top), clipped to both.
void paste(RgbImage& canvas, const RgbImage& image, int left, int top, int x0 = 0, int y0 = 0,
           int w = -1, int h = -1);

}  // namespace korasim

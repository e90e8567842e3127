// Procedural test content: the demo's high-zoom scene and a test chart, and the digital zoom
// that cuts the centre of a full-resolution frame and upscales it back to full size.
#pragma once

#include "image/Png.h"
#include "image/YuvBuffer.h"

namespace korasim {

// A street-side scene (sky, brick wall, a sign with lettering, a resolution star, windows and
// line pairs) rendered at full resolution with anti-aliasing, a light optical blur and a little
// sensor noise. The detail sits in the centre tenth of the frame, where a 10x zoom looks.
RgbImage renderScene(int width, int height);
// A chart: grey steps, a resolution star, line pairs of several periods and colour patches.
RgbImage renderChart(int width, int height);
// Fills `out` with the centre 1/zoom of `full` (same format family), upscaled with a
// Catmull-Rom cubic to out's size, plane by plane, as a camera's digital zoom does.
void digitalZoom(const YuvBuffer& full, YuvBuffer& out, double zoom);

// Writes capital letters (those the scene uses plus INPUT, OUTPUT) in white on a black box.
void drawLabel(RgbImage& image, const char* text, int left, int top, int dot);

}  // namespace korasim

// Procedural test content: the demo's high-zoom scene and a test chart.
#pragma once

#include "image/RgbImage.h"

namespace korasim {

// A street-side scene (sky, brick wall, a sign with lettering, a resolution star, windows and
// line pairs) rendered at full resolution with anti-aliasing, a light optical blur and a little
// sensor noise. The detail sits in the centre tenth of the frame, where a 10x zoom looks.
RgbImage renderScene(int width, int height);
// A chart: grey steps, a resolution star, line pairs of several periods and colour patches.
RgbImage renderChart(int width, int height);

}  // namespace korasim

// A camera's digital zoom: the centre of a full-resolution frame upscaled back to full size.
// Catmull-Rom is written here because libyuv scales with box, linear and bilinear filters only,
// and the demo's zoom should look like a camera's.
#pragma once

#include "YuvImage.h"

namespace korasim {

using hostkit::YuvImage;

// Fills `out` with the centre 1/zoom of `full` (same format family), upscaled with a
// Catmull-Rom cubic to out's size, plane by plane.
void digitalZoom(const YuvImage& full, YuvImage& out, double zoom);

}  // namespace korasim

// Pictures of a replay's comparison for the page: the device's output and the replay's output
// as the before/after viewer shows a step (previews and 1:1 crops where they differ most), and
// their difference, amplified so that small differences show.
#pragma once

#include <stdint.h>

#include <vector>

#include "report/PageImages.h"

namespace korasim::html {

struct ComparisonPictures {
    StepPictures views;  // its "input" is the device's output, its "output" the replay's
    std::vector<uint8_t> differencePreview;  // PNG of the whole frame at the preview scale
    std::vector<uint8_t> differenceCrop;     // PNG of views.crop at 1:1; empty at scale 1
};

// Encodes the pictures of the replay's step `step`.
ComparisonPictures takeComparisonPictures(size_t step, const YuvImage& device,
                                          const YuvImage& replay);

}  // namespace korasim::html

#include "report/ComparisonPictures.h"

#include "image/Pictures.h"

namespace korasim::html {

ComparisonPictures takeComparisonPictures(size_t step, const YuvImage& device,
                                          const YuvImage& replay) {
    ComparisonPictures c;
    c.views = takePictures(step, device, replay);
    const int scale = c.views.previewScale;
    // The whole frame's difference at the preview scale shows where the outputs differ; the 1:1
    // crop shows by how much, pixel by pixel, where they differ most.
    c.differencePreview =
        encodePicture(amplifiedDifference(previewRgb(device, scale), previewRgb(replay, scale)));
    if (scale > 1) {
        c.differenceCrop = encodePicture(
            amplifiedDifference(regionRgb(device, c.views.crop), regionRgb(replay, c.views.crop)));
    }
    return c;
}

}  // namespace korasim::html

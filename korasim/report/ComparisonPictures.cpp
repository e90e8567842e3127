#include "report/ComparisonPictures.h"

#include <stdexcept>
#include <string>

#include "image/Pictures.h"
#include "image/Png.h"

namespace korasim::html {

namespace {

std::vector<uint8_t> encode(const RgbImage& image) {
    std::vector<uint8_t> png;
    std::string error;
    if (!encodePng(image, &png, &error, 1))
        throw std::runtime_error("html page: cannot encode a difference picture: " + error);
    return png;
}

}  // namespace

ComparisonPictures takeComparisonPictures(size_t step, const YuvImage& device,
                                          const YuvImage& replay) {
    ComparisonPictures c;
    c.views = takePictures(step, device, replay);
    const int scale = c.views.previewScale;
    // The whole frame's difference at the preview scale shows where the outputs differ; the 1:1
    // crop shows by how much, pixel by pixel, where they differ most.
    c.differencePreview =
        encode(amplifiedDifference(previewRgb(device, scale), previewRgb(replay, scale)));
    if (scale > 1) {
        c.differenceCrop = encode(
            amplifiedDifference(regionRgb(device, c.views.crop), regionRgb(replay, c.views.crop)));
    }
    return c;
}

}  // namespace korasim::html

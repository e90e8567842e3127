#include "image/Pictures.h"

#include <algorithm>
#include <cstdlib>

#include "image/Lettering.h"

namespace korasim {

RgbImage sideBySide(const RgbImage& input, const RgbImage& output) {
    const int gap = 16, band = 60;
    RgbImage canvas(input.width + gap + output.width, std::max(input.height, output.height) + band);
    paste(canvas, input, 0, band);
    paste(canvas, output, input.width + gap, band);
    drawLabel(canvas, "INPUT", 8, 4, 5);
    drawLabel(canvas, "OUTPUT", input.width + gap + 8, 4, 5);
    return canvas;
}

RgbImage amplifiedDifference(const RgbImage& input, const RgbImage& output, int gain) {
    RgbImage diff(std::min(input.width, output.width), std::min(input.height, output.height));
    for (int y = 0; y < diff.height; ++y) {
        for (int x = 0; x < diff.width; ++x) {
            const uint8_t *p = input.at(x, y), *q = output.at(x, y);
            for (int c = 0; c < 3; ++c)
                diff.at(x, y)[c] = uint8_t(std::min(255, std::abs(int(p[c]) - int(q[c])) * gain));
        }
    }
    return diff;
}

void paste(RgbImage& canvas, const RgbImage& image, int left, int top, int x0, int y0, int w,
           int h) {
    if (w < 0)
        w = image.width;
    if (h < 0)
        h = image.height;
    for (int y = 0; y < h && top + y < canvas.height && y0 + y < image.height; ++y) {
        for (int x = 0; x < w && left + x < canvas.width && x0 + x < image.width; ++x) {
            const uint8_t* p = image.at(x0 + x, y0 + y);
            std::copy(p, p + 3, canvas.at(left + x, top + y));
        }
    }
}

}  // namespace korasim

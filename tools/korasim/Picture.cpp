#include "Picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Scene.h"

namespace korasim {

std::optional<double> psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty())
        return std::nullopt;
    uint64_t sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const int d = int(a[i]) - int(b[i]);
        sum += uint64_t(d * d);
    }
    if (sum == 0)
        return std::nullopt;
    const double mse = double(sum) / double(a.size());
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

std::optional<Difference> difference(const YuvBuffer& input, const YuvBuffer& output) {
    if (input.width() != output.width() || input.height() != output.height())
        return std::nullopt;
    const std::vector<uint8_t> a = input.visibleBytes(), b = output.visibleBytes();
    Difference d;
    d.psnrDb = psnr(a, b);
    // A pixel changed when its luma or the chroma pair of its 2x2 block changed.
    const uint32_t w = input.width(), h = input.height(), cw = input.chromaRowBytes();
    const size_t lumaSize = size_t(w) * h;
    uint64_t changed = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const size_t chromaRow = lumaSize + size_t(y / 2) * cw;
        for (uint32_t x = 0; x < w; ++x) {
            const size_t l = size_t(y) * w + x, c = chromaRow + (x & ~1u);
            changed += a[l] != b[l] || a[c] != b[c] || a[c + 1] != b[c + 1];
        }
    }
    d.changedPixels = lumaSize ? double(changed) / double(lumaSize) : 0.0;
    return d;
}

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

ByteComparison compareBytes(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    ByteComparison c;
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i)
        c.differingBytes += a[i] != b[i];
    c.differingBytes += std::max(a.size(), b.size()) - common;
    c.identical = c.differingBytes == 0;
    c.psnrDb = psnr(a, b);
    return c;
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

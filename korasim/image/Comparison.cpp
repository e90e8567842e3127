#include "image/Comparison.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "image/Scene.h"

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
    // Row by row through the padded planes: a 12-megapixel request gets no extra copies.
    const uint32_t w = input.width(), h = input.height(), cw = input.chromaRowBytes();
    uint64_t squares = 0, changed = 0;
    auto sumRow = [&squares](const uint8_t* a, const uint8_t* b, uint32_t n) {
        for (uint32_t x = 0; x < n; ++x) {
            const int d = int(a[x]) - int(b[x]);
            squares += uint64_t(d * d);
        }
    };
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* la = input.luma() + size_t(y) * input.stride();
        const uint8_t* lb = output.luma() + size_t(y) * output.stride();
        const uint8_t* ca = input.chroma() + size_t(y / 2) * input.stride();
        const uint8_t* cb = output.chroma() + size_t(y / 2) * output.stride();
        sumRow(la, lb, w);
        if (y % 2 == 0)
            sumRow(ca, cb, cw);
        // A pixel changed when its luma or the chroma pair of its 2x2 block changed.
        for (uint32_t x = 0; x < w; ++x) {
            const uint32_t c = x & ~1u;
            changed += la[x] != lb[x] || ca[c] != cb[c] || ca[c + 1] != cb[c + 1];
        }
    }
    Difference d;
    const uint64_t bytes = uint64_t(w) * h + uint64_t(cw) * input.chromaRows();
    if (squares != 0)
        d.psnrDb = 10.0 * std::log10(255.0 * 255.0 * double(bytes) / double(squares));
    d.changedPixels = w && h ? double(changed) / (double(w) * h) : 0.0;
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

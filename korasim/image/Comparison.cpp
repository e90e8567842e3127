#include "image/Comparison.h"

#include <libyuv/compare.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace korasim {

namespace {

double psnrOf(uint64_t squares, uint64_t bytes) {
    return 10.0 * std::log10(255.0 * 255.0 * double(bytes) / double(squares));
}

}  // namespace

std::optional<double> psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty())
        return std::nullopt;
    const uint64_t squares = libyuv::ComputeSumSquareError(a.data(), b.data(), int(a.size()));
    if (squares == 0)
        return std::nullopt;
    return psnrOf(squares, a.size());
}

std::optional<Difference> difference(const YuvImage& input, const YuvImage& output) {
    if (input.width() != output.width() || input.height() != output.height())
        return std::nullopt;
    // Through the padded planes: a 12-megapixel request gets no extra copies.
    const uint32_t w = input.width(), h = input.height(), cw = input.chromaRowBytes();
    const uint64_t squares =
        libyuv::ComputeSumSquareErrorPlane(input.luma(), int(input.stride()), output.luma(),
                                           int(output.stride()), int(w), int(h)) +
        libyuv::ComputeSumSquareErrorPlane(input.chroma(), int(input.stride()), output.chroma(),
                                           int(output.stride()), int(cw), int(input.chromaRows()));
    uint64_t changed = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* la = input.luma() + size_t(y) * input.stride();
        const uint8_t* lb = output.luma() + size_t(y) * output.stride();
        const uint8_t* ca = input.chroma() + size_t(y / 2) * input.stride();
        const uint8_t* cb = output.chroma() + size_t(y / 2) * output.stride();
        // A pixel changed when its luma or the chroma pair of its 2x2 block changed.
        for (uint32_t x = 0; x < w; ++x) {
            const uint32_t c = x & ~1u;
            changed += la[x] != lb[x] || ca[c] != cb[c] || ca[c + 1] != cb[c + 1];
        }
    }
    Difference d;
    if (squares != 0)
        d.psnrDb = psnrOf(squares, uint64_t(w) * h + uint64_t(cw) * input.chromaRows());
    d.changedPixels = w && h ? double(changed) / (double(w) * h) : 0.0;
    return d;
}

// Counted by hand: libyuv counts differing bits, not bytes.
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

double meanAbsLumaDiff(const YuvImage& a, const YuvImage& b) {
    if (a.width() != b.width() || a.height() != b.height() || a.width() == 0 || a.height() == 0) {
        return -1.0;
    }
    double total = 0;
    for (uint32_t y = 0; y < a.height(); ++y) {
        const uint8_t* ra = a.luma() + size_t(y) * a.stride();
        const uint8_t* rb = b.luma() + size_t(y) * b.stride();
        long long rowSum = 0;
        for (uint32_t x = 0; x < a.width(); ++x)
            rowSum += std::abs(int(ra[x]) - int(rb[x]));
        total += static_cast<double>(rowSum);
    }
    return total / (double(a.width()) * a.height());
}

}  // namespace korasim

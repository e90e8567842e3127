#include "image/DigitalZoom.h"

#include "image/RgbImage.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace korasim {

namespace {

// Catmull-Rom weights for a fractional offset t in [0, 1).
void cubicWeights(float t, float w[4]) {
    const float t2 = t * t, t3 = t2 * t;
    w[0] = 0.5f * (-t3 + 2 * t2 - t);
    w[1] = 0.5f * (3 * t3 - 5 * t2 + 2);
    w[2] = 0.5f * (-3 * t3 + 4 * t2 + t);
    w[3] = 0.5f * (t3 - t2);
}

// Resamples the window (cropX, cropY, cropW, cropH) of one channel of a plane to dstW x dstH.
// Samples of the channel are `step` bytes apart in a row.
void resampleChannel(const uint8_t* src, size_t srcStride, int step, int srcW, int srcH,
                     double cropX, double cropY, double cropW, double cropH, uint8_t* dst,
                     size_t dstStride, int dstW, int dstH) {
    std::vector<int> xIndex(static_cast<size_t>(dstW) * 4);
    std::vector<float> xWeight(static_cast<size_t>(dstW) * 4);
    for (int x = 0; x < dstW; ++x) {
        const double sx = cropX + (x + 0.5) * cropW / dstW - 0.5;
        const int base = static_cast<int>(std::floor(sx));
        cubicWeights(static_cast<float>(sx - base), &xWeight[x * 4]);
        for (int k = 0; k < 4; ++k)
            xIndex[x * 4 + k] = std::clamp(base - 1 + k, 0, srcW - 1);
    }
    // Horizontal pass over every source row the vertical taps can reach.
    const int rowFirst = std::max(0, static_cast<int>(std::floor(cropY)) - 2);
    const int rowLast = std::min(srcH - 1, static_cast<int>(std::ceil(cropY + cropH)) + 2);
    const int rows = rowLast - rowFirst + 1;
    std::vector<float> horizontal(static_cast<size_t>(rows) * dstW);
    for (int r = 0; r < rows; ++r) {
        const uint8_t* line = src + static_cast<size_t>(rowFirst + r) * srcStride;
        float* out = &horizontal[static_cast<size_t>(r) * dstW];
        for (int x = 0; x < dstW; ++x) {
            const int* idx = &xIndex[x * 4];
            const float* w = &xWeight[x * 4];
            out[x] = w[0] * line[idx[0] * step] + w[1] * line[idx[1] * step] +
                     w[2] * line[idx[2] * step] + w[3] * line[idx[3] * step];
        }
    }
    for (int y = 0; y < dstH; ++y) {
        const double sy = cropY + (y + 0.5) * cropH / dstH - 0.5;
        const int base = static_cast<int>(std::floor(sy));
        float w[4];
        cubicWeights(static_cast<float>(sy - base), w);
        const float* taps[4];
        for (int k = 0; k < 4; ++k) {
            const int r = std::clamp(base - 1 + k, rowFirst, rowLast) - rowFirst;
            taps[k] = &horizontal[static_cast<size_t>(r) * dstW];
        }
        uint8_t* out = dst + static_cast<size_t>(y) * dstStride;
        for (int x = 0; x < dstW; ++x) {
            out[x * step] = clampToByte(w[0] * taps[0][x] + w[1] * taps[1][x] + w[2] * taps[2][x] +
                                        w[3] * taps[3][x]);
        }
    }
}

}  // namespace

void digitalZoom(const YuvImage& full, YuvImage& out, double zoom) {
    zoom = std::max(1.0, zoom);
    const double cropW = full.width() / zoom, cropH = full.height() / zoom;
    const double cropX = (full.width() - cropW) / 2, cropY = (full.height() - cropH) / 2;
    resampleChannel(full.luma(), full.stride(), 1, static_cast<int>(full.width()),
                    static_cast<int>(full.height()), cropX, cropY, cropW, cropH, out.luma(),
                    out.stride(), static_cast<int>(out.width()), static_cast<int>(out.height()));
    const int srcChromaW = static_cast<int>(full.chromaRowBytes() / 2);
    const int dstChromaW = static_cast<int>(out.chromaRowBytes() / 2);
    // Chroma keeps its own order when formats differ: swap channels for NV21 <-> NV12.
    const bool swap = hostkit::isVuOrder(full.format()) != hostkit::isVuOrder(out.format());
    for (int channel = 0; channel < 2; ++channel) {
        const int dstChannel = swap ? 1 - channel : channel;
        resampleChannel(full.chroma() + channel, full.stride(), 2, srcChromaW,
                        static_cast<int>(full.chromaRows()), cropX / 2, cropY / 2, cropW / 2,
                        cropH / 2, out.chroma() + dstChannel, out.stride(), dstChromaW,
                        static_cast<int>(out.chromaRows()));
    }
}

}  // namespace korasim

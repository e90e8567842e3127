#include "PageImages.h"

#include <stdlib.h>

#include <algorithm>
#include <future>
#include <stdexcept>

#include "Png.h"

namespace korasim::html {

namespace {

uint8_t clampByte(float v) {
    return static_cast<uint8_t>(v < 0.0f ? 0.0f : (v > 255.0f ? 255.0f : v + 0.5f));
}

void toRgb(float y, float u, float v, uint8_t* p) {
    p[0] = clampByte(y + 1.402f * v);
    p[1] = clampByte(y - 0.344136f * u - 0.714136f * v);
    p[2] = clampByte(y + 1.772f * u);
}

// Offsets of V and U inside a chroma pair.
int vOffset(const YuvBuffer& b) {
    return isVuOrder(b.format()) ? 0 : 1;
}

// Fast settings for pictures that are written on every run with --html: zlib level 1 costs
// about a tenth more bytes than level 3 on camera frames and encodes twice as fast.
constexpr int kPngLevel = 1;

std::vector<uint8_t> encode(const RgbImage& image) {
    std::vector<uint8_t> png;
    std::string error;
    if (!encodePng(image, &png, &error, kPngLevel))
        throw std::runtime_error("html page: cannot encode a picture: " + error);
    return png;
}

}  // namespace

RgbImage previewRgb(const YuvBuffer& b, int scale) {
    const int w = static_cast<int>(b.width()) / scale, h = static_cast<int>(b.height()) / scale;
    RgbImage out(std::max(w, 1), std::max(h, 1));
    const int vo = vOffset(b);
    const int cs = std::max(scale / 2, 1);  // chroma samples per block side
    for (int oy = 0; oy < out.height; ++oy) {
        const int y0 = oy * scale;
        for (int ox = 0; ox < out.width; ++ox) {
            const int x0 = ox * scale;
            unsigned luma = 0;
            for (int dy = 0; dy < scale; ++dy) {
                const uint8_t* row = b.luma() + size_t(y0 + dy) * b.stride() + x0;
                for (int dx = 0; dx < scale; ++dx)
                    luma += row[dx];
            }
            int u = 0, v = 0;
            for (int dy = 0; dy < cs; ++dy) {
                const uint8_t* row = b.chroma() + size_t(y0 / 2 + dy) * b.stride() + (x0 / 2) * 2;
                for (int dx = 0; dx < cs; ++dx) {
                    v += row[dx * 2 + vo];
                    u += row[dx * 2 + 1 - vo];
                }
            }
            const float n = static_cast<float>(cs * cs);
            toRgb(static_cast<float>(luma) / float(scale * scale), u / n - 128.0f, v / n - 128.0f,
                  out.at(ox, oy));
        }
    }
    return out;
}

RgbImage regionRgb(const YuvBuffer& b, const Region& r) {
    const int x0 = std::clamp(r.x, 0, static_cast<int>(b.width()));
    const int y0 = std::clamp(r.y, 0, static_cast<int>(b.height()));
    const int w = std::min(r.width, static_cast<int>(b.width()) - x0);
    const int h = std::min(r.height, static_cast<int>(b.height()) - y0);
    RgbImage out(std::max(w, 1), std::max(h, 1));
    const int vo = vOffset(b);
    for (int y = 0; y < h; ++y) {
        const uint8_t* ly = b.luma() + size_t(y0 + y) * b.stride();
        const uint8_t* cr = b.chroma() + size_t((y0 + y) / 2) * b.stride();
        for (int x = 0; x < w; ++x) {
            const int c = ((x0 + x) / 2) * 2;
            toRgb(ly[x0 + x], cr[c + 1 - vo] - 128.0f, cr[c + vo] - 128.0f, out.at(x, y));
        }
    }
    return out;
}

Region mostChangedRegion(const YuvBuffer& a, const YuvBuffer& b, int width, int height) {
    const int fw = static_cast<int>(std::min(a.width(), b.width()));
    const int fh = static_cast<int>(std::min(a.height(), b.height()));
    width = std::min(width, fw);
    height = std::min(height, fh);
    Region best{(fw - width) / 2 & ~1, (fh - height) / 2 & ~1, width, height};
    // Sum of |a - b| over 16x16 blocks (every other pixel), then the window of blocks with the
    // largest total from a summed-area table.
    constexpr int kBlock = 16;
    const int bw = fw / kBlock, bh = fh / kBlock;
    const int ww = width / kBlock, wh = height / kBlock;
    if (bw == 0 || bh == 0 || ww == 0 || wh == 0)
        return best;
    std::vector<uint64_t> table(size_t(bw + 1) * (bh + 1), 0);
    auto at = [&](int x, int y) -> uint64_t& { return table[size_t(y) * (bw + 1) + x]; };
    for (int by = 0; by < bh; ++by) {
        for (int bx = 0; bx < bw; ++bx) {
            uint64_t sum = 0;
            for (int y = by * kBlock; y < (by + 1) * kBlock; y += 2) {
                const uint8_t* pa = a.luma() + size_t(y) * a.stride();
                const uint8_t* pb = b.luma() + size_t(y) * b.stride();
                for (int x = bx * kBlock; x < (bx + 1) * kBlock; x += 2)
                    sum += static_cast<uint64_t>(abs(pa[x] - pb[x]));
            }
            at(bx + 1, by + 1) = sum + at(bx, by + 1) + at(bx + 1, by) - at(bx, by);
        }
    }
    uint64_t bestSum = 0;
    for (int y = 0; y + wh <= bh; ++y) {
        for (int x = 0; x + ww <= bw; ++x) {
            const uint64_t s = at(x + ww, y + wh) - at(x, y + wh) - at(x + ww, y) + at(x, y);
            if (s > bestSum) {
                bestSum = s;
                best.x = x * kBlock;
                best.y = y * kBlock;
            }
        }
    }
    return best;
}

StepPictures takePictures(size_t step, const YuvBuffer& input, const YuvBuffer& output) {
    StepPictures p;
    p.step = step;
    p.frameWidth = static_cast<int>(input.width());
    p.frameHeight = static_cast<int>(input.height());
    const int sx = (p.frameWidth + kPreviewMaxWidth - 1) / kPreviewMaxWidth;
    const int sy = (p.frameHeight + kPreviewMaxHeight - 1) / kPreviewMaxHeight;
    p.previewScale = std::max({sx, sy, 1});
    // Each picture is converted and encoded on its own thread: PNG encoding dominates.
    auto preview = [&](const YuvBuffer& b) {
        return std::async(std::launch::async,
                          [&b, scale = p.previewScale] { return encode(previewRgb(b, scale)); });
    };
    auto inPreview = preview(input), outPreview = preview(output);
    if (p.previewScale == 1) {
        p.crop = Region{0, 0, p.frameWidth, p.frameHeight};
    } else {
        p.crop = mostChangedRegion(input, output, kCropMaxWidth, kCropMaxHeight);
        auto inCrop =
            std::async(std::launch::async, [&] { return encode(regionRgb(input, p.crop)); });
        p.outputCrop = encode(regionRgb(output, p.crop));
        p.inputCrop = inCrop.get();
    }
    p.inputPreview = inPreview.get();
    p.outputPreview = outPreview.get();
    return p;
}

}  // namespace korasim::html

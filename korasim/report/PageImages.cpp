#include "report/PageImages.h"

#include <libyuv/scale.h>
#include <stdlib.h>

#include <algorithm>
#include <future>
#include <stdexcept>

#include "image/Png.h"

namespace korasim::html {

// zlib level 1: the pictures are written on every run with --html, so speed comes first.
std::vector<uint8_t> encodePicture(const RgbImage& image) {
    std::vector<uint8_t> png;
    std::string error;
    if (!encodePng(image, &png, &error, 1))
        throw std::runtime_error("html page: cannot encode a picture: " + error);
    return png;
}

RgbImage previewRgb(const YuvImage& b, int scale) {
    if (scale <= 1)
        return regionRgb(b, Region{0, 0, int(b.width()), int(b.height())});
    // The luma and the interleaved chroma are box-filtered separately (the order of U and V
    // does not matter to the scaler), then converted at the small size.
    const int w = std::max(int(b.width()) / scale, 1), h = std::max(int(b.height()) / scale, 1);
    const int uvStride = (w + 1) / 2 * 2;
    std::vector<uint8_t> y(size_t(w) * h), uv(size_t(uvStride) * ((h + 1) / 2));
    if (libyuv::NV12Scale(b.luma(), int(b.stride()), b.chroma(), int(b.stride()), int(b.width()),
                          int(b.height()), y.data(), w, uv.data(), uvStride, w, h,
                          libyuv::kFilterBox) != 0) {
        throw std::runtime_error("html page: libyuv cannot scale a preview");
    }
    return semiPlanarToRgb(y.data(), uv.data(), w, uvStride, isVuOrder(b.format()), w, h);
}

RgbImage regionRgb(const YuvImage& b, const Region& r) {
    const int x0 = std::clamp(r.x, 0, int(b.width())) & ~1;
    const int y0 = std::clamp(r.y, 0, int(b.height())) & ~1;
    const int w = std::max(std::min(r.width, int(b.width()) - x0), 1);
    const int h = std::max(std::min(r.height, int(b.height()) - y0), 1);
    return semiPlanarToRgb(b.luma() + size_t(y0) * b.stride() + x0,
                           b.chroma() + size_t(y0 / 2) * b.stride() + x0, int(b.stride()),
                           int(b.stride()), isVuOrder(b.format()), w, h);
}

Region mostChangedRegion(const YuvImage& a, const YuvImage& b, int width, int height) {
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

StepPictures takePictures(size_t step, const YuvImage& input, const YuvImage& output) {
    StepPictures p;
    p.step = step;
    p.frameWidth = static_cast<int>(input.width());
    p.frameHeight = static_cast<int>(input.height());
    const int sx = (p.frameWidth + kPreviewMaxWidth - 1) / kPreviewMaxWidth;
    const int sy = (p.frameHeight + kPreviewMaxHeight - 1) / kPreviewMaxHeight;
    p.previewScale = std::max({sx, sy, 1});
    // Each picture is converted and encoded on its own thread: PNG encoding dominates.
    auto preview = [&](const YuvImage& b) {
        return std::async(std::launch::async, [&b, scale = p.previewScale] {
            return encodePicture(previewRgb(b, scale));
        });
    };
    auto inPreview = preview(input), outPreview = preview(output);
    if (p.previewScale == 1) {
        p.crop = Region{0, 0, p.frameWidth, p.frameHeight};
    } else {
        p.crop = mostChangedRegion(input, output, kCropMaxWidth, kCropMaxHeight);
        auto inCrop =
            std::async(std::launch::async, [&] { return encodePicture(regionRgb(input, p.crop)); });
        p.outputCrop = encodePicture(regionRgb(output, p.crop));
        p.inputCrop = inCrop.get();
    }
    p.inputPreview = inPreview.get();
    p.outputPreview = outPreview.get();
    return p;
}

}  // namespace korasim::html

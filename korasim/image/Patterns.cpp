#include "image/Patterns.h"

#include <algorithm>

#include "image/DigitalZoom.h"
#include "image/Scene.h"
#include "image/YuvRgb.h"

namespace korasim {

YuvImage blankImage(uint32_t format, uint32_t width, uint32_t height, uint32_t stride,
                    uint32_t scanline) {
    // Chroma rows of an odd width reach one byte past it: the stride must hold them.
    YuvImage image(width, height, format, std::max({stride, width, (width + 1) & ~1u}),
                   std::max(scanline, height));
    image.fill(0, 128);
    return image;
}

const std::vector<std::string>& patternNames() {
    static const std::vector<std::string> names = {"zero",  "gradient", "noise",
                                                   "chart", "scene",    "sceneFull"};
    return names;
}

bool isPatternName(const std::string& name) {
    const auto& names = patternNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

void fillPattern(YuvImage& buffer, const std::string& name, uint32_t seed) {
    const uint32_t w = buffer.width(), h = buffer.height(), stride = buffer.stride();
    if (name == "zero") {
        buffer.fill(0, 128);
    } else if (name == "gradient") {
        for (uint32_t y = 0; y < h; ++y) {
            uint8_t* row = buffer.luma() + size_t(y) * stride;
            for (uint32_t x = 0; x < w; ++x) {
                row[x] = static_cast<uint8_t>(
                    (255.0 * x / std::max(1u, w - 1) + 255.0 * y / std::max(1u, h - 1)) / 2.0);
            }
        }
        for (uint32_t y = 0; y < buffer.chromaRows(); ++y) {
            uint8_t* row = buffer.chroma() + size_t(y) * stride;
            for (uint32_t x = 0; x < buffer.chromaRowBytes(); x += 2) {
                row[x] = static_cast<uint8_t>(64 + 128 * x / std::max(1u, buffer.chromaRowBytes()));
                row[x + 1] = static_cast<uint8_t>(64 + 128 * y / std::max(1u, buffer.chromaRows()));
            }
        }
    } else if (name == "noise") {
        buffer.fillPattern(seed);
    } else if (name == "chart") {
        fillFromRgb(buffer, renderChart(static_cast<int>(w), static_cast<int>(h)));
    } else if (name == "scene" || name == "sceneFull") {
        YuvImage full(w, h, buffer.format());
        fillFromRgb(full, renderScene(static_cast<int>(w), static_cast<int>(h)));
        if (name == "sceneFull") {
            buffer.setVisibleBytes(full.visibleBytes());
        } else {
            digitalZoom(full, buffer, 10.0);
        }
    }
}

}  // namespace korasim

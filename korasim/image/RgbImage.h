// 8-bit RGB pictures: previews, test scenes and the images a session reads from PNG files.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace korasim {

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;  // width * height * 3, rows top to bottom

    RgbImage() = default;
    RgbImage(int w, int h, uint8_t fill = 0)
        : width(w), height(h), pixels(static_cast<size_t>(w) * h * 3, fill) {}
    uint8_t* at(int x, int y) { return &pixels[(static_cast<size_t>(y) * width + x) * 3]; }
    const uint8_t* at(int x, int y) const {
        return &pixels[(static_cast<size_t>(y) * width + x) * 3];
    }
};

// A channel value rounded and clipped to 0..255.
inline uint8_t clampToByte(float v) {
    return static_cast<uint8_t>((v < 0.0f ? 0.0f : v > 255.0f ? 255.0f : v) + 0.5f);
}

}  // namespace korasim

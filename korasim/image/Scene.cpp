#include "image/Scene.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "image/Lettering.h"

namespace korasim {

namespace {

struct Rgb {
    float r, g, b;
};

// Cheap deterministic hash noise in [0, 1).
float hash01(uint32_t x, uint32_t y) {
    uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ 0x9e3779b9u;
    h ^= h >> 15;
    h *= 0x2c1b3c6du;
    h ^= h >> 12;
    h *= 0x297a2d39u;
    h ^= h >> 15;
    return static_cast<float>(h & 0xFFFFFF) / 16777216.0f;
}

// Siemens star: `spokes` dark wedges around (cx, cy) inside `radius`.
bool onStar(float cx, float cy, float radius, int spokes, float x, float y, bool* inside) {
    const float dx = x - cx, dy = y - cy;
    *inside = dx * dx + dy * dy <= radius * radius;
    if (!*inside)
        return false;
    const float angle = std::atan2(dy, dx);
    return std::sin(angle * static_cast<float>(spokes)) > 0.0f;
}

// The scene in units where the zoomed window (the centre tenth of the frame) spans 400 x 300;
// (0, 0) is that window's top-left corner.
Rgb sceneColor(float x, float y) {
    // Sign: dark blue panel with white lettering and a thin white frame.
    if (x >= 170 && x < 392 && y >= 18 && y < 124) {
        if (x < 173 || x >= 389 || y < 21 || y >= 121)
            return {235, 235, 235};
        if (onText("SDSR 10X", 183, 30, 3.5f, x, y) || onText("KORASIM", 183, 64, 2.5f, x, y) ||
            onText("ZOOM DEMO", 183, 90, 1.6f, x, y)) {
            return {245, 245, 240};
        }
        return {20, 40, 110};
    }
    // Resolution star on a light disk.
    bool inside = false;
    if (onStar(85, 150, 72, 24, x, y, &inside))
        return {25, 25, 25};
    if (inside)
        return {230, 230, 225};
    const float ringDx = x - 85, ringDy = y - 150;
    const float ring = std::sqrt(ringDx * ringDx + ringDy * ringDy);
    if (ring >= 72 && ring < 76)
        return {60, 55, 50};
    // Windows: frames, panes with a sky reflection.
    if (x >= 170 && x < 392 && y >= 134 && y < 212) {
        const float wx = std::fmod(x - 170, 22.0f), wy = std::fmod(y - 134, 26.0f);
        if (wx < 4 || wy < 4)
            return {90, 80, 70};
        if (wx < 5 || wy < 5 || wx >= 21 || wy >= 25)
            return {200, 195, 185};
        const float t = (wx + wy) / 44.0f;
        return {60 + 60 * t, 90 + 70 * t, 130 + 80 * t};
    }
    // Line pairs of periods 8, 6, 4 and 3.
    if (x >= 170 && x < 390 && y >= 222 && y < 290) {
        const int group = static_cast<int>((x - 170) / 55);
        const float periods[4] = {8, 6, 4, 3};
        const float local = std::fmod(x - 170, 55.0f);
        if (local >= 50)
            return {200, 190, 180};
        const float period = periods[std::min(group, 3)];
        return std::fmod(local, period) < period / 2 ? Rgb{30, 30, 30} : Rgb{225, 225, 220};
    }
    // Small red and green tags with lettering under the star.
    if (y >= 236 && y < 262 && x >= 20 && x < 150) {
        const bool red = x < 85;
        if (onText(red ? "RED" : "OK", red ? 28 : 100, 241, 2.2f, x, y))
            return {250, 250, 250};
        return red ? Rgb{180, 30, 30} : Rgb{30, 140, 50};
    }
    // Brick wall everywhere else, rows offset by half a brick.
    const float brickW = 26, brickH = 11;
    const int row = static_cast<int>(std::floor(y / brickH));
    const float bx = std::fmod(x + (row % 2 ? brickW / 2 : 0) + 10000 * brickW, brickW);
    const float by = y - row * brickH;
    if (bx < 1.6f || by < 1.6f)
        return {205, 200, 190};
    const int column = static_cast<int>(std::floor((x + (row % 2 ? brickW / 2 : 0)) / brickW));
    const float shade = 0.85f + 0.3f * hash01(static_cast<uint32_t>(column + 5000),
                                              static_cast<uint32_t>(row + 5000));
    return {150 * shade, 80 * shade, 60 * shade};
}

}  // namespace

RgbImage renderScene(int width, int height) {
    RgbImage image(width, height);
    if (width <= 0 || height <= 0)
        return image;
    const float unit = static_cast<float>(width) / 4000.0f;  // full-resolution pixels per unit
    const float originX = width * 0.45f, originY = height * 0.45f;
    const float winW = width * 0.1f, winH = height * 0.1f;
    // Supersampled inside the zoom window (and a margin for the blur), one sample outside.
    const int x0 = std::max(0, static_cast<int>(originX) - 4);
    const int y0 = std::max(0, static_cast<int>(originY) - 4);
    const int x1 = std::min(width, static_cast<int>(originX + winW) + 4);
    const int y1 = std::min(height, static_cast<int>(originY + winH) + 4);
    const int ss = 4;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* p = image.at(x, y);
            const bool detailed = x >= x0 && x < x1 && y >= y0 && y < y1;
            Rgb c{0, 0, 0};
            if (!detailed && y < height * 0.3f) {
                const float t = static_cast<float>(y) / (height * 0.3f);
                c = {90 + 80 * t, 140 + 60 * t, 220 - 10 * t};
            } else {
                const int n = detailed ? ss : 1;
                for (int sy = 0; sy < n; ++sy) {
                    for (int sx = 0; sx < n; ++sx) {
                        const float fx = (x + (sx + 0.5f) / n - originX) / unit;
                        const float fy = (y + (sy + 0.5f) / n - originY) / unit;
                        const Rgb s = sceneColor(fx, fy);
                        c.r += s.r;
                        c.g += s.g;
                        c.b += s.b;
                    }
                }
                const float inv = 1.0f / static_cast<float>(n * n);
                c = {c.r * inv, c.g * inv, c.b * inv};
            }
            p[0] = clampToByte(c.r);
            p[1] = clampToByte(c.g);
            p[2] = clampToByte(c.b);
        }
    }
    // Lens softness ([1 2 1] in both directions) and sensor noise in the zoom window.
    std::vector<uint8_t> copy(image.pixels);
    uint32_t seed = 12345;
    for (int y = std::max(1, y0); y < std::min(height - 1, y1); ++y) {
        for (int x = std::max(1, x0); x < std::min(width - 1, x1); ++x) {
            float noise = 0;
            for (int k = 0; k < 3; ++k) {
                seed = seed * 1664525u + 1013904223u;
                noise += static_cast<float>(seed >> 8) / 16777216.0f - 0.5f;
            }
            noise *= 3.0f;  // about 1.5 levels standard deviation
            for (int ch = 0; ch < 3; ++ch) {
                float sum = 0;
                for (int dy = -1; dy <= 1; ++dy) {
                    for (int dx = -1; dx <= 1; ++dx) {
                        const float w = static_cast<float>((2 - std::abs(dx)) * (2 - std::abs(dy)));
                        sum += w * copy[(static_cast<size_t>(y + dy) * width + (x + dx)) * 3 + ch];
                    }
                }
                image.at(x, y)[ch] = clampToByte(sum / 16.0f + noise);
            }
        }
    }
    return image;
}

RgbImage renderChart(int width, int height) {
    RgbImage image(width, height);
    const float w = static_cast<float>(width), h = static_cast<float>(height);
    const Rgb patches[6] = {{200, 40, 40},  {40, 170, 60},  {40, 70, 200},
                            {230, 200, 40}, {200, 60, 190}, {40, 190, 200}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float fx = x / w, fy = y / h;
            Rgb c{128, 128, 128};
            if (fy < 0.25f) {
                const float level = std::floor(fx * 8) * 255.0f / 7.0f;
                c = {level, level, level};
            } else if (fy < 0.75f && fx < 0.5f) {
                bool inside = false;
                const float r = std::min(w * 0.24f, h * 0.24f);
                const bool dark = onStar(w * 0.25f, h * 0.5f, r, 16, x + 0.5f, y + 0.5f, &inside);
                c = dark ? Rgb{20, 20, 20} : (inside ? Rgb{235, 235, 235} : Rgb{128, 128, 128});
            } else if (fy < 0.75f) {
                const int period = 2 + static_cast<int>((fy - 0.25f) * 8);  // 2 .. 5 pixels
                c = (x % period) < (period + 1) / 2 ? Rgb{235, 235, 235} : Rgb{20, 20, 20};
            } else {
                c = patches[std::min(5, static_cast<int>(fx * 6))];
            }
            uint8_t* p = image.at(x, y);
            p[0] = clampToByte(c.r);
            p[1] = clampToByte(c.g);
            p[2] = clampToByte(c.b);
        }
    }
    return image;
}

}  // namespace korasim

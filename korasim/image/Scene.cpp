#include "image/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace korasim {

namespace {

struct Rgb {
    float r, g, b;
};

// 5x7 glyphs of the letters the scene writes; each row is 5 bits, most significant on the left.
struct Glyph {
    char c;
    uint8_t rows[7];
};
const Glyph kGlyphs[] = {
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'D', {0x1E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1E}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'N', {0x11, 0x19, 0x15, 0x13, 0x11, 0x11, 0x11}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'G', {0x0F, 0x10, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'C', {0x0F, 0x10, 0x10, 0x10, 0x10, 0x10, 0x0F}},
};

const Glyph* glyphOf(char c) {
    for (const auto& g : kGlyphs) {
        if (g.c == c)
            return &g;
    }
    return nullptr;
}

// True when (x, y) falls on a lit dot of `text` written from (left, top) with square dots of
// size `dot` and one dot of spacing between letters.
bool onText(const char* text, float left, float top, float dot, float x, float y) {
    if (y < top || y >= top + 7 * dot || x < left)
        return false;
    const int column = static_cast<int>((x - left) / dot);
    const int letter = column / 6;
    const int inLetter = column % 6;
    for (int i = 0; text[i] != '\0'; ++i) {
        if (i != letter)
            continue;
        const Glyph* g = glyphOf(text[i]);
        if (g == nullptr || inLetter >= 5)
            return false;
        const int row = static_cast<int>((y - top) / dot);
        return ((g->rows[row] >> (4 - inLetter)) & 1) != 0;
    }
    return false;
}

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

uint8_t toByte(float v) {
    return static_cast<uint8_t>(std::min(255.0f, std::max(0.0f, v)) + 0.5f);
}

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
            out[x * step] = toByte(w[0] * taps[0][x] + w[1] * taps[1][x] + w[2] * taps[2][x] +
                                   w[3] * taps[3][x]);
        }
    }
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
            p[0] = toByte(c.r);
            p[1] = toByte(c.g);
            p[2] = toByte(c.b);
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
                image.at(x, y)[ch] = toByte(sum / 16.0f + noise);
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
            p[0] = toByte(c.r);
            p[1] = toByte(c.g);
            p[2] = toByte(c.b);
        }
    }
    return image;
}

void drawLabel(RgbImage& image, const char* text, int left, int top, int dot) {
    const int length = static_cast<int>(std::strlen(text));
    const int width = (length * 6 + 1) * dot, height = 9 * dot;
    for (int y = std::max(0, top); y < std::min(image.height, top + height); ++y) {
        for (int x = std::max(0, left); x < std::min(image.width, left + width); ++x) {
            const bool lit =
                onText(text, static_cast<float>(left + dot), static_cast<float>(top + dot),
                       static_cast<float>(dot), x + 0.5f, y + 0.5f);
            uint8_t* p = image.at(x, y);
            p[0] = p[1] = p[2] = lit ? 255 : 0;
        }
    }
}

void digitalZoom(const YuvBuffer& full, YuvBuffer& out, double zoom) {
    zoom = std::max(1.0, zoom);
    const double cropW = full.width() / zoom, cropH = full.height() / zoom;
    const double cropX = (full.width() - cropW) / 2, cropY = (full.height() - cropH) / 2;
    resampleChannel(full.luma(), full.stride(), 1, static_cast<int>(full.width()),
                    static_cast<int>(full.height()), cropX, cropY, cropW, cropH, out.luma(),
                    out.stride(), static_cast<int>(out.width()), static_cast<int>(out.height()));
    const int srcChromaW = static_cast<int>(full.chromaRowBytes() / 2);
    const int dstChromaW = static_cast<int>(out.chromaRowBytes() / 2);
    // Chroma keeps its own order when formats differ: swap channels for NV21 <-> NV12.
    const bool swap = isVuOrder(full.format()) != isVuOrder(out.format());
    for (int channel = 0; channel < 2; ++channel) {
        const int dstChannel = swap ? 1 - channel : channel;
        resampleChannel(full.chroma() + channel, full.stride(), 2, srcChromaW,
                        static_cast<int>(full.chromaRows()), cropX / 2, cropY / 2, cropW / 2,
                        cropH / 2, out.chroma() + dstChannel, out.stride(), dstChromaW,
                        static_cast<int>(out.chromaRows()));
    }
}

}  // namespace korasim

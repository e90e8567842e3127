#include "image/Lettering.h"

#include <algorithm>
#include <cstring>

namespace korasim {

namespace {

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
}  // namespace

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

}  // namespace korasim

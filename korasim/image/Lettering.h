// Capital letters from a 5x7 dot font: the lettering of the demo's scene and the labels of
// korasim's pictures.
#pragma once

#include "image/RgbImage.h"

namespace korasim {

// True when (x, y) falls on a lit dot of `text` written from (left, top) with square dots of
// size `dot` and one dot of spacing between letters.
bool onText(const char* text, float left, float top, float dot, float x, float y);

// Writes capital letters (those the scene uses plus INPUT, OUTPUT) in white on a black box.
void drawLabel(RgbImage& image, const char* text, int left, int top, int dot);

}  // namespace korasim

// The content of a session's buffers: blank images as a session describes them and the named
// test patterns.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "YuvImage.h"

namespace korasim {

using hostkit::YuvImage;

// A buffer of a session: the stride at least the even width, the scanline at least the height,
// black luma and neutral chroma.
YuvImage blankImage(uint32_t format, uint32_t width, uint32_t height, uint32_t stride,
                    uint32_t scanline);

// Named content patterns. "zero": black luma, neutral chroma; "gradient": diagonal ramps;
// "noise": seeded uniform noise; "chart": bars, a star, fine lines and colour patches;
// "scene": the demo's digitally zoomed scene (10x); "sceneFull": that scene without zoom.
const std::vector<std::string>& patternNames();
bool isPatternName(const std::string& name);
void fillPattern(YuvImage& buffer, const std::string& name, uint32_t seed);

}  // namespace korasim

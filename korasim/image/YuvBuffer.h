// Owned YUV 4:2:0 semi-planar buffers (NV21, NV12) with row padding, the framework view onto
// them, image sources (patterns and files) and the measures korasim reports.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "VoaTypes.h"
#include "image/Png.h"

namespace korasim {

// Chroma order of a semi-planar buffer: NV21 stores V first (format 17), NV12 U first.
bool isVuOrder(uint32_t format);

class YuvBuffer {
  public:
    // Padding bytes are filled with 0xEE so that stray writes into them show in the report.
    YuvBuffer(uint32_t format, uint32_t width, uint32_t height, uint32_t stride, uint32_t scanline);

    uint32_t format() const { return m_format; }
    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    uint32_t stride() const { return m_stride; }
    uint32_t scanline() const { return m_scanline; }
    uint8_t* luma() { return m_bytes.data(); }
    const uint8_t* luma() const { return m_bytes.data(); }
    uint8_t* chroma() { return m_bytes.data() + lumaBytes(); }
    const uint8_t* chroma() const { return m_bytes.data() + lumaBytes(); }
    size_t lumaBytes() const { return size_t(m_stride) * m_scanline; }
    size_t chromaBytes() const { return size_t(m_stride) * ((m_scanline + 1) / 2); }
    // Visible bytes per chroma row and chroma rows.
    uint32_t chromaRowBytes() const { return (m_width + 1) & ~1u; }
    uint32_t chromaRows() const { return (m_height + 1) / 2; }

    // The visible pixels without padding: luma rows, then chroma rows (the layout of the
    // plugin's dump files).
    std::vector<uint8_t> visibleBytes() const;
    size_t visibleSize() const;
    std::string sha256() const;
    bool sameVisible(const YuvBuffer& other) const;

    // Fills the visible pixels from the packed layout above; false when the size differs.
    bool setVisibleBytes(const std::vector<uint8_t>& bytes);
    void fillFromRgb(const RgbImage& rgb);
    RgbImage toRgb() const;

    // A framework view: two planes, no file descriptors.
    ImageParams params();

  private:
    uint32_t m_format, m_width, m_height, m_stride, m_scanline;
    std::vector<uint8_t> m_bytes;
};

// Named content patterns. "zero": black luma, neutral chroma; "gradient": diagonal ramps;
// "noise": seeded uniform noise; "chart": bars, a star, fine lines and colour patches;
// "scene": the demo's digitally zoomed scene (10x); "sceneFull": that scene without zoom.
const std::vector<std::string>& patternNames();
bool isPatternName(const std::string& name);
void fillPattern(YuvBuffer& buffer, const std::string& name, uint32_t seed);

// Loads an image file into the buffer: a PNG (any size equal to the buffer's) or raw 4:2:0
// semi-planar bytes in the dump layout. False with a reason otherwise.
bool loadImageFile(YuvBuffer& buffer, const std::string& path, std::string* error);

// Area-averaging downscale of a whole RGB image by an integer factor (libyuv's box filter).
RgbImage shrink(const RgbImage& in, int factor);

// Mean Sobel gradient magnitude of the luma plane, in levels per pixel: the sharpness figure.
double lumaSharpness(const YuvBuffer& buffer);
// Mean absolute luma difference of two buffers of equal size.
double meanAbsLumaDiff(const YuvBuffer& a, const YuvBuffer& b);

}  // namespace korasim

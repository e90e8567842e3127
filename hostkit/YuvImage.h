// Owned YUV 4:2:0 semi-planar images (NV21, NV12) with row padding, and the framework's
// ImageParams view onto them: the buffers of a request on the host.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <vector>

#include "VoaTypes.h"

namespace hostkit {

// Chroma order of a semi-planar buffer: NV21 stores V first (format 17), NV12 U first.
bool isVuOrder(uint32_t format);

class YuvImage {
  public:
    // A width x height image (format 17 NV21 or 35 NV12) with `stride` bytes per row (0: the
    // width rounded up to even, which the chroma rows need) and `scanline` luma rows (0: the
    // height); both planes in one allocation, padding bytes filled with 0xEE so that stray reads
    // and writes show.
    YuvImage(uint32_t width, uint32_t height, uint32_t format = 17, uint32_t stride = 0,
             uint32_t scanline = 0);

    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    uint32_t stride() const { return m_stride; }
    uint32_t scanline() const { return m_scanline; }
    uint32_t format() const { return m_format; }
    uint8_t* luma() { return m_bytes.data(); }
    const uint8_t* luma() const { return m_bytes.data(); }
    uint8_t* chroma() { return m_bytes.data() + lumaBytes(); }
    const uint8_t* chroma() const { return m_bytes.data() + lumaBytes(); }
    size_t lumaBytes() const { return size_t(m_stride) * m_scanline; }
    size_t chromaBytes() const { return size_t(m_stride) * ((m_scanline + 1) / 2); }
    // Visible bytes per chroma row and chroma rows.
    uint32_t chromaRowBytes() const { return (m_width + 1) & ~1u; }
    uint32_t chromaRows() const { return (m_height + 1) / 2; }

    // Seeded uniform noise in the visible pixels, luma and chroma.
    void fillPattern(uint32_t seed);
    void fill(uint8_t luma, uint8_t chroma);

    // The visible pixels without padding: luma rows, then chroma rows (the layout of the
    // plugin's dump files).
    std::vector<uint8_t> visibleBytes() const;
    size_t visibleSize() const;
    // Fills the visible pixels from that layout; false when the size differs.
    bool setVisibleBytes(const std::vector<uint8_t>& bytes);
    bool sameVisiblePixels(const YuvImage& other) const;

    // A view for a request: two planes, fds -1, the access marker below, metadata as given.
    ImageParams params(std::shared_ptr<VoMetadata> metadata = nullptr,
                       std::shared_ptr<VoMetadata> physical = nullptr);
    VoBufferAccessType marker = VO_BUFFER_ACCESS_NONE;

  private:
    uint32_t m_width, m_height, m_format, m_stride, m_scanline;
    std::vector<uint8_t> m_bytes;
};

}  // namespace hostkit

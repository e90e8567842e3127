// Owned YUV 4:2:0 semi-planar images for tests, with ImageParams views onto them.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include "VoaTypes.h"

namespace sdsrtest {

class YuvImage {
  public:
    // A width x height image (format 17 NV21 or 35 NV12) with `stride` bytes per row (0: the
    // width) and `scanline` luma rows (0: the height); both planes in one allocation, padding
    // bytes filled with 0xEE so stray reads and writes show.
    YuvImage(uint32_t width, uint32_t height, uint32_t format = 17, uint32_t stride = 0,
             uint32_t scanline = 0);

    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    uint32_t stride() const { return m_stride; }
    uint32_t scanline() const { return m_scanline; }
    uint32_t format() const { return m_format; }
    uint8_t* luma() { return m_bytes.data(); }
    uint8_t* chroma() { return m_bytes.data() + size_t(m_stride) * m_scanline; }
    size_t lumaBytes() const { return size_t(m_stride) * m_scanline; }
    size_t chromaBytes() const { return size_t(m_stride) * ((m_scanline + 1) / 2); }

    // Deterministic content: a seeded pattern in the visible pixels.
    void fillPattern(uint32_t seed);
    void fill(uint8_t luma, uint8_t chroma);
    // The visible pixels only (rows without padding): luma rows, then chroma rows.
    std::vector<uint8_t> visibleBytes() const;
    bool sameVisiblePixels(const YuvImage& other) const;

    // A view for a request: two planes, fds -1, metadata as given.
    ImageParams params(std::shared_ptr<VoMetadata> metadata = nullptr,
                       std::shared_ptr<VoMetadata> physical = nullptr);
    VoBufferAccessType marker = VO_BUFFER_ACCESS_NONE;

  private:
    uint32_t m_width, m_height, m_format, m_stride, m_scanline;
    std::vector<uint8_t> m_bytes;
};

// A metadata container whose tags enable SDSR for a request (sdsrui 2, trigger 1, mode 1, a
// SmartAE record with algoType 7 and sensor mode 0, zoom 10.0).
std::shared_ptr<VoMetadata> enablingMetadata(float zoom = 10.0f);
// Writes a SmartAE record (full size unless `size` is smaller).
void putSmartAE(VoMetadata& meta, int32_t algoType, int32_t sensorMode, size_t size = 0);
void putInt(VoMetadata& meta, const char* tagName, int32_t value);
void putInt64(VoMetadata& meta, const char* tagName, int64_t value);
void putFloat(VoMetadata& meta, uint32_t tag, float value);
void putString(VoMetadata& meta, const char* tagName, const std::string& text, bool withNul);

}  // namespace sdsrtest

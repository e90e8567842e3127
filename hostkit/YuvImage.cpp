#include "YuvImage.h"

#include <string.h>

namespace hostkit {

bool isVuOrder(uint32_t format) {
    return format == VO_FORMAT_YCrCb_420_SP;
}

YuvImage::YuvImage(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                   uint32_t scanline)
    : m_width(width),
      m_height(height),
      m_format(format),
      m_stride(stride ? stride : (width + 1) & ~1u),
      m_scanline(scanline ? scanline : height) {
    m_bytes.assign(lumaBytes() + chromaBytes(), 0xEE);
}

void YuvImage::fillPattern(uint32_t seed) {
    uint32_t state = seed * 2654435761u + 1;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return uint8_t(state >> 24);
    };
    for (uint32_t y = 0; y < m_height; ++y) {
        for (uint32_t x = 0; x < m_width; ++x)
            luma()[size_t(y) * m_stride + x] = next();
    }
    for (uint32_t y = 0; y < chromaRows(); ++y) {
        for (uint32_t x = 0; x < chromaRowBytes(); ++x)
            chroma()[size_t(y) * m_stride + x] = next();
    }
}

void YuvImage::fill(uint8_t lumaValue, uint8_t chromaValue) {
    for (uint32_t y = 0; y < m_height; ++y)
        memset(luma() + size_t(y) * m_stride, lumaValue, m_width);
    for (uint32_t y = 0; y < chromaRows(); ++y)
        memset(chroma() + size_t(y) * m_stride, chromaValue, chromaRowBytes());
}

size_t YuvImage::visibleSize() const {
    return size_t(m_width) * m_height + size_t(chromaRowBytes()) * chromaRows();
}

std::vector<uint8_t> YuvImage::visibleBytes() const {
    std::vector<uint8_t> out;
    out.reserve(visibleSize());
    for (uint32_t y = 0; y < m_height; ++y) {
        const uint8_t* row = luma() + size_t(y) * m_stride;
        out.insert(out.end(), row, row + m_width);
    }
    for (uint32_t y = 0; y < chromaRows(); ++y) {
        const uint8_t* row = chroma() + size_t(y) * m_stride;
        out.insert(out.end(), row, row + chromaRowBytes());
    }
    return out;
}

bool YuvImage::setVisibleBytes(const std::vector<uint8_t>& bytes) {
    if (bytes.size() != visibleSize())
        return false;
    const uint8_t* p = bytes.data();
    for (uint32_t y = 0; y < m_height; ++y, p += m_width)
        memcpy(luma() + size_t(y) * m_stride, p, m_width);
    for (uint32_t y = 0; y < chromaRows(); ++y, p += chromaRowBytes())
        memcpy(chroma() + size_t(y) * m_stride, p, chromaRowBytes());
    return true;
}

// Row by row through both planes: a 12-megapixel comparison makes no copies.
bool YuvImage::sameVisiblePixels(const YuvImage& other) const {
    if (other.m_width != m_width || other.m_height != m_height)
        return false;
    for (uint32_t y = 0; y < m_height; ++y) {
        if (memcmp(luma() + size_t(y) * m_stride, other.luma() + size_t(y) * other.m_stride,
                   m_width) != 0)
            return false;
    }
    for (uint32_t y = 0; y < chromaRows(); ++y) {
        if (memcmp(chroma() + size_t(y) * m_stride, other.chroma() + size_t(y) * other.m_stride,
                   chromaRowBytes()) != 0)
            return false;
    }
    return true;
}

ImageParams YuvImage::params(std::shared_ptr<VoMetadata> metadata,
                             std::shared_ptr<VoMetadata> physical) {
    ImageParams p{};
    p.format = m_format;
    p.width = m_width;
    p.height = m_height;
    p.stride = m_stride;
    p.scanline = m_scanline;
    p.planeCount = 2;
    p.planes[0] = VoPlane{luma(), -1, lumaBytes()};
    p.planes[1] = VoPlane{chroma(), -1, chromaBytes()};
    p.planes[2] = VoPlane{nullptr, -1, 0};
    p.metadata = std::move(metadata);
    p.physicalMetadata = std::move(physical);
    p.accessMarker = &marker;
    return p;
}

}  // namespace hostkit

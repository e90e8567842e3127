#include "Images.h"

#include <string.h>

#include <stdexcept>

#include "SmartAEProcOutput.h"

namespace sdsrtest {

YuvImage::YuvImage(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                   uint32_t scanline)
    : m_width(width),
      m_height(height),
      m_format(format),
      m_stride(stride ? stride : width),
      m_scanline(scanline ? scanline : height) {
    m_bytes.assign(lumaBytes() + chromaBytes(), 0xEE);
}

void YuvImage::fillPattern(uint32_t seed) {
    uint32_t state = seed * 2654435761u + 1;
    for (uint32_t y = 0; y < m_height; ++y) {
        for (uint32_t x = 0; x < m_width; ++x) {
            state = state * 1664525u + 1013904223u;
            luma()[size_t(y) * m_stride + x] = uint8_t(state >> 24);
        }
    }
    const uint32_t chromaWidth = (m_width + 1) & ~1u;
    for (uint32_t y = 0; y < (m_height + 1) / 2; ++y) {
        for (uint32_t x = 0; x < chromaWidth; ++x) {
            state = state * 1664525u + 1013904223u;
            chroma()[size_t(y) * m_stride + x] = uint8_t(state >> 24);
        }
    }
}

void YuvImage::fill(uint8_t lumaValue, uint8_t chromaValue) {
    for (uint32_t y = 0; y < m_height; ++y)
        memset(luma() + size_t(y) * m_stride, lumaValue, m_width);
    const uint32_t chromaWidth = (m_width + 1) & ~1u;
    for (uint32_t y = 0; y < (m_height + 1) / 2; ++y) {
        memset(chroma() + size_t(y) * m_stride, chromaValue, chromaWidth);
    }
}

std::vector<uint8_t> YuvImage::visibleBytes() const {
    std::vector<uint8_t> out;
    const uint8_t* base = m_bytes.data();
    for (uint32_t y = 0; y < m_height; ++y) {
        const uint8_t* row = base + size_t(y) * m_stride;
        out.insert(out.end(), row, row + m_width);
    }
    const uint8_t* chromaBase = base + lumaBytes();
    const uint32_t chromaWidth = (m_width + 1) & ~1u;
    for (uint32_t y = 0; y < (m_height + 1) / 2; ++y) {
        const uint8_t* row = chromaBase + size_t(y) * m_stride;
        out.insert(out.end(), row, row + chromaWidth);
    }
    return out;
}

bool YuvImage::sameVisiblePixels(const YuvImage& other) const {
    return visibleBytes() == other.visibleBytes();
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

static uint32_t tagOf(const char* name) {
    unsigned int tag = 0;
    if (VoMetadata::getTagFromName(name, &tag) != 0) {
        throw std::runtime_error(std::string("unknown tag ") + name);
    }
    return tag;
}

void putInt(VoMetadata& meta, const char* tagName, int32_t value) {
    meta.update(tagOf(tagName), &value, 1);
}

void putInt64(VoMetadata& meta, const char* tagName, int64_t value) {
    meta.update(tagOf(tagName), &value, 1);
}

void putFloat(VoMetadata& meta, uint32_t tag, float value) {
    meta.update(tag, &value, 1);
}

void putString(VoMetadata& meta, const char* tagName, const std::string& text, bool withNul) {
    std::vector<uint8_t> bytes(text.begin(), text.end());
    if (withNul)
        bytes.push_back(0);
    meta.update(tagOf(tagName), bytes.data(), bytes.size());
}

void putSmartAE(VoMetadata& meta, int32_t algoType, int32_t sensorMode, size_t size) {
    VO_SMARTAE::SmartAEProcOutput record{};
    record.algoType = algoType;
    record.sensorMode = sensorMode;
    const size_t bytes = (size == 0 || size > sizeof(record)) ? sizeof(record) : size;
    meta.update(tagOf("orvane.ai.asd.SmartAE"), reinterpret_cast<const uint8_t*>(&record), bytes);
}

std::shared_ptr<VoMetadata> enablingMetadata(float zoom) {
    auto meta = std::make_shared<VoMetadata>();
    putInt(*meta, "orvane.ai.asd.sdsrui", 2);
    putInt(*meta, "orvane.ai.asd.SDSRTrigger", 1);
    putInt(*meta, "com.orvane.stableDiffusionSR.mode", 1);
    putSmartAE(*meta, 7, 0);
    putFloat(*meta, ANDROID_CONTROL_ZOOM_RATIO, zoom);
    return meta;
}

}  // namespace sdsrtest

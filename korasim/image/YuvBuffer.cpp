#include "image/YuvBuffer.h"

#include <libyuv/convert_argb.h>
#include <libyuv/scale_rgb.h>
#include <openssl/evp.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "image/Scene.h"

namespace korasim {

bool isVuOrder(uint32_t format) {
    return format == VO_FORMAT_YCrCb_420_SP;
}

YuvBuffer::YuvBuffer(uint32_t format, uint32_t width, uint32_t height, uint32_t stride,
                     uint32_t scanline)
    : m_format(format),
      m_width(width),
      m_height(height),
      // Chroma rows of an odd width reach one byte past it: the stride must hold them.
      m_stride(std::max({stride, width, (width + 1) & ~1u})),
      m_scanline(std::max(scanline, height)) {
    m_bytes.assign(lumaBytes() + chromaBytes(), 0xEE);
    fillPattern(*this, "zero", 0);
}

size_t YuvBuffer::visibleSize() const {
    return size_t(m_width) * m_height + size_t(chromaRowBytes()) * chromaRows();
}

std::vector<uint8_t> YuvBuffer::visibleBytes() const {
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

// SHA-256 through OpenSSL's EVP interface, over the visible bytes row by row.
std::string YuvBuffer::sha256() const {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    bool ok = ctx != nullptr && EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) == 1;
    for (uint32_t y = 0; ok && y < m_height; ++y)
        ok = EVP_DigestUpdate(ctx.get(), luma() + size_t(y) * m_stride, m_width) == 1;
    for (uint32_t y = 0; ok && y < chromaRows(); ++y)
        ok = EVP_DigestUpdate(ctx.get(), chroma() + size_t(y) * m_stride, chromaRowBytes()) == 1;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (!ok || EVP_DigestFinal_ex(ctx.get(), digest, &size) != 1)
        throw std::runtime_error("korasim: SHA-256 of a buffer failed in libcrypto");
    static const char* digits = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 0xF];
    }
    return hex;
}

bool YuvBuffer::sameVisible(const YuvBuffer& other) const {
    if (other.m_width != m_width || other.m_height != m_height)
        return false;
    for (uint32_t y = 0; y < m_height; ++y) {
        if (memcmp(luma() + size_t(y) * m_stride, other.luma() + size_t(y) * other.m_stride,
                   m_width) != 0) {
            return false;
        }
    }
    for (uint32_t y = 0; y < chromaRows(); ++y) {
        if (memcmp(chroma() + size_t(y) * m_stride, other.chroma() + size_t(y) * other.m_stride,
                   chromaRowBytes()) != 0) {
            return false;
        }
    }
    return true;
}

bool YuvBuffer::setVisibleBytes(const std::vector<uint8_t>& bytes) {
    if (bytes.size() != visibleSize())
        return false;
    const uint8_t* p = bytes.data();
    for (uint32_t y = 0; y < m_height; ++y, p += m_width) {
        memcpy(luma() + size_t(y) * m_stride, p, m_width);
    }
    for (uint32_t y = 0; y < chromaRows(); ++y, p += chromaRowBytes()) {
        memcpy(chroma() + size_t(y) * m_stride, p, chromaRowBytes());
    }
    return true;
}

namespace {

uint8_t clampByte(float v) {
    return static_cast<uint8_t>(std::min(255.0f, std::max(0.0f, v)) + 0.5f);
}

}  // namespace

// Full-range BT.601, the matrix of JPEG and of camera YUV captures.
void YuvBuffer::fillFromRgb(const RgbImage& rgb) {
    const uint32_t w = std::min<uint32_t>(m_width, static_cast<uint32_t>(rgb.width));
    const uint32_t h = std::min<uint32_t>(m_height, static_cast<uint32_t>(rgb.height));
    for (uint32_t y = 0; y < h; ++y) {
        uint8_t* row = luma() + size_t(y) * m_stride;
        for (uint32_t x = 0; x < w; ++x) {
            const uint8_t* p = rgb.at(static_cast<int>(x), static_cast<int>(y));
            row[x] = clampByte(0.299f * p[0] + 0.587f * p[1] + 0.114f * p[2]);
        }
    }
    const int vFirst = isVuOrder(m_format) ? 0 : 1;
    for (uint32_t cy = 0; cy < chromaRows() && cy * 2 < h; ++cy) {
        uint8_t* row = chroma() + size_t(cy) * m_stride;
        for (uint32_t cx = 0; cx * 2 < w; ++cx) {
            float r = 0, g = 0, b = 0;
            int n = 0;
            for (uint32_t dy = 0; dy < 2; ++dy) {
                for (uint32_t dx = 0; dx < 2; ++dx) {
                    const uint32_t x = cx * 2 + dx, y = cy * 2 + dy;
                    if (x >= w || y >= h)
                        continue;
                    const uint8_t* p = rgb.at(static_cast<int>(x), static_cast<int>(y));
                    r += p[0];
                    g += p[1];
                    b += p[2];
                    ++n;
                }
            }
            r /= n;
            g /= n;
            b /= n;
            const uint8_t u = clampByte(-0.168736f * r - 0.331264f * g + 0.5f * b + 128.0f);
            const uint8_t v = clampByte(0.5f * r - 0.418688f * g - 0.081312f * b + 128.0f);
            row[cx * 2 + vFirst] = v;
            row[cx * 2 + 1 - vFirst] = u;
        }
    }
}

// Full-range BT.601 (libyuv's JPEG matrix), the inverse of fillFromRgb. libyuv's "RAW" is
// R, G, B in memory order, the order of RgbImage.
RgbImage YuvBuffer::toRgb() const {
    RgbImage rgb(static_cast<int>(m_width), static_cast<int>(m_height));
    const int stride = static_cast<int>(m_stride);
    const int w = static_cast<int>(m_width), h = static_cast<int>(m_height);
    const int ok =
        isVuOrder(m_format)
            ? libyuv::NV21ToRAWMatrix(luma(), stride, chroma(), stride, rgb.pixels.data(), w * 3,
                                      &libyuv::kYuvJPEGConstants, w, h)
            : libyuv::NV12ToRAWMatrix(luma(), stride, chroma(), stride, rgb.pixels.data(), w * 3,
                                      &libyuv::kYuvJPEGConstants, w, h);
    if (ok != 0)
        throw std::runtime_error("korasim: libyuv cannot convert a " + std::to_string(w) + "x" +
                                 std::to_string(h) + " buffer to RGB");
    return rgb;
}

RgbImage shrink(const RgbImage& in, int factor) {
    RgbImage out(in.width / factor, in.height / factor);
    if (out.width == 0 || out.height == 0)
        return out;
    if (libyuv::RGBScale(in.pixels.data(), in.width * 3, in.width, in.height, out.pixels.data(),
                         out.width * 3, out.width, out.height, libyuv::kFilterBox) != 0) {
        throw std::runtime_error("korasim: libyuv cannot scale a preview");
    }
    return out;
}

ImageParams YuvBuffer::params() {
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
    p.accessMarker = nullptr;
    return p;
}

const std::vector<std::string>& patternNames() {
    static const std::vector<std::string> names = {"zero",  "gradient", "noise",
                                                   "chart", "scene",    "sceneFull"};
    return names;
}

bool isPatternName(const std::string& name) {
    const auto& names = patternNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

void fillPattern(YuvBuffer& buffer, const std::string& name, uint32_t seed) {
    const uint32_t w = buffer.width(), h = buffer.height(), stride = buffer.stride();
    if (name == "zero") {
        for (uint32_t y = 0; y < h; ++y)
            memset(buffer.luma() + size_t(y) * stride, 0, w);
        for (uint32_t y = 0; y < buffer.chromaRows(); ++y) {
            memset(buffer.chroma() + size_t(y) * stride, 128, buffer.chromaRowBytes());
        }
    } else if (name == "gradient") {
        for (uint32_t y = 0; y < h; ++y) {
            uint8_t* row = buffer.luma() + size_t(y) * stride;
            for (uint32_t x = 0; x < w; ++x) {
                row[x] = static_cast<uint8_t>(
                    (255.0 * x / std::max(1u, w - 1) + 255.0 * y / std::max(1u, h - 1)) / 2.0);
            }
        }
        for (uint32_t y = 0; y < buffer.chromaRows(); ++y) {
            uint8_t* row = buffer.chroma() + size_t(y) * stride;
            for (uint32_t x = 0; x < buffer.chromaRowBytes(); x += 2) {
                row[x] = static_cast<uint8_t>(64 + 128 * x / std::max(1u, buffer.chromaRowBytes()));
                row[x + 1] = static_cast<uint8_t>(64 + 128 * y / std::max(1u, buffer.chromaRows()));
            }
        }
    } else if (name == "noise") {
        uint32_t state = seed * 2654435761u + 1u;
        auto next = [&state] {
            state = state * 1664525u + 1013904223u;
            return static_cast<uint8_t>(state >> 24);
        };
        for (uint32_t y = 0; y < h; ++y) {
            uint8_t* row = buffer.luma() + size_t(y) * stride;
            for (uint32_t x = 0; x < w; ++x)
                row[x] = next();
        }
        for (uint32_t y = 0; y < buffer.chromaRows(); ++y) {
            uint8_t* row = buffer.chroma() + size_t(y) * stride;
            for (uint32_t x = 0; x < buffer.chromaRowBytes(); ++x)
                row[x] = next();
        }
    } else if (name == "chart") {
        buffer.fillFromRgb(renderChart(static_cast<int>(w), static_cast<int>(h)));
    } else if (name == "scene" || name == "sceneFull") {
        YuvBuffer full(buffer.format(), w, h, w, h);
        full.fillFromRgb(renderScene(static_cast<int>(w), static_cast<int>(h)));
        if (name == "sceneFull") {
            buffer.setVisibleBytes(full.visibleBytes());
        } else {
            digitalZoom(full, buffer, 10.0);
        }
    }
}

bool loadImageFile(YuvBuffer& buffer, const std::string& path, std::string* error) {
    if (looksLikePng(path)) {
        RgbImage rgb;
        if (!readPng(path, &rgb, error))
            return false;
        if (rgb.width != static_cast<int>(buffer.width()) ||
            rgb.height != static_cast<int>(buffer.height())) {
            if (error) {
                *error = "the PNG is " + std::to_string(rgb.width) + "x" +
                         std::to_string(rgb.height) + " but the buffer is " +
                         std::to_string(buffer.width()) + "x" + std::to_string(buffer.height());
            }
            return false;
        }
        buffer.fillFromRgb(rgb);
        return true;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error)
            *error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size < 0 || static_cast<size_t>(size) != buffer.visibleSize()) {
        if (error) {
            *error = "raw 4:2:0 file of " + std::to_string(static_cast<long long>(size)) +
                     " bytes, but a " + std::to_string(buffer.width()) + "x" +
                     std::to_string(buffer.height()) + " image needs " +
                     std::to_string(buffer.visibleSize()) +
                     " (luma rows, then chroma rows, no padding)";
        }
        return false;
    }
    std::vector<uint8_t> bytes(buffer.visibleSize());
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size))) {
        if (error)
            *error = "cannot read " + path;
        return false;
    }
    return buffer.setVisibleBytes(bytes);
}

double lumaSharpness(const YuvBuffer& buffer) {
    const uint32_t w = buffer.width(), h = buffer.height(), s = buffer.stride();
    if (w < 3 || h < 3)
        return 0.0;
    double total = 0;
    for (uint32_t y = 1; y + 1 < h; ++y) {
        const uint8_t* a = buffer.luma() + size_t(y - 1) * s;
        const uint8_t* b = a + s;
        const uint8_t* c = b + s;
        double rowSum = 0;
        for (uint32_t x = 1; x + 1 < w; ++x) {
            const int gx =
                (a[x + 1] + 2 * b[x + 1] + c[x + 1]) - (a[x - 1] + 2 * b[x - 1] + c[x - 1]);
            const int gy = (c[x - 1] + 2 * c[x] + c[x + 1]) - (a[x - 1] + 2 * a[x] + a[x + 1]);
            rowSum += std::sqrt(static_cast<double>(gx * gx + gy * gy));
        }
        total += rowSum;
    }
    // Sobel sums are four times a unit-step difference.
    return total / (4.0 * double(w - 2) * double(h - 2));
}

double meanAbsLumaDiff(const YuvBuffer& a, const YuvBuffer& b) {
    if (a.width() != b.width() || a.height() != b.height() || a.width() == 0 || a.height() == 0) {
        return -1.0;
    }
    double total = 0;
    for (uint32_t y = 0; y < a.height(); ++y) {
        const uint8_t* ra = a.luma() + size_t(y) * a.stride();
        const uint8_t* rb = b.luma() + size_t(y) * b.stride();
        long long rowSum = 0;
        for (uint32_t x = 0; x < a.width(); ++x)
            rowSum += std::abs(int(ra[x]) - int(rb[x]));
        total += static_cast<double>(rowSum);
    }
    return total / (double(a.width()) * a.height());
}

}  // namespace korasim

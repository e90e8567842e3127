#include "DetailEnhance.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <thread>
#include <vector>

namespace sdsrref {

namespace {

// Blurred planes keep four fractional bits (values 0 .. 255 * 16) so that the small differences
// between blur levels, which carry the detail, are not lost to rounding.
constexpr float kFraction = 16.0f;

// Splits rows [0, height) into contiguous bands, one per thread, and waits for all of them.
void forEachBand(int height, int threads, const std::function<void(int, int)>& work) {
    const int count = std::max(1, std::min(threads, height));
    if (count == 1) {
        work(0, height);
        return;
    }
    std::vector<std::thread> pool;
    pool.reserve(count - 1);
    for (int i = 1; i < count; ++i) {
        const int y0 = static_cast<int>(static_cast<long long>(height) * i / count);
        const int y1 = static_cast<int>(static_cast<long long>(height) * (i + 1) / count);
        pool.emplace_back([&work, y0, y1] { work(y0, y1); });
    }
    work(0, static_cast<int>(static_cast<long long>(height) / count));
    for (auto& t : pool)
        t.join();
}

inline int clampIndex(int i, int n) {
    return i < 0 ? 0 : (i >= n ? n - 1 : i);
}

// Horizontal box filter of radius r over rows [y0, y1), edges replicated. `scale` turns the
// window sum into the output unit.
template <typename T>
void boxRows(const T* in, size_t inStride, uint16_t* out, int width, int r, float scale, int y0,
             int y1) {
    for (int y = y0; y < y1; ++y) {
        const T* row = in + static_cast<size_t>(y) * inStride;
        uint16_t* o = out + static_cast<size_t>(y) * width;
        int32_t sum = 0;
        for (int k = -r; k <= r; ++k)
            sum += row[clampIndex(k, width)];
        for (int x = 0; x < width; ++x) {
            o[x] = static_cast<uint16_t>(static_cast<float>(sum) * scale + 0.5f);
            sum += static_cast<int32_t>(row[clampIndex(x + r + 1, width)]) -
                   static_cast<int32_t>(row[clampIndex(x - r, width)]);
        }
    }
}

// Vertical box filter of radius r producing rows [y0, y1), edges replicated; one running sum per
// column so the inner loops run along rows.
void boxColumns(const uint16_t* in, uint16_t* out, int width, int height, int r, int y0, int y1) {
    const float scale = 1.0f / static_cast<float>(2 * r + 1);
    std::vector<int32_t> sums(static_cast<size_t>(width), 0);
    for (int k = y0 - r; k <= y0 + r; ++k) {
        const uint16_t* row = in + static_cast<size_t>(clampIndex(k, height)) * width;
        for (int x = 0; x < width; ++x)
            sums[x] += row[x];
    }
    for (int y = y0; y < y1; ++y) {
        uint16_t* o = out + static_cast<size_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            o[x] = static_cast<uint16_t>(static_cast<float>(sums[x]) * scale + 0.5f);
        }
        const uint16_t* add = in + static_cast<size_t>(clampIndex(y + r + 1, height)) * width;
        const uint16_t* sub = in + static_cast<size_t>(clampIndex(y - r, height)) * width;
        for (int x = 0; x < width; ++x)
            sums[x] += static_cast<int32_t>(add[x]) - sub[x];
    }
}

// Local minimum and maximum along rows over a window of radius r.
void minMaxRows(const uint8_t* in, size_t inStride, uint8_t* lo, uint8_t* hi, int width, int r,
                int y0, int y1) {
    std::vector<uint8_t> padded(static_cast<size_t>(width) + 2 * r);
    for (int y = y0; y < y1; ++y) {
        const uint8_t* row = in + static_cast<size_t>(y) * inStride;
        for (int x = -r; x < width + r; ++x)
            padded[x + r] = row[clampIndex(x, width)];
        uint8_t* l = lo + static_cast<size_t>(y) * width;
        uint8_t* h = hi + static_cast<size_t>(y) * width;
        std::copy(padded.begin(), padded.begin() + width, l);
        std::copy(padded.begin(), padded.begin() + width, h);
        for (int k = 1; k <= 2 * r; ++k) {
            const uint8_t* p = padded.data() + k;
            for (int x = 0; x < width; ++x) {
                l[x] = std::min(l[x], p[x]);
                h[x] = std::max(h[x], p[x]);
            }
        }
    }
}

// Local minimum and maximum along columns over a window of radius r.
void minMaxColumns(const uint8_t* loIn, const uint8_t* hiIn, uint8_t* loOut, uint8_t* hiOut,
                   int width, int height, int r, int y0, int y1) {
    for (int y = y0; y < y1; ++y) {
        uint8_t* l = loOut + static_cast<size_t>(y) * width;
        uint8_t* h = hiOut + static_cast<size_t>(y) * width;
        const size_t first = static_cast<size_t>(clampIndex(y - r, height)) * width;
        std::copy(loIn + first, loIn + first + width, l);
        std::copy(hiIn + first, hiIn + first + width, h);
        for (int k = y - r + 1; k <= y + r; ++k) {
            const size_t at = static_cast<size_t>(clampIndex(k, height)) * width;
            const uint8_t* lr = loIn + at;
            const uint8_t* hr = hiIn + at;
            for (int x = 0; x < width; ++x) {
                l[x] = std::min(l[x], lr[x]);
                h[x] = std::max(h[x], hr[x]);
            }
        }
    }
}

// Soft coring: keeps large detail as it is and fades detail below the threshold towards zero.
inline float core(float d, float threshold) {
    const float d2 = d * d;
    return d * d2 / (d2 + threshold * threshold + 1e-6f);
}

}  // namespace

void enhanceLuma(const uint8_t* src, size_t srcStride, uint8_t* dst, size_t dstStride, int width,
                 int height, int threads, const EnhanceParams& params) {
    if (src == nullptr || dst == nullptr || width <= 0 || height <= 0)
        return;
    const size_t pixels = static_cast<size_t>(width) * height;
    std::vector<uint16_t> scratch(pixels), fine(pixels), medium(pixels), coarse(pixels);
    std::vector<uint8_t> loRows(pixels), hiRows(pixels), lo(pixels), hi(pixels);
    threads = std::max(1, threads);

    // Two box passes make a tent filter, close enough to a Gaussian for detail bands.
    auto blurPlane8 = [&](int r, uint16_t* out) {
        forEachBand(height, threads, [&](int y0, int y1) {
            boxRows(src, srcStride, scratch.data(), width, r,
                    kFraction / static_cast<float>(2 * r + 1), y0, y1);
        });
        forEachBand(height, threads, [&](int y0, int y1) {
            boxColumns(scratch.data(), out, width, height, r, y0, y1);
        });
    };
    auto blurPlane16 = [&](const uint16_t* in, int r, uint16_t* out) {
        forEachBand(height, threads, [&](int y0, int y1) {
            boxRows(in, static_cast<size_t>(width), scratch.data(), width, r,
                    1.0f / static_cast<float>(2 * r + 1), y0, y1);
        });
        forEachBand(height, threads, [&](int y0, int y1) {
            boxColumns(scratch.data(), out, width, height, r, y0, y1);
        });
    };

    blurPlane8(1, fine.data());
    blurPlane16(fine.data(), 1, fine.data());
    blurPlane16(fine.data(), 3, medium.data());
    blurPlane16(medium.data(), 3, medium.data());
    blurPlane16(medium.data(), 6, coarse.data());
    blurPlane16(coarse.data(), 6, coarse.data());

    const int r = std::max(0, params.clampRadius);
    forEachBand(height, threads, [&](int y0, int y1) {
        minMaxRows(src, srcStride, loRows.data(), hiRows.data(), width, r, y0, y1);
    });
    forEachBand(height, threads, [&](int y0, int y1) {
        minMaxColumns(loRows.data(), hiRows.data(), lo.data(), hi.data(), width, height, r, y0, y1);
    });

    // Every value the last pass needs was computed from `src` above, and it reads `src` only
    // at the pixel it writes, so `dst` may alias `src`.
    const float inv = 1.0f / kFraction;
    forEachBand(height, threads, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const uint8_t* s = src + static_cast<size_t>(y) * srcStride;
            uint8_t* d = dst + static_cast<size_t>(y) * dstStride;
            const size_t row = static_cast<size_t>(y) * width;
            for (int x = 0; x < width; ++x) {
                const float v = static_cast<float>(s[x]);
                const float b1 = fine[row + x] * inv;
                const float b2 = medium[row + x] * inv;
                const float b3 = coarse[row + x] * inv;
                float out = v + params.fineGain * core(v - b1, params.fineCoring) +
                            params.mediumGain * core(b1 - b2, params.mediumCoring) +
                            params.coarseGain * core(b2 - b3, params.coarseCoring);
                out = std::min(out, static_cast<float>(hi[row + x]) + params.overshoot);
                out = std::max(out, static_cast<float>(lo[row + x]) - params.overshoot);
                out = std::min(255.0f, std::max(0.0f, out));
                d[x] = static_cast<uint8_t>(out + 0.5f);
            }
        }
    });
}

}  // namespace sdsrref

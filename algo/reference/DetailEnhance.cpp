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

// Window sums become output values through a 16-bit fixed-point multiplier: products stay below
// 2^32 for every radius used here, and integer rounding keeps the result exact to reproduce.
inline uint32_t fixedMultiplier(double scale) {
    return static_cast<uint32_t>(scale * 65536.0 + 0.5);
}
inline uint16_t applyMultiplier(uint32_t sum, uint32_t multiplier) {
    return static_cast<uint16_t>((sum * multiplier + 32768u) >> 16);
}

// Rows [first, last] of a plane with four fractional bits; the rows a strip needs.
struct Rows {
    std::vector<uint16_t> data;
    int first = 0, last = -1, width = 0;
    void hold(int a, int b, int w) {
        first = a;
        last = b;
        width = w;
        const size_t size = static_cast<size_t>(std::max(0, b - a + 1)) * w;
        if (data.size() < size)
            data.resize(size);
    }
    uint16_t* row(int y) { return data.data() + static_cast<size_t>(y - first) * width; }
    const uint16_t* row(int y) const {
        return data.data() + static_cast<size_t>(y - first) * width;
    }
};

// Horizontal box filter of radius r of one row, edges replicated.
template <typename T>
void boxRow(const T* row, uint16_t* o, int width, int r, uint32_t multiplier) {
    uint32_t sum = 0;
    for (int k = -r; k <= r; ++k)
        sum += row[clampIndex(k, width)];
    int x = 0;
    // Left border, interior without index clamping, right border.
    for (; x < width && x - r < 0; ++x) {
        o[x] = applyMultiplier(sum, multiplier);
        sum += static_cast<uint32_t>(row[clampIndex(x + r + 1, width)]) - row[0];
    }
    for (; x + r + 1 < width; ++x) {
        o[x] = applyMultiplier(sum, multiplier);
        sum += static_cast<uint32_t>(row[x + r + 1]) - row[x - r];
    }
    for (; x < width; ++x) {
        o[x] = applyMultiplier(sum, multiplier);
        sum += static_cast<uint32_t>(row[width - 1]) - row[clampIndex(x - r, width)];
    }
}

// Vertical box filter of radius r for rows [a, b] of `out`; `in` holds every row the window
// reaches (rows outside the image are replaced by its edge rows).
void boxColumns(const Rows& in, Rows& out, int height, int r, uint32_t multiplier, int a, int b,
                std::vector<uint32_t>& sums) {
    const int width = in.width;
    sums.assign(static_cast<size_t>(width), 0);
    for (int k = a - r; k <= a + r; ++k) {
        const uint16_t* row = in.row(clampIndex(k, height));
        for (int x = 0; x < width; ++x)
            sums[x] += row[x];
    }
    for (int y = a; y <= b; ++y) {
        uint16_t* o = out.row(y);
        for (int x = 0; x < width; ++x)
            o[x] = applyMultiplier(sums[x], multiplier);
        if (y == b)
            break;  // the window slides only while rows remain
        const uint16_t* add = in.row(clampIndex(y + r + 1, height));
        const uint16_t* sub = in.row(clampIndex(y - r, height));
        for (int x = 0; x < width; ++x)
            sums[x] += static_cast<uint32_t>(add[x]) - sub[x];
    }
}

// Local minimum and maximum along one row over a window of radius r.
void minMaxRow(const uint8_t* row, uint8_t* l, uint8_t* h, int width, int r,
               std::vector<uint8_t>& padded) {
    padded.resize(static_cast<size_t>(width) + 2 * r);
    for (int x = -r; x < width + r; ++x)
        padded[x + r] = row[clampIndex(x, width)];
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

// Differences of two planes with four fractional bits lie in [-kRange, kRange].
constexpr int kRange = 255 * 16;

// gain * soft-cored detail, in levels with four fractional bits, for every possible band
// difference: coring keeps large detail and fades detail below the threshold towards zero.
std::vector<int32_t> coringTable(float gain, float threshold) {
    std::vector<int32_t> table(2 * kRange + 1);
    for (int i = -kRange; i <= kRange; ++i) {
        const float d = static_cast<float>(i) / kFraction;
        const float d2 = d * d;
        const float cored = d * d2 / (d2 + threshold * threshold + 1e-6f);
        table[i + kRange] = static_cast<int32_t>(std::lround(gain * cored * kFraction));
    }
    return table;
}

}  // namespace

namespace {

// Output rows per strip. Each strip recomputes the rows its blurs reach beyond it, so taller
// strips waste less work; shorter ones keep a thread's buffers small and in cache.
constexpr int kStripRows = 96;

// Per-thread working rows, reused from strip to strip.
struct StripBuffers {
    Rows temp, stage, fine, medium, coarse;
    std::vector<uint8_t> loRows, hiRows, padded;
    std::vector<uint32_t> sums;
};

struct Plan {
    const uint8_t* src;
    size_t srcStride;
    uint8_t* dst;
    size_t dstStride;
    int width, height, clampRadius;
    int32_t overshoot;
    const int32_t *fine, *medium, *coarse;  // coring tables, centred
};

void enhanceStrip(const Plan& p, int y0, int y1, StripBuffers& b) {
    const int w = p.width, h = p.height;
    auto lo = [](int y) { return std::max(0, y); };
    auto hi = [h](int y) { return std::min(h - 1, y); };
    // Two box passes make a tent filter, close enough to a Gaussian for detail bands. Each
    // stage is computed on the rows the next one reads: fine +-18, medium +-12, coarse 0.
    const int last = y1 - 1;
    // Fine: the source rows y0-20 .. y1+20 through two radius-1 boxes.
    {
        const uint32_t rowScale = fixedMultiplier(kFraction / 3.0);
        const uint32_t scale = fixedMultiplier(1.0 / 3.0);
        b.temp.hold(lo(y0 - 20), hi(last + 20), w);
        for (int y = b.temp.first; y <= b.temp.last; ++y) {
            boxRow(p.src + static_cast<size_t>(y) * p.srcStride, b.temp.row(y), w, 1, rowScale);
        }
        b.stage.hold(lo(y0 - 19), hi(last + 19), w);
        boxColumns(b.temp, b.stage, h, 1, scale, b.stage.first, b.stage.last, b.sums);
        b.temp.hold(b.stage.first, b.stage.last, w);
        for (int y = b.temp.first; y <= b.temp.last; ++y) {
            boxRow(b.stage.row(y), b.temp.row(y), w, 1, scale);
        }
        b.fine.hold(lo(y0 - 18), hi(last + 18), w);
        boxColumns(b.temp, b.fine, h, 1, scale, b.fine.first, b.fine.last, b.sums);
    }
    auto cascade = [&](const Rows& in, Rows& out, int r, int reach) {
        const uint32_t scale = fixedMultiplier(1.0 / (2 * r + 1));
        b.temp.hold(in.first, in.last, w);
        for (int y = b.temp.first; y <= b.temp.last; ++y)
            boxRow(in.row(y), b.temp.row(y), w, r, scale);
        b.stage.hold(lo(y0 - reach - r), hi(last + reach + r), w);
        boxColumns(b.temp, b.stage, h, r, scale, b.stage.first, b.stage.last, b.sums);
        b.temp.hold(b.stage.first, b.stage.last, w);
        for (int y = b.temp.first; y <= b.temp.last; ++y) {
            boxRow(b.stage.row(y), b.temp.row(y), w, r, scale);
        }
        out.hold(lo(y0 - reach), hi(last + reach), w);
        boxColumns(b.temp, out, h, r, scale, out.first, out.last, b.sums);
    };
    cascade(b.fine, b.medium, 3, 12);
    cascade(b.medium, b.coarse, 6, 0);

    // Halo limits: local minimum and maximum of the source around each output pixel.
    const int r = p.clampRadius;
    const int mFirst = lo(y0 - r), mLast = hi(last + r);
    const size_t mRows = static_cast<size_t>(mLast - mFirst + 1);
    b.loRows.resize(mRows * w);
    b.hiRows.resize(mRows * w);
    for (int y = mFirst; y <= mLast; ++y) {
        const size_t at = static_cast<size_t>(y - mFirst) * w;
        minMaxRow(p.src + static_cast<size_t>(y) * p.srcStride, &b.loRows[at], &b.hiRows[at], w, r,
                  b.padded);
    }
    std::vector<uint8_t> l(static_cast<size_t>(w)), hh(static_cast<size_t>(w));
    for (int y = y0; y < y1; ++y) {
        const size_t first = static_cast<size_t>(hi(lo(y - r)) - mFirst) * w;
        std::copy(b.loRows.begin() + first, b.loRows.begin() + first + w, l.begin());
        std::copy(b.hiRows.begin() + first, b.hiRows.begin() + first + w, hh.begin());
        for (int k = y - r + 1; k <= y + r; ++k) {
            const size_t at = static_cast<size_t>(hi(lo(k)) - mFirst) * w;
            const uint8_t* lr = &b.loRows[at];
            const uint8_t* hr = &b.hiRows[at];
            for (int x = 0; x < w; ++x) {
                l[x] = std::min(l[x], lr[x]);
                hh[x] = std::max(hh[x], hr[x]);
            }
        }
        const uint8_t* s = p.src + static_cast<size_t>(y) * p.srcStride;
        uint8_t* d = p.dst + static_cast<size_t>(y) * p.dstStride;
        const uint16_t* b1 = b.fine.row(y);
        const uint16_t* b2 = b.medium.row(y);
        const uint16_t* b3 = b.coarse.row(y);
        for (int x = 0; x < w; ++x) {
            const int32_t v = static_cast<int32_t>(s[x]) * 16;
            int32_t out = v + p.fine[v - b1[x]] + p.medium[b1[x] - b2[x]] + p.coarse[b2[x] - b3[x]];
            out = std::min(out, static_cast<int32_t>(hh[x]) * 16 + p.overshoot);
            out = std::max(out, static_cast<int32_t>(l[x]) * 16 - p.overshoot);
            out = std::min(255 * 16, std::max(0, out));
            d[x] = static_cast<uint8_t>((out + 8) >> 4);
        }
    }
}

}  // namespace

void enhanceLuma(const uint8_t* src, size_t srcStride, uint8_t* dst, size_t dstStride, int width,
                 int height, int threads, const EnhanceParams& params) {
    if (src == nullptr || dst == nullptr || width <= 0 || height <= 0)
        return;
    // Strips read source rows beyond their own: in place, work from a copy of the source.
    std::vector<uint8_t> copy;
    if (src == dst || (dst < src + srcStride * height && src < dst + dstStride * height)) {
        copy.resize(static_cast<size_t>(width) * height);
        for (int y = 0; y < height; ++y) {
            std::copy(src + static_cast<size_t>(y) * srcStride,
                      src + static_cast<size_t>(y) * srcStride + width,
                      copy.begin() + static_cast<size_t>(y) * width);
        }
        src = copy.data();
        srcStride = static_cast<size_t>(width);
    }
    const std::vector<int32_t> fineTable = coringTable(params.fineGain, params.fineCoring);
    const std::vector<int32_t> mediumTable = coringTable(params.mediumGain, params.mediumCoring);
    const std::vector<int32_t> coarseTable = coringTable(params.coarseGain, params.coarseCoring);
    Plan plan{src,
              srcStride,
              dst,
              dstStride,
              width,
              height,
              std::max(0, params.clampRadius),
              static_cast<int32_t>(std::lround(params.overshoot * kFraction)),
              fineTable.data() + kRange,
              mediumTable.data() + kRange,
              coarseTable.data() + kRange};
    forEachBand(height, std::max(1, threads), [&plan](int y0, int y1) {
        StripBuffers buffers;
        for (int y = y0; y < y1; y += kStripRows) {
            enhanceStrip(plan, y, std::min(y1, y + kStripRows), buffers);
        }
    });
}

}  // namespace sdsrref

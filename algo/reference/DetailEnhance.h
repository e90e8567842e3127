// Classical luma detail enhancement used by the reference algorithm library: a multi-scale,
// edge-aware unsharp mask. No learning and no model: it restores some apparent sharpness of a
// digitally zoomed image, it does not invent detail.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace sdsrref {

struct EnhanceParams {
    // Gains of the three detail bands (fine, medium, coarse): the difference of the image and a
    // small blur, of the small and a medium blur, of the medium and a large blur.
    float fineGain = 1.0f;
    float mediumGain = 2.0f;
    float coarseGain = 2.2f;
    // Soft coring thresholds, in luma levels, per band: detail much smaller than this is taken
    // as noise and left alone.
    float fineCoring = 2.0f;
    float mediumCoring = 1.0f;
    float coarseCoring = 0.5f;
    // Halo control: the result stays within the local minimum and maximum of a square window of
    // this radius, widened by `overshoot` levels.
    int clampRadius = 5;
    float overshoot = 3.0f;
};

// Enhances a width x height luma plane. `src` and `dst` may be the same plane (in-place); rows
// are `srcStride` and `dstStride` bytes apart and row padding is never written. `threads` <= 0
// uses one. The result does not depend on the number of threads.
void enhanceLuma(const uint8_t* src, size_t srcStride, uint8_t* dst, size_t dstStride, int width,
                 int height, int threads, const EnhanceParams& params = EnhanceParams());

}  // namespace sdsrref

#include "image/YuvRgb.h"

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/scale_rgb.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace korasim {

// libyuv's "RAW" is R, G, B in memory order, the order of RgbImage.
RgbImage semiPlanarToRgb(const uint8_t* y, const uint8_t* uv, int stride, int uvStride, bool vu,
                         int width, int height) {
    RgbImage rgb(width, height);
    const int failed =
        vu ? libyuv::NV21ToRAWMatrix(y, stride, uv, uvStride, rgb.pixels.data(), width * 3,
                                     &libyuv::kYuvJPEGConstants, width, height)
           : libyuv::NV12ToRAWMatrix(y, stride, uv, uvStride, rgb.pixels.data(), width * 3,
                                     &libyuv::kYuvJPEGConstants, width, height);
    if (failed != 0) {
        throw std::runtime_error("korasim: libyuv cannot convert a " + std::to_string(width) + "x" +
                                 std::to_string(height) + " picture to RGB");
    }
    return rgb;
}

RgbImage toRgb(const YuvImage& image) {
    return semiPlanarToRgb(image.luma(), image.chroma(), int(image.stride()), int(image.stride()),
                           isVuOrder(image.format()), int(image.width()), int(image.height()));
}

// Through planar J420 (full range), whose chroma planes libyuv then interleaves in the order of
// the image's format.
void fillFromRgb(YuvImage& image, const RgbImage& rgb) {
    const int w = std::min(int(image.width()), rgb.width);
    const int h = std::min(int(image.height()), rgb.height);
    if (w <= 0 || h <= 0)
        return;
    const int cw = (w + 1) / 2, ch = (h + 1) / 2;
    std::vector<uint8_t> u(size_t(cw) * ch), v(size_t(cw) * ch);
    const int stride = int(image.stride());
    bool ok = libyuv::RAWToJ420(rgb.pixels.data(), rgb.width * 3, image.luma(), stride, u.data(),
                                cw, v.data(), cw, w, h) == 0;
    // The luma is in place already; the conversion only interleaves the chroma planes.
    ok = ok && (isVuOrder(image.format())
                    ? libyuv::I420ToNV21(image.luma(), stride, u.data(), cw, v.data(), cw,
                                         image.luma(), stride, image.chroma(), stride, w, h)
                    : libyuv::I420ToNV12(image.luma(), stride, u.data(), cw, v.data(), cw,
                                         image.luma(), stride, image.chroma(), stride, w, h)) == 0;
    if (!ok)
        throw std::runtime_error("korasim: libyuv cannot convert a picture to YUV");
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

}  // namespace korasim

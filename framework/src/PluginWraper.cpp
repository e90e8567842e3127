// Framework defaults of the plugin interface.
#include "PluginWraper.h"

#include <utility>

bool PluginWraper::needPreProcess(VoaParams params) {
    if (!supportPreProcess())
        return false;
    if (skipPreProcess())
        return false;
    return isEnabled(std::move(params));
}

void PluginWraper::convertImageParams(const ImageParams& image, voalgo2::VoImageBuffer& buffer) {
    buffer.format = image.format;
    buffer.width = image.width;
    buffer.height = image.height;
    buffer.stride = image.stride;
    buffer.scanline = image.scanline;
    buffer.planeCount = image.planeCount;
    // The arrays hold VO_MAX_PLANES planes: a larger count never writes past them.
    for (uint32_t i = 0; i < image.planeCount && i < VO_MAX_PLANES; ++i) {
        buffer.planeAddr[i] = image.planes[i].addr;
        buffer.planeFd[i] = image.planes[i].fd;
        buffer.planeSize[i] = image.planes[i].size;
    }
    buffer.colorSpace = image.colorSpace;
}

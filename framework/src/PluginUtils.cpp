// Plane copies and dumps of 4:2:0 semi-planar buffers. Size guards first, one memcpy when the
// rows are contiguous, row by row otherwise, never past the smaller buffer.
#include "PluginUtils.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>

namespace voalgo2 {

namespace {

// One plane as a region: start, row pitch and how many bytes may be touched from the start
// (unbounded when the framework gave no size).
struct PlaneRegion {
    uint8_t* base;
    size_t stride;
    bool bounded;
    uint64_t size;
};

PlaneRegion lumaRegion(const VoImageBuffer& buffer) {
    const bool bounded = buffer.planeSize[0] != 0;
    size_t size = buffer.planeSize[0];
    // A single-plane buffer's size covers both planes; the luma plane ends where chroma starts.
    if (bounded && buffer.planeCount < 2) {
        const uint64_t lumaBytes =
            uint64_t(buffer.stride) * (buffer.scanline ? buffer.scanline : buffer.height);
        size = std::min<uint64_t>(size, lumaBytes);
    }
    return PlaneRegion{buffer.planeAddr[0], buffer.stride, bounded, size};
}

PlaneRegion chromaRegion(const VoImageBuffer& buffer) {
    if (buffer.planeCount >= 2 && buffer.planeAddr[1] != nullptr) {
        return PlaneRegion{buffer.planeAddr[1], buffer.stride, buffer.planeSize[1] != 0,
                           buffer.planeSize[1]};
    }
    const uint64_t offset =
        uint64_t(buffer.stride) * (buffer.scanline ? buffer.scanline : buffer.height);
    if (buffer.planeAddr[0] == nullptr)
        return PlaneRegion{nullptr, 0, true, 0};
    if (buffer.planeSize[0] == 0) {
        return PlaneRegion{buffer.planeAddr[0] + offset, buffer.stride, false, 0};
    }
    const uint64_t rest = buffer.planeSize[0] > offset ? buffer.planeSize[0] - offset : 0;
    return PlaneRegion{rest ? buffer.planeAddr[0] + offset : nullptr, buffer.stride, true, rest};
}

// Rows of `rowBytes` that fit into a region.
size_t rowsThatFit(const PlaneRegion& region, size_t rowBytes, size_t wanted) {
    if (!region.bounded)
        return wanted;
    if (region.size < rowBytes)
        return 0;
    const size_t pitch = std::max(region.stride, rowBytes);
    return std::min<size_t>(wanted, size_t((region.size - rowBytes) / pitch + 1));
}

void copyPlane(const PlaneRegion& dst, const PlaneRegion& src, size_t rowBytes, size_t rows) {
    if (dst.base == nullptr || src.base == nullptr || rowBytes == 0)
        return;
    const size_t dstStride = dst.stride ? dst.stride : rowBytes;
    const size_t srcStride = src.stride ? src.stride : rowBytes;
    // A stride narrower than the row would make rows overlap: copy only what a row can hold.
    rowBytes = std::min({rowBytes, dstStride, srcStride});
    rows = std::min(rowsThatFit(dst, rowBytes, rows), rowsThatFit(src, rowBytes, rows));
    if (rows == 0)
        return;
    if (dstStride == rowBytes && srcStride == rowBytes) {
        memcpy(dst.base, src.base, rowBytes * rows);
        return;
    }
    for (size_t y = 0; y < rows; ++y) {
        memcpy(dst.base + y * dstStride, src.base + y * srcStride, rowBytes);
    }
}

bool writePlane(FILE* file, const PlaneRegion& plane, size_t rowBytes, size_t rows) {
    if (plane.base == nullptr)
        return rows == 0;
    const size_t stride = plane.stride ? plane.stride : rowBytes;
    rowBytes = std::min(rowBytes, stride);
    rows = rowsThatFit(plane, rowBytes, rows);
    if (stride == rowBytes)
        return fwrite(plane.base, 1, rowBytes * rows, file) == rowBytes * rows;
    for (size_t y = 0; y < rows; ++y) {
        if (fwrite(plane.base + y * stride, 1, rowBytes, file) != rowBytes)
            return false;
    }
    return true;
}

}  // namespace

int PluginUtils::voCopyBuffer(VoImageBuffer* destination, VoImageBuffer* source) {
    if (destination == nullptr || source == nullptr)
        return -1;
    if (destination->planeAddr[0] == nullptr || source->planeAddr[0] == nullptr)
        return -1;
    const size_t width = std::min(destination->width, source->width);
    const size_t height = std::min(destination->height, source->height);
    if (width == 0 || height == 0)
        return -1;
    copyPlane(lumaRegion(*destination), lumaRegion(*source), width, height);
    copyPlane(chromaRegion(*destination), chromaRegion(*source), (width + 1) & ~size_t(1),
              (height + 1) / 2);
    return 0;
}

int PluginUtils::voDumpBuffer(VoImageBuffer* buffer, const char* fileName) {
    if (buffer == nullptr || fileName == nullptr || buffer->planeAddr[0] == nullptr)
        return -1;
    FILE* file = fopen(fileName, "wb");
    if (file == nullptr)
        return -1;
    const size_t width = buffer->width;
    const size_t height = buffer->height;
    bool ok = writePlane(file, lumaRegion(*buffer), width, height);
    ok = writePlane(file, chromaRegion(*buffer), (width + 1) & ~size_t(1), (height + 1) / 2) && ok;
    ok = fclose(file) == 0 && ok;
    return ok ? 0 : -1;
}

}  // namespace voalgo2

// voCopyBuffer and voDumpBuffer: exact copies of the visible pixels, never a byte past either
// buffer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "MetadataBuilders.h"
#include "PluginUtils.h"
#include "YuvImage.h"

namespace {

using hostkit::YuvImage;
using voalgo2::PluginUtils;
using voalgo2::VoImageBuffer;

VoImageBuffer bufferOf(YuvImage& image, bool twoPlanes = true) {
    VoImageBuffer buffer{};
    buffer.format = image.format();
    buffer.width = image.width();
    buffer.height = image.height();
    buffer.stride = image.stride();
    buffer.scanline = image.scanline();
    buffer.planeCount = twoPlanes ? 2 : 1;
    buffer.planeAddr[0] = image.luma();
    buffer.planeSize[0] = twoPlanes ? image.lumaBytes() : image.lumaBytes() + image.chromaBytes();
    if (twoPlanes) {
        buffer.planeAddr[1] = image.chroma();
        buffer.planeSize[1] = image.chromaBytes();
    }
    return buffer;
}

TEST(BufferCopyTest, CopiesVisiblePixelsForEveryLayout) {
    struct Row {
        uint32_t width, height, srcStride, dstStride, srcScan, dstScan;
        bool twoPlanes;
    } rows[] = {
        {64, 48, 64, 64, 48, 48, true},   // contiguous
        {64, 48, 96, 64, 48, 48, true},   // padded source
        {64, 48, 64, 128, 48, 56, true},  // padded destination, taller scanline
        {63, 47, 64, 80, 47, 47, true},   // odd sizes: chroma rounds up
        {40, 30, 48, 48, 32, 32, false},  // single plane, chroma after the scanlines
    };
    for (const auto& row : rows) {
        YuvImage src(row.width, row.height, 17, row.srcStride, row.srcScan);
        YuvImage dst(row.width, row.height, 17, row.dstStride, row.dstScan);
        // Source padding differs from the destination's, so a copied padding byte shows.
        std::fill(src.luma(), src.luma() + src.lumaBytes() + src.chromaBytes(), 0x11);
        src.fillPattern(row.width * 31 + row.srcStride);
        VoImageBuffer s = bufferOf(src, row.twoPlanes);
        VoImageBuffer d = bufferOf(dst, row.twoPlanes);
        ASSERT_EQ(0, PluginUtils::voCopyBuffer(&d, &s));
        EXPECT_TRUE(dst.sameVisiblePixels(src)) << row.width << "x" << row.height;
        // Padding of the destination keeps its fill: only visible pixels are written.
        if (row.dstStride > row.width) {
            EXPECT_EQ(0xEE, dst.luma()[row.width]);
            EXPECT_EQ(0xEE, dst.chroma()[((row.width + 1) & ~1u)]);
        }
    }
}

TEST(BufferCopyTest, NeverWritesPastTheSmallerBuffer) {
    // The destination is a window in a larger allocation; everything around it must survive.
    YuvImage src(100, 80);
    src.fillPattern(7);
    std::vector<uint8_t> arena(64 * 1024, 0xAB);
    const uint32_t width = 64, height = 48;
    uint8_t* luma = arena.data() + 1024;
    uint8_t* chroma = luma + width * height + 512;
    VoImageBuffer d{};
    d.format = 17;
    d.width = width;
    d.height = height;
    d.stride = width;
    d.scanline = height;
    d.planeCount = 2;
    d.planeAddr[0] = luma;
    d.planeAddr[1] = chroma;
    d.planeSize[0] = width * height;
    d.planeSize[1] = width * height / 2;
    VoImageBuffer s = bufferOf(src);
    ASSERT_EQ(0, PluginUtils::voCopyBuffer(&d, &s));
    for (size_t i = 0; i < arena.size(); ++i) {
        const uint8_t* p = arena.data() + i;
        const bool inLuma = p >= luma && p < luma + d.planeSize[0];
        const bool inChroma = p >= chroma && p < chroma + d.planeSize[1];
        if (!inLuma && !inChroma) {
            ASSERT_EQ(0xAB, arena[i]) << "byte " << i << " overwritten";
        }
    }
    EXPECT_EQ(src.luma()[100 + 5], luma[64 + 5]);

    // A plane size smaller than the geometry says bounds the copy too.
    std::fill(arena.begin(), arena.end(), 0xAB);
    d.planeSize[0] = width * 10;
    d.planeSize[1] = width * 3;
    ASSERT_EQ(0, PluginUtils::voCopyBuffer(&d, &s));
    EXPECT_EQ(0xAB, luma[width * 10]);
    EXPECT_EQ(0xAB, chroma[width * 3]);
    EXPECT_EQ(src.luma()[9 * 100], luma[9 * width]);
}

TEST(BufferCopyTest, RefusesMissingBuffers) {
    YuvImage image(16, 16);
    VoImageBuffer good = bufferOf(image);
    VoImageBuffer empty{};
    EXPECT_EQ(-1, PluginUtils::voCopyBuffer(nullptr, &good));
    EXPECT_EQ(-1, PluginUtils::voCopyBuffer(&good, nullptr));
    EXPECT_EQ(-1, PluginUtils::voCopyBuffer(&good, &empty));
    EXPECT_EQ(-1, PluginUtils::voCopyBuffer(&empty, &good));
    EXPECT_EQ(-1, PluginUtils::voDumpBuffer(&empty, "/tmp/never-written"));
}

TEST(BufferCopyTest, DumpWritesRowsWithoutPadding) {
    YuvImage image(30, 21, 17, 48, 24);
    image.fillPattern(3);
    VoImageBuffer buffer = bufferOf(image);
    char path[] = "/tmp/sdsr-dump-XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_EQ(0, PluginUtils::voDumpBuffer(&buffer, path));
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    unlink(path);
    EXPECT_EQ(image.visibleBytes(), bytes);
    EXPECT_EQ(size_t(30 * 21 + 30 * 11), bytes.size());
    EXPECT_EQ(-1, PluginUtils::voDumpBuffer(&buffer, "/nonexistent-dir/x.NV12"));
}

}  // namespace

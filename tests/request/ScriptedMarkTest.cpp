// The scripted algorithm double's Run, called directly: a copy of the input with a thin frame
// marked into the luma (white, black over near-white input), chroma copied, padding untouched.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

#include "LibraryControl.h"
#include "sdsrAlgoApi.h"

namespace {

struct MarkRow {
    int width, height, stride;
    int frame;  // pixels of the frame along each edge
};

TEST(ScriptedAlgoMark, RunCopiesTheInputWithAThinFrameMarkedInTheLuma) {
    hostkit::ScriptedAlgo scripted;
    scripted.reset();
    void* library = dlopen(hostkit::ScriptedAlgo::path().c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    auto init = reinterpret_cast<VoalgoAi_DIPS_Init_Fn>(dlsym(library, "VoalgoAi_DIPS_Init"));
    auto run = reinterpret_cast<VoalgoAi_DIPS_Run_Fn>(dlsym(library, "VoalgoAi_DIPS_Run"));
    auto unit = reinterpret_cast<VoalgoAi_DIPS_Unit_Fn>(dlsym(library, "VoalgoAi_DIPS_Unit"));
    const std::vector<MarkRow> rows = {{96, 64, 100, 2},
                                       {640, 480, 640, 4},
                                       {1000, 300, 1024, 3},
                                       {3, 2, 4, 2},
                                       {401, 999, 401, 4}};
    for (const MarkRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.width) + "x" + std::to_string(row.height));
        const size_t lumaSize = size_t(row.stride) * row.height;
        const size_t chromaSize = size_t(row.stride) * ((row.height + 1) / 2);
        std::vector<uint8_t> inLuma(lumaSize), inChroma(chromaSize);
        for (size_t i = 0; i < lumaSize; ++i)  // dark and light values on every edge
            inLuma[i] = uint8_t(i * 37 + i / 7);
        for (size_t i = 0; i < chromaSize; ++i)
            inChroma[i] = uint8_t(i * 11);
        std::vector<uint8_t> outLuma(lumaSize, 0xEE), outChroma(chromaSize, 0xEE);
        VoalgoAi_DIPS_InitParams params{};
        params.width = row.width;
        params.height = row.height;
        params.stride = row.stride;
        void* handle = nullptr;
        ASSERT_EQ(init(&handle, &params), 0);
        VoalgoAi_DIPS_RunParams runParams{};
        runParams.inputPlane[0] = inLuma.data();
        runParams.inputPlane[1] = inChroma.data();
        runParams.outputPlane[0] = outLuma.data();
        runParams.outputPlane[1] = outChroma.data();
        ASSERT_EQ(run(&handle, &runParams), 0);
        unit(&handle);
        size_t framePixels = 0;
        for (int y = 0; y < row.height; ++y) {
            for (int x = 0; x < row.stride; ++x) {
                const size_t i = size_t(y) * row.stride + x;
                const bool onFrame = x < row.frame || y < row.frame || x >= row.width - row.frame ||
                                     y >= row.height - row.frame;
                const uint8_t wanted = x >= row.width    ? 0xEE  // padding is never written
                                       : !onFrame        ? inLuma[i]
                                       : inLuma[i] < 200 ? 235
                                                         : 16;
                framePixels += x < row.width && onFrame;
                ASSERT_EQ(outLuma[i], wanted) << "luma at " << x << "," << y;
            }
        }
        EXPECT_GT(framePixels, 0u);
        for (size_t i = 0; i < chromaSize; ++i) {
            const bool padding = int(i % row.stride) >= ((row.width + 1) & ~1);
            ASSERT_EQ(outChroma[i], padding ? 0xEE : inChroma[i]) << "chroma byte " << i;
        }
    }
    dlclose(library);
}

}  // namespace

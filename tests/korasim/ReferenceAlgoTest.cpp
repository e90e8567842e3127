// The reference enhancement library through its C entry points, loaded as the plugin loads it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "PluginLoader.h"
#include "ReferenceAlgoControl.h"
#include "sdsrAlgoApi.h"

namespace {

class ReferenceLibrary : public ::testing::Test {
  protected:
    void SetUp() override {
        handle = dlopen((hostkit::libraryDir() + "/libsdsr_algo_reference.so").c_str(), RTLD_NOW);
        ASSERT_NE(handle, nullptr) << dlerror();
        init = fn<VoalgoAi_DIPS_Init_Fn>("VoalgoAi_DIPS_Init");
        run = fn<VoalgoAi_DIPS_Run_Fn>("VoalgoAi_DIPS_Run");
        unit = fn<VoalgoAi_DIPS_Unit_Fn>("VoalgoAi_DIPS_Unit");
        setThreads = fn<void (*)(int32_t)>("sdsrReference_setThreads");
        live = fn<int32_t (*)()>("sdsrReference_liveInstances");
    }
    void TearDown() override {
        if (setThreads)
            setThreads(0);
        if (handle)
            dlclose(handle);
    }
    template <typename F>
    F fn(const char* name) {
        void* symbol = dlsym(handle, name);
        EXPECT_NE(symbol, nullptr) << name;
        return reinterpret_cast<F>(symbol);
    }

    // A w x h NV21 image with `stride` bytes per row; padding holds 0xEE.
    struct Image {
        int w, h, stride;
        std::vector<uint8_t> luma, chroma;
        Image(int width, int height, int rowStride)
            : w(width),
              h(height),
              stride(rowStride),
              luma(static_cast<size_t>(rowStride) * height, 0xEE),
              chroma(static_cast<size_t>(rowStride) * ((height + 1) / 2), 0xEE) {}
        uint8_t& y(int x, int row) { return luma[static_cast<size_t>(row) * stride + x]; }
    };

    // Runs one Init / Run / Unit over `in`, writing `out`.
    int32_t process(Image& in, Image& out) {
        VoalgoAi_DIPS_InitParams params{};
        params.rawType = 1;
        params.width = in.w;
        params.height = in.h;
        params.stride = in.stride;
        void* instance = nullptr;
        int32_t status = init(&instance, &params);
        if (status != 0)
            return status;
        VoalgoAi_DIPS_RunParams r{};
        r.inputPlane[0] = in.luma.data();
        r.inputPlane[1] = in.chroma.data();
        r.outputPlane[0] = out.luma.data();
        r.outputPlane[1] = out.chroma.data();
        r.inputFd[0] = r.inputFd[1] = r.outputFd[0] = r.outputFd[1] = -1;
        r.imageName = "";
        status = run(&instance, &r);
        EXPECT_EQ(unit(&instance), 0);
        EXPECT_EQ(instance, nullptr);
        return status;
    }

    // A soft vertical edge (as a digital zoom leaves it) with a chroma ramp.
    static Image softEdge(int w, int h, int stride) {
        Image img(w, h, stride);
        for (int row = 0; row < h; ++row) {
            for (int x = 0; x < w; ++x) {
                const double t = 1.0 / (1.0 + std::exp(-(x - w / 2.0) / 4.0));
                img.y(x, row) = static_cast<uint8_t>(40 + 160 * t + 0.5);
            }
        }
        for (int row = 0; row < (h + 1) / 2; ++row) {
            // An odd width with stride == width leaves room for `stride` chroma bytes only.
            for (int x = 0; x < std::min((w + 1) & ~1, stride); ++x) {
                img.chroma[static_cast<size_t>(row) * stride + x] = static_cast<uint8_t>(x + row);
            }
        }
        return img;
    }

    void* handle = nullptr;
    VoalgoAi_DIPS_Init_Fn init = nullptr;
    VoalgoAi_DIPS_Run_Fn run = nullptr;
    VoalgoAi_DIPS_Unit_Fn unit = nullptr;
    void (*setThreads)(int32_t) = nullptr;
    int32_t (*live)() = nullptr;
};

TEST_F(ReferenceLibrary, InitRejectsUnusableRecordsAndRunNeedsAnInstance) {
    struct Case {
        int32_t width, height, stride;
        bool ok;
    };
    for (const Case& c : {Case{64, 48, 64, true}, Case{64, 48, 128, true}, Case{0, 48, 64, false},
                          Case{64, -1, 64, false}, Case{64, 48, 63, false}}) {
        VoalgoAi_DIPS_InitParams params{};
        params.width = c.width;
        params.height = c.height;
        params.stride = c.stride;
        void* instance = nullptr;
        EXPECT_EQ(init(&instance, &params) == 0, c.ok) << c.width << "x" << c.height;
        EXPECT_EQ(instance != nullptr, c.ok);
        if (instance != nullptr) {
            EXPECT_EQ(live(), 1);
            EXPECT_EQ(unit(&instance), 0);
        }
        EXPECT_EQ(live(), 0);
    }
    EXPECT_NE(init(nullptr, nullptr), 0);
    void* none = nullptr;
    VoalgoAi_DIPS_RunParams r{};
    EXPECT_NE(run(&none, &r), 0);
}

TEST_F(ReferenceLibrary, SharpensLumaWithinItsRowsAndPassesChromaThrough) {
    Image in = softEdge(101, 67, 128);
    Image out(101, 67, 128);
    ASSERT_EQ(process(in, out), 0);
    // Padding is never written, chroma is copied.
    for (int row = 0; row < in.h; ++row) {
        for (int x = in.w; x < in.stride; ++x)
            ASSERT_EQ(out.y(x, row), 0xEE);
    }
    for (int row = 0; row < (in.h + 1) / 2; ++row) {
        for (int x = 0; x < in.stride; ++x) {
            const size_t at = static_cast<size_t>(row) * in.stride + x;
            ASSERT_EQ(out.chroma[at], x < 102 ? in.chroma[at] : 0xEE) << row << "," << x;
        }
    }
    // The edge gets steeper, without overshooting the levels on either side by much.
    const int mid = in.h / 2, c = in.w / 2;
    const int slopeIn = in.y(c + 2, mid) - in.y(c - 2, mid);
    const int slopeOut = out.y(c + 2, mid) - out.y(c - 2, mid);
    EXPECT_GT(slopeOut, slopeIn + 5);
    for (int x = 0; x < in.w; ++x) {
        EXPECT_GE(out.y(x, mid), 40 - 4);
        EXPECT_LE(out.y(x, mid), 200 + 4);
    }
    // Flat areas stay exactly flat.
    EXPECT_EQ(out.y(2, mid), in.y(2, mid));
}

TEST_F(ReferenceLibrary, ResultDoesNotDependOnThreadsStrideOrWorkingInPlace) {
    // Tall enough for several row strips per thread.
    Image in = softEdge(83, 401, 83);
    for (int row = 0; row < in.h; ++row) {
        for (int x = 0; x < in.w; ++x) {
            in.y(x, row) = static_cast<uint8_t>(in.y(x, row) ^ ((x * 7 + row * 13) % 32));
        }
    }
    setThreads(1);
    Image one(83, 401, 83);
    ASSERT_EQ(process(in, one), 0);
    for (int threads : {2, 3, 7}) {
        setThreads(threads);
        Image many(83, 401, 83);
        ASSERT_EQ(process(in, many), 0);
        EXPECT_EQ(many.luma, one.luma) << threads << " threads";
    }
    // Same pixels with row padding.
    Image padded(83, 401, 96);
    for (int row = 0; row < in.h; ++row) {
        for (int x = 0; x < in.w; ++x)
            padded.y(x, row) = in.y(x, row);
    }
    Image paddedOut(83, 401, 96);
    ASSERT_EQ(process(padded, paddedOut), 0);
    for (int row = 0; row < in.h; ++row) {
        for (int x = 0; x < in.w; ++x)
            ASSERT_EQ(paddedOut.y(x, row), one.y(x, row));
    }
    // In place.
    Image inPlace = in;
    ASSERT_EQ(process(inPlace, inPlace), 0);
    EXPECT_EQ(inPlace.luma, one.luma);
}

}  // namespace

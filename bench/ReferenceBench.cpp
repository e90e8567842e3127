// Throughput of the reference enhancement library on a 4000x3000 NV21 image, with one worker
// thread and with one per hardware thread. The library is called directly through its four
// entry points, as the plugin calls it: Init, Run and Unit per image, all three timed.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "BenchCommon.h"
#include "BenchRegistry.h"
#include "MetadataBuilders.h"
#include "ReferenceAlgoControl.h"
#include "YuvImage.h"
#include "sdsrAlgoApi.h"

namespace sdsrbench {

namespace {

struct ReferenceLibrary {
    ReferenceLibrary() {
        const std::string path = hostkit::libraryDir() + "/libsdsr_algo_reference.so";
        handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr)
            throw std::runtime_error("dlopen " + path);
        init = reinterpret_cast<VoalgoAi_DIPS_Init_Fn>(symbol("VoalgoAi_DIPS_Init"));
        run = reinterpret_cast<VoalgoAi_DIPS_Run_Fn>(symbol("VoalgoAi_DIPS_Run"));
        unit = reinterpret_cast<VoalgoAi_DIPS_Unit_Fn>(symbol("VoalgoAi_DIPS_Unit"));
        setThreads = reinterpret_cast<void (*)(int32_t)>(symbol("sdsrReference_setThreads"));
        threads = reinterpret_cast<int32_t (*)()>(symbol("sdsrReference_threads"));
    }
    ~ReferenceLibrary() { dlclose(handle); }
    ReferenceLibrary(const ReferenceLibrary&) = delete;
    ReferenceLibrary& operator=(const ReferenceLibrary&) = delete;

    void* symbol(const char* name) const {
        void* address = dlsym(handle, name);
        if (address == nullptr)
            throw std::runtime_error(std::string("no symbol ") + name);
        return address;
    }

    void* handle;
    VoalgoAi_DIPS_Init_Fn init;
    VoalgoAi_DIPS_Run_Fn run;
    VoalgoAi_DIPS_Unit_Fn unit;
    void (*setThreads)(int32_t);
    int32_t (*threads)();
};

double gOneThreadMps = 0.0;

void referenceBenchmark(benchmark::State& state, const std::string& key, int32_t wantedThreads) {
    // The smoke run checks the calls on a small image; the figure is for 4000x3000.
    const uint32_t width = smokeMode() ? 400 : 4000;
    const uint32_t height = smokeMode() ? 300 : 3000;
    ReferenceLibrary library;
    library.setThreads(wantedThreads);
    const int32_t threads = library.threads();

    hostkit::YuvImage input(width, height, 17);
    hostkit::YuvImage output(width, height, 17);
    input.fillPattern(11);
    output.fill(0, 0);

    VoalgoAi_DIPS_InitParams initParams{};
    initParams.rawType = 1;
    initParams.width = static_cast<int32_t>(width);
    initParams.height = static_cast<int32_t>(height);
    initParams.stride = static_cast<int32_t>(input.stride());
    initParams.zoomRatio = 10.0f;
    VoalgoAi_DIPS_RunParams runParams{};
    runParams.inputPlane[0] = input.luma();
    runParams.inputPlane[1] = input.chroma();
    runParams.outputPlane[0] = output.luma();
    runParams.outputPlane[1] = output.chroma();
    runParams.inputFd[0] = runParams.inputFd[1] = -1;
    runParams.outputFd[0] = runParams.outputFd[1] = -1;
    runParams.imageName = "IMG_20240101_120000";

    double totalNs = 0.0;
    for (auto _ : state) {
        void* handle = nullptr;
        const double start = nowNs();
        const int32_t initResult = library.init(&handle, &initParams);
        const int32_t runResult = initResult == 0 ? library.run(&handle, &runParams) : -1;
        library.unit(&handle);
        const double elapsed = nowNs() - start;
        totalNs += elapsed;
        state.SetIterationTime(elapsed / 1e9);
        if (initResult != 0 || runResult != 0) {
            state.SkipWithError("the reference library failed");
            break;
        }
    }
    library.setThreads(0);
    if (state.error_occurred()) {
        recordError(key, "the reference library failed");
        return;
    }
    const double megapixels = static_cast<double>(width) * height / 1e6;
    const double seconds = totalNs / static_cast<double>(state.iterations()) / 1e9;
    const double mps = megapixels / seconds;
    state.counters["MP/s"] = mps;
    state.counters["threads"] = threads;

    Figure figure;
    figure.what = "reference algorithm, " + std::to_string(width) + "x" + std::to_string(height) +
                  ", " + std::to_string(threads) + (threads == 1 ? " thread" : " threads");
    figure.value = formatNumber(mps, 1) + " MP/s (" + formatNumber(seconds * 1e3, 0) + " ms)";
    if (wantedThreads == 1) {
        gOneThreadMps = mps;
    } else if (gOneThreadMps > 0.0) {
        figure.floor = formatNumber(gOneThreadMps, 1) + " MP/s one thread";
        figure.ratio = formatNumber(mps / gOneThreadMps, 2) + "x";
    }
    recordFigure(key, figure);
}

}  // namespace

void registerReferenceBenchmarks() {
    addBenchmark("reference/4000x3000/threads_1",
                 [](benchmark::State& state) { referenceBenchmark(state, "5a", 1); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    addBenchmark("reference/4000x3000/threads_all",
                 [](benchmark::State& state) { referenceBenchmark(state, "5b", 0); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace sdsrbench

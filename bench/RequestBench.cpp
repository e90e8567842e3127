// processRequest on a 4000x3000 capture: the copy path against memcpy of the same bytes, and the
// successful path with an algorithm whose Run does nothing, whose whole time is the plugin's
// frame (binding, lock, boost, metadata reads, EXIF, logs, debug record), against one memcpy.
//
// Each iteration times the plugin's call and the memcpy floor on the same buffers, in alternating
// order, so both see the same machine. Framework observations (EXIF writers, perf events) and
// the scripted double's call record are cleared after each iteration, outside the timed region,
// so that they do not grow without bound.
#include <benchmark/benchmark.h>
#include <string.h>

#include <string>

#include "BenchCommon.h"
#include "BenchRegistry.h"
#include "CaptureRequest.h"
#include "MetadataBuilders.h"
#include "ScriptedAlgoControl.h"
#include "YuvImage.h"
#include "korahost/HostControl.h"

namespace sdsrbench {

namespace {

const uint32_t kWidth = 4000;
const uint32_t kHeight = 3000;
// An unsupported input format: takes the same copy path as the bypass property, which is read
// once when the library loads and would keep the whole process on the copy path.
const uint32_t kUnsupportedFormat = 34;

std::shared_ptr<VoMetadata> benchInputMetadata() {
    auto meta = hostkit::enablingMetadata(10.0f);
    hostkit::putString(*meta, "orvane.snapshot.imageName", "IMG_20240101_120000.jpg", true);
    return meta;
}

std::shared_ptr<VoMetadata> benchInputPhysical() {
    auto physical = std::make_shared<VoMetadata>();
    const int64_t exposure = 10000000;
    physical->update(ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
    return physical;
}

// One 4000x3000 request whose buffers carry metadata as the framework's do.
struct BenchRequest : hostkit::CaptureRequest {
    BenchRequest(uint32_t format, uint32_t stride)
        : CaptureRequest(kWidth, kHeight, format, stride, benchInputMetadata(),
                         benchInputPhysical(), 7) {}

    // Bytes a copy of the visible image moves: luma rows, then chroma rows.
    size_t visibleBytes() const { return input.visibleSize(); }
};

int32_t processingTime(void*, uint64_t) {
    return 42;
}

std::unique_ptr<PluginWraper> newPlugin() {
    std::unique_ptr<PluginWraper> plugin = env().loader->create();
    CreateInfo createInfo{};
    createInfo.nodeName = "SdsrNode0";
    VoaNodeInterface node{};
    node.getProcessingTime = &processingTime;
    plugin->initialize(&createInfo, node);
    return plugin;
}

struct PairTotals {
    double subjectNs = 0.0;
    double floorNs = 0.0;
    double flatNs = 0.0;  // strided buffers: one memcpy of as many bytes, for comparison
    uint64_t allocations = 0;
    uint64_t count = 0;
};

// memcpy of the bytes a copy of the visible image moves, where they are: one call when the rows
// are contiguous, one per row otherwise (the padding between rows is not the image's).
void copyVisibleBytes(BenchRequest& request) {
    const size_t stride = request.input.stride();
    if (stride == kWidth) {
        memcpy(request.output.luma(), request.input.luma(), request.visibleBytes());
        return;
    }
    for (uint32_t y = 0; y < kHeight; ++y) {
        memcpy(request.output.luma() + y * stride, request.input.luma() + y * stride, kWidth);
    }
    const size_t chromaWidth = (kWidth + 1) & ~1u;
    for (uint32_t y = 0; y < (kHeight + 1) / 2; ++y) {
        memcpy(request.output.chroma() + y * stride, request.input.chroma() + y * stride,
               chromaWidth);
    }
}

// Times one processRequest and the memcpy floor, in the given order; for strided buffers also
// one memcpy of as many bytes in one block.
void timePair(benchmark::State& state, PluginWraper& plugin, BenchRequest& request,
              bool subjectFirst, PairTotals& totals) {
    double subjectNs = 0.0;
    const auto subject = [&]() {
        const uint64_t allocationsBefore = threadAllocations();
        const double start = nowNs();
        plugin.processRequest(&request.info);
        subjectNs = nowNs() - start;
        totals.allocations += threadAllocations() - allocationsBefore;
    };
    const auto floor = [&]() {
        double start = nowNs();
        copyVisibleBytes(request);
        benchmark::ClobberMemory();
        totals.floorNs += nowNs() - start;
        if (request.input.stride() != kWidth) {
            start = nowNs();
            memcpy(request.output.luma(), request.input.luma(), request.visibleBytes());
            benchmark::ClobberMemory();
            totals.flatNs += nowNs() - start;
        }
    };
    runPair(subjectFirst, subject, floor);
    totals.subjectNs += subjectNs;
    ++totals.count;
    state.SetIterationTime(subjectNs / 1e9);
}

void copyPathBenchmark(benchmark::State& state, const std::string& key, uint32_t stride,
                       bool gatesOpen) {
    if (gatesOpen) {
        openLogGates();
    } else {
        closeLogGates();
    }
    std::unique_ptr<PluginWraper> plugin = newPlugin();
    BenchRequest request(kUnsupportedFormat, stride);
    // The first request of a plugin object loads the algorithm library; time the ones after it.
    plugin->processRequest(&request.info);
    PairTotals totals;
    bool subjectFirst = true;
    for (auto _ : state) {
        timePair(state, *plugin, request, subjectFirst, totals);
        subjectFirst = !subjectFirst;
        korahost::resetObservations();
    }
    // The last thing written was the plugin's copy or the floor's: make it the plugin's.
    request.output.fill(0x11, 0x22);
    plugin->processRequest(&request.info);
    const bool copied = request.output.sameVisiblePixels(request.input);
    plugin->destroy();
    if (!copied) {
        state.SkipWithError("the copy path did not copy the input");
        recordError(key, "the copy path did not copy the input");
        return;
    }
    const double n = static_cast<double>(totals.count);
    const double subjectMs = totals.subjectNs / n / 1e6;
    const double floorMs = totals.floorNs / n / 1e6;
    const double ratio = subjectMs / floorMs;
    state.counters["memcpy_ms"] = floorMs;
    state.counters["ratio"] = ratio;
    state.counters["allocs"] = static_cast<double>(totals.allocations) / n;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(request.visibleBytes()));

    Figure figure;
    figure.what = "processRequest copy path, stride " + std::to_string(stride) + ", gates " +
                  (gatesOpen ? "open" : "closed");
    figure.value = formatNumber(subjectMs, 3) + " ms";
    figure.floor = formatNumber(floorMs, 3) + " ms memcpy of the same " +
                   formatNumber(static_cast<double>(request.visibleBytes()) / 1e6, 0) + " MB" +
                   (stride == kWidth ? "" : ", by row");
    figure.ratio = formatNumber(ratio, 3) + "x";
    if (!gatesOpen) {
        figure.goal = "<= 1.10x";
        figure.verdict = ratio <= 1.10 ? Verdict::Met : Verdict::Missed;
    }
    recordFigure(key, figure);
    if (stride != kWidth) {
        const double flatMs = totals.flatNs / n / 1e6;
        state.counters["memcpy_one_block_ms"] = flatMs;
        Figure flat;
        flat.what = "  same, against one memcpy of as many contiguous bytes";
        flat.value = figure.value;
        flat.floor = formatNumber(flatMs, 3) + " ms one memcpy";
        flat.ratio = formatNumber(subjectMs / flatMs, 3) + "x";
        recordFigure(key + "+", flat);
    }
}

void successPathBenchmark(benchmark::State& state, const std::string& key, bool gatesOpen) {
    if (gatesOpen) {
        openLogGates();
    } else {
        closeLogGates();
    }
    const hostkit::ScriptedAlgo& scripted = env().scripted;
    scripted.reset();
    scripted.setRunTransform(false);

    std::unique_ptr<PluginWraper> plugin = newPlugin();
    BenchRequest request(17, kWidth);
    // A plugin object's first request loads the algorithm library and the metadata helper; the
    // figure is for the requests after it.
    plugin->processRequest(&request.info);
    scripted.reset();
    scripted.setRunTransform(false);
    korahost::resetObservations();
    PairTotals totals;
    bool subjectFirst = true;
    for (auto _ : state) {
        timePair(state, *plugin, request, subjectFirst, totals);
        subjectFirst = !subjectFirst;
        // The request must have taken the successful path: GetVersion, Init, Run, Unit, all 0.
        ScriptedAlgoCall last{};
        if (scripted.callCount() != 4 || !scripted.call(3, &last) ||
            last.kind != SCRIPTED_CALL_UNIT) {
            state.SkipWithError("the request did not take the successful path");
            break;
        }
        scripted.reset();
        scripted.setRunTransform(false);
        korahost::resetObservations();
    }
    plugin->destroy();
    scripted.reset();
    if (state.error_occurred()) {
        recordError(key, "the request did not take the successful path");
        return;
    }
    const double n = static_cast<double>(totals.count);
    const double subjectUs = totals.subjectNs / n / 1e3;
    const double floorUs = totals.floorNs / n / 1e3;
    const double share = subjectUs / floorUs;
    const double allocations = static_cast<double>(totals.allocations) / n;
    state.counters["memcpy_us"] = floorUs;
    state.counters["share_pct"] = share * 100.0;
    state.counters["allocs"] = allocations;

    Figure figure;
    figure.what = std::string("processRequest success path, Run does nothing, gates ") +
                  (gatesOpen ? "open" : "closed");
    figure.value = formatNumber(subjectUs, 1) + " us (" + formatNumber(allocations, 0) + " allocs)";
    figure.floor = formatNumber(floorUs, 1) + " us memcpy of the image";
    figure.ratio = formatNumber(share * 100.0, 2) + " %";
    figure.goal = "< 5 %";
    figure.verdict = share < 0.05 ? Verdict::Met : Verdict::Missed;
    recordFigure(key, figure);
}

}  // namespace

void registerRequestBenchmarks() {
    struct CopyCase {
        const char* key;
        uint32_t stride;
        bool gatesOpen;
    };
    for (const CopyCase& c :
         {CopyCase{"2a", 4000, false}, CopyCase{"2b", 4096, false}, CopyCase{"2c", 4000, true}}) {
        const std::string key = c.key;
        const uint32_t stride = c.stride;
        const bool gatesOpen = c.gatesOpen;
        addBenchmark("processRequest/copy_path/stride_" + std::to_string(stride) + "/gates_" +
                         (gatesOpen ? "open" : "closed"),
                     [key, stride, gatesOpen](benchmark::State& state) {
                         copyPathBenchmark(state, key, stride, gatesOpen);
                     })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    for (const bool gatesOpen : {false, true}) {
        const std::string key = gatesOpen ? "3b" : "3a";
        addBenchmark(std::string("processRequest/success_path/run_does_nothing/gates_") +
                         (gatesOpen ? "open" : "closed"),
                     [key, gatesOpen](benchmark::State& state) {
                         successPathBenchmark(state, key, gatesOpen);
                     })
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

}  // namespace sdsrbench

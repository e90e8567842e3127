// Fuzzes one capture request end to end. The bytes decide the buffers (format, size, stride,
// scanline, plane count and plane sizes), the port maps of both sides (none, empty or many
// entries), every metadata container (random tags, types and counts, short and long SmartAE
// records, image names with or without terminator) and what the algorithm library answers. A
// fresh plugin object of the library loaded through dlopen + koraconnect answers isEnabled and
// processes the request.
//
// Besides the sanitizers, every request must leave what the framework relies on: 0 returned,
// the boost released, every output buffer marked for CPU access, and, where input and output
// describe the same image, the output holds the algorithm's result after a successful run and
// an exact copy of the input otherwise.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "RequestHarness.h"
#include "SmartAEProcOutput.h"

namespace {

using sdsrfuzz::FuzzInput;

void require(bool condition, const char* what) {
    if (condition)
        return;
    fprintf(stderr, "request fuzzer: invariant broken: %s\n", what);
    abort();
}

// A passing fake device with the scripted algorithm and the metadata helper double, and the
// plugin library loaded once per process.
struct Fixture {
    hostkit::DeviceTree tree;
    hostkit::ScriptedAlgo algo;
    std::unique_ptr<hostkit::PluginLoader> loader;
    std::vector<korahost::RegisteredTag> tags;

    Fixture() {
        // SDSR_FUZZ_LOG=1 echoes the plugin's log lines, to read what an input did.
        korahost::setLogEcho(getenv("SDSR_FUZZ_LOG") != nullptr);
        tree.makePassing("1.0.0.0");
        tree.installAlgorithm(hostkit::ScriptedAlgo::path());
        tree.installMetaHelper(hostkit::MetaHelperDouble::path("double"));
        loader = std::make_unique<hostkit::PluginLoader>();
        require(loader->ok(), "plugin loads");
        tags = korahost::registeredTags();
    }
};

Fixture& fixture() {
    static Fixture f;  // until exit, which removes the device tree
    return f;
}

uint32_t tagId(const char* name) {
    unsigned int tag = 0;
    VoMetadata::getTagFromName(name, &tag);
    return tag;
}

// ---- Metadata -------------------------------------------------------------------------------

void putTyped(VoMetadata& meta, uint32_t tag, uint8_t type, const std::vector<uint8_t>& bytes,
              size_t count) {
    const void* data = bytes.empty() ? nullptr : bytes.data();
    switch (type) {
        case TYPE_BYTE:
            meta.update(tag, static_cast<const uint8_t*>(data), count);
            break;
        case TYPE_INT32:
            meta.update(tag, static_cast<const int32_t*>(data), count);
            break;
        case TYPE_FLOAT:
            meta.update(tag, static_cast<const float*>(data), count);
            break;
        case TYPE_INT64:
            meta.update(tag, static_cast<const int64_t*>(data), count);
            break;
        case TYPE_DOUBLE:
            meta.update(tag, static_cast<const double*>(data), count);
            break;
        default:
            meta.update(tag, static_cast<const camera_metadata_rational_t*>(data), count);
            break;
    }
}

const size_t kElementSize[] = {1, 4, 4, 8, 8, 8};

void putSmartAE(FuzzInput& in, VoMetadata& meta) {
    const size_t full = sizeof(VO_SMARTAE::SmartAEProcOutput);
    size_t size = full;
    switch (in.below(4)) {
        case 0:
            size = in.below(uint32_t(full));  // short, down to empty
            break;
        case 1:
            size = full + 1 + in.below(4096);  // long
            break;
        default:
            break;
    }
    std::vector<uint8_t> record(size, 0);
    const std::vector<uint8_t> fill = in.bytes(std::min<size_t>(size, in.below(64)));
    std::copy(fill.begin(), fill.end(), record.begin());
    auto setField = [&record](size_t offset, int32_t value) {
        if (offset + sizeof(value) <= record.size())
            memcpy(record.data() + offset, &value, sizeof(value));
    };
    const uint32_t algoChoice = in.below(5);
    setField(offsetof(VO_SMARTAE::SmartAEProcOutput, algoType),
             algoChoice < 4 ? int32_t(5 + algoChoice) : in.raw<int32_t>());
    const uint32_t modeChoice = in.below(3);
    setField(offsetof(VO_SMARTAE::SmartAEProcOutput, sensorMode), modeChoice == 0 ? 0
                                                                  : modeChoice == 1
                                                                      ? 15
                                                                      : in.raw<int32_t>());
    putTyped(meta, tagId("orvane.ai.asd.SmartAE"), TYPE_BYTE, record, record.size());
}

void putEntry(FuzzInput& in, VoMetadata& meta, const std::vector<korahost::RegisteredTag>& tags) {
    switch (in.below(8)) {
        case 0: {  // the tags that enable SDSR, with values around the accepted ones
            const int32_t ui = int32_t(in.below(4)), trigger = in.below(3), mode = in.below(3);
            meta.update(tagId("orvane.ai.asd.sdsrui"), &ui, 1);
            meta.update(tagId("orvane.ai.asd.SDSRTrigger"), &trigger, 1);
            meta.update(tagId("com.orvane.stableDiffusionSR.mode"), &mode, 1);
            break;
        }
        case 1:
            putSmartAE(in, meta);
            break;
        case 2: {  // image name, terminated or not
            std::vector<uint8_t> name = in.bytes(in.below(300));
            if (in.flag())
                name.push_back(0);
            putTyped(meta, tagId("orvane.snapshot.imageName"), TYPE_BYTE, name, name.size());
            break;
        }
        case 3: {  // zoom and orientation, any bit pattern
            const float zoom = in.raw<float>();
            const int32_t orientation = in.raw<int32_t>();
            meta.update(ANDROID_CONTROL_ZOOM_RATIO, &zoom, 1);
            meta.update(ANDROID_JPEG_ORIENTATION, &orientation, 1);
            break;
        }
        default: {  // any tag, known or not, with any type and count
            uint32_t tag = 0;
            uint8_t type = 0;
            const uint32_t which = in.below(uint32_t(tags.size() + 1));
            if (which < tags.size()) {
                tag = tags[which].tag;
                type = in.flag() ? tags[which].type : uint8_t(in.below(NUM_TYPES));
            } else {
                tag = in.u32();
                type = uint8_t(in.below(NUM_TYPES));
            }
            const size_t count = in.below(in.flag() ? 9 : 1200);
            std::vector<uint8_t> bytes = in.bytes(count * kElementSize[type]);
            bytes.resize(count * kElementSize[type], 0);
            putTyped(meta, tag, type, bytes, count);
            break;
        }
    }
}

// Null, empty, filled, or the container decoded just before (frameworks share containers).
std::shared_ptr<VoMetadata> decodeMetadata(FuzzInput& in, std::shared_ptr<VoMetadata>& previous) {
    const uint32_t mode = in.below(5);
    if (mode == 0)
        return nullptr;
    if (mode == 4 && previous != nullptr)
        return previous;
    auto meta = std::make_shared<VoMetadata>();
    if (mode >= 2) {
        const uint32_t entries = in.below(12);
        for (uint32_t i = 0; i < entries; ++i)
            putEntry(in, *meta, fixture().tags);
    }
    previous = meta;
    return meta;
}

// ---- Buffers --------------------------------------------------------------------------------

// One image of the request with the memory it describes. The allocation always holds what the
// description promises (rows of max(stride, even width) bytes, as an odd width still has whole
// chroma pairs, and max(scanline, height) luma rows): the framework's buffers are what they
// claim, whatever odd values the claim has.
struct OwnedImage {
    std::unique_ptr<uint8_t[]> bytes;
    size_t lumaBytes = 0;
    size_t chromaBytes = 0;
    VoBufferAccessType marker = VO_BUFFER_ACCESS_NONE;
    bool sizesHonest = true;  // plane sizes unknown or the whole allocation
};

struct Request {
    ProcessRequestInfo info{};
    std::vector<std::unique_ptr<OwnedImage>> images;
    size_t pixelBudget = 1u << 20;
};

ImageParams decodeImage(FuzzInput& in, Request& request, std::shared_ptr<VoMetadata>& previous) {
    ImageParams image{};
    const uint32_t formatChoice = in.below(8);
    image.format = formatChoice < 4   ? 17u
                   : formatChoice < 6 ? 35u
                   : formatChoice < 7 ? in.pick<uint32_t>({0x109, 34, 0x20, 0x21})
                                      : in.u32();
    image.width = in.below(321);
    image.height = in.below(241);
    switch (in.below(4)) {
        case 0:
            image.stride = image.width;
            break;
        case 1:
            image.stride = image.width + in.below(64);
            break;
        case 2:
            image.stride = in.below(image.width + 1);
            break;
        default:
            image.stride = 0;
            break;
    }
    switch (in.below(4)) {
        case 0:
            image.scanline = image.height;
            break;
        case 1:
            image.scanline = image.height + in.below(16);
            break;
        case 2:
            image.scanline = in.below(image.height + 1);
            break;
        default:
            image.scanline = 0;
            break;
    }
    const uint32_t planeChoice = in.below(10);
    image.planeCount = planeChoice < 5 ? 2u : planeChoice < 9 ? planeChoice - 5 : in.u32();

    auto owned = std::make_unique<OwnedImage>();
    size_t pitch = std::max(image.stride, (image.width + 1) & ~1u);
    size_t rows = std::max(image.scanline, image.height);
    if (pitch * rows * 3 / 2 > request.pixelBudget) {
        // Past the budget the description shrinks, not the honesty of the allocation.
        image.width = std::min(image.width, 8u);
        image.height = std::min(image.height, 8u);
        image.stride = std::min(image.stride, 8u);
        image.scanline = std::min(image.scanline, 8u);
        pitch = std::max(image.stride, (image.width + 1) & ~1u);
        rows = std::max(image.scanline, image.height);
    }
    owned->lumaBytes = pitch * rows;
    owned->chromaBytes = pitch * ((rows + 1) / 2);
    const size_t total = owned->lumaBytes + owned->chromaBytes;
    request.pixelBudget -= std::min(request.pixelBudget, total);
    owned->bytes.reset(new uint8_t[total]);
    // Content differs between images (so a copy shows), filled by block copies (fast).
    uint8_t pattern[509];
    for (size_t i = 0; i < sizeof(pattern); ++i)
        pattern[i] = uint8_t(i * 131 + request.images.size() * 71 + 1);
    for (size_t at = 0; at < total; at += sizeof(pattern))
        memcpy(owned->bytes.get() + at, pattern, std::min(sizeof(pattern), total - at));

    const uint32_t sizeMode = in.below(4);
    owned->sizesHonest = sizeMode != 3;
    uint64_t lumaSize = image.planeCount < 2 ? total : owned->lumaBytes;
    uint64_t chromaSize = owned->chromaBytes;
    if (sizeMode == 0) {
        lumaSize = chromaSize = 0;  // unknown
    } else if (sizeMode == 3) {
        lumaSize = in.below(uint32_t(std::min<uint64_t>(lumaSize, 0xFFFF)) + 1);
        chromaSize = in.below(uint32_t(std::min<uint64_t>(chromaSize, 0xFFFF)) + 1);
    }
    const uint32_t nulls = in.below(16);
    image.planes[0] =
        VoPlane{nulls == 1 ? nullptr : owned->bytes.get(), int32_t(in.below(3)) - 1, lumaSize};
    image.planes[1] = VoPlane{nulls == 2 ? nullptr : owned->bytes.get() + owned->lumaBytes,
                              int32_t(in.below(3)) - 1, chromaSize};
    image.planes[2] = VoPlane{nullptr, -1, 0};
    image.metadata = decodeMetadata(in, previous);
    image.physicalMetadata = decodeMetadata(in, previous);
    image.accessMarker = in.below(8) == 0 ? nullptr : &owned->marker;
    request.images.push_back(std::move(owned));
    return image;
}

void decodeMap(FuzzInput& in, VoBufferMap& map, Request& request,
               std::shared_ptr<VoMetadata>& previous) {
    uint32_t ports = in.below(4);
    if (ports == 3 && in.flag())
        ports += in.below(30);  // many ports
    for (uint32_t p = 0; p < ports; ++p) {
        const uint32_t portChoice = in.below(4);
        const uint32_t port = portChoice < 3 ? portChoice : in.u32();
        uint32_t frames = in.below(4);  // 0 leaves an empty vector on the port
        if (frames == 3 && in.flag())
            frames += in.below(30);  // many frames
        std::vector<ImageParams>& images = map[port];
        for (uint32_t f = 0; f < frames; ++f)
            images.push_back(decodeImage(in, request, previous));
    }
}

// The first image of a map in port order, as the plugin picks it.
const ImageParams* firstImage(const VoBufferMap& map) {
    for (const auto& port : map) {
        if (!port.second.empty())
            return &port.second.front();
    }
    return nullptr;
}

bool sameDescription(const ImageParams& a, const ImageParams& b) {
    return a.width == b.width && a.height == b.height && a.stride == b.stride &&
           a.scanline == b.scanline && a.planeCount == b.planeCount;
}

const OwnedImage* ownerOf(const Request& request, const ImageParams& image) {
    for (const auto& owned : request.images) {
        if (image.planes[0].addr == owned->bytes.get())
            return owned.get();
    }
    return nullptr;
}

// Where both sides describe the same two-plane image in full, the output must be the scripted
// algorithm's result (the input with its frame marked in the luma) after a successful run, the
// input otherwise.
void checkOutputPixels(const Request& request, bool runSucceeded) {
    const ImageParams* input = firstImage(request.info.inputBuffers);
    const ImageParams* output = firstImage(request.info.outputBuffers);
    if (input == nullptr || output == nullptr || !sameDescription(*input, *output))
        return;
    if (input->planeCount < 2 || input->planeCount > VO_MAX_PLANES || input->width == 0 ||
        input->height == 0 || input->stride < input->width)
        return;
    const OwnedImage* in = ownerOf(request, *input);
    const OwnedImage* out = ownerOf(request, *output);
    if (in == nullptr || out == nullptr || !in->sizesHonest || !out->sizesHonest ||
        input->planes[1].addr == nullptr || output->planes[1].addr == nullptr)
        return;
    const size_t stride = input->stride;
    for (size_t y = 0; y < input->height; ++y) {
        for (size_t x = 0; x < input->width; ++x) {
            const uint8_t source = input->planes[0].addr[y * stride + x];
            const uint8_t expected = runSucceeded
                                         ? sdsrScripted_markedLuma(source, uint32_t(x), uint32_t(y),
                                                                   input->width, input->height)
                                         : source;
            require(output->planes[0].addr[y * stride + x] == expected,
                    runSucceeded ? "output luma is the algorithm's result"
                                 : "output luma is a copy of the input");
        }
    }
    const size_t chromaWidth = std::min<size_t>((input->width + 1) & ~1u, stride);
    for (size_t y = 0; y < (input->height + 1) / 2; ++y) {
        require(memcmp(output->planes[1].addr + y * stride, input->planes[1].addr + y * stride,
                       chromaWidth) == 0,
                "output chroma is a copy of the input");
    }
}

int32_t nonZero(FuzzInput& in) {
    const int32_t value = in.raw<int32_t>();
    return value != 0 ? value : -1;
}

int32_t processingTime(void*, uint64_t requestKey) {
    return int32_t(requestKey & 0xFF);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Fixture& f = fixture();
    FuzzInput in(data, size);

    korahost::resetObservations();
    f.algo.reset();
    // Reads are sequenced one statement at a time: an input must decode alike with every
    // compiler.
    const uint8_t script = in.byte();
    const int32_t initResult = script & 1 ? nonZero(in) : 0;
    const int32_t runResult = script & 2 ? nonZero(in) : 0;
    const int32_t unitResult = script & 4 ? nonZero(in) : 0;
    f.algo.setResults(initResult, runResult, unitResult);
    if (script & 8) {
        int32_t version[4];
        for (int32_t& part : version)
            part = in.raw<int32_t>();
        f.algo.setVersion(version[0], version[1], version[2], version[3]);
    }
    korahost::setPerfLockCreationFails((script & 16) != 0);
    korahost::setControllerFlag("SDSR", int(in.below(4)));

    Request request;
    std::shared_ptr<VoMetadata> previous;
    decodeMap(in, request.info.inputBuffers, request, previous);
    decodeMap(in, request.info.outputBuffers, request, previous);
    request.info.frameNumber = in.u32();
    request.info.requestIndex = in.u32();
    request.info.requestKey = uint64_t(in.u32()) << 32;
    request.info.requestKey |= in.u32();

    std::unique_ptr<PluginWraper> plugin = f.loader->create();
    require(plugin != nullptr, "the provider makes a plugin");
    CreateInfo createInfo{};
    createInfo.nodeName = in.blob(40);
    createInfo.cameraId = in.raw<int32_t>();
    VoaNodeInterface node{};
    if (script & 32)
        node.getProcessingTime = &processingTime;
    plugin->initialize(&createInfo, node);

    if (script & 64) {
        VoaParams params{};
        const ImageParams* input = firstImage(request.info.inputBuffers);
        params.metadata =
            in.flag() || input == nullptr ? decodeMetadata(in, previous) : input->metadata;
        plugin->isEnabled(params);
    }

    require(plugin->processRequest(&request.info) == 0, "processRequest returns 0");
    require(korahost::livePerfLocks() == 0, "the boost is released");
    for (const auto& port : request.info.outputBuffers) {
        for (const auto& image : port.second) {
            require(image.accessMarker == nullptr ||
                        *image.accessMarker == VO_BUFFER_ACCESS_CPU_READ_WRITE,
                    "every output buffer is marked for CPU access");
        }
    }
    bool runSucceeded = false;
    for (const auto& call : f.algo.calls())
        runSucceeded = runSucceeded || (call.kind == SCRIPTED_CALL_RUN && call.result == 0);
    checkOutputPixels(request, runSucceeded);

    plugin->destroy();
    plugin.reset();
    korahost::clearLogs();
    return 0;
}

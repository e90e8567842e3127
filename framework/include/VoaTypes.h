// Records exchanged between the kora framework and its plugins.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VoMetadata.h"

// Image formats the framework hands to plugins (Android HAL pixel format codes).
enum : uint32_t {
    VO_FORMAT_YCrCb_420_SP = 17,     // NV21
    VO_FORMAT_YCbCr_420_888 = 35,    // flexible 4:2:0, handled as NV12
    VO_FORMAT_YCbCr_420_SP = 0x109,  // NV12 (vendor code)
};

// How a plugin wants to access a buffer. One byte wide.
enum VoBufferAccessType : uint8_t {
    VO_BUFFER_ACCESS_NONE = 0,
    VO_BUFFER_ACCESS_READ = 1,
    VO_BUFFER_ACCESS_WRITE = 2,
    VO_BUFFER_ACCESS_READ_WRITE = 3,
    VO_BUFFER_ACCESS_CPU_CACHED = 4,
    VO_BUFFER_ACCESS_CPU_READ_WRITE = 5,
};
static_assert(sizeof(VoBufferAccessType) == 1, "one byte");

constexpr uint32_t VO_MAX_PLANES = 3;

struct VoPlane {
    uint8_t* addr;  // first byte of the plane
    int32_t fd;     // buffer file descriptor, -1 when none
    uint64_t size;  // bytes the plane may hold from addr on (0: unknown)
};

// One image buffer as the framework describes it.
struct ImageParams {
    uint32_t format;
    uint32_t width;
    uint32_t height;
    uint32_t colorSpace;  // follows the format block; carried into VoImageBuffer::colorSpace
    uint32_t stride;      // row pitch in bytes, shared by all planes
    uint32_t scanline;    // rows allocated for the luma plane
    uint32_t planeCount;
    VoPlane planes[VO_MAX_PLANES];
    std::shared_ptr<VoMetadata> metadata;          // logical camera metadata
    std::shared_ptr<VoMetadata> physicalMetadata;  // physical camera metadata
    VoBufferAccessType* accessMarker;              // owned by the framework
};

namespace voalgo2 {

// The algorithm-side descriptor of one buffer, filled by PluginWraper::convertImageParams.
struct VoImageBuffer {
    uint32_t format;
    uint32_t width;
    uint32_t height;
    uint32_t stride;
    uint32_t scanline;
    uint32_t planeCount;
    uint8_t* planeAddr[VO_MAX_PLANES];
    int32_t planeFd[VO_MAX_PLANES];
    uint64_t planeSize[VO_MAX_PLANES];
    uint32_t colorSpace;
};

struct customizeOutExtend {
    uint32_t flags;
    uint32_t reserved;
};

}  // namespace voalgo2

using VoBufferMap = std::map<uint32_t, std::vector<ImageParams>>;

// One capture request: input buffers, then output buffers, by port.
struct ProcessRequestInfo {
    VoBufferMap inputBuffers;
    VoBufferMap outputBuffers;
    uint32_t frameNumber;   // framework frame number of the request
    uint32_t requestIndex;  // index of the request within its capture
    uint64_t requestKey;    // key the EXIF manager and node callbacks know the request by
};

struct ProcessRequestInfoV2 {
    ProcessRequestInfo base;
    uint32_t version;
};

struct PreProcessInfo {
    std::shared_ptr<VoMetadata> metadata;
    uint64_t requestKey;
};

struct FlushRequestInfo {
    uint64_t requestKey;
    bool flushAll;
};

struct ProcessPluginPrivMessage {
    uint32_t type;
    const void* payload;
    size_t size;
};

struct VoaFrameInfo {
    uint32_t format;
    uint32_t width;
    uint32_t height;
    uint32_t stride;
};

struct VoaFrameOrder {
    uint32_t frameCount;
    int32_t order[16];
    int32_t anchorIndex;
};

// Parameters of a per-request enable query. Plugins read the request metadata.
struct VoaParams {
    std::shared_ptr<VoMetadata> metadata;
    uint64_t requestKey;
    uint32_t frameNumber;
};

// Creation record handed to PluginWraper::initialize.
struct CreateInfo {
    std::string nodeName;  // name of the node instance the plugin serves
    int32_t cameraId;      // logical camera id of the node
    uint32_t nodeType;
    uint32_t flags;
};

// Callbacks into the framework node that drives a plugin. Every member may be null.
struct VoaNodeInterface {
    void* owner;  // passed back as the first argument of every callback
    void (*notifyResult)(void* owner, uint64_t requestKey, int32_t status);
    void (*updateMetadata)(void* owner, uint64_t requestKey, VoMetadata* metadata);
    // Milliseconds the node has spent on the request so far; 0 when unknown.
    int32_t (*getProcessingTime)(void* owner, uint64_t requestKey);
};

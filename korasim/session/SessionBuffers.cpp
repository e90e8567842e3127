// Session parsing: image buffers and the request template the processRequest steps share.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>

#include "VoaTypes.h"
#include "image/Patterns.h"
#include "image/Png.h"
#include "session/SessionParsers.h"

namespace korasim {
namespace parse {

namespace {

constexpr uint32_t kMaxDimension = 16384;
constexpr uint64_t kMaxBufferBytes = 512ull << 20;

uint32_t parseFormat(const json& j, const std::string& path) {
    if (j.is_string()) {
        const std::string f = oneOf(j, path, {"nv21", "nv12"});
        return f == "nv21" ? VO_FORMAT_YCrCb_420_SP : VO_FORMAT_YCbCr_420_888;
    }
    return integer<uint32_t>(j, path);
}

void checkImageFile(const BufferSpec& b, const std::string& path) {
    std::string error;
    struct stat st {};
    if (stat(b.image.file.c_str(), &st) != 0) {
        fail(path, "cannot open image file " + b.image.file + ": " + strerror(errno));
    }
    if (!S_ISREG(st.st_mode))
        fail(path, "image file " + b.image.file + " is not a regular file");
    if (looksLikePng(b.image.file)) {
        // The header alone gives the size: a small file may claim a huge image, and only a
        // PNG of the buffer's size is decoded (when the step runs).
        int width = 0, height = 0;
        if (!readPngSize(b.image.file, &width, &height, &error))
            fail(path, error);
        if (width != static_cast<int>(b.width) || height != static_cast<int>(b.height)) {
            fail(path, "the PNG is " + std::to_string(width) + "x" + std::to_string(height) +
                           " but the buffer is " + std::to_string(b.width) + "x" +
                           std::to_string(b.height));
        }
        return;
    }
    const uint64_t needed =
        uint64_t(b.width) * b.height + uint64_t((b.width + 1) & ~1u) * ((b.height + 1) / 2);
    if (static_cast<uint64_t>(st.st_size) != needed) {
        fail(path, "raw 4:2:0 file " + b.image.file + " has " + std::to_string(st.st_size) +
                       " bytes, a " + std::to_string(b.width) + "x" + std::to_string(b.height) +
                       " image needs " + std::to_string(needed) +
                       " (luma rows, then chroma rows, no padding)");
    }
}

BufferSpec parseBuffer(const json& j, const std::string& path, bool input,
                       const BufferSpec* geometry, const std::string& baseDir) {
    expectObject(j, path);
    checkKeys(j, path,
              {"port", "format", "width", "height", "stride", "scanline", "image", "seed",
               "metadata", "physicalMetadata"});
    BufferSpec b;
    b.path = path;
    if (geometry != nullptr) {
        b.format = geometry->format;
        b.width = geometry->width;
        b.height = geometry->height;
    }
    if (j.contains("port"))
        b.port = integer<uint32_t>(j["port"], join(path, "port"));
    if (j.contains("format"))
        b.format = parseFormat(j["format"], join(path, "format"));
    if (j.contains("width")) {
        b.width = integer<uint32_t>(j["width"], join(path, "width"), 1, kMaxDimension);
    }
    if (j.contains("height")) {
        b.height = integer<uint32_t>(j["height"], join(path, "height"), 1, kMaxDimension);
    }
    const uint32_t minStride = (b.width + 1) & ~1u;
    b.stride = minStride;
    b.scanline = b.height;
    if (j.contains("stride")) {
        b.stride = integer<uint32_t>(j["stride"], join(path, "stride"), 1, 65536);
        if (b.stride < minStride) {
            fail(join(path, "stride"), "must be at least " + std::to_string(minStride) +
                                           " (the width rounded up to even), got " +
                                           std::to_string(b.stride));
        }
    }
    if (j.contains("scanline")) {
        b.scanline = integer<uint32_t>(j["scanline"], join(path, "scanline"), 1, 65536);
        if (b.scanline < b.height) {
            fail(join(path, "scanline"), "must be at least the height " + std::to_string(b.height) +
                                             ", got " + std::to_string(b.scanline));
        }
    }
    if (uint64_t(b.stride) * b.scanline * 3 / 2 > kMaxBufferBytes) {
        fail(path, "buffer larger than 512 MiB");
    }
    b.image.pattern = input ? "chart" : "zero";
    if (j.contains("image")) {
        const std::string p = join(path, "image");
        const std::string image = text(j["image"], p);
        if (image.empty())
            fail(p, "empty image name");
        if (isPatternName(image)) {
            b.image.pattern = image;
        } else {
            b.image.pattern.clear();
            namespace fs = std::filesystem;
            fs::path file(image);
            if (file.is_relative())
                file = fs::path(baseDir) / file;
            b.image.file = file.lexically_normal().string();
            checkImageFile(b, p);
        }
    }
    if (j.contains("seed"))
        b.image.seed = integer<uint32_t>(j["seed"], join(path, "seed"));
    if (j.contains("metadata")) {
        b.metadata = parseMetadata(j["metadata"], join(path, "metadata"));
    } else if (input) {
        b.metadata = enablingMetadata();
    }
    b.physicalMetadata.present = false;
    if (j.contains("physicalMetadata")) {
        b.physicalMetadata = parseMetadata(j["physicalMetadata"], join(path, "physicalMetadata"));
    }
    return b;
}

}  // namespace

std::vector<BufferSpec> parseBuffers(const json& j, const std::string& path, bool input,
                                     const BufferSpec* geometry, const std::string& baseDir) {
    if (!j.is_array())
        fail(path, "expected a list of buffers, got " + describeValue(j));
    if (j.size() > 64)
        fail(path, "at most 64 buffers");
    std::vector<BufferSpec> buffers;
    for (size_t i = 0; i < j.size(); ++i) {
        buffers.push_back(parseBuffer(j[i], at(path, i), input, geometry, baseDir));
    }
    return buffers;
}

// Fills the request keys of a step or template; returns false for keys it does not know.
void parseRequestValues(const json& j, const std::string& path, uint64_t& key, uint32_t& frame,
                        uint32_t* index) {
    if (j.contains("requestKey"))
        key = integer<uint64_t>(j["requestKey"], join(path, "requestKey"));
    if (j.contains("frameNumber")) {
        frame = integer<uint32_t>(j["frameNumber"], join(path, "frameNumber"));
    }
    if (index != nullptr && j.contains("requestIndex")) {
        *index = integer<uint32_t>(j["requestIndex"], join(path, "requestIndex"));
    }
}

void fillOutputs(Step& s, const std::optional<std::vector<BufferSpec>>& outputs,
                 const std::string& path) {
    if (outputs) {
        s.outputs = *outputs;
        return;
    }
    BufferSpec out;
    out.path = join(path, "outputs[0]");
    if (!s.inputs.empty()) {
        // The output mirrors the input the plugin works on: the first of the lowest port.
        const BufferSpec* primary = &s.inputs.front();
        for (const BufferSpec& b : s.inputs) {
            if (b.port < primary->port)
                primary = &b;
        }
        out.port = primary->port;
        out.format = primary->format;
        out.width = primary->width;
        out.height = primary->height;
        out.stride = primary->stride;
        out.scanline = primary->scanline;
    } else {
        out.stride = 640;
        out.scanline = 480;
    }
    out.image.pattern = "zero";
    out.physicalMetadata.present = false;
    s.outputs.push_back(out);
}

RequestTemplate defaultRequest(const std::string& baseDir) {
    RequestTemplate t;
    t.inputs.push_back(parseBuffer(json::object(), "request.inputs[0]", true, nullptr, baseDir));
    return t;
}

RequestTemplate parseRequestTemplate(const json& j, const std::string& path,
                                     const std::string& baseDir) {
    expectObject(j, path);
    checkKeys(j, path, {"inputs", "outputs", "requestKey", "frameNumber", "requestIndex"});
    RequestTemplate t = defaultRequest(baseDir);
    if (j.contains("inputs"))
        t.inputs = parseBuffers(j["inputs"], join(path, "inputs"), true, nullptr, baseDir);
    if (j.contains("outputs")) {
        const BufferSpec* geometry = t.inputs.empty() ? nullptr : &t.inputs.front();
        t.outputs = parseBuffers(j["outputs"], join(path, "outputs"), false, geometry, baseDir);
    }
    parseRequestValues(j, path, t.requestKey, t.frameNumber, &t.requestIndex);
    return t;
}

}  // namespace parse
}  // namespace korasim

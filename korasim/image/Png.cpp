#include "image/Png.h"

#include <errno.h>
#include <png.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <memory>

namespace korasim {

namespace {

struct FileCloser {
    void operator()(FILE* f) const {
        if (f != nullptr)
            fclose(f);
    }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Images larger than this on either side are refused before their pixels are allocated.
constexpr png_uint_32 kMaxSide = 20000;

// The simplified API's control block, freed however the reading or writing ends.
struct ImageControl {
    png_image image{};
    ImageControl() { image.version = PNG_IMAGE_VERSION; }
    ~ImageControl() { png_image_free(&image); }
    std::string message() const { return image.message[0] ? image.message : "unknown error"; }
};

}  // namespace

bool looksLikePng(const std::string& path) {
    File file(fopen(path.c_str(), "rb"));
    if (!file)
        return false;
    uint8_t signature[8];
    return fread(signature, 1, 8, file.get()) == 8 && png_sig_cmp(signature, 0, 8) == 0;
}

// The simplified API knows two speeds, not zlib's ten levels: 0 and 1 ask for the fast one.
bool encodePng(const RgbImage& image, std::vector<uint8_t>* out, std::string* error,
               int compressionLevel) {
    if (image.width <= 0 || image.height <= 0) {
        if (error)
            *error = "empty image";
        return false;
    }
    ImageControl control;
    control.image.width = static_cast<png_uint_32>(image.width);
    control.image.height = static_cast<png_uint_32>(image.height);
    control.image.format = PNG_FORMAT_RGB;
    control.image.flags = compressionLevel <= 1 ? PNG_IMAGE_FLAG_FAST : 0;
    png_alloc_size_t size = 0;
    const int rowBytes = image.width * 3;
    if (png_image_write_get_memory_size(control.image, size, 0, image.pixels.data(), rowBytes,
                                        nullptr)) {
        out->resize(size);
        if (png_image_write_to_memory(&control.image, out->data(), &size, 0, image.pixels.data(),
                                      rowBytes, nullptr)) {
            out->resize(size);
            return true;
        }
    }
    if (error)
        *error = "libpng: " + control.message();
    return false;
}

bool writePng(const std::string& path, const RgbImage& image, std::string* error) {
    std::vector<uint8_t> bytes;
    if (!encodePng(image, &bytes, error))
        return false;
    File file(fopen(path.c_str(), "wb"));
    if (!file) {
        if (error)
            *error = "cannot create " + path + ": " + strerror(errno);
        return false;
    }
    if (fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() ||
        fflush(file.get()) != 0) {
        if (error)
            *error = "cannot write " + path;
        return false;
    }
    return true;
}

bool readPngSize(const std::string& path, int* width, int* height, std::string* error) {
    // The first chunk of every PNG is IHDR, width and height first. Read by hand because
    // libpng reads on to the first image data before it gives the size, which a cut file lacks.
    File file(fopen(path.c_str(), "rb"));
    uint8_t head[24];
    if (!file || fread(head, 1, sizeof(head), file.get()) != sizeof(head) ||
        png_sig_cmp(head, 0, 8) != 0 || memcmp(head + 12, "IHDR", 4) != 0) {
        if (error)
            *error = "not a readable PNG: " + path + " has no PNG header";
        return false;
    }
    *width = static_cast<int>(std::min<png_uint_32>(png_get_uint_32(head + 16), INT32_MAX));
    *height = static_cast<int>(std::min<png_uint_32>(png_get_uint_32(head + 20), INT32_MAX));
    return true;
}

// libpng converts every bit depth and colour type to 8-bit RGB; an alpha channel is composited
// onto black.
bool readPng(const std::string& path, RgbImage* image, std::string* error) {
    File file(fopen(path.c_str(), "rb"));
    if (!file) {
        if (error)
            *error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    ImageControl control;
    if (!png_image_begin_read_from_stdio(&control.image, file.get())) {
        if (error)
            *error = "not a readable PNG: " + control.message();
        return false;
    }
    if (control.image.width > kMaxSide || control.image.height > kMaxSide) {
        if (error)
            *error = "not a readable PNG: " + std::to_string(control.image.width) + "x" +
                     std::to_string(control.image.height) + " is larger than korasim reads";
        return false;
    }
    control.image.format = PNG_FORMAT_RGB;
    RgbImage result(static_cast<int>(control.image.width), static_cast<int>(control.image.height));
    const png_color black{0, 0, 0};
    if (!png_image_finish_read(&control.image, &black, result.pixels.data(), result.width * 3,
                               nullptr)) {
        if (error)
            *error = "not a readable PNG: " + control.message();
        return false;
    }
    *image = std::move(result);
    return true;
}

}  // namespace korasim

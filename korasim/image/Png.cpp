#include "image/Png.h"

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

// libpng reports errors by longjmp; the handlers below keep its message for the caller.
void onPngError(png_structp png, png_const_charp message) {
    auto* text = static_cast<std::string*>(png_get_error_ptr(png));
    if (text != nullptr)
        *text = message;
    png_longjmp(png, 1);
}
void onPngWarning(png_structp, png_const_charp) {}

}  // namespace

bool looksLikePng(const std::string& path) {
    File file(fopen(path.c_str(), "rb"));
    if (!file)
        return false;
    uint8_t signature[8];
    return fread(signature, 1, 8, file.get()) == 8 && png_sig_cmp(signature, 0, 8) == 0;
}

namespace {

void appendBytes(png_structp png, png_bytep data, png_size_t size) {
    auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    out->insert(out->end(), data, data + size);
}
void flushNothing(png_structp) {}

}  // namespace

bool encodePng(const RgbImage& image, std::vector<uint8_t>* out, std::string* error,
               int compressionLevel) {
    if (image.width <= 0 || image.height <= 0) {
        if (error)
            *error = "empty image";
        return false;
    }
    std::string message;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, onPngError, onPngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        if (error)
            *error = "libpng could not start";
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        if (error)
            *error = "libpng: " + message;
        return false;
    }
    out->clear();
    png_set_write_fn(png, out, appendBytes, flushNothing);
    png_set_compression_level(png, compressionLevel);
    png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y) {
        png_write_row(png, const_cast<png_bytep>(image.at(0, y)));
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
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
    // libpng's png_read_info reads on to the first image data, which a cut file lacks.
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

bool readPng(const std::string& path, RgbImage* image, std::string* error) {
    File file(fopen(path.c_str(), "rb"));
    if (!file) {
        if (error)
            *error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    std::string message;
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, onPngError, onPngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        if (error)
            *error = "libpng could not start";
        return false;
    }
    RgbImage result;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        if (error)
            *error = "not a readable PNG: " + message;
        return false;
    }
    png_init_io(png, file.get());
    png_set_user_limits(png, 20000, 20000);
    png_read_info(png, info);
    png_set_strip_16(png);
    png_set_strip_alpha(png);
    png_set_palette_to_rgb(png);
    png_set_expand_gray_1_2_4_to_8(png);
    png_set_gray_to_rgb(png);
    png_read_update_info(png, info);
    result.width = static_cast<int>(png_get_image_width(png, info));
    result.height = static_cast<int>(png_get_image_height(png, info));
    if (png_get_rowbytes(png, info) != static_cast<size_t>(result.width) * 3) {
        png_destroy_read_struct(&png, &info, nullptr);
        if (error)
            *error = "unsupported PNG layout";
        return false;
    }
    result.pixels.resize(static_cast<size_t>(result.width) * result.height * 3);
    for (int y = 0; y < result.height; ++y)
        png_read_row(png, result.at(0, y), nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    *image = std::move(result);
    return true;
}

}  // namespace korasim

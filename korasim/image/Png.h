// PNG files through libpng: 8-bit RGB images for previews and for image inputs of a session.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

namespace korasim {

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;  // width * height * 3, rows top to bottom

    RgbImage() = default;
    RgbImage(int w, int h, uint8_t fill = 0)
        : width(w), height(h), pixels(static_cast<size_t>(w) * h * 3, fill) {}
    uint8_t* at(int x, int y) { return &pixels[(static_cast<size_t>(y) * width + x) * 3]; }
    const uint8_t* at(int x, int y) const {
        return &pixels[(static_cast<size_t>(y) * width + x) * 3];
    }
};

// Encodes the image as PNG into *out (zlib level 0-9). False with a reason in *error.
bool encodePng(const RgbImage& image, std::vector<uint8_t>* out, std::string* error,
               int compressionLevel = 3);
// False with a reason in *error when the file cannot be written.
bool writePng(const std::string& path, const RgbImage& image, std::string* error);
// Reads any 8- or 16-bit PNG (gray, palette, with or without alpha) as RGB; alpha is dropped.
bool readPng(const std::string& path, RgbImage* image, std::string* error);
// Reads only the header chunks: the image size, without decoding any pixel. False with a
// reason when the file is not a readable PNG.
bool readPngSize(const std::string& path, int* width, int* height, std::string* error);
// True when the file starts with the PNG signature.
bool looksLikePng(const std::string& path);

}  // namespace korasim

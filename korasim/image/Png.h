// PNG files through libpng's simplified API: 8-bit RGB images for previews and for image inputs
// of a session.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "image/RgbImage.h"

namespace korasim {

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

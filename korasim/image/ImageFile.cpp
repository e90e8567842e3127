#include "image/ImageFile.h"

#include <errno.h>
#include <string.h>

#include <fstream>
#include <vector>

#include "image/Png.h"
#include "image/YuvRgb.h"

namespace korasim {

bool loadImageFile(YuvImage& buffer, const std::string& path, std::string* error) {
    if (looksLikePng(path)) {
        RgbImage rgb;
        if (!readPng(path, &rgb, error))
            return false;
        if (rgb.width != static_cast<int>(buffer.width()) ||
            rgb.height != static_cast<int>(buffer.height())) {
            if (error) {
                *error = "the PNG is " + std::to_string(rgb.width) + "x" +
                         std::to_string(rgb.height) + " but the buffer is " +
                         std::to_string(buffer.width()) + "x" + std::to_string(buffer.height());
            }
            return false;
        }
        fillFromRgb(buffer, rgb);
        return true;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error)
            *error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size < 0 || static_cast<size_t>(size) != buffer.visibleSize()) {
        if (error) {
            *error = "raw 4:2:0 file of " + std::to_string(static_cast<long long>(size)) +
                     " bytes, but a " + std::to_string(buffer.width()) + "x" +
                     std::to_string(buffer.height()) + " image needs " +
                     std::to_string(buffer.visibleSize()) +
                     " (luma rows, then chroma rows, no padding)";
        }
        return false;
    }
    std::vector<uint8_t> bytes(buffer.visibleSize());
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size))) {
        if (error)
            *error = "cannot read " + path;
        return false;
    }
    return buffer.setVisibleBytes(bytes);
}

}  // namespace korasim

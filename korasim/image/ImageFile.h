// Image files a session names as a buffer's content.
#pragma once

#include <string>

#include "YuvImage.h"

namespace korasim {

// Loads an image file into the buffer: a PNG (any size equal to the buffer's) or raw 4:2:0
// semi-planar bytes in the dump layout. False with a reason otherwise.
bool loadImageFile(hostkit::YuvImage& buffer, const std::string& path, std::string* error);

}  // namespace korasim

// Buffer helpers of the kora plugin utilities.
#pragma once

#include "VoaTypes.h"

namespace voalgo2 {

class PluginUtils {
  public:
    // Copies the two planes of a 4:2:0 semi-planar image (NV21 or NV12): `width` bytes per row,
    // `height` luma rows and (height + 1) / 2 chroma rows of width rounded up to even. One
    // memcpy per plane when both strides equal the width, row by row otherwise. Never touches a
    // byte beyond the smaller of the two buffers (geometry and plane sizes). The chroma plane is
    // planeAddr[1], or stride * scanline bytes after the luma plane when planeCount < 2.
    // Returns 0, or -1 when nothing could be copied (null buffer, no plane address).
    static int voCopyBuffer(VoImageBuffer* destination, VoImageBuffer* source);
    // Writes the luma and chroma planes to `fileName`, rows without their padding. 0 on
    // success, -1 when the file cannot be written.
    static int voDumpBuffer(VoImageBuffer* buffer, const char* fileName);
};

}  // namespace voalgo2

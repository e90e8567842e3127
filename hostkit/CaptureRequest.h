// One capture request over owned images, as the framework hands it to processRequest: `input` on
// input port 0, `output` on output port 0. The input holds seeded noise and the output a flat
// fill, so a copy, a transform and "untouched" all differ.
#pragma once

#include <stdint.h>

#include <memory>

#include "VoaTypes.h"
#include "YuvImage.h"

namespace hostkit {

class CaptureRequest {
  public:
    CaptureRequest(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                   std::shared_ptr<VoMetadata> inputMeta, std::shared_ptr<VoMetadata> inputPhysical,
                   uint32_t patternSeed);
    CaptureRequest(const CaptureRequest&) = delete;
    CaptureRequest& operator=(const CaptureRequest&) = delete;

    YuvImage input;
    YuvImage output;
    ProcessRequestInfo info;
};

}  // namespace hostkit

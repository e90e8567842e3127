#include "CaptureRequest.h"

#include "VoMetadata.h"

namespace hostkit {

CaptureRequest::CaptureRequest(uint32_t width, uint32_t height, uint32_t format, uint32_t stride,
                               std::shared_ptr<VoMetadata> inputMeta,
                               std::shared_ptr<VoMetadata> inputPhysical, uint32_t patternSeed)
    : input(width, height, format, stride), output(width, height, format, stride), info{} {
    input.fillPattern(patternSeed);
    output.fill(0x11, 0x22);
    info.inputBuffers[0].push_back(input.params(std::move(inputMeta), std::move(inputPhysical)));
    // Output containers with one tag each: empty containers get no debug record.
    auto outputMeta = std::make_shared<VoMetadata>();
    auto outputPhysical = std::make_shared<VoMetadata>();
    const int64_t timestamp = 1;
    outputMeta->update(ANDROID_SENSOR_TIMESTAMP, &timestamp, 1);
    outputPhysical->update(ANDROID_SENSOR_TIMESTAMP, &timestamp, 1);
    info.outputBuffers[0].push_back(output.params(outputMeta, outputPhysical));
    info.frameNumber = 7;
    info.requestIndex = 1;
    info.requestKey = 0x5D5200000001ull;
}

}  // namespace hostkit

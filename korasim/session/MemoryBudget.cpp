#include "session/MemoryBudget.h"

#include "common/ByteSize.h"
#include "image/Png.h"

namespace korasim {

uint64_t bufferBytes(const BufferSpec& b) {
    const uint64_t yuv =
        uint64_t(b.stride) * b.scanline + uint64_t(b.stride) * ((b.scanline + 1) / 2);
    const bool png = !b.image.file.empty() && looksLikePng(b.image.file);
    return yuv + (png ? uint64_t(b.width) * b.height * 3 : 0);
}

void checkMemoryBudget(const Session& session, uint64_t limit) {
    for (const Step& s : session.steps) {
        if (s.kind != StepKind::ProcessRequest)
            continue;
        uint64_t total = 0;
        for (const auto* buffers : {&s.inputs, &s.outputs}) {
            for (const BufferSpec& b : *buffers) {
                total += bufferBytes(b);
                if (total > limit) {
                    throw SessionError(
                        b.path, "the buffers of " + s.path + " would take " + formatBytes(total) +
                                    " with this one, over the " + "memory budget of " +
                                    formatBytes(limit) + " (--max-memory)");
                }
            }
        }
    }
}

}  // namespace korasim

#include "session/MemoryBudget.h"

#include <stdio.h>

#include <cctype>
#include <stdexcept>

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

std::string formatBytes(uint64_t bytes) {
    char text[32];
    if (bytes >= (1ull << 30))
        snprintf(text, sizeof(text), "%.2f GiB", double(bytes) / double(1ull << 30));
    else if (bytes >= (1ull << 20))
        snprintf(text, sizeof(text), "%.1f MiB", double(bytes) / double(1ull << 20));
    else
        snprintf(text, sizeof(text), "%llu bytes", static_cast<unsigned long long>(bytes));
    return text;
}

uint64_t parseBytes(const std::string& text) {
    size_t digits = 0;
    while (digits < text.size() && isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    const std::string unit = text.substr(digits);
    uint64_t scale = 0;
    if (unit.empty())
        scale = 1;
    else if (unit == "k" || unit == "K")
        scale = 1ull << 10;
    else if (unit == "m" || unit == "M")
        scale = 1ull << 20;
    else if (unit == "g" || unit == "G")
        scale = 1ull << 30;
    if (digits == 0 || digits > 12 || scale == 0)
        throw std::invalid_argument(
            "--max-memory takes a size such as 2G, 1500M or 800000k, got \"" + text + "\"");
    return std::stoull(text.substr(0, digits)) * scale;
}

}  // namespace korasim

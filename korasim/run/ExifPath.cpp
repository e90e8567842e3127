#include "run/ExifPath.h"

#include <algorithm>

namespace korasim {

std::string pathFromExif(const std::vector<korahost::ExifWriterLog>& exif, bool outputIsInput) {
    for (const auto& w : exif) {
        auto has = [&w](const char* key) {
            return std::any_of(w.records.begin(), w.records.end(),
                               [key](const korahost::ExifRecord& r) { return r.key == key; });
        };
        if (w.committed && has("initFailed"))
            return "initFailed";
        if (w.committed && has("runFailed"))
            return "runFailed";
        if (w.committed && has("run cost"))
            return "processed";
        if (!w.committed && has("on"))
            return "versionCopy";
    }
    return outputIsInput ? "copy" : "unknown";
}

}  // namespace korasim

#include "replay/DumpFiles.h"

#include <ctype.h>
#include <stdio.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace korasim {

std::optional<DumpName> parseDumpName(const std::string& fileName) {
    // "_<w>x<h>_zoom<z>x_" anywhere in the name.
    for (size_t i = fileName.find('_'); i != std::string::npos; i = fileName.find('_', i + 1)) {
        if (i + 1 >= fileName.size() || !isdigit(static_cast<unsigned char>(fileName[i + 1])))
            continue;
        unsigned w = 0, h = 0, z = 0;
        int end = 0;
        if (sscanf(fileName.c_str() + i, "_%5ux%5u_zoom%4ux_%n", &w, &h, &z, &end) == 3 &&
            end > 0) {
            DumpName d;
            d.width = w;
            d.height = h;
            d.zoom = z;
            return d;
        }
    }
    return std::nullopt;
}

namespace {

// IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<input|output>.NV12: the time stamp (%Y%m%d_%H%M%S, which
// sorts as text), the rest of the name between the time and the suffix, and the suffix.
struct DumpStamp {
    std::string time, tag;
    bool input = false;
};

std::optional<DumpStamp> dumpStamp(const std::string& name) {
    const size_t sdsr = name.find("_SDSR_");
    const size_t suffix = name.rfind('_');
    if (name.rfind("IMG_", 0) != 0 || sdsr == std::string::npos || suffix <= sdsr + 5)
        return std::nullopt;
    const std::string kind = name.substr(suffix);
    if (kind != "_input.NV12" && kind != "_output.NV12")
        return std::nullopt;
    return DumpStamp{name.substr(4, sdsr - 4), name.substr(sdsr, suffix - sdsr),
                     kind == "_input.NV12"};
}

}  // namespace

std::string outputDumpBeside(const std::string& inputDump) {
    const std::string suffix = "_input.NV12";
    if (inputDump.size() < suffix.size() ||
        inputDump.compare(inputDump.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return "";
    }
    const std::string output =
        inputDump.substr(0, inputDump.size() - suffix.size()) + "_output.NV12";
    std::error_code ec;
    if (fs::is_regular_file(output, ec))
        return output;
    // The plugin stamps each dump with the second it is written in: an output dump written after
    // a long Run carries a later second. Its output is the first one of the same size and zoom
    // stamped at or after the input and before the next input of that size and zoom.
    const fs::path in(inputDump);
    const std::optional<DumpStamp> mine = dumpStamp(in.filename().string());
    if (!mine)
        return "";
    std::string best, bestTime, nextInput;
    for (const auto& entry : fs::directory_iterator(in.parent_path(), ec)) {
        const std::optional<DumpStamp> d = dumpStamp(entry.path().filename().string());
        if (!d || d->tag != mine->tag || d->time < mine->time || !entry.is_regular_file())
            continue;
        if (d->input && d->time > mine->time && (nextInput.empty() || d->time < nextInput))
            nextInput = d->time;
        if (!d->input && (best.empty() || d->time < bestTime)) {
            best = entry.path().string();
            bestTime = d->time;
        }
    }
    return !best.empty() && (nextInput.empty() || bestTime < nextInput) ? best : "";
}

std::vector<std::string> inputDumpsIn(const std::string& dir) {
    std::vector<std::string> files;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(dir, ec)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name.size() > 11 &&
            name.compare(name.size() - 11, 11, "_input.NV12") == 0) {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace korasim

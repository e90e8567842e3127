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

std::string outputDumpBeside(const std::string& inputDump) {
    const std::string suffix = "_input.NV12";
    if (inputDump.size() < suffix.size() ||
        inputDump.compare(inputDump.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return "";
    }
    const std::string output =
        inputDump.substr(0, inputDump.size() - suffix.size()) + "_output.NV12";
    std::error_code ec;
    return fs::is_regular_file(output, ec) ? output : "";
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

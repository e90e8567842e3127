#include "replay/ReplayDumps.h"

#include <ctype.h>
#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "image/Comparison.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

const char* const kReplayFormatHelp =
    "replay needs --format nv21 or nv12: the plugin names its dumps .NV12 whatever the "
    "buffer's format, so the file cannot tell NV21 from NV12, and the wrong one swaps red and "
    "blue (a session given with --session may state request.inputs[0].format instead)";

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

json replayDocument(const std::string& file, uint32_t width, uint32_t height,
                    const std::string& format, double zoom) {
    return {
        {"description", "replay of " + file},
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"request",
         {{"inputs",
           json::array({{{"format", format},
                         {"width", width},
                         {"height", height},
                         {"image", file},
                         {"metadata",
                          {{"$extends", "enabling"}, {"ANDROID_CONTROL_ZOOM_RATIO", zoom}}}}})}}}};
}

json applyOverrides(json document, const json& overrides) {
    json patch = overrides;
    const json::json_pointer inputs("/request/inputs");
    if (patch.is_object() && patch.contains(inputs) && patch.at(inputs).is_array()) {
        json& generated = document.at(inputs);
        const json& wanted = patch.at(inputs);
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (i < generated.size())
                generated[i].merge_patch(wanted[i]);
            else
                generated.push_back(wanted[i]);
        }
        patch["request"].erase("inputs");
    }
    document.merge_patch(patch);
    return document;
}

std::optional<std::string> sessionFormat(const json& document) {
    const json::json_pointer pointer("/request/inputs/0/format");
    if (!document.is_object() || !document.contains(pointer))
        return std::nullopt;
    const json& f = document.at(pointer);
    return f.is_string() ? f.get<std::string>() : f.dump();
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

json compareWithDump(const std::vector<uint8_t>& output, const std::string& dumpFile) {
    std::ifstream in(dumpFile, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + dumpFile);
    const std::vector<uint8_t> device((std::istreambuf_iterator<char>(in)),
                                      std::istreambuf_iterator<char>());
    const ByteComparison c = compareBytes(output, device);
    return {{"file", dumpFile},
            {"identical", c.identical},
            {"psnr", c.psnrDb ? json(*c.psnrDb) : json(nullptr)},
            {"differingBytes", c.differingBytes},
            {"bytes", std::max(output.size(), device.size())}};
}

std::string describeComparison(const json& c) {
    if (c.at("identical").get<bool>())
        return "identical";
    char text[160];
    if (c.at("psnr").is_number()) {
        snprintf(text, sizeof(text), "PSNR %.2f dB, %llu of %llu bytes differ",
                 c.at("psnr").get<double>(), c.at("differingBytes").get<unsigned long long>(),
                 c.at("bytes").get<unsigned long long>());
    } else {
        snprintf(text, sizeof(text), "sizes differ, %llu of %llu bytes differ",
                 c.at("differingBytes").get<unsigned long long>(),
                 c.at("bytes").get<unsigned long long>());
    }
    return text;
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

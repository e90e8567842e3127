#include "replay/DumpComparison.h"

#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "image/Comparison.h"

using nlohmann::json;

namespace korasim {

std::vector<uint8_t> readDump(const std::string& dumpFile) {
    std::ifstream in(dumpFile, std::ios::binary | std::ios::ate);
    if (!in)
        throw std::runtime_error("cannot read " + dumpFile);
    // One read of the whole file: a 12-megapixel dump is 18 MB.
    std::vector<uint8_t> bytes(static_cast<size_t>(in.tellg()));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())))
        throw std::runtime_error("cannot read " + dumpFile);
    return bytes;
}

json compareWithDump(const std::vector<uint8_t>& output, const std::vector<uint8_t>& device,
                     const DumpCheck& check) {
    const ByteComparison c = compareBytes(output, device);
    json result = {{"file", check.file},
                   {"identical", c.identical},
                   {"psnr", c.psnrDb ? json(*c.psnrDb) : json(nullptr)},
                   {"differingBytes", c.differingBytes},
                   {"bytes", std::max(output.size(), device.size())}};
    if (check.minPsnr) {
        result["minPsnr"] = *check.minPsnr;
        result["belowMinPsnr"] = belowMinPsnr(result, *check.minPsnr);
    }
    return result;
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

bool belowMinPsnr(const json& c, double minPsnr) {
    if (c.at("identical").get<bool>())
        return false;
    const json& psnr = c.at("psnr");
    return !psnr.is_number() || psnr.get<double>() < minPsnr;
}

std::string gateFailureText(const std::string& name, const json& c, double minPsnr) {
    char text[96];
    if (c.at("psnr").is_number())
        snprintf(text, sizeof(text), "PSNR %.2f dB < %g dB", c.at("psnr").get<double>(), minPsnr);
    else
        snprintf(text, sizeof(text), "sizes differ, no PSNR to hold against %g dB", minPsnr);
    return name + ": " + text;
}

std::optional<hostkit::YuvImage> dumpAsImage(const std::vector<uint8_t>& device,
                                             const hostkit::YuvImage& like) {
    hostkit::YuvImage image(like.width(), like.height(), like.format());
    if (!image.setVisibleBytes(device))
        return std::nullopt;
    return image;
}

}  // namespace korasim

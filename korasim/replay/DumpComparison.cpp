#include "replay/DumpComparison.h"

#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "image/Comparison.h"

using nlohmann::json;

namespace korasim {

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

}  // namespace korasim

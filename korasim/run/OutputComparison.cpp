#include "run/OutputComparison.h"

#include <stdexcept>

#include "image/Comparison.h"
#include "image/Pictures.h"
#include "image/Png.h"
#include "image/YuvRgb.h"

namespace korasim {

using nlohmann::json;

void describeDifference(const YuvImage& input, const YuvImage& output, const std::string& base,
                        json& entry) {
    const std::optional<Difference> d = difference(input, output);
    entry["psnr"] = d && d->psnrDb ? json(*d->psnrDb) : json(nullptr);
    entry["changedPixels"] = d ? json(d->changedPixels) : json(nullptr);
    if (base.empty())
        return;
    const RgbImage in = toRgb(input), out = toRgb(output);
    json pictures;
    for (const auto& p : {std::make_pair("compare", sideBySide(in, out)),
                          std::make_pair("diff", amplifiedDifference(in, out))}) {
        const std::string path = base + "-" + p.first + ".png";
        std::string error;
        if (!writePng(path, p.second, &error))
            throw std::runtime_error(error);
        pictures[p.first] = path;
    }
    entry["pictures"] = pictures;
}

}  // namespace korasim

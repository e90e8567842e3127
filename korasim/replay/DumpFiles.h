// The plugin's dump files on the host: what their names say, the output dump beside an input
// dump, and the input dumps of a folder.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

namespace korasim {

// IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<suffix>.NV12
struct DumpName {
    uint32_t width = 0, height = 0;
    double zoom = 0;
};
std::optional<DumpName> parseDumpName(const std::string& fileName);

// The device's output dump of an input dump: "<...>_output.NV12" beside "<...>_input.NV12", else
// the first output dump of the same size and zoom stamped up to the next input dump's time (the
// plugin stamps each dump when it writes it); empty when there is none.
std::string outputDumpBeside(const std::string& inputDump);

// The *_input.NV12 files of a folder, sorted by name.
std::vector<std::string> inputDumpsIn(const std::string& dir);

}  // namespace korasim

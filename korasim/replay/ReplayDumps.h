// The plugin's dump files on the host: what their names say, the session that replays one, the
// comparison of a replayed output with the device's own output dump, and the input dumps of a
// folder.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasim {

// IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<suffix>.NV12
struct DumpName {
    uint32_t width = 0, height = 0;
    double zoom = 0;
};
std::optional<DumpName> parseDumpName(const std::string& fileName);

// Why replay needs --format: the dump extension is .NV12 whatever the buffer's format.
extern const char* const kReplayFormatHelp;

// The session `korasim replay` runs: one request through the reference library with the
// image `file` as its input.
nlohmann::json replayDocument(const std::string& file, uint32_t width, uint32_t height,
                              const std::string& format, double zoom);

// Applies --session overrides as a JSON merge patch (RFC 7396), except that each object of
// request.inputs is merged into the generated input at its index instead of replacing the list,
// so that `{"request": {"inputs": [{"format": "nv12"}]}}` keeps the dump as the image.
nlohmann::json applyOverrides(nlohmann::json document, const nlohmann::json& overrides);

// The format a session document gives its request's first input, if any ("nv21", "nv12" or a
// number as text).
std::optional<std::string> sessionFormat(const nlohmann::json& document);

// "<...>_output.NV12" beside "<...>_input.NV12" when it exists; empty otherwise.
std::string outputDumpBeside(const std::string& inputDump);

// Compares visible output bytes with a dump file: {"file", "identical", "psnr",
// "differingBytes", "bytes"}. Throws std::runtime_error when the file cannot be read.
nlohmann::json compareWithDump(const std::vector<uint8_t>& output, const std::string& dumpFile);
// "identical" or "PSNR 38.21 dB, 1234 of 9216 bytes differ".
std::string describeComparison(const nlohmann::json& comparison);

// The *_input.NV12 files of a folder, sorted by name.
std::vector<std::string> inputDumpsIn(const std::string& dir);

}  // namespace korasim

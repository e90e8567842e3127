// Fuzzes korasim's session parser: any bytes must end as korasim's exit 2 (not JSON, or a
// SessionError naming the bad value) or as a session that runs. Small sessions that parse are
// run against the plugin as `korasim run` would; any other exception escapes and counts as a
// crash, as does every sanitizer finding.
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include <nlohmann/json.hpp>

#include "Runner.h"
#include "Session.h"
#include "korahost/HostControl.h"

namespace {

// Relative image files resolve here: an empty directory, so a session names no file of ours.
const std::string& baseDir() {
    static const std::string dir = [] {
        char pattern[] = "/tmp/sdsr-fuzz-session-XXXXXX";
        const char* made = mkdtemp(pattern);
        return std::string(made != nullptr ? made : "/nonexistent");
    }();
    return dir;
}

// Running costs a plugin load and the pixels of every buffer: only small sessions run, and none
// that reads image files (a path may name a device that blocks).
bool smallEnoughToRun(const korasim::Session& session) {
    if (session.steps.size() > 12)
        return false;
    uint64_t pixels = 0;
    for (const auto& step : session.steps) {
        for (const auto* buffers : {&step.inputs, &step.outputs}) {
            for (const auto& buffer : *buffers) {
                if (!buffer.image.file.empty())
                    return false;
                pixels += uint64_t(buffer.width) * buffer.height;
            }
        }
    }
    return pixels <= 2u << 20;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    nlohmann::json document;
    try {
        document = nlohmann::json::parse(data, data + size);
    } catch (const nlohmann::json::parse_error&) {
        return 0;  // korasim: "not valid JSON", exit 2
    }
    korasim::Session session;
    try {
        session = korasim::parseSession(document, baseDir());
    } catch (const korasim::SessionError&) {
        return 0;  // exit 2, with the JSON path of the bad value
    }
    if (!smallEnoughToRun(session))
        return 0;
    korasim::RunOptions options;
    options.writeOutputImages = false;
    options.sessionName = "fuzz";
    try {
        korasim::Runner runner(session, options);
        runner.run();
    } catch (const korasim::SessionError&) {
        // Mistakes that show only while running are exit 2 as well.
    }
    korahost::clearLogs();
    return 0;
}

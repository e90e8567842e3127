#include "cli/TraceOutput.h"

#include <stdio.h>

#include "common/TextFile.h"

namespace korasim {

void addTraceOption(CLI::App& command, std::string& path) {
    command
        .add_option("--trace", path,
                    "writes the timeline as Chrome trace-event JSON (ui.perfetto.dev, "
                    "chrome://tracing)")
        ->option_text("FILE");
}

void writeTrace(const nlohmann::json& trace, const std::string& path) {
    if (path.empty())
        return;
    const std::string text =
        trace.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    if (!writeTextFile(path, text))
        throw std::runtime_error("cannot write the trace " + path);
    printf("trace: %s\n", path.c_str());
}

}  // namespace korasim

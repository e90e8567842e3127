#include "cli/TraceOutput.h"

#include <stdio.h>

#include <filesystem>

#include "cli/CommandOptions.h"
#include "common/TextFile.h"

namespace fs = std::filesystem;

namespace korasim {

void addTraceOption(CLI::App& command, std::string& path) {
    command
        .add_option("--trace", path,
                    "writes the timeline as Chrome trace-event JSON (ui.perfetto.dev, "
                    "chrome://tracing)")
        ->option_text("FILE");
}

void checkTracePath(const std::string& path) {
    if (path.empty())
        return;
    const fs::path parent = fs::path(path).parent_path();
    std::error_code ec;
    if (!parent.empty() && !fs::is_directory(parent, ec))
        throw UsageError("--trace " + path + ": the folder " + parent.string() + " does not exist");
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

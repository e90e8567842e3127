#include "replay/ReplayFolder.h"

#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "common/ChildProcesses.h"
#include "common/TemporaryTrees.h"
#include "replay/DumpComparison.h"
#include "replay/DumpFiles.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

int replayFolder(const std::string& dir, const std::vector<std::string>& passArgs) {
    const std::vector<std::string> dumps = inputDumpsIn(dir);
    if (dumps.empty())
        throw std::invalid_argument(dir + " holds no input dumps (*_input.NV12)");
    ScratchDir reports("korasim-replay");
    const std::string self = selfExecutable();
    std::vector<std::vector<std::string>> commands;
    for (size_t i = 0; i < dumps.size(); ++i) {
        std::vector<std::string> c = {self, "replay", dumps[i], "--report",
                                      reports.path() + "/" + std::to_string(i) + ".json"};
        const std::string output = outputDumpBeside(dumps[i]);
        if (!output.empty()) {
            c.push_back("--compare");
            c.push_back(output);
        }
        c.insert(c.end(), passArgs.begin(), passArgs.end());
        commands.push_back(c);
    }
    const std::vector<ChildResult> results = runChildren(commands, 2);
    size_t width = 4;
    for (const auto& d : dumps)
        width = std::max(width, fs::path(d).filename().string().size());
    printf("%-*s  %-16s %8s  %s\n", int(width), "dump", "path", "run ms",
           "against the device's output");
    int status = 0;
    for (size_t i = 0; i < dumps.size(); ++i) {
        const std::string name = fs::path(dumps[i]).filename().string();
        const int code = WIFEXITED(results[i].status) ? WEXITSTATUS(results[i].status) : 1;
        if (code != 0) {
            const std::string& err = results[i].err;
            printf("%-*s  error (exit %d): %s\n", int(width), name.c_str(), code,
                   err.substr(0, err.find('\n')).c_str());
            status = status ? status : code;
            continue;
        }
        std::ifstream in(reports.path() + "/" + std::to_string(i) + ".json");
        const json report = json::parse(in, nullptr, false);
        std::string path = "?", runMs = "-", against = "no output dump beside it";
        for (const auto& step : report.value("steps", json::array())) {
            if (step.value("do", "") != "processRequest" || step.value("skipped", false))
                continue;
            path = step.value("path", "?");
            const json t = step.value("timings", json::object()).value("runMs", json());
            if (t.is_number()) {
                char text[32];
                snprintf(text, sizeof(text), "%.1f", t.get<double>());
                runMs = text;
            }
        }
        if (report.contains("compare"))
            against = describeComparison(report["compare"]);
        printf("%-*s  %-16s %8s  %s\n", int(width), name.c_str(), path.c_str(), runMs.c_str(),
               against.c_str());
    }
    printf("%zu dumps replayed\n", dumps.size());
    return status;
}

}  // namespace korasim

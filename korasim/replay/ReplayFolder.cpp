#include "replay/ReplayFolder.h"

#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "common/ChildProcesses.h"
#include "common/TemporaryTrees.h"
#include "common/TextFile.h"
#include "replay/DumpComparison.h"
#include "replay/DumpFiles.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

namespace {

// Where one dump's replay writes its report and page data.
struct ChildFiles {
    std::string report, pageData;
};

// Each dump's replay gets a folder of its own in --out, named after the dump.
std::string dumpOutDir(const std::string& outDir, const std::string& dump) {
    return (fs::path(outDir) / fs::path(dump).stem()).string();
}

std::vector<std::string> childCommand(const FolderReplayOptions& o, const std::string& dump,
                                      const ChildFiles& files) {
    std::vector<std::string> c = {selfExecutable(), "replay", dump};
    const std::string output = outputDumpBeside(dump);
    if (!output.empty())
        c.insert(c.end(), {"--compare", output});
    // With --out the report goes into the dump's folder there, as report.json.
    if (o.outDir.empty())
        c.insert(c.end(), {"--report", files.report});
    else
        c.insert(c.end(), {"--out", dumpOutDir(o.outDir, dump)});
    if (!files.pageData.empty())
        c.insert(c.end(), {"--page-data", files.pageData});
    c.insert(c.end(), o.passArgs.begin(), o.passArgs.end());
    return c;
}

// The table row of one replay that ran: path and Run time of its processRequest step, the
// comparison and the verdict of the gate.
json rowOf(const json& report, const std::optional<double>& minPsnr) {
    json row = {{"path", "?"}, {"runMs", nullptr}, {"compare", nullptr}};
    for (const auto& step : report.value("steps", json::array())) {
        if (step.value("do", "") != "processRequest" || step.value("skipped", false))
            continue;
        row["path"] = step.value("path", "?");
        row["runMs"] = step.value("timings", json::object()).value("runMs", json());
    }
    if (report.contains("compare")) {
        // The folder holds the comparisons against the limit, not each replay.
        json c = report["compare"];
        if (minPsnr) {
            c["minPsnr"] = *minPsnr;
            c["belowMinPsnr"] = row["belowMinPsnr"] = belowMinPsnr(c, *minPsnr);
        }
        row["compare"] = c;
    }
    return row;
}

std::string againstText(const json& row, const std::optional<double>& minPsnr) {
    if (row["compare"].is_null())
        return minPsnr ? "no output dump beside it, not held against --min-psnr"
                       : "no output dump beside it";
    std::string text = describeComparison(row["compare"]);
    if (row.value("belowMinPsnr", false)) {
        char limit[48];
        snprintf(limit, sizeof(limit), "  BELOW --min-psnr %g", *minPsnr);
        text += limit;
    }
    return text;
}

void printTable(const json& rows, const std::optional<double>& minPsnr) {
    int width = 4;
    for (const auto& row : rows)
        width = std::max(width, int(row["dump"].get_ref<const std::string&>().size()));
    printf("%-*s  %-16s %8s  %s\n", width, "dump", "path", "run ms", "against the device's output");
    for (const auto& row : rows) {
        const std::string name = row["dump"];
        if (row["exitCode"] != 0) {
            printf("%-*s  error (exit %d): %s\n", width, name.c_str(), row["exitCode"].get<int>(),
                   row["error"].get_ref<const std::string&>().c_str());
            continue;
        }
        char runMs[32] = "-";
        if (row["runMs"].is_number())
            snprintf(runMs, sizeof(runMs), "%.1f", row["runMs"].get<double>());
        printf("%-*s  %-16s %8s  %s\n", width, name.c_str(),
               row["path"].get_ref<const std::string&>().c_str(), runMs,
               againstText(row, minPsnr).c_str());
    }
    printf("%zu dumps replayed\n", rows.size());
}

// Lists the dumps below the limit on stderr; true when there is any.
bool reportGate(const json& rows, double minPsnr) {
    std::vector<std::string> below;
    size_t compared = 0;
    for (const auto& row : rows) {
        if (!row.contains("compare") || !row["compare"].is_object())
            continue;
        ++compared;
        if (row.value("belowMinPsnr", false))
            below.push_back(gateFailureText(row["dump"], row["compare"], minPsnr));
    }
    if (compared < rows.size())
        printf("%zu of %zu dumps compared with the device's output against --min-psnr %g\n",
               compared, rows.size(), minPsnr);
    if (below.empty())
        return false;
    fprintf(stderr, "korasim: %zu of %zu dumps below --min-psnr %g dB:\n", below.size(), compared,
            minPsnr);
    for (const auto& line : below)
        fprintf(stderr, "korasim:   %s\n", line.c_str());
    return true;
}

}  // namespace

FolderReplay replayFolder(const FolderReplayOptions& o) {
    const std::vector<std::string> dumps = inputDumpsIn(o.dir);
    if (dumps.empty())
        throw std::invalid_argument(o.dir + " holds no input dumps (*_input.NV12)");
    if (o.minPsnr && std::none_of(dumps.begin(), dumps.end(), [](const std::string& d) {
            return !outputDumpBeside(d).empty();
        })) {
        throw std::invalid_argument("--min-psnr needs output dumps to compare with: " + o.dir +
                                    " holds no *_output.NV12 beside its input dumps");
    }
    ScratchDir scratch("korasim-replay");
    std::vector<ChildFiles> files;
    std::vector<std::vector<std::string>> commands;
    for (size_t i = 0; i < dumps.size(); ++i) {
        // The report goes into the dump's folder in --out, else into the scratch folder.
        const std::string base = scratch.path() + "/" + std::to_string(i);
        files.push_back(
            {o.outDir.empty() ? base + ".json" : dumpOutDir(o.outDir, dumps[i]) + "/report.json",
             o.pageData ? base + "-page.json" : ""});
        commands.push_back(childCommand(o, dumps[i], files.back()));
    }
    const std::vector<ChildResult> results = runChildren(commands, 2);
    FolderReplay f;
    f.summary = {{"folder", o.dir}, {"minPsnr", o.minPsnr ? json(*o.minPsnr) : json(nullptr)}};
    json rows = json::array();
    f.reports = f.pageData = json::array();
    for (size_t i = 0; i < dumps.size(); ++i) {
        const int code = WIFEXITED(results[i].status) ? WEXITSTATUS(results[i].status) : 1;
        const json report =
            code == 0 ? json::parse(readTextFile(files[i].report), nullptr, false) : json();
        json row = code == 0 ? rowOf(report, o.minPsnr) : json::object();
        row["dump"] = fs::path(dumps[i]).filename().string();
        row["exitCode"] = code;
        row["error"] = results[i].err.substr(0, results[i].err.find('\n'));
        if (code != 0 && f.status == 0)
            f.status = code;
        rows.push_back(row);
        f.reports.push_back(report);
        const std::string page = o.pageData ? readTextFile(files[i].pageData) : "";
        f.pageData.push_back(page.empty() ? json() : json::parse(page, nullptr, false));
    }
    printTable(rows, o.minPsnr);
    if (o.minPsnr && reportGate(rows, *o.minPsnr) && f.status == 0)
        f.status = 3;
    f.summary["dumps"] = rows;
    return f;
}

}  // namespace korasim

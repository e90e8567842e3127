#include "BenchCommon.h"

#include <stdio.h>
#include <stdlib.h>

#include <map>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "korahost/HostControl.h"

// ---- Allocation counter ------------------------------------------------------------------------
// The replacement operators serve every allocation of the process, the plugin's and the
// framework's included (the executable's definitions take precedence for the shared libraries).

namespace {
thread_local uint64_t tAllocations = 0;

void* countedAllocation(size_t size) {
    ++tAllocations;
    void* memory = malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
}  // namespace

void* operator new(size_t size) {
    return countedAllocation(size);
}
void* operator new[](size_t size) {
    return countedAllocation(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    ++tAllocations;
    return malloc(size == 0 ? 1 : size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    ++tAllocations;
    return malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
    free(memory);
}
void operator delete[](void* memory) noexcept {
    free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    free(memory);
}

namespace sdsrbench {

uint64_t threadAllocations() {
    return tAllocations;
}

// ---- Log gates -------------------------------------------------------------------------------

void closeLogGates() {
    // Level 7 is above every level's threshold (E passes below 7); no group, no debug mask.
    korahost::setLogGates(7, 0, 7, 0, 0);
}

void openLogGates() {
    korahost::openAllLogGates();
}

// ---- Environment -------------------------------------------------------------------------------

namespace {

bool gSmoke = false;

}  // namespace

BenchEnv::BenchEnv() {
    tree.makePassing("1.0.0.0");
    tree.installAlgorithm(hostkit::ScriptedAlgo::path());
    tree.installMetaHelper(hostkit::MetaHelperDouble::path("double"));
    scripted.reset();
    loader = std::make_unique<hostkit::PluginLoader>();
    if (!loader->ok())
        throw std::runtime_error(loader->error());
}

BenchEnv::~BenchEnv() {
    loader.reset();
}

BenchEnv& env() {
    static BenchEnv instance;
    return instance;
}

bool smokeMode() {
    return gSmoke;
}

void setSmokeMode(bool smoke) {
    gSmoke = smoke;
}

// ---- Figures -----------------------------------------------------------------------------------

namespace {

struct Entry {
    Figure figure;
    bool hasFigure = false;
    std::string error;
};

std::map<std::string, Entry>& entries() {
    static std::map<std::string, Entry> table;
    return table;
}

}  // namespace

void recordFigure(const std::string& key, const Figure& figure) {
    Entry& entry = entries()[key];
    entry.figure = figure;
    entry.hasFigure = true;
}

void recordError(const std::string& key, const std::string& message) {
    entries()[key].error = message;
}

std::string formatNumber(double value, int decimals) {
    char text[64];
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

int printFigures() {
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"figure", "value", "floor, same run", "ratio", "goal", ""});
    int errors = 0;
    for (const auto& item : entries()) {
        const Entry& entry = item.second;
        if (!entry.error.empty()) {
            ++errors;
            rows.push_back({item.first, "FAILED: " + entry.error, "", "", "", ""});
            continue;
        }
        if (!entry.hasFigure)
            continue;
        const Figure& f = entry.figure;
        const char* verdict = f.verdict == Verdict::Met      ? "met"
                              : f.verdict == Verdict::Missed ? "MISSED"
                                                             : "";
        rows.push_back({f.what, f.value, f.floor, f.ratio, f.goal, verdict});
    }
    std::vector<size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    printf("\n");
    for (size_t r = 0; r < rows.size(); ++r) {
        std::string line;
        for (size_t i = 0; i < rows[r].size(); ++i) {
            std::string cell = rows[r][i];
            cell.resize(widths[i], ' ');
            line += (i == 0 ? "" : "  ") + cell;
        }
        while (!line.empty() && line.back() == ' ')
            line.pop_back();
        printf("%s\n", line.c_str());
        if (r == 0)
            printf("%s\n", std::string(line.size(), '-').c_str());
    }
    fflush(stdout);
    return errors;
}

}  // namespace sdsrbench

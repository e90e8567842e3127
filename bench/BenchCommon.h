// What the benchmarks share: a fake device on which every enable probe passes, the plugin loaded
// the way the framework loads it, handles on the substitute libraries, an allocation counter,
// a clock, the log gate settings, and the table of figures printed after the run.
#pragma once

#include <stdint.h>

#include <chrono>
#include <memory>
#include <string>

#include "DeviceTree.h"
#include "LibraryControl.h"
#include "PluginLoader.h"

namespace sdsrbench {

// ---- Clock and allocations -------------------------------------------------------------------
inline double nowNs() {
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::steady_clock::now().time_since_epoch())
                                   .count());
}

// Allocations made by this thread so far (operator new of every kind, counted by the bench
// binary's replacement, which also serves the plugin and the framework libraries).
uint64_t threadAllocations();

// Runs the subject and its floor in the order `subjectFirst` says: the callers swap it from one
// pair to the next, so that neither side always meets the caches the other one left.
template <typename Subject, typename Floor>
void runPair(bool subjectFirst, Subject&& subject, Floor&& floor) {
    if (subjectFirst) {
        subject();
        floor();
    } else {
        floor();
        subject();
    }
}

// ---- Log gates -----------------------------------------------------------------------------
// Gates closed for every level and group: no statement formats anything.
void closeLogGates();
// Every gate open (the host framework's default). Capture stays off, so the framework formats
// each line and drops it.
void openLogGates();

// ---- Environment -----------------------------------------------------------------------------
// Built on first use: a passing device tree with the scripted algorithm and the working
// metadata-helper double installed, the plugin library dlopen-ed and connected.
struct BenchEnv {
    BenchEnv();
    ~BenchEnv();
    BenchEnv(const BenchEnv&) = delete;
    BenchEnv& operator=(const BenchEnv&) = delete;

    hostkit::DeviceTree tree;
    // The doubles, opened from the same files the plugin loads, so both share their state.
    hostkit::ScriptedAlgo scripted;
    hostkit::MetaHelperDouble metaHelper;
    std::unique_ptr<hostkit::PluginLoader> loader;
};
BenchEnv& env();

// Smaller work for the smoke run (--sdsr_smoke): the benchmarks check what they check, on less.
bool smokeMode();
void setSmokeMode(bool smoke);

// ---- Figures ---------------------------------------------------------------------------------
enum class Verdict { None, Met, Missed };

struct Figure {
    std::string what;   // the measured operation
    std::string value;  // its figure, with unit
    std::string floor;  // the floor measured in the same run, with unit ("" when none)
    std::string ratio;  // value against floor ("1.07x", "0.4 %", "+0.3 ns")
    std::string goal;   // "" when none
    Verdict verdict = Verdict::None;
};

// Records the figure of one benchmark; the last call for a key wins (the run Google Benchmark
// reports is its last one). Keys sort the table.
void recordFigure(const std::string& key, const Figure& figure);
// Records that a benchmark failed a check.
void recordError(const std::string& key, const std::string& message);
// Prints the table to stdout; returns the number of failed checks.
int printFigures();

std::string formatNumber(double value, int decimals);

}  // namespace sdsrbench

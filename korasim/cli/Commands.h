// korasim's commands as CLI11 subcommands: each add...Command registers its subcommand with its
// options, which fill the given arguments while parsing; main runs the one that was chosen.
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/TestCommand.h"

namespace korasim {

// korasim run SESSION.json
struct RunArgs {
    std::string session;
    SessionArgs common;
};
CLI::App* addRunCommand(CLI::App& app, RunArgs& args);
int commandRun(const RunArgs& args);

// korasim test DIR|FILES...
struct TestArgs {
    TestOptions test;
    std::string plugin, libDir, maxMemory;  // passed on to every session's `korasim run`
};
CLI::App* addTestCommand(CLI::App& app, TestArgs& args);
int commandTest(TestArgs args);

// korasim replay FILE|DIR
struct ReplayArgs {
    std::string input;
    std::optional<std::string> format;
    std::string size, compare, overrides;
    std::optional<double> zoom;
    std::optional<double> minPsnr;  // exit 3 when a comparison's PSNR is below it
    SessionArgs common;
};
CLI::App* addReplayCommand(CLI::App& app, ReplayArgs& args);
int commandReplay(const ReplayArgs& args);

// korasim demo
struct DemoArgs {
    int threads = 0;  // 0: the reference algorithm's own choice
    bool noHtml = false;
    SessionArgs common;
};
CLI::App* addDemoCommand(CLI::App& app, DemoArgs& args);
int commandDemo(DemoArgs args);

}  // namespace korasim

// korasim test DIR|FILES...: the command line of the session suite runner (TestCommand.cpp).
#include "Commands.h"

namespace korasim {

CLI::App* addTestCommand(CLI::App& app, TestArgs& args) {
    CLI::App* test = app.add_subcommand(
        "test",
        "runs every session (a folder's *.json) in its own process and prints a pass/fail "
        "table; exit 3 when any session failed");
    test->add_option("SESSIONS", args.test.inputs, "session files and folders of them")
        ->required()
        ->option_text("DIR|FILES...");
    test->add_option("--junit", args.test.junit, "also writes the results as JUnit XML")
        ->option_text("FILE");
    test->add_option("--jobs", args.test.jobs, "sessions run at once (default 2)")
        ->check(finiteNumber(1))
        ->option_text("N");
    test->add_option("--timeout", args.test.timeoutSeconds,
                     "a session still running after S seconds (default 120; 0: no limit) is "
                     "stopped and counted as an error")
        ->check(finiteNumber(0))
        ->option_text("S");
    addMaxMemoryOption(*test, args.maxMemory);
    addPluginOptions(*test, args.plugin, args.libDir);
    return test;
}

int commandTest(TestArgs args) {
    const std::pair<const char*, const std::string*> passed[] = {
        {"--plugin", &args.plugin}, {"--lib-dir", &args.libDir}, {"--max-memory", &args.maxMemory}};
    for (const auto& p : passed) {
        if (!p.second->empty()) {
            args.test.runArgs.push_back(p.first);
            args.test.runArgs.push_back(*p.second);
        }
    }
    return runTests(args.test);
}

}  // namespace korasim

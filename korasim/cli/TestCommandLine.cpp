// korasim test DIR|FILES...: the command line of the session suite runner (TestCommand.cpp).
#include "cli/Commands.h"

namespace korasim {

CLI::App* addTestCommand(CLI::App& app, TestArgs& args) {
    CLI::App* test = app.add_subcommand(
        "test",
        "runs sessions (a folder's *.json), each in its own process, into a pass/fail table");
    test->add_option("SESSIONS", args.test.inputs, "session files and folders of them")
        ->required()
        ->option_text("DIR|FILES...");
    test->add_option("--junit", args.test.junit, "also writes the results as JUnit XML")
        ->option_text("FILE");
    test->add_option("--jobs", args.test.jobs, "the sessions run at once (default 2)")
        ->check(finiteNumber(1))
        ->option_text("N");
    test->add_option("--timeout", args.test.timeoutSeconds,
                     "stop a session after S seconds and count it as an error (120; 0: never)")
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

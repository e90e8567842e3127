// korasim: plays the kora camera framework on a Linux host around the real SDSR plugin library.
// Its commands (run, test, replay, demo, explain) are CLI11 subcommands, each registered by its
// own add...Command; see `korasim --help` and docs/korasim.md.
#include <stdio.h>

#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/ExplainCommand.h"
#include "common/ExitGuard.h"

using namespace korasim;

namespace {

const char* const kExitStatus =
    "Exit status: 0 when the session ran, 2 for a bad session or bad arguments, 3 when an\n"
    "expectation of the session did not hold, 1 for an internal failure.\n"
    "See docs/korasim.md for the session and report formats.";

// A command line korasim cannot run: the reason and where to read how, on stderr; exit 2.
int badArguments(const CLI::App& app, const std::string& reason) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    fprintf(stderr, "korasim: %s\nRun 'korasim%s --help' for the options.\n", reason.c_str(),
            command.c_str());
    return 2;
}

// CLI11's reason, except when no command was found: CLI11 then says only that one is required,
// whatever stood in its place (the top level knows no option but --help and --version).
std::string parseFailure(const CLI::App& app, const CLI::ParseError& e, const char* first) {
    if (!app.get_subcommands().empty() || dynamic_cast<const CLI::RequiredError*>(&e) == nullptr)
        return e.what();
    if (first != nullptr && first[0] == '-')
        return "unknown option " + std::string(first);
    std::string commands;
    for (const CLI::App* c : app.get_subcommands([](const CLI::App*) { return true; }))
        commands += (commands.empty() ? "" : ", ") + c->get_name();
    return (first ? "unknown command \"" + std::string(first) + "\"" : std::string("no command")) +
           "; the commands are " + commands;
}

// The arguments after the program name, with `help [COMMAND]` and `version` read as --help and
// --version and `--logcat FILTER` as `--logcat=FILTER`; in the reversed order CLI11 parses a vector
// in.
std::vector<std::string> commandLine(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args.front() == "help") {
        args.erase(args.begin());
        args.push_back("--help");
    } else if (!args.empty() && args.front() == "version") {
        args.front() = "--version";
    }
    joinLogcatFilter(args);
    return std::vector<std::string>(args.rbegin(), args.rend());
}

}  // namespace

int main(int argc, char** argv) {
    installGuard();
    CLI::App app("korasim plays the kora camera framework around the real SDSR plugin library.",
                 "korasim");
    app.set_version_flag("--version", "korasim " KORASIM_VERSION " (report format 1)");
    app.require_subcommand(1);
    app.footer(kExitStatus);
    app.get_formatter()->column_width(34);
    RunArgs run;
    TestArgs test;
    ReplayArgs replay;
    DemoArgs demo;
    ExplainOptions explain;
    const CLI::App* runCommand = addRunCommand(app, run);
    const CLI::App* testCommand = addTestCommand(app, test);
    const CLI::App* replayCommand = addReplayCommand(app, replay);
    const CLI::App* demoCommand = addDemoCommand(app, demo);
    addExplainCommand(app, explain);

    std::string sessionName;  // names the session in the messages of a bad one
    try {
        app.parse(commandLine(argc, argv));
        if (runCommand->parsed()) {
            sessionName = run.session;
            return commandRun(run);
        }
        if (testCommand->parsed())
            return commandTest(test);
        if (replayCommand->parsed()) {
            sessionName = replay.overrides.empty() ? "replay" : replay.overrides;
            return commandReplay(replay);
        }
        if (demoCommand->parsed())
            return commandDemo(demo);
        return explainCommand(explain);
    } catch (const CLI::Success& e) {
        return app.exit(e);  // --help and --version
    } catch (const CLI::ParseError& e) {
        return badArguments(app, parseFailure(app, e, argc > 1 ? argv[1] : nullptr));
    } catch (const UsageError& e) {
        return badArguments(app, e.what());
    } catch (const SessionError& e) {
        fprintf(stderr, "korasim: %s%s%s%s%s\n", sessionName.c_str(),
                sessionName.empty() ? "" : ": ", e.path().c_str(), e.path().empty() ? "" : ": ",
                e.what());
        return 2;
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "korasim: out of memory while %s; the session did not complete\n",
                currentStep().c_str());
        return 1;
    } catch (const std::exception& e) {
        fprintf(stderr, "korasim: internal failure while %s: %s\n", currentStep().c_str(),
                e.what());
        return 1;
    }
}

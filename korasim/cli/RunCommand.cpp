// korasim run SESSION.json: runs one session and reports everything the plugin did.
#include "cli/Commands.h"
#include "cli/SessionRun.h"

namespace korasim {

CLI::App* addRunCommand(CLI::App& app, RunArgs& args) {
    CLI::App* run = app.add_subcommand(
        "run",
        "runs a session and reports everything the plugin did (exit 3: an \"expect\" failed)");
    run->add_option("SESSION", args.session, "the session file (JSON)")->required();
    addSessionOptions(*run, args.common);
    addMaxMemoryOption(*run, args.common.maxMemory);
    return run;
}

int commandRun(const RunArgs& args) {
    return runSession(loadSession(args.session), args.common, args.session);
}

}  // namespace korasim

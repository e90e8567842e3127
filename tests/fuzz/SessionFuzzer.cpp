// Fuzzes korasim's session parser: any bytes must end as korasim's exit 2 (not JSON, or a
// SessionError naming the bad value) or as a session that runs. Small sessions that parse are
// run against the plugin as `korasim run` would; any other exception escapes and counts as a
// crash, as does every sanitizer finding.
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Layout.h"
#include "korahost/HostControl.h"
#include "run/Runner.h"
#include "session/Expect.h"
#include "session/MemoryBudget.h"
#include "session/Session.h"

namespace {

// The session file is written here; relative image files resolve here too, to nothing. Removed
// at exit.
struct ScratchDir {
    std::string path;
    ScratchDir() {
        char pattern[] = "/tmp/sdsr-fuzz-session-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (made == nullptr)
            abort();
        path = made;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

const std::string& baseDir() {
    static ScratchDir dir;
    return dir.path;
}

// Running costs a plugin load and the pixels of every buffer: only small sessions run, and none
// that reads image files (a path may name a device that blocks).
bool smallEnoughToRun(const korasim::Session& session) {
    if (session.steps.size() > 12)
        return false;
    uint64_t pixels = 0;
    for (const auto& step : session.steps) {
        for (const auto* buffers : {&step.inputs, &step.outputs}) {
            for (const auto& buffer : *buffers) {
                if (!buffer.image.file.empty())
                    return false;
                pixels += uint64_t(buffer.width) * buffer.height;
            }
        }
    }
    return pixels <= 2u << 20;
}

#ifdef SDSR_LIBFUZZER
// libFuzzer reads the coverage counters of every instrumented library it has seen after each
// input; a library a session unloads (dlclose) would leave it reading unmapped memory. Under
// libFuzzer, every library a session may load is opened once with RTLD_NODELETE, so that the
// sessions' own dlclose never unmaps it. The plugin then reads its properties once, for the
// first input that runs; the seed replays of the other builds load it afresh for each session.
void keepLibrariesLoaded() {
    std::vector<std::string> paths = {hostkit::pluginPath()};
    for (const auto& entry : std::filesystem::directory_iterator(hostkit::libraryDir())) {
        if (entry.path().extension() == ".so")
            paths.push_back(entry.path());
    }
    for (const auto& path : paths) {
        if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) == nullptr) {
            fprintf(stderr, "fuzz_session: cannot load %s: %s\n", path.c_str(), dlerror());
            abort();
        }
    }
}
#endif

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
#ifdef SDSR_LIBFUZZER
    static const bool librariesKept = (keepLibrariesLoaded(), true);
    (void)librariesKept;
#endif
    // Through korasim's own entry point, file and all, so its JSON error mapping is fuzzed too.
    const std::string file = baseDir() + "/session.json";
    FILE* out = fopen(file.c_str(), "wb");
    if (out == nullptr || fwrite(data, 1, size, out) != size || fclose(out) != 0)
        abort();
    korasim::Session session;
    try {
        session = korasim::loadSession(file);
        korasim::checkMemoryBudget(session, korasim::kDefaultMemoryBudget);
    } catch (const korasim::SessionError&) {
        return 0;  // exit 2: not JSON, or the JSON path of the bad value
    }
    if (!smallEnoughToRun(session))
        return 0;
    korasim::RunOptions options;
    options.writeOutputImages = false;
    options.sessionName = "fuzz";
    try {
        korasim::Runner runner(session, options);
        runner.run();
        korasim::checkSession(session, runner.report());  // exit 3 with its mismatches
    } catch (const korasim::SessionError&) {
        // Mistakes that show only while running are exit 2 as well.
    }
    korahost::clearLogs();
    return 0;
}

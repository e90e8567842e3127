// Soak: many requests through one plugin object, cycling through every way a request can end,
// with dumps on so that files are opened on the successful paths too. Each output must be what
// its path owes (the algorithm's result or a copy of the input); after a warm-up, neither open
// file descriptors nor live heap blocks (counted by the binary's operator new, which the plugin
// uses too) may grow.
//
// SDSR_SOAK_REQUESTS sets the number of requests (the suite runs a short soak; scripts/soak.sh a
// long one).
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "CountingNew.h"
#include "RequestHarness.h"
#include "korahost/DeviceModelFiles.h"

namespace sdsrtest {
namespace {

int openFds() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr)
        return -1;
    while (const dirent* entry = readdir(dir))
        count += entry->d_name[0] != '.' ? 1 : 0;
    closedir(dir);
    return count - 1;  // the directory stream itself
}

enum class Expect { Marked, Copy, Untouched };

struct Path {
    const char* name;
    uint32_t format;
    int32_t init, run, unit;
    bool versionMismatch;
    bool perfLockFails;
    bool noMetadata;
    bool noBuffers;
    bool outputDescribesLess;
    Expect expect;
};

// One of each way a request ends; the soak cycles through them.
const Path kPaths[] = {
    {"success NV21", 17, 0, 0, 0, false, false, false, false, false, Expect::Marked},
    {"success NV12", 35, 0, 0, 0, false, false, false, false, false, Expect::Marked},
    {"Unit fails", 17, 0, 0, 5, false, false, false, false, false, Expect::Marked},
    {"Run fails", 17, 0, -7, 0, false, false, false, false, false, Expect::Copy},
    {"Init fails", 35, -3, 0, 0, false, false, false, false, false, Expect::Copy},
    {"version mismatch", 17, 0, 0, 0, true, false, false, false, false, Expect::Copy},
    {"format 34", 34, 0, 0, 0, false, false, false, false, false, Expect::Copy},
    {"boost refused", 17, 0, 0, 0, false, true, false, false, false, Expect::Marked},
    {"no metadata", 17, 0, 0, 0, false, false, true, false, false, Expect::Marked},
    {"empty buffer maps", 17, 0, 0, 0, false, false, false, true, false, Expect::Untouched},
    {"output smaller", 17, 0, 0, 0, false, false, false, false, true, Expect::Untouched},
};

// One request of `path`; false (with a failure recorded) when the output is not what it owes.
void runOne(PluginSession& session, const Path& path, int index) {
    korahost::resetObservations();
    session.algo.reset();
    session.algo.setResults(path.init, path.run, path.unit);
    if (path.versionMismatch)
        session.algo.setVersion(1, 0, 0, 1);
    korahost::setPerfLockCreationFails(path.perfLockFails);

    // Sizes vary a little so that allocations do not simply reuse one block.
    const uint32_t width = 32 + 2 * uint32_t(index % 5), height = 16 + uint32_t(index % 3);
    TestRequest request(width, height, path.format, width + 8 * uint32_t(index % 2),
                        path.noMetadata ? nullptr : enablingMetadata());
    if (path.noBuffers) {
        request.info.inputBuffers.clear();
        request.info.outputBuffers.clear();
    }
    if (path.outputDescribesLess)
        request.info.outputBuffers[0][0].height = height / 2;
    if (index % 7 == 0)
        session.enable(enablingMetadata());

    ASSERT_EQ(0, session.process(request)) << path.name;
    ASSERT_EQ(0, korahost::livePerfLocks()) << path.name;
    switch (path.expect) {
        case Expect::Marked:
            ASSERT_EQ(request.markedInput(), request.output.visibleBytes()) << path.name;
            break;
        case Expect::Copy:
            ASSERT_EQ(request.inputPixels, request.output.visibleBytes()) << path.name;
            break;
        case Expect::Untouched:
            break;
    }
}

TEST(Soak, ManyRequestsOnOneObjectKeepFilesAndMemoryFlat) {
    const char* wanted = getenv("SDSR_SOAK_REQUESTS");
    const int requests = wanted != nullptr ? atoi(wanted) : 330;
    ASSERT_GE(requests, 3 * int(sizeof(kPaths) / sizeof(kPaths[0])));
    // Dumps are read at load: set before the session loads the plugin.
    korahost::setProperty("persist.vendor.camera.sdsr.dump", "1");
    PluginSession session;
    korahost::unsetProperty("persist.vendor.camera.sdsr.dump");

    const int paths = int(sizeof(kPaths) / sizeof(kPaths[0]));
    // Observations of the framework stand-in and the algorithm double's call list are cleared
    // before each count, so only what the plugin keeps is compared.
    auto liveBlocks = [&session]() {
        korahost::resetObservations();
        session.algo.reset();
        return countingnew::outstanding();
    };
    const int warmUp = 2 * paths;
    int fdsBefore = 0;
    long blocksBefore = 0;
    for (int i = 0; i < requests; ++i) {
        if (i == warmUp) {
            fdsBefore = openFds();
            blocksBefore = liveBlocks();
        }
        ASSERT_NO_FATAL_FAILURE(runOne(session, kPaths[i % paths], i)) << "request " << i;
    }
    const long blocksAfter = liveBlocks();
    const int fdsAfter = openFds();

    printf("soak: %d requests over %d paths; open fds %d -> %d; live heap blocks %ld -> %ld\n",
           requests, paths, fdsBefore, fdsAfter, blocksBefore, blocksAfter);
    EXPECT_EQ(fdsBefore, fdsAfter);
    EXPECT_EQ(blocksBefore, blocksAfter) << "heap blocks outlive their request";
    EXPECT_GT(session.tree.listDir("/data/vendor/camera").size(),
              korahost::deviceModelFiles().size())
        << "successful runs dump their images";
}

}  // namespace
}  // namespace sdsrtest

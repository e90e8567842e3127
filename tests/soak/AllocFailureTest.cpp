// Allocation failure anywhere in one enable decision plus one request: for every N, the N-th
// allocation of `isEnabled` + `processRequest` fails (and only that one). Whatever fails, the
// call returns, the capture holds an image (the algorithm's result, or a copy of the input with
// the request reported as aborted), no heap block, boost or algorithm instance outlives the
// request, and the next request runs normally (the mutex was released).
#include <limits.h>
#include <stdio.h>

#include <map>
#include <string>

#include "CountingNew.h"
#include "RequestHarness.h"

namespace sdsrtest {
namespace {

struct Scenario {
    const char* name;
    uint32_t format;
    int32_t run;
    bool processed;  // what the request owes without a failure
};

const Scenario kScenarios[] = {
    {"success", 17, 0, true},
    {"Run fails, copy", 35, -7, false},
    {"format 34, copy", 34, 0, false},
};

enum Outcome { Processed, Copied, CopiedAborted, OutcomeCount };

struct RunResult {
    Outcome outcome;
    long blocksGained;
};

// One enable + request with the `nth` allocation failing (0: none).
RunResult runOnce(PluginSession& session, const Scenario& scenario, long nth) {
    korahost::resetObservations();
    session.algo.reset();
    session.algo.setResults(0, scenario.run, 0);
    const long before = countingnew::outstanding();
    RunResult result{Copied, 0};
    {
        TestRequest request(32, 16, scenario.format, 40, enablingMetadata());
        countingnew::failNth(nth);
        session.enable(request.info.inputBuffers[0][0].metadata);
        session.process(request);
        countingnew::failNth(0);
        const std::vector<uint8_t> output = request.output.visibleBytes();
        const bool aborted = hasLine(takeOnlineLogs(), 'E', "request aborted");
        if (output == request.markedInput())
            result.outcome = Processed;
        else if (output == request.inputPixels)
            result.outcome = aborted ? CopiedAborted : Copied;
        else
            ADD_FAILURE() << scenario.name << ", allocation " << nth << ": no image delivered";
        EXPECT_EQ(0, korahost::livePerfLocks()) << scenario.name << ", allocation " << nth;
        // A failed Run ends without Unit by design; nothing else may keep an instance.
        EXPECT_GE(scenario.run != 0 ? 1 : 0, session.algo.liveInstances())
            << scenario.name << ", allocation " << nth;
    }
    korahost::resetObservations();
    session.algo.reset();
    result.blocksGained = countingnew::outstanding() - before;
    return result;
}

TEST(AllocationFailure, EveryAllocationOfARequestMayFail) {
    PluginSession session;
    for (const Scenario& scenario : kScenarios) {
        // Unarmed runs first: lazily built state settles, and the count gives the sweep's range.
        runOnce(session, scenario, 0);
        runOnce(session, scenario, LONG_MAX);
        const long total = countingnew::seenSinceArmed();
        ASSERT_GT(total, 10) << scenario.name;

        int outcomes[OutcomeCount] = {};
        for (long nth = 1; nth <= total; ++nth) {
            const RunResult run = runOnce(session, scenario, nth);
            ASSERT_FALSE(HasFailure()) << scenario.name << ", allocation " << nth;
            ++outcomes[run.outcome];
            EXPECT_EQ(0, run.blocksGained) << scenario.name << ", allocation " << nth;
            // A processed request must not lose its result; a copy paid for by an abort is fine.
            if (scenario.processed)
                EXPECT_NE(Copied, run.outcome) << scenario.name << ", allocation " << nth;
            else
                EXPECT_NE(Processed, run.outcome) << scenario.name << ", allocation " << nth;
            // The next request sees a released mutex and a working plugin.
            EXPECT_EQ(scenario.processed ? Processed : Copied,
                      runOnce(session, scenario, 0).outcome)
                << scenario.name << ", after allocation " << nth;
        }
        EXPECT_GT(outcomes[CopiedAborted], 0) << scenario.name << ": no failure reached the plugin";
        printf(
            "allocation failure, %s: N = 1..%ld; processed %d, copied %d, copied after abort %d\n",
            scenario.name, total, outcomes[Processed], outcomes[Copied], outcomes[CopiedAborted]);
    }
}

}  // namespace
}  // namespace sdsrtest

// Every way a request can end: each row runs one request end to end (plugin loaded through
// dlopen + koraconnect, scripted algorithm in a fake device tree) and checks the output image,
// the log line that tells the outcome, the EXIF block, the fault reports, the calls the library
// saw, the boost lock and the outstanding-request count.
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include <sys/time.h>
#include <time.h>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {
// When non-zero, the wall clock of this process (the plugin's included) is scripted: every
// gettimeofday call moves it on by this many microseconds.
long gClockStepUs = 0;
}  // namespace
}  // namespace sdsrtest

// Replaces the C library's gettimeofday for the whole process, the loaded plugin included.
extern "C" int gettimeofday(struct timeval* __restrict tv, void* __restrict) noexcept {
    static long long scriptedUs = 1700000000LL * 1000000;
    long long us;
    if (sdsrtest::gClockStepUs != 0) {
        scriptedUs += sdsrtest::gClockStepUs;
        us = scriptedUs;
    } else {
        struct timespec now {};
        clock_gettime(CLOCK_REALTIME, &now);
        us = now.tv_sec * 1000000LL + now.tv_nsec / 1000;
    }
    tv->tv_sec = time_t(us / 1000000);
    tv->tv_usec = suseconds_t(us % 1000000);
    return 0;
}

namespace sdsrtest {
namespace {

enum class Setup {
    Success,
    UnitFails,
    RunFails,
    InitFails,
    VersionMismatch,
    FormatUnsupported,
    LibraryMissing,
    EntryPointsMissing,
    PlaneCountFive,
};

enum class Output { Copy, Marked };

struct Row {
    const char* name;
    Setup setup;
    Output output;
    char level;           // level of the line that tells the outcome
    const char* message;  // its text (substring)
    bool committed;
    std::vector<std::string> exifKeys;  // keys of the request's one EXIF writer, in order
    std::vector<int32_t> dfxCodes;
    std::vector<ScriptedAlgoCallKind> calls;
    int liveInstances;  // algorithm instances left unreleased
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const Row& row, std::ostream* os) {
    *os << row.name;
}

std::vector<std::string> keys(std::vector<std::string> head, std::vector<std::string> tail) {
    std::vector<std::string> out = {"on"};
    out.insert(out.end(), exifParameterKeys().begin(), exifParameterKeys().end());
    out.insert(out.end(), head.begin(), head.end());
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

const ScriptedAlgoCallKind GV = SCRIPTED_CALL_GET_VERSION;
const ScriptedAlgoCallKind INIT = SCRIPTED_CALL_INIT;
const ScriptedAlgoCallKind RUN = SCRIPTED_CALL_RUN;
const ScriptedAlgoCallKind UNIT = SCRIPTED_CALL_UNIT;

// clang-format off
const std::vector<Row>& rows() {
    const auto ran = keys({"init cost", "run cost"}, {"instance", "procTime"});
    static const std::vector<Row> table = {
        // name, setup, output, level, message, committed, EXIF keys, DFX codes, calls, live
        {"Success", Setup::Success, Output::Marked, 'I', "sdsr - Unit cost = ", true, ran,
         {0, 0, 0}, {GV, INIT, RUN, UNIT}, 0},
        {"UnitFails", Setup::UnitFails, Output::Marked, 'I', "- ret = -7", true, ran,
         {0, 0, -7}, {GV, INIT, RUN, UNIT}, 0},
        {"RunFails", Setup::RunFails, Output::Copy, 'I', "sdsr - run failed: -5", true,
         keys({"init cost", "runFailed"}, {"instance", "procTime"}), {0, -5}, {GV, INIT, RUN}, 1},
        {"InitFails", Setup::InitFails, Output::Copy, 'I', "sdsr - DIPS init failed: -3", true,
         keys({"initFailed"}, {"instance", "procTime"}), {-3}, {GV, INIT}, 0},
        {"VersionMismatch", Setup::VersionMismatch, Output::Copy, 'E',
         "sdsr version is different, skip sdsr!  Going voCopyBuffer.", false, {"on"}, {}, {GV}, 0},
        {"FormatUnsupported", Setup::FormatUnsupported, Output::Copy, 'E',
         "skip sdsr!  Going voCopyBuffer. checkformat = 0 SdSrBypass = 0", false, {}, {}, {}, 0},
        {"LibraryMissing", Setup::LibraryMissing, Output::Copy, 'E', "sdsr library unusable",
         false, {}, {}, {}, 0},
        {"EntryPointsMissing", Setup::EntryPointsMissing, Output::Copy, 'E',
         "sdsr library unusable", false, {}, {}, {}, 0},
        {"PlaneCountFive", Setup::PlaneCountFive, Output::Marked, 'W',
         "buffer has 5 planes, only 3 are used", true, ran, {0, 0, 0}, {GV, INIT, RUN, UNIT}, 0},
    };
    return table;
}
// clang-format on

bool endsInRun(Setup setup) {
    return setup == Setup::Success || setup == Setup::UnitFails || setup == Setup::PlaneCountFive;
}

class RequestOutcome : public ::testing::TestWithParam<std::tuple<Row, uint32_t>> {};

TEST_P(RequestOutcome, OutputLogExifFaultsCallsBoostAndCount) {
    const Row& row = std::get<0>(GetParam());
    const uint32_t format = row.setup == Setup::FormatUnsupported ? 34u : std::get<1>(GetParam());

    SessionOptions options;
    options.installAlgorithm = row.setup != Setup::LibraryMissing;
    if (row.setup == Setup::EntryPointsMissing) {
        // A loadable library that exports none of the four entry points.
        options.algorithmLibrary = MetaHelperDouble::path("double");
    }
    PluginSession session(options);
    if (row.setup == Setup::UnitFails)
        session.algo.setResults(0, 0, -7);
    if (row.setup == Setup::RunFails)
        session.algo.setResults(0, -5, 0);
    if (row.setup == Setup::InitFails)
        session.algo.setResults(-3, 0, 0);
    if (row.setup == Setup::VersionMismatch)
        session.algo.setVersion(1, 2, 3, 4);

    ASSERT_TRUE(session.enable(enablingMetadata()));
    korahost::resetObservations();

    // Stride above the width and spare rows, so row-wise handling shows.
    TestRequest request(64, 48, format, 80, enablingMetadata());
    if (row.setup == Setup::PlaneCountFive) {
        request.info.inputBuffers[0][0].planeCount = 5;
        request.info.outputBuffers[0][0].planeCount = 5;
    }
    EXPECT_EQ(0, session.process(request));
    const auto logs = takeOnlineLogs();

    // Output image.
    const std::vector<uint8_t> expected =
        row.output == Output::Copy ? request.inputPixels : request.markedInput();
    EXPECT_TRUE(request.output.visibleBytes() == expected) << "output is not the expected image";
    EXPECT_TRUE(request.input.visibleBytes() == request.inputPixels) << "input was changed";
    EXPECT_TRUE(paddingIntact(request.output)) << "bytes outside the image were written";
    EXPECT_EQ(VO_BUFFER_ACCESS_CPU_READ_WRITE, request.output.marker);

    EXPECT_TRUE(hasLine(logs, row.level, row.message)) << row.message;

    // EXIF: one writer for the module "sdsr" under the request key.
    const auto writers = korahost::takeExifWriters();
    ASSERT_EQ(1u, writers.size());
    EXPECT_EQ("sdsr", writers[0].module);
    EXPECT_EQ(request.info.requestKey, writers[0].requestKey);
    EXPECT_EQ(row.committed, writers[0].committed);
    EXPECT_EQ(row.exifKeys, exifKeys(writers[0]));
    if (row.committed) {
        EXPECT_EQ("SdsrNode0", exifValue(writers[0], "instance"));
        EXPECT_EQ("42", exifValue(writers[0], "procTime"));
    }
    if (row.setup == Setup::InitFails) {
        EXPECT_EQ("-3", exifValue(writers[0], "initFailed"));
    }
    if (row.setup == Setup::RunFails) {
        EXPECT_EQ("-5", exifValue(writers[0], "runFailed"));
    }

    // Fault reports: every library status, module 7.
    std::vector<int32_t> codes;
    for (const auto& report : korahost::takeDfxReports()) {
        EXPECT_EQ(7, report.module);
        codes.push_back(report.code);
    }
    EXPECT_EQ(row.dfxCodes, codes);

    if (options.installAlgorithm && row.setup != Setup::EntryPointsMissing) {
        EXPECT_EQ(row.calls, session.algo.kinds());
        EXPECT_EQ(row.liveInstances, session.algo.liveInstances());
    }

    // One boost of 3000 ms for the snapshot kind, released once, on every path.
    std::vector<korahost::PerfEventKind> perfKinds;
    for (const auto& event : korahost::takePerfEvents()) {
        perfKinds.push_back(event.kind);
        if (event.kind == korahost::PerfEventKind::AcquireAlgo) {
            EXPECT_EQ(3000u, event.durationMs);
            EXPECT_EQ(1, event.algo);
        }
    }
    const std::vector<korahost::PerfEventKind> expectedPerf = {
        korahost::PerfEventKind::Create, korahost::PerfEventKind::AcquireAlgo,
        korahost::PerfEventKind::Release, korahost::PerfEventKind::Dispose};
    EXPECT_EQ(expectedPerf, perfKinds);
    EXPECT_EQ(0, korahost::livePerfLocks());

    // Only a run to its end counts the request as finished; every other path keeps it
    // outstanding, so one more admission fills the limit of two.
    const FinishLine finish = lastFinishLine(logs);
    EXPECT_EQ(endsInRun(row.setup), finish.found);
    if (finish.found) {
        EXPECT_EQ(1u, finish.processCount);
        EXPECT_EQ(0, finish.sdsrProcessCount);
    }
    int admitted = 0;
    while (admitted < 3 && session.enable(enablingMetadata()))
        ++admitted;
    EXPECT_EQ(endsInRun(row.setup) ? 2 : 1, admitted);
}

INSTANTIATE_TEST_SUITE_P(FailureTable, RequestOutcome,
                         ::testing::Combine(::testing::ValuesIn(rows()),
                                            ::testing::Values(17u, 35u)),
                         [](const ::testing::TestParamInfo<std::tuple<Row, uint32_t>>& param) {
                             return std::string(std::get<0>(param.param).name) +
                                    (std::get<1>(param.param) == 17u ? "_NV21" : "_NV12");
                         });

// Requests the framework should never send: the plugin neither crashes nor touches memory it
// was not given, copies when it has both an input and an output, and says what it did.
struct MalformedRow {
    const char* name;
    bool inputPresent;    // the request's input map holds the image
    bool outputPresent;   // the request's output map holds the image
    bool emptyLowPorts;   // port 0 of both maps holds an empty vector, the image is on port 1
    const char* message;  // the E line, or "" for none
    bool processed;       // the scripted run wrote the marked input into the output
};

// Test names tell the row; gtest need not dump its bytes.
void PrintTo(const MalformedRow& row, std::ostream* os) {
    *os << row.name;
}

class MalformedRequest : public ::testing::TestWithParam<MalformedRow> {};

TEST_P(MalformedRequest, NoCrashAndATellingLine) {
    const MalformedRow& row = GetParam();
    PluginSession session;
    TestRequest request(32, 16, 17, 48, enablingMetadata());
    if (!row.inputPresent)
        request.info.inputBuffers.clear();
    if (!row.outputPresent)
        request.info.outputBuffers.clear();
    if (row.emptyLowPorts) {
        for (VoBufferMap* map : {&request.info.inputBuffers, &request.info.outputBuffers}) {
            if (map->empty())
                continue;
            (*map)[1] = (*map)[0];
            (*map)[0].clear();
        }
    }
    EXPECT_EQ(0, session.process(request));
    const auto logs = takeOnlineLogs();

    EXPECT_TRUE(request.input.visibleBytes() == request.inputPixels);
    EXPECT_TRUE(request.output.visibleBytes() ==
                (row.processed ? request.markedInput() : request.outputPixels));
    if (row.message[0] != '\0') {
        EXPECT_TRUE(hasLine(logs, 'E', row.message)) << row.message;
    }
    EXPECT_EQ(row.processed ? 1u : 0u, korahost::takeExifWriters().size());
    EXPECT_EQ(0, korahost::livePerfLocks());
}

INSTANTIATE_TEST_SUITE_P(
    Deviations, MalformedRequest,
    ::testing::Values(
        MalformedRow{"NoInput", false, true, false, "no input buffer in the request", false},
        MalformedRow{"NoOutput", true, false, false, "no output buffer in the request", false},
        MalformedRow{"NoBuffers", false, false, false, "no input buffer in the request", false},
        MalformedRow{"EmptyFirstPorts", true, true, true, "", true}),
    [](const ::testing::TestParamInfo<MalformedRow>& param) { return param.param.name; });

TEST(MalformedRequest, NullRequestReturnsZero) {
    PluginSession session;
    EXPECT_EQ(0, session.plugin->processRequest(static_cast<ProcessRequestInfo*>(nullptr)));
    EXPECT_TRUE(hasLine(takeOnlineLogs(), 'E', "request is null"));
}

// The library is opened once per plugin object and kept; a missing library is looked for again
// on every request.
TEST(AlgorithmBinding, OpensOncePerPluginAndRetriesWhileMissing) {
    {
        PluginSession session;
        for (int i = 0; i < 3; ++i) {
            TestRequest request(32, 16, 17, 32, enablingMetadata());
            session.process(request);
        }
        const auto logs = takeOnlineLogs();
        EXPECT_EQ(1, countLines(logs, 'I', "dlopen sdsr 0x"));
        EXPECT_EQ(3, countLines(logs, 'I', "finish m_processCount:"));
    }
    {
        SessionOptions options;
        options.installAlgorithm = false;
        PluginSession session(options);
        for (int i = 0; i < 2; ++i) {
            TestRequest request(32, 16, 17, 32, enablingMetadata());
            session.process(request);
            EXPECT_TRUE(request.output.visibleBytes() == request.inputPixels);
        }
        const auto all = korahost::takeLogs();
        int bindingLines = 0;
        for (const auto& record : all) {
            if (record.message.rfind("dlopen sdsr ", 0) != 0 &&
                record.message.rfind("sdsr dlerror() ", 0) != 0)
                continue;
            // Binding is the opening step of processRequest, on both channels.
            ++bindingLines;
            EXPECT_EQ("processRequest", record.function) << record.message;
        }
        EXPECT_EQ(8, bindingLines) << "two lines a request, two requests, two channels";
        std::vector<korahost::LogRecord> logs;
        for (const auto& record : all) {
            if (record.channel == korahost::LogChannel::Online)
                logs.push_back(record);
        }
        EXPECT_EQ(2, countLines(logs, 'I', "dlopen sdsr "));
        EXPECT_EQ(2, countLines(logs, 'D', "sdsr dlerror() "));
        EXPECT_EQ(0, countLines(logs, 'I', "dlopen sdsr 0x"));
    }
}

// The node's processing time is written only when the node reports one.
TEST(RequestExif, ProcessingTimeOnlyWhenReported) {
    SessionOptions options;
    options.procTime = 0;
    PluginSession session(options);
    TestRequest request(32, 16, 35, 32, enablingMetadata());
    session.process(request);
    const auto writers = korahost::takeExifWriters();
    ASSERT_EQ(1u, writers.size());
    EXPECT_TRUE(writers[0].committed);
    EXPECT_EQ("<absent>", exifValue(writers[0], "procTime"));
}

// Costs are the printed milliseconds cut after two decimals.
// Init and Run each take 1234.568 ms on the scripted clock: the texts are cut to 1234.56, where
// rounding would give 1234.57.
TEST(RequestExif, CostsAreCutToTwoDecimals) {
    PluginSession session;
    TestRequest request(32, 16, 17, 32, enablingMetadata());
    gClockStepUs = 1234568;
    session.process(request);
    gClockStepUs = 0;
    const auto writers = korahost::takeExifWriters();
    ASSERT_EQ(1u, writers.size());
    EXPECT_EQ("1234.56", exifValue(writers[0], "init cost"));
    EXPECT_EQ("1234.56", exifValue(writers[0], "run cost"));
}

}  // namespace
}  // namespace sdsrtest

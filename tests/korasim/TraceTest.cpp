// korasim --trace: the timeline of a run and of explain's captures as Chrome trace-event JSON.
// Every file is checked for the shape ui.perfetto.dev and chrome://tracing need (integer pid and
// tid, names, complete events with a duration, children inside their parents, no two siblings of
// a track overlapping) and for spans at the times korasim saw them.
#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "KorasimRunner.h"
#include "common/JsonFile.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace korasimtest;

namespace {

std::string trackKey(const json& e) {
    return std::to_string(e["pid"].get<int>()) + ":" + std::to_string(e["tid"].get<int>());
}

int64_t endOf(const json& span) {
    return span["ts"].get<int64_t>() + span["dur"].get<int64_t>();
}

// The shape every trace must have; returns the complete events of each track in time order.
std::map<std::string, std::vector<json>> checkShape(const json& trace) {
    std::map<std::string, std::vector<json>> tracks;
    EXPECT_EQ(trace["displayTimeUnit"], "ms");
    for (const auto& e : trace["traceEvents"]) {
        for (const char* key : {"ph", "name", "ts", "pid", "tid"})
            EXPECT_TRUE(e.contains(key)) << key << " missing in " << e.dump();
        EXPECT_TRUE(e["pid"].is_number_integer() && e["tid"].is_number_integer()) << e.dump();
        if (e["ph"] == "X") {
            EXPECT_TRUE(e["dur"].is_number() && e["dur"].get<double>() >= 0) << e.dump();
            EXPECT_TRUE(e["cat"].is_string() && e["args"].is_object()) << e.dump();
            tracks[trackKey(e)].push_back(e);
        } else {
            EXPECT_EQ(e["ph"], "M") << e.dump();
        }
    }
    // In time order, the longer first: a span that starts inside an open one must end inside it.
    for (auto& [key, spans] : tracks) {
        std::stable_sort(spans.begin(), spans.end(), [](const json& a, const json& b) {
            return a["ts"] != b["ts"] ? a["ts"].get<int64_t>() < b["ts"].get<int64_t>()
                                      : a["dur"].get<int64_t>() > b["dur"].get<int64_t>();
        });
        std::vector<json> open;
        for (const auto& s : spans) {
            const int64_t start = s["ts"];
            while (!open.empty() && endOf(open.back()) <= start)
                open.pop_back();
            if (!open.empty()) {
                EXPECT_LE(endOf(s), endOf(open.back()))
                    << s.dump() << " overlaps " << open.back().dump();
            }
            open.push_back(s);
        }
    }
    return tracks;
}

const json* findSpan(const std::vector<json>& spans, const std::string& name, int64_t from,
                     int64_t to) {
    for (const auto& s : spans) {
        if (s["name"] == name && s["ts"].get<int64_t>() >= from &&
            s["ts"].get<int64_t>() + s["dur"].get<int64_t>() <= to)
            return &s;
    }
    return nullptr;
}

TEST(Trace, RunHasATrackPerPluginObjectWithTheRequestWorkWhereItHappened) {
    const json request = {{"do", "processRequest"}};
    const json session = {{"properties", {{"persist.vendor.camera.sdsr.dump", "1"}}},
                          {"steps",
                           {{{"do", "create"}, {"plugin", "a"}},
                            {{"do", "create"}, {"plugin", "b"}},
                            {{"do", "isEnabled"}, {"plugin", "a"}},
                            {{"do", "processRequest"}, {"plugin", "a"}},
                            {{"do", "processRequest"}, {"plugin", "b"}}}}};
    Scratch scratch;
    const Result r = runSession(scratch, session, {"--trace", scratch.path("trace.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("trace: " + scratch.path("trace.json")), std::string::npos);
    const json trace = korasim::readJsonFile(scratch.path("trace.json"));
    const auto tracks = checkShape(trace);

    std::map<std::string, std::string> trackOf;  // plugin object -> "pid:tid"
    for (const auto& e : trace["traceEvents"]) {
        if (e["name"] == "thread_name")
            trackOf[e["args"]["name"]] = trackKey(e);
    }
    ASSERT_EQ(trackOf.count("plugin a"), 1u);
    ASSERT_EQ(trackOf.count("plugin b"), 1u);
    EXPECT_NE(trackOf["plugin a"], trackOf["plugin b"]);
    const int64_t wallStart = r.report["startTimeUs"];
    for (const size_t index : {3u, 4u}) {
        SCOPED_TRACE(index);
        const json& s = step(r, index);
        const std::vector<json>& spans =
            tracks.at(trackOf["plugin " + s["plugin"].get<std::string>()]);
        const int64_t start = s["startUs"];
        const int64_t dur = std::llround(s["durationMs"].get<double>() * 1000);
        const json* call = findSpan(spans, "processRequest", start, start + dur + 1);
        ASSERT_NE(call, nullptr);
        EXPECT_EQ((*call)["ts"], start);
        const json* boost = findSpan(spans, "boost", start, endOf(*call));
        ASSERT_NE(boost, nullptr);
        EXPECT_EQ((*boost)["ts"].get<int64_t>(),
                  s["perfLock"][0]["timeUs"].get<int64_t>() - wallStart);
        // Init, the input dump, Run, the output dump and Unit, one after the other in the boost.
        int64_t previousEnd = (*boost)["ts"];
        for (const char* name : {"Init", "dump input", "Run", "dump output", "Unit"}) {
            const json* part = findSpan(spans, name, previousEnd, endOf(*boost));
            ASSERT_NE(part, nullptr) << name;
            previousEnd = endOf(*part);
        }
        // Run ends at the fault report that follows it and lasts its logged cost.
        const json* run = findSpan(spans, "Run", start, endOf(*call));
        EXPECT_EQ(endOf(*run), s["dfx"][1]["timeUs"].get<int64_t>() - wallStart);
        EXPECT_EQ((*run)["dur"], std::llround(s["timings"]["runMs"].get<double>() * 1000));
    }
}

// "MM-DD HH:MM:SS.mmm" of one month, in microseconds.
int64_t stampUs(const std::string& time) {
    int month = 0, day = 0, h = 0, m = 0, s = 0, ms = 0;
    EXPECT_EQ(sscanf(time.c_str(), "%d-%d %d:%d:%d.%d", &month, &day, &h, &m, &s, &ms), 6) << time;
    return ((((day * 24 + h) * 60 + m) * 60 + s) * 1000LL + ms) * 1000;
}

TEST(Trace, ExplainPutsEachCaptureAtItsLogTime) {
    Scratch scratch;
    const Result r = runKorasim(
        scratch, {"explain", std::string(KORASIM_FIXTURES) + "/field-report.log", "--json",
                  scratch.path("x.json"), "--trace", scratch.path("trace.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const json explain = korasim::readJsonFile(scratch.path("x.json"));
    const json trace = korasim::readJsonFile(scratch.path("trace.json"));
    const auto tracks = checkShape(trace);
    std::vector<json> captures;
    for (const auto& [key, spans] : tracks) {
        for (const auto& s : spans) {
            if (s["cat"] == "capture")
                captures.push_back(s);
        }
    }
    ASSERT_EQ(captures.size(), explain["captures"].size());
    int64_t origin = INT64_MAX;
    for (const auto& c : explain["captures"])
        origin = std::min(origin, stampUs(c["time"]));
    size_t processed = 0;
    for (const auto& c : explain["captures"]) {
        SCOPED_TRACE(c["time"].get<std::string>());
        const int64_t at = stampUs(c["time"]) - origin;
        const auto span = std::find_if(captures.begin(), captures.end(), [&](const json& s) {
            return s["ts"] == at && s["args"]["pid"] == c["pid"] &&
                   s["args"]["object"] == c["object"];
        });
        ASSERT_NE(span, captures.end());
        if (c["process"].is_null() || c["process"]["path"] != "processed")
            continue;
        ++processed;
        const std::vector<json>& spans = tracks.at(trackKey(*span));
        for (const char* name : {"isEnabled", "processRequest", "boost", "Init", "Run", "Unit"})
            EXPECT_NE(findSpan(spans, name, at, endOf(*span)), nullptr) << name;
        const json* run = findSpan(spans, "Run", at, endOf(*span));
        ASSERT_NE(run, nullptr);
        EXPECT_EQ((*run)["dur"], std::llround(c["process"]["costs"]["runMs"].get<double>() * 1000));
    }
    EXPECT_EQ(processed, 1u);
}

// The brief layout prints no time: the captures still follow each other in the log's order.
TEST(Trace, ALogWithoutStampsKeepsTheOrderOfItsLines) {
    Scratch scratch;
    std::ifstream in(std::string(KORASIM_FIXTURES) + "/field-report.log");
    const std::regex threadtime(R"(^\S+ \S+\s+(\d+)\s+\d+ (\w) (\S+)\s*: (.*)$)");
    std::ostringstream brief;
    for (std::string line; std::getline(in, line);)
        brief << std::regex_replace(line, threadtime, "$2/$3($1): $4") << "\n";
    scratch.write("brief.log", brief.str());
    const Result r =
        runKorasim(scratch, {"explain", scratch.path("brief.log"), "--json", scratch.path("x.json"),
                             "--trace", scratch.path("t.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const size_t expected = korasim::readJsonFile(scratch.path("x.json"))["captures"].size();
    ASSERT_GT(expected, 3u);
    std::vector<json> captures;
    for (const auto& [key, spans] : checkShape(korasim::readJsonFile(scratch.path("t.json")))) {
        for (const auto& s : spans) {
            if (s["cat"] == "capture")
                captures.push_back(s);
        }
    }
    ASSERT_EQ(captures.size(), expected);
    std::sort(captures.begin(), captures.end(),
              [](const json& a, const json& b) { return a["ts"] < b["ts"]; });
    for (size_t i = 0; i < captures.size(); ++i) {
        EXPECT_TRUE(captures[i]["args"].contains("placed")) << captures[i].dump();
        if (i > 0) {
            EXPECT_GT(captures[i]["ts"], captures[i - 1]["ts"]);
        }
    }
}

TEST(Trace, AMissingFolderIsAnErrorAndNeverCreated) {
    Scratch scratch;
    const std::string missing = scratch.path("missing/trace.json");
    const std::vector<std::vector<std::string>> commands = {
        {"run", "-", "--trace", missing},
        {"explain", std::string(KORASIM_FIXTURES) + "/field-report.log", "--trace", missing}};
    scratch.write("session.json", "{}");
    for (auto args : commands) {
        if (args[1] == "-")
            args[1] = scratch.path("session.json");
        const Result r = runKorasim(scratch, args);
        EXPECT_EQ(r.exitCode, 2) << args[0] << ": " << r.err;
        EXPECT_NE(r.err.find("does not exist"), std::string::npos) << r.err;
        EXPECT_FALSE(fs::exists(scratch.path("missing")));
    }
}

}  // namespace

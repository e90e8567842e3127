// The parts of korasim's timelines that need no plugin: log stamps read as microseconds, and
// spans fitted into their parents.
#include <gtest/gtest.h>

#include "trace/LogTime.h"
#include "trace/Span.h"

using korasim::trace::logTimeUs;
using korasim::trace::Span;

namespace {

TEST(LogTime, EveryLogcatStampReadsToTheMicrosecond) {
    const int64_t base = *logTimeUs("11-22 18:43:10.000");
    const struct {
        const char* stamp;
        int64_t afterBaseUs;
    } rows[] = {
        {"11-22 18:43:10.123", 123000},
        {"11-22 18:43:10.123456", 123456},
        {"11-22 18:43:10.123456789", 123456},  // nsec: digits beyond the microsecond dropped
        {"11-22 18:44:10.000 +0100", 60000000},
        {"2000-11-22 18:43:11.5", 1500000},         // a year as the bug report's header gives it
        {"11-23 00:00:00.000", 19010000000},        // the next day
        {"12-01 18:43:10.000", 9 * 86400000000LL},  // the next month
    };
    for (const auto& row : rows)
        EXPECT_EQ(*logTimeUs(row.stamp) - base, row.afterBaseUs) << row.stamp;
    EXPECT_EQ(logTimeUs("1700000000.250"), 1700000000250000);  // epoch
    EXPECT_EQ(logTimeUs("   12345.678901"), 12345678901);      // monotonic, right-aligned
    for (const char* bad : {"", "11-22", "18:43:10.123", "xx-22 18:43:10.123", ".5"})
        EXPECT_FALSE(logTimeUs(bad)) << bad;
}

Span span(const char* name, std::optional<int64_t> start, std::optional<int64_t> end,
          std::optional<int64_t> dur) {
    Span s(name, "test");
    s.startUs = start;
    s.endUs = end;
    s.durUs = dur;
    return s;
}

TEST(Spans, ChildrenFitInsideTheirParentOneAfterTheOther) {
    const struct {
        const char* what;
        Span child;
        int64_t start, dur;
        bool moved;
    } rows[] = {
        {"observed inside", span("c", 110, 150, {}), 110, 40, false},
        {"end and duration", span("c", {}, 150, 30), 120, 30, false},
        {"only a duration follows the elder sibling", span("c", {}, {}, 30), 105, 30, false},
        {"only an end starts at the elder sibling's end", span("c", {}, 150, {}), 105, 45, false},
        {"before the parent", span("c", -5000, 150, {}), 105, 45, true},
        {"beyond the parent", span("c", 110, 9000, {}), 110, 890, true},
        {"after the parent", span("c", 5000, 6000, {}), 1000, 0, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Span parent = span("p", 100, {}, 900);
        parent.children.push_back(span("elder", 100, 105, {}));
        parent.children.push_back(row.child);
        korasim::trace::fitSpans(parent);
        const Span& c = parent.children.back();
        EXPECT_EQ(c.start(), row.start);
        EXPECT_EQ(*c.durUs, row.dur);
        EXPECT_EQ(c.args.contains("moved"), row.moved);
    }
}

TEST(Spans, GrandchildrenStayInsideTheirFittedParent) {
    Span root = span("request", 0, {}, 1000);
    Span boost = span("boost", -100, 2000, {});
    boost.children.push_back(span("Run", 1500, 1900, {}));
    root.children.push_back(boost);
    korasim::trace::fitSpans(root);
    const Span& run = root.children[0].children[0];
    EXPECT_EQ(root.children[0].start(), 0);
    EXPECT_EQ(root.children[0].end(), 1000);
    EXPECT_EQ(run.start(), 1000);
    EXPECT_EQ(run.end(), 1000);
}

}  // namespace

#include "trace/Span.h"

#include <algorithm>

namespace korasim::trace {
namespace {

// Clocks of different granularity (a log's milliseconds, a file's modification time) may put a
// child a little outside its parent; only a larger move is worth a word.
constexpr int64_t kNoticeableMoveUs = 1000;

// Start and duration from what was observed; `earliest` stands in for an unobserved start.
void resolve(Span& s, int64_t earliest) {
    if (!s.startUs && s.endUs && s.durUs)
        s.startUs = *s.endUs - *s.durUs;
    if (!s.startUs)
        s.startUs = earliest;
    if (!s.durUs)
        s.durUs = s.endUs ? *s.endUs - *s.startUs : 0;
    s.durUs = std::max<int64_t>(*s.durUs, 0);
}

void fitInto(Span& child, int64_t from, int64_t to) {
    const int64_t wantedStart = child.start(), wantedEnd = child.end();
    const int64_t start = std::clamp(wantedStart, from, to);
    const int64_t end = std::clamp(wantedEnd, start, to);
    child.startUs = start;
    child.durUs = end - start;
    child.endUs = end;
    const int64_t moved = std::max(std::abs(start - wantedStart), std::abs(end - wantedEnd));
    if (moved > kNoticeableMoveUs)
        child.args["moved"] = std::to_string(moved) + " us to fit its parent and siblings";
}

}  // namespace

void fitSpans(Span& root) {
    resolve(root, 0);
    root.endUs = root.end();
    int64_t next = root.start();
    for (Span& child : root.children) {
        resolve(child, next);
        fitInto(child, next, root.end());
        fitSpans(child);
        next = child.end();
    }
}

}  // namespace korasim::trace

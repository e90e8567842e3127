#include "trace/TraceDocument.h"

using nlohmann::json;

namespace korasim::trace {

namespace {

// A metadata event ("ph": "M"): Chrome's trace viewer reads the names and order of processes and
// tracks from these.
json metadataEvent(const char* name, int pid, int tid, json args) {
    return {{"ph", "M"}, {"name", name}, {"pid", pid}, {"tid", tid}, {"ts", 0}, {"args", args}};
}

}  // namespace

void TraceDocument::nameProcess(int pid, const std::string& name) {
    m_events.push_back(metadataEvent("process_name", pid, 0, {{"name", name}}));
}

void TraceDocument::nameTrack(int pid, int tid, const std::string& name, int sortIndex) {
    m_events.push_back(metadataEvent("thread_name", pid, tid, {{"name", name}}));
    m_events.push_back(metadataEvent("thread_sort_index", pid, tid, {{"sort_index", sortIndex}}));
}

void TraceDocument::addSpan(int pid, int tid, Span root) {
    fitSpans(root);
    addFitted(pid, tid, root);
}

void TraceDocument::addFitted(int pid, int tid, const Span& span) {
    m_events.push_back({{"ph", "X"},
                        {"name", span.name},
                        {"cat", span.category},
                        {"pid", pid},
                        {"tid", tid},
                        {"ts", span.start()},
                        {"dur", span.durUs.value_or(0)},
                        {"args", span.args}});
    for (const Span& child : span.children)
        addFitted(pid, tid, child);
}

json TraceDocument::document() const {
    return {{"traceEvents", m_events}, {"displayTimeUnit", "ms"}};
}

}  // namespace korasim::trace

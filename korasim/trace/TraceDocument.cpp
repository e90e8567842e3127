#include "trace/TraceDocument.h"

using nlohmann::json;

namespace korasim::trace {

void TraceDocument::nameProcess(int pid, const std::string& name) {
    m_events.push_back({{"ph", "M"},
                        {"name", "process_name"},
                        {"pid", pid},
                        {"tid", 0},
                        {"ts", 0},
                        {"args", {{"name", name}}}});
}

void TraceDocument::nameTrack(int pid, int tid, const std::string& name, int sortIndex) {
    m_events.push_back({{"ph", "M"},
                        {"name", "thread_name"},
                        {"pid", pid},
                        {"tid", tid},
                        {"ts", 0},
                        {"args", {{"name", name}}}});
    m_events.push_back({{"ph", "M"},
                        {"name", "thread_sort_index"},
                        {"pid", pid},
                        {"tid", tid},
                        {"ts", 0},
                        {"args", {{"sort_index", sortIndex}}}});
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

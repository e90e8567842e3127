// Chrome's trace-event JSON, as ui.perfetto.dev and chrome://tracing open it:
// {"traceEvents": [...], "displayTimeUnit": "ms"} with times in microseconds, a complete event
// ("ph": "X") per span and metadata events ("ph": "M") naming the process and each track.
#pragma once

#include <stdint.h>

#include <string>

#include <nlohmann/json.hpp>

#include "trace/Span.h"

namespace korasim::trace {

class TraceDocument {
  public:
    // process_name of `pid`.
    void nameProcess(int pid, const std::string& name);
    // thread_name of a track, shown in the order of `sortIndex`.
    void nameTrack(int pid, int tid, const std::string& name, int sortIndex);
    // Fits `root` (fitSpans) and adds it and every span nested in it to the track.
    void addSpan(int pid, int tid, Span root);

    const nlohmann::json& events() const { return m_events; }
    nlohmann::json document() const;

  private:
    void addFitted(int pid, int tid, const Span& span);
    nlohmann::json m_events = nlohmann::json::array();
};

}  // namespace korasim::trace

#include "CompletedCaptures.h"

#include "LineRules.h"

namespace korasim::logread {
namespace {

bool refused(const EnableFacts& e) {
    return e.preAnchorProc || e.memoryRefusal || e.sameVersion || e.final == 0 || e.outstanding ||
           e.failed;
}

// A refusal whose reason its own line tells: no later line changes what explain says of it.
bool refusedByItsOwnLine(const EnableFacts& e) {
    return e.preAnchorProc || e.memoryRefusal || e.sameVersion || e.outstanding || e.failed ||
           e.tagsEnable == 0 || e.sceneEnable == 0;
}

// A capture can still change while its request may go on, or while a request may still be
// given to its decision (a refused one gets none). The reader gives a request to the oldest
// admitted decision of the object after the last request, so once a later capture of the object has
// a request, no request comes to this one; a refused decision gets none at all.
bool complete(const std::vector<Capture>& captures, size_t i) {
    const Capture& c = captures[i];
    if (c.process.stage >= kRelease || (!c.process.seen && refusedByItsOwnLine(c.enable)))
        return true;
    for (size_t j = i + 1; j < captures.size(); ++j) {
        const Capture& later = captures[j];
        if (later.object != c.object || later.pid != c.pid)
            continue;
        if (later.process.seen || (!c.process.seen && refused(c.enable)))
            return true;
    }
    return false;
}

}  // namespace

std::vector<size_t> CompletedCaptures::take(const std::vector<Capture>& captures, bool atEnd) {
    for (; m_known < captures.size(); ++m_known)
        m_open.push_back(m_known);
    std::vector<size_t> ready, stillOpen;
    for (size_t i : m_open)
        (atEnd || complete(captures, i) ? ready : stillOpen).push_back(i);
    m_open.swap(stillOpen);
    return ready;
}

}  // namespace korasim::logread

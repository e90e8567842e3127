// Which captures are complete while a log is still arriving (`adb logcat | korasim explain -`),
// so that each is printed as soon as no later line can change it.
#pragma once

#include <cstddef>
#include <vector>

#include "PluginLog.h"

namespace korasim::logread {

class CompletedCaptures {
  public:
    // Indexes (ascending) of the captures that became complete since the last call; at the end
    // of the log every capture not given yet.
    std::vector<size_t> take(const std::vector<Capture>& captures, bool atEnd);

  private:
    std::vector<size_t> m_open;  // captures not given yet
    size_t m_known = 0;          // captures seen so far
};

}  // namespace korasim::logread

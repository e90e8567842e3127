// The device performance controller's per-algorithm adapter.
#pragma once

#include <string>

namespace cameraopt {

// Flag values of getFlag().
enum : int {
    ALGO_CONTROL_NORMAL = 0,
    ALGO_CONTROL_LIGHT = 1,
    ALGO_CONTROL_SKIP = 2,  // the algorithm must not run now
    ALGO_CONTROL_DEFER = 3,
};

class AlgoControllerAdapter {
  public:
    explicit AlgoControllerAdapter(const std::string& algoName);
    ~AlgoControllerAdapter();
    AlgoControllerAdapter(const AlgoControllerAdapter&) = delete;
    AlgoControllerAdapter& operator=(const AlgoControllerAdapter&) = delete;

    // The controller's present advice for this algorithm.
    int getFlag();
    const std::string& name() const { return m_name; }

  private:
    std::string m_name;
};

}  // namespace cameraopt

#include "AlgoControllerAdapter.h"

#include "HostState.h"

namespace cameraopt {

AlgoControllerAdapter::AlgoControllerAdapter(const std::string& algoName) : m_name(algoName) {}
AlgoControllerAdapter::~AlgoControllerAdapter() = default;

int AlgoControllerAdapter::getFlag() {
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = s.controllerFlags.find(m_name);
    return it == s.controllerFlags.end() ? ALGO_CONTROL_NORMAL : it->second;
}

}  // namespace cameraopt

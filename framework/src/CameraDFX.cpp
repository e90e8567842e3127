#include "CameraDFX.h"

#include "HostState.h"

void CameraDFX::ReportToDFX(DFXErrorCode code, int module) {
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.dfxReports.push_back(korahost::DfxReport{int32_t(code), module});
}

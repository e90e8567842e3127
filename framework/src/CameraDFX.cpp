#include "CameraDFX.h"

#include "HostState.h"

void CameraDFX::ReportToDFX(DFXErrorCode code, int module) {
    auto& s = korahost::detail::state();
    std::lock_guard<std::mutex> guard(s.lock);
    // Reporting never throws into the caller: a report that cannot be stored is dropped.
    try {
        s.dfxReports.push_back(
            korahost::DfxReport{int32_t(code), module, korahost::detail::realtimeUs()});
    } catch (...) {
    }
}

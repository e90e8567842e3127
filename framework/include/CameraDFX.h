// The camera fault-reporting service.
#pragma once

#include <stdint.h>

enum DFXErrorCode : int32_t {
    DFX_NO_ERROR = 0,
};

class CameraDFX {
  public:
    // Reports one result code of a module. Module 7 is the capture algorithm module.
    static void ReportToDFX(DFXErrorCode code, int module);
};

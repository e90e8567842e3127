// One log file (or folder, or "-") through the same inputs as `korasim explain`.
#include "LogInputs.h"
#include "PluginLog.h"

namespace korasim::logread {

bool readLogFile(const std::string& path, PluginLogReader& reader, std::string* error) {
    LogInputs inputs(reader);
    const bool ok = inputs.read(path, error);
    reader.finish();
    return ok;
}

}  // namespace korasim::logread

// The request path as the EXIF blocks tell it, for runs whose log gates hid the plugin's lines
// (the lines themselves are read by logread::PluginLogReader, the one reader of them).
#pragma once

#include <string>
#include <vector>

#include "korahost/HostControl.h"

namespace korasim {

// "processed", "initFailed", "runFailed", "versionCopy", "copy" (output equals input) or
// "unknown".
std::string pathFromExif(const std::vector<korahost::ExifWriterLog>& exif, bool outputIsInput);

}  // namespace korasim

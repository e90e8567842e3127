// Where a host program finds the plugin and the host libraries (the framework stand-in and the
// substitute libraries): beside its own executable, in the same places in the build tree and in
// an installed tree, so that no environment variable is needed.
#pragma once

#include <string>

namespace hostkit {

// "<program dir>/../lib/com.orvane.plugin.sdsr.so"
std::string pluginPath();
// "<program dir>/../lib/sdsr": the host stand-in of the framework and the substitute libraries.
std::string libraryDir();

}  // namespace hostkit

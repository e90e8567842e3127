#include "Layout.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace hostkit {

namespace {

// The directory of the running executable; "." when /proc is not mounted.
fs::path programDir() {
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path(".") : exe.parent_path();
}

}  // namespace

std::string pluginPath() {
    return (programDir() / SDSR_BIN_TO_LIB / "com.orvane.plugin.sdsr.so").lexically_normal();
}

std::string libraryDir() {
    return (programDir() / SDSR_BIN_TO_HOST_LIBS).lexically_normal();
}

}  // namespace hostkit

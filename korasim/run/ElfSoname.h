// The soname a plugin library carries, for the report's load section.
#pragma once

#include <string>

namespace korasim {

// DT_SONAME of a 64-bit ELF shared library; empty when the file has none or is not one.
std::string elfSoname(const std::string& path);

}  // namespace korasim

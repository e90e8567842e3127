#include "common/TextFile.h"

#include <fstream>
#include <sstream>

namespace korasim {

std::string readTextFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool writeTextFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    return static_cast<bool>(out);
}

}  // namespace korasim

#include "cli/OutputPaths.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace korasim {

std::string outputFile(const std::string& given, const std::string& outDir,
                       const char* defaultName) {
    if (!given.empty()) {
        requireParentFolder(given);
        return given;
    }
    if (outDir.empty() || defaultName == nullptr)
        return "";
    // Inside --out, which prepareOutputFolder creates.
    return (fs::path(outDir) / defaultName).string();
}

void requireParentFolder(const std::string& path) {
    if (path.empty())
        return;
    const fs::path parent = fs::path(path).parent_path();
    if (parent.empty())
        return;
    std::error_code ec;
    if (fs::is_directory(parent, ec))
        return;
    const bool exists = fs::exists(parent, ec);
    throw UsageError("cannot write " + path + ": " + parent.string() +
                     (exists ? " is not a folder" : " does not exist") +
                     " (korasim creates no folder for an output file)");
}

void prepareOutputFolder(const std::string& dir) {
    if (dir.empty())
        return;
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (!fs::is_directory(dir))
        throw UsageError("cannot use " + dir + " as the output folder: " +
                         (fs::exists(dir) ? std::string("it is not a folder") : ec.message()));
}

void prepareOutputs(std::initializer_list<std::string> files, const std::string& outDir) {
    for (const auto& file : files)
        requireParentFolder(file);
    prepareOutputFolder(outDir);
}

}  // namespace korasim

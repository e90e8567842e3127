#include "run/RunHeader.h"

#include <elf.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "korahost/DeviceModelFiles.h"
#include "run/RunState.h"

namespace korasim {

namespace {

// A file's text on one line, shortened: device files are short, meminfo is not.
nlohmann::json textSummary(const DeviceText& text) {
    if (!text)
        return "absent";
    std::string line;
    for (char c : *text)
        line += c == '\n' ? ' ' : c;
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line.size() > 80 ? line.substr(0, 77) + "..." : line;
}

template <typename T>
bool readAt(const std::vector<char>& file, size_t offset, T* out) {
    if (offset > file.size() || file.size() - offset < sizeof(T))
        return false;
    memcpy(out, file.data() + offset, sizeof(T));
    return true;
}

}  // namespace

// Reads the section headers: the dynamic section's DT_SONAME indexes the string table its
// sh_link names. No library is needed for these few fixed records.
std::string elfSoname(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> file((std::istreambuf_iterator<char>(in)),
                                 std::istreambuf_iterator<char>());
    Elf64_Ehdr header;
    if (!readAt(file, 0, &header) || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        return "";
    }
    for (size_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr dynamic, strings;
        if (!readAt(file, header.e_shoff + i * sizeof(Elf64_Shdr), &dynamic))
            return "";
        if (dynamic.sh_type != SHT_DYNAMIC)
            continue;
        if (!readAt(file, header.e_shoff + dynamic.sh_link * sizeof(Elf64_Shdr), &strings))
            return "";
        for (size_t at = 0; at + sizeof(Elf64_Dyn) <= dynamic.sh_size; at += sizeof(Elf64_Dyn)) {
            Elf64_Dyn entry;
            if (!readAt(file, dynamic.sh_offset + at, &entry) || entry.d_tag == DT_NULL)
                break;
            if (entry.d_tag != DT_SONAME)
                continue;
            const size_t offset = strings.sh_offset + entry.d_un.d_val;
            if (offset >= file.size())
                return "";
            return std::string(file.data() + offset,
                               strnlen(file.data() + offset, file.size() - offset));
        }
    }
    return "";
}

nlohmann::json deviceSummary(const DeviceSpec& d) {
    nlohmann::json j = nlohmann::json::object();
    if (d.versionFile)
        j["versionFile"] = textSummary(*d.versionFile);
    if (d.models) {
        j["models"] = d.models->size() == korahost::deviceModelFiles().size()
                          ? "all " + std::to_string(d.models->size())
                          : std::to_string(d.models->size()) + " of " +
                                std::to_string(korahost::deviceModelFiles().size());
    }
    if (d.meminfo)
        j["meminfo"] = textSummary(*d.meminfo);
    if (d.boardTemperature)
        j["boardTemperature"] = textSummary(*d.boardTemperature);
    for (const auto& [path, text] : d.files)
        j["files"][path] = textSummary(text);
    if (d.algorithm) {
        const AlgorithmSpec& a = *d.algorithm;
        std::string text = a.library.value_or("?");
        if (a.version) {
            const auto& v = *a.version;
            text += " " + std::to_string(v[0]) + "." + std::to_string(v[1]) + "." +
                    std::to_string(v[2]) + "." + std::to_string(v[3]);
        }
        if (a.library == "scripted") {
            text += ", init " + std::to_string(a.init.value_or(0)) + " run " +
                    std::to_string(a.run.value_or(0)) + " unit " +
                    std::to_string(a.unit.value_or(0));
        }
        j["algorithm"] = text;
    }
    if (d.metaHelper) {
        j["metaHelper"] = d.metaHelper->library.value_or("?") + ", status " +
                          std::to_string(d.metaHelper->status.value_or(0));
    }
    if (d.controllerFlag)
        j["controllerFlag"] = *d.controllerFlag;
    if (d.perfLockFails)
        j["perfLock"] = *d.perfLockFails ? "fail" : "ok";
    return j;
}

nlohmann::json logGatesJson(const LogGates& g) {
    return {{"level", g.level},
            {"groups", hex(g.groups)},
            {"offlineLevel", g.offlineLevel},
            {"offlineGroups", hex(g.offlineGroups)},
            {"debugMask", g.debugMask}};
}

}  // namespace korasim

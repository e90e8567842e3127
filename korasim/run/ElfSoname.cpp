#include "run/ElfSoname.h"

#include <elf.h>
#include <string.h>

#include <fstream>

namespace korasim {

namespace {

template <typename T>
bool readAt(std::ifstream& in, uint64_t offset, T* out) {
    in.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(in.read(reinterpret_cast<char*>(out), sizeof(T)));
}

// The NUL-terminated string at `offset`; a soname is short, so at most 256 bytes are read.
std::string stringAt(std::ifstream& in, uint64_t offset) {
    char text[256];
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(text, sizeof(text));
    const size_t got = static_cast<size_t>(in.gcount());
    in.clear();
    return std::string(text, strnlen(text, got));
}

}  // namespace

// Reads the section headers: the dynamic section's DT_SONAME indexes the string table its
// sh_link names. Only these few fixed records are read, not the whole library: a sanitizer
// build of the plugin is tens of megabytes, and korasim reads its soname on every run.
std::string elfSoname(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    Elf64_Ehdr header;
    if (!readAt(in, 0, &header) || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        return "";
    }
    for (size_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr dynamic, strings;
        if (!readAt(in, header.e_shoff + i * sizeof(Elf64_Shdr), &dynamic))
            return "";
        if (dynamic.sh_type != SHT_DYNAMIC)
            continue;
        if (!readAt(in, header.e_shoff + dynamic.sh_link * sizeof(Elf64_Shdr), &strings))
            return "";
        for (uint64_t at = 0; at + sizeof(Elf64_Dyn) <= dynamic.sh_size; at += sizeof(Elf64_Dyn)) {
            Elf64_Dyn entry;
            if (!readAt(in, dynamic.sh_offset + at, &entry) || entry.d_tag == DT_NULL)
                break;
            if (entry.d_tag == DT_SONAME)
                return stringAt(in, strings.sh_offset + entry.d_un.d_val);
        }
    }
    return "";
}

}  // namespace korasim

#include "run/ElfSoname.h"

#include <elf.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <vector>

namespace korasim {

namespace {

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

}  // namespace korasim

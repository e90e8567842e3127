// The process-wide registry of metadata tags: names, ids and value types.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace korahost {
namespace detail {

struct TagInfo {
    bool found;
    uint32_t tag;
    uint8_t type;
};

TagInfo tagByName(const char* name);
TagInfo tagById(uint32_t tag);
const char* tagNameOf(uint32_t tag);
// Size in bytes of one value of a type; 0 for an unknown type.
size_t typeSize(uint8_t type);
int registerTag(const char* name, uint32_t tag, uint8_t type);

}  // namespace detail
}  // namespace korahost

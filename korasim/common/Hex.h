// Hexadecimal text: the one encoder of bytes and numbers korasim writes as hex.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace korasim {

// Two lower-case digits per byte, no separator: "00ff10".
std::string hexBytes(const uint8_t* data, size_t size);
// "0x1f"
std::string hexNumber(uint64_t value);

}  // namespace korasim

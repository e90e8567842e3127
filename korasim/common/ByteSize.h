// Sizes in bytes as people write and read them (--max-memory, messages).
#pragma once

#include <stdint.h>

#include <string>

namespace korasim {

// "2 GiB", "512 MiB", "300 bytes": sizes for messages.
std::string formatBytes(uint64_t bytes);
// "2G", "1500M", "800000k", "123456789" (bytes), units of 1024 and case-insensitive, read by
// CLI11's size parser; throws std::invalid_argument otherwise.
uint64_t parseBytes(const std::string& text);

}  // namespace korasim

#include "common/ByteSize.h"

#include <ctype.h>
#include <stdint.h>
#include <stdio.h>

#include <stdexcept>

#include <CLI/CLI.hpp>

namespace korasim {

std::string formatBytes(uint64_t bytes) {
    char text[32];
    if (bytes >= (1ull << 30))
        snprintf(text, sizeof(text), "%.2f GiB", double(bytes) / double(1ull << 30));
    else if (bytes >= (1ull << 20))
        snprintf(text, sizeof(text), "%.1f MiB", double(bytes) / double(1ull << 20));
    else
        snprintf(text, sizeof(text), "%llu bytes", static_cast<unsigned long long>(bytes));
    return text;
}

// CLI11 reads the unit and multiplies; it also lets through a missing number, a sign and a
// product beyond 64 bits, which are refused here before it runs.
uint64_t parseBytes(const std::string& text) {
    const auto refuse = [&text]() -> uint64_t {
        throw std::invalid_argument(
            "--max-memory takes a size such as 2G, 1500M or 800000k, got \"" + text + "\"");
    };
    size_t digits = 0;
    while (digits < text.size() && isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    if (digits == 0 || digits > 15)
        return refuse();
    const uint64_t number = std::stoull(text.substr(0, digits));
    const size_t rank = digits < text.size()
                            ? std::string("kmgtpe").find(char(tolower(text[digits]))) + 1
                            : 0;  // npos + 1: no power of 1024, "b" or an unknown unit
    if (rank > 0 && number > (UINT64_MAX >> (10 * rank)))
        return refuse();
    std::string value = text;
    uint64_t bytes = 0;
    try {
        if (!CLI::AsSizeValue(false)(value).empty() || !CLI::detail::lexical_cast(value, bytes))
            return refuse();
    } catch (const CLI::Error&) {
        return refuse();
    }
    return bytes;
}

}  // namespace korasim

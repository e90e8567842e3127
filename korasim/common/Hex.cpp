#include "common/Hex.h"

namespace korasim {

std::string hexBytes(const uint8_t* data, size_t size) {
    static const char* const digits = "0123456789abcdef";
    std::string out;
    out.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 0xF];
    }
    return out;
}

std::string hexNumber(uint64_t value) {
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789abcdef"[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return "0x" + digits;
}

}  // namespace korasim

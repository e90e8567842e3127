// A reader that turns fuzzer bytes into decisions. Every read succeeds: once the bytes run out
// it answers zeros, so any prefix of an input is itself a valid input.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

namespace sdsrfuzz {

class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool exhausted() const { return m_pos >= m_size; }

    uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    // Little-endian; each read is its own statement so that every compiler decodes alike.
    uint16_t u16() {
        const uint16_t low = byte();
        return uint16_t(low | uint16_t(byte()) << 8);
    }
    uint32_t u32() {
        const uint32_t low = u16();
        return low | uint32_t(u16()) << 16;
    }
    bool flag() { return (byte() & 1) != 0; }
    // A value in [0, n); 0 when n is 0. One byte for small ranges, two otherwise.
    uint32_t below(uint32_t n) {
        if (n == 0)
            return 0;
        return (n <= 256 ? byte() : u16()) % n;
    }
    template <typename T>
    T pick(std::initializer_list<T> choices) {
        return *(choices.begin() + below(uint32_t(choices.size())));
    }
    // Up to `n` bytes; fewer when the input ends first.
    std::vector<uint8_t> bytes(size_t n) {
        const size_t take = n < m_size - m_pos ? n : m_size - m_pos;
        std::vector<uint8_t> out(m_data + m_pos, m_data + m_pos + take);
        m_pos += take;
        return out;
    }
    // A blob whose length comes first (one or two bytes, at most `maxSize`).
    std::string blob(size_t maxSize) {
        const std::vector<uint8_t> raw = bytes(below(uint32_t(maxSize + 1)));
        return std::string(raw.begin(), raw.end());
    }
    template <typename T>
    T raw() {
        T value{};
        const std::vector<uint8_t> b = bytes(sizeof(T));
        if (!b.empty())
            memcpy(&value, b.data(), b.size());
        return value;
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

}  // namespace sdsrfuzz

// SHA-256 of byte strings: the report identifies buffer contents by digest.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace korasim {

class Sha256 {
  public:
    Sha256();
    void update(const uint8_t* data, size_t size);
    // Lower-case hex digest; the object must not be updated afterwards.
    std::string hexDigest();

  private:
    void block(const uint8_t* chunk);
    uint32_t m_state[8];
    uint8_t m_buffer[64];
    size_t m_buffered;
    uint64_t m_length;
};

std::string sha256Hex(const uint8_t* data, size_t size);

}  // namespace korasim

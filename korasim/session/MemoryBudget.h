// The memory budget of a session: the pixel buffers that exist at once (the inputs and outputs
// of one request, and the RGB copy of a PNG while it is decoded into its buffer) must stay under
// a limit, so that a legal but huge session is refused before anything is allocated.
#pragma once

#include <stdint.h>

#include <string>

#include "session/Session.h"

namespace korasim {

constexpr uint64_t kDefaultMemoryBudget = 2ull << 30;

// Bytes a buffer takes, padding included, plus its PNG decode when its image is a PNG file.
uint64_t bufferBytes(const BufferSpec& buffer);

// Throws SessionError at the path of the buffer that crosses `limit`.
void checkMemoryBudget(const Session& session, uint64_t limit);

}  // namespace korasim

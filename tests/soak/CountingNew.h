// A replacement of the global operator new/delete for the soak binary. It counts the blocks that
// are live and can make one chosen allocation fail. Being defined in the executable, it also
// serves the plugin and the framework stand-in, which the binary loads through dlopen.
#pragma once

namespace sdsrtest {
namespace countingnew {

// Blocks allocated through operator new and not yet deleted.
long outstanding();
// Makes the `nth` allocation from now on throw std::bad_alloc (the nothrow forms return null);
// 0 disarms. Only that one allocation fails.
void failNth(long nth);
// Allocations seen while armed by the last failNth; whether the armed one has failed.
long seenSinceArmed();
bool hasFailed();

}  // namespace countingnew
}  // namespace sdsrtest

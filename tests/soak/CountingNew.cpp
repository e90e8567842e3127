// Replaced global allocation functions: malloc/free underneath, with a live-block counter and
// one injectable failure. Written by hand: no packaged allocator counts blocks or fails the N-th
// request on demand.
#include "CountingNew.h"

#include <stdlib.h>

#include <atomic>
#include <new>

namespace {

std::atomic<long> gOutstanding{0};
std::atomic<long> gSeen{0};
std::atomic<long> gFailAt{0};
std::atomic<bool> gFailed{false};

// True when this allocation is the one chosen to fail.
bool shouldFail() {
    const long failAt = gFailAt.load(std::memory_order_relaxed);
    if (failAt == 0)
        return false;
    if (gSeen.fetch_add(1, std::memory_order_relaxed) + 1 != failAt)
        return false;
    gFailed.store(true);
    return true;
}

void* allocate(size_t size) noexcept {
    if (shouldFail())
        return nullptr;
    void* block = malloc(size == 0 ? 1 : size);
    if (block != nullptr)
        gOutstanding.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr)
        return;
    gOutstanding.fetch_sub(1, std::memory_order_relaxed);
    free(block);
}

void* allocateOrThrow(size_t size) {
    void* block = allocate(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

}  // namespace

namespace sdsrtest {
namespace countingnew {

long outstanding() {
    return gOutstanding.load();
}

void failNth(long nth) {
    gFailAt.store(0);
    if (nth == 0)
        return;
    gSeen.store(0);
    gFailed.store(false);
    gFailAt.store(nth);
}

long seenSinceArmed() {
    return gSeen.load();
}

bool hasFailed() {
    return gFailed.load();
}

}  // namespace countingnew
}  // namespace sdsrtest

void* operator new(size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](size_t size) {
    return allocateOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, size_t) noexcept {
    release(block);
}
void operator delete[](void* block, size_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}

#include "plugins/memory_watch.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocations = 0;
std::atomic<std::int64_t> live = 0;
thread_local bool memoryFails = false;

void* take(std::size_t size, std::size_t alignment) {
    if (memoryFails)
        throw std::bad_alloc();
    void* const block = std::aligned_alloc(alignment, (size + alignment) / alignment * alignment);
    if (!block)
        throw std::bad_alloc();
    ++allocations;
    ++live;
    return block;
}

void give(void* block) {
    if (block)
        --live;
    std::free(block);
}

} // namespace

// The forms for arrays, and those that don't raise, call these.
void* operator new(std::size_t size) {
    return take(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return take(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
    give(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    give(block);
}
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
    give(block);
}
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    give(block);
}

namespace sorvane::test {

std::int64_t allocationCount() {
    return allocations;
}

std::int64_t liveBlocks() {
    return live;
}

FailingMemory::FailingMemory() {
    memoryFails = true;
}

FailingMemory::~FailingMemory() {
    memoryFails = false;
}

} // namespace sorvane::test

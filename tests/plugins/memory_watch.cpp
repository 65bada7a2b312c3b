#include "plugins/memory_watch.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocations = 0;
thread_local bool memoryFails = false;

} // namespace

// The forms for arrays, and those that don't raise, call these.
void* operator new(std::size_t size) {
    void* const block = memoryFails ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    ++allocations;
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

namespace sorvane::test {

std::int64_t allocationCount() {
    return allocations;
}

FailingMemory::FailingMemory() {
    memoryFails = true;
}
FailingMemory::~FailingMemory() {
    memoryFails = false;
}

} // namespace sorvane::test

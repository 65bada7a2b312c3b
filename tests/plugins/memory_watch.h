#pragma once

#include <cstdint>

namespace sorvane::test {

// The test program's operator new counts for every library in the process.

// Calls of operator new since the start.
std::int64_t allocationCount();
// Blocks that exist now.
std::int64_t liveBlocks();

// While one lives, operator new fails on this thread.
class FailingMemory {
public:
    FailingMemory();
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;
};

} // namespace sorvane::test

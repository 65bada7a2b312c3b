#pragma once

#include <cstdint>

namespace sorvane::test {

// Calls of operator new since the start, for every library in the process.
std::int64_t allocationCount();

// While one lives, operator new fails on this thread.
class FailingMemory {
public:
    FailingMemory();
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;
};

} // namespace sorvane::test

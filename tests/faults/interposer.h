#pragma once

#include <cstdint>

// Between the engine and the system: counts what the engine asks for, and fails it on demand. The
// linker leads the program's calls here; operator new and delete are those of this file for all.
namespace sorvane::test {

struct SystemCalls {
    std::int64_t allocations = 0;
    std::int64_t releases = 0;
    std::int64_t locks = 0; // of mutexes
    std::int64_t waits = 0; // on conditions
    std::int64_t fileCalls = 0;
    std::int64_t threads = 0;
};

/// Counts the calls of all threads from here on.
void startCounting();
SystemCalls stopCounting();

enum class Fault { allocation, thread, read };

/// While it lives, call number `first` (from 1) of a kind fails, and all those after it if `forever`.
class FaultPlan {
public:
    FaultPlan(Fault kind, int first, bool forever);
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;
    ~FaultPlan();

    /// True once a call failed.
    [[nodiscard]] bool happened() const;
};

/// Blocks of memory that are taken and not given back.
std::int64_t liveBlocks();

} // namespace sorvane::test

#include "faults/interposer.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <system_error>

namespace {

using sorvane::test::Fault;

enum Call { allocation, release, lock, wait, fileCall, thread, numCalls };

std::array<std::atomic<std::int64_t>, numCalls> counters;
std::atomic<bool> counting = false;
std::atomic<std::int64_t> live = 0;

std::atomic<bool> planned = false;
Fault plannedKind;
bool plannedForever;
std::atomic<int> callsLeft = 0; // until the first that fails
std::atomic<bool> failed = false;

void count(Call call) {
    if (counting)
        ++counters[call];
}

bool mustFail(Fault kind) {
    if (!planned || plannedKind != kind)
        return false;
    const int left = --callsLeft;
    const bool now = left == 0 || (plannedForever && left < 0);
    if (now)
        failed = true;
    return now;
}

} // namespace

extern "C" {

// A call that is counted and handed on.
#define SORVANE_COUNTED(call, result, name, parameters, arguments)                                 \
    result __real_##name parameters;                                                               \
    result __wrap_##name parameters {                                                              \
        count(call);                                                                               \
        return __real_##name arguments;                                                            \
    }

SORVANE_COUNTED(lock, int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
SORVANE_COUNTED(fileCall, int, close, (int file), (file))

// One that may fail as well.
#define SORVANE_FILE_CALL(result, name, parameters, arguments)                                     \
    result __real_##name parameters;                                                               \
    result __wrap_##name parameters {                                                              \
        count(fileCall);                                                                           \
        if (!mustFail(Fault::read))                                                                \
            return __real_##name arguments;                                                        \
        errno = EIO;                                                                               \
        return -1;                                                                                 \
    }

SORVANE_FILE_CALL(int, open, (const char* path, int flags, int mode), (path, flags, mode))
SORVANE_FILE_CALL(ssize_t, read, (int file, void* buffer, std::size_t size), (file, buffer, size))
SORVANE_FILE_CALL(off_t, lseek, (int file, off_t to, int origin), (file, to, origin))
SORVANE_FILE_CALL(int, stat, (const char* path, struct stat* status), (path, status))
SORVANE_FILE_CALL(int, fstat, (int file, struct stat* status), (file, status))

void* __real_malloc(std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    count(allocation);
    void* const block = mustFail(Fault::allocation) ? nullptr : __real_malloc(size);
    if (block)
        ++live;
    return block;
}

void __wrap_free(void* block) {
    if (block) {
        count(release);
        --live;
    }
    __real_free(block);
}

// std::thread's start and std::condition_variable's wait: what they are called by the linker. An
// argument of a class with a destructor comes as a pointer to it, as the ABI has it.
#define SORVANE_THREAD_START                                                                       \
    _ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE
#define SORVANE_CONDITION_WAIT _ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE
#define SORVANE_JOIN(a, b) a##b
#define SORVANE_WRAPPED(name) SORVANE_JOIN(__wrap_, name)
#define SORVANE_REAL(name) SORVANE_JOIN(__real_, name)

void SORVANE_REAL(SORVANE_THREAD_START)(void* thread, void* state, void (*depend)());
void SORVANE_REAL(SORVANE_CONDITION_WAIT)(void* condition, void* lock);

void SORVANE_WRAPPED(SORVANE_THREAD_START)(void* thread, void* state, void (*depend)()) {
    count(Call::thread);
    if (mustFail(Fault::thread))
        throw std::system_error(EAGAIN, std::generic_category());
    SORVANE_REAL(SORVANE_THREAD_START)(thread, state, depend);
}

void SORVANE_WRAPPED(SORVANE_CONDITION_WAIT)(void* condition, void* lock) {
    count(Call::wait);
    SORVANE_REAL(SORVANE_CONDITION_WAIT)(condition, lock);
}

} // extern "C"

// The forms for arrays, and those that don't raise, call these. Blocks that need more than the usual
// alignment come from elsewhere: the engine has none.
void* operator new(std::size_t size) {
    if (void* const block = __wrap_malloc(size > 0 ? size : 1))
        return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    __wrap_free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    __wrap_free(block);
}

namespace sorvane::test {

void startCounting() {
    for (auto& counter : counters)
        counter = 0;
    counting = true;
}

SystemCalls stopCounting() {
    counting = false;
    return {counters[allocation], counters[release],  counters[lock],
            counters[wait],       counters[fileCall], counters[thread]};
}

FaultPlan::FaultPlan(Fault kind, int first, bool forever) {
    plannedKind = kind;
    plannedForever = forever;
    callsLeft = first;
    failed = false;
    planned = true;
}

FaultPlan::~FaultPlan() {
    planned = false;
}

bool FaultPlan::happened() const {
    return failed;
}

std::int64_t liveBlocks() {
    return live;
}

} // namespace sorvane::test

#include "support/thread_pool.h"

#include <cfenv>

namespace sorvane {

ThreadPool::ThreadPool(int numThreads) {
    try {
        for (int i = 0; hasThreads && i < numThreads; ++i)
            workers.emplace_back([this] { work(); });
    } catch (...) {
        shutDown();
        throw;
    }
}

ThreadPool::~ThreadPool() {
    shutDown();
}

void ThreadPool::work() {
    // A thread starts with the rounding and the denormals of the one that made it.
    std::fesetenv(FE_DFL_ENV);
    for (;;) {
        std::list<std::function<void()>> job;
        {
            std::unique_lock lock(queueMutex);
            condition.wait(lock, [this] { return stop || !tasks.empty(); });
            if (stop)
                return;
            job.splice(job.begin(), tasks, tasks.begin());
        }
        job.front()();
    }
}

void ThreadPool::shutDown() {
    stop = true;
    {
        const std::lock_guard lock(queueMutex);
        condition.notify_all();
    }
    for (;;) {
        std::unique_lock lock(queueMutex);
        if (workers.empty())
            return;
        std::thread& last = workers.back();
        lock.unlock();
        if (last.joinable())
            last.join();
        lock.lock();
        workers.pop_back();
    }
}

} // namespace sorvane

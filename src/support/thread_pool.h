#pragma once

#include "support/bounded_list.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace sorvane {

/// Whether the system has threads; a module of WebAssembly may be built without.
#if defined(__EMSCRIPTEN__) && !defined(__EMSCRIPTEN_PTHREADS__)
inline constexpr bool hasThreads = false;
#else
inline constexpr bool hasThreads = true;
#endif

/// Runs jobs on a fixed set of worker threads, in the order in which they were given. A job's
/// result or exception reaches the caller through a future. Workers sleep between jobs, and run in
/// the default floating-point state, whatever that of the thread that made the pool.
class ThreadPool {
public:
    /// Starts `numThreads` workers, none for a count below 1. std::system_error when one can't
    /// start; those that did are joined first.
    explicit ThreadPool(int numThreads);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Waits for the jobs that run. Those still in the queue are dropped, and their futures report
    /// "broken promise".
    virtual ~ThreadPool();

    /// Gives a job to the pool; any thread. std::length_error "list too long" when the queue is
    /// full. Costs a lock here and one in the worker, the wake-up, and five allocations: the task, its
    /// state and result, its function and the list's node. Where there are no threads the job runs
    /// before this returns.
    template <typename Job>
    auto enqueue(Job job) -> std::future<std::invoke_result_t<Job>> {
        using Result = std::invoke_result_t<Job>;
        auto task = std::make_shared<std::packaged_task<Result()>>(std::move(job));
        if (!hasThreads) {
            (*task)();
            return task->get_future();
        }
        const std::lock_guard lock(queueMutex);
        appendBounded<std::function<void()>>(
            tasks, [task] { (*task)(); }, maxTasksInList);
        condition.notify_one();
        return task->get_future();
    }

private:
    void work();
    void shutDown();

    std::vector<std::thread> workers;
    std::list<std::function<void()>> tasks;
    std::mutex queueMutex; // guards tasks, and workers while they are joined
    std::condition_variable condition;
    std::atomic<bool> stop{false};
};

} // namespace sorvane

#include "run/process_run.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"
#include "run/file_job.h"

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace sorvane::tools {

namespace {

class Run {
public:
    Run(const std::vector<FilePlan>& filePlans, const ProcessOptions& processOptions,
        Console& errors)
        : plans(filePlans), options(processOptions), console(errors), reports(filePlans.size()) {}

    std::vector<FileReport> run(int jobs) {
        std::vector<std::thread> threads;
        startThreads(threads, std::min(static_cast<std::size_t>(jobs), plans.size()) - 1);
        work();
        for (std::thread& thread : threads)
            thread.join();
        throwIfInterrupted();
        if (end)
            std::rethrow_exception(end);
        return std::move(reports);
    }

private:
    void startThreads(std::vector<std::thread>& threads, std::size_t count) {
        // The library sets how the thread that loads it treats the smallest numbers; on some systems
        // new threads don't take that over.
        std::fenv_t environment;
        std::fegetenv(&environment);
        try {
            while (threads.size() < count)
                threads.emplace_back([this, environment] {
                    std::fesetenv(&environment);
                    work();
                });
        } catch (const std::system_error&) {
            // Fewer threads do the same work.
        }
    }

    void work() {
        for (std::size_t i = next++; i < plans.size() && !stopped; i = next++) {
            try {
                reports[i] = runFile(plans[i], options, console);
                if (plans.size() > 1)
                    console.tell(resultText(reports[i]));
            } catch (...) {
                fail(i);
            }
        }
    }

    void fail(std::size_t index) {
        try {
            const Failure failure = currentFailure();
            reports[index].input = plans[index].input;
            reports[index].failure = failure;
            console.endFile(0.0);
            if (failure.exitCode > exitSignalBase)
                stopped = true;
            else
                console.error(failure.message.find(inQuotes(plans[index].input)) ==
                                          std::string::npos &&
                                      plans.size() > 1
                                  ? inQuotes(plans[index].input) + ": " + failure.message
                                  : failure.message);
        } catch (const ProgramEnd&) {
            const std::lock_guard lock(mutex);
            end = std::current_exception();
            stopped = true;
        }
    }

    const std::vector<FilePlan>& plans;
    const ProcessOptions& options;
    Console& console;
    std::vector<FileReport> reports;
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> stopped = false;
    std::mutex mutex;
    std::exception_ptr end;
};

} // namespace

std::vector<FileReport> runFiles(const std::vector<FilePlan>& plans, const ProcessOptions& options,
                                 int jobs, Console& console) {
    if (plans.empty())
        return {};
    return Run(plans, options, console).run(jobs);
}

} // namespace sorvane::tools

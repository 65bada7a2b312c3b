#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace sorvane::tools {

/// Prints the program's name and a message as one line on standard error.
void printMessage(const std::string& message);

/// What a run tells on standard error: errors, warnings, and on a terminal one line of progress.
/// Threads: any, one waits for the other.
class Console {
public:
    /// `isQuiet` leaves errors alone.
    Console(bool isQuiet, int fileCount);
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console();

    void error(const std::string& message);
    void warn(const std::string& message);

    /// So many more seconds of audio are done, which are this fraction of a file, or 0 where its
    /// length isn't known.
    void advance(double audioSeconds, double fractionOfFile);

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] std::string progressText(double elapsed) const;
    void clearLine();

    bool quiet;
    bool showsProgress;
    int numFiles;
    Clock::time_point start = Clock::now();
    Clock::time_point nextUpdate;
    double secondsDone = 0.0;
    double filesDone = 0.0;
    std::size_t lineLength = 0;
    std::mutex mutex;
};

} // namespace sorvane::tools

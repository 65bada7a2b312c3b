#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>

namespace sorvane::tools {

/// Prints the program's name and a message as one line on standard error.
void printMessage(const std::string& message);

/// Where messages go.
std::FILE* messageStream();

/// From here on libraries can't print on standard error; what this file's functions print still goes
/// there.
void silenceLibraries();

/// What a run tells on standard error: errors, warnings, finished files, and how far it is: one line
/// that changes on a terminal, elsewhere a line now and then.
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

    /// Prints a line as it is.
    void tell(const std::string& line);

    /// So many more seconds of a file's audio are done, which are this fraction of it, or 0 where its
    /// length isn't known.
    void advance(const std::string& file, double audioSeconds, double fractionOfFile);

    /// A file is done or has failed, and its fraction didn't reach 1 by so much.
    void endFile(double missingFraction);

    /// Seconds of audio through seconds of the clock so far.
    [[nodiscard]] double speed() const;

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] double elapsed() const;
    [[nodiscard]] std::string progressText(const std::string& file) const;
    void show(const std::string& text);
    void clearLine();

    bool quiet;
    bool isTerminal;
    int numFiles;
    int numEnded = 0;
    Clock::time_point start = Clock::now();
    Clock::time_point nextUpdate;
    double secondsDone = 0.0;
    double filesDone = 0.0;
    std::size_t lineLength = 0;
    std::mutex mutex;
};

} // namespace sorvane::tools

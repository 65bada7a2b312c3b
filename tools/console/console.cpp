#include "console/console.h"

#include "console/platform.h"
#include "console/text.h"

#include <algorithm>
#include <cstdio>

namespace sorvane::tools {

namespace {

constexpr std::chrono::milliseconds updateInterval{100};

} // namespace

void printMessage(const std::string& message) {
    std::fprintf(stderr, "sorvane: %s\n", printable(message).c_str());
}

Console::Console(bool isQuiet, int fileCount)
    : quiet(isQuiet),
      showsProgress(!quiet && platform::isTerminal(stderr)),
      numFiles(fileCount),
      nextUpdate(start + updateInterval) {}

Console::~Console() {
    clearLine();
}

void Console::error(const std::string& message) {
    const std::lock_guard lock(mutex);
    clearLine();
    printMessage(message);
}

void Console::warn(const std::string& message) {
    if (!quiet)
        error("warning: " + message);
}

void Console::advance(double audioSeconds, double fractionOfFile) {
    if (!showsProgress)
        return;
    const std::lock_guard lock(mutex);
    secondsDone += audioSeconds;
    filesDone += fractionOfFile;
    const Clock::time_point now = Clock::now();
    if (now < nextUpdate)
        return;
    nextUpdate = now + updateInterval;
    std::string line = progressText(std::chrono::duration<double>(now - start).count());
    const std::size_t length = line.size();
    line.resize(std::max(length, lineLength), ' '); // over the rest of the line before
    lineLength = length;
    std::fprintf(stderr, "\r%s", line.c_str());
    std::fflush(stderr);
}

std::string Console::progressText(double elapsed) const {
    const std::string speed = shortNumber(secondsDone / std::max(elapsed, 1e-9), 3) + "x real time";
    const double fraction = std::min(filesDone / numFiles, 1.0);
    if (fraction <= 0.0)
        return timeText(secondsDone) + " done, " + speed;
    return shortNumber(100.0 * fraction, 3) + " %, " + speed + ", " +
           timeText(elapsed * (1.0 - fraction) / fraction) + " left";
}

void Console::clearLine() {
    if (lineLength > 0)
        std::fprintf(stderr, "\r%s\r", std::string(lineLength, ' ').c_str());
    lineLength = 0;
}

} // namespace sorvane::tools

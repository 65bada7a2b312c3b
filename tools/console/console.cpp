#include "console/console.h"

#include "console/platform.h"
#include "console/text.h"

#include <algorithm>
#include <cstdio>

namespace sorvane::tools {

namespace {

constexpr std::chrono::milliseconds terminalInterval{100};
constexpr std::chrono::seconds plainInterval{30};

std::FILE* keptStream = nullptr;

} // namespace

std::FILE* messageStream() {
    return keptStream != nullptr ? keptStream : stderr;
}

void printMessage(const std::string& message) {
    std::fprintf(messageStream(), "sorvane: %s\n", printable(message).c_str());
    std::fflush(messageStream());
}

void silenceLibraries() {
#if !defined(SORVANE_SANITIZED) // whose reports are the ones that would be lost
    if (keptStream == nullptr)
        keptStream = platform::takeStandardError();
#endif
}

Console::Console(bool isQuiet, int fileCount)
    : quiet(isQuiet),
      isTerminal(platform::isTerminal(messageStream())),
      numFiles(std::max(fileCount, 1)),
      nextUpdate(start) {
    nextUpdate += isTerminal ? Clock::duration(terminalInterval) : Clock::duration(plainInterval);
}

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

void Console::tell(const std::string& line) {
    if (quiet)
        return;
    const std::lock_guard lock(mutex);
    clearLine();
    std::fprintf(messageStream(), "%s\n", printable(line).c_str());
    std::fflush(messageStream());
}

void Console::advance(const std::string& file, double audioSeconds, double fractionOfFile) {
    if (quiet)
        return;
    const std::lock_guard lock(mutex);
    secondsDone += audioSeconds;
    filesDone += fractionOfFile;
    const Clock::time_point now = Clock::now();
    if (now < nextUpdate)
        return;
    nextUpdate =
        now + (isTerminal ? Clock::duration(terminalInterval) : Clock::duration(plainInterval));
    show(progressText(file));
}

void Console::endFile(double missingFraction) {
    const std::lock_guard lock(mutex);
    ++numEnded;
    filesDone += missingFraction;
}

double Console::speed() const {
    return secondsDone / std::max(elapsed(), 1e-9);
}

double Console::elapsed() const {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// "talk.wav, 12 of 40, 31 %, 180x real time, 0:42 left"
std::string Console::progressText(const std::string& file) const {
    std::string text = printable(file) + ", ";
    if (numFiles > 1)
        text += std::to_string(std::min(numEnded + 1, numFiles)) + " of " +
                std::to_string(numFiles) + ", ";
    const std::string pace = shortNumber(speed(), 3) + "x real time";
    const double fraction = std::min(filesDone / numFiles, 1.0);
    if (fraction <= 0.0)
        return text + timeText(secondsDone) + " done, " + pace;
    return text + shortNumber(100.0 * fraction, 3) + " %, " + pace + ", " +
           timeText(elapsed() * (1.0 - fraction) / fraction) + " left";
}

void Console::show(const std::string& text) {
    if (!isTerminal) {
        std::fprintf(messageStream(), "%s\n", text.c_str());
    } else {
        std::string line = text;
        line.resize(std::max(line.size(), lineLength), ' '); // over the rest of the line before
        lineLength = text.size();
        std::fprintf(messageStream(), "\r%s", line.c_str());
    }
    std::fflush(messageStream());
}

void Console::clearLine() {
    if (lineLength > 0)
        std::fprintf(messageStream(), "\r%s\r", std::string(lineLength, ' ').c_str());
    lineLength = 0;
}

} // namespace sorvane::tools

#include "sound/output_file.h"

#include "console/interrupt.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

[[noreturn]] void fail(const std::string& name, const std::string& reason) {
    throw ProgramError(exitOutput, "can't write " + inQuotes(name) + ": " + reason);
}

} // namespace

OutputFile::OutputFile(const std::string& path) : name(path), target(path) {
    if (path == "-") {
        name = "standard output";
        platform::makeBinary(stdout);
        file.reset(stdout);
        return;
    }
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(target, error)))
        target = fs::weakly_canonical(target, error).string();
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status))
        fail(name, "it is a directory");
    if (fs::exists(status) && !fs::is_regular_file(status))
        openDirectly();
    else
        openBeside();
}

void OutputFile::openDirectly() {
    file.reset(std::fopen(target.c_str(), "wb"));
    if (file == nullptr)
        fail(name, std::strerror(errno));
}

void OutputFile::openBeside() {
    partial.emplace(target);
    file.reset(std::fopen(partial->path().c_str(), "w+b"));
    if (file == nullptr)
        fail(name, std::strerror(errno));
    // Nobody waits for the single blocks of a file: fewer and larger ones than usual.
    std::setvbuf(file.get(), nullptr, _IOFBF, std::size_t{1} << 16);
}

std::int64_t OutputFile::write(const void* data, std::int64_t count) {
    if (firstError != 0 || count <= 0)
        return 0;
    auto bytes = static_cast<std::size_t>(count);
    const auto* source = static_cast<const char*>(data);
    if (!partial) {
        const std::int64_t behind = std::min(count, length - offset);
        source += behind;
        bytes -= static_cast<std::size_t>(behind);
    }
    errno = 0;
    if (std::fwrite(source, 1, bytes, file.get()) != bytes) {
        keepError(errno);
        return 0;
    }
    offset += count;
    length = std::max(length, offset);
    return count;
}

std::int64_t OutputFile::read(void* data, std::int64_t count) {
    if (!partial || firstError != 0 || count <= 0)
        return 0;
    // The C library wants a change of position between a write and a read, and after it.
    seek(offset);
    const auto done =
        static_cast<std::int64_t>(std::fread(data, 1, static_cast<std::size_t>(count), file.get()));
    seek(offset + done);
    return done;
}

bool OutputFile::seek(std::int64_t position) {
    // A gap can't be made on a pipe or device.
    if (position < 0 || (!partial && position > length))
        return false;
    errno = 0;
    if (partial && !platform::seekFile(file.get(), position)) {
        keepError(errno);
        return false;
    }
    offset = position;
    return true;
}

void OutputFile::keepError(int error) {
    if (firstError == 0)
        firstError = error != 0 ? error : EIO;
}

void OutputFile::flush() {
    errno = 0;
    if (firstError == 0 && std::fflush(file.get()) != 0)
        keepError(errno);
}

void OutputFile::throwIfFailed() const {
    if (firstError == 0)
        return;
    throwIfInterrupted();
    if (isWrittenStraight() && platform::meansClosedPipe(firstError))
        throw ProgramEnd(exitSuccess);
    fail(name, std::strerror(firstError));
}

bool OutputFile::closeFile() {
    errno = 0;
    std::FILE* closed = file.release();
    return (closed == stdout ? std::fflush(closed) : std::fclose(closed)) == 0;
}

void OutputFile::commit() {
    if (!closeFile())
        keepError(errno);
    throwIfFailed();
    if (partial)
        partial->commit();
}

} // namespace sorvane::tools

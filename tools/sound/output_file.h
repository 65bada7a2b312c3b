#pragma once

#include "sound/partial_file.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace sorvane::tools {

/// A file that appears under its name only when it is whole: until commit() it is a PartialFile. A
/// target that is no regular file, such as a device or a pipe, is written straight; so is standard
/// output, for the path "-".
///
/// Failures to create or to commit raise ProgramError with exitOutput. Writes don't raise, for they
/// are made inside a C library: the first failure is kept, and throwIfFailed() raises it. A pipe
/// whose reader has gone raises ProgramEnd with exitSuccess instead.
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Writes at the current position; returns the bytes that were taken. On a pipe or device,
    /// which can't be rewritten, bytes before the furthest position are dropped.
    std::int64_t write(const void* data, std::int64_t count);
    std::int64_t read(void* data, std::int64_t count);
    bool seek(std::int64_t position);
    [[nodiscard]] std::int64_t position() const { return offset; }
    [[nodiscard]] std::int64_t size() const { return length; }

    /// True for what has no temporary file.
    [[nodiscard]] bool isWrittenStraight() const { return !partial; }

    /// Hands what was written to the system.
    void flush();

    void throwIfFailed() const;

    /// Closes the file and gives it its name.
    void commit();

private:
    struct Closer {
        void operator()(std::FILE* opened) const {
            if (opened != stdout)
                std::fclose(opened);
        }
    };

    void openDirectly();
    void openBeside();
    void keepError(int error);
    bool closeFile();

    std::string name;                   // as the user wrote it
    std::string target;                 // the same with symbolic links followed
    std::optional<PartialFile> partial; // none when the target is written straight
    std::unique_ptr<std::FILE, Closer> file;
    std::int64_t offset = 0;
    std::int64_t length = 0;
    int firstError = 0;
};

} // namespace sorvane::tools

#pragma once

#include "support/platform_file.h"
#include "support/streams.h"

namespace sorvane {

/// A file of the operating system as a two-way stream without buffering: each operation on an open
/// file is one system call. Owns its handle and closes it at the end. Both directions share one
/// position.
class FileStream : public InputStream, public OutputStream {
public:
    FileStream() = default;
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;
    ~FileStream() override;

    /// Opens a file, closing the one that was open. `path` is a byte string that reaches the
    /// operating system unchanged. `access`: 0 reading, 1 writing, 2 both. `creation`: 0 the file
    /// must exist, 1 it is created if it doesn't, 2 it must not exist. Returns success. Only tests
    /// call it.
    bool open(const char* path, int access, int creation);

    /// Opens an existing file for reading, and fails at once for what isn't a regular file: a
    /// directory, a pipe, a device.
    bool openRegularFile(const char* path);

    std::uint32_t read(void* buffer, std::uint32_t count) override;
    std::uint32_t write(const void* buffer, std::uint32_t count) override;
    bool seek(std::int64_t position) override;
    std::int64_t position() override;
    std::int64_t size() override;

    /// True even on a closed stream.
    bool isValid() override { return true; }
    void flush() override;
    void close() override;

private:
    platform::FileHandle handle = platform::noFile;
};

} // namespace sorvane

#pragma once

// Abstract byte streams. Readers of model files see BinaryInputStream and know no file system.
// A stream is used by one thread at a time. The engine only reads: only tests write, and ask isValid().

#include <cstdint>

namespace sorvane {

class BinaryInputStream {
public:
    virtual ~BinaryInputStream() = default;

    /// Reads up to `count` bytes at the current position. Returns the bytes read: fewer at the end,
    /// 0 on failure.
    virtual std::uint32_t read(void* buffer, std::uint32_t count) = 0;

    /// Moves to an absolute byte position, which may lie past the end. Returns success.
    virtual bool seek(std::int64_t position) = 0;

    /// The current position in bytes; std::runtime_error where there is none.
    virtual std::int64_t position() = 0;

    /// The length in bytes; std::runtime_error where there is none.
    virtual std::int64_t size() = 0;

    virtual bool isValid() { return true; }
    virtual void close() {}
};

class InputStream : public BinaryInputStream {};

class BinaryOutputStream {
public:
    virtual ~BinaryOutputStream() = default;

    /// Writes `count` bytes at the current position. Returns the bytes written, 0 on failure.
    virtual std::uint32_t write(const void* buffer, std::uint32_t count) = 0;

    /// Forces what is buffered to the medium.
    virtual void flush() {}

    /// As in BinaryInputStream.
    virtual bool seek(std::int64_t position) = 0;
    virtual std::int64_t position() = 0;
    virtual bool isValid() { return true; }
    virtual void close() {}
};

class OutputStream : public BinaryOutputStream {};

} // namespace sorvane

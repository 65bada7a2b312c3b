#pragma once

#include "support/streams.h"

#include <concepts>
#include <cstdint>
#include <string>

namespace sorvane {

/// Reads the fields of a model file: little-endian, packed, one after the other. Every count and
/// length is held against the bytes that are left before anything is allocated for it.
///
/// Errors: std::runtime_error where the file ends early, std::length_error for a string longer than
/// 2 GiB. The stream must outlive the reader.
class RecordReader {
public:
    /// Starts at the beginning of the stream.
    explicit RecordReader(BinaryInputStream& source);

    template <typename T>
    requires std::integral<T> || std::floating_point<T> T scalar() {
        T value;
        bytes(&value, sizeof value);
        return value;
    }

    /// A u32 byte count and as many bytes, taken as they are.
    std::string string();

    void bytes(void* destination, std::int64_t count);

    /// Raises the error of a file that ends early unless `count` bytes are left.
    void requireBytes(std::int64_t count) const;

    /// Counts memory for which no bytes stand in the file. std::length_error once it would come to
    /// more than the file's own size and 64 KiB.
    void claimMemory(std::int64_t count);

    /// The generation of the file's format, set once the header has told it.
    int version = 0;

private:
    BinaryInputStream& stream;
    std::int64_t remaining;
    std::int64_t claimable;
};

} // namespace sorvane

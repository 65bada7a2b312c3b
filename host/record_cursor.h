#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace sorvane::host {

/// Reads the fields of a model file, little-endian and packed, and tells where one of them is wrong.
/// Every count is held against the bytes that are left before anything is allocated for it.
///
/// Errors: a Failure with SORVANE_HOST_BAD_MODEL. The stream must outlive the cursor.
class RecordCursor {
public:
    /// Starts at the beginning of the stream.
    explicit RecordCursor(std::istream& source);

    /// What the fields from here on belong to, in messages: "layer 3".
    void beginRecord(std::string name) { record = std::move(name); }

    /// The next field, `what` in messages.
    template <typename T>
    T scalar(const char* what) {
        T value;
        beginField(sizeof value, what);
        take(reinterpret_cast<char*>(&value), sizeof value);
        return value;
    }

    /// A u32 byte count and as many bytes, taken as they are.
    std::string string(const char* what);

    /// Goes over `count` bytes.
    void skip(std::int64_t count, const char* what);

    /// Refuses the latest field: tells what was expected instead.
    [[noreturn]] void refuse(const std::string& expected) const;

    /// The generation of the file's format, set once the header has told it.
    int version = 0;

private:
    void beginField(std::int64_t count, const char* what);
    void take(char* destination, std::int64_t count);

    std::istream& stream;
    std::int64_t size;
    std::int64_t position = 0;
    std::int64_t field = 0; // where the latest one begins
    std::string record = "the header";
};

} // namespace sorvane::host

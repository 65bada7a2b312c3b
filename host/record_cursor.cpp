#include "record_cursor.h"

#include "failure.h"

#include <bit>
#include <limits>

namespace sorvane::host {

static_assert(std::endian::native == std::endian::little,
              "scalars are copied from the file as they stand");

RecordCursor::RecordCursor(std::istream& source) : stream(source) {
    stream.seekg(0, std::ios::end);
    size = static_cast<std::int64_t>(stream.tellg());
    stream.seekg(0);
}

std::string RecordCursor::string(const char* what) {
    const auto count = scalar<std::uint32_t>(what);
    if (count > std::numeric_limits<std::int32_t>::max())
        refuse(std::string(what) + " of fewer than 2^31 bytes");
    beginField(count, what);
    std::string text(count, '\0');
    take(text.data(), count);
    return text;
}

void RecordCursor::skip(std::int64_t count, const char* what) {
    beginField(count, what);
    stream.seekg(count, std::ios::cur);
    position += count;
}

void RecordCursor::refuse(const std::string& expected) const {
    fail(SORVANE_HOST_BAD_MODEL,
         record + ", at byte " + std::to_string(field) + ": expected " + expected);
}

void RecordCursor::beginField(std::int64_t count, const char* what) {
    field = position;
    if (count > size - position)
        refuse(std::string(what) + " of " + std::to_string(count) +
               (count == 1 ? " byte" : " bytes") + ", but the file ends after " +
               std::to_string(size - position) + " more");
}

void RecordCursor::take(char* destination, std::int64_t count) {
    if (!stream.read(destination, count))
        refuse("bytes that can be read");
    position += count;
}

} // namespace sorvane::host

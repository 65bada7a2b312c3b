#include "layers/record_reader.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace sorvane {

static_assert(std::endian::native == std::endian::little,
              "scalars are copied from the file as they stand");

RecordReader::RecordReader(BinaryInputStream& source) : stream(source) {
    stream.seek(0);
    remaining = stream.size();
}

std::string RecordReader::string() {
    const auto count = scalar<std::uint32_t>();
    if (count > 0x7FFFFFFFU)
        throw std::length_error("string too long");
    requireBytes(count);
    std::string text(count, '\0');
    bytes(text.data(), count);
    return text;
}

void RecordReader::bytes(void* destination, std::int64_t count) {
    requireBytes(count);
    remaining -= count;
    // An operating system may cap what one call transfers.
    constexpr std::int64_t chunk = std::int64_t{1} << 30;
    auto* target = static_cast<char*>(destination);
    while (count > 0) {
        const auto part = static_cast<std::uint32_t>(std::min(count, chunk));
        if (stream.read(target, part) != part)
            throw std::runtime_error("model file ends early");
        target += part;
        count -= part;
    }
}

void RecordReader::requireBytes(std::int64_t count) const {
    if (count > remaining)
        throw std::runtime_error("model file ends early");
}

} // namespace sorvane

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
    claimable = remaining + (std::int64_t{64} << 10);
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
    // A stream may transfer less than it is asked for, and an operating system caps what one call
    // does.
    constexpr std::int64_t chunk = std::int64_t{1} << 30;
    auto* target = static_cast<char*>(destination);
    while (count > 0) {
        const std::uint32_t done =
            stream.read(target, static_cast<std::uint32_t>(std::min(count, chunk)));
        if (done == 0)
            throw std::runtime_error("model file ends early");
        target += done;
        count -= done;
    }
}

void RecordReader::claimMemory(std::int64_t count) {
    if (count > claimable)
        throw std::length_error("more memory than the file stands for");
    claimable -= count;
}

void RecordReader::requireBytes(std::int64_t count) const {
    if (count > remaining)
        throw std::runtime_error("model file ends early");
}

} // namespace sorvane

#pragma once

#include "support/streams.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace sorvane::test {

// A file in memory.
class MemoryStream : public BinaryInputStream {
public:
    explicit MemoryStream(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}

    std::uint32_t read(void* buffer, std::uint32_t count) override {
        largestRead = std::max(largestRead, count);
        const std::size_t left = bytes.size() - std::min(bytes.size(), offset);
        const std::size_t taken = std::min<std::size_t>(left, count);
        if (taken > 0)
            std::copy_n(bytes.data() + offset, taken, static_cast<std::uint8_t*>(buffer));
        offset += taken;
        return static_cast<std::uint32_t>(taken);
    }

    bool seek(std::int64_t position) override {
        offset = static_cast<std::size_t>(position);
        return position >= 0;
    }

    std::int64_t position() override { return static_cast<std::int64_t>(offset); }
    std::int64_t size() override { return static_cast<std::int64_t>(bytes.size()); }

    std::uint32_t largestRead = 0; // bytes asked for in one call

private:
    std::vector<std::uint8_t> bytes;
    std::size_t offset = 0;
};

} // namespace sorvane::test

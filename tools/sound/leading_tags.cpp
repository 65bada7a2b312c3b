#include "sound/leading_tags.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace sorvane::tools {

namespace {

using Kind = LeadingTags::Kind;

// Of FLAC's kinds of blocks.
constexpr int streamInfo = 0;
constexpr int padding = 1;
constexpr int seekTable = 3;

constexpr std::size_t mostBytes = std::size_t{1} << 28;

/// Reads up to so many bytes on from where the last call ended.
using Reading = std::function<std::string(std::size_t)>;

unsigned byteAt(const std::string& bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

struct Head {
    LeadingTags tags;
    std::string fixed;           ///< "fLaC" and the block of the stream
    std::int64_t audioStart = 0; ///< bytes
};

std::string block(int type, bool isLast, const std::string& body) {
    const auto size = static_cast<unsigned>(body.size());
    std::string bytes;
    bytes += static_cast<char>(static_cast<unsigned>(type) | (isLast ? 0x80U : 0U));
    for (const unsigned shift : {16U, 8U, 0U})
        bytes += static_cast<char>(size >> shift & 0xFFU);
    return bytes + body;
}

Head readFlac(const Reading& next) {
    Head head;
    head.fixed = "fLaC";
    head.audioStart = 4;
    for (bool isLast = false; !isLast;) {
        const std::string start = next(4);
        if (start.size() < 4)
            return {};
        isLast = (byteAt(start, 0) & 0x80U) != 0;
        const int type = static_cast<int>(byteAt(start, 0) & 0x7FU);
        const std::size_t size =
            byteAt(start, 1) << 16U | byteAt(start, 2) << 8U | byteAt(start, 3);
        const std::string body = next(size);
        head.audioStart += static_cast<std::int64_t>(4 + size);
        if (body.size() < size || head.tags.bytes.size() > mostBytes)
            return {};
        if (type == streamInfo)
            head.fixed += block(type, false, body);
        else if (type != padding && type != seekTable) // a table of places in the old file
            head.tags.bytes += block(type, false, body);
    }
    head.tags.kind = Kind::flac;
    return head;
}

Head readHead(const Reading& next) {
    const std::string start = next(4);
    if (start == "fLaC")
        return readFlac(next);
    if (start.size() < 4 || start.compare(0, 3, "ID3") != 0)
        return {};
    const std::string rest = next(6);
    if (rest.size() < 6)
        return {};
    std::size_t size = 0;
    for (std::size_t i = 2; i < 6; ++i)
        size = size << 7U | (byteAt(rest, i) & 0x7FU);
    size += (byteAt(rest, 1) & 0x10U) != 0 ? 10 : 0; // a footer
    Head head;
    head.tags = {Kind::mp3, start + rest + next(size)};
    head.audioStart = static_cast<std::int64_t>(head.tags.bytes.size());
    return head.audioStart == static_cast<std::int64_t>(10 + size) ? head : Head{};
}

/// Moves all from `from` to the end of the file by so many bytes back, the last first.
void moveBack(OutputFile& file, std::int64_t from, std::int64_t by) {
    std::vector<char> buffer(std::size_t{1} << 20);
    for (std::int64_t end = file.size(); end > from;) {
        const std::int64_t count = std::min(static_cast<std::int64_t>(buffer.size()), end - from);
        end -= count;
        file.seek(end);
        file.read(buffer.data(), count);
        file.seek(end + by);
        file.write(buffer.data(), count);
    }
}

} // namespace

LeadingTags readLeadingTags(const std::string& path) {
    const auto close = [](std::FILE* opened) { std::fclose(opened); };
    const std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(path.c_str(), "rb"), close);
    if (file == nullptr)
        return {};
    return readHead([&](std::size_t count) {
               std::string bytes(std::min(count, mostBytes), '\0');
               bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
               return bytes;
           })
        .tags;
}

void replaceLeadingTags(OutputFile& file, const LeadingTags& tags) {
    if (tags.kind == Kind::none || file.isWrittenStraight())
        return;
    file.seek(0);
    const Head head = readHead([&](std::size_t count) {
        std::string bytes(count, '\0');
        bytes.resize(
            static_cast<std::size_t>(file.read(bytes.data(), static_cast<std::int64_t>(count))));
        return bytes;
    });
    if (head.tags.kind != tags.kind && tags.kind == Kind::flac)
        return;
    std::string bytes = head.fixed + tags.bytes;
    // The last block says so: padding, and what room the old head leaves.
    constexpr std::int64_t endOfFlac = 4;
    const bool isFlac = tags.kind == Kind::flac;
    const auto needed = static_cast<std::int64_t>(bytes.size()) + (isFlac ? endOfFlac : 0);
    const std::int64_t spare = std::max<std::int64_t>(head.audioStart - needed, 0);
    if (isFlac)
        bytes += block(padding, true, std::string(static_cast<std::size_t>(spare), '\0'));
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (size < head.audioStart) // an ID3 tag can't be shorter than the room that it stands in
        return;
    moveBack(file, head.audioStart, size - head.audioStart);
    file.seek(0);
    file.write(bytes.data(), size);
}

} // namespace sorvane::tools

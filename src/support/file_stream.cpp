#include "support/file_stream.h"

#include <algorithm>
#include <stdexcept>

namespace sorvane {

namespace {

std::uint32_t transferred(std::int64_t result) {
    return static_cast<std::uint32_t>(std::max<std::int64_t>(result, 0));
}

} // namespace

FileStream::~FileStream() {
    platform::closeFile(handle);
}

bool FileStream::open(const char* path, int access, int creation) {
    FileStream::close();
    handle = platform::openFile(path, access, creation);
    return handle != platform::noFile;
}

bool FileStream::openRegularFile(const char* path) {
    FileStream::close();
    handle = platform::openRegularFile(path);
    return handle != platform::noFile;
}

std::uint32_t FileStream::read(void* buffer, std::uint32_t count) {
    return transferred(platform::readFile(handle, buffer, count));
}

std::uint32_t FileStream::write(const void* buffer, std::uint32_t count) {
    return transferred(platform::writeFile(handle, buffer, count));
}

bool FileStream::seek(std::int64_t position) {
    return platform::seekFile(handle, position);
}

// The two texts are the same on every platform, whatever interface stands behind.

std::int64_t FileStream::position() {
    const std::int64_t position = platform::filePosition(handle);
    if (position < 0)
        throw std::runtime_error("Unable to get file position from WIN32 API");
    return position;
}

std::int64_t FileStream::size() {
    const std::int64_t size = platform::fileSize(handle);
    if (size < 0)
        throw std::runtime_error("Unable to get file size from WIN32 API");
    return size;
}

void FileStream::flush() {
    platform::flushFile(handle);
}

void FileStream::close() {
    platform::closeFile(handle);
    handle = platform::noFile;
}

} // namespace sorvane

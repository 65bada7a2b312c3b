#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

/// What the layer needs of the operating system; each system's way is in platform.cpp.
namespace sorvane::host::platform {

/// The folder of the program or library that holds this address, links resolved; empty where the
/// system can't tell. Raises std::bad_alloc only.
std::filesystem::path folderOf(const void* address);

/// Bytes under a path that lasts as long as the object: without a name in any folder where the system
/// has such files, or in the folder for temporary ones.
class TemporaryFile {
public:
    /// Raises a Failure when it can't be made.
    TemporaryFile(const void* bytes, std::size_t size);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { release(); }

    [[nodiscard]] const std::string& path() const { return name; }

private:
    void release() const;

    std::string name;
    int descriptor = -1; // of a file without a name
};

} // namespace sorvane::host::platform
